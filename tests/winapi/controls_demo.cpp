// stdctrl-demo: every standard control of the layer, and the panel's bitmap
// controls, in one window inside a parent window made as a host would.
//   stdctrl-demo                     run until the window is closed (or 60 s)
//   stdctrl-demo --screenshot F.png  open each pop-up in turn and save the
//                                    four views side by side as PNG
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <chrono>
#include <cstdio>
#include <vector>

#include "CDC.h"
#include "CDialog.h"
#include "CMenu.h"
#include "CWnd.h"
#include "CZNTBitmapSliderDC.h"
#include "CZNTBitmapSwitch2DC.h"
#include "CZNTEditWnd.h"
#include "StdControls.h"
#include "demo_host.h"

namespace {

constexpr int kWidth = 560, kHeight = 440;
constexpr UINT kMenuButton = 201, kDialogButton = 202, kMessageButton = 203;
constexpr UINT kDemoDialog = 5040;

const char* const kPrograms[] = {"Flat", "Vocal presence", "Bass boost", "Loudness", "Telephone", "Air"};

class CDemoDialog : public CDialog {
public:
    CComboBox combo;
    CDemoDialog() : CDialog(kDemoDialog, nullptr) {}
    void DoDataExchange(CDataExchange* pDX) override
    {
        CDialog::DoDataExchange(pDX);
        DDX_Control(pDX, 1120, combo);
    }
    BOOL OnInitDialog() override
    {
        CDialog::OnInitDialog();
        for (int i = 0; i < 6; ++i) {
            CString s;
            s.Format("%d:%s", i + 1, kPrograms[i]);
            combo.AddString(s);
        }
        combo.SetCurSel(1);
        return TRUE;
    }
    afx_msg void OnSel()
    {
        int i = combo.GetCurSel();
        if (i >= 0) SetDlgItemText(5000, kPrograms[i]);
    }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CDemoDialog, CDialog)
    ON_CBN_SELCHANGE(1120, OnSel)
END_MESSAGE_MAP()

void RegisterDemoDialog()
{
    DialogTemplate t;
    t.id = kDemoDialog;
    t.caption = "Save Preset";
    t.width = 330;
    t.height = 150;
    t.items = {
        {DialogItemTemplate::kStatic, 0xFFFF, {16, 22, 86, 40}, "Program", 0},
        {DialogItemTemplate::kComboBox, 1120, {90, 16, 314, 42}, nullptr, CBS_DROPDOWNLIST},
        {DialogItemTemplate::kStatic, 0xFFFF, {16, 62, 86, 80}, "Name", 0},
        {DialogItemTemplate::kEdit, 5000, {90, 56, 314, 82}, "", ES_AUTOHSCROLL},
        {DialogItemTemplate::kButton, IDCANCEL, {140, 106, 222, 132}, "Cancel", 0},
        {DialogItemTemplate::kDefButton, IDOK, {232, 106, 314, 132}, "Save", 0},
    };
    AfxRegisterDialogTemplate(t);
}

class CDemoPanel : public CWnd {
public:
    CStatic labels[4];
    CEdit text, spinBuddy;
    CSpinButtonCtrl spin;
    CComboBox combo;
    CZNTFloatEditWnd entry;
    CButton menuButton, dialogButton, messageButton;
    CFont entryFont, titleFont;
    CString log = "Ready.";
    // The panel's bitmap controls, on the panel's own art.
    CZNTBitmap track, thumb, levelTrack, levelThumb, switchOff, switchOn;
    CZNTBitmapSliderDC gain, level;
    CZNTBitmapSwitch2DC active;

