#pragma once
// The platform bridge under the window layer: native windows, double-buffered
// Cairo painting, input translation, the queue that carries work from other
// threads to the user-interface thread, window timers and the event pump.
//
// This is the whole interface the layer uses; it names no platform. Each
// platform implements it in a folder of its own beside this header (x11/ for
// X11 on Linux), chosen with the CMake option GRAPHICEQ_PLATFORM.
//
// Threading: everything here except PostToUiThread() and the timer threads
// runs on the user-interface thread (the thread that calls PumpEvents).
// Timer threads and posting threads only enqueue work and wake the pump.
//
// This header knows nothing about window objects or message numbers; the
// layer above implements ViewClient and turns the neutral events below into
// window messages.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace platform {

struct Rect {
    int left = 0, top = 0, right = 0, bottom = 0;
    bool empty() const { return right <= left || bottom <= top; }
};

// Modifier bits of ViewEvent::modifiers.
enum Modifier : unsigned {
    kModShift = 1u << 0,
    kModControl = 1u << 1,
    kModAlt = 1u << 2,    // Option
    kModSuper = 1u << 3,  // Command (the Windows or Super key)
};

// Keys that produce no character of their own, or whose meaning the layer
// needs beyond their character. Every other key is reported as kKeyNone with
// its character in ViewEvent::text.
enum Key : unsigned {
    kKeyNone = 0,
    kKeyReturn,
    kKeyEnter,  // keypad Enter
    kKeyEscape,
    kKeyTab,
    kKeyBackspace,
    kKeyDelete,
    kKeyLeft,
    kKeyRight,
    kKeyUp,
    kKeyDown,
    kKeyHome,
    kKeyEnd,
    kKeyPadDecimal,
    kKeyPadMinus,
    kKeyPadPlus,
};

// Pointer shapes.
enum Cursor : unsigned {
    kCursorDefault = 0,  // the parent's
    kCursorArrow,
    kCursorIBeam,
    kCursorNo,
    kCursorCross,
    kCursorHand,
    kCursorSizeWE,
    kCursorSizeNS,
};

struct ViewEvent {
    // kGone: the window no longer exists for us (the display connection
    // died, or the host destroyed its window); the client should let go of
    // it. Sent once, by the pump.
    // kClose: the user asked the window manager to close a dialog window.
    // kWheel: one notch of the mouse wheel at (x, y), wheel +1 away from the
    // user (up), -1 towards the user (down).
    enum Type { kButtonDown, kButtonUp, kMotion, kKey, kSize, kFocusOut, kGone, kClose, kWheel } type = kMotion;
    int x = 0, y = 0;        // top-left coordinates inside the view
    int button = 0;          // 1 left, 2 middle, 3 right
    int clickCount = 0;      // ButtonDown: 1, 2, 3 ... from event timestamps
    unsigned modifiers = 0;  // Modifier bits at the time of the event
    Key key = kKeyNone;
    char text[8] = {0};      // Key: the characters the key produced
    int width = 0, height = 0;  // Size (for the adopted window also x, y: its position in its parent)
    int wheel = 0;              // Wheel: +1 up, -1 down
};

class ViewClient {
public:
    virtual void OnViewEvent(const ViewEvent& ev) = 0;
    // Paint the update rectangle into cr (a back buffer, top-left origin,
    // clipped to the rectangle). The bridge copies the result to the screen.
    virtual void OnViewPaint(cairo_t* cr, const Rect& update) = 0;

protected:
    ~ViewClient() = default;
};

class View;

