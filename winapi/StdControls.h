#pragma once
// Standard controls: the edit field, the spin button, the combo box, push
// buttons and static text. Each is a window object like any other (message
// map, X11-free), drawn by the layer itself with Cairo and Pango so that it
// looks and behaves like the familiar desktop control.
#include <vector>

#include "CString.h"
#include "CWnd.h"

// Edit styles
#define ES_LEFT 0x0000u
#define ES_CENTER 0x0001u
#define ES_RIGHT 0x0002u
#define ES_AUTOHSCROLL 0x0080u
#define ES_READONLY 0x0800u
#define WS_TABSTOP 0x00010000u
#define WS_GROUP 0x00020000u
#define EN_CHANGE 0x0300
// Spin-button styles
#define UDS_WRAP 0x0001u
#define UDS_SETBUDDYINT 0x0002u
#define UDS_ALIGNRIGHT 0x0004u
#define UDS_ALIGNLEFT 0x0008u
#define UDS_AUTOBUDDY 0x0010u
#define UDS_ARROWKEYS 0x0020u
#define UDS_HORZ 0x0040u
#define UDS_NOTHOUSANDS 0x0080u
#define SB_LINEUP 0
#define SB_LINEDOWN 1
#define SB_THUMBPOSITION 4
// Combo-box styles and notifications
#define CBS_SIMPLE 0x0001u
#define CBS_DROPDOWN 0x0002u
#define CBS_DROPDOWNLIST 0x0003u
#define CBN_SELCHANGE 1
#define CB_ERR (-1)
// Buttons
#define BS_PUSHBUTTON 0x0000u
#define BS_DEFPUSHBUTTON 0x0001u
#define BN_CLICKED 0
// Static text
#define SS_LEFT 0x0000u
#define SS_CENTER 0x0001u
#define SS_RIGHT 0x0002u

class CSpinButtonCtrl;

// The layer's global cancel-call flag: raised by an edit's key handling when
// the field itself should carry out the key (cut, copy, paste, select all).
void AfxSetCancelCall(BOOL on);
BOOL AfxGetCancelCall();

// A one-line text field: caret (blinking while focused), selection by mouse
// and Shift+arrows, Backspace, Delete, Left, Right, Home, End, Control (or
// Command) with A, C, X, V for select all, copy, cut, paste through the
// desktop clipboard; the whole text is selected when the field takes the
// focus.
class CEdit : public CWnd {
public:
    CEdit();
    ~CEdit() override;

    // The rectangle is inclusive on both edges (width = right - left + 1).
    virtual BOOL Create(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID);
    using CWnd::Create;

    void SetLimitText(UINT nMax);  // 0: no limit
    void LimitText(int nChars = 0) { SetLimitText((UINT)nChars); }
    UINT GetLimitText() const { return m_nLimit; }
    // Does nothing: the field keeps its own selection (see GetSel).
    void SetSel(int nStartChar, int nEndChar, BOOL bNoScroll = FALSE);
    // The field's own selection (anchor and caret, ordered).
    void GetSel(int& nStartChar, int& nEndChar) const;
    // Selects the whole text (what taking the focus does).
    void SelectAll();

    void SetSpinButton(CSpinButtonCtrl* pSpin) { m_pSpin = pSpin; }
    CSpinButtonCtrl* GetSpinButton() const { return m_pSpin; }
    // When set, every key is carried out by the field itself.
    void SetCancelCall(BOOL on) { m_bCancelCall = on; }

    // Sets the text without echoing it back to the spin button, then tells
    // the parent (EN_CHANGE). Derived edits reformat the text here.
    virtual void SetTextForSpin(LPCTSTR text);
    // WM_COMMAND with EN_CHANGE and this field's id to the parent.
    void NotifyParent();

    void SetWindowText(LPCTSTR lpszString) override;
    int GetWindowText(LPTSTR lpszStringBuf, int nMaxCount) const override;
    using CWnd::GetWindowText;
    using CWnd::SetWindowText;

    BOOL PreTranslateMessage(MSG* pMsg) override;

    afx_msg void OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnChar(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnPaint();
    afx_msg void OnLButtonDown(UINT nFlags, CPoint point);
    afx_msg void OnLButtonDblClk(UINT nFlags, CPoint point);
    afx_msg void OnLButtonUp(UINT nFlags, CPoint point);
    afx_msg void OnMouseMove(UINT nFlags, CPoint point);
    afx_msg void OnSetFocus(CWnd* pOldWnd);
    afx_msg void OnKillFocus(CWnd* pNewWnd);
    afx_msg void OnTimer(UINT nIDEvent);
    afx_msg BOOL OnSetCursor(CWnd* pWnd, UINT nHitTest, UINT message);

    DECLARE_MESSAGE_MAP()

protected:
    // Rewrites the text as the field itself would (reformatting), with the
    // caret at the end and no notification.
    void ReplaceText(LPCTSTR text);
    UINT m_nLimit = 0;
    CSpinButtonCtrl* m_pSpin = nullptr;
    BOOL m_bCancelCall = FALSE;

private:
    void ReplaceSelection(const char* text, int len);
    void ClipboardKey(UINT nChar);  // Control (or Command) with A, C, X or V
    void MoveCaret(int pos, bool extend);
    int HitTest(int x) const;
    void RestartBlink();
    int m_anchor = 0;  // byte offsets into the text
    int m_caret = 0;
    int m_scroll = 0;  // pixels the text is shifted left to keep the caret visible
    bool m_caretOn = false;
    bool m_dragging = false;
    bool m_navKey = false;  // the key just handled moved the caret: its character is not text
};

// Two arrow buttons that step a position in [lower, upper]; a held button
// repeats. With UDS_SETBUDDYINT a click also shows the new position in the
// buddy window.
class CSpinButtonCtrl : public CWnd {
public:
    CSpinButtonCtrl();
    ~CSpinButtonCtrl() override;

