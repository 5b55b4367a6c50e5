// The editor panel inside a real host window under X: layout by pixels,
// faders and the switch driven by XTest, host automation from other threads
// followed by the panel, meters, and open/close cycles under load.
#include <dirent.h>

#include <cmath>

#include "PanelGeometry.h"
#include "PanelHost.h"  // before Xdamage.h: gtest first, then Xlib

#include <X11/extensions/Xdamage.h>

namespace {

// One fader of the panel: its parameter, its corner, its images and travel.
struct Fader {
    const char* name;
    int param, left, top, track, thumb, trackH, thumbH;
    bool log;
    int TravelMin() const { return panel_art::TravelMin(trackH, thumbH); }
    int TravelMax() const { return panel_art::TravelMax(thumbH); }
};

std::vector<Fader> AllFaders()
{
    using namespace panel_art;
    std::vector<Fader> f;
    for (int b = 0; b < 15; ++b) {
        const int trackH = kBandTrackHeight, thumbH = kBandThumbHeight;
        f.push_back({"gain", 3 + b, BandX(b), kGainTop, 5007, 5008, trackH, thumbH, false});
        f.push_back({"Q", 18 + b, BandX(b), kQTop, 5007, 5008, trackH, thumbH, false});
    }
    const int trackH = kLevelTrackHeight, thumbH = kLevelThumbHeight;
    f.push_back({"input", 2, kInputX, kLevelTop, 5009, 5010, trackH, thumbH, true});
    f.push_back({"output", 1, kOutputX, kLevelTop, 5009, 5010, trackH, thumbH, true});
    return f;
}

// Where the thumb's top edge sits for a value (relative to the fader's top).
int ThumbTop(const Fader& f, float v)
{
    if (f.log)
        return panel_art::LogThumbTop(v, f.trackH, f.thumbH);
    return panel_art::LinearThumbTop(v, f.trackH, f.thumbH);
}

// The value a pointer row (relative to the fader's top) gives.
float ValueAt(const Fader& f, int d)
{
    const int a = f.TravelMin(), b = f.TravelMax();
    if (d > a) return 0.0f;
    if (d < b) return 1.0f;
    if (f.log) return (float)((std::pow(10.0, double(d - a) / (b - a)) - 1.0) / 9.0);
    return (float)(double(a - d) / (a - b));
}

class Panel : public PanelHost {
protected:
    // The screen shows the fader's thumb where value v puts it: the thumb's
    // centre pixel over the track, and the track alone clear of the thumb.
    ::testing::AssertionResult ThumbAt(const Fader& f, float v)
    {
        Art bg(5000), track(f.track), thumb(f.thumb);
        const int top = ThumbTop(f, v);
        const int cx = 1 + thumb.W() / 2, cy = top + thumb.H() / 2;
        const uint32_t under = Over(track.At(cx, cy), bg.At(f.left + cx, f.top + cy) & 0xFFFFFF);
        const uint32_t want = Over(thumb.At(thumb.W() / 2, thumb.H() / 2), under);
        const uint32_t got = Pixel(f.left + cx, f.top + cy);
        if (!Near(got, want))
            return ::testing::AssertionFailure() << f.name << " param " << f.param << " value " << v << ": thumb centre "
                                                 << std::hex << got << " want " << want;
        // A track row at the far end of the travel, clear of the thumb.
        const int far = top > track.H() / 2 ? 1 : track.H() - 2;
        const uint32_t trackWant = Over(track.At(cx, far), bg.At(f.left + cx, f.top + far) & 0xFFFFFF);
        if (!Near(Pixel(f.left + cx, f.top + far), trackWant))
            return ::testing::AssertionFailure() << f.name << " param " << f.param << ": track row " << far;
        return ::testing::AssertionSuccess();
    }

