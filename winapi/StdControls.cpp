// Standard controls drawn by the layer: edit field, spin button, combo box,
// push button and static text.
#include "StdControls.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "CDC.h"
#include "ControlPaint.h"
#include "PlatformBridge.h"
#include "PopupList.h"
#include "Trace.h"

namespace {

// Key codes the bridge hands to WM_KEYDOWN (those of the platform the
// editor was written for).
constexpr UINT kKeyLeft = 123, kKeyRight = 124, kKeyUp = 126, kKeyDown = 125, kKeyHome = 115, kKeyEnd = 119,
               kKeyDelete = 117, kKeyReturn = 36, kKeyEnter = 76;
constexpr UINT kKeyA = 0, kKeyX = 7, kKeyC = 8, kKeyV = 9;  // letters, by their key codes
constexpr UINT kFlagShift = AFX_MOD_SHIFT >> 2;    // in the key messages' flags
constexpr UINT kFlagCommand = AFX_MOD_COMMAND >> 2;

BOOL g_cancelCall = FALSE;

cairo_t* PaintContext(CWnd* w) { return static_cast<cairo_t*>(w->m_pPaintContext); }

// Creates a control from an inclusive rectangle (right and bottom are the
// last pixels inside it).
BOOL CreateControl(CWnd* self, LPCTSTR text, DWORD style, const RECT& r, CWnd* parent, UINT id)
{
    if (!parent || !parent->GetSafeHwnd()) return FALSE;
    RECT ex{r.left, r.top, r.right + 1, r.bottom + 1};
    self->m_bSizeBeforeMove = TRUE;
    return self->CWnd::Create(nullptr, text, style | WS_CHILD, ex, parent, id);
}

// UTF-8 character boundaries.
int NextChar(const CString& s, int i)
{
    int n = s.GetLength();
    if (i >= n) return n;
    ++i;
    while (i < n && (((unsigned char)((const char*)s)[i]) & 0xC0) == 0x80) ++i;
    return i;
}
int PrevChar(const CString& s, int i)
{
    if (i <= 0) return 0;
    --i;
    while (i > 0 && (((unsigned char)((const char*)s)[i]) & 0xC0) == 0x80) --i;
    return i;
}
int CharCount(const char* s, int n)
{
    int c = 0;
    for (int i = 0; i < n; ++i) c += (((unsigned char)s[i]) & 0xC0) != 0x80;
    return c;
}


constexpr int kEditPad = 3;
constexpr UINT kBlinkTimer = 1;
constexpr UINT kBlinkMs = 530;

}  // namespace

void AfxSetCancelCall(BOOL on) { g_cancelCall = on; }
BOOL AfxGetCancelCall() { return g_cancelCall; }

// --- CEdit ------------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CEdit, CWnd)
    ON_WM_KEYDOWN()
    ON_WM_CHAR()
    ON_WM_PAINT()
    ON_WM_LBUTTONDOWN()
    ON_WM_LBUTTONDBLCLK()
    ON_WM_LBUTTONUP()
    ON_WM_MOUSEMOVE()
    ON_WM_SETFOCUS()
    ON_WM_KILLFOCUS()
    ON_WM_TIMER()
    ON_WM_SETCURSOR()
END_MESSAGE_MAP()

CEdit::CEdit() = default;
CEdit::~CEdit()
{
    if (m_bCreated) DestroyWindow();
}

BOOL CEdit::Create(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID)
{
    return CreateControl(this, "", dwStyle, rect, pParentWnd, nID);
}

void CEdit::SetLimitText(UINT nMax) { m_nLimit = nMax; }

void CEdit::SetSel(int, int, BOOL) {}

void CEdit::GetSel(int& nStartChar, int& nEndChar) const
{
    nStartChar = std::min(m_anchor, m_caret);
    nEndChar = std::max(m_anchor, m_caret);
}

void CEdit::SelectAll()
{
    m_anchor = 0;
    m_caret = m_windowText.GetLength();
    RestartBlink();
}

void CEdit::SetTextForSpin(LPCTSTR text)
{
    m_windowText = CString(text);
    m_anchor = m_caret = m_windowText.GetLength();
    if (GetFocus() == this) SelectAll();
    Invalidate();
    NotifyParent();
}

