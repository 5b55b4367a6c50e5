// Device contexts, bitmaps and fonts over Cairo and Pango.
#include "CDC.h"

#include <cairo-ft.h>
#include <cairo.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "CWnd.h"
#include "WinResources.h"
#include "PlatformBridge.h"
#include "Trace.h"

namespace {

std::map<HGDIOBJ, CGdiObject*> g_handleMap;

// The "1" of SelectObject: "nothing was selected".
template <class T>
T* NoneSelected()
{
    return reinterpret_cast<T*>((uintptr_t)1);
}
// A text pointer whose bits above the low 16 are all zero (and not null) is a
// string resource number, as the string class reads it.
bool IsResourceNumber(const char* p) { return p && (reinterpret_cast<uintptr_t>(p) >> 16) == 0; }

template <class T>
bool IsReal(T* p)
{
    return p && reinterpret_cast<uintptr_t>(p) != 1;
}

void SetColour(cairo_t* cr, COLORREF c)
{
    cairo_set_source_rgb(cr, (c & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, ((c >> 16) & 0xFF) / 255.0);
}

// Faces of the original platform that are not installed here are asked for
// together with Japanese-capable fallbacks, so program names in Japanese
// render with a face that has the glyphs and consistent metrics.
std::string FamilyList(const char* face)
{
    std::string f = face && *face ? face : "Helvetica";
    if (f == "Osaka") f += ",IPAPGothic,IPAGothic,Noto Sans CJK JP";
    return f + ",sans-serif";
}

PangoFontDescription* MakeDescription(const char* face, int points)
{
    PangoFontDescription* d = pango_font_description_new();
    pango_font_description_set_family(d, FamilyList(face).c_str());
    // 72 dpi: one point is one pixel.
    pango_font_description_set_absolute_size(d, (double)points * PANGO_SCALE);
    return d;
}

PangoContext* MeasuringContext()
{
    // One per user-interface thread would be tidier; the layer only ever
    // measures on that thread, so one shared context is enough.
    static PangoContext* ctx = nullptr;
    if (!ctx) {
        ctx = pango_font_map_create_context(pango_cairo_font_map_get_default());
        pango_cairo_context_set_resolution(ctx, 72.0);
    }
    return ctx;
}

// Ascent and bounding-box height of a face at `points`, in pixels, computed
// in single precision from the face's design units. False when no face loads.
bool FaceMetrics(const PangoFontDescription* desc, int points, float& ascent, float& height)
{
    PangoFont* font = pango_font_map_load_font(pango_cairo_font_map_get_default(), MeasuringContext(), desc);
    if (!font) return false;
    bool ok = false;
    cairo_scaled_font_t* sf = pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(font));
    if (sf && cairo_scaled_font_get_type(sf) == CAIRO_FONT_TYPE_FT) {
        FT_Face face = cairo_ft_scaled_font_lock_face(sf);
        if (face && face->units_per_EM > 0) {
            float upem = (float)face->units_per_EM;
            ascent = (float)face->ascender / upem * (float)points;
            height = (float)(face->bbox.yMax - face->bbox.yMin) / upem * (float)points;
            ok = true;
        }
        if (face) cairo_ft_scaled_font_unlock_face(sf);
    }
    if (!ok) {
        PangoFontMetrics* m = pango_font_get_metrics(font, nullptr);
        ascent = (float)pango_font_metrics_get_ascent(m) / PANGO_SCALE;
        height = (float)(pango_font_metrics_get_ascent(m) + pango_font_metrics_get_descent(m)) / PANGO_SCALE;
        pango_font_metrics_unref(m);
        ok = true;
    }
    g_object_unref(font);
    return ok;
}

const PangoFontDescription* DefaultDescription()
{
    static PangoFontDescription* d = MakeDescription("Helvetica", 12);
    return d;
}

int DefaultAscent()
{
    static int ascent = [] {
        float a = 0, h = 0;
        return FaceMetrics(DefaultDescription(), 12, a, h) ? (int)a : 12;
    }();
    return ascent;
}

PangoLayout* MakeLayout(cairo_t* cr, const CFont* font, const char* text, int length)
{
    PangoLayout* layout = pango_cairo_create_layout(cr);
    pango_cairo_context_set_resolution(pango_layout_get_context(layout), 72.0);
    pango_layout_context_changed(layout);
    const PangoFontDescription* desc =
        font && font->m_hObject ? static_cast<const PangoFontDescription*>(font->m_hObject) : DefaultDescription();
    pango_layout_set_font_description(layout, desc);
    if (g_utf8_validate(text, length, nullptr)) {
        pango_layout_set_text(layout, text, length);
    } else {
        gchar* valid = g_utf8_make_valid(text, length);  // bad bytes become U+FFFD
        pango_layout_set_text(layout, valid, -1);
        g_free(valid);
    }
    return layout;
}

cairo_t* ScratchContext()
{
    static cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
    static cairo_t* cr = cairo_create(s);
    return cr;
}

// Draws the part (sx, sy, sw, sh) of img into (dx, dy, dw, dh), scaled, with
// source-over. As with the original platform's image cut, a part that leaves
// the image is first reduced to the part inside it, and that part fills the
// whole destination; a part entirely outside draws nothing.
void DrawImage(cairo_t* cr, cairo_surface_t* img, double dx, double dy, double dw, double dh, int sx, int sy,
               int sw, int sh)
{
    if (!img || dw <= 0 || dh <= 0) return;
    int iw = cairo_image_surface_get_width(img), ih = cairo_image_surface_get_height(img);
    int cx = 0, cy = 0, cw = iw, ch = ih;
    if (!(iw == sw && ih == sh && sx == 0 && sy == 0)) {
        cx = std::max(sx, 0);
        cy = std::max(sy, 0);
        int r = std::min(sx + sw, iw), b = std::min(sy + sh, ih);
        cw = r - cx;
        ch = b - cy;
        if (sw <= 0 || sh <= 0 || cw <= 0 || ch <= 0) return;
    }
    cairo_save(cr);
    cairo_rectangle(cr, dx, dy, dw, dh);
    cairo_clip(cr);
    cairo_translate(cr, dx, dy);
    cairo_scale(cr, dw / cw, dh / ch);
    cairo_set_source_surface(cr, img, -cx, -cy);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
    cairo_paint(cr);
    cairo_restore(cr);
}

struct PngReader {
    const unsigned char* data;
    unsigned size;
    unsigned pos;
};

cairo_status_t ReadPng(void* closure, unsigned char* out, unsigned int length)
{
    auto* r = static_cast<PngReader*>(closure);
    if (length > r->size - r->pos) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(out, r->data + r->pos, length);
    r->pos += length;
    return CAIRO_STATUS_SUCCESS;
}

const WinResource* FindBitmap(int id)
{
    for (unsigned i = 0; i < g_winBitmapResourceCount; ++i)
        if (g_winBitmapResources[i].id == id) return &g_winBitmapResources[i];
    return nullptr;
}

cairo_surface_t* DecodePng(const WinResource* res)
{
    PngReader r{res->data, res->size, 0};
    cairo_surface_t* s = cairo_image_surface_create_from_png_stream(ReadPng, &r);
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return nullptr;
    }
    return s;
}

}  // namespace

