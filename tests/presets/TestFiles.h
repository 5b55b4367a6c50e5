#pragma once
// Temporary folders, files and environment for the preset tests.
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

class TempDir {
public:
    TempDir()
    {
        char tmpl[] = "/tmp/graphiceq-presets-XXXXXX";
        path_ = mkdtemp(tmpl);
    }
    ~TempDir() { std::system(("chmod -R u+rwx '" + path_ + "' && rm -rf '" + path_ + "'").c_str()); }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// Sets (or, with null, removes) an environment variable for one scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name)
    {
        const char* old = std::getenv(name);
        had_ = old != nullptr;
        if (had_)
            old_ = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv()
    {
        if (had_)
            setenv(name_.c_str(), old_.c_str(), 1);
        else
            unsetenv(name_.c_str());
    }

private:
    std::string name_, old_;
    bool had_ = false;
};

// Runs the rest of a scope in another working directory.
class ScopedCwd {
public:
    explicit ScopedCwd(const std::string& dir)
    {
        char buf[4096];
        old_ = getcwd(buf, sizeof buf) ? buf : "/";
        ok_ = chdir(dir.c_str()) == 0;
    }
    ~ScopedCwd()
    {
        if (chdir(old_.c_str()) != 0)
            std::abort();
    }
    bool ok() const { return ok_; }

private:
    std::string old_;
    bool ok_;
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
