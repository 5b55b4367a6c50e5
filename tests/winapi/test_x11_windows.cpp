// Window trees inside a foreign parent window on a real X server (Xvfb in
// CI): input sent through XTest arrives as the right messages, painting
// reaches the screen, and the host's window may vanish. The test's own
// Display plays the host; the layer opens its own connection (the leak test
// is X11Controls.OpeningAndClosingEveryControlLeaksNothing).
#include <functional>

#include "CDC.h"
#include "CString.h"
#include "x11_host_test.h"

namespace {

class CProbeWnd : public CRecorder {
public:
    COLORREF fill = RGB(255, 0, 0);
    bool composeOffscreen = false;
    CBitmap bitmap;
    CProbeWnd() { bitmap.LoadBitmap(9000u); }
    afx_msg void OnPaint()
    {
        CPaintDC dc(this);
        CRect r = ClientRect(*this);
        if (composeOffscreen) {
            // The editor's way: compose the whole client area off screen, copy it.
            CDC off;
            off.CreateBitmapDC(r.Width(), r.Height());
            off.FillSolidRect(r, fill);
            dc.BitBlt(0, 0, r.Width(), r.Height(), &off, 0, 0, SRCCOPY);
        } else {
            dc.FillSolidRect(r, fill);
        }
        CDC mem;
        mem.CreateCompatibleDC(&dc);
        CBitmap* old = mem.SelectObject(&bitmap);
        dc.BitBlt(10, 10, 20, 10, &mem, 0, 0, SRCCOPY);
        mem.SelectObject(old);
    }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CProbeWnd, CRecorder)
    ON_WM_PAINT()
END_MESSAGE_MAP()

// A window that needs typing: it maps WM_KEYDOWN and WM_CHAR.
class CTypingWnd : public CProbeWnd {
public:
    afx_msg void OnKeyDown(UINT, UINT, UINT) {}
    afx_msg void OnChar(UINT, UINT, UINT) {}
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CTypingWnd, CProbeWnd)
    ON_WM_KEYDOWN()
    ON_WM_CHAR()
END_MESSAGE_MAP()

// Runs `then` after handling each message: it may destroy or resize the
// window from inside the window's own message handling.
class CSelfDestructWnd : public CProbeWnd {
public:
    std::function<void(CSelfDestructWnd&, UINT)> then;
    LRESULT WindowProc(UINT message, WPARAM wp, LPARAM lp) override
    {
        LRESULT r = CProbeWnd::WindowProc(message, wp, lp);
        then(*this, message);
        return r;
    }
};

class X11Windows : public X11HostTest {
protected:
    // The last message of this kind the window had carried (x, y).
    static std::function<bool()> Last(const CProbeWnd& w, UINT message, int x, int y)
    {
        return [&w, message, x, y] { return w.Count(message) && w.Of({message}).back().lp == MAKELPARAM(x, y); };
    }
};

}  // namespace

