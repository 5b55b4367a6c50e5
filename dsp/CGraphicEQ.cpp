#include "CGraphicEQ.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <thread>

namespace {
// Single-precision value of 1/65536.
constexpr float kFixedToFloat = 1.5258789e-5f;

inline float LevelFactor(float dB)
{
    return std::pow(10.0f, dB / 20.0f);
}

inline void TrackPeak(float& peak, float v)
{
    const float m = std::fabs(v);
    if (m > peak)
        peak = m;
}

inline void Raise(float& peak, float m)
{
    if (m > peak)
        peak = m;
}

// The largest |x[i] * gain|, NaNs ignored (a NaN never compares larger):
// the same result as tracking the samples one by one, four at a time.
float PeakOf(const float* x, int n, float gain)
{
    typedef float v4 __attribute__((vector_size(16)));
    typedef int32_t i4 __attribute__((vector_size(16)));
    v4 acc = {0.0f, 0.0f, 0.0f, 0.0f};
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        v4 v;
        std::memcpy(&v, x + i, sizeof v);
        v = v * gain;
        const v4 m = (v4)((i4)v & 0x7FFFFFFF);
        acc = m > acc ? m : acc;
    }
    float peak = 0.0f;
    for (int k = 0; k < 4; ++k)
        Raise(peak, acc[k]);
    for (; i < n; ++i)
        TrackPeak(peak, x[i] * gain);
    return peak;
}

// After the input falls silent the filters ring out; once the slowest
// section has had the time to decay by this much (150 dB, in nepers), what
// is left of its history is rounding noise circulating in the recursion,
// not signal, and is cleared. Never later than kMaxSilenceHold seconds.
constexpr double kSilenceDecay = 150.0 / 20.0 * 2.302585092994046;
constexpr double kMaxSilenceHold = 3.5;
}  // namespace

// Holds the structural gate for the control thread. The audio thread never
// waits for it: a block that meets a rebuild passes through unchanged. The
// control side yields until the block in progress has finished. Nested
// rebuilds (SetMediaType calling InitInternalFilters) share one hold; the
// depth is guarded by m_structure, which every caller holds.
class CGraphicEQ::Rebuild {
public:
    explicit Rebuild(CGraphicEQ& eq) : m_eq(eq)
    {
        if (m_eq.m_rebuildDepth++ > 0)
            return;
        for (;;) {
            int idle = 0;
            if (m_eq.m_gate.compare_exchange_weak(idle, 2, std::memory_order_acquire))
                break;
            std::this_thread::yield();
        }
    }
    ~Rebuild()
    {
        if (--m_eq.m_rebuildDepth == 0)
            m_eq.m_gate.store(0, std::memory_order_release);
    }
    Rebuild(const Rebuild&) = delete;
    Rebuild& operator=(const Rebuild&) = delete;

private:
    CGraphicEQ& m_eq;
};

// Two-thirds of an octave apart, 24.8 Hz to 15999.9 Hz.
const float CGraphicEQ::kBandFreq[kBandCount] = {
    24.8f,  39.4f,  62.5f,  99.2f,  157.5f, 250.0f,  396.9f,   630.0f,
    1000.0f, 1587.4f, 2519.8f, 4000.0f, 6349.6f, 10079.3f, 15999.9f,
};

CGraphicEQ::CGraphicEQ()
    : m_buf{nullptr, nullptr, nullptr, nullptr}, m_inputLevel(0.0f), m_outputLevel(0.0f),
      m_active(true), m_rate(0), m_requested(0), m_changing(0), m_threshold(1.0), m_overLevel(false),
      m_format{}, m_units(nullptr), m_unitCount(0), m_bandCount(kBandCount), m_filtersReady(false),
      m_buffersReady(false), m_bufferLength(0), m_peakInL(0.0f), m_peakInR(0.0f), m_peakOutL(0.0f),
      m_peakOutR(0.0f), m_meter{0.0f, 0.0f, 0.0f, 0.0f}, m_engine(graphiceq::DefaultEngine()),
      m_variant(graphiceq::DefaultVariant()), m_kernel(graphiceq::KernelFor(m_variant)), m_history{},
      m_preciseHistory{}, m_live{}, m_applied{}, m_appliedCount(0), m_rebuilt(true), m_gate(0),
      m_rebuildDepth(0), m_silentRun(0), m_quiet(false)
{
    m_format.nChannels = 2;
    for (int b = 0; b < kBandCount; ++b) {
        m_gainSetting[b].store(0, std::memory_order_relaxed);
        m_QSetting[b].store(kQDefault, std::memory_order_relaxed);
    }
    SetDefaultProp();
}

