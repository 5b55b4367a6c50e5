#include <gtest/gtest.h>

#include <cmath>

#include "reference.h"

using ref::DB;
using ref::Magnitude;

namespace {
const float kRates[] = {44100.0f, 48000.0f, 96000.0f};
const float kGainsDB[] = {-12.0f, -6.5f, -1.0f, 0.5f, 3.0f, 12.0f};
const float kQs[] = {1.0f, 2.5f, 5.0f, 20.0f};

float Linear(float dB) { return static_cast<float>(std::pow(10.0, dB / 20.0)); }

// Where the designed section peaks: its own centre, not the nominal one.
double CentreTheta(float freq, float T)
{
    return static_cast<double>(static_cast<float>(freq * ref::kOmegaPerHz) * T);
}
}  // namespace

TEST(EqualizerUnit, CentreGainIsExactlyTheRequestedGain)
{
    for (float rate : kRates) {
        const float T = 1.0f / rate;
        for (float f : CGraphicEQ::kBandFreq) {
            for (float q : kQs) {
                for (float g : kGainsDB) {
                    CEqualizerUnit u;
                    u.SetParams(T, f, q, Linear(g));
                    const double got = DB(Magnitude(ref::Of(u), CentreTheta(f, T)));
                    EXPECT_NEAR(got, g, 2e-3) << "rate " << rate << " f " << f << " Q " << q;
                }
            }
        }
    }
}

// Boost and cut cancel at every frequency; at 0 dB both are transparent.
TEST(EqualizerUnit, BoostAndCutMirrorEachOther)
{
    const float T = 1.0f / 48000.0f;
    for (float q : kQs) {
        for (float g : {0.0f, 1.0f, 6.0f, 12.0f}) {
            CEqualizerUnit boost, cut;
            boost.SetParams(T, 1000.0f, q, Linear(g));
            cut.SetParams(T, 1000.0f, q, 1.0f / Linear(g));
            for (double hz = 20.0; hz < 20000.0; hz *= 1.25) {
                const double theta = 2.0 * M_PI * hz / 48000.0;
                const double sum = DB(Magnitude(ref::Of(boost), theta)) + DB(Magnitude(ref::Of(cut), theta));
                EXPECT_NEAR(sum, 0.0, 1e-3) << "Q " << q << " gain " << g << " at " << hz << " Hz";
            }
        }
    }
}

// The digital section is matched from an analogue bell; well below Nyquist
// the two must agree closely.
TEST(EqualizerUnit, FollowsTheAnaloguePrototypeAtLowFrequencies)
{
    const float rate = 96000.0f, T = 1.0f / rate;
    for (float f : {62.5f, 250.0f, 1000.0f}) {
        for (float q : {1.0f, 5.0f}) {
            for (float g : {-12.0f, 6.0f, 12.0f}) {
                const float G = Linear(g);
                CEqualizerUnit u;
                u.SetParams(T, f, q, G);
                const double w0 = f * ref::kOmegaPerHz;
                const double d = 1.0 / (2.0 * q);
                const double zz = G >= 1.0f ? G * d : d;
                const double zp = G >= 1.0f ? d : d / G;
                for (double hz = f / 8.0; hz <= f * 4.0; hz *= 1.1) {
                    const std::complex<double> s(0.0, 2.0 * M_PI * hz);
                    const double analogue = std::abs((s * s + 2.0 * zz * w0 * s + w0 * w0) /
                                                     (s * s + 2.0 * zp * w0 * s + w0 * w0));
                    const double digital = Magnitude(ref::Of(u), 2.0 * M_PI * hz / rate);
                    EXPECT_NEAR(DB(digital), DB(analogue), 0.05) << f << " Hz band, " << hz << " Hz";
                }
            }
        }
    }
}
