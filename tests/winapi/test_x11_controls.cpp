// Standard controls, entry fields, menus, dialogs and message boxes on a
// real X server (Xvfb in CI), driven by XTest input and checked through the
// messages their owners receive, their values and the pixels they show.
#include <cstring>
#include <functional>
#include <string>

#include "CDC.h"
#include "CDialog.h"
#include "CMenu.h"
#include "CString.h"
#include "CZNTEditWnd.h"
#include "StdControls.h"
#include "x11_host_test.h"

namespace {

// Runs action on the user-interface thread once pred holds; checked at every
// pump, so also inside a modal loop. It re-posts a copy of itself until then.
struct WhenTrueStep {
    std::function<bool()> pred;
    std::function<void()> action;
    void operator()() const
    {
        if (pred())
            action();
        else
            x11::PostToUiThread(*this);
    }
};
void WhenTrue(std::function<bool()> pred, std::function<void()> action)
{
    x11::PostToUiThread(WhenTrueStep{std::move(pred), std::move(action)});
}

// A top-level window the layer shows (menu, list, dialog) among the
// children of w, or null.
CWnd* OpenPopup(const CWnd& w)
{
    for (CWnd* c : w.GetChildren())
        if ((c->GetStyle() & WS_POPUP) && c->IsWindowVisible()) return c;
    return nullptr;
}

// w's pop-up is open and one of its controls has the focus: it takes keys.
bool PopupTakesKeys(const CWnd& w)
{
    CWnd* popup = OpenPopup(w);
    return popup && CWnd::GetFocus() && CWnd::GetFocus()->GetParent() == popup;
}

class X11Controls : public X11HostTest {
protected:
    CWnd anchor;
    CRecorder panel;

    void SetUp() override
    {
        X11HostTest::SetUp();
        if (IsSkipped()) return;
        ASSERT_TRUE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent)));
        ASSERT_TRUE(panel.Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, 400, 300), &anchor, 1));
        PumpFor(20);
    }
    void TearDown() override
    {
        if (dpy) {
            panel.DestroyWindow();
            anchor.ReleaseHostWindow();
        }
        X11HostTest::TearDown();
    }

    std::string Text(const CWnd& w)
    {
        char buf[256];
        w.CWnd::GetWindowText(buf, sizeof buf);
        return buf;
    }
};

// --- numeric edits --------------------------------------------------------------------

TEST_F(X11Controls, NumericEditAcceptsOnlyNumbersAndFormatsOnCommit)
{
    struct Case {
        bool sign;
        double min, max;  // input range (min >= max: none)
        const char* keys;
        const char* shown;  // the field's own text afterwards
        const char* value;  // GetWindowText: the scaled integer
    };
    const Case cases[] = {
        {false, 0, 0, "12.5<Return>", "12.5mm", "1250"},
        {false, 0, 0, "1a", "1.0mm", "100"},          // a letter commits instead of being typed
        {false, 0, 0, "-3<Return>", "0.0mm", "0"},  // '-' refused without the sign flag: it commits the empty text
        {true, 0, 0, "-3<Return>", "-3.0mm", "-300"},
        {false, 0, 5, "9<Return>", "5.0mm", "500"},  // clamped to the input range
        {false, 0, 0, "123<BackSpace><Return>", "12.0mm", "1200"},
        {false, 0, 0, "13<Left>2<Return>", "123.0mm", "12300"},
        {false, 0, 0, "45<Left><Left><Delete>", "5.0mm", "500"},  // Delete deletes, then the field reformats
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys);
        CFloatEdit edit;
        ASSERT_TRUE(edit.Create(WS_VISIBLE | ES_AUTOHSCROLL, CRect(10, 10, 150, 34), &panel, 77));
        edit.SetSingnFlag(c.sign);
        if (c.max > c.min) edit.SetInputMinMax(c.min, c.max);
        edit.SetFocus();
        size_t before = panel.got.size();
        TypeAndPump(c.keys);
        EXPECT_EQ(Text(edit), c.shown);
        char value[32];
        edit.GetWindowText(value, sizeof value);
        EXPECT_STREQ(value, c.value);
        bool commanded = false;
        for (size_t i = before; i < panel.got.size(); ++i)
            commanded |= panel.got[i].message == WM_COMMAND && panel.got[i].wp == 77 && panel.got[i].lp == 0;
        EXPECT_TRUE(commanded) << "the commit tells the parent";
    }
}