CGraphicEQ::~CGraphicEQ()
{
    delete[] m_units;
    m_units = nullptr;
    FreeWorkArea();
}

void CGraphicEQ::BeginChange()
{
    m_change.lock();
    // Odd from here on; no store below can move above it.
    m_changing.fetch_add(1, std::memory_order_acq_rel);
}

void CGraphicEQ::EndChange()
{
    m_changing.fetch_add(1, std::memory_order_release);
    Changed();
    m_change.unlock();
}

void CGraphicEQ::SetDefaultProp()
{
    // The over-level threshold is full scale from construction on and never
    // changes.
    BeginChange();
    m_active.store(true, std::memory_order_release);
    m_inputLevel.store(0.0f, std::memory_order_release);
    m_outputLevel.store(-6.0f, std::memory_order_release);  // the default output stage attenuates by 6 dB
    for (int b = 0; b < kBandCount; ++b) {
        set_Gain(b, 0);
        set_Q(b, kQDefault);
    }
    EndChange();
}

void CGraphicEQ::SetMediaType(const tWAVEFORMATEX* format, int maxBlock)
{
    std::lock_guard<std::recursive_mutex> hold(m_structure);
    Rebuild rebuild(*this);
    if (format) {
        m_format = *format;
        m_rate.store(m_format.nSamplesPerSec, std::memory_order_relaxed);
    }
    InitInternalFilters();
    PrepareWorkingBuffer(maxBlock);
}

void CGraphicEQ::InitInternalFilters()
{
    std::lock_guard<std::recursive_mutex> hold(m_structure);
    Rebuild rebuild(*this);
    ClearHistory();
    m_silentRun = 0;
    delete[] m_units;
    m_units = nullptr;
    m_unitCount = 0;
    m_filtersReady = false;

    const int channels = m_format.nChannels;
    const int count = channels * kBandCount + 2;
    m_units = new (std::nothrow) CEqualizerUnit[count];
    if (!m_units)
        return;
    m_unitCount = count;
    // Configured from the stored values now; the first block takes them
    // over again (all of them), in case a change was open meanwhile.
    Values v;
    ReadValues(v);
    ConfigureUnits(m_units, m_unitCount, v, nullptr);
    BuildSettings(v, m_units, m_unitCount, m_live);
    m_applied = v;
    m_rebuilt = true;
    m_filtersReady = true;
}

void CGraphicEQ::PrepareWorkingBuffer(int n)
{
    std::lock_guard<std::recursive_mutex> hold(m_structure);
    Rebuild rebuild(*this);
    FreeWorkArea();
    // Even a host that announces no block size gets working buffers: longer
    // blocks are then processed in slices.
    if (n < 1)
        n = 1;
    for (float*& b : m_buf) {
        b = new (std::nothrow) float[n]();
    }
    if (!m_buf[0] || !m_buf[1] || !m_buf[2] || !m_buf[3]) {
        for (float*& b : m_buf) {
            delete[] b;
            b = nullptr;
        }
        return;
    }
    m_bufferLength = n;
    m_buffersReady = true;
}

void CGraphicEQ::FreeWorkArea()
{
    std::lock_guard<std::recursive_mutex> hold(m_structure);
    Rebuild rebuild(*this);
    if (m_buffersReady) {
        for (float*& b : m_buf) {
            delete[] b;
            b = nullptr;
        }
    }
    m_buffersReady = false;
    m_bufferLength = 0;
}

bool CGraphicEQ::IsValidBand(int band) const
{
    if (!ValidBandIndex(band))
        return false;
    return !(static_cast<double>(kBandFreq[band]) >
             static_cast<double>(m_rate.load(std::memory_order_relaxed)) * 0.5);
}

// Reads the stored values. False when a BeginChange .. EndChange was open
// or came between (the values read may then mix old and new). The values
// are stored with release and read with acquire, so a value written inside
// a change is never read without the change's count being seen after it
// (no fences: ThreadSanitizer follows these).
bool CGraphicEQ::ReadValues(Values& v) const
{
    constexpr auto kAcquire = std::memory_order_acquire;
    const uint32_t before = m_changing.load(kAcquire);
    for (int b = 0; b < kBandCount; ++b) {
        v.gain[b] = m_gainSetting[b].load(kAcquire);
        v.q[b] = m_QSetting[b].load(kAcquire);
    }
    v.inputLevel = m_inputLevel.load(kAcquire);
    v.outputLevel = m_outputLevel.load(kAcquire);
    v.active = m_active.load(kAcquire);
    return (before & 1u) == 0 && m_changing.load(std::memory_order_relaxed) == before;
}

