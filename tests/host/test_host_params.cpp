// --set resolution: parameter names, values in display units found through
// the plug-in's own display strings, raw normalised values, and the errors.
#include <gtest/gtest.h>

#include <cmath>

#include "HostTestUtil.h"
#include "ParamSet.h"
#include "VstHost.h"

using ghost::ApplySetting;
using ghost::ParamSetting;
using hosttest::Has;

namespace {

std::string ErrorOf(ghost::ParamAccess& a, const std::string& assignment)
{
    return hosttest::ErrorOf([&] { ApplySetting(a, assignment); });
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
    const std::tuple<const char*, double, int> good[] = {{" 6.00 dB", 6.0, 2}, {"-3.5dB", -3.5, 1},
                                                         {"1.6KHz", 1600.0, 0}, {"2 k", 2000.0, 0},
                                                         {"+12", 12.0, 0},      {"-inf", -INFINITY, 0}};
    for (const auto& [text, want, decimals] : good) {
        double v = 0;
        int dec = -1;
        ASSERT_TRUE(ghost::ParseDisplayNumber(text, &v, &dec)) << text;
        EXPECT_DOUBLE_EQ(v, want) << text;
        EXPECT_EQ(std::isfinite(want) ? dec : 0, decimals) << text;
    }
    for (const char* bad : {"ON", "", "nan", "0x10"}) {
        double v = 0;
        EXPECT_FALSE(ghost::ParseDisplayNumber(bad, &v)) << bad;
    }
}

TEST(HostParams, ResolvesNamesAndDisplayValuesThroughThePlugin)
{
    ghost::VstPlugin p(TEST_PLUGIN, 48000.0, 64);
    ghost::PluginParamAccess a(p);

    EXPECT_EQ(ApplySetting(a, "Peak Gain=6").label, "dB");
    // assignment, index, display, then the value shown back through the
    // plug-in's own mapping, or (normalised) the exact normalised value.
    struct Case {
        const char* assignment;
        int index;
        const char* display;
        double value, normalised;
    } cases[] = {
        // Linear display with one decimal: the middle of the "6.0" plateau
        // is exactly the value the plug-in maps to +6 dB.
        {"Peak Gain=6", 1, "6.0", 6, 0.75},
        {"  gain =-6.02 dB", 0, "-6.02", -6.02, -1},  // forgiving name match, a unit, two decimals
        {"Peak Q=2", 2, "2.00", 2.0, -1},             // logarithmic mapping: bisection lands in the plateau
        {"Trim=-3", 4, "-3.0", -3.0, -1},             // a display that falls as the value rises
        {"Peak Gain=12", 1, "12.0", 12, 1.0},         // the ends of the range reached exactly
        {"Peak Gain=-12", 1, "-12.0", -12, 0.0},
        {"Trim=-6", 4, "-6.0", -6, 1.0},
        {"Peak Q=20", 2, "20.00", 20, 1.0},
        {"Bypass=on", 3, "On", 0, -1},                // words, case-insensitively
        {"Peak Gain=6.04", 1, "6.0", 6.0, -1},        // between two display steps: the closest
        {"Peak Gain=6.07", 1, "6.1", 6.1, -1},
        {"2=0.25", 2, "1.26", 1.26, 0.25},            // INDEX=NORMALISED
        {"3=1", 3, "On", 0, 1.0},                     // both ends of it included
        {"1=0", 1, "-12.0", -12, 0.0},
    };
    const auto shown = [](int index, float n) {
        return index == 0 ? -24.0 + 48.0 * n : index == 1 ? -12.0 + 24.0 * n
             : index == 2 ? 0.5 * std::pow(40.0, n) : index == 4 ? 6.0 - 12.0 * n : 0.0;
    };
    for (const Case& c : cases) {
        const ParamSetting s = ApplySetting(a, c.assignment);
        EXPECT_EQ(s.index, c.index) << c.assignment;
        EXPECT_EQ(s.display, c.display) << c.assignment;
        EXPECT_TRUE(s.note.empty()) << c.assignment << ": within the display's resolution";
        EXPECT_EQ(p.GetParam(c.index), s.normalised) << c.assignment << ": the setting stays applied";
        if (c.normalised >= 0) {
            EXPECT_NEAR(s.normalised, c.normalised, 1e-6) << c.assignment;
        } else if (c.index != 3) {
            EXPECT_NEAR(shown(c.index, s.normalised), c.value, 0.005) << c.assignment;
        }
    }
}

TEST(HostParams, ExplainsWhatItCannotSet)
{
    ghost::VstPlugin p(TEST_PLUGIN, 48000.0, 64);
    ghost::PluginParamAccess a(p);
    EXPECT_TRUE(Has(ErrorOf(a, "Peak Gian=3"), "unknown parameter \"Peak Gian\"; close matches: \"Peak Gain\""));
    const std::pair<const char*, const char*> cases[] = {
        {"Peak Gain=20", "outside the range"}, {"Peak Gain=-12.2", "-12.0 .. 12.0"}, {"Bypass=maybe", "never displays"},
        {"5=0.5", "out of range"},             {"1=1.5", "from 0 to 1"},          {"Gain", "NAME=VALUE"},
        {"=3", "NAME=VALUE"},                  {"Gain=", "NAME=VALUE"}};
    for (const auto& [assignment, message] : cases)
        EXPECT_TRUE(Has(ErrorOf(a, assignment), message)) << assignment;
}

TEST(HostParams, ScansDisplaysThatAreNotMonotonic)
{
    SyntheticParams a;
    EXPECT_EQ(ApplySetting(a, "Tent=6").display, "6.0");
    ParamSetting s = ApplySetting(a, "Shape=square");
    EXPECT_EQ(s.display, "Square");
    EXPECT_NEAR(s.normalised, 0.495f, 0.01f) << "the middle of the run that shows the word";
    EXPECT_TRUE(Has(ErrorOf(a, "Shape=Triangle"), "never displays"));

    s = ApplySetting(a, "Steps=4");
    EXPECT_EQ(s.display, "4");
    EXPECT_NEAR(s.normalised, 0.4f, 0.001f) << "the middle of the plateau";
    EXPECT_TRUE(s.note.empty());
    s = ApplySetting(a, "Steps=5");
    EXPECT_TRUE(s.display == "4" || s.display == "6") << s.display;
    EXPECT_TRUE(Has(s.note, "the closest is " + s.display));
}

TEST(HostParams, SuggestsCloseNames)
{
    const std::vector<std::string> names = {"Gain 25Hz", "Gain 1.0KHz", "Q 1.0KHz", "Output", "Input"};
    for (const auto& [typed, best] : {std::make_pair("gain 1khz", "Gain 1.0KHz"), std::make_pair("Outptu", "Output")}) {
        const auto m = ghost::CloseMatches(names, typed);
        ASSERT_FALSE(m.empty()) << typed;
        EXPECT_EQ(m[0], best);
    }
    EXPECT_TRUE(ghost::CloseMatches(names, "zzzzzzzzzzzz").empty());
}
