#pragma once
// A host for the editor tests: GraphicEQ.so by dlopen, a host window on the
// test's X connection, idle calls, and XTest input.
#include <gtest/gtest.h>  // before Xlib, whose None and Bool macros it would trip over
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <cairo.h>
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "VstDefs.h"

struct Automation {
    int index;
    float value;
};

// One call of the plug-in about a parameter: begin edit, automate, end edit.
struct HostCall {
    VstInt32 opcode;
    int index;
    float value;
};

// What the plug-in told the host; the callback may run on any thread.
struct HostLog {
    std::mutex lock;
    std::vector<Automation> automated;
    std::vector<HostCall> calls;  // every begin, automate and end, in order
    int updateDisplay = 0;
    void Clear()
    {
        std::lock_guard<std::mutex> g(lock);
        automated.clear();
        calls.clear();
        updateDisplay = 0;
    }
    std::vector<HostCall> Calls()
    {
        std::lock_guard<std::mutex> g(lock);
        return calls;
    }
    std::vector<Automation> Of(int index)
    {
        std::lock_guard<std::mutex> g(lock);
        std::vector<Automation> out;
        for (const Automation& a : automated)
            if (a.index == index) out.push_back(a);
        return out;
    }
};
inline HostLog g_log;

inline VstIntPtr PanelHostCallback(AEffect*, VstInt32 opcode, VstInt32 index, VstIntPtr, void*, float opt)
{
    if (opcode == audioMasterAutomate || opcode == audioMasterBeginEdit || opcode == audioMasterEndEdit) {
        std::lock_guard<std::mutex> g(g_log.lock);
        if (opcode == audioMasterAutomate) g_log.automated.push_back({index, opt});
        g_log.calls.push_back({opcode, index, opt});
    } else if (opcode == audioMasterUpdateDisplay) {
        std::lock_guard<std::mutex> g(g_log.lock);
        ++g_log.updateDisplay;
    }
    return opcode == audioMasterVersion ? 2400 : 0;
}

// A PNG of the panel's art as the plug-in has it compiled in.
struct Art {
    cairo_surface_t* s = nullptr;
    explicit Art(int id)
    {
        const std::string path = std::string(GRAPHICEQ_BITMAPS) + "/" + std::to_string(id) + ".png";
        s = cairo_image_surface_create_from_png(path.c_str());
        cairo_surface_flush(s);
    }
    ~Art() { cairo_surface_destroy(s); }
    int W() const { return cairo_image_surface_get_width(s); }
    int H() const { return cairo_image_surface_get_height(s); }
    // 0xAARRGGBB, premultiplied as stored.
    uint32_t At(int x, int y) const
    {
        return *reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s) +
                                                  x * 4);
    }
};

// img drawn over an opaque dst (0xRRGGBB), as the panel's source-over blits do.
inline uint32_t Over(uint32_t img, uint32_t dst)
{
    const unsigned a = img >> 24;
    uint32_t out = 0;
    for (int sh = 0; sh <= 16; sh += 8) {
        const unsigned s = (img >> sh) & 0xFF, d = (dst >> sh) & 0xFF;
        out |= ((s + d * (255 - a) / 255) & 0xFF) << sh;
    }
    return out;
}

inline bool Near(uint32_t a, uint32_t b, int tol = 4)
{
    for (int sh = 0; sh <= 16; sh += 8)
        if (std::abs(int((a >> sh) & 0xFF) - int((b >> sh) & 0xFF)) > tol) return false;
    return true;
}

