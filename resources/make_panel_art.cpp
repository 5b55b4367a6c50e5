// Build step: draws the editor panel's bitmaps (resources 5000 to 5015) with
// Cairo and Pango, so every picture can be changed here and rebuilt.
//   make_panel_art OUTDIR [--mockup FILE.png]
// writes OUTDIR/<id>.png for every image; --mockup also composes the whole
// panel (faders, meters, read-outs at their places) into one picture.
//
// The look: a dark graphite front plate with light legends, recessed fader
// slots, grey channel caps and red level caps, backlit read-out windows
// (the panel prints black digits into them) and segment meters with a dark
// and a lit half. Text uses DejaVu Sans (fonts-dejavu-core).
#include <cairo.h>
#include <pango/pangocairo.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "ParamMap.h"
#include "PanelGeometry.h"

using namespace panel_art;

namespace {

// ---------------------------------------------------------------- colours

struct Rgb {
    double r, g, b;
};

constexpr Rgb Hex(unsigned v)
{
    return {((v >> 16) & 0xFF) / 255.0, ((v >> 8) & 0xFF) / 255.0, (v & 0xFF) / 255.0};
}

const Rgb kPlate = Hex(0x2E3136);        // front plate, flat wherever a fader sits
const Rgb kPlateHeader = Hex(0x383C42);  // header strip
const Rgb kLegend = Hex(0xE2E2DA);        // main legends
const Rgb kLegendDim = Hex(0x9BA1A8);     // scale numbers
const Rgb kGrid = Hex(0x464B52);          // faint scale lines
const Rgb kTick = Hex(0x80868E);          // short ticks
const Rgb kUnity = Hex(0xE0A040);         // 0 dB / unity marks
const Rgb kWell = Hex(0xC9D7AE);          // backlit read-out glass
const Rgb kSlot = Hex(0x0A0B0C);          // fader slot
const Rgb kLevelScale = Hex(0xF0907F);    // the level faders' own scale, in their caps' red

void Set(cairo_t* cr, Rgb c, double a = 1.0) { cairo_set_source_rgba(cr, c.r, c.g, c.b, a); }

Rgb Mix(Rgb a, Rgb b, double t) { return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t}; }

// ---------------------------------------------------------------- shapes

void FillRect(cairo_t* cr, double x, double y, double w, double h, Rgb c, double a = 1.0)
{
    cairo_rectangle(cr, x, y, w, h);
    Set(cr, c, a);
    cairo_fill(cr);
}

void RoundRect(cairo_t* cr, double x, double y, double w, double h, double r)
{
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -M_PI / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, M_PI / 2);
    cairo_arc(cr, x + r, y + h - r, r, M_PI / 2, M_PI);
    cairo_arc(cr, x + r, y + r, r, M_PI, 3 * M_PI / 2);
    cairo_close_path(cr);
}

void VGradient(cairo_t* cr, double y0, double y1, Rgb top, Rgb bottom)
{
    cairo_pattern_t* p = cairo_pattern_create_linear(0, y0, 0, y1);
    cairo_pattern_add_color_stop_rgb(p, 0, top.r, top.g, top.b);
    cairo_pattern_add_color_stop_rgb(p, 1, bottom.r, bottom.g, bottom.b);
    cairo_set_source(cr, p);
    cairo_pattern_destroy(p);
}

// A horizontal one-pixel line across pixel row `y`, columns x0 .. x1 - 1.
void HLine(cairo_t* cr, int x0, int x1, int y, Rgb c, double a = 1.0) { FillRect(cr, x0, y, x1 - x0, 1, c, a); }

// ---------------------------------------------------------------- text

enum Align { kLeft, kCentre, kRight };

