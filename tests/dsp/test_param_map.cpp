#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ParamMap.h"

namespace {
constexpr int kGain1k = kParamGainFirst + 8;  // "Gain 1.0KHz"
constexpr int kQ1k = kParamQFirst + 8;
}

// Fixed points that presets, automation and the panel all rely on.
TEST(ParamMap, InternalValueReferencePoints)
{
    EXPECT_EQ(NormalizeValToDWValue(kGain1k, 1.0f), 786432);
    EXPECT_EQ(NormalizeValToDWValue(kGain1k, 0.0f), -786432);
    EXPECT_EQ(NormalizeValToDWValue(kGain1k, 0.5f), 0);
    EXPECT_EQ(NormalizeValToDWValue(kQ1k, ValToNormalizeValue(kQ1k, 5.0f)), 327680);
    EXPECT_EQ(NormalizeValToDWValue(kQ1k, 1.0f), 1310720);
    EXPECT_EQ(NormalizeValToDWValue(kQ1k, 0.0f), 65536);

    // Levels map the normalised value onto an amplitude, shown at 6 dB per doubling.
    EXPECT_EQ(NormalizeValToDWValue(kParamOutput, ValToNormalizeValue(kParamOutput, 2.0f)), 393216);
    EXPECT_EQ(NormalizeValToDWValue(kParamOutput, ValToNormalizeValue(kParamOutput, 1.0f)), 0);
    EXPECT_EQ(NormalizeValToDWValue(kParamOutput, 0.0f), -3918705);
    EXPECT_EQ(NormalizeValToDWValue(kParamInput, 1.0f), 0);
    EXPECT_EQ(NormalizeValToDWValue(kParamInput, 0.0f), -3918705);
}

TEST(ParamMap, NormalisedDefaults)
{
    EXPECT_FLOAT_EQ(ValToNormalizeValue(kParamActive, 1.0f), 1.0f);
    EXPECT_NEAR(ValToNormalizeValue(kParamOutput, 1.0f), 0.49974990f, 1e-7);
    EXPECT_FLOAT_EQ(ValToNormalizeValue(kParamInput, 1.0f), 1.0f);
    for (int b = 0; b < kNumBands; ++b) {
        EXPECT_FLOAT_EQ(ValToNormalizeValue(kParamGainFirst + b, 0.0f), 0.5f);
        EXPECT_NEAR(ValToNormalizeValue(kParamQFirst + b, 5.0f), 0.21052632f, 1e-7);
    }
}

TEST(ParamMap, SwitchRoundsAtHalfAndNegativeStepsEndAtMaximum)
{
    EXPECT_EQ(NormalizeValToDWValue(kParamActive, 0.0f), 0);
    EXPECT_EQ(NormalizeValToDWValue(kParamActive, 0.49f), 0);
    EXPECT_EQ(NormalizeValToDWValue(kParamActive, 0.5f), 1);
    EXPECT_EQ(NormalizeValToDWValue(kParamActive, 7.0f), 1);
    EXPECT_EQ(NormalizeValToDWValue(kParamActive, -3.0f), 1);  // unsigned comparison
    EXPECT_FLOAT_EQ(NormalizeValToInternalVal(kParamActive, 0.2f), 0.0f);
    EXPECT_FLOAT_EQ(NormalizeValToInternalVal(kParamActive, 0.8f), 1.0f);
    // The switch is not clamped on the way in.
    EXPECT_FLOAT_EQ(ValToNormalizeValue(kParamActive, 3.0f), 3.0f);
}

TEST(ParamMap, OutOfRangeValuesClampInDisplayAndInternalForms)
{
    EXPECT_EQ(NormalizeValToDWValue(kGain1k, 1.5f), 786432);
    EXPECT_EQ(NormalizeValToDWValue(kGain1k, -0.5f), -786432);
    EXPECT_FLOAT_EQ(NormalizeValToInternalVal(kGain1k, 2.0f), 12.0f);
    EXPECT_FLOAT_EQ(NormalizeValToInternalVal(kParamOutput, 1.0f), 6.0f);
    EXPECT_FLOAT_EQ(NormalizeValToInternalVal(kParamInput, 1.0f), 0.0f);
    EXPECT_FLOAT_EQ(ValToNormalizeValue(kGain1k, 40.0f), 1.0f);
    EXPECT_FLOAT_EQ(ValToNormalizeValue(kGain1k, -40.0f), 0.0f);
    EXPECT_FLOAT_EQ(ValToNormalizeValue(kQ1k, 20.0f), 1.0f);
}

TEST(ParamMap, DisplayRanges)
{
    struct Row { int index; float min, max; } rows[] = {
        {kParamActive, 0.0f, 1.0f}, {kParamOutput, -59.79f, 6.0f}, {kParamInput, -59.79f, 0.0f},
        {kGain1k, -12.0f, 12.0f},   {kQ1k, 1.0f, 20.0f},
    };
    for (const Row& r : rows) {
        float mn = 99, mx = 99;
        GetParamMinMax(r.index, &mn, &mx);
        EXPECT_NEAR(mn, r.min, 0.01f) << r.index;
        EXPECT_NEAR(mx, r.max, 0.01f) << r.index;
    }
}

TEST(ParamMap, DisplayAndNormalisedFormsRoundTrip)
{
    for (int i = kParamGainFirst; i < kNumParams; ++i) {
        float mn, mx;
        GetParamMinMax(i, &mn, &mx);
        for (int s = 0; s <= 20; ++s) {
            const float v = mn + (mx - mn) * static_cast<float>(s) / 20.0f;
            EXPECT_NEAR(NormalizeValToInternalVal(i, ValToNormalizeValue(i, v)), v, 1e-4f) << i;
        }
    }
}

// Whatever a host or a damaged preset sends, the answer is defined.
TEST(ParamMap, ForeignIndicesAndValuesAreHarmless)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (int bad : {33, 1000, -1, -100000}) {
        EXPECT_EQ(ValToNormalizeValue(bad, 0.5f), 0.0f);
        EXPECT_EQ(NormalizeValToDWValue(bad, 0.5f), 0);
        EXPECT_EQ(NormalizeValToInternalVal(bad, 0.5f), 0.0f);
        float mn = 1, mx = 1;
        GetParamMinMax(bad, &mn, &mx);
        EXPECT_EQ(mn, 0.0f);
        EXPECT_EQ(mx, 0.0f);
    }
    EXPECT_EQ(NormalizeValToDWValue(kGain1k, nan), -786432);
    EXPECT_EQ(NormalizeValToDWValue(kParamOutput, nan), -3918705);
    EXPECT_EQ(NormalizeValToDWValue(kParamActive, nan), 1);
    EXPECT_EQ(NormalizeValToDWValue(kGain1k, std::numeric_limits<float>::infinity()), 786432);
    EXPECT_EQ(NormalizeValToDWValue(kParamActive, 1e30f), 1);
    EXPECT_EQ(ValToNormalizeValue(kGain1k, nan), 0.0f);
}