// --- graphics objects ----------------------------------------------------------

CGdiObject::~CGdiObject() { Detach(); }

BOOL CGdiObject::Attach(HGDIOBJ hObject)
{
    if (!hObject) return FALSE;
    m_hObject = hObject;
    g_handleMap[hObject] = this;
    return TRUE;
}

HGDIOBJ CGdiObject::Detach()
{
    HGDIOBJ h = m_hObject;
    if (h) {
        auto it = g_handleMap.find(h);
        if (it != g_handleMap.end() && it->second == this) g_handleMap.erase(it);
    }
    m_hObject = nullptr;
    return h;
}

CGdiObject* CGdiObject::FromHandle(HGDIOBJ hObject)
{
    auto it = g_handleMap.find(hObject);
    return it == g_handleMap.end() ? nullptr : it->second;
}

BOOL CGdiObject::DeleteObject() { return Detach() != nullptr; }

CBitmap::~CBitmap() { DeleteObject(); }

BOOL CBitmap::DeleteObject()
{
    auto* img = static_cast<cairo_surface_t*>(Detach());
    if (!img) return FALSE;
    cairo_surface_destroy(img);
    return TRUE;
}

BOOL CBitmap::LoadBitmap(UINT nIDResource) { return Attach(::LoadBitmap(nIDResource)); }

