// Device contexts, bitmaps and fonts, checked by the pixels they leave on
// image surfaces. Resources 9000-9003 come from resources/bitmaps.
#include <gtest/gtest.h>

#include <cairo.h>

#include <cstring>
#include <memory>

#include "CDC.h"
#include "CString.h"
#include "test_support.h"

namespace {

// 9000 is 20 x 10, opaque; red = 10 * column, green = 20 * row, blue 200.
// col < 0: expects the pixel untouched (fully transparent).
void ExpectSourcePixel(cairo_surface_t* s, int x, int y, int col, int row)
{
    Pixel p = PixelAt(s, x, y);
    if (col < 0)
        EXPECT_EQ(p.a, 0) << "untouched at " << x << "," << y;
    else
        EXPECT_TRUE(p.a == 255 && p.r == col * 10 && p.g == row * 20 && p.b == 200)
            << "at " << x << "," << y << ": " << p.a << " " << p.r << " " << p.g << " " << p.b;
}

// A memory context with bitmap id selected, as the editor's sources are.
struct Memory {
    CBitmap bmp;
    CDC dc;
    explicit Memory(UINT id) { bmp.LoadBitmap(id), dc.CreateCompatibleDC(nullptr), dc.SelectObject(&bmp); }
};

// A white image context of w x h, with font selected if given.
std::unique_ptr<CDC> WhiteDC(int w, int h, CFont* font = nullptr)
{
    auto dc = std::make_unique<CDC>();
    dc->CreateBitmapDC(w, h);
    dc->FillSolidRect(0, 0, w, h, RGB(255, 255, 255));
    if (font) dc->SelectObject(font);
    return dc;
}

std::vector<unsigned char> Bytes(CDC& dc)
{
    cairo_surface_t* s = dc.GetOwnedSurface();
    cairo_surface_flush(s);
    const unsigned char* d = cairo_image_surface_get_data(s);
    return {d, d + cairo_image_surface_get_stride(s) * cairo_image_surface_get_height(s)};
}

// Dark pixels and the lowest row holding one.
int DarkPixels(CDC& dc, int* lowest = nullptr)
{
    cairo_surface_t* s = dc.GetOwnedSurface();
    int n = 0;
    for (int y = 0; y < cairo_image_surface_get_height(s); ++y)
        for (int x = 0; x < cairo_image_surface_get_width(s); ++x)
            if (PixelAt(s, x, y).g < 100) {
                ++n;
                if (lowest) *lowest = y;
            }
    return n;
}

}  // namespace

TEST(Bitmaps, ResourcesLoadByNumber)
{
    void* img = LoadBitmap0(9000, "any.bundle");
    ASSERT_NE(img, nullptr);
    int w = 0, h = 0, row = 0;
    GetBitmapSize0(img, &w, &h, &row);
    EXPECT_EQ(CSize(w, h), CSize(20, 10));
    CBitmap b;
    EXPECT_TRUE(b.Attach(img));
    EXPECT_EQ(CGdiObject::FromHandle(img), &b);
    EXPECT_TRUE(b.DeleteObject());
    EXPECT_EQ(CGdiObject::FromHandle(img), nullptr);
    EXPECT_FALSE(b.DeleteObject()) << "an empty bitmap has nothing to release";

    // Missing and undecodable resources.
    for (int id : {4242, 9003}) {
        EXPECT_EQ(LoadBitmap0(id, nullptr), nullptr) << id;
        EXPECT_EQ(LoadBitmap((UINT)id), nullptr) << id;
        EXPECT_FALSE(b.LoadBitmap((UINT)id)) << id;
    }
    EXPECT_TRUE(b.LoadBitmap(MAKEINTRESOURCE(9001)));
    EXPECT_EQ(b.GetSize(), CSize(10, 10));
}

