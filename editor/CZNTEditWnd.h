#pragma once
// Floating entry windows: a numeric edit with a spin button at its right,
// shown over a read-out while the user types a value. Return tells the
// owner WM_ENTRY_RETURN (0x0A01), Escape WM_ENTRY_ESCAPE (0x0A00); either
// hides the window again.
#include "CFormatEdit.h"
#include "StdControls.h"

class CFont;

// Where an entry window is created (its size follows from the font).
struct CWindowAttr {
    CRect m_rect;
};

class CZNTFloatEditWnd : public CWnd {
public:
    CZNTFloatEditWnd();
    ~CZNTFloatEditWnd() override;

    BOOL MakeWindow(CWnd* pParent, CWnd* pOwner, char* lpszWindowName, CWindowAttr* pAttr, int nDigits,
                    CFont* pFont, bool bSign);
    void SetNewValue(int nValue, int nMin, int nMax);
    void ChangeSize(int nDigits, bool bSign);
    void SetSingnFlag(bool bSign);

    afx_msg int OnCreate(LPCREATESTRUCT lpCreateStruct);
    afx_msg void OnPaint();
    afx_msg LRESULT OnReturn(WPARAM wParam, LPARAM lParam);
    afx_msg LRESULT OnEscape(WPARAM wParam, LPARAM lParam);
    DECLARE_MESSAGE_MAP()

    // Fields, in order.
    CSpinButtonCtrl m_spin;
    CNormalFloatEdit m_edit;
    CWnd* m_pOwner = nullptr;
    int m_nChars = 0;
    bool m_bSign = false;
    CFont* m_pFont = nullptr;
    int m_nCharWidth = 0;
    int m_nCharHeight = 0;
    int m_nSpinWidth = 0;
    int m_nWidth = 0;
    int m_nHeight = 0;
};

class CZNTSpinEditWnd : public CWnd {
public:
    CZNTSpinEditWnd();
    ~CZNTSpinEditWnd() override;

    BOOL MakeWindow(CWnd* pParent, CWnd* pOwner, char* lpszWindowName, CWindowAttr* pAttr, int nDigits,
                    CFont* pFont, bool bSign);
    void SetNewValue(int nValue, int nMin, int nMax);
    void ChangeSize(int nDigits, bool bSign);

    afx_msg int OnCreate(LPCREATESTRUCT lpCreateStruct);
    afx_msg LRESULT OnReturn(WPARAM wParam, LPARAM lParam);
    afx_msg LRESULT OnEscape(WPARAM wParam, LPARAM lParam);
    DECLARE_MESSAGE_MAP()

    CSpinButtonCtrl m_spin;
    CZNTSpinEdit m_edit;
    CWnd* m_pOwner = nullptr;
    int m_nChars = 0;
    int m_nMax = 0;
    CFont* m_pFont = nullptr;
    int m_nCharWidth = 0;
    int m_nCharHeight = 0;
    int m_nSpinWidth = 0;
    int m_nWidth = 0;
    int m_nHeight = 0;
};