// Input from a thread of its own, on a display connection of its own, while
// the test's thread plays the host's, idling the editor throughout (and
// timing every idle call).
struct ScriptInput {
    Display* d = XOpenDisplay(nullptr);
    ~ScriptInput() { if (d) XCloseDisplay(d); }
    static void Wait(int ms = 60) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }
    void Move(int x, int y) { XTestFakeMotionEvent(d, DefaultScreen(d), x, y, 0), XSync(d, False), Wait(); }
    void Button(bool down) { XTestFakeButtonEvent(d, 1, down, 0), XSync(d, False), Wait(); }
    void Click(int x, int y) { Move(x, y), Button(true), Button(false); }
    void Key(KeySym sym) { XTestFakeKeyEvent(d, XKeysymToKeycode(d, sym), True, 0), XTestFakeKeyEvent(d, XKeysymToKeycode(d, sym), False, 0), XSync(d, False), Wait(30); }
    // A viewable top-level window other than except, if there is one now.
    // Override-redirect ones are the pop-up lists.
    bool TopLevel(Window except, bool overrideRedirect, XWindowAttributes& found, Window* id = nullptr)
    {
        Window root, parent, *kids = nullptr;
        unsigned n = 0;
        bool any = false;
        if (XQueryTree(d, DefaultRootWindow(d), &root, &parent, &kids, &n)) {
            for (unsigned i = n; i-- > 0 && !any;) {
                XWindowAttributes a;
                if (kids[i] != except && XGetWindowAttributes(d, kids[i], &a) && a.map_state == IsViewable &&
                    bool(a.override_redirect) == overrideRedirect && a.width > 20) {
                    found = a;
                    any = true;
                    if (id) *id = kids[i];
                }
            }
            if (kids) XFree(kids);
        }
        return any;
    }
    // The same, waited for; false when none appears.
    bool FindTopLevel(Window except, bool overrideRedirect, XWindowAttributes& found, int ms = 3000,
                      Window* id = nullptr)
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (!TopLevel(except, overrideRedirect, found, id)) {
            if (std::chrono::steady_clock::now() >= end) return false;
            Wait(20);
        }
        return true;
    }
    // Waits until the plug-in has closed every pop-up list. Input sent while
    // a list is still up (its owner has not yet handled the click that
    // closes it) would go to the list's grab, not to the window beneath.
    bool PopUpsGone(Window except, int ms = 3000)
    {
        XWindowAttributes a;
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (TopLevel(except, true, a)) {
            if (std::chrono::steady_clock::now() >= end) return false;
            Wait(20);
        }
        return true;
    }
};

class PanelHost : public ::testing::Test {
protected:
    void* lib = nullptr;
    AEffect* fx = nullptr;
    Display* dpy = nullptr;
    Window win = 0;
    ERect* rect = nullptr;
    static constexpr int kX = 20, kY = 30;  // the host window on the screen

