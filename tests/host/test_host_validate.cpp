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

// The test plug-in passes every check; each of its fault modes is a fault
// that one check, run alone, must find: so a check that could never fail
// fails here. Every check the validator lists has at least one.
TEST(Validate, EveryCheckFindsItsFault)
{
    // The editor check then runs on the validator's own Xvfb: on the shared
    // display its windows would lie over the windows of other tests running
    // at the same time.
    unsetenv("DISPLAY");
    const auto clean = RunHost({"validate", "--rt", TEST_PLUGIN});
    EXPECT_EQ(clean.status, 0) << clean.out << clean.err;
    const auto cleanRow = RowOf(clean.out);

    const struct {
        const char* check;
        const char* mode;
        const char* column;   // the column that shows it (null: none)
        const char* faulty;   // its value with the fault (null: anything but the clean value)
        const char* finding;  // on standard error
    } cases[] = {
        {"calls", "unresumed", "non-finite", nullptr, ""},
        {"blocks", "crash", "crashes", "1", "blocks: crashed with signal 6"},
        {"blocks", "overrun", "overruns", nullptr, ""},
        {"rates", "highrate", "non-finite", nullptr, ""},
        {"strings", "odd", "overruns", nullptr, "strings: effect name (index 0) wrote 201 bytes"},
        {"params", "below", nullptr, nullptr, "parameters: 5 of 5 read back outside 0..1 after setting -inf"},
        {"params", "above", nullptr, nullptr, "parameters: 5 of 5 read back outside 0..1 after setting inf"},
        {"params", "nan", nullptr, nullptr, "parameters: 5 of 5 read back outside 0..1 after setting nan"},
        {"state", "drift", nullptr, nullptr, "state: parameter 0 changes when its own value is written back"},
        {"signal", "hum", "tail (ms)", "never", "never digital silence"},
        {"signal", "sticky", "recovery (ms)", "never", "signal: output still not finite a second after a nan"},
        {"timing", "alloc", "allocs/1k blocks", nullptr, "allocations"},
        {"threads", "racy", "non-finite", nullptr, ""},
        // Only automation played on the audio thread, counted, finds it.
        {"threads", "paramlock", "locks/1k blocks", nullptr, "locks taken"},
        {"editor", "reopen", "crashes", "1", "editor: crashed with signal 6"},
    };
    std::string covered;
    for (const auto& c : cases) {
        covered += std::string(" ") + c.check;
        Mode mode(c.mode);
        const auto r = RunHost({"validate", "--rt", "--only", c.check, TEST_PLUGIN});
        const auto row = RowOf(r.out);
        EXPECT_EQ(r.status, 1) << c.mode << "\n" << r.out << r.err;
        EXPECT_EQ(row.at("result"), "FAIL") << c.mode;
        if (c.column) {
            const std::string before = cleanRow.at(c.column), after = row.at(c.column);
            EXPECT_NE(after, before) << c.mode << "\n" << r.out;
            if (c.faulty) {
                EXPECT_EQ(after, c.faulty) << c.mode << "\n" << r.out;
            }
        }
        EXPECT_TRUE(Has(r.err, c.finding)) << c.mode << "\n" << r.err;
    }
    const std::string usage = RunHost({"validate"}).err;
    const size_t list = usage.find("checks:");
    ASSERT_NE(list, std::string::npos) << usage;
    std::istringstream checks(usage.substr(list + 7));
    for (std::string check; checks >> check;)
        EXPECT_TRUE(Has(covered + " ", " " + check + " ")) << "no fault for the " << check << " check";
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
