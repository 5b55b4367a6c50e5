#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

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

TEST(EqualizerUnit, TinyValuesFlushToExactZero)
{
    CEqualizerUnit u;
    u.SetParams(1.0f / 44100.0f, 1000.0f, 8.0f, Linear(12.0f));  // a ringing tail
    std::vector<float> in(1 << 16, 0.0f), out(in.size());
    in[0] = 1.0f;
    u.OperateEqualizer(in.data(), out.data(), static_cast<int>(in.size()));
    for (float y : out) {
        const float m = std::fabs(y);
        ASSERT_TRUE(m == 0.0f || m >= 9.5367431640625e-07f) << "no value below 2^-20 survives: " << y;
    }
    EXPECT_EQ(out.back(), 0.0f) << "the tail has decayed into exact zeros";
    // Once zero, it stays zero: the flushed value is what feeds back.
    std::vector<float> more(4096, 0.0f), moreOut(4096, 1.0f);
    u.OperateEqualizer(more.data(), moreOut.data(), 4096);
    for (float y : moreOut)
        ASSERT_EQ(y, 0.0f);
}

// A block cut anywhere, down to single samples, gives the same output as one
// call. Separate host blocks of any length carry the history on (their first
// samples group the feedback their own way, so they agree to rounding, not to
// the bit).
TEST(EqualizerUnit, SlicingIsBitExact)
{
    const int n = 3000;
    const std::vector<float> inA = ref::Noise(n, 1);
    CEqualizerUnit whole, sliced, blocks;
    for (CEqualizerUnit* u : {&whole, &sliced, &blocks})
        u->SetParams(1.0f / 48000.0f, 396.9f, 4.0f, Linear(9.0f));
    std::vector<float> expectA(n);
    whole.OperateEqualizer(inA.data(), expectA.data(), n);

    ref::Section plain{ref::Of(whole)};
    std::vector<float> plainOut(n);
    plain.Run(inA.data(), plainOut.data(), n);

    std::vector<float> got(n), gotBlocks(n);
    const int cuts[] = {1, 1, 2, 3, 1, 64, 0, 5, 1, 250};
    int pos = 0, c = 0;
    while (pos < n) {
        const int len = std::min(cuts[c++ % 10], n - pos);
        sliced.OperateEqualizer(inA.data() + pos, got.data() + pos, len, pos > 0);
        blocks.OperateEqualizer(inA.data() + pos, gotBlocks.data() + pos, len);
        pos += len;
    }
    for (int i = 0; i < n; ++i) {
        ASSERT_EQ(ref::Bits(expectA[i]), ref::Bits(plainOut[i])) << "literal recursion, sample " << i;
        ASSERT_EQ(ref::Bits(got[i]), ref::Bits(expectA[i])) << "sliced, sample " << i;
        ASSERT_NEAR(gotBlocks[i], expectA[i], 1e-5f) << "short blocks, sample " << i;
    }
}

TEST(EqualizerUnit, ParameterChangeKeepsHistory)
{
    const std::vector<float> in = ref::Noise(512, 3);
    CEqualizerUnit a, b;
    a.SetParams(1.0f / 48000.0f, 1000.0f, 5.0f, 2.0f);
    b.SetParams(1.0f / 48000.0f, 1000.0f, 5.0f, 2.0f);
    std::vector<float> outA(512), outB(512);
    a.OperateEqualizer(in.data(), outA.data(), 256);
    b.OperateEqualizer(in.data(), outB.data(), 256);
    a.SetParams(1.0f / 48000.0f, 1000.0f, 5.0f, 2.0f);  // same values again: nothing may click
    a.OperateEqualizer(in.data() + 256, outA.data() + 256, 256);
    b.OperateEqualizer(in.data() + 256, outB.data() + 256, 256);
    for (int i = 0; i < 512; ++i)
        ASSERT_EQ(ref::Bits(outA[i]), ref::Bits(outB[i]));
}

TEST(EqualizerUnit, NonFiniteInputDoesNotPoisonLaterBlocks)
{
    CEqualizerUnit u;
    u.SetParams(1.0f / 48000.0f, 1000.0f, 5.0f, 2.0f);
    std::vector<float> in = ref::Noise(256, 4), out(256);
    in[100] = std::numeric_limits<float>::quiet_NaN();
    in[101] = std::numeric_limits<float>::infinity();
    u.OperateEqualizer(in.data(), out.data(), 256);
    const std::vector<float> clean = ref::Noise(256, 5);
    u.OperateEqualizer(clean.data(), out.data(), 256);
    for (float y : out)
        ASSERT_TRUE(std::isfinite(y));
}
