// X11 side of the window layer. See PlatformBridge.h for the threading rules.
#include "X11Bridge.h"

#include <X11/Xlib.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/cursorfont.h>
#include <X11/keysym.h>
#include <cairo-xlib.h>
#include <cairo.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

namespace platform {

namespace {

// Two presses count as one multi-click when they are this close in server
// time and in position (the usual desktop defaults).
constexpr unsigned kMultiClickMs = 400;
constexpr int kMultiClickDistance = 4;

struct Connection {
    Display* dpy = nullptr;
    uint64_t serial = 0;  // tells connections apart even when an address is reused
    // The X server connection itself died (I/O error). From then on the
    // display is never asked to send or receive anything again; only
    // client-side clean-up (freeing, XCloseDisplay) still runs.
    bool broken = false;
    bool goneReported = false;  // the views were told once
    // The host destroyed its window under us: the connection still works,
    // but the tree inside the window is gone and is told so, once.
    bool hostGone = false;
    Atom wmDelete = None;  // WM_DELETE_WINDOW, once a dialog asked for it
    std::string clipboard;  // the text we offer while we own CLIPBOARD
    View* adopted = nullptr;    // the host's window, when one was adopted
    int views = 0;
    cairo_device_t* device = nullptr;
    std::map<Window, View*> byWindow;
    int errors = 0;
    // Click counting, from server timestamps.
    View* clickView = nullptr;
    int clickButton = 0;
    Time clickTime = 0;
    int clickX = 0, clickY = 0, clickCount = 0;
    // Keyboard focus borrowed from the host, to be given back.
    View* focusView = nullptr;
    bool haveSavedFocus = false;
    Window savedFocus = None;
    int savedRevert = RevertToParent;
    std::map<unsigned, ::Cursor> cursors;
};

std::vector<Connection*> g_conns;
// The list above is read and changed on the user-interface thread; the one
// reader elsewhere is the process-wide I/O error handler, which a host
// thread may run for the host's own display. Changes to the list and that
// reader hold this lock.
std::mutex g_connsMutex;
std::unordered_set<const View*> g_liveViews;
uint64_t g_connSerial = 0;
int g_lostConnections = 0;

Connection* FindConn(Display* d)
{
    for (Connection* c : g_conns)
        if (c->dpy == d) return c;
    return nullptr;
}

Connection* FindConnBySerial(uint64_t serial)
{
    for (Connection* c : g_conns)
        if (c->serial == serial) return c;
    return nullptr;
}

// One of ours and still talking to its server.
bool IsLive(Display* d)
{
    Connection* c = FindConn(d);
    return c && !c->broken;
}

bool Usable(const Connection* c) { return c && c->dpy && !c->broken; }

// --- a dying X server ------------------------------------------------------
// When the connection itself fails (the server exits or is killed), Xlib
// calls the process-wide I/O error handler and then the display's exit
// handler, and both of Xlib's defaults end the process. For our own
// connections both only mark the connection broken and return; the pump
// then tells the views they are gone and the layer closes the display.
// The I/O handler is installed while we have a connection, and hands the
// host's own displays to whatever handler the host had.
XIOErrorHandler g_prevIOHandler = nullptr;
bool g_ioHandlerInstalled = false;

void MarkBroken(Connection* c)
{
    if (!c->broken) ++g_lostConnections;
    c->broken = true;
}

void ForgetConnection(Connection* c)
{
    std::lock_guard<std::mutex> lock(g_connsMutex);
    g_conns.erase(std::find(g_conns.begin(), g_conns.end(), c));
}

int IOErrorHandler(Display* d)
{
    Connection* ours;
    {
        std::lock_guard<std::mutex> lock(g_connsMutex);
        ours = FindConn(d);
    }
    if (ours) {
        // Our displays are only used on the user-interface thread, so this
        // runs there too.
        MarkBroken(ours);
        return 0;
    }
    if (g_prevIOHandler && g_prevIOHandler != IOErrorHandler) return g_prevIOHandler(d);
    return 0;
}

void IOErrorExit(Display* d, void*)
{
    // Returning instead of exiting: every later call on d fails quietly.
    if (Connection* c = FindConn(d)) MarkBroken(c);
}

void HoldIOHandler()
{
    if (g_ioHandlerInstalled) return;
    g_prevIOHandler = XSetIOErrorHandler(IOErrorHandler);
    g_ioHandlerInstalled = true;
}

// After the last connection: put the previous handler back, unless someone
// installed another one after ours (theirs then stays).
void DropIOHandlerIfUnused()
{
    if (!g_ioHandlerInstalled || !g_conns.empty()) return;
    XIOErrorHandler current = XSetIOErrorHandler(g_prevIOHandler);
    if (current != IOErrorHandler) XSetIOErrorHandler(current);
    g_prevIOHandler = nullptr;
    g_ioHandlerInstalled = false;
}

// --- X error handling -------------------------------------------------------
// Xlib's error handler is process-wide and its default ends the process. We
// install ours only while the layer talks to the server (and until the
// requests have been synced), count errors on our own connections, and hand
// every other display's errors to whatever handler the host had.
XErrorHandler g_prevHandler = nullptr;
int g_trapDepth = 0;

int TrapHandler(Display* d, XErrorEvent* e)
{
    if (Connection* c = FindConn(d)) {
        ++c->errors;
        return 0;
    }
    if (g_prevHandler && g_prevHandler != TrapHandler) return g_prevHandler(d, e);
    return 0;
}

class ErrorTrap {
public:
    explicit ErrorTrap(Display* d) : m_dpy(d)
    {
        if (g_trapDepth++ == 0) g_prevHandler = XSetErrorHandler(TrapHandler);
    }
    ~ErrorTrap()
    {
        if (m_dpy && IsLive(m_dpy)) XSync(m_dpy, False);
        if (--g_trapDepth == 0) XSetErrorHandler(g_prevHandler);
    }
    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;

private:
    Display* m_dpy;
};

// --- the queue to the user-interface thread --------------------------------
std::mutex g_queueMutex;
std::deque<std::function<void()>> g_queue;
int g_wakeFd = -1;
bool g_wakePending = false;

void EnsureWakeFdLocked()
{
    if (g_wakeFd < 0) g_wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}

// A busy X server can leave its listening socket's queue full for a moment,
// and the connect then fails with EAGAIN; an editor should not fail to open
// for that, so such failures are retried briefly.
Display* OpenDisplay()
{
    for (int attempt = 0; attempt < 20; ++attempt) {
        errno = 0;
        if (Display* d = XOpenDisplay(nullptr)) return d;
        if (errno != EAGAIN) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(5 + 5 * attempt));
    }
    return nullptr;
}

}  // namespace

