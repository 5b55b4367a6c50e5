// Bank files through the host: the .fxb reader on good, damaged and foreign
// files, --bank changing what info and response see, the bank listing and
// its export, on the test plug-ins and on GraphicEQ with its factory bank.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Audio.h"
#include "FxBank.h"
#include "HostTestUtil.h"
#include "VstHost.h"

using hosttest::ReadText;
using hosttest::RunHost;
using hosttest::TempDir;
using hosttest::WriteText;

namespace {

constexpr int32_t kHtEq = ('H' << 24) | ('t' << 16) | ('E' << 8) | 'q';
constexpr int32_t kTvlq = ('T' << 24) | ('v' << 16) | ('l' << 8) | 'q';

// Big-endian bank bytes as a host or plug-in writes them.
class Be {
public:
    Be& U32(uint32_t v)
    {
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes += static_cast<char>((v >> shift) & 0xFF);
        return *this;
    }
    Be& Tag(const char* four) { return Raw(four, 4); }
    Be& F32(float f)
    {
        uint32_t u;
        std::memcpy(&u, &f, 4);
        return U32(u);
    }
    Be& Raw(const void* p, size_t n)
    {
        bytes.append(static_cast<const char*>(p), n);
        return *this;
    }
    Be& Zeros(size_t n)
    {
        bytes.append(n, '\0');
        return *this;
    }
    std::string bytes;
};

std::string ChunkBank(int32_t id, const std::string& chunk, int32_t fxVersion = 1,
                      uint32_t declaredSize = UINT32_MAX)
{
    Be b;
    b.Tag("CcnK").U32(0).Tag("FBCh").U32(1).U32(static_cast<uint32_t>(id)).U32(static_cast<uint32_t>(fxVersion));
    b.U32(3).Zeros(128).U32(declaredSize == UINT32_MAX ? static_cast<uint32_t>(chunk.size()) : declaredSize);
    return b.bytes + chunk;
}

struct Prog {
    std::string name;
    std::vector<float> values;
};

// A regular bank, version 2 (the current program in the header).
std::string ParamBank(int32_t id, int32_t current, const std::vector<Prog>& programs)
{
    Be b;
    b.Tag("CcnK").U32(0).Tag("FxBk").U32(2).U32(static_cast<uint32_t>(id)).U32(1);
    b.U32(static_cast<uint32_t>(programs.size())).U32(static_cast<uint32_t>(current)).Zeros(124);
    for (const Prog& p : programs) {
        char name[28] = {};
        std::memcpy(name, p.name.data(), std::min(p.name.size(), sizeof name));
        b.Tag("CcnK").U32(0).Tag("FxCk").U32(1).U32(static_cast<uint32_t>(id)).U32(1);
        b.U32(static_cast<uint32_t>(p.values.size())).Raw(name, sizeof name);
        for (float v : p.values)
            b.F32(v);
    }
    return b.bytes;
}

// The test plug-ins: Gain, Peak Gain (-12..12 dB), Peak Q, Bypass, Trim.
std::vector<Prog> TestPrograms()
{
    return {{"Alpha", {0.5f, 0.5f, 0.3f, 0.0f, 0.5f}},
            {"Bravo", {0.5f, 0.75f, 0.3f, 0.0f, 0.5f}},    // +6 dB at 1 kHz
            {"Charlie", {0.5f, 0.25f, 0.3f, 0.0f, 0.5f}}};  // -6 dB at 1 kHz
}

// HostTestChunks' own chunk: its Program records as they lie in memory.
std::string TestChunk(const std::vector<Prog>& programs)
{
    std::string chunk;
    for (const Prog& p : programs) {
        char name[32] = {};
        std::strncpy(name, p.name.c_str(), sizeof name - 1);
        chunk.append(name, sizeof name);
        chunk.append(reinterpret_cast<const char*>(p.values.data()), p.values.size() * sizeof(float));
    }
    return chunk;
}

ghost::FxBank Parse(const std::string& bytes)
{
    // An exactly sized heap copy, so a read past the end is a sanitizer error.
    std::vector<unsigned char> copy(bytes.begin(), bytes.end());
    return ghost::ParseFxBank(copy.data(), copy.size(), "bank");
}

std::string ParseError(const std::string& bytes)
{
    try {
        Parse(bytes);
    } catch (const ghost::HostError& e) {
        return e.what();
    }
    return "(accepted)";
}

// The gain printed for the 1 kHz band by `response`.
double Gain1k(const std::string& out)
{
    const size_t at = out.find("\n1.0KHz");
    if (at == std::string::npos)
        return -999;
    double freq = 0, db = -999;
    std::sscanf(out.c_str() + at + 1, "1.0KHz %lf %lf", &freq, &db);
    return db;
}

}  // namespace

