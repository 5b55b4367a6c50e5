#pragma once
// The fifteen-band graphic equalizer engine: input level stage, fifteen
// peaking sections in series per channel, output level stage, block peak
// meters and a sticky over-level flag. Settings cross the interface as 16.16
// fixed point (65536 = 1.0): dB for gains and levels, a plain number for Q.
#include <atomic>
#include <cstdint>
#include <mutex>

#include "CEqualizerUnit.h"
#include "EngineKernels.h"

// The stream format handed to the engine. Only nChannels and nSamplesPerSec
// are used.
struct tWAVEFORMATEX {
    uint16_t wFormatTag;
    uint16_t nChannels;
    uint32_t nSamplesPerSec;
    uint32_t nAvgBytesPerSec;
    uint16_t nBlockAlign;
    uint16_t wBitsPerSample;
    uint16_t cbSize;
};

class CGraphicEQ {
public:
    static constexpr int kBandCount = 15;
    static const float kBandFreq[kBandCount];

    static constexpr int32_t kGainMin = -786432;   // -12 dB
    static constexpr int32_t kGainMax = 786432;    // +12 dB
    static constexpr int32_t kQMin = 65536;        // 1.0
    static constexpr int32_t kQMax = 1310720;      // 20.0
    static constexpr int32_t kQDefault = 327680;   // 5.0

    CGraphicEQ();
    virtual ~CGraphicEQ();
    CGraphicEQ(const CGraphicEQ&) = delete;
    CGraphicEQ& operator=(const CGraphicEQ&) = delete;

    // Threads. The setters (set_Gain, set_Q, the levels, set_Activate) and
    // the getters may be called from any thread, the audio thread included,
    // at any time: they store one value each, never lock and never wait.
    // Transform takes every stored value over at the start of a block and
    // computes what changed itself, so a change is heard from the next block.
    // A caller that changes several values which belong together (a program)
    // brackets them with BeginChange/EndChange: no block starts with half of
    // them; until EndChange blocks keep the settings they had. Such callers
    // wait for each other, so they must not run on the audio thread. The
    // structural calls (SetMediaType, InitInternalFilters,
    // PrepareWorkingBuffer, FreeWorkArea, SetVariant) are never made on the
    // audio thread either: they wait for the block in progress to finish.
    void BeginChange();
    void EndChange();

    void SetDefaultProp();
    // Takes a new format and the largest block the host will send. Rebuilds
    // the sections (clearing their history) and the work buffers.
    void SetMediaType(const tWAVEFORMATEX* format, int maxBlock);
    void InitInternalFilters();
    void PrepareWorkingBuffer(int n);
    void FreeWorkArea();

    bool set_Gain(int band, int gain);
    bool set_Q(int band, int q);
    bool IsValidBand(int band) const;
    bool set_Activate(bool active);
    bool get_Activate(bool* active);
    bool set_InputLevel(int level);
    bool set_OutputLevel(int level);
    bool get_InputLevel(int* level);
    bool get_OutputLevel(int* level);
    bool set_OverLevelThreshold(int threshold);
    bool get_OverLevelThreshold(int* threshold);
    bool get_OverLevel(bool* over);  // read-and-reset
    bool get_Gain(int band, int* gain);
    bool get_Q(int band, int* q);
    bool GetVU(float* inL, float* inR, float* outL, float* outR);

    // Processes one block of in[0], in[1] into out[0], out[1] (in and out may
    // be the same buffers). Any count is accepted: blocks longer than the work
    // buffers are processed in buffer-sized slices, and before the first
    // SetMediaType the input is copied through. continueBlock says this call
    // carries on the previous one as part of one host block (a caller that
    // converts a block in pieces): the filters continue exactly and the
    // meters keep the peak of the whole block.
    // Transform is the audio thread's call and never waits: it takes no lock,
    // picks up the newest settings the setters handed over (a change takes
    // effect from the next call), publishes the meters through atomics, and
    // passes a block through unchanged if it meets a format change in
    // progress on another thread. After the input has been digitally silent
    // for GetSilenceHold() samples the history is cleared and the output is
    // exact zero until the input returns.
    bool Transform(float** in, int count, float** out, int* outCount, bool continueBlock = false);

    // Which arithmetic filters the audio: the precise engine (double
    // precision, the default) or the reference engine (the single-precision
    // recursion, bit for bit); chosen at construction (GRAPHICEQ_ENGINE) or
    // here. A switch clears the filters' history.
    void SetEngine(graphiceq::Engine engine);
    graphiceq::Engine GetEngine() const { return m_engine; }

