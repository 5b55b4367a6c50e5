#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <csignal>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "BankFile.h"
#include "CFile.h"
#include "CFileFind.h"
#include "FileName.h"
#include "TestFiles.h"
#include "WinStr.h"

namespace {

using Bank = std::array<AGraEQProgram, kNumPrograms>;

// A bank whose every record differs, so misplaced bytes show.
Bank DistinctBank()
{
    Bank bank;
    for (int r = 0; r < kNumPrograms; ++r) {
        for (int k = 0; k < kNumParams; ++k)
            bank[r].fValue[k] = static_cast<float>((r * kNumParams + k) % 97) / 96.0f;
        std::snprintf(bank[r].szName, sizeof bank[r].szName, "Program %02d", r + 1);
    }
    return bank;
}

std::string BankBytes(const Bank& bank)
{
    return std::string(reinterpret_cast<const char*>(bank.data()), kBankBytes);
}

std::string Be32(uint32_t v)
{
    const char b[4] = {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    return std::string(b, 4);
}

// A bank file image with the given header fields.
std::string Image(const std::string& chunk, uint32_t chunkSize, const char* magic = "CcnK",
                  const char* bankMagic = "FBCh", uint32_t id = static_cast<uint32_t>(kGraEQUniqueID),
                  uint32_t byteSize = 0)
{
    std::string s = std::string(magic, 4) + Be32(byteSize) + std::string(bankMagic, 4) + Be32(1) + Be32(id) +
                    Be32(1) + Be32(32) + std::string(128, '\0') + Be32(chunkSize) + chunk;
    return s;
}

int Load(const std::string& path, std::vector<unsigned char>& chunk)
{
    chunk.assign(kBankBytes, 0xEE);
    return LoadBankFile(path.c_str(), kGraEQUniqueID, chunk.data(), kBankBytes);
}

// What AGraEQ::open does with these functions, on plain banks: the
// preferences copy, else the copy beside the plug-in, into the current and
// initial banks; the factory bank from the resource folder.
struct Instance {
    Bank current, initial, factory;
    int currentProgram = 0;
    char resourceFolder[kBankPathSize] = "";

    void Open(const char* prefs, const char* hostDirectory)
    {
        currentProgram = 0;
        initial = current;
        const CString file = FindDefaultBankFile(prefs, hostDirectory, resourceFolder, sizeof resourceFolder);
        unsigned char chunk[kBankBytes];
        const int n = LoadBankFile(file, kGraEQUniqueID, chunk, sizeof chunk);
        if (n > 0) {
            std::memcpy(static_cast<void*>(current.data()), chunk, static_cast<size_t>(n));
            currentProgram = current[0].nCurrentProgram;
        }
        initial = current;
        SetFactoryProgram(resourceFolder, kGraEQUniqueID, factory.data());
    }
};

}  // namespace

TEST(BankFile, LayoutIsTheBigEndianChunkBankByteForByte)
{
    TempDir dir;
    const Bank bank = DistinctBank();
    const std::string path = dir / "GraEQDef.fxb";
    ASSERT_TRUE(SaveBankFile(path.c_str(), kGraEQUniqueID, bank.data(), kBankBytes));

    const std::string bytes = ReadFile(path);
    ASSERT_EQ(bytes.size(), 5280u);
    EXPECT_EQ(bytes.substr(0, 4), "CcnK");
    EXPECT_EQ(bytes.substr(4, 4), std::string(4, '\0'));  // size: deliberately 0
    EXPECT_EQ(bytes.substr(8, 4), "FBCh");
    EXPECT_EQ(bytes.substr(12, 4), Be32(1));   // format version
    EXPECT_EQ(bytes.substr(16, 4), "Tvlq");    // unique ID, most significant first
    EXPECT_EQ(bytes.substr(20, 4), Be32(1));   // plug-in version
    EXPECT_EQ(bytes.substr(24, 4), Be32(32));  // programs
    EXPECT_EQ(bytes.substr(28, 128), std::string(128, '\0'));
    EXPECT_EQ(bytes.substr(156, 4), std::string("\x00\x00\x14\x00", 4));  // 5120
    EXPECT_EQ(bytes.substr(160), BankBytes(bank));  // the records, raw

    // No temporary file is left behind.
    CFileFind find;
    ASSERT_TRUE(find.FindFile((dir / "*").c_str()));
    EXPECT_STREQ(find.GetFileName(), "GraEQDef.fxb");
    EXPECT_FALSE(find.FindNextFile());
    EXPECT_EQ(access((dir / ".GraEQDef.fxb.tmp").c_str(), F_OK), -1);

    std::vector<unsigned char> chunk;
    ASSERT_EQ(Load(path, chunk), kBankBytes);
    EXPECT_EQ(std::memcmp(chunk.data(), bank.data(), kBankBytes), 0);
}

TEST(BankFile, HeaderNumbersAreReadAndWrittenMostSignificantFirst)
{
    TempDir dir;
    const std::string path = dir / "words";
    {
        CFile f(path.c_str(), 0x1001);
        putDWordFile(&f, 0x01020304u);
        putDWordFile(&f, 0xFFFFFFFEu);
    }
    EXPECT_EQ(ReadFile(path), std::string("\x01\x02\x03\x04\xFF\xFF\xFF\xFE", 8));
    CFile f(path.c_str(), 0x8000);
    EXPECT_EQ(getWordFile(&f), 0x0102u);
    EXPECT_EQ(getWordFile(&f), 0x0304u);
    EXPECT_EQ(getDWordFile(&f), 0xFFFFFFFEu);
    EXPECT_EQ(getDWordFile(&f), 0u);  // nothing left: zeros, not garbage
    EXPECT_EQ(getDWordFile(nullptr), 0u);
}

TEST(BankFile, MalformedFilesAreIgnoredOrBounded)
{
    TempDir dir;
    const Bank bank = DistinctBank();
    const std::string good = BankBytes(bank);
    const std::string path = dir / "bank.fxb";
    std::vector<unsigned char> chunk;

    struct Case {
        const char* what;
        std::string bytes;
        int expected;
    };
    const std::vector<Case> cases = {
        {"empty file", "", 0},
        {"three bytes", "Ccn", 0},
        {"header only", Image("", 5120), 0},
        {"header cut in the reserved area", Image(good, 5120).substr(0, 100), 0},
        {"wrong chunk magic", Image(good, 5120, "RIFF"), 0},
        {"a program file, not a bank", Image(good, 5120, "CcnK", "FxCk"), 0},
        {"another plug-in's bank", Image(good, 5120, "CcnK", "FBCh", 0x41424344u), 0},
        {"chunk size 0", Image(good, 0), 0},
        {"less than one record", Image(good.substr(0, 159), 5120), 0},
        {"cut inside record 3", Image(good.substr(0, 160 * 3 + 70), 5120), 160 * 3},
        {"chunk size larger than the file", Image(good.substr(0, 1600), 0xFFFFFFFFu), 1600},
        {"chunk size above 5120", Image(good + good, 10240), 5120},
        {"trailing bytes after the bank", Image(good + std::string(999, 'x'), 5120), 5120},
        {"one record declared", Image(good, 160), 160},
        {"a non-zero byte size", Image(good, 5120, "CcnK", "FBCh", static_cast<uint32_t>(kGraEQUniqueID), 5272),
         5120},
    };
    for (const Case& c : cases) {
        WriteFile(path, c.bytes);
        EXPECT_EQ(Load(path, chunk), c.expected) << c.what;
        if (c.expected > 0) {
            EXPECT_EQ(std::memcmp(chunk.data(), good.data(), static_cast<size_t>(c.expected)), 0) << c.what;
        }
    }
    EXPECT_EQ(Load(dir / "missing.fxb", chunk), 0);
    EXPECT_EQ(Load(dir.path(), chunk), 0);  // a folder
}

TEST(BankFile, LoadedRecordsAreMadeSafe)
{
    TempDir dir;
    Bank bank = DistinctBank();
    std::memset(bank[3].szName, 'A', sizeof bank[3].szName);  // no terminator
    bank[4].fValue[5] = std::numeric_limits<float>::quiet_NaN();
    bank[4].fValue[6] = 7.0f;
    bank[4].fValue[7] = -std::numeric_limits<float>::infinity();
    bank[0].nCurrentProgram = 99;
    bank[1].nCurrentProgram = 12345;  // only record 0's matters
    const std::string path = dir / "bank.fxb";
    WriteFile(path, Image(BankBytes(bank), 5120));

    std::vector<unsigned char> chunk;
    ASSERT_EQ(Load(path, chunk), kBankBytes);
    Bank loaded;
    std::memcpy(static_cast<void*>(loaded.data()), chunk.data(), kBankBytes);
    EXPECT_EQ(std::strlen(loaded[3].szName), 23u);
    EXPECT_EQ(loaded[4].fValue[5], 0.0f);
    EXPECT_EQ(loaded[4].fValue[6], 1.0f);
    EXPECT_EQ(loaded[4].fValue[7], 0.0f);
    EXPECT_EQ(loaded[0].nCurrentProgram, 0);
    EXPECT_EQ(loaded[1].nCurrentProgram, 12345);
    EXPECT_EQ(std::memcmp(&loaded[2], &bank[2], sizeof bank[2]), 0);

    bank[0].nCurrentProgram = 5;
    WriteFile(path, Image(BankBytes(bank), 5120));
    ASSERT_EQ(Load(path, chunk), kBankBytes);
    std::memcpy(static_cast<void*>(loaded.data()), chunk.data(), kBankBytes);
    EXPECT_EQ(loaded[0].nCurrentProgram, 5);
}

TEST(PreferencesFolder, FollowsXdgConfigHomeThenHome)
{
    char path[kBankPathSize] = "unchanged";
    {
        ScopedEnv xdg("XDG_CONFIG_HOME", "/srv/cfg");
        ASSERT_TRUE(GetMy_SHFOLDER_PathName(path, sizeof path));
        EXPECT_STREQ(path, "/srv/cfg/GraphicEQ/");
    }
    {
        ScopedEnv xdg("XDG_CONFIG_HOME", "/srv/cfg/");
        ASSERT_TRUE(GetMy_SHFOLDER_PathName(path, sizeof path));
        EXPECT_STREQ(path, "/srv/cfg/GraphicEQ/");
    }
    {
        ScopedEnv xdg("XDG_CONFIG_HOME", "relative/cfg");  // not absolute: ignored
        ScopedEnv home("HOME", "/home/someone");
        ASSERT_TRUE(GetMy_SHFOLDER_PathName(path, sizeof path));
        EXPECT_STREQ(path, "/home/someone/.config/GraphicEQ/");
    }
    {
        ScopedEnv xdg("XDG_CONFIG_HOME", nullptr);
        ScopedEnv home("HOME", "/home/someone");
        GetMy_SHFOLDER_PathName();
        EXPECT_STREQ(szGlobalMyApplicationDataPathName, "/home/someone/.config/GraphicEQ/");
    }
    {
        const std::string huge = "/" + std::string(kBankPathSize, 'x');
        ScopedEnv xdg("XDG_CONFIG_HOME", huge.c_str());
        std::strcpy(path, "unchanged");
        EXPECT_FALSE(GetMy_SHFOLDER_PathName(path, sizeof path));
        EXPECT_STREQ(path, "unchanged");
    }
}

TEST(DefaultBank, ASavedBankIsWhatTheNextInstanceLoads)
{
    TempDir dir;
    ScopedEnv xdg("XDG_CONFIG_HOME", (dir / "config").c_str());  // does not exist yet
    char prefs[kBankPathSize];
    ASSERT_TRUE(GetMy_SHFOLDER_PathName(prefs, sizeof prefs));

    Instance first;
    first.current = DistinctBank();
    first.initial = first.current;
    first.currentProgram = 2;
    first.current[2].fValue[5] = 0.75f;  // an unsaved edit, kept by the save
    ASSERT_TRUE(StoreProgramForSave(first.current.data(), first.initial.data(), first.currentProgram, 9,
                                    "My Vocal"));
    first.currentProgram = 9;  // what setProgram(destination) does
    CString written;
    ASSERT_TRUE(SaveDefaultBankFile(prefs, first.current.data(), first.currentProgram, kGraEQUniqueID, &written));
    EXPECT_EQ(std::string(written), dir / "config/GraphicEQ/GraEQDef.fxb");
    EXPECT_STREQ(first.current[9].szName, "My Vocal");
    EXPECT_EQ(first.current[9].fValue[5], 0.75f);
    EXPECT_EQ(std::memcmp(&first.current[9], &first.initial[9], sizeof first.current[9]), 0);

    Instance second;
    second.Open(prefs, (dir / "nowhere").c_str());
    EXPECT_EQ(std::memcmp(second.current.data(), first.current.data(), kBankBytes), 0);
    EXPECT_EQ(second.currentProgram, 9);
    EXPECT_EQ(std::memcmp(second.initial.data(), second.current.data(), kBankBytes), 0);
}

TEST(DefaultBank, PreferencesCopyWinsAndFactoryLoadsOnlyWithoutIt)
{
    TempDir dir;
    const std::string prefs = dir / "prefs/";
    const std::string plugin = dir / "plugins/";
    mkdir(plugin.c_str(), 0755);

    Bank user = DistinctBank();
    std::strcpy(user[0].szName, "User bank");
    Bank shipped = DistinctBank();
    std::strcpy(shipped[0].szName, "Factory bank");
    ASSERT_TRUE(SaveBankFile((plugin + "GraEQDef.fxb").c_str(), kGraEQUniqueID, shipped.data(), kBankBytes));

    // No preferences copy: the copy beside the plug-in fills all three
    // banks, and the resource folder is remembered.
    {
        TempDir cwd;
        ScopedCwd here(cwd.path());
        Instance fresh;
        fresh.Open(prefs.c_str(), (plugin + "GraphicEQ.so").c_str());
        EXPECT_STREQ(fresh.resourceFolder, plugin.c_str());
        EXPECT_STREQ(fresh.current[0].szName, "Factory bank");
        EXPECT_STREQ(fresh.factory[0].szName, "Factory bank");
    }
    // A host that reports the folder itself works the same.
    {
        Instance fresh;
        fresh.Open(prefs.c_str(), (dir / "plugins").c_str());
        EXPECT_STREQ(fresh.resourceFolder, plugin.c_str());
        EXPECT_STREQ(fresh.factory[0].szName, "Factory bank");
    }

    // A preferences copy wins, and the factory bank then keeps its
    // constructed defaults (the resource folder stays empty).
    ASSERT_TRUE(SaveBankFile((prefs + "GraEQDef.fxb").c_str(), kGraEQUniqueID, user.data(), kBankBytes));
    {
        TempDir cwd;
        ScopedCwd here(cwd.path());
        Instance later;
        later.Open(prefs.c_str(), (plugin + "GraphicEQ.so").c_str());
        EXPECT_STREQ(later.resourceFolder, "");
        EXPECT_STREQ(later.current[0].szName, "User bank");
        EXPECT_STREQ(later.factory[0].szName, "Empty");
    }

    // Only the exact name counts as the preferences copy: a left-over
    // temporary or backup file does not hide the factory copy.
    TempDir prefs2;
    WriteFile(prefs2 / ".GraEQDef.fxb.a1b2c3", "half");
    WriteFile(prefs2 / "GraEQDef.fxb.bak", ReadFile(prefs + "GraEQDef.fxb"));
    {
        Instance other;
        other.Open((prefs2.path() + "/").c_str(), plugin.c_str());
        EXPECT_STREQ(other.current[0].szName, "Factory bank");
    }
}

TEST(DefaultBank, ResourceFolderFallsBackToTheLibraryFolder)
{
    char module[kBankPathSize];
    ASSERT_TRUE(GetModuleFolder(module, sizeof module));
    char exe[4096];
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    ASSERT_GT(n, 0);
    exe[n] = '\0';
    std::string folder(exe);
    folder.erase(folder.rfind('/') + 1);
    EXPECT_EQ(std::string(module), folder);

    TempDir dir;
    char resource[kBankPathSize] = "";
    const CString none = FindDefaultBankFile((dir.path() + "/").c_str(), nullptr, resource, sizeof resource);
    EXPECT_EQ(std::string(resource), folder);
    EXPECT_EQ(std::string(none), folder + "GraEQDef.fxb");
    FindDefaultBankFile((dir.path() + "/").c_str(), "", resource, sizeof resource);
    EXPECT_EQ(std::string(resource), folder);
}

TEST(DefaultBank, SaveCreatesFoldersAndAFailedSaveKeepsTheOldFile)
{
    TempDir dir;
    const std::string prefs = dir / "a/b/c/";
    Bank bank = DistinctBank();
    ASSERT_TRUE(SaveDefaultBankFile(prefs.c_str(), bank.data(), 3, kGraEQUniqueID, nullptr));
    const std::string path = prefs + "GraEQDef.fxb";
    const std::string before = ReadFile(path);
    ASSERT_EQ(before.size(), 5280u);

    // A full disk: the file-size limit stops the write part-way. The old
    // bank must survive whole, with no temporary left beside it.
    {
        struct sigaction ignore = {}, old = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGXFSZ, &ignore, &old);
        rlimit saved;
        getrlimit(RLIMIT_FSIZE, &saved);
        rlimit tiny = saved;
        tiny.rlim_cur = 1000;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tiny), 0);
        bank[7].fValue[0] = 0.0f;
        const bool saved_ok = SaveDefaultBankFile(prefs.c_str(), bank.data(), 7, kGraEQUniqueID, nullptr);
        setrlimit(RLIMIT_FSIZE, &saved);
        sigaction(SIGXFSZ, &old, nullptr);
        EXPECT_FALSE(saved_ok);
    }
    EXPECT_EQ(ReadFile(path), before);
    CFileFind find;
    ASSERT_TRUE(find.FindFile((prefs + "*").c_str()));
    EXPECT_STREQ(find.GetFileName(), "GraEQDef.fxb");
    EXPECT_FALSE(find.FindNextFile());
    EXPECT_EQ(access((prefs + ".GraEQDef.fxb.XXXXXX").c_str(), F_OK), -1);

    // A folder that cannot be made (a file stands in its way).
    WriteFile(dir / "blocker", "x");
    CString where;
    EXPECT_FALSE(SaveDefaultBankFile((dir / "blocker/sub/").c_str(), bank.data(), 0, kGraEQUniqueID, &where));
    const CString message = DefaultBankSaveFailedMessage(where);
    EXPECT_NE(std::string(message).find(dir / "blocker/sub/GraEQDef.fxb"), std::string::npos);
    EXPECT_EQ(std::string(message).find("%s"), std::string::npos);

    // A read-only folder, where permissions apply (not for root).
    if (geteuid() != 0) {
        chmod(prefs.c_str(), 0555);
        EXPECT_FALSE(SaveDefaultBankFile(prefs.c_str(), bank.data(), 1, kGraEQUniqueID, nullptr));
        chmod(prefs.c_str(), 0755);
        EXPECT_EQ(ReadFile(path), before);
    }
}

