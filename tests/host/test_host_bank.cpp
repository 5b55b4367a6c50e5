// Bank files through the host: the .fxb reader on good, damaged and foreign
// files, --bank changing what info and response see, the bank listing and
// its export, on the test plug-in and on GraphicEQ with its factory bank.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "Audio.h"
#include "FxBank.h"
#include "HostTestUtil.h"
#include "VstHost.h"

using namespace hosttest;

namespace {

constexpr uint32_t kHtEq = 0x48744571, kTvlq = 0x54766C71;

// Big-endian words, as banks store them.
std::string Be(std::initializer_list<uint32_t> words)
{
    std::string s;
    for (uint32_t v : words)
        for (int shift = 24; shift >= 0; shift -= 8)
            s += static_cast<char>((v >> shift) & 0xFF);
    return s;
}

const uint32_t kCcnK = 0x43636E4B, kFBCh = 0x46424368, kFxBk = 0x4678426B, kFxCk = 0x4678436B;

std::string ChunkBank(uint32_t id, const std::string& chunk, uint32_t fxVersion = 1, uint32_t declared = UINT32_MAX)
{
    return Be({kCcnK, 0, kFBCh, 1, id, fxVersion, 3}) + std::string(128, '\0') +
           Be({declared == UINT32_MAX ? uint32_t(chunk.size()) : declared}) + chunk;
}

struct Prog {
    std::string name;
    std::vector<float> values;
};

// A regular bank, version 2 (the current program in the header).
std::string ParamBank(uint32_t id, uint32_t current, const std::vector<Prog>& programs)
{
    std::string b = Be({kCcnK, 0, kFxBk, 2, id, 1, uint32_t(programs.size()), current}) + std::string(124, '\0');
    for (const Prog& p : programs) {
        b += Be({kCcnK, 0, kFxCk, 1, id, 1, uint32_t(p.values.size())});
        b += (p.name + std::string(28, '\0')).substr(0, 28);
        for (float v : p.values) {
            uint32_t u;
            std::memcpy(&u, &v, 4);
            b += Be({u});
        }
    }
    return b;
}

// The test plug-in's parameters: Gain, Peak Gain (-12..12 dB), Peak Q, Bypass, Trim.
std::vector<Prog> TestPrograms()
{
    return {{"Alpha", {0.5f, 0.5f, 0.3f, 0.0f, 0.5f}},
            {"Bravo", {0.5f, 0.75f, 0.3f, 0.0f, 0.5f}},    // +6 dB at 1 kHz
            {"Charlie", {0.5f, 0.25f, 0.3f, 0.0f, 0.5f}}};  // -6 dB at 1 kHz
}

// The chunk of the test plug-in in "chunks" mode: its Program records as they lie in memory.
std::string TestChunk(const std::vector<Prog>& programs)
{
    std::string chunk;
    for (const Prog& p : programs)
        chunk += (p.name + std::string(32, '\0')).substr(0, 32) +
                 std::string(reinterpret_cast<const char*>(p.values.data()), p.values.size() * sizeof(float));
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
    return ErrorOf([&] { Parse(bytes); });
}

}  // namespace

TEST(HostBank, ParsesOpaqueAndParameterBanks)
{
    const std::string chunk = TestChunk(TestPrograms());
    auto b = Parse(ChunkBank(kHtEq, chunk, 7) + "tail");
    EXPECT_TRUE(b.opaque);
    EXPECT_EQ(uint32_t(b.uniqueID), kHtEq);
    EXPECT_EQ(b.fxVersion, 7);
    EXPECT_EQ(std::string(b.chunk.begin(), b.chunk.end()), chunk);
    EXPECT_EQ(b.trailingBytes, 4u) << "bytes after the chunk are counted, not read as chunk";
    EXPECT_EQ(b.currentProgram, -1) << "a version 1 header carries no current program";

    std::vector<Prog> progs = TestPrograms();
    progs[2].name = std::string(30, 'N');  // fills the 28-byte field with no terminator
    b = Parse(ParamBank(kHtEq, 1, progs));
    EXPECT_FALSE(b.opaque);
    ASSERT_EQ(b.programs.size(), 3u);
    EXPECT_EQ(b.programs[2].params, progs[2].values);
    EXPECT_EQ(b.programs[2].name, std::string(28, 'N'));
    EXPECT_EQ(Parse(ParamBank(kHtEq, 7, progs)).currentProgram, -1) << "a current program beyond the bank";
}

