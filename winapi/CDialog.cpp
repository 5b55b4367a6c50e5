// Modal dialogs, dialog templates, data exchange and message boxes.
#include "CDialog.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>

#include "CDC.h"
#include "ControlPaint.h"
#include "StdControls.h"
#include "Trace.h"
#include "PlatformBridge.h"

namespace {

constexpr UINT kKeyReturn = 36, kKeyEnter = 76, kKeyEscape = 53, kKeyTab = 48;
constexpr int kCaptionHeight = 24;

std::map<UINT, DialogTemplate>& Templates()
{
    static std::map<UINT, DialogTemplate> t;
    return t;
}

// The outermost window of owner's tree below the host's window (the panel),
// or owner itself.
CWnd* PanelOf(CWnd* owner)
{
    CWnd* w = owner;
    while (w && w->GetParent() && !(w->GetStyle() & WS_POPUP) && !w->GetParent()->m_bBoundsKnown) w = w->GetParent();
    return w;
}

bool Focusable(CWnd* w)
{
    return w && w->IsWindowVisible() && w->IsWindowEnabled() &&
           (dynamic_cast<CEdit*>(w) || dynamic_cast<CComboBox*>(w) || dynamic_cast<CButton*>(w));
}

}  // namespace

void AfxRegisterDialogTemplate(const DialogTemplate& t) { Templates()[t.id] = t; }

const DialogTemplate* AfxFindDialogTemplate(UINT id)
{
    auto it = Templates().find(id);
    return it == Templates().end() ? nullptr : &it->second;
}

// --- data exchange ------------------------------------------------------------------------

void DDX_Control(CDataExchange* pDX, int nIDC, CWnd& rControl)
{
    if (!pDX || rControl.GetSafeHwnd()) return;
    auto* dlg = dynamic_cast<CDialog*>(pDX->m_pDlgWnd);
    CWnd* item = pDX->m_pDlgWnd ? pDX->m_pDlgWnd->GetDlgItem(nIDC) : nullptr;
    if (!dlg || !item) {
        pDX->m_bFail = TRUE;
        return;
    }
    // The placeholder's place, text, style and font go to the control object.
    CRect r;
    item->GetWindowRect(&r);
    CString text;
    item->GetWindowText(text);
    DWORD style = item->GetStyle() | WS_CHILD;
    CFont* font = item->GetFont();
    auto owned = std::find(dlg->m_ownedItems.begin(), dlg->m_ownedItems.end(), item);
    item->DestroyWindow();
    if (owned != dlg->m_ownedItems.end()) {
        delete *owned;
        dlg->m_ownedItems.erase(owned);
    }
    CRect inclusive(r.left, r.top, r.right - 1, r.bottom - 1);
    BOOL ok;
    if (auto* e = dynamic_cast<CEdit*>(&rControl)) {
        ok = e->Create(style, inclusive, dlg, (UINT)nIDC);
        if (ok) e->SetWindowText(text);
    } else if (auto* c = dynamic_cast<CComboBox*>(&rControl)) {
        ok = c->Create(style, inclusive, dlg, (UINT)nIDC);
    } else if (auto* s = dynamic_cast<CSpinButtonCtrl*>(&rControl)) {
        ok = s->Create(style, inclusive, dlg, (UINT)nIDC);
    } else if (auto* b = dynamic_cast<CButton*>(&rControl)) {
        ok = b->Create(text, style, r, dlg, (UINT)nIDC);
    } else if (auto* st = dynamic_cast<CStatic*>(&rControl)) {
        ok = st->Create(text, style, r, dlg, (UINT)nIDC);
    } else {
        ok = rControl.Create(nullptr, text, style, r, dlg, (UINT)nIDC);
    }
    if (!ok) {
        pDX->m_bFail = TRUE;
        return;
    }
    if (font) rControl.SetFont(font, FALSE);
}

void DDX_Text(CDataExchange* pDX, int nIDC, CString& value)
{
    if (!pDX || !pDX->m_pDlgWnd) return;
    if (pDX->m_bSaveAndValidate)
        pDX->m_pDlgWnd->GetDlgItemText(nIDC, value);
    else
        pDX->m_pDlgWnd->SetDlgItemText(nIDC, value);
}

