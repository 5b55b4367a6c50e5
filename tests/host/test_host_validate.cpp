// graphiceq-host validate: each fault the test plug-in can be switched to is
// found and shown in its column, a crash included, and GraphicEQ passes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "HostTestUtil.h"

using namespace hosttest;

namespace {

// The cells of the row printed for a plug-in (the table's third line), by
// the column titles of its first.
std::map<std::string, std::string> RowOf(const std::string& out)
{
    std::istringstream in(out);
    std::string lines[3];
    for (std::string& line : lines)
        std::getline(in, line);
    std::istringstream titles(lines[0]), values(lines[2]);
    std::map<std::string, std::string> row;
    auto trimmed = [](const std::string& cell) {
        const size_t a = cell.find_first_not_of(' '), b = cell.find_last_not_of(' ');
        return a == std::string::npos ? "" : cell.substr(a, b - a + 1);
    };
    for (std::string title, value; std::getline(titles, title, '|') && std::getline(values, value, '|');)
        row[trimmed(title)] = trimmed(value);
    return row;
}

TEST(Validate, EachFaultShowsInItsColumn)
{
    const struct {
        const char* mode;
        bool rt;
        const char* column;
        const char* baseline;  // the column's value without the fault (null: any)
        const char* faulty;    // and with it (null: anything else)
        const char* finding;   // on standard error
    } cases[] = {
        {"crash", false, "crashes", "0", "1", "blocks: crashed with signal 6"},
        {"overrun", false, "overruns", "0", nullptr, ""},
        {"hum", false, "tail (ms)", nullptr, "never", "never digital silence"},
        {"alloc", true, "allocs/1k blocks", "0.0", nullptr, "allocations"},
        // Found only when automation runs on the audio thread (threads).
        {"paramlock", true, "locks/1k blocks", "0.0", nullptr, "locks taken"},
    };
    // The plug-in without a fault, with and without --rt.
    std::map<bool, hosttest::Result> clean;
    for (bool rt : {false, true})
        clean[rt] = rt ? RunHost({"validate", "--rt", TEST_PLUGIN}) : RunHost({"validate", TEST_PLUGIN});
    for (const auto& c : cases) {
        std::vector<std::string> args = {"validate", TEST_PLUGIN};
        if (c.rt)
            args.insert(args.begin() + 1, "--rt");
        const hosttest::Result& baseline = clean[c.rt];
        Mode mode(c.mode);
        const auto faulty = RunHost(args);
        EXPECT_EQ(faulty.status, 1) << c.mode;
        const std::string before = RowOf(baseline.out)[c.column], after = RowOf(faulty.out)[c.column];
        if (c.baseline) {
            EXPECT_EQ(before, c.baseline) << c.mode << "\n" << baseline.out;
        }
        if (c.faulty) {
            EXPECT_EQ(after, c.faulty) << c.mode << "\n" << faulty.out;
        }
        EXPECT_NE(after, before) << c.mode << "\n" << faulty.out;
        EXPECT_EQ(RowOf(faulty.out)["result"], "FAIL");
        EXPECT_TRUE(Has(faulty.err, c.finding)) << c.mode;
    }
}

TEST(Validate, CommandLineMistakes)
{
    ExpectRefusals({{{"validate"}, 2, "usage: graphiceq-host validate"},
                    {{"validate", "--frobnicate", TEST_PLUGIN}, 2, "unknown option --frobnicate"}});
    // A file that is no plug-in fails every check, and the run goes on.
    const auto r = RunHost({"validate", NOT_A_PLUGIN, TEST_PLUGIN});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Has(r.out, "| NotAPlugin.so |"));
    EXPECT_TRUE(Has(r.out, "| HostTestEQ.so |"));
}

#ifdef GRAPHICEQ_PLUGIN
TEST(Validate, GraphicEQPassesEveryCheck)
{
    // The editor check then runs on the validator's own Xvfb: on the shared
    // display its windows would lie over the windows of other tests running
    // at the same time.
    unsetenv("DISPLAY");
    const auto r = RunHost({"validate", GRAPHICEQ_PLUGIN});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    const auto row = RowOf(r.out);
    EXPECT_EQ(row.at("result"), "pass") << r.out;
    EXPECT_EQ(row.at("crashes"), "0");
    EXPECT_EQ(row.at("non-finite"), "0");
    EXPECT_EQ(row.at("overruns"), "0");
}
#endif

}  // namespace
