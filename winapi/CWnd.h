#pragma once
// Window objects: CWnd with message dispatch, posting, timers, focus and
// capture, backed by one native child window each (through the platform
// bridge); CWinApp; and the free
// functions of the window layer.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CCmdTarget.h"
#include "CString.h"
#include "WinTypes.h"
#include "PlatformBridge.h"

class CCreateContext;

struct CREATESTRUCT {
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;  // the control identifier for a child window
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCTSTR lpszName;
    LPCTSTR lpszClass;
    DWORD dwExStyle;
};

struct MINMAXINFO {
    POINT ptReserved;
    POINT ptMaxSize;
    POINT ptMaxPosition;
    POINT ptMinTrackSize;
    POINT ptMaxTrackSize;
};

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};

#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_SHOW 5
#define SW_SHOWNA 8
#define SWP_NOSIZE 0x0001u
#define SWP_NOMOVE 0x0002u
#define SWP_NOZORDER 0x0004u
#define SWP_SHOWWINDOW 0x0040u
#define SWP_HIDEWINDOW 0x0080u
#ifndef WM_CLOSE
#define WM_CLOSE 0x0010
#endif

class CWnd : public CCmdTarget, private platform::ViewClient {
public:
    CWnd();
    ~CWnd() override;

    // --- creation and destruction
    virtual BOOL Create(LPCTSTR lpszClassName, LPCTSTR lpszWindowName, DWORD dwStyle, const RECT& rect,
                        CWnd* pParentWnd, UINT nID, CCreateContext* pContext = nullptr);
    virtual BOOL CreateEx(DWORD dwExStyle, LPCTSTR lpszClassName, LPCTSTR lpszWindowName, DWORD dwStyle, int x,
                          int y, int nWidth, int nHeight, HWND hWndParent, HMENU nIDorHMenu,
                          LPVOID lpParam = nullptr);
    virtual BOOL DestroyWindow();

    // --- the host's window as the root of a tree
    // Adopts the window the host hands to the editor (its native handle)
    // as this object's view, on a new display connection of its own, and
    // reads its bounds. The host's window is never changed or destroyed.
    BOOL AdoptHostWindow(void* systemWindow);
    // Lets go of an adopted window (also done when its last child goes, so
    // the connection closes when the editor closes).
    void ReleaseHostWindow();
    // Reads the view's frame into the window rectangle (left = x, top = y,
    // right = width, bottom = height) and marks the bounds as known.
    void SetBounds();