struct View {
    Connection* conn = nullptr;
    Window win = None;
    bool adopted = false;
    ViewClient* client = nullptr;
    View* parent = nullptr;  // for child views
    int x = 0, y = 0;  // kept for the adopted window only
    int w = 0, h = 0;
    bool shown = false;
    Visual* visual = nullptr;
    int depth = 0;
    long eventMask = 0;
    cairo_surface_t* winSurface = nullptr;  // only for visuals XPutImage cannot take
    cairo_surface_t* back = nullptr;  // image surface, the double buffer
    GC gc = nullptr;                  // for XPutImage of the back buffer
    bool damaged = false;
    Rect damage;
};

namespace {

void FreeSurfaces(View* v)
{
    if (v->back) {
        cairo_surface_destroy(v->back);
        v->back = nullptr;
    }
    if (v->winSurface) {
        cairo_surface_destroy(v->winSurface);
        v->winSurface = nullptr;
    }
    if (v->gc) {
        XFreeGC(v->conn->dpy, v->gc);
        v->gc = nullptr;
    }
}

void NoteDevice(Connection* c, cairo_surface_t* s)
{
    if (!c->device && s) {
        cairo_device_t* d = cairo_surface_get_device(s);
        if (d) c->device = cairo_device_reference(d);
    }
}

// True when the visual stores pixels exactly as a Cairo image surface does
// (32 bits per pixel, 8-bit red, green, blue at 16, 8, 0): the usual depth-24
// and depth-32 TrueColor visuals. The back buffer can then be put on the
// screen with XPutImage as it is.
bool MatchesImageLayout(Display* d, Visual* vis, int depth)
{
    if (!vis || vis->c_class != TrueColor || (depth != 24 && depth != 32)) return false;
    if (vis->red_mask != 0xFF0000 || vis->green_mask != 0x00FF00 || vis->blue_mask != 0x0000FF) return false;
    int n = 0;
    bool ok = false;
    if (XPixmapFormatValues* f = XListPixmapFormats(d, &n)) {
        for (int i = 0; i < n; ++i)
            if (f[i].depth == depth) ok = f[i].bits_per_pixel == 32;
        XFree(f);
    }
    return ok;
}

// The back buffer (a Cairo image surface: everything draws in memory, the
// same way for windows and off-screen contexts) and the means to put it on
// the screen; false when the view has no area to draw.
bool EnsureSurfaces(View* v)
{
    if (v->adopted || v->w <= 0 || v->h <= 0) return false;
    Display* d = v->conn->dpy;
    if (!v->back) {
        v->back = cairo_image_surface_create(v->depth == 32 ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, v->w, v->h);
        // A fresh buffer starts white, so a window that paints nothing shows
        // no leftover memory.
        cairo_t* cr = cairo_create(v->back);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        cairo_destroy(cr);
    }
    if (!v->gc && !v->winSurface) {
        if (MatchesImageLayout(d, v->visual, v->depth)) {
            v->gc = XCreateGC(d, v->win, 0, nullptr);
        } else {
            // Other visuals: let Cairo's Xlib backend convert.
            v->winSurface = cairo_xlib_surface_create(d, v->win, v->visual, v->w, v->h);
            NoteDevice(v->conn, v->winSurface);
        }
    }
    return cairo_surface_status(v->back) == CAIRO_STATUS_SUCCESS &&
           (v->gc || cairo_surface_status(v->winSurface) == CAIRO_STATUS_SUCCESS);
}

void AddDamage(View* v, const Rect& r)
{
    Rect c{std::max(r.left, 0), std::max(r.top, 0), std::min(r.right, v->w), std::min(r.bottom, v->h)};
    if (c.empty()) return;
    if (!v->damaged) {
        v->damage = c;
        v->damaged = true;
    } else {
        v->damage.left = std::min(v->damage.left, c.left);
        v->damage.top = std::min(v->damage.top, c.top);
        v->damage.right = std::max(v->damage.right, c.right);
        v->damage.bottom = std::max(v->damage.bottom, c.bottom);
    }
}

void Present(View* v, const Rect& r)
{
    int w = r.right - r.left, h = r.bottom - r.top;
    if (w <= 0 || h <= 0) return;
    cairo_surface_flush(v->back);
    if (v->gc) {
        XImage* img = XCreateImage(v->conn->dpy, v->visual, v->depth, ZPixmap, 0,
                                   reinterpret_cast<char*>(cairo_image_surface_get_data(v->back)), v->w, v->h, 32,
                                   cairo_image_surface_get_stride(v->back));
        if (!img) return;
        XPutImage(v->conn->dpy, v->win, v->gc, img, r.left, r.top, r.left, r.top, w, h);
        img->data = nullptr;  // the pixels belong to the Cairo surface
        XDestroyImage(img);
        return;
    }
    cairo_t* cr = cairo_create(v->winSurface);
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_set_source_surface(cr, v->back, 0, 0);
    cairo_rectangle(cr, r.left, r.top, w, h);
    cairo_fill(cr);
    cairo_destroy(cr);
    cairo_surface_flush(v->winSurface);
}

void Paint(View* v)
{
    Rect r = v->damage;
    v->damaged = false;
    // An unmapped window is painted when it is shown (Expose brings it back).
    if (!v->client || !v->shown || !Usable(v->conn) || !EnsureSurfaces(v)) return;
    cairo_surface_t* back = v->back;
    cairo_t* cr = cairo_create(back);  // holds its own reference to the buffer
    cairo_rectangle(cr, r.left, r.top, r.right - r.left, r.bottom - r.top);
    cairo_clip(cr);
    v->client->OnViewPaint(cr, r);
    cairo_destroy(cr);
    // The handler may have destroyed the view, or resized it (a new buffer,
    // already marked for a full repaint): then there is nothing to show.
    if (!g_liveViews.count(v) || v->back != back) return;
    Present(v, r);
}

// The one table of X11 keys the layer needs to know by name.
struct KeyName {
    KeySym sym;
    Key key;
};
const KeyName kKeys[] = {
    {XK_Return, kKeyReturn},       {XK_KP_Enter, kKeyEnter},     {XK_Escape, kKeyEscape},
    {XK_Tab, kKeyTab},             {XK_ISO_Left_Tab, kKeyTab},   {XK_BackSpace, kKeyBackspace},
    {XK_Delete, kKeyDelete},       {XK_KP_Delete, kKeyDelete},   {XK_Left, kKeyLeft},
    {XK_KP_Left, kKeyLeft},        {XK_Right, kKeyRight},        {XK_KP_Right, kKeyRight},
    {XK_Up, kKeyUp},               {XK_KP_Up, kKeyUp},           {XK_Down, kKeyDown},
    {XK_KP_Down, kKeyDown},        {XK_Home, kKeyHome},          {XK_KP_Home, kKeyHome},
    {XK_End, kKeyEnd},             {XK_KP_End, kKeyEnd},         {XK_KP_Decimal, kKeyPadDecimal},
    {XK_KP_Subtract, kKeyPadMinus}, {XK_KP_Add, kKeyPadPlus},
};

Key KeyOf(KeySym sym)
{
    for (const KeyName& k : kKeys)
        if (k.sym == sym) return k.key;
    return kKeyNone;
}

unsigned FontCursorOf(Cursor c)
{
    switch (c) {
    case kCursorArrow: return XC_left_ptr;
    case kCursorIBeam: return XC_xterm;
    case kCursorNo: return XC_pirate;
    case kCursorCross: return XC_crosshair;
    case kCursorHand: return XC_hand2;
    case kCursorSizeWE: return XC_sb_h_double_arrow;
    case kCursorSizeNS: return XC_sb_v_double_arrow;
    default: return 0;
    }
}

unsigned Modifiers(unsigned state)
{
    unsigned m = 0;
    if (state & ShiftMask) m |= kModShift;
    if (state & ControlMask) m |= kModControl;
    if (state & Mod1Mask) m |= kModAlt;
    if (state & Mod4Mask) m |= kModSuper;
    return m;
}

// Still the same view object on a live connection? Handlers may destroy
// views (and whole trees) while events are being dispatched.
View* Lookup(Connection* c, Window w)
{
    auto it = c->byWindow.find(w);
    if (it != c->byWindow.end()) return it->second;
    return c->adopted && c->adopted->win == w ? c->adopted : nullptr;
}

void Dispatch(Connection* c, XEvent& ev)
{
    View* v = Lookup(c, ev.xany.window);
    if (!v) return;
    ViewEvent out;
    switch (ev.type) {
    case Expose:
        AddDamage(v, Rect{ev.xexpose.x, ev.xexpose.y, ev.xexpose.x + ev.xexpose.width,
                          ev.xexpose.y + ev.xexpose.height});
        return;
    case ConfigureNotify:
        if (v->adopted) {
            // The host moved or resized its window: the anchor reads its
            // new bounds (we draw nothing into the host's window itself).
            // A window manager's synthetic notice gives root coordinates;
            // only the size is taken from it.
            int nx = ev.xconfigure.send_event ? v->x : ev.xconfigure.x;
            int ny = ev.xconfigure.send_event ? v->y : ev.xconfigure.y;
            if (nx == v->x && ny == v->y && ev.xconfigure.width == v->w && ev.xconfigure.height == v->h) return;
            v->x = out.x = nx;
            v->y = out.y = ny;
            v->w = out.width = ev.xconfigure.width;
            v->h = out.height = ev.xconfigure.height;
            out.type = ViewEvent::kSize;
            break;
        }
        if (ev.xconfigure.width == v->w && ev.xconfigure.height == v->h) return;
        v->w = ev.xconfigure.width;
        v->h = ev.xconfigure.height;
        FreeSurfaces(v);
        AddDamage(v, Rect{0, 0, v->w, v->h});
        out.type = ViewEvent::kSize;
        out.width = v->w;
        out.height = v->h;
        break;
    case ButtonPress: {
        int b = ev.xbutton.button;
        if (b == 4 || b == 5) {  // the wheel: a press per notch, no click counting
            out.type = ViewEvent::kWheel;
            out.x = ev.xbutton.x;
            out.y = ev.xbutton.y;
            out.wheel = b == 4 ? 1 : -1;
            out.modifiers = Modifiers(ev.xbutton.state);
            break;
        }
        if (b < 1 || b > 3) return;  // sideways wheel and extra buttons are not reported
        int x = ev.xbutton.x, y = ev.xbutton.y;
        uint32_t dt = (uint32_t)ev.xbutton.time - (uint32_t)c->clickTime;
        if (c->clickView == v && c->clickButton == b && dt <= kMultiClickMs &&
            std::abs(x - c->clickX) <= kMultiClickDistance && std::abs(y - c->clickY) <= kMultiClickDistance)
            ++c->clickCount;
        else
            c->clickCount = 1;
        c->clickView = v;
        c->clickButton = b;
        c->clickTime = ev.xbutton.time;
        c->clickX = x;
        c->clickY = y;
        out.type = ViewEvent::kButtonDown;
        out.x = x;
        out.y = y;
        out.button = b;
        out.clickCount = c->clickCount;
        out.modifiers = Modifiers(ev.xbutton.state);
        break;
    }
    case ButtonRelease:
        if (ev.xbutton.button < 1 || ev.xbutton.button > 3) return;
        out.type = ViewEvent::kButtonUp;
        out.x = ev.xbutton.x;
        out.y = ev.xbutton.y;
        out.button = ev.xbutton.button;
        out.modifiers = Modifiers(ev.xbutton.state);
        break;
    case MotionNotify:
        // Only the latest position of a burst matters; a burst ends at the
        // first other event, so presses and releases keep their order.
        while (XPending(c->dpy)) {
            XEvent next;
            XPeekEvent(c->dpy, &next);
            if (next.type != MotionNotify || next.xany.window != v->win) break;
            XNextEvent(c->dpy, &ev);
        }
        out.type = ViewEvent::kMotion;
        out.x = ev.xmotion.x;
        out.y = ev.xmotion.y;
        out.modifiers = Modifiers(ev.xmotion.state);
        break;
    case KeyPress: {
        KeySym sym = NoSymbol;
        int n = XLookupString(&ev.xkey, out.text, sizeof(out.text) - 1, &sym, nullptr);
        out.text[std::max(0, std::min(n, (int)sizeof(out.text) - 1))] = 0;
        out.type = ViewEvent::kKey;
        out.key = KeyOf(sym);
        out.x = ev.xkey.x;
        out.y = ev.xkey.y;
        out.modifiers = Modifiers(ev.xkey.state);
        break;
    }
    case SelectionRequest: {
        // Another program pastes what we copied: as UTF-8 (or Latin-1
        // text, which UTF-8 of plain ASCII is), or the list of targets.
        XSelectionRequestEvent& rq = ev.xselectionrequest;
        XSelectionEvent reply{};
        reply.type = SelectionNotify;
        reply.requestor = rq.requestor;
        reply.selection = rq.selection;
        reply.target = rq.target;
        reply.time = rq.time;
        reply.property = None;
        Atom utf8 = XInternAtom(c->dpy, "UTF8_STRING", False);
        Atom targets = XInternAtom(c->dpy, "TARGETS", False);
        Atom property = rq.property != None ? rq.property : rq.target;
        if (rq.target == targets) {
            Atom list[] = {targets, utf8, XA_STRING};
            XChangeProperty(c->dpy, rq.requestor, property, XA_ATOM, 32, PropModeReplace,
                            reinterpret_cast<unsigned char*>(list), 3);
            reply.property = property;
        } else if (rq.target == utf8 || rq.target == XA_STRING) {
            XChangeProperty(c->dpy, rq.requestor, property, rq.target, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(c->clipboard.data()), (int)c->clipboard.size());
            reply.property = property;
        }
        XSendEvent(c->dpy, rq.requestor, False, 0, reinterpret_cast<XEvent*>(&reply));
        return;
    }
    case DestroyNotify:
        if (v->adopted && ev.xdestroywindow.window == v->win) c->hostGone = true;
        return;
    case ClientMessage:
        if (c->wmDelete == None || (Atom)ev.xclient.data.l[0] != c->wmDelete) return;
        out.type = ViewEvent::kClose;
        break;
    case FocusOut:
        // Someone else took the keyboard (the user clicked into the host):
        // nothing is ours to give back any more.
        // NotifyPointer: the focus left the pointer root for one of our
        // windows, and the windows under the pointer hear of it; that is
        // not a loss.
        if (ev.xfocus.mode != NotifyNormal || ev.xfocus.detail == NotifyInferior ||
            ev.xfocus.detail == NotifyPointer)
            return;
        if (c->focusView != v) return;
        c->focusView = nullptr;
        c->haveSavedFocus = false;
        v->eventMask &= ~KeyPressMask;
        XSelectInput(c->dpy, v->win, v->eventMask);
        out.type = ViewEvent::kFocusOut;
        break;
    default:
        return;
    }
    if (v->client) v->client->OnViewEvent(out);  // may destroy v
}

long BaseEventMask()
{
    return ExposureMask | ButtonPressMask | ButtonReleaseMask | PointerMotionMask | StructureNotifyMask |
           FocusChangeMask;
}

}  // namespace

