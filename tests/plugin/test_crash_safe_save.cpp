// Saving programs rewrites the default bank in the preferences folder. A
// process killed at any moment of a save, a full disk or a folder it may not
// write or cannot make leaves the complete old bank or the complete new one,
// never a mix nor a temporary, and the next instance loads it.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>

#include "BankFile.h"
#include "CoreHarness.h"
#include "TestFiles.h"

namespace {

class CrashSafeSave : public ::testing::Test {
protected:
    // Every test starts from a saved bank in state A.
    void SetUp() override
    {
        g_hostDirectory.clear();
        AGraEQ fx(CoreHost);
        fx.open();
        ASSERT_TRUE(SaveState(fx, 'A'));
        ASSERT_EQ(WholeState(), 'A');
    }

    // The two states the saves alternate between: program 0 with every
    // parameter at one value, named after it.
    static float ValueOf(char which) { return which == 'A' ? 0.25f : 0.75f; }
    static bool SaveState(AGraEQ& fx, char which)
    {
        fx.setProgram(0);
        for (VstInt32 i = 0; i < kNumParams; ++i)
            fx.setParameter(i, ValueOf(which));
        const char name[2] = {which, 0};
        return fx.SaveProgram(0, name);
    }

    // The file is a whole bank whose program 0 is state A or state B
    // throughout; returns which, or 0.
    char WholeState() const
    {
        if (ReadFile(m_bank).size() != static_cast<size_t>(kBankFileBytes))
            return 0;
        unsigned char chunk[kBankBytes];
        if (LoadBankFile(m_bank.c_str(), kGraEQUniqueID, chunk, kBankBytes) != kBankBytes)
            return 0;
        AGraEQProgram p;
        std::memcpy(static_cast<void*>(&p), chunk, kProgramBytes);
        const char which = p.szName[0];
        if ((which != 'A' && which != 'B') || p.szName[1] != 0)
            return 0;
        for (float v : p.fValue)
            if (v != ValueOf(which))
                return 0;
        return which;
    }

    // What a new instance loads as its program 0, by name.
    char LoadedState() const
    {
        AGraEQ fx(CoreHost);
        fx.open();
        const AGraEQProgram& p = fx.GetBank(AGraEQ::kCurrentBank)[0];
        return p.fValue[5] == ValueOf(p.szName[0]) ? p.szName[0] : 0;
    }

    TempDir m_root;
    ScopedEnv m_config{"XDG_CONFIG_HOME", m_root.path};
    const std::string m_folder = m_root / "GraphicEQ";
    const std::string m_bank = m_folder + "/" + kDefaultBankFileName;
};

TEST_F(CrashSafeSave, KilledAtRandomMomentsLeavesAWholeBank)
{
    std::mt19937 rng(2024);
    int sawA = 0, sawB = 0;
    for (int round = 0; round < 40; ++round) {
        // The saver reports its first save, so the kill lands among saves
        // however slowly the process starts (a sanitizer build).
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            close(ready[0]);
            AGraEQ fx(CoreHost);
            fx.open();
            for (int n = 0;; ++n) {
                SaveState(fx, (n & 1) ? 'A' : 'B');
                if (n == 0 && write(ready[1], "!", 1) != 1)
                    _exit(1);
            }
        }
        close(ready[1]);
        char byte = 0;
        ASSERT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
        usleep(rng() % 20000);
        kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the saver ended on its own";
        const char state = WholeState();
        ASSERT_NE(state, 0) << "round " << round << ": the bank file is not a whole bank";
        ASSERT_EQ(LoadedState(), state) << "round " << round;
        (state == 'A' ? sawA : sawB)++;
    }
    // Both states were seen: the kills did land between saves of each.
    EXPECT_GT(sawA, 0);
    EXPECT_GT(sawB, 0);
}

// Runs body in a child process (with its own limits or identity) and
// returns its exit status; body returns the status.
template <class Body>
int InChild(Body body)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
}

TEST_F(CrashSafeSave, AFailedSaveKeepsTheOldBankAndTellsTheUser)
{
    const std::string before = ReadFile(m_bank);
    // A plain file where the preferences folder's parent should be.
    const std::string blocked = m_root / "blocked";
    WriteFile(blocked, "not a folder");

    const struct {
        const char* what;
        std::string config;  // XDG_CONFIG_HOME of the saving process
        void (*prepare)(const std::string& folder);
    } cases[] = {
        // Files may grow to 1000 bytes at most: the bank (5280) does not fit.
        {"full disk", m_root.path,
         [](const std::string&) {
             signal(SIGXFSZ, SIG_IGN);
             rlimit limit{1000, 1000};
             setrlimit(RLIMIT_FSIZE, &limit);
         }},
        // A folder the user may not write (root would write it anyway, so
        // the child becomes another user first).
        {"read-only folder", m_root.path,
         [](const std::string& folder) {
             chmod(folder.c_str(), 0555);
             if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
                 _exit(90);
         }},
        {"folder cannot be made", blocked, [](const std::string&) {}},
    };
    for (const auto& c : cases) {
        const std::string folder = m_folder, file = c.config + "/GraphicEQ/" + kDefaultBankFileName;
        const int status = InChild([&] {
            setenv("XDG_CONFIG_HOME", c.config.c_str(), 1);
            c.prepare(folder);
            RecordingEditor::registerWithEffect = false;
            AGraEQ fx(CoreHost);
            fx.open();
            auto* editor = static_cast<RecordingEditor*>(fx.GetEditorObject());
            if (SaveState(fx, 'B'))
                return 1;  // the save claimed success
            const std::string told = editor->messages.empty() ? "" : editor->messages[0];
            if (editor->messages.size() != 1 || told.find("could not be saved") == std::string::npos)
                return 2;  // the user was not told (string 20135)
            if (told.find(file) == std::string::npos)
                return 4;  // the message does not name the file
            // The bank in memory keeps the save.
            return std::strcmp(fx.GetBank(AGraEQ::kCurrentBank)[0].szName, "B") == 0 ? 0 : 3;
        });
        chmod(m_folder.c_str(), 0755);
        EXPECT_EQ(status, 0) << c.what;
        EXPECT_EQ(ReadFile(m_bank), before) << c.what << ": the old bank was touched";
        EXPECT_EQ(LoadedState(), 'A') << c.what;
        const auto entries = std::filesystem::directory_iterator(m_folder);
        EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << c.what << ": temporary left";
    }
}

}  // namespace