TEST_F(X11Controls, NumericEditValuesAndRangesWithoutTyping)
{
    // Created from an inclusive rectangle: WM_CREATE, then WM_SIZE, then WM_MOVE.
    struct CRecordingEdit : CFloatEdit {
        std::vector<Msg> got;
        LRESULT WindowProc(UINT m, WPARAM wp, LPARAM lp) override
        {
            got.push_back({m, wp, lp});
            return CFloatEdit::WindowProc(m, wp, lp);
        }
    } edit;
    ASSERT_TRUE(edit.Create(WS_VISIBLE, CRect(10, 10, 150, 34), &panel, 5));
    ASSERT_GE(edit.got.size(), 3u);
    EXPECT_EQ(edit.got[0].message, (UINT)WM_CREATE);
    EXPECT_EQ(edit.got[1].message, (UINT)WM_SIZE);
    EXPECT_EQ(edit.got[1].lp, MAKELPARAM(141, 25));
    EXPECT_EQ(edit.got[2].message, (UINT)WM_MOVE);
    EXPECT_EQ(edit.got[2].lp, MAKELPARAM(10, 10));
    edit.SetWindowText("123");
    EXPECT_EQ(Text(edit), "1.2mm");
    char v[16];
    edit.GetWindowText(v, sizeof v);
    EXPECT_STREQ(v, "120") << "read back from the shown text, at its precision";
    edit.SetInputMinMax(0, 10);
    edit.SetInputMinMax(5, 5);  // ignored: the range stays 0..10
    edit.SetInputMinMax(6, 5);
    EXPECT_EQ(edit.atof_and_limitchk("99"), 10.0);
    EXPECT_EQ(edit.atof_and_limitchk("-1"), 0.0);
    EXPECT_EQ(edit.atof("1e999"), 1.7976931348623157e308);
    EXPECT_EQ(edit.atof("nan"), 0.0);
    CNormalFloatEdit normal;
    normal.SetFloatPoint(2);
    ASSERT_TRUE(normal.MakeWindow(WS_VISIBLE, CRect(10, 40, 150, 64), &panel, 6, false, true));
    normal.SetWindowText("-1234");
    EXPECT_EQ(Text(normal), "-12.34");
}

TEST_F(X11Controls, TextFieldEditsSelectsAndUsesTheClipboard)
{
    struct Case {
        const char* keys;
        const char* text;
    } cases[] = {
        {"abc<Left><Left>X<End>Y", "aXbcY"},
        {"abcd<Home><Delete><Right><BackSpace>", "cd"},
        {"abc<Left>^a^c<End>^v", "abcabc"},  // select all, copy, paste at the end
        {"abc^a^x^v^v", "abcabc"},             // cut, then paste twice
        {"hello<Left><Left>^a", "hello"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys);
        CEdit edit;
        ASSERT_TRUE(edit.Create(WS_VISIBLE, CRect(10, 10, 200, 34), &panel, 40));
        edit.SetFocus();
        TypeAndPump(c.keys);
        EXPECT_EQ(Text(edit), c.text);
    }
    // What was copied is offered to other programs.
    CEdit edit;
    ASSERT_TRUE(edit.Create(WS_VISIBLE, CRect(10, 10, 200, 34), &panel, 41));
    edit.SetFocus();
    TypeAndPump("copied^a^c");
    EXPECT_EQ(XGetSelectionOwner(dpy, XInternAtom(dpy, "CLIPBOARD", False)), XId(edit));
    int a = 0, b = 0;
    edit.GetSel(a, b);
    EXPECT_EQ(b - a, 6) << "select all";
    // A mouse drag selects; typing replaces the selection.
    Click(edit, 3, 12);
    MoveTo(edit, 3, 12);
    Button(true);
    MoveTo(edit, 190, 12);
    PumpFor(40);
    Button(false);
    TypeAndPump("z");
    EXPECT_EQ(Text(edit), "z");
}

