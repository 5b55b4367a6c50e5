// After the input falls to digital silence the output must reach exact zero
// within four seconds and stay there, at every setting and with either
// engine; until then, and while the input is live, it is the engine's plain
// recursion (the reference engine's bit for bit, the precise engine's to the
// last bit).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "reference.h"

using ref::Bits;
using ref::FixedDB;

namespace {

struct Case {
    const char* name;
    double gainDB, q, inDB, outDB;
};

const Case kCases[] = {
    {"every band +12 dB, Q 20", 12.0, 20.0, 0.0, 0.0},
    {"every band -12 dB, Q 20", -12.0, 20.0, 0.0, 0.0},
    {"every band -12 dB, Q 1", -12.0, 1.0, 0.0, 0.0},
    {"flat", 0.0, 5.0, 0.0, -6.0},
    {"+12 dB, Q 20, levels at the top", 12.0, 20.0, 0.0, 6.0},
    {"+12 dB, Q 20, levels at the bottom", 12.0, 20.0, -100.0, -100.0},
};

void Configure(CGraphicEQ& eq, const Case& c, uint32_t rate, int block,
               graphiceq::Engine engine = graphiceq::Engine::Reference)
{
    eq.SetEngine(engine);
    ref::Prepare(eq, rate, block);
    for (int b = 0; b < 15; ++b) {
        eq.set_Gain(b, FixedDB(c.gainDB));
        eq.set_Q(b, static_cast<int>(c.q * 65536.0));
    }
    eq.set_InputLevel(FixedDB(c.inDB));
    eq.set_OutputLevel(FixedDB(c.outDB));
}

double DBFS(double x) { return x > 0 ? 20.0 * std::log10(x) : -999.0; }

// A half-second noise burst, then five seconds of silence, in blocks of 512.
template <class Plain>
void BurstThenSilence(graphiceq::Engine engine, Plain (*plainOf)(CGraphicEQ&), bool (*same)(float, float))
{
    const int block = 512;
    for (uint32_t rate : {44100u, 48000u, 96000u}) {
        for (const Case& c : kCases) {
            SCOPED_TRACE(std::string(graphiceq::EngineName(engine)) + ", " + c.name + " at " + std::to_string(rate) + " Hz");
            CGraphicEQ eq;
            Configure(eq, c, rate, block, engine);
            Plain plain = plainOf(eq);
            const int burst = static_cast<int>(rate / 2 / block) * block;
            const int total = burst + static_cast<int>(rate) * 5;
            std::vector<float> l = ref::Noise(burst, 3, 1.0f), r = ref::Noise(burst, 4, 1.0f);
            l.resize(total, 0.0f);
            r.resize(total, 0.0f);
            std::vector<float> gl(total), gr(total), wl(total), wr(total);
            for (int done = 0; done < total; done += block) {
                const int n = std::min(block, total - done);
                ref::Transform(eq, &l[done], &r[done], &gl[done], &gr[done], n);
                plain.Run(l.data() + done, r.data() + done, wl.data() + done, wr.data() + done, n);
            }
            // The first sample from which the output stays exactly zero.
            int zeroFrom = total;
            while (zeroFrom > 0 && gl[zeroFrom - 1] == 0.0f && gr[zeroFrom - 1] == 0.0f)
                --zeroFrom;
            EXPECT_LE(zeroFrom - burst, static_cast<int>(4 * rate)) << "still sounding 4 s after the input stopped";
            // Until then, the plain recursion.
            for (int i = 0; i < zeroFrom; ++i) {
                ASSERT_TRUE(same(gl[i], wl[i])) << "left " << i;
                ASSERT_TRUE(same(gr[i], wr[i])) << "right " << i;
            }
            // Reported: the plain recursion's level from that sample on, which
            // the clearing took away.
            double peak = 0, energy = 0;
            for (int i = zeroFrom; i < total; ++i) {
                peak = std::max(peak, static_cast<double>(std::fabs(wl[i])));
                energy += static_cast<double>(wl[i]) * wl[i];
            }
            const double rms = total > zeroFrom ? std::sqrt(energy / (total - zeroFrom)) : 0.0;
            std::printf("%-9s %-36s %6u Hz: zero %.3f s after the input stopped; removed tail peak %.1f dBFS, rms %.1f dBFS\n",
                        graphiceq::EngineName(engine), c.name, rate, static_cast<double>(zeroFrom - burst) / rate, DBFS(peak), DBFS(rms));
        }
    }
}

}  // namespace

TEST(Silence, OutputReachesExactZeroWithinFourSecondsAndStays)
{
    BurstThenSilence(graphiceq::Engine::Reference, ref::PlainOf, [](float a, float b) { return Bits(a) == Bits(b); });
    BurstThenSilence(graphiceq::Engine::Precise, ref::PrecisePlainOf, ref::CloseToPrecise);
}

// Once cleared, a new burst is filtered from a clean history: exactly what
// a freshly configured engine gives for the same blocks.
TEST(Silence, InputAfterTheSilenceStartsFromCleanHistory)
{
    const uint32_t rate = 48000;
    const int block = 256;
    const Case& c = kCases[0];
    for (graphiceq::Engine engine : {graphiceq::Engine::Reference, graphiceq::Engine::Precise}) {
        CGraphicEQ used, fresh;
        Configure(used, c, rate, block, engine);
        Configure(fresh, c, rate, block, engine);
        auto run = [&](CGraphicEQ& eq, std::vector<float> l, std::vector<float> r) {
            std::vector<float> out(2 * l.size());
            for (size_t done = 0; done < l.size(); done += block)
                ref::Transform(eq, &l[done], &r[done], &out[done], &out[l.size() + done], block);
            return out;
        };
        run(used, ref::Noise(block * 40, 5), ref::Noise(block * 40, 6));
        const int silentBlocks = static_cast<int>(used.GetSilenceHold() / block) + 2;
        const std::vector<float> quiet =
            run(used, std::vector<float>(block * silentBlocks), std::vector<float>(block * silentBlocks));
        for (size_t i = quiet.size() / 2 - block; i < quiet.size() / 2; ++i)
            ASSERT_EQ(quiet[i], 0.0f) << i;
        const std::vector<float> again = run(used, ref::Noise(block * 8, 7), ref::Noise(block * 8, 8));
        const std::vector<float> first = run(fresh, ref::Noise(block * 8, 7), ref::Noise(block * 8, 8));
        for (size_t i = 0; i < again.size(); ++i)
            ASSERT_EQ(Bits(again[i]), Bits(first[i])) << graphiceq::EngineName(engine) << " " << i;
    }
}

// The hold follows the slowest band: a high Q in the lowest band rings
// longest, and no setting holds beyond three and a half seconds.
TEST(Silence, HoldFollowsTheSlowestBandAndIsCapped)
{
    for (uint32_t rate : {8000u, 44100u, 384000u}) {
        CGraphicEQ eq;
        ref::Prepare(eq, rate, 64);
        const int64_t flat = eq.GetSilenceHold();
        eq.set_Q(0, 20 * 65536);
        eq.set_Gain(0, FixedDB(12));
        const int64_t ringing = eq.GetSilenceHold();
        EXPECT_GT(ringing, flat) << rate;
        EXPECT_LE(ringing, static_cast<int64_t>(3.5 * rate) + 1) << rate;
        EXPECT_GT(flat, static_cast<int64_t>(0.5 * rate)) << rate;
    }
}
