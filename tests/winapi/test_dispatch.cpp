// Message maps and dispatch, commands, focus, capture, key state and the
// small lookups. No display needed: the windows here are never created.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "CDC.h"
#include "CFile.h"
#include "CFileFind.h"
#include "CWnd.h"
#include "WinStr.h"

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
    afx_msg void OnKillFocus(CWnd* other) { lastOther = other; calls.push_back({"killfocus", 0, 0, 0}); }
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
    afx_msg LRESULT OnReturnSecond(WPARAM, LPARAM) { calls.push_back({"second-return", 0, 0, 0}); return 22; }
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
    int saves = 0;
    bool saveEnabled = true;
    afx_msg void OnSelect(UINT id) { picked.push_back(id); }
    afx_msg void OnCombo() { ++comboChanges; }
    afx_msg void OnSave() { ++saves; }
    afx_msg void OnUpdateSave(CCmdUI* ui) { ui->Enable(saveEnabled); }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CCmdWnd, CWnd)
    ON_COMMAND_RANGE(1010, 1110, OnSelect)
    ON_CBN_SELCHANGE(1120, OnCombo)
    ON_COMMAND(2000, OnSave)
    ON_UPDATE_COMMAND_UI(2000, OnUpdateSave)
END_MESSAGE_MAP()

UINT g_registered = RegisterWindowMessage("GraphicEQ.TestMessage");

class CRegWnd : public CWnd {
public:
    afx_msg LRESULT OnRegistered(WPARAM wp, LPARAM) { return (LRESULT)wp * 2; }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CRegWnd, CWnd)
    ON_REGISTERED_MESSAGE(g_registered, OnRegistered)
END_MESSAGE_MAP()

class CRefusingWnd : public CWnd {
public:
    BOOL PreCreateWindow(CREATESTRUCT&) override { return FALSE; }
    int creates = 0;
    afx_msg int OnCreate(LPCREATESTRUCT) { ++creates; return 0; }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CRefusingWnd, CWnd)
    ON_WM_CREATE()
END_MESSAGE_MAP()

// An entry field that reports its value scaled, as the editor's fields do:
// it overrides the buffer form of GetWindowText only.
class CScaledField : public CWnd {
public:
    using CWnd::GetWindowText;
    int GetWindowText(LPTSTR buf, int nMaxCount) const override
    {
        char raw[64];
        CWnd::GetWindowText(raw, sizeof raw);
        CString scaled;
        scaled.Format("%d", (int)(atof(raw) * 10));
        int n = std::min(scaled.GetLength(), nMaxCount - 1);
        memcpy(buf, (const char*)scaled, (size_t)n);
        buf[n] = 0;
        return n;
    }
};

}  // namespace

TEST(Dispatch, FirstMatchWinsAndBaseMapsAreSearched)
{
    CDerivedWnd w;
    EXPECT_EQ(w.SendMessage(0x0A01, 3, 4), 11);
    ASSERT_EQ(w.calls.size(), 1u);
    EXPECT_STREQ(w.calls[0].who, "first-return");

    // Only in the base class's map.
    w.SendMessage(WM_LBUTTONDOWN, 0, MAKELPARAM(10, 20));
    ASSERT_EQ(w.calls.size(), 2u);
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
}

TEST(Dispatch, UnhandledMessagesReturnMinusOne)
{
    CBaseWnd w;
    EXPECT_EQ(w.SendMessage(0x7777, 1, 2), -1);
    EXPECT_EQ(w.SendMessage(WM_CHAR, 'a', 0), -1);  // CWnd's map has no WM_CHAR
    CWnd plain;
    EXPECT_EQ(plain.SendMessage(WM_TIMER), -1);
    EXPECT_EQ(plain.SendMessage(WM_PAINT), 0);  // handled by CWnd's map, returns nothing
    EXPECT_EQ(plain.Default(), 0);
    EXPECT_TRUE(w.calls.empty());
}

