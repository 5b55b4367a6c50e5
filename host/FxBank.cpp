#include "FxBank.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "VstHost.h"

namespace ghost {
namespace {

constexpr uint32_t Magic(const char (&s)[5])
{
    return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) | (uint32_t(uint8_t(s[2])) << 8) |
           uint32_t(uint8_t(s[3]));
}

constexpr uint32_t kCcnK = Magic("CcnK");
constexpr uint32_t kFBCh = Magic("FBCh");
constexpr uint32_t kFxBk = Magic("FxBk");
constexpr uint32_t kFxCk = Magic("FxCk");
constexpr uint32_t kFPCh = Magic("FPCh");

constexpr size_t kBankHeaderBytes = 28 + 128;  // through `future`
constexpr size_t kProgramHeaderBytes = 28 + 28;  // through the name
constexpr size_t kProgramNameBytes = 28;

// What effBeginLoadBank receives: which plug-in and version wrote the bank.
struct PatchChunkInfo {
    int32_t version;
    int32_t pluginUniqueID;
    int32_t pluginVersion;
    int32_t numElements;
    char future[48];
};

// Reads big-endian fields from a byte range that is never left: every read
// first checks that its bytes are there.
class Reader {
public:
    Reader(const unsigned char* data, size_t size, const std::string& what)
        : m_data(data), m_size(size), m_what(what)
    {
    }
    size_t Offset() const { return m_pos; }
    size_t Left() const { return m_size - m_pos; }
    void Need(size_t n, const char* field) const
    {
        if (n > Left())
            throw HostError(m_what + ": truncated bank file: " + field + " at byte " + std::to_string(m_pos) +
                            " needs " + std::to_string(n) + " bytes, " + std::to_string(Left()) + " left");
    }
    uint32_t U32(const char* field)
    {
        Need(4, field);
        const unsigned char* p = m_data + m_pos;
        m_pos += 4;
        return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
    }
    int32_t I32(const char* field) { return static_cast<int32_t>(U32(field)); }
    float F32(const char* field)
    {
        const uint32_t u = U32(field);
        float f;
        std::memcpy(&f, &u, sizeof f);
        return f;
    }
    const unsigned char* Bytes(size_t n, const char* field)
    {
        Need(n, field);
        const unsigned char* p = m_data + m_pos;
        m_pos += n;
        return p;
    }

private:
    const unsigned char* m_data;
    size_t m_size;
    size_t m_pos = 0;
    const std::string& m_what;
};

std::string FixedString(const unsigned char* p, size_t n)
{
    size_t len = 0;
    while (len < n && p[len] != 0)
        ++len;
    std::string s(reinterpret_cast<const char*>(p), len);
    for (char& c : s)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = '?';
    return s;
}

std::string IdText(int32_t id)
{
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", static_cast<uint32_t>(id));
    return "'" + FourCCToString(id) + "' (" + hex + ")";
}

// Values outside 0..1 or not numbers are not the plug-in's to see.
float Normalised(float v)
{
    return std::isfinite(v) ? std::min(1.0f, std::max(0.0f, v)) : 0.0f;
}

}  // namespace

