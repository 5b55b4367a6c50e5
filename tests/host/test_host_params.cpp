// --set resolution: parameter names, values in display units found through
// the plug-in's own display strings, raw normalised values, and the errors.
#include <gtest/gtest.h>

#include <cmath>

#include "ParamSet.h"
#include "VstHost.h"

using ghost::ApplySetting;
using ghost::HostError;
using ghost::ParamSetting;

namespace {

std::string ErrorOf(ghost::ParamAccess& a, const std::string& assignment)
{
    try {
        ApplySetting(a, assignment);
    } catch (const HostError& e) {
        return e.what();
    }
    return "(accepted)";
}

// A parameter whose display rises and falls again (not monotonic), one
// whose display is a word list, and one that shows only even numbers.
class SyntheticParams : public ghost::ParamAccess {
public:
    int Count() override { return 3; }
    std::string Name(int i) override { return i == 0 ? "Tent" : i == 1 ? "Shape" : "Steps"; }
    std::string Label(int) override { return ""; }
    std::string Display(int i) override
    {
        char b[32];
        if (i == 0)
            std::snprintf(b, sizeof b, "%.1f", 10.0 - 20.0 * std::fabs(v[0] - 0.5f));
        else if (i == 1)
            std::snprintf(b, sizeof b, "%s", v[1] < 0.33f ? "Sine" : v[1] < 0.66f ? "Square" : "Saw");
        else
            std::snprintf(b, sizeof b, "%d", 2 * static_cast<int>(std::lround(5 * v[2])));
        return b;
    }
    void Set(int i, float n) override { v[i] = n; }
    float v[3] = {0.5f, 0.0f, 0.0f};
};

}  // namespace

TEST(HostParams, ParsesDisplayNumbers)
{
    double v = 0;
    int dec = -1;
    ASSERT_TRUE(ghost::ParseDisplayNumber(" 6.00 dB", &v, &dec));
    EXPECT_EQ(v, 6.0);
    EXPECT_EQ(dec, 2);
    ASSERT_TRUE(ghost::ParseDisplayNumber("-3.5dB", &v));
    EXPECT_EQ(v, -3.5);
    ASSERT_TRUE(ghost::ParseDisplayNumber("1.6KHz", &v));
    EXPECT_DOUBLE_EQ(v, 1600.0);
    ASSERT_TRUE(ghost::ParseDisplayNumber("2 k", &v));
    EXPECT_DOUBLE_EQ(v, 2000.0);
    ASSERT_TRUE(ghost::ParseDisplayNumber("-inf", &v));
    EXPECT_TRUE(std::isinf(v) && v < 0);
    ASSERT_TRUE(ghost::ParseDisplayNumber("+12", &v));
    EXPECT_EQ(v, 12.0);
    EXPECT_FALSE(ghost::ParseDisplayNumber("ON", &v));
    EXPECT_FALSE(ghost::ParseDisplayNumber("", &v));
    EXPECT_FALSE(ghost::ParseDisplayNumber("nan", &v));
    EXPECT_FALSE(ghost::ParseDisplayNumber("0x10", &v));
}

TEST(HostParams, ResolvesNamesAndDisplayValuesThroughThePlugin)
{
    ghost::VstPlugin p(TEST_PLUGIN, 48000.0, 64);
    ghost::PluginParamAccess a(p);

    // Linear display with one decimal: the middle of the "6.0" plateau is
    // exactly the value the plug-in maps to +6 dB.
    ParamSetting s = ApplySetting(a, "Peak Gain=6");
    EXPECT_EQ(s.index, 1);
    EXPECT_EQ(s.display, "6.0");
    EXPECT_EQ(s.label, "dB");
    EXPECT_NEAR(s.normalised, 0.75f, 1e-5);
    EXPECT_TRUE(s.note.empty());
    EXPECT_NEAR(p.GetParam(1), 0.75f, 1e-5) << "the setting stays applied";

    // Forgiving name match, a unit suffix, and two decimals.
    s = ApplySetting(a, "  gain =-6.02 dB");
    EXPECT_EQ(s.index, 0);
    EXPECT_EQ(s.display, "-6.02");
    EXPECT_NEAR(-24.0 + 48.0 * s.normalised, -6.02, 0.001);

    // Logarithmic mapping: bisection still lands in the plateau.
    s = ApplySetting(a, "Peak Q=2");
    EXPECT_EQ(s.display, "2.00");
    EXPECT_NEAR(0.5 * std::pow(40.0, s.normalised), 2.0, 0.005);

    // A display that falls as the value rises.
    s = ApplySetting(a, "Trim=-3");
    EXPECT_EQ(s.display, "-3.0");
    EXPECT_NEAR(6.0 - 12.0 * s.normalised, -3.0, 1e-4);

    // The ends of the range are reached exactly, not half a display step in.
    EXPECT_EQ(ApplySetting(a, "Peak Gain=12").normalised, 1.0f);
    EXPECT_EQ(ApplySetting(a, "Peak Gain=-12").normalised, 0.0f);
    EXPECT_EQ(ApplySetting(a, "Trim=-6").normalised, 1.0f);
    EXPECT_EQ(ApplySetting(a, "Peak Q=20").normalised, 1.0f);

    // Words, case-insensitively.
    s = ApplySetting(a, "Bypass=on");
    EXPECT_EQ(s.display, "On");
    EXPECT_GE(s.normalised, 0.5f);

    // Between two display steps: the closest.
    s = ApplySetting(a, "Peak Gain=6.04");
    EXPECT_EQ(s.display, "6.0");
    s = ApplySetting(a, "Peak Gain=6.07");
    EXPECT_EQ(s.display, "6.1");
    EXPECT_TRUE(s.note.empty()) << "within the display's resolution";

    // INDEX=NORMALISED.
    s = ApplySetting(a, "2=0.25");
    EXPECT_EQ(s.index, 2);
    EXPECT_EQ(s.normalised, 0.25f);
    EXPECT_EQ(p.GetParam(2), 0.25f);
}