void CEdit::NotifyParent()
{
    if (CWnd* p = GetParent()) p->SendMessage(WM_COMMAND, MAKEWPARAM(GetDlgCtrlID(), EN_CHANGE), (LPARAM)(intptr_t)m_hWnd);
}

void CEdit::SetWindowText(LPCTSTR lpszString)
{
    m_windowText = CString(lpszString);
    m_anchor = m_caret = m_windowText.GetLength();
    if (GetFocus() == this) SelectAll();
    m_scroll = 0;
    Invalidate();
}

void CEdit::ReplaceText(LPCTSTR text)
{
    m_windowText = CString(text);
    m_anchor = m_caret = m_windowText.GetLength();
    RestartBlink();
    Invalidate();
}

int CEdit::GetWindowText(LPTSTR buf, int nMaxCount) const { return CWnd::GetWindowText(buf, nMaxCount); }

BOOL CEdit::PreTranslateMessage(MSG* pMsg)
{
    if (!pMsg || pMsg->message != WM_KEYDOWN) return FALSE;
    HWND self = m_hWnd;
    SendMessage(WM_KEYDOWN, pMsg->wParam, pMsg->lParam);
    if (m_hWnd == self) SendMessage(WM_CHAR, AfxGetCurrentEventChar(), pMsg->lParam);
    pMsg->message = WM_NULL;
    return TRUE;
}

void CEdit::MoveCaret(int pos, bool extend)
{
    m_caret = std::max(0, std::min(pos, m_windowText.GetLength()));
    if (!extend) m_anchor = m_caret;
    RestartBlink();
}

void CEdit::ReplaceSelection(const char* text, int len)
{
    int a = std::min(m_anchor, m_caret), b = std::max(m_anchor, m_caret);
    const char* cur = m_windowText;
    if (m_nLimit > 0 && len > 0) {
        int keep = CharCount(cur, a) + CharCount(cur + b, m_windowText.GetLength() - b);
        if (keep + CharCount(text, len) > (int)m_nLimit) return;  // the field is full
    }
    std::string s(cur, (size_t)a);
    s.append(text, (size_t)len);
    s.append(cur + b);
    m_windowText = CString(s.c_str());
    m_anchor = m_caret = a + len;
    RestartBlink();
}

void CEdit::OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags)
{
    if (CWnd* p = GetParent())
        if (dynamic_cast<CComboBox*>(p)) p->SendMessage(WM_KEYDOWN, nChar, (LPARAM)((nFlags << 16) + nRepCnt));
    bool command = (nFlags & kFlagCommand) || AfxIsControlHeld();
    if (m_bCancelCall || ((nFlags & kFlagCommand) && (nChar == kKeyX || nChar == kKeyC || nChar == kKeyV)))
        AfxSetCancelCall(TRUE);  // cut, copy, paste: left to the field
    if (command && (nChar == kKeyA || nChar == kKeyX || nChar == kKeyC || nChar == kKeyV)) {
        ClipboardKey(nChar);
        m_navKey = true;  // its control character is not text
        Invalidate();
        CWnd::OnKeyDown(nChar, nRepCnt, nFlags);
        return;
    }
    bool extend = (nFlags & kFlagShift) != 0;
    m_navKey = true;
    int a = std::min(m_anchor, m_caret), b = std::max(m_anchor, m_caret);
    switch (nChar) {
    case kKeyLeft: MoveCaret(a != b && !extend ? a : PrevChar(m_windowText, m_caret), extend); break;
    case kKeyRight: MoveCaret(a != b && !extend ? b : NextChar(m_windowText, m_caret), extend); break;
    case kKeyHome: MoveCaret(0, extend); break;
    case kKeyEnd: MoveCaret(m_windowText.GetLength(), extend); break;
    case kKeyDelete:
        if (a == b) m_caret = NextChar(m_windowText, m_caret);
        ReplaceSelection("", 0);
        NotifyParent();
        break;
    case kKeyUp:
    case kKeyDown:
        if (m_pSpin && (m_pSpin->GetStyle() & UDS_ARROWKEYS)) m_pSpin->StepBy(nChar == kKeyUp ? 1 : -1);
        break;
    default: m_navKey = false; break;
    }
    Invalidate();
    CWnd::OnKeyDown(nChar, nRepCnt, nFlags);
}