TEST(HostBank, RejectsDamagedFilesWithoutTrustingTheirSizes)
{
    // Every cut of a good file is an error; random damage gives a bank or an
    // error, never a crash or a read outside the bytes (the sanitizer build
    // checks the latter).
    uint32_t seed = 12345;
    auto next = [&seed]() { return seed = seed * 1664525u + 1013904223u; };
    for (const std::string& good : {ChunkBank(kHtEq, TestChunk(TestPrograms())), ParamBank(kHtEq, 1, TestPrograms())}) {
        for (size_t n = 0; n < good.size(); ++n)
            EXPECT_NE(ParseError(good.substr(0, n)), "(accepted)") << "cut at " << n;
        for (int round = 0; round < 3000; ++round) {
            std::string bad = good;
            for (int flips = 1 + next() % 4; flips > 0; --flips)
                bad[(next() >> 8) % bad.size()] = static_cast<char>(next() >> 24);
            if (next() % 4 == 0)
                bad.resize((next() >> 8) % (bad.size() + 64), '\x7f');
            ParseError(bad);
        }
    }

    const std::string params = ParamBank(kHtEq, 0, TestPrograms());
    auto patched = [&params](size_t at, uint32_t v) { return params.substr(0, at) + Be({v}) + params.substr(at + 4); };
    const std::pair<std::string, const char*> cases[] = {
        {ChunkBank(kHtEq, "abc", 1, 0xFFFFFFF0u), "declares a chunk of 4294967280 bytes, the file holds 3"},
        {patched(24, 0x7FFFFFFF), "implausible number of programs"},
        {patched(24, 5000), "5000 programs declared, room for at most 4"},
        {patched(156 + 24, 0x40000000), "implausible number of parameters in program 0"},
        {patched(156 + 24, 90000), "program 0 declares 90000 parameters"},
        {patched(156 + 16, kTvlq), "program 0 belongs to plug-in 'Tvlq'"},
        {patched(156 + 8, 0x46504368 /* FPCh */), "program 0 is 'FPCh'"},
        {patched(8, 0x46784368 /* FxCh */), "bank magic 'FxCh'"},
        {patched(8, kFxCk), "a VST program file (.fxp)"},
        {"RIFF....WAVEfmt ", "not a VST bank file (it does not start with \"CcnK\")"},
        {"", "not a VST bank file"},
    };
    for (const auto& [bytes, message] : cases)
        EXPECT_TRUE(Has(ParseError(bytes), message));
}

TEST(HostBank, ReadsFilesWithinBounds)
{
    TempDir dir;
    EXPECT_THROW(ghost::ReadFxBank(dir.Path()), ghost::HostError) << "a directory";
    // A sparse file beyond the limit is refused after reading at most the limit.
    WriteText(dir / "huge.fxb", ChunkBank(kHtEq, "x", 1, 0x7FFFFFFF));
    ASSERT_EQ(truncate((dir / "huge.fxb").c_str(), static_cast<off_t>(ghost::kMaxBankFileBytes) + 10), 0);
    EXPECT_TRUE(Has(ErrorOf([&] { ghost::ReadFxBank(dir / "huge.fxb"); }), "larger than 64 MiB"));
}