    // The rectangle is inclusive on both edges. Needs a parent with a window.
    virtual BOOL Create(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID);
    using CWnd::Create;

    CWnd* SetBuddy(CWnd* pWndBuddy);  // returns the previous buddy
    CWnd* GetBuddy() const { return m_pBuddy; }
    void SetRange(int nLower, int nUpper);
    void SetRange32(int nLower, int nUpper);
    void GetRange32(int& nLower, int& nUpper) const;
    int SetBase(int nBase);  // always decimal: does nothing, returns 0
    int SetPos(int nPos);    // returns the previous position
    int GetPos() const { return m_nPos; }
    // A user's click: clamps, stores and tells the parent (WM_VSCROLL).
    int SetPosForSpin(int nPos);
    // One step of the arrows (or of Up/Down in the buddy with
    // UDS_ARROWKEYS): SetPosForSpin, then with UDS_SETBUDDYINT the buddy
    // shows the new position.
    void StepBy(int delta);

    afx_msg void OnPaint();
    afx_msg void OnLButtonDown(UINT nFlags, CPoint point);
    afx_msg void OnLButtonDblClk(UINT nFlags, CPoint point);
    afx_msg void OnLButtonUp(UINT nFlags, CPoint point);
    afx_msg void OnTimer(UINT nIDEvent);

    DECLARE_MESSAGE_MAP()

protected:
    int m_nPos = 0;
    int m_nLower = 0;
    int m_nUpper = 100;
    CWnd* m_pBuddy = nullptr;

private:
    int Clamp(int nPos) const;
    void ShowInBuddy(bool trace);
    int m_pressed = 0;  // +1 upper arrow held, -1 lower arrow held
    int m_ticks = 0;
};

// A drop-down list: a button showing the current item that opens the list
// on a click (or Alt+Down, F4, Space); the list is chosen by mouse, or by
// the arrow keys and Return; Escape or a click outside closes it unchanged.
// Up and Down on the closed control step the selection.
class CComboBox : public CWnd {
public:
    CComboBox();
    ~CComboBox() override;

    virtual BOOL Create(DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID);
    using CWnd::Create;

    int AddString(LPCTSTR lpszString);  // index of the new item
    int GetCount() const { return (int)m_items.size(); }
    // Selects the item and tells the parent (CBN_SELCHANGE), unlike Windows
    // also when the program selects. -1 clears the selection silently.
    int SetCurSel(int nSelect);
    int GetCurSel() const { return m_nCurSel; }
    int GetLBText(int nIndex, LPTSTR lpszText) const;
    void GetLBText(int nIndex, CString& rString) const;
    int GetLBTextLen(int nIndex) const;
    void ResetContent();
    // Opens the list and runs it until an item is chosen or it is dismissed.
    void ShowDropDown(BOOL bShowIt = TRUE);
    BOOL GetDroppedState() const { return m_bDropped; }

    // The current item's text.
    int GetWindowText(LPTSTR lpszStringBuf, int nMaxCount) const override;
    using CWnd::GetWindowText;

    afx_msg void OnPaint();
    afx_msg void OnLButtonDown(UINT nFlags, CPoint point);
    afx_msg void OnLButtonDblClk(UINT nFlags, CPoint point);
    afx_msg void OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnChar(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnSetFocus(CWnd* pOldWnd);
    afx_msg void OnKillFocus(CWnd* pNewWnd);

    DECLARE_MESSAGE_MAP()

protected:
    struct Item {
        CString text;
        DWORD data[2] = {0, 0};
    };
    std::vector<Item> m_items;
    int m_nCurSel = -1;
    CString m_curText;  // cached text of the current item
    BOOL m_bPopUpButton = TRUE;  // CBS_DROPDOWNLIST: a pop-up button

private:
    void SelectByUser(int index);
    BOOL m_bDropped = FALSE;
};

// A push button: sends its parent WM_COMMAND (BN_CLICKED) when clicked or
// when Space is pressed while it has the focus. BS_DEFPUSHBUTTON draws it as
// the default button.
class CButton : public CWnd {
public:
    CButton();
    ~CButton() override;
    virtual BOOL Create(LPCTSTR lpszCaption, DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID);
    using CWnd::Create;

    afx_msg void OnPaint();
    afx_msg void OnLButtonDown(UINT nFlags, CPoint point);
    afx_msg void OnLButtonDblClk(UINT nFlags, CPoint point);
    afx_msg void OnLButtonUp(UINT nFlags, CPoint point);
    afx_msg void OnMouseMove(UINT nFlags, CPoint point);
    afx_msg void OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnSetFocus(CWnd* pOldWnd);
    afx_msg void OnKillFocus(CWnd* pNewWnd);

    DECLARE_MESSAGE_MAP()

private:
    void Click();
    bool m_pressed = false;
    bool m_inside = false;
};

// A line of text (several lines split at '\n').
class CStatic : public CWnd {
public:
    CStatic();
    ~CStatic() override;
    virtual BOOL Create(LPCTSTR lpszText, DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID = 0xFFFF);
    using CWnd::Create;

    afx_msg void OnPaint();
    DECLARE_MESSAGE_MAP()
};