BOOL CBitmap::LoadBitmap(LPCTSTR lpszResourceName)
{
    int id = (int)((uintptr_t)lpszResourceName & 0xFFFF);
    return Attach(LoadBitmap0(id, "com.graphiceq.plugin"));
}

CSize CBitmap::GetSize() const
{
    int w = 0, h = 0, row = 0;
    GetBitmapSize0(m_hObject, &w, &h, &row);
    return CSize(w, h);
}

CFont::~CFont() { DeleteObject(); }

BOOL CFont::DeleteObject()
{
    auto* d = static_cast<PangoFontDescription*>(Detach());
    if (!d) return FALSE;
    pango_font_description_free(d);
    return TRUE;
}

BOOL CFont::CreatePointFont(int nPointSize, LPCTSTR lpszFaceName, CDC*)
{
    DeleteObject();
    m_nPointSize = nPointSize;
    // The string object reads null as empty and a small number as a string
    // resource, so neither is ever read as an address.
    const CString faceName(lpszFaceName);
    const char* face = faceName;
    PangoFontDescription* desc = MakeDescription(face, nPointSize);
    float ascent = 0, height = 0;
    if (!FaceMetrics(desc, nPointSize, ascent, height)) {
        AfxTrace("CGFontCreateWithFontName error(%s)\n", face);
        pango_font_description_free(desc);
        return TRUE;
    }
    m_nHeight = (int)height;
    m_nAscent = (int)(ascent - 2.0f);  // two pixels less, as the panel layout expects
    m_strFaceName = faceName;
    Attach(desc);
    return TRUE;
}

HGDIOBJ GetStockObject(int) { return nullptr; }

// --- bitmap loaders ------------------------------------------------------------------

void* LoadBitmap0(int id, LPCTSTR)
{
    const WinResource* res = FindBitmap(id);
    return res ? DecodePng(res) : nullptr;
}

void GetBitmapSize0(void* image, int* width, int* height, int* rowBytes)
{
    auto* s = static_cast<cairo_surface_t*>(image);
    int w = s ? cairo_image_surface_get_width(s) : 0;
    int h = s ? cairo_image_surface_get_height(s) : 0;
    if (width) *width = w;
    if (height) *height = h;
    if (rowBytes) *rowBytes = w * 4;
}

void* LoadBitmap(UINT id)
{
    const WinResource* res = FindBitmap((int)id);
    if (!res) {
        fprintf(stderr, "%u.png\n", id);
        return nullptr;
    }
    cairo_surface_t* s = DecodePng(res);
    if (!s) fprintf(stderr, "Can't load bitmap %u;G\n", id);
    return s;
}

// --- CDC ------------------------------------------------------------------------------

CDC::CDC() = default;

CDC::~CDC()
{
    if (m_pOwnedContext) cairo_destroy(m_pOwnedContext);
    if (m_pOwnedSurface) cairo_surface_destroy(m_pOwnedSurface);
}

BOOL CDC::CreateBitmapDC(int width, int height)
{
    m_rcClient = CRect(0, 0, width, height);
    m_nWidth = width;
    m_nHeight = height;
    if (width <= 0 || height <= 0) return FALSE;
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return FALSE;
    }
    if (m_pOwnedContext) cairo_destroy(m_pOwnedContext);
    if (m_pOwnedSurface) cairo_surface_destroy(m_pOwnedSurface);
    m_pOwnedSurface = s;
    m_pOwnedContext = cairo_create(s);
    return TRUE;
}