void CEdit::ClipboardKey(UINT nChar)
{
    auto* view = reinterpret_cast<platform::View*>(m_hWnd);
    int a = std::min(m_anchor, m_caret), b = std::max(m_anchor, m_caret);
    if (nChar == kKeyA) {
        SelectAll();
    } else if (nChar == kKeyC || nChar == kKeyX) {
        if (a == b) return;
        std::string part((const char*)m_windowText + a, (size_t)(b - a));
        platform::SetClipboardText(view, part.c_str());
        if (nChar == kKeyX && !(GetStyle() & ES_READONLY)) {
            ReplaceSelection("", 0);
            NotifyParent();
        }
    } else if (nChar == kKeyV && !(GetStyle() & ES_READONLY)) {
        std::string text;
        if (!platform::GetClipboardText(view, text, 300)) return;
        // One line: line breaks and tabs become spaces.
        for (char& ch : text)
            if (ch == '\n' || ch == '\r' || ch == '\t') ch = ' ';
        ReplaceSelection(text.data(), (int)text.size());
        NotifyParent();
    }
}

void CEdit::OnChar(UINT nChar, UINT, UINT)
{
    if (m_navKey) {  // the character of an arrow, Home, End or Delete key
        m_navKey = false;
        return;
    }
    if (GetStyle() & ES_READONLY) return;
    if (nChar == 8) {
        if (m_anchor == m_caret) m_caret = PrevChar(m_windowText, m_caret);
        ReplaceSelection("", 0);
        NotifyParent();
    } else if (nChar >= 32 && nChar != 127 && nChar < 256) {
        char c = (char)nChar;
        int before = m_windowText.GetLength();
        ReplaceSelection(&c, 1);
        if (m_windowText.GetLength() != before || m_anchor != m_caret) NotifyParent();
    }
    Invalidate();
}

int CEdit::HitTest(int x) const
{
    cairo_t* cr = ctl::MeasuringContext();
    PangoLayout* l = AfxMakeTextLayout(cr, m_pFont, m_windowText, m_windowText.GetLength());
    int tw = 0, th = 0;
    pango_layout_get_pixel_size(l, &tw, &th);
    int origin = (GetStyle() & ES_RIGHT) ? m_nClientWidth - kEditPad - tw + m_scroll : kEditPad - m_scroll;
    int index = 0, trailing = 0;
    pango_layout_xy_to_index(l, (x - origin) * PANGO_SCALE, th * PANGO_SCALE / 2, &index, &trailing);
    const char* text = pango_layout_get_text(l);
    const char* p = text + index;
    for (int i = 0; i < trailing && *p; ++i) p = g_utf8_next_char(p);
    int pos = (int)(p - text);
    g_object_unref(l);
    if (x - origin <= 0) return 0;
    return std::min(pos, m_windowText.GetLength());
}

void CEdit::OnLButtonDown(UINT, CPoint point)
{
    if (GetFocus() != this) SetFocus();
    bool extend = (AfxGetModifierFlags() & AFX_MOD_SHIFT) != 0;
    MoveCaret(HitTest(point.x), extend);
    m_dragging = true;
    SetCapture();
    Invalidate();
}

void CEdit::OnLButtonDblClk(UINT, CPoint)
{
    SelectAll();
    Invalidate();
}

void CEdit::OnLButtonUp(UINT, CPoint)
{
    m_dragging = false;
    if (CWnd::GetCapture() == this) ReleaseCapture();
}

void CEdit::OnMouseMove(UINT nFlags, CPoint point)
{
    if (m_dragging) {
        MoveCaret(HitTest(point.x), true);
        Invalidate();
    }
    CWnd::OnMouseMove(nFlags, point);
}

BOOL CEdit::OnSetCursor(CWnd*, UINT, UINT)
{
    ::SetCursor(LoadCursor(nullptr, (UINT)IDC_IBEAM));
    return TRUE;
}

void CEdit::OnSetFocus(CWnd* pOldWnd)
{
    CWnd::OnSetFocus(pOldWnd);
    SelectAll();
    Invalidate();
}

void CEdit::OnKillFocus(CWnd* pNewWnd)
{
    CWnd::OnKillFocus(pNewWnd);
    KillTimer(kBlinkTimer);
    m_caretOn = false;
    m_dragging = false;
    Invalidate();
}

void CEdit::RestartBlink()
{
    if (GetFocus() != this || !m_hWnd) return;
    m_caretOn = true;
    SetTimer(kBlinkTimer, kBlinkMs);
    Invalidate();
}

