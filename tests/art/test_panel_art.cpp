// The panel's bitmaps as the window layer loads them by number. Positions
// below are the panel's layout; the fader mapping is written out here once
// more (travel points from the images' own sizes), so a scale mark that
// drifts from where a thumb really stands fails.
#include <gtest/gtest.h>

#include <cairo.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "CDC.h"
#include "PanelGeometry.h"
#include "ParamMap.h"

namespace {

struct Picture {
    CBitmap bitmap;
    int width = 0, height = 0;
    explicit Picture(unsigned id)
    {
        if (bitmap.LoadBitmap(id)) {
            width = cairo_image_surface_get_width(bitmap.GetImage());
            height = cairo_image_surface_get_height(bitmap.GetImage());
        }
    }
    // 0xAARRGGBB (premultiplied, as Cairo keeps it).
    uint32_t At(int x, int y) const
    {
        cairo_surface_t* s = bitmap.GetImage();
        cairo_surface_flush(s);
        const unsigned char* row = cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s);
        return reinterpret_cast<const uint32_t*>(row)[x];
    }
    bool SameRow(int y, int x0, int x1, const Picture& other, int oy, int ox0) const
    {
        for (int x = x0; x < x1; ++x)
            if (At(x, y) != other.At(ox0 + x - x0, oy))
                return false;
        return true;
    }
};

double Luma(uint32_t p)
{
    return (0.2126 * ((p >> 16) & 0xFF) + 0.7152 * ((p >> 8) & 0xFF) + 0.0722 * (p & 0xFF)) / 255.0;
}

// Thumb centre row of a vertical fader at normalised value n, relative to
// the fader's top: travel from (track height - thumb height / 2) at the
// minimum to (thumb height / 2) at the maximum.
int LinearCentre(double n, int track, int thumb)
{
    const double a = track - thumb / 2, b = thumb / 2;
    return (int)std::trunc(a - n * (a - b) - 0.5 * thumb) + thumb / 2;
}
int LogCentre(double n, int track, int thumb)
{
    const double a = track - thumb / 2, b = thumb / 2;
    return (int)std::trunc(a + (b - a) * std::log10(n * 9 + 1) + 0.5);
}

}  // namespace

TEST(PanelArt, EveryImageHasTheSizeItsPlaceNeeds)
{
    const struct {
        unsigned id;
        int width, height;
    } sizes[] = {
        {5002, 29, 40}, {5003, 29, 40},   // active switch (23, 8)-(52, 28), released over pressed
        {5006, 29, 20},                   // its disabled look
        {5007, 16, 95},                   // band fader track (x, 56)-(x + 16, 151)
        {5009, 16, 223},                  // level fader track (48, 56)-(64, 279)
        {5011, 14, 227},                  // meter: 7-pixel unlit and lit halves, rows 0..226
        {5012, 29, 34}, {5013, 29, 34},   // copy button (64, 11)-(93, 28), released over pressed
        {5014, 43, 16},                   // save button (270, 10)
        {5015, 43, 32},                   // modified indicator, two states
    };
    for (const auto& s : sizes) {
        Picture p(s.id);
        EXPECT_EQ(p.width, s.width) << s.id;
        EXPECT_EQ(p.height, s.height) << s.id;
    }
    // Every resource the panel loads exists, 5001 included.
    for (unsigned id : {5000u, 5001u, 5008u, 5010u})
        EXPECT_GT(Picture(id).width, 0) << id;
    // Thumbs fit inside their tracks, drawn from x = 1, with a centre row.
    for (unsigned thumb : {5008u, 5010u}) {
        Picture t(thumb);
        EXPECT_LE(t.width, 15) << thumb;
        EXPECT_EQ(t.height % 2, 1) << thumb;
    }
    // The background covers every control and read-out (the output read-out
    // ends at x 685, the Q read-outs at y 303).
    Picture bg(5000);
    EXPECT_GE(bg.width, 686);
    EXPECT_GE(bg.height, 304);
}