// --- views -------------------------------------------------------------------

namespace {

// A new connection of our own, registered and guarded like every other.
Connection* NewConnection()
{
    Display* d = OpenDisplay();
    if (!d) return nullptr;
    fcntl(ConnectionNumber(d), F_SETFD, FD_CLOEXEC);  // never leak into programs the host starts
    auto* c = new Connection;
    c->dpy = d;
    c->serial = ++g_connSerial;
    {
        std::lock_guard<std::mutex> lock(g_connsMutex);
        g_conns.push_back(c);
    }
    HoldIOHandler();
    XSetIOErrorExitHandler(d, IOErrorExit, nullptr);
    return c;
}

void CloseUnusedConnection(Connection* c)
{
    ForgetConnection(c);
    XCloseDisplay(c->dpy);
    delete c;
    DropIOHandlerIfUnused();
}

}  // namespace

View* AdoptHostWindow(unsigned long xid)
{
    if (xid == 0) return nullptr;
    Connection* c = NewConnection();
    if (!c) return nullptr;
    Display* d = c->dpy;
    XWindowAttributes a;
    Status ok;
    int before = c->errors;
    {
        ErrorTrap trap(d);
        ok = XGetWindowAttributes(d, (Window)xid, &a);
        // Our own selection on the host's window (the host's is untouched):
        // we learn when the host moves or resizes it.
        if (ok) XSelectInput(d, (Window)xid, StructureNotifyMask);
    }
    if (!ok || c->errors != before || c->broken) {
        CloseUnusedConnection(c);
        return nullptr;
    }
    auto* v = new View;
    v->conn = c;
    v->win = (Window)xid;
    v->adopted = true;
    v->x = a.x;
    v->y = a.y;
    v->w = a.width;
    v->h = a.height;
    v->visual = a.visual;
    v->depth = a.depth;
    v->shown = a.map_state != IsUnmapped;
    c->views = 1;
    c->adopted = v;
    g_liveViews.insert(v);
    return v;
}

