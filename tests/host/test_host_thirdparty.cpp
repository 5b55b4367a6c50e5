// The host against a real third-party VST 2.4 plug-in (Debian's
// lsp-plugins-vst, installed by scripts/install-deps.sh --hosts). Skipped
// when it is not installed.
#include <gtest/gtest.h>
#include <unistd.h>

#include "Audio.h"
#include "ParamSet.h"
#include "VstHost.h"

namespace {
const char* const kLsp = "/usr/lib/vst/lsp-plugins/graph-equalizer-x16-stereo.so";
}

TEST(HostThirdParty, DrivesTheLspGraphicEqualizer)
{
    if (access(kLsp, R_OK) != 0)
        GTEST_SKIP() << kLsp << " is not installed";
    ghost::VstPlugin p(kLsp, 48000.0, 512);
    EXPECT_EQ(p.NumInputs(), 2);
    EXPECT_EQ(p.NumOutputs(), 2);
    EXPECT_EQ(ghost::FourCCToString(p.Effect()->uniqueID), "argl");
    ghost::PluginParamAccess a(p);
    const auto s = ghost::ApplySetting(a, "g_8=6");  // the 630 Hz band
    EXPECT_EQ(s.display, "6.00");
    EXPECT_EQ(s.label, "dB");
    p.Resume();
    const auto h = ghost::MeasureImpulseResponse(p, 4800, 480000);
    ASSERT_EQ(h.size(), 2u);
    EXPECT_NEAR(ghost::ResponseDb(h[0], 630.0, 48000.0), 6.0, 0.5);
    EXPECT_NEAR(ghost::ResponseDb(h[1], 4000.0, 48000.0), 0.0, 0.05);
}
