#pragma once
// Basic Windows-style types, geometry and message numbers shared by the
// window and drawing layer. Kept free of any platform header so that code
// above the layer reads as Windows code and compiles without X11 headers.
#include <cstdint>

#include "WinStrTypes.h"

typedef uintptr_t UINT_PTR;
typedef intptr_t INT_PTR;
typedef uint64_t WPARAM;
typedef int64_t LPARAM;
typedef int64_t LRESULT;
typedef uint32_t COLORREF;

// Opaque handles. A window handle is the platform view that backs the
// window object; the others are values the layer hands back and takes again.
struct HWND__;
typedef HWND__* HWND;
struct HCURSOR__;
typedef HCURSOR__* HCURSOR;
struct HICON__;
typedef HICON__* HICON;
struct HBRUSH__;
typedef HBRUSH__* HBRUSH;
struct HMENU__;
typedef HMENU__* HMENU;
typedef void* HGDIOBJ;

#define RGB(r, g, b) \
    ((COLORREF)(((BYTE)(r)) | ((WORD)((BYTE)(g)) << 8) | (((DWORD)(BYTE)(b)) << 16)))
#define GetRValue(c) ((BYTE)((c) & 0xFF))
#define GetGValue(c) ((BYTE)(((c) >> 8) & 0xFF))
#define GetBValue(c) ((BYTE)(((c) >> 16) & 0xFF))

#define LOWORD(l) ((WORD)(((uint64_t)(l)) & 0xFFFF))
#define HIWORD(l) ((WORD)((((uint64_t)(l)) >> 16) & 0xFFFF))
#define MAKELONG(lo, hi) ((LONG)(((WORD)((lo) & 0xFFFF)) | (((DWORD)((WORD)((hi) & 0xFFFF))) << 16)))
#define MAKELPARAM(lo, hi) ((LPARAM)(DWORD)MAKELONG(lo, hi))
#define MAKEWPARAM(lo, hi) ((WPARAM)(DWORD)MAKELONG(lo, hi))
// Points packed into a message parameter: x low 16 bits, y high 16 bits,
// each sign-extended when unpacked.
#define GET_X_LPARAM(lp) ((int)(short)LOWORD(lp))
#define GET_Y_LPARAM(lp) ((int)(short)HIWORD(lp))

struct POINT {
    LONG x;
    LONG y;
};
struct SIZE {
    LONG cx;
    LONG cy;
};
struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};
typedef const RECT* LPCRECT;
typedef RECT* LPRECT;

class CPoint : public POINT {
public:
    CPoint() { x = 0; y = 0; }
    CPoint(int ix, int iy) { x = ix; y = iy; }
    // From a packed message parameter (x low 16, y high 16, sign-extended).
    explicit CPoint(LPARAM lp) { x = GET_X_LPARAM(lp); y = GET_Y_LPARAM(lp); }
    bool operator==(const CPoint& o) const { return x == o.x && y == o.y; }
    bool operator!=(const CPoint& o) const { return !(*this == o); }
    CPoint operator+(const CPoint& o) const { return CPoint(x + o.x, y + o.y); }
    CPoint operator-(const CPoint& o) const { return CPoint(x - o.x, y - o.y); }
    void Offset(int dx, int dy) { x += dx; y += dy; }
};

class CSize : public SIZE {
public:
    CSize() { cx = 0; cy = 0; }
    CSize(int w, int h) { cx = w; cy = h; }
    bool operator==(const CSize& o) const { return cx == o.cx && cy == o.cy; }
    bool operator!=(const CSize& o) const { return !(*this == o); }
};

class CRect : public RECT {
public:
    CRect() { left = top = right = bottom = 0; }
    CRect(int l, int t, int r, int b) { left = l; top = t; right = r; bottom = b; }
    CRect(const RECT& r) { left = r.left; top = r.top; right = r.right; bottom = r.bottom; }
    CRect(const POINT& p, const SIZE& s) { left = p.x; top = p.y; right = p.x + s.cx; bottom = p.y + s.cy; }
    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    CSize Size() const { return CSize(Width(), Height()); }
    CPoint TopLeft() const { return CPoint(left, top); }
    CPoint BottomRight() const { return CPoint(right, bottom); }
    CPoint CenterPoint() const { return CPoint((left + right) / 2, (top + bottom) / 2); }
    BOOL IsRectEmpty() const { return right <= left || bottom <= top; }
    BOOL IsRectNull() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
    BOOL PtInRect(const POINT& p) const { return p.x >= left && p.x < right && p.y >= top && p.y < bottom; }
    void SetRect(int l, int t, int r, int b) { left = l; top = t; right = r; bottom = b; }
    void SetRectEmpty() { left = top = right = bottom = 0; }
    void OffsetRect(int dx, int dy) { left += dx; right += dx; top += dy; bottom += dy; }
    void InflateRect(int dx, int dy) { left -= dx; right += dx; top -= dy; bottom += dy; }
    void DeflateRect(int dx, int dy) { InflateRect(-dx, -dy); }
    void NormalizeRect()
    {
        if (left > right) { LONG t = left; left = right; right = t; }
        if (top > bottom) { LONG t = top; top = bottom; bottom = t; }
    }
    // Intersection; an empty result becomes (0,0,0,0) as on Win32.
    BOOL IntersectRect(const RECT& a, const RECT& b)
    {
        left = a.left > b.left ? a.left : b.left;
        top = a.top > b.top ? a.top : b.top;
        right = a.right < b.right ? a.right : b.right;
        bottom = a.bottom < b.bottom ? a.bottom : b.bottom;
        if (IsRectEmpty()) { SetRectEmpty(); return FALSE; }
        return TRUE;
    }
    BOOL UnionRect(const RECT& a, const RECT& b)
    {
        CRect ra(a), rb(b);
        if (ra.IsRectEmpty()) { *this = rb; return !rb.IsRectEmpty(); }
        if (rb.IsRectEmpty()) { *this = ra; return TRUE; }
        left = a.left < b.left ? a.left : b.left;
        top = a.top < b.top ? a.top : b.top;
        right = a.right > b.right ? a.right : b.right;
        bottom = a.bottom > b.bottom ? a.bottom : b.bottom;
        return TRUE;
    }
    bool operator==(const RECT& o) const
    {
        return left == o.left && top == o.top && right == o.right && bottom == o.bottom;
    }
    bool operator!=(const RECT& o) const { return !(*this == o); }
    operator LPRECT() { return this; }
    operator LPCRECT() const { return this; }
};

