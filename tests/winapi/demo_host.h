#pragma once
// The "host" of the demo programs: command line (--seconds N, --screenshot
// FILE), its own display connection and a top-level window to embed into.
#include <X11/Xlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

struct DemoHost {
    Display* dpy = nullptr;
    Window parent = 0;
    Atom wmDelete = 0;
    double seconds = 10;
    const char* shot = nullptr;

    // 0 to go on, else the exit status (2: a bad command line).
    int Parse(int argc, char** argv, double defaultSeconds, double shotSeconds)
    {
        seconds = defaultSeconds;
        for (int i = 1; i < argc; ++i) {
            if (!std::strcmp(argv[i], "--seconds") && i + 1 < argc) {
                seconds = std::atof(argv[++i]);
            } else if (!std::strcmp(argv[i], "--screenshot") && i + 1 < argc) {
                shot = argv[++i];
                seconds = shotSeconds;
            } else {
                std::fprintf(stderr, "usage: %s [--seconds N] [--screenshot FILE.png]\n", argv[0]);
                return 2;
            }
        }
        return 0;
    }
    // False when there is no display (the caller exits 77, "skipped").
    bool Open(const char* title, int x, int y, int w, int h)
    {
        dpy = XOpenDisplay(nullptr);
        if (!dpy) {
            std::fprintf(stderr, "%s: cannot open the X display\n", title);
            return false;
        }
        parent = XCreateSimpleWindow(dpy, DefaultRootWindow(dpy), x, y, w, h, 0, 0, 0x303030);
        XStoreName(dpy, parent, title);
        wmDelete = XInternAtom(dpy, "WM_DELETE_WINDOW", False);
        XSetWMProtocols(dpy, parent, &wmDelete, 1);
        XMapWindow(dpy, parent);
        XSync(dpy, False);
        return true;
    }
    // Handles the host's own events; true once the window was asked to close.
    bool Closed()
    {
        bool closed = false;
        while (XPending(dpy)) {
            XEvent ev;
            XNextEvent(dpy, &ev);
            if (ev.type == ClientMessage && (Atom)ev.xclient.data.l[0] == wmDelete) closed = true;
        }
        return closed;
    }
    ~DemoHost()
    {
        if (!dpy) return;
        XDestroyWindow(dpy, parent);
        XCloseDisplay(dpy);
    }
};
