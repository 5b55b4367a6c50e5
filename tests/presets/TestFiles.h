#pragma once
// Shared by the file, preset and default-bank tests: temporary folders,
// files, environment and working directory for one scope.
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

struct TempDir {
    char path[40] = "/tmp/graphiceq-test-XXXXXX";
    TempDir() { mkdtemp(path); }
    ~TempDir() { std::system(("chmod -R u+rwx '" + std::string(path) + "' && rm -rf '" + path + "'").c_str()); }
    std::string operator/(const std::string& name) const { return std::string(path) + "/" + name; }
};

// Sets (or, with null, removes) an environment variable for one scope.
struct ScopedEnv {
    std::string name, old;
    bool had;
    ScopedEnv(const char* n, const char* value) : name(n), had(std::getenv(n) != nullptr)
    {
        old = had ? std::getenv(n) : "";
        value ? setenv(n, value, 1) : unsetenv(n);
    }
    ~ScopedEnv() { had ? setenv(name.c_str(), old.c_str(), 1) : unsetenv(name.c_str()); }
};

// Runs the rest of a scope in another working directory.
struct ScopedCwd {
    char old[4096] = "/";
    bool ok;
    explicit ScopedCwd(const std::string& dir) : ok(getcwd(old, sizeof old) && chdir(dir.c_str()) == 0) {}
    ~ScopedCwd()
    {
        if (chdir(old) != 0)
            std::abort();
    }
};

inline void WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), {});
}