// --- spin button -------------------------------------------------------------------------

TEST_F(X11Controls, SpinButtonClampsAndUpdatesItsBuddy)
{
    CEdit buddy;
    CSpinButtonCtrl spin;
    ASSERT_TRUE(buddy.Create(WS_VISIBLE | ES_RIGHT, CRect(10, 10, 69, 33), &panel, 20));
    ASSERT_TRUE(spin.Create(WS_VISIBLE | UDS_SETBUDDYINT | UDS_ARROWKEYS, CRect(70, 10, 86, 33), &panel, 21));
    spin.SetBuddy(&buddy);
    spin.SetRange32(0, 10);
    struct Case {
        int set, pos;
        const char* buddyText;
    } cases[] = {{42, 10, "10"}, {-5, 0, "0"}, {7, 7, "7"}};
    for (const Case& c : cases) {
        spin.SetPos(c.set);
        EXPECT_EQ(spin.GetPos(), c.pos);
        EXPECT_EQ(Text(buddy), c.buddyText);
    }
    PumpFor(30);
    // A click on the upper arrow: one step, the parent hears WM_VSCROLL.
    Click(spin, 8, 3);
    ASSERT_TRUE(PumpUntil([&] { return spin.GetPos() == 8; }));
    PumpFor(30);
    EXPECT_EQ(Text(buddy), "8");
    auto scroll = panel.Of({WM_VSCROLL});
    ASSERT_FALSE(scroll.empty());
    EXPECT_EQ(scroll.back().wp, MAKEWPARAM(SB_THUMBPOSITION, 8));
    // Held down: it repeats, and stops at the lower bound.
    MoveTo(spin, 8, 20);
    Button(true);
    PumpFor(1000);
    Button(false);
    PumpFor(50);
    EXPECT_EQ(spin.GetPos(), 0) << "a held arrow repeats down to the bound";
    EXPECT_EQ(Text(buddy), "0");
    // Up in the buddy steps it (UDS_ARROWKEYS).
    buddy.SetFocus();
    TypeAndPump("<Up><Up>");
    EXPECT_EQ(spin.GetPos(), 2);
    // An inverted range: the upper bound wins.
    spin.SetRange32(10, 0);
    spin.SetPos(5);
    EXPECT_EQ(spin.GetPos(), 0);
}

// --- the floating entry window ------------------------------------------------------------

TEST_F(X11Controls, EntryWindowsCommitOnReturnAndKeypadEnterAndCancelOnEscape)
{
    CWinApp app("controls-test");  // the display context that measures the font
    CFont font;
    font.CreatePointFont(12, "Osaka");
    CWindowAttr attr;
    attr.m_rect = CRect(40, 50, 41, 51);
    CZNTFloatEditWnd floatEntry;
    ASSERT_TRUE(floatEntry.MakeWindow(&panel, &panel, const_cast<char*>(""), &attr, 6, &font, true));
    // Its size follows from the font: 7 characters and the spin button (the
    // edges, SM_CXEDGE, measure 0 here).
    EXPECT_EQ(GetSystemMetrics(45), 0);
    CDC dc;
    dc.CreateDC("DISPLAY", nullptr, nullptr, nullptr);
    dc.SelectObject(&font);
    CSize a = dc.GetTextExtent("A", 1);
    CRect r;
    floatEntry.GetWindowRect(&r);
    EXPECT_EQ(r.Width(), 7 * a.cx + GetSystemMetrics(3));
    EXPECT_EQ(r.Height(), a.cy + a.cy / 2);
    EXPECT_EQ(r.left, 40);
    EXPECT_FALSE(floatEntry.IsWindowVisible());

    struct Case {
        const char* keys;
        UINT message;
        const char* value;  // the edit's value afterwards
    };
    auto run = [&](auto& entry, int value, int min, int max, const char* shown, std::initializer_list<Case> cases) {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.keys);
            entry.SetNewValue(value, min, max);
            entry.ShowWindow(SW_SHOW);
            EXPECT_EQ(Text(entry.m_edit), shown);
            int s0 = 0, s1 = 0;
            entry.m_edit.GetSel(s0, s1);
            EXPECT_EQ(s1 - s0, (int)strlen(shown)) << "the whole text is selected, so typing replaces it";
            size_t before = panel.Of({c.message}).size();
            PumpFor(30);
            TypeAndPump(c.keys);
            ASSERT_EQ(panel.Of({c.message}).size(), before + 1);
            EXPECT_EQ(panel.Of({c.message}).back().wp, 0u);
            EXPECT_FALSE(entry.IsWindowVisible());
            char v[32];
            entry.m_edit.GetWindowText(v, sizeof v);
            EXPECT_STREQ(v, c.value);
        }
    };
    // In tenths from -12.0 to 12.0.
    run(floatEntry, -35, -120, 120, "-3.5",
        {{"12<Return>", 0x0A01, "120"}, {"-4.5<KP_Enter>", 0x0A01, "-45"}, {"7<Escape>", 0x0A00, "70"}});
    EXPECT_EQ(CWnd::GetFocus(), &panel) << "Escape gives the focus back to the parent";
}