    static bool OnControl(int id, float value, void* user)
    {
        char line[64];
        std::snprintf(line, sizeof line, "Control %d: %.3f", id, value);
        static_cast<CDemoPanel*>(user)->Note(line);
        return true;
    }
    void MakeBitmapControls()
    {
        track.LoadResourceBitmap(5007u);
        thumb.LoadResourceBitmap(5008u);
        levelTrack.LoadResourceBitmap(5009u);
        levelThumb.LoadResourceBitmap(5010u);
        switchOff.LoadResourceBitmap(5003u);
        switchOn.LoadResourceBitmap(5002u);
        auto make = [this](CZNTBitmapSliderDC& f, CRect rc, CZNTBitmap& t, CZNTBitmap& th, unsigned id, bool logarithmic) {
            CRect none;
            int trackH = (int)t.Height(), thumbH = (int)th.Height();
            f.Make(rc, none, this, &t, nullptr, &th, 0.0f, 1.0f, CPoint(1, trackH - thumbH / 2), CPoint(1, thumbH / 2),
                   id, 1, logarithmic, false, false, false, &OnControl, this);
        };
        make(gain, CRect(470, 56, 486, 151), track, thumb, 100, false);
        make(level, CRect(510, 56, 526, 279), levelTrack, levelThumb, 151, true);
        gain.SetValue(0.7f, nullptr, false);
        level.SetValue(0.5f, nullptr, false);
        CRect sw(462, 200, 491, 220), none;
        active.Make(sw, this, &switchOff, &switchOn, 152, none, false, nullptr, &OnControl, this);
        active.SetValue(1, false);
    }

    afx_msg int OnCreate(LPCREATESTRUCT cs)
    {
        if (CWnd::OnCreate(cs) == -1) return -1;
        entryFont.CreatePointFont(12, "Osaka");
        titleFont.CreatePointFont(18, "Osaka");
        const char* names[] = {"Text field", "Spin button", "Drop-down list", "Entry window"};
        for (int i = 0; i < 4; ++i)
            labels[i].Create(names[i], WS_VISIBLE, CRect(20, 62 + 44 * i, 130, 80 + 44 * i), this);
        text.Create(WS_VISIBLE | WS_TABSTOP | ES_AUTOHSCROLL, CRect(140, 56, 389, 81), this, 101);
        text.SetWindowText("Bright vocal preset");
        spinBuddy.Create(WS_VISIBLE | ES_RIGHT, CRect(140, 100, 209, 125), this, 102);
        spin.Create(WS_VISIBLE | UDS_SETBUDDYINT | UDS_ARROWKEYS, CRect(210, 100, 227, 125), this, 103);
        spin.SetBuddy(&spinBuddy);
        spin.SetRange32(0, 100);
        spin.SetPos(42);
        combo.Create(WS_VISIBLE | CBS_DROPDOWNLIST, CRect(140, 144, 389, 169), this, 104);
        for (const char* p : kPrograms) combo.AddString(p);
        combo.SetCurSel(2);
        CWindowAttr attr;
        attr.m_rect = CRect(140, 190, 200, 210);
        entry.MakeWindow(this, this, const_cast<char*>(""), &attr, 6, &entryFont, true);
        menuButton.Create("Menu\xE2\x80\xA6", WS_VISIBLE, CRect(20, 236, 130, 264), this, kMenuButton);
        dialogButton.Create("Dialog\xE2\x80\xA6", WS_VISIBLE, CRect(140, 236, 250, 264), this, kDialogButton);
        messageButton.Create("Message\xE2\x80\xA6", WS_VISIBLE | BS_DEFPUSHBUTTON, CRect(260, 236, 370, 264), this,
                             kMessageButton);
        MakeBitmapControls();
        return 0;
    }

    void ShowEntry()
    {
        entry.SetSingnFlag(true);
        entry.SetNewValue(-35, -120, 120);
        entry.ShowWindow(SW_SHOW);
    }

