#include "ProgramFile.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "CString.h"
#include "ParamMap.h"
#include "WinStr.h"

// ---------------------------------------------------------------------------
// Myifstream

bool Myifstream::open(const char* name, int mode, int /*flag*/)
{
    unsigned flags = 0;
    if ((mode & (in | out)) == (in | out))
        flags = CFile::modeReadWrite;
    else if (mode & out)
        flags = CFile::modeWrite;
    else if (mode & in)
        flags = CFile::shareDenyNone;
    if (mode & trunc)
        flags |= CFile::modeCreate;
    if (mode & binary)
        flags |= CFile::typeBinary;
    m_state = 0;
    if (!Open(name, flags)) {
        m_state |= failbit;
        return false;
    }
    return true;
}

void Myifstream::close() { Close(); }

char Myifstream::get()
{
    char c = 0;
    if (Read(&c, 1) != 1) {
        m_state |= failbit;
        return 0;
    }
    return c;
}

bool Myifstream::get(char* buffer, int n)
{
    if (!buffer || n <= 0)
        return false;
    std::memset(buffer, 0, static_cast<size_t>(n));
    if (n == 1)
        return true;
    return Read(buffer, static_cast<unsigned>(n - 1)) > 0;
}

bool Myifstream::read(char* buffer, int n)
{
    if (!buffer || n < 0)
        return false;
    return Read(buffer, static_cast<unsigned>(n)) == static_cast<unsigned>(n);
}

bool Myifstream::getline(char* buffer, int n, char delimiter)
{
    if (!buffer)
        return false;
    if (n <= 0) {
        buffer[0] = '\0';
        return true;
    }
    int stored = 0;
    while (stored < n) {
        char c;
        if (Read(&c, 1) != 1) {
            buffer[stored] = '\0';
            if (stored == 0) {
                m_state |= failbit;
                return false;
            }
            return true;  // a last line without its line end
        }
        if (c == delimiter) {
            if (delimiter == '\n' && stored > 0 && buffer[stored - 1] == '\r')
                --stored;
            buffer[stored] = '\0';
            return true;
        }
        buffer[stored++] = c;
    }
    buffer[n] = '\0';
    return true;
}

bool Myifstream::eof() const
{
    if (!IsOpen())
        return true;
    return GetPosition() >= GetLength();
}

void Myifstream::seekg(long offset, int direction)
{
    Seek(offset, direction == 0 ? CFile::begin : direction == 1 ? CFile::current : CFile::end);
}

int32_t Myifstream::tellg() const { return static_cast<int32_t>(GetPosition()); }

// ---------------------------------------------------------------------------
// Myistrstream

Myistrstream::Myistrstream(const char* text, int length) : m_state(0), m_text(nullptr), m_length(0), m_offset(0)
{
    if (!text || length < 0)
        length = 0;
    m_text = new char[static_cast<size_t>(length) + 1];
    if (length > 0)
        std::memcpy(m_text, text, static_cast<size_t>(length));
    m_text[length] = '\0';
    m_length = static_cast<int>(std::strlen(m_text));  // an embedded NUL ends the text
    if (m_length == 0)
        m_state |= eofbit;
}

Myistrstream::~Myistrstream() { delete[] m_text; }

void Myistrstream::SkipBlanks()
{
    while (m_offset < m_length && (m_text[m_offset] == ' ' || m_text[m_offset] == '\t'))
        ++m_offset;
    if (m_offset >= m_length)
        m_state |= eofbit;
}

Myistrstream& Myistrstream::ReadWord(char* word, size_t size)
{
    if (!word || size == 0)
        return *this;
    SkipBlanks();
    size_t n = 0;
    while (m_offset < m_length && m_text[m_offset] != ' ' && m_text[m_offset] != '\t') {
        if (n + 1 < size)
            word[n++] = m_text[m_offset];
        ++m_offset;
    }
    word[n] = '\0';
    SkipBlanks();
    return *this;
}

Myistrstream& Myistrstream::operator>>(char& c)
{
    SkipBlanks();
    c = m_offset < m_length ? m_text[m_offset++] : '\0';
    SkipBlanks();
    return *this;
}

// ---------------------------------------------------------------------------
// Fields and bodies

