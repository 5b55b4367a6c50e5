#pragma once
// Message maps: each class that handles messages keeps a constant table of
// AFX_MSGMAP_ENTRY records, chained to its base class's table. The entry
// macros below declare those tables in the familiar MFC form:
//
//   class CMyWnd : public CWnd { ... DECLARE_MESSAGE_MAP() };
//   BEGIN_MESSAGE_MAP(CMyWnd, CWnd)
//       ON_WM_PAINT()
//       ON_MESSAGE(0x0A01, OnReturn)
//       ON_COMMAND_RANGE(1010, 1110, OnSelect)
//   END_MESSAGE_MAP()
#include <cstring>

#include "CObject.h"
#include "WinTypes.h"

class CCmdTarget;
class CWnd;
class CDC;
class CScrollBar;
struct CREATESTRUCT;
typedef CREATESTRUCT* LPCREATESTRUCT;
struct MINMAXINFO;

typedef void (CCmdTarget::*AFX_PMSG)();

// Signature kinds: how the two message parameters become handler arguments.
// The numbers are stored in the tables, so they stay fixed.
enum AfxSig : UINT_PTR {
    AfxSig_end = 0,     // ends a table
    AfxSig_bWww = 3,    // BOOL (CWnd*, UINT, UINT): OnSetCursor
    AfxSig_is = 9,      // int (LPCREATESTRUCT): second parameter
    AfxSig_lwl = 10,    // LRESULT (WPARAM, LPARAM): both as they are, result returned
    AfxSig_vv = 12,     // void ()
    AfxSig_vw = 13,     // void (UINT): first parameter, or the command identifier
    AfxSig_vwww = 16,   // void (UINT, UINT, UINT): first, low 16 and high 16 of second
    AfxSig_vwii = 17,   // void (UINT, int, int): first, low 16 and high 16 of second
    AfxSig_vW = 23,     // void (CWnd*): first parameter as the object pointer
    AfxSig_vii = 30,    // void (int, int): sign-extended x and y from second (OnMove)
    AfxSig_vwwW = 31,   // void (UINT, UINT, CScrollBar*): scroll messages
    AfxSig_vMMI = 32,   // void (MINMAXINFO*): second parameter
    AfxSig_vwWb = 33,   // void (UINT, CWnd*, BOOL): OnActivate
    AfxSig_bD = 34,     // BOOL (CDC*): OnEraseBkgnd, result returned
    AfxSig_cmdui = 35,  // void (CCmdUI*): command enable query
    AfxSig_vwp = 49,    // void (UINT, CPoint): first; point from second, sign-extended
};

struct AFX_MSGMAP_ENTRY {
    UINT nMessage;   // the message; 0xC000 for a registered-message entry
    UINT nCode;      // notification code, 0 for ordinary messages
    UINT nID;        // first control identifier
    UINT nLastID;    // last control identifier
    UINT_PTR nSig;   // signature kind (for registered messages: address of the number)
    AFX_PMSG pfn;    // the handler
};

struct AFX_MSGMAP {
    const AFX_MSGMAP* pBaseMap;  // null at CCmdTarget
    const AFX_MSGMAP_ENTRY* lpEntries;
};

// Handler pointers are stored in one member-pointer type and converted back
// to their real type at the call; the bytes are copied so the conversion is
// exact and the compiler does not object to the change of signature.
template <class F>
inline AFX_PMSG AfxToPmsg(F f)
{
    static_assert(sizeof(F) == sizeof(AFX_PMSG), "member function pointers must share one size");
    AFX_PMSG p;
    std::memcpy(&p, &f, sizeof p);
    return p;
}
template <class F>
inline F AfxFromPmsg(AFX_PMSG p)
{
    static_assert(sizeof(F) == sizeof(AFX_PMSG), "member function pointers must share one size");
    F f;
    std::memcpy(&f, &p, sizeof f);
    return f;
}

// The first entry for message (code 0, identifier 0) in map or its bases,
// or null. AfxFindMessageEntry uses the 512-slot lookup cache;
// AfxScanMessageMap always scans (the cache must give the same answers).
const AFX_MSGMAP_ENTRY* AfxFindMessageEntry(const AFX_MSGMAP* map, UINT message);
const AFX_MSGMAP_ENTRY* AfxScanMessageMap(const AFX_MSGMAP* map, UINT message);
// A process-wide number at or above 0xC000 for a message name (the same
// name gives the same number).
UINT RegisterWindowMessage(LPCTSTR name);