    afx_msg void OnPaint()
    {
        CPaintDC dc(this);
        CRect r;
        GetClientRect(&r);
        dc.FillSolidRect(r, RGB(237, 237, 235));
        dc.FillSolidRect(0, 0, r.Width(), 40, RGB(52, 58, 70));
        dc.SetBkMode(TRANSPARENT);
        dc.SetTextColor(RGB(255, 255, 255));
        dc.SelectObject(&titleFont);
        dc.TextOut(20, 10, "GraphicEQ standard controls");
        dc.SelectObject(&entryFont);
        dc.SetTextColor(RGB(70, 70, 70));
        dc.TextOut(20, 410, log);
        dc.TextOut(452, 290, "Bitmap controls");
        gain.DrawSlider(&dc);
        level.DrawSlider(&dc);
        active.DrawSwitch(&dc);
    }

    void Note(const char* what)
    {
        log = what;
        Invalidate();
    }

    BOOL OnCommand(WPARAM wParam, LPARAM lParam) override
    {
        char line[128];
        switch (LOWORD(wParam)) {
        case kMenuButton: {
            CMenu menu;
            menu.CreatePopupMenu();
            for (int i = 0; i < 6; ++i) {
                CString s;
                s.Format("Copy from %d: %s", i + 1, kPrograms[i]);
                menu.AppendMenu(i == 2 ? MF_CHECKED | MF_GRAYED | MF_DISABLED : MF_STRING, 1010 + i, s);
            }
            menu.AppendMenu(MF_SEPARATOR);
            menu.AppendMenu(MF_STRING, 1100, "Revert to stored");
            CRect br;
            menuButton.GetWindowRect(&br);
            menu.TrackPopupMenu(TPM_LEFTALIGN, br.left, br.bottom + 2, this);
            return TRUE;
        }
        case kDialogButton: {
            CDemoDialog dlg;  // over the panel: the window the user clicked in
            std::snprintf(line, sizeof line, "Dialog returned %d", (int)dlg.DoModal());
            Note(line);
            return TRUE;
        }
        case kMessageButton: {
            CString format, message;
            format.LoadString(20135);
            message.Format(format, "/home/user/.config/GraphicEQ/GraEQDef.fxb");
            std::snprintf(line, sizeof line, "Message box returned %d", AfxMessageBox(message, MB_OKCANCEL | MB_ICONWARNING));
            Note(line);
            return TRUE;
        }
        default:
            if (LOWORD(wParam) >= 1010 && LOWORD(wParam) <= 1100) {
                std::snprintf(line, sizeof line, "Menu command %u", (unsigned)LOWORD(wParam));
                Note(line);
                return TRUE;
            }
        }
        return CWnd::OnCommand(wParam, lParam);
    }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CDemoPanel, CWnd)
    ON_WM_CREATE()
    ON_WM_PAINT()
END_MESSAGE_MAP()

// --- screenshot mode ------------------------------------------------------------------

DemoHost g_host;
std::vector<cairo_surface_t*> g_shots;

// The screen around the parent window (pop-ups included).
void Capture()
{
    int x = 0, y = 0;
    Window child, root = DefaultRootWindow(g_host.dpy);
    XTranslateCoordinates(g_host.dpy, g_host.parent, root, 0, 0, &x, &y, &child);
    if (cairo_surface_t* s = g_host.Grab(root, x, y, kWidth, kHeight)) g_shots.push_back(s);
}

void PressKey(KeySym sym)
{
    KeyCode code = XKeysymToKeycode(g_host.dpy, sym);
    XTestFakeKeyEvent(g_host.dpy, code, True, CurrentTime);
    XTestFakeKeyEvent(g_host.dpy, code, False, CurrentTime);
    XFlush(g_host.dpy);
}

// Runs the tour on a timer: the pop-ups are modal, and the timer keeps
// firing inside their loops.
class CTourWnd : public CWnd {
public:
    CDemoPanel* panel = nullptr;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    int step = 0;
    bool done = false;
    afx_msg void OnTimer(UINT)
    {
        double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        static const double at[] = {0.8, 0.9, 1.6, 1.8, 2.2, 2.6, 2.7, 3.1, 3.4, 3.7, 4.3, 4.6};
        if (step >= 12 || t < at[step]) return;
        switch (step++) {
        case 0: Capture(); break;  // the window itself
        case 1: panel->PostMessage(WM_COMMAND, kMenuButton, 0); break;
        case 2: Capture(); PressKey(XK_Down); break;
        case 3: PressKey(XK_Escape); break;
        case 4: panel->PostMessage(WM_COMMAND, kDialogButton, 0); break;
        case 5: Capture(); break;  // the dialog
        case 6: {
            // Open the dialog's list; its loop runs inside this call.
            if (auto* dlg = dynamic_cast<CDemoDialog*>(CWnd::GetFocus() ? CWnd::GetFocus()->GetParent() : nullptr))
                dlg->combo.ShowDropDown();
            break;
        }
        case 7: Capture(); PressKey(XK_Escape); break;
        case 8: PressKey(XK_Escape); break;
        case 9: panel->PostMessage(WM_COMMAND, kMessageButton, 0); break;
        case 10: Capture(); PressKey(XK_Escape); break;
        case 11: done = true; break;
        }
    }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CTourWnd, CWnd)
    ON_WM_TIMER()
END_MESSAGE_MAP()

bool WriteSheet(const char* path)
{
    constexpr int kGap = 12;
    int n = (int)g_shots.size();
    int cols = 2, rows = (n + 1) / 2;  // the last row may hold one
    cairo_surface_t* sheet = cairo_image_surface_create(CAIRO_FORMAT_RGB24, cols * kWidth + 3 * kGap,
                                                         rows * kHeight + (rows + 1) * kGap);
    cairo_t* cr = cairo_create(sheet);
    cairo_set_source_rgb(cr, 0.18, 0.19, 0.22);
    cairo_paint(cr);
    for (int i = 0; i < n; ++i) {
        cairo_set_source_surface(cr, g_shots[(size_t)i], kGap + (i % cols) * (kWidth + kGap),
                                 kGap + (i / cols) * (kHeight + kGap));
        cairo_paint(cr);
        cairo_surface_destroy(g_shots[(size_t)i]);
    }
    g_shots.clear();
    cairo_destroy(cr);
    bool ok = cairo_surface_write_to_png(sheet, path) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(sheet);
    return ok;
}

}  // namespace

