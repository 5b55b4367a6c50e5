// The default bank file as the effect uses it: what open loads into which
// bank, what SaveProgram leaves on disk for the next instance, and what
// happens when the file cannot be written.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "AGraEQ.h"
#include "RecordingEditor.h"

namespace {

std::string g_hostDirectory;

VstIntPtr DirectoryHost(AEffect*, VstInt32 opcode, VstInt32, VstIntPtr, void*, float)
{
    if (opcode == audioMasterVersion)
        return 2400;
    if (opcode == audioMasterGetDirectory)
        return g_hostDirectory.empty() ? 0 : reinterpret_cast<VstIntPtr>(g_hostDirectory.c_str());
    return 0;
}

bool Exists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

void CopyFile(const std::string& from, const std::string& to)
{
    std::ifstream in(from, std::ios::binary);
    std::ofstream out(to, std::ios::binary);
    out << in.rdbuf();
}

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
        mkdir(g_hostDirectory.c_str(), 0755);
        CopyFile(GRAPHICEQ_FACTORY_BANK, g_hostDirectory + "GraEQDef.fxb");
    }
    void TearDown() override
    {
        std::string cmd = "rm -rf '" + root + "'";
        ASSERT_EQ(std::system(cmd.c_str()), 0);
    }
    std::unique_ptr<AGraEQ> Open()
    {
        auto fx = std::make_unique<AGraEQ>(DirectoryHost);
        fx->open();
        return fx;
    }
    std::string BankPath() const { return prefs + "/GraphicEQ/GraEQDef.fxb"; }

    std::string root, prefs;
};

TEST_F(DefaultBank, FirstRunStartsFromTheFactoryBank)
{
    auto fx = Open();
    const AGraEQProgram* cur = fx->GetBank(AGraEQ::kCurrentBank);
    const AGraEQProgram* factory = fx->GetBank(AGraEQ::kFactoryBank);
    EXPECT_STREQ(cur[0].szName, "Flat");
    for (int i = 0; i < kNumPrograms; ++i) {
        EXPECT_EQ(std::memcmp(&cur[i], &factory[i], kProgramValueBytes), 0) << i;
        EXPECT_STRNE(cur[i].szName, "Empty") << "every factory slot is named: " << i;
    }
    EXPECT_FALSE(fx->IsProgramChanged());
    EXPECT_FALSE(Exists(BankPath())) << "opening alone writes nothing";
}

TEST_F(DefaultBank, ASavedBankIsWhatTheNextInstanceLoads)
{
    {
        auto fx = Open();
        fx->setProgram(4);
        fx->setParameter(kParamGainFirst + 8, 0.9f);
        fx->setParameter(kParamQFirst + 2, 0.3f);
        ASSERT_TRUE(fx->SaveProgram(7, "My Vocal"));
        ASSERT_TRUE(Exists(BankPath()));
    }
    auto next = Open();
    const AGraEQProgram* cur = next->GetBank(AGraEQ::kCurrentBank);
    EXPECT_STREQ(cur[7].szName, "My Vocal");
    EXPECT_EQ(cur[7].fValue[kParamGainFirst + 8], 0.9f);
    EXPECT_EQ(cur[7].fValue[kParamQFirst + 2], 0.3f);
    EXPECT_EQ(next->getProgram(), 7) << "the program current at saving is current again";
    EXPECT_EQ(next->getParameter(kParamGainFirst + 8), 0.9f);
    EXPECT_FALSE(next->IsProgramChanged());

    // With a preferences copy present, the factory bank is not read: the
    // panel's "factory" command then has only the built-in defaults.
    EXPECT_STREQ(next->GetBank(AGraEQ::kFactoryBank)[0].szName, "Empty");

    // Saving again replaces the file in place, leaving no temporary behind.
    next->setParameter(kParamGainFirst, 0.1f);
    ASSERT_TRUE(next->SaveProgram(7, "My Vocal 2"));
    int entries = 0;
    std::string cmd = "ls -A '" + prefs + "/GraphicEQ' | wc -l";
    if (FILE* p = popen(cmd.c_str(), "r")) {
        if (std::fscanf(p, "%d", &entries) != 1)
            entries = -1;
        pclose(p);
    }
    EXPECT_EQ(entries, 1);
    EXPECT_STREQ(Open()->GetBank(AGraEQ::kCurrentBank)[7].szName, "My Vocal 2");
}

TEST_F(DefaultBank, AFailedSaveKeepsTheOldFileAndTellsTheUser)
{
    {
        auto fx = Open();
        ASSERT_TRUE(fx->SaveProgram(1, "Kept"));
    }
    // Replace the preferences folder's parent by a plain file: nothing can
    // be created below it.
    const std::string blocked = root + "/blocked";
    std::ofstream(blocked) << "not a folder";
    setenv("XDG_CONFIG_HOME", blocked.c_str(), 1);
    auto fx = Open();
    auto* editor = static_cast<RecordingEditor*>(fx->GetEditorObject());
    ASSERT_NE(editor, nullptr);
    EXPECT_FALSE(fx->SaveProgram(2, "Lost"));
    ASSERT_EQ(editor->messages.size(), 1u);
    EXPECT_NE(editor->messages[0].find("GraEQDef.fxb"), std::string::npos) << editor->messages[0];
    EXPECT_STREQ(fx->GetBank(AGraEQ::kCurrentBank)[2].szName, "Lost") << "the bank in memory keeps the save";

    setenv("XDG_CONFIG_HOME", prefs.c_str(), 1);
    EXPECT_STREQ(Open()->GetBank(AGraEQ::kCurrentBank)[1].szName, "Kept");
}

TEST_F(DefaultBank, ADamagedPreferencesCopyIsIgnored)
{
    mkdir(prefs.c_str(), 0755);
    mkdir((prefs + "/GraphicEQ").c_str(), 0755);
    std::ofstream(BankPath(), std::ios::binary) << "CcnK\0\0\0\0FBCh garbage";
    auto fx = Open();
    const AGraEQProgram* cur = fx->GetBank(AGraEQ::kCurrentBank);
    EXPECT_STREQ(cur[0].szName, "Empty") << "a damaged copy still hides the factory bank, as it always did";
    EXPECT_EQ(fx->getProgram(), 0);
}

}  // namespace