void CEdit::OnTimer(UINT)
{
    m_caretOn = !m_caretOn;
    Invalidate();
}

void CEdit::OnPaint()
{
    cairo_t* cr = PaintContext(this);
    if (!cr) return;
    int w = m_nClientWidth, h = m_nClientHeight;
    // A field that overhangs its parent (the entry window's field is one
    // pixel taller than the window) draws its frame at the visible edge.
    if (CWnd* p = GetParent()) {
        w = std::max(1, std::min(w, p->m_nClientWidth - m_rect.left));
        h = std::max(1, std::min(h, p->m_nClientHeight - m_rect.top));
    }
    bool focused = GetFocus() == this;
    ctl::PaintField(cr, 0, 0, w, h, focused);

    PangoLayout* l = AfxMakeTextLayout(cr, m_pFont, m_windowText, m_windowText.GetLength());
    int tw = 0, th = 0;
    pango_layout_get_pixel_size(l, &tw, &th);
    PangoRectangle caret;
    pango_layout_index_to_pos(l, m_caret, &caret);
    int cx = PANGO_PIXELS(caret.x);
    // Keep the caret inside the field: scroll the text when it would leave.
    int inner = std::max(1, w - 2 * kEditPad);
    bool right = (GetStyle() & ES_RIGHT) != 0;
    if (tw <= inner) {
        m_scroll = 0;
    } else if (!right) {
        if (cx - m_scroll > inner) m_scroll = cx - inner;
        if (cx - m_scroll < 0) m_scroll = cx;
    } else {
        int fromRight = tw - cx;
        if (fromRight - m_scroll > inner) m_scroll = fromRight - inner;
        if (fromRight - m_scroll < 0) m_scroll = fromRight;
    }
    double ox = right ? w - kEditPad - tw + m_scroll : kEditPad - m_scroll;
    double oy = std::floor((h - th) / 2.0);
    cairo_save(cr);
    cairo_rectangle(cr, 2, 2, w - 4, h - 4);
    cairo_clip(cr);
    int a = std::min(m_anchor, m_caret), b = std::max(m_anchor, m_caret);
    if (a != b) {
        PangoRectangle pa, pb;
        pango_layout_index_to_pos(l, a, &pa);
        pango_layout_index_to_pos(l, b, &pb);
        double x0 = ox + PANGO_PIXELS(pa.x), x1 = ox + PANGO_PIXELS(pb.x);
        cairo_rectangle(cr, x0, oy, x1 - x0, th);
        if (focused)
            ctl::SetColour(cr, ctl::kAccent);
        else
            cairo_set_source_rgb(cr, 0.82, 0.82, 0.82);
        cairo_fill(cr);
    }
    ctl::SetColour(cr, IsWindowEnabled() ? ctl::kText : ctl::kGreyText);
    cairo_move_to(cr, ox, oy);
    pango_cairo_show_layout(cr, l);
    if (a != b && focused) {
        // The selected part again in white, clipped to the selection.
        PangoRectangle pa, pb;
        pango_layout_index_to_pos(l, a, &pa);
        pango_layout_index_to_pos(l, b, &pb);
        cairo_save(cr);
        cairo_rectangle(cr, ox + PANGO_PIXELS(pa.x), oy, PANGO_PIXELS(pb.x) - PANGO_PIXELS(pa.x), th);
        cairo_clip(cr);
        ctl::SetColour(cr, ctl::kSelText);
        cairo_move_to(cr, ox, oy);
        pango_cairo_show_layout(cr, l);
        cairo_restore(cr);
    }
    if (focused && m_caretOn && a == b) {
        cairo_rectangle(cr, std::floor(ox + cx), oy, 1, th);
        ctl::SetColour(cr, ctl::kText);
        cairo_fill(cr);
    }
    cairo_restore(cr);
    g_object_unref(l);
}

// --- CSpinButtonCtrl ------------------------------------------------------------------

namespace {
constexpr UINT kRepeatTimer = 2;
constexpr UINT kRepeatMs = 50;
constexpr int kRepeatDelayTicks = 8;  // 400 ms before the first repeat
}  // namespace

BEGIN_MESSAGE_MAP(CSpinButtonCtrl, CWnd)
    ON_WM_PAINT()
    ON_WM_LBUTTONDOWN()
    ON_WM_LBUTTONDBLCLK()
    ON_WM_LBUTTONUP()
    ON_WM_TIMER()