namespace {

// The record of a window we created, known to its connection from now on.
View* RegisterView(Connection* c, Window win, ViewClient* client, View* parent, int w, int h, Visual* visual,
                   int depth)
{
    auto* v = new View;
    v->conn = c;
    v->win = win;
    v->client = client;
    v->parent = parent;
    v->w = w;
    v->h = h;
    v->visual = visual;
    v->depth = depth;
    v->eventMask = BaseEventMask();
    c->byWindow[win] = v;
    ++c->views;
    g_liveViews.insert(v);
    return v;
}

}  // namespace

View* CreateChildView(View* parent, ViewClient* client, int x, int y, int w, int h, bool visible)
{
    if (!parent || !Usable(parent->conn)) return nullptr;
    Connection* c = parent->conn;
    Display* d = c->dpy;
    ErrorTrap trap(d);
    int before = c->errors;
    XSetWindowAttributes a;
    std::memset(&a, 0, sizeof a);
    a.background_pixmap = None;  // no server-side clearing: we paint every pixel, so nothing flickers
    a.bit_gravity = NorthWestGravity;
    a.event_mask = BaseEventMask();
    Window win = XCreateWindow(d, parent->win, x, y, std::max(w, 1), std::max(h, 1), 0, CopyFromParent,
                               InputOutput, CopyFromParent, CWBackPixmap | CWBitGravity | CWEventMask, &a);
    XSync(d, False);
    if (c->broken) return nullptr;  // the server went away meanwhile
    if (win == None || c->errors != before) {
        if (win != None) XDestroyWindow(d, win);
        return nullptr;
    }
    View* v = RegisterView(c, win, client, parent, w, h, parent->visual, parent->depth);
    if (visible) {
        XMapWindow(d, win);
        v->shown = true;
    }
    return v;
}