// --- combo box ------------------------------------------------------------------------------

TEST_F(X11Controls, ComboBoxNotifiesOnSelectionAndChoosesFromItsList)
{
    CComboBox combo;
    ASSERT_TRUE(combo.Create(WS_VISIBLE | CBS_DROPDOWNLIST, CRect(10, 10, 209, 35), &panel, 1120));
    for (const char* s : {"1:Flat", "2:Rock", "3:Jazz", "4:Voice"}) combo.AddString(s);
    auto selChanges = [&] {
        int n = 0;
        for (const Msg& m : panel.Of({WM_COMMAND})) n += m.wp == MAKEWPARAM(1120, CBN_SELCHANGE);
        return n;
    };
    EXPECT_EQ(combo.SetCurSel(1), 1);
    EXPECT_EQ(selChanges(), 1) << "a programmatic selection notifies";
    char current[32];
    combo.GetWindowText(current, sizeof current);
    EXPECT_STREQ(current, "2:Rock");
    combo.SetCurSel(-1);
    EXPECT_EQ(selChanges(), 1) << "clearing it does not";
    combo.SetCurSel(1);
    PumpFor(30);

    struct Case {
        const char* keys;
        int sel;
        int notes;
    } cases[] = {{"<Down><Down><Return>", 3, 1}, {"<Up><Escape>", 3, 0}, {"<Up><KP_Enter>", 2, 1},
                 {"4<Return>", 3, 1}};  // type-ahead
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys);
        int before = selChanges();
        WhenTrue([&] { return OpenPopup(combo) != nullptr; }, [&] { Type(c.keys); });
        Click(combo, 50, 12);
        ASSERT_TRUE(PumpUntil([&] { return !combo.GetDroppedState() && OpenPopup(combo) == nullptr && selChanges() == before + c.notes; }));
        PumpFor(30);
        EXPECT_EQ(combo.GetCurSel(), c.sel);
        EXPECT_EQ(selChanges(), before + c.notes);
    }
    // A click on an item of the open list chooses it.
    int before = selChanges();
    WhenTrue([&] { return OpenPopup(combo) != nullptr; },
             [&] {
                 CWnd* list = OpenPopup(combo);
                 CRect lr = ClientRect(*list);
                 int row = (lr.Height() - 4) / 4;
                 Click(*list, 20, 2 + row / 2);  // the first item
             });
    Click(combo, 50, 12);
    ASSERT_TRUE(PumpUntil([&] { return selChanges() == before + 1; }));
    EXPECT_EQ(combo.GetCurSel(), 0);
}

// --- pop-up menu --------------------------------------------------------------------------------

