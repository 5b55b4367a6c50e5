// Window objects and message dispatch.
#include "CWnd.h"

#include "Trace.h"

#include <cairo.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <unordered_set>

namespace {

// --- message-map lookup cache ---------------------------------------------
// 512 slots indexed by the low 9 bits of (message XOR map address). A slot
// remembers the answer for one (message, map) pair, including "no entry".
struct CacheSlot {
    UINT message = 0;
    const AFX_MSGMAP* map = nullptr;
    const AFX_MSGMAP_ENTRY* entry = nullptr;
};
CacheSlot g_msgCache[512];

CWnd* g_focusWnd = nullptr;
CWnd* g_captureWnd = nullptr;
CWnd* g_hoverWnd = nullptr;  // window of the latest mouse event, for SetCursor
CWnd* g_inputWnd = nullptr;  // window of the latest mouse or key event
HCURSOR g_cursor = nullptr;
UINT g_modifierFlags = 0;
bool g_controlHeld = false;
UINT g_eventChar = 0;
CWinApp* g_app = nullptr;

// Every window object alive, so a child never reaches through the parent
// pointer it keeps (GetParent) after the parent object was deleted.
std::unordered_set<const CWnd*> g_liveWindows;

CWnd* LiveParent(CWnd* parent) { return parent && g_liveWindows.count(parent) ? parent : nullptr; }

// --- posting ring ------------------------------------------------------------
// Posts may come from any thread, so the ring is guarded. Each slot carries a
// sequence number; a delivery whose slot has since been reused by a newer
// post is dropped, which is how the 257th undelivered post displaces the
// first without anything being delivered twice.
struct PostSlot {
    CWnd* target = nullptr;
    UINT message = 0;
    WPARAM wParam = 0;
    LPARAM lParam = 0;
    uint64_t seq = 0;
};
std::mutex g_ringMutex;
PostSlot g_ring[256];
unsigned g_ringIndex = 0;
uint64_t g_postSeq = 0;
void (*g_deferredWindowProc)(WPARAM) = nullptr;

void DeliverPost(unsigned slot, uint64_t seq)
{
    PostSlot s;
    {
        std::lock_guard<std::mutex> lock(g_ringMutex);
        if (g_ring[slot].seq != seq) return;  // overwritten by a later post
        s = g_ring[slot];
        g_ring[slot].target = nullptr;
        g_ring[slot].seq = 0;
    }
    if (s.target)
        s.target->SendMessage(s.message, s.wParam, s.lParam);
    else if (s.message == WM_DEFERRED_WINDOW && g_deferredWindowProc)
        g_deferredWindowProc(s.wParam);
    // Any other post without a target has nowhere to go.
}

BOOL PostToRing(CWnd* target, UINT message, WPARAM wParam, LPARAM lParam)
{
    unsigned slot;
    uint64_t seq;
    {
        std::lock_guard<std::mutex> lock(g_ringMutex);
        slot = g_ringIndex;
        seq = ++g_postSeq;
        g_ring[slot] = PostSlot{target, message, wParam, lParam, seq};
        g_ringIndex = (g_ringIndex + 1) & 255;
    }
    if (message == WM_ACTIVATE) AfxTrace("PostMessage(WM_ACTIVATE,%lx)\r\n", (unsigned long)(uintptr_t)target);
    platform::PostToUiThread([slot, seq] { DeliverPost(slot, seq); });
    return 0;
}

void PurgePosts(CWnd* wnd)
{
    std::lock_guard<std::mutex> lock(g_ringMutex);
    for (PostSlot& s : g_ring)
        if (s.target == wnd) {
            s.target = nullptr;
            s.seq = 0;
        }
}

// --- timers ----------------------------------------------------------------------
// Live timers by serial number; only the user-interface thread reads or
// writes this map. A firing queued before KillTimer finds its serial gone.
std::map<uint64_t, CWnd*> g_timers;
uint64_t g_timerSerial = 0;

void DeliverTimer(uint64_t serial)
{
    auto it = g_timers.find(serial);
    if (it != g_timers.end()) it->second->SendMessage(WM_TIMER, 0, 0);
}

UINT TranslateModifiers(unsigned m)
{
    UINT f = 0;
    if (m & platform::kModShift) f |= AFX_MOD_SHIFT;
    if (m & platform::kModAlt) f |= AFX_MOD_OPTION;
    if (m & platform::kModSuper) f |= AFX_MOD_COMMAND;
    return f;  // Control is deliberately not translated
}

// Key codes and characters handed to WM_KEYDOWN/WM_CHAR: the codes of the
// platform the editor was written for (Return 36, Escape 53, arrows 123/124),
// which its handlers test. Keypad Enter carries Return's code with its own
// character 3, so the entry fields commit on either.
struct KeyCode {
    platform::Key key;
    UINT code;
    UINT ch;
};
const KeyCode kSpecialKeys[] = {
    {platform::kKeyReturn, 36, 13},   {platform::kKeyEnter, 36, 3},         {platform::kKeyEscape, 53, 27},
    {platform::kKeyLeft, 123, 28},    {platform::kKeyRight, 124, 29},       {platform::kKeyUp, 126, 30},
    {platform::kKeyDown, 125, 31},    {platform::kKeyBackspace, 51, 8},     {platform::kKeyTab, 48, 9},
    {platform::kKeyDelete, 117, 127}, {platform::kKeyHome, 115, 1},         {platform::kKeyEnd, 119, 4},
    {platform::kKeyPadDecimal, 65, '.'}, {platform::kKeyPadMinus, 78, '-'}, {platform::kKeyPadPlus, 69, '+'},
};
// ANSI layout key codes, indexed by the character.
UINT KeyCodeForChar(unsigned char c)
{
    static const char* const order = "asdfhgzxcv\0bqweryt123465=97-80]ou[ip\0lj'k;\\,/nm.\0 `";
    if (c >= 'A' && c <= 'Z') c = (unsigned char)(c - 'A' + 'a');
    for (UINT i = 0; i < 51; ++i)
        if (order[i] && (unsigned char)order[i] == c) return i;
    return 0;
}

// A pointer whose bits above the low 16 are all zero (and not null) names a
// resource by number; it is never read as text.
bool IsResourceNumber(const char* p) { return p && (reinterpret_cast<uintptr_t>(p) >> 16) == 0; }

bool Contains(const std::vector<CWnd*>& v, const CWnd* w)
{
    return std::find(v.begin(), v.end(), w) != v.end();
}

}  // namespace

