// The default bank file as the effect uses it: what open loads into which
// bank and what SaveProgram leaves on disk for the next instance.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "CoreHarness.h"
#include "TestFiles.h"

namespace {
namespace fs = std::filesystem;

class DefaultBank : public ::testing::Test {
protected:
    void SetUp() override
    {
        // The host reports a folder that holds the factory bank, as an
        // installed plug-in's folder does.
        g_hostDirectory = root / "plugin/";
        fs::create_directory(g_hostDirectory);
        fs::copy_file(GRAPHICEQ_FACTORY_BANK, g_hostDirectory + "GraEQDef.fxb");
    }
    void TearDown() override { g_hostDirectory.clear(); }
    std::unique_ptr<AGraEQ> Open()
    {
        auto fx = std::make_unique<AGraEQ>(CoreHost);
        fx->open();
        return fx;
    }
    static const AGraEQProgram* Current(const std::unique_ptr<AGraEQ>& fx)
    {
        return fx->GetBank(AGraEQ::kCurrentBank);
    }
    std::string BankPath() const { return prefs + "/GraphicEQ/GraEQDef.fxb"; }

    TempDir root;
    const std::string prefs = root / "config";
    ScopedEnv config{"XDG_CONFIG_HOME", prefs.c_str()};
};

TEST_F(DefaultBank, FirstRunStartsFromTheFactoryBank)
{
    auto fx = Open();
    const AGraEQProgram* factory = fx->GetBank(AGraEQ::kFactoryBank);
    EXPECT_STREQ(Current(fx)[0].szName, "Flat");
    for (int i = 0; i < kNumPrograms; ++i) {
        EXPECT_EQ(std::memcmp(&Current(fx)[i], &factory[i], kProgramValueBytes), 0) << i;
        EXPECT_STRNE(Current(fx)[i].szName, "Empty") << "every factory slot is named: " << i;
    }
    EXPECT_FALSE(fx->IsProgramChanged());
    EXPECT_FALSE(fs::exists(BankPath())) << "opening alone writes nothing";
}

TEST_F(DefaultBank, ASavedBankIsWhatTheNextInstanceLoads)
{
    {
        auto fx = Open();
        fx->setProgram(4);
        fx->setParameter(kParamGainFirst + 8, 0.9f);
        fx->setParameter(kParamQFirst + 2, 0.3f);
        ASSERT_TRUE(fx->SaveProgram(7, "My Vocal"));
        ASSERT_TRUE(fs::exists(BankPath()));
        fx->ProgramToFactory();  // back to the factory preset, not the saved one (in memory only)
        EXPECT_EQ(std::memcmp(&Current(fx)[7], &fx->GetBank(AGraEQ::kFactoryBank)[7], kProgramBytes), 0);
    }
    auto next = Open();
    EXPECT_STREQ(Current(next)[7].szName, "My Vocal");
    EXPECT_EQ(Current(next)[7].fValue[kParamQFirst + 2], 0.3f);
    EXPECT_EQ(next->getProgram(), 7) << "the program current at saving is current again";
    EXPECT_EQ(next->getParameter(kParamGainFirst + 8), 0.9f);
    EXPECT_FALSE(next->IsProgramChanged());
    // With a preferences copy present, the factory bank is not read: the
    // panel's "factory" command then has only the built-in defaults.
    EXPECT_STREQ(next->GetBank(AGraEQ::kFactoryBank)[0].szName, "Empty");

    // Saving again replaces the file in place, leaving no temporary behind.
    next->setParameter(kParamGainFirst, 0.1f);
    ASSERT_TRUE(next->SaveProgram(7, "My Vocal 2"));
    const auto entries = fs::directory_iterator(prefs + "/GraphicEQ");
    EXPECT_EQ(std::distance(fs::begin(entries), fs::end(entries)), 1);
    EXPECT_STREQ(Current(Open())[7].szName, "My Vocal 2");
}

TEST_F(DefaultBank, ADamagedPreferencesCopyIsIgnored)
{
    fs::create_directories(prefs + "/GraphicEQ");
    WriteFile(BankPath(), std::string("CcnK\0\0\0\0FBCh garbage", 20));
    auto fx = Open();
    EXPECT_STREQ(Current(fx)[0].szName, "Empty") << "a damaged copy still hides the factory bank, as it always did";
    EXPECT_EQ(fx->getProgram(), 0);
}

}  // namespace