TEST_F(X11Controls, PopupMenuSendsTheChosenCommandAndNothingWhenDismissed)
{
    CMenu menu;
    ASSERT_TRUE(menu.CreatePopupMenu());
    menu.AppendMenu(MF_STRING, 1010, "One");
    menu.AppendMenu(MF_CHECKED | MF_GRAYED | MF_DISABLED, 1011, "Two (current)");
    menu.AppendMenu(MF_STRING, 1012, "Three");
    menu.AppendMenu(MF_SEPARATOR);
    menu.AppendMenu(MF_STRING, 1013, "Four");
    enum Way { kKeys, kClickOutside, kClickItem };
    struct Case {
        Way way;
        const char* keys;
        UINT command;  // 0: none
    } cases[] = {
        {kKeys, "<Down><Down><Return>", 1012},  // the greyed item is skipped
        {kKeys, "<Down><Escape>", 0},
        {kKeys, "<End><KP_Enter>", 1013},
        {kKeys, "t<Return>", 1012},  // type-ahead skips the greyed "Two"
        {kClickOutside, "", 0},
        {kClickItem, "", 1010},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys);
        size_t before = panel.Of({WM_COMMAND}).size();
        unsigned long checkPixel = 0;
        WhenTrue([&] { return OpenPopup(panel) != nullptr; },
                 [&] {
                     CWnd* list = OpenPopup(panel);
                     CRect lr = ClientRect(*list);
                     int row = (lr.Height() - 4 - 9) / 4;
                     list->UpdateWindow();
                     XSync(dpy, False);
                     // The check mark of the current item is drawn (dark grey on the menu).
                     unsigned long darkest = 0xFFFFFF;
                     for (int x = 6; x < 20; ++x)
                         for (int y = 2 + row; y < 2 + 2 * row; ++y) darkest = std::min(darkest, ScreenPixel(XId(*list), x, y) & 0xFF);
                     checkPixel = darkest;
                     if (c.way == kKeys) Type(c.keys);
                     if (c.way == kClickOutside) Click(panel, 390, 290);
                     if (c.way == kClickItem) Click(*list, 30, 2 + row / 2);
                 });
        BOOL r = menu.TrackPopupMenu(TPM_LEFTALIGN, 20, 20, &panel);
        EXPECT_EQ(r, c.command != 0);
        auto cmds = panel.Of({WM_COMMAND});
        if (c.command) {
            ASSERT_EQ(cmds.size(), before + 1);
            EXPECT_EQ(cmds.back().wp, c.command);
            EXPECT_EQ(cmds.back().lp, 0);
        } else {
            EXPECT_EQ(cmds.size(), before);
        }
        EXPECT_LT(checkPixel, 0xC0u) << "a check mark beside the current item";
        EXPECT_EQ(OpenPopup(panel), nullptr);
    }
}

// --- modal dialog ------------------------------------------------------------------------------

class CTestDialog : public CDialog {
public:
    CComboBox combo;
    int selChanges = 0;
    bool ownerDisabled = false;
    explicit CTestDialog(CWnd* parent) : CDialog(7001, parent) {}
    void DoDataExchange(CDataExchange* pDX) override { DDX_Control(pDX, 1120, combo); }
    BOOL OnInitDialog() override
    {
        CDialog::OnInitDialog();
        combo.AddString("a");
        combo.AddString("b");
        combo.SetCurSel(1);
        ownerDisabled = !GetParent()->IsWindowEnabled();
        return TRUE;
    }
    afx_msg void OnSel() { ++selChanges; }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CTestDialog, CDialog)
    ON_CBN_SELCHANGE(1120, OnSel)
END_MESSAGE_MAP()

void RegisterTestDialog()
{
    DialogTemplate t;
    t.id = 7001;
    t.caption = "Test";
    t.width = 260;
    t.height = 120;
    t.items = {
        {DialogItemTemplate::kComboBox, 1120, {10, 10, 250, 34}, nullptr, CBS_DROPDOWNLIST},
        {DialogItemTemplate::kEdit, 5000, {10, 44, 250, 68}, "name", 0},
        {DialogItemTemplate::kButton, IDCANCEL, {80, 84, 160, 110}, "Cancel", 0},
        {DialogItemTemplate::kDefButton, IDOK, {170, 84, 250, 110}, "OK", 0},
    };
    AfxRegisterDialogTemplate(t);
}