TEST_F(X11Windows, AnchorAdoptsTheHostWindowAndChildrenLiveAndPaintInIt)
{
    CWnd anchor;
    ASSERT_TRUE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent)));
    CRect r;
    anchor.GetWindowRect(&r);
    EXPECT_EQ(r, CRect(kParentX, kParentY, 400, 300)) << "width and height go into right and bottom";
    CProbeWnd panel;
    ASSERT_TRUE(panel.Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(30, 40, 130, 100), &anchor, 100));
    ASSERT_EQ(panel.Kinds(3), (std::vector<UINT>{WM_CREATE, WM_MOVE, WM_SIZE}));
    EXPECT_EQ(panel.got[1].lp, MAKELPARAM(30, 40));
    EXPECT_EQ(panel.got[2].lp, MAKELPARAM(100, 60));
    EXPECT_EQ(anchor.GetDlgItem(100), &panel);
    EXPECT_EQ(ChildCount(parent), 1);

    // The first paint: background erased (with a drawing context), then painted.
    ASSERT_TRUE(PumpUntil([&] { return panel.Count(WM_PAINT) > 0; }));
    std::vector<Msg> paint = panel.Of({WM_ERASEBKGND, WM_PAINT});
    ASSERT_GE(paint.size(), 2u);
    EXPECT_EQ(paint[0].message, (UINT)WM_ERASEBKGND);
    EXPECT_NE(paint[0].wp, 0u) << "the erase message carries the drawing context";
    EXPECT_EQ(paint[1].message, (UINT)WM_PAINT);
    // Read back through the host's connection, in the parent's coordinates.
    XSync(dpy, False);
    EXPECT_EQ(ScreenPixel(parent, 30 + 1, 40 + 1), 0xFF0000ul);
    EXPECT_EQ(ScreenPixel(parent, 30 + 10 + 5, 40 + 10 + 3), 0x323CC8ul) << "bitmap column 5, row 3";
    EXPECT_EQ(ScreenPixel(parent, 29, 39), 0x404040ul) << "nothing outside the child";
    // Invalidate and pump: repainted in the new colour, composed off screen.
    // A client context draws at once, outside any paint.
    panel.fill = RGB(0, 255, 0);
    panel.composeOffscreen = true;
    panel.Invalidate();
    int paints = panel.Count(WM_PAINT);
    AfxPumpMessages(0);
    EXPECT_EQ(panel.Count(WM_PAINT), paints + 1);
    EXPECT_TRUE(PumpUntil([&] { return XSync(dpy, False), ScreenPixel(parent, 31, 41) == 0x00FF00ul; }));
    // The client context's drawing goes out on the layer's own connection
    // without a round trip: wait for the server to show it.
    CClientDC(&panel).FillSolidRect(0, 0, 5, 5, RGB(0, 0, 255));
    EXPECT_TRUE(PumpUntil([&] { return XSync(dpy, False), ScreenPixel(parent, 31, 41) == 0x0000FFul; }));

    // Resized by us and by someone else: WM_SIZE either way.
    panel.MoveWindow(30, 40, 150, 80);
    EXPECT_EQ(panel.Of({WM_SIZE}).back().lp, MAKELPARAM(150, 80));
    XResizeWindow(dpy, XId(panel), 90, 50);
    XSync(dpy, False);
    ASSERT_TRUE(PumpUntil(Last(panel, WM_SIZE, 90, 50)));
    EXPECT_EQ(ClientRect(panel), CRect(0, 0, 90, 50));
    // The host moves and resizes its window: the anchor follows.
    XMoveResizeWindow(dpy, parent, kParentX + 5, kParentY + 6, 380, 290);
    XSync(dpy, False);
    ASSERT_TRUE(PumpUntil([&] { return anchor.GetWindowRect(&r), r == CRect(kParentX + 5, kParentY + 6, 380, 290); }));
    EXPECT_EQ(ClientRect(anchor), CRect(0, 0, 380, 290));

    // A hidden child (the floating entry window's style) stays unmapped
    // until shown, and moves without resizing, as the floating entry does.
    CProbeWnd hidden;
    ASSERT_TRUE(hidden.Create(nullptr, "", 0x44000000, CRect(0, 0, 40, 20), &panel, 7));
    XWindowAttributes a;
    XGetWindowAttributes(dpy, XId(hidden), &a);
    EXPECT_EQ(a.map_state, IsUnmapped);
    hidden.SetWindowPos(nullptr, 5, 6, 0, 0, SWP_NOSIZE | SWP_SHOWWINDOW);
    XSync(dpy, False);
    XGetWindowAttributes(dpy, XId(hidden), &a);
    EXPECT_EQ(a.map_state, IsViewable);
    EXPECT_EQ(CRect(a.x, a.y, a.x + a.width, a.y + a.height), CRect(5, 6, 45, 26));

    // Window text through the parent, bounded by the buffer; names given
    // by number are never read as addresses.
    char text[8];
    EXPECT_EQ(anchor.GetDlgItemText(100, text, sizeof text), 7);
    EXPECT_STREQ(text, "UIWindo");
    EXPECT_EQ(panel.GetDlgItemText(99, text, sizeof text), 0);
    EXPECT_STREQ(text, "");
    CWnd atom;
    ASSERT_TRUE(atom.Create(MAKEINTRESOURCE(32770), MAKEINTRESOURCE(5000), 0x44000000, CRect(0, 0, 30, 10), &panel, 9));
    EXPECT_EQ(atom.m_className, "#32770");
    EXPECT_EQ(atom.m_windowText, "5000");
    // Nothing queued before destruction reaches a destroyed window.
    panel.PostMessage(WM_USER + 5, 0, 0);
    hidden.SetTimer(1, 10);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(panel.DestroyWindow());
    PumpFor(30);
    EXPECT_EQ(panel.Count(WM_USER + 5), 0);
    EXPECT_EQ(hidden.Count(WM_TIMER), 0);
    EXPECT_FALSE(hidden.m_bCreated) << "children go with their parent";
    EXPECT_EQ(hidden.Count(WM_DESTROY), 1);
    EXPECT_EQ(panel.Count(WM_DESTROY), 1);
    EXPECT_FALSE(panel.DestroyWindow());
    XSync(dpy, False);
    EXPECT_EQ(ChildCount(parent), 0);
    EXPECT_EQ(x11::OpenConnectionCount(), 0) << "the last window closed the connection";
}