    // A check of the screen, retried while the panel idles: on a loaded
    // machine the server may show the frame a little later.
    template <class Check>
    ::testing::AssertionResult Eventually(Check check)
    {
        ::testing::AssertionResult last = check();
        IdleUntil([&] { return bool(last = check()); });
        return last;
    }
    // What the host heard is about one parameter only and comes in whole
    // gestures: begin edit, automation, end edit (several gestures in a row
    // when several is set, as a double-click's two presses make).
    ::testing::AssertionResult OneGesture(int param, bool several = false)
    {
        int open = 0, gestures = 0;
        for (const HostCall& c : g_log.Calls()) {
            if (c.index != param)
                return ::testing::AssertionFailure() << "a call about parameter " << c.index;
            if (c.opcode == audioMasterBeginEdit) {
                if (open++) return ::testing::AssertionFailure() << "begin edit inside a gesture";
                ++gestures;
            } else if (c.opcode == audioMasterEndEdit) {
                if (!open--) return ::testing::AssertionFailure() << "end edit without a begin";
            } else if (!open) {
                return ::testing::AssertionFailure() << "automation outside begin/end edit";
            }
        }
        if (open) return ::testing::AssertionFailure() << "no end edit";
        if (gestures == 0 || (!several && gestures != 1))
            return ::testing::AssertionFailure() << gestures << " gestures";
        return ::testing::AssertionSuccess();
    }
    ::testing::AssertionResult Shows(int x, int y, uint32_t want)
    {
        const uint32_t got = Pixel(x, y);
        if (Near(got, want))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") " << std::hex << got << " want " << want;
    }
    // The modified indicator (5015: unchanged above, modified below) shows
    // the program's state, as soon as the panel has idled.
    ::testing::AssertionResult ShowsModified(bool changed)
    {
        Art modified(5015), bg(5000);
        const int y = 8 + (changed ? modified.H() / 2 : 0);
        return Eventually([&] { return Shows(216 + 20, 10 + 8, Over(modified.At(20, y), bg.At(236, 18) & 0xFFFFFF)); });
    }
};

TEST_F(Panel, EveryControlSitsWhereTheLayoutSaysAndShowsItsValue)
{
    // Give every fader a distinct value first, so a swapped fader shows.
    for (int p = 1; p < 33; ++p) Set(p, float(p % 7) / 7.0f + 0.05f);
    ASSERT_TRUE(Open());
    Settle();
    for (const Fader& f : AllFaders()) EXPECT_TRUE(Eventually([&] { return ThumbAt(f, Get(f.param)); }));
    // The active switch is on: the on image's (5002) released frame at (23, 8).
    Art on(5002), off(5003), bg(5000);
    EXPECT_TRUE(Eventually([&] { return Shows(23 + 10, 8 + 5, Over(on.At(10, 5), bg.At(33, 13) & 0xFFFFFF)); }));
    // Save button, and the modified indicator: the values set above changed
    // the program.
    Art save(5014);
    EXPECT_TRUE(Eventually([&] { return Shows(270 + 20, 10 + 8, Over(save.At(20, 8), bg.At(290, 18) & 0xFFFFFF)); }));
    EXPECT_TRUE(ShowsModified(true));
}

// Reports (does not judge) the time from effEditOpen to the first frame on
// the screen, idling every millisecond meanwhile as a busy host would.
TEST_F(Panel, OpensAndPaintsItsFirstFrame)
{
    for (int run = 0; run < 5; ++run) {
        const auto t0 = std::chrono::steady_clock::now();
        ASSERT_EQ(Dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(win)), 1);
        const auto t1 = std::chrono::steady_clock::now();
        bool painted = false;
        while (!painted && std::chrono::steady_clock::now() - t0 < std::chrono::seconds(3)) {
            Idle();
            painted = (Pixel(rect->right - 2, rect->bottom - 2) & 0xFFFFFF) != 0xFF00FF;
            if (!painted) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const auto t2 = std::chrono::steady_clock::now();
        ASSERT_TRUE(painted);
        using ms = std::chrono::duration<double, std::milli>;
        std::printf("[ figure ] effEditOpen %.1f ms, first frame on screen after %.1f ms\n", ms(t1 - t0).count(),
                    ms(t2 - t0).count());
        Dispatch(effEditClose);
        XClearWindow(dpy, win);
        XSync(dpy, False);
    }
}

TEST_F(Panel, DraggingAFaderAutomatesItsParameterAndKeepsTheMouseOutsideThePanel)
{
    ASSERT_TRUE(Open());
    EXPECT_TRUE(ShowsModified(false));
    const std::vector<Fader> all = AllFaders();
    // Gain band 4, Q band 11, input, output.
    for (const Fader& f : {all[8], all[23], all[30], all[31]}) {
        SCOPED_TRACE(std::string(f.name) + " " + std::to_string(f.param));
        g_log.Clear();
        const int x = f.left + 8;
        // A click on the track jumps the thumb there.
        const int d0 = (f.TravelMin() + f.TravelMax()) / 2 + 7;
        Click(x, f.top + d0);
        std::vector<Automation> got = g_log.Of(f.param);
        ASSERT_EQ(got.size(), 1u);
        EXPECT_NEAR(got[0].value, ValueAt(f, d0), 1e-5);
        EXPECT_FLOAT_EQ(Get(f.param), got[0].value);
        EXPECT_TRUE(Eventually([&] { return ThumbAt(f, got[0].value); }));
        EXPECT_TRUE(ShowsModified(true)) << "the program now differs from its saved values";

        // Drag up along the travel: the values follow and rise. (A press
        // within the double-click time of the click would reset the fader.)
        g_log.Clear();
        IdleFor(450);
        MoveTo(x, f.top + d0);
        Button(true);
        for (int d = d0 - 6; d > f.TravelMax() - 20; d -= 6) MoveTo(x, f.top + d);
        got = g_log.Of(f.param);
        ASSERT_GE(got.size(), 3u);
        for (size_t i = 1; i < got.size(); ++i) EXPECT_GT(got[i].value, got[i - 1].value);
        EXPECT_EQ(got.back().value, 1.0f);
        // Far below the panel, and sideways out of it: still this fader's drag.
        MoveTo(x + 300, rect->bottom + 40);
        Button(false);
        EXPECT_EQ(g_log.Of(f.param).back().value, 0.0f);
        EXPECT_EQ(Get(f.param), 0.0f);
        EXPECT_TRUE(Eventually([&] { return ThumbAt(f, 0.0f); }));
        // Only this fader moved, inside one gesture the host can record.
        EXPECT_TRUE(OneGesture(f.param));
    }
}

// The wheel, Shift with the wheel and with a drag, and a double-click, on
// each kind of fader; every change reaches the host inside begin/end edit.
TEST_F(Panel, WheelStepsShiftStepsFinelyAndDoubleClickResetsEveryKindOfFader)
{
    ASSERT_TRUE(Open());
    const std::vector<Fader> all = AllFaders();
    struct Case {
        Fader f;
        int notches;  // one wheel turn, then Shift and the opposite way twice
        const char *stepped, *fine;
    };
    // Gain band 4, Q band 11, input (already at its top: down), output.
    for (const Case& c : {Case{all[8], 1, "0.5", "0.3"}, Case{all[23], 1, "5.5", "5.3"},
                          Case{all[30], -1, "-1.0", "-0.8"}, Case{all[31], 1, "1.0", "0.8"}}) {
        const Fader& f = c.f;
        SCOPED_TRACE(std::string(f.name) + " " + std::to_string(f.param));
        const float flat = Get(f.param);
        g_log.Clear();
        MoveTo(f.left + 8, f.top + 20);
        Wheel(c.notches);
        EXPECT_EQ(Shown(f.param), c.stepped);
        EXPECT_TRUE(OneGesture(f.param));
        EXPECT_TRUE(Eventually([&] { return ThumbAt(f, Get(f.param)); }));
        g_log.Clear();
        Key(XK_Shift_L, true);
        Wheel(-2 * c.notches);
        Key(XK_Shift_L, false);
        EXPECT_EQ(Shown(f.param), c.fine);
        EXPECT_EQ(g_log.Of(f.param).size(), 2u);

        // Shift-drag: the thumb stays put at the press, then moves a tenth
        // of the pointer's travel; 30 rows down on a linear fader are 3 rows
        // of thumb travel.
        const float before = Get(f.param);
        const double startRow = f.log ? f.TravelMin() + (f.TravelMax() - f.TravelMin()) *
                                                            std::log10(double(before) * 9.0 + 1.0)
                                      : f.TravelMin() - double(before) * (f.TravelMin() - f.TravelMax());
        g_log.Clear();
        Key(XK_Shift_L, true);
        MoveTo(f.left + 8, f.top + 12);
        Button(true);
        EXPECT_EQ(Get(f.param), before);
        for (int dy = 6; dy <= 30; dy += 6) MoveTo(f.left + 8, f.top + 12 + dy);
        Button(false);
        Key(XK_Shift_L, false);
        const float want = f.log ? float((std::pow(10.0, (startRow + 3.0 - f.TravelMin()) /
                                                            (f.TravelMax() - f.TravelMin())) - 1.0) / 9.0)
                                 : float((f.TravelMin() - (startRow + 3.0)) / (f.TravelMin() - f.TravelMax()));
        EXPECT_NEAR(Get(f.param), want, 1e-4);
        EXPECT_LT(Get(f.param), before);
        EXPECT_TRUE(OneGesture(f.param));

        // A double-click anywhere on the fader: back to the flat value.
        g_log.Clear();
        DoubleClick(f.left + 8, f.top + f.TravelMax() + 10);
        EXPECT_EQ(Get(f.param), flat);
        ASSERT_FALSE(g_log.Of(f.param).empty());
        EXPECT_EQ(g_log.Of(f.param).back().value, flat);
        EXPECT_TRUE(OneGesture(f.param, true));
        EXPECT_TRUE(Eventually([&] { return ThumbAt(f, flat); }));
    }
}

TEST_F(Panel, TheActiveSwitchTogglesAndShiftResetsTheProgramToTheFactory)
{
    ASSERT_TRUE(Open());
    Art on(5002), off(5003), bg(5000);
    Click(30, 15);
    ASSERT_EQ(g_log.Of(0).size(), 1u);
    EXPECT_EQ(g_log.Of(0).back().value, 0.0f);
    EXPECT_EQ(Get(0), 0.0f);
    EXPECT_TRUE(Near(Pixel(33, 13), Over(off.At(10, 5), bg.At(33, 13) & 0xFFFFFF)));
    Click(30, 15);
    EXPECT_EQ(g_log.Of(0).back().value, 1.0f);
    EXPECT_TRUE(Near(Pixel(33, 13), Over(on.At(10, 5), bg.At(33, 13) & 0xFFFFFF)));

    // Shift held: the program goes back to its factory values, and the
    // faders show them.
    const float factory = Get(7);
    Set(7, factory > 0.5f ? 0.1f : 0.9f);
    Key(XK_Shift_L, true);
    Click(30, 15);
    Key(XK_Shift_L, false);
    EXPECT_FLOAT_EQ(Get(7), factory);
    Settle();
    EXPECT_TRUE(ThumbAt(AllFaders()[8], factory));
}

TEST_F(Panel, HostAutomationFromOtherThreadsMovesThumbsAndReadoutsAtAnyIdleRate)
{
    ASSERT_TRUE(Open());
    const std::vector<Fader> all = AllFaders();
    const std::vector<uint32_t> readoutBefore = Region(97 + 36 * 2 - 7, 154, 30, 16);
    // Gain band 2 and Q band 9 from a host thread, the output level from
    // the audio thread between blocks.
    AudioThread audio(this, 0.25f, 2);
    std::thread automation([&] {
        for (int i = 0; i <= 100; ++i) {
            Set(5, i / 100.0f);
            Set(27, 1.0f - i / 100.0f);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        Set(1, 0.25f);
    });
    automation.join();
    IdleFor(200);
    audio.Stop();
    Settle();
    EXPECT_TRUE(ThumbAt(all[4], 1.0f));
    EXPECT_TRUE(ThumbAt(all[19], 0.0f));
    EXPECT_TRUE(ThumbAt(all[31], 0.25f));
    EXPECT_NE(Region(97 + 36 * 2 - 7, 154, 30, 16), readoutBefore);
    // The panel did not report the host's own changes back as automation.
    EXPECT_TRUE(g_log.Of(5).empty());

    // Idle calls every 66 ms for a while, then a single one after half a
    // second without any: the panel follows all the same.
    float v = 0.1f;
    for (int idleMs : {66, 500}) {
        SCOPED_TRACE(idleMs);
        v += 0.25f;
        std::thread([&] { Set(14, v); }).join();
        for (int i = 0; i < (idleMs < 100 ? 4 : 1); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(idleMs));
            Idle();
        }
        XSync(dpy, False);
        EXPECT_TRUE(ThumbAt(all[22], v));
    }
}

TEST_F(Panel, MetersRiseWithAudioAndFallHalfADecibelPerIdleCall)
{
    ASSERT_TRUE(Open());
    Art meter(5011);
    const int half = meter.W() / 2, cx = half / 2;
    auto lit = [&](int meterX, int row) {
        const uint32_t l = meter.At(half + cx, row) & 0xFFFFFF, u = meter.At(cx, row) & 0xFFFFFF;
        const uint32_t got = Pixel(meterX + cx, 56 + row);
        return Near(got, l, 8) && !Near(got, u, 8) ? 1 : Near(got, u, 8) && !Near(got, l, 8) ? 0 : -1;
    };
    // Rows that tell lit from unlit.
    auto distinct = [&](int row) {
        return !Near(meter.At(half + cx, row) & 0xFFFFFF, meter.At(cx, row) & 0xFFFFFF, 24);
    };
    // The nearest such row at or above (step -1) or at or below (+1) a row.
    auto rowNear = [&](int want, int step) {
        for (int r = want; r >= 0 && r < meter.H() && std::abs(r - want) < 6; r += step)
            if (distinct(r)) return r;
        return -1;
    };
    const int r10 = rowNear(10, -1), r25 = rowNear(25, 1), r48 = rowNear(48, -1), r70 = rowNear(70, 1);
    ASSERT_TRUE(r10 >= 0 && r25 >= 0 && r48 >= 0 && r70 >= 0);
    for (int x : {29, 38, 669, 678}) EXPECT_EQ(lit(x, r25), 0) << x;  // silence: -69 dB

    // A full-scale block: 0 dB on all four meters, row 19 and below lit.
    Process(1.0f);
    Idle();
    XSync(dpy, False);
    for (int x : {29, 38, 669, 678}) {
        EXPECT_EQ(lit(x, r10), 0) << x;
        EXPECT_EQ(lit(x, r25), 1) << x;
    }
    // Twenty idle calls without audio: down 10 dB (the panel's 75 ms timer
    // may add a call or two), so row 49 and above go dark, row 70 stays lit.
    // (The input meters: the output peak of a step overshoots 0 dB.)
    for (int i = 0; i < 20; ++i) Idle();
    XSync(dpy, False);
    for (int x : {29, 38}) {
        EXPECT_EQ(lit(x, r48), 0) << x;
        EXPECT_EQ(lit(x, r70), 1) << x;
    }
}

// What the editor draws into the host's window, as the X server sees it:
// every rectangle of every drawing request (the Damage extension), counted
// on the panel's window and every window inside it.
struct DrawLog {
    Display* dpy;
    int event = 0;
    std::vector<Damage> damages;
    DrawLog(Display* d, Window top) : dpy(d)
    {
        int error = 0;
        if (!XDamageQueryExtension(dpy, &event, &error)) return;
        Watch(top);
    }
    // The damage objects go with their windows, or with the connection.
    void Watch(Window w)
    {
        Window root, parent, *kids = nullptr;
        unsigned n = 0;
        if (!XQueryTree(dpy, w, &root, &parent, &kids, &n)) return;
        for (unsigned i = 0; i < n; ++i) {
            damages.push_back(XDamageCreate(dpy, kids[i], XDamageReportRawRectangles));
            Watch(kids[i]);
        }
        if (kids) XFree(kids);
    }
    bool Works() const { return event != 0 && !damages.empty(); }
    // The rectangles drawn since the last call (panel coordinates: the
    // panel window sits at the host window's origin).
    std::vector<XRectangle> Take()
    {
        XSync(dpy, False);
        std::vector<XRectangle> out;
        XEvent ev;
        while (XCheckTypedEvent(dpy, event + XDamageNotify, &ev))
            out.push_back(reinterpret_cast<XDamageNotifyEvent&>(ev).area);
        return out;
    }
};

TEST_F(Panel, AnIdlePanelDrawsNothingAndMovingMetersDrawOnlyTheirRows)
{
    ASSERT_TRUE(Open());
    DrawLog log(dpy, win);
    if (!log.Works()) GTEST_SKIP() << "no Damage extension";
    {
        // A running host feeding silence: the meters stay at the floor.
        AudioThread audio(this, 0.0f, 5);
        IdleFor(300);
        log.Take();
        IdleFor(1000);  // some 150 idle calls and a dozen timer firings
        EXPECT_EQ(log.Take().size(), 0u) << "drawn while silent";
    }
    IdleFor(200);
    log.Take();
    EXPECT_EQ(log.Take().size(), 0u) << "drawn with the host stopped";

    // Audio: each meter draws the rows it moved through, nothing else.
    Process(0.5f);
    Idle();
    for (int i = 0; i < 5; ++i) Idle();
    const std::vector<XRectangle> drawn = log.Take();
    EXPECT_FALSE(drawn.empty());
    for (const XRectangle& r : drawn) {
        const bool inMeters = (r.x >= 29 && r.x + r.width <= 47) || (r.x >= 669 && r.x + r.width <= 687);
        EXPECT_TRUE(inMeters && r.y >= 56) << r.x << "," << r.y << " " << r.width << "x" << r.height;
    }
    // A falling meter (0.5 dB, a row and a half per call) draws a few rows
    // at a time, not its whole height.
    for (int i = 0; i < 4; ++i) Idle();
    for (const XRectangle& r : log.Take()) EXPECT_LE(r.height, 6) << r.x << "," << r.y;
    IdleFor(1500);  // the meters back at the floor

    // Host automation that moves neither a thumb by a pixel nor a read-out's
    // text draws nothing; a real move draws the fader and its read-out.
    Set(3, 0.7f);
    IdleFor(100);
    log.Take();
    Set(3, 0.70001f);
    IdleFor(100);
    EXPECT_EQ(log.Take().size(), 0u) << "drawn for a change nobody can see";
    Set(3, 0.2f);
    IdleFor(100);
    EXPECT_FALSE(log.Take().empty());
}

// Entries in a /proc/self directory.
int CountEntries(const char* dir)
{
    int n = 0;
    if (DIR* d = opendir(dir)) {
        while (dirent* e = readdir(d)) n += e->d_name[0] != '.';
        closedir(d);
    }
    return n;
}

int ChildWindows(Display* dpy, Window w)
{
    Window root, parent, *kids = nullptr;
    unsigned n = 0;
    if (!XQueryTree(dpy, w, &root, &parent, &kids, &n)) return -1;
    if (kids) XFree(kids);
    return (int)n;
}

TEST_F(Panel, HundredOpenCloseCyclesWhileAudioRunsAndParametersMoveLeakNothing)
{
    // Warm up once so lazily made process-wide things exist before counting
    // (the layer's wake-up descriptor appears with the first timer firing).
    ASSERT_TRUE(Open());
    IdleFor(200);
    Dispatch(effEditClose);
    XSync(dpy, False);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const int threads = CountEntries("/proc/self/task"), fds = CountEntries("/proc/self/fd");

    AudioThread audio(this, 0.5f, 1);
    std::atomic<bool> stop{false};
    std::thread automation([&] {
        for (int i = 0; !stop; ++i) {
            Set(3 + i % 30, (i % 101) / 100.0f);
            std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
    });
    for (int cycle = 0; cycle < 100; ++cycle) {
        ASSERT_EQ(Dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(win)), 1) << cycle;
        for (int i = 0; i < 3; ++i) {
            Idle();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        Dispatch(effEditClose);
        XSync(dpy, False);
        ASSERT_EQ(ChildWindows(dpy, win), 0) << cycle;
    }
    stop = true;
    audio.Stop();
    automation.join();
    // Nothing more than before the cycles (what was still winding down from
    // the warm-up may be gone by now).
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_LE(CountEntries("/proc/self/task"), threads) << "threads";
    EXPECT_LE(CountEntries("/proc/self/fd"), fds) << "file descriptors";
}

}  // namespace

namespace {

// The real-time checker's counters when it is linked in (the plain build),
// else nothing.
struct RtCounts {
    unsigned long long allocs, frees, lock_waits, syscalls, locks;
};
struct RtCheck {
    void (*begin)() = reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "rtcheck_begin"));
    void (*end)() = reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "rtcheck_end"));
    void (*read)(RtCounts*) = reinterpret_cast<void (*)(RtCounts*)>(dlsym(RTLD_DEFAULT, "rtcheck_read"));
    void (*reset)() = reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "rtcheck_reset"));
    bool Present() const { return begin && end && read && reset; }
};

