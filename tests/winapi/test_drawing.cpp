// Device contexts, bitmaps and fonts, checked by the pixels they leave on
// image surfaces. Resources 9000-9003 come from resources/bitmaps.
#include <gtest/gtest.h>

#include <cairo.h>

#include <cstring>
#include <memory>

#include "CDC.h"
#include "CString.h"
#include "CWnd.h"
#include "test_support.h"

namespace {

// 9000 is 20 x 10, opaque; red = 10 * column, green = 20 * row, blue 200.
void ExpectSourcePixel(cairo_surface_t* s, int x, int y, int col, int row)
{
    Pixel p = PixelAt(s, x, y);
    EXPECT_EQ(p.a, 255) << "at " << x << "," << y;
    EXPECT_EQ(p.r, col * 10) << "at " << x << "," << y;
    EXPECT_EQ(p.g, row * 20) << "at " << x << "," << y;
    EXPECT_EQ(p.b, 200) << "at " << x << "," << y;
}

bool Untouched(cairo_surface_t* s, int x, int y) { return PixelAt(s, x, y).a == 0; }

struct Memory {
    CBitmap bmp;
    CDC dc;
    CBitmap* old = nullptr;
    explicit Memory(UINT id)
    {
        bmp.LoadBitmap(id);
        dc.CreateCompatibleDC(nullptr);
        old = dc.SelectObject(&bmp);
    }
    ~Memory() { dc.SelectObject(old); }
};

// Lowest row of the surface holding a dark pixel in columns [x0, x1).
int LowestDarkRow(cairo_surface_t* s, int x0, int x1)
{
    int h = cairo_image_surface_get_height(s), lowest = -1;
    for (int y = 0; y < h; ++y)
        for (int x = x0; x < x1; ++x)
            if (PixelAt(s, x, y).g < 100) lowest = y;
    return lowest;
}

int DarkPixels(cairo_surface_t* s)
{
    int n = 0;
    for (int y = 0; y < cairo_image_surface_get_height(s); ++y)
        for (int x = 0; x < cairo_image_surface_get_width(s); ++x) n += PixelAt(s, x, y).g < 100;
    return n;
}

}  // namespace

TEST(Bitmaps, ResourcesLoadByNumber)
{
    void* img = LoadBitmap0(9000, "any.bundle");
    ASSERT_NE(img, nullptr);
    int w = 0, h = 0, row = 0;
    GetBitmapSize0(img, &w, &h, &row);
    EXPECT_EQ(w, 20);
    EXPECT_EQ(h, 10);
    EXPECT_EQ(row, 80);

    CBitmap b;
    EXPECT_TRUE(b.Attach(img));
    EXPECT_EQ(CGdiObject::FromHandle(img), &b);
    EXPECT_EQ(b.GetSize(), CSize(20, 10));
    EXPECT_TRUE(b.DeleteObject());
    EXPECT_EQ(b.GetSafeHandle(), nullptr);
    EXPECT_EQ(CGdiObject::FromHandle(img), nullptr);
    EXPECT_FALSE(b.DeleteObject()) << "an empty bitmap has nothing to release";
    EXPECT_FALSE(b.Attach(nullptr));

    EXPECT_EQ(LoadBitmap0(4242, nullptr), nullptr) << "missing resource";
    EXPECT_EQ(LoadBitmap0(9003, nullptr), nullptr) << "undecodable resource";
    EXPECT_EQ(LoadBitmap(9003), nullptr);
    EXPECT_EQ(LoadBitmap(4242), nullptr);
    CBitmap byName;
    EXPECT_TRUE(byName.LoadBitmap(MAKEINTRESOURCE(9001)));
    EXPECT_EQ(byName.GetSize(), CSize(10, 10));
    CBitmap missing;
    EXPECT_FALSE(missing.LoadBitmap(4242u));
}

