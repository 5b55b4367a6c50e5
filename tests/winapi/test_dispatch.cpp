// Message maps and dispatch, commands, focus, capture, key state and window
// text. No display needed: the windows here are never created.
#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "CWnd.h"

namespace {

struct Call {
    const char* who;
    UINT a;
    int x, y;
};

class CBaseWnd : public CWnd {
public:
    std::vector<Call> calls;
    afx_msg void OnLButtonDown(UINT flags, CPoint p) { calls.push_back({"base-down", flags, p.x, p.y}); }
    afx_msg LRESULT OnReturn(WPARAM wp, LPARAM lp) { calls.push_back({"base-return", (UINT)wp, 0, 0}); return (LRESULT)(wp + lp); }
    afx_msg void OnSize(UINT type, int cx, int cy) { calls.push_back({"size", type, cx, cy}); }
    afx_msg void OnKeyDown(UINT key, UINT repeat, UINT flags) { calls.push_back({"key", key, (int)repeat, (int)flags}); }
    afx_msg void OnKillFocus(CWnd* other) { lastOther = other; }
    afx_msg void OnTimer(UINT id) { calls.push_back({"timer", id, 0, 0}); }
    CWnd* lastOther = reinterpret_cast<CWnd*>(1);
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CBaseWnd, CWnd)
    ON_WM_LBUTTONDOWN()
    ON_MESSAGE(0x0A01, OnReturn)
    ON_WM_SIZE()
    ON_WM_KEYDOWN()
    ON_WM_KILLFOCUS()
    ON_WM_TIMER()
END_MESSAGE_MAP()

class CDerivedWnd : public CBaseWnd {
public:
    afx_msg LRESULT OnReturnFirst(WPARAM wp, LPARAM) { calls.push_back({"first-return", (UINT)wp, 0, 0}); return 11; }
    afx_msg LRESULT OnReturnSecond(WPARAM, LPARAM) { return 22; }
    afx_msg int OnCreate(LPCREATESTRUCT cs) { created = cs; return 5; }
    LPCREATESTRUCT created = nullptr;
    DECLARE_MESSAGE_MAP()
};

// The same message twice: the first entry is the one that runs.
BEGIN_MESSAGE_MAP(CDerivedWnd, CBaseWnd)
    ON_MESSAGE(0x0A01, OnReturnFirst)
    ON_MESSAGE(0x0A01, OnReturnSecond)
    ON_WM_CREATE()
END_MESSAGE_MAP()

class CCmdWnd : public CWnd {
public:
    std::vector<UINT> picked;
    int comboChanges = 0;
    afx_msg void OnSelect(UINT id) { picked.push_back(id); }
    afx_msg void OnCombo() { ++comboChanges; }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CCmdWnd, CWnd)
    ON_COMMAND_RANGE(1010, 1110, OnSelect)
    ON_CBN_SELCHANGE(1120, OnCombo)
END_MESSAGE_MAP()

class CRefusingWnd : public CWnd {
public:
    BOOL PreCreateWindow(CREATESTRUCT&) override { return FALSE; }
};

// An entry field that reports its value its own way, as the editor's
// fields do: it overrides the buffer form of GetWindowText only.
class CScaledField : public CWnd {
public:
    using CWnd::GetWindowText;
    int GetWindowText(LPTSTR buf, int n) const override { return snprintf(buf, (size_t)n, "scaled"); }
};

}  // namespace