void GiveBackKeyboardFocus(View* v)
{
    if (!v) return;
    Connection* c = v->conn;
    if (c->focusView != v) return;
    c->focusView = nullptr;
    v->eventMask &= ~KeyPressMask;
    if (c->broken) {
        c->haveSavedFocus = false;
        return;
    }
    ErrorTrap trap(c->dpy);
    XSelectInput(c->dpy, v->win, v->eventMask);
    if (c->haveSavedFocus) {
        // The host's window may be gone by now; the trap swallows BadWindow.
        XSetInputFocus(c->dpy, c->savedFocus, c->savedRevert, CurrentTime);
        c->haveSavedFocus = false;
    }
}

void TakeKeyboardFocus(View* v)
{
    if (!v || v->adopted || !Usable(v->conn)) return;
    Connection* c = v->conn;
    ErrorTrap trap(c->dpy);
    if (!c->haveSavedFocus) {
        XGetInputFocus(c->dpy, &c->savedFocus, &c->savedRevert);
        c->haveSavedFocus = true;
    }
    if (c->focusView && c->focusView != v) {
        c->focusView->eventMask &= ~KeyPressMask;
        XSelectInput(c->dpy, c->focusView->win, c->focusView->eventMask);
    }
    c->focusView = v;
    // Key events are selected only while we hold the focus, so keys typed
    // into the host while the pointer rests on the panel stay with the host.
    v->eventMask |= KeyPressMask;
    XSelectInput(c->dpy, v->win, v->eventMask);
    XSetInputFocus(c->dpy, v->win, RevertToParent, CurrentTime);
}

void DestroyView(View* v)
{
    if (!v) return;
    Connection* c = v->conn;
    Display* d = c->dpy;
    bool last;
    {
        ErrorTrap trap(d);
        if (c->focusView == v) GiveBackKeyboardFocus(v);
        if (c->clickView == v) c->clickView = nullptr;
        v->client = nullptr;
        // Order matters: Cairo surfaces first, then (for the last view) the
        // Cairo device, then the X window, then the connection.
        FreeSurfaces(v);
        last = --c->views <= 0;
        if (last && c->device) {
            cairo_device_finish(c->device);
            cairo_device_destroy(c->device);
            c->device = nullptr;
        }
        if (!v->adopted) {
            c->byWindow.erase(v->win);
            if (!c->broken) XDestroyWindow(d, v->win);
        } else if (c->adopted == v) {
            c->adopted = nullptr;
        }
        for (auto& kv : c->byWindow)
            if (kv.second->parent == v) kv.second->parent = nullptr;
        g_liveViews.erase(v);
        delete v;
        if (last) {
            // On a broken connection these only free client memory: Xlib
            // sends nothing once the connection has failed.
            for (auto& kv : c->cursors) XFreeCursor(d, kv.second);
            c->cursors.clear();
            if (!c->broken) XSync(d, False);
            XCloseDisplay(d);
            c->dpy = nullptr;
        }
    }
    if (last) {
        ForgetConnection(c);
        delete c;
        DropIOHandlerIfUnused();
    }
}

void SetClient(View* v, ViewClient* client)
{
    if (v) v->client = client;
}

bool IsAdopted(const View* v) { return v && v->adopted; }

unsigned long WindowId(const View* v) { return v ? v->win : 0; }

bool GetGeometry(View* v, int& x, int& y, int& w, int& h)
{
    if (!v || !Usable(v->conn)) return false;
    Connection* c = v->conn;
    ErrorTrap trap(c->dpy);
    int before = c->errors;
    Window root;
    int gx = 0, gy = 0;
    unsigned gw = 0, gh = 0, bw = 0, depth = 0;
    Status ok = XGetGeometry(c->dpy, v->win, &root, &gx, &gy, &gw, &gh, &bw, &depth);
    XSync(c->dpy, False);
    if (!ok || c->errors != before || c->broken) return false;
    x = gx;
    y = gy;
    w = (int)gw;
    h = (int)gh;
    if (v->adopted) {
        v->x = x;
        v->y = y;
        v->w = w;
        v->h = h;
    }
    return true;
}