TEST(BitBlt, PlacesWholeImagesAndCutsSubImages)
{
    Memory src(9000);
    CDC dc;
    ASSERT_TRUE(dc.CreateBitmapDC(100, 100));
    cairo_surface_t* s = dc.GetOwnedSurface();

    // The whole image at (0, 0) lands in the top rows.
    EXPECT_TRUE(dc.BitBlt(0, 0, 20, 10, &src.dc, 0, 0, SRCCOPY));
    ExpectSourcePixel(s, 0, 0, 0, 0);
    ExpectSourcePixel(s, 19, 9, 19, 9);
    EXPECT_TRUE(Untouched(s, 0, 10));
    EXPECT_TRUE(Untouched(s, 20, 0));

    // Source position (5, 0), width 10: columns 5 to 14.
    dc.BitBlt(30, 40, 10, 10, &src.dc, 5, 0, SRCCOPY);
    ExpectSourcePixel(s, 30, 40, 5, 0);
    ExpectSourcePixel(s, 39, 49, 14, 9);
    EXPECT_TRUE(Untouched(s, 40, 40));
    EXPECT_TRUE(Untouched(s, 29, 40));

    // A cut reaching past the image keeps the part inside, which then fills
    // the destination (columns 15-19 over 10 pixels).
    dc.BitBlt(60, 0, 10, 10, &src.dc, 15, 0, SRCCOPY);
    ExpectSourcePixel(s, 60, 0, 15, 0);
    ExpectSourcePixel(s, 69, 0, 19, 0);

    // A cut entirely outside draws nothing.
    dc.BitBlt(0, 80, 10, 10, &src.dc, 40, 0, SRCCOPY);
    EXPECT_TRUE(Untouched(s, 0, 80));

    // The origin offsets move destination and source.
    CDC moved;
    moved.CreateBitmapDC(50, 50);
    moved.m_nOriginX = 7;
    moved.m_nOriginY = 3;
    moved.BitBlt(0, 0, 20, 10, &src.dc, 0, 0, SRCCOPY);
    ExpectSourcePixel(moved.GetOwnedSurface(), 7, 3, 0, 0);
    EXPECT_TRUE(Untouched(moved.GetOwnedSurface(), 6, 3));
}

TEST(BitBlt, MemoryContextsAreNeverDestinations)
{
    Memory src(9000);
    Memory dst(9001);
    cairo_surface_t* img = dst.bmp.GetImage();
    Pixel before = PixelAt(img, 0, 0);
    EXPECT_TRUE(dst.dc.BitBlt(0, 0, 10, 10, &src.dc, 0, 0, SRCCOPY));
    Pixel after = PixelAt(img, 0, 0);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);

    CDC nothing;  // no surface at all
    EXPECT_TRUE(nothing.BitBlt(0, 0, 10, 10, &src.dc, 0, 0, SRCCOPY));
    CDC dc;
    dc.CreateBitmapDC(10, 10);
    CDC empty;
    EXPECT_TRUE(dc.BitBlt(0, 0, 10, 10, &empty, 0, 0, SRCCOPY)) << "a source with nothing draws nothing";
    EXPECT_TRUE(Untouched(dc.GetOwnedSurface(), 0, 0));
}

TEST(BitBlt, EveryRasterOperationDrawsSourceOver)
{
    Memory src(9001);  // red at half opacity
    const DWORD rops[] = {SRCCOPY, SRCINVERT, SRCAND, 0xFB0A09};
    std::vector<std::vector<unsigned char>> pictures;
    for (DWORD rop : rops) {
        CDC dc;
        dc.CreateBitmapDC(16, 16);
        dc.FillSolidRect(0, 0, 16, 16, RGB(0, 0, 255));
        dc.BitBlt(3, 3, 10, 10, &src.dc, 0, 0, rop);
        cairo_surface_t* s = dc.GetOwnedSurface();
        cairo_surface_flush(s);
        const unsigned char* d = cairo_image_surface_get_data(s);
        pictures.emplace_back(d, d + cairo_image_surface_get_stride(s) * 16);
        Pixel p = PixelAt(s, 5, 5);
        EXPECT_EQ(p.a, 255);
        EXPECT_NEAR(p.r, 128, 2);
        EXPECT_NEAR(p.b, 127, 2);
        Pixel q = PixelAt(s, 0, 0);
        EXPECT_EQ(q.b, 255);
        EXPECT_EQ(q.r, 0);
    }
    for (size_t i = 1; i < pictures.size(); ++i) EXPECT_EQ(pictures[i], pictures[0]) << "raster op " << i;
}