END_MESSAGE_MAP()

CSpinButtonCtrl::CSpinButtonCtrl() = default;
CSpinButtonCtrl::~CSpinButtonCtrl()
{
    if (m_bCreated) DestroyWindow();
}

BOOL CSpinButtonCtrl::Create(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID)
{
    return CreateControl(this, "", dwStyle, rect, pParentWnd, nID);
}

CWnd* CSpinButtonCtrl::SetBuddy(CWnd* pWndBuddy)
{
    CWnd* old = m_pBuddy;
    m_pBuddy = pWndBuddy;
    if (CEdit* e = dynamic_cast<CEdit*>(pWndBuddy)) e->SetSpinButton(this);
    return old;
}

void CSpinButtonCtrl::SetRange(int nLower, int nUpper) { SetRange32(nLower, nUpper); }

void CSpinButtonCtrl::SetRange32(int nLower, int nUpper)
{
    m_nLower = nLower;
    m_nUpper = nUpper;
    SetPos(GetPos());
    Invalidate();
}

void CSpinButtonCtrl::GetRange32(int& nLower, int& nUpper) const
{
    nLower = m_nLower;
    nUpper = m_nUpper;
}

int CSpinButtonCtrl::SetBase(int) { return 0; }

int CSpinButtonCtrl::Clamp(int nPos) const
{
    // The upper bound wins when the range is inverted.
    if (nPos < m_nLower) nPos = m_nLower;
    if (nPos > m_nUpper) nPos = m_nUpper;
    return nPos;
}

void CSpinButtonCtrl::ShowInBuddy(bool trace)
{
    if (!m_pBuddy) return;
    char text[16];
    std::snprintf(text, sizeof text, "%d", m_nPos);
    if (CEdit* e = dynamic_cast<CEdit*>(m_pBuddy)) {
        if (trace) AfxTrace("CSpinButtonCtrl::SetPos::SetTextForSpin(%s)\r\n", text);
        e->SetTextForSpin(text);
    } else {
        m_pBuddy->SetWindowText(text);
    }
}

int CSpinButtonCtrl::SetPos(int nPos)
{
    AfxTrace("CSpinButtonCtrl::SetPos(%d)\r\n", nPos);
    int old = m_nPos;
    m_nPos = Clamp(nPos);
    Invalidate();
    if (m_nPos != old) ShowInBuddy(true);
    return old;
}

int CSpinButtonCtrl::SetPosForSpin(int nPos)
{
    int old = m_nPos;
    m_nPos = Clamp(nPos);
    Invalidate();
    if (m_nPos != old)
        if (CWnd* p = GetParent())
            p->SendMessage(WM_VSCROLL, MAKEWPARAM(SB_THUMBPOSITION, m_nPos), (LPARAM)(intptr_t)this);
    return old;
}

void CSpinButtonCtrl::StepBy(int delta)
{
    int old = m_nPos;
    long long next = (long long)m_nPos + delta;  // no overflow at the ends of the int range
    SetPosForSpin((int)std::max<long long>(INT_MIN, std::min<long long>(INT_MAX, next)));
    // Like the stepper bound to its field: the buddy shows the new position.
    if (m_nPos != old && (GetStyle() & UDS_SETBUDDYINT)) ShowInBuddy(false);
}

void CSpinButtonCtrl::OnLButtonDown(UINT, CPoint point)
{
    m_pressed = point.y < m_nClientHeight / 2 ? 1 : -1;
    m_ticks = 0;
    SetCapture();
    StepBy(m_pressed);
    SetTimer(kRepeatTimer, kRepeatMs);
    Invalidate();
}

void CSpinButtonCtrl::OnLButtonDblClk(UINT nFlags, CPoint point) { OnLButtonDown(nFlags, point); }

void CSpinButtonCtrl::OnLButtonUp(UINT, CPoint)
{
    m_pressed = 0;
    KillTimer(kRepeatTimer);
    if (CWnd::GetCapture() == this) ReleaseCapture();
    Invalidate();
}

void CSpinButtonCtrl::OnTimer(UINT)
{
    if (!m_pressed) {
        KillTimer(kRepeatTimer);
        return;
    }
    if (++m_ticks > kRepeatDelayTicks) StepBy(m_pressed);
}