#define CN_COMMAND 0
#define CN_UPDATE_COMMAND_UI ((UINT)-1)

// Enable query for a command: a handler may call Enable(FALSE) to have the
// command swallowed.
class CCmdUI {
public:
    UINT m_nID = 0;
    BOOL m_bEnabled = TRUE;
    BOOL m_bEnableChanged = FALSE;
    virtual ~CCmdUI() = default;
    virtual void Enable(BOOL on = TRUE)
    {
        m_bEnabled = on;
        m_bEnableChanged = TRUE;
    }
};

class CCmdTarget : public CObject {
public:
    // Walks the maps, base by base, for the first WM_COMMAND entry with this
    // code and nLastID >= id >= nID. pExtra is the CCmdUI of an enable query.
    // Returns whether a handler was found (and called).
    virtual BOOL OnCmdMsg(UINT nID, int nCode, void* pExtra, void* pHandlerInfo);
    virtual const AFX_MSGMAP* GetMessageMap() const;
    static const AFX_MSGMAP* GetThisMessageMap();
};

#define DECLARE_MESSAGE_MAP()                       \
public:                                             \
    static const AFX_MSGMAP* GetThisMessageMap();   \
    const AFX_MSGMAP* GetMessageMap() const override;

#define BEGIN_MESSAGE_MAP(theClass, baseClass)                                    \
    const AFX_MSGMAP* theClass::GetMessageMap() const { return GetThisMessageMap(); } \
    const AFX_MSGMAP* theClass::GetThisMessageMap()                               \
    {                                                                             \
        typedef theClass ThisClass;                                               \
        typedef baseClass TheBaseClass;                                           \
        static const AFX_MSGMAP_ENTRY _messageEntries[] = {
#define END_MESSAGE_MAP()                                                              \
    {0, 0, 0, 0, AfxSig_end, (AFX_PMSG)nullptr}                                        \
    }                                                                                  \
    ;                                                                                  \
    static const AFX_MSGMAP messageMap = {TheBaseClass::GetThisMessageMap(), &_messageEntries[0]}; \
    return &messageMap;                                                                \
    }

#define AFX_WND_ENTRY(msg, sig, type, fn) \
    {msg, 0, 0, 0, sig, AfxToPmsg(static_cast<type>(&ThisClass::fn))},

#define ON_WM_CREATE() AFX_WND_ENTRY(WM_CREATE, AfxSig_is, int (CWnd::*)(LPCREATESTRUCT), OnCreate)
#define ON_WM_DESTROY() AFX_WND_ENTRY(WM_DESTROY, AfxSig_vv, void (CWnd::*)(), OnDestroy)
#define ON_WM_PAINT() AFX_WND_ENTRY(WM_PAINT, AfxSig_vv, void (CWnd::*)(), OnPaint)
#define ON_WM_SIZE() AFX_WND_ENTRY(WM_SIZE, AfxSig_vwii, void (CWnd::*)(UINT, int, int), OnSize)
#define ON_WM_MOVE() AFX_WND_ENTRY(WM_MOVE, AfxSig_vii, void (CWnd::*)(int, int), OnMove)
#define ON_WM_TIMER() AFX_WND_ENTRY(WM_TIMER, AfxSig_vw, void (CWnd::*)(UINT), OnTimer)
#define ON_WM_SETFOCUS() AFX_WND_ENTRY(WM_SETFOCUS, AfxSig_vW, void (CWnd::*)(CWnd*), OnSetFocus)
#define ON_WM_KILLFOCUS() AFX_WND_ENTRY(WM_KILLFOCUS, AfxSig_vW, void (CWnd::*)(CWnd*), OnKillFocus)
#define ON_WM_KEYDOWN() AFX_WND_ENTRY(WM_KEYDOWN, AfxSig_vwww, void (CWnd::*)(UINT, UINT, UINT), OnKeyDown)
#define ON_WM_CHAR() AFX_WND_ENTRY(WM_CHAR, AfxSig_vwww, void (CWnd::*)(UINT, UINT, UINT), OnChar)
#define ON_WM_LBUTTONDOWN() \
    AFX_WND_ENTRY(WM_LBUTTONDOWN, AfxSig_vwp, void (CWnd::*)(UINT, CPoint), OnLButtonDown)