TEST(BitBlt, OwnedContextsServeAsSources)
{
    CDC green;
    green.CreateBitmapDC(8, 8);
    green.FillSolidRect(0, 0, 8, 8, RGB(0, 255, 0));
    CDC dc;
    dc.CreateBitmapDC(20, 20);
    dc.BitBlt(10, 10, 8, 8, &green, 0, 0, SRCCOPY);
    EXPECT_EQ(PixelAt(dc.GetOwnedSurface(), 10, 10).g, 255);
    EXPECT_TRUE(Untouched(dc.GetOwnedSurface(), 9, 9));
    // Into itself: works from a snapshot.
    dc.BitBlt(0, 0, 8, 8, &dc, 10, 10, SRCCOPY);
    EXPECT_EQ(PixelAt(dc.GetOwnedSurface(), 0, 0).g, 255);
}

TEST(SelectObject, OneMeansNothingSelected)
{
    CDC dc;
    CBitmap a, b;
    a.LoadBitmap(9000u);
    b.LoadBitmap(9001u);
    CBitmap* none = dc.SelectObject(&a);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(none), 1u);
    EXPECT_EQ(dc.SelectObject(&b), &a);
    EXPECT_EQ(dc.SelectObject(none), &b);
    EXPECT_EQ(dc.m_pSelectedBitmap, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(dc.SelectObject(none)), 1u);

    CFont f;
    f.CreatePointFont(9, "Osaka");
    CFont* noneFont = dc.SelectObject(&f);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(noneFont), 1u);
    EXPECT_EQ(dc.m_nTextAscent, f.m_nAscent);
    EXPECT_EQ(dc.m_nTextHeight, f.m_nHeight);
    EXPECT_EQ(dc.SelectObject(noneFont), &f);
    EXPECT_EQ(dc.m_pSelectedFont, nullptr);

    CDC compatible;
    compatible.CreateCompatibleDC(&dc);
    EXPECT_EQ(compatible.m_nTextAscent, f.m_nAscent);
    EXPECT_EQ(compatible.GetOwnedSurface(), nullptr) << "a memory DC has no surface of its own";
}

TEST(StretchBlt, DrawsOnlyIntoAnAttachedContextMeasuringYFromTheBottom)
{
    Memory src(9000);
    CDC owned;
    owned.CreateBitmapDC(40, 100);
    owned.StretchBlt(0, 0, 20, 20, &src.dc, 0, 0, 20, 10, SRCCOPY);
    EXPECT_TRUE(Untouched(owned.GetOwnedSurface(), 0, 0));
    EXPECT_TRUE(Untouched(owned.GetOwnedSurface(), 0, 99));

    // A window's context, stood in for by an image surface.
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 40, 100);
    cairo_t* cr = cairo_create(s);
    CDC attached;
    attached.m_pAttached = cr;
    attached.m_nWidth = 40;
    attached.m_nHeight = 100;
    attached.StretchBlt(0, 0, 20, 20, &src.dc, 0, 0, 20, 10, SRCCOPY);  // doubled vertically
    ExpectSourcePixel(s, 0, 80, 0, 0);
    ExpectSourcePixel(s, 19, 99, 19, 9);
    EXPECT_TRUE(Untouched(s, 0, 79));
    attached.m_pAttached = nullptr;
    cairo_destroy(cr);
    cairo_surface_destroy(s);
}

TEST(Fonts, WholePointSizesAndAscentLessTwo)
{
    CFont f12, f9;
    EXPECT_TRUE(f12.CreatePointFont(12, "Osaka"));
    EXPECT_TRUE(f9.CreatePointFont(9, "Osaka"));
    EXPECT_EQ(f12.m_nPointSize, 12);
    EXPECT_STREQ(f12.m_strFaceName, "Osaka");
    ASSERT_NE(f12.GetSafeHandle(), nullptr) << "a missing face falls back through fontconfig";
    // A 12-point font, not a 1.2-point one: its ascent is most of 12 pixels.
    EXPECT_GE(f12.m_nAscent, 6);
    EXPECT_LE(f12.m_nAscent, 11);
    EXPECT_GT(f12.m_nAscent, f9.m_nAscent);
    EXPECT_GE(f12.m_nHeight, f12.m_nAscent + 2);
    EXPECT_TRUE(f12.DeleteObject());
    EXPECT_EQ(f12.GetSafeHandle(), nullptr);
}