// --- message maps --------------------------------------------------------------

const AFX_MSGMAP_ENTRY* AfxScanMessageMap(const AFX_MSGMAP* map, UINT message)
{
    for (; map; map = map->pBaseMap)
        for (const AFX_MSGMAP_ENTRY* e = map->lpEntries; e && e->nSig != AfxSig_end; ++e)
            if (e->nMessage == message && e->nCode == 0 && e->nID == 0 && message < 0xC000) return e;
    return nullptr;
}

const AFX_MSGMAP_ENTRY* AfxFindMessageEntry(const AFX_MSGMAP* map, UINT message)
{
    CacheSlot& slot = g_msgCache[(message ^ (UINT)(uintptr_t)map) & 511];
    if (slot.map == map && slot.message == message) return slot.entry;
    const AFX_MSGMAP_ENTRY* e = AfxScanMessageMap(map, message);
    slot.message = message;
    slot.map = map;
    slot.entry = e;
    return e;
}

UINT RegisterWindowMessage(LPCTSTR name)
{
    static std::mutex m;
    static std::map<std::string, UINT> names;
    if (!name || !*name) return 0;
    std::lock_guard<std::mutex> lock(m);
    auto it = names.find(name);
    if (it != names.end()) return it->second;
    UINT id = 0xC000 + (UINT)names.size();
    if (id > 0xFFFF) return 0;
    names[name] = id;
    return id;
}

const AFX_MSGMAP* CCmdTarget::GetThisMessageMap()
{
    static const AFX_MSGMAP_ENTRY entries[] = {{0, 0, 0, 0, AfxSig_end, nullptr}};
    static const AFX_MSGMAP map = {nullptr, &entries[0]};
    return &map;
}

const AFX_MSGMAP* CCmdTarget::GetMessageMap() const { return GetThisMessageMap(); }

BOOL CCmdTarget::OnCmdMsg(UINT nID, int nCode, void* pExtra, void*)
{
    for (const AFX_MSGMAP* map = GetMessageMap(); map; map = map->pBaseMap) {
        for (const AFX_MSGMAP_ENTRY* e = map->lpEntries; e && e->nSig != AfxSig_end; ++e) {
            if (e->nMessage != WM_COMMAND || e->nCode != (UINT)nCode || nID < e->nID || nID > e->nLastID) continue;
            switch (e->nSig) {
            case AfxSig_vv:
                (this->*AfxFromPmsg<void (CCmdTarget::*)()>(e->pfn))();
                break;
            case AfxSig_vw:
                (this->*AfxFromPmsg<void (CCmdTarget::*)(UINT)>(e->pfn))(nID);
                break;
            case AfxSig_cmdui:
                if (pExtra) {
                    static_cast<CCmdUI*>(pExtra)->m_nID = nID;
                    (this->*AfxFromPmsg<void (CCmdTarget::*)(CCmdUI*)>(e->pfn))(static_cast<CCmdUI*>(pExtra));
                }
                break;
            default:
                break;
            }
            return TRUE;
        }
    }
    return FALSE;
}

// --- CWnd ------------------------------------------------------------------------

struct CWnd::TimerRecord {
    uint64_t serial = 0;
    std::shared_ptr<std::atomic<bool>> pending;
    std::unique_ptr<platform::TimerThread> thread;
};

BEGIN_MESSAGE_MAP(CWnd, CCmdTarget)
    ON_WM_GETMINMAXINFO()
    ON_WM_CREATE()
    ON_WM_DESTROY()
    ON_WM_PAINT()
    ON_WM_SIZE()
    ON_WM_MOVE()
    ON_WM_HSCROLL()
    ON_WM_VSCROLL()
    ON_WM_SETFOCUS()
    ON_WM_KILLFOCUS()
    ON_WM_LBUTTONDOWN()
    ON_WM_LBUTTONUP()
    ON_WM_MOUSEMOVE()
    ON_WM_SETCURSOR()
    ON_WM_ACTIVATE()
    ON_WM_RBUTTONDOWN()
    ON_WM_RBUTTONUP()
    ON_WM_RBUTTONDBLCLK()
    ON_MESSAGE(WM_MACINTOSH, OnMacintosh)
END_MESSAGE_MAP()

CWnd::CWnd() { g_liveWindows.insert(this); }

CWnd::~CWnd()
{
    if (m_bCreated) DestroyWindow();
    KillTimer(0);
    ForgetWindow();
    if (m_bBoundsKnown) ReleaseHostWindow();
    if (m_hWnd && !m_bBoundsKnown) {
        platform::DestroyView(reinterpret_cast<platform::View*>(m_hWnd));
        m_hWnd = nullptr;
    }
    if (CWnd* parent = LiveParent(m_pParentWnd)) parent->RemoveChild(this);
    for (CWnd* c : m_children) c->m_pParentWnd = nullptr;
    g_liveWindows.erase(this);
}

// Clears every process-wide record that could still name this window.
void CWnd::ForgetWindow()
{
    PurgePosts(this);
    if (g_focusWnd == this) g_focusWnd = nullptr;
    if (g_captureWnd == this) g_captureWnd = nullptr;
    if (g_hoverWnd == this) g_hoverWnd = nullptr;
    if (g_inputWnd == this) g_inputWnd = nullptr;
}