// --- CDialog --------------------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CDialog, CWnd)
    ON_WM_KEYDOWN()
    ON_WM_PAINT()
    ON_MESSAGE(WM_CLOSE, OnCloseRequest)
    ON_COMMAND(IDOK, OnIdOk)
    ON_COMMAND(IDCANCEL, OnIdCancel)
    ON_WM_DESTROY()
END_MESSAGE_MAP()

CDialog::CDialog() = default;

CDialog::CDialog(UINT nIDTemplate, CWnd* pParentWnd)
    : m_nIDTemplate((WORD)nIDTemplate), m_pParentWnd0(pParentWnd)
{
    m_dwStyle = WS_VISIBLE;
}

CDialog::~CDialog()
{
    // Deleted while it runs: it closes without a continuation.
    m_onEnd = nullptr;
    if (m_bRunning) TearDown();
    if (m_bCreated) DestroyWindow();
    for (CWnd* w : m_ownedItems) delete w;
}

void CDialog::InitModalIndirect(const DialogTemplate* pTemplate, CWnd* pParentWnd)
{
    m_pTemplate = pTemplate;
    m_pParentWnd0 = pParentWnd;
}

BOOL CDialog::CreateFromTemplate(const DialogTemplate& t, CWnd* owner)
{
    // Centred over the panel, in the owner's coordinates.
    int x = 0, y = 0;
    if (owner) {
        CWnd* panel = PanelOf(owner);
        CRect pr;
        panel->GetClientRect(&pr);
        int px = (pr.Width() - t.width) / 2, py = (pr.Height() - t.height) / 2;
        // From the panel's coordinates into the owner's.
        for (CWnd* w = owner; w && w != panel; w = w->GetParent()) {
            CRect wr;
            w->GetWindowRect(&wr);
            px -= wr.left;
            py -= wr.top;
        }
        x = px;
        y = py;
    }
    // On a display without a window manager the dialog draws its own title
    // strip above the template's area.
    platform::View* ownerView = owner ? reinterpret_cast<platform::View*>(owner->GetSafeHwnd()) : nullptr;
    m_nCaption = platform::FramesDialogs(ownerView) ? 0 : kCaptionHeight;
    CRect r(x, y - m_nCaption / 2, x + t.width, y + t.height + m_nCaption - m_nCaption / 2);
    if (!CWnd::Create(nullptr, t.caption, WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME, r, owner,
                      (UINT)m_nIDTemplate))
        return FALSE;
    for (const DialogItemTemplate& it : t.items) {
        CRect ir(it.rect);
        ir.OffsetRect(0, m_nCaption);
        CRect inclusive(ir.left, ir.top, ir.right - 1, ir.bottom - 1);
        DWORD style = it.style | WS_CHILD | WS_VISIBLE;
        CWnd* w = nullptr;
        BOOL ok = FALSE;
        switch (it.kind) {
        case DialogItemTemplate::kStatic: {
            auto* s = new CStatic;
            ok = s->Create(it.text, style, ir, this, it.id);
            w = s;
            break;
        }
        case DialogItemTemplate::kButton:
        case DialogItemTemplate::kDefButton: {
            auto* b = new CButton;
            if (it.kind == DialogItemTemplate::kDefButton) style |= BS_DEFPUSHBUTTON;
            ok = b->Create(it.text, style | WS_TABSTOP, ir, this, it.id);
            w = b;
            break;
        }
        case DialogItemTemplate::kEdit: {
            auto* e = new CEdit;
            ok = e->Create(style | WS_TABSTOP, inclusive, this, it.id);
            if (ok && it.text) e->SetWindowText(it.text);
            w = e;
            break;
        }
        case DialogItemTemplate::kComboBox: {
            auto* c = new CComboBox;
            ok = c->Create(style | WS_TABSTOP, inclusive, this, it.id);
            w = c;
            break;
        }
        case DialogItemTemplate::kSpin: {
            auto* s = new CSpinButtonCtrl;
            ok = s->Create(style, inclusive, this, it.id);
            w = s;
            break;
        }
        }
        if (!ok) {
            delete w;
            continue;
        }
        m_ownedItems.push_back(w);
    }
    return TRUE;
}

