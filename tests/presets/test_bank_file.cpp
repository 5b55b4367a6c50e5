#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "BankFile.h"
#include "CFileFind.h"
#include "TestFiles.h"

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
}
