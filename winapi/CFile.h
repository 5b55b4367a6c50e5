#pragma once
// CFile: a binary file over a standard I/O stream, with the MFC open flags.
// Failures are reported only by results (false, 0); nothing is thrown.
#include <cstdio>

#include "CObject.h"
#include "CString.h"
#include "WinStrTypes.h"

class CException : public CObject {};

// Passed to Open by the path-taking constructor; never filled, never thrown.
class CFileException : public CException {};

class CFile : public CObject {
public:
    enum OpenFlags : unsigned {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        shareDenyNone = 0x0040,
        modeCreate = 0x1000,
        typeBinary = 0x8000,
    };
    enum SeekPosition : unsigned { begin = 0, current = 1, end = 2 };

    CFile();
    CFile(const char* name, unsigned flags);
    ~CFile() override;
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // name is a POSIX path or a "file://" URL string. modeCreate deletes an
    // existing file and opens write-only ("wb"); modeReadWrite opens "w+b"
    // (which truncates); modeWrite "wb"; otherwise "rb". Any stream already
    // open is closed first.
    virtual bool Open(const char* name, unsigned flags, CFileException* error = nullptr);
    virtual unsigned Read(void* buffer, unsigned count);
    virtual void Write(const void* buffer, unsigned count);
    // from: 0 start, 1 current, 2 end; any other value does not move.
    // Returns the position afterwards.
    virtual long Seek(long offset, unsigned from);
    virtual unsigned long GetPosition() const;
    virtual unsigned GetLength() const;
    virtual void Close();

    // Present for source compatibility; they do nothing.
    virtual void Flush() {}
    virtual void Abort() {}
    virtual void LockRange(unsigned long, unsigned long) {}
    virtual void UnlockRange(unsigned long, unsigned long) {}
    virtual void SetLength(unsigned long) {}
    virtual CFile* Duplicate() const { return new CFile; }

    static void Remove(const char* path);

    bool IsOpen() const { return m_pStream != nullptr; }

protected:
    FILE* m_pStream;
    bool m_bCloseOnDelete;  // cleared by the constructor; not otherwise used
    CString m_strFileName;  // stays empty
};
