#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "reference.h"

using ref::Bits;
using ref::FixedDB;

namespace {

struct Stereo {
    std::vector<float> l, r;
    explicit Stereo(int n) : l(n), r(n) {}
    Stereo(std::vector<float> a, std::vector<float> b) : l(std::move(a)), r(std::move(b)) {}
    int Size() const { return static_cast<int>(l.size()); }
};

void Process(CGraphicEQ& eq, Stereo& in, Stereo& out, int count = -1)
{
    const int n = count < 0 ? in.Size() : count;
    EXPECT_EQ(ref::Transform(eq, in.l.data(), in.r.data(), out.l.data(), out.r.data(), n), n);
}

using ref::Prepare;

// A dense, asymmetric setting so every band and both level stages matter.
void Shape(CGraphicEQ& eq)
{
    for (int b = 0; b < CGraphicEQ::kBandCount; ++b) {
        eq.set_Gain(b, FixedDB((b % 3 - 1) * 7.5 + 0.25 * b));
        eq.set_Q(b, static_cast<int>((1.0 + 1.3 * b) * 65536.0));
    }
    eq.set_InputLevel(FixedDB(-1.5));
    eq.set_OutputLevel(FixedDB(-3.0));
}

float SinePeak(CGraphicEQ& eq, double hz, uint32_t rate, float amp = 0.25f)
{
    const int n = static_cast<int>(rate);  // one second; measure the last half
    Stereo in(n), out(n);
    for (int i = 0; i < n; ++i)
        in.l[i] = in.r[i] = amp * static_cast<float>(std::sin(2.0 * M_PI * hz * i / rate));
    Process(eq, in, out);
    float peak = 0;
    for (int i = n / 2; i < n; ++i)
        peak = std::max(peak, std::fabs(out.l[i]));
    return peak / amp;
}

}  // namespace

// A caller feeding one block in pieces of its own, each longer piece cut
// again into the work buffers' length: output and meters as for one call.
TEST(GraphicEQ, BlockInPiecesMatchesOneCall)
{
    const int n = 5000;
    Stereo in(ref::Noise(n, 21), ref::Noise(n, 22));
    CGraphicEQ big, pieces;
    Prepare(big, 48000, n);
    Prepare(pieces, 48000, 64);
    Shape(big);
    Shape(pieces);
    Stereo a(n), c(n);
    Process(big, in, a);
    for (int done = 0, len = 1; done < n; done += len, len = std::min(2 * len + 1, n - done))
        ref::Transform(pieces, &in.l[done], &in.r[done], &c.l[done], &c.r[done], len, done > 0);
    for (int i = 0; i < n; ++i) {
        ASSERT_EQ(Bits(a.l[i]), Bits(c.l[i])) << i;
        ASSERT_EQ(Bits(a.r[i]), Bits(c.r[i])) << i;
    }
    float want[4], got[4];
    big.GetVU(&want[0], &want[1], &want[2], &want[3]);
    pieces.GetVU(&got[0], &got[1], &got[2], &got[3]);
    for (int m = 0; m < 4; ++m)
        EXPECT_EQ(got[m], want[m]) << "meters cover the whole block, not its last slice: " << m;
}

TEST(GraphicEQ, ProcessesInPlaceAndSurvivesOddCounts)
{
    const int n = 777;
    Stereo in(ref::Noise(n, 31), ref::Noise(n, 32));
    CGraphicEQ a, b;
    Prepare(a, 44100, 256);
    Prepare(b, 44100, 256);
    Shape(a);
    Shape(b);
    Stereo out(n);
    Process(a, in, out);
    Stereo inplace = in;
    Process(b, inplace, inplace);
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(Bits(out.l[i]), Bits(inplace.l[i])) << i;

    // Zero, one and negative counts are no-ops or single steps, never faults.
    Stereo one(1);
    one.l[0] = one.r[0] = 0.5f;
    Process(a, one, one, 0);
    Process(a, one, one, 1);
    EXPECT_TRUE(std::isfinite(one.l[0]));
    EXPECT_EQ(ref::Transform(a, one.l.data(), one.r.data(), one.l.data(), one.r.data(), -5), 0);
}

