#include "BankFile.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "CFileFind.h"
#include "FileName.h"
#include "WinStr.h"

char szGlobalMyApplicationDataPathName[kBankPathSize];

namespace {

constexpr uint32_t FourCC(const char (&s)[5])
{
    return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
           (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]));
}
constexpr uint32_t kChunkMagic = FourCC("CcnK");
constexpr uint32_t kBankMagic = FourCC("FBCh");
constexpr unsigned kReservedBytes = 128;

// Copies text into out (size bytes) with a trailing "/"; false if it does
// not fit.
bool StoreFolder(const std::string& folder, char* out, size_t size)
{
    std::string f = folder;
    if (f.empty() || f.back() != '/')
        f += '/';
    if (f.size() >= size)
        return false;
    std::memcpy(out, f.c_str(), f.size() + 1);
    return true;
}

// mkdir -p for the folder part of path (everything up to the last "/").
bool MakeParentFolders(const std::string& path)
{
    const size_t last = path.rfind('/');
    if (last == std::string::npos || last == 0)
        return true;
    std::string folder = path.substr(0, last);
    for (size_t i = 1; i <= folder.size(); ++i) {
        if (i == folder.size() || folder[i] == '/') {
            const std::string part = folder.substr(0, i);
            if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST)
                return false;
        }
    }
    struct stat st;
    return stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsDirectory(const char* path)
{
    struct stat st;
    return path && stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsRegularFile(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// The folder a host-reported directory stands for, with a trailing "/".
// A path that names a folder is taken whole; anything else is cut after its
// last "/" (the name of the plug-in file itself, say).
std::string FolderFromHostDirectory(const char* hostDirectory)
{
    char path[kMaxFilePath];
    if (!hostDirectory || !*hostDirectory || !FileNameToPosixPath(hostDirectory, path, sizeof path))
        return std::string();
    std::string dir = path;
    if (IsDirectory(path))
        return dir.back() == '/' ? dir : dir + '/';
    if (dir.size() == 1 || dir.back() == '/')
        return dir;
    const size_t last = dir.rfind('/');
    if (last == std::string::npos || last == 0)
        return last == 0 ? std::string("/") : std::string();
    return dir.substr(0, last + 1);
}

}  // namespace

// ---------------------------------------------------------------------------
// Folders

bool GetMy_SHFOLDER_PathName(char* path, size_t size)
{
    if (!path || size == 0)
        return false;
    std::string folder;
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && xdg[0] == '/') {
        folder = xdg;
    } else {
        const char* home = std::getenv("HOME");
        if (!home || home[0] != '/') {
            const passwd* pw = getpwuid(getuid());
            home = pw && pw->pw_dir && pw->pw_dir[0] == '/' ? pw->pw_dir : nullptr;
        }
        if (!home)
            return false;
        folder = home;
        if (folder.back() != '/')
            folder += '/';
        folder += ".config";
    }
    if (folder.back() != '/')
        folder += '/';
    folder += "GraphicEQ/";
    return StoreFolder(folder, path, size);
}

void GetMy_SHFOLDER_PathName()
{
    static std::mutex lock;
    std::lock_guard<std::mutex> hold(lock);
    GetMy_SHFOLDER_PathName(szGlobalMyApplicationDataPathName, sizeof szGlobalMyApplicationDataPathName);
}

bool GetModuleFolder(char* folder, size_t size)
{
    Dl_info info;
    if (!folder || size == 0 || dladdr(reinterpret_cast<void*>(&GetModuleFolder), &info) == 0 ||
        !info.dli_fname || !*info.dli_fname)
        return false;
    char resolved[PATH_MAX];
    std::string file = realpath(info.dli_fname, resolved) ? resolved : info.dli_fname;
    const size_t last = file.rfind('/');
    if (last == std::string::npos)
        return StoreFolder("./", folder, size);
    return StoreFolder(file.substr(0, last + 1), folder, size);
}

// ---------------------------------------------------------------------------
// Header numbers

