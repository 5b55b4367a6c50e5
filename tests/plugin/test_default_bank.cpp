// The default bank file as the effect uses it: what open loads into which
// bank, what SaveProgram leaves on disk for the next instance, and what
// happens when the file cannot be written.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "CoreHarness.h"

namespace {
namespace fs = std::filesystem;

class DefaultBank : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/graphiceq-bank-XXXXXX";
        root = mkdtemp(pattern);
        prefs = root + "/config";
        setenv("XDG_CONFIG_HOME", prefs.c_str(), 1);
        // The host reports a folder that holds the factory bank, as an
        // installed plug-in's folder does.
        g_hostDirectory = root + "/plugin/";
        fs::create_directory(g_hostDirectory);
        fs::copy_file(GRAPHICEQ_FACTORY_BANK, g_hostDirectory + "GraEQDef.fxb");
    }
    void TearDown() override
    {
        g_hostDirectory.clear();
        fs::remove_all(root);
    }
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

    std::string root, prefs;
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

TEST_F(DefaultBank, AFailedSaveKeepsTheOldFileAndTellsTheUser)
{
    ASSERT_TRUE(Open()->SaveProgram(1, "Kept"));
    // A plain file where the preferences folder's parent should be: nothing
    // can be created below it.
    const std::string blocked = root + "/blocked";
    std::ofstream(blocked) << "not a folder";
    setenv("XDG_CONFIG_HOME", blocked.c_str(), 1);
    auto fx = Open();
    auto* editor = static_cast<RecordingEditor*>(fx->GetEditorObject());
    EXPECT_FALSE(fx->SaveProgram(2, "Lost"));
    ASSERT_EQ(editor->messages.size(), 1u);
    EXPECT_NE(editor->messages[0].find(blocked + "/GraphicEQ/GraEQDef.fxb"), std::string::npos) << editor->messages[0];
    EXPECT_STREQ(Current(fx)[2].szName, "Lost") << "the bank in memory keeps the save";

    setenv("XDG_CONFIG_HOME", prefs.c_str(), 1);
    EXPECT_STREQ(Current(Open())[1].szName, "Kept");
}

TEST_F(DefaultBank, ADamagedPreferencesCopyIsIgnored)
{
    fs::create_directories(prefs + "/GraphicEQ");
    std::ofstream(BankPath(), std::ios::binary) << "CcnK\0\0\0\0FBCh garbage";
    auto fx = Open();
    EXPECT_STREQ(Current(fx)[0].szName, "Empty") << "a damaged copy still hides the factory bank, as it always did";
    EXPECT_EQ(fx->getProgram(), 0);
}

}  // namespace