TEST(HostBank, ParsesOpaqueAndParameterBanks)
{
    const std::string chunk = TestChunk(TestPrograms());
    auto b = Parse(ChunkBank(kHtEq, chunk, 7) + "tail");
    EXPECT_TRUE(b.opaque);
    EXPECT_EQ(b.uniqueID, kHtEq);
    EXPECT_EQ(b.fxVersion, 7);
    EXPECT_EQ(std::string(b.chunk.begin(), b.chunk.end()), chunk);
    EXPECT_EQ(b.trailingBytes, 4u) << "bytes after the chunk are counted, not read as chunk";
    EXPECT_EQ(b.currentProgram, -1) << "a version 1 header carries no current program";

    std::vector<Prog> progs = TestPrograms();
    progs[2].name = std::string(30, 'N');  // fills the 28-byte field with no terminator
    b = Parse(ParamBank(kHtEq, 1, progs));
    EXPECT_FALSE(b.opaque);
    ASSERT_EQ(b.programs.size(), 3u);
    EXPECT_EQ(b.programs[1].name, "Bravo");
    EXPECT_EQ(b.programs[1].params, progs[1].values);
    EXPECT_EQ(b.programs[2].name, std::string(28, 'N'));
    EXPECT_EQ(b.currentProgram, 1);
    EXPECT_EQ(Parse(ParamBank(kHtEq, 7, progs)).currentProgram, -1) << "a current program beyond the bank";
}

TEST(HostBank, RejectsDamagedFilesWithoutTrustingTheirSizes)
{
    // Every cut of a good file is an error, never a read past the end.
    for (const std::string& good : {ChunkBank(kHtEq, TestChunk(TestPrograms())), ParamBank(kHtEq, 0, TestPrograms())})
        for (size_t n = 0; n < good.size(); ++n)
            EXPECT_NE(ParseError(good.substr(0, n)), "(accepted)") << "cut at " << n;

    // Random damage: every outcome is a bank or an error, never a crash or
    // a read outside the bytes (the sanitizer build checks the latter).
    uint32_t seed = 12345;
    auto next = [&seed]() { return seed = seed * 1664525u + 1013904223u; };
    for (const std::string& good : {ChunkBank(kHtEq, TestChunk(TestPrograms())), ParamBank(kHtEq, 1, TestPrograms())})
        for (int round = 0; round < 3000; ++round) {
            std::string bad = good;
            for (int flips = 1 + next() % 4; flips > 0; --flips)
                bad[(next() >> 8) % bad.size()] = static_cast<char>(next() >> 24);
            if (next() % 4 == 0)
                bad.resize((next() >> 8) % (bad.size() + 64), '\x7f');
            ParseError(bad);
        }

    const std::string params = ParamBank(kHtEq, 0, TestPrograms());
    auto patched = [](std::string s, size_t at, uint32_t v) {
        for (int k = 0; k < 4; ++k)
            s[at + k] = static_cast<char>((v >> (24 - 8 * k)) & 0xFF);
        return s;
    };
    const std::pair<std::string, const char*> cases[] = {
        {ChunkBank(kHtEq, "abc", 1, 0xFFFFFFF0u), "declares a chunk of 4294967280 bytes, the file holds 3"},
        {patched(params, 24, 0x7FFFFFFF), "implausible number of programs"},
        {patched(params, 24, 5000), "5000 programs declared, room for at most 4"},
        {patched(params, 156 + 24, 0x40000000), "implausible number of parameters in program 0"},
        {patched(params, 156 + 24, 90000), "program 0 declares 90000 parameters"},
        {patched(params, 156 + 16, kTvlq), "program 0 belongs to plug-in 'Tvlq'"},
        {patched(params, 156 + 8, 0x46504368 /* FPCh */), "program 0 is 'FPCh'"},
        {patched(params, 8, 0x46784368 /* FxCh */), "bank magic 'FxCh'"},
        {patched(params, 8, 0x4678436B /* FxCk */), "a VST program file (.fxp)"},
        {"RIFF....WAVEfmt ", "not a VST bank file (it does not start with \"CcnK\")"},
        {"", "not a VST bank file"},
    };
    for (const auto& [bytes, message] : cases)
        EXPECT_NE(ParseError(bytes).find(message), std::string::npos) << message << "\n" << ParseError(bytes);
}