TEST(PanelArt, StatesDifferAndOpaqueWhereRedrawn)
{
    // Two stacked frames (released, pressed) and two states (off, on) differ.
    for (unsigned id : {5002u, 5003u, 5012u, 5013u, 5015u}) {
        Picture p(id);
        const int half = p.height / 2;
        int differ = 0;
        for (int y = 0; y < half; ++y)
            differ += !p.SameRow(y, 0, p.width, p, y + half, 0);
        EXPECT_GT(differ, half / 2) << id;
    }
    Picture on(5002), off(5003);
    int differ = 0;
    for (int y = 0; y < on.height; ++y)
        differ += !on.SameRow(y, 0, on.width, off, y, 0);
    EXPECT_GT(differ, 4);
    // The copy button never stays on and is drawn only while its menu is
    // open: both its images and the plate at its place show it released.
    Picture copyOn(5012), copyOff(5013), bg(5000);
    for (int y = 0; y < copyOn.height; ++y)
        EXPECT_TRUE(copyOn.SameRow(y, 0, copyOn.width, copyOff, y, 0)) << y;
    for (int y = 0; y < copyOff.height / 2; ++y)
        EXPECT_TRUE(bg.SameRow(11 + y, 64, 93, copyOff, y, 0)) << y;
    // Tracks, switches and meters are drawn over their old pixels: fully
    // opaque. (Thumbs may have soft corners: the track lies under them.)
    for (unsigned id : {5002u, 5003u, 5007u, 5009u, 5011u, 5012u, 5013u, 5014u, 5015u}) {
        Picture p(id);
        for (int y = 0; y < p.height; ++y)
            for (int x = 0; x < p.width; ++x)
                ASSERT_EQ(p.At(x, y) >> 24, 0xFFu) << id << " at " << x << "," << y;
    }
}

TEST(PanelArt, MeterHalvesDifferOnlyWhereSegmentsLight)
{
    Picture m(5011);
    const int half = m.width / 2;
    // Row 0 and row 226 (the floor, -69 dB) are the same in both halves, so
    // silence lights nothing; +6 dB (row 1) and 0 dB (row 19) light up.
    EXPECT_TRUE(m.SameRow(0, 0, half, m, 0, half));
    EXPECT_TRUE(m.SameRow(226, 0, half, m, 226, half));
    for (int y : {1, 19, 19 + 3 * 12, 19 + 3 * 60})
        EXPECT_FALSE(m.SameRow(y, 0, half, m, y, half)) << y;
    // The lit half is brighter along every lit row.
    for (int y = 1; y < 226; ++y) {
        if (m.SameRow(y, 0, half, m, y, half))
            continue;
        EXPECT_GT(Luma(m.At(half / 2 + half, y)), Luma(m.At(half / 2, y)) + 0.2) << y;
    }
}

TEST(PanelArt, ReadoutWindowsAreLightForBlackDigits)
{
    Picture bg(5000);
    auto wellIsLight = [&](int l, int t, int r, int b) {
        for (int y = t + 2; y < b - 1; y += 3)
            for (int x = l + 2; x < r - 1; x += 3)
                if (Luma(bg.At(x, y)) < 0.55)
                    return false;
        return true;
    };
    for (int band = 0; band < 15; ++band) {
        const int x = 97 + 36 * band;
        EXPECT_TRUE(wellIsLight(x - 7, 154, x + 23, 170)) << "gain " << band;
        EXPECT_TRUE(wellIsLight(x - 7, 287, x + 23, 303)) << "Q " << band;
    }
    EXPECT_TRUE(wellIsLight(14, 285, 48, 301));
    EXPECT_TRUE(wellIsLight(651, 285, 685, 301));
    using namespace panel_art;
    EXPECT_TRUE(wellIsLight(kProgramLeft, kProgramTop, kProgramRight, kProgramBottom)) << "program";
}

TEST(PanelArt, BandNamesKeepAGapBetweenThem)
{
    Picture bg(5000);
    const uint32_t plate = bg.At(97 + 26, 100);
    // Between the centres of two neighbouring bands, a column of plain plate
    // the height of the names' row.
    for (int band = 0; band + 1 < 15; ++band) {
        const int c0 = 97 + 36 * band + 8, c1 = c0 + 36;
        int clear = 0;
        for (int x = c0 + 1; x < c1; ++x) {
            bool plain = true;
            for (int y = 172; y < 188 && plain; ++y)
                plain = bg.At(x, y) == plate;
            clear += plain;
        }
        EXPECT_GE(clear, 4) << "between bands " << band << " and " << band + 1;
    }
}