TEST(BitBlt, PlacesWholeImagesAndCutsSubImages)
{
    Memory src(9000);
    CDC dc;
    ASSERT_TRUE(dc.CreateBitmapDC(100, 100));
    EXPECT_TRUE(dc.BitBlt(0, 0, 20, 10, &src.dc, 0, 0, SRCCOPY));  // whole image at (0, 0)
    dc.BitBlt(30, 40, 10, 10, &src.dc, 5, 0, SRCCOPY);             // source columns 5 to 14
    // A cut reaching past the image keeps the part inside, which then fills
    // the destination (columns 15-19 over 10 pixels).
    dc.BitBlt(60, 0, 10, 10, &src.dc, 15, 0, SRCCOPY);
    dc.BitBlt(0, 80, 10, 10, &src.dc, 40, 0, SRCCOPY);  // entirely outside: nothing
    const int want[][4] = {{0, 0, 0, 0},   {19, 9, 19, 9},  {0, 10, -1, 0},  {20, 0, -1, 0}, {30, 40, 5, 0},
                           {39, 49, 14, 9}, {40, 40, -1, 0}, {29, 40, -1, 0}, {60, 0, 15, 0}, {69, 0, 19, 0},
                           {0, 80, -1, 0}};
    for (const auto& p : want) ExpectSourcePixel(dc.GetOwnedSurface(), p[0], p[1], p[2], p[3]);

    // The origin offsets move destination and source.
    CDC moved;
    moved.CreateBitmapDC(50, 50);
    moved.m_nOriginX = 7;
    moved.m_nOriginY = 3;
    moved.BitBlt(0, 0, 20, 10, &src.dc, 0, 0, SRCCOPY);
    ExpectSourcePixel(moved.GetOwnedSurface(), 7, 3, 0, 0);
    ExpectSourcePixel(moved.GetOwnedSurface(), 6, 3, -1, 0);

    // An owned context serves as a source, even for itself (from a snapshot).
    CDC green;
    green.CreateBitmapDC(8, 8);
    green.FillSolidRect(0, 0, 8, 8, RGB(0, 255, 0));
    moved.BitBlt(30, 30, 8, 8, &green, 0, 0, SRCCOPY);
    EXPECT_EQ(PixelAt(moved.GetOwnedSurface(), 37, 34).g, 255);
    moved.BitBlt(0, 0, 8, 8, &moved, 30, 30, SRCCOPY);
    EXPECT_EQ(PixelAt(moved.GetOwnedSurface(), 7, 3).g, 255);
}

TEST(BitBlt, MemoryContextsAreNeverDestinations)
{
    Memory src(9000);
    Memory dst(9001);
    const std::vector<unsigned char> before(cairo_image_surface_get_data(dst.bmp.GetImage()),
                                            cairo_image_surface_get_data(dst.bmp.GetImage()) + 400);
    EXPECT_TRUE(dst.dc.BitBlt(0, 0, 10, 10, &src.dc, 0, 0, SRCCOPY));
    EXPECT_EQ(std::memcmp(before.data(), cairo_image_surface_get_data(dst.bmp.GetImage()), 400), 0);

    CDC nothing;  // no surface at all
    EXPECT_TRUE(nothing.BitBlt(0, 0, 10, 10, &src.dc, 0, 0, SRCCOPY));
    CDC dc;
    dc.CreateBitmapDC(10, 10);
    CDC empty;
    EXPECT_TRUE(dc.BitBlt(0, 0, 10, 10, &empty, 0, 0, SRCCOPY)) << "a source with nothing draws nothing";
    ExpectSourcePixel(dc.GetOwnedSurface(), 0, 0, -1, 0);
}

TEST(BitBlt, EveryRasterOperationDrawsSourceOver)
{
    Memory src(9001);  // red at half opacity
    std::vector<unsigned char> first;
    const DWORD rops[] = {SRCCOPY, SRCINVERT, SRCAND, 0xFB0A09};
    for (DWORD rop : rops) {
        CDC dc;
        dc.CreateBitmapDC(16, 16);
        dc.FillSolidRect(0, 0, 16, 16, RGB(0, 0, 255));
        dc.BitBlt(3, 3, 10, 10, &src.dc, 0, 0, rop);
        Pixel p = PixelAt(dc.GetOwnedSurface(), 5, 5), q = PixelAt(dc.GetOwnedSurface(), 0, 0);
        EXPECT_EQ(p.a, 255);
        EXPECT_NEAR(p.r, 128, 2);
        EXPECT_NEAR(p.b, 127, 2);
        EXPECT_TRUE(q.b == 255 && q.r == 0);
        if (first.empty()) first = Bytes(dc);
        EXPECT_EQ(Bytes(dc), first) << "raster op " << std::hex << rop;
    }
}

