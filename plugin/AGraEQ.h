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
// Threads. Every host thread may call setParameter, getParameter,
// setProgram, setChunk, getChunk, the string getters and processing at the
// same time, and the editor's thread reads what the panel shows meanwhile.
//
// - The audio thread (processReplacing, processDoubleReplacing, and
//   setParameter / getParameter between blocks, as hosts play automation)
//   never allocates, locks, waits or makes a system call. The parameter
//   values, the switch's resume/suspend state and the current program index
//   are atomics; a value stored by setParameter is one atomic store plus
//   bookkeeping bits, and the engine's setters are atomic stores too. At the
//   start of each block the audio thread takes a consistent set of all 33
//   values over and the engine computes its coefficients from it.
// - A program switch, a chunk and every editor operation on programs apply
//   all 33 values as one change: the writer counts m_changing up to an odd
//   number, stores, and counts it even again (the engine's BeginChange /
//   EndChange likewise). A block that starts meanwhile keeps the set it had.
// - The banks (current, initial, factory: records, names) are touched only
//   under m_bankLock, by threads other than the audio thread. While a
//   program is current its values live in m_values; the bank's record is
//   brought up to date (the values stored since, m_unsaved) under the lock
//   before anything reads the bank or another program becomes current, so
//   an automation value that arrives during a switch never lands in the
//   program left behind.
// - getChunk hands the host a copy owned by the effect, rebuilt on every
//   call on the caller's thread (one copy per calling thread), never the
//   live bank.
// - The panel hooks (UpdateControl, UpdateModify) only record, with atomics;
//   the host and the panel are called with no lock held.
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

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
    VstInt32 getProgram() override { return m_program.load(std::memory_order_acquire); }
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

    // Access for tests and tools, from a thread other than the audio
    // thread: the bank as it stands (the current record brought up to date).
    enum Bank { kCurrentBank, kInitialBank, kFactoryBank };
    const AGraEQProgram* GetBank(Bank which);
    CGraphicEQ* GetEngine() { return m_engine; }
    AEffEditor* GetEditorObject() { return m_editorObject; }
    const char* GetResourcePath() const { return m_resourcePath; }

private:
    // Default bank file: reads the preferences copy (else the copy beside
    // the plug-in) into the current bank. True when a bank was loaded.
    bool LoadDefaultBank();
    // Reads the copy beside the plug-in into the factory bank.
    bool SetFactoryProgram();
    // Under m_bankLock: writes the current bank as the preferences copy of
    // the default bank; on failure the message for the user in failure.
    bool WriteDefaultBank(CString* failure);
    void ShowSaveFailure(const CString& message);

    // Hands the media format and a block size to the engine, then applies
    // the current parameter values again: a new format rebuilds the filter
    // sections and may have pushed bands past Nyquist.
    void ApplyMediaType(VstInt32 maxBlock);
    void ApplyToEngine(VstInt32 index, float normalised);
    // Audio thread, block start: hands the engine every value again when
    // anything changed since the last block (one consistent set; while a
    // multi-value change is in progress the engine keeps what it has).
    void SyncEngine();
    // Stores a sane value as the current program's, from any thread.
    void StoreParameter(VstInt32 index, float value);
    float SwitchValue() const;
    // The display value: what was typed, while the value typed for holds,
    // else the value's own.
    float DisplayValue(VstInt32 index) const;
    // Under m_bankLock: writes the values stored since the last time into
    // the current program's record.
    void SaveLiveValues();
    // Under m_bankLock: makes program the current one and applies its
    // record's values as one change. The record left behind must already
    // be up to date.
    void LoadProgram(VstInt32 program);
    void BeginValues();
    void EndValues();
    void PanelShowValues();
    void PanelUpdateControl(VstInt32 index, float value);
    void PanelUpdateModify();
    void Automate(VstInt32 index, float value);

    // Written only by the audio thread, read by the editor's idle handler.
    std::atomic<uint16_t> m_processCounter;
    AGraEQProgram m_programs[kNumPrograms];  // under m_bankLock
    CGraphicEQ* m_engine;
    char m_resourcePath[2048];
    char m_prefsFolder[kBankPathSize];  // with a trailing "/"; empty when unknown
    AGraEQProgram m_initialPrograms[kNumPrograms];  // under m_bankLock
    AGraEQProgram m_factoryPrograms[kNumPrograms];  // under m_bankLock
    std::mutex m_bankLock;
    // What getChunk handed out, a copy per calling thread (a few threads,
    // reused in turn beyond that), so one thread's call never rewrites the
    // bytes another thread is still reading. Under m_bankLock.
    struct ChunkCopy {
        std::thread::id thread;
        AGraEQProgram records[kNumPrograms];
    };
    static constexpr size_t kChunkCopies = 4;
    std::vector<std::unique_ptr<ChunkCopy>> m_chunks;
    size_t m_nextChunk = 0;
    AGraEQProgram* ChunkCopyForThisThread();
    std::atomic<VstInt32> m_program;      // the current program (curProgram mirrors it)
    // The current program's normalised values, always finite and inside
    // 0..1 (the switch's record value at index 0).
    std::atomic<float> m_values[kNumParams];
    // resume / suspend move the switch without touching the record: -1 none,
    // else the value getParameter(0) and the engine see until the switch is
    // set again.
    std::atomic<int> m_switchOverride;
    // A display value typed into an entry field, kept for as long as the
    // parameter holds the value it was typed for: the normalised value's
    // bits above, the display value's below; kNoEntry when none.
    static constexpr uint64_t kNoEntry = ~uint64_t{0};
    std::atomic<uint64_t> m_entry[kNumParams];
    std::atomic<uint64_t> m_unsaved;   // bit i: value i stored since the record was
    std::atomic<uint32_t> m_changing;  // odd while all values are being replaced
    std::atomic<uint32_t> m_changes;   // counts stored values
    uint32_t m_engineChanges;          // audio thread: what the engine was last given
    std::recursive_mutex m_formatLock;  // m_format and format changes, host threads
    tWAVEFORMATEX m_format;
    AEffEditor* m_editorObject;

    // Single-precision slices for processDoubleReplacing, so the audio
    // thread never allocates.
    static constexpr int kDoubleSlice = 1024;
    float m_slice[4][kDoubleSlice];
};
