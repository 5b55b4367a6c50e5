#include "CFile.h"

#include <cstdio>

#include "FileName.h"

CFile::CFile() : m_pStream(nullptr), m_bCloseOnDelete(false) {}

CFile::CFile(const char* name, unsigned flags) : CFile()
{
    CFileException error;
    // Not a virtual call in practice (we are the most derived class here),
    // which is what a constructor should do anyway.
    CFile::Open(name, flags, &error);
}

CFile::~CFile() { CFile::Close(); }

bool CFile::Open(const char* name, unsigned flags, CFileException* /*error*/)
{
    Close();
    char path[kMaxFilePath];
    if (!FileNameToPosixPath(name, path, sizeof path))
        return false;
    const char* mode;
    if (flags & modeCreate) {
        std::remove(path);  // a failure here is fine: "wb" replaces anyway
        mode = "wb";
    } else if (flags & modeReadWrite) {
        mode = "w+b";
    } else if (flags & modeWrite) {
        mode = "wb";
    } else {
        mode = "rb";
    }
    m_pStream = std::fopen(path, mode);
    return m_pStream != nullptr;
}

unsigned CFile::Read(void* buffer, unsigned count)
{
    if (!m_pStream || !buffer || count == 0)
        return 0;
    return static_cast<unsigned>(std::fread(buffer, 1, count, m_pStream));
}

void CFile::Write(const void* buffer, unsigned count)
{
    if (!m_pStream || !buffer || count == 0)
        return;
    std::fwrite(buffer, 1, count, m_pStream);
}

long CFile::Seek(long offset, unsigned from)
{
    if (!m_pStream)
        return 0;
    int whence;
    switch (from) {
    case begin: whence = SEEK_SET; break;
    case current: whence = SEEK_CUR; break;
    case end: whence = SEEK_END; break;
    default: return std::ftell(m_pStream);
    }
    std::fseek(m_pStream, offset, whence);
    return std::ftell(m_pStream);
}

unsigned long CFile::GetPosition() const
{
    if (!m_pStream)
        return 0;
    const long pos = std::ftell(m_pStream);
    return pos < 0 ? 0 : static_cast<unsigned long>(pos);
}

unsigned CFile::GetLength() const
{
    if (!m_pStream)
        return 0;
    const long pos = std::ftell(m_pStream);
    std::fseek(m_pStream, 0, SEEK_END);
    const long length = std::ftell(m_pStream);
    std::fseek(m_pStream, pos < 0 ? 0 : pos, SEEK_SET);
    return length < 0 ? 0 : static_cast<unsigned>(static_cast<unsigned long>(length) & 0xFFFFFFFFu);
}

void CFile::Close()
{
    if (!m_pStream)
        return;
    std::fclose(m_pStream);
    m_pStream = nullptr;
}

void CFile::Remove(const char* path)
{
    char posix[kMaxFilePath];
    if (FileNameToPosixPath(path, posix, sizeof posix))
        std::remove(posix);
}
