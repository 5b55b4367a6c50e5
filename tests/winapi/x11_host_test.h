#pragma once
// The fixture of the tests under X: the test's own connection plays the host
// and makes the parent window the layer adopts; XTest moves the one pointer
// and keyboard of the server. Every fake input is followed by XSync, so the
// server has handled it before the test pumps (a loaded machine may be slow).
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "CWnd.h"
#include "test_support.h"
#include "x11/X11Bridge.h"

inline Window XId(const CWnd& w) { return (Window)x11::WindowId(reinterpret_cast<x11::View*>(w.m_hWnd)); }

class X11HostTest : public ::testing::Test {
protected:
    Display* dpy = nullptr;
    Window parent = 0;
    static constexpr int kParentX = 50, kParentY = 60;

    void SetUp() override
    {
        // A loaded server may refuse a connection for a moment (EAGAIN).
        for (int i = 0; i < 20 && !dpy && getenv("DISPLAY"); ++i)
            if (!(dpy = XOpenDisplay(nullptr))) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (!dpy) GTEST_SKIP() << "no X display (set DISPLAY or run scripts/test.sh)";
        int ev, err, major, minor;
        if (!XTestQueryExtension(dpy, &ev, &err, &major, &minor)) GTEST_SKIP() << "no XTest extension";
        XSetWindowAttributes a;
        a.background_pixel = 0x404040;
        a.override_redirect = True;  // placed exactly where asked, window manager or not
        parent = XCreateWindow(dpy, DefaultRootWindow(dpy), kParentX, kParentY, 400, 300, 0, CopyFromParent,
                               InputOutput, CopyFromParent, CWBackPixel | CWOverrideRedirect, &a);
        XMapRaised(dpy, parent);
        XSync(dpy, False);
    }
    void TearDown() override
    {
        if (!dpy) return;
        if (parent) XDestroyWindow(dpy, parent);
        XCloseDisplay(dpy);
    }

    // The pointer to (x, y) inside w, as the server places w.
    void MoveTo(Window w, int x, int y)
    {
        int rx = 0, ry = 0;
        Window child;
        XTranslateCoordinates(dpy, w, DefaultRootWindow(dpy), x, y, &rx, &ry, &child);
        XTestFakeMotionEvent(dpy, DefaultScreen(dpy), rx, ry, 0);
        XSync(dpy, False);
    }
    void MoveTo(const CWnd& w, int x, int y) { MoveTo(XId(w), x, y); }
    void Button(bool down, unsigned button = 1)
    {
        XTestFakeButtonEvent(dpy, button, down, 0);
        XSync(dpy, False);
    }
    void Click(const CWnd& w, int x, int y)
    {
        MoveTo(w, x, y);
        Button(true);
        Button(false);
    }
    void Key(KeySym sym, bool down)
    {
        XTestFakeKeyEvent(dpy, XKeysymToKeycode(dpy, sym), down, 0);
        XSync(dpy, False);
    }
    // Keys as text; <NAME> is a key by its keysym name (Return, KP_Enter,
    // Escape, Left, Home, BackSpace, Delete, Down, ...); ^x is Control+x.
    void Type(const std::string& keys)
    {
        for (size_t i = 0; i < keys.size(); ++i) {
            KeySym sym;
            bool shift = false;
            bool control = keys[i] == '^';
            if (control) ++i;
            if (keys[i] == '<') {
                size_t end = keys.find('>', i);
                sym = XStringToKeysym(keys.substr(i + 1, end - i - 1).c_str());
                i = end;
            } else {
                char name[2] = {keys[i], 0};
                sym = keys[i] == '-' ? XK_minus : keys[i] == '.' ? XK_period : XStringToKeysym(name);
                shift = keys[i] >= 'A' && keys[i] <= 'Z';
            }
            KeySym held = shift ? XK_Shift_L : control ? XK_Control_L : NoSymbol;
            if (held) Key(held, true);
            Key(sym, true);
            Key(sym, false);
            if (held) Key(held, false);
        }
    }
    // Typed and then handled.
    void TypeAndPump(const std::string& keys)
    {
        Type(keys);
        PumpFor(60);
    }
    // The colour of a point of a window as the server shows it.
    unsigned long ScreenPixel(Window w, int x, int y)
    {
        XImage* img = XGetImage(dpy, w, x, y, 1, 1, AllPlanes, ZPixmap);
        if (!img) return 0xDEADBEEF;
        unsigned long p = XGetPixel(img, 0, 0) & 0xFFFFFF;
        XDestroyImage(img);
        return p;
    }
    int ChildCount(Window w)
    {
        Window root, par, *kids = nullptr;
        unsigned n = 0;
        if (!XQueryTree(dpy, w, &root, &par, &kids, &n)) return -1;
        if (kids) XFree(kids);
        return (int)n;
    }
};