TEST(Dispatch, FirstMatchWinsBaseMapsAreSearchedUnhandledIsMinusOne)
{
    CDerivedWnd w;
    EXPECT_EQ(w.SendMessage(0x0A01, 3, 4), 11);
    w.SendMessage(WM_LBUTTONDOWN, 0, MAKELPARAM(10, 20));  // only in the base class's map
    ASSERT_EQ(w.calls.size(), 2u);
    EXPECT_STREQ(w.calls[0].who, "first-return");
    EXPECT_STREQ(w.calls[1].who, "base-down");

    // Only in CWnd's own map (two levels up): the default OnCreate runs and
    // answers 0 ... unless the class maps WM_CREATE itself.
    CBaseWnd b;
    CREATESTRUCT cs{};
    cs.style = (LONG)0x50000000;
    EXPECT_EQ(b.SendMessage(WM_CREATE, 0, (LPARAM)(intptr_t)&cs), 0);
    EXPECT_EQ(b.GetStyle(), 0x50000000u);
    EXPECT_EQ(w.SendMessage(WM_CREATE, 0, (LPARAM)(intptr_t)&cs), 5);
    EXPECT_EQ(w.created, &cs);

    EXPECT_EQ(b.SendMessage(0x7777, 1, 2), -1);
    EXPECT_EQ(b.SendMessage(WM_CHAR, 'a', 0), -1);  // CWnd's map has no WM_CHAR
    CWnd plain;
    EXPECT_EQ(plain.SendMessage(WM_TIMER), -1);
    EXPECT_EQ(plain.SendMessage(WM_PAINT), 0);  // handled by CWnd's map, returns nothing
    EXPECT_TRUE(b.calls.empty());

    // The default size handler records the client area.
    plain.SendMessage(WM_SIZE, 0, MAKELPARAM(640, 480));
    CRect r;
    plain.GetClientRect(&r);
    EXPECT_EQ(r, CRect(0, 0, 640, 480));
}

TEST(Dispatch, SignatureKindsUnpackParameters)
{
    CBaseWnd w;
    w.SendMessage(WM_LBUTTONDOWN, 0, MAKELPARAM(-5, -7));  // kind 49: sign-extended point
    w.SendMessage(WM_LBUTTONDOWN, 0, MAKELPARAM(0x7FFF, 0x8000));
    w.SendMessage(WM_SIZE, 0, MAKELPARAM(300, 200));       // kind 17
    w.SendMessage(WM_KEYDOWN, 36, MAKELPARAM(1, 0x40));    // kind 16
    w.SendMessage(WM_TIMER, 0x100000005ull, 0);            // kind 13: low 32 bits of first
    w.SendMessage(WM_KILLFOCUS, (WPARAM)(uintptr_t)&w, 0);  // kind 23: the pointer itself
    const Call want[] = {{"base-down", 0, -5, -7}, {"base-down", 0, 32767, -32768}, {"size", 0, 300, 200},
                         {"key", 36, 1, 0x40}, {"timer", 5, 0, 0}};
    ASSERT_EQ(w.calls.size(), 5u);
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_STREQ(w.calls[i].who, want[i].who);
        EXPECT_EQ(w.calls[i].a, want[i].a) << i;
        EXPECT_EQ(w.calls[i].x, want[i].x) << i;
        EXPECT_EQ(w.calls[i].y, want[i].y) << i;
    }
    EXPECT_EQ(w.lastOther, &w);
}

TEST(Dispatch, CommandsRouteByIdentifierRangeAndCode)
{
    CCmdWnd w;
    EXPECT_EQ(w.SendMessage(WM_COMMAND, 1010, 0), 1);
    const WPARAM cmds[] = {1110, 1050, 1009, 1111, MAKEWPARAM(1050, 1), 0};  // code must match; 0 is no command
    for (WPARAM wp : cmds)
        EXPECT_EQ(w.SendMessage(WM_COMMAND, wp, 0), wp == 1110 || wp == 1050 ? 1 : -1) << wp;
    EXPECT_EQ(w.picked, (std::vector<UINT>{1010, 1110, 1050}));

    w.SendMessage(WM_COMMAND, MAKEWPARAM(1120, 1), (LPARAM)(intptr_t)&w);
    w.SendMessage(WM_COMMAND, MAKEWPARAM(1120, 2), (LPARAM)(intptr_t)&w);
    EXPECT_EQ(w.comboChanges, 1);
}

TEST(Dispatch, CacheGivesTheSameAnswersAsAScan)
{
    // Two maps 512 bytes apart share every cache slot: a slot must know its map.
    struct alignas(512) Twin {
        AFX_MSGMAP map;
    };
    static const Twin twins[2] = {{{CBaseWnd::GetThisMessageMap(), nullptr}}, {{CCmdWnd::GetThisMessageMap(), nullptr}}};
    const AFX_MSGMAP* maps[] = {CWnd::GetThisMessageMap(), CBaseWnd::GetThisMessageMap(),
                                CDerivedWnd::GetThisMessageMap(), CCmdWnd::GetThisMessageMap(),
                                CCmdTarget::GetThisMessageMap(), &twins[0].map, &twins[1].map};
    // Two passes: the first fills the cache (with evictions, as different
    // (message, map) pairs share slots), the second mostly hits it.
    for (int pass = 0; pass < 2; ++pass)
        for (UINT msg = 0; msg < 0x0C00; ++msg)
            for (const AFX_MSGMAP* m : maps)
                ASSERT_EQ(AfxFindMessageEntry(m, msg), AfxScanMessageMap(m, msg)) << "message " << msg;
}

