// winapi-demo: a window tree inside a parent window made as a host would: a
// gradient, text and a bitmap that a 30 ms timer bounces beside a level bar.
//   winapi-demo                     run until the window is closed (or 10 s)
//   winapi-demo --seconds N         run for N seconds
//   winapi-demo --screenshot F.png  run briefly, then save what the parent shows
#include <cmath>
#include <cstdio>

#include "CDC.h"
#include "CWnd.h"
#include "demo_host.h"

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

}  // namespace

int main(int argc, char** argv)
{
    DemoHost host;
    if (int status = host.Parse(argc, argv, 10, 1.2)) return status;
    if (!host.Open("winapi-demo", 0, 0, kWidth, kHeight)) return 77;  // "skipped" for CTest

    CWinApp app("winapi-demo");
    CWnd frame;
    if (!frame.AdoptHostWindow(reinterpret_cast<void*>(host.parent))) {
        std::fprintf(stderr, "winapi-demo: cannot adopt the parent window\n");
        return 1;
    }
    auto* panel = new CDemoPanel;
    panel->Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, kWidth, kHeight), &frame, 1);

    // The host's idle loop: pump the layer about every 16 ms.
    while (host.Running()) AfxPumpMessages(16);
    int status = 0;
    if (host.shot) {
        XSync(host.dpy, False);
        cairo_surface_t* s = host.Grab(host.parent, 0, 0, kWidth, kHeight);
        if (s && cairo_surface_write_to_png(s, host.shot) == CAIRO_STATUS_SUCCESS) {
            std::printf("wrote %s (%d timer ticks)\n", host.shot, panel->ticks);
        } else {
            std::fprintf(stderr, "winapi-demo: cannot write %s\n", host.shot);
            status = 1;
        }
        cairo_surface_destroy(s);
    }
    panel->DestroyWindow();
    delete panel;
    return status;
}