    // --- messages
    LRESULT SendMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0);
    // Queues the message in the 256-slot ring and returns 0 at once; it is
    // delivered on the user-interface thread by the next pump. More than 256
    // undelivered posts overwrite the oldest ones. Any thread may post.
    BOOL PostMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0);

    // --- geometry and painting
    void Invalidate(BOOL bErase = TRUE);
    void InvalidateRect(LPCRECT lpRect, BOOL bErase = TRUE);  // null: the whole window
    void UpdateWindow();                                     // paint pending damage now
    void GetClientRect(LPRECT lpRect) const;
    void GetWindowRect(LPRECT lpRect) const;
    void MoveWindow(int x, int y, int nWidth, int nHeight, BOOL bRepaint = TRUE);
    void MoveWindow(LPCRECT lpRect, BOOL bRepaint = TRUE);
    // Flags: SWP_NOSIZE, SWP_NOMOVE, SWP_SHOWWINDOW, SWP_HIDEWINDOW; the
    // z-order argument is ignored.
    BOOL SetWindowPos(const CWnd* pWndInsertAfter, int x, int y, int cx, int cy, UINT nFlags);
    BOOL ShowWindow(int nCmdShow);
    BOOL IsWindowVisible() const;
    // A disabled window (or any window inside one) gets no mouse or key
    // input; a modal dialog disables its owner while it runs.
    BOOL EnableWindow(BOOL bEnable = TRUE);  // TRUE when it was disabled
    BOOL IsWindowEnabled() const { return !m_bDisabled; }

    // --- modal loops
    // Pumps the layer's events (its own display connections, posted
    // messages, timers, painting) on this thread until EndModalLoop, until
    // this window is destroyed (its parent or the host's window went away,
    // or the server connection died) and returns the code given to
    // EndModalLoop (-1 when the window went away). A nested loop holds the
    // calling thread: code that runs inside a host's callback uses the
    // asynchronous forms (CDialog::DoModalAsync, CMenu::TrackPopupMenuAsync,
    // AfxMessageBoxAsync) instead; this is for programs that own their loop.
    int RunModalLoop(DWORD dwFlags = 0);
    void EndModalLoop(int nResult);
    BOOL ContinueModal() const { return m_bInModalLoop; }

    // --- tree
    HWND GetSafeHwnd() const { return m_hWnd; }
    // The window object a handle belongs to, or null.
    static CWnd* FromHandle(HWND hWnd);
    CWnd* GetParent() const { return m_pParentWnd; }
    CWnd* GetDlgItem(int nID) const;
    int GetDlgCtrlID() const { return (int)m_nID; }
    DWORD GetStyle() const { return m_dwStyle; }
    DWORD GetExStyle() const { return m_dwExStyle; }
    const std::vector<CWnd*>& GetChildren() const { return m_children; }

    // --- text and font (the window name given at creation, or set later)
    // A pointer value below 0x10000 is a string resource number, as for
    // CString: the resource's text is set. Controls override the two
    // virtual forms (bring the others into scope with a using-declaration);
    // the string-object form reads through the virtual buffer form.
    virtual void SetWindowText(LPCTSTR lpszString);
    virtual int GetWindowText(LPTSTR lpszStringBuf, int nMaxCount) const;
    void GetWindowText(CString& rString) const;
    int GetWindowTextLength() const { return m_windowText.GetLength(); }
    // A child's text, up to nMaxCount - 1 bytes; 0 (and an empty text) when
    // there is no such child.
    int GetDlgItemText(int nID, LPTSTR lpStr, int nMaxCount) const;
    // The same into a string object, up to 1024 bytes; returns the length.
    int GetDlgItemText(int nID, CString& rString) const;
    void SetDlgItemText(int nID, LPCTSTR lpszString);
    void SetFont(class CFont* pFont, BOOL bRedraw = TRUE);
    class CFont* GetFont() const { return m_pFont; }

    // --- focus, capture, timers
    CWnd* SetFocus();
    static CWnd* GetFocus();
    CWnd* SetCapture();
    static CWnd* GetCapture();
    // One timer per window; WM_TIMER arrives with first parameter 0 whatever
    // nIDEvent is. Returns nIDEvent. The callback is ignored.
    UINT_PTR SetTimer(UINT_PTR nIDEvent, UINT nElapse, void* lpfnTimer = nullptr);
    BOOL KillTimer(UINT_PTR nIDEvent);
    LRESULT Default();

    // --- dispatch, in the virtual order the layer relies on
    virtual BOOL PreCreateWindow(CREATESTRUCT& cs);
    virtual BOOL OnCommand(WPARAM wParam, LPARAM lParam);
    virtual LRESULT WindowProc(UINT message, WPARAM wParam, LPARAM lParam);
    virtual BOOL OnWndMsg(UINT message, WPARAM wParam, LPARAM lParam, LRESULT* pResult);
    virtual LRESULT DefWindowProc(UINT message, WPARAM wParam, LPARAM lParam);
    virtual BOOL OnNotify(WPARAM wParam, LPARAM lParam, LRESULT* pResult);
    // Offered every key press before WM_KEYDOWN/WM_CHAR are sent; true
    // swallows it.
    virtual BOOL PreTranslateMessage(MSG* pMsg);
    // Offered every key press of this window and of every window inside it
    // before the window sees it (dialogs: Return, Escape, Tab); true
    // swallows it.
    virtual BOOL IsDialogMessage(MSG* pMsg);
    // True when this window needs the keyboard while it has the focus. By
    // default: its message map handles WM_KEYDOWN or WM_CHAR.
    virtual BOOL WantsKeyboardInput() const;

    // --- default handlers
    afx_msg void OnGetMinMaxInfo(MINMAXINFO* lpMMI);
    afx_msg int OnCreate(LPCREATESTRUCT lpCreateStruct);
    afx_msg void OnDestroy();
    afx_msg void OnPaint();
    afx_msg void OnSize(UINT nType, int cx, int cy);
    afx_msg void OnMove(int x, int y);
    afx_msg void OnHScroll(UINT nSBCode, UINT nPos, CScrollBar* pScrollBar);
    afx_msg void OnVScroll(UINT nSBCode, UINT nPos, CScrollBar* pScrollBar);
    afx_msg void OnSetFocus(CWnd* pOldWnd);
    afx_msg void OnKillFocus(CWnd* pNewWnd);
    afx_msg void OnLButtonDown(UINT nFlags, CPoint point);
    afx_msg void OnLButtonUp(UINT nFlags, CPoint point);
    afx_msg void OnLButtonDblClk(UINT nFlags, CPoint point);
    afx_msg void OnMouseMove(UINT nFlags, CPoint point);
    afx_msg BOOL OnSetCursor(CWnd* pWnd, UINT nHitTest, UINT message);
    afx_msg void OnActivate(UINT nState, CWnd* pWndOther, BOOL bMinimized);
    afx_msg void OnRButtonDown(UINT nFlags, CPoint point);
    afx_msg void OnRButtonUp(UINT nFlags, CPoint point);
    afx_msg void OnRButtonDblClk(UINT nFlags, CPoint point);
    afx_msg LRESULT OnMacintosh(WPARAM wParam, LPARAM lParam);
    afx_msg void OnKeyDown(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnChar(UINT nChar, UINT nRepCnt, UINT nFlags);
    afx_msg void OnTimer(UINT nIDEvent);
    afx_msg BOOL OnEraseBkgnd(CDC* pDC);

    DECLARE_MESSAGE_MAP()

public:
    // Fields, in the order the layer keeps them.
    void* m_pTopLevel = nullptr;  // top-level windows are not made here
    HWND m_hWnd = nullptr;        // the backing view
    struct TimerRecord;
    std::unique_ptr<TimerRecord> m_pTimer;
    CWnd* m_pParentWnd = nullptr;
    std::vector<CWnd*> m_children;  // newest first
    CRect m_rect;                   // window rectangle in the parent's coordinates
    int m_nClientWidth = 0;
    int m_nClientHeight = 0;
    CWnd* m_pHScroll = nullptr;
    CWnd* m_pVScroll = nullptr;
    UINT m_nID = 0;
    BOOL m_bCreated = FALSE;
    BOOL m_bVisible = FALSE;
    BOOL m_bBoundsKnown = FALSE;  // the view was adopted from the host
    BOOL m_bSizeBeforeMove = FALSE;  // creation sends WM_SIZE before WM_MOVE (edit, spin button)
    CString m_className;  // empty when created without one
    DWORD m_dwStyle = 0;
    DWORD m_dwExStyle = 0;
    CString m_windowText;
    class CFont* m_pFont = nullptr;
    void* m_hFont = nullptr;  // the font last selected into a context of this window
    // During painting: the context being painted and the update rectangle.
    void* m_pPaintContext = nullptr;
    CRect m_rcUpdate;
    uint64_t m_nObjectSerial = 0;  // tells window objects apart when an address is reused

private:
    void OnViewEvent(const platform::ViewEvent& ev) override;
    void OnViewPaint(cairo_t* cr, const platform::Rect& update) override;
    void RemoveChild(CWnd* child);
    void ForgetWindow();
    BOOL m_bDestroying = FALSE;
    BOOL m_bReleasingHost = FALSE;
    BOOL m_bDisabled = FALSE;
    BOOL m_bInModalLoop = FALSE;
    int m_nLoopResult = 0;
    bool InputBlocked() const;
};

