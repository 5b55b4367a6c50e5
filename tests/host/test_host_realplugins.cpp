// Real plug-ins driven through their binary interface by the host, as a DAW
// would. GraphicEQ.so: identity, parameter names, --set by display value, and
// a sine through a boosted band (skipped in trees that do not build it).
// Debian's lsp-plugins-vst graphic equalizer (installed by
// scripts/install-deps.sh --hosts; skipped when it is not installed).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>

#include "Audio.h"
#include "ParamSet.h"
#include "VstHost.h"

#ifdef GRAPHICEQ_PLUGIN
TEST(HostGraphicEQ, LoadsWithItsIdentityAndBoostsTheBandSetByItsDisplayValue)
{
    ghost::VstPlugin p(GRAPHICEQ_PLUGIN, 48000.0, 512);
    EXPECT_EQ(p.EffectName() + "|" + p.VendorString() + "|" + p.ProductString(),
              "GraphicEQ|HALDRIKS Co.,Ltd.|GraphicEQ");
    EXPECT_EQ(p.VendorVersion(), 1000);
    EXPECT_EQ(ghost::FourCCToString(p.Effect()->uniqueID), "Tvlq");
    EXPECT_EQ(p.NumInputs() * 10 + p.NumOutputs(), 22);
    EXPECT_EQ(p.NumParams(), 33);
    EXPECT_EQ(p.NumPrograms(), 32);
    EXPECT_EQ(p.Flags() & (effFlagsProgramChunks | effFlagsCanReplacing), effFlagsProgramChunks | effFlagsCanReplacing);
    const std::pair<int, const char*> names[] = {{0, "ON/OFF"},       {1, "Output"},       {2, "Input"},
                                                 {3, "Gain 25Hz"},    {11, "Gain 1.0KHz"}, {17, "Gain 16.0KHz"},
                                                 {18, "Q 25Hz"},      {32, "Q 16.0KHz"}};
    for (const auto& [index, name] : names)
        EXPECT_EQ(p.ParamName(index), name);

    ghost::PluginParamAccess a(p);
    const auto s = ghost::ApplySetting(a, "Gain 1.0KHz=6");
    EXPECT_EQ(s.index, 11);
    EXPECT_EQ(s.display + "|" + s.label, "6.0|dB");
    EXPECT_FLOAT_EQ(s.normalised, 0.75f);
    p.Resume();
    ghost::PlaySilence(p, 0.1);
    const auto db = [&p]() {
        const auto g = ghost::MeasureSineGain(p, 1000.0);
        return std::make_pair(20 * std::log10(std::abs(g[0])), 20 * std::log10(std::abs(g[1])));
    };
    auto g = db();
    EXPECT_NEAR(g.first, 6.0, 0.05);
    EXPECT_NEAR(g.second, 6.0, 0.05);
    ghost::ApplySetting(a, "ON/OFF=OFF");
    g = db();
    EXPECT_NEAR(g.first, 0.0, 0.01) << "switched off, the equalizer passes the signal unchanged";
}
#endif

TEST(HostThirdParty, DrivesTheLspGraphicEqualizer)
{
    const char* const lsp = "/usr/lib/vst/lsp-plugins/graph-equalizer-x16-stereo.so";
    if (access(lsp, R_OK) != 0)
        GTEST_SKIP() << lsp << " is not installed";
    ghost::VstPlugin p(lsp, 48000.0, 512);
    EXPECT_EQ(p.NumInputs() * 10 + p.NumOutputs(), 22);
    EXPECT_EQ(ghost::FourCCToString(p.Effect()->uniqueID), "argl");
    ghost::PluginParamAccess a(p);
    const auto s = ghost::ApplySetting(a, "g_8=6");  // the 630 Hz band
    EXPECT_EQ(s.display + "|" + s.label, "6.00|dB");
    p.Resume();
    const auto h = ghost::MeasureImpulseResponse(p, 4800, 480000);
    ASSERT_EQ(h.size(), 2u);
    EXPECT_NEAR(ghost::ResponseDb(h[0], 630.0, 48000.0), 6.0, 0.5);
    EXPECT_NEAR(ghost::ResponseDb(h[1], 4000.0, 48000.0), 0.0, 0.05);
}