void MoveView(View* v, int x, int y, int w, int h)
{
    if (!v || v->adopted) return;
    if (Usable(v->conn)) {
        ErrorTrap trap(v->conn->dpy);
        XMoveResizeWindow(v->conn->dpy, v->win, x, y, std::max(w, 1), std::max(h, 1));
    }
    if (w != v->w || h != v->h) {
        v->w = w;
        v->h = h;
        FreeSurfaces(v);
        AddDamage(v, Rect{0, 0, w, h});
    }
}

void ShowView(View* v, bool show)
{
    if (!v || v->adopted || v->shown == show) return;
    if (!Usable(v->conn)) {
        v->shown = show;
        return;
    }
    ErrorTrap trap(v->conn->dpy);
    if (show) {
        XMapWindow(v->conn->dpy, v->win);
        // A window that took the focus while it (or a window it sits in)
        // was hidden gets it now that it can be seen.
        Connection* c = v->conn;
        for (View* f = c->focusView; f; f = f->parent)
            if (f == v) {
                XSetInputFocus(c->dpy, c->focusView->win, RevertToParent, CurrentTime);
                break;
            }
    } else {
        if (v->conn->focusView == v) GiveBackKeyboardFocus(v);
        XUnmapWindow(v->conn->dpy, v->win);
    }
    v->shown = show;
}

bool IsViewShown(const View* v) { return v && v->shown; }

namespace {

// The host's top-level window: the child of the root that holds w.
Window TopLevelOf(Display* d, Window w)
{
    Window root = None, parent = None, *kids = nullptr;
    unsigned n = 0;
    for (int depth = 0; depth < 64; ++depth) {
        if (!XQueryTree(d, w, &root, &parent, &kids, &n)) return None;
        if (kids) XFree(kids);
        if (parent == root || parent == None) return w;
        w = parent;
    }
    return None;
}

}  // namespace

View* CreatePopupView(View* owner, ViewClient* client, int x, int y, int w, int h, PopupKind kind, const char* title)
{
    if (owner && !Usable(owner->conn)) return nullptr;
    Connection* c = owner ? owner->conn : NewConnection();
    if (!c) return nullptr;
    Display* d = c->dpy;
    int screen = DefaultScreen(d);
    Window root = RootWindow(d, screen);
    w = std::max(w, 1);
    h = std::max(h, 1);
    Window win = None;
    Window transientFor = None;
    {
        ErrorTrap trap(d);
        int before = c->errors;
        int sx = (DisplayWidth(d, screen) - w) / 2, sy = (DisplayHeight(d, screen) - h) / 2;
        if (owner) {
            Window child;
            if (!XTranslateCoordinates(d, owner->win, root, x, y, &sx, &sy, &child)) {
                sx = x;
                sy = y;
            }
            transientFor = TopLevelOf(d, owner->win);
        }
        // Keep the window on the screen.
        sx = std::max(0, std::min(sx, DisplayWidth(d, screen) - w));
        sy = std::max(0, std::min(sy, DisplayHeight(d, screen) - h));
        XSetWindowAttributes a;
        std::memset(&a, 0, sizeof a);
        a.background_pixmap = None;
        a.bit_gravity = NorthWestGravity;
        a.event_mask = BaseEventMask();
        a.override_redirect = kind == kMenu;
        a.save_under = kind == kMenu;
        win = XCreateWindow(d, root, sx, sy, (unsigned)w, (unsigned)h, 0, CopyFromParent, InputOutput,
                            CopyFromParent, CWBackPixmap | CWBitGravity | CWEventMask | CWOverrideRedirect | CWSaveUnder,
                            &a);
        if (win != None && kind == kDialog) {
            XStoreName(d, win, title ? title : "");
            XSizeHints* hints = XAllocSizeHints();
            if (hints) {
                hints->flags = PPosition | USPosition | PMinSize | PMaxSize;
                hints->x = sx;
                hints->y = sy;
                hints->min_width = hints->max_width = w;
                hints->min_height = hints->max_height = h;
                XSetWMNormalHints(d, win, hints);
                XFree(hints);
            }
            if (transientFor != None) XSetTransientForHint(d, win, transientFor);
            if (c->wmDelete == None) c->wmDelete = XInternAtom(d, "WM_DELETE_WINDOW", False);
            XSetWMProtocols(d, win, &c->wmDelete, 1);
            Atom type = XInternAtom(d, "_NET_WM_WINDOW_TYPE", False);
            Atom dialog = XInternAtom(d, "_NET_WM_WINDOW_TYPE_DIALOG", False);
            XChangeProperty(d, win, type, XA_ATOM, 32, PropModeReplace, reinterpret_cast<unsigned char*>(&dialog), 1);
        }
        XSync(d, False);
        if (win != None && (c->errors != before || c->broken)) {
            if (!c->broken) XDestroyWindow(d, win);
            win = None;
        }
    }
    if (win == None) {
        if (!owner && c->views == 0) CloseUnusedConnection(c);
        return nullptr;
    }
    XWindowAttributes wa;
    XGetWindowAttributes(d, win, &wa);
    return RegisterView(c, win, client, nullptr, w, h, wa.visual, wa.depth);
}

