// The bitmap controls: faders driven through a window tree with real X
// input (XTest), their callbacks and capture; the switch, the knob and the
// horizontal fader through their calls, drawn into off-screen contexts.
#include <gtest/gtest.h>  // before Xlib (None, Bool)
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <cairo.h>

#include <chrono>
#include <cmath>
#include <vector>

#include "CDC.h"
#include "CWnd.h"
#include "CZNTBitmap.h"
#include "CZNTBitmapSliderDC.h"
#include "CZNTBitmapSwitch2DC.h"
#include "CZNTNewBitmapTumamiDC.h"
#include "x11_host_test.h"

namespace {

struct Call {
    int id;
    float value;
};

bool Record(int id, float value, void* user)
{
    static_cast<std::vector<Call>*>(user)->push_back({id, value});
    return true;
}

// A pixel of an image surface, 0xAARRGGBB as stored.
uint32_t At(cairo_surface_t* s, int x, int y)
{
    cairo_surface_flush(s);
    return *reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s) +
                                              x * 4);
}

// A window that owns one fader and hands it the mouse the way the panel
// does: a press in the fader jumps it there, moves and the release follow.
class CFaderWnd : public CWnd {
public:
    CZNTBitmapSliderDC fader;
    afx_msg void OnPaint()
    {
        CPaintDC dc(this);
        fader.DrawSlider(&dc);
    }
    afx_msg void OnLButtonDown(UINT, CPoint pt)
    {
        if (!fader.PtInSwitch(pt)) return;
        CClientDC dc(this);
        fader.SetValueByPoint(pt);
        fader.DrawSlider(&dc);
    }
    afx_msg void OnMouseMove(UINT, CPoint pt)
    {
        CClientDC dc(this);
        fader.OnMouseMove(pt, &dc);
    }
    afx_msg void OnLButtonUp(UINT, CPoint pt)
    {
        CClientDC dc(this);
        fader.OnLButtonUp(pt, &dc);
    }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CFaderWnd, CWnd)
    ON_WM_PAINT()
    ON_WM_LBUTTONDOWN()
    ON_WM_MOUSEMOVE()
    ON_WM_LBUTTONUP()
END_MESSAGE_MAP()

class FaderUnderX : public X11HostTest {
protected:
    static constexpr int kX = kParentX, kY = kParentY;  // the host window on the screen
    static constexpr int kLeft = 30, kTop = 20;          // the fader in the window
    CWnd anchor;
    CFaderWnd wnd;
    CZNTBitmap track, thumb;
    std::vector<Call> calls;

    void SetUp() override
    {
        X11HostTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        ASSERT_TRUE(track.LoadResourceBitmap(5009u));  // the level faders' images
        ASSERT_TRUE(thumb.LoadResourceBitmap(5010u));
        ASSERT_TRUE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent)));
        ASSERT_TRUE(wnd.Create(nullptr, "", WS_CHILD | WS_VISIBLE, CRect(0, 0, 120, 300), &anchor, 1));
    }
    void TearDown() override
    {
        if (dpy) {
            wnd.DestroyWindow();
            anchor.ReleaseHostWindow();
        }
        X11HostTest::TearDown();
    }
    // Travel ends relative to the fader's top: a the minimum, b the maximum.
    int A() const { return (int)track.Height() - (int)thumb.Height() / 2; }
    int B() const { return (int)thumb.Height() / 2; }
    void Make(bool log, bool reversed, bool snap)
    {
        CRect rc(kLeft, kTop, kLeft + 16, kTop + (int)track.Height()), none;
        CPoint start(1, reversed ? B() : A()), end(1, reversed ? A() : B());
        wnd.fader.Make(rc, none, &wnd, &track, nullptr, &thumb, 0.0f, 1.0f, start, end, 7, 1, log, reversed, false,
                       snap, Record, &calls);
        wnd.Invalidate();
        Pump(50);
    }
    void Pump(int ms)
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (std::chrono::steady_clock::now() < end) AfxPumpMessages(5);
    }
    void MoveTo(int x, int y)
    {
        XTestFakeMotionEvent(dpy, DefaultScreen(dpy), kX + x, kY + y, 0);
        XSync(dpy, False);
        Pump(25);
    }
    void Button(bool down)
    {
        XTestFakeButtonEvent(dpy, 1, down, 0);
        XSync(dpy, False);
        Pump(25);
    }
};