TEST(GraphicEQ, BoostedBandIsMeasuredAtItsCentre)
{
    const uint32_t rate = 48000;
    CGraphicEQ eq;
    Prepare(eq, rate, 1024);
    eq.set_OutputLevel(0);
    eq.set_Gain(8, FixedDB(12.0));  // 1 kHz
    const double centre = 1000.0 * ref::kOmegaPerHz / (2.0 * M_PI);
    EXPECT_NEAR(ref::DB(SinePeak(eq, centre, rate)), 12.0, 0.05);
    // A band far away is left alone.
    EXPECT_NEAR(ref::DB(SinePeak(eq, 62.5 * ref::kOmegaPerHz / (2.0 * M_PI), rate)), 0.0, 0.05);

    // Default settings: everything flat, output stage at -6 dB.
    CGraphicEQ def;
    Prepare(def, rate, 1024);
    EXPECT_NEAR(ref::DB(SinePeak(def, 440.0, rate, 1.0f)), -6.0, 0.02);
}

TEST(GraphicEQ, BandsBeyondNyquistStayFlat)
{
    // 16 kHz: Nyquist at 8 kHz leaves out 10079.3 and 15999.9 Hz.
    CGraphicEQ eq;
    Prepare(eq, 16000, 64);
    for (int b = 0; b < CGraphicEQ::kBandCount; ++b)
        EXPECT_EQ(eq.IsValidBand(b), b < 13) << b;
    int g = -1, q = -1;
    eq.set_Gain(13, FixedDB(9.0));
    eq.set_Q(14, FixedDB(12.0));
    eq.get_Gain(13, &g);
    eq.get_Q(14, &q);
    EXPECT_EQ(g, 0);
    EXPECT_EQ(q, CGraphicEQ::kQDefault);

    // A band exactly at Nyquist is still valid: 1000 Hz at 2000 Hz.
    CGraphicEQ edge;
    Prepare(edge, 2000, 64);
    EXPECT_TRUE(edge.IsValidBand(8));
    EXPECT_FALSE(edge.IsValidBand(9));

    // Before any format the rate is 0 and every band counts as beyond Nyquist.
    CGraphicEQ fresh;
    fresh.set_Gain(0, FixedDB(6.0));
    fresh.get_Gain(0, &g);
    EXPECT_EQ(g, 0);
}

TEST(GraphicEQ, SettingsAreClampedAndReadBack)
{
    CGraphicEQ eq;
    Prepare(eq, 44100, 64);
    int v = 0;
    eq.set_Gain(3, 1000000);
    eq.get_Gain(3, &v);
    EXPECT_EQ(v, 786432);
    eq.set_Gain(3, -1000000);
    eq.get_Gain(3, &v);
    EXPECT_EQ(v, -786432);
    eq.set_Q(3, 0);
    eq.get_Q(3, &v);
    EXPECT_EQ(v, 65536);
    eq.set_Q(3, 2000000);
    eq.get_Q(3, &v);
    EXPECT_EQ(v, 1310720);
    eq.set_OverLevelThreshold(5);
    eq.get_OverLevelThreshold(&v);
    EXPECT_EQ(v, 1);
    // Band indices from outside the table are refused, not used.
    EXPECT_FALSE(eq.set_Gain(15, 0));
    EXPECT_FALSE(eq.set_Q(-1, 0));
    EXPECT_FALSE(eq.get_Gain(99, &v));
}

TEST(GraphicEQ, OverLevelFlagIsStrictAndSticky)
{
    CGraphicEQ eq;
    Prepare(eq, 44100, 64);
    eq.set_OutputLevel(0);
    bool over = true;
    eq.get_OverLevel(&over);
    EXPECT_FALSE(over);

    // Flat sections pass an impulse through exactly.
    Stereo in(16), out(16);
    in.l[0] = 1.0f;
    Process(eq, in, out);
    EXPECT_EQ(out.l[0], 1.0f);
    eq.get_OverLevel(&over);
    EXPECT_FALSE(over) << "exactly full scale is not over";

    in.l[0] = 1.0000001f;
    Process(eq, in, out);
    in.l[0] = 0.0f;
    Process(eq, in, out);  // a quiet block does not clear it
    eq.get_OverLevel(&over);
    EXPECT_TRUE(over);
    eq.get_OverLevel(&over);
    EXPECT_FALSE(over) << "reading clears the flag";
}

