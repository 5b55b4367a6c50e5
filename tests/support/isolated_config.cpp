// Linked into every test program: before any test runs, point the user's
// configuration folder at a fresh temporary folder, so no test reads or
// writes the developer's own default bank, and test processes running in
// parallel never see each other's files. Removed again at exit.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void RemoveTree(const std::string& path)
{
    if (DIR* dir = opendir(path.c_str())) {
        while (dirent* e = readdir(dir)) {
            const std::string name = e->d_name;
            if (name == "." || name == "..")
                continue;
            const std::string child = path + "/" + name;
            struct stat st;
            if (lstat(child.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
                RemoveTree(child);
            else
                unlink(child.c_str());
        }
        closedir(dir);
    }
    rmdir(path.c_str());
}

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
        if (!dir.empty())
            RemoveTree(dir);
    }
};

IsolatedConfig g_isolatedConfig;

}  // namespace