TEST(Dispatch, SignatureKindsUnpackParameters)
{
    CBaseWnd w;
    w.SendMessage(WM_LBUTTONDOWN, 0, MAKELPARAM(-5, -7));  // kind 49: sign-extended point
    w.SendMessage(WM_LBUTTONDOWN, 0, MAKELPARAM(0x7FFF, 0x8000));
    w.SendMessage(WM_SIZE, 0, MAKELPARAM(300, 200));  // kind 17
    w.SendMessage(WM_KEYDOWN, 36, MAKELPARAM(1, 0x40));  // kind 16
    w.SendMessage(WM_TIMER, 0x100000005ull, 0);  // kind 13: low 32 bits of first
    w.SendMessage(WM_KILLFOCUS, (WPARAM)(uintptr_t)&w, 0);  // kind 23: the pointer itself
    ASSERT_EQ(w.calls.size(), 6u);
    EXPECT_EQ(w.calls[0].x, -5);
    EXPECT_EQ(w.calls[0].y, -7);
    EXPECT_EQ(w.calls[1].x, 32767);
    EXPECT_EQ(w.calls[1].y, -32768);
    EXPECT_EQ(w.calls[2].x, 300);
    EXPECT_EQ(w.calls[2].y, 200);
    EXPECT_EQ(w.calls[3].a, 36u);
    EXPECT_EQ(w.calls[3].x, 1);
    EXPECT_EQ(w.calls[3].y, 0x40);
    EXPECT_EQ(w.calls[4].a, 5u);
    EXPECT_EQ(w.lastOther, &w);
}

TEST(Dispatch, DefaultSizeHandlerRecordsTheClientArea)
{
    CWnd w;
    w.SendMessage(WM_SIZE, 0, MAKELPARAM(640, 480));
    CRect r;
    w.GetClientRect(&r);
    EXPECT_EQ(r, CRect(0, 0, 640, 480));
}

TEST(Dispatch, CommandsRouteByIdentifierRangeAndCode)
{
    CCmdWnd w;
    EXPECT_EQ(w.SendMessage(WM_COMMAND, 1010, 0), 1);
    w.SendMessage(WM_COMMAND, 1110, 0);
    w.SendMessage(WM_COMMAND, 1050, 0);
    EXPECT_EQ(w.SendMessage(WM_COMMAND, 1009, 0), -1);
    EXPECT_EQ(w.SendMessage(WM_COMMAND, 1111, 0), -1);
    EXPECT_EQ(w.SendMessage(WM_COMMAND, MAKEWPARAM(1050, 1), 0), -1) << "code must match";
    EXPECT_EQ(w.SendMessage(WM_COMMAND, 0, 0), -1) << "identifier 0 is never a command";
    EXPECT_EQ(w.picked, (std::vector<UINT>{1010, 1110, 1050}));

    w.SendMessage(WM_COMMAND, MAKEWPARAM(1120, 1), (LPARAM)(intptr_t)&w);
    EXPECT_EQ(w.comboChanges, 1);
    w.SendMessage(WM_COMMAND, MAKEWPARAM(1120, 2), (LPARAM)(intptr_t)&w);
    EXPECT_EQ(w.comboChanges, 1);

    // A menu command is asked first whether it is enabled.
    w.SendMessage(WM_COMMAND, 2000, 0);
    w.saveEnabled = false;
    EXPECT_EQ(w.SendMessage(WM_COMMAND, 2000, 0), 1) << "a disabled command is swallowed, not unhandled";
    EXPECT_EQ(w.saves, 1);
    // A control's notification is not a menu command: no enable query.
    w.SendMessage(WM_COMMAND, 2000, (LPARAM)(intptr_t)&w);
    EXPECT_EQ(w.saves, 2);
}