// Sends each band's Q and linear gain to its sections: every band, or only
// those whose values differ from previous.
void CGraphicEQ::ConfigureUnits(CEqualizerUnit* units, int count, const Values& v, const Values* previous) const
{
    const int channels = m_format.nChannels;
    if (!units || m_format.nSamplesPerSec == 0 || (channels != 1 && channels != 2) ||
        count < channels * kBandCount)
        return;
    const float T = 1.0f / static_cast<float>(m_format.nSamplesPerSec);
    for (int b = 0; b < kBandCount; ++b) {
        if (previous && previous->gain[b] == v.gain[b] && previous->q[b] == v.q[b])
            continue;
        const float linear = static_cast<float>(
            std::pow(10.0, static_cast<double>(static_cast<float>(v.gain[b]) * kFixedToFloat / 20.0f)));
        const float q = static_cast<float>(v.q[b]) * kFixedToFloat;
        for (int c = 0; c < channels; ++c)
            units[channels * b + c].SetParams(T, kBandFreq[b], q, linear);
    }
}

// What the audio thread needs, from the sections' coefficients and the
// stored values.
void CGraphicEQ::BuildSettings(const Values& v, const CEqualizerUnit* units, int unitCount, Settings& s) const
{
    const int channels = m_format.nChannels;
    double slowest = 0.0;  // samples per neper of the slowest decay
    for (int c = 0; c < 2; ++c) {
        graphiceq::LaneCoeffs& q = s.coeffs[c];
        graphiceq::PreciseCoeffs& p = s.precise[c];
        for (int b = 0; b < graphiceq::kLanes; ++b) {
            const int u = channels == 2 ? 2 * b + c : b;
            if (b >= kBandCount || !units || u >= unitCount) {
                q.kb2[b] = q.b1k[b] = q.k[b] = q.a1[b] = q.a2[b] = 0.0f;
                p.k[b] = p.kb1[b] = p.kb2[b] = p.na1[b] = p.na2[b] = 0.0;
                continue;
            }
            const CEqualizerUnit& unit = units[u];
            q.kb2[b] = unit.GetK() * unit.GetB2();
            q.b1k[b] = unit.GetB1() * unit.GetK();
            q.k[b] = unit.GetK();
            q.a1[b] = unit.GetA1();
            q.a2[b] = unit.GetA2();
            // The same section for the precise engine: the products of two
            // single-precision coefficients are exact in double, so both
            // engines realise one and the same transfer function.
            p.k[b] = unit.GetK();
            p.kb1[b] = static_cast<double>(unit.GetK()) * unit.GetB1();
            p.kb2[b] = static_cast<double>(unit.GetK()) * unit.GetB2();
            p.na1[b] = -static_cast<double>(unit.GetA1());
            p.na2[b] = -static_cast<double>(unit.GetA2());
            // The slower pole sets how long the band rings: complex poles
            // share the radius sqrt(a2); real ones (a heavily damped cut)
            // split, and the larger root of z^2 + a1 z + a2 decays slowest.
            // The envelope falls by one neper in -1 / ln(radius) samples.
            const double a1 = q.a1[b], a2 = q.a2[b];
            const double disc = a1 * a1 - 4.0 * a2;
            const double radius = disc > 0.0 ? (std::fabs(a1) + std::sqrt(disc)) / 2.0 : std::sqrt(std::fabs(a2));
            const double tau = radius > 0.0 && radius < 1.0 ? -1.0 / std::log(radius)
                                                            : std::numeric_limits<double>::infinity();
            if (tau > slowest)
                slowest = tau;
        }
    }
    s.gi = LevelFactor(v.inputLevel);
    s.go = LevelFactor(v.outputLevel);
    s.preciseGi = std::pow(10.0, static_cast<double>(v.inputLevel) / 20.0);
    s.preciseGo = std::pow(10.0, static_cast<double>(v.outputLevel) / 20.0);
    s.threshold = m_threshold;
    s.active = v.active;
    const double cap = kMaxSilenceHold * static_cast<double>(m_format.nSamplesPerSec);
    double hold = slowest * kSilenceDecay;
    if (!(hold < cap))
        hold = cap;
    s.silenceHold = hold < 1.0 ? 1 : static_cast<int64_t>(std::ceil(hold));
}

