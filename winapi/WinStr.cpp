#include "WinStr.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "StringTable.h"

// ---------------------------------------------------------------------------
// Compare and clear

int stricmp(const char* a, const char* b)
{
    if (!a)
        a = "";
    if (!b)
        b = "";
    if (*a == '\0')
        return *b == '\0' ? 0 : -1;
    if (*b == '\0')
        return 1;
    for (int k = 1;; ++k) {
        signed char ca = static_cast<signed char>(*a);
        signed char cb = static_cast<signed char>(*b);
        if (ca >= 'a' && ca <= 'z')
            ca = static_cast<signed char>(ca - 'a' + 'A');
        if (cb >= 'a' && cb <= 'z')
            cb = static_cast<signed char>(cb - 'a' + 'A');
        if (ca != cb)
            return ca > cb ? k : -k;
        if (ca == 0)
            return 0;  // both ended together
        ++a;
        ++b;
    }
}

void ZeroMemory(void* p, int n)
{
    if (p && n > 0)
        std::memset(p, 0, static_cast<size_t>(n));
}

// ---------------------------------------------------------------------------
// String resources

const char* FindStringResource(unsigned id)
{
    const StringTableEntry* end = g_StringTable + g_StringTableCount;
    const StringTableEntry* it = std::lower_bound(
        g_StringTable, end, id, [](const StringTableEntry& e, unsigned key) { return e.id < key; });
    return it != end && it->id == id ? it->text : nullptr;
}

unsigned LoadString(void* /*instance*/, unsigned id, char* buffer, int size)
{
    if (!buffer || size <= 0)
        return ~0u;
    char key[16];
    const char* text = FindStringResource(id);
    if (!text) {
        // A missing entry answers its own key, the decimal id.
        std::snprintf(key, sizeof key, "%d", static_cast<int>(id));
        text = key;
    }
    std::strncpy(buffer, text, static_cast<size_t>(size) - 1);
    buffer[size - 1] = '\0';
    return static_cast<unsigned>(std::strlen(buffer));
}

unsigned LoadStringUTF8(void* instance, unsigned id, char* buffer, int size)
{
    return LoadString(instance, id, buffer, size);
}

// ---------------------------------------------------------------------------
// Encodings

namespace {

// CP932 is glibc's name for Windows-31J, the Shift-JIS variant Windows uses.
constexpr const char* kSJIS = "CP932";

// Converts the whole of in from one encoding to another. False when the
// conversion is not available or the input is not valid in the source
// encoding or has no form in the target.
bool Convert(const char* to, const char* from, const char* in, std::string& out)
{
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1))
        return false;
    out.clear();
    size_t inLeft = std::strlen(in);
    char* inPtr = const_cast<char*>(in);
    char chunk[256];
    bool ok = true;
    while (inLeft > 0) {
        char* outPtr = chunk;
        size_t outLeft = sizeof chunk;
        const size_t r = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
        out.append(chunk, sizeof chunk - outLeft);
        if (r == static_cast<size_t>(-1) && errno != E2BIG) {
            ok = false;  // EILSEQ or EINVAL: invalid or truncated input
            break;
        }
    }
    if (ok) {
        // Flush any shift state (none for these encodings, but harmless).
        char* outPtr = chunk;
        size_t outLeft = sizeof chunk;
        if (iconv(cd, nullptr, nullptr, &outPtr, &outLeft) == static_cast<size_t>(-1))
            ok = false;
        out.append(chunk, sizeof chunk - outLeft);
    }
    iconv_close(cd);
    // A converted NUL would end the C string early; treat it as failure.
    return ok && out.find('\0') == std::string::npos;
}

// Length of the UTF-8 sequence starting at p, 0 when it is not well formed.
size_t UTF8SequenceLength(const unsigned char* p)
{
    const unsigned c = p[0];
    if (c < 0x80)
        return 1;
    auto cont = [](unsigned x) { return (x & 0xC0u) == 0x80u; };
    if (c >= 0xC2 && c <= 0xDF)
        return cont(p[1]) ? 2 : 0;
    if (c >= 0xE0 && c <= 0xEF) {
        if (!cont(p[1]) || !cont(p[2]))
            return 0;
        if (c == 0xE0 && p[1] < 0xA0)
            return 0;  // overlong
        if (c == 0xED && p[1] >= 0xA0)
            return 0;  // surrogate
        return 3;
    }
    if (c >= 0xF0 && c <= 0xF4) {
        if (!cont(p[1]) || !cont(p[2]) || !cont(p[3]))
            return 0;
        if (c == 0xF0 && p[1] < 0x90)
            return 0;  // overlong
        if (c == 0xF4 && p[1] >= 0x90)
            return 0;  // above U+10FFFF
        return 4;
    }
    return 0;
}

// Copies src into dst of dstSize bytes, cutting at a UTF-8 character
// boundary when it does not fit.
void CopyUTF8Bounded(const char* src, size_t srcLength, char* dst, size_t dstSize)
{
    if (dstSize == 0)
        return;
    size_t n = 0;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(src);
    while (n < srcLength) {
        size_t step = UTF8SequenceLength(p + n);
        if (step == 0)
            step = 1;
        if (n + step > dstSize - 1)
            break;
        n += step;
    }
    std::memmove(dst, src, n);
    dst[n] = '\0';
}

inline bool IsSJISLead(unsigned char c)
{
    return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
}

}  // namespace

bool IsValidUTF8(const char* text)
{
    if (!text)
        return false;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
    while (*p) {
        const size_t n = UTF8SequenceLength(p);
        if (n == 0)
            return false;
        p += n;
    }
    return true;
}

bool IsDBCSLeadByte(unsigned char c) { return c >= 0x80; }

char* CheckSJISAndToUFT8(const char* src, char* dst, size_t dstSize)
{
    if (!dst || dstSize == 0)
        return dst;
    if (!src) {
        dst[0] = '\0';
        return dst;
    }
    if (IsValidUTF8(src)) {
        CopyUTF8Bounded(src, std::strlen(src), dst, dstSize);
        return dst;
    }
    std::string utf8;
    if (Convert("UTF-8", kSJIS, src, utf8)) {
        CopyUTF8Bounded(utf8.data(), utf8.size(), dst, dstSize);
        return dst;
    }
    // Neither encoding: the bytes as they are, cut to fit.
    const size_t n = std::min(std::strlen(src), dstSize - 1);
    std::memmove(dst, src, n);
    dst[n] = '\0';
    return dst;
}

char* CheckSJISAndToUFT8(const char* src, char* dst)
{
    // The caller guarantees room for the longest result: three bytes for
    // every source byte, plus the terminator.
    const size_t room = src ? std::strlen(src) * 3 + 1 : 1;
    return CheckSJISAndToUFT8(src, dst, room);
}

char* UTF8ToSJSINS(const char* utf8)
{
    thread_local std::string result;
    if (!utf8 || !IsValidUTF8(utf8))
        return nullptr;
    if (!Convert(kSJIS, "UTF-8", utf8, result))
        return nullptr;
    return &result[0];
}

size_t TruncateSJIS(char* text, size_t maxBytes)
{
    if (!text)
        return 0;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
    size_t n = 0;
    while (p[n] != '\0') {
        // A lead byte and its trail are one character of two bytes; anything
        // else (ASCII, half-width katakana) is one. A lead byte without its
        // trail is half a character, already cut: it goes.
        const bool lead = IsSJISLead(p[n]);
        if (lead && p[n + 1] == '\0')
            break;
        const size_t step = lead ? 2 : 1;
        if (n + step > maxBytes)
            break;
        n += step;
    }
    text[n] = '\0';
    return n;
}
