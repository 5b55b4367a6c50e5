#pragma once
// Shared helpers of the host tests: a private scratch folder per test, the
// test plug-in's mode, running the graphiceq-host binary, and audio files.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Audio.h"

namespace hosttest {

class TempDir {
public:
    TempDir()
    {
        std::string t = std::string(TEST_TMP_DIR) + "/hosttest-XXXXXX";
        m_path = mkdtemp(&t[0]) ? t : "";
    }
    ~TempDir() { std::system(("rm -rf '" + m_path + "'").c_str()); }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

// Picks the test plug-in's behaviour (HT_MODE, see TestPlugin.cpp) for the
// instances created in its scope, here and in the hosts started meanwhile.
struct Mode {
    explicit Mode(const std::string& mode) { setenv("HT_MODE", mode.c_str(), 1); }
    ~Mode() { unsetenv("HT_MODE"); }
};

inline std::string ReadText(const std::string& path)
{
    std::stringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

inline void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// The message of the HostError `f` throws, or "(accepted)".
template <class F>
std::string ErrorOf(F&& f)
{
    try {
        f();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "(accepted)";
}

inline ::testing::AssertionResult Has(const std::string& text, const std::string& want)
{
    if (text.find(want) != std::string::npos)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "\"" << want << "\" not found in:\n" << text;
}

struct Result {
    int status = -1;
    std::string out, err;
};

// Runs graphiceq-host with the arguments; stdout and stderr are kept apart.
inline Result RunHost(const std::vector<std::string>& args)
{
    auto quote = [](const std::string& s) {
        std::string q = "'";
        for (char c : s)
            q += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return q + "'";
    };
    TempDir dir;
    std::string cmd = quote(HOST_EXE);
    for (const auto& a : args)
        cmd += " " + quote(a);
    const int st = std::system((cmd + " >" + quote(dir / "out") + " 2>" + quote(dir / "err") + " </dev/null").c_str());
    return {WIFEXITED(st) ? WEXITSTATUS(st) : -1, ReadText(dir / "out"), ReadText(dir / "err")};
}

// RunHost expecting success; a failure shows the host's messages.
inline Result RunOk(const std::vector<std::string>& args)
{
    Result r = RunHost(args);
    EXPECT_EQ(r.status, 0) << args[0] << " failed:\n" << r.err;
    return r;
}

// A command the host must refuse, with its exit status and a message on
// standard error, run with the test plug-in in `mode`.
struct Refusal {
    std::vector<std::string> args;
    int status;
    std::string message, mode = "";
};

inline void ExpectRefusals(std::initializer_list<Refusal> cases)
{
    for (const Refusal& c : cases) {
        Mode mode(c.mode);
        const Result r = RunHost(c.args);
        EXPECT_EQ(r.status, c.status) << c.message << "\n" << r.err;
        EXPECT_TRUE(Has(r.err, c.message));
    }
}

// The gain `response` prints on the line starting with `label` ("1.0KHz", "peak").
inline double PrintedDb(const std::string& out, const std::string& label)
{
    const size_t at = out.find("\n" + label + " ");
    double hz = 0, db = -999;
    if (at != std::string::npos)
        std::sscanf(out.c_str() + at + 1 + label.size(), "%lf %lf", &hz, &db);
    return db;
}

// A one-second sine, amplitude times the channel number in each channel.
inline ghost::Audio Sine(int channels, double rate, double amplitude, double freq)
{
    ghost::Audio a;
    a.rate = rate;
    a.channels.assign(channels, std::vector<float>(static_cast<size_t>(rate)));
    for (int c = 0; c < channels; ++c)
        for (size_t i = 0; i < a.Frames(); ++i)
            a.channels[c][i] = static_cast<float>(amplitude * (c + 1) * std::sin(2 * M_PI * freq * i / rate));
    return a;
}

}  // namespace hosttest