BOOL CDC::CreateDC(LPCTSTR, LPCTSTR, LPCTSTR, const void*)
{
    // The layer's shared services (and with them a screen to measure for)
    // exist once the application object does.
    if (AfxGetApp() && !m_pOwnedContext) {
        int w = m_nWidth, h = m_nHeight;
        CRect rc = m_rcClient;
        CreateBitmapDC(1024, 1024);
        m_nWidth = w;
        m_nHeight = h;
        m_rcClient = rc;
    }
    return TRUE;
}

BOOL CDC::CreateCompatibleDC(CDC* pDC)
{
    if (pDC) {
        m_nTextHeight = pDC->m_nTextHeight;
        m_nTextAscent = pDC->m_nTextAscent;
    }
    return TRUE;
}

CBitmap* CDC::SelectObject(CBitmap* pBitmap)
{
    CBitmap* old = m_pSelectedBitmap ? m_pSelectedBitmap : NoneSelected<CBitmap>();
    m_pSelectedBitmap = IsReal(pBitmap) ? pBitmap : nullptr;
    return old;
}

CFont* CDC::SelectObject(CFont* pFont)
{
    CFont* old = m_pSelectedFont ? m_pSelectedFont : NoneSelected<CFont>();
    if (IsReal(pFont)) {
        m_pSelectedFont = pFont;
        m_hFont = pFont->m_hObject;
        m_nTextHeight = pFont->m_nHeight;
        m_nTextAscent = pFont->m_nAscent;
        if (m_pWnd) m_pWnd->m_hFont = m_hFont;
    } else {
        m_pSelectedFont = nullptr;
        m_hFont = m_defaultFont.m_hObject;
    }
    return old;
}

COLORREF CDC::SetTextColor(COLORREF c)
{
    COLORREF old = m_crText;
    m_crText = c;
    return old;
}

COLORREF CDC::SetBkColor(COLORREF c)
{
    COLORREF old = m_crBk;
    m_crBk = c;
    return old;
}

int CDC::SetBkMode(int mode)
{
    int old = m_nBkMode;
    m_nBkMode = mode;
    return old;
}

void CDC::NoteDrawn(double x, double y, double w, double h)
{
    if (!m_pAttached || w <= 0 || h <= 0) return;
    CRect r((int)std::floor(x), (int)std::floor(y), (int)std::ceil(x + w), (int)std::ceil(y + h));
    // Rectangles that overlap or touch become one; far apart ones stay
    // apart (the two meter pairs), up to a handful.
    for (CRect& d : m_drawn)
        if (r.left <= d.right && d.left <= r.right && r.top <= d.bottom && d.top <= r.bottom) {
            d.UnionRect(CRect(d), r);
            return;
        }
    if (m_drawn.size() < 8) {
        m_drawn.push_back(r);
        return;
    }
    for (const CRect& d : m_drawn) r.UnionRect(CRect(r), d);
    m_drawn.assign(1, r);
}

BOOL CDC::BitBlt(int x, int y, int nWidth, int nHeight, CDC* pSrcDC, int xSrc, int ySrc, DWORD)
{
    // The raster operation is not consulted: every one draws source-over.
    if (m_pSelectedBitmap) return TRUE;  // a memory DC is never a destination
    cairo_t* cr = Context();
    if (!cr || !pSrcDC) return TRUE;

    cairo_surface_t* img = nullptr;
    bool copy = false;
    if (pSrcDC->m_pSelectedBitmap && pSrcDC->m_pSelectedBitmap->GetImage()) {
        img = pSrcDC->m_pSelectedBitmap->GetImage();
    } else if (pSrcDC->m_pOwnedSurface) {
        cairo_surface_flush(pSrcDC->m_pOwnedSurface);
        img = pSrcDC->m_pOwnedSurface;
        if (pSrcDC == this) {
            // Drawing a context into itself works from a snapshot.
            int w = cairo_image_surface_get_width(img), h = cairo_image_surface_get_height(img);
            cairo_surface_t* snap = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
            cairo_t* c2 = cairo_create(snap);
            cairo_set_source_surface(c2, img, 0, 0);
            cairo_set_operator(c2, CAIRO_OPERATOR_SOURCE);
            cairo_paint(c2);
            cairo_destroy(c2);
            img = snap;
            copy = true;
        }
    } else {
        if (!pSrcDC->m_pAttached) AfxTrace("BitBlt null \x80r\x80n");
        return TRUE;
    }
    DrawImage(cr, img, x + m_nOriginX, y + m_nOriginY, nWidth, nHeight, xSrc + pSrcDC->m_nOriginX,
              ySrc + pSrcDC->m_nOriginY, nWidth, nHeight);
    NoteDrawn(x + m_nOriginX, y + m_nOriginY, nWidth, nHeight);
    if (copy) cairo_surface_destroy(img);
    return TRUE;
}

