#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ParamMap.h"

namespace {
constexpr int kGain1k = kParamGainFirst + 8;  // "Gain 1.0KHz"
constexpr int kQ1k = kParamQFirst + 8;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
}  // namespace

// Normalised value to internal fixed point: the reference points presets,
// automation and the panel rely on, clamping, the switch's rounding, and a
// defined answer for whatever a host or a damaged preset sends.
TEST(ParamMap, NormalisedToInternalFixedPoint)
{
    const struct {
        int index;
        float normalised;
        int want;
    } cases[] = {
        {kGain1k, 1.0f, 786432},     {kGain1k, 0.0f, -786432},      {kGain1k, 0.5f, 0},
        {kGain1k, 1.5f, 786432},     {kGain1k, -0.5f, -786432},     {kGain1k, kNaN, -786432},
        {kGain1k, INFINITY, 786432}, {kQ1k, 1.0f, 1310720},         {kQ1k, 0.0f, 65536},
        {kParamOutput, 0.0f, -3918705}, {kParamOutput, kNaN, -3918705},
        {kParamInput, 1.0f, 0},      {kParamInput, 0.0f, -3918705},
        {kParamActive, 0.0f, 0},     {kParamActive, 0.49f, 0},      {kParamActive, 0.5f, 1},
        {kParamActive, 7.0f, 1},     {kParamActive, -3.0f, 1},  // unsigned comparison
        {kParamActive, kNaN, 1},     {kParamActive, 1e30f, 1},
        {33, 0.5f, 0},               {1000, 0.5f, 0},               {-1, 0.5f, 0},
        {-100000, 0.5f, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "parameter " << c.index << " at " << c.normalised);
        EXPECT_EQ(NormalizeValToDWValue(c.index, c.normalised), c.want);
    }
    // Display values: Q 5 and amplitude 2.0 (6 dB per doubling) and 1.0.
    EXPECT_EQ(NormalizeValToDWValue(kQ1k, ValToNormalizeValue(kQ1k, 5.0f)), 327680);
    EXPECT_EQ(NormalizeValToDWValue(kParamOutput, ValToNormalizeValue(kParamOutput, 2.0f)), 393216);
    EXPECT_EQ(NormalizeValToDWValue(kParamOutput, ValToNormalizeValue(kParamOutput, 1.0f)), 0);
}

// Display value to normalised and back, the defaults included, clamped at
// the range's ends (the switch alone is not clamped on the way in).
TEST(ParamMap, DisplayAndNormalisedForms)
{
    const struct {
        int index;
        float display, normalised;
    } toNormalised[] = {
        {kParamActive, 1.0f, 1.0f}, {kParamActive, 3.0f, 3.0f},   {kParamOutput, 1.0f, 0.4997499f},
        {kParamInput, 1.0f, 1.0f},  {kGain1k, 0.0f, 0.5f},        {kQ1k, 5.0f, 0.21052632f},
        {kGain1k, 40.0f, 1.0f},     {kGain1k, -40.0f, 0.0f},      {kQ1k, 20.0f, 1.0f},
        {kGain1k, kNaN, 0.0f},      {33, 0.5f, 0.0f},             {-1, 0.5f, 0.0f},
    };
    for (const auto& c : toNormalised) {
        SCOPED_TRACE(testing::Message() << "parameter " << c.index << " at " << c.display);
        EXPECT_NEAR(ValToNormalizeValue(c.index, c.display), c.normalised, 1e-7);
    }
    for (int b = 0; b < kNumBands; ++b)
        EXPECT_EQ(ValToNormalizeValue(kParamGainFirst + b, 0.0f), 0.5f) << b;

    const struct {
        int index;
        float normalised, display;
    } toDisplay[] = {
        {kParamActive, 0.2f, 0.0f}, {kParamActive, 0.8f, 1.0f}, {kGain1k, 2.0f, 12.0f},
        {kParamOutput, 1.0f, 6.0f}, {kParamInput, 1.0f, 0.0f},  {1000, 0.5f, 0.0f},
    };
    for (const auto& c : toDisplay)
        EXPECT_FLOAT_EQ(NormalizeValToInternalVal(c.index, c.normalised), c.display) << c.index;

    for (int i = kParamGainFirst; i < kNumParams; ++i) {
        float mn, mx;
        GetParamMinMax(i, &mn, &mx);
        for (int s = 0; s <= 20; ++s) {
            const float v = mn + (mx - mn) * static_cast<float>(s) / 20.0f;
            EXPECT_NEAR(NormalizeValToInternalVal(i, ValToNormalizeValue(i, v)), v, 1e-4f) << i;
        }
    }
}