TEST_F(X11Controls, ModalDialogReturnsFromItsButtonsAndFromReturnAndEscape)
{
    RegisterTestDialog();
    CEdit field;  // has the focus before, and gets it back after
    ASSERT_TRUE(field.Create(WS_VISIBLE, CRect(10, 250, 100, 274), &panel, 3));
    enum Way { kKeys, kClick };
    struct Case {
        Way way;
        const char* keys;
        UINT button;
        INT_PTR result;
    } cases[] = {
        {kKeys, "<Return>", 0, IDOK},     {kKeys, "<Escape>", 0, IDCANCEL}, {kKeys, "<KP_Enter>", 0, IDOK},
        {kClick, "", IDOK, IDOK},         {kClick, "", IDCANCEL, IDCANCEL},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys);
        field.SetFocus();
        CTestDialog dlg(&panel);
        std::string name;
        WhenTrue([&] { return OpenPopup(panel) == &dlg && PopupTakesKeys(panel); },
                 [&] {
                     name = Text(*dlg.GetDlgItem(5000));
                     if (c.way == kKeys) Type(c.keys);
                     if (c.way == kClick) Click(*dlg.GetDlgItem((int)c.button), 20, 10);
                 });
        EXPECT_EQ(dlg.DoModal(), c.result);
        EXPECT_EQ(name, "name");
        EXPECT_TRUE(dlg.ownerDisabled) << "the owner takes no input while the dialog runs";
        EXPECT_TRUE(panel.IsWindowEnabled());
        EXPECT_EQ(dlg.selChanges, 1) << "the programmatic selection in OnInitDialog notified the dialog";
        EXPECT_EQ(dlg.GetSafeHwnd(), nullptr);
        EXPECT_EQ(CWnd::GetFocus(), &field) << "the focus goes back";
    }
}

TEST_F(X11Controls, ModalDialogEndsWhenTheEditorClosesOrTheHostWindowGoes)
{
    RegisterTestDialog();
    // The editor closes under the dialog: its panel is destroyed.
    {
        CTestDialog dlg(&panel);
        WhenTrue([&] { return OpenPopup(panel) == &dlg; }, [&] { panel.DestroyWindow(); });
        EXPECT_EQ(dlg.DoModal(), -1);
        EXPECT_EQ(dlg.GetSafeHwnd(), nullptr);
    }
    // The host destroys its window: the layer tears the tree down.
    ASSERT_TRUE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent)));  // the last child took the anchor along
    ASSERT_TRUE(panel.Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, 400, 300), &anchor, 1));
    CTestDialog dlg(&panel);
    WhenTrue([&] { return OpenPopup(panel) == &dlg; },
             [&] {
                 XDestroyWindow(dpy, parent);
                 XSync(dpy, False);
                 parent = 0;
             });
    EXPECT_EQ(dlg.DoModal(), -1);
    EXPECT_EQ(panel.GetSafeHwnd(), nullptr);
    EXPECT_EQ(x11::OpenConnectionCount(), 0);
}

// --- message box ---------------------------------------------------------------------------------

TEST_F(X11Controls, MessageBoxShowsAStringResourceAndAnswersWithItsButtons)
{
    CString expected;
    ASSERT_TRUE(expected.LoadString(20135));
    struct Case {
        UINT type;
        const char* keys;
        int result;
    } cases[] = {{MB_OKCANCEL, "<Escape>", IDCANCEL}, {MB_OKCANCEL, "<Return>", IDOK},
                 {MB_YESNO | MB_ICONQUESTION, "<Return>", IDYES}, {MB_OK, "<Escape>", IDOK}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys);
        panel.SetFocus();  // the box opens over the window with the focus
        std::string shown;
        int buttons = 0;
        WhenTrue([&] { return PopupTakesKeys(panel); },
                 [&] {
                     CWnd* box = OpenPopup(panel);
                     if (CWnd* text = box->GetDlgItem(0xFFFF)) shown = Text(*text);
                     for (CWnd* w : box->GetChildren()) buttons += dynamic_cast<CButton*>(w) != nullptr;
                     Type(c.keys);
                 });
        EXPECT_EQ(AfxMessageBox(20135u, c.type), c.result);
        EXPECT_EQ(shown, std::string(expected));
        EXPECT_EQ(buttons, (c.type & 0xF) == MB_OK ? 1 : 2);
    }
}

// --- leaks ------------------------------------------------------------------------------------------