TEST_F(FaderUnderX, DragsFollowTheTravelInEveryMapping)
{
    struct Case {
        const char* name;
        bool log, reversed, snap;
    };
    for (const Case& c : {Case{"linear", false, false, false}, Case{"logarithmic", true, false, false},
                          Case{"reversed", false, true, false}, Case{"snap", false, false, true}}) {
        SCOPED_TRACE(c.name);
        Make(c.log, c.reversed, c.snap);
        const int a = c.reversed ? B() : A(), b = c.reversed ? A() : B();
        auto expect = [&](int d) -> float {
            float v;
            if (c.reversed ? d < a : d > a) v = 0.0f;
            else if (c.reversed ? d > b : d < b) v = 1.0f;
            else if (c.log) v = (float)((std::pow(10.0, double(d - a) / (b - a)) - 1.0) / 9.0);
            else v = (float)(double(a - d) / double(a - b));
            return c.snap ? (v < 0.5f ? 0.0f : 1.0f) : v;
        };
        // A click in the thumb area jumps the value there.
        calls.clear();
        const int d0 = (A() + B()) / 2 + 11;
        MoveTo(kLeft + 8, kTop + d0);
        Button(true);
        EXPECT_EQ(wnd.fader.GetValue(), expect(d0));
        if (expect(d0) != 0.0f) {  // from the minimum Make leaves
            ASSERT_EQ(calls.size(), 1u);
            EXPECT_EQ(calls[0].id, 7);
            EXPECT_NEAR(calls[0].value, expect(d0), 1e-6);
        }
        // Along the travel in steps, past both ends, and out of the window
        // below: every reported value follows the pointer, and only changes
        // are reported.
        std::vector<int> rows;
        for (int d = d0; d > -40; d -= 9) rows.push_back(d);
        for (int d = -40; d < (int)track.Height() + 300; d += 13) rows.push_back(d);
        for (int d : rows) {
            calls.clear();
            const float before = wnd.fader.GetValue();
            MoveTo(kLeft + 8 + (d > 250 ? 200 : 0), kTop + d);
            const float want = expect(d);
            if (want == before) {
                EXPECT_TRUE(calls.empty()) << d;
            } else {
                ASSERT_EQ(calls.size(), 1u) << d;
                EXPECT_NEAR(calls[0].value, want, 1e-6) << d;
            }
        }
        Button(false);
        EXPECT_FALSE(wnd.fader.IsDragging());
        EXPECT_EQ(wnd.fader.GetValue(), expect(rows.back()));  // released far away: still this fader's drag
        // Not dragging any more: moves change nothing.
        calls.clear();
        MoveTo(kLeft + 8, kTop + B());
        EXPECT_TRUE(calls.empty());
    }
}

// --- without X input ----------------------------------------------------------------

TEST(FaderCalls, SetValueClampsNotifiesOnlyChangesAndHorizontalIsLinear)
{
    CZNTBitmap track, thumb;
    ASSERT_TRUE(track.LoadResourceBitmap(5009u));
    ASSERT_TRUE(thumb.LoadResourceBitmap(5010u));
    std::vector<Call> calls;
    CZNTBitmapSliderDC f;
    CRect rc(0, 0, 223, 16), none;
    // Horizontal, logarithmic flag set: mapped linearly all the same.
    f.Make(rc, none, nullptr, &track, nullptr, &thumb, -1.0f, 3.0f, CPoint(10, 0), CPoint(110, 0), 3, 0, true, false,
           false, false, Record, &calls);
    EXPECT_EQ(f.GetValue(), -1.0f);
    const std::pair<int, float> points[] = {{5, -1.0f}, {10, -1.0f}, {35, 0.0f}, {60, 1.0f}, {110, 3.0f}, {200, 3.0f}};
    for (auto [x, want] : points) {
        f.SetValueByPoint(CPoint(x, 5));
        EXPECT_FLOAT_EQ(f.GetValue(), want) << x;
    }
    calls.clear();
    f.SetValue(9.0f, nullptr, true);  // clamped to 3, unchanged: no call
    EXPECT_TRUE(calls.empty());
    f.SetValue(0.5f, nullptr, false);
    EXPECT_TRUE(calls.empty());
    f.SetValue(-7.0f, nullptr, true);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].value, -1.0f);
    // Disabled: clicks are refused.
    f.Enable(false);
    EXPECT_FALSE(f.PtInSwitch(CPoint(50, 5)));
    EXPECT_FALSE(f.SetValueByPoint(CPoint(60, 5)));
}

