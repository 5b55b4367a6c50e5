// The default bank: what open loads and what SaveProgram leaves for the next
// instance; a killed save, a full disk or an unwritable folder leaves the
// whole old bank or the whole new one, never a mix nor a temporary.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BankFile.h"
#include "CoreHarness.h"
#include "TestFiles.h"

// The order in which a save reaches the disk: this program's own fsync,
// fdatasync and rename (in place of the C library's) log each call.
namespace disk {
struct Event {
    char what;  // 's'ync or 'r'ename
    dev_t dev;
    ino_t ino;
    off_t size;
    std::string to;
};
std::vector<Event> g_log;
bool g_recording = false;

void Note(char what, const struct stat& st, const char* to = "")
{
    if (g_recording)
        g_log.push_back({what, st.st_dev, st.st_ino, st.st_size, to});
}
int Sync(int fd, long call)
{
    struct stat st;
    if (fstat(fd, &st) == 0)
        Note('s', st);
    return static_cast<int>(syscall(call, fd));
}
}  // namespace disk

extern "C" int fsync(int fd) { return disk::Sync(fd, SYS_fsync); }
extern "C" int fdatasync(int fd) { return disk::Sync(fd, SYS_fdatasync); }
extern "C" int rename(const char* from, const char* to) noexcept
{
    struct stat st;
    if (from && to && stat(from, &st) == 0)
        disk::Note('r', st, to);
    return static_cast<int>(syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

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


class CrashSafeSave : public DefaultBank {
protected:
    // Every test starts from a saved bank in state A.
    void SetUp() override
    {
        DefaultBank::SetUp();
        ASSERT_TRUE(SaveState(*Open(), 'A'));
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
    char LoadedState()
    {
        const auto fx = Open();
        const AGraEQProgram& p = Current(fx)[0];
        return p.fValue[5] == ValueOf(p.szName[0]) ? p.szName[0] : 0;
    }

    const std::string m_folder = prefs + "/GraphicEQ";
    const std::string m_bank = BankPath();
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
            auto fx = Open();
            for (int n = 0;; ++n) {
                SaveState(*fx, (n & 1) ? 'A' : 'B');
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

// The new bank is on the disk before its name is: the file renamed over the
// bank was synced at its full size first, and the folder (the rename) after.
TEST_F(CrashSafeSave, TheNewBankIsSyncedBeforeItReplacesTheOld)
{
    auto fx = Open();
    disk::g_log.clear();
    disk::g_recording = true;
    const bool saved = SaveState(*fx, 'B');
    disk::g_recording = false;
    ASSERT_TRUE(saved);
    ASSERT_EQ(WholeState(), 'B');
    struct stat folder;
    ASSERT_EQ(stat(m_folder.c_str(), &folder), 0);

    const auto& log = disk::g_log;
    size_t r = 0;
    while (r < log.size() && !(log[r].what == 'r' && log[r].to == m_bank))
        ++r;
    ASSERT_LT(r, log.size()) << "the bank is replaced by a rename";
    const auto same = [&](const disk::Event& e, dev_t dev, ino_t ino) { return e.dev == dev && e.ino == ino; };
    bool fileSynced = false, folderSynced = false;
    for (size_t i = 0; i < r; ++i)
        fileSynced |= log[i].what == 's' && same(log[i], log[r].dev, log[r].ino) && log[i].size == kBankFileBytes;
    for (size_t i = r + 1; i < log.size(); ++i)
        folderSynced |= log[i].what == 's' && same(log[i], folder.st_dev, folder.st_ino);
    EXPECT_TRUE(fileSynced) << "renamed over the bank before its contents were synced";
    EXPECT_TRUE(folderSynced) << "the rename itself was not synced";
}

// A killed save leaves its hidden temporary; the next save removes the ones
// no save can still be writing, and nothing else.
TEST_F(CrashSafeSave, StaleTemporariesOfKilledSavesAreSwept)
{
    const auto make = [&](const char* leaf, bool old) {
        const std::string path = m_folder + "/" + leaf;
        WriteFile(path, "partial");
        const timespec when[2] = {{0, UTIME_OMIT}, {time(nullptr) - (old ? 3600 : 5), 0}};
        utimensat(AT_FDCWD, path.c_str(), when, 0);
        return path;
    };
    const std::string stale = make(".GraEQDef.fxb.a1B2c3", true);
    const std::string fresh = make(".GraEQDef.fxb.d4E5f6", false);
    const std::string other = make(".GraEQDef.fxb.notours", true);
    const std::string note = make("notes.txt", true);
    ASSERT_TRUE(SaveState(*Open(), 'B'));
    EXPECT_EQ(WholeState(), 'B');
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_TRUE(fs::exists(fresh)) << "a save still running may own it";
    EXPECT_TRUE(fs::exists(other));
    EXPECT_TRUE(fs::exists(note));
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
    const std::string blocked = root / "blocked";
    WriteFile(blocked, "not a folder");

    const struct {
        const char* what;
        std::string config;  // XDG_CONFIG_HOME of the saving process
        void (*prepare)(const std::string& folder);
    } cases[] = {
        // Files may grow to 1000 bytes at most: the bank (5280) does not fit.
        {"full disk", prefs,
         [](const std::string&) {
             signal(SIGXFSZ, SIG_IGN);
             rlimit limit{1000, 1000};
             setrlimit(RLIMIT_FSIZE, &limit);
         }},
        // A folder the user may not write (root would write it anyway, so
        // the child becomes another user first).
        {"read-only folder", prefs,
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
            auto fx = Open();
            auto* editor = static_cast<RecordingEditor*>(fx->GetEditorObject());
            if (SaveState(*fx, 'B'))
                return 1;  // the save claimed success
            const std::string told = editor->messages.empty() ? "" : editor->messages[0];
            if (editor->messages.size() != 1 || told.find("could not be saved") == std::string::npos)
                return 2;  // the user was not told (string 20135)
            if (told.find(file) == std::string::npos)
                return 4;  // the message does not name the file
            // The bank in memory keeps the save.
            return std::strcmp(Current(fx)[0].szName, "B") == 0 ? 0 : 3;
        });
        chmod(m_folder.c_str(), 0755);
        EXPECT_EQ(status, 0) << c.what;
        EXPECT_EQ(ReadFile(m_bank), before) << c.what << ": the old bank was touched";
        EXPECT_EQ(LoadedState(), 'A') << c.what;
        const auto entries = fs::directory_iterator(m_folder);
        EXPECT_EQ(std::distance(fs::begin(entries), fs::end(entries)), 1) << c.what << ": temporary left";
    }
}

}  // namespace
