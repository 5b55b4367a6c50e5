#pragma once
// CString: a reference-counted, copy-on-write byte string (normally UTF-8).
//
// The object holds one pointer, to the first character of a buffer that is
// preceded by a CStringData header. Copies share the buffer and bump its
// count; every mutating member first makes the buffer private. The empty
// string is one static buffer that is never counted, freed or written, so
// operator const char*() never returns null.
//
// Counts are plain integers: a CString must not be shared between threads
// without outside locking.
#include <cstdint>

#include "WinStrTypes.h"

struct CStringData {
    int64_t nRefs;        // 1 = one owner, >= 2 shared, < 0 never shared
    int32_t nDataLength;  // characters, without the terminator
    int32_t nAllocLength; // capacity, without the terminator
    char* data() { return reinterpret_cast<char*>(this + 1); }
};

class CString {
public:
    CString();
    CString(const CString& other);
    // Null gives the empty string; a value below 0x10000 is a string
    // resource identifier and loads that resource.
    CString(const char* s);
    CString(const char* s, int length);  // at most length bytes, stops at a NUL
    CString(char c, int repeat);
    ~CString();

    CString& operator=(const CString& other);
    CString& operator=(const char* s);
    CString& operator=(char c);

    CString& operator+=(const char* s);
    CString& operator+=(const CString& s);
    CString& operator+=(char c);

    friend CString operator+(const CString& a, const CString& b);
    friend CString operator+(const CString& a, const char* b);
    friend CString operator+(const char* a, const CString& b);

    // printf-style formatting; the result may be of any length.
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // The format text is string resource formatId.
    void Format(unsigned formatId, ...);
    // Loads string resource id; false (string unchanged) if the loader fails.
    bool LoadString(unsigned id);

    operator const char*() const { return m_pchData; }

    int GetLength() const { return GetData()->nDataLength; }
    bool IsEmpty() const { return GetLength() == 0; }
    void Empty();
    char operator[](int index) const;
    char GetAt(int index) const { return (*this)[index]; }
    void SetAt(int index, char c);

    // Private buffer of at least minLength characters (keeping the text);
    // finish with ReleaseBuffer.
    char* GetBuffer(int minLength);
    // Private buffer whose length is exactly length characters.
    char* GetBufferSetLength(int length);
    // Sets the length after writing through GetBuffer; -1 means strlen.
    void ReleaseBuffer(int newLength = -1);

    int Compare(const char* s) const;        // strcmp
    int CompareNoCase(const char* s) const;  // stricmp

    CString Left(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    CString Right(int count) const;
    void TrimLeft();   // spaces, tabs, line ends
    void TrimRight();
    void MakeUpper();  // ASCII only
    void MakeLower();
    int Find(char c) const;
    int Find(const char* s) const;

    // Tests and diagnostics: the buffer's reference count (0 for the static
    // empty buffer, which is never counted).
    int64_t GetRefCountForTest() const;

private:
    CStringData* GetData() const { return reinterpret_cast<CStringData*>(m_pchData) - 1; }
    bool IsStaticEmpty() const;
    void Init();
    void AllocBuffer(int length);
    void Release();
    static void Release(CStringData* data);
    void CopyBeforeWrite();
    void AllocBeforeWrite(int length);
    void AssignCopy(int length, const char* src);
    void ConcatInPlace(int length, const char* src);
    void ConcatCopy(int len1, const char* src1, int len2, const char* src2);

    char* m_pchData;
};

bool operator==(const CString& a, const CString& b);
bool operator==(const CString& a, const char* b);
bool operator==(const char* a, const CString& b);
bool operator!=(const CString& a, const CString& b);
bool operator!=(const CString& a, const char* b);
bool operator!=(const char* a, const CString& b);
bool operator<(const CString& a, const CString& b);
bool operator<(const CString& a, const char* b);
bool operator<(const char* a, const CString& b);
bool operator>(const CString& a, const CString& b);
bool operator>(const CString& a, const char* b);
bool operator>(const char* a, const CString& b);
bool operator<=(const CString& a, const CString& b);
bool operator<=(const CString& a, const char* b);
bool operator<=(const char* a, const CString& b);
bool operator>=(const CString& a, const CString& b);
bool operator>=(const CString& a, const char* b);
bool operator>=(const char* a, const CString& b);

// The static empty string.
const CString& AfxGetEmptyString();
