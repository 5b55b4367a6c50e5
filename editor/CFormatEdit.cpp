// Numeric edit fields.
#include "CFormatEdit.h"

#include <cctype>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr UINT kKeyReturn = 36, kKeyP = 35, kKeyEscape = 53, kKeyTab = 48;

// value x scale truncated toward zero, as an int (saturating, NaN as 0).
int ScaledInt(double value, double scale)
{
    double v = value * scale;
    if (std::isnan(v)) return 0;
    if (v >= (double)INT_MAX) return INT_MAX;
    if (v <= (double)INT_MIN) return INT_MIN;
    return (int)v;
}

CString IntText(int v)
{
    CString s;
    s.Format("%d", v);
    return s;
}

}  // namespace

// --- CFormatEdit ----------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CFormatEdit, CEdit)
    ON_WM_CHAR()
    ON_WM_KILLFOCUS()
END_MESSAGE_MAP()

CFormatEdit::CFormatEdit() : m_pszFormat("%.1fmm"), m_bSign(0) {}
CFormatEdit::~CFormatEdit() = default;

void CFormatEdit::SetUnit(const char* format, double scale, int limitExtra)
{
    m_pszFormat = format;
    m_dScale = scale;
    m_nLimitExtra = limitExtra;
}

void CFormatEdit::SetInputMinMax(double dMin, double dMax)
{
    if (!(dMax > dMin)) return;
    m_dInputMin = dMin;
    m_dInputMax = dMax;
}

void CFormatEdit::SetLimitInputText(int n) { SetLimitText((UINT)(n + (m_bSign ? 1 : 0) + m_nLimitExtra)); }

double CFormatEdit::atof(const char* text) const
{
    double v = text ? std::strtod(text, nullptr) : 0.0;
    if (std::isnan(v)) return 0.0;
    if (v > DBL_MAX) return DBL_MAX;
    if (v < -DBL_MAX) return -DBL_MAX;
    return v;
}

double CFormatEdit::atof_and_limitchk(const char* text) const
{
    double v = atof(text);
    if (v > m_dInputMax) v = m_dInputMax;
    if (v < m_dInputMin) v = m_dInputMin;
    return v;
}

CString CFormatEdit::Format(double value) const
{
    char buf[400];
    std::snprintf(buf, sizeof buf, m_pszFormat ? m_pszFormat : "%g", value);
    return CString(buf);
}

void CFormatEdit::StoreValue(double value) { m_strLastValue = IntText(ScaledInt(value, m_dScale)); }

void CFormatEdit::SendCommand()
{
    if (CWnd* p = GetParent()) p->SendMessage(WM_COMMAND, (WPARAM)GetDlgCtrlID(), 0);
}

void CFormatEdit::SetWindowText(LPCTSTR lpszString)
{
    CString text(lpszString);
    CString formatted = Format(atof(text) / m_dScale);
    if (m_windowText == formatted) return;
    CEdit::SetTextForSpin(formatted);
    NotifySpinButton();
}

int CFormatEdit::GetWindowText(LPTSTR buf, int nMaxCount) const
{
    if (!buf || nMaxCount <= 0) return 0;
    char text[65];
    CEdit::GetWindowText(text, sizeof text);
    CString value = IntText(ScaledInt(atof(text), m_dScale));
    int n = std::min(value.GetLength(), nMaxCount - 1);
    std::memcpy(buf, (const char*)value, (size_t)n);
    buf[n] = 0;
    return n;
}

void CFormatEdit::SetTextForSpin(LPCTSTR text)
{
    CEdit::SetTextForSpin(Format(std::atoi(text ? text : "") / m_dScale));
}

void CFormatEdit::NotifySpinButton()
{
    if (!m_pSpin) return;
    char text[64];
    CEdit::GetWindowText(text, sizeof text);
    const char* p = text + (text[0] == '-');
    if (!*p) return;
    for (const char* q = p; *q; ++q)
        if (!std::isdigit((unsigned char)*q)) return;
    long long v = std::strtoll(text, nullptr, 10);
    if (v == 4294967295LL || v > INT_MAX || v < INT_MIN) return;
    m_pSpin->SetPosForSpin((int)v);
}