// As a DAW runs the panel: automation on the audio thread, programs and
// chunks on the host's, the panel idling on this one. The audio thread
// (real-time checker, where linked) never allocates, locks or calls the
// system; afterwards every thumb shows the host's last value.
TEST_F(Panel, FollowsTheHostWhileAutomationPlaysOnTheAudioThreadAndProgramsSwitch)
{
    ASSERT_TRUE(Open());
    const RtCheck rt;
    if (rt.Present())
        rt.reset();
    std::atomic<bool> stop{false}, hostDone{false};
    std::thread audio([&] {
        std::vector<float> l(256, 0.25f), r(256, 0.25f);
        float* io[2] = {l.data(), r.data()};
        for (unsigned n = 0; !stop; ++n) {
            if (rt.Present())
                rt.begin();
            Set(3 + n % 30, (n % 100) / 100.0f);
            fx->processReplacing(fx, io, io, 256);
            if (rt.Present())
                rt.end();
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    });
    std::thread host([&] {
        std::vector<char> bank;
        for (int i = 0; i < 150; ++i) {
            Dispatch(effSetProgram, 0, i % 32);
            if (i % 10 == 0) {
                void* data = nullptr;
                const VstIntPtr n = Dispatch(effGetChunk, 0, 0, &data);
                bank.assign(static_cast<char*>(data), static_cast<char*>(data) + n);
                Dispatch(effSetChunk, 0, n, bank.data());
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        hostDone = true;
    });
    IdleUntil([&] { return hostDone.load(); }, 30000);
    host.join();
    stop = true;
    audio.join();
    if (rt.Present()) {
        RtCounts c{};
        rt.read(&c);
        EXPECT_EQ(c.allocs + c.frees, 0u);
        EXPECT_EQ(c.locks, 0u);
        EXPECT_EQ(c.lock_waits, 0u);
        EXPECT_EQ(c.syscalls, 0u);
    }

    Dispatch(effSetProgram, 0, 5);
    Set(5, 0.75f);
    Settle();
    for (const Fader& f : AllFaders())
        EXPECT_TRUE(Eventually([&] { return ThumbAt(f, Get(f.param)); })) << f.param;
}

}  // namespace