TEST_F(X11Windows, ClicksAndKeysArriveAsMessagesAtTheirCoordinates)
{
    Window focusBefore, f;
    int revert;
    XGetInputFocus(dpy, &focusBefore, &revert);
    auto focus = [&] { return XSync(dpy, False), XGetInputFocus(dpy, &f, &revert), f; };
    auto tap = [&](KeySym sym) {
        Key(sym, true);
        Key(sym, false);
    };
    CWnd anchor;
    ASSERT_TRUE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent)));
    CProbeWnd panel;
    ASSERT_TRUE(panel.Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(10, 20, 210, 170), &anchor, 1));
    CTypingWnd edit;
    ASSERT_TRUE(edit.Create(nullptr, "", WS_CHILD | WS_VISIBLE, CRect(120, 100, 190, 120), &panel, 2));
    ASSERT_TRUE(PumpUntil([&] { return panel.Count(WM_PAINT) > 0; }));
    MoveTo(panel, 5, 7);
    ASSERT_TRUE(PumpUntil(Last(panel, WM_MOUSEMOVE, 5, 7)));
    EXPECT_EQ(panel.Of({WM_MOUSEMOVE}).back().wp, 0u);
    EXPECT_GT(panel.Count(WM_SETCURSOR), 0) << "the default OnMouseMove asks for the cursor";

    // Each round: where the pointer goes, the buttons clicked there, and the
    // button messages expected. Two quick clicks at one place are a double
    // click; a quick press far from the last one is a new single click (the
    // top edge is y = 0); a right press right after a left one is not a
    // double click of either.
    const struct Round {
        int x, y;
        std::vector<unsigned> buttons;
        std::vector<UINT> expected;
    } rounds[] = {
        {5, 7, {1, 1}, {WM_LBUTTONDOWN, WM_LBUTTONUP, WM_LBUTTONDBLCLK, WM_LBUTTONUP}},
        {60, 0, {1}, {WM_LBUTTONDOWN, WM_LBUTTONUP}},
        {100, 30, {3, 3, 1, 3}, {WM_RBUTTONDOWN, WM_RBUTTONUP, WM_RBUTTONDBLCLK, WM_RBUTTONUP, WM_LBUTTONDOWN,
                                 WM_LBUTTONUP, WM_RBUTTONDOWN, WM_RBUTTONUP}},
    };
    for (const Round& round : rounds) {
        MoveTo(panel, round.x, round.y);
        ASSERT_TRUE(PumpUntil(Last(panel, WM_MOUSEMOVE, round.x, round.y)));
        panel.got.clear();
        for (unsigned b : round.buttons) Button(true, b), Button(false, b);
        auto buttons = [&] { return panel.Of({WM_LBUTTONDOWN, WM_LBUTTONUP, WM_LBUTTONDBLCLK, WM_RBUTTONDOWN,
                                              WM_RBUTTONUP, WM_RBUTTONDBLCLK}); };
        ASSERT_TRUE(PumpUntil([&] { return buttons().size() >= round.expected.size(); })) << round.x;
        PumpFor(20);
        std::vector<Msg> got = buttons();
        ASSERT_EQ(got.size(), round.expected.size());
        for (size_t i = 0; i < got.size(); ++i) {
            EXPECT_EQ(got[i].message, round.expected[i]) << "message " << i << " at " << round.x << "," << round.y;
            EXPECT_EQ(got[i].lp, MAKELPARAM(round.x, round.y));
            EXPECT_EQ(got[i].wp, 0u);
        }
    }

    // Modifiers of the latest event feed GetKeyState; Control never shows.
    // A resize in between carries no modifiers and clears none.
    Key(XK_Shift_L, true);
    Key(XK_Control_L, true);
    MoveTo(panel, 61, 1);
    ASSERT_TRUE(PumpUntil(Last(panel, WM_MOUSEMOVE, 61, 1)));
    EXPECT_EQ(GetKeyState(VK_CONTROL), 0u);
    XResizeWindow(dpy, XId(panel), 201, 150);
    XSync(dpy, False);
    ASSERT_TRUE(PumpUntil(Last(panel, WM_SIZE, 201, 150)));
    EXPECT_EQ(GetKeyState(VK_SHIFT), 0xFFFF8000u);
    Key(XK_Control_L, false);
    Key(XK_Shift_L, false);
    MoveTo(panel, 62, 1);
    ASSERT_TRUE(PumpUntil(Last(panel, WM_MOUSEMOVE, 62, 1)));
    EXPECT_EQ(GetKeyState(VK_SHIFT), 0u);

    panel.SetFocus();
    EXPECT_EQ(focus(), focusBefore) << "the panel takes no typing, so the keyboard is left alone";
    edit.SetFocus();
    EXPECT_EQ(focus(), XId(edit)) << "a typing window borrows the keyboard";
    // Key, then the key code and character expected (A's ANSI key code is 0).
    const struct { KeySym sym; WPARAM code, ch; } keys[] = {
        {XK_a, 0, 'a'}, {XK_Return, 36, 13}, {XK_Escape, 53, 27}, {XK_Left, 123, 28}};
    for (const auto& k : keys) tap(k.sym);
    ASSERT_TRUE(PumpUntil([&] { return edit.Count(WM_KEYDOWN) >= 4; }));
    std::vector<Msg> got = edit.Of({WM_KEYDOWN, WM_CHAR});
    ASSERT_EQ(got.size(), 8u);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(got[2 * i].message, (UINT)WM_KEYDOWN);
        EXPECT_EQ(got[2 * i].wp, keys[i].code);
        EXPECT_EQ(LOWORD(got[2 * i].lp), 1) << "repeat count";
        EXPECT_EQ(got[2 * i + 1].message, (UINT)WM_CHAR);
        EXPECT_EQ(got[2 * i + 1].wp, keys[i].ch);
    }
    // Focus back on the panel: the keyboard goes back where it was.
    panel.SetFocus();
    EXPECT_EQ(focus(), focusBefore);
    EXPECT_EQ(edit.Count(WM_KILLFOCUS), 1);
    tap(XK_b);
    PumpFor(50);
    EXPECT_EQ(edit.Count(WM_KEYDOWN), 4) << "no keys once the focus is given back";

    // The user clicks into the host while typing: the host's window takes
    // the keyboard, and keys typed with the pointer resting over the entry
    // stay with the host.
    edit.SetFocus();
    PumpFor(20);
    XSetInputFocus(dpy, parent, RevertToParent, CurrentTime);
    XSync(dpy, False);
    PumpFor(30);
    MoveTo(panel, 125, 105);
    PumpFor(20);
    tap(XK_c);
    PumpFor(50);
    EXPECT_EQ(edit.Count(WM_KEYDOWN), 4);
    panel.DestroyWindow();
    EXPECT_EQ(focus(), parent) << "the host's choice of focus is not undone when the editor closes";
}

