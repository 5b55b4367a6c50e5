// The reference engine against the plain single-precision recursion, bit for
// bit; every precise kernel variant this processor runs against the plain
// double-precision recursion, and the variants against each other on the
// awkward cases.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "reference.h"

using graphiceq::Engine;
using graphiceq::Variant;
using ref::Bits;

namespace {

std::vector<Variant> Supported()
{
    std::vector<Variant> v;
    for (Variant c : {Variant::Scalar, Variant::Sse2, Variant::Avx2, Variant::Avx512}) {
        if (graphiceq::VariantSupported(c))
            v.push_back(c);
    }
    return v;
}

struct Rng {
    uint32_t s;
    double Uniform(double lo, double hi)
    {
        s = s * 1664525u + 1013904223u;
        return lo + (hi - lo) * static_cast<double>(s >> 8) / 16777216.0;
    }
};

// Random gains and Q values for every band and random levels: the same for
// the same seed.
void ApplyRandomSetting(CGraphicEQ& eq, uint32_t seed)
{
    Rng r{seed};
    for (int b = 0; b < 15; ++b) {
        eq.set_Gain(b, ref::FixedDB(r.Uniform(-12.0, 12.0)));
        eq.set_Q(b, static_cast<int>(r.Uniform(1.0, 20.0) * 65536.0));
    }
    eq.set_InputLevel(ref::FixedDB(r.Uniform(-20.0, 0.0)));
    eq.set_OutputLevel(ref::FixedDB(r.Uniform(-20.0, 6.0)));
}

}  // namespace

TEST(EngineVariants, TheProcessorRunsAtLeastTheBaseline)
{
    EXPECT_TRUE(graphiceq::VariantSupported(Variant::Scalar));
    EXPECT_TRUE(graphiceq::VariantSupported(Variant::Sse2));
    CGraphicEQ eq;
    EXPECT_TRUE(graphiceq::VariantSupported(eq.GetVariant()));
    EXPECT_EQ(eq.GetEngine(), graphiceq::DefaultEngine());
    Variant parsed;
    for (Variant v : Supported()) {
        ASSERT_TRUE(graphiceq::ParseVariant(graphiceq::VariantName(v), &parsed));
        EXPECT_EQ(parsed, v);
    }
    EXPECT_FALSE(graphiceq::ParseVariant("avx1024", &parsed));
    EXPECT_FALSE(graphiceq::ParseVariant(nullptr, &parsed));
    Engine engine = Engine::Precise;
    EXPECT_TRUE(graphiceq::ParseEngine("reference", &engine));
    EXPECT_EQ(engine, Engine::Reference);
    EXPECT_TRUE(graphiceq::ParseEngine("precise", &engine));
    EXPECT_EQ(engine, Engine::Precise);
    EXPECT_FALSE(graphiceq::ParseEngine("float", &engine));
    EXPECT_FALSE(graphiceq::ParseEngine(nullptr, &engine));
}

namespace {

// Random gains, Q values and levels at sample rates from 8 kHz to 384 kHz,
// blocks from 2 to 8192 samples in one sequence (the filters carry their
// history from block to block; blocks past 700 run in slices); check(eq,
// rate) compares each block of eq with its own plain recursion.
template <class Plain, class Check>
void AtEveryRateAndBlock(Engine engine, Variant v, Plain plainOf, Check check)
{
    const int blocks[] = {2, 3, 5, 7, 16, 29, 31, 64, 127, 128, 513, 8192, 4, 1000};
    uint32_t seed = 1;
    for (uint32_t rate : {8000u, 22050u, 44100u, 48000u, 96000u, 192000u, 384000u}) {
        ++seed;
        SCOPED_TRACE(std::string(graphiceq::EngineName(engine)) + "/" + graphiceq::VariantName(v) + " at " +
                     std::to_string(rate) + " Hz");
        CGraphicEQ eq;
        eq.SetEngine(engine);
        ASSERT_TRUE(eq.SetVariant(v));
        ref::Prepare(eq, rate, 700);
        ApplyRandomSetting(eq, seed);
        auto plain = plainOf(eq);
        uint32_t noise = 100;
        for (int block : blocks) {
            std::vector<float> l = ref::Noise(block, noise++, 0.9f), r = ref::Noise(block, noise++, 0.9f);
            std::vector<float> gl(block), gr(block), wl(block), wr(block);
            ref::Transform(eq, l.data(), r.data(), gl.data(), gr.data(), block);
            plain.Run(l.data(), r.data(), wl.data(), wr.data(), block);
            for (int i = 0; i < block; ++i) {
                ASSERT_TRUE(check(gl[i], wl[i])) << "block " << block << ", left " << i << ": " << gl[i] << " vs " << wl[i];
                ASSERT_TRUE(check(gr[i], wr[i])) << "block " << block << ", right " << i << ": " << gr[i] << " vs " << wr[i];
            }
        }
    }
}

bool Fused(Variant v) { return v == Variant::Avx2 || v == Variant::Avx512; }

}  // namespace

// The reference engine is the single-precision recursion exactly, blocks of
// two samples and more (a block's first two samples group their feedback
// terms).
TEST(EngineVariants, ReferenceEngineMatchesThePlainRecursionBitForBit)
{
    AtEveryRateAndBlock(Engine::Reference, graphiceq::DefaultVariant(), ref::PlainOf,
                        [](float a, float b) { return Bits(a) == Bits(b); });
}

// The unfused variants are the plain double recursion bit for bit; the fused
// ones agree with it to the last bit (CloseToPrecise).
TEST(EngineVariants, PreciseVariantsMatchThePlainDoubleRecursion)
{
    for (Variant v : Supported()) {
        if (Fused(v))
            AtEveryRateAndBlock(Engine::Precise, v, ref::PrecisePlainOf,
                                ref::CloseToPrecise);
        else
            AtEveryRateAndBlock(Engine::Precise, v, ref::PrecisePlainOf,
                                [](float a, float b) { return Bits(a) == Bits(b); });
    }
}

