// winapi-demo: a window tree written against the Windows-style layer, shown
// inside a parent window that this program creates the way a host would.
// A panel paints a gradient, text in two fonts and a bitmap; a 30 ms timer
// bounces the bitmap and drives a level bar in a child window.
//
//   winapi-demo                     run until the window is closed (or 10 s)
//   winapi-demo --seconds N         run for N seconds
//   winapi-demo --screenshot F.png  run briefly, then save what the parent shows
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <cairo.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "CDC.h"
#include "CWnd.h"

namespace {

constexpr int kWidth = 420, kHeight = 200;

class CMeterWnd : public CWnd {
public:
    double level = 0;
    afx_msg void OnPaint()
    {
        CPaintDC dc(this);
        CRect r;
        GetClientRect(&r);
        dc.FillSolidRect(r, RGB(20, 20, 24));
        int lit = (int)(level * (r.Height() - 4));
        for (int y = 0; y < lit; y += 4) {
            int yy = r.bottom - 2 - y - 3;
            COLORREF c = y > (r.Height() * 3) / 4 ? RGB(255, 60, 40) : RGB(60, 220, 90);
            dc.FillSolidRect(2, yy, r.Width() - 4, 3, c);
        }
    }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CMeterWnd, CWnd)
    ON_WM_PAINT()
END_MESSAGE_MAP()

class CDemoPanel : public CWnd {
public:
    CBitmap ball;
    CFont title, body;
    CMeterWnd meter;
    int ticks = 0;
    double bx = 40, by = 90, vx = 3.2, vy = -2.4;

    afx_msg int OnCreate(LPCREATESTRUCT cs)
    {
        if (CWnd::OnCreate(cs) == -1) return -1;
        ball.LoadBitmap(9002u);
        title.CreatePointFont(18, "Osaka");
        body.CreatePointFont(12, "Osaka");
        meter.Create(nullptr, "meter", WS_CHILD | WS_VISIBLE, CRect(kWidth - 40, 20, kWidth - 16, kHeight - 20), this,
                     2);
        SetTimer(1024, 30);
        return 0;
    }
    afx_msg void OnTimer(UINT)
    {
        ++ticks;
        bx += vx;
        by += vy;
        if (bx < 0 || bx > kWidth - 100) vx = -vx;
        if (by < 70 || by > kHeight - 50) vy = -vy;
        meter.level = 0.5 + 0.45 * std::sin(ticks * 0.15);
        meter.Invalidate();
        Invalidate();
    }
    afx_msg void OnPaint()
    {
        CPaintDC paint(this);
        CRect r;
        GetClientRect(&r);
        // Compose off screen, then copy: the usual pattern of the editor.
        CDC off;
        off.CreateBitmapDC(r.Width(), r.Height());
        for (int y = 0; y < r.Height(); y += 2)
            off.FillSolidRect(0, y, r.Width(), 2, RGB(30 + y / 4, 40 + y / 3, 70 + y / 2));
        off.SetTextColor(RGB(255, 255, 255));
        off.SelectObject(&title);
        off.ExtTextOut(16, 12, 0, nullptr, "GraphicEQ window layer", 0, nullptr);
        off.SelectObject(&body);
        off.SetTextColor(RGB(220, 230, 255));
        char line[96];
        std::snprintf(line, sizeof line, "X11 + Cairo + Pango  \xe3\x83\x97\xe3\x83\xad\xe3\x82\xb0\xe3\x83\xa9\xe3\x83\xa0 %d", ticks);
        off.ExtTextOut(16, 40, 0, nullptr, line, 0, nullptr);
        CDC mem;
        mem.CreateCompatibleDC(&off);
        CBitmap* old = mem.SelectObject(&ball);
        off.BitBlt((int)bx, (int)by, 48, 48, &mem, 0, 0, SRCCOPY);
        mem.SelectObject(old);
        paint.BitBlt(0, 0, r.Width(), r.Height(), &off, 0, 0, SRCCOPY);
    }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CDemoPanel, CWnd)
    ON_WM_CREATE()
    ON_WM_TIMER()
    ON_WM_PAINT()
END_MESSAGE_MAP()

bool SavePng(Display* d, Window w, const char* path)
{
    XWindowAttributes a;
    if (!XGetWindowAttributes(d, w, &a)) return false;
    XImage* img = XGetImage(d, w, 0, 0, a.width, a.height, AllPlanes, ZPixmap);
    if (!img) return false;
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, a.width, a.height);
    unsigned char* data = cairo_image_surface_get_data(s);
    int stride = cairo_image_surface_get_stride(s);
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x)
            reinterpret_cast<uint32_t*>(data + y * stride)[x] = (uint32_t)(XGetPixel(img, x, y) & 0xFFFFFF);
    cairo_surface_mark_dirty(s);
    bool ok = cairo_surface_write_to_png(s, path) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(s);
    XDestroyImage(img);
    return ok;
}

}  // namespace

int main(int argc, char** argv)
{
    double seconds = 10;
    const char* shot = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--seconds") && i + 1 < argc) {
            seconds = std::atof(argv[++i]);
        } else if (!std::strcmp(argv[i], "--screenshot") && i + 1 < argc) {
            shot = argv[++i];
            seconds = 1.2;
        } else {
            std::fprintf(stderr, "usage: %s [--seconds N] [--screenshot FILE.png]\n", argv[0]);
            return 2;
        }
    }
    // The "host": its own connection and a top-level window to embed into.
    Display* host = XOpenDisplay(nullptr);
    if (!host) {
        std::fprintf(stderr, "winapi-demo: cannot open the X display\n");
        return 77;  // "skipped" for CTest
    }
    Window parent = XCreateSimpleWindow(host, DefaultRootWindow(host), 0, 0, kWidth, kHeight, 0, 0, 0x303030);
    XStoreName(host, parent, "winapi-demo");
    Atom wmDelete = XInternAtom(host, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(host, parent, &wmDelete, 1);
    XMapWindow(host, parent);
    XSync(host, False);

    CWinApp app("winapi-demo");
    CWnd frame;
    if (!frame.AdoptHostWindow(reinterpret_cast<void*>(parent))) {
        std::fprintf(stderr, "winapi-demo: cannot adopt the parent window\n");
        return 1;
    }
    auto* panel = new CDemoPanel;
    panel->Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, kWidth, kHeight), &frame, 1);

    // The host's idle loop: pump the layer about every 16 ms.
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds((int)(seconds * 1000));
    bool closed = false;
    while (!closed && std::chrono::steady_clock::now() < end) {
        AfxPumpMessages(16);
        while (XPending(host)) {
            XEvent ev;
            XNextEvent(host, &ev);
            if (ev.type == ClientMessage && (Atom)ev.xclient.data.l[0] == wmDelete) closed = true;
        }
    }
    int status = 0;
    if (shot) {
        XSync(host, False);
        if (SavePng(host, parent, shot)) {
            std::printf("wrote %s (%d timer ticks)\n", shot, panel->ticks);
        } else {
            std::fprintf(stderr, "winapi-demo: cannot write %s\n", shot);
            status = 1;
        }
    }
    panel->DestroyWindow();
    delete panel;
    XDestroyWindow(host, parent);
    XCloseDisplay(host);
    return status;
}
