#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <ctime>
#include <limits>
#include <vector>

#include <sys/syscall.h>
#include <unistd.h>

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
    for (graphiceq::Engine engine : {graphiceq::Engine::Precise, graphiceq::Engine::Reference}) {
        SCOPED_TRACE(graphiceq::EngineName(engine));
        const int n = 5000;
        Stereo in(ref::Noise(n, 21), ref::Noise(n, 22));
        CGraphicEQ big, pieces;
        big.SetEngine(engine);
        pieces.SetEngine(engine);
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
    // Band indices from outside the table are refused, not used.
    EXPECT_FALSE(eq.set_Gain(15, 0));
    EXPECT_FALSE(eq.set_Q(-1, 0));
    EXPECT_FALSE(eq.get_Gain(99, &v));
}

// Each channel on its own, so a meter or the over flag that reads the other
// side shows up.
TEST(GraphicEQ, OverLevelFlagIsStrictAndStickyOnEitherChannel)
{
    for (int side = 0; side < 2; ++side) {
        CGraphicEQ eq;
        Prepare(eq, 44100, 64);
        eq.set_OutputLevel(0);
        bool over = true;
        eq.get_OverLevel(&over);
        EXPECT_FALSE(over);

        // Flat sections pass an impulse through exactly.
        Stereo in(16), out(16);
        float& x = side ? in.r[0] : in.l[0];
        x = 1.0f;
        Process(eq, in, out);
        EXPECT_EQ(side ? out.r[0] : out.l[0], 1.0f);
        eq.get_OverLevel(&over);
        EXPECT_FALSE(over) << "exactly full scale is not over, side " << side;

        x = -1.0000001f;
        Process(eq, in, out);
        x = 0.0f;
        Process(eq, in, out);  // a quiet block does not clear it
        eq.get_OverLevel(&over);
        EXPECT_TRUE(over) << "side " << side;
        eq.get_OverLevel(&over);
        EXPECT_FALSE(over) << "reading clears the flag";
    }
}

TEST(GraphicEQ, MetersShowTheLatestBlockOfEachChannel)
{
    const float gi = std::pow(10.0f, -6.0f / 20.0f);
    for (int side = 0; side < 2; ++side) {
        CGraphicEQ eq;
        Prepare(eq, 44100, 64);
        eq.set_InputLevel(FixedDB(-6.0));
        Stereo in(64), out(64);
        (side ? in.r : in.l)[10] = -0.8f;
        Process(eq, in, out);
        float vu[4];  // in L, in R, out L, out R
        eq.GetVU(&vu[0], &vu[1], &vu[2], &vu[3]);
        EXPECT_EQ(vu[side], 0.8f * gi) << "input meters read after the input stage, side " << side;
        EXPECT_GT(vu[2 + side], 0.0f) << side;
        EXPECT_LT(vu[2 + side], vu[side]) << side;
        EXPECT_EQ(vu[1 - side], 0.0f) << "the silent channel's input meter, side " << side;
        EXPECT_EQ(vu[3 - side], 0.0f) << "the silent channel's output meter, side " << side;

        // A silent block: the input meters fall to zero, the output meters to
        // the filters' tail, far below the peak before.
        Stereo silent(64);
        Process(eq, silent, out);
        eq.GetVU(&vu[0], &vu[1], &vu[2], &vu[3]);
        EXPECT_EQ(vu[0] + vu[1], 0.0f);
        EXPECT_LT(vu[2] + vu[3], 1e-6f);
    }
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

namespace {
// Meters after one block of constant full scale on both channels: the input
// meter is then the input stage's factor itself.
void MetersOfOnes(CGraphicEQ& eq, float vu[4], float* outL = nullptr)
{
    Stereo in(std::vector<float>(32, 1.0f), std::vector<float>(32, 1.0f)), out(32);
    Process(eq, in, out);
    eq.GetVU(&vu[0], &vu[1], &vu[2], &vu[3]);
    if (outL)
        *outL = out.l[31];
}

// Runs one short block of full scale from a timer signal on the thread that
// starts it, and counts the blocks whose input meter (the input level in
// use) rose above the lowest seen so far.
struct Interrupter {
    static inline CGraphicEQ* eq;
    static inline float heard;
    static inline volatile int blocks, rises;
    static inline timer_t timer;

    static void OnTick(int)
    {
        float l[2] = {1.0f, 1.0f}, r[2] = {1.0f, 1.0f};
        ref::Transform(*eq, l, r, l, r, 2);
        float in = 0;
        eq->GetVU(&in, nullptr, nullptr, nullptr);
        if (in > heard)
            rises = rises + 1;
        else
            heard = in;
        blocks = blocks + 1;
    }
    static void Start(CGraphicEQ& e, float level)
    {
        eq = &e;
        heard = level;
        blocks = rises = 0;
        struct sigaction sa {};
        sa.sa_handler = OnTick;
        sa.sa_flags = SA_RESTART;
        sigaction(SIGRTMIN, &sa, nullptr);
        struct sigevent ev {};
        ev.sigev_notify = SIGEV_THREAD_ID;
        ev.sigev_signo = SIGRTMIN;
        ev._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));  // sigev_notify_thread_id
        ASSERT_EQ(timer_create(CLOCK_MONOTONIC, &ev, &timer), 0);
        const struct itimerspec every = {{0, 20000}, {0, 20000}};  // 20 us
        timer_settime(timer, 0, &every, nullptr);
    }
    static void Stop()
    {
        timer_delete(timer);
        signal(SIGRTMIN, SIG_DFL);
    }
};
}  // namespace