// Draws `text` with its logical box centred vertically on `cy`, aligned on
// `x`. `squeeze` narrows the letters (1 = as designed).
void Text(cairo_t* cr, const std::string& text, double px, bool bold, double x, double cy, Align align, Rgb c,
          double squeeze = 1.0, double alpha = 1.0, double spacing = 0.0)
{
    PangoLayout* layout = pango_cairo_create_layout(cr);
    cairo_font_options_t* fo = cairo_font_options_create();
    cairo_font_options_set_antialias(fo, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(fo, CAIRO_HINT_STYLE_SLIGHT);
    cairo_font_options_set_hint_metrics(fo, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(pango_layout_get_context(layout), fo);
    cairo_font_options_destroy(fo);
    pango_layout_context_changed(layout);

    PangoFontDescription* fd = pango_font_description_new();
    pango_font_description_set_family(fd, "DejaVu Sans");
    pango_font_description_set_weight(fd, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_absolute_size(fd, px * PANGO_SCALE);
    pango_layout_set_font_description(layout, fd);
    pango_font_description_free(fd);
    if (spacing != 0.0) {
        PangoAttrList* attrs = pango_attr_list_new();
        pango_attr_list_insert(attrs, pango_attr_letter_spacing_new((int)(spacing * PANGO_SCALE)));
        pango_layout_set_attributes(layout, attrs);
        pango_attr_list_unref(attrs);
    }
    pango_layout_set_text(layout, text.c_str(), -1);

    PangoRectangle ink, logical;
    pango_layout_get_extents(layout, &ink, &logical);
    const double w = (double)logical.width / PANGO_SCALE * squeeze;
    const double h = (double)logical.height / PANGO_SCALE;
    double left = x;
    if (align == kCentre)
        left = x - w / 2;
    else if (align == kRight)
        left = x - w;
    cairo_save(cr);
    cairo_translate(cr, left, cy - h / 2);
    cairo_scale(cr, squeeze, 1.0);
    Set(cr, c, alpha);
    pango_cairo_show_layout(cr, layout);
    cairo_restore(cr);
    g_object_unref(layout);
}

// Width of `text` as Text() would draw it.
double TextWidth(cairo_t* cr, const std::string& text, double px, bool bold)
{
    PangoLayout* layout = pango_cairo_create_layout(cr);
    PangoFontDescription* fd = pango_font_description_new();
    pango_font_description_set_family(fd, "DejaVu Sans");
    pango_font_description_set_weight(fd, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_absolute_size(fd, px * PANGO_SCALE);
    pango_layout_set_font_description(layout, fd);
    pango_font_description_free(fd);
    pango_layout_set_text(layout, text.c_str(), -1);
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    g_object_unref(layout);
    return (double)logical.width / PANGO_SCALE;
}

// ---------------------------------------------------------------- images

struct Image {
    int id;
    int width, height;
    std::function<void(cairo_t*)> draw;
    const char* what;
};

// Screw head for the corners of the plate.
void Screw(cairo_t* cr, double cx, double cy)
{
    cairo_arc(cr, cx, cy + 0.6, 4.2, 0, 2 * M_PI);
    Set(cr, Hex(0x15171A), 0.8);
    cairo_fill(cr);
    cairo_pattern_t* p = cairo_pattern_create_radial(cx - 1.5, cy - 1.5, 0.5, cx, cy, 4.0);
    cairo_pattern_add_color_stop_rgb(p, 0, 0.80, 0.81, 0.83);
    cairo_pattern_add_color_stop_rgb(p, 1, 0.38, 0.40, 0.43);
    cairo_arc(cr, cx, cy, 3.6, 0, 2 * M_PI);
    cairo_set_source(cr, p);
    cairo_fill(cr);
    cairo_pattern_destroy(p);
    cairo_set_line_width(cr, 1.0);
    Set(cr, Hex(0x23262A));
    cairo_move_to(cr, cx - 2.4, cy + 1.2);
    cairo_line_to(cr, cx + 2.4, cy - 1.2);
    cairo_stroke(cr);
}

// A recessed window: dark bevel around (x, y, w, h), pixel-aligned.
void Recess(cairo_t* cr, int x, int y, int w, int h, Rgb inside)
{
    FillRect(cr, x - 1, y - 1, w + 2, 1, Hex(0x16181B));   // top shadow
    FillRect(cr, x - 1, y - 1, 1, h + 2, Hex(0x1C1E22));   // left shadow
    FillRect(cr, x - 1, y + h, w + 2, 1, Hex(0x4A4F56));   // bottom highlight
    FillRect(cr, x + w, y - 1, 1, h + 2, Hex(0x42464D));   // right highlight
    FillRect(cr, x, y, w, h, inside);
}

// The backlit read-out window over a read-out rectangle (left, top, right,
// bottom as the panel gives it). The panel prints black text centred in it.
void ReadoutWell(cairo_t* cr, int l, int t, int r, int b)
{
    const int w = r - l, h = b - t;
    Recess(cr, l, t, w, h, kWell);
    VGradient(cr, t, b, Hex(0xB7C79A), Hex(0xD3DFBB));
    cairo_rectangle(cr, l, t, w, h);
    cairo_fill(cr);
    FillRect(cr, l, t, w, 1, Hex(0x8E9C76));   // the glass sits a little below the plate
    FillRect(cr, l, t, 1, h, Hex(0xA6B48A));
}

void DrawCopyButton(cairo_t* cr);

void DrawBackground(cairo_t* cr)
{
    const int W = kPanelWidth, H = kPanelHeight;
    FillRect(cr, 0, 0, W, H, kPlate);

    // Header strip with the switches and the name.
    VGradient(cr, 0, 44, Hex(0x42464C), kPlateHeader);
    cairo_rectangle(cr, 0, 0, W, 44);
    cairo_fill(cr);
    HLine(cr, 0, W, 44, Hex(0x1E2024));
    HLine(cr, 0, W, 45, Hex(0x474B51));

    // Plate edges: light top and left, dark bottom and right.
    FillRect(cr, 0, 0, W, 1, Hex(0x5A5F66));
    FillRect(cr, 0, 0, 1, H, Hex(0x50555C));
    FillRect(cr, 0, H - 1, W, 1, Hex(0x141518));
    FillRect(cr, W - 1, 0, 1, H, Hex(0x17191C));
    Screw(cr, 9, 9);
    Screw(cr, W - 10, 9);
    Screw(cr, 9, H - 10);
    Screw(cr, W - 10, H - 10);

    // Legends beside the switches.
    Text(cr, "ACTIVE", 7, true, 37.5, 37, kCentre, kLegend, 1.0, 1.0, 0.6);
    Text(cr, "COPY", 7, true, 78.5, 37, kCentre, kLegend, 1.0, 1.0, 0.6);
    // The program controls share an engraved frame with its caption.
    cairo_set_line_width(cr, 1.0);
    RoundRect(cr, 58.5, 4.5, 264, 37, 4);
    Set(cr, Hex(0x202226));
    cairo_stroke(cr);
    RoundRect(cr, 59.5, 5.5, 264, 37, 4);
    Set(cr, Hex(0x5A5F66), 0.6);
    cairo_stroke(cr);
    Text(cr, "PROGRAM", 7, true, (kProgramLeft + kProgramRight) / 2.0, 11, kCentre, kLegendDim, 1.0, 1.0, 0.8);
    // The program display: the panel prints number and name in it.
    ReadoutWell(cr, kProgramLeft, kProgramTop, kProgramRight, kProgramBottom);
    Text(cr, "REVERT", 6, true, 237.5, 34, kCentre, kLegendDim, 1.0, 1.0, 0.5);
    Text(cr, "STORE", 6, true, 291.5, 34, kCentre, kLegendDim, 1.0, 1.0, 0.5);
    cairo_save(cr);
    cairo_translate(cr, 64, 11);
    cairo_rectangle(cr, 0, 0, kCopyWidth, kCopyHeight);
    cairo_clip(cr);
    DrawCopyButton(cr);
    cairo_restore(cr);
    Recess(cr, 215, 9, 45, 18, Hex(0x1A1C1F));
    Recess(cr, 269, 9, 45, 18, Hex(0x1A1C1F));

    // Name plate.
    Text(cr, "Graphic", 20, false, 602, 17, kRight, kLegend);
    Text(cr, "EQ", 20, true, 602, 17, kLeft, kUnity);
    Text(cr, "15-BAND STEREO GRAPHIC EQUALIZER", 6.5, true, 701, 36, kRight, kLegendDim, 1.0, 1.0, 0.9);

    // Section captions.
    Text(cr, "INPUT", 7, true, 46, 50, kCentre, kLegend, 1.0, 1.0, 0.6);
    Text(cr, "OUTPUT", 7, true, 667, 50, kCentre, kLegend, 1.0, 1.0, 0.6);
    Text(cr, "GAIN", 7, true, 357, 50, kCentre, kLegend, 1.0, 1.0, 1.5);
    Text(cr, "dB", 7, true, 85, 50, kCentre, kLegendDim);
    Text(cr, "dB", 7, true, 631, 50, kCentre, kLegendDim);
    // The Q read-outs' row is named at both ends (the gain row's ends belong
    // to the level faders' scales).
    Text(cr, "Q", 8, true, 88, kQReadoutTop + 8, kRight, kLegendDim);
    Text(cr, "Q", 8, true, 626, kQReadoutTop + 8, kLeft, kLegendDim);

    const int firstX = BandX(0), lastX = BandX(kNumBands - 1);

    // Band scales: faint lines across every gap between two faders at the
    // major marks, short ticks beside each fader at the minor ones. Each mark
    // lies on the row of the thumb's centre line at that value.
    auto bandScale = [&](int top, const std::vector<double>& majors, const std::vector<double>& minors,
                         double unityValue, int paramIndex, const std::vector<const char*>& labels) {
        auto row = [&](double v) {
            return top + LinearThumbCentre(ValToNormalizeValue(paramIndex, (float)v), kBandTrackHeight,
                                           kBandThumbHeight);
        };
        for (size_t i = 0; i < majors.size(); ++i) {
            const int y = row(majors[i]);
            const bool unity = majors[i] == unityValue;
            for (int b = 0; b < kNumBands; ++b) {
                const int x = BandX(b);
                // Left of the first fader and right of every fader.
                if (b == 0)
                    HLine(cr, x - 5, x, y, unity ? kUnity : kTick);
                HLine(cr, x + kTrackWidth, b == kNumBands - 1 ? x + kTrackWidth + 5 : x + kBandPitch, y,
                      unity ? kUnity : kGrid, unity ? 0.85 : 1.0);
                if (b < kNumBands - 1) {
                    HLine(cr, x + kTrackWidth, x + kTrackWidth + 4, y, unity ? kUnity : kTick);
                    HLine(cr, x + kBandPitch - 4, x + kBandPitch, y, unity ? kUnity : kTick);
                }
            }
            // Narrow enough to leave the level faders' scales their room.
            const double w = TextWidth(cr, labels[i], 7, true);
            const double squeeze = w > kBandLabelWidth ? kBandLabelWidth / w : 1.0;
            Text(cr, labels[i], 7, true, firstX - 6, y + 0.5, kRight, unity ? kUnity : kLegendDim, squeeze);
            Text(cr, labels[i], 7, true, lastX + kTrackWidth + 6, y + 0.5, kLeft, unity ? kUnity : kLegendDim,
                 squeeze);
        }
        for (double v : minors) {
            const int y = row(v);
            for (int b = 0; b < kNumBands; ++b) {
                const int x = BandX(b);
                HLine(cr, x - 3, x, y, kTick);
                HLine(cr, x + kTrackWidth, x + kTrackWidth + 3, y, kTick);
            }
        }
    };
    bandScale(kGainTop, {12, 6, 0, -6, -12}, {9, 3, -3, -9}, 0.0, kParamGainFirst,
              {"+12", "+6", "0", "-6", "-12"});
    bandScale(kQTop, {20, 15, 10, 5, 1}, {17.5, 12.5, 7.5, 3}, -1.0, kParamQFirst, {"20", "15", "10", "5", "1"});

    // Read-out windows and band names.
    for (int b = 0; b < kNumBands; ++b) {
        const int x = BandX(b);
        ReadoutWell(cr, x - 7, kGainReadoutTop, x + 23, kGainReadoutTop + 16);
        ReadoutWell(cr, x - 7, kQReadoutTop, x + 23, kQReadoutTop + 16);
        // At most 28 of the 36 pixels between two bands, so the longest
        // names (1.0KHz .. 16.0KHz) keep a clear gap.
        const double w = TextWidth(cr, szCenterFreq[b], 7.5, true);
        const double squeeze = w > kBandNameWidth ? kBandNameWidth / w : 1.0;
        Text(cr, szCenterFreq[b], 7.5, true, x + 8, 179.5, kCentre, kLegend, squeeze);
    }
    ReadoutWell(cr, 14, 285, 48, 301);
    ReadoutWell(cr, 651, 285, 685, 301);

    // Meter bezels and their dB scale (3 pixels per dB, 6 dB per doubling).
    Recess(cr, 28, kMeterTop - 1, 18, kMeterHeight + 2, Hex(0x08090A));
    Recess(cr, 668, kMeterTop - 1, 18, kMeterHeight + 2, Hex(0x08090A));
    const int meterMarks[] = {6, 0, -6, -12, -18, -24, -36, -48, -60};
    for (int dB : meterMarks) {
        const int y = kMeterTop + MeterRow(dB) + 1;   // between the two lit rows of the segment
        char label[16];
        std::snprintf(label, sizeof label, dB > 0 ? "+%d" : "%d", dB);
        const Rgb c = dB == 0 ? kUnity : kLegendDim;
        HLine(cr, 24, 27, y, c);
        HLine(cr, 687, 690, y, c);
        Text(cr, label, 7, true, 23, y + 0.5, kRight, c, 0.9);
        Text(cr, label, 7, true, 691, y + 0.5, kLeft, c, 0.9);
    }

    // Level faders: a scale of their own on the inner side of each (the
    // meters' scale is on the outer side), in the red of their caps, unity in
    // amber. Every mark lies on the row of the thumb's centre line at that
    // level (the travel is logarithmic in the amplitude); a label that would
    // crowd the one above is left out.
    auto levelScale = [&](int faderX, int paramIndex, const std::vector<int>& marks, bool right) {
        int lastLabelRow = -100;
        for (int dB : marks) {
            const double amplitude = std::pow(2.0, dB / 6.0);
            const int y = kLevelTop + LogThumbCentre(ValToNormalizeValue(paramIndex, (float)amplitude),
                                                     kLevelTrackHeight, kLevelThumbHeight);
            const Rgb c = dB == 0 ? kUnity : kLevelScale;
            if (right)
                HLine(cr, faderX + kTrackWidth, faderX + kTrackWidth + kLevelTickLength, y, c);
            else
                HLine(cr, faderX - kLevelTickLength, faderX, y, c);
            if (y - lastLabelRow < 9)
                continue;
            lastLabelRow = y;
            char label[16];
            std::snprintf(label, sizeof label, dB > 0 ? "+%d" : "%d", dB);
            const double w = TextWidth(cr, label, 7, true);
            const double squeeze = w > kLevelLabelWidth ? kLevelLabelWidth / w : 1.0;
            if (right)
                Text(cr, label, 7, true, faderX + kTrackWidth + kLevelTickLength + 1, y + 0.5, kLeft, c, squeeze);
            else
                Text(cr, label, 7, true, faderX - kLevelTickLength - 1, y + 0.5, kRight, c, squeeze);
        }
        // The bottom of the travel (about -60 dB): a tick without a number.
        const int bottom = kLevelTop + LogThumbCentre(0.0, kLevelTrackHeight, kLevelThumbHeight);
        if (right)
            HLine(cr, faderX + kTrackWidth, faderX + kTrackWidth + kLevelTickLength, bottom, kLevelScale);
        else
            HLine(cr, faderX - kLevelTickLength, faderX, bottom, kLevelScale);
    };
    levelScale(kInputX, kParamInput, std::vector<int>(std::begin(kInputMarks), std::end(kInputMarks)), true);
    levelScale(kOutputX, kParamOutput, std::vector<int>(std::begin(kOutputMarks), std::end(kOutputMarks)), false);
}

// A fader track: plate colour with a recessed slot down the middle. Opaque
// everywhere, because a thumb's old place is painted over with it.
void DrawTrack(cairo_t* cr, int height)
{
    FillRect(cr, 0, 0, kTrackWidth, height, kPlate);
    const double x = 6, w = 4, y = 3, h = height - 6;
    RoundRect(cr, x - 1, y - 1, w + 2, h + 2, 2.5);
    Set(cr, Hex(0x1B1D20));
    cairo_fill(cr);
    RoundRect(cr, x, y, w, h, 2);
    Set(cr, kSlot);
    cairo_fill(cr);
    FillRect(cr, x + w, y + 2, 1, h - 4, Hex(0x50555C));   // lit lower-right lip
    FillRect(cr, x + 1, y + 1, 1, h - 2, Hex(0x1E2024));
}

// A fader cap: a moulded body with ridges and a centre line on the row the
// scale marks point at.
void DrawThumb(cairo_t* cr, int w, int h, Rgb light, Rgb dark, Rgb line)
{
    const int mid = h / 2;
    RoundRect(cr, 0, 0, w, h, 1.5);
    Set(cr, Hex(0x0E0F11));
    cairo_fill(cr);
    VGradient(cr, 1, h - 1, light, dark);
    RoundRect(cr, 1, 1, w - 2, h - 2, 1);
    cairo_fill(cr);
    // Top bevel and ridges.
    FillRect(cr, 1, 1, w - 2, 1, Mix(light, Hex(0xFFFFFF), 0.5));
    for (int y = 3; y < h - 2; y += 2) {
        if (std::abs(y - mid) < 2)
            continue;
        FillRect(cr, 2, y, w - 4, 1, Mix(dark, Hex(0x000000), 0.35));
    }
    FillRect(cr, 1, mid, w - 2, 1, line);
    FillRect(cr, 1, h - 2, w - 2, 1, Mix(dark, Hex(0x000000), 0.4));
}

// Meter segments: 1 dB each (two rows lit, one dark), red above 0 dB,
// amber down to -12 dB, green below. Rows 0 and 226 and the gaps are the
// same in both halves, so the floor level lights nothing.
Rgb SegmentColour(int dB, bool lit)
{
    Rgb c = dB > 0 ? Hex(0xFF3B30) : dB > -12 ? Hex(0xFFC53A) : Hex(0x3DE068);
    return lit ? c : Mix(Hex(0x101214), c, 0.20);
}

void DrawMeter(cairo_t* cr)
{
    FillRect(cr, 0, 0, 2 * kMeterHalfWidth, kMeterHeight, Hex(0x08090A));
    for (int half = 0; half < 2; ++half) {
        const bool lit = half == 1;
        const int x0 = half * kMeterHalfWidth;
        for (int k = 0; 1 + 3 * k + 1 < kMeterHeight - 1; ++k) {
            const int dB = 6 - k;
            const int y = 1 + 3 * k;
            const Rgb c = SegmentColour(dB, lit);
            FillRect(cr, x0 + 1, y, kMeterHalfWidth - 2, 2, c);
            FillRect(cr, x0, y, 1, 2, Mix(c, Hex(0x000000), 0.45));
            FillRect(cr, x0 + kMeterHalfWidth - 1, y, 1, 2, Mix(c, Hex(0x000000), 0.45));
            if (lit)
                FillRect(cr, x0 + 2, y, 2, 1, Mix(c, Hex(0xFFFFFF), 0.45));
        }
    }
}

// Push button face, `pressed` sinks it by a pixel and darkens it.
void ButtonFace(cairo_t* cr, double x, double y, double w, double h, bool pressed)
{
    RoundRect(cr, x, y, w, h, 2.5);
    Set(cr, Hex(0x0D0E10));
    cairo_fill(cr);
    const double dy = pressed ? 1 : 0;
    VGradient(cr, y + 1, y + h - 1, pressed ? Hex(0x55595F) : Hex(0x72777E), pressed ? Hex(0x3A3D42) : Hex(0x45494F));
    RoundRect(cr, x + 1, y + 1 + dy, w - 2, h - 2 - dy, 1.8);
    cairo_fill(cr);
    if (!pressed)
        FillRect(cr, x + 2, y + 1, w - 4, 1, Hex(0x9CA1A8));
}

// Active switch, two frames stacked: released, pressed. `on` lights the lamp.
void DrawActiveSwitch(cairo_t* cr, bool on)
{
    for (int f = 0; f < 2; ++f) {
        const bool pressed = f == 1;
        const double top = f * kSwitchHeight, dy = pressed ? 1 : 0;
        FillRect(cr, 0, top, kSwitchWidth, kSwitchHeight, kPlateHeader);
        ButtonFace(cr, 0, top, kSwitchWidth, kSwitchHeight, pressed);
        // Lamp.
        const double cx = 7.5, cy = top + 10 + dy;
        cairo_arc(cr, cx, cy, 3.6, 0, 2 * M_PI);
        Set(cr, Hex(0x111214));
        cairo_fill(cr);
        if (on) {
            cairo_pattern_t* p = cairo_pattern_create_radial(cx - 0.8, cy - 0.8, 0.3, cx, cy, 3.0);
            cairo_pattern_add_color_stop_rgb(p, 0, 0.85, 1.0, 0.85);
            cairo_pattern_add_color_stop_rgb(p, 1, 0.10, 0.80, 0.30);
            cairo_arc(cr, cx, cy, 2.8, 0, 2 * M_PI);
            cairo_set_source(cr, p);
            cairo_fill(cr);
            cairo_pattern_destroy(p);
        } else {
            cairo_arc(cr, cx, cy, 2.8, 0, 2 * M_PI);
            Set(cr, Hex(0x1F3A26));
            cairo_fill(cr);
        }
        Text(cr, on ? "ON" : "OFF", 7, true, 19.5, cy, kCentre, on ? Hex(0xF4F4EC) : Hex(0xA6ABB2), on ? 1.0 : 0.85);
    }
}

void DrawDisabledSwitch(cairo_t* cr)
{
    FillRect(cr, 0, 0, kSwitchWidth, kSwitchHeight, kPlateHeader);
    RoundRect(cr, 0, 0, kSwitchWidth, kSwitchHeight, 2.5);
    Set(cr, Hex(0x25282C));
    cairo_fill(cr);
    RoundRect(cr, 1, 1, kSwitchWidth - 2, kSwitchHeight - 2, 1.8);
    Set(cr, Hex(0x3C4045));
    cairo_fill(cr);
    cairo_arc(cr, 7.5, 10, 2.8, 0, 2 * M_PI);
    Set(cr, Hex(0x2A2D31));
    cairo_fill(cr);
    Text(cr, "OFF", 7, true, 19.5, 10, kCentre, Hex(0x5F646B), 0.85);
}

// Copy button, two frames stacked: released, pressed. The button never
// stays on, so its "on" and "off" images are alike; the panel draws it only
// while its menu is open, so its released look is on the plate as well.
void DrawCopyButton(cairo_t* cr)
{
    for (int f = 0; f < 2; ++f) {
        const bool pressed = f == 1;
        const double top = f * kCopyHeight, dy = pressed ? 1 : 0;
        FillRect(cr, 0, top, kCopyWidth, kCopyHeight, kPlateHeader);
        ButtonFace(cr, 0, top, kCopyWidth, kCopyHeight, pressed);
        // Two sheets, one over the other.
        const Rgb ink = Hex(0xE6E6DE);
        cairo_set_line_width(cr, 1.0);
        Set(cr, ink);
        cairo_rectangle(cr, 8.5, top + 3.5 + dy, 7, 8);
        cairo_stroke(cr);
        FillRect(cr, 12, top + 6 + dy, 8, 9, Hex(0x50545A));
        Set(cr, ink);
        cairo_rectangle(cr, 12.5, top + 6.5 + dy, 7, 8);
        cairo_stroke(cr);
        HLine(cr, 14, 18, (int)(top + 9 + dy), ink);
        HLine(cr, 14, 18, (int)(top + 11 + dy), ink);
    }
}

// Save button (one frame).
void DrawSave(cairo_t* cr)
{
    FillRect(cr, 0, 0, kTagWidth, kTagHeight, Hex(0x1A1C1F));
    ButtonFace(cr, 0, 0, kTagWidth, kTagHeight, false);
    Text(cr, "SAVE", 8, true, 21.5, 8, kCentre, Hex(0xF2F2EA), 1.0, 1.0, 0.8);
}

// Modified indicator, two states stacked: the program as stored (dark
// lamp), the program edited (amber lamp; a click reverts it).
void DrawModified(cairo_t* cr)
{
    for (int f = 0; f < 2; ++f) {
        const bool lit = f == 1;
        const double top = f * kTagHeight;
        FillRect(cr, 0, top, kTagWidth, kTagHeight, Hex(0x0D0E10));
        if (lit) {
            VGradient(cr, top + 1, top + kTagHeight - 1, Hex(0xFFC45A), Hex(0xE08A1E));
        } else {
            VGradient(cr, top + 1, top + kTagHeight - 1, Hex(0x3A3327), Hex(0x2A251D));
        }
        RoundRect(cr, 1, top + 1, kTagWidth - 2, kTagHeight - 2, 1.5);
        cairo_fill(cr);
        Text(cr, "MODIFIED", 7, true, 21.5, top + 8, kCentre, lit ? Hex(0x2A1A05) : Hex(0x6E6453), 0.9);
    }
}

// A badge with the product's name (kept as a resource; the panel does not
// draw it).
void DrawBadge(cairo_t* cr)
{
    FillRect(cr, 0, 0, 96, 20, kPlateHeader);
    Text(cr, "Graphic", 13, false, 56, 10, kRight, kLegend);
    Text(cr, "EQ", 13, true, 56, 10, kLeft, kUnity);
}

const std::vector<Image>& Images()
{
    static const std::vector<Image> images = {
        {5000, kPanelWidth, kPanelHeight, DrawBackground, "panel background"},
        {5001, 96, 20, DrawBadge, "name badge (not drawn by the panel)"},
        {5002, kSwitchWidth, 2 * kSwitchHeight, [](cairo_t* cr) { DrawActiveSwitch(cr, true); }, "active switch, on"},
        {5003, kSwitchWidth, 2 * kSwitchHeight, [](cairo_t* cr) { DrawActiveSwitch(cr, false); }, "active switch, off"},
        {5006, kSwitchWidth, kSwitchHeight, DrawDisabledSwitch, "active switch, disabled (not drawn by the panel)"},
        {5007, kTrackWidth, kBandTrackHeight, [](cairo_t* cr) { DrawTrack(cr, kBandTrackHeight); }, "band fader track"},
        {5008, kBandThumbWidth, kBandThumbHeight,
         [](cairo_t* cr) { DrawThumb(cr, kBandThumbWidth, kBandThumbHeight, Hex(0xD8DBDF), Hex(0x8E9399), Hex(0x121314)); },
         "band fader cap"},
        {5009, kTrackWidth, kLevelTrackHeight, [](cairo_t* cr) { DrawTrack(cr, kLevelTrackHeight); }, "level fader track"},
        {5010, kLevelThumbWidth, kLevelThumbHeight,
         [](cairo_t* cr) { DrawThumb(cr, kLevelThumbWidth, kLevelThumbHeight, Hex(0xE0544A), Hex(0x8E2019), Hex(0xFFFFFF)); },
         "level fader cap"},
        {5011, 2 * kMeterHalfWidth, kMeterHeight, DrawMeter, "meter strip (unlit | lit)"},
        {5012, kCopyWidth, 2 * kCopyHeight, [](cairo_t* cr) { DrawCopyButton(cr); }, "copy button"},
        {5013, kCopyWidth, 2 * kCopyHeight, [](cairo_t* cr) { DrawCopyButton(cr); }, "copy button"},
        {5014, kTagWidth, kTagHeight, DrawSave, "save button"},
        {5015, kTagWidth, 2 * kTagHeight, DrawModified, "modified indicator (stored | edited)"},
    };
    return images;
}

cairo_surface_t* Render(const Image& im)
{
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, im.width, im.height);
    cairo_t* cr = cairo_create(s);
    im.draw(cr);
    cairo_destroy(cr);
    cairo_surface_flush(s);
    return s;
}

// Copies `src` (or its part from sx, sy, w x h) onto `dst` at (x, y).
void Blit(cairo_t* cr, cairo_surface_t* src, int x, int y, int sx = 0, int sy = 0, int w = -1, int h = -1)
{
    if (w < 0)
        w = cairo_image_surface_get_width(src);
    if (h < 0)
        h = cairo_image_surface_get_height(src);
    cairo_save(cr);
    cairo_rectangle(cr, x, y, w, h);
    cairo_clip(cr);
    cairo_set_source_surface(cr, src, x - sx, y - sy);
    cairo_paint(cr);
    cairo_restore(cr);
}

// The whole panel as the editor paints it, with a setting that shows every
// part: a smile curve, a few Q values, meters in the amber.
bool WriteMockup(const std::string& path)
{
    std::vector<cairo_surface_t*> s(16, nullptr);
    for (const Image& im : Images())
        s[im.id - 5000] = Render(im);
    cairo_surface_t* out = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kPanelWidth, kPanelHeight);
    cairo_t* cr = cairo_create(out);
    Blit(cr, s[0], 0, 0);
    const double gains[kNumBands] = {6, 4.5, 3, 1.5, 0, -1.5, -2.5, -3, -2.5, -1, 0, 1.5, 3, 4.5, 6};
    const double qs[kNumBands] = {5, 5, 5, 5, 5, 5, 5, 2.5, 5, 5, 5, 5, 5, 12, 20};
    auto readout = [&](int l, int t, const char* text) {
        Text(cr, text, 9, false, l + 15, t + 8.5, kCentre, Hex(0x000000));
    };
    char buf[16];
    for (int b = 0; b < kNumBands; ++b) {
        const int x = BandX(b);
        Blit(cr, s[7], x, kGainTop);
        Blit(cr, s[8], x + 1,
             kGainTop + LinearThumbTop(ValToNormalizeValue(kParamGainFirst + b, (float)gains[b]), kBandTrackHeight,
                                       kBandThumbHeight));
        Blit(cr, s[7], x, kQTop);
        Blit(cr, s[8], x + 1,
             kQTop + LinearThumbTop(ValToNormalizeValue(kParamQFirst + b, (float)qs[b]), kBandTrackHeight,
                                    kBandThumbHeight));
        std::snprintf(buf, sizeof buf, "%.1f", gains[b]);
        readout(x - 7, kGainReadoutTop, buf);
        std::snprintf(buf, sizeof buf, "%.1f", qs[b]);
        readout(x - 7, kQReadoutTop, buf);
    }
    Blit(cr, s[9], kInputX, kLevelTop);
    Blit(cr, s[10], kInputX + 1,
         kLevelTop + LogThumbTop(ValToNormalizeValue(kParamInput, 1.0f), kLevelTrackHeight, kLevelThumbHeight));
    Blit(cr, s[9], kOutputX, kLevelTop);
    Blit(cr, s[10], kOutputX + 1,
         kLevelTop + LogThumbTop(ValToNormalizeValue(kParamOutput, 1.0f), kLevelTrackHeight, kLevelThumbHeight));
    Text(cr, "1  Flat", 9, false, kProgramLeft + 4, (kProgramTop + kProgramBottom) / 2.0 + 0.5, kLeft, Hex(0x000000));
    Text(cr, "0.0", 9, false, 31, 293.5, kCentre, Hex(0x000000));
    Text(cr, "0.0", 9, false, 668, 293.5, kCentre, Hex(0x000000));
    const double levels[4] = {-7.5, -9.0, -4.0, -5.5};
    for (int m = 0; m < 4; ++m) {
        Blit(cr, s[11], kMeterX[m], kMeterTop, 0, 0, kMeterHalfWidth, kMeterHeight);
        const int y = MeterRow(levels[m]);
        Blit(cr, s[11], kMeterX[m], kMeterTop + y, kMeterHalfWidth, y, kMeterHalfWidth, kMeterHeight - y);
    }
    Blit(cr, s[14], 270, 10);
    Blit(cr, s[15], 216, 10, 0, kTagHeight, kTagWidth, kTagHeight);
    Blit(cr, s[2], 23, 8, 0, 0, kSwitchWidth, kSwitchHeight);
    Blit(cr, s[13], 64, 11, 0, 0, kCopyWidth, kCopyHeight);
    cairo_destroy(cr);
    const bool ok = cairo_surface_write_to_png(out, path.c_str()) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(out);
    for (cairo_surface_t* x : s)
        if (x)
            cairo_surface_destroy(x);
    return ok;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s OUTDIR [--mockup FILE.png]\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    std::string mockup;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--mockup" && i + 1 < argc) {
            mockup = argv[++i];
        } else {
            std::fprintf(stderr, "make_panel_art: unknown argument %s\n", a.c_str());
            return 2;
        }
    }
    for (const Image& im : Images()) {
        cairo_surface_t* s = Render(im);
        const std::string path = dir + "/" + std::to_string(im.id) + ".png";
        if (cairo_surface_write_to_png(s, path.c_str()) != CAIRO_STATUS_SUCCESS) {
            std::fprintf(stderr, "make_panel_art: cannot write %s\n", path.c_str());
            cairo_surface_destroy(s);
            return 1;
        }
        cairo_surface_destroy(s);
    }
    if (!mockup.empty() && !WriteMockup(mockup)) {
        std::fprintf(stderr, "make_panel_art: cannot write %s\n", mockup.c_str());
        return 1;
    }
    return 0;
}
