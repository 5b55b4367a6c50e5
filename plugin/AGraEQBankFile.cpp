// The default bank file, the preferences folder and the import of old
// program files. The in-memory side of the effect calls these at fixed
// points (open, SaveProgram); until the file layer lands they read and
// write nothing and say so in their results.
#include "AGraEQ.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

char szGlobalMyApplicationDataPathName[2048];

// $XDG_CONFIG_HOME/GraphicEQ/, else ~/.config/GraphicEQ/. Without either
// variable the path is left as it was.
void GetMy_SHFOLDER_PathName()
{
    char path[sizeof(szGlobalMyApplicationDataPathName)];
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    int n;
    if (xdg && *xdg == '/')
        n = std::snprintf(path, sizeof(path), "%s/GraphicEQ/", xdg);
    else if (home && *home)
        n = std::snprintf(path, sizeof(path), "%s/.config/GraphicEQ/", home);
    else
        return;
    if (n <= 0 || static_cast<size_t>(n) >= sizeof(path))
        return;
    std::memcpy(szGlobalMyApplicationDataPathName, path, static_cast<size_t>(n) + 1);
}

bool AGraEQ::LoadDefaultBank()
{
    return false;
}

bool AGraEQ::SetFactoryProgram()
{
    return false;
}

bool AGraEQ::WriteDefaultBank()
{
    return false;
}

bool AGraEQ::Convert()
{
    return false;
}
