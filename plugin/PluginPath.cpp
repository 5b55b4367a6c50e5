#include "PluginPath.h"

#include <cstdio>
#include <cstring>
#include <dlfcn.h>

bool GetPluginFolder(char* path, size_t size)
{
    if (!path || size == 0)
        return false;
    path[0] = 0;
    Dl_info info;
    if (!dladdr(reinterpret_cast<void*>(&GetPluginFolder), &info) || !info.dli_fname)
        return false;
    const char* file = info.dli_fname;
    const char* slash = std::strrchr(file, '/');
    if (!slash)
        return false;
    const size_t n = static_cast<size_t>(slash - file) + 1;  // keeps the "/"
    if (n >= size)
        return false;
    std::memcpy(path, file, n);
    path[n] = 0;
    return true;
}

bool getResourcePath(int number, char* path, size_t size)
{
    char folder[2048];
    if (!path || size == 0 || !GetPluginFolder(folder, sizeof(folder)))
        return false;
    const int n = std::snprintf(path, size, "%sbmp%05d.png", folder, number);
    if (n < 0 || static_cast<size_t>(n) >= size) {
        path[0] = 0;
        return false;
    }
    return true;
}
