#pragma once
// Modal dialogs built from dialog templates, data exchange, and message
// boxes. A dialog is a transient top-level window of the editor's own
// display connection, placed over its owner. Its modality is a state, not a
// loop: while it runs, its owner's panel takes no input, and the event pump
// (the editor's idle call) drives it like any other window; the code that
// follows the dialog runs as a continuation when it ends.
#include <functional>
#include <vector>

#include "CString.h"
#include "CWnd.h"

#define IDOK 1
#define IDCANCEL 2
#define IDABORT 3
#define IDRETRY 4
#define IDIGNORE 5
#define IDYES 6
#define IDNO 7

#define MB_OK 0x0000u
#define MB_OKCANCEL 0x0001u
#define MB_ABORTRETRYIGNORE 0x0002u
#define MB_YESNOCANCEL 0x0003u
#define MB_YESNO 0x0004u
#define MB_RETRYCANCEL 0x0005u
#define MB_ICONHAND 0x0010u
#define MB_ICONERROR MB_ICONHAND
#define MB_ICONSTOP MB_ICONHAND
#define MB_ICONQUESTION 0x0020u
#define MB_ICONEXCLAMATION 0x0030u
#define MB_ICONWARNING MB_ICONEXCLAMATION
#define MB_ICONASTERISK 0x0040u
#define MB_ICONINFORMATION MB_ICONASTERISK
#define MB_DEFBUTTON2 0x0100u
#define MB_DEFBUTTON3 0x0200u

#define WS_CAPTION 0x00C00000u
#define WS_SYSMENU 0x00080000u
#define DS_MODALFRAME 0x0080u

// One control of a dialog template. Rectangles are in dialog client pixels
// (left, top, right, bottom).
struct DialogItemTemplate {
    enum Kind { kStatic, kButton, kDefButton, kEdit, kComboBox, kSpin };
    Kind kind = kStatic;
    UINT id = 0xFFFF;
    RECT rect{0, 0, 0, 0};
    const char* text = nullptr;  // caption, or the initial text of an edit
    DWORD style = 0;             // control styles (ES_, CBS_, UDS_, ...)
};

// A dialog template: caption, client size and controls, looked up by
// resource id when a dialog is created.
struct DialogTemplate {
    UINT id = 0;
    const char* caption = "";
    int width = 0;
    int height = 0;
    std::vector<DialogItemTemplate> items;
};

// Registers (or replaces) the template with t.id; the template is copied,
// its strings are not (they must stay valid, as string literals do).
void AfxRegisterDialogTemplate(const DialogTemplate& t);
const DialogTemplate* AfxFindDialogTemplate(UINT id);

class CDataExchange {
public:
    CDataExchange(CWnd* pDlgWnd, BOOL bSaveAndValidate) : m_bSaveAndValidate(bSaveAndValidate), m_pDlgWnd(pDlgWnd) {}
    BOOL m_bSaveAndValidate;
    CWnd* m_pDlgWnd;
    BOOL m_bFail = FALSE;  // set by an exchange routine that cannot do its part
};

// Attaches rControl to the dialog item nIDC when it has no window yet: the
// template's placeholder is replaced by rControl at the same place, with the
// same id, text and style (an edit, combo box, button, spin button or static
// text object of the matching kind).
void DDX_Control(CDataExchange* pDX, int nIDC, CWnd& rControl);
// The text of item nIDC to and from value.
void DDX_Text(CDataExchange* pDX, int nIDC, CString& value);

class CDialog : public CWnd {
public:
    CDialog();
    explicit CDialog(UINT nIDTemplate, CWnd* pParentWnd = nullptr);
    ~CDialog() override;

