#pragma once
// The fixture of the tests under X: the test's own connection plays the host
// and makes the parent window the layer adopts; XTest moves the one pointer
// and keyboard of the server.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

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
};