BOOL CDialog::DoModalAsync(std::function<void(INT_PTR)> onEnd)
{
    const DialogTemplate* t = m_pTemplate ? m_pTemplate : AfxFindDialogTemplate(m_nIDTemplate);
    if (!t || m_bCreated || m_bRunning) return FALSE;
    // Without a parent the dialog opens over the window the user last
    // worked in, else over the window with the focus.
    CWnd* owner = m_pParentWnd0 ? m_pParentWnd0 : AfxGetInputWindow();
    if (!owner) owner = CWnd::GetFocus();
    if (owner && !owner->GetSafeHwnd()) owner = nullptr;
    m_pPanel = owner ? PanelOf(owner) : nullptr;
    m_panelHwnd = m_pPanel ? m_pPanel->GetSafeHwnd() : nullptr;
    m_pOldFocus = CWnd::GetFocus();
    m_oldFocusHwnd = m_pOldFocus ? m_pOldFocus->GetSafeHwnd() : nullptr;
    // The owner takes no input while the dialog runs.
    m_bPanelWasDisabled = m_pPanel ? m_pPanel->EnableWindow(FALSE) : FALSE;
    m_nModalResult = 0;
    m_bEnded = FALSE;
    m_bFinishQueued = FALSE;
    if (!CreateFromTemplate(*t, owner)) {
        if (m_pPanel && CWnd::FromHandle(m_panelHwnd) == m_pPanel) m_pPanel->EnableWindow(!m_bPanelWasDisabled);
        DestroyWindow();
        for (CWnd* w : m_ownedItems) delete w;
        m_ownedItems.clear();
        m_pPanel = nullptr;
        m_pOldFocus = nullptr;
        return FALSE;
    }
    m_bRunning = TRUE;
    m_onEnd = std::move(onEnd);
    AfxTrace("PostMessage(%lx,WM_ACTIVATE)\r\n", (unsigned long)(uintptr_t)m_hWnd);
    PostMessage(WM_ACTIVATE, 1, 0);
    if (!OnInitDialog() || m_bEnded) {
        QueueFinish();
        return TRUE;
    }
    ShowWindow(SW_SHOW);
    UpdateWindow();
    CWnd* first = nullptr;
    for (auto it = m_children.rbegin(); it != m_children.rend() && !first; ++it)
        if (Focusable(*it)) first = *it;
    // The keyboard is asked for now; the bridge asks again once the window
    // is on the screen, should a window manager map it later.
    (first ? first : this)->SetFocus();
    return TRUE;
}

INT_PTR CDialog::DoModal()
{
    INT_PTR result = -1;
    bool done = false;
    if (!DoModalAsync([&](INT_PTR r) {
            result = r;
            done = true;
        }))
        return -1;
    AfxPumpUntil([&] { return done || !m_bRunning; });
    return result;
}

void CDialog::QueueFinish()
{
    if (!m_bRunning || m_bFinishQueued) return;
    m_bFinishQueued = TRUE;
    // Out of sight at once; taken down once the handler that ended it has
    // returned.
    ShowWindow(SW_HIDE);
    AfxDeferToPump(this, [this] { FinishModal(); });
}

void CDialog::TearDown()
{
    m_bTearingDown = TRUE;
    ShowWindow(SW_HIDE);
    if (m_pPanel && CWnd::FromHandle(m_panelHwnd) == m_pPanel) m_pPanel->EnableWindow(!m_bPanelWasDisabled);
    DestroyWindow();
    for (CWnd* w : m_ownedItems) delete w;
    m_ownedItems.clear();
    // The keyboard goes back to where it was.
    if (m_pOldFocus && CWnd::FromHandle(m_oldFocusHwnd) == m_pOldFocus && m_pOldFocus->IsWindowVisible())
        m_pOldFocus->SetFocus();
    m_pPanel = nullptr;
    m_pOldFocus = nullptr;
    m_bRunning = FALSE;
    m_bTearingDown = FALSE;
}

void CDialog::FinishModal()
{
    if (!m_bRunning) return;
    INT_PTR result = m_bEnded ? m_nModalResult : -1;
    TearDown();
    std::function<void(INT_PTR)> done = std::move(m_onEnd);
    m_onEnd = nullptr;
    if (done) done(result);  // the last thing: it may delete this dialog
}