TEST_F(X11Controls, OpeningAndClosingEveryControlLeaksNothing)
{
    RegisterTestDialog();
    CWinApp app("controls-test");
    CFont font;
    font.CreatePointFont(12, "Osaka");
    panel.DestroyWindow();  // the fixture's panel would keep the layer's connection open
    // Opened and closed as the editor is: adopt the host's window, build the
    // tree, destroy the panel, delete the objects.
    auto cycle = [&](int i) {
        CWnd frame;
        ASSERT_TRUE(frame.AdoptHostWindow(reinterpret_cast<void*>(parent)));
        CRecorder host;
        ASSERT_TRUE(host.Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, 400, 300), &frame, 2));
        CEdit edit;
        CSpinButtonCtrl spin;
        CComboBox combo;
        CButton button;
        CStatic label;
        CZNTFloatEditWnd entry;
        ASSERT_TRUE(edit.Create(WS_VISIBLE, CRect(10, 10, 100, 30), &host, 10));
        ASSERT_TRUE(spin.Create(WS_VISIBLE | UDS_SETBUDDYINT, CRect(101, 10, 116, 30), &host, 11));
        spin.SetBuddy(&edit);
        ASSERT_TRUE(combo.Create(WS_VISIBLE | CBS_DROPDOWNLIST, CRect(10, 40, 150, 64), &host, 12));
        combo.AddString("x");
        combo.SetCurSel(0);
        ASSERT_TRUE(button.Create("OK", WS_VISIBLE, CRect(10, 70, 90, 96), &host, 13));
        ASSERT_TRUE(label.Create("Label", WS_VISIBLE, CRect(10, 100, 90, 120), &host));
        CWindowAttr attr;
        attr.m_rect = CRect(200, 10, 201, 11);
        ASSERT_TRUE(entry.MakeWindow(&host, &host, const_cast<char*>(""), &attr, 6, &font, true));
        entry.SetNewValue(10, -120, 120);
        entry.ShowWindow(SW_SHOW);  // its caret blinks on a timer
        edit.SetFocus();            // a typing window borrows the keyboard
        host.SetTimer(1024, 10);
        host.PostMessage(WM_USER, (WPARAM)i, 0);
        AfxPumpMessages(0);
        host.UpdateWindow();
        CDC off;  // composed off screen and copied outside a paint
        off.CreateBitmapDC(10, 10);
        CClientDC(&host).BitBlt(0, 0, 10, 10, &off, 0, 0, SRCCOPY);
        if (i % 5 == 0) {
            CMenu menu;
            menu.CreatePopupMenu();
            menu.AppendMenu(MF_STRING, 1010, "a");
            WhenTrue([&] { return OpenPopup(host) != nullptr; }, [&] { Type("<Escape>"); });
            menu.TrackPopupMenu(0, 10, 10, &host);
            CTestDialog dlg(&host);
            WhenTrue([&] { return OpenPopup(host) == &dlg && PopupTakesKeys(host); }, [&] { Type("<Escape>"); });
            EXPECT_EQ(dlg.DoModal(), IDCANCEL);
        }
        host.PostMessage(WM_USER, (WPARAM)i, 0);  // left undelivered on purpose
        EXPECT_TRUE(host.DestroyWindow());
    };
    cycle(-5);  // warm-up: fonts, caches, the first connection's buffers
    AfxPumpMessages(0);
    XSync(dpy, False);
    int fds = CountEntries("/proc/self/fd"), threads = CountEntries("/proc/self/task");
    int rootWindows = ChildCount(DefaultRootWindow(dpy));
    for (int i = 0; i < 100 && !HasFatalFailure(); ++i) {
        cycle(i);
        AfxPumpMessages(0);
    }
    XSync(dpy, False);
    EXPECT_EQ(CountEntries("/proc/self/fd"), fds) << "file descriptors left";
    EXPECT_EQ(CountEntries("/proc/self/task"), threads) << "threads left";
    EXPECT_EQ(ChildCount(DefaultRootWindow(dpy)), rootWindows) << "menu or dialog windows left";
    EXPECT_EQ(ChildCount(parent), 0) << "X windows left in the host's window";
    EXPECT_EQ(x11::OpenConnectionCount(), 0) << "display connections left";
}

}  // namespace
