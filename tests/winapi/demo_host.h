#pragma once
// The "host" of the demo programs: command line (--seconds N, --screenshot
// FILE), its own display connection and a top-level window to embed into.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <cairo.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

struct DemoHost {
    Display* dpy = nullptr;
    Window parent = 0;
    Atom wmDelete = 0;
    double seconds = 10;
    const char* shot = nullptr;
    std::chrono::steady_clock::time_point end;

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
        end = std::chrono::steady_clock::now() + std::chrono::milliseconds((int)(seconds * 1000));
        return true;
    }
    // What the server shows of w in the rectangle (null if it shows nothing).
    cairo_surface_t* Grab(Window w, int x, int y, int width, int height)
    {
        XImage* img = XGetImage(dpy, w, x, y, (unsigned)width, (unsigned)height, AllPlanes, ZPixmap);
        if (!img) return nullptr;
        cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
        unsigned char* data = cairo_image_surface_get_data(s);
        int stride = cairo_image_surface_get_stride(s);
        for (int yy = 0; yy < height; ++yy)
            for (int xx = 0; xx < width; ++xx)
                reinterpret_cast<uint32_t*>(data + yy * stride)[xx] = (uint32_t)(XGetPixel(img, xx, yy) & 0xFFFFFF);
        cairo_surface_mark_dirty(s);
        XDestroyImage(img);
        return s;
    }
    // Handles the host's own events; false once the window was asked to
    // close or the time is up.
    bool Running()
    {
        bool closed = std::chrono::steady_clock::now() >= end;
        while (XPending(dpy)) {
            XEvent ev;
            XNextEvent(dpy, &ev);
            if (ev.type == ClientMessage && (Atom)ev.xclient.data.l[0] == wmDelete) closed = true;
        }
        return !closed;
    }
    ~DemoHost()
    {
        if (!dpy) return;
        XDestroyWindow(dpy, parent);
        XCloseDisplay(dpy);
    }
};
