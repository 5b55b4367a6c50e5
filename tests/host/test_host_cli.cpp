// The graphiceq-host command line: info (text and JSON), bench, and the
// messages and exit statuses for bad input.
#include <gtest/gtest.h>

#include "Commands.h"
#include "HostTestUtil.h"

using hosttest::RunHost;

TEST(HostCli, InfoListsIdentityParametersAndPrograms)
{
    auto r = RunHost({"info", TEST_PLUGIN});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* want : {"Name         HostTestEQ", "Vendor       GraphicEQ Tests", "vendor 1234",
                             "'HtEq' 0x48744571 (1215579505)", "CanReplacing", "2 in, 2 out",
                             "Programs     3 (current 0)", "Boost 1k", "Parameters   5", "Peak Gain", "dB",
                             "0.500000"})
        EXPECT_NE(r.out.find(want), std::string::npos) << want << "\n" << r.out;

    r = RunHost({"info", TEST_PLUGIN, "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.substr(0, 2), "{\n") << "the plug-in's own printing stays out of the results";
    EXPECT_NE(r.err.find("HostTestEQ: opened"), std::string::npos) << r.err;
    for (const char* want : {"\"uniqueID\": \"HtEq\"", "\"inputs\": 2", "\"programs\": [\"Flat\", \"Boost 1k\", \"Cut 1k\"]",
                             "{\"index\": 2, \"name\": \"Peak Q\", \"label\": \"\", \"display\": \"1.51\""})
        EXPECT_NE(r.out.find(want), std::string::npos) << want << "\n" << r.out;
}

TEST(HostCli, InfoOfAnOddPluginIsStillValidJson)
{
    const auto r = RunHost({"info", "--json", TEST_PLUGIN_ODD});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("\"vendor\": \"Odd?[31m Vendor\\ufffd\""), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"Peak \\ufffd\\ufffdGain\""), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"programs\": [\"odd?0\", \"odd?1\", \"odd?2\"]"), std::string::npos) << r.out;
}

TEST(HostCli, JsonStringsEscapeEverythingUnsafe)
{
    EXPECT_EQ(ghost::JsonString("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(ghost::JsonString(std::string("\x01\n", 2)), "\"\\u0001\\u000a\"");
    EXPECT_EQ(ghost::JsonString("caf\xc3\xa9"), "\"caf\xc3\xa9\"");
    EXPECT_EQ(ghost::JsonString("\xc3"), "\"\\ufffd\"");
    EXPECT_EQ(ghost::JsonString("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\"") << "surrogates are not UTF-8";
    EXPECT_EQ(ghost::JsonString("\x82\xa0"), "\"\\ufffd\\ufffd\"") << "Shift-JIS bytes";
}

TEST(HostCli, BenchComparesPluginsInOneRun)
{
    const auto r = RunHost({"bench", TEST_PLUGIN, TEST_PLUGIN_MONO, "--seconds", "0.05", "--block", "256"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("block 256"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("HostTestEQ"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("HostTestMono"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("1/1"), std::string::npos) << r.out;
}

TEST(HostCli, ReportsBadInputClearly)
{
    hosttest::TempDir dir;
    hosttest::WriteText(dir / "notes.txt", "hello\n");
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string message;
    } cases[] = {
        {{"info", dir / "nope.so"}, 1, "No such file or directory"},
        {{"info", dir / "notes.txt"}, 1, "not an ELF shared object"},
        {{"info", NOT_A_PLUGIN}, 1, "neither VSTPluginMain nor main"},
        {{"info", TEST_PLUGIN_MAGIC}, 1, "bad magic"},
        {{"render", "--plugin", TEST_PLUGIN, "--set", "Peak Gian=3", dir / "o.wav"}, 1,
         "unknown parameter \"Peak Gian\"; close matches: \"Peak Gain\""},
        {{"render", "--plugin", TEST_PLUGIN, "--program", "9", dir / "o.wav"}, 1, "program 9 does not exist"},
        {{"render", "--plugin", TEST_PLUGIN, dir / "notes.txt", dir / "o.wav"}, 1, "cannot read audio"},
        {{"render", "--plugin", TEST_PLUGIN, "--block", "0", dir / "o.wav"}, 2, "--block must be"},
        {{"render", "--plugin", TEST_PLUGIN}, 2, "render expects [IN] OUT"},
        {{"response", "--plugin", TEST_PLUGIN, "--rate", "fast"}, 2, "--rate expects a number"},
        {{"info", TEST_PLUGIN, "--frobnicate"}, 2, "unknown option --frobnicate"},
        {{"dance"}, 2, "unknown command \"dance\""},
    };
    for (const Case& c : cases) {
        const auto r = RunHost(c.args);
        EXPECT_EQ(r.status, c.status) << c.args[0] << " " << c.message << "\n" << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    }
    EXPECT_EQ(RunHost({"--help"}).status, 0);
}