TEST(HostParams, ExplainsWhatItCannotSet)
{
    ghost::VstPlugin p(TEST_PLUGIN, 48000.0, 64);
    ghost::PluginParamAccess a(p);
    const std::string unknown = ErrorOf(a, "Peak Gian=3");
    EXPECT_NE(unknown.find("unknown parameter \"Peak Gian\""), std::string::npos) << unknown;
    EXPECT_NE(unknown.find("close matches: \"Peak Gain\""), std::string::npos) << unknown;
    EXPECT_NE(ErrorOf(a, "Peak Gain=20").find("outside the range"), std::string::npos);
    EXPECT_NE(ErrorOf(a, "Peak Gain=-12.2").find("-12.0 .. 12.0"), std::string::npos);
    EXPECT_NE(ErrorOf(a, "Bypass=maybe").find("never displays"), std::string::npos);
    EXPECT_NE(ErrorOf(a, "7=0.5").find("out of range"), std::string::npos);
    EXPECT_NE(ErrorOf(a, "1=1.5").find("from 0 to 1"), std::string::npos);
    EXPECT_NE(ErrorOf(a, "Gain").find("NAME=VALUE"), std::string::npos);
    EXPECT_NE(ErrorOf(a, "=3").find("NAME=VALUE"), std::string::npos);
    EXPECT_NE(ErrorOf(a, "Gain=").find("NAME=VALUE"), std::string::npos);
}

TEST(HostParams, ScansDisplaysThatAreNotMonotonic)
{
    SyntheticParams a;
    ParamSetting s = ApplySetting(a, "Tent=6");
    EXPECT_EQ(s.display, "6.0");
    s = ApplySetting(a, "Shape=square");
    EXPECT_EQ(s.display, "Square");
    EXPECT_NEAR(s.normalised, 0.495f, 0.01f) << "the middle of the run that shows the word";
    EXPECT_NE(ErrorOf(a, "Shape=Triangle").find("never displays"), std::string::npos);

    s = ApplySetting(a, "Steps=4");
    EXPECT_EQ(s.display, "4");
    EXPECT_NEAR(s.normalised, 0.4f, 0.001f) << "the middle of the plateau";
    EXPECT_TRUE(s.note.empty());
    s = ApplySetting(a, "Steps=5");
    EXPECT_TRUE(s.display == "4" || s.display == "6") << s.display;
    EXPECT_NE(s.note.find("the closest is " + s.display), std::string::npos) << s.note;
}

TEST(HostParams, SuggestsCloseNames)
{
    const std::vector<std::string> names = {"Gain 25Hz", "Gain 1.0KHz", "Q 1.0KHz", "Output", "Input"};
    auto m = ghost::CloseMatches(names, "gain 1khz");
    ASSERT_FALSE(m.empty());
    EXPECT_EQ(m[0], "Gain 1.0KHz");
    m = ghost::CloseMatches(names, "Outptu");
    ASSERT_FALSE(m.empty());
    EXPECT_EQ(m[0], "Output");
    EXPECT_TRUE(ghost::CloseMatches(names, "zzzzzzzzzzzz").empty());
}