BOOL CWnd::Create(LPCTSTR lpszClassName, LPCTSTR lpszWindowName, DWORD dwStyle, const RECT& rect,
                  CWnd* pParentWnd, UINT nID, CCreateContext*)
{
    m_pParentWnd = pParentWnd;
    m_nID = nID;
    return CreateEx(0, lpszClassName, lpszWindowName, dwStyle | WS_CHILD, rect.left, rect.top,
                    rect.right - rect.left, rect.bottom - rect.top, pParentWnd ? pParentWnd->m_hWnd : nullptr,
                    (HMENU)(UINT_PTR)nID, nullptr);
}

BOOL CWnd::CreateEx(DWORD dwExStyle, LPCTSTR lpszClassName, LPCTSTR lpszWindowName, DWORD dwStyle, int x, int y,
                    int nWidth, int nHeight, HWND hWndParent, HMENU nIDorHMenu, LPVOID lpParam)
{
    if (m_bCreated) return FALSE;
    CREATESTRUCT cs;
    cs.lpCreateParams = lpParam;
    cs.hInstance = nullptr;
    cs.hMenu = nIDorHMenu;
    cs.hwndParent = hWndParent;
    cs.cy = nHeight;
    cs.cx = nWidth;
    cs.y = y;
    cs.x = x;
    cs.style = (LONG)dwStyle;
    cs.lpszName = lpszWindowName;
    cs.lpszClass = lpszClassName;
    cs.dwExStyle = dwExStyle;
    if (!PreCreateWindow(cs)) return FALSE;

    m_dwStyle = (DWORD)cs.style;
    m_dwExStyle = cs.dwExStyle;
    m_nID = (UINT)(UINT_PTR)cs.hMenu;
    // A class given by number (an atom) is kept as "#<number>"; a window
    // name given by number is that string resource's text.
    if (IsResourceNumber(cs.lpszClass))
        m_className.Format("#%u", (unsigned)(uintptr_t)cs.lpszClass);
    else
        m_className = cs.lpszClass;
    m_windowText = CString(cs.lpszName);

    platform::View* view = nullptr;
    if (m_dwStyle & WS_POPUP) {
        // A top-level window over its owner (which may be none): a dialog
        // when it has a caption, else a menu-like pop-up.
        platform::PopupKind kind = (m_dwStyle & 0x00C00000u) ? platform::kDialog : platform::kMenu;
        view = platform::CreatePopupView(reinterpret_cast<platform::View*>(cs.hwndParent), this, cs.x, cs.y, cs.cx, cs.cy,
                                    kind, m_windowText);
    } else if (!(m_dwStyle & 0x8000u)) {
        view = platform::CreateChildView(reinterpret_cast<platform::View*>(cs.hwndParent), this, cs.x, cs.y, cs.cx, cs.cy,
                                    false);
    }
    if (!view) return FALSE;
    m_hWnd = reinterpret_cast<HWND>(view);
    m_rect = CRect(cs.x, cs.y, cs.x + cs.cx, cs.y + cs.cy);

    WindowProc(WM_CREATE, 0, (LPARAM)(intptr_t)&cs);
    if (!m_hWnd) return FALSE;  // destroyed from inside its own OnCreate
    if (m_bSizeBeforeMove) {  // the standard controls' order
        WindowProc(WM_SIZE, 0, MAKELPARAM(cs.cx, cs.cy));
        WindowProc(WM_MOVE, 0, MAKELPARAM(cs.x, cs.y));
    } else {
        WindowProc(WM_MOVE, 0, MAKELPARAM(cs.x, cs.y));
        WindowProc(WM_SIZE, 0, MAKELPARAM(cs.cx, cs.cy));
    }
    if (m_hWnd && (m_dwStyle & WS_VISIBLE)) {
        platform::ShowView(view, true);
        m_bVisible = TRUE;
        Invalidate();
    }
    return TRUE;
}

BOOL CWnd::DestroyWindow()
{
    KillTimer(0);
    if (g_focusWnd == this) {
        g_focusWnd = nullptr;
        if (m_hWnd) platform::GiveBackKeyboardFocus(reinterpret_cast<platform::View*>(m_hWnd));
    }
    if (!m_bCreated || m_bDestroying) return FALSE;
    m_bDestroying = TRUE;
    // Children go first, so none of them outlives the X window it sits in.
    while (!m_children.empty()) {
        CWnd* child = m_children.front();
        child->DestroyWindow();
        RemoveChild(child);  // in case its OnDestroy did not
    }
    Invalidate();
    SendMessage(WM_DESTROY);
    m_bCreated = FALSE;
    ForgetWindow();
    if (CWnd* parent = LiveParent(m_pParentWnd)) parent->RemoveChild(this);
    platform::View* view = reinterpret_cast<platform::View*>(m_hWnd);
    if (view && !m_bBoundsKnown) {
        m_hWnd = nullptr;
        platform::DestroyView(view);
    }
    m_bVisible = FALSE;
    m_bDestroying = FALSE;
    return TRUE;
}

void CWnd::RemoveChild(CWnd* child)
{
    auto it = std::find(m_children.begin(), m_children.end(), child);
    if (it == m_children.end()) return;
    m_children.erase(it);
    // The anchor lets the host's window (and its display connection) go
    // once the tree inside it is gone.
    if (m_bBoundsKnown && m_children.empty() && !m_bReleasingHost) ReleaseHostWindow();
}

BOOL CWnd::AdoptHostWindow(void* systemWindow)
{
    if (m_bCreated) return FALSE;
    ReleaseHostWindow();
    platform::View* view = platform::AdoptHostWindow((unsigned long)(uintptr_t)systemWindow);
    if (!view) return FALSE;
    // The anchor hears when the host moves or resizes its window, and when
    // the display connection dies.
    platform::SetClient(view, this);
    m_hWnd = reinterpret_cast<HWND>(view);
    SetBounds();
    return TRUE;
}