// Audio thread, inside the gate, at the start of a block: takes over what
// the setters stored since the last block, recomputing only the bands that
// changed. While a BeginChange .. EndChange is open the settings in use
// stay as they are. Never waits.
void CGraphicEQ::Refresh()
{
    const uint32_t requested = m_requested.load(std::memory_order_acquire);
    if (requested == m_appliedCount && !m_rebuilt)
        return;
    Values v;
    if (!ReadValues(v))
        return;
    ConfigureUnits(m_units, m_unitCount, v, m_rebuilt ? nullptr : &m_applied);
    BuildSettings(v, m_units, m_unitCount, m_live);
    m_applied = v;
    m_appliedCount = requested;
    m_rebuilt = false;
}

void CGraphicEQ::PublishMeters()
{
    m_meter[0].store(m_peakInL, std::memory_order_relaxed);
    m_meter[1].store(m_peakInR, std::memory_order_relaxed);
    m_meter[2].store(m_peakOutL, std::memory_order_relaxed);
    m_meter[3].store(m_peakOutR, std::memory_order_relaxed);
}

void CGraphicEQ::ClearHistory()
{
    for (graphiceq::LaneHistory& h : m_history)
        h = graphiceq::LaneHistory{};
    for (graphiceq::PreciseHistory& h : m_preciseHistory)
        h = graphiceq::PreciseHistory{};
    m_quiet = false;
}

void CGraphicEQ::SetEngine(graphiceq::Engine engine)
{
    std::lock_guard<std::recursive_mutex> hold(m_structure);
    Rebuild rebuild(*this);
    m_engine = engine;
    ClearHistory();
    m_silentRun = 0;
}

bool CGraphicEQ::SetVariant(graphiceq::Variant variant)
{
    if (!graphiceq::VariantSupported(variant))
        return false;
    std::lock_guard<std::recursive_mutex> hold(m_structure);
    Rebuild rebuild(*this);
    m_variant = variant;
    m_kernel = graphiceq::KernelFor(variant);
    return true;
}

int64_t CGraphicEQ::GetSilenceHold()
{
    // Computed here from the stored values, with sections of its own.
    std::lock_guard<std::recursive_mutex> hold(m_structure);
    Values v;
    ReadValues(v);
    CEqualizerUnit units[2 * kBandCount];
    ConfigureUnits(units, 2 * kBandCount, v, nullptr);
    Settings s;
    BuildSettings(v, units, 2 * kBandCount, s);
    return s.silenceHold;
}

bool CGraphicEQ::set_Gain(int band, int gain)
{
    if (!ValidBandIndex(band))
        return false;
    // A band above Nyquist cannot be realised; it stays flat.
    if (!IsValidBand(band))
        gain = 0;
    else if (gain < kGainMin)
        gain = kGainMin;
    else if (gain > kGainMax)
        gain = kGainMax;
    m_gainSetting[band].store(gain, std::memory_order_release);
    Changed();
    return true;
}

bool CGraphicEQ::set_Q(int band, int q)
{
    if (!ValidBandIndex(band))
        return false;
    if (q < kQMin)
        q = kQMin;
    if (!IsValidBand(band))
        q = kQDefault;
    else if (q > kQMax)
        q = kQMax;
    m_QSetting[band].store(q, std::memory_order_release);
    Changed();
    return true;
}

bool CGraphicEQ::set_Activate(bool active)
{
    m_active.store(active, std::memory_order_release);
    Changed();
    return true;
}

bool CGraphicEQ::get_Activate(bool* active)
{
    if (active)
        *active = m_active.load(std::memory_order_relaxed);
    return true;
}

bool CGraphicEQ::set_InputLevel(int level)
{
    m_inputLevel.store(static_cast<float>(level) * kFixedToFloat, std::memory_order_release);
    Changed();
    return true;
}

bool CGraphicEQ::set_OutputLevel(int level)
{
    m_outputLevel.store(static_cast<float>(level) * kFixedToFloat, std::memory_order_release);
    Changed();
    return true;
}

bool CGraphicEQ::get_InputLevel(int* level)
{
    if (level)
        *level = static_cast<int>(static_cast<double>(m_inputLevel.load(std::memory_order_relaxed)) * 65536.0);
    return true;
}