TEST(SelectObject, OneMeansNothingSelected)
{
    CDC dc;
    CBitmap a, b;
    CBitmap* none = dc.SelectObject(&a);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(none), 1u);
    EXPECT_EQ(dc.SelectObject(&b), &a);
    EXPECT_EQ(dc.SelectObject(none), &b);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(dc.SelectObject(none)), 1u);
    CFont f;
    f.CreatePointFont(9, "Osaka");
    CFont* noneFont = dc.SelectObject(&f);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(noneFont), 1u);
    EXPECT_EQ(dc.SelectObject(noneFont), &f);
    EXPECT_EQ(dc.m_pSelectedFont, nullptr);
}

TEST(StretchBlt, DrawsOnlyIntoAnAttachedContextMeasuringYFromTheBottom)
{
    Memory src(9000);
    CDC owned;
    owned.CreateBitmapDC(40, 100);
    owned.StretchBlt(0, 0, 20, 20, &src.dc, 0, 0, 20, 10, SRCCOPY);
    ExpectSourcePixel(owned.GetOwnedSurface(), 0, 0, -1, 0);
    ExpectSourcePixel(owned.GetOwnedSurface(), 0, 99, -1, 0);

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
    ExpectSourcePixel(s, 0, 79, -1, 0);
    attached.m_pAttached = nullptr;
    cairo_destroy(cr);
    cairo_surface_destroy(s);
}

TEST(Fonts, WholePointSizesAndAscentLessTwo)
{
    CFont f12, f9;
    EXPECT_TRUE(f12.CreatePointFont(12, "Osaka"));
    EXPECT_TRUE(f9.CreatePointFont(9, "Osaka"));
    ASSERT_NE(f12.GetSafeHandle(), nullptr) << "a missing face falls back through fontconfig";
    // A 12-point font, not a 1.2-point one: its ascent is most of 12 pixels.
    EXPECT_GE(f12.m_nAscent, 6);
    EXPECT_LE(f12.m_nAscent, 11);
    EXPECT_GT(f12.m_nAscent, f9.m_nAscent);
    EXPECT_GE(f12.m_nHeight, f12.m_nAscent + 2);
    // Face names of any length are kept whole; a resource number is a name too.
    f9.CreatePointFont(10, CString('x', 100));
    EXPECT_EQ(f9.m_strFaceName.GetLength(), 100);
    f9.CreatePointFont(10, MAKEINTRESOURCE(5000));
    EXPECT_EQ(f9.m_strFaceName, "5000");
    f9.CreatePointFont(10, nullptr);
    EXPECT_TRUE(f9.m_strFaceName.IsEmpty());
}

