#pragma once
// Numeric edit fields. They accept only what a number of their kind can
// hold, keep the text formatted in their unit, and exchange values with the
// spin button and the owner as integers (the displayed value times the
// field's scale).
#include "StdControls.h"

// Messages an entry field sends its owner: the typed value was committed
// (Return), or the entry was cancelled (Escape).
#define WM_ENTRY_RETURN 0x0A01
#define WM_ENTRY_ESCAPE 0x0A00

class CFormatEdit : public CEdit {
public:
    CFormatEdit();
    ~CFormatEdit() override;

    void SetSingnFlag(bool bSign) { m_bSign = bSign; }
    // Taken only when dMax > dMin.
    void SetInputMinMax(double dMin, double dMax);
    // Text limit n + sign (0 or 1) + the width of the unit.
    virtual void SetLimitInputText(int n);

    // text is the integer (scaled) value: 123 shows as 1.2mm in a CFloatEdit.
    void SetWindowText(LPCTSTR lpszString) override;
    // The integer (scaled) value of the text.
    int GetWindowText(LPTSTR lpszStringBuf, int nMaxCount) const override;
    using CWnd::GetWindowText;
    using CWnd::SetWindowText;
    // The spin button's integer position shown in units.
    void SetTextForSpin(LPCTSTR text) override;
    void NotifySpinButton();

    double atof(const char* text) const;
    double atof_and_limitchk(const char* text) const;
    virtual void FixInputText();
    // ch - '0' for a digit, ch for an accepted control character; anything
    // else tells the parent (WM_COMMAND with the field's id).
    int OnNotifyChar(UINT ch);

    BOOL PreTranslateMessage(MSG* pMsg) override;

    afx_msg void OnChar(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnKillFocus(CWnd* pNewWnd);

    DECLARE_MESSAGE_MAP()

    // Fields, in order.
    CString m_strLastValue;  // "%d" of value x scale (CFloatEdit2: the formatted text)
    const char* m_pszFormat;
    double m_dScale = 1.0;
    BYTE m_bSign;
    double m_dInputMax = 1.7976931348623157e308;
    double m_dInputMin = -1.7976931348623157e308;

protected:
    // The subclasses' unit: display format, scale, extra text width.
    void SetUnit(const char* format, double scale, int limitExtra);
    bool Accepts(UINT ch) const;
    // The text formatted for value (the format applied to value).
    CString Format(double value) const;
    int m_nLimitExtra = 0;
    void StoreValue(double value);
    void SendCommand();
};

class CFloatEdit : public CFormatEdit {
public:
    CFloatEdit();
};

class CFloatEdit2 : public CFormatEdit {
public:
    CFloatEdit2();
    void FixInputText() override;
    afx_msg void OnChar(UINT nChar, UINT nRepCnt, UINT nFlags);
    DECLARE_MESSAGE_MAP()
};

class CPointEdit : public CFormatEdit {
public:
    CPointEdit();
};

class CMiliSecondEdit : public CFormatEdit {
public:
    CMiliSecondEdit();
};

class CNormalFloatEdit : public CFormatEdit {
public:
    CNormalFloatEdit();
    // n decimals: scale 10^n, format "%.<n>f".
    void SetFloatPoint(int n);
    BOOL MakeWindow(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID, bool b, bool bSign);
    void ProcRet();
    void ProcEsc();
    void SetEventHandler() {}

    afx_msg void OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnChar(UINT nChar, UINT nRepCnt, UINT nFlags);
    DECLARE_MESSAGE_MAP()

    char m_szFormat[16];
};

// An integer field: it takes whatever is typed; Return clamps to the range
// and commits, Escape cancels.
class CZNTSpinEdit : public CEdit {
public:
    CZNTSpinEdit();
    ~CZNTSpinEdit() override;
    BOOL MakeWindow(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID, int nMin, int nMax, signed char c1,
                    signed char c2);
    void SetRange(int nMin, int nMax);
    void SetNewValue(int nValue, int nMin, int nMax);
    void SetValue(int nValue);

    afx_msg void OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnChar(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnKillFocus(CWnd* pNewWnd);
    DECLARE_MESSAGE_MAP()

    int m_nMin = 0;
    int m_nMax = 0;
    signed char m_cFlag = 0;
    UINT m_nCtrlID = 0;
};