bool CGraphicEQ::get_OutputLevel(int* level)
{
    if (level)
        *level = static_cast<int>(static_cast<double>(m_outputLevel.load(std::memory_order_relaxed)) * 65536.0);
    return true;
}

bool CGraphicEQ::set_OverLevelThreshold(int /*threshold*/)
{
    // The threshold is full scale, always; the argument exists for the
    // interface's sake.
    return true;
}

bool CGraphicEQ::get_OverLevelThreshold(int* threshold)
{
    if (threshold)
        *threshold = static_cast<int>(m_threshold);
    return true;
}

bool CGraphicEQ::get_OverLevel(bool* over)
{
    // Read and cleared in one step: a block that overloads meanwhile is
    // never lost between the read and the reset.
    const bool was = m_overLevel.exchange(false, std::memory_order_relaxed);
    if (over)
        *over = was;
    return true;
}

bool CGraphicEQ::get_Gain(int band, int* gain)
{
    if (!ValidBandIndex(band))
        return false;
    if (gain)
        *gain = m_gainSetting[band].load(std::memory_order_relaxed);
    return true;
}

bool CGraphicEQ::get_Q(int band, int* q)
{
    if (!ValidBandIndex(band))
        return false;
    if (q)
        *q = m_QSetting[band].load(std::memory_order_relaxed);
    return true;
}

bool CGraphicEQ::GetVU(float* inL, float* inR, float* outL, float* outR)
{
    // The audio thread publishes the peaks of its latest block; no lock.
    if (inL) *inL = m_meter[0].load(std::memory_order_relaxed);
    if (inR) *inR = m_meter[1].load(std::memory_order_relaxed);
    if (outL) *outL = m_meter[2].load(std::memory_order_relaxed);
    if (outR) *outR = m_meter[3].load(std::memory_order_relaxed);
    return true;
}

CEqualizerUnit* CGraphicEQ::GetUnit(int index)
{
    // Brought up to date with the stored values first, as the next block
    // would; the block in progress, if any, finishes before.
    std::lock_guard<std::recursive_mutex> hold(m_structure);
    Rebuild rebuild(*this);
    Refresh();
    if (!m_units || index < 0 || index >= m_unitCount)
        return nullptr;
    return &m_units[index];
}

void CGraphicEQ::Bypass(float** in, int offset, int count, float** out)
{
    const float* inL = in[0] + offset;
    const float* inR = in[1] + offset;
    for (int i = 0; i < count; ++i) {
        TrackPeak(m_peakInL, inL[i]);
        TrackPeak(m_peakInR, inR[i]);
    }
    m_peakOutL = m_peakInL;
    m_peakOutR = m_peakInR;
    // memmove: hosts commonly process in place.
    if (out[0] + offset != inL)
        std::memmove(out[0] + offset, inL, sizeof(float) * static_cast<size_t>(count));
    if (out[1] + offset != inR)
        std::memmove(out[1] + offset, inR, sizeof(float) * static_cast<size_t>(count));
}

