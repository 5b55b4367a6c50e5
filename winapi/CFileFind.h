#pragma once
// CFileFind: a one-folder name search. The pattern is a POSIX path or a
// "file://" URL string whose last component is a name prefix: up to the
// first "*" (and then up to the first "." of what remains), or the whole
// name when it has no "*". Hidden entries are skipped, so "." and ".." never
// come back.
#include <cstdint>

#include "CObject.h"
#include "CString.h"
#include "FileName.h"
#include "WinStrTypes.h"

// The find record, zeroed before each search.
struct CFileFindRecord {
    uint32_t dwFileAttributes;  // 16: a folder
    uint32_t ftLastWriteTime;   // whole seconds since 1970 (modification time)
    uint32_t nFileSizeHigh;
    uint32_t nFileSizeLow;
    char cFileName[256];
    char cPattern[256];
    char cDirectory[kMaxFilePath];
};

class CFileFind : public CObject {
public:
    enum { FILE_ATTRIBUTE_DIRECTORY = 16 };

    CFileFind();
    ~CFileFind() override;
    CFileFind(const CFileFind&) = delete;
    CFileFind& operator=(const CFileFind&) = delete;

    // Starts a search; true when an entry matched. flags is ignored.
    virtual bool FindFile(const char* pattern = nullptr, unsigned flags = 0);
    // The next matching entry of the open search.
    virtual bool FindNextFile();
    void Close();

    CString GetFileName() const;
    // The root, "/" unless it already ends in ":" or "/", then the name.
    CString GetFilePath() const;
    bool MatchesMask(unsigned mask) const;
    bool IsDots() const { return false; }
    bool IsDirectory() const { return MatchesMask(FILE_ATTRIBUTE_DIRECTORY); }
    ULONGLONG GetLength() const;

protected:
    virtual void CloseContext();

private:
    bool NextMatch();

    CFileFindRecord* m_pFoundInfo;
    CFileFindRecord* m_pNextInfo;  // unused, freed by Close if set
    int64_t m_hContext;            // 0 none, -1 failed, else the open folder
    CString m_strRoot;
    char m_chDirSeparator;
};