void CWnd::ReleaseHostWindow()
{
    if (!m_bBoundsKnown || !m_hWnd) return;
    m_bReleasingHost = TRUE;
    while (!m_children.empty()) {
        CWnd* child = m_children.front();
        child->DestroyWindow();
        RemoveChild(child);
    }
    platform::View* view = reinterpret_cast<platform::View*>(m_hWnd);
    m_hWnd = nullptr;
    m_bBoundsKnown = FALSE;
    m_bReleasingHost = FALSE;
    if (platform::IsAdopted(view)) platform::DestroyView(view);
}

void CWnd::SetBounds()
{
    int x = 0, y = 0, w = 0, h = 0;
    if (!platform::GetGeometry(reinterpret_cast<platform::View*>(m_hWnd), x, y, w, h)) return;
    // The width and height go into right and bottom as they are.
    m_rect = CRect(x, y, w, h);
    m_nClientWidth = w;
    m_nClientHeight = h;
    m_bBoundsKnown = TRUE;
}

LRESULT CWnd::SendMessage(UINT message, WPARAM wParam, LPARAM lParam)
{
    return WindowProc(message, wParam, lParam);
}

BOOL CWnd::PostMessage(UINT message, WPARAM wParam, LPARAM lParam)
{
    return PostToRing(this, message, wParam, lParam);
}

BOOL PostMessage(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam)
{
    CWnd* target = nullptr;
    if (hWnd) {
        target = CWnd::FromHandle(hWnd);
        if (!target) return FALSE;
    }
    PostToRing(target, message, wParam, lParam);
    return TRUE;
}

void AfxSetDeferredWindowProc(void (*proc)(WPARAM)) { g_deferredWindowProc = proc; }

CWnd* CWnd::FromHandle(HWND hWnd)
{
    if (!hWnd) return nullptr;
    for (const CWnd* w : g_liveWindows)
        if (w->m_hWnd == hWnd) return const_cast<CWnd*>(w);
    return nullptr;
}

void CWnd::Invalidate(BOOL) { InvalidateRect(nullptr); }

void CWnd::InvalidateRect(LPCRECT lpRect, BOOL)
{
    if (!m_hWnd) return;
    if (lpRect) {
        platform::Rect r{lpRect->left, lpRect->top, lpRect->right, lpRect->bottom};
        platform::InvalidateView(reinterpret_cast<platform::View*>(m_hWnd), &r);
    } else {
        platform::InvalidateView(reinterpret_cast<platform::View*>(m_hWnd), nullptr);
    }
}

void CWnd::UpdateWindow()
{
    if (m_hWnd) platform::UpdateView(reinterpret_cast<platform::View*>(m_hWnd));
}

void CWnd::GetClientRect(LPRECT lpRect) const
{
    if (!lpRect) return;
    int w = m_nClientWidth, h = m_nClientHeight;
    int sb = GetSystemMetrics(SM_CXVSCROLL);
    if (m_pVScroll && m_pVScroll->IsWindowVisible()) w -= sb;
    if (m_pHScroll && m_pHScroll->IsWindowVisible()) h -= sb;
    lpRect->left = 0;
    lpRect->top = 0;
    lpRect->right = std::max(w, 0);
    lpRect->bottom = std::max(h, 0);
}

void CWnd::GetWindowRect(LPRECT lpRect) const
{
    if (lpRect) *lpRect = m_rect;
}

void CWnd::MoveWindow(int x, int y, int nWidth, int nHeight, BOOL bRepaint)
{
    m_rect = CRect(x, y, x + nWidth, y + nHeight);
    if (m_hWnd && !m_bBoundsKnown) platform::MoveView(reinterpret_cast<platform::View*>(m_hWnd), x, y, nWidth, nHeight);
    SendMessage(WM_MOVE, 0, MAKELPARAM(x, y));
    SendMessage(WM_SIZE, 0, MAKELPARAM(nWidth, nHeight));
    if (bRepaint) Invalidate();
}

void CWnd::MoveWindow(LPCRECT r, BOOL bRepaint)
{
    if (r) MoveWindow(r->left, r->top, r->right - r->left, r->bottom - r->top, bRepaint);
}

BOOL CWnd::ShowWindow(int nCmdShow)
{
    BOOL was = m_bVisible;
    bool show = nCmdShow != SW_HIDE;
    m_bVisible = show;
    if (show)
        m_dwStyle |= WS_VISIBLE;
    else
        m_dwStyle &= ~WS_VISIBLE;
    if (m_hWnd && !m_bBoundsKnown) {
        platform::ShowView(reinterpret_cast<platform::View*>(m_hWnd), show);
        if (show) Invalidate();
    }
    return was;
}

BOOL CWnd::IsWindowVisible() const { return m_bVisible; }

BOOL CWnd::EnableWindow(BOOL bEnable)
{
    BOOL was = m_bDisabled;
    m_bDisabled = !bEnable;
    if (was != m_bDisabled) Invalidate();
    return was;
}

bool CWnd::InputBlocked() const
{
    // Up to the nearest top-level window: a dialog's controls stay usable
    // while the dialog's owner is disabled.
    for (const CWnd* w = this; w; w = LiveParent(w->m_pParentWnd)) {
        if (w->m_bDisabled) return true;
        if (w->m_dwStyle & WS_POPUP) break;
    }
    return false;
}

int CWnd::RunModalLoop(DWORD)
{
    m_bInModalLoop = TRUE;
    m_nLoopResult = -1;
    // Only this thread's own work runs here: our display connections, posts
    // and timers. No lock is held while waiting, so the audio thread and
    // anything that takes the engine lock carry on.
    while (m_bInModalLoop) {
        if (!m_hWnd || !g_liveWindows.count(this) ||
            platform::IsConnectionBroken(reinterpret_cast<platform::View*>(m_hWnd))) {
            m_bInModalLoop = FALSE;
            m_nLoopResult = -1;
            break;
        }
        HWND self = m_hWnd;
        platform::PumpEvents(20);
        // Destroyed from inside a handler (the host's window went away).
        if (m_hWnd != self && m_bInModalLoop) {
            m_bInModalLoop = FALSE;
            m_nLoopResult = -1;
        }
    }
    return m_nLoopResult;
}

