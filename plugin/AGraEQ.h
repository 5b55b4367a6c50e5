#pragma once
// The equalizer effect: one instance per plug-in instance in the host. Owns
// the engine, the editor object and three banks of programs (current,
// initial, factory), keeps the 33 parameters in their normalised and display
// forms and passes audio blocks to the engine.
//
// Every stored normalised value is finite and inside 0..1 whatever arrives:
// the setters, setChunk and the bank and program file readers bring bad
// values back (ParamMap.h's SanitizeNormalized and SanitizeStoredValue).
//
// Threads: processing runs on the host's audio thread and touches only the
// engine (under the engine's own lock) and the process counter. Parameters,
// programs and chunks are plain, unlocked stores made by the host's
// threads; the audio thread never reads them.
#include <atomic>
#include <cstdint>

#include "AGraEQProgram.h"
#include "BankFile.h"
#include "AudioEffectX.h"
#include "CGraphicEQ.h"

class AEffEditor;

class AGraEQ : public AudioEffectX {
public:
    static constexpr VstInt32 kUniqueID = VstFourCC('T', 'v', 'l', 'q');
    static constexpr VstInt32 kVendorVersion = 1000;
    // The engine never needs work buffers longer than this: it slices longer
    // blocks. Keeps an absurd block size from the host from allocating
    // gigabytes.
    static constexpr VstInt32 kMaxEngineBlock = 16384;

    explicit AGraEQ(audioMasterCallback audioMaster);
    ~AGraEQ() override;

    // Life cycle and audio.
    void open() override;
    void suspend() override;
    void resume() override;
    void setSampleRate(float rate) override;
    void setBlockSize(VstInt32 size) override;
    VstInt32 startProcess() override;
    void processReplacing(float** inputs, float** outputs, VstInt32 sampleFrames) override;
    void processDoubleReplacing(double** inputs, double** outputs,
                                VstInt32 sampleFrames) override;

    // Parameters.
    void setParameter(VstInt32 index, float value) override;
    float getParameter(VstInt32 index) override;
    void getParameterLabel(VstInt32 index, char* label) override;
    void getParameterDisplay(VstInt32 index, char* text) override;
    void getParameterName(VstInt32 index, char* text) override;
    bool getParameterProperties(VstInt32 index, VstParameterProperties* p) override;

    // Programs and chunks.
    void setProgram(VstInt32 program) override;
    void setProgramName(char* name) override;
    void getProgramName(char* name) override;
    bool getProgramNameIndexed(VstInt32 category, VstInt32 index, char* text) override;
    VstInt32 getChunk(void** data, bool isPreset) override;
    VstInt32 setChunk(void* data, VstInt32 byteSize, bool isPreset) override;

    // Identity.
    bool getEffectName(char* name) override;
    bool getVendorString(char* text) override;
    bool getProductString(char* text) override;
    VstInt32 getVendorVersion() override { return kVendorVersion; }
    VstInt32 canDo(char* text) override;
    VstInt32 getPlugCategory() override { return kPlugCategEffect; }

    // Editor-side operations.
    void GetVU(float* inL, float* inR, float* outL, float* outR);
    unsigned char GetClip();
    // Counts processed blocks, wrapping; 0xFFFF before the first one.
    uint16_t GetProcessCounter() const { return m_processCounter.load(std::memory_order_relaxed); }
    float getParameterDisplayVal(VstInt32 index);
    // From an editor control (normalised value): applied, then reported to
    // the host as automation.
    void setParameterFormUI(VstInt32 index, float value);
    // From a numeric entry field (display value): applied, shown on the
    // panel, reported to the host as automation followed by endEdit.
    void setParameterFromDiaplay(VstInt32 index, float value);
    bool IsProgramChanged();
    void ProgramToInitial();
    void ProgramToAllInitial();
    void ProgramToFactory();
    void ProgramToAllFactory();
    void CopyPgFrom(int source);
    // Stores the current program's values under name in slot destination,
    // makes that slot current and saved (initial), and rewrites the default
    // bank file. False when the slot is out of range or the file was not
    // written.
    bool SaveProgram(int destination, const char* name);
    // Imports the old text program list into the current bank. True when a
    // list was read.
    bool Convert();

    // Access for tests and tools.
    enum Bank { kCurrentBank, kInitialBank, kFactoryBank };
    const AGraEQProgram* GetBank(Bank which) const;
    CGraphicEQ* GetEngine() { return m_engine; }
    AEffEditor* GetEditorObject() { return m_editorObject; }
    const char* GetResourcePath() const { return m_resourcePath; }

private:
    // Default bank file: reads the preferences copy (else the copy beside
    // the plug-in) into the current bank. True when a bank was loaded.
    bool LoadDefaultBank();
    // Reads the copy beside the plug-in into the factory bank.
    bool SetFactoryProgram();
    // Writes the current bank as the preferences copy of the default bank.
    bool WriteDefaultBank();

    // Hands the media format and a block size to the engine, then applies
    // the current parameter values again: a new format rebuilds the filter
    // sections and may have pushed bands past Nyquist.
    void ApplyMediaType(VstInt32 maxBlock);
    void ApplyToEngine(VstInt32 index, float normalised);
    // Stores value, display value and program slot, and drives the engine.
    // value must already be sane (finite, inside 0..1).
    void StoreParameter(VstInt32 index, float value);
    void UpdateDisplayValues();
    void PanelUpdateControl(VstInt32 index, float value);
    void PanelUpdateModify();
    void Automate(VstInt32 index, float value);
    AGraEQProgram& CurrentRecord() { return m_programs[curProgram]; }

    // Written only by the audio thread, read by the editor's idle handler.
    std::atomic<uint16_t> m_processCounter;
    AGraEQProgram m_programs[kNumPrograms];
    CGraphicEQ* m_engine;
    char m_resourcePath[2048];
    char m_prefsFolder[kBankPathSize];  // with a trailing "/"; empty when unknown
    AGraEQProgram m_initialPrograms[kNumPrograms];
    AGraEQProgram m_factoryPrograms[kNumPrograms];
    // Normalised values, always finite and inside 0..1, and their display
    // values (unused for the switch, whose display comes from the value).
    float m_values[kNumParams];
    float m_display[kNumParams];
    tWAVEFORMATEX m_format;
    AEffEditor* m_editorObject;

    // Single-precision slices for processDoubleReplacing, so the audio
    // thread never allocates.
    static constexpr int kDoubleSlice = 1024;
    float m_slice[4][kDoubleSlice];
};
