#pragma once
// VST bank files (.fxb) as any host reads them, and handing one to a loaded
// plug-in. Two kinds exist, both behind the same big-endian header:
//
//   "CcnK" size "FBCh" version id fxVersion numPrograms future[128] chunkSize chunk
//       an opaque chunk, given to the plug-in as it stands (effSetChunk,
//       isPreset 0); only the plug-in knows its layout.
//   "CcnK" size "FxBk" version id fxVersion numPrograms future[128] program...
//       one "CcnK" size "FxCk" version id fxVersion numParams name[28]
//       params[numParams] record per program; loaded through effSetProgram,
//       effSetProgramName and setParameter. Version 2 headers carry the
//       current program in the first four bytes of `future`.
//
// Nothing in a header is trusted: sizes and counts are checked against the
// bytes actually present before anything is read or allocated from them.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ghost {

class VstPlugin;

struct FxBankProgram {
    std::string name;           // up to 28 bytes, cut at the first terminator
    std::vector<float> params;  // normalised values as stored
};

struct FxBank {
    bool opaque = false;        // "FBCh": chunk holds the plug-in's own data
    int32_t version = 0;        // header format version
    int32_t uniqueID = 0;       // the plug-in the bank belongs to
    int32_t fxVersion = 0;      // the plug-in's version when it was written
    int32_t numPrograms = 0;    // as the header declares (opaque banks: informative only)
    int32_t currentProgram = -1;  // from a version 2 header, else -1
    std::vector<unsigned char> chunk;     // opaque banks
    std::vector<FxBankProgram> programs;  // regular banks
    size_t trailingBytes = 0;   // bytes after the bank's end (ignored)
};

// Largest bank file the host reads; a bank of any real plug-in is far smaller.
constexpr size_t kMaxBankFileBytes = 64u << 20;

// Parses a bank held in memory. `what` names it in messages (usually the
// path). Throws HostError with a reason the user can act on.
FxBank ParseFxBank(const unsigned char* data, size_t size, const std::string& what);

// Reads and parses a bank file (at most kMaxBankFileBytes). Throws HostError.
FxBank ReadFxBank(const std::string& path);

// Hands a bank to an opened (not yet resumed) plug-in: opaque banks through
// effBeginLoadBank and effSetChunk, regular banks program by program. Throws
// HostError when the bank belongs to another plug-in (unique ID), is opaque
// and the plug-in keeps no program chunks, or is refused by the plug-in. The
// bank must outlive the call only; notes on count mismatches go to stderr.
void LoadFxBank(VstPlugin& plugin, const FxBank& bank, const std::string& what);

// One line describing a bank for the user: kind, programs, bytes.
std::string DescribeFxBank(const FxBank& bank);

}  // namespace ghost