TEST(GraphicEQ, MetersShowTheLatestBlock)
{
    CGraphicEQ eq;
    Prepare(eq, 44100, 64);
    eq.set_InputLevel(FixedDB(-6.0));
    Stereo in(64), out(64);
    in.l[10] = -0.8f;
    in.r[20] = 0.4f;
    Process(eq, in, out);
    float il, ir, ol, orr;
    eq.GetVU(&il, &ir, &ol, &orr);
    const float gi = std::pow(10.0f, -6.0f / 20.0f);
    EXPECT_EQ(il, 0.8f * gi) << "input meters read after the input stage";
    EXPECT_EQ(ir, 0.4f * gi);
    EXPECT_GT(ol, 0.0f);
    EXPECT_LT(ol, il);

    Stereo silent(64);
    Process(eq, silent, out);
    eq.GetVU(&il, &ir, &ol, &orr);
    EXPECT_EQ(il + ir + ol + orr, 0.0f);
}

// Switched off, or never given a format: the input passes untouched.
TEST(GraphicEQ, BypassIsBitExact)
{
    for (uint16_t channels : {2, 1, 0}) {
        CGraphicEQ eq;
        if (channels)
            Prepare(eq, 48000, 128, channels);
        Shape(eq);
        eq.set_Activate(channels == 0);
        Stereo in(ref::Noise(100, 41, 2.0f), ref::Noise(100, 42, 0.3f)), out(100);
        in.l[5] = std::numeric_limits<float>::quiet_NaN();
        in.l[6] = -0.0f;
        Process(eq, in, out);
        for (int i = 0; i < 100; ++i) {
            ASSERT_EQ(Bits(out.l[i]), Bits(in.l[i]));
            ASSERT_EQ(Bits(out.r[i]), Bits(in.r[i])) << "both channels even for a mono format, " << channels;
        }
        float il, ir, ol, orr;
        eq.GetVU(&il, &ir, &ol, &orr);
        EXPECT_EQ(il, ol);
        EXPECT_EQ(ir, orr);
        bool over = true;
        eq.get_OverLevel(&over);
        EXPECT_FALSE(over) << "bypass never raises the over flag";
    }
}

TEST(GraphicEQ, MonoProcessesTheFirstChannel)
{
    CGraphicEQ mono, stereo;
    Prepare(mono, 44100, 256, 1);
    Prepare(stereo, 44100, 256, 2);
    Shape(mono);
    Shape(stereo);
    Stereo in(ref::Noise(256, 61), ref::Noise(256, 62)), a(256), b(256);
    Process(mono, in, a);
    Process(stereo, in, b);
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(Bits(a.l[i]), Bits(b.l[i]));
    float il, ir, ol, orr;
    mono.GetVU(&il, &ir, &ol, &orr);
    EXPECT_EQ(il, ir);
    EXPECT_EQ(ol, orr);
}

// A format change rebuilds the sections from the stored settings.
TEST(GraphicEQ, SettingsSurviveAFormatChange)
{
    CGraphicEQ eq, fresh;
    Prepare(eq, 44100, 64);
    Shape(eq);
    Prepare(eq, 96000, 64);
    Prepare(fresh, 96000, 64);
    Shape(fresh);
    for (int u = 0; u < 30; ++u) {
        EXPECT_EQ(eq.GetUnit(u)->GetK(), fresh.GetUnit(u)->GetK()) << u;
        EXPECT_EQ(eq.GetUnit(u)->GetA1(), fresh.GetUnit(u)->GetA1()) << u;
    }
}

// Values changed together (a program) reach the audio as one change: a
// block that starts while the change is open plays the settings from before
// it, whole; the next block after it plays the new ones, whole.
TEST(GraphicEQ, ValuesChangedTogetherReachTheAudioWhole)
{
    CGraphicEQ eq, reference;
    Prepare(eq, 48000, 256);
    Prepare(reference, 48000, 256);
    Stereo first(ref::Noise(256, 71), ref::Noise(256, 72)), second(ref::Noise(256, 73), ref::Noise(256, 74));
    Stereo a(256), b(256);

    eq.BeginChange();
    Shape(eq);
    Process(eq, first, a);
    Process(reference, first, b);  // flat, as before the change
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(Bits(a.l[i]), Bits(b.l[i])) << "half a change was heard at " << i;
    eq.EndChange();

    Shape(reference);
    Process(eq, second, a);
    Process(reference, second, b);
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(Bits(a.r[i]), Bits(b.r[i])) << "the change was not heard whole at " << i;
}