TEST(HostBank, ParameterBankReachesInfoResponseAndTheListing)
{
    TempDir dir;
    WriteText(dir / "p.fxb", ParamBank(kHtEq, 1, TestPrograms()));
    auto r = RunOk({"response", "--plugin", TEST_PLUGIN, "--bank", dir / "p.fxb"});
    EXPECT_NEAR(PrintedDb(r.out, "1.0KHz"), 6.0, 0.01) << "the bank's current program (Bravo) is playing\n" << r.out;
    r = RunOk({"response", "--plugin", TEST_PLUGIN, "--bank", dir / "p.fxb", "--program", "2", "--peak"});
    EXPECT_NEAR(PrintedDb(r.out, "1.0KHz"), -6.0, 0.01) << r.out;
    EXPECT_NEAR(PrintedDb(r.out, "peak"), 0.0, 0.01) << "a cut leaves 0 dB as the highest gain\n" << r.out;

    // A fourth program the plug-in has no room for, and values no plug-in
    // should see: not a number, and beyond 1.
    std::vector<Prog> progs = TestPrograms();
    progs[0].values[0] = std::nanf("");
    progs[0].values[4] = 7.0f;
    progs.push_back({"Delta", {0.1f, 0.1f, 0.1f, 0.1f, 0.1f}});
    WriteText(dir / "p.fxb", ParamBank(kHtEq, 1, progs));
    r = RunOk({"bank", "--plugin", TEST_PLUGIN, dir / "p.fxb"});
    EXPECT_TRUE(Has(r.err, "4 programs of parameters"));
    EXPECT_TRUE(Has(r.err, "holds 4 programs, the plug-in has 3; 3 loaded"));
    for (const char* want : {"plug-in HostTestEQ 'HtEq'\nprograms 3, parameters 5\n", "\nprogram 0: Alpha\n",
                             "\nprogram 1: Bravo\n",
                             "    0  Gain      = -24.00 dB      (0.000000)\n",
                             "    4  Trim      = -6.0 dB        (1.000000)\n",
                             "    1  Peak Gain = 6.0 dB         (0.750000)\n", "\nprogram 2: Charlie\n",
                             "    1  Peak Gain = -6.0 dB        (0.250000)\n", "    3  Bypass    = Off ",
                             "\ncurrent program 1: Bravo\n"})
        EXPECT_TRUE(Has(r.out, want));

    // The export is the listing, the same every time, with no temporary left.
    for (const char* out : {"a.txt", "b.txt"}) {
        const auto e = RunOk({"bank", "--plugin", TEST_PLUGIN, dir / "p.fxb", "--export", dir / out});
        EXPECT_EQ(e.out, "");
        EXPECT_EQ(ReadText(dir / out), r.out);
    }
    EXPECT_FALSE(std::ifstream(dir / "a.txt.tmp")) << "no temporary file is left behind";
    // Without a file: the plug-in's own bank, its own program left current.
    r = RunOk({"bank", "--plugin", TEST_PLUGIN, "--program-list"});
    EXPECT_TRUE(Has(r.out, "\nprogram 1: Boost 1k\n"));
    EXPECT_TRUE(Has(r.out, "\ncurrent program 0: Flat\n"));
}

TEST(HostBank, OpaqueBankReachesAChunkPlugin)
{
    TempDir dir;
    std::vector<Prog> progs = TestPrograms();
    progs[0] = {"Chunky", {0.5f, 0.25f, 0.3f, 0.0f, 0.5f}};
    WriteText(dir / "c.fxb", ChunkBank(kHtEq, TestChunk(progs), 7));
    Mode mode("chunks");
    auto r = RunOk({"bank", "--plugin", TEST_PLUGIN, dir / "c.fxb"});
    EXPECT_TRUE(Has(r.out, "\nprogram 0: Chunky\n"));
    EXPECT_TRUE(Has(r.out, "\nprogram 2: Charlie\n"));
    EXPECT_TRUE(Has(r.err, "opaque chunk of 156 bytes"));
    r = RunOk({"response", "--plugin", TEST_PLUGIN, "--bank", dir / "c.fxb"});
    EXPECT_NEAR(PrintedDb(r.out, "1.0KHz"), -6.0, 0.01) << r.out;
}

TEST(HostBank, RefusesBanksThePluginCannotTake)
{
    TempDir dir;
    WriteText(dir / "chunk.fxb", ChunkBank(kHtEq, TestChunk(TestPrograms())));
    WriteText(dir / "newer.fxb", ChunkBank(kHtEq, TestChunk(TestPrograms()), 8));
    WriteText(dir / "foreign.fxb", ParamBank(kTvlq, 0, TestPrograms()));
    ExpectRefusals({
        {{"info", TEST_PLUGIN, "--bank", dir / "chunk.fxb"}, 1, "keeps no program chunks"},
        {{"info", TEST_PLUGIN, "--bank", dir / "newer.fxb"}, 1, "the plug-in refuses this bank", "chunks"},
        {{"render", "--plugin", TEST_PLUGIN, "--bank", dir / "foreign.fxb", dir / "o.wav"}, 1,
         "a bank of plug-in 'Tvlq' (0x54766C71), not of HostTestEQ 'HtEq'"},
        {{"response", "--plugin", TEST_PLUGIN, "--bank", dir / "none.fxb"}, 1, "No such file or directory"},
        {{"bench", TEST_PLUGIN, "--bank", dir / "chunk.fxb"}, 2, "--bank do not apply"},
        {{"bank", "--plugin", TEST_PLUGIN}, 2, "bank expects FILE.fxb or --program-list"},
        {{"bank", "--plugin", TEST_PLUGIN, "--program-list", dir / "chunk.fxb"}, 2, "give no FILE.fxb"},
        {{"bank", "--plugin", TEST_PLUGIN, "--program-list", "--export", dir / "no/such/dir.txt"}, 1,
         "cannot be written"},
    });
    EXPECT_FALSE(std::ifstream(dir / "o.wav")) << "nothing rendered with a refused bank";
}