// Window messages (the Windows numbers).
#define WM_NULL 0x0000
#define WM_CREATE 0x0001
#define WM_DESTROY 0x0002
#define WM_MOVE 0x0003
#define WM_SIZE 0x0005
#define WM_ACTIVATE 0x0006
#define WM_SETFOCUS 0x0007
#define WM_KILLFOCUS 0x0008
#define WM_PAINT 0x000F
#define WM_ERASEBKGND 0x0014
#define WM_SETCURSOR 0x0020
#define WM_GETMINMAXINFO 0x0024
#define WM_NOTIFY 0x004E
#define WM_KEYDOWN 0x0100
#define WM_KEYUP 0x0101
#define WM_CHAR 0x0102
#define WM_COMMAND 0x0111
#define WM_TIMER 0x0113
#define WM_HSCROLL 0x0114
#define WM_VSCROLL 0x0115
#define WM_MOUSEMOVE 0x0200
#define WM_LBUTTONDOWN 0x0201
#define WM_LBUTTONUP 0x0202
#define WM_LBUTTONDBLCLK 0x0203
#define WM_RBUTTONDOWN 0x0204
#define WM_RBUTTONUP 0x0205
#define WM_RBUTTONDBLCLK 0x0206
#define WM_MOUSEWHEEL 0x020A
#define WHEEL_DELTA 120
#define MK_SHIFT 0x0004u
#define GET_WHEEL_DELTA_WPARAM(wp) ((short)HIWORD(wp))
#define WM_USER 0x0400
#define WM_MACINTOSH 0x0402
#define WM_DEFERRED_WINDOW 0x0404

// Window styles.
#define WS_OVERLAPPED 0x00000000u
#define WS_POPUP 0x80000000u
#define WS_CHILD 0x40000000u
#define WS_VISIBLE 0x10000000u
#define WS_CLIPSIBLINGS 0x04000000u
#define WS_CLIPCHILDREN 0x02000000u
#define WS_BORDER 0x00800000u
#define WS_DLGFRAME 0x00400000u
#define WS_VSCROLL 0x00200000u
#define WS_HSCROLL 0x00100000u
#define WS_THICKFRAME 0x00040000u
#define CS_DBLCLKS 0x0008u

// Virtual keys that GetKeyState answers.
#define VK_SHIFT 0x10
#define VK_CONTROL 0x11
#define VK_MENU 0x12

// Standard cursors.
#define IDC_ARROW 32512
#define IDC_IBEAM 32513
#define IDC_NO 32514
#define IDC_CROSS 32515
#define IDC_UPARROW 32516
#define IDC_SIZENWSE 32642
#define IDC_SIZENESW 32643
#define IDC_SIZEWE 32644
#define IDC_SIZENS 32645
#define IDC_SIZEALL 32646
#define IDC_HAND 32649
#define MAKEINTRESOURCE(i) ((LPCTSTR)((UINT_PTR)((WORD)(i))))

// System metrics answered by GetSystemMetrics.
#define SM_CXSCREEN 0
#define SM_CYSCREEN 1
#define SM_CXVSCROLL 2
#define SM_CYHSCROLL 3
#define SM_CYCAPTION 4
#define SM_CXICON 11
#define SM_CYICON 12
#define SM_CYFULLSCREEN 17

// Raster operations (all draw source-over here).
#define SRCCOPY 0x00CC0020u
#define SRCINVERT 0x00660046u
#define SRCAND 0x008800C6u
#define ETO_OPAQUE 0x0002u
#define ETO_CLIPPED 0x0004u
#define TRANSPARENT 1
#define OPAQUE 2