TEST(Text, BaselineLiesAtTopPlusAscent)
{
    CFont font;
    font.CreatePointFont(12, "Osaka");
    for (int ascent : {font.m_nAscent, 9}) {
        font.m_nAscent = ascent;
        CDC dc;
        dc.CreateBitmapDC(120, 60);
        dc.FillSolidRect(0, 0, 120, 60, RGB(255, 255, 255));
        dc.SelectObject(&font);
        dc.SetTextColor(RGB(0, 0, 0));
        EXPECT_TRUE(dc.ExtTextOut(10, 20, 0, nullptr, "HHHH", 4, nullptr));
        // The bottom of "H" sits on the baseline: its last row is just above.
        EXPECT_EQ(LowestDarkRow(dc.GetOwnedSurface(), 0, 120), 20 + ascent - 1) << "ascent " << ascent;
    }
}

TEST(Text, OpaqueFillExtentAndOddInput)
{
    CDC dc;
    dc.CreateBitmapDC(100, 40);
    dc.SetBkColor(RGB(0, 0, 255));
    CRect r(5, 5, 15, 15);
    dc.ExtTextOut(0, 0, ETO_OPAQUE, &r, nullptr, 0, nullptr);
    EXPECT_EQ(PixelAt(dc.GetOwnedSurface(), 5, 5).b, 255);
    EXPECT_EQ(PixelAt(dc.GetOwnedSurface(), 14, 14).b, 255);
    EXPECT_TRUE(Untouched(dc.GetOwnedSurface(), 15, 15));
    dc.ExtTextOut(0, 0, 0, &r, nullptr, 0, nullptr);  // no fill without the option, no text: nothing

    CFont font;
    font.CreatePointFont(12, "Osaka");
    dc.SelectObject(&font);
    CSize two = dc.GetTextExtent("HH", -1);
    CSize four = dc.GetTextExtent("HHHH", -1);
    EXPECT_GT(two.cx, 0);
    EXPECT_GT(four.cx, two.cx);
    EXPECT_GE(two.cy, 12);
    EXPECT_EQ(dc.GetTextExtent("HHHH", 2), two) << "the count limits what is measured";
    EXPECT_EQ(dc.GetTextExtent(nullptr, 3), CSize(0, 0));

    // Without a selected font text still draws (Helvetica 12 stands in).
    CDC plain;
    plain.CreateBitmapDC(100, 30);
    plain.FillSolidRect(0, 0, 100, 30, RGB(255, 255, 255));
    plain.ExtTextOut(2, 2, 0, nullptr, "Text", 4, nullptr);
    EXPECT_GT(DarkPixels(plain.GetOwnedSurface()), 10);
    // Bytes that are not UTF-8 are drawn as replacement characters, safely.
    plain.ExtTextOut(2, 2, 0, nullptr, "\xff\xfe\x80 bad", 8, nullptr);
    EXPECT_GT(plain.GetTextExtent("\xff\xfe", -1).cx, 0);
}

TEST(Text, JapaneseProgramNamesRender)
{
    CFont font;
    font.CreatePointFont(12, "Osaka");
    CDC dc;
    dc.CreateBitmapDC(120, 30);
    dc.FillSolidRect(0, 0, 120, 30, RGB(255, 255, 255));
    dc.SelectObject(&font);
    const char* name = "\xe3\x83\x97\xe3\x83\xad\xe3\x82\xb0\xe3\x83\xa9\xe3\x83\xa0";  // "program" in katakana
    dc.ExtTextOut(2, 2, 0, nullptr, name, 15, nullptr);
    EXPECT_GT(DarkPixels(dc.GetOwnedSurface()), 30);
    EXPECT_GE(dc.GetTextExtent(name, -1).cx, 5 * 9) << "five full-width characters";
}