void CDialog::OnDestroy()
{
    CWnd::OnDestroy();
    // The window went from under a running dialog (the host's window or
    // the display went away): it ends with -1.
    if (m_bRunning && !m_bTearingDown && !m_bEnded) {
        m_nModalResult = -1;
        m_bEnded = TRUE;
        QueueFinish();
    }
}

void CDialog::EndDialog(int nResult)
{
    m_nModalResult = nResult;
    m_bEnded = TRUE;
    EndModalLoop(nResult);
    QueueFinish();
}

BOOL CDialog::OnInitDialog()
{
    if (!UpdateData(FALSE)) {
        EndDialog(-1);
        return FALSE;
    }
    RegistAllwaysOnTop();
    return TRUE;
}

void CDialog::OnOK()
{
    if (UpdateData(TRUE)) EndDialog(IDOK);
}

void CDialog::OnCancel() { EndDialog(IDCANCEL); }

void CDialog::OnIdOk() { OnOK(); }
void CDialog::OnIdCancel() { OnCancel(); }

LRESULT CDialog::OnCloseRequest(WPARAM, LPARAM)
{
    OnCancel();
    return 0;
}

void CDialog::DoDataExchange(CDataExchange*) {}

BOOL CDialog::UpdateData(BOOL bSaveAndValidate)
{
    CDataExchange dx(this, bSaveAndValidate);
    DoDataExchange(&dx);
    return !dx.m_bFail;
}

// The dialog is a transient window of the host's top-level window, which
// keeps it above the host's windows; nothing more to do here.
BOOL CDialog::RegistAllwaysOnTop() { return m_hWnd != nullptr; }

void CDialog::FocusNextControl(bool backwards)
{
    std::vector<CWnd*> order(m_children.rbegin(), m_children.rend());  // creation order
    order.erase(std::remove_if(order.begin(), order.end(), [](CWnd* w) { return !Focusable(w); }), order.end());
    if (order.empty()) return;
    auto it = std::find(order.begin(), order.end(), CWnd::GetFocus());
    size_t i = it == order.end() ? 0 : (size_t)(it - order.begin());
    size_t n = order.size();
    size_t next = it == order.end() ? 0 : backwards ? (i + n - 1) % n : (i + 1) % n;
    order[next]->SetFocus();
}

BOOL CDialog::IsDialogMessage(MSG* pMsg)
{
    if (!pMsg || pMsg->message != WM_KEYDOWN) return FALSE;
    switch ((UINT)pMsg->wParam) {
    case kKeyReturn:
    case kKeyEnter: {
        // A focused push button is pressed; otherwise the default button.
        CWnd* f = CWnd::GetFocus();
        auto* b = dynamic_cast<CButton*>(f);
        UINT id = b && f->GetParent() == this ? (UINT)f->GetDlgCtrlID() : (UINT)IDOK;
        SendMessage(WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), b ? (LPARAM)(intptr_t)f->GetSafeHwnd() : 0);
        return TRUE;
    }
    case kKeyEscape: SendMessage(WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0); return TRUE;
    case kKeyTab: FocusNextControl((AfxGetModifierFlags() & AFX_MOD_SHIFT) != 0); return TRUE;
    default: return FALSE;
    }
}

void CDialog::OnKeyDown(UINT, UINT, UINT) {}

void CDialog::OnPaint()
{
    cairo_t* cr = ctl::BeginFacePaint(this);
    if (!cr) return;
    if (m_nCaption > 0) {
        // The title strip a window manager would otherwise draw.
        cairo_pattern_t* g = cairo_pattern_create_linear(0, 0, 0, m_nCaption);
        cairo_pattern_add_color_stop_rgb(g, 0, 0.30, 0.33, 0.39);
        cairo_pattern_add_color_stop_rgb(g, 1, 0.22, 0.24, 0.29);
        cairo_rectangle(cr, 0, 0, m_nClientWidth, m_nCaption);
        cairo_set_source(cr, g);
        cairo_fill(cr);
        cairo_pattern_destroy(g);
        ctl::PaintTextIn(cr, nullptr, m_windowText, 0, 0, m_nClientWidth, m_nCaption, ctl::kSelText, true);
    }
    // A frame of its own, so the dialog stands out from the panel under it
    // even where no window manager decorates it.
    cairo_rectangle(cr, 0.5, 0.5, m_nClientWidth - 1, m_nClientHeight - 1);
    cairo_set_source_rgb(cr, 0.45, 0.45, 0.46);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
}