TEST(Windows, CreateFailsWithoutAParentViewOrWhenRefused)
{
    CRefusingWnd r;
    EXPECT_FALSE(r.Create(nullptr, "x", WS_VISIBLE, CRect(0, 0, 10, 10), nullptr, 1));
    CBaseWnd parent, child;
    EXPECT_FALSE(child.Create(nullptr, "x", WS_VISIBLE, CRect(0, 0, 10, 10), &parent, 3));
    EXPECT_FALSE(child.DestroyWindow()) << "never created";
    EXPECT_EQ(parent.GetDlgItem(3), nullptr);
}

TEST(Windows, FocusCaptureAndKeyState)
{
    CBaseWnd a, b;
    EXPECT_EQ(a.SetFocus(), nullptr);
    EXPECT_EQ(b.SetFocus(), &a);
    EXPECT_EQ(a.lastOther, &b) << "the old window is told who gains focus";
    EXPECT_EQ(CWnd::GetFocus(), &b);
    EXPECT_EQ(a.SetCapture(), nullptr);
    EXPECT_EQ(b.SetCapture(), &a);
    EXPECT_EQ(GetCapture(), &b);
    EXPECT_TRUE(ReleaseCapture());
    EXPECT_FALSE(ReleaseCapture());
    // Deleting a window clears the records that name it.
    {
        CWnd c;
        c.SetFocus();
        c.SetCapture();
    }
    EXPECT_EQ(CWnd::GetFocus(), nullptr);
    EXPECT_EQ(GetCapture(), nullptr);

    // Control held down is covered with real key events in the X11 tests.
    const struct { UINT flags; int key; bool down; } keys[] = {
        {AFX_MOD_SHIFT | AFX_MOD_COMMAND, VK_SHIFT, true}, {AFX_MOD_SHIFT | AFX_MOD_COMMAND, VK_MENU, true},
        {AFX_MOD_SHIFT | AFX_MOD_COMMAND, VK_CONTROL, false}, {AFX_MOD_SHIFT | AFX_MOD_COMMAND, 19, false},
        {AFX_MOD_SHIFT | AFX_MOD_COMMAND, 'A', false}, {AFX_MOD_OPTION, 19, true}, {AFX_MOD_OPTION, VK_SHIFT, false}};
    for (const auto& k : keys) {
        AfxSetModifierFlags(k.flags);
        EXPECT_EQ(GetKeyState(k.key), k.down ? 0xFFFF8000u : 0u) << "flags " << k.flags << " key " << k.key;
    }
    AfxSetModifierFlags(0);
}

TEST(Windows, TextGoesInAndOutAsStringObjects)
{
    CWnd w;
    CString text;
    w.SetWindowText(CString("12.5"));
    w.GetWindowText(text);
    EXPECT_EQ(text, "12.5");
    EXPECT_EQ(w.GetWindowTextLength(), 4);
    w.SetWindowText(nullptr);
    EXPECT_EQ(w.GetWindowTextLength(), 0);
    // A resource number is looked up, never read as an address (a missing
    // resource reads as its number).
    w.SetWindowText(MAKEINTRESOURCE(5000));
    w.GetWindowText(text);
    EXPECT_EQ(text, "5000");
    // Long texts come back whole up to the 1023 characters a string object
    // takes, and the buffer form stays bounded.
    w.SetWindowText(CString('7', 3000));
    w.GetWindowText(text);
    EXPECT_EQ(text.GetLength(), 1023);
    char small[4];
    EXPECT_EQ(w.GetWindowText(small, sizeof small), 3);
    EXPECT_STREQ(small, "777");

    // The string-object form reads through the control's own buffer form.
    CScaledField field;
    field.SetWindowText("1.5");
    field.GetWindowText(text);
    EXPECT_EQ(text, "scaled");
}