void CWnd::EndModalLoop(int nResult)
{
    m_nLoopResult = nResult;
    m_bInModalLoop = FALSE;
}

BOOL CWnd::SetWindowPos(const CWnd*, int x, int y, int cx, int cy, UINT nFlags)
{
    if (nFlags & SWP_NOMOVE) {
        x = m_rect.left;
        y = m_rect.top;
    }
    if (nFlags & SWP_NOSIZE) {
        cx = m_rect.Width();
        cy = m_rect.Height();
    }
    if ((nFlags & (SWP_NOMOVE | SWP_NOSIZE)) != (SWP_NOMOVE | SWP_NOSIZE)) MoveWindow(x, y, cx, cy, TRUE);
    if (nFlags & SWP_SHOWWINDOW) ShowWindow(SW_SHOW);
    if (nFlags & SWP_HIDEWINDOW) ShowWindow(SW_HIDE);
    return TRUE;
}

void CWnd::SetWindowText(LPCTSTR lpszString)
{
    // Built, not assigned: construction reads null as empty and a small
    // number as a string resource (assignment would read it as an address).
    m_windowText = CString(lpszString);
    Invalidate();
}

int CWnd::GetWindowText(LPTSTR buf, int nMaxCount) const
{
    if (!buf || nMaxCount <= 0) return 0;
    int n = std::min(m_windowText.GetLength(), nMaxCount - 1);
    std::memcpy(buf, (const char*)m_windowText, (size_t)n);
    buf[n] = 0;
    return n;
}

void CWnd::GetWindowText(CString& rString) const
{
    // Through the virtual buffer form, so a control that overrides it (an
    // entry field reporting its scaled value) answers both forms alike.
    char buf[1024];
    GetWindowText(buf, sizeof buf);
    rString = buf;
}

int CWnd::GetDlgItemText(int nID, LPTSTR lpStr, int nMaxCount) const
{
    CWnd* item = GetDlgItem(nID);
    if (!item) {
        if (lpStr && nMaxCount > 0) lpStr[0] = 0;
        return 0;
    }
    return item->GetWindowText(lpStr, nMaxCount);
}

int CWnd::GetDlgItemText(int nID, CString& rString) const
{
    char buf[1024];
    int n = GetDlgItemText(nID, buf, sizeof buf);
    rString = buf;
    return n;
}

void CWnd::SetDlgItemText(int nID, LPCTSTR lpszString)
{
    if (CWnd* item = GetDlgItem(nID)) item->SetWindowText(lpszString);
}

void CWnd::SetFont(CFont* pFont, BOOL bRedraw)
{
    m_pFont = pFont;
    if (bRedraw) Invalidate();
}

CWnd* CWnd::GetDlgItem(int nID) const
{
    for (CWnd* c : m_children)
        if (c->m_nID == (UINT)nID) return c;
    return nullptr;
}

CWnd* CWnd::SetFocus()
{
    CWnd* old = g_focusWnd;
    if (old) {
        g_focusWnd = nullptr;
        old->SendMessage(WM_KILLFOCUS, (WPARAM)(uintptr_t)this, 0);
    }
    SendMessage(WM_SETFOCUS, (WPARAM)(uintptr_t)old, 0);
    return old;
}

CWnd* CWnd::GetFocus() { return g_focusWnd; }

CWnd* CWnd::SetCapture()
{
    CWnd* old = g_captureWnd;
    g_captureWnd = this;
    return old;
}

CWnd* CWnd::GetCapture() { return g_captureWnd; }

UINT_PTR CWnd::SetTimer(UINT_PTR nIDEvent, UINT nElapse, void*)
{
    KillTimer(0);  // one timer per window: a second SetTimer replaces the first
    auto rec = std::make_unique<TimerRecord>();
    rec->serial = ++g_timerSerial;
    rec->pending = std::make_shared<std::atomic<bool>>(false);
    g_timers[rec->serial] = this;
    uint64_t serial = rec->serial;
    std::shared_ptr<std::atomic<bool>> pending = rec->pending;
    // The worker only queues a firing; while one is still waiting for the
    // pump no second one is queued, so a slow idle rate never piles up.
    rec->thread = std::make_unique<platform::TimerThread>(nElapse, [serial, pending] {
        if (pending->exchange(true)) return;
        platform::PostToUiThread([serial, pending] {
            pending->store(false);
            DeliverTimer(serial);
        });
    });
    m_pTimer = std::move(rec);
    return nIDEvent;
}

BOOL CWnd::KillTimer(UINT_PTR)
{
    if (m_pTimer) {
        g_timers.erase(m_pTimer->serial);
        m_pTimer.reset();  // wakes and joins the worker
    }
    return TRUE;
}

LRESULT CWnd::Default() { return 0; }

BOOL CWnd::PreCreateWindow(CREATESTRUCT&) { return TRUE; }

BOOL CWnd::OnCommand(WPARAM wParam, LPARAM lParam)
{
    UINT nID = LOWORD(wParam);
    int nCode = HIWORD(wParam);
    if (nID == 0) return FALSE;
    if (lParam == 0) {
        // A menu command is first offered as an enable query.
        CCmdUI state;
        state.m_nID = nID;
        if (OnCmdMsg(nID, (int)CN_UPDATE_COMMAND_UI, &state, nullptr) && !state.m_bEnabled) return TRUE;
    }
    return OnCmdMsg(nID, nCode, nullptr, nullptr);
}

LRESULT CWnd::WindowProc(UINT message, WPARAM wParam, LPARAM lParam)
{
    LRESULT result = 0;
    if (!OnWndMsg(message, wParam, lParam, &result)) result = DefWindowProc(message, wParam, lParam);
    return result;
}