// A setter's change reaches the very next block, with the levels and the
// switch as last set: never a settings slot handed over half written.
TEST(GraphicEQ, EachBlockRunsOneWholeSetting)
{
    CGraphicEQ eq;
    Prepare(eq, 48000, 64);
    const auto factor = [](double dB) { return std::pow(10.0f, static_cast<float>(dB) / 20.0f); };
    float vu[4], last = 0;
    double in = 0, out = -6;
    bool active = true;
    // One setter, then one block, each time.
    const struct {
        char what;  // Input, Output, Activate
        double value;
    } steps[] = {{'I', -3}, {'O', 2}, {'I', 5}, {'A', 0}, {'I', -9}, {'O', 4}, {'A', 1}, {'O', -1}, {'I', 1}};
    for (const auto& s : steps) {
        switch (s.what) {
        case 'I': eq.set_InputLevel(FixedDB(in = s.value)); break;
        case 'O': eq.set_OutputLevel(FixedDB(out = s.value)); break;
        default: eq.set_Activate(active = s.value != 0); break;
        }
        MetersOfOnes(eq, vu, &last);
        const float wantIn = active ? factor(in) : 1.0f;
        const float wantOut = active ? factor(in) * factor(out) : 1.0f;
        EXPECT_NEAR(vu[0], wantIn, 1e-6f * wantIn) << s.what << s.value;
        EXPECT_NEAR(vu[1], wantIn, 1e-6f * wantIn) << s.what << s.value;
        EXPECT_NEAR(vu[2], wantOut, 1e-3f * wantOut) << s.what << s.value;
        EXPECT_NEAR(last, wantOut, 1e-3f * wantOut) << s.what << s.value;
    }

    // The audio thread may run a block at any instant of a setter's work (on
    // one core, by preempting it). A timer signal stands in for it here: the
    // handler runs a block wherever it interrupts a loop that keeps lowering
    // the input level, so the level the blocks run with can only fall. A
    // slot handed over before its level is written runs an older level than
    // one already heard.
    eq.set_InputLevel(0);
    MetersOfOnes(eq, vu);
    Interrupter::Start(eq, vu[0]);
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    int n = 0;
    while (++n < 1000000 && Interrupter::blocks < 5000 && std::chrono::steady_clock::now() < until)
        eq.set_InputLevel(-n);
    Interrupter::Stop();
    EXPECT_GT(Interrupter::blocks, 100) << "the timer hardly ran";
    EXPECT_EQ(Interrupter::rises, 0) << "blocks that ran a level older than one already heard, in "
                                     << Interrupter::blocks << " blocks over " << n << " changes";
}