BOOL CDC::StretchBlt(int x, int y, int nWidth, int nHeight, CDC* pSrcDC, int xSrc, int ySrc, int nSrcWidth,
                     int nSrcHeight, DWORD)
{
    if (m_pSelectedBitmap || !m_pAttached || !pSrcDC) return TRUE;
    if (!pSrcDC->m_pSelectedBitmap || !pSrcDC->m_pSelectedBitmap->GetImage()) return TRUE;
    // y counts from the bottom of the surface here (unlike BitBlt).
    double top = m_nHeight - (y + m_nOriginY) - nHeight;
    DrawImage(m_pAttached, pSrcDC->m_pSelectedBitmap->GetImage(), x + m_nOriginX, top, nWidth, nHeight, xSrc,
              ySrc, nSrcWidth, nSrcHeight);
    NoteDrawn(x + m_nOriginX, top, nWidth, nHeight);
    return TRUE;
}

BOOL CDC::ExtTextOut(int x, int y, UINT nOptions, LPCRECT lpRect, LPCTSTR lpszString, UINT, const int*)
{
    if (IsResourceNumber(lpszString)) return PaintTextLine(x, y, nOptions, lpRect, CString(lpszString));
    return PaintTextLine(x, y, nOptions, lpRect, lpszString);
}

BOOL CDC::ExtTextOut(int x, int y, UINT nOptions, LPCRECT lpRect, const CString& str, const int*)
{
    return PaintTextLine(x, y, nOptions, lpRect, str);
}

// The whole zero-terminated text is drawn: counts and advance widths are not
// consulted, so a CString and its characters draw the same.
BOOL CDC::PaintTextLine(int x, int y, UINT nOptions, LPCRECT lpRect, const char* text)
{
    cairo_t* cr = m_pAttached ? m_pAttached : m_pOwnedContext;
    if (!cr) return TRUE;
    m_bDrewAll = true;  // text may reach past its rectangle
    if ((nOptions & ETO_OPAQUE) && lpRect) {
        cairo_save(cr);
        SetColour(cr, m_crBk);
        cairo_rectangle(cr, lpRect->left + m_nOriginX, lpRect->top + m_nOriginY, lpRect->right - lpRect->left,
                        lpRect->bottom - lpRect->top);
        cairo_fill(cr);
        cairo_restore(cr);
    }
    if (!text) return TRUE;
    const CFont* font = IsReal(m_pSelectedFont) ? m_pSelectedFont : nullptr;
    int ascent = font ? font->m_nAscent : DefaultAscent();
    cairo_save(cr);
    PangoLayout* layout = MakeLayout(cr, font, text, (int)std::strlen(text));
    double baseline = (double)pango_layout_get_baseline(layout) / PANGO_SCALE;
    SetColour(cr, m_crText);
    cairo_move_to(cr, x + m_nOriginX, y + m_nOriginY + ascent - baseline);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);
    cairo_restore(cr);
    return TRUE;
}

BOOL CDC::TextOut(int x, int y, LPCTSTR lpszString, int)
{
    return ExtTextOut(x, y, 0, nullptr, lpszString, 0, nullptr);
}

BOOL CDC::TextOut(int x, int y, const CString& str) { return PaintTextLine(x, y, 0, nullptr, str); }

CSize CDC::GetTextExtent(LPCTSTR lpszString, int nCount) const
{
    if (IsResourceNumber(lpszString)) return MeasureTextLine(CString(lpszString), nCount);
    return MeasureTextLine(lpszString, nCount);
}