BOOL CWnd::OnWndMsg(UINT message, WPARAM wParam, LPARAM lParam, LRESULT* pResult)
{
    LRESULT result = 0;
    if (message == WM_COMMAND) {
        if (!OnCommand(wParam, lParam)) return FALSE;
        if (pResult) *pResult = 1;
        return TRUE;
    }
    if (message == WM_NOTIFY) {
        if (!OnNotify(wParam, lParam, &result)) return FALSE;
        if (pResult) *pResult = result;
        return TRUE;
    }

    const AFX_MSGMAP_ENTRY* e = nullptr;
    if (message >= 0xC000) {
        for (const AFX_MSGMAP* map = GetMessageMap(); map && !e; map = map->pBaseMap)
            for (const AFX_MSGMAP_ENTRY* p = map->lpEntries; p->nSig != AfxSig_end; ++p)
                if (p->nMessage == 0xC000 && *reinterpret_cast<const UINT*>(p->nSig) == message) {
                    e = p;
                    break;
                }
        if (!e) return FALSE;
        result = (this->*AfxFromPmsg<LRESULT (CWnd::*)(WPARAM, LPARAM)>(e->pfn))(wParam, lParam);
        if (pResult) *pResult = result;
        return TRUE;
    }

    e = AfxFindMessageEntry(GetMessageMap(), message);
    if (!e) return FALSE;
    AFX_PMSG pfn = e->pfn;
    switch (e->nSig) {
    case AfxSig_is:
        result = (this->*AfxFromPmsg<int (CWnd::*)(LPCREATESTRUCT)>(pfn))(
            reinterpret_cast<LPCREATESTRUCT>((intptr_t)lParam));
        break;
    case AfxSig_lwl:
        result = (this->*AfxFromPmsg<LRESULT (CWnd::*)(WPARAM, LPARAM)>(pfn))(wParam, lParam);
        break;
    case AfxSig_vv:
        (this->*AfxFromPmsg<void (CWnd::*)()>(pfn))();
        break;
    case AfxSig_vw:
        (this->*AfxFromPmsg<void (CWnd::*)(UINT)>(pfn))((UINT)wParam);
        break;
    case AfxSig_vwww:
        (this->*AfxFromPmsg<void (CWnd::*)(UINT, UINT, UINT)>(pfn))((UINT)wParam, LOWORD(lParam), HIWORD(lParam));
        break;
    case AfxSig_vwii:
        (this->*AfxFromPmsg<void (CWnd::*)(UINT, int, int)>(pfn))((UINT)wParam, LOWORD(lParam), HIWORD(lParam));
        break;
    case AfxSig_vW:
        (this->*AfxFromPmsg<void (CWnd::*)(CWnd*)>(pfn))(reinterpret_cast<CWnd*>((uintptr_t)wParam));
        break;
    case AfxSig_vwp:
        (this->*AfxFromPmsg<void (CWnd::*)(UINT, CPoint)>(pfn))((UINT)wParam, CPoint(lParam));
        break;
    case AfxSig_bWww:
        result = (this->*AfxFromPmsg<BOOL (CWnd::*)(CWnd*, UINT, UINT)>(pfn))(
            reinterpret_cast<CWnd*>((uintptr_t)wParam), LOWORD(lParam), HIWORD(lParam));
        break;
    case AfxSig_vii:
        (this->*AfxFromPmsg<void (CWnd::*)(int, int)>(pfn))(GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam));
        break;
    case AfxSig_vwwW:
        (this->*AfxFromPmsg<void (CWnd::*)(UINT, UINT, CScrollBar*)>(pfn))(
            LOWORD(wParam), HIWORD(wParam), reinterpret_cast<CScrollBar*>((intptr_t)lParam));
        break;
    case AfxSig_vMMI:
        (this->*AfxFromPmsg<void (CWnd::*)(MINMAXINFO*)>(pfn))(reinterpret_cast<MINMAXINFO*>((intptr_t)lParam));
        break;
    case AfxSig_vwWb:
        (this->*AfxFromPmsg<void (CWnd::*)(UINT, CWnd*, BOOL)>(pfn))(
            LOWORD(wParam), reinterpret_cast<CWnd*>((intptr_t)lParam), HIWORD(wParam));
        break;
    case AfxSig_bD:
        result = (this->*AfxFromPmsg<BOOL (CWnd::*)(CDC*)>(pfn))(reinterpret_cast<CDC*>((uintptr_t)wParam));
        break;
    default:
        return FALSE;  // a kind this layer does not know: not handled
    }
    if (pResult) *pResult = result;
    return TRUE;
}

LRESULT CWnd::DefWindowProc(UINT, WPARAM, LPARAM) { return -1; }

BOOL CWnd::OnNotify(WPARAM, LPARAM, LRESULT*) { return FALSE; }

BOOL CWnd::PreTranslateMessage(MSG*) { return FALSE; }

BOOL CWnd::IsDialogMessage(MSG*) { return FALSE; }

BOOL CWnd::WantsKeyboardInput() const
{
    const AFX_MSGMAP* map = GetMessageMap();
    return AfxFindMessageEntry(map, WM_KEYDOWN) || AfxFindMessageEntry(map, WM_CHAR);
}

// --- default handlers ---------------------------------------------------------------

void CWnd::OnGetMinMaxInfo(MINMAXINFO*) {}

int CWnd::OnCreate(LPCREATESTRUCT cs)
{
    if (cs) {
        m_dwStyle = (DWORD)cs->style;
        m_dwExStyle = cs->dwExStyle;
    }
    m_bCreated = TRUE;
    CWnd* parent = LiveParent(m_pParentWnd);
    if (parent && !Contains(parent->m_children, this)) parent->m_children.insert(parent->m_children.begin(), this);
    return 0;
}

void CWnd::OnDestroy()
{
    KillTimer(0);
    if (g_captureWnd == this) g_captureWnd = nullptr;
    if (g_focusWnd == this) {
        g_focusWnd = nullptr;
        SendMessage(WM_KILLFOCUS, 0, 0);
    }
    if (CWnd* parent = LiveParent(m_pParentWnd)) parent->RemoveChild(this);
}