    // The precise engine's kernel width: chosen at construction (the widest
    // this processor runs, or GRAPHICEQ_SIMD), or forced here; false when
    // the processor lacks it. The reference engine has one plain kernel.
    bool SetVariant(graphiceq::Variant variant);
    graphiceq::Variant GetVariant() const { return m_variant; }

    // Samples of digital silence at the input after which the filters'
    // history is cleared, for the current settings (computed on the
    // caller's thread).
    int64_t GetSilenceHold();

    // Test and tool access, never from the audio thread: GetUnit first
    // brings the units up to date with the stored values.
    const tWAVEFORMATEX& GetFormat() const { return m_format; }
    int GetBufferLength() const { return m_bufferLength; }
    CEqualizerUnit* GetUnit(int index);
    int GetUnitCount() const { return m_unitCount; }
    uint32_t GetBandCount() const { return m_bandCount; }

private:
    // What the audio thread needs from the settings. Built by the audio
    // thread itself (Refresh) from the stored values, and owned by it.
    struct Settings {
        graphiceq::LaneCoeffs coeffs[2];      // reference engine
        graphiceq::PreciseCoeffs precise[2];  // precise engine
        float gi, go;         // level factors
        double preciseGi, preciseGo;
        double threshold;
        bool active;
        int64_t silenceHold;  // samples
    };
    // The stored values as one consistent set.
    struct Values {
        int32_t gain[kBandCount];
        int32_t q[kBandCount];
        float inputLevel, outputLevel;  // dB
        bool active;
    };

    // Structural changes (format, buffers, units, kernel) hold the gate;
    // the audio thread only ever tries it, and passes the block through
    // unchanged while a change is in progress.
    class Rebuild;

    void Bypass(float** in, int offset, int count, float** out);
    void OperateFilter(float** in, int offset, int count, float** out, const Settings& s, bool slice);
    void Changed() { m_requested.fetch_add(1, std::memory_order_release); }
    bool ReadValues(Values& v) const;
    void ConfigureUnits(CEqualizerUnit* units, int count, const Values& v, const Values* previous) const;
    void BuildSettings(const Values& v, const CEqualizerUnit* units, int unitCount, Settings& s) const;
    void Refresh();
    void PublishMeters();
    void ClearHistory();
    static bool ValidBandIndex(int band) { return band >= 0 && band < kBandCount; }

    std::recursive_mutex m_structure;  // structural callers, one at a time
    std::mutex m_change;               // BeginChange .. EndChange, one caller at a time
    float* m_buf[4];
    // The stored values: any thread writes, Refresh reads.
    std::atomic<int32_t> m_gainSetting[kBandCount];
    std::atomic<int32_t> m_QSetting[kBandCount];
    std::atomic<float> m_inputLevel;   // dB
    std::atomic<float> m_outputLevel;  // dB
    std::atomic<bool> m_active;
    std::atomic<uint32_t> m_rate;      // the format's sample rate, for the setters
    std::atomic<uint32_t> m_requested; // counts stored changes
    std::atomic<uint32_t> m_changing;  // odd while a BeginChange .. EndChange is open
    double m_threshold;
    std::atomic<bool> m_overLevel;
    tWAVEFORMATEX m_format;
    CEqualizerUnit* m_units;
    int m_unitCount;
    uint32_t m_bandCount;
    bool m_filtersReady;
    bool m_buffersReady;
    int32_t m_bufferLength;
    float m_peakInL, m_peakInR, m_peakOutL, m_peakOutR;  // owned by the audio thread

    std::atomic<float> m_meter[4];  // the peaks as GetVU reads them
    graphiceq::Engine m_engine;
    graphiceq::Variant m_variant;
    graphiceq::PreciseKernel m_kernel;
    graphiceq::LaneHistory m_history[2];           // reference engine
    graphiceq::PreciseHistory m_preciseHistory[2];  // precise engine
    // Owned by the thread inside the gate (the audio thread, or a
    // structural change): the settings in use, the values they were built
    // from, and which count of stored changes they include.
    Settings m_live;
    Values m_applied;
    uint32_t m_appliedCount;
    bool m_rebuilt;  // units new: every band is configured again
    std::atomic<int> m_gate;
    int m_rebuildDepth;  // under m_structure
    int64_t m_silentRun;  // input samples of digital silence so far
    bool m_quiet;         // history cleared after silence; output is zero
};