bool GrabInput(View* v)
{
    if (!v || !Usable(v->conn)) return false;
    Display* d = v->conn->dpy;
    ErrorTrap trap(d);
    v->eventMask |= KeyPressMask;
    XSelectInput(d, v->win, v->eventMask);
    // The host may still hold a grab from the click that opened us for a
    // moment: try a few times.
    for (int attempt = 0; attempt < 20; ++attempt) {
        int p = XGrabPointer(d, v->win, False, ButtonPressMask | ButtonReleaseMask | PointerMotionMask, GrabModeAsync,
                             GrabModeAsync, None, None, CurrentTime);
        int k = p == GrabSuccess ? XGrabKeyboard(d, v->win, False, GrabModeAsync, GrabModeAsync, CurrentTime)
                                 : GrabFrozen;
        if (p == GrabSuccess && k == GrabSuccess) return true;
        if (p == GrabSuccess) XUngrabPointer(d, CurrentTime);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

void ReleaseInput(View* v)
{
    if (!v || !Usable(v->conn)) return;
    Display* d = v->conn->dpy;
    ErrorTrap trap(d);
    XUngrabPointer(d, CurrentTime);
    XUngrabKeyboard(d, CurrentTime);
    v->eventMask &= ~KeyPressMask;
    XSelectInput(d, v->win, v->eventMask);
}

void SetClipboardText(View* v, const char* text)
{
    if (!v || !Usable(v->conn)) return;
    Connection* c = v->conn;
    ErrorTrap trap(c->dpy);
    c->clipboard = text ? text : "";
    XSetSelectionOwner(c->dpy, XInternAtom(c->dpy, "CLIPBOARD", False), v->win, CurrentTime);
}

bool GetClipboardText(View* v, std::string& text, int timeoutMs)
{
    text.clear();
    if (!v || !Usable(v->conn)) return false;
    Connection* c = v->conn;
    Display* d = c->dpy;
    ErrorTrap trap(d);
    Atom clipboard = XInternAtom(d, "CLIPBOARD", False);
    Window owner = XGetSelectionOwner(d, clipboard);
    if (owner == None) return false;
    if (Lookup(c, owner)) {  // our own copy
        text = c->clipboard;
        return true;
    }
    Atom utf8 = XInternAtom(d, "UTF8_STRING", False);
    Atom slot = XInternAtom(d, "GRAPHICEQ_PASTE", False);
    XConvertSelection(d, clipboard, utf8, slot, v->win, CurrentTime);
    XFlush(d);
    // Wait for the owner's answer only; other events stay queued.
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    XEvent ev;
    while (!XCheckTypedWindowEvent(d, v->win, SelectionNotify, &ev)) {
        if (c->broken || std::chrono::steady_clock::now() > end) return false;
        pollfd p{ConnectionNumber(d), POLLIN, 0};
        poll(&p, 1, 5);
    }
    if (ev.xselection.property == None) return false;
    Atom type;
    int format = 0;
    unsigned long n = 0, after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(d, v->win, slot, 0, 1 << 16, True, AnyPropertyType, &type, &format, &n, &after, &data) !=
            Success ||
        !data)
        return false;
    if (format == 8) text.assign(reinterpret_cast<const char*>(data), n);
    XFree(data);
    return format == 8;
}

bool FramesDialogs(View* v)
{
    // An EWMH window manager announces itself on the root window.
    Display* d = v && Usable(v->conn) ? v->conn->dpy : nullptr;
    bool own = false;
    if (!d) {
        if (!(d = OpenDisplay())) return false;
        own = true;
    }
    bool framed = false;
    {
        ErrorTrap trap(own ? nullptr : d);
        Atom check = XInternAtom(d, "_NET_SUPPORTING_WM_CHECK", True);
        Atom type;
        int format;
        unsigned long n = 0, after = 0;
        unsigned char* data = nullptr;
        if (check != None &&
            XGetWindowProperty(d, DefaultRootWindow(d), check, 0, 1, False, XA_WINDOW, &type, &format, &n, &after,
                               &data) == Success &&
            data) {
            framed = n == 1;
            XFree(data);
        }
    }
    if (own) XCloseDisplay(d);
    return framed;
}

bool WaitViewable(View* v, int timeoutMs)
{
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (v && Usable(v->conn)) {
        XWindowAttributes a;
        {
            ErrorTrap trap(v->conn->dpy);
            if (!XGetWindowAttributes(v->conn->dpy, v->win, &a)) return false;
        }
        if (a.map_state == IsViewable) return true;
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

void InvalidateView(View* v, const Rect* r)
{
    if (!v || v->adopted) return;
    AddDamage(v, r ? *r : Rect{0, 0, v->w, v->h});
}

void UpdateView(View* v)
{
    if (!v || !v->damaged) return;
    if (!Usable(v->conn)) {
        v->damaged = false;
        return;
    }
    ErrorTrap trap(v->conn->dpy);
    Paint(v);
}

cairo_t* BeginDirectDraw(View* v)
{
    if (!v || !Usable(v->conn)) return nullptr;
    {
        ErrorTrap trap(v->conn->dpy);
        if (!EnsureSurfaces(v)) return nullptr;
    }
    return cairo_create(v->back);
}

void EndDirectDraw(View* v, cairo_t* cr)
{
    if (!cr) return;
    cairo_destroy(cr);
    if (!v || !v->back || !Usable(v->conn)) return;
    ErrorTrap trap(v->conn->dpy);
    cairo_surface_flush(v->back);
    Present(v, Rect{0, 0, v->w, v->h});
}

void SetViewCursor(View* v, Cursor cursor)
{
    unsigned shape = FontCursorOf(cursor);
    if (!v || v->adopted || !Usable(v->conn)) return;
    Connection* c = v->conn;
    ErrorTrap trap(c->dpy);
    if (shape == 0) {
        XUndefineCursor(c->dpy, v->win);
        return;
    }
    auto it = c->cursors.find(shape);
    ::Cursor cur = it != c->cursors.end() ? it->second : (c->cursors[shape] = XCreateFontCursor(c->dpy, shape));
    XDefineCursor(c->dpy, v->win, cur);
}

bool ScreenSize(int& width, int& height)
{
    static int cachedW = 0, cachedH = 0;
    auto live = std::find_if(g_conns.begin(), g_conns.end(), [](const Connection* c) { return Usable(c); });
    if (live != g_conns.end()) {
        Display* d = (*live)->dpy;
        cachedW = DisplayWidth(d, DefaultScreen(d));
        cachedH = DisplayHeight(d, DefaultScreen(d));
    } else if (cachedW == 0) {
        if (Display* d = OpenDisplay()) {
            cachedW = DisplayWidth(d, DefaultScreen(d));
            cachedH = DisplayHeight(d, DefaultScreen(d));
            XCloseDisplay(d);
        }
    }
    width = cachedW;
    height = cachedH;
    return cachedW > 0;
}

int ErrorCount(const View* v) { return v ? v->conn->errors : 0; }

bool IsConnectionBroken(const View* v) { return v && v->conn->broken; }

int OpenConnectionCount() { return (int)g_conns.size(); }

int LostConnectionCount() { return g_lostConnections; }

// --- queue, pump and timers ----------------------------------------------------

void PostToUiThread(std::function<void()> fn)
{
    std::lock_guard<std::mutex> lock(g_queueMutex);
    EnsureWakeFdLocked();
    g_queue.push_back(std::move(fn));
    if (!g_wakePending && g_wakeFd >= 0) {
        uint64_t one = 1;
        if (write(g_wakeFd, &one, sizeof one) == (ssize_t)sizeof one) g_wakePending = true;
    }
}

namespace {

bool SomethingReady()
{
    {
        std::lock_guard<std::mutex> lock(g_queueMutex);
        if (!g_queue.empty()) return true;
    }
    for (Connection* c : g_conns) {
        if (c->broken || c->hostGone) {
            if (!c->goneReported) return true;
            if (c->broken) continue;
        }
        if (XPending(c->dpy)) return true;
        for (auto& kv : c->byWindow)
            if (kv.second->damaged) return true;
    }
    return false;
}

// Tells every view of a connection whose server went away that it is gone,
// once: child windows first, the adopted host window last. The clients
// destroy their windows, and the last view to go closes the display.
int ReportLostConnections()
{
    std::vector<uint64_t> lost;
    for (Connection* c : g_conns)
        if ((c->broken || c->hostGone) && !c->goneReported) {
            c->goneReported = true;
            lost.push_back(c->serial);
        }
    int told = 0;
    for (uint64_t serial : lost) {
        std::vector<Window> windows;
        if (Connection* c = FindConnBySerial(serial)) {
            for (auto& kv : c->byWindow) windows.push_back(kv.first);
            if (c->adopted) windows.push_back(c->adopted->win);
        }
        for (Window w : windows) {
            Connection* c = FindConnBySerial(serial);
            if (!c) break;  // the last view went and took the connection along
            View* v = Lookup(c, w);
            if (!v || !v->client) continue;
            ViewEvent gone;
            gone.type = ViewEvent::kGone;
            v->client->OnViewEvent(gone);
            ++told;
        }
    }
    return told;
}

void WaitForSomething(int timeoutMs)
{
    std::vector<pollfd> fds;
    {
        std::lock_guard<std::mutex> lock(g_queueMutex);
        EnsureWakeFdLocked();
        if (g_wakeFd >= 0) fds.push_back(pollfd{g_wakeFd, POLLIN, 0});
    }
    for (Connection* c : g_conns) {
        if (c->broken) continue;  // its socket would report hang-up for ever
        XFlush(c->dpy);
        fds.push_back(pollfd{ConnectionNumber(c->dpy), POLLIN, 0});
    }
    poll(fds.data(), fds.size(), timeoutMs);
}

}  // namespace

int PumpEvents(int timeoutMs)
{
    if (timeoutMs > 0 && !SomethingReady()) WaitForSomething(timeoutMs);
    int handled = 0;

    // X events, connection by connection. A handler may close any tree, so
    // the connection is looked up again after every event.
    std::vector<Display*> displays;
    for (Connection* c : g_conns) displays.push_back(c->dpy);
    for (Display* d : displays) {
        if (!IsLive(d)) continue;
        ErrorTrap trap(d);
        // XPending is what notices a dead server; XNextEvent is only asked
        // for an event already queued (on a broken display it would crash).
        while (Connection* c = FindConn(d)) {
            if (c->broken || !XPending(d)) break;
            XEvent ev;
            XNextEvent(d, &ev);
            ++handled;
            Dispatch(c, ev);
        }
    }
    handled += ReportLostConnections();

    // Work queued by timers and posts. Items queued while these run wait for
    // the next pump, so a handler that posts to itself cannot starve the host.
    std::deque<std::function<void()>> work;
    {
        std::lock_guard<std::mutex> lock(g_queueMutex);
        work.swap(g_queue);
        if (g_wakePending) {
            uint64_t n;
            while (read(g_wakeFd, &n, sizeof n) > 0) {
            }
            g_wakePending = false;
        }
    }
    for (auto& fn : work) {
        fn();
        ++handled;
    }

    // Paint what became dirty, once per pump whatever the host's idle rate.
    std::vector<std::pair<Display*, Window>> dirty;
    for (Connection* c : g_conns)
        for (auto& kv : c->byWindow)
            if (kv.second->damaged) dirty.emplace_back(c->dpy, kv.first);
    for (auto& dw : dirty) {
        Connection* c = FindConn(dw.first);
        View* v = c ? Lookup(c, dw.second) : nullptr;
        if (v && v->damaged) {
            ErrorTrap trap(c->dpy);
            Paint(v);
        }
    }
    return handled;
}

struct TimerThread::State {
    std::mutex m;
    std::condition_variable cv;
    bool stop = false;
    std::thread worker;
};

TimerThread::TimerThread(unsigned intervalMs, std::function<void()> onTick)
    : m_state(std::make_shared<State>())
{
    // As on Windows, intervals below 10 ms are raised to 10 ms.
    auto interval = std::chrono::milliseconds(std::max(intervalMs, 10u));
    State* s = m_state.get();
    s->worker = std::thread([s, interval, fn = std::move(onTick)] {
        std::unique_lock<std::mutex> lock(s->m);
        while (!s->stop) {
            if (s->cv.wait_for(lock, interval, [s] { return s->stop; })) break;
            lock.unlock();
            fn();
            lock.lock();
        }
    });
}

TimerThread::~TimerThread()
{
    {
        std::lock_guard<std::mutex> lock(m_state->m);
        m_state->stop = true;
    }
    m_state->cv.notify_all();
    if (m_state->worker.joinable()) m_state->worker.join();
}

}  // namespace platform
