#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <limits>
#include <filesystem>
#include <string>
#include <vector>

#include "BankFile.h"
#include "CFileFind.h"
#include "TestFiles.h"
#include "WinStr.h"

namespace {

std::string BankBytes(const Bank& bank) { return std::string(reinterpret_cast<const char*>(bank.data()), kBankBytes); }

std::string Be32(uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

// A bank file image: "CcnK", byte size, "FBCh", format version 1, unique ID,
// plug-in version 1, 32 programs, 128 reserved bytes, chunk size, chunk.
std::string Image(const std::string& chunk, uint32_t chunkSize, const char* magic = "CcnK",
                  const char* bankMagic = "FBCh", uint32_t id = kGraEQUniqueID, uint32_t byteSize = 0)
{
    return std::string(magic, 4) + Be32(byteSize) + std::string(bankMagic, 4) + Be32(1) + Be32(id) + Be32(1) +
           Be32(32) + std::string(128, '\0') + Be32(chunkSize) + chunk;
}

int Load(const std::string& path, std::vector<unsigned char>& chunk)
{
    chunk.assign(kBankBytes, 0xEE);
    return LoadBankFile(path.c_str(), kGraEQUniqueID, chunk.data(), kBankBytes);
}

// The names in a folder, hidden ones included.
std::vector<std::string> Entries(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    return names;
}

}  // namespace

TEST(BankFile, LayoutIsTheBigEndianChunkBankByteForByte)
{
    TempDir dir;
    const Bank bank = DistinctBank();
    const std::string path = dir / "GraEQDef.fxb";
    ASSERT_TRUE(SaveBankFile(path.c_str(), kGraEQUniqueID, bank.data(), kBankBytes));
    const std::string bytes = ReadFile(path);
    ASSERT_EQ(bytes.size(), 5280u);
    EXPECT_EQ(bytes.substr(16, 4), "Tvlq");  // the unique ID, most significant byte first
    EXPECT_EQ(bytes, Image(BankBytes(bank), 5120));  // byte size 0, the records raw
    EXPECT_EQ(Entries(dir.path), std::vector<std::string>{"GraEQDef.fxb"}) << "no temporary left behind";

    std::vector<unsigned char> chunk;
    ASSERT_EQ(Load(path, chunk), kBankBytes);
    EXPECT_EQ(std::memcmp(chunk.data(), bank.data(), kBankBytes), 0);
}

TEST(BankFile, MalformedFilesAreIgnoredOrBounded)
{
    TempDir dir;
    const std::string good = BankBytes(DistinctBank());
    const std::string path = dir / "bank.fxb";
    const struct {
        const char* what;
        std::string bytes;
        int expected;
    } cases[] = {
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
        {"a non-zero byte size", Image(good, 5120, "CcnK", "FBCh", kGraEQUniqueID, 5272), 5120},
    };
    std::vector<unsigned char> chunk;
    for (const auto& c : cases) {
        WriteFile(path, c.bytes);
        EXPECT_EQ(Load(path, chunk), c.expected) << c.what;
        EXPECT_EQ(std::memcmp(chunk.data(), good.data(), static_cast<size_t>(c.expected)), 0) << c.what;
    }
    EXPECT_EQ(Load(dir / "missing.fxb", chunk), 0);
    EXPECT_EQ(Load(dir.path, chunk), 0);  // a folder
}

TEST(BankFile, LoadedRecordsAreMadeSafe)
{
    TempDir dir;
    Bank bank = DistinctBank();
    std::memset(bank[3].szName, 'A', sizeof bank[3].szName);  // no terminator
    bank[4].fValue[5] = std::numeric_limits<float>::quiet_NaN();
    bank[4].fValue[6] = 7.0f;
    bank[4].fValue[7] = -std::numeric_limits<float>::infinity();
    bank[1].nCurrentProgram = 12345;  // only record 0's matters
    std::vector<unsigned char> chunk;
    for (int32_t current : {99, -1, 5}) {
        bank[0].nCurrentProgram = current;
        WriteFile(dir / "bank.fxb", Image(BankBytes(bank), 5120));
        ASSERT_EQ(Load(dir / "bank.fxb", chunk), kBankBytes);
        Bank loaded;
        std::memcpy(static_cast<void*>(loaded.data()), chunk.data(), kBankBytes);
        EXPECT_EQ(loaded[0].nCurrentProgram, current == 5 ? 5 : 0) << current;
        EXPECT_EQ(std::strlen(loaded[3].szName), 23u);
        EXPECT_EQ(loaded[4].fValue[5], 0.5f);  // NaN: the default (0 dB)
        EXPECT_EQ(loaded[4].fValue[6], 1.0f);  // finite: the nearest bound
        EXPECT_EQ(loaded[4].fValue[7], 0.5f);  // infinity: the default
        EXPECT_EQ(loaded[1].nCurrentProgram, 12345);
        EXPECT_EQ(std::memcmp(&loaded[2], &bank[2], sizeof bank[2]), 0);
    }
}

TEST(DefaultBank, PreferencesFolderFollowsXdgConfigHomeThenHome)
{
    const std::string huge = "/" + std::string(kBankPathSize, 'x');
    const struct {
        const char *xdg, *home, *expected;  // expected null: no folder
    } cases[] = {
        {"/srv/cfg", "/home/someone", "/srv/cfg/GraphicEQ/"},
        {"/srv/cfg/", "/home/someone", "/srv/cfg/GraphicEQ/"},
        {"relative/cfg", "/home/someone", "/home/someone/.config/GraphicEQ/"},  // not absolute: ignored
        {nullptr, "/home/someone/", "/home/someone/.config/GraphicEQ/"},
        {huge.c_str(), "/home/someone", nullptr},
    };
    for (const auto& c : cases) {
        ScopedEnv xdg("XDG_CONFIG_HOME", c.xdg), home("HOME", c.home);
        char path[kBankPathSize] = "unchanged";
        EXPECT_EQ(GetMy_SHFOLDER_PathName(path, sizeof path), c.expected != nullptr);
        EXPECT_STREQ(path, c.expected ? c.expected : "unchanged");
        GetMy_SHFOLDER_PathName();  // the global the effect uses
        if (c.expected) {
            EXPECT_STREQ(szGlobalMyApplicationDataPathName, c.expected);
        }
    }
}

TEST(DefaultBank, PreferencesCopyWinsAndTheFolderBesideThePluginOtherwise)
{
    TempDir dir;
    const std::string prefs = dir / "prefs/", plugin = dir / "plugins/";
    mkdir(plugin.c_str(), 0755);
    Bank shipped = DistinctBank();
    std::strcpy(shipped[0].szName, "Factory bank");
    ASSERT_TRUE(SaveBankFile((plugin + "GraEQDef.fxb").c_str(), kGraEQUniqueID, shipped.data(), kBankBytes));
    char module[kBankPathSize];
    ASSERT_TRUE(GetModuleFolder(module, sizeof module));
    char exe[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", exe, sizeof exe - 1), 0);
    EXPECT_EQ(std::string(module), std::string(exe, std::strrchr(exe, '/') + 1));

    // No preferences copy: the host's folder (reported as the folder or as
    // the plug-in file), else the library's own folder, is the resource
    // folder, and its copy is the one read.
    const std::string so = plugin + "GraphicEQ.so", noSlash = dir / "plugins";
    const struct {
        const char* host;
        std::string folder;
    } hosts[] = {{so.c_str(), plugin}, {noSlash.c_str(), plugin}, {nullptr, module}, {"", module}};
    for (const auto& h : hosts) {
        char resource[kBankPathSize] = "";
        const CString file = FindDefaultBankFile(prefs.c_str(), h.host, resource, sizeof resource);
        EXPECT_EQ(std::string(resource), h.folder) << (h.host ? h.host : "null");
        EXPECT_EQ(std::string(file), h.folder + "GraEQDef.fxb");
    }
    Bank factory;
    ASSERT_TRUE(SetFactoryProgram(plugin.c_str(), kGraEQUniqueID, factory.data()));
    EXPECT_STREQ(factory[0].szName, "Factory bank");

    // Only the exact name counts as the preferences copy: a left-over
    // temporary or backup does not hide the factory copy.
    mkdir(prefs.c_str(), 0755);
    WriteFile(prefs + ".GraEQDef.fxb.a1b2c3", "half");
    WriteFile(prefs + "GraEQDef.fxb.bak", ReadFile(plugin + "GraEQDef.fxb"));
    char resource[kBankPathSize] = "";
    EXPECT_EQ(std::string(FindDefaultBankFile(prefs.c_str(), plugin.c_str(), resource, sizeof resource)),
              plugin + "GraEQDef.fxb");

    // A preferences copy wins and leaves the resource folder empty, so the
    // factory bank keeps its built-in defaults.
    WriteFile(prefs + "GraEQDef.fxb", ReadFile(plugin + "GraEQDef.fxb"));
    std::strcpy(resource, "");
    EXPECT_EQ(std::string(FindDefaultBankFile(prefs.c_str(), plugin.c_str(), resource, sizeof resource)),
              prefs + "GraEQDef.fxb");
    EXPECT_STREQ(resource, "");
}

TEST(DefaultBank, SaveStepsWriteWhatTheNextInstanceReads)
{
    TempDir dir;
    ScopedEnv xdg("XDG_CONFIG_HOME", (dir / "config").c_str());  // does not exist yet
    char prefs[kBankPathSize];
    ASSERT_TRUE(GetMy_SHFOLDER_PathName(prefs, sizeof prefs));
    Bank current = DistinctBank(), initial = DistinctBank();
    current[4].fValue[10] = 0.9f;  // unsaved edit in the current slot, kept by the save
    ASSERT_TRUE(StoreProgramForSave(current.data(), initial.data(), 4, 9, "abcdefghijklmnopqrstuvwxyz0123"));
    EXPECT_STREQ(current[9].szName, "abcdefghijklmnopqrstuvw");
    EXPECT_EQ(current[9].fValue[10], 0.9f);
    EXPECT_EQ(std::memcmp(&initial[9], &current[9], sizeof current[9]), 0);
    EXPECT_EQ(std::memcmp(&current[4], &initial[4], sizeof current[4]), 0) << "the slot left behind reverts";
    EXPECT_NE(current[4].fValue[10], 0.9f);

    // A Japanese name whose 23rd byte would split a character keeps 22.
    std::string twelve;
    for (int i = 0; i < 12; ++i)
        twelve += "\x89\xB9";
    ASSERT_TRUE(StoreProgramForSave(current.data(), initial.data(), 9, 9, twelve.c_str()));
    EXPECT_EQ(std::string(current[9].szName), twelve.substr(0, 22));
    EXPECT_FALSE(StoreProgramForSave(current.data(), initial.data(), 0, 32, "x"));
    EXPECT_FALSE(StoreProgramForSave(current.data(), initial.data(), -1, 0, "x"));
    ASSERT_TRUE(StoreProgramForSave(current.data(), initial.data(), 1, 1, nullptr));
    EXPECT_STREQ(current[1].szName, "");

    CString written;
    ASSERT_TRUE(SaveDefaultBankFile(prefs, current.data(), 9, kGraEQUniqueID, &written));
    EXPECT_EQ(std::string(written), dir / "config/GraphicEQ/GraEQDef.fxb");
    char resource[kBankPathSize] = "";
    std::vector<unsigned char> chunk;
    ASSERT_EQ(Load(std::string(FindDefaultBankFile(prefs, nullptr, resource, sizeof resource)), chunk), kBankBytes);
    EXPECT_EQ(std::memcmp(chunk.data(), current.data(), kBankBytes), 0);
    EXPECT_EQ(reinterpret_cast<const AGraEQProgram*>(chunk.data())[0].nCurrentProgram, 9);
}

TEST(DefaultBank, AFailedSaveKeepsTheOldFile)
{
    TempDir dir;
    const std::string prefs = dir / "a/b/c/", path = prefs + "GraEQDef.fxb";
    Bank bank = DistinctBank();
    ASSERT_TRUE(SaveDefaultBankFile(prefs.c_str(), bank.data(), 3, kGraEQUniqueID, nullptr));
    const std::string before = ReadFile(path);
    ASSERT_EQ(before.size(), 5280u);
    bank[7].fValue[0] = 0.0f;

    // A full disk: the file-size limit stops the write part-way. The old
    // bank must survive whole, with no temporary left beside it.
    struct sigaction ignore = {}, oldAction = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, &oldAction);
    rlimit saved, tiny;
    getrlimit(RLIMIT_FSIZE, &saved);
    tiny = saved;
    tiny.rlim_cur = 1000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tiny), 0);
    const bool savedOk = SaveDefaultBankFile(prefs.c_str(), bank.data(), 7, kGraEQUniqueID, nullptr);
    setrlimit(RLIMIT_FSIZE, &saved);
    sigaction(SIGXFSZ, &oldAction, nullptr);
    EXPECT_FALSE(savedOk);
    EXPECT_EQ(ReadFile(path), before);
    EXPECT_EQ(Entries(prefs), std::vector<std::string>{"GraEQDef.fxb"});

    // A folder that cannot be made (a file stands in its way): the message
    // names the file.
    WriteFile(dir / "blocker", "x");
    CString where;
    EXPECT_FALSE(SaveDefaultBankFile((dir / "blocker/sub/").c_str(), bank.data(), 0, kGraEQUniqueID, &where));
    const std::string message(DefaultBankSaveFailedMessage(where));
    EXPECT_NE(message.find("\"" + dir / "blocker/sub/GraEQDef.fxb\""), std::string::npos) << message;
}
