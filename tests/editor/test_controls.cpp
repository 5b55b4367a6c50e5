// The bitmap controls through their calls, drawn into off-screen contexts
// (the panel tests drive its faders with real input).
#include <gtest/gtest.h>
#include <cairo.h>

#include <vector>

#include "CDC.h"
#include "CZNTBitmap.h"
#include "CZNTBitmapSliderDC.h"
#include "CZNTBitmapSwitch2DC.h"

namespace {

struct Call {
    int id;
    float value;
};

bool Record(int id, float value, void* user)
{
    static_cast<std::vector<Call>*>(user)->push_back({id, value});
    return true;
}

// A pixel of an image surface, 0xAARRGGBB as stored.
uint32_t At(cairo_surface_t* s, int x, int y)
{
    cairo_surface_flush(s);
    return *reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s) +
                                              x * 4);
}

TEST(FaderCalls, SetValueClampsNotifiesOnlyChangesAndHorizontalIsLinear)
{
    CZNTBitmap track, thumb;
    ASSERT_TRUE(track.LoadResourceBitmap(5009u));
    ASSERT_TRUE(thumb.LoadResourceBitmap(5010u));
    std::vector<Call> calls;
    CZNTBitmapSliderDC f;
    CRect rc(0, 0, 223, 16), none;
    // Horizontal, logarithmic flag set: mapped linearly all the same.
    f.Make(rc, none, nullptr, &track, nullptr, &thumb, -1.0f, 3.0f, CPoint(10, 0), CPoint(110, 0), 3, 0, true, false,
           false, false, Record, &calls);
    EXPECT_EQ(f.GetValue(), -1.0f);
    const std::pair<int, float> points[] = {{5, -1.0f}, {10, -1.0f}, {35, 0.0f}, {60, 1.0f}, {110, 3.0f}, {200, 3.0f}};
    for (auto [x, want] : points) {
        f.SetValueByPoint(CPoint(x, 5));
        EXPECT_FLOAT_EQ(f.GetValue(), want) << x;
    }
    calls.clear();
    f.SetValue(9.0f, nullptr, true);  // clamped to 3, unchanged: no call
    EXPECT_TRUE(calls.empty());
    f.SetValue(0.5f, nullptr, false);
    EXPECT_TRUE(calls.empty());
    f.SetValue(-7.0f, nullptr, true);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].value, -1.0f);
    // Disabled: clicks are refused.
    f.Enable(false);
    EXPECT_FALSE(f.PtInSwitch(CPoint(50, 5)));
    EXPECT_FALSE(f.SetValueByPoint(CPoint(60, 5)));
}

TEST(SwitchCalls, TogglesThroughSetValueAndALatchedSwitchStaysOn)
{
    CZNTBitmap on, off;
    ASSERT_TRUE(on.LoadResourceBitmap(5002u));
    ASSERT_TRUE(off.LoadResourceBitmap(5003u));
    std::vector<Call> calls;
    for (bool latch : {false, true}) {
        SCOPED_TRACE(latch);
        calls.clear();
        CZNTBitmapSwitch2DC s;
        CRect rc(10, 10, 39, 30), none;
        s.Make(rc, nullptr, &off, &on, 152, none, latch, nullptr, Record, &calls);
        EXPECT_TRUE(s.PtInSwitch(CPoint(10, 10)));
        EXPECT_FALSE(s.PtInSwitch(CPoint(39, 10)));
        s.SetValue(1, true);
        s.SetValue(1, true);  // unchanged: no second call
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].id, 152);
        EXPECT_EQ(calls[0].value, 1.0f);
        s.SetValue(0, true);
        EXPECT_EQ(s.GetValue(), latch ? 1 : 0);
        EXPECT_EQ(calls.size(), latch ? 1u : 2u);
        CDC dc;
        ASSERT_TRUE(dc.CreateBitmapDC(50, 40));
        s.LButtonDown(&dc);
        EXPECT_EQ(s.IsDown(), !latch);
    }

    // Drawing: the on image's pressed frame while pressed, the off image's
    // released frame when disabled without a disable image.
    CZNTBitmapSwitch2DC s;
    CRect rc(0, 0, 29, 20), none;
    s.Make(rc, nullptr, &off, &on, 1, none, false, nullptr, nullptr, nullptr);
    s.SetValue(5, false);
    EXPECT_EQ(s.GetValue(), 1);
    CDC dc;
    ASSERT_TRUE(dc.CreateBitmapDC(29, 20));
    s.LButtonDown(&dc);
    const int half = (int)off.Height() / 2;
    EXPECT_EQ(At(dc.GetOwnedSurface(), 14, 10), At(on.GetImage(), 14, half + 10));
    s.LButtonUp(&dc);
    EXPECT_EQ(At(dc.GetOwnedSurface(), 14, 10), At(on.GetImage(), 14, 10));
    s.Enable(false);
    s.DrawSwitch(&dc);
    EXPECT_EQ(At(dc.GetOwnedSurface(), 14, 10), At(off.GetImage(), 14, 10));
}

}  // namespace