int g_hostErrors = 0;
int HostErrorHandler(Display*, XErrorEvent*) { return ++g_hostErrors, 0; }

TEST_F(X11Windows, AVanishedParentIsNotFatal)
{
    // The host has its own error handler; the layer must leave it in place
    // and never hand it errors of its own connection.
    XErrorHandler previous = XSetErrorHandler(HostErrorHandler);
    g_hostErrors = 0;
    CWnd anchor;
    EXPECT_FALSE(anchor.AdoptHostWindow(reinterpret_cast<void*>(0x7FFFFFF0ul)));
    EXPECT_EQ(x11::OpenConnectionCount(), 0);
    ASSERT_TRUE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent)));
    CTypingWnd panel;
    ASSERT_TRUE(panel.Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, 100, 100), &anchor, 1));
    panel.SetTimer(1, 10);
    panel.SetFocus();
    PumpFor(30);

    // The host destroys its window before closing the editor (some do).
    XDestroyWindow(dpy, parent);
    XSync(dpy, False);
    parent = 0;
    PumpFor(30);
    // The layer notices and destroys the tree that was inside it, as its
    // windows were destroyed (a modal loop inside it ends the same way);
    // drawing on the gone window afterwards is harmless.
    EXPECT_EQ(panel.GetSafeHwnd(), nullptr);
    EXPECT_EQ(panel.Count(WM_DESTROY), 1);
    panel.Invalidate();
    CClientDC(&panel).FillSolidRect(0, 0, 10, 10, RGB(1, 2, 3));
    EXPECT_FALSE(panel.DestroyWindow());
    EXPECT_EQ(x11::OpenConnectionCount(), 0);

    EXPECT_EQ(g_hostErrors, 0);
    XMapWindow(dpy, 0x7FFFFFF0ul);  // an error of the host's own
    XSync(dpy, False);
    EXPECT_EQ(g_hostErrors, 1) << "the host's errors still reach the host's handler";
    EXPECT_EQ(XSetErrorHandler(previous), &HostErrorHandler);
}

