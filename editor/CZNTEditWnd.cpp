// Floating entry windows: a numeric edit with its spin button.
#include "CZNTEditWnd.h"

#include <cmath>
#include <cstdio>

#include "CDC.h"
#include "ControlPaint.h"

namespace {

constexpr UINT kSpinID = 18000, kEditID = 18001;
constexpr DWORD kEditStyle = 0x50010002u;  // child, visible, tab stop, right-aligned
constexpr DWORD kSpinStyle = 0xA6u;        // UDS_SETBUDDYINT | UDS_ALIGNRIGHT | UDS_ARROWKEYS | UDS_NOTHOUSANDS

// The width and height of "A" in font, on the display's measuring context.
void MeasureChar(CFont* font, int& w, int& h)
{
    CDC dc;
    dc.CreateDC("DISPLAY", nullptr, nullptr, nullptr);
    if (font) dc.SelectObject(font);
    CSize s = dc.GetTextExtent("A", 1);
    w = s.cx;
    h = s.cy;
}

// Width and height of an entry window for chars characters.
void EntrySize(int chars, int cw, int ch, int spinW, int& w, int& h)
{
    h = ch + ch / 2;
    w = chars * cw + 2 * GetSystemMetrics(45) + spinW;
}

// Sizes the window for chars characters and lays out the field (left) and
// the spin button (right edge); the field holds chars characters.
void LayOut(CWnd* self, CEdit& edit, CSpinButtonCtrl& spin, int chars, int cw, int ch, int spinW, int& w, int& h)
{
    EntrySize(chars, cw, ch, spinW, w, h);
    self->SetWindowPos(nullptr, 0, 0, w, h, SWP_NOMOVE | SWP_NOZORDER);
    edit.MoveWindow(0, 0, w - spinW, h);
    spin.MoveWindow(w - spinW, 0, spinW, h);
    edit.SetLimitText((UINT)chars);
}

// The field and its spin button, made once the window exists.
void MakeParts(CWnd* self, CEdit& edit, CSpinButtonCtrl& spin, CFont* font, int w, int h, int spinW)
{
    edit.SetFont(font);
    edit.ShowWindow(SW_SHOW);
    spin.Create(kSpinStyle, CRect(w - spinW, 0, w, h), self, kSpinID);
    spin.SetBase(10);
    spin.SetBuddy(&edit);
    spin.ShowWindow(SW_SHOW);
}

// Return and Escape: the owner hears of it, the window hides; Escape also
// gives the focus back to the parent.
LRESULT Finish(CWnd* self, CWnd* owner, UINT message)
{
    if (owner) owner->SendMessage(message, 0, 0);
    self->ShowWindow(SW_HIDE);
    if (message == WM_ENTRY_ESCAPE)
        if (CWnd* p = self->GetParent()) p->SetFocus();
    return 0;
}

BOOL CreateEntryWindow(CWnd* self, CWnd* pParent, char* name, CWindowAttr* pAttr)
{
    LPCTSTR cls = AfxRegisterWndClass(CS_DBLCLKS, LoadCursor(nullptr, (UINT)IDC_ARROW),
                                      static_cast<HBRUSH>(GetStockObject(1)));
    CRect r = pAttr ? pAttr->m_rect : CRect(0, 0, 0, 0);
    return self->CWnd::Create(cls, name, 0x44000000u, r, pParent, 0);
}

}  // namespace

// --- CZNTFloatEditWnd ----------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CZNTFloatEditWnd, CWnd)
    ON_WM_CREATE()
    ON_MESSAGE(WM_ENTRY_RETURN, OnReturn)
    ON_MESSAGE(WM_ENTRY_ESCAPE, OnEscape)
    ON_WM_PAINT()
END_MESSAGE_MAP()

CZNTFloatEditWnd::CZNTFloatEditWnd() = default;
CZNTFloatEditWnd::~CZNTFloatEditWnd()
{
    if (m_bCreated) DestroyWindow();
}

BOOL CZNTFloatEditWnd::MakeWindow(CWnd* pParent, CWnd* pOwner, char* lpszWindowName, CWindowAttr* pAttr, int nDigits,
                                  CFont* pFont, bool bSign)
{
    m_pOwner = pOwner;
    m_nChars = nDigits + 1;
    m_bSign = bSign;
    m_pFont = pFont;
    MeasureChar(pFont, m_nCharWidth, m_nCharHeight);
    m_nSpinWidth = GetSystemMetrics(3);
    return CreateEntryWindow(this, pParent, lpszWindowName, pAttr);
}

int CZNTFloatEditWnd::OnCreate(LPCREATESTRUCT lpCreateStruct)
{
    if (CWnd::OnCreate(lpCreateStruct) == -1) return -1;
    EntrySize(m_nChars, m_nCharWidth, m_nCharHeight, m_nSpinWidth, m_nWidth, m_nHeight);
    SetWindowPos(nullptr, 0, 0, m_nWidth, m_nHeight, SWP_NOMOVE | SWP_NOZORDER);
    m_edit.MakeWindow(kEditStyle, CRect(0, 0, m_nWidth - m_nSpinWidth, m_nHeight), this, kEditID, false, m_bSign);
    m_edit.SetLimitText((UINT)m_nChars);
    MakeParts(this, m_edit, m_spin, m_pFont, m_nWidth, m_nHeight, m_nSpinWidth);
    return 0;
}

