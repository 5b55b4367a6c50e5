#include "CString.h"

#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "WinStr.h"

namespace {

// The shared empty buffer: a header with length 0 followed by one zero byte.
// Its count is negative so that nothing ever shares or counts it; every
// member compares against it before touching a count anyway.
struct EmptyBuffer {
    CStringData header;
    char text[8];
};
EmptyBuffer g_empty = {{-1, 0, 0}, {0}};
static_assert(sizeof(CStringData) == 16, "header is 16 bytes");
static_assert(offsetof(EmptyBuffer, text) == sizeof(CStringData), "text follows the header");

inline char* EmptyText() { return g_empty.text; }

// Length of a text we are about to store, bounded so sums stay inside int.
inline int SafeLength(const char* s)
{
    const size_t n = std::strlen(s);
    return n > static_cast<size_t>(INT_MAX / 2) ? INT_MAX / 2 : static_cast<int>(n);
}

inline bool IsResourceId(const char* s)
{
    return (reinterpret_cast<uintptr_t>(s) >> 16) == 0;
}

inline bool IsTrimmable(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

void FormatInto(CString& out, const char* format, va_list args)
{
    char local[1024];
    va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(local, sizeof local, format, args);
    if (n < 0) {
        out.Empty();
    } else if (static_cast<size_t>(n) < sizeof local) {
        out = local;
    } else {
        // Longer than the usual 1024 bytes: format once more into a buffer
        // of the exact size rather than overrun the stack.
        std::vector<char> big(static_cast<size_t>(n) + 1);
        std::vsnprintf(big.data(), big.size(), format, again);
        out = big.data();
    }
    va_end(again);
}

}  // namespace

// ---------------------------------------------------------------------------
// Buffer management

bool CString::IsStaticEmpty() const { return m_pchData == EmptyText(); }

void CString::Init() { m_pchData = EmptyText(); }

void CString::AllocBuffer(int length)
{
    if (length <= 0) {
        Init();
        return;
    }
    char* raw = new char[sizeof(CStringData) + static_cast<size_t>(length) + 1];
    CStringData* data = new (raw) CStringData{1, length, length};
    data->data()[length] = '\0';
    m_pchData = data->data();
}

void CString::Release(CStringData* data)
{
    if (reinterpret_cast<char*>(data + 1) == EmptyText())
        return;
    if (data->nRefs <= 1) {
        data->~CStringData();
        delete[] reinterpret_cast<char*>(data);
    } else {
        --data->nRefs;
    }
}

void CString::Release()
{
    if (!IsStaticEmpty())
        Release(GetData());
    Init();
}

void CString::CopyBeforeWrite()
{
    if (!IsStaticEmpty() && GetData()->nRefs == 1)
        return;
    CStringData* old = GetData();
    const int length = old->nDataLength;
    AllocBuffer(length);
    if (length > 0)
        std::memcpy(m_pchData, old->data(), static_cast<size_t>(length) + 1);
    Release(old);
}

void CString::AllocBeforeWrite(int length)
{
    if (!IsStaticEmpty() && GetData()->nRefs == 1 && length <= GetData()->nAllocLength)
        return;
    Release();
    AllocBuffer(length);
}

void CString::AssignCopy(int length, const char* src)
{
    // src may point into our own buffer (s = s.Mid(1)); keep the old buffer
    // alive until the copy is done.
    if (length <= 0) {
        Release();
        return;
    }
    CStringData* keep = nullptr;
    if (!IsStaticEmpty() && src >= m_pchData && src <= m_pchData + GetData()->nAllocLength) {
        keep = GetData();
        ++keep->nRefs;
    }
    AllocBeforeWrite(length);
    std::memmove(m_pchData, src, static_cast<size_t>(length));
    m_pchData[length] = '\0';
    GetData()->nDataLength = length;
    if (keep)
        Release(keep);
}

void CString::ConcatCopy(int len1, const char* src1, int len2, const char* src2)
{
    const int total = len1 + len2;
    if (total <= 0) {
        Init();
        return;
    }
    AllocBuffer(total);
    if (len1 > 0)
        std::memcpy(m_pchData, src1, static_cast<size_t>(len1));
    if (len2 > 0)
        std::memcpy(m_pchData + len1, src2, static_cast<size_t>(len2));
    m_pchData[total] = '\0';
}

void CString::ConcatInPlace(int length, const char* src)
{
    if (length <= 0)
        return;
    CStringData* data = GetData();
    if (!IsStaticEmpty() && data->nRefs == 1 && data->nDataLength + length <= data->nAllocLength) {
        std::memmove(m_pchData + data->nDataLength, src, static_cast<size_t>(length));
        data->nDataLength += length;
        m_pchData[data->nDataLength] = '\0';
        return;
    }
    // New buffer of exactly the new length; src may live in the old one,
    // which is released only after the copy.
    const int oldLength = data->nDataLength;
    ConcatCopy(oldLength, data->data(), length, src);
    Release(data);
}

// ---------------------------------------------------------------------------
// Construction

CString::CString() { Init(); }

CString::CString(const CString& other)
{
    if (other.IsStaticEmpty()) {
        Init();
    } else if (other.GetData()->nRefs < 0) {
        Init();
        AssignCopy(other.GetLength(), other.m_pchData);
    } else {
        m_pchData = other.m_pchData;
        ++GetData()->nRefs;
    }
}

CString::CString(const char* s)
{
    Init();
    if (!s)
        return;
    if (IsResourceId(s)) {
        LoadString(static_cast<unsigned>(reinterpret_cast<uintptr_t>(s)));
        return;
    }
    AssignCopy(SafeLength(s), s);
}

CString::CString(const char* s, int length)
{
    Init();
    if (!s || length <= 0)
        return;
    int n = 0;
    while (n < length && s[n] != '\0')
        ++n;
    AssignCopy(n, s);
}

CString::CString(char c, int repeat)
{
    Init();
    if (repeat <= 0)
        return;
    AllocBuffer(repeat);
    std::memset(m_pchData, c, static_cast<size_t>(repeat));
    // A NUL repeated is an empty text: the length follows the terminator.
    GetData()->nDataLength = static_cast<int>(std::strlen(m_pchData));
}

CString::~CString()
{
    if (!IsStaticEmpty())
        Release(GetData());
}

// ---------------------------------------------------------------------------
// Assignment and concatenation

CString& CString::operator=(const CString& other)
{
    if (m_pchData == other.m_pchData)
        return *this;
    if (other.IsStaticEmpty()) {
        Release();
    } else if (other.GetData()->nRefs < 0 || (!IsStaticEmpty() && GetData()->nRefs < 0)) {
        AssignCopy(other.GetLength(), other.m_pchData);
    } else {
        Release();
        m_pchData = other.m_pchData;
        ++GetData()->nRefs;
    }
    return *this;
}

CString& CString::operator=(const char* s)
{
    if (!s || IsResourceId(s)) {
        if (s)
            LoadString(static_cast<unsigned>(reinterpret_cast<uintptr_t>(s)));
        else
            Release();
        return *this;
    }
    AssignCopy(SafeLength(s), s);
    return *this;
}

CString& CString::operator=(char c)
{
    const char text[2] = {c, '\0'};
    AssignCopy(c ? 1 : 0, text);
    return *this;
}

CString& CString::operator+=(const char* s)
{
    if (s && !IsResourceId(s))
        ConcatInPlace(SafeLength(s), s);
    return *this;
}

CString& CString::operator+=(const CString& s)
{
    ConcatInPlace(s.GetLength(), s.m_pchData);
    return *this;
}

CString& CString::operator+=(char c)
{
    const char text[2] = {c, '\0'};
    if (c)
        ConcatInPlace(1, text);
    return *this;
}

CString operator+(const CString& a, const CString& b)
{
    CString r;
    r.ConcatCopy(a.GetLength(), a.m_pchData, b.GetLength(), b.m_pchData);
    return r;
}

CString operator+(const CString& a, const char* b)
{
    CString r;
    const int n = b && !IsResourceId(b) ? SafeLength(b) : 0;
    r.ConcatCopy(a.GetLength(), a.m_pchData, n, b);
    return r;
}

CString operator+(const char* a, const CString& b)
{
    CString r;
    const int n = a && !IsResourceId(a) ? SafeLength(a) : 0;
    r.ConcatCopy(n, a, b.GetLength(), b.m_pchData);
    return r;
}

// ---------------------------------------------------------------------------
// Formatting and resources

void CString::Format(const char* format, ...)
{
    if (!format) {
        Empty();
        return;
    }
    va_list args;
    va_start(args, format);
    FormatInto(*this, format, args);
    va_end(args);
}

void CString::Format(unsigned formatId, ...)
{
    char format[1024];
    if (::LoadString(nullptr, formatId, format, sizeof format) == ~0u) {
        Empty();
        return;
    }
    va_list args;
    va_start(args, formatId);
    FormatInto(*this, format, args);
    va_end(args);
}

bool CString::LoadString(unsigned id)
{
    char text[1024];
    if (::LoadString(nullptr, id, text, sizeof text) == ~0u)
        return false;
    *this = text;
    return true;
}

// ---------------------------------------------------------------------------
// Access

void CString::Empty() { Release(); }

char CString::operator[](int index) const
{
    if (index < 0 || index > GetLength())
        return '\0';
    return m_pchData[index];
}

void CString::SetAt(int index, char c)
{
    if (index < 0 || index >= GetLength())
        return;
    CopyBeforeWrite();
    m_pchData[index] = c;
    if (c == '\0')
        GetData()->nDataLength = index;
}

char* CString::GetBuffer(int minLength)
{
    CStringData* old = GetData();
    const int length = old->nDataLength;
    if (minLength < length)
        minLength = length;
    if (minLength <= 0) {
        // Nothing to hold: the empty text. Callers may still write the
        // terminator through the pointer; the static buffer's first byte is
        // already zero, and writing zero there changes nothing.
        if (!IsStaticEmpty() && old->nRefs == 1)
            return m_pchData;
        Release();
        return m_pchData;
    }
    if (IsStaticEmpty() || old->nRefs != 1 || minLength > old->nAllocLength) {
        AllocBuffer(minLength);
        if (length > 0)
            std::memcpy(m_pchData, old->data(), static_cast<size_t>(length));
        m_pchData[length] = '\0';
        GetData()->nDataLength = length;
        Release(old);
    }
    return m_pchData;
}

char* CString::GetBufferSetLength(int length)
{
    if (length < 0)
        length = 0;
    char* p = GetBuffer(length);
    if (!IsStaticEmpty()) {
        GetData()->nDataLength = length;
        p[length] = '\0';
    }
    return p;
}

void CString::ReleaseBuffer(int newLength)
{
    if (IsStaticEmpty())
        return;
    CopyBeforeWrite();
    CStringData* data = GetData();
    if (newLength < 0 || newLength > data->nAllocLength) {
        // strlen, bounded by the buffer: a caller that forgot the terminator
        // gets the whole buffer, never a read past it.
        const void* nul = std::memchr(m_pchData, 0, static_cast<size_t>(data->nAllocLength));
        newLength = nul ? static_cast<int>(static_cast<const char*>(nul) - m_pchData) : data->nAllocLength;
    }
    data->nDataLength = newLength;
    m_pchData[newLength] = '\0';
    if (newLength == 0)
        Release();
}

int CString::Compare(const char* s) const { return std::strcmp(m_pchData, s ? s : ""); }

int CString::CompareNoCase(const char* s) const { return stricmp(m_pchData, s); }

CString CString::Left(int count) const
{
    if (count < 0)
        count = 0;
    if (count >= GetLength())
        return *this;
    return CString(m_pchData, count);
}

CString CString::Mid(int first) const { return Mid(first, GetLength()); }

CString CString::Mid(int first, int count) const
{
    if (first < 0)
        first = 0;
    if (count < 0)
        count = 0;
    const int length = GetLength();
    if (first > length)
        first = length;
    if (count > length - first)
        count = length - first;
    if (first == 0 && count == length)
        return *this;
    return CString(m_pchData + first, count);
}

CString CString::Right(int count) const
{
    if (count < 0)
        count = 0;
    const int length = GetLength();
    if (count >= length)
        return *this;
    return CString(m_pchData + length - count, count);
}

void CString::TrimLeft()
{
    int skip = 0;
    while (IsTrimmable(m_pchData[skip]))
        ++skip;
    if (skip == 0)
        return;
    AssignCopy(GetLength() - skip, m_pchData + skip);
}

void CString::TrimRight()
{
    int length = GetLength();
    while (length > 0 && IsTrimmable(m_pchData[length - 1]))
        --length;
    if (length == GetLength())
        return;
    if (length == 0) {
        Release();
        return;
    }
    CopyBeforeWrite();
    m_pchData[length] = '\0';
    GetData()->nDataLength = length;
}

void CString::MakeUpper()
{
    if (IsEmpty())
        return;
    CopyBeforeWrite();
    for (char* p = m_pchData; *p; ++p)
        if (*p >= 'a' && *p <= 'z')
            *p = static_cast<char>(*p - 'a' + 'A');
}

void CString::MakeLower()
{
    if (IsEmpty())
        return;
    CopyBeforeWrite();
    for (char* p = m_pchData; *p; ++p)
        if (*p >= 'A' && *p <= 'Z')
            *p = static_cast<char>(*p - 'A' + 'a');
}

int CString::Find(char c) const
{
    const char* p = std::strchr(m_pchData, c);
    return p && c ? static_cast<int>(p - m_pchData) : -1;
}

int CString::Find(const char* s) const
{
    if (!s)
        return -1;
    const char* p = std::strstr(m_pchData, s);
    return p ? static_cast<int>(p - m_pchData) : -1;
}

int64_t CString::GetRefCountForTest() const { return IsStaticEmpty() ? 0 : GetData()->nRefs; }

const CString& AfxGetEmptyString()
{
    static const CString empty;
    return empty;
}

// ---------------------------------------------------------------------------
// Comparisons (byte-wise, strcmp)

namespace {
inline int Cmp(const char* a, const char* b) { return std::strcmp(a ? a : "", b ? b : ""); }
}  // namespace

bool operator==(const CString& a, const CString& b) { return Cmp(a, b) == 0; }
bool operator==(const CString& a, const char* b) { return Cmp(a, b) == 0; }
bool operator==(const char* a, const CString& b) { return Cmp(a, b) == 0; }
bool operator!=(const CString& a, const CString& b) { return Cmp(a, b) != 0; }
bool operator!=(const CString& a, const char* b) { return Cmp(a, b) != 0; }
bool operator!=(const char* a, const CString& b) { return Cmp(a, b) != 0; }
bool operator<(const CString& a, const CString& b) { return Cmp(a, b) < 0; }
bool operator<(const CString& a, const char* b) { return Cmp(a, b) < 0; }
bool operator<(const char* a, const CString& b) { return Cmp(a, b) < 0; }
bool operator>(const CString& a, const CString& b) { return Cmp(a, b) > 0; }
bool operator>(const CString& a, const char* b) { return Cmp(a, b) > 0; }
bool operator>(const char* a, const CString& b) { return Cmp(a, b) > 0; }
bool operator<=(const CString& a, const CString& b) { return Cmp(a, b) <= 0; }
bool operator<=(const CString& a, const char* b) { return Cmp(a, b) <= 0; }
bool operator<=(const char* a, const CString& b) { return Cmp(a, b) <= 0; }
bool operator>=(const CString& a, const CString& b) { return Cmp(a, b) >= 0; }
bool operator>=(const CString& a, const char* b) { return Cmp(a, b) >= 0; }
bool operator>=(const char* a, const CString& b) { return Cmp(a, b) >= 0; }
