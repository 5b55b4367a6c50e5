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
    m_edit.SetFont(m_pFont);
    m_edit.ShowWindow(SW_SHOW);
    m_spin.Create(kSpinStyle, CRect(m_nWidth - m_nSpinWidth, 0, m_nWidth, m_nHeight), this, kSpinID);
    m_spin.SetBase(10);
    m_spin.SetBuddy(&m_edit);
    m_spin.ShowWindow(SW_SHOW);
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
    EntrySize(m_nChars, m_nCharWidth, m_nCharHeight, m_nSpinWidth, m_nWidth, m_nHeight);
    SetWindowPos(nullptr, 0, 0, m_nWidth, m_nHeight, SWP_NOMOVE | SWP_NOZORDER);
    m_edit.MoveWindow(0, 0, m_nWidth - m_nSpinWidth, m_nHeight);
    m_spin.MoveWindow(m_nWidth - m_nSpinWidth, 0, m_nSpinWidth, m_nHeight);
    m_edit.SetLimitText((UINT)m_nChars);
}

void CZNTFloatEditWnd::SetSingnFlag(bool bSign)
{
    m_bSign = bSign;
    m_edit.SetSingnFlag(bSign);
}

void CZNTFloatEditWnd::OnPaint()
{
    cairo_t* cr = static_cast<cairo_t*>(m_pPaintContext);
    if (!cr) return;
    cairo_rectangle(cr, 0, 0, m_nClientWidth, m_nClientHeight);
    ctl::SetColour(cr, ctl::kFace);
    cairo_fill(cr);
}

LRESULT CZNTFloatEditWnd::OnReturn(WPARAM, LPARAM)
{
    if (m_pOwner) m_pOwner->SendMessage(WM_ENTRY_RETURN, 0, 0);
    ShowWindow(SW_HIDE);
    return 0;
}

LRESULT CZNTFloatEditWnd::OnEscape(WPARAM, LPARAM)
{
    if (m_pOwner) m_pOwner->SendMessage(WM_ENTRY_ESCAPE, 0, 0);
    ShowWindow(SW_HIDE);
    if (CWnd* p = GetParent()) p->SetFocus();
    return 0;
}

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
    m_edit.SetFont(m_pFont);
    m_edit.ShowWindow(SW_SHOW);
    m_spin.Create(kSpinStyle, CRect(m_nWidth - m_nSpinWidth, 0, m_nWidth, m_nHeight), this, kSpinID);
    m_spin.SetBase(10);
    m_spin.SetBuddy(&m_edit);
    m_spin.ShowWindow(SW_SHOW);
    return 0;
}

void CZNTSpinEditWnd::SetNewValue(int nValue, int nMin, int nMax)
{
    m_spin.SetRange32(nMin, nMax);
    m_spin.SetPos(nValue);
    m_edit.SetFocus();
    m_edit.SetNewValue(nValue, nMin, nMax);
    int caret = (nValue >= -9 && nValue <= 9) ? 1 : (nValue >= -99 && nValue <= 99) ? 2 : 3;
    m_edit.SetSel(caret, caret);
}

void CZNTSpinEditWnd::ChangeSize(int nDigits, bool)
{
    m_nChars = nDigits + 1;
    EntrySize(m_nChars, m_nCharWidth, m_nCharHeight, m_nSpinWidth, m_nWidth, m_nHeight);
    SetWindowPos(nullptr, 0, 0, m_nWidth, m_nHeight, SWP_NOMOVE | SWP_NOZORDER);
    m_edit.MoveWindow(0, 0, m_nWidth - m_nSpinWidth, m_nHeight);
    m_spin.MoveWindow(m_nWidth - m_nSpinWidth, 0, m_nSpinWidth, m_nHeight);
    m_edit.SetLimitText((UINT)m_nChars);
}

LRESULT CZNTSpinEditWnd::OnReturn(WPARAM, LPARAM)
{
    if (m_pOwner) m_pOwner->SendMessage(WM_ENTRY_RETURN, 0, 0);
    ShowWindow(SW_HIDE);
    return 0;
}

LRESULT CZNTSpinEditWnd::OnEscape(WPARAM, LPARAM)
{
    if (m_pOwner) m_pOwner->SendMessage(WM_ENTRY_ESCAPE, 0, 0);
    ShowWindow(SW_HIDE);
    if (CWnd* p = GetParent()) p->SetFocus();
    return 0;
}
