// The graphiceq-host command line: info (text and JSON), bench, and the
// messages and exit statuses for files that are no plug-in and bad input.
#include <gtest/gtest.h>

#include "Commands.h"
#include "HostTestUtil.h"

using namespace hosttest;

TEST(HostCli, InfoListsIdentityParametersAndPrograms)
{
    auto r = RunOk({"info", TEST_PLUGIN});
    for (const char* want : {"Name         HostTestEQ", "Vendor       GraphicEQ Tests", "Product      Host Test EQ",
                             "vendor 1234, effect 7, VST 2400", "'HtEq' 0x48744571 (1215579505)", "Effect (1)",
                             "CanReplacing", "2 in, 2 out", "Programs     3 (current 0)", "Boost 1k", "Parameters   5",
                             "Peak Gain", "dB", "0.500000"})
        EXPECT_TRUE(Has(r.out, want));

    r = RunOk({"info", TEST_PLUGIN, "--json"});
    EXPECT_EQ(r.out.substr(0, 2), "{\n") << "the plug-in's own printing stays out of the results";
    EXPECT_TRUE(Has(r.err, "HostTestEQ: opened"));
    for (const char* want : {"\"uniqueID\": \"HtEq\"", "\"inputs\": 2", "\"programs\": [\"Flat\", \"Boost 1k\", \"Cut 1k\"]",
                             "{\"index\": 2, \"name\": \"Peak Q\", \"label\": \"\", \"display\": \"1.51\""})
        EXPECT_TRUE(Has(r.out, want));

    Mode mode("odd");
    r = RunOk({"info", "--json", TEST_PLUGIN});
    for (const char* want : {"\"vendor\": \"Odd?[31m Vendor\\ufffd\"", "\"Peak \\ufffd\\ufffdGain\""})
        EXPECT_TRUE(Has(r.out, want));
}

TEST(HostCli, JsonStringsEscapeEverythingUnsafe)
{
    EXPECT_EQ(ghost::JsonString("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(ghost::JsonString(std::string("\x01\n", 2)), "\"\\u0001\\u000a\"");
    EXPECT_EQ(ghost::JsonString("caf\xc3\xa9"), "\"caf\xc3\xa9\"");
    EXPECT_EQ(ghost::JsonString("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\"") << "surrogates are not UTF-8";
    EXPECT_EQ(ghost::JsonString("\x82\xa0"), "\"\\ufffd\\ufffd\"") << "Shift-JIS bytes";
}

TEST(HostCli, BenchComparesPluginsInOneRun)
{
    const auto r = RunOk({"bench", TEST_PLUGIN, TEST_PLUGIN_MAIN, "--seconds", "0.05", "--block", "256"});
    for (const char* want : {"block 256", "HostTestEQ", "2/2", TEST_PLUGIN, TEST_PLUGIN_MAIN})
        EXPECT_TRUE(Has(r.out, want));
}

TEST(HostCli, ReportsBadInputClearly)
{
    TempDir dir;
    WriteText(dir / "notes.txt", "hello\n");
    WriteText(dir / "empty.so", "");
    // ELF headers of other machines: 32-bit, 64-bit ARM, and an x86-64 one
    // with the rest of the file missing.
    std::string elf(64, '\0');
    elf.replace(0, 6, "\x7f" "ELF\x01\x01");
    WriteText(dir / "elf32.so", elf);
    elf[4] = 2, elf[16] = 3 /* ET_DYN */, elf[18] = char(183) /* EM_AARCH64 */;
    WriteText(dir / "arm.so", elf);
    elf[18] = 62;  // EM_X86_64
    WriteText(dir / "broken.so", elf);
    ExpectRefusals({
        {{"info", dir / "nope.so"}, 1, "No such file or directory"},
        {{"info", dir.Path()}, 1, "is a directory"},
        {{"info", dir / "notes.txt"}, 1, "not an ELF shared object"},
        {{"info", dir / "empty.so"}, 1, "not an ELF"},
        {{"info", dir / "elf32.so"}, 1, "32-bit"},
        {{"info", dir / "arm.so"}, 1, "another processor"},
        {{"info", dir / "broken.so"}, 1, "cannot be loaded"},
        {{"info", NOT_A_PLUGIN}, 1, "neither VSTPluginMain nor main"},
        {{"info", TEST_PLUGIN}, 1, "returned null", "null"},
        {{"info", TEST_PLUGIN}, 1, "bad magic", "magic"},
        {{"render", "--plugin", TEST_PLUGIN, "--program", "9", dir / "o.wav"}, 1, "program 9 does not exist"},
        {{"render", "--plugin", TEST_PLUGIN, dir / "notes.txt", dir / "o.wav"}, 1, "cannot read audio"},
        {{"render", "--plugin", TEST_PLUGIN, "--block", "0", dir / "o.wav"}, 2, "--block must be"},
        {{"render", "--plugin", TEST_PLUGIN}, 2, "render expects [IN] OUT"},
        {{"response", "--plugin", TEST_PLUGIN, "--rate", "fast"}, 2, "--rate expects a number"},
        {{"info", TEST_PLUGIN, "--frobnicate"}, 2, "unknown option --frobnicate"},
        {{"null", TEST_PLUGIN, "HT_MODE=hum"}, 2, "HT_MODE=hum names no plug-in after it"},
        {{"null", TEST_PLUGIN, "--rates", "48000,fast"}, 2, "--rates expects a number"},
        {{"null", TEST_PLUGIN, "--level", "3"}, 2, "--level must be between"},
        {{"dance"}, 2, "unknown command \"dance\""},
    });
    EXPECT_EQ(RunHost({"--help"}).status, 0);
}