void CZNTFloatEditWnd::SetNewValue(int nValue, int nMin, int nMax)
{
    m_spin.SetRange32(nMin, nMax);
    m_spin.SetPos(nValue);
    m_edit.SetFocus();
    char text[16];
    std::snprintf(text, sizeof text, "%d", nValue);
    m_edit.SetWindowText(text);
    m_edit.SetSel(8, 8);
}

void CZNTFloatEditWnd::ChangeSize(int nDigits, bool bSign)
{
    SetSingnFlag(bSign);
    m_nChars = nDigits + 1;
    LayOut(this, m_edit, m_spin, m_nChars, m_nCharWidth, m_nCharHeight, m_nSpinWidth, m_nWidth, m_nHeight);
}

void CZNTFloatEditWnd::SetSingnFlag(bool bSign)
{
    m_bSign = bSign;
    m_edit.SetSingnFlag(bSign);
}

void CZNTFloatEditWnd::OnPaint()
{
    ctl::BeginFacePaint(this);  // the face colour under the field and the spin button
}

LRESULT CZNTFloatEditWnd::OnReturn(WPARAM, LPARAM) { return Finish(this, m_pOwner, WM_ENTRY_RETURN); }
LRESULT CZNTFloatEditWnd::OnEscape(WPARAM, LPARAM) { return Finish(this, m_pOwner, WM_ENTRY_ESCAPE); }

// --- CZNTSpinEditWnd ------------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CZNTSpinEditWnd, CWnd)
    ON_WM_CREATE()
    ON_MESSAGE(WM_ENTRY_RETURN, OnReturn)
    ON_MESSAGE(WM_ENTRY_ESCAPE, OnEscape)
END_MESSAGE_MAP()

CZNTSpinEditWnd::CZNTSpinEditWnd() = default;
CZNTSpinEditWnd::~CZNTSpinEditWnd()
{
    if (m_bCreated) DestroyWindow();
}

BOOL CZNTSpinEditWnd::MakeWindow(CWnd* pParent, CWnd* pOwner, char* lpszWindowName, CWindowAttr* pAttr, int nDigits,
                                 CFont* pFont, bool)
{
    m_pOwner = pOwner;
    m_nChars = nDigits + 1;
    // The largest value the digits can show.
    m_nMax = (int)std::pow(10.0, std::min(nDigits, 9)) - 1;
    m_pFont = pFont;
    MeasureChar(pFont, m_nCharWidth, m_nCharHeight);
    m_nSpinWidth = GetSystemMetrics(3);
    return CreateEntryWindow(this, pParent, lpszWindowName, pAttr);
}

int CZNTSpinEditWnd::OnCreate(LPCREATESTRUCT lpCreateStruct)
{
    if (CWnd::OnCreate(lpCreateStruct) == -1) return -1;
    EntrySize(m_nChars, m_nCharWidth, m_nCharHeight, m_nSpinWidth, m_nWidth, m_nHeight);
    SetWindowPos(nullptr, 0, 0, m_nWidth, m_nHeight, SWP_NOMOVE | SWP_NOZORDER);
    m_edit.MakeWindow(kEditStyle, CRect(0, 0, m_nWidth - m_nSpinWidth, m_nHeight), this, kEditID, 1, m_nMax, 0, 0);
    m_edit.SetLimitText((UINT)m_nChars);
    MakeParts(this, m_edit, m_spin, m_pFont, m_nWidth, m_nHeight, m_nSpinWidth);
    return 0;
}

void CZNTSpinEditWnd::SetNewValue(int nValue, int nMin, int nMax)
{
    m_spin.SetRange32(nMin, nMax);
    if (m_spin.SetPos(nValue) == m_spin.GetPos()) {
        // The spin button shows only a change; the field may still hold the
        // text typed last time, so it is shown the value here.
        char text[16];
        std::snprintf(text, sizeof text, "%d", m_spin.GetPos());
        m_edit.SetTextForSpin(text);
    }
    m_edit.SetFocus();
    m_edit.SetNewValue(nValue, nMin, nMax);
    int caret = (nValue >= -9 && nValue <= 9) ? 1 : (nValue >= -99 && nValue <= 99) ? 2 : 3;
    m_edit.SetSel(caret, caret);
}

void CZNTSpinEditWnd::ChangeSize(int nDigits, bool)
{
    m_nChars = nDigits + 1;
    LayOut(this, m_edit, m_spin, m_nChars, m_nCharWidth, m_nCharHeight, m_nSpinWidth, m_nWidth, m_nHeight);
}

LRESULT CZNTSpinEditWnd::OnReturn(WPARAM, LPARAM) { return Finish(this, m_pOwner, WM_ENTRY_RETURN); }
LRESULT CZNTSpinEditWnd::OnEscape(WPARAM, LPARAM) { return Finish(this, m_pOwner, WM_ENTRY_ESCAPE); }