void CSpinButtonCtrl::OnPaint()
{
    cairo_t* cr = ctl::BeginFacePaint(this);
    if (!cr) return;
    int w = m_nClientWidth, h = m_nClientHeight;
    int half = h / 2;
    ctl::PaintButtonFace(cr, 0, 0, w, half + 1, m_pressed > 0, false);
    ctl::PaintButtonFace(cr, 0, half, w, h - half, m_pressed < 0, false);
    double size = std::max(5.0, std::min(w * 0.5, half * 0.8));
    ctl::PaintArrow(cr, w / 2.0, half / 2.0 + 0.5, size, -1, m_nPos < m_nUpper ? ctl::kText : ctl::kGreyText);
    ctl::PaintArrow(cr, w / 2.0, half + (h - half) / 2.0, size, 1, m_nPos > m_nLower ? ctl::kText : ctl::kGreyText);
}

// --- CComboBox -------------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CComboBox, CWnd)
    ON_WM_PAINT()
    ON_WM_LBUTTONDOWN()
    ON_WM_LBUTTONDBLCLK()
    ON_WM_KEYDOWN()
    ON_WM_CHAR()
    ON_WM_SETFOCUS()
    ON_WM_KILLFOCUS()
END_MESSAGE_MAP()

CComboBox::CComboBox() = default;
CComboBox::~CComboBox()
{
    if (m_bCreated) DestroyWindow();
}

BOOL CComboBox::Create(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID)
{
    m_bPopUpButton = (dwStyle & 3u) != CBS_DROPDOWN;
    return CreateControl(this, "", dwStyle, rect, pParentWnd, nID);
}

int CComboBox::AddString(LPCTSTR lpszString)
{
    int index = (int)m_items.size();
    Item it;
    it.text = CString(lpszString);
    m_items.push_back(it);
    if (m_nCurSel >= 0 && m_nCurSel < (int)m_items.size()) m_curText = m_items[(size_t)m_nCurSel].text;
    Invalidate();
    return index;
}

int CComboBox::SetCurSel(int nSelect)
{
    m_nCurSel = nSelect;
    if (nSelect == -1) {
        m_curText.Empty();
        Invalidate();
        return nSelect;
    }
    if (nSelect >= 0 && nSelect < (int)m_items.size())
        m_curText = m_items[(size_t)nSelect].text;
    else
        m_curText.Empty();
    Invalidate();
    // Unlike Windows, the program's own selection is reported too.
    if (CWnd* p = GetParent())
        p->SendMessage(WM_COMMAND, MAKEWPARAM(GetDlgCtrlID(), CBN_SELCHANGE), (LPARAM)(intptr_t)m_hWnd);
    return nSelect;
}

int CComboBox::GetLBText(int nIndex, LPTSTR lpszText) const
{
    if (nIndex < 0 || nIndex >= (int)m_items.size()) return CB_ERR;
    const CString& t = m_items[(size_t)nIndex].text;
    if (lpszText) std::memcpy(lpszText, (const char*)t, (size_t)t.GetLength() + 1);
    return t.GetLength();
}

void CComboBox::GetLBText(int nIndex, CString& rString) const
{
    if (nIndex < 0 || nIndex >= (int)m_items.size())
        rString.Empty();
    else
        rString = m_items[(size_t)nIndex].text;
}

int CComboBox::GetLBTextLen(int nIndex) const
{
    return nIndex < 0 || nIndex >= (int)m_items.size() ? CB_ERR : m_items[(size_t)nIndex].text.GetLength();
}

void CComboBox::ResetContent()
{
    m_items.clear();
    m_nCurSel = -1;
    m_curText.Empty();
    Invalidate();
}

int CComboBox::GetWindowText(LPTSTR buf, int nMaxCount) const
{
    if (!buf || nMaxCount <= 0) return 0;
    int n = std::min(m_curText.GetLength(), nMaxCount - 1);
    std::memcpy(buf, (const char*)m_curText, (size_t)n);
    buf[n] = 0;
    return n;
}

void CComboBox::SelectByUser(int index)
{
    if (index < 0 || index >= (int)m_items.size() || index == m_nCurSel) return;
    SetCurSel(index);
}

