#pragma once
// The default bank file "GraEQDef.fxb": a VST bank file with an opaque chunk
// (the raw 32-record bank), its big-endian header, the preferences folder it
// lives in and the folder of the factory copy beside the plug-in.
//
// These are free functions on raw banks so the effect object's open,
// SetFactoryProgram and SaveProgram stay thin:
//
//   AGraEQ::AGraEQ:   GetMy_SHFOLDER_PathName();
//   AGraEQ::open:     setProgram(0); initial = current;
//                     CString file = FindDefaultBankFile(szGlobalMyApplicationDataPathName,
//                                        hostDirectory, m_szResourcePath, sizeof m_szResourcePath);
//                     unsigned char chunk[kBankBytes];
//                     int n = LoadBankFile(file, getUniqueID(), chunk, sizeof chunk);
//                     if (n > 0) setChunk(chunk, n, false);
//                     initial = current; SetFactoryProgram();
//   SetFactoryProgram: SetFactoryProgram(m_szResourcePath, getUniqueID(), m_factory);
//   SaveProgram:      StoreProgramForSave(...); setProgram(dest);
//                     if (!SaveDefaultBankFile(...)) AfxMessageBox(DefaultBankSaveFailedMessage(path));
#include <cstddef>
#include <cstdint>

#include "AGraEQProgram.h"
#include "CFile.h"
#include "CString.h"

// "Tvlq", the plug-in's unique ID as the VST header carries it.
constexpr int32_t kGraEQUniqueID = static_cast<int32_t>(
    (uint32_t('T') << 24) | (uint32_t('v') << 16) | (uint32_t('l') << 8) | uint32_t('q'));

constexpr const char* kDefaultBankFileName = "GraEQDef.fxb";
constexpr int kBankFileHeaderBytes = 160;                            // up to the chunk
constexpr int kBankFileBytes = kBankFileHeaderBytes + kBankBytes;    // 5280
constexpr size_t kBankPathSize = 2048;
// A save's temporary file untouched for this long was left by a killed save.
constexpr long kStaleTemporarySeconds = 600;

// The user's preferences folder with a trailing "/", filled by
// GetMy_SHFOLDER_PathName().
extern char szGlobalMyApplicationDataPathName[kBankPathSize];

// Preferences folder: "$XDG_CONFIG_HOME/GraphicEQ/" when that variable holds
// an absolute path, else "$HOME/.config/GraphicEQ/" (the password database's
// home when HOME is unset). The folder is not created. False, with path left
// as it was, when no folder can be determined or it does not fit.
bool GetMy_SHFOLDER_PathName(char* path, size_t size);
void GetMy_SHFOLDER_PathName();  // into szGlobalMyApplicationDataPathName

// The folder holding the loaded library (or program) that contains this
// code, with a trailing "/". False when it cannot be determined.
bool GetModuleFolder(char* folder, size_t size);

// Big-endian header numbers, a byte at a time, most significant first. On a
// short read the missing bytes count as zero.
void putDWordFile(CFile* file, unsigned int value);
unsigned int getDWordFile(CFile* file);
unsigned short getWordFile(CFile* file);

// Writes the whole bank file (header and chunk) into an open file: "CcnK",
// byte size 0, "FBCh", version 1, uniqueID, plug-in version 1, 32 programs,
// 128 zero bytes, chunk size, chunk.
void WriteBankFile(CFile* file, int32_t uniqueID, const void* chunk, unsigned chunkSize);

// Reads a bank file from an open file into chunk (capacity bytes). Returns
// the number of bytes delivered, always whole 160-byte records, or 0 when the
// file is ignored: wrong magic, another plug-in's ID, or no whole record.
// The chunk size in the header is bounded by capacity and by the bytes
// actually present; names come back terminated within their 24 bytes,
// values inside 0..1 (NaN as 0) and record 0's program index inside 0..31.
int ReadBankFile(CFile* file, int32_t uniqueID, unsigned char* chunk, int capacity);
// The same by path (POSIX path or "file://" URL string).
int LoadBankFile(const char* path, int32_t uniqueID, unsigned char* chunk, int capacity);

// Makes whole records of a raw chunk safe to use: names terminated, values
// finite and inside 0..1, record 0's program index inside 0..31.
void SanitizeProgramRecords(unsigned char* chunk, int bytes);

// Writes the bank file so that an existing file is never lost: the folder
// (and its parents) is created when missing, the bank goes to a hidden
// temporary file in the same folder, is checked and synced, and is then
// renamed over path. False, with any old file untouched, on failure.
bool SaveBankFile(const char* path, int32_t uniqueID, const void* chunk, unsigned chunkSize);

// Which default bank to read at open. The preferences copy
// (prefsFolder + "GraEQDef.fxb", searched as a file URL) wins; when it is
// missing, resourceFolder receives the folder beside the plug-in -- the
// folder the host reports (a path to a file is cut after its last "/"), or
// the library's own folder when the host reports none or its folder holds
// no bank -- and the result names the copy there. resourceFolder is left
// unchanged when the preferences copy exists.
CString FindDefaultBankFile(const char* prefsFolder, const char* hostDirectory, char* resourceFolder,
                            size_t resourceFolderSize);

// Loads resourceFolder + "GraEQDef.fxb" into the factory bank (by the
// chunk's own size, bounded to the bank). An empty resource folder names the
// file relative to the working directory, which normally does not exist.
// False, bank unchanged, when nothing was loaded.
bool SetFactoryProgram(const char* resourceFolder, int32_t uniqueID, AGraEQProgram* factoryBank);

// SaveProgram's record steps: current[currentProgram] is copied to
// current[destination] and named (cut to 23 bytes without splitting a
// Shift-JIS character), that record is copied into initial[destination],
// and current[currentProgram] reverts to initial[currentProgram] (it loses
// its unsaved edits when it is not the destination). False, nothing changed,
// when an index is outside 0..31.
bool StoreProgramForSave(AGraEQProgram* current, AGraEQProgram* initial, int currentProgram,
                         int destination, const char* name);

// SaveProgram's file steps: record 0 takes the current program index, then
// the bank is saved as prefsFolder + "GraEQDef.fxb" through SaveBankFile.
// path (when given) receives the file's path either way.
bool SaveDefaultBankFile(const char* prefsFolder, AGraEQProgram* currentBank, int currentProgram,
                         int32_t uniqueID, CString* path);

// The message shown when the default bank cannot be written: string
// resource 20135 with the file's path.
CString DefaultBankSaveFailedMessage(const char* path);