#if defined(GRAPHICEQ_PLUGIN) && defined(GRAPHICEQ_FACTORY_BANK)
// Two tests, as each runs for a while under the sanitizers.
TEST(HostBankGraphicEQ, PeakAndCurveSurviveTheLowBandLimitCycle)
{
    TempDir dir;
    // After a 25 Hz tone, and after an impulse through a low boost,
    // GraphicEQ's flush of tiny values leaves a small 25 Hz limit cycle; an
    // impulse response seconds long summed it into a +45 dB "peak" on Flat.
    auto r = RunOk({"response", "--plugin", GRAPHICEQ_PLUGIN, "--bank", GRAPHICEQ_FACTORY_BANK, "--program", "0",
                    "--peak", "--png", dir / "flat.png"});
    EXPECT_NEAR(PrintedDb(r.out, "1.0KHz"), 0.0, 0.01) << r.out;
    EXPECT_NEAR(PrintedDb(r.out, "peak"), 0.0, 0.01) << r.out;
    // With the 25 Hz band boosted the impulse itself trips the cycle of the
    // single-precision reference engine; the curve then comes from stepped
    // sines. The precise engine has no cycle: its impulse response decays.
    setenv("GRAPHICEQ_ENGINE", "reference", 1);
    r = RunOk({"response", "--plugin", GRAPHICEQ_PLUGIN, "--set", "Gain 25Hz=6", "--png", dir / "low.png"});
    unsetenv("GRAPHICEQ_ENGINE");
    EXPECT_TRUE(Has(r.err, "curve from stepped sines"));
    r = RunOk({"response", "--plugin", GRAPHICEQ_PLUGIN, "--set", "Gain 25Hz=6", "--png", dir / "low.png"});
    EXPECT_FALSE(Has(r.err, "curve from stepped sines")) << r.err;
}

TEST(HostBankGraphicEQ, SettingsOutliveResume)
{
    // A band set by its display value boosts by that much; GraphicEQ
    // switches itself on in resume, yet --set ON/OFF=OFF must still bypass
    // it in render, response and the peak search.
    TempDir dir;
    ghost::WriteAudioFile(dir / "sine.wav", Sine(1, 48000, 0.25, 1000), SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    for (const auto& [onOff, gain] : {std::make_pair("ON", 6.0), std::make_pair("OFF", 0.0)}) {
        const std::string active = std::string("ON/OFF=") + onOff;
        auto r = RunOk({"render", "--plugin", GRAPHICEQ_PLUGIN, "--set", "Output=0", "--set", "Gain 1.0KHz=6",
                        "--set", active, dir / "sine.wav", dir / "o.wav"});
        const double out = std::atof(r.err.substr(r.err.find(", out ") + 6).c_str());  // "..., out -6.0 dBFS"
        EXPECT_NEAR(out, gain - 12.0, 0.15) << onOff << "\n" << r.err;
        r = RunOk({"response", "--plugin", GRAPHICEQ_PLUGIN, "--set", "Gain 1.0KHz=6", "--set", active, "--peak"});
        EXPECT_NEAR(PrintedDb(r.out, "1.0KHz"), gain, 0.01) << r.out;
        EXPECT_NEAR(PrintedDb(r.out, "peak"), gain, 0.01) << r.out;
    }
    // The loudness of the same pink noise follows the output level, and a
    // boost where the ear is sensitive (4 kHz) weighs more than the same
    // boost at 25 Hz, below the weighting's high-pass.
    auto loudness = [](std::initializer_list<std::string> sets) {
        std::vector<std::string> args = {"response", "--plugin", GRAPHICEQ_PLUGIN, "--loudness"};
        for (const std::string& s : sets) args.push_back("--set"), args.push_back(s);
        const auto r = RunOk(args);
        return PrintedDb(r.out, "loudness");
    };
    EXPECT_NEAR(loudness({}), 0.0, 0.01);
    EXPECT_NEAR(loudness({"Output=-6"}), -6.02, 0.02);
    const double low = loudness({"Gain 25Hz=12"}), presence = loudness({"Gain 4.0KHz=12"});
    EXPECT_GT(presence, low + 1.0);
    EXPECT_GT(low, 0.0);
}
#endif