namespace {

// One run of a script of calls: every output sample, meter reading and
// over-level reading, in order.
std::vector<uint32_t> Script(Variant v, uint16_t channels, uint32_t rate)
{
    CGraphicEQ eq;
    eq.SetEngine(Engine::Precise);
    EXPECT_TRUE(eq.SetVariant(v));
    ref::Prepare(eq, rate, 700, channels);  // longer calls run in slices of 700
    ApplyRandomSetting(eq, rate + channels);
    eq.set_OutputLevel(ref::FixedDB(6.0));  // overloads now and then

    struct Call {
        int count;
        bool continues;
    };
    // Blocks of 0 to 8 samples, slices that continue a block (of one
    // sample, too), long blocks cut into the work buffers' length.
    const Call calls[] = {{0, false}, {1, false}, {2, false}, {3, false}, {4, false}, {5, false},
                          {6, false}, {7, false}, {8, false}, {1, false}, {1, true},  {1, true},
                          {40, false}, {3, true}, {200, true}, {8192, false}, {0, true}, {17, true},
                          {1500, false}, {701, true}, {2, false}, {5, true}, {64, false}};
    std::vector<uint32_t> record;
    uint32_t seed = 7;
    for (const Call& c : calls) {
        std::vector<float> l = ref::Noise(c.count, seed++, 0.8f), r = ref::Noise(c.count, seed++, 0.8f);
        if (c.count == 8192) {
            // Values no audio should hold, in one of the long blocks: the
            // next blocks must agree again, whatever each kernel did.
            const float specials[] = {std::numeric_limits<float>::quiet_NaN(), 1e30f,
                                      std::numeric_limits<float>::infinity(), 1e-40f, -1e-39f};
            for (int i = 0; i < 5; ++i)
                l[1000 * i + 3] = r[1000 * i + 500] = specials[i];
        }
        std::vector<float> ol(c.count + 1, 5.0f), orr(c.count + 1, 5.0f);
        const int produced =
            ref::Transform(eq, l.data(), r.data(), ol.data(), orr.data(), c.count, c.continues);
        record.push_back(static_cast<uint32_t>(produced));
        for (int i = 0; i <= c.count; ++i) {
            record.push_back(Bits(ol[i]));
            record.push_back(Bits(orr[i]));
        }
        float m[4];
        eq.GetVU(&m[0], &m[1], &m[2], &m[3]);
        for (float x : m)
            record.push_back(Bits(x));
        bool over = false;
        eq.get_OverLevel(&over);
        record.push_back(over);
    }
    return record;
}

}  // namespace

// Variants that round alike give the same samples, meters and over-level
// readings on blocks of 0 to 8 samples, slices, mono and special values.
TEST(EngineVariants, AgreeOnTinyBlocksSlicesMonoAndSpecialValues)
{
    for (uint16_t channels : {1, 2}) {
        for (uint32_t rate : {8000u, 44100u, 384000u}) {
            for (bool fused : {false, true}) {
                std::vector<uint32_t> want;
                for (Variant v : Supported()) {
                    if (Fused(v) != fused)
                        continue;
                    const std::vector<uint32_t> got = Script(v, channels, rate);
                    if (want.empty()) {
                        want = got;
                        continue;
                    }
                    ASSERT_EQ(got.size(), want.size());
                    for (size_t i = 0; i < got.size(); ++i)
                        ASSERT_EQ(got[i], want[i]) << graphiceq::VariantName(v) << ", " << channels
                                                   << " channel(s), " << rate << " Hz, record " << i;
                }
            }
        }
    }
}

// A block carrying NaN, infinity, a huge or a denormal value (anywhere,
// the last sample included) may pass it on; the next clean block is finite
// again, even with every band at +12 dB and Q 20 and the output at +6 dB.
TEST(EngineVariants, NextCleanBlockIsFiniteAfterSpecialValues)
{
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), 1e30f, -3e38f, 1e-40f};
    std::vector<std::pair<Engine, Variant>> kernels{{Engine::Reference, Variant::Scalar}};
    for (Variant v : Supported())
        kernels.push_back({Engine::Precise, v});
    for (auto [engine, v] : kernels) {
        for (float special : specials) {
            for (int at : {0, 100, 255}) {
                CGraphicEQ eq;
                eq.SetEngine(engine);
                ASSERT_TRUE(eq.SetVariant(v));
                ref::Prepare(eq, 48000, 256);
                for (int b = 0; b < 15; ++b) {
                    eq.set_Gain(b, ref::FixedDB(12));
                    eq.set_Q(b, 20 * 65536);
                }
                eq.set_OutputLevel(ref::FixedDB(6));
                std::vector<float> l = ref::Noise(256, 1), r = ref::Noise(256, 2);
                l[at] = r[255 - at] = special;
                ref::Transform(eq, l.data(), r.data(), l.data(), r.data(), 256);
                for (int block = 0; block < 3; ++block) {
                    std::vector<float> cl = ref::Noise(256, 3 + block), cr = ref::Noise(256, 9 + block);
                    ref::Transform(eq, cl.data(), cr.data(), cl.data(), cr.data(), 256);
                    for (int i = 0; i < 256; ++i)
                        ASSERT_TRUE(std::isfinite(cl[i]) && std::isfinite(cr[i]))
                            << graphiceq::EngineName(engine) << "/" << graphiceq::VariantName(v) << ": " << special << " at " << at << ", clean block "
                            << block << ", sample " << i;
                }
            }
        }
    }
}
