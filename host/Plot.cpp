#include "Plot.h"

#include <cairo.h>
#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "VstHost.h"

namespace ghost {

void PlotResponse(const std::string& path, const std::string& title, const std::vector<Curve>& curves,
                  const std::vector<Marker>& markers, double maxFreq, double floorDB)
{
    constexpr int W = 1000, H = 560;
    constexpr double left = 60, right = 20, top = 40, bottom = 45;
    const double fLo = 10.0, fHi = std::max(100.0, maxFreq);

    // dB range: at least +-15, widened in 6 dB steps to fit every finite point.
    double lo = -15, hi = 15;
    for (const Curve& c : curves)
        for (double d : c.db)
            if (std::isfinite(d)) {
                while (d > hi && hi < 120)
                    hi += 6;
                while (d < lo && lo > floorDB)
                    lo -= 6;
            }

    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, W, H);
    cairo_t* cr = cairo_create(surface);
    auto X = [&](double f) {
        return left + (W - left - right) * std::log(f / fLo) / std::log(fHi / fLo);
    };
    auto Y = [&](double d) { return top + (H - top - bottom) * (hi - d) / (hi - lo); };

    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 11);
    cairo_set_line_width(cr, 1);

    char text[64];
    // Frequency grid: 1-2-5 per decade, labelled.
    for (double decade = 10; decade < fHi * 10; decade *= 10)
        for (double m : {1.0, 2.0, 5.0}) {
            const double f = decade * m;
            if (f < fLo || f > fHi)
                continue;
            cairo_set_source_rgb(cr, m == 1.0 ? 0.75 : 0.88, m == 1.0 ? 0.75 : 0.88, m == 1.0 ? 0.75 : 0.88);
            cairo_move_to(cr, std::floor(X(f)) + 0.5, top);
            cairo_line_to(cr, std::floor(X(f)) + 0.5, H - bottom);
            cairo_stroke(cr);
            if (f >= 1000)
                std::snprintf(text, sizeof text, "%gk", f / 1000);
            else
                std::snprintf(text, sizeof text, "%g", f);
            cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
            cairo_move_to(cr, X(f) - 8, H - bottom + 15);
            cairo_show_text(cr, text);
        }
    // dB grid every 3 dB (6 dB when the range is wide), 0 dB darker.
    const double step = (hi - lo) > 144 ? 24 : (hi - lo) > 48 ? 12 : (hi - lo) > 30 ? 6 : 3;
    // Wide ranges put their lines on multiples of the step, so 0 dB is one.
    for (double d = step >= 24 ? std::ceil(lo / step) * step : lo; d <= hi + 1e-9; d += step) {
        const double g = std::fabs(d) < 1e-9 ? 0.55 : 0.85;
        cairo_set_source_rgb(cr, g, g, g);
        cairo_move_to(cr, left, std::floor(Y(d)) + 0.5);
        cairo_line_to(cr, W - right, std::floor(Y(d)) + 0.5);
        cairo_stroke(cr);
        std::snprintf(text, sizeof text, "%+g dB", d);
        cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
        cairo_move_to(cr, 4, Y(d) + 4);
        cairo_show_text(cr, text);
    }
    cairo_move_to(cr, W / 2.0 - 20, H - 8);
    cairo_show_text(cr, "Hz");
    cairo_set_font_size(cr, 14);
    cairo_move_to(cr, left, top - 14);
    cairo_show_text(cr, title.c_str());

    // Curves, clipped to the plot area.
    static const double colours[][3] = {{0.1, 0.3, 0.8}, {0.85, 0.2, 0.1}, {0.1, 0.6, 0.2}, {0.6, 0.2, 0.7}};
    cairo_save(cr);
    cairo_rectangle(cr, left, top, W - left - right, H - top - bottom);
    cairo_clip(cr);
    cairo_set_line_width(cr, 2);
    for (size_t i = 0; i < curves.size(); ++i) {
        const auto& c = colours[i % 4];
        cairo_set_source_rgb(cr, c[0], c[1], c[2]);
        if (i % 2 == 1) {
            const double dash[] = {6, 4};
            cairo_set_dash(cr, dash, 2, 0);
        } else {
            cairo_set_dash(cr, nullptr, 0, 0);
        }
        bool pen = false;
        for (size_t k = 0; k < curves[i].freq.size(); ++k) {
            const double d = curves[i].db[k];
            if (!std::isfinite(d)) {
                pen = false;
                continue;
            }
            const double y = Y(std::clamp(d, lo - 10, hi + 10));
            if (pen)
                cairo_line_to(cr, X(curves[i].freq[k]), y);
            else
                cairo_move_to(cr, X(curves[i].freq[k]), y);
            pen = true;
        }
        cairo_stroke(cr);
    }
    cairo_set_dash(cr, nullptr, 0, 0);
    cairo_set_font_size(cr, 10);
    for (const Marker& m : markers) {
        if (!std::isfinite(m.db) || m.freq > fHi)
            continue;
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_arc(cr, X(m.freq), Y(m.db), 3, 0, 2 * M_PI);
        cairo_fill(cr);
        std::snprintf(text, sizeof text, "%+.2f", m.db);
        cairo_move_to(cr, X(m.freq) - 14, Y(m.db) - 7);
        cairo_show_text(cr, text);
    }
    cairo_restore(cr);

    // Legend.
    cairo_set_font_size(cr, 11);
    double legendWidth = 70;
    for (const Curve& c : curves) {
        cairo_text_extents_t ext;
        cairo_text_extents(cr, c.label.c_str(), &ext);
        legendWidth = std::max(legendWidth, ext.x_advance);
    }
    for (size_t i = 0; i < curves.size(); ++i) {
        const auto& c = colours[i % 4];
        cairo_set_source_rgb(cr, c[0], c[1], c[2]);
        const double x = W - right - 26 - legendWidth, y = top + 16 + 16 * static_cast<double>(i);
        cairo_rectangle(cr, x, y - 8, 14, 3);
        cairo_fill(cr);
        cairo_move_to(cr, x + 20, y - 3);
        cairo_show_text(cr, curves[i].label.c_str());
    }

    cairo_destroy(cr);
    const cairo_status_t st = cairo_surface_write_to_png(surface, path.c_str());
    cairo_surface_destroy(surface);
    // Nothing else in this process draws text: hand the font caches back,
    // so leak checkers see a clean exit.
    cairo_debug_reset_static_data();
    FcFini();
    if (st != CAIRO_STATUS_SUCCESS)
        throw HostError(path + ": cannot write PNG: " + cairo_status_to_string(st));
}

}  // namespace ghost