// --- message boxes --------------------------------------------------------------------------------

namespace {


class CMessageBoxDlg : public CDialog {
public:
    CMessageBoxDlg(const char* text, UINT type, CWnd* owner = nullptr) : m_text(text), m_type(type)
    {
        struct Set {
            UINT ids[3];
            const char* names[3];
            int escape;  // the answer of Escape, or 0 when it has none
        };
        static const Set sets[] = {
            {{IDOK, 0, 0}, {"OK", nullptr, nullptr}, IDOK},
            {{IDOK, IDCANCEL, 0}, {"OK", "Cancel", nullptr}, IDCANCEL},
            {{IDABORT, IDRETRY, IDIGNORE}, {"Abort", "Retry", "Ignore"}, 0},
            {{IDYES, IDNO, IDCANCEL}, {"Yes", "No", "Cancel"}, IDCANCEL},
            {{IDYES, IDNO, 0}, {"Yes", "No", nullptr}, 0},
            {{IDRETRY, IDCANCEL, 0}, {"Retry", "Cancel", nullptr}, IDCANCEL},
        };
        const Set& set = sets[std::min<UINT>(type & 0xF, 5)];
        m_escape = set.escape;
        int count = set.ids[2] ? 3 : set.ids[1] ? 2 : 1;
        int def = std::min(count - 1, (int)((type >> 8) & 0xF));
        m_default = set.ids[def];

        constexpr int kMargin = 20, kIcon = 32, kGap = 14, kButtonW = 84, kButtonH = 26, kButtonGap = 10;
        constexpr int kMaxTextW = 420;
        PangoLayoutSize(kMaxTextW);
        int buttonsW = count * kButtonW + (count - 1) * kButtonGap;
        int textX = kMargin + kIcon + kGap;
        int w = std::max(textX + m_textW + kMargin, buttonsW + 2 * kMargin);
        w = std::max(w, 280);
        int textH = std::max(m_textH, kIcon);
        int h = kMargin + textH + kGap + kButtonH + kMargin - 4;
        m_t.caption = "GraphicEQ";
        m_t.width = w;
        m_t.height = h;
        m_textRect = CRect(textX, kMargin, w - kMargin, kMargin + textH);
        DialogItemTemplate label;  // the text, as Windows' message boxes keep it: a static, id 0xFFFF
        label.kind = DialogItemTemplate::kStatic;
        label.id = 0xFFFF;
        int textTop = kMargin + std::max(0, (kIcon - m_textH) / 2);
        label.rect = RECT{textX, textTop, textX + m_textW + 1, textTop + m_textH + 1};
        label.text = m_text;
        m_t.items.push_back(label);
        int bx = w - kMargin - buttonsW, by = h - kMargin - kButtonH + 4;
        for (int i = 0; i < count; ++i) {
            DialogItemTemplate b;
            b.kind = set.ids[i] == (UINT)m_default ? DialogItemTemplate::kDefButton : DialogItemTemplate::kButton;
            b.id = set.ids[i];
            b.rect = RECT{bx, by, bx + kButtonW, by + kButtonH};
            b.text = set.names[i];
            m_t.items.push_back(b);
            bx += kButtonW + kButtonGap;
        }
        InitModalIndirect(&m_t, owner);
    }

    BOOL OnCommand(WPARAM wParam, LPARAM lParam) override
    {
        UINT id = LOWORD(wParam);
        if (id == IDOK && !lParam) id = (UINT)m_default;  // Return
        if (id == IDCANCEL && !lParam) {                  // Escape, or the window's close box
            if (m_escape) EndDialog(m_escape);
            return TRUE;
        }
        if (id >= IDOK && id <= IDNO) {
            EndDialog((int)id);
            return TRUE;
        }
        return CDialog::OnCommand(wParam, lParam);
    }

    afx_msg void OnPaint()
    {
        CDialog::OnPaint();
        cairo_t* cr = static_cast<cairo_t*>(m_pPaintContext);
        if (!cr) return;
        PaintIcon(cr, 20, m_textRect.top + m_nCaption);
    }