TEST(Dispatch, RegisteredMessages)
{
    EXPECT_GE(g_registered, 0xC000u);
    EXPECT_EQ(RegisterWindowMessage("GraphicEQ.TestMessage"), g_registered);
    EXPECT_NE(RegisterWindowMessage("GraphicEQ.Other"), g_registered);
    CRegWnd w;
    EXPECT_EQ(w.SendMessage(g_registered, 21, 0), 42);
    EXPECT_EQ(w.SendMessage(g_registered + 1, 21, 0), -1);
}

TEST(Dispatch, CacheGivesTheSameAnswersAsAScan)
{
    const AFX_MSGMAP* maps[] = {CWnd::GetThisMessageMap(), CBaseWnd::GetThisMessageMap(),
                                CDerivedWnd::GetThisMessageMap(), CCmdWnd::GetThisMessageMap(),
                                CCmdTarget::GetThisMessageMap()};
    // Two passes: the first fills the cache (with evictions, as different
    // (message, map) pairs share slots), the second mostly hits it.
    for (int pass = 0; pass < 2; ++pass)
        for (const AFX_MSGMAP* m : maps)
            for (UINT msg = 0; msg < 0x0C00; ++msg)
                ASSERT_EQ(AfxFindMessageEntry(m, msg), AfxScanMessageMap(m, msg)) << "message " << msg;
    const AFX_MSGMAP_ENTRY* e = AfxFindMessageEntry(CDerivedWnd::GetThisMessageMap(), 0x0A01);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->nSig, (UINT_PTR)AfxSig_lwl);
    EXPECT_EQ(AfxFindMessageEntry(CDerivedWnd::GetThisMessageMap(), WM_COMMAND), nullptr);
}

TEST(Windows, CreateFailsWithoutAParentViewOrWhenRefused)
{
    CRefusingWnd r;
    EXPECT_FALSE(r.Create(nullptr, "x", WS_VISIBLE, CRect(0, 0, 10, 10), nullptr, 1));
    EXPECT_EQ(r.creates, 0);
    CBaseWnd parent, child;
    EXPECT_FALSE(child.Create(nullptr, "x", WS_VISIBLE, CRect(0, 0, 10, 10), &parent, 3));
    EXPECT_EQ(child.GetParent(), &parent);
    EXPECT_EQ(child.GetDlgCtrlID(), 3);
    EXPECT_FALSE(child.DestroyWindow()) << "never created";
    EXPECT_EQ(parent.GetDlgItem(3), nullptr);
}

TEST(Windows, FocusAndCapture)
{
    CBaseWnd a, b;
    EXPECT_EQ(a.SetFocus(), nullptr);
    EXPECT_EQ(CWnd::GetFocus(), &a);
    EXPECT_EQ(b.SetFocus(), &a);
    EXPECT_EQ(a.lastOther, &b) << "the old window is told who gains focus";
    EXPECT_EQ(CWnd::GetFocus(), &b);

    EXPECT_EQ(a.SetCapture(), nullptr);
    EXPECT_EQ(b.SetCapture(), &a);
    EXPECT_EQ(GetCapture(), &b);
    EXPECT_TRUE(ReleaseCapture());
    EXPECT_FALSE(ReleaseCapture());
    EXPECT_EQ(GetCapture(), nullptr);

    // Destroying (here: deleting) a window clears the records that name it.
    {
        CWnd c;
        c.SetFocus();
        c.SetCapture();
    }
    EXPECT_EQ(CWnd::GetFocus(), nullptr);
    EXPECT_EQ(GetCapture(), nullptr);
}

