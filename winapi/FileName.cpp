#include "FileName.h"

#include <cstring>
#include <strings.h>

namespace {

int HexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool IsUnreserved(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~' || c == '/';
}

}  // namespace

bool FileNameToPosixPath(const char* name, char* out, size_t outSize)
{
    if (!out || outSize == 0)
        return false;
    out[0] = '\0';
    if (!name || name[0] == '\0')
        return false;

    if (strncasecmp(name, "file:", 5) != 0) {
        const size_t n = std::strlen(name);
        if (n >= outSize)
            return false;
        std::memcpy(out, name, n + 1);
        return true;
    }

    // file:///path, file://localhost/path, or the short file:/path.
    const char* p = name + 5;
    if (p[0] == '/' && p[1] == '/') {
        p += 2;
        const char* slash = std::strchr(p, '/');
        const size_t hostLength = slash ? static_cast<size_t>(slash - p) : std::strlen(p);
        if (hostLength != 0 && !(hostLength == 9 && strncasecmp(p, "localhost", 9) == 0))
            return false;
        if (!slash)
            return false;
        p = slash;
    }
    if (p[0] != '/')
        return false;

    size_t n = 0;
    for (; *p && *p != '?' && *p != '#'; ++p) {
        char c = *p;
        if (c == '%') {
            const int hi = HexValue(p[1]);
            const int lo = hi < 0 ? -1 : HexValue(p[2]);
            if (hi < 0 || lo < 0 || (hi == 0 && lo == 0)) {
                out[0] = '\0';
                return false;
            }
            c = static_cast<char>(hi * 16 + lo);
            p += 2;
        }
        if (n + 1 >= outSize) {
            out[0] = '\0';
            return false;
        }
        out[n++] = c;
    }
    out[n] = '\0';
    return true;
}

CString PosixPathToFileURL(const char* path)
{
    CString url("file://");
    if (!path)
        return url;
    static const char kHex[] = "0123456789ABCDEF";
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(path); *p; ++p) {
        if (IsUnreserved(*p)) {
            url += static_cast<char>(*p);
        } else {
            const char esc[4] = {'%', kHex[*p >> 4], kHex[*p & 15], '\0'};
            url += esc;
        }
    }
    return url;
}
