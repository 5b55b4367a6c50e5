#include "ControlPaint.h"

#include "CWnd.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ctl {

void SetColour(cairo_t* cr, const Rgb& c, double alpha) { cairo_set_source_rgba(cr, c.r, c.g, c.b, alpha); }

cairo_t* MeasuringContext()
{
    static cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
    static cairo_t* cr = cairo_create(s);
    return cr;
}

cairo_t* BeginFacePaint(CWnd* w)
{
    auto* cr = static_cast<cairo_t*>(w->m_pPaintContext);
    if (!cr) return nullptr;
    cairo_rectangle(cr, 0, 0, w->m_nClientWidth, w->m_nClientHeight);
    SetColour(cr, kFace);
    cairo_fill(cr);
    return cr;
}

void RoundedRect(cairo_t* cr, double x, double y, double w, double h, double r)
{
    r = std::min(r, std::min(w, h) / 2);
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -M_PI / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, M_PI / 2);
    cairo_arc(cr, x + r, y + h - r, r, M_PI / 2, M_PI);
    cairo_arc(cr, x + r, y + r, r, M_PI, 3 * M_PI / 2);
    cairo_close_path(cr);
}

void PaintButtonFace(cairo_t* cr, double x, double y, double w, double h, bool pressed, bool isDefault)
{
    cairo_save(cr);
    RoundedRect(cr, x + 0.5, y + 0.5, w - 1, h - 1, 4);
    cairo_pattern_t* g = cairo_pattern_create_linear(0, y, 0, y + h);
    if (pressed) {
        cairo_pattern_add_color_stop_rgb(g, 0, 0.78, 0.78, 0.77);
        cairo_pattern_add_color_stop_rgb(g, 1, 0.86, 0.86, 0.85);
    } else if (isDefault) {
        cairo_pattern_add_color_stop_rgb(g, 0, 0.44, 0.66, 0.96);
        cairo_pattern_add_color_stop_rgb(g, 1, 0.20, 0.47, 0.85);
    } else {
        cairo_pattern_add_color_stop_rgb(g, 0, 1.0, 1.0, 1.0);
        cairo_pattern_add_color_stop_rgb(g, 1, 0.89, 0.89, 0.88);
    }
    cairo_set_source(cr, g);
    cairo_fill_preserve(cr);
    cairo_pattern_destroy(g);
    if (isDefault && !pressed)
        cairo_set_source_rgb(cr, 0.13, 0.36, 0.72);
    else
        SetColour(cr, kBorder);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
    cairo_restore(cr);
}

void PaintFocusRing(cairo_t* cr, double x, double y, double w, double h, double radius)
{
    cairo_save(cr);
    RoundedRect(cr, x + 1, y + 1, w - 2, h - 2, radius);
    SetColour(cr, kAccent, 0.85);
    cairo_set_line_width(cr, 2);
    cairo_stroke(cr);
    cairo_restore(cr);
}

void PaintField(cairo_t* cr, double x, double y, double w, double h, bool focused)
{
    cairo_save(cr);
    cairo_rectangle(cr, x, y, w, h);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_fill(cr);
    // Sunken edge: darker on top and left.
    cairo_set_line_width(cr, 1);
    SetColour(cr, kBorder);
    cairo_rectangle(cr, x + 0.5, y + 0.5, w - 1, h - 1);
    cairo_stroke(cr);
    cairo_set_source_rgba(cr, 0, 0, 0, 0.10);
    cairo_move_to(cr, x + 1, y + 1.5);
    cairo_line_to(cr, x + w - 1, y + 1.5);
    cairo_stroke(cr);
    cairo_restore(cr);
    if (focused) {
        cairo_save(cr);
        cairo_rectangle(cr, x + 1, y + 1, w - 2, h - 2);
        SetColour(cr, kAccent, 0.9);
        cairo_set_line_width(cr, 2);
        cairo_stroke(cr);
        cairo_restore(cr);
    }
}

void PaintArrow(cairo_t* cr, double cx, double cy, double size, int dir, const Rgb& c)
{
    cairo_save(cr);
    double half = size / 2, rise = size / 2.5;
    cairo_move_to(cr, cx - half, cy - dir * rise / 2);
    cairo_line_to(cr, cx + half, cy - dir * rise / 2);
    cairo_line_to(cr, cx, cy + dir * rise / 2 + dir * 0.5);
    cairo_close_path(cr);
    SetColour(cr, c);
    cairo_fill(cr);
    cairo_restore(cr);
}

void PaintCheckMark(cairo_t* cr, double x, double y, double size, const Rgb& c)
{
    cairo_save(cr);
    cairo_set_line_width(cr, std::max(1.5, size / 6));
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_move_to(cr, x + size * 0.12, y + size * 0.55);
    cairo_line_to(cr, x + size * 0.40, y + size * 0.82);
    cairo_line_to(cr, x + size * 0.90, y + size * 0.18);
    SetColour(cr, c);
    cairo_stroke(cr);
    cairo_restore(cr);
}

void PaintPopupFrame(cairo_t* cr, double w, double h)
{
    cairo_save(cr);
    cairo_rectangle(cr, 0, 0, w, h);
    cairo_set_source_rgb(cr, 0.985, 0.985, 0.98);
    cairo_fill(cr);
    cairo_rectangle(cr, 0.5, 0.5, w - 1, h - 1);
    cairo_set_source_rgb(cr, 0.62, 0.62, 0.61);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
    cairo_move_to(cr, 1, h - 1.5);
    cairo_line_to(cr, w - 1, h - 1.5);
    cairo_set_source_rgba(cr, 0, 0, 0, 0.12);
    cairo_stroke(cr);
    cairo_restore(cr);
}

void TextSize(cairo_t* cr, const CFont* font, const char* text, int& w, int& h)
{
    PangoLayout* l = AfxMakeTextLayout(cr, font, text, (int)std::strlen(text));
    pango_layout_get_pixel_size(l, &w, &h);
    g_object_unref(l);
}

void PaintText(cairo_t* cr, const CFont* font, const char* text, double x, double y, const Rgb& c)
{
    PangoLayout* l = AfxMakeTextLayout(cr, font, text, (int)std::strlen(text));
    cairo_save(cr);
    SetColour(cr, c);
    cairo_move_to(cr, x, y);
    pango_cairo_show_layout(cr, l);
    cairo_restore(cr);
    g_object_unref(l);
}

void PaintTextIn(cairo_t* cr, const CFont* font, const char* text, double x, double y, double w, double h,
                 const Rgb& c, bool centre)
{
    int tw = 0, th = 0;
    TextSize(cr, font, text, tw, th);
    double tx = centre ? x + std::floor((w - tw) / 2) : x;
    PaintText(cr, font, text, tx, y + std::floor((h - th) / 2), c);
}

}  // namespace ctl
