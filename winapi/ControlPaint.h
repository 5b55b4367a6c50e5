#pragma once
// Drawing shared by the standard controls, menus and dialogs: one light
// desktop look (gradient buttons, sunken white fields, a blue focus ring and
// selection), text through the same Pango layouts as the drawing contexts.
#include <cairo.h>

typedef struct _PangoLayout PangoLayout;
class CFont;
class CWnd;

// A layout of text in font (null: the layer's default face, 12 pixels).
PangoLayout* AfxMakeTextLayout(cairo_t* cr, const CFont* font, const char* text, int length);

namespace ctl {

struct Rgb {
    double r, g, b;
};
constexpr Rgb kFace{0.93, 0.93, 0.92};      // dialog and control background
constexpr Rgb kBorder{0.56, 0.56, 0.55};    // control outlines
constexpr Rgb kText{0.10, 0.10, 0.10};
constexpr Rgb kGreyText{0.58, 0.58, 0.57};  // disabled items
constexpr Rgb kAccent{0.20, 0.47, 0.85};    // focus ring, selection, highlight
constexpr Rgb kSelText{1, 1, 1};

void SetColour(cairo_t* cr, const Rgb& c, double alpha = 1.0);
// A context for measuring text outside painting.
cairo_t* MeasuringContext();
// The context of a control's paint, its client area already filled with the
// face colour, or null outside a paint.
cairo_t* BeginFacePaint(CWnd* w);
void RoundedRect(cairo_t* cr, double x, double y, double w, double h, double r);
// A raised, gradient-filled button face; pressed draws it sunk.
void PaintButtonFace(cairo_t* cr, double x, double y, double w, double h, bool pressed, bool isDefault);
// A white text field with a sunken border; focused adds the focus ring.
void PaintField(cairo_t* cr, double x, double y, double w, double h, bool focused);
void PaintFocusRing(cairo_t* cr, double x, double y, double w, double h, double radius);
// A filled triangle pointing up (dir -1) or down (dir +1), centred at (cx, cy).
void PaintArrow(cairo_t* cr, double cx, double cy, double size, int dir, const Rgb& c);
void PaintCheckMark(cairo_t* cr, double x, double y, double size, const Rgb& c);
// The pop-up frame of menus and drop-down lists (with a soft shadow line).
void PaintPopupFrame(cairo_t* cr, double w, double h);

// Text of one line: its pixel size, and drawing it with its top-left at (x, y).
void TextSize(cairo_t* cr, const CFont* font, const char* text, int& w, int& h);
void PaintText(cairo_t* cr, const CFont* font, const char* text, double x, double y, const Rgb& c);
// Text centred vertically in [y, y + h) starting at x, or centred in both
// directions when centre is set.
void PaintTextIn(cairo_t* cr, const CFont* font, const char* text, double x, double y, double w, double h,
                 const Rgb& c, bool centre);

}  // namespace ctl
