#include "CFileFind.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>

namespace {

inline DIR* AsDir(int64_t handle) { return reinterpret_cast<DIR*>(static_cast<intptr_t>(handle)); }

// Bounded copy that always terminates.
void CopyField(char* dst, size_t size, const char* src, size_t n)
{
    if (n >= size)
        n = size - 1;
    std::memcpy(dst, src, n);
    dst[n] = '\0';
}

}  // namespace

CFileFind::CFileFind()
    : m_pFoundInfo(nullptr), m_pNextInfo(nullptr), m_hContext(0), m_chDirSeparator('/')
{
}

CFileFind::~CFileFind() { Close(); }

void CFileFind::CloseContext()
{
    if (m_hContext != 0 && m_hContext != -1)
        closedir(AsDir(m_hContext));
}

void CFileFind::Close()
{
    delete m_pFoundInfo;
    m_pFoundInfo = nullptr;
    delete m_pNextInfo;
    m_pNextInfo = nullptr;
    if (m_hContext != 0 && m_hContext != -1) {
        CloseContext();
        m_hContext = 0;
    }
}

bool CFileFind::FindFile(const char* pattern, unsigned /*flags*/)
{
    // A new search ends the previous one.
    if (m_hContext != 0 && m_hContext != -1)
        CloseContext();
    m_hContext = 0;
    if (!m_pFoundInfo)
        m_pFoundInfo = new CFileFindRecord;
    std::memset(m_pFoundInfo, 0, sizeof *m_pFoundInfo);
    m_strRoot.Empty();
    if (!pattern || !*pattern)
        pattern = "*.*";

    // Root: the pattern as given, up to and including its last "/".
    const char* lastSlash = std::strrchr(pattern, '/');
    if (lastSlash)
        m_strRoot = CString(pattern, static_cast<int>(lastSlash - pattern + 1));

    char path[kMaxFilePath];
    if (!FileNameToPosixPath(pattern, path, sizeof path)) {
        m_hContext = -1;
        return false;
    }

    // Name prefix from the last component.
    char* slash = std::strrchr(path, '/');
    const char* name = slash ? slash + 1 : path;
    CopyField(m_pFoundInfo->cPattern, sizeof m_pFoundInfo->cPattern, name, std::strlen(name));
    if (char* star = std::strchr(m_pFoundInfo->cPattern, '*')) {
        *star = '\0';
        if (char* dot = std::strchr(m_pFoundInfo->cPattern, '.'))
            *dot = '\0';
    }

    // Folder searched: the parent of the last component.
    if (!slash)
        CopyField(m_pFoundInfo->cDirectory, sizeof m_pFoundInfo->cDirectory, ".", 1);
    else if (slash == path)
        CopyField(m_pFoundInfo->cDirectory, sizeof m_pFoundInfo->cDirectory, "/", 1);
    else
        CopyField(m_pFoundInfo->cDirectory, sizeof m_pFoundInfo->cDirectory, path,
                  static_cast<size_t>(slash - path));

    DIR* dir = opendir(m_pFoundInfo->cDirectory);
    if (!dir) {
        m_hContext = -1;
        return false;
    }
    m_hContext = static_cast<int64_t>(reinterpret_cast<intptr_t>(dir));
    if (!NextMatch()) {
        closedir(dir);
        m_hContext = -1;
        return false;
    }
    return true;
}

bool CFileFind::FindNextFile()
{
    if (m_hContext == 0 || m_hContext == -1 || !m_pFoundInfo)
        return false;
    return NextMatch();
}

bool CFileFind::NextMatch()
{
    DIR* dir = AsDir(m_hContext);
    CFileFindRecord& rec = *m_pFoundInfo;
    const size_t prefixLength = std::strlen(rec.cPattern);
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.')
            continue;  // hidden, and "." and ".."
        if (std::strncmp(entry->d_name, rec.cPattern, prefixLength) != 0)
            continue;
        rec.dwFileAttributes = 0;
        rec.ftLastWriteTime = 0;
        rec.nFileSizeHigh = rec.nFileSizeLow = 0;
        CopyField(rec.cFileName, sizeof rec.cFileName, entry->d_name, std::strlen(entry->d_name));

        char full[kMaxFilePath + 256];
        std::snprintf(full, sizeof full, "%s/%s", rec.cDirectory, entry->d_name);
        struct stat st;
        if (stat(full, &st) == 0) {
            if (S_ISDIR(st.st_mode)) {
                rec.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
                rec.ftLastWriteTime = static_cast<uint32_t>(st.st_mtime);
            } else if (S_ISREG(st.st_mode)) {
                const uint64_t size = static_cast<uint64_t>(st.st_size);
                rec.nFileSizeHigh = static_cast<uint32_t>(size >> 32);
                rec.nFileSizeLow = static_cast<uint32_t>(size);
                rec.ftLastWriteTime = static_cast<uint32_t>(st.st_mtime);
            }
        }
        return true;
    }
    return false;
}

CString CFileFind::GetFileName() const
{
    return m_pFoundInfo ? CString(m_pFoundInfo->cFileName) : CString();
}

CString CFileFind::GetFilePath() const
{
    CString path = m_strRoot;
    const int n = path.GetLength();
    if (n > 0 && path[n - 1] != ':' && path[n - 1] != '/')
        path += m_chDirSeparator;
    path += GetFileName();
    return path;
}

bool CFileFind::MatchesMask(unsigned mask) const
{
    return m_pFoundInfo && (m_pFoundInfo->dwFileAttributes & mask) != 0;
}

ULONGLONG CFileFind::GetLength() const
{
    if (!m_pFoundInfo)
        return 0;
    return (static_cast<ULONGLONG>(m_pFoundInfo->nFileSizeHigh) << 32) | m_pFoundInfo->nFileSizeLow;
}
