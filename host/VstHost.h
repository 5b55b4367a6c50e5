#pragma once
// Loads a VST 2.4 plug-in from a Linux shared object and drives it the way a
// DAW does: dlopen, VSTPluginMain (or the historical `main`), a host callback
// that answers the usual queries, effOpen, sample rate and block size, resume,
// start of processing, processReplacing, and the reverse on the way out.
//
// Everything the plug-in returns is treated as untrusted: strings are read
// from generous zeroed buffers and always terminated, counts are bounds-checked
// before anything is allocated from them.
#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "../plugin/VstDefs.h"

namespace ghost {

// Every failure the tool reports to the user. The message is meant to be
// printed as it stands.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Answers about the file before it is loaded: does it look like a shared
// object this process can load? Throws HostError with a readable reason.
void CheckLoadableFile(const std::string& path);

// Four-character code as text ("Tvlq"); unprintable bytes become '.'.
std::string FourCCToString(int32_t id);

// One automation message the plug-in sent (audioMasterAutomate).
struct AutomationEvent {
    int32_t index;
    float value;
};

class VstPlugin {
public:
    // Loads and opens the plug-in (effOpen, sample rate, block size); does not
    // resume it yet. Throws HostError.
    VstPlugin(const std::string& path, double sampleRate, int blockSize);
    ~VstPlugin();
    VstPlugin(const VstPlugin&) = delete;
    VstPlugin& operator=(const VstPlugin&) = delete;

    const std::string& Path() const { return m_path; }
    const std::string& Directory() const { return m_directory; }
    AEffect* Effect() const { return m_effect; }
    bool UsedMainFallback() const { return m_usedMain; }

    double SampleRate() const { return m_sampleRate; }
    int BlockSize() const { return m_blockSize; }
    int NumInputs() const { return m_numInputs; }
    int NumOutputs() const { return m_numOutputs; }
    int NumParams() const { return m_numParams; }
    int NumPrograms() const { return m_numPrograms; }
    int32_t Flags() const { return m_effect->flags; }
    int32_t InitialDelay() const;

    // Raw dispatcher call.
    intptr_t Dispatch(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr,
                      float opt = 0.0f);
    // A dispatcher call whose answer is a string written into ptr. The
    // plug-in gets a large zeroed buffer; the result is cut at the first
    // terminator and at `limit` bytes, and control characters become '?'.
    std::string DispatchString(int32_t opcode, int32_t index = 0, intptr_t value = 0,
                               size_t limit = 256);

    std::string EffectName();
    std::string VendorString();
    std::string ProductString();
    int32_t VendorVersion();
    int32_t VstVersion();
    int32_t Category();

    std::string ParamName(int index);
    std::string ParamLabel(int index);
    std::string ParamDisplay(int index);
    float GetParam(int index);
    void SetParam(int index, float normalised);

    // Program names without changing the current program when the plug-in
    // supports effGetProgramNameIndexed; otherwise by switching and back.
    std::vector<std::string> ProgramNames();
    int CurrentProgram();
    void SetProgram(int program);

    // effMainsChanged 1 and effStartProcess; Suspend undoes both.
    void Resume();
    void Suspend();
    bool Running() const { return m_running; }

    // Processes `frames` frames (at most the block size) of the declared
    // inputs into the declared outputs, with processReplacing when the
    // plug-in offers it, else the accumulating process into zeroed outputs.
    void Process(float** inputs, float** outputs, int frames);

    // What the plug-in told the host so far.
    std::vector<AutomationEvent> Automation() const;
    int UpdateDisplayCount() const;

    // The host callback, public so tests can ask it directly.
    static intptr_t HostCallback(AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                                 void* ptr, float opt);

    static constexpr const char* kHostVendor = "GraphicEQ project";
    static constexpr const char* kHostProduct = "graphiceq-host";
    static constexpr int32_t kHostVendorVersion = 1000;

private:
    intptr_t Answer(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
    void Close();

    std::string m_path;
    std::string m_directory;
    void* m_library = nullptr;
    AEffect* m_effect = nullptr;
    bool m_usedMain = false;
    bool m_opened = false;
    bool m_running = false;
    bool m_inProcess = false;
    double m_sampleRate;
    int m_blockSize;
    int m_numInputs = 0;
    int m_numOutputs = 0;
    int m_numParams = 0;
    int m_numPrograms = 0;
    std::vector<float> m_scratch;          // stand-in channel for odd callers
    std::vector<float*> m_inPtrs, m_outPtrs;

    mutable std::mutex m_eventsLock;       // the plug-in may call from any thread
    std::vector<AutomationEvent> m_automation;
    int m_updateDisplay = 0;
};

// Largest channel, parameter and program counts the host accepts from a
// plug-in before calling it implausible.
constexpr int kMaxChannels = 1024;
constexpr int kMaxParams = 100000;
constexpr int kMaxPrograms = 100000;
constexpr int kMaxBlock = 1 << 16;

}  // namespace ghost
