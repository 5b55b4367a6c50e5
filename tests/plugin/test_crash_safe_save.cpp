// Saving programs rewrites the default bank in the preferences folder. A
// process killed at any moment of a save, a full disk or a folder it may not
// write leaves the complete old bank or the complete new one, never a mix,
// and the next instance loads it.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BankFile.h"
#include "CoreHarness.h"

namespace {

class CrashSafeSave : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/graphiceq-save-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        m_root = tmpl;
        m_oldConfig = std::getenv("XDG_CONFIG_HOME") ? std::getenv("XDG_CONFIG_HOME") : "";
        setenv("XDG_CONFIG_HOME", m_root.c_str(), 1);
        m_folder = m_root + "/GraphicEQ";
        m_bank = m_folder + "/" + kDefaultBankFileName;
        g_hostDirectory.clear();
    }
    void TearDown() override
    {
        setenv("XDG_CONFIG_HOME", m_oldConfig.c_str(), 1);
        std::system(("chmod -R u+w '" + m_root + "' && rm -rf '" + m_root + "'").c_str());
    }

    // The two states the saves alternate between: program 0 with every
    // parameter at one value, named after it.
    static float ValueOf(char which) { return which == 'A' ? 0.25f : 0.75f; }
    static void SaveState(AGraEQ& fx, char which, bool* ok = nullptr)
    {
        fx.setProgram(0);
        for (VstInt32 i = 0; i < kNumParams; ++i)
            fx.setParameter(i, ValueOf(which));
        const char name[2] = {which, 0};
        const bool saved = fx.SaveProgram(0, name);
        if (ok)
            *ok = saved;
    }

    std::vector<unsigned char> FileBytes() const
    {
        std::ifstream in(m_bank, std::ios::binary);
        return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
    }

    // The file is a whole bank whose program 0 is state A or state B
    // throughout; returns which, or 0.
    char WholeState() const
    {
        const std::vector<unsigned char> bytes = FileBytes();
        if (bytes.size() != static_cast<size_t>(kBankFileBytes))
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

    std::string m_root, m_oldConfig, m_folder, m_bank;
};

TEST_F(CrashSafeSave, KilledAtRandomMomentsLeavesAWholeBank)
{
    {
        AGraEQ fx(CoreHost);
        fx.open();
        SaveState(fx, 'A');
    }
    ASSERT_EQ(WholeState(), 'A');
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

TEST_F(CrashSafeSave, FullDiskOrReadOnlyFolderKeepsTheOldBankAndTellsTheUser)
{
    {
        AGraEQ fx(CoreHost);
        fx.open();
        SaveState(fx, 'A');
    }
    const std::vector<unsigned char> before = FileBytes();
    ASSERT_EQ(WholeState(), 'A');

    const struct {
        const char* what;
        void (*prepare)(const std::string& folder);
    } cases[] = {
        // Files may grow to 1000 bytes at most: the bank (5280) does not fit.
        {"full disk",
         [](const std::string&) {
             signal(SIGXFSZ, SIG_IGN);
             rlimit limit{1000, 1000};
             setrlimit(RLIMIT_FSIZE, &limit);
         }},
        // A folder the user may not write (root would write it anyway, so
        // the child becomes another user first).
        {"read-only folder",
         [](const std::string& folder) {
             chmod(folder.c_str(), 0555);
             if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
                 _exit(90);
         }},
    };
    for (const auto& c : cases) {
        const std::string folder = m_folder;
        const int status = InChild([&] {
            c.prepare(folder);
            RecordingEditor::registerWithEffect = false;
            AGraEQ fx(CoreHost);
            fx.open();
            auto* editor = static_cast<RecordingEditor*>(fx.GetEditorObject());
            bool ok = true;
            SaveState(fx, 'B', &ok);
            if (ok)
                return 1;  // the save claimed success
            if (editor->messages.size() != 1 ||
                editor->messages[0].find("could not be saved") == std::string::npos ||
                editor->messages[0].find(kDefaultBankFileName) == std::string::npos)
                return 2;  // the user was not told (string 20135 with the path)
            return 0;
        });
        chmod(m_folder.c_str(), 0755);
        EXPECT_EQ(status, 0) << c.what;
        EXPECT_EQ(FileBytes(), before) << c.what << ": the old bank was touched";
        EXPECT_EQ(LoadedState(), 'A') << c.what;
    }
}

}  // namespace