FxBank ParseFxBank(const unsigned char* data, size_t size, const std::string& what)
{
    Reader r(data, size, what);
    if (size < 4 || r.U32("magic") != kCcnK)
        throw HostError(what + ": not a VST bank file (it does not start with \"CcnK\")");
    r.U32("byte size");  // often 0 or wrong; the bytes present decide
    const uint32_t kind = r.U32("bank magic");
    if (kind == kFxCk || kind == kFPCh)
        throw HostError(what + ": a VST program file (.fxp), not a bank file (.fxb)");
    if (kind != kFBCh && kind != kFxBk)
        throw HostError(what + ": not a VST bank file (bank magic '" +
                        FourCCToString(static_cast<int32_t>(kind)) + "', expected 'FBCh' or 'FxBk')");
    FxBank b;
    b.opaque = kind == kFBCh;
    b.version = r.I32("format version");
    b.uniqueID = r.I32("unique ID");
    b.fxVersion = r.I32("plug-in version");
    b.numPrograms = r.I32("number of programs");
    const unsigned char* future = r.Bytes(128, "reserved header bytes");
    if (b.version >= 2) {
        const int32_t current = static_cast<int32_t>((uint32_t(future[0]) << 24) | (uint32_t(future[1]) << 16) |
                                                     (uint32_t(future[2]) << 8) | uint32_t(future[3]));
        b.currentProgram = current >= 0 && current < std::max(b.numPrograms, 0) ? current : -1;
    }

    if (b.opaque) {
        const uint32_t chunkSize = r.U32("chunk size");
        if (chunkSize > r.Left())
            throw HostError(what + ": truncated bank file: the header declares a chunk of " +
                            std::to_string(chunkSize) + " bytes, the file holds " + std::to_string(r.Left()));
        const unsigned char* chunk = r.Bytes(chunkSize, "chunk");
        b.chunk.assign(chunk, chunk + chunkSize);
    } else {
        if (b.numPrograms < 0 || b.numPrograms > kMaxPrograms)
            throw HostError(what + ": implausible number of programs (" + std::to_string(b.numPrograms) + ")");
        // Every program needs at least its header: a count the file cannot
        // hold is caught before anything is reserved for it.
        if (static_cast<size_t>(b.numPrograms) > r.Left() / kProgramHeaderBytes)
            throw HostError(what + ": truncated bank file: " + std::to_string(b.numPrograms) +
                            " programs declared, room for at most " +
                            std::to_string(r.Left() / kProgramHeaderBytes));
        b.programs.reserve(static_cast<size_t>(b.numPrograms));
        for (int32_t i = 0; i < b.numPrograms; ++i) {
            const std::string at = "program " + std::to_string(i);
            if (r.U32("program magic") != kCcnK)
                throw HostError(what + ": damaged bank file: " + at + " does not start with \"CcnK\"");
            r.U32("program byte size");
            const uint32_t pkind = r.U32("program magic");
            if (pkind != kFxCk)
                throw HostError(what + ": unsupported bank file: " + at + " is '" +
                                FourCCToString(static_cast<int32_t>(pkind)) + "', expected 'FxCk'");
            r.I32("program version");
            const int32_t id = r.I32("program unique ID");
            if (id != b.uniqueID)
                throw HostError(what + ": damaged bank file: " + at + " belongs to plug-in " + IdText(id) +
                                ", the bank to " + IdText(b.uniqueID));
            r.I32("program plug-in version");
            const int32_t numParams = r.I32("number of parameters");
            FxBankProgram p;
            p.name = FixedString(r.Bytes(kProgramNameBytes, "program name"), kProgramNameBytes);
            if (numParams < 0 || numParams > kMaxParams)
                throw HostError(what + ": implausible number of parameters in " + at + " (" +
                                std::to_string(numParams) + ")");
            if (static_cast<size_t>(numParams) > r.Left() / 4)
                throw HostError(what + ": truncated bank file: " + at + " declares " + std::to_string(numParams) +
                                " parameters, the file holds " + std::to_string(r.Left() / 4));
            p.params.reserve(static_cast<size_t>(numParams));
            for (int32_t k = 0; k < numParams; ++k)
                p.params.push_back(r.F32("parameter"));
            b.programs.push_back(std::move(p));
        }
    }
    b.trailingBytes = r.Left();
    return b;
}

FxBank ReadFxBank(const std::string& path)
{
    struct stat st;
    if (stat(path.c_str(), &st) != 0)
        throw HostError(path + ": " + std::strerror(errno));
    if (!S_ISREG(st.st_mode))
        throw HostError(path + ": not a regular file");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw HostError(path + ": cannot be read: " + std::strerror(errno));
    // The size stat reports is not trusted (the file may change under us):
    // reading stops once the limit is passed.
    std::vector<unsigned char> data;
    std::vector<char> buf(1 << 16);
    while (data.size() <= kMaxBankFileBytes) {
        in.read(buf.data(), static_cast<std::streamsize>(buf.size()));
        const std::streamsize n = in.gcount();
        if (n <= 0)
            break;
        data.insert(data.end(), buf.data(), buf.data() + n);
    }
    if (in.bad())
        throw HostError(path + ": read error");
    if (data.size() > kMaxBankFileBytes)
        throw HostError(path + ": larger than " + std::to_string(kMaxBankFileBytes >> 20) +
                        " MiB; not a bank file this host reads");
    return ParseFxBank(data.data(), data.size(), path);
}