bool CFormatEdit::Accepts(UINT ch) const
{
    return (ch >= '0' && ch <= '9') || ch == 8 || ch == 37 || ch == 39 || ch == '.' || (ch == '-' && m_bSign);
}

int CFormatEdit::OnNotifyChar(UINT ch)
{
    if (ch >= '0' && ch <= '9') return (int)(ch - '0');
    if (Accepts(ch)) return (int)ch;
    SendCommand();
    return -1;
}

void CFormatEdit::FixInputText()
{
    char text[319];
    CEdit::GetWindowText(text, sizeof text);
    double v = atof_and_limitchk(text);
    StoreValue(v);
    ReplaceText(Format(v));
    SendCommand();
}

void CFormatEdit::OnChar(UINT nChar, UINT nRepCnt, UINT nFlags)
{
    if (!Accepts(nChar)) {
        FixInputText();  // Return, letters and every other refused key commit the text
        return;
    }
    CEdit::OnChar(nChar, nRepCnt, nFlags);
    char text[319];
    CEdit::GetWindowText(text, sizeof text);
    StoreValue(atof(text));
}

void CFormatEdit::OnKillFocus(CWnd* pNewWnd)
{
    CEdit::OnKillFocus(pNewWnd);
    if (m_hWnd) FixInputText();
}

BOOL CFormatEdit::PreTranslateMessage(MSG* pMsg)
{
    if (!pMsg || pMsg->message != WM_KEYDOWN) return FALSE;
    UINT ch = AfxGetCurrentEventChar();
    if (pMsg->wParam == kKeyTab || ch == 9) return CEdit::PreTranslateMessage(pMsg);
    AfxSetCancelCall(TRUE);
    HWND self = m_hWnd;
    SendMessage(WM_KEYDOWN, pMsg->wParam, pMsg->lParam);
    // Keypad Enter becomes Return; the platform's arrow characters become
    // the Windows arrow codes.
    if (ch == 3) ch = 13;
    else if (ch == 28) ch = 37;
    else if (ch == 29) ch = 39;
    if (m_hWnd == self) SendMessage(WM_CHAR, ch, pMsg->lParam);
    pMsg->message = WM_NULL;
    return TRUE;
}

// --- the unit-specific edits ---------------------------------------------------------------

CFloatEdit::CFloatEdit() { SetUnit("%.1fmm", 100.0, 4); }

BEGIN_MESSAGE_MAP(CFloatEdit2, CFormatEdit)
    ON_WM_CHAR()
END_MESSAGE_MAP()

CFloatEdit2::CFloatEdit2() { SetUnit("%.1f", 1.0, 2); }

void CFloatEdit2::FixInputText()
{
    CFormatEdit::FixInputText();
    CEdit::GetWindowText(m_strLastValue);
    if (CWnd* p = GetParent()) p->PostMessage(WM_ENTRY_RETURN, (WPARAM)GetDlgCtrlID(), 0);
}

void CFloatEdit2::OnChar(UINT nChar, UINT nRepCnt, UINT nFlags)
{
    if (!Accepts(nChar)) {
        FixInputText();
        return;
    }
    CEdit::OnChar(nChar, nRepCnt, nFlags);
    char text[319];
    CEdit::GetWindowText(text, sizeof text);
    m_strLastValue = Format(atof(text));
    if (CWnd* p = GetParent()) p->PostMessage(WM_ENTRY_RETURN, (WPARAM)GetDlgCtrlID(), 0);
}

CPointEdit::CPointEdit() { SetUnit("%.1fpoint", 10.0, 7); }

CMiliSecondEdit::CMiliSecondEdit() { SetUnit("%.0fms", 1.0, 2); }

// --- CNormalFloatEdit ------------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CNormalFloatEdit, CFormatEdit)
    ON_WM_KEYDOWN()
    ON_WM_CHAR()
END_MESSAGE_MAP()

CNormalFloatEdit::CNormalFloatEdit()
{
    std::strcpy(m_szFormat, "%.1f");
    m_pszFormat = m_szFormat;
    m_dScale = 10.0;
}

void CNormalFloatEdit::SetFloatPoint(int n)
{
    if (n < 0) n = 0;
    if (n > 9) n = 9;
    m_dScale = std::pow(10.0, n);
    std::snprintf(m_szFormat, sizeof m_szFormat, "%%.%df", n);
}