void putDWordFile(CFile* file, unsigned int value)
{
    if (!file)
        return;
    const unsigned char bytes[4] = {static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
                                    static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
    file->Write(bytes, 4);
}

unsigned int getDWordFile(CFile* file)
{
    unsigned char bytes[4] = {0, 0, 0, 0};
    if (file)
        file->Read(bytes, 4);
    return (unsigned(bytes[0]) << 24) | (unsigned(bytes[1]) << 16) | (unsigned(bytes[2]) << 8) | unsigned(bytes[3]);
}

unsigned short getWordFile(CFile* file)
{
    unsigned char bytes[2] = {0, 0};
    if (file)
        file->Read(bytes, 2);
    return static_cast<unsigned short>((unsigned(bytes[0]) << 8) | unsigned(bytes[1]));
}

// ---------------------------------------------------------------------------
// Reading and writing

void WriteBankFile(CFile* file, int32_t uniqueID, const void* chunk, unsigned chunkSize)
{
    if (!file)
        return;
    putDWordFile(file, kChunkMagic);
    putDWordFile(file, 0);  // byte size: deliberately 0, readers skip it
    putDWordFile(file, kBankMagic);
    putDWordFile(file, 1);  // format version
    putDWordFile(file, static_cast<unsigned>(uniqueID));
    putDWordFile(file, 1);  // plug-in version
    putDWordFile(file, kNumPrograms);
    const unsigned char reserved[kReservedBytes] = {};
    file->Write(reserved, sizeof reserved);
    putDWordFile(file, chunkSize);
    file->Write(chunk, chunkSize);
}

void SanitizeProgramRecords(unsigned char* chunk, int bytes)
{
    if (!chunk)
        return;
    for (int r = 0; (r + 1) * kProgramBytes <= bytes; ++r) {
        unsigned char* rec = chunk + r * kProgramBytes;
        AGraEQProgram record;
        std::memcpy(static_cast<void*>(&record), rec, kProgramBytes);
        SanitizeProgram(record);
        if (r == 0 && (record.nCurrentProgram < 0 || record.nCurrentProgram >= kNumPrograms))
            record.nCurrentProgram = 0;
        std::memcpy(rec, &record, kProgramBytes);
    }
}

int ReadBankFile(CFile* file, int32_t uniqueID, unsigned char* chunk, int capacity)
{
    if (!file || !file->IsOpen() || !chunk || capacity < kProgramBytes)
        return 0;
    if (getDWordFile(file) != kChunkMagic)
        return 0;
    getDWordFile(file);  // byte size, not trusted (writers put 0 here)
    if (getDWordFile(file) != kBankMagic)
        return 0;
    getDWordFile(file);  // format version
    if (getDWordFile(file) != static_cast<unsigned>(uniqueID))
        return 0;
    getDWordFile(file);  // plug-in version
    getDWordFile(file);  // number of programs
    unsigned char reserved[kReservedBytes];
    if (file->Read(reserved, sizeof reserved) != sizeof reserved)
        return 0;
    unsigned char sizeBytes[4];
    if (file->Read(sizeBytes, 4) != 4)
        return 0;
    const uint32_t declared = (uint32_t(sizeBytes[0]) << 24) | (uint32_t(sizeBytes[1]) << 16) |
                              (uint32_t(sizeBytes[2]) << 8) | uint32_t(sizeBytes[3]);
    // Never more than the caller's room, and never more than is there: a
    // short file delivers the whole records it holds.
    const uint32_t wanted = declared < static_cast<uint32_t>(capacity) ? declared : static_cast<uint32_t>(capacity);
    const unsigned got = file->Read(chunk, wanted);
    const int whole = static_cast<int>(got) / kProgramBytes * kProgramBytes;
    SanitizeProgramRecords(chunk, whole);
    return whole;
}

int LoadBankFile(const char* path, int32_t uniqueID, unsigned char* chunk, int capacity)
{
    CFile file;
    if (!file.Open(path, CFile::typeBinary))
        return 0;
    const int n = ReadBankFile(&file, uniqueID, chunk, capacity);
    file.Close();
    return n;
}

namespace {

// A save that was killed between creating its temporary and renaming it
// leaves ".<name>.XXXXXX" behind. Such a file is never read, but it would pile
// up; one that has not been touched for a while belongs to no save still
// running (a save takes milliseconds) and is removed.
void RemoveStaleTemporaries(const std::string& folder, const std::string& name)
{
    const std::string prefix = "." + name + ".";
    DIR* dir = opendir(folder.empty() ? "." : folder.c_str());
    if (!dir)
        return;
    const time_t now = time(nullptr);
    while (const dirent* entry = readdir(dir)) {
        const char* leaf = entry->d_name;
        if (strncmp(leaf, prefix.c_str(), prefix.size()) != 0 || strlen(leaf) != prefix.size() + 6)
            continue;
        const std::string path = folder + leaf;
        struct stat st;
        if (lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
            now - st.st_mtime > kStaleTemporarySeconds)
            unlink(path.c_str());
    }
    closedir(dir);
}

}  // namespace

bool SaveBankFile(const char* path, int32_t uniqueID, const void* chunk, unsigned chunkSize)
{
    char posix[kMaxFilePath];
    if (!chunk || !FileNameToPosixPath(path, posix, sizeof posix))
        return false;
    const std::string target = posix;
    if (target.back() == '/' || !MakeParentFolders(target))
        return false;

    // A hidden temporary name in the same folder (so the rename stays on one
    // file system, and a left-over file is never taken for the bank).
    const size_t slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
    std::string temp = folder + "." + name + ".XXXXXX";
    if (temp.size() >= kMaxFilePath)
        return false;
    const int fd = mkstemp(&temp[0]);
    if (fd < 0)
        return false;
    close(fd);

    CFile file;
    if (!file.Open(temp.c_str(), CFile::modeCreate | CFile::modeWrite)) {
        unlink(temp.c_str());
        return false;
    }
    WriteBankFile(&file, uniqueID, chunk, chunkSize);
    file.Close();

    // The stream reports no write errors: check that every byte arrived,
    // then make it durable before it replaces the old file.
    struct stat st;
    bool ok = stat(temp.c_str(), &st) == 0 &&
              static_cast<uint64_t>(st.st_size) == static_cast<uint64_t>(kBankFileHeaderBytes) + chunkSize;
    if (ok) {
        const int sync = open(temp.c_str(), O_RDONLY);
        ok = sync >= 0 && fsync(sync) == 0;
        if (sync >= 0)
            close(sync);
    }
    if (ok)
        ok = rename(temp.c_str(), target.c_str()) == 0;
    if (!ok) {
        unlink(temp.c_str());
        return false;
    }
    const int dir = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (dir >= 0) {
        fsync(dir);  // the rename itself; best effort
        close(dir);
    }
    RemoveStaleTemporaries(folder, name);
    return true;
}

// ---------------------------------------------------------------------------
// The effect's steps

CString FindDefaultBankFile(const char* prefsFolder, const char* hostDirectory, char* resourceFolder,
                            size_t resourceFolderSize)
{
    CString prefsFile(prefsFolder ? prefsFolder : "");
    prefsFile += kDefaultBankFileName;
    {
        // Searched the way the file layer searches: as a file URL. The
        // search is by prefix, so only an exact name counts as the bank.
        char posix[kMaxFilePath];
        CFileFind find;
        if (FileNameToPosixPath(prefsFile, posix, sizeof posix) && posix[0] == '/' &&
            find.FindFile(PosixPathToFileURL(posix))) {
            do {
                if (find.GetFileName() == kDefaultBankFileName && !find.IsDirectory())
                    return prefsFile;
            } while (find.FindNextFile());
        }
    }

    std::string folder = FolderFromHostDirectory(hostDirectory);
    char module[kMaxFilePath];
    if (GetModuleFolder(module, sizeof module) &&
        (folder.empty() || (!IsRegularFile(folder + kDefaultBankFileName) &&
                            IsRegularFile(std::string(module) + kDefaultBankFileName))))
        folder = module;
    if (resourceFolder && resourceFolderSize > 0) {
        if (folder.size() < resourceFolderSize)
            std::memcpy(resourceFolder, folder.c_str(), folder.size() + 1);
        else
            resourceFolder[0] = '\0';
        return CString(resourceFolder) + kDefaultBankFileName;
    }
    return CString(folder.c_str()) + kDefaultBankFileName;
}

bool SetFactoryProgram(const char* resourceFolder, int32_t uniqueID, AGraEQProgram* factoryBank)
{
    if (!factoryBank)
        return false;
    CString path(resourceFolder ? resourceFolder : "");
    path += kDefaultBankFileName;
    unsigned char chunk[kBankBytes];
    const int n = LoadBankFile(path, uniqueID, chunk, sizeof chunk);
    if (n <= 0)
        return false;
    std::memcpy(static_cast<void*>(factoryBank), chunk, static_cast<size_t>(n));
    return true;
}

bool StoreProgramForSave(AGraEQProgram* current, AGraEQProgram* initial, int currentProgram,
                         int destination, const char* name)
{
    if (!current || !initial || currentProgram < 0 || currentProgram >= kNumPrograms || destination < 0 ||
        destination >= kNumPrograms)
        return false;
    if (destination != currentProgram)
        current[destination] = current[currentProgram];
    char bounded[kProgramNameSize];
    std::strncpy(bounded, name ? name : "", sizeof bounded - 1);
    bounded[sizeof bounded - 1] = '\0';
    TruncateSJIS(bounded, kProgramNameSize - 1);
    std::memset(current[destination].szName, 0, kProgramNameSize);
    std::memcpy(current[destination].szName, bounded, std::strlen(bounded));
    initial[destination] = current[destination];
    current[currentProgram] = initial[currentProgram];
    return true;
}

bool SaveDefaultBankFile(const char* prefsFolder, AGraEQProgram* currentBank, int currentProgram,
                         int32_t uniqueID, CString* path)
{
    CString file(prefsFolder ? prefsFolder : "");
    file += kDefaultBankFileName;
    if (path)
        *path = file;
    if (!currentBank)
        return false;
    currentBank[0].nCurrentProgram = currentProgram;
    return SaveBankFile(file, uniqueID, currentBank, kBankBytes);
}

CString DefaultBankSaveFailedMessage(const char* path)
{
    CString message;
    message.Format(20135u, path ? path : "");
    return message;
}