int main(int argc, char** argv)
{
    DemoHost& host = g_host;
    if (int status = host.Parse(argc, argv, 60, 8)) return status;
    if (!host.Open("stdctrl-demo", 40, 40, kWidth, kHeight)) return 77;  // "skipped" for CTest

    CWinApp app("stdctrl-demo");
    RegisterDemoDialog();
    CWnd frame;
    if (!frame.AdoptHostWindow(reinterpret_cast<void*>(host.parent))) {
        std::fprintf(stderr, "stdctrl-demo: cannot adopt the parent window\n");
        return 1;
    }
    auto* panel = new CDemoPanel;
    panel->Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, kWidth, kHeight), &frame, 1);
    panel->ShowEntry();
    panel->text.SetFocus();
    CTourWnd tour;
    if (host.shot) {
        tour.panel = panel;
        tour.Create(nullptr, "", WS_CHILD, CRect(0, 0, 1, 1), panel, 9);
        tour.SetTimer(1, 20);
    }

    while (host.Running() && !tour.done) AfxPumpMessages(16);
    int status = 0;
    if (host.shot) {
        if (g_shots.size() == 5 && WriteSheet(host.shot)) {
            std::printf("wrote %s\n", host.shot);
        } else {
            std::fprintf(stderr, "stdctrl-demo: %zu of 5 views captured, %s not written\n", g_shots.size(), host.shot);
            status = 1;
        }
    }
    tour.DestroyWindow();
    panel->DestroyWindow();
    delete panel;
    return status;
}