void CComboBox::ShowDropDown(BOOL bShowIt)
{
    if (!bShowIt || m_bDropped || !m_hWnd || m_items.empty()) return;
    m_bDropped = TRUE;
    Invalidate();
    std::vector<PopupItem> items(m_items.size());
    for (size_t i = 0; i < m_items.size(); ++i) {
        items[i].text = m_items[i].text;
        items[i].checked = (int)i == m_nCurSel;
    }
    // The list runs on its own; its choice comes back from the event pump
    // (not at all when this box is destroyed first).
    bool shown = AfxShowPopupList(this, 0, m_nClientHeight, 0, m_nClientWidth, items, m_nCurSel, m_pFont,
                                  [this](int chosen) {
                                      m_bDropped = FALSE;
                                      Invalidate();
                                      SelectByUser(chosen);
                                  });
    if (!shown) {
        m_bDropped = FALSE;
        Invalidate();
    }
}

void CComboBox::OnLButtonDown(UINT, CPoint)
{
    if (GetFocus() != this) SetFocus();
    ShowDropDown(TRUE);
}

void CComboBox::OnLButtonDblClk(UINT nFlags, CPoint point) { OnLButtonDown(nFlags, point); }

void CComboBox::OnKeyDown(UINT nChar, UINT, UINT nFlags)
{
    if (nChar == kKeyDown && (nFlags & (AFX_MOD_OPTION >> 2))) {
        ShowDropDown(TRUE);
    } else if (nChar == kKeyUp) {
        SelectByUser(std::max(0, m_nCurSel - 1));
    } else if (nChar == kKeyDown) {
        SelectByUser(std::min((int)m_items.size() - 1, m_nCurSel + 1));
    } else if (nChar == kKeyHome) {
        SelectByUser(0);
    } else if (nChar == kKeyEnd) {
        SelectByUser((int)m_items.size() - 1);
    }
}

void CComboBox::OnChar(UINT nChar, UINT, UINT)
{
    if (nChar == ' ') {
        ShowDropDown(TRUE);
        return;
    }
    // Type-ahead: the next item starting with the letter.
    std::vector<PopupItem> items(m_items.size());
    for (size_t i = 0; i < m_items.size(); ++i) items[i].text = m_items[i].text;
    int i = AfxNextItemStartingWith(items, m_nCurSel, nChar, [](int) { return false; });
    if (i >= 0) SelectByUser(i);
}

void CComboBox::OnSetFocus(CWnd* pOldWnd)
{
    CWnd::OnSetFocus(pOldWnd);
    Invalidate();
}

void CComboBox::OnKillFocus(CWnd* pNewWnd)
{
    CWnd::OnKillFocus(pNewWnd);
    Invalidate();
}

void CComboBox::OnPaint()
{
    cairo_t* cr = ctl::BeginFacePaint(this);
    if (!cr) return;
    int w = m_nClientWidth, h = m_nClientHeight;
    ctl::PaintButtonFace(cr, 0, 0, w, h, m_bDropped, false);
    int arrowW = std::min(20, h);
    // Separator and the up/down chevrons of a pop-up button.
    cairo_move_to(cr, w - arrowW - 0.5, 4);
    cairo_line_to(cr, w - arrowW - 0.5, h - 4);
    cairo_set_source_rgba(cr, 0, 0, 0, 0.18);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
    double cx = w - arrowW / 2.0;
    ctl::PaintArrow(cr, cx, h / 2.0 - 3, 7, -1, ctl::kText);
    ctl::PaintArrow(cr, cx, h / 2.0 + 3, 7, 1, ctl::kText);
    cairo_save(cr);
    cairo_rectangle(cr, 4, 0, w - arrowW - 8, h);
    cairo_clip(cr);
    ctl::PaintTextIn(cr, m_pFont, m_curText, 8, 0, w - arrowW - 12, h, IsWindowEnabled() ? ctl::kText : ctl::kGreyText,
                     false);
    cairo_restore(cr);
    if (GetFocus() == this) ctl::PaintFocusRing(cr, 0, 0, w, h, 4);
}

// --- CButton --------------------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CButton, CWnd)
    ON_WM_PAINT()
    ON_WM_LBUTTONDOWN()
    ON_WM_LBUTTONDBLCLK()
    ON_WM_LBUTTONUP()
    ON_WM_MOUSEMOVE()
    ON_WM_KEYDOWN()
    ON_WM_SETFOCUS()
    ON_WM_KILLFOCUS()
END_MESSAGE_MAP()

