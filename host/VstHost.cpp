#include "VstHost.h"

#include <dlfcn.h>
#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>

namespace ghost {
namespace {

// Which VstPlugin owns which effect record. Plug-ins call the host from their
// constructor, before the host knows the record, so the plug-in being created
// on this thread is remembered separately.
std::mutex g_registryLock;
std::map<const AEffect*, VstPlugin*> g_registry;
thread_local VstPlugin* t_loading = nullptr;

VstPlugin* Lookup(AEffect* effect)
{
    if (effect) {
        std::lock_guard<std::mutex> lock(g_registryLock);
        auto it = g_registry.find(effect);
        if (it != g_registry.end())
            return it->second;
    }
    return t_loading;
}

// Copies s into a host-provided buffer of `size` bytes, terminated.
void CopyOut(void* ptr, const char* s, size_t size)
{
    if (!ptr || size == 0)
        return;
    char* out = static_cast<char*>(ptr);
    std::strncpy(out, s, size - 1);
    out[size - 1] = '\0';
}

std::string DirectoryOf(const std::string& path)
{
    char resolved[PATH_MAX];
    std::string full = realpath(path.c_str(), resolved) ? std::string(resolved) : path;
    const size_t slash = full.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return full.substr(0, slash);
}

// Host capabilities, as answered to audioMasterCanDo: 1 yes, -1 no, 0 unknown.
int HostCanDo(const char* what)
{
    if (!what)
        return 0;
    static const char* const yes[] = {"startStopProcess", "supplyIdle"};
    // No transport, MIDI, window resizing, file selectors or shell plug-ins.
    static const char* const no[] = {"sendVstTimeInfo", "sendVstEvents", "sendVstMidiEvent", "receiveVstEvents",
                                     "receiveVstMidiEvent", "reportConnectionChanges",
                                     "acceptIOChanges", "sizeWindow", "offline",
                                     "openFileSelector", "closeFileSelector", "shellCategory",
                                     "sendVstMidiEventFlagIsRealtime", "editFile"};
    for (const char* y : yes)
        if (std::strcmp(what, y) == 0)
            return 1;
    for (const char* n : no)
        if (std::strcmp(what, n) == 0)
            return -1;
    return 0;
}

}  // namespace

std::string FourCCToString(int32_t id)
{
    std::string s;
    const uint32_t u = static_cast<uint32_t>(id);
    for (int shift = 24; shift >= 0; shift -= 8) {
        const unsigned char c = static_cast<unsigned char>((u >> shift) & 0xFF);
        s += (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '.';
    }
    return s;
}

void CheckLoadableFile(const std::string& path)
{
    struct stat st;
    if (stat(path.c_str(), &st) != 0)
        throw HostError(path + ": " + std::strerror(errno));
    if (S_ISDIR(st.st_mode))
        throw HostError(path + ": is a directory, not a plug-in (.so) file");
    if (!S_ISREG(st.st_mode))
        throw HostError(path + ": not a regular file");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw HostError(path + ": cannot be read: " + std::strerror(errno));
    unsigned char h[64] = {};
    in.read(reinterpret_cast<char*>(h), sizeof h);
    const std::streamsize got = in.gcount();
    if (got < 4 || std::memcmp(h, ELFMAG, SELFMAG) != 0)
        throw HostError(path + ": not an ELF shared object (a VST 2.4 plug-in for Linux is a .so "
                               "file); this looks like a foreign or damaged file");
    if (got < static_cast<std::streamsize>(sizeof(Elf64_Ehdr)))
        throw HostError(path + ": truncated ELF header");
    if (h[EI_CLASS] != ELFCLASS64)
        throw HostError(path + ": a 32-bit ELF object; this host loads 64-bit x86-64 plug-ins only");
    if (h[EI_DATA] != ELFDATA2LSB)
        throw HostError(path + ": a big-endian ELF object; this host loads x86-64 plug-ins only");
    Elf64_Ehdr eh;
    std::memcpy(&eh, h, sizeof eh);
    if (eh.e_machine != EM_X86_64)
        throw HostError(path + ": built for another processor (ELF machine " +
                        std::to_string(eh.e_machine) + "); this host loads x86-64 plug-ins only");
    if (eh.e_type != ET_DYN)
        throw HostError(path + ": an ELF file but not a shared object (type " +
                        std::to_string(eh.e_type) + ")");
}

VstPlugin::VstPlugin(const std::string& path, double sampleRate, int blockSize)
    : m_path(path), m_directory(DirectoryOf(path)), m_sampleRate(sampleRate), m_blockSize(blockSize)
{
    if (!(sampleRate >= 1000.0 && sampleRate <= 1536000.0))
        throw HostError("sample rate " + std::to_string(sampleRate) + " Hz is out of range");
    if (blockSize < 1 || blockSize > kMaxBlock)
        throw HostError("block size " + std::to_string(blockSize) + " is out of range (1.." +
                        std::to_string(kMaxBlock) + ")");
    CheckLoadableFile(path);

    // A path without a slash would make dlopen search the library path.
    const std::string openPath = path.find('/') == std::string::npos ? "./" + path : path;
    dlerror();
    m_library = dlopen(openPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_library) {
        const char* err = dlerror();
        throw HostError(path + ": cannot be loaded: " + (err ? err : "unknown dlopen error"));
    }

    void* sym = dlsym(m_library, "VSTPluginMain");
    if (!sym) {
        sym = dlsym(m_library, "main");
        m_usedMain = sym != nullptr;
    }
    if (!sym) {
        dlclose(m_library);
        throw HostError(path + ": a shared library, but not a VST 2.4 plug-in (it exports neither "
                               "VSTPluginMain nor main)");
    }
    VstPluginMainProc entry = reinterpret_cast<VstPluginMainProc>(sym);

    // From here on the library's code has run: it stays loaded (see Close).
    AEffect* effect = nullptr;
    {
        struct Loading {
            explicit Loading(VstPlugin* p) { t_loading = p; }
            ~Loading() { t_loading = nullptr; }
        } loading(this);
        effect = entry(&VstPlugin::HostCallback);
    }
    if (!effect)
        throw HostError(path + ": the plug-in refused to start (its entry point returned null)");
    if (effect->magic != kEffectMagic) {
        const int32_t magic = effect->magic;
        char buf[32];
        std::snprintf(buf, sizeof buf, "0x%08x", static_cast<unsigned>(magic));
        throw HostError(path + ": bad magic " + buf + " ('" + FourCCToString(magic) +
                        "') in the effect record, expected 'VstP'");
    }
    if (!effect->dispatcher)
        throw HostError(path + ": the effect record has no dispatcher");
    auto badCount = [&](const char* what, int v, int max) {
        if (v < 0 || v > max)
            throw HostError(path + ": implausible " + what + " (" + std::to_string(v) + ")");
    };
    badCount("number of inputs", effect->numInputs, kMaxChannels);
    badCount("number of outputs", effect->numOutputs, kMaxChannels);
    badCount("number of parameters", effect->numParams, kMaxParams);
    badCount("number of programs", effect->numPrograms, kMaxPrograms);

    m_effect = effect;
    {
        std::lock_guard<std::mutex> lock(g_registryLock);
        g_registry[effect] = this;
    }
    m_numInputs = effect->numInputs;
    m_numOutputs = effect->numOutputs;
    m_numParams = effect->numParams;
    m_numPrograms = effect->numPrograms;

    Dispatch(effOpen);
    m_opened = true;
    Dispatch(effSetSampleRate, 0, 0, nullptr, static_cast<float>(m_sampleRate));
    Dispatch(effSetBlockSize, 0, m_blockSize);
    Dispatch(effSetProcessPrecision, 0, 0);  // single precision

    // effOpen may change the I/O configuration (some plug-ins settle it there).
    const int ins = m_effect->numInputs, outs = m_effect->numOutputs;
    if (ins < 0 || ins > kMaxChannels || outs < 0 || outs > kMaxChannels) {
        Close();
        throw HostError(path + ": implausible channel counts after effOpen");
    }
    m_numInputs = ins;
    m_numOutputs = outs;
    m_scratch.assign(static_cast<size_t>(m_blockSize) * 2, 0.0f);
}

VstPlugin::~VstPlugin()
{
    Close();
}

void VstPlugin::Close()
{
    if (m_effect) {
        if (m_running)
            Suspend();
        if (m_opened)
            m_effect->dispatcher(m_effect, effClose, 0, 0, nullptr, 0.0f);  // deletes the instance
        std::lock_guard<std::mutex> lock(g_registryLock);
        g_registry.erase(m_effect);
        m_effect = nullptr;
    }
    // The library stays loaded until the process ends, as in most hosts:
    // once its code has run it may have left threads, thread-local
    // destructors or exit handlers behind, and unloading it under them is a
    // classic crash at exit.
    m_library = nullptr;
}

int32_t VstPlugin::InitialDelay() const
{
    return std::max<int32_t>(0, m_effect->initialDelay);
}

intptr_t VstPlugin::Dispatch(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt)
{
    return m_effect->dispatcher(m_effect, opcode, index, value, ptr, opt);
}

std::string VstPlugin::DispatchString(int32_t opcode, int32_t index, intptr_t value, size_t limit)
{
    // Far more than any VST string limit: plug-ins that ignore the limits
    // (and this project's own long parameter names) must not overrun it.
    std::vector<char> buf(4096, '\0');
    Dispatch(opcode, index, value, buf.data());
    buf.back() = '\0';
    std::string s(buf.data(), std::min(std::strlen(buf.data()), limit));
    for (char& c : s)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = '?';
    return s;
}

std::string VstPlugin::EffectName() { return DispatchString(effGetEffectName); }
std::string VstPlugin::VendorString() { return DispatchString(effGetVendorString); }
std::string VstPlugin::ProductString() { return DispatchString(effGetProductString); }
int32_t VstPlugin::VendorVersion() { return static_cast<int32_t>(Dispatch(effGetVendorVersion)); }
int32_t VstPlugin::VstVersion() { return static_cast<int32_t>(Dispatch(effGetVstVersion)); }
int32_t VstPlugin::Category() { return static_cast<int32_t>(Dispatch(effGetPlugCategory)); }

std::string VstPlugin::ParamName(int index) { return DispatchString(effGetParamName, index); }
std::string VstPlugin::ParamLabel(int index) { return DispatchString(effGetParamLabel, index); }
std::string VstPlugin::ParamDisplay(int index) { return DispatchString(effGetParamDisplay, index); }

float VstPlugin::GetParam(int index)
{
    if (!m_effect->getParameter || index < 0 || index >= m_numParams)
        return 0.0f;
    return m_effect->getParameter(m_effect, index);
}

void VstPlugin::SetParam(int index, float normalised)
{
    if (!m_effect->setParameter || index < 0 || index >= m_numParams)
        return;
    m_effect->setParameter(m_effect, index, normalised);
}

std::vector<std::string> VstPlugin::ProgramNames()
{
    std::vector<std::string> names;
    if (m_numPrograms <= 0)
        return names;
    bool indexed = true;
    for (int i = 0; i < m_numPrograms && indexed; ++i) {
        std::vector<char> buf(4096, '\0');
        if (Dispatch(effGetProgramNameIndexed, i, -1, buf.data()) == 0) {
            indexed = false;
            break;
        }
        buf.back() = '\0';
        std::string s(buf.data(), std::min<size_t>(std::strlen(buf.data()), 256));
        for (char& c : s)
            if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
                c = '?';
        names.push_back(s);
    }
    if (indexed)
        return names;
    // The old way: switch to each program and ask for its name.
    names.clear();
    const int current = CurrentProgram();
    for (int i = 0; i < m_numPrograms; ++i) {
        SetProgram(i);
        names.push_back(DispatchString(effGetProgramName));
    }
    SetProgram(current >= 0 && current < m_numPrograms ? current : 0);
    return names;
}

int VstPlugin::CurrentProgram()
{
    return static_cast<int>(Dispatch(effGetProgram));
}

void VstPlugin::SetProgram(int program)
{
    if (program < 0 || program >= m_numPrograms)
        throw HostError("program " + std::to_string(program) + " does not exist (the plug-in has " +
                        std::to_string(m_numPrograms) + " programs)");
    Dispatch(effBeginSetProgram);
    Dispatch(effSetProgram, 0, program);
    Dispatch(effEndSetProgram);
}

void VstPlugin::Resume()
{
    if (m_running)
        return;
    Dispatch(effMainsChanged, 0, 1);
    Dispatch(effStartProcess);
    m_running = true;
}

void VstPlugin::Suspend()
{
    if (!m_running)
        return;
    Dispatch(effStopProcess);
    Dispatch(effMainsChanged, 0, 0);
    m_running = false;
}

void VstPlugin::Process(float** inputs, float** outputs, int frames)
{
    if (frames <= 0)
        return;
    if (frames > m_blockSize)
        throw HostError("internal: block of " + std::to_string(frames) + " frames exceeds " +
                        std::to_string(m_blockSize));
    // Plug-ins with no inputs or outputs still get a valid pointer array.
    float* dummy[1] = {m_scratch.data()};
    float** in = m_numInputs > 0 ? inputs : dummy;
    float** out = m_numOutputs > 0 ? outputs : dummy + 0;
    m_inProcess = true;
    if (m_effect->processReplacing && (m_effect->flags & effFlagsCanReplacing)) {
        m_effect->processReplacing(m_effect, in, out, frames);
    } else if (m_effect->process) {
        for (int c = 0; c < m_numOutputs; ++c)
            std::fill(outputs[c], outputs[c] + frames, 0.0f);
        m_effect->process(m_effect, in, out, frames);
    } else if (m_effect->processReplacing) {
        m_effect->processReplacing(m_effect, in, out, frames);
    } else {
        m_inProcess = false;
        throw HostError(m_path + ": the plug-in offers no process function");
    }
    m_inProcess = false;
}

std::vector<AutomationEvent> VstPlugin::Automation() const
{
    std::lock_guard<std::mutex> lock(m_eventsLock);
    return m_automation;
}

int VstPlugin::UpdateDisplayCount() const
{
    std::lock_guard<std::mutex> lock(m_eventsLock);
    return m_updateDisplay;
}

// The host's identity and abilities: the same answers whether or not the
// asking effect is known yet. False for any other question.
static bool AnswerIdentity(int32_t opcode, void* ptr, intptr_t* answer)
{
    switch (opcode) {
    case audioMasterGetVendorString:
        CopyOut(ptr, VstPlugin::kHostVendor, kVstMaxVendorStrLen);
        *answer = 1;
        return true;
    case audioMasterGetProductString:
        CopyOut(ptr, VstPlugin::kHostProduct, kVstMaxProductStrLen);
        *answer = 1;
        return true;
    case audioMasterGetVendorVersion:
        *answer = VstPlugin::kHostVendorVersion;
        return true;
    case audioMasterCanDo:
        *answer = HostCanDo(static_cast<const char*>(ptr));
        return true;
    default:
        return false;
    }
}

intptr_t VstPlugin::HostCallback(AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                                 void* ptr, float opt)
{
    // Asked before any instance exists (from VSTPluginMain): the version.
    if (opcode == audioMasterVersion)
        return 2400;
    VstPlugin* self = Lookup(effect);
    if (!self) {
        intptr_t answer = 0;
        AnswerIdentity(opcode, ptr, &answer);
        return answer;
    }
    return self->Answer(opcode, index, value, ptr, opt);
}

intptr_t VstPlugin::Answer(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt)
{
    (void)value;
    switch (opcode) {
    case audioMasterAutomate: {
        std::lock_guard<std::mutex> lock(m_eventsLock);
        if (m_automation.size() < 1000000)
            m_automation.push_back({index, opt});
        return 1;
    }
    case audioMasterCurrentId:
        return 0;  // no shell plug-ins
    case audioMasterIdle:
        return 1;
    case audioMasterGetTime:
        return 0;  // no transport
    case audioMasterIOChanged:
        return 0;
    case audioMasterNeedIdle:
        return 1;
    case audioMasterSizeWindow:
        return 0;
    case audioMasterGetSampleRate:
        return static_cast<intptr_t>(m_sampleRate);
    case audioMasterGetBlockSize:
        return m_blockSize;
    case audioMasterGetInputLatency:
    case audioMasterGetOutputLatency:
        return 0;
    case audioMasterWillReplaceOrAccumulate:
        return 1;  // replacing
    case audioMasterGetCurrentProcessLevel:
        return m_inProcess ? 2 : 1;  // real-time thread while processing, else user thread
    case audioMasterGetAutomationState:
        return 1;  // off
    case audioMasterGetVendorString:
    case audioMasterGetProductString:
    case audioMasterGetVendorVersion:
    case audioMasterCanDo: {
        intptr_t answer = 0;
        AnswerIdentity(opcode, ptr, &answer);
        return answer;
    }
    case audioMasterGetLanguage:
        return 1;  // English
    case audioMasterGetDirectory:
        return reinterpret_cast<intptr_t>(m_directory.c_str());
    case audioMasterUpdateDisplay: {
        std::lock_guard<std::mutex> lock(m_eventsLock);
        ++m_updateDisplay;
        return 1;
    }
    case audioMasterBeginEdit:
    case audioMasterEndEdit:
        return 1;
    default:
        return 0;
    }
}

}  // namespace ghost