TEST(HostBank, ReadsFilesWithinBounds)
{
    TempDir dir;
    WriteText(dir / "good.fxb", ChunkBank(kHtEq, "chunk"));
    const auto b = ghost::ReadFxBank(dir / "good.fxb");
    EXPECT_EQ(std::string(b.chunk.begin(), b.chunk.end()), "chunk");
    EXPECT_THROW(ghost::ReadFxBank(dir / "missing.fxb"), ghost::HostError);
    EXPECT_THROW(ghost::ReadFxBank(dir.Path()), ghost::HostError);
    // A sparse file beyond the limit is refused after reading at most the limit.
    WriteText(dir / "huge.fxb", ChunkBank(kHtEq, "x", 1, 0x7FFFFFFF));
    ASSERT_EQ(truncate((dir / "huge.fxb").c_str(), static_cast<off_t>(ghost::kMaxBankFileBytes) + 10), 0);
    try {
        ghost::ReadFxBank(dir / "huge.fxb");
        ADD_FAILURE() << "an oversized file was accepted";
    } catch (const ghost::HostError& e) {
        EXPECT_NE(std::string(e.what()).find("larger than 64 MiB"), std::string::npos) << e.what();
    }
}

TEST(HostBank, ParameterBankReachesInfoResponseAndTheListing)
{
    TempDir dir;
    WriteText(dir / "p.fxb", ParamBank(kHtEq, 1, TestPrograms()));

    auto r = RunHost({"info", TEST_PLUGIN, "--bank", dir / "p.fxb"});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* want : {"Programs     3 (current 1)", "    0  Alpha", "    1  Bravo", "    2  Charlie"})
        EXPECT_NE(r.out.find(want), std::string::npos) << want << "\n" << r.out;
    EXPECT_NE(r.err.find("3 programs of parameters"), std::string::npos) << r.err;

    r = RunHost({"response", "--plugin", TEST_PLUGIN, "--bank", dir / "p.fxb"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NEAR(Gain1k(r.out), 6.0, 0.01) << "the bank's current program (Bravo) is playing\n" << r.out;
    // render: a 1 kHz sine at -12 dBFS comes out 6 dB louder through Bravo.
    ghost::Audio sine;
    sine.rate = 8000;
    sine.channels.assign(1, std::vector<float>(8000));
    for (size_t i = 0; i < sine.channels[0].size(); ++i)
        sine.channels[0][i] = static_cast<float>(0.25 * std::sin(2 * 3.14159265358979 * 1000.0 * i / 8000.0));
    ghost::WriteAudioFile(dir / "sine.wav", sine, ghost::ChooseOutputFormat(dir / "sine.wav", 0, 1, 8000));
    for (const auto& [program, want] : {std::make_pair("0", -12.0), std::make_pair("1", -6.0)}) {
        r = RunHost({"render", "--plugin", TEST_PLUGIN, "--bank", dir / "p.fxb", "--program", program, dir / "sine.wav",
                     dir / "o.wav"});
        ASSERT_EQ(r.status, 0) << r.err;
        const size_t at = r.err.find(", out ");
        ASSERT_NE(at, std::string::npos) << r.err;
        EXPECT_NEAR(std::atof(r.err.c_str() + at + 6), want, 0.15) << r.err;
    }

    r = RunHost({"response", "--plugin", TEST_PLUGIN, "--bank", dir / "p.fxb", "--program", "2", "--peak"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NEAR(Gain1k(r.out), -6.0, 0.01) << r.out;
    EXPECT_NE(r.out.find("\npeak "), std::string::npos) << r.out;

    // A fourth program the plug-in has no room for, and values no plug-in
    // should see: not a number, and beyond 1.
    std::vector<Prog> progs = TestPrograms();
    progs[0].values[0] = std::nanf("");
    progs[0].values[4] = 7.0f;
    progs.push_back({"Delta", {0.1f, 0.1f, 0.1f, 0.1f, 0.1f}});
    WriteText(dir / "p.fxb", ParamBank(kHtEq, 1, progs));
    r = RunHost({"bank", "--plugin", TEST_PLUGIN, dir / "p.fxb"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("holds 4 programs, the plug-in has 3; 3 loaded"), std::string::npos) << r.err;
    for (const char* want : {"plug-in HostTestEQ 'HtEq'\nprograms 3, parameters 5\n", "\nprogram 1: Bravo\n",
                             "    0  Gain      = -24.00 dB      (0.000000)\n",
                             "    4  Trim      = -6.0 dB        (1.000000)\n",
                             "    1  Peak Gain = 6.0 dB         (0.750000)\n", "\nprogram 2: Charlie\n",
                             "    1  Peak Gain = -6.0 dB        (0.250000)\n", "    3  Bypass    = Off ",
                             "\ncurrent program 1: Bravo\n"})
        EXPECT_NE(r.out.find(want), std::string::npos) << want << "\n" << r.out;
}

TEST(HostBank, OpaqueBankReachesAChunkPlugin)
{
    TempDir dir;
    std::vector<Prog> progs = TestPrograms();
    progs[0] = {"Chunky", {0.5f, 0.25f, 0.3f, 0.0f, 0.5f}};
    WriteText(dir / "c.fxb", ChunkBank(kHtEq, TestChunk(progs), 7));
    auto r = RunHost({"bank", "--plugin", TEST_PLUGIN_CHUNKS, dir / "c.fxb"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("\nprogram 0: Chunky\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\nprogram 2: Charlie\n"), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("opaque chunk of 156 bytes"), std::string::npos) << r.err;
    r = RunHost({"response", "--plugin", TEST_PLUGIN_CHUNKS, "--bank", dir / "c.fxb"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NEAR(Gain1k(r.out), -6.0, 0.01) << r.out;
}

TEST(HostBank, RefusesBanksThePluginCannotTake)
{
    TempDir dir;
    WriteText(dir / "chunk.fxb", ChunkBank(kHtEq, TestChunk(TestPrograms())));
    WriteText(dir / "newer.fxb", ChunkBank(kHtEq, TestChunk(TestPrograms()), 8));
    WriteText(dir / "foreign.fxb", ParamBank(kTvlq, 0, TestPrograms()));
    const std::string good = ParamBank(kHtEq, 0, TestPrograms());
    WriteText(dir / "cut.fxb", good.substr(0, good.size() - 3));
    WriteText(dir / "notes.txt", "hello\n");
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string message;
    } cases[] = {
        {{"info", TEST_PLUGIN, "--bank", dir / "chunk.fxb"}, 1, "keeps no program chunks"},
        {{"info", TEST_PLUGIN_CHUNKS, "--bank", dir / "newer.fxb"}, 1, "the plug-in refuses this bank"},
        {{"render", "--plugin", TEST_PLUGIN, "--bank", dir / "foreign.fxb", dir / "o.wav"}, 1,
         "a bank of plug-in 'Tvlq' (0x54766C71), not of HostTestEQ 'HtEq'"},
        {{"bank", "--plugin", TEST_PLUGIN, dir / "cut.fxb"}, 1, "truncated bank file"},
        {{"bank", "--plugin", TEST_PLUGIN, dir / "notes.txt"}, 1, "not a VST bank file"},
        {{"response", "--plugin", TEST_PLUGIN, "--bank", dir / "none.fxb"}, 1, "No such file or directory"},
        {{"bench", TEST_PLUGIN, "--bank", dir / "chunk.fxb"}, 2, "--bank do not apply"},
        {{"bank", "--plugin", TEST_PLUGIN}, 2, "bank expects FILE.fxb or --program-list"},
        {{"bank", "--plugin", TEST_PLUGIN, "--program-list", dir / "chunk.fxb"}, 2, "give no FILE.fxb"},
        {{"bank", "--plugin", TEST_PLUGIN, "--program-list", "--export", dir / "no/such/dir.txt"}, 1,
         "cannot be written"},
    };
    for (const Case& c : cases) {
        const auto r = RunHost(c.args);
        EXPECT_EQ(r.status, c.status) << c.message << "\n" << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    }
    EXPECT_FALSE(std::ifstream(dir / "o.wav")) << "nothing rendered with a refused bank";
}

TEST(HostBank, ExportIsTheListingAndStable)
{
    TempDir dir;
    WriteText(dir / "p.fxb", ParamBank(kHtEq, 2, TestPrograms()));
    const auto shown = RunHost({"bank", "--plugin", TEST_PLUGIN, dir / "p.fxb"});
    ASSERT_EQ(shown.status, 0) << shown.err;
    for (const char* out : {"a.txt", "b.txt"}) {
        const auto r = RunHost({"bank", "--plugin", TEST_PLUGIN, dir / "p.fxb", "--export", dir / out});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_TRUE(r.out.empty()) << r.out;
    }
    EXPECT_EQ(ReadText(dir / "a.txt"), shown.out);
    EXPECT_EQ(ReadText(dir / "b.txt"), shown.out);
    EXPECT_FALSE(std::ifstream(dir / "a.txt.tmp")) << "no temporary file is left behind";

    // Without a file: the plug-in's own bank, and the plug-in's own program
    // left current.
    const auto own = RunHost({"bank", "--plugin", TEST_PLUGIN, "--program-list"});
    ASSERT_EQ(own.status, 0) << own.err;
    EXPECT_NE(own.out.find("\nprogram 1: Boost 1k\n"), std::string::npos) << own.out;
    EXPECT_NE(own.out.find("\ncurrent program 0: Flat\n"), std::string::npos) << own.out;
}

#if defined(GRAPHICEQ_PLUGIN) && defined(GRAPHICEQ_FACTORY_BANK)
namespace {

// GraphicEQ reads a default bank from the user's preferences folder at open;
// an empty one makes every run a first run, whatever the machine holds.
class HostBankGraphicEQ : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (const char* old = std::getenv("XDG_CONFIG_HOME"))
            m_old = old, m_hadOld = true;
        setenv("XDG_CONFIG_HOME", m_prefs.Path().c_str(), 1);
    }
    void TearDown() override
    {
        if (m_hadOld)
            setenv("XDG_CONFIG_HOME", m_old.c_str(), 1);
        else
            unsetenv("XDG_CONFIG_HOME");
    }
    TempDir m_prefs, m_dir;
    std::string m_old;
    bool m_hadOld = false;
};

}  // namespace

TEST_F(HostBankGraphicEQ, ListsTheFactoryBankAsAFirstRunSeesIt)
{
    const auto r = RunHost({"bank", "--plugin", GRAPHICEQ_PLUGIN, GRAPHICEQ_FACTORY_BANK});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* want : {"plug-in GraphicEQ 'Tvlq'\nprograms 32, parameters 33\n", "\nprogram 0: Flat\n",
                             "\nprogram 9: Telephone\n", "    3  Gain 25Hz    = -12.0 dB ", "   11  Gain 1.0KHz  = ",
                             "   32  Q 16.0KHz    = ", "\ncurrent program 0: Flat\n"})
        EXPECT_NE(r.out.find(want), std::string::npos) << want;
    // A first run opens on the factory bank beside the plug-in.
    const auto own = RunHost({"bank", "--plugin", GRAPHICEQ_PLUGIN, "--program-list"});
    ASSERT_EQ(own.status, 0) << own.err;
    EXPECT_EQ(own.out, r.out);
}

TEST_F(HostBankGraphicEQ, AnEditedBankChangesWhatInfoAndResponseSee)
{
    // The factory bank with program 0 renamed and its 1 kHz band at +6 dB
    // (record 0: 33 values, then the 24-byte name).
    std::string bytes = ReadText(GRAPHICEQ_FACTORY_BANK);
    ASSERT_EQ(bytes.size(), 160u + 5120u);
    const float plus6 = 0.75f;
    std::memcpy(&bytes[160 + 11 * 4], &plus6, 4);
    std::memset(&bytes[160 + 132], 0, 24);
    std::memcpy(&bytes[160 + 132], "Edited By Test", 14);
    WriteText(m_dir / "edited.fxb", bytes);

    auto r = RunHost({"info", GRAPHICEQ_PLUGIN, "--bank", m_dir / "edited.fxb"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("    0  Edited By Test\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Gain 1.0KHz   6.0"), std::string::npos) << r.out;

    r = RunHost({"response", "--plugin", GRAPHICEQ_PLUGIN, "--bank", m_dir / "edited.fxb", "--program", "0"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NEAR(Gain1k(r.out), 6.0, 0.05) << r.out;
}

TEST_F(HostBankGraphicEQ, PeakAndCurveSurviveTheLowBandLimitCycle)
{
    // After a 25 Hz tone, and after an impulse through a low boost,
    // GraphicEQ's flush of tiny values leaves a small 25 Hz limit cycle; an
    // impulse response seconds long summed it into a +45 dB "peak" on Flat.
    auto r = RunHost({"response", "--plugin", GRAPHICEQ_PLUGIN, "--bank", GRAPHICEQ_FACTORY_BANK, "--program", "0",
                      "--peak", "--png", m_dir / "flat.png"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NEAR(Gain1k(r.out), 0.0, 0.01) << r.out;
    const size_t at = r.out.find("\npeak ");
    ASSERT_NE(at, std::string::npos) << r.out;
    double hz = 0, db = 99;
    std::sscanf(r.out.c_str() + at + 1, "peak %lf %lf", &hz, &db);
    EXPECT_NEAR(db, 0.0, 0.01) << r.out;
    // With the 25 Hz band boosted the impulse itself trips the cycle; the
    // curve then comes from stepped sines.
    r = RunHost({"response", "--plugin", GRAPHICEQ_PLUGIN, "--set", "Gain 25Hz=6", "--png", m_dir / "low.png"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("curve from stepped sines"), std::string::npos) << r.err;
}

TEST_F(HostBankGraphicEQ, SettingsOutliveResume)
{
    // GraphicEQ switches itself on in resume; --set ON/OFF=OFF must still
    // bypass it in render, response and the peak search.
    ghost::Audio sine;
    sine.rate = 48000;
    sine.channels.assign(1, std::vector<float>(24000));
    for (size_t i = 0; i < sine.channels[0].size(); ++i)
        sine.channels[0][i] = static_cast<float>(0.25 * std::sin(2 * 3.14159265358979 * 1000.0 * i / 48000.0));
    ghost::WriteAudioFile(m_dir / "sine.wav", sine, ghost::ChooseOutputFormat(m_dir / "sine.wav", 0, 1, 48000));
    for (const auto& [onOff, want] : {std::make_pair("ON", -6.0), std::make_pair("OFF", -12.0)}) {
        const auto r = RunHost({"render", "--plugin", GRAPHICEQ_PLUGIN, "--set", "Output=0", "--set", "Gain 1.0KHz=6",
                                "--set", std::string("ON/OFF=") + onOff, m_dir / "sine.wav", m_dir / "o.wav"});
        ASSERT_EQ(r.status, 0) << r.err;
        const size_t at = r.err.find(", out ");
        ASSERT_NE(at, std::string::npos) << r.err;
        EXPECT_NEAR(std::atof(r.err.c_str() + at + 6), want, 0.15) << onOff << "\n" << r.err;
    }
    const auto r = RunHost({"response", "--plugin", GRAPHICEQ_PLUGIN, "--set", "Gain 1.0KHz=6", "--set", "ON/OFF=OFF",
                            "--peak"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NEAR(Gain1k(r.out), 0.0, 0.01) << r.out;
    const size_t at = r.out.find("\npeak ");
    ASSERT_NE(at, std::string::npos) << r.out;
    double hz = 0, db = 99;
    std::sscanf(r.out.c_str() + at + 1, "peak %lf %lf", &hz, &db);
    EXPECT_NEAR(db, 0.0, 0.01) << r.out;
}
#endif