CButton::CButton() = default;
CButton::~CButton()
{
    if (m_bCreated) DestroyWindow();
}

BOOL CButton::Create(LPCTSTR lpszCaption, DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID)
{
    if (!pParentWnd || !pParentWnd->GetSafeHwnd()) return FALSE;
    return CWnd::Create(nullptr, lpszCaption, dwStyle | WS_CHILD, rect, pParentWnd, nID);
}

void CButton::Click()
{
    if (CWnd* p = GetParent())
        p->SendMessage(WM_COMMAND, MAKEWPARAM(GetDlgCtrlID(), BN_CLICKED), (LPARAM)(intptr_t)m_hWnd);
}

void CButton::OnLButtonDown(UINT, CPoint)
{
    m_pressed = m_inside = true;
    SetCapture();
    Invalidate();
}

void CButton::OnLButtonDblClk(UINT nFlags, CPoint point) { OnLButtonDown(nFlags, point); }

void CButton::OnMouseMove(UINT nFlags, CPoint point)
{
    if (m_pressed) {
        bool inside = point.x >= 0 && point.y >= 0 && point.x < m_nClientWidth && point.y < m_nClientHeight;
        if (inside != m_inside) {
            m_inside = inside;
            Invalidate();
        }
    }
    CWnd::OnMouseMove(nFlags, point);
}

void CButton::OnLButtonUp(UINT, CPoint point)
{
    if (!m_pressed) return;
    m_pressed = false;
    if (CWnd::GetCapture() == this) ReleaseCapture();
    Invalidate();
    if (point.x >= 0 && point.y >= 0 && point.x < m_nClientWidth && point.y < m_nClientHeight) Click();
}

void CButton::OnKeyDown(UINT nChar, UINT, UINT)
{
    if (nChar == 49) Click();  // Space
}

void CButton::OnSetFocus(CWnd* pOldWnd)
{
    CWnd::OnSetFocus(pOldWnd);
    Invalidate();
}

void CButton::OnKillFocus(CWnd* pNewWnd)
{
    CWnd::OnKillFocus(pNewWnd);
    Invalidate();
}

void CButton::OnPaint()
{
    cairo_t* cr = ctl::BeginFacePaint(this);
    if (!cr) return;
    int w = m_nClientWidth, h = m_nClientHeight;
    bool isDefault = (GetStyle() & 0xFu) == BS_DEFPUSHBUTTON;
    bool down = m_pressed && m_inside;
    ctl::PaintButtonFace(cr, 0, 0, w, h, down, isDefault);
    const ctl::Rgb& fg = !IsWindowEnabled() ? ctl::kGreyText : (isDefault && !down ? ctl::kSelText : ctl::kText);
    ctl::PaintTextIn(cr, m_pFont, m_windowText, 0, down ? 1 : 0, w, h, fg, true);
    if (GetFocus() == this && !isDefault) ctl::PaintFocusRing(cr, 0, 0, w, h, 4);
}

// --- CStatic ----------------------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CStatic, CWnd)
    ON_WM_PAINT()
END_MESSAGE_MAP()

CStatic::CStatic() = default;
CStatic::~CStatic()
{
    if (m_bCreated) DestroyWindow();
}

BOOL CStatic::Create(LPCTSTR lpszText, DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID)
{
    if (!pParentWnd || !pParentWnd->GetSafeHwnd()) return FALSE;
    return CWnd::Create(nullptr, lpszText, dwStyle | WS_CHILD, rect, pParentWnd, nID);
}

void CStatic::OnPaint()
{
    cairo_t* cr = ctl::BeginFacePaint(this);
    if (!cr) return;
    int w = m_nClientWidth;
    PangoLayout* l = AfxMakeTextLayout(cr, m_pFont, m_windowText, m_windowText.GetLength());
    pango_layout_set_width(l, w * PANGO_SCALE);
    pango_layout_set_wrap(l, PANGO_WRAP_WORD_CHAR);
    DWORD align = GetStyle() & 3u;
    pango_layout_set_alignment(l, align == SS_CENTER ? PANGO_ALIGN_CENTER : align == SS_RIGHT ? PANGO_ALIGN_RIGHT
                                                                                              : PANGO_ALIGN_LEFT);
    ctl::SetColour(cr, ctl::kText);
    cairo_move_to(cr, 0, 0);
    pango_cairo_show_layout(cr, l);
    g_object_unref(l);
}