#define ON_WM_LBUTTONUP() AFX_WND_ENTRY(WM_LBUTTONUP, AfxSig_vwp, void (CWnd::*)(UINT, CPoint), OnLButtonUp)
#define ON_WM_LBUTTONDBLCLK() \
    AFX_WND_ENTRY(WM_LBUTTONDBLCLK, AfxSig_vwp, void (CWnd::*)(UINT, CPoint), OnLButtonDblClk)
#define ON_WM_MOUSEMOVE() AFX_WND_ENTRY(WM_MOUSEMOVE, AfxSig_vwp, void (CWnd::*)(UINT, CPoint), OnMouseMove)
#define ON_WM_RBUTTONDOWN() \
    AFX_WND_ENTRY(WM_RBUTTONDOWN, AfxSig_vwp, void (CWnd::*)(UINT, CPoint), OnRButtonDown)
#define ON_WM_RBUTTONUP() AFX_WND_ENTRY(WM_RBUTTONUP, AfxSig_vwp, void (CWnd::*)(UINT, CPoint), OnRButtonUp)
#define ON_WM_RBUTTONDBLCLK() \
    AFX_WND_ENTRY(WM_RBUTTONDBLCLK, AfxSig_vwp, void (CWnd::*)(UINT, CPoint), OnRButtonDblClk)
#define ON_WM_SETCURSOR() \
    AFX_WND_ENTRY(WM_SETCURSOR, AfxSig_bWww, BOOL (CWnd::*)(CWnd*, UINT, UINT), OnSetCursor)
#define ON_WM_ERASEBKGND() AFX_WND_ENTRY(WM_ERASEBKGND, AfxSig_bD, BOOL (CWnd::*)(CDC*), OnEraseBkgnd)
#define ON_WM_GETMINMAXINFO() \
    AFX_WND_ENTRY(WM_GETMINMAXINFO, AfxSig_vMMI, void (CWnd::*)(MINMAXINFO*), OnGetMinMaxInfo)
#define ON_WM_HSCROLL() AFX_WND_ENTRY(WM_HSCROLL, AfxSig_vwwW, void (CWnd::*)(UINT, UINT, CScrollBar*), OnHScroll)
#define ON_WM_VSCROLL() AFX_WND_ENTRY(WM_VSCROLL, AfxSig_vwwW, void (CWnd::*)(UINT, UINT, CScrollBar*), OnVScroll)
#define ON_WM_ACTIVATE() AFX_WND_ENTRY(WM_ACTIVATE, AfxSig_vwWb, void (CWnd::*)(UINT, CWnd*, BOOL), OnActivate)

// Any message with a handler LRESULT fn(WPARAM, LPARAM).
#define ON_MESSAGE(msg, fn) \
    {(UINT)(msg), 0, 0, 0, AfxSig_lwl, AfxToPmsg(static_cast<LRESULT (CWnd::*)(WPARAM, LPARAM)>(&ThisClass::fn))},
// A message number from RegisterWindowMessage kept in the UINT variable var.
#define ON_REGISTERED_MESSAGE(var, fn)                  \
    {0xC000, 0, 0, 0, (UINT_PTR)&(var),                 \
     AfxToPmsg(static_cast<LRESULT (CWnd::*)(WPARAM, LPARAM)>(&ThisClass::fn))},

#define ON_COMMAND(id, fn) \
    {WM_COMMAND, CN_COMMAND, (UINT)(id), (UINT)(id), AfxSig_vv, AfxToPmsg(static_cast<void (CCmdTarget::*)()>(&ThisClass::fn))},
#define ON_COMMAND_RANGE(id, idLast, fn)                          \
    {WM_COMMAND, CN_COMMAND, (UINT)(id), (UINT)(idLast), AfxSig_vw, \
     AfxToPmsg(static_cast<void (CCmdTarget::*)(UINT)>(&ThisClass::fn))},
#define ON_CONTROL(code, id, fn) \
    {WM_COMMAND, (UINT)(code), (UINT)(id), (UINT)(id), AfxSig_vv, AfxToPmsg(static_cast<void (CCmdTarget::*)()>(&ThisClass::fn))},
#define ON_CBN_SELCHANGE(id, fn) ON_CONTROL(1, id, fn)
#define ON_BN_CLICKED(id, fn) ON_CONTROL(0, id, fn)
#define ON_UPDATE_COMMAND_UI(id, fn)                                         \
    {WM_COMMAND, CN_UPDATE_COMMAND_UI, (UINT)(id), (UINT)(id), AfxSig_cmdui, \
     AfxToPmsg(static_cast<void (CCmdTarget::*)(CCmdUI*)>(&ThisClass::fn))},

#define afx_msg