void CWnd::OnPaint() {}

void CWnd::OnSize(UINT, int cx, int cy)
{
    m_nClientWidth = cx;
    m_nClientHeight = cy;
    CRect r(0, 0, cx, cy);
    InvalidateRect(&r);
}

void CWnd::OnMove(int, int) {}
void CWnd::OnHScroll(UINT, UINT, CScrollBar*) {}
void CWnd::OnVScroll(UINT, UINT, CScrollBar*) {}

void CWnd::OnSetFocus(CWnd* pOldWnd)
{
    g_focusWnd = this;
    if (m_hWnd && WantsKeyboardInput()) platform::TakeKeyboardFocus(reinterpret_cast<platform::View*>(m_hWnd));
    if (pOldWnd && pOldWnd != this && pOldWnd->m_pParentWnd == m_pParentWnd) pOldWnd->Invalidate();
}

void CWnd::OnKillFocus(CWnd* pNewWnd)
{
    // Hand the keyboard back to the host unless another of our typing
    // windows takes it over at once.
    if (m_hWnd && !(pNewWnd && pNewWnd->m_hWnd && pNewWnd->WantsKeyboardInput()))
        platform::GiveBackKeyboardFocus(reinterpret_cast<platform::View*>(m_hWnd));
}

void CWnd::OnLButtonDown(UINT, CPoint) {}
void CWnd::OnLButtonUp(UINT, CPoint) {}
void CWnd::OnLButtonDblClk(UINT, CPoint) {}

void CWnd::OnMouseMove(UINT, CPoint) { SendMessage(WM_SETCURSOR, (WPARAM)(uintptr_t)this, 1); }

BOOL CWnd::OnSetCursor(CWnd*, UINT, UINT) { return FALSE; }
void CWnd::OnActivate(UINT, CWnd*, BOOL) {}
void CWnd::OnRButtonDown(UINT, CPoint) {}
void CWnd::OnRButtonUp(UINT, CPoint) {}
void CWnd::OnRButtonDblClk(UINT, CPoint) {}
LRESULT CWnd::OnMacintosh(WPARAM, LPARAM) { return 0; }
void CWnd::OnKeyDown(UINT, UINT, UINT) {}
void CWnd::OnChar(UINT, UINT, UINT) {}
void CWnd::OnTimer(UINT) {}
BOOL CWnd::OnEraseBkgnd(CDC*) { return FALSE; }

// --- events from the bridge -----------------------------------------------------------

void CWnd::OnViewEvent(const platform::ViewEvent& ev)
{
    // Input events carry the modifier state; size and loss notices do not,
    // and must not clear what the last input left.
    if (ev.type == platform::ViewEvent::kButtonDown || ev.type == platform::ViewEvent::kButtonUp ||
        ev.type == platform::ViewEvent::kMotion || ev.type == platform::ViewEvent::kKey ||
        ev.type == platform::ViewEvent::kWheel) {
        g_modifierFlags = TranslateModifiers(ev.modifiers);
        g_controlHeld = (ev.modifiers & platform::kModControl) != 0;
    }
    LPARAM pt = MAKELPARAM(ev.x, ev.y);
    bool input = ev.type == platform::ViewEvent::kButtonDown || ev.type == platform::ViewEvent::kButtonUp ||
                 ev.type == platform::ViewEvent::kMotion || ev.type == platform::ViewEvent::kKey ||
                 ev.type == platform::ViewEvent::kWheel;
    if (input && InputBlocked()) return;  // a modal dialog owns the input
    if (input) g_inputWnd = this;
    switch (ev.type) {
    case platform::ViewEvent::kClose:
        SendMessage(WM_CLOSE);
        break;
    case platform::ViewEvent::kButtonDown:
        g_hoverWnd = this;
        if (ev.button == 1)
            SendMessage(ev.clickCount < 2 ? WM_LBUTTONDOWN : WM_LBUTTONDBLCLK, 0, pt);
        else if (ev.button == 3)
            SendMessage(ev.clickCount < 2 ? WM_RBUTTONDOWN : WM_RBUTTONDBLCLK, 0, pt);
        break;
    case platform::ViewEvent::kButtonUp:
        if (ev.button == 1)
            SendMessage(WM_LBUTTONUP, 0, pt);
        else if (ev.button == 3)
            SendMessage(WM_RBUTTONUP, 0, pt);
        break;
    case platform::ViewEvent::kMotion:
        g_hoverWnd = this;
        SendMessage(WM_MOUSEMOVE, 0, pt);
        break;
    case platform::ViewEvent::kSize:
        if (m_bBoundsKnown) {
            // The host's window: its new frame, read as SetBounds reads it
            // (width and height go into right and bottom as they are).
            m_rect = CRect(ev.x, ev.y, ev.width, ev.height);
        }
        SendMessage(WM_SIZE, 0, (LPARAM)(uint32_t)((ev.width & 0xFFFF) | ((uint32_t)ev.height << 16)));
        break;
    case platform::ViewEvent::kGone:
        // The X server went away: the windows are gone, so the objects are
        // destroyed as their windows would be (WM_DESTROY, timers stopped);
        // the objects themselves stay for their owners to delete.
        if (m_bBoundsKnown)
            ReleaseHostWindow();
        else
            DestroyWindow();
        break;
    case platform::ViewEvent::kKey: {
        UINT code = 0, ch = 0;
        for (const KeyCode& k : kSpecialKeys)
            if (k.key == ev.key && ev.key != platform::kKeyNone) {
                code = k.code;
                ch = k.ch;
            }
        if (!code && !ch && ev.text[0]) {
            ch = (unsigned char)ev.text[0];
            // Control with a letter gives a control character; the key code
            // is the letter's.
            code = KeyCodeForChar(g_controlHeld && ch >= 1 && ch <= 26 ? (unsigned char)('a' + ch - 1) : ch);
        }
        if (!code && !ch) break;  // modifiers alone and keys the editor never sees
        LPARAM lp = MAKELPARAM(1, g_modifierFlags >> 2);
        g_eventChar = ch;
        MSG msg{m_hWnd, WM_KEYDOWN, code, lp, 0, POINT{ev.x, ev.y}};
        bool taken = false;
        for (CWnd* w = this; w && !taken; w = LiveParent(w->m_pParentWnd)) taken = w->IsDialogMessage(&msg);
        if (!taken && !PreTranslateMessage(&msg)) {
            // A key handler may destroy the window (not delete the object);
            // the character then has nowhere to go.
            HWND self = m_hWnd;
            SendMessage(WM_KEYDOWN, code, lp);
            if (ch && m_hWnd == self) SendMessage(WM_CHAR, ch, lp);
        }
        g_eventChar = 0;
        break;
    }
    case platform::ViewEvent::kFocusOut:
        break;
    case platform::ViewEvent::kWheel: {
        // WHEEL_DELTA (120) per notch in the high word, MK_SHIFT in the low
        // word; the point, unlike Windows', in the window's own coordinates.
        const UINT keys = (ev.modifiers & platform::kModShift) ? MK_SHIFT : 0u;
        SendMessage(WM_MOUSEWHEEL, (WPARAM)(keys | ((UINT)(uint16_t)(int16_t)(ev.wheel * WHEEL_DELTA) << 16)), pt);
        break;
    }
    }
}