// slice: these samples continue a block already begun, so the recursion
// carries on instead of starting a new block.
void CGraphicEQ::OperateFilter(float** in, int offset, int count, float** out, const Settings& s, bool slice)
{
    const int channels = m_format.nChannels;
    if (channels != 1 && channels != 2)
        return;
    const float gi = s.gi;
    const float go = s.go;
    const float* inL = in[0] + offset;
    const float* inR = in[1] + offset;
    float* outL = out[0] + offset;
    float* outR = out[1] + offset;

    // Input meters (after the input stage), and where the input last carried
    // anything but exact zeros (for live audio, the last sample).
    int lastLive = count - 1;
    if (channels == 2) {
        Raise(m_peakInL, PeakOf(inL, count, gi));
        Raise(m_peakInR, PeakOf(inR, count, gi));
        while (lastLive >= 0 && inL[lastLive] * gi == 0.0f && inR[lastLive] * gi == 0.0f)
            --lastLive;
    } else {
        Raise(m_peakInL, PeakOf(inL, count, gi));
        m_peakInR = m_peakInL;
        while (lastLive >= 0 && inL[lastLive] * gi == 0.0f)
            --lastLive;
    }

    // Silence: the filters run exactly as always until the input has been
    // silent for the hold time; from that sample on the history is cleared
    // and the output is exact zero (times the output level) until the input
    // comes back.
    if (lastLive >= 0)
        m_quiet = false;
    const int silentFrom = lastLive + 1;
    const int64_t runBefore = lastLive >= 0 ? 0 : m_silentRun;
    int cut = count;
    if (m_quiet) {
        cut = 0;
    } else if (runBefore + (count - silentFrom) > s.silenceHold) {
        const int64_t at = silentFrom + (s.silenceHold > runBefore ? s.silenceHold - runBefore : 0);
        cut = at < count ? static_cast<int>(at) : count;
    }
    const int64_t run = runBefore + (count - silentFrom);
    m_silentRun = run < (int64_t{1} << 62) ? run : (int64_t{1} << 62);

    if (cut > 0 && m_engine == graphiceq::Engine::Precise) {
        graphiceq::PreciseArgs a{};
        a.in[0] = inL;
        a.in[1] = inR;
        a.out[0] = outL;
        a.out[1] = outR;
        a.coeffs[0] = &s.precise[0];
        a.coeffs[1] = &s.precise[1];
        a.history[0] = &m_preciseHistory[0];
        a.history[1] = &m_preciseHistory[1];
        a.channels = channels;
        a.count = cut;
        a.gi = s.preciseGi;
        a.go = s.preciseGo;
        graphiceq::NoDenormals guard;
        m_kernel(a);
    } else if (cut > 0) {
        graphiceq::KernelArgs a{};
        a.in[0] = inL;
        a.in[1] = inR;
        a.out[0] = outL;
        a.out[1] = outR;
        a.coeffs[0] = &s.coeffs[0];
        a.coeffs[1] = &s.coeffs[1];
        a.history[0] = &m_history[0];
        a.history[1] = &m_history[1];
        for (int b = 0; b < 4; ++b)
            a.work[b] = m_buf[b];
        a.channels = channels;
        a.count = cut;
        a.slice = slice;
        a.gi = gi;
        a.go = go;
        graphiceq::RunReference(a);
    }
    if (cut < count) {
        if (!m_quiet)
            ClearHistory();
        m_quiet = true;
        const float zero = 0.0f * go;
        for (int i = cut; i < count; ++i)
            outL[i] = zero;
        if (channels == 2) {
            for (int i = cut; i < count; ++i)
                outR[i] = zero;
        }
    }

    // An output sample beyond the threshold exists exactly when this
    // slice's peak is beyond it (NaNs count for neither).
    bool over;
    if (channels == 2) {
        const float l = PeakOf(outL, count, 1.0f);
        const float r = PeakOf(outR, count, 1.0f);
        Raise(m_peakOutL, l);
        Raise(m_peakOutR, r);
        over = static_cast<double>(l) > s.threshold || static_cast<double>(r) > s.threshold;
    } else {
        const float l = PeakOf(outL, count, 1.0f);
        Raise(m_peakOutL, l);
        m_peakOutR = m_peakOutL;
        over = static_cast<double>(l) > s.threshold;
    }
    if (over)
        m_overLevel.store(true, std::memory_order_relaxed);
}

bool CGraphicEQ::Transform(float** in, int count, float** out, int* outCount, bool continueBlock)
{
    if (outCount)
        *outCount = count > 0 ? count : 0;
    if (!continueBlock)
        m_peakInL = m_peakInR = m_peakOutL = m_peakOutR = 0.0f;
    int idle = 0;
    if (!m_gate.compare_exchange_strong(idle, 1, std::memory_order_acquire)) {
        // The format is being changed on another thread right now.
        if (count > 0 && in && out && in[0] && in[1] && out[0] && out[1])
            Bypass(in, 0, count, out);
        PublishMeters();
        return true;
    }
    Refresh();
    const Settings& s = m_live;
    if (count <= 0 || !in || !out || !in[0] || !in[1] || !out[0] || !out[1]) {
        // Nothing to process; the settings are taken over all the same.
    } else if (!s.active || !m_filtersReady || !m_buffersReady || !m_units) {
        Bypass(in, 0, count, out);
    } else {
        for (int done = 0; done < count;) {
            const int n = count - done < m_bufferLength ? count - done : m_bufferLength;
            // A block longer than the work buffers runs in slices that
            // continue it, so the result does not depend on where it was cut.
            OperateFilter(in, done, n, out, s, continueBlock || done > 0);
            done += n;
        }
    }
    m_gate.store(0, std::memory_order_release);
    PublishMeters();
    return true;
}