TEST(SaveProgram, RecordStepsMoveTheProgramAndBoundTheName)
{
    Bank current = DistinctBank(), initial = DistinctBank();
    current[4].fValue[10] = 0.9f;  // unsaved edit in the current slot
    current[4].fValue[11] = 0.1f;
    ASSERT_TRUE(StoreProgramForSave(current.data(), initial.data(), 4, 20, "abcdefghijklmnopqrstuvwxyz0123"));
    EXPECT_STREQ(current[20].szName, "abcdefghijklmnopqrstuvw");
    EXPECT_EQ(current[20].fValue[10], 0.9f);
    EXPECT_EQ(std::memcmp(&initial[20], &current[20], sizeof current[20]), 0);
    // The source slot loses its unsaved edits.
    EXPECT_EQ(std::memcmp(&current[4], &initial[4], sizeof current[4]), 0);
    EXPECT_NE(current[4].fValue[10], 0.9f);

    // A Japanese name whose 23rd byte would split a character keeps 22.
    std::string twelve;
    for (int i = 0; i < 12; ++i)
        twelve += "\x89\xB9";
    ASSERT_TRUE(StoreProgramForSave(current.data(), initial.data(), 20, 20, twelve.c_str()));
    EXPECT_EQ(std::strlen(current[20].szName), 22u);
    char utf8[80];
    EXPECT_TRUE(IsValidUTF8(CheckSJISAndToUFT8(current[20].szName, utf8)));

    EXPECT_FALSE(StoreProgramForSave(current.data(), initial.data(), 0, 32, "x"));
    EXPECT_FALSE(StoreProgramForSave(current.data(), initial.data(), -1, 0, "x"));
    EXPECT_TRUE(StoreProgramForSave(current.data(), initial.data(), 0, 1, nullptr));
    EXPECT_STREQ(current[1].szName, "");
}