class CWinThread : public CCmdTarget {
public:
    CWinThread();
    CWnd* m_pMainWnd = nullptr;
    std::thread::id m_nThreadID;
};

// The application object: one per process, recorded at construction. It runs
// no message loop; the host drives everything through the event pump.
class CWinApp : public CWinThread {
public:
    explicit CWinApp(LPCTSTR lpszAppName = nullptr);
    ~CWinApp() override;
    virtual BOOL InitInstance() { return TRUE; }
    virtual int ExitInstance() { return 0; }
    // Shows a modal message box (AfxMessageBox comes here) and returns the
    // ID of the button pressed.
    virtual int DoMessageBox(LPCTSTR lpszPrompt, UINT nType, UINT nIDPrompt);
    LPCTSTR m_pszAppName = nullptr;

private:
    CString m_name;
};

CWinApp* AfxGetApp();

// Posting by handle. A null handle posts without a target: the deferred-
// window request (WM_DEFERRED_WINDOW, 0x0404) then runs the procedure set
// with AfxSetDeferredWindowProc with the first parameter, on the user-
// interface thread; any other target-less post is dropped. Returns TRUE when
// queued; an unknown handle posts nothing and returns FALSE. Posting by
// handle is for the user-interface thread (the handle is looked up at once).
BOOL PostMessage(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);
void AfxSetDeferredWindowProc(void (*proc)(WPARAM));