    DECLARE_MESSAGE_MAP()

private:
    void PangoLayoutSize(int maxW)
    {
        PangoLayout* l = AfxMakeTextLayout(ctl::MeasuringContext(), nullptr, m_text, m_text.GetLength());
        pango_layout_set_width(l, maxW * PANGO_SCALE);
        pango_layout_set_wrap(l, PANGO_WRAP_WORD_CHAR);
        pango_layout_get_pixel_size(l, &m_textW, &m_textH);
        g_object_unref(l);
    }

    void PaintIcon(cairo_t* cr, double x, double y)
    {
        UINT icon = m_type & 0xF0u;
        ctl::Rgb c = icon == MB_ICONERROR ? ctl::Rgb{0.85, 0.22, 0.20}
                     : icon == MB_ICONWARNING ? ctl::Rgb{0.95, 0.68, 0.12}
                                              : ctl::kAccent;
        const char* glyph = icon == MB_ICONERROR ? "\xC3\x97" : icon == MB_ICONWARNING ? "!" : icon == MB_ICONQUESTION ? "?" : "i";
        cairo_save(cr);
        if (icon == MB_ICONWARNING) {
            cairo_move_to(cr, x + 16, y + 1);
            cairo_line_to(cr, x + 32, y + 30);
            cairo_line_to(cr, x, y + 30);
            cairo_close_path(cr);
        } else {
            cairo_arc(cr, x + 16, y + 16, 15.5, 0, 2 * M_PI);
        }
        ctl::SetColour(cr, c);
        cairo_fill(cr);
        cairo_restore(cr);
        CFont font;
        font.CreatePointFont(20, "Helvetica");
        int tw = 0, th = 0;
        ctl::TextSize(cr, &font, glyph, tw, th);
        ctl::PaintText(cr, &font, glyph, x + 16 - tw / 2.0, y + (icon == MB_ICONWARNING ? 18 : 16) - th / 2.0, ctl::kSelText);
    }

    CString m_text;
    UINT m_type;
    int m_escape = IDCANCEL;
    int m_default = IDOK;
    int m_textW = 0, m_textH = 0;
    CRect m_textRect;
    DialogTemplate m_t;
};

BEGIN_MESSAGE_MAP(CMessageBoxDlg, CDialog)
    ON_WM_PAINT()
END_MESSAGE_MAP()

}  // namespace

int CWinApp::DoMessageBox(LPCTSTR lpszPrompt, UINT nType, UINT)
{
    CMessageBoxDlg box(lpszPrompt ? lpszPrompt : "", nType);
    INT_PTR r = box.DoModal();
    if (r < 0) {
        // Nowhere to show it: the text still reaches the user's terminal.
        std::fprintf(stderr, "%s\n", lpszPrompt ? lpszPrompt : "");
        return IDOK;
    }
    return (int)r;
}

void AfxMessageBoxAsync(LPCTSTR lpszText, UINT nType, std::function<void(int)> onDone, CWnd* pOwner)
{
    CString text(lpszText);  // a resource number is loaded from the strings table
    auto* box = new CMessageBoxDlg(text, nType, pOwner);
    bool shown = box->DoModalAsync([box, text, onDone](INT_PTR r) {
        delete box;
        // Gone before an answer (the display or the host's window went):
        // the text still reaches the user's terminal.
        if (r < 0) std::fprintf(stderr, "%s\n", (const char*)text);
        if (onDone) onDone(r < 0 ? IDOK : (int)r);
    });
    if (!shown) {
        delete box;
        std::fprintf(stderr, "%s\n", (const char*)text);
        if (onDone) onDone(IDOK);
    }
}

int AfxMessageBox(LPCTSTR lpszText, UINT nType, UINT nIDHelp)
{
    // A resource number is loaded from the strings table.
    CString text(lpszText);
    if (CWinApp* app = AfxGetApp()) return app->DoMessageBox(text, nType, nIDHelp);
    CWinApp fallback;  // no application object: a temporary one shows it
    return fallback.DoMessageBox(text, nType, nIDHelp);
}

int AfxMessageBox(UINT nIDPrompt, UINT nType, UINT nIDHelp)
{
    return AfxMessageBox(reinterpret_cast<LPCTSTR>((uintptr_t)nIDPrompt), nType, nIDHelp);
}