TEST(PanelArt, ScaleMarksSitOnTheThumbCentreLine)
{
    Picture bg(5000), track(5007), thumb(5008), levelTrack(5009), levelThumb(5010);
    // A mark is a row that differs from the plate (sampled off the marks)
    // while the rows above and below it do not.
    auto markAt = [&](uint32_t plate, int x, int y) {
        return bg.At(x, y) != plate && bg.At(x, y - 1) == plate && bg.At(x, y + 1) == plate;
    };
    const uint32_t plate = bg.At(97 + 26, 100);  // between two faders
    for (int band : {0, 7, 14}) {
        const int x = 97 + 36 * band + 17;
        for (double dB : {-12.0, -6.0, 0.0, 6.0, 12.0}) {
            const double n = ValToNormalizeValue(kParamGainFirst + band, (float)dB);
            const int y = 56 + LinearCentre(n, track.height, thumb.height);
            EXPECT_TRUE(markAt(plate, x, y)) << band << " " << dB << " dB";
        }
        for (double q : {1.0, 5.0, 10.0, 15.0, 20.0}) {
            const double n = ValToNormalizeValue(kParamQFirst + band, (float)q);
            const int y = 189 + LinearCentre(n, track.height, thumb.height);
            EXPECT_TRUE(markAt(plate, x, y)) << band << " Q " << q;
        }
    }
    // Level faders: their own scale on the inner side of each (right of the
    // input fader, left of the output fader), a mark at every level it names
    // on the row of the thumb's centre (a logarithmic travel), and beside
    // each mark its number in red, unlike the grey of the meters' scale.
    const uint32_t levelPlate = bg.At(66, 100);
    auto reddish = [&](int x0, int x1, int y) {
        for (int yy = y - 3; yy <= y + 3; ++yy)
            for (int x = x0; x < x1; ++x) {
                const uint32_t p = bg.At(x, yy);
                if (int((p >> 16) & 0xFF) > int((p >> 8) & 0xFF) + 40) return true;
            }
        return false;
    };
    auto inked = [&](int x0, int x1, int y) {
        for (int x = x0; x < x1; ++x)
            if (bg.At(x, y) != levelPlate) return true;
        return false;
    };
    const struct {
        int faderX, param;
        std::vector<int> marks;
        int tickX, labelX0, labelX1;
    } levels[] = {
        {48, kParamInput, {0, -6, -12, -18, -24, -36}, 65, 68, 78},
        {650, kParamOutput, {6, -6, -12, -18, -24, -36}, 648, 636, 647},
    };
    for (const auto& l : levels) {
        for (int dB : l.marks) {
            const double n = ValToNormalizeValue(l.param, (float)std::pow(2.0, dB / 6.0));
            const int y = 56 + LogCentre(n, levelTrack.height, levelThumb.height);
            EXPECT_TRUE(markAt(levelPlate, l.tickX, y)) << l.param << " at " << dB << " dB";
            EXPECT_TRUE(reddish(l.labelX0, l.labelX1, y)) << l.param << " label " << dB << " dB";
        }
        // The meters' scale, outside the meters (3 rows per dB, 0 dB at row
        // 19), carries its own numbers, not in the faders' red.
        for (int dB : {-6, -12, -24}) {
            const int y = 56 + 19 - 3 * dB + 1;
            const int x0 = l.faderX == 48 ? 8 : 690;
            EXPECT_TRUE(!reddish(x0, x0 + 16, y) && inked(x0, x0 + 16, y)) << dB;
        }
    }
    // Unity (amber) on the output fader.
    const int unity = 56 + LogCentre(ValToNormalizeValue(kParamOutput, 1.0f), levelTrack.height, levelThumb.height);
    EXPECT_TRUE(markAt(levelPlate, 648, unity));
}