TEST(SwitchCalls, TogglesThroughSetValueAndALatchedSwitchStaysOn)
{
    CZNTBitmap on, off;
    ASSERT_TRUE(on.LoadResourceBitmap(5002u));
    ASSERT_TRUE(off.LoadResourceBitmap(5003u));
    std::vector<Call> calls;
    for (bool latch : {false, true}) {
        SCOPED_TRACE(latch);
        calls.clear();
        CZNTBitmapSwitch2DC s;
        CRect rc(10, 10, 39, 30), none;
        s.Make(rc, nullptr, &off, &on, 152, none, latch, nullptr, Record, &calls);
        EXPECT_TRUE(s.PtInSwitch(CPoint(10, 10)));
        EXPECT_FALSE(s.PtInSwitch(CPoint(39, 10)));
        s.SetValue(1, true);
        s.SetValue(1, true);  // unchanged: no second call
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].id, 152);
        EXPECT_EQ(calls[0].value, 1.0f);
        s.SetValue(0, true);
        EXPECT_EQ(s.GetValue(), latch ? 1 : 0);
        EXPECT_EQ(calls.size(), latch ? 1u : 2u);
        CDC dc;
        ASSERT_TRUE(dc.CreateBitmapDC(50, 40));
        s.LButtonDown(&dc);
        EXPECT_EQ(s.IsDown(), !latch);
    }

    // Drawing: the on image's pressed frame while pressed, the off image's
    // released frame when disabled without a disable image.
    CZNTBitmapSwitch2DC s;
    CRect rc(0, 0, 29, 20), none;
    s.Make(rc, nullptr, &off, &on, 1, none, false, nullptr, nullptr, nullptr);
    s.SetValue(5, false);
    EXPECT_EQ(s.GetValue(), 1);
    CDC dc;
    ASSERT_TRUE(dc.CreateBitmapDC(29, 20));
    s.LButtonDown(&dc);
    const int half = (int)off.Height() / 2;
    EXPECT_EQ(At(dc.GetOwnedSurface(), 14, 10), At(on.GetImage(), 14, half + 10));
    s.LButtonUp(&dc);
    EXPECT_EQ(At(dc.GetOwnedSurface(), 14, 10), At(on.GetImage(), 14, 10));
    s.Enable(false);
    s.DrawSwitch(&dc);
    EXPECT_EQ(At(dc.GetOwnedSurface(), 14, 10), At(off.GetImage(), 14, 10));
}

TEST(KnobCalls, MapsThePointersAngleAndDrawsTheMatchingFrame)
{
    // The level track as a strip of ten 16 x 22 frames.
    CZNTBitmap strip;
    ASSERT_TRUE(strip.LoadResourceBitmap(5009u));
    std::vector<Call> calls;
    CZNTNewBitmapTumamiDC k;
    CRect rc(100, 100, 116, 122), none;
    k.Make(rc, none, nullptr, &strip, 0.0f, 9.0f, 5, 10, 30.0f, 330.0f, 0, false, Record, &calls);
    EXPECT_FLOAT_EQ(k.GetValue(), 4.5f);  // Make starts half way
    const int cx = 108, cy = 111;
    struct Case {
        int dx, dy;
        double angle;
    };
    // Clockwise from straight down: left 90, up 180, right 270.
    for (const Case& c : {Case{-40, 0, 90.0}, Case{0, -40, 180.0}, Case{40, 0, 270.0}, Case{-40, -40, 135.0}}) {
        calls.clear();
        k.SetValue(CPoint(cx + c.dx, cy + c.dy));
        EXPECT_NEAR(k.GetAngle(), c.angle, 1e-4) << c.dx << "," << c.dy;
        EXPECT_NEAR(k.GetValue(), 9.0 * (c.angle - 30.0) / 300.0, 1e-4);
        ASSERT_EQ(calls.size(), 1u);  // every drag step reports
    }
    // The exact centre changes nothing.
    calls.clear();
    k.SetValue(CPoint(cx, cy));
    EXPECT_TRUE(calls.empty());
    // Resting at the minimum, a pointer on the right half below the centre
    // does not jump to the top end; after a release it maps by angle.
    k.SetValue(0.0f, nullptr, false);
    k.SetValue(CPoint(cx + 3, cy + 40));
    EXPECT_EQ(k.GetValue(), 0.0f);
    EXPECT_TRUE(k.PtInTumami(CPoint(cx, cy)));
    k.OnLButtonUp(CPoint(cx + 40, cy), nullptr);
    EXPECT_FALSE(k.IsDragging());
    k.SetValue(CPoint(cx + 3, cy + 40));
    EXPECT_GT(k.GetValue(), 8.5f);
    // An unchanged value neither calls back nor draws.
    calls.clear();
    k.SetValue(k.GetValue(), nullptr, true);
    EXPECT_TRUE(calls.empty());

    // Frames: value 4 of 0..9 over 10 frames is frame 4; GetIndexValue takes
    // the ceiling where Draw rounds.
    k.SetValue(4.0f, nullptr, false);
    CDC dc;
    ASSERT_TRUE(dc.CreateBitmapDC(200, 200));
    k.Draw(&dc);
    for (int y : {0, 11, 21})
        EXPECT_EQ(At(dc.GetOwnedSurface(), 108, 100 + y), At(strip.GetImage(), 8, 4 * 22 + y)) << y;
    EXPECT_EQ(k.GetIndexValue(), 4u);
    k.SetValue(4.2f, nullptr, false);
    EXPECT_EQ(k.GetIndexValue(), 5u);
}

}  // namespace