std::string DescribeFxBank(const FxBank& b)
{
    std::string s = b.opaque ? "opaque chunk of " + std::to_string(b.chunk.size()) + " bytes"
                             : std::to_string(b.programs.size()) + " programs of parameters";
    s += ", plug-in " + IdText(b.uniqueID) + " version " + std::to_string(b.fxVersion);
    if (b.opaque)
        s += ", " + std::to_string(b.numPrograms) + " programs declared";
    if (b.currentProgram >= 0)
        s += ", current program " + std::to_string(b.currentProgram);
    if (b.trailingBytes)
        s += ", " + std::to_string(b.trailingBytes) + " trailing bytes ignored";
    return s;
}

void LoadFxBank(VstPlugin& p, const FxBank& b, const std::string& what)
{
    AEffect* e = p.Effect();
    if (b.uniqueID != e->uniqueID) {
        const std::string name = p.EffectName();
        throw HostError(what + ": a bank of plug-in " + IdText(b.uniqueID) + ", not of " +
                        (name.empty() ? p.Path() : name) + " " + IdText(e->uniqueID));
    }
    if (b.opaque) {
        if (!(e->flags & effFlagsProgramChunks))
            throw HostError(what + ": an opaque-chunk bank, but " + p.Path() +
                            " keeps no program chunks (it can only load banks of parameters)");
        PatchChunkInfo info{};
        info.version = 1;
        info.pluginUniqueID = b.uniqueID;
        info.pluginVersion = b.fxVersion;
        info.numElements = b.numPrograms;
        if (p.Dispatch(effBeginLoadBank, 0, 0, &info) == -1)
            throw HostError(what + ": the plug-in refuses this bank (effBeginLoadBank)");
        // The plug-in reads the chunk during the call; it may not keep or
        // change it, so it gets a copy of its own.
        std::vector<unsigned char> copy = b.chunk;
        if (copy.empty())
            copy.push_back(0);  // a valid pointer even for an empty chunk
        p.Dispatch(effSetChunk, 0, static_cast<intptr_t>(b.chunk.size()), copy.data());
        return;
    }

    const int programs = static_cast<int>(std::min<size_t>(b.programs.size(), static_cast<size_t>(p.NumPrograms())));
    if (b.programs.size() != static_cast<size_t>(p.NumPrograms()))
        std::fprintf(stderr, "note: %s holds %zu programs, the plug-in has %d; %d loaded\n", what.c_str(),
                     b.programs.size(), p.NumPrograms(), programs);
    if (programs == 0 && !b.programs.empty()) {
        // A plug-in without programs takes the first program's values.
        for (size_t k = 0; k < b.programs[0].params.size() && k < static_cast<size_t>(p.NumParams()); ++k)
            p.SetParam(static_cast<int>(k), Normalised(b.programs[0].params[k]));
        return;
    }
    bool noted = false;
    for (int i = 0; i < programs; ++i) {
        const FxBankProgram& prog = b.programs[static_cast<size_t>(i)];
        p.SetProgram(i);
        std::vector<char> name(kVstMaxProgNameLen + 1, '\0');
        std::memcpy(name.data(), prog.name.data(), std::min<size_t>(prog.name.size(), kVstMaxProgNameLen - 1));
        p.Dispatch(effSetProgramName, 0, 0, name.data());
        if (prog.params.size() != static_cast<size_t>(p.NumParams()) && !noted) {
            std::fprintf(stderr, "note: %s: programs hold %zu parameters, the plug-in has %d\n", what.c_str(),
                         prog.params.size(), p.NumParams());
            noted = true;
        }
        for (size_t k = 0; k < prog.params.size() && k < static_cast<size_t>(p.NumParams()); ++k) {
            p.SetParam(static_cast<int>(k), Normalised(prog.params[k]));
        }
    }
    if (programs > 0)
        p.SetProgram(b.currentProgram >= 0 && b.currentProgram < programs ? b.currentProgram : 0);
}

}  // namespace ghost
