#pragma once
// Import of the old text program format: a program list ("PROGRAM.LST")
// naming the programs, and one ".PGM" file per program whose second line
// holds tab-separated 16.16 fixed-point display values.
//
// Every read is bounded: over-long lines are cut (the rest is read as the
// next line), names are cut to their 24-byte field, numbers outside the
// 32-bit range are clamped, and lists longer than the bank only fill the
// bank.
#include <cstddef>
#include <cstdint>

#include "AGraEQProgram.h"
#include "CFile.h"

// The fixed places of the old format. On this platform they are plain
// relative names (backslashes included), so the import normally finds
// nothing, as intended.
constexpr const char* kProgramListPath = "D:\\VSTEFX\\EFX\\GraEQ\\PROGRAM.LST";
constexpr const char* kProgramFolder = "D:\\VSTEFX\\EFX\\GraEQ\\";

constexpr const char* kProgramListHeader = "ZNT5.0 EFFECT PROGRAM LIST";  // 26 characters compared
constexpr const char* kProgramFileHeader = "ZNT5.0 EFFECT PRG FILE";      // 22 characters compared
constexpr int kHeaderLineBytes = 80;
constexpr int kBodyLineBytes = 500;
// A body buffer: the longest line plus the terminator getline may write
// one past it.
constexpr size_t kPGMBodySize = kBodyLineBytes + 1;
// StrTerminateTab's working copy of the rest of a line.
constexpr size_t kFieldBufferSize = 4100;

// Lines and bytes from a file.
class Myifstream : public CFile {
public:
    enum : int32_t { failbit = 2, badbit = 4 };
    enum : int { in = 1, out = 2, trunc = 16, binary = 128 };

    Myifstream() : m_state(0) {}

    // Stream mode bits to file flags: in alone reads (shared), in|out reads
    // and writes, out alone writes, trunc adds create, binary adds binary;
    // other bits are ignored. Sets failbit when the file cannot be opened.
    bool open(const char* name, int mode, int flag = 0);
    void close();
    // One byte; 0 when nothing could be read (and failbit is set).
    char get();
    // Clears n bytes of buffer and reads up to n - 1 of them. False when
    // nothing could be read.
    bool get(char* buffer, int n);
    // Exactly n bytes; false when fewer arrived.
    bool read(char* buffer, int n);
    // One line into buffer, which must hold n + 1 bytes: reads until the
    // delimiter or until n bytes are stored; the text ends where the
    // delimiter stood (for "\n" a "\r" before it goes too), or at index n.
    // False at the end of the file with nothing read (buffer empty).
    bool getline(char* buffer, int n, char delimiter = '\n');
    bool eof() const;
    // direction 0 from the start, 1 from the current offset, else the end.
    void seekg(long offset, int direction);
    int32_t tellg() const;

    int32_t rdstate() const { return m_state; }
    bool fail() const { return (m_state & (failbit | badbit)) != 0; }

private:
    int32_t m_state;
};

// Words and characters from a string. The text is copied on construction.
class Myistrstream {
public:
    enum : int32_t { eofbit = 1 };

    Myistrstream(const char* text, int length);
    ~Myistrstream();
    Myistrstream(const Myistrstream&) = delete;
    Myistrstream& operator=(const Myistrstream&) = delete;

    // Skips spaces and tabs, copies one word (up to NUL, space or tab; cut
    // to size - 1 bytes, the rest of the word is skipped), skips the spaces
    // and tabs after it; at the end of the text sets eofbit.
    Myistrstream& ReadWord(char* word, size_t size);
    template <size_t N>
    Myistrstream& operator>>(char (&word)[N])
    {
        return ReadWord(word, N);
    }
    // One character, with the spaces and tabs around it skipped; 0 at the end.
    Myistrstream& operator>>(char& c);

    bool eof() const { return (m_state & eofbit) != 0; }
    int32_t rdstate() const { return m_state; }

private:
    void SkipBlanks();

    int32_t m_state;
    char* m_text;
    int m_length;
    int m_offset;
};

// Splits one tab-separated field of source, starting at offset, into field
// (fieldSize bytes, always terminated). Returns the offset of the next field,
// or -1 when this was the last one (or offset was negative or past the end).
int StrTerminateTab(const char* source, int offset, char* field, size_t fieldSize = kFieldBufferSize);

// Reads a program file's body into body (kPGMBodySize bytes): the data line
// of a valid file, the first line of any other. Body is left unchanged when
// the file cannot be opened (and false is returned).
bool LoadPGMFileBody(const char* path, char* body);

// Parses a body line into record: the first field belongs to Input and is
// not imported, the next thirty are the band gains and Qs (indices 3..32),
// the last field of the line is never imported, and an empty field repeats
// the previous number.
void ParsePGMBody(const char* body, AGraEQProgram& record);

// The import: reads the list at listPath and, for each named program, the
// file programFolder + "\" + name + ".PGM", into bank (bankCount records).
// Fills only names and values 3..32. A list naming more programs than the
// bank holds fills the bank and ignores the rest. Returns the number of
// records filled.
int Convert(AGraEQProgram* bank, int bankCount, const char* listPath = kProgramListPath,
            const char* programFolder = kProgramFolder);
