// Loading plug-ins the way a DAW does, what the host answers them, and the
// refusals for files that are not loadable VST 2.4 plug-ins.
#include <gtest/gtest.h>

#include <cstring>

#include "HostTestUtil.h"
#include "VstHost.h"

using ghost::HostError;
using ghost::VstPlugin;

namespace {

std::string Diagnostics(VstPlugin& p)
{
    return p.DispatchString(effGetErrorText, 0, 0, 2048);
}

std::string LoadError(const std::string& path)
{
    try {
        VstPlugin p(path, 48000.0, 256);
    } catch (const HostError& e) {
        return e.what();
    }
    return "(loaded)";
}

std::string Directory(const std::string& path)
{
    return path.substr(0, path.find_last_of('/'));
}

}  // namespace

TEST(HostLoading, OpensThePluginAndReportsItsIdentity)
{
    VstPlugin p(TEST_PLUGIN, 48000.0, 256);
    EXPECT_FALSE(p.UsedMainFallback());
    EXPECT_EQ(p.EffectName(), "HostTestEQ");
    EXPECT_EQ(p.VendorString(), "GraphicEQ Tests");
    EXPECT_EQ(p.ProductString(), "Host Test EQ");
    EXPECT_EQ(p.VendorVersion(), 1234);
    EXPECT_EQ(ghost::FourCCToString(p.Effect()->uniqueID), "HtEq");
    EXPECT_EQ(p.NumInputs(), 2);
    EXPECT_EQ(p.NumOutputs(), 2);
    EXPECT_EQ(p.NumParams(), 5);
    EXPECT_EQ(p.ParamName(1), "Peak Gain");
    EXPECT_EQ(p.ParamLabel(1), "dB");
    EXPECT_EQ(p.ParamDisplay(1), "0.0");
    EXPECT_EQ(p.ProgramNames(), (std::vector<std::string>{"Flat", "Boost 1k", "Cut 1k"}));
    EXPECT_EQ(p.CurrentProgram(), 0) << "reading program names must not switch programs";
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
    const std::string d = Diagnostics(p);
    EXPECT_NE(d.find("version=2400 "), std::string::npos) << d;
    EXPECT_NE(d.find("rate=44100 "), std::string::npos) << d;
    EXPECT_NE(d.find("block=300 "), std::string::npos) << d;
    EXPECT_NE(d.find("canStart=1 canMidi=-1 "), std::string::npos) << d;
    EXPECT_NE(d.find("vendor=GraphicEQ project product=graphiceq-host "), std::string::npos) << d;
    EXPECT_NE(d.find("violations=0 "), std::string::npos) << d;
    EXPECT_NE(d.find("calls=open,rate,block,resume,start,stop,suspend, "), std::string::npos) << d;
    const std::string dir = Directory(TEST_PLUGIN);
    EXPECT_NE(d.find("dir=" + dir + " "), std::string::npos) << d;
    EXPECT_NE(d.find("created=" + dir), std::string::npos) << "asked from inside VSTPluginMain: " << d;
}

TEST(HostLoading, RecordsAutomationAndDisplayUpdates)
{
    VstPlugin p(TEST_PLUGIN, 48000.0, 64);
    VstPlugin::HostCallback(p.Effect(), audioMasterAutomate, 3, 0, nullptr, 0.25f);
    VstPlugin::HostCallback(p.Effect(), audioMasterAutomate, 1, 0, nullptr, 1.0f);
    const auto events = p.Automation();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].index, 3);
    EXPECT_EQ(events[0].value, 0.25f);
    EXPECT_EQ(events[1].index, 1);
    p.SetProgram(1);  // the plug-in asks for a display update
    EXPECT_EQ(p.UpdateDisplayCount(), 1);
    EXPECT_EQ(p.ParamDisplay(1), "6.0");
    EXPECT_THROW(p.SetProgram(3), HostError);
    EXPECT_THROW(p.SetProgram(-1), HostError);
    // The version is answered even without an effect record, the rest safely.
    EXPECT_EQ(VstPlugin::HostCallback(nullptr, audioMasterVersion, 0, 0, nullptr, 0), 2400);
    EXPECT_EQ(VstPlugin::HostCallback(nullptr, audioMasterGetDirectory, 0, 0, nullptr, 0), 0);
    EXPECT_EQ(VstPlugin::HostCallback(nullptr, audioMasterCanDo, 0, 0, nullptr, 0), 0);
}

TEST(HostLoading, FallsBackToMainAndHandlesOtherChannelCounts)
{
    VstPlugin m(TEST_PLUGIN_MAIN, 48000.0, 128);
    EXPECT_TRUE(m.UsedMainFallback());
    EXPECT_EQ(m.EffectName(), "HostTestEQ");
    VstPlugin mono(TEST_PLUGIN_MONO, 48000.0, 128);
    EXPECT_EQ(mono.NumInputs(), 1);
    EXPECT_EQ(mono.NumOutputs(), 1);
}

TEST(HostLoading, SurvivesOddStrings)
{
    VstPlugin p(TEST_PLUGIN_ODD, 48000.0, 128);
    const std::string name = p.EffectName();
    EXPECT_EQ(name.size(), 200u);
    EXPECT_EQ(p.ParamName(0), "Gain??") << "control bytes are masked";
    EXPECT_EQ(p.ParamName(2), "");
    EXPECT_GT(p.ParamName(4).size(), 64u);
    // No indexed names: the host switches programs to read them and comes back.
    p.SetProgram(2);
    EXPECT_EQ(p.ProgramNames(), (std::vector<std::string>{"odd?0", "odd?1", "odd?2"}));
    EXPECT_EQ(p.CurrentProgram(), 2);
}

TEST(HostLoading, RefusesWhatIsNotALoadablePlugin)
{
    hosttest::TempDir dir;
    EXPECT_NE(LoadError(dir / "missing.so").find("No such file"), std::string::npos);
    EXPECT_NE(LoadError(dir.Path()).find("is a directory"), std::string::npos);

    hosttest::WriteText(dir / "text.so", "this is not a library\n");
    EXPECT_NE(LoadError(dir / "text.so").find("not an ELF shared object"), std::string::npos);
    hosttest::WriteText(dir / "empty.so", "");
    EXPECT_NE(LoadError(dir / "empty.so").find("not an ELF"), std::string::npos);

    // ELF headers of other machines: 32-bit, and 64-bit ARM.
    std::string elf(64, '\0');
    std::memcpy(&elf[0], "\x7f" "ELF", 4);
    elf[4] = 1;  // 32-bit
    elf[5] = 1;
    hosttest::WriteText(dir / "elf32.so", elf);
    EXPECT_NE(LoadError(dir / "elf32.so").find("32-bit"), std::string::npos);
    elf[4] = 2;
    elf[16] = 3;    // ET_DYN
    elf[18] = 183;  // EM_AARCH64
    hosttest::WriteText(dir / "arm.so", elf);
    EXPECT_NE(LoadError(dir / "arm.so").find("another processor"), std::string::npos);
    elf[18] = 62;  // x86-64, but the rest of the file is missing
    hosttest::WriteText(dir / "broken.so", elf);
    EXPECT_NE(LoadError(dir / "broken.so").find("cannot be loaded"), std::string::npos);

    EXPECT_NE(LoadError(NOT_A_PLUGIN).find("neither VSTPluginMain nor main"), std::string::npos);
    EXPECT_NE(LoadError(TEST_PLUGIN_NULL).find("returned null"), std::string::npos);
    EXPECT_NE(LoadError(TEST_PLUGIN_MAGIC).find("bad magic"), std::string::npos);
}