// The editor hands its texts over as string objects: they must draw and
// measure exactly as their characters do, and a string-resource number must
// never be read as an address.
TEST(Text, StringObjectsDrawAndMeasureAsTheirCharacters)
{
    CFont font;
    const CString face("Osaka");
    font.CreatePointFont(12, face);
    EXPECT_EQ(font.m_strFaceName, face);
    auto draw = [&](auto&& paint) {
        auto dc = std::make_unique<CDC>();
        dc->CreateBitmapDC(120, 30);
        dc->FillSolidRect(0, 0, 120, 30, RGB(255, 255, 255));
        dc->SelectObject(&font);
        paint(*dc);
        return dc;
    };
    auto same = [](CDC& a, CDC& b) {
        cairo_surface_t* sa = a.GetOwnedSurface();
        cairo_surface_t* sb = b.GetOwnedSurface();
        cairo_surface_flush(sa);
        cairo_surface_flush(sb);
        size_t bytes = (size_t)cairo_image_surface_get_stride(sa) * (size_t)cairo_image_surface_get_height(sa);
        return std::memcmp(cairo_image_surface_get_data(sa), cairo_image_surface_get_data(sb), bytes) == 0;
    };
    const CString label("-12.0dB");
    auto chars = draw([&](CDC& dc) { dc.ExtTextOut(3, 4, 0, nullptr, "-12.0dB", 7, nullptr); });
    auto object = draw([&](CDC& dc) { dc.ExtTextOut(3, 4, 0, nullptr, label, nullptr); });
    auto textOut = draw([&](CDC& dc) { dc.TextOut(3, 4, label); });
    EXPECT_GT(DarkPixels(chars->GetOwnedSurface()), 10);
    EXPECT_TRUE(same(*chars, *object));
    EXPECT_TRUE(same(*chars, *textOut));
    EXPECT_EQ(object->GetTextExtent(label), object->GetTextExtent("-12.0dB", -1));
    EXPECT_EQ(object->GetTextExtent(CString()).cx, 0);

    // A missing resource's text is its number: 5000 draws and measures as "5000".
    LPCTSTR id = reinterpret_cast<LPCTSTR>(uintptr_t{5000});
    EXPECT_EQ(chars->GetTextExtent(id, -1), chars->GetTextExtent("5000", -1));
    auto byNumber = draw([&](CDC& dc) { dc.ExtTextOut(3, 4, 0, nullptr, id, 0, nullptr); });
    auto byText = draw([&](CDC& dc) { dc.TextOut(3, 4, CString("5000")); });
    EXPECT_TRUE(same(*byNumber, *byText));

    // Face names of any length are kept whole; a resource number is a name too.
    const CString longFace(CString('x', 100));
    CFont odd;
    odd.CreatePointFont(10, longFace);
    EXPECT_EQ(odd.m_strFaceName.GetLength(), 100);
    odd.CreatePointFont(10, id);
    EXPECT_EQ(odd.m_strFaceName, "5000");
    odd.CreatePointFont(10, nullptr);
    EXPECT_TRUE(odd.m_strFaceName.IsEmpty());
}

TEST(Contexts, CreateBitmapDCRejectsEmptySizesAndCreateDCNeedsTheApp)
{
    CDC dc;
    EXPECT_FALSE(dc.CreateBitmapDC(0, 10));
    EXPECT_FALSE(dc.CreateBitmapDC(10, -1));
    EXPECT_EQ(dc.GetOwnedSurface(), nullptr);

    CDC display;
    EXPECT_TRUE(display.CreateDC("DISPLAY", nullptr, nullptr, nullptr));
    EXPECT_EQ(display.GetOwnedSurface(), nullptr);
    CWinApp app("test");
    CDC display2;
    EXPECT_TRUE(display2.CreateDC("DISPLAY", nullptr, nullptr, nullptr));
    ASSERT_NE(display2.GetOwnedSurface(), nullptr);
    EXPECT_EQ(cairo_image_surface_get_width(display2.GetOwnedSurface()), 1024);
    EXPECT_EQ(cairo_image_surface_get_stride(display2.GetOwnedSurface()), 4096);
}