BOOL CNormalFloatEdit::MakeWindow(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID, bool, bool bSign)
{
    m_bSign = bSign;
    return CEdit::Create(dwStyle, rect, pParentWnd, nID);
}

void CNormalFloatEdit::ProcRet()
{
    if (CWnd* p = GetParent()) p->SendMessage(WM_ENTRY_RETURN, (WPARAM)GetDlgCtrlID(), 0);
}

void CNormalFloatEdit::ProcEsc()
{
    if (CWnd* p = GetParent()) p->SendMessage(WM_ENTRY_ESCAPE, (WPARAM)GetDlgCtrlID(), 0);
}

void CNormalFloatEdit::OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags)
{
    if (nChar == kKeyP || nChar == kKeyReturn)
        ProcRet();
    else if (nChar == kKeyEscape)
        ProcEsc();
    else
        CEdit::OnKeyDown(nChar, nRepCnt, nFlags);
}

void CNormalFloatEdit::OnChar(UINT nChar, UINT nRepCnt, UINT nFlags)
{
    if (nChar == 13 || nChar == 27) return;  // Return and Escape came through OnKeyDown
    char text[319];
    if (Accepts(nChar)) {
        CEdit::OnChar(nChar, nRepCnt, nFlags);
        CEdit::GetWindowText(text, sizeof text);
        StoreValue(atof(text));
        SendCommand();
        return;
    }
    CEdit::GetWindowText(text, sizeof text);
    double v = atof(text);
    StoreValue(v);
    ReplaceText(Format(v));
    SendCommand();
}

// --- CZNTSpinEdit -------------------------------------------------------------------------------

BEGIN_MESSAGE_MAP(CZNTSpinEdit, CEdit)
    ON_WM_KEYDOWN()
    ON_WM_CHAR()
    ON_WM_KILLFOCUS()
END_MESSAGE_MAP()

CZNTSpinEdit::CZNTSpinEdit() = default;
CZNTSpinEdit::~CZNTSpinEdit() = default;

BOOL CZNTSpinEdit::MakeWindow(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID, int nMin, int nMax,
                              signed char, signed char c2)
{
    m_nMin = nMin;
    m_nMax = nMax;
    m_cFlag = c2;
    m_nCtrlID = nID;
    return CEdit::Create(dwStyle, rect, pParentWnd, nID);
}

void CZNTSpinEdit::SetRange(int nMin, int nMax)
{
    m_nMin = nMin;
    m_nMax = nMax;
}

void CZNTSpinEdit::SetNewValue(int nValue, int nMin, int nMax)
{
    SetRange(nMin, nMax);
    SetValue(nValue);  // the spin button shows the value
}

void CZNTSpinEdit::SetValue(int nValue)
{
    CString text = IntText(nValue);  // formatted only: the spin button shows it
    (void)text;
}

void CZNTSpinEdit::OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags)
{
    if (nChar == kKeyP || nChar == kKeyReturn) {
        char text[101];
        CEdit::GetWindowText(text, sizeof text);
        int v = std::atoi(text);
        if (v > m_nMax) {
            v = m_nMax;
            ReplaceText(IntText(v));
        } else if (v < m_nMin) {
            v = m_nMin;
            ReplaceText(IntText(v));
        }
        if (CWnd* p = GetParent()) p->SendMessage(WM_ENTRY_RETURN, m_nCtrlID, (LPARAM)(v & 0xFFFF));
    } else if (nChar == kKeyEscape) {
        if (CWnd* p = GetParent()) p->SendMessage(WM_ENTRY_ESCAPE, m_nCtrlID, 0);
    } else {
        // No handling of its own: the field itself moves the caret.
        CEdit::OnKeyDown(nChar, nRepCnt, nFlags);
    }
}

// Typed characters are neither filtered nor reformatted: the field takes
// them as any text field does.
void CZNTSpinEdit::OnChar(UINT nChar, UINT nRepCnt, UINT nFlags) { CEdit::OnChar(nChar, nRepCnt, nFlags); }

// Leaving the field does not commit.
void CZNTSpinEdit::OnKillFocus(CWnd* pNewWnd) { CEdit::OnKillFocus(pNewWnd); }