TEST_F(X11Windows, HandlersMayDestroyOrResizeTheirOwnWindow)
{
    CWnd anchor;
    ASSERT_TRUE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent)));
    CProbeWnd keeper;  // keeps the connection open between the cases
    ASSERT_TRUE(keeper.Create(nullptr, "", WS_CHILD | WS_VISIBLE, CRect(300, 0, 310, 10), &anchor, 9));
    CSelfDestructWnd painter, grower, button;
    painter.then = [](CSelfDestructWnd& w, UINT m) { if (m == WM_PAINT) w.DestroyWindow(); };
    grower.then = [](CSelfDestructWnd& w, UINT m) { if (m == WM_PAINT && w.Count(WM_PAINT) == 1) w.MoveWindow(0, 0, 30, 30); };
    button.then = [](CSelfDestructWnd& w, UINT m) { if (m == WM_LBUTTONDOWN) w.DestroyWindow(); };

    ASSERT_TRUE(painter.Create(nullptr, "", WS_CHILD | WS_VISIBLE, CRect(0, 0, 50, 50), &anchor, 1));
    ASSERT_TRUE(PumpUntil([&] { return painter.Count(WM_PAINT) > 0; }));
    EXPECT_FALSE(painter.m_bCreated);
    PumpFor(30);
    EXPECT_EQ(ChildCount(parent), 1) << "the painter's X window is gone, the keeper's stays";

    ASSERT_TRUE(grower.Create(nullptr, "", WS_CHILD | WS_VISIBLE, CRect(0, 0, 20, 20), &anchor, 2));
    ASSERT_TRUE(PumpUntil([&] { return grower.Count(WM_PAINT) >= 2; })) << "repainted at the new size";
    EXPECT_EQ(ClientRect(grower), CRect(0, 0, 30, 30));

    ASSERT_TRUE(button.Create(nullptr, "", WS_CHILD | WS_VISIBLE, CRect(100, 100, 140, 140), &anchor, 3));
    PumpFor(30);
    Click(button, 10, 10);
    ASSERT_TRUE(PumpUntil([&] { return !button.m_bCreated; }));
    PumpFor(30);  // the release (and anything else) for the dead window is dropped
    grower.DestroyWindow();
    keeper.DestroyWindow();
    EXPECT_EQ(x11::OpenConnectionCount(), 0);
}