CSize CDC::GetTextExtent(const CString& str) const { return MeasureTextLine(str, str.GetLength()); }

CSize CDC::MeasureTextLine(const char* text, int nCount) const
{
    if (!text) return CSize(0, 0);
    int len = (int)std::strlen(text);
    if (nCount >= 0 && nCount < len) len = nCount;
    cairo_t* cr = Context();
    if (!cr) cr = ScratchContext();
    const CFont* font = IsReal(m_pSelectedFont) ? m_pSelectedFont : nullptr;
    PangoLayout* layout = MakeLayout(cr, font, text, len);
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    g_object_unref(layout);
    return CSize(logical.width / PANGO_SCALE, logical.height / PANGO_SCALE);
}

void CDC::FillSolidRect(const RECT& r, COLORREF c)
{
    FillSolidRect(r.left, r.top, r.right - r.left, r.bottom - r.top, c);
}

void CDC::FillSolidRect(int x, int y, int cx, int cy, COLORREF c)
{
    if (m_pSelectedBitmap) return;
    cairo_t* cr = Context();
    if (!cr) return;
    cairo_save(cr);
    SetColour(cr, c);
    cairo_rectangle(cr, x + m_nOriginX, y + m_nOriginY, cx, cy);
    cairo_fill(cr);
    cairo_restore(cr);
    NoteDrawn(x + m_nOriginX, y + m_nOriginY, cx, cy);
}

void CDC::InitDrawing()
{
    if (m_pSelectedBitmap) m_bClipRegion = true;
}

void CDC::ExitDrawing()
{
    if (m_pSelectedBitmap) m_bClipRegion = false;
}

// --- window-bound contexts -------------------------------------------------------------

CPaintDC::CPaintDC(CWnd* pWnd)
{
    m_pWnd = pWnd;
    if (!pWnd) return;
    pWnd->GetClientRect(&m_rcClient);
    m_nWidth = m_rcClient.Width();
    m_nHeight = m_rcClient.Height();
    if (pWnd->m_pPaintContext) {
        m_pAttached = static_cast<cairo_t*>(pWnd->m_pPaintContext);
        m_rcUpdate = pWnd->m_rcUpdate;
    } else {
        // Asked to paint outside a paint (the host's draw call): draw
        // straight to the window, as a client context would.
        m_rcUpdate = m_rcClient;
        m_pAttached = platform::BeginDirectDraw(reinterpret_cast<platform::View*>(pWnd->m_hWnd));
        m_bDirect = true;
    }
    m_bClipRegion = true;
}

CPaintDC::~CPaintDC()
{
    m_bClipRegion = false;
    if (m_bDirect && m_pWnd) platform::EndDirectDraw(reinterpret_cast<platform::View*>(m_pWnd->m_hWnd), m_pAttached);
    m_pAttached = nullptr;
}

CClientDC::CClientDC(CWnd* pWnd)
{
    m_pWnd = pWnd;
    if (!pWnd) return;
    pWnd->GetClientRect(&m_rcClient);
    m_nWidth = m_rcClient.Width();
    m_nHeight = m_rcClient.Height();
    m_pAttached = platform::BeginDirectDraw(reinterpret_cast<platform::View*>(pWnd->m_hWnd));
    m_bClipRegion = true;
}

CClientDC::~CClientDC()
{
    m_bClipRegion = false;
    // Only what was drawn goes to the screen (nothing, when nothing was).
    std::vector<platform::Rect> drawn;
    for (const CRect& r : m_drawn) drawn.push_back(platform::Rect{r.left, r.top, r.right, r.bottom});
    if (m_pWnd)
        platform::EndDirectDraw(reinterpret_cast<platform::View*>(m_pWnd->m_hWnd), m_pAttached, drawn.data(),
                                m_bDrewAll ? -1 : (int)drawn.size());
    m_pAttached = nullptr;
}

// The controls lay out their text exactly as the contexts draw it.
PangoLayout* AfxMakeTextLayout(cairo_t* cr, const CFont* font, const char* text, int length)
{
    return MakeLayout(cr, font, text ? text : "", text ? length : 0);
}
