// Linked into every test program: before any test runs, point the user's
// configuration folder at a fresh temporary folder, so no test reads or
// writes the developer's own default bank, and test processes running in
// parallel never see each other's files. Removed again at exit.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <ftw.h>

namespace {

struct IsolatedConfig {
    std::string dir;
    IsolatedConfig()
    {
        char pattern[] = "/tmp/graphiceq-test-XXXXXX";
        if (const char* made = mkdtemp(pattern)) {
            dir = made;
            setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
        }
    }
    ~IsolatedConfig()
    {
        // Depth first, links not followed: files, then their folders.
        auto remove = [](const char* path, const struct stat*, int, FTW*) {
            return std::remove(path);
        };
        if (!dir.empty())
            nftw(dir.c_str(), remove, 16, FTW_DEPTH | FTW_PHYS);
    }
};

IsolatedConfig g_isolatedConfig;

}  // namespace