int StrTerminateTab(const char* source, int offset, char* field, size_t fieldSize)
{
    if (field && fieldSize > 0)
        field[0] = '\0';
    if (!source || offset < 0)
        return -1;
    // Never start past the end of the source.
    const size_t length = std::strlen(source);
    if (static_cast<size_t>(offset) > length)
        return -1;

    char work[kFieldBufferSize] = {};
    std::strncpy(work, source + offset, sizeof work - 1);
    char* tab = std::strchr(work, '\t');
    int next = -1;
    if (tab) {
        *tab = '\0';
        next = offset + static_cast<int>(tab - work) + 1;
    }
    if (field && fieldSize > 0) {
        std::strncpy(field, work, fieldSize - 1);
        field[fieldSize - 1] = '\0';
    }
    return next;
}

bool LoadPGMFileBody(const char* path, char* body)
{
    if (!body)
        return false;
    Myifstream file;
    if (!file.open(path, 33))
        return false;
    // The header line goes into a buffer of its own, so a failed read of
    // the body never leaves half a header behind.
    char line[kPGMBodySize];
    if (!file.getline(line, kHeaderLineBytes, '\n'))
        line[0] = '\0';
    if (std::strncmp(line, kProgramFileHeader, std::strlen(kProgramFileHeader)) == 0) {
        if (!file.getline(line, kBodyLineBytes, '\n'))
            line[0] = '\0';
    }
    std::memcpy(body, line, std::strlen(line) + 1);
    file.close();
    return true;
}

namespace {

// A decimal field as a 32-bit number, clamped (strtol saturates, and the
// value is then bounded to int32).
int32_t FieldNumber(const char* field)
{
    errno = 0;
    const long v = std::strtol(field, nullptr, 10);
    if (v > INT32_MAX)
        return INT32_MAX;
    if (v < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(v);
}

}  // namespace

void ParsePGMBody(const char* body, AGraEQProgram& record)
{
    if (!body)
        return;
    char field[kFieldBufferSize];
    int32_t number = 0;
    int offset = 0;
    for (int k = kParamInput;; ++k) {
        const int next = StrTerminateTab(body, offset, field, sizeof field);
        if (field[0] != '\0' && field[0] != ' ')
            number = FieldNumber(field);
        if (next == -1)
            break;  // the last field of the line is never imported
        if (k >= kParamGainFirst && k < kNumParams)
            record.fValue[k] =
                ValToNormalizeValue(k, static_cast<float>(static_cast<double>(number) * 1.52587890625e-5));
        offset = next;
    }
}

int Convert(AGraEQProgram* bank, int bankCount, const char* listPath, const char* programFolder)
{
    if (!bank || bankCount <= 0)
        return 0;
    Myifstream list;
    if (!list.open(listPath, 33))
        return 0;
    char line[kHeaderLineBytes + 1] = {};
    if (!list.getline(line, kHeaderLineBytes, '\n') ||
        std::strncmp(line, kProgramListHeader, std::strlen(kProgramListHeader)) != 0) {
        list.close();
        return 0;
    }
    if (!list.getline(line, kHeaderLineBytes, '\n')) {
        list.close();
        return 0;
    }
    const long count = std::strtol(line, nullptr, 10);
    if (count < 1) {
        list.close();
        return 0;
    }

    // The body carries over from one program to the next when a program
    // file is missing, as it always has.
    char body[kPGMBodySize] = {};
    int filled = 0;
    for (long i = 0; i < count && i < bankCount; ++i) {
        if (!list.getline(line, kHeaderLineBytes, '\n'))
            break;  // the list ends before its count
        AGraEQProgram& record = bank[i];
        char name[kProgramNameSize];
        std::memcpy(name, line, sizeof name - 1);  // line holds at least 81 bytes
        name[sizeof name - 1] = '\0';
        TruncateSJIS(name, kProgramNameSize - 1);
        std::memset(record.szName, 0, sizeof record.szName);
        std::memcpy(record.szName, name, std::strlen(name));

        CString path(programFolder ? programFolder : "");
        path += "\\";
        path += line;
        path += ".PGM";
        LoadPGMFileBody(path, body);
        ParsePGMBody(body, record);
        ++filled;
    }
    list.close();
    return filled;
}