    // Shows the dialog modally and returns at once: TRUE when it runs, FALSE
    // when it cannot be shown (no template, no display, already running;
    // onEnd is then not called). While it runs, the panel it opened over
    // takes no mouse or key input. When it ends (EndDialog, or -1 when its
    // window disappears), it is taken down, the panel is enabled again, the
    // keyboard goes back where it was, and then onEnd runs with the result,
    // from the event pump. The object must live until then; deleting it
    // earlier closes the dialog without calling onEnd. onEnd may delete it.
    BOOL DoModalAsync(std::function<void(INT_PTR)> onEnd);
    // The same in a loop of its own until the dialog ends (see
    // AfxPumpUntil); returns the code given to EndDialog, or -1 as
    // above. For programs that own their loop, never inside a host's call.
    virtual INT_PTR DoModal();
    void EndDialog(int nResult);
    BOOL IsModalRunning() const { return m_bRunning; }
    // A dialog from a template object instead of a resource id (message
    // boxes build theirs at run time). The template must outlive DoModal.
    void InitModalIndirect(const DialogTemplate* pTemplate, CWnd* pParentWnd = nullptr);

    virtual BOOL OnInitDialog();
    virtual void OnOK();
    virtual void OnCancel();
    virtual void DoDataExchange(CDataExchange* pDX);
    BOOL UpdateData(BOOL bSaveAndValidate = TRUE);
    // Keeps the dialog above the host's windows (a transient window of the
    // host's top-level window).
    BOOL RegistAllwaysOnTop();

    // Return (and keypad Enter) press the default button (OnOK), Escape
    // cancels (OnCancel), Tab moves the focus to the next control.
    BOOL IsDialogMessage(MSG* pMsg) override;

    afx_msg void OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnPaint();
    afx_msg LRESULT OnCloseRequest(WPARAM wParam, LPARAM lParam);
    afx_msg void OnIdOk();
    afx_msg void OnIdCancel();
    afx_msg void OnDestroy();

    DECLARE_MESSAGE_MAP()

public:
    WORD m_nIDTemplate = 0;
    CWnd* m_pParentWnd0 = nullptr;  // the parent given at construction
    int m_nModalResult = 0;

protected:
    const DialogTemplate* m_pTemplate = nullptr;  // for InitModalIndirect
    int m_nCaption = 0;  // height of the title strip drawn by the dialog itself

private:
    BOOL CreateFromTemplate(const DialogTemplate& t, CWnd* owner);
    void FocusNextControl(bool backwards);
    void QueueFinish();
    void FinishModal();
    void TearDown();
    BOOL m_bEnded = FALSE;
    BOOL m_bRunning = FALSE;       // between DoModalAsync and the end
    BOOL m_bFinishQueued = FALSE;  // ended; taken down from the pump
    BOOL m_bTearingDown = FALSE;
    std::function<void(INT_PTR)> m_onEnd;
    CWnd* m_pPanel = nullptr;  // disabled while the dialog runs
    HWND m_panelHwnd = nullptr;
    BOOL m_bPanelWasDisabled = FALSE;
    CWnd* m_pOldFocus = nullptr;
    HWND m_oldFocusHwnd = nullptr;
    std::vector<CWnd*> m_ownedItems;  // placeholders made from the template
    friend void DDX_Control(CDataExchange*, int, CWnd&);
};

// Shows text (or string resource nIDPrompt) in a modal message box with
// the buttons of nType's MB_ button set and returns the ID of the button
// pressed (Escape gives IDCANCEL, or IDOK for a box with OK alone). Without
// an open editor the box opens on a display connection of its own; with no
// display at all it writes the text to standard error and returns IDOK.
int AfxMessageBox(LPCTSTR lpszText, UINT nType = MB_OK, UINT nIDHelp = 0);
int AfxMessageBox(UINT nIDPrompt, UINT nType = MB_OK, UINT nIDHelp = (UINT)-1);
// The same without waiting: the box is shown modally over pOwner's panel
// (or as AfxMessageBox places it, without an owner) and this returns at
// once; onDone (may be empty) gets the button's ID from the event pump when
// the box closes. With no display at all the text goes to standard error
// and onDone gets IDOK at once.
void AfxMessageBoxAsync(LPCTSTR lpszText, UINT nType, std::function<void(int)> onDone, CWnd* pOwner = nullptr);