// Control held down is covered with real key events in the X11 tests: the
// translation from events never sets the Control bit.
TEST(Windows, KeyStateReadsTheModifierFlags)
{
    AfxSetModifierFlags(AFX_MOD_SHIFT | AFX_MOD_COMMAND);
    EXPECT_EQ(GetKeyState(VK_SHIFT), 0xFFFF8000u);
    EXPECT_EQ((int)GetKeyState(VK_SHIFT) < 0, true);
    EXPECT_EQ(GetKeyState(VK_CONTROL), 0u);
    EXPECT_EQ(GetKeyState(VK_MENU), 0xFFFF8000u);
    EXPECT_EQ(GetKeyState(19), 0u);
    EXPECT_EQ(GetKeyState('A'), 0u);
    AfxSetModifierFlags(AFX_MOD_OPTION);
    EXPECT_EQ(GetKeyState(19), 0xFFFF8000u);
    EXPECT_EQ(GetKeyState(VK_SHIFT), 0u);
    AfxSetModifierFlags(0);
}

TEST(Windows, SmallLookups)
{
    EXPECT_EQ(GetSystemMetrics(45), 0);
    EXPECT_EQ(GetSystemMetrics(2), GetSystemMetrics(3));
    EXPECT_GT(GetSystemMetrics(2), 0);
    EXPECT_EQ(GetSystemMetrics(4), 18);
    EXPECT_EQ(GetSystemMetrics(12), 32);
    EXPECT_EQ(GetSystemMetrics(18), 0);

    HCURSOR arrow = LoadCursor(nullptr, IDC_ARROW);
    EXPECT_NE(arrow, nullptr);
    EXPECT_NE(LoadCursor(nullptr, IDC_IBEAM), arrow);
    EXPECT_EQ(LoadCursor(nullptr, 32641), arrow);
    EXPECT_EQ(LoadCursor(nullptr, 12345), arrow);
    EXPECT_EQ(LoadCursor(nullptr, 32642), LoadCursor(nullptr, 32646));
    EXPECT_EQ(LoadCursor(nullptr, MAKEINTRESOURCE(IDC_ARROW)), arrow);

    EXPECT_EQ(AfxRegisterWndClass(8, arrow, nullptr), nullptr);
    const CString cls = AfxRegisterWndClass(CS_DBLCLKS, arrow, (HBRUSH)GetStockObject(1));
    EXPECT_TRUE(cls.IsEmpty()) << "kept in a string object, the class name reads empty";
    EXPECT_EQ(GetStockObject(1), nullptr);
    EXPECT_EQ(GetStockObject(5), nullptr);
}

TEST(Windows, TextGoesInAndOutAsStringObjects)
{
    CWnd w;
    CString text;
    w.GetWindowText(text);
    EXPECT_TRUE(text.IsEmpty());
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
    EXPECT_EQ(text, "15");
}

// The window, drawing and file halves of the layer share one class tree
// and one set of basic types: both halves in one file, objects of either
// deleted through the common root.
TEST(Windows, WindowsDrawingAndFilesShareOneClassTree)
{
    static_assert(std::is_base_of<CObject, CWnd>::value && std::is_base_of<CObject, CDC>::value &&
                      std::is_base_of<CObject, CFile>::value && std::is_base_of<CObject, CFileFind>::value,
                  "one root");
    std::unique_ptr<CObject> objects[] = {std::make_unique<CWnd>(), std::make_unique<CDC>(),
                                          std::make_unique<CBitmap>(), std::make_unique<CFile>(),
                                          std::make_unique<CFileFind>()};
    HINSTANCE instance = nullptr;
    char text[16];
    EXPECT_EQ(LoadString(instance, 5000, text, sizeof text), 4u);
    EXPECT_EQ(LoadCursor(instance, IDC_ARROW), LoadCursor(nullptr, IDC_ARROW));
}

TEST(Windows, ApplicationObject)
{
    EXPECT_EQ(AfxGetApp(), nullptr);
    {
        char name[] = "GraphicEQ";
        CWinApp app(name);
        name[0] = 'X';
        EXPECT_EQ(AfxGetApp(), &app);
        EXPECT_STREQ(app.m_pszAppName, "GraphicEQ") << "the name is a private copy";
        EXPECT_EQ(app.m_nThreadID, std::this_thread::get_id());
    }
    EXPECT_EQ(AfxGetApp(), nullptr);
}