TEST(Text, BaselineLiesAtTopPlusAscent)
{
    CFont font;
    font.CreatePointFont(12, "Osaka");
    for (int ascent : {font.m_nAscent, 9}) {
        font.m_nAscent = ascent;
        auto dc = WhiteDC(120, 60, &font);
        dc->SetTextColor(RGB(0, 0, 0));
        EXPECT_TRUE(dc->ExtTextOut(10, 20, 0, nullptr, "HHHH", 4, nullptr));
        // The bottom of "H" sits on the baseline: its last row is just above.
        int lowest = -1;
        DarkPixels(*dc, &lowest);
        EXPECT_EQ(lowest, 20 + ascent - 1) << "ascent " << ascent;
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
    EXPECT_EQ(PixelAt(dc.GetOwnedSurface(), 15, 15).a, 0);

    CFont font;
    font.CreatePointFont(12, "Osaka");
    dc.SelectObject(&font);
    CSize two = dc.GetTextExtent("HH", -1);
    EXPECT_GT(two.cx, 0);
    EXPECT_GT(dc.GetTextExtent("HHHH", -1).cx, two.cx);
    EXPECT_GE(two.cy, 12);
    EXPECT_EQ(dc.GetTextExtent("HHHH", 2), two) << "the count limits what is measured";
    EXPECT_EQ(dc.GetTextExtent(nullptr, 3), CSize(0, 0));

    // Without a selected font text still draws (Helvetica 12 stands in).
    auto plain = WhiteDC(100, 30);
    plain->ExtTextOut(2, 2, 0, nullptr, "Text", 4, nullptr);
    EXPECT_GT(DarkPixels(*plain), 10);
    // Bytes that are not UTF-8 are drawn as replacement characters, safely.
    plain->ExtTextOut(2, 2, 0, nullptr, "\xff\xfe\x80 bad", 8, nullptr);
    EXPECT_GT(plain->GetTextExtent("\xff\xfe", -1).cx, 0);

    // Japanese program names render: "program" in katakana.
    const char* name = "\xe3\x83\x97\xe3\x83\xad\xe3\x82\xb0\xe3\x83\xa9\xe3\x83\xa0";
    auto jp = WhiteDC(120, 30, &font);
    jp->ExtTextOut(2, 2, 0, nullptr, name, 15, nullptr);
    EXPECT_GT(DarkPixels(*jp), 30);
    EXPECT_GE(jp->GetTextExtent(name, -1).cx, 5 * 9) << "five full-width characters";
}

// The editor hands its texts over as string objects: they must draw and
// measure exactly as their characters do, and a string-resource number must
// never be read as an address.
TEST(Text, StringObjectsDrawAndMeasureAsTheirCharacters)
{
    CFont font;
    font.CreatePointFont(12, CString("Osaka"));
    EXPECT_EQ(font.m_strFaceName, "Osaka");
    const CString label("-12.0dB");
    LPCTSTR id = MAKEINTRESOURCE(5000);  // a missing resource's text is its number
    auto chars = WhiteDC(120, 30, &font), object = WhiteDC(120, 30, &font), textOut = WhiteDC(120, 30, &font);
    auto byNumber = WhiteDC(120, 30, &font), byText = WhiteDC(120, 30, &font);
    chars->ExtTextOut(3, 4, 0, nullptr, "-12.0dB", 7, nullptr);
    object->ExtTextOut(3, 4, 0, nullptr, label, nullptr);
    textOut->TextOut(3, 4, label);
    byNumber->ExtTextOut(3, 4, 0, nullptr, id, 0, nullptr);
    byText->TextOut(3, 4, CString("5000"));
    EXPECT_GT(DarkPixels(*chars), 10);
    EXPECT_EQ(Bytes(*chars), Bytes(*object));
    EXPECT_EQ(Bytes(*chars), Bytes(*textOut));
    EXPECT_EQ(Bytes(*byNumber), Bytes(*byText));
    EXPECT_EQ(chars->GetTextExtent(label), chars->GetTextExtent("-12.0dB", -1));
    EXPECT_EQ(chars->GetTextExtent(CString()).cx, 0);
    EXPECT_EQ(chars->GetTextExtent(id, -1), chars->GetTextExtent("5000", -1));
}

TEST(Contexts, CreateBitmapDCRejectsEmptySizesAndCreateDCNeedsTheApp)
{
    CDC dc;
    EXPECT_FALSE(dc.CreateBitmapDC(0, 10));
    EXPECT_FALSE(dc.CreateBitmapDC(10, -1));
    EXPECT_EQ(dc.GetOwnedSurface(), nullptr);
    EXPECT_TRUE(dc.CreateDC("DISPLAY", nullptr, nullptr, nullptr));
    EXPECT_EQ(dc.GetOwnedSurface(), nullptr);
    CWinApp app("test");
    CDC display;
    EXPECT_TRUE(display.CreateDC("DISPLAY", nullptr, nullptr, nullptr));
    EXPECT_NE(display.GetOwnedSurface(), nullptr);
}
