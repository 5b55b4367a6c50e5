// Loading plug-ins the way a DAW does and what the host answers them. The
// refusals of files that are no loadable plug-in are in test_host_cli.cpp.
#include <gtest/gtest.h>

#include "HostTestUtil.h"
#include "VstHost.h"

using ghost::HostError;
using ghost::VstPlugin;
using hosttest::Has;

TEST(HostLoading, OpensThroughEitherEntryPointWithoutSwitchingPrograms)
{
    // The identity as a user sees it is checked through `info` (test_host_cli.cpp).
    VstPlugin p(TEST_PLUGIN, 48000.0, 256);
    EXPECT_FALSE(p.UsedMainFallback());
    EXPECT_EQ(p.ProgramNames(), (std::vector<std::string>{"Flat", "Boost 1k", "Cut 1k"}));
    EXPECT_EQ(p.CurrentProgram(), 0) << "reading program names must not switch programs";
    VstPlugin m(TEST_PLUGIN_MAIN, 48000.0, 128);
    EXPECT_TRUE(m.UsedMainFallback());
    EXPECT_EQ(m.EffectName(), "HostTestEQ");
}

TEST(HostLoading, AnswersTheHostQueriesAndCallsInDawOrder)
{
    VstPlugin p(TEST_PLUGIN, 44100.0, 300);
    p.Resume();
    float l[300] = {}, r[300] = {}, ol[300], orr[300];
    float* in[2] = {l, r};
    float* out[2] = {ol, orr};
    p.Process(in, out, 300);
    p.Process(in, out, 17);
    p.Suspend();
    const std::string d = p.DispatchString(effGetErrorText, 0, 0, 2048);
    const std::string dir = std::string(TEST_PLUGIN).substr(0, std::string(TEST_PLUGIN).find_last_of('/'));
    EXPECT_TRUE(Has(d, "version=2400 rate=44100 block=300 canStart=1 canMidi=-1 "
                       "vendor=GraphicEQ project product=graphiceq-host violations=0 "
                       "calls=open,rate,block,resume,start,stop,suspend, dir=" + dir + " created=" + dir));

    // Messages the plug-in sends while it works are answered, from any record.
    EXPECT_EQ(VstPlugin::HostCallback(p.Effect(), audioMasterAutomate, 3, 0, nullptr, 0.25f), 1);
    p.SetProgram(1);  // the plug-in asks for a display update here
    EXPECT_EQ(p.ParamDisplay(1), "6.0");
    EXPECT_THROW(p.SetProgram(3), HostError);
    EXPECT_THROW(p.SetProgram(-1), HostError);
    // The version is answered even without an effect record, the rest safely.
    EXPECT_EQ(VstPlugin::HostCallback(nullptr, audioMasterVersion, 0, 0, nullptr, 0), 2400);
    EXPECT_EQ(VstPlugin::HostCallback(nullptr, audioMasterGetDirectory, 0, 0, nullptr, 0), 0);
    EXPECT_EQ(VstPlugin::HostCallback(nullptr, audioMasterCanDo, 0, 0, nullptr, 0), 0);
}

TEST(HostLoading, SurvivesOddStrings)
{
    hosttest::Mode mode("odd");
    VstPlugin p(TEST_PLUGIN, 48000.0, 128);
    EXPECT_EQ(p.EffectName().size(), 200u);
    EXPECT_EQ(p.ParamName(0), "Gain??") << "control bytes are masked";
    EXPECT_EQ(p.ParamName(2), "");
    EXPECT_GT(p.ParamName(4).size(), 64u);
    // No indexed names: the host switches programs to read them and comes back.
    p.SetProgram(2);
    EXPECT_EQ(p.ProgramNames(), (std::vector<std::string>{"odd?0", "odd?1", "odd?2"}));
    EXPECT_EQ(p.CurrentProgram(), 2);
}