void CWnd::OnViewPaint(cairo_t* cr, const platform::Rect& update)
{
    cairo_save(cr);
    m_pPaintContext = cr;
    m_rcUpdate = CRect(update.left, update.top, update.right, update.bottom);
    SendMessage(WM_ERASEBKGND, (WPARAM)(uintptr_t)cr, 0);
    SendMessage(WM_PAINT);
    m_pPaintContext = nullptr;
    m_rcUpdate = CRect();
    cairo_restore(cr);
}

// --- application ----------------------------------------------------------------------

CWinThread::CWinThread() : m_nThreadID(std::this_thread::get_id()) {}

CWinApp::CWinApp(LPCTSTR lpszAppName)
{
    if (lpszAppName) {
        m_name = CString(lpszAppName);
        m_pszAppName = m_name;
    }
    g_app = this;
}

CWinApp::~CWinApp()
{
    if (g_app == this) g_app = nullptr;
}

CWinApp* AfxGetApp() { return g_app; }

// --- free functions ------------------------------------------------------------------

BOOL ReleaseCapture()
{
    BOOL had = g_captureWnd != nullptr;
    g_captureWnd = nullptr;
    return had;
}

CWnd* GetCapture() { return g_captureWnd; }

DWORD GetKeyState(int nVirtKey)
{
    UINT bit = 0;
    switch (nVirtKey) {
    case 16: bit = AFX_MOD_SHIFT; break;
    case 17: bit = AFX_MOD_CONTROL; break;  // never set: Control stays unreported
    case 18: bit = AFX_MOD_COMMAND; break;
    case 19: bit = AFX_MOD_OPTION; break;
    default: return 0;
    }
    return (g_modifierFlags & bit) ? 0xFFFF8000u : 0;
}

CWnd* AfxGetInputWindow() { return g_inputWnd; }

UINT AfxGetModifierFlags() { return g_modifierFlags; }
void AfxSetModifierFlags(UINT flags) { g_modifierFlags = flags; }
UINT AfxGetCurrentEventChar() { return g_eventChar; }
BOOL AfxIsControlHeld() { return g_controlHeld; }

int GetSystemMetrics(int nIndex)
{
    constexpr int kScrollBarWidth = 15;
    int w = 0, h = 0;
    switch (nIndex) {
    case 0:
    case 16:
        platform::ScreenSize(w, h);
        return w;
    case 1:  // no menu bar across the top of the screen here
    case 17:
        platform::ScreenSize(w, h);
        return h;
    case 2:
    case 3: return kScrollBarWidth;
    case 4: return 18;
    case 12: return 32;
    default: return 0;  // SM_CXEDGE (45) included: the fields draw no sunken edge
    }
}

HCURSOR LoadCursor(HINSTANCE, UINT nID)
{
    // The bridge's shapes, stored plus one so that 0 can mean "no cursor".
    platform::Cursor shape;
    switch (nID) {
    case 32512: shape = platform::kCursorArrow; break;
    case 32513: shape = platform::kCursorIBeam; break;
    case 32514: shape = platform::kCursorNo; break;  // not allowed
    case 32515: case 32640: shape = platform::kCursorCross; break;
    case 32642: case 32643: case 32646: case 32649: shape = platform::kCursorHand; break;
    case 32644: shape = platform::kCursorSizeWE; break;
    case 32645: shape = platform::kCursorSizeNS; break;
    default: shape = platform::kCursorArrow; break;  // no numbered cursors: the arrow
    }
    return reinterpret_cast<HCURSOR>((uintptr_t)shape + 1);
}

HCURSOR LoadCursor(HINSTANCE hInstance, LPCTSTR lpCursorName)
{
    return LoadCursor(hInstance, (UINT)(uintptr_t)lpCursorName);
}

HCURSOR SetCursor(HCURSOR hCursor)
{
    HCURSOR old = g_cursor;
    g_cursor = hCursor;
    if (g_hoverWnd && g_hoverWnd->m_hWnd) {
        uintptr_t v = reinterpret_cast<uintptr_t>(hCursor);
        platform::SetViewCursor(reinterpret_cast<platform::View*>(g_hoverWnd->m_hWnd),
                                v ? (platform::Cursor)(v - 1) : platform::kCursorDefault);
    }
    return old;
}

LPCTSTR AfxRegisterWndClass(UINT, HCURSOR, HBRUSH, HICON) { return nullptr; }

int AfxPumpMessages(int timeoutMs) { return platform::PumpEvents(timeoutMs); }
