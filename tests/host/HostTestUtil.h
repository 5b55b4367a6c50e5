#pragma once
// Shared helpers of the host tests: a private scratch folder per test and a
// way to run the graphiceq-host binary and collect its output and status.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace hosttest {

class TempDir {
public:
    TempDir()
    {
        std::string tmpl = std::string(TEST_TMP_DIR) + "/hosttest-XXXXXX";
        std::vector<char> buf(tmpl.begin(), tmpl.end());
        buf.push_back('\0');
        if (mkdtemp(buf.data()))
            m_path = buf.data();
    }
    ~TempDir()
    {
        if (!m_path.empty())
            std::system(("rm -rf '" + m_path + "'").c_str());
    }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

inline std::string ReadText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

struct Result {
    int status = -1;
    std::string out, err;
};

inline std::string ShellQuote(const std::string& s)
{
    std::string q = "'";
    for (char c : s)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// Runs graphiceq-host with the arguments; stdout and stderr are kept apart.
inline Result RunHost(const std::vector<std::string>& args)
{
    TempDir dir;
    std::string cmd = ShellQuote(HOST_EXE);
    for (const auto& a : args)
        cmd += " " + ShellQuote(a);
    cmd += " >" + ShellQuote(dir / "out") + " 2>" + ShellQuote(dir / "err") + " </dev/null";
    Result r;
    const int st = std::system(cmd.c_str());
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    r.out = ReadText(dir / "out");
    r.err = ReadText(dir / "err");
    return r;
}

}  // namespace hosttest