BOOL ReleaseCapture();
CWnd* GetCapture();
// 0xFFFF8000 while the key is down, else 0: 16 Shift, 18 Command (the Super
// key), 19 Option (Alt); 17 (Control) always reads 0.
DWORD GetKeyState(int nVirtKey);
int GetSystemMetrics(int nIndex);
HCURSOR LoadCursor(HINSTANCE hInstance, LPCTSTR lpCursorName);
HCURSOR LoadCursor(HINSTANCE hInstance, UINT nID);
HCURSOR SetCursor(HCURSOR hCursor);
// Windows are made without registered classes, so the class name handed
// back is null; it may be kept in a CString (which then reads empty) and
// given to Create or CreateEx as it is.
LPCTSTR AfxRegisterWndClass(UINT nClassStyle, HCURSOR hCursor = nullptr, HBRUSH hbrBackground = nullptr,
                            HICON hIcon = nullptr);

// The window of the latest mouse or key event (a dialog without a parent
// opens over it), or null.
CWnd* AfxGetInputWindow();

// The event pump: window-system events, posted messages, timer firings and painting.
// The editor calls it from its idle entry with timeout 0; it is safe to call
// at any rate. Returns the number of things handled.
int AfxPumpMessages(int timeoutMs = 0);

// Runs fn on the user-interface thread from the event pump, after the
// handler that is running now has returned (so fn may destroy or delete
// pWnd), but only if the object pWnd is still alive then. From the pump's
// own work queue: it runs within the current pump when called from an
// event handler, else at the next one.
void AfxDeferToPump(CWnd* pWnd, std::function<void()> fn);

// Pumps (waiting up to 20 ms at a time) until done() holds. For the
// synchronous forms of the modal calls, in programs that own their loop.
void AfxPumpUntil(const std::function<bool()>& done);

// Modifier flags of the latest event, in the layer's own bits (Shift 0x200,
// Option 0x800, Command 0x100). Tests and the bridge set them.
UINT AfxGetModifierFlags();
void AfxSetModifierFlags(UINT flags);
// The character of the key event being delivered (0 outside one).
UINT AfxGetCurrentEventChar();
// Whether Control was held at the latest input event. The key state above
// never reports it; text fields use it for their Control shortcuts.
BOOL AfxIsControlHeld();

#define AFX_MOD_COMMAND 0x100u
#define AFX_MOD_SHIFT 0x200u
#define AFX_MOD_OPTION 0x800u
#define AFX_MOD_CONTROL 0x1000u  // never set by the translation