    void SetUp() override
    {
        for (int i = 0; i < 20 && !dpy && getenv("DISPLAY"); ++i)
            if (!(dpy = XOpenDisplay(nullptr))) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (!dpy) GTEST_SKIP() << "no X display";
        int ev, err, major, minor;
        if (!XTestQueryExtension(dpy, &ev, &err, &major, &minor)) GTEST_SKIP() << "no XTest extension";
        g_log.Clear();
        lib = dlopen(GRAPHICEQ_SO_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(lib, nullptr) << dlerror();
        auto entry = reinterpret_cast<VstPluginMainProc>(dlsym(lib, "VSTPluginMain"));
        ASSERT_NE(entry, nullptr);
        fx = entry(PanelHostCallback);
        ASSERT_NE(fx, nullptr);
        Dispatch(effOpen);
        Dispatch(effSetSampleRate, 0, 0, nullptr, 48000.0f);
        Dispatch(effSetBlockSize, 0, 256);
        Dispatch(effMainsChanged, 0, 1);
        ASSERT_NE(fx->flags & effFlagsHasEditor, 0);
        ASSERT_EQ(Dispatch(effEditGetRect, 0, 0, &rect), 1);
        XSetWindowAttributes a;
        a.background_pixel = 0xFF00FF;
        a.override_redirect = True;
        win = XCreateWindow(dpy, DefaultRootWindow(dpy), kX, kY, rect->right, rect->bottom, 0, CopyFromParent,
                            InputOutput, CopyFromParent, CWBackPixel | CWOverrideRedirect, &a);
        XMapRaised(dpy, win);
        XSync(dpy, False);
    }
    void TearDown() override
    {
        if (fx) {
            Dispatch(effEditClose);
            Dispatch(effMainsChanged, 0, 0);
            Dispatch(effClose);
        }
        if (lib) dlclose(lib);
        if (dpy) {
            if (win) XDestroyWindow(dpy, win);
            XCloseDisplay(dpy);
        }
    }

    VstIntPtr Dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr, float opt = 0)
    {
        return fx->dispatcher(fx, opcode, index, value, ptr, opt);
    }
    bool Open()
    {
        if (Dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(win)) != 1) return false;
        // Painted once the background covers the host's magenta.
        return IdleUntil([&] { return (Pixel(rect->right - 2, rect->bottom - 2) & 0xFFFFFF) != 0xFF00FF; });
    }
    void Idle() { Dispatch(effEditIdle); }
    template <class Pred>
    bool IdleUntil(Pred pred, int ms = 3000)
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        for (;;) {
            Idle();
            XSync(dpy, False);
            if (pred()) return true;
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    // The longest effEditIdle call of the last WhileIdling.
    std::chrono::milliseconds longestIdle{0};
    // Runs script on its own thread while this one keeps the editor idling.
    void WhileIdling(const std::function<void(ScriptInput&)>& script)
    {
        longestIdle = std::chrono::milliseconds(0);
        std::atomic<bool> done{false};
        std::thread t([&] {
            ScriptInput in;
            if (in.d) {
                script(in);
                // A menu or dialog the script left open would hold this
                // thread's idle call for ever: Escape closes it (the test
                // then fails on what it checks instead of hanging).
                XWindowAttributes a;
                for (int i = 0; i < 10 && (in.FindTopLevel(win, true, a, 100) || in.FindTopLevel(win, false, a, 100)); ++i)
                    in.Key(XK_Escape);
            }
            done = true;
        });
        while (!done) {
            const auto start = std::chrono::steady_clock::now();
            Idle();
            longestIdle = std::max(longestIdle, std::chrono::duration_cast<std::chrono::milliseconds>(
                                                    std::chrono::steady_clock::now() - start));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        t.join();
        Settle();
    }
    void IdleFor(int ms)
    {
        IdleUntil([] { return false; }, ms);
    }
    // The server has handled our requests (and sent the panel its events)
    // before the panel idles over them.
    void Settle() { XSync(dpy, False), IdleFor(60); }

    // Input at a point of the panel.
    void MoveTo(int x, int y) { XTestFakeMotionEvent(dpy, DefaultScreen(dpy), kX + x, kY + y, 0), XSync(dpy, False), Settle(); }
    void Button(bool down) { XTestFakeButtonEvent(dpy, 1, down, 0), XSync(dpy, False), Settle(); }
    void Click(int x, int y) { MoveTo(x, y), Button(true), Button(false); }
    // Two presses in quick succession (the server's time stamps decide).
    void DoubleClick(int x, int y)
    {
        MoveTo(x, y);
        for (int i = 0; i < 4; ++i) XTestFakeButtonEvent(dpy, 1, i % 2 == 0, 0);
        XSync(dpy, False), Settle();
    }
    // Wheel notches at the pointer: up (away from the user) or down.
    void Wheel(int notches)
    {
        const unsigned button = notches > 0 ? 4 : 5;
        for (int i = 0; i < std::abs(notches); ++i)
            XTestFakeButtonEvent(dpy, button, True, 0), XTestFakeButtonEvent(dpy, button, False, 0), XSync(dpy, False), Settle();
    }
    void Key(KeySym sym, bool down) { XTestFakeKeyEvent(dpy, XKeysymToKeycode(dpy, sym), down, 0), XSync(dpy, False), Settle(); }
    void Type(KeySym sym) { Key(sym, true), Key(sym, false); }

    // The colours (0xRRGGBB) the server shows in a region of the panel.
    std::vector<uint32_t> Region(int x, int y, int w, int h)
    {
        std::vector<uint32_t> out;
        XImage* img = XGetImage(dpy, win, x, y, w, h, AllPlanes, ZPixmap);
        if (!img) return out;
        for (int j = 0; j < h; ++j)
            for (int i = 0; i < w; ++i) out.push_back(XGetPixel(img, i, j) & 0xFFFFFF);
        XDestroyImage(img);
        return out;
    }
    uint32_t Pixel(int x, int y)
    {
        const std::vector<uint32_t> p = Region(x, y, 1, 1);
        return p.empty() ? 0xDEADBEEF : p[0];
    }

    std::vector<char> Bank()
    {
        void* data = nullptr;
        const VstIntPtr n = Dispatch(effGetChunk, 0, 0, &data);
        return n > 0 && data ? std::vector<char>(static_cast<char*>(data), static_cast<char*>(data) + n) : std::vector<char>();
    }
    float Get(int index) { return fx->getParameter(fx, index); }
    void Set(int index, float v) { fx->setParameter(fx, index, v); }
    std::string Shown(int index)
    {
        char text[64] = {};
        Dispatch(effGetParamDisplay, index, 0, text);
        return text;
    }
    void Process(float level, int blocks = 1)
    {
        std::vector<float> l(256, level), r(256, level);
        float* io[2] = {l.data(), r.data()};
        for (int i = 0; i < blocks; ++i) fx->processReplacing(fx, io, io, 256);
    }

    // A host's audio thread: blocks at level every periodMs until destroyed.
    struct AudioThread {
        std::atomic<bool> stop{false};
        std::thread t;
        AudioThread(PanelHost* host, float level, int periodMs)
            : t([this, host, level, periodMs] {
                  while (!stop) {
                      host->Process(level);
                      std::this_thread::sleep_for(std::chrono::milliseconds(periodMs));
                  }
              })
        {
        }
        ~AudioThread() { Stop(); }
        void Stop()
        {
            stop = true;
            if (t.joinable()) t.join();
        }
    };
};