// Wrap a window owned by the host (its native handle: on X11 the window id)
// as the root of a window tree. Opens a display connection of its own for
// this tree; null when none can be opened or the handle is not a window. The
// host's window is never changed; its client (SetClient) receives kSize when
// the host moves or resizes it, and the tree kGone when the host destroys it.
//
// If the display connection dies, the failure is caught for this connection
// only (the host's own connections keep whatever handling the host set up):
// nothing more is sent on it, and the next pump sends kGone to its views.
View* AdoptHostWindow(unsigned long handle);
// A child window inside parent, on parent's connection.
View* CreateChildView(View* parent, ViewClient* client, int x, int y, int w, int h, bool visible);
// A top-level window on owner's connection, placed at (x, y) in owner's
// coordinates: kMenu is override-redirect (menus, drop-down lists; take the
// input with GrabInput), kDialog a transient, fixed-size window of the
// host's top-level window with a title. Without an owner the window opens on
// a display connection of its own, centred on the screen. Starts hidden.
enum PopupKind { kMenu, kDialog };
View* CreatePopupView(View* owner, ViewClient* client, int x, int y, int w, int h, PopupKind kind,
                      const char* title);
// Holds pointer and keyboard for a shown menu view: every press, motion and
// key then comes to it (coordinates relative to it, so a press outside has
// coordinates outside its size). False when the server refuses.
bool GrabInput(View* v);
void ReleaseInput(View* v);
// Waits up to timeoutMs until a shown top-level view is on the screen.
bool WaitViewable(View* v, int timeoutMs);
// The desktop clipboard (on X11 the CLIPBOARD selection). SetClipboardText
// makes v's connection its owner with a copy of text (served to other
// programs while v lives); GetClipboardText asks the owner, waiting up to
// timeoutMs, and is false when there is no text.
void SetClipboardText(View* v, const char* text);
bool GetClipboardText(View* v, std::string& text, int timeoutMs);
// Whether a window manager frames top-level windows on v's display (on a
// bare server dialogs draw a title strip of their own). Null: the default
// display.
bool FramesDialogs(View* v);
// Destroys a view made by any of these calls (for an adopted window only our wrapper
// goes). Surfaces are released before the window; when the last view of a
// connection goes, the Cairo device is finished and the display closed.
void DestroyView(View* v);
void SetClient(View* v, ViewClient* client);

bool IsAdopted(const View* v);
unsigned long WindowId(const View* v);
// Geometry relative to the parent window; false when the server cannot say.
bool GetGeometry(View* v, int& x, int& y, int& w, int& h);
void MoveView(View* v, int x, int y, int w, int h);
void ShowView(View* v, bool show);
bool IsViewShown(const View* v);

void InvalidateView(View* v, const Rect* r);  // null: the whole view
void UpdateView(View* v);                     // paint pending damage now

// Drawing outside a paint: a context on the view's back buffer, or null when
// the view cannot draw. EndDirectDraw puts the result on the screen.
cairo_t* BeginDirectDraw(View* v);
void EndDirectDraw(View* v, cairo_t* cr);

// Keyboard focus is borrowed from the host only while a view needs typing.
void TakeKeyboardFocus(View* v);
void GiveBackKeyboardFocus(View* v);

void SetViewCursor(View* v, Cursor shape);

bool ScreenSize(int& width, int& height);
// Number of platform errors (X errors on X11) caught on v's connection since it was opened.
int ErrorCount(const View* v);
// True once v's server connection has died.
bool IsConnectionBroken(const View* v);
// Number of open display connections (tests count leaks with it).
int OpenConnectionCount();
// Number of connections lost to a dying server since the process started.
int LostConnectionCount();

// Thread-safe: queue fn to run on the user-interface thread at the next pump
// and wake a pump that is waiting.
void PostToUiThread(std::function<void()> fn);

// Handles pending X events, queued work and painting. Waits up to timeoutMs
// for something to arrive when there is nothing yet (0: never waits).
// Returns the number of events and queued items handled.
int PumpEvents(int timeoutMs = 0);

// A worker that calls onTick every intervalMs (measured from the end of the
// previous wait) until destroyed. onTick runs on the worker thread and must
// only enqueue. Destruction wakes the worker and joins it at once.
class TimerThread {
public:
    TimerThread(unsigned intervalMs, std::function<void()> onTick);
    ~TimerThread();
    TimerThread(const TimerThread&) = delete;
    TimerThread& operator=(const TimerThread&) = delete;

private:
    struct State;
    std::shared_ptr<State> m_state;
};

}  // namespace platform
