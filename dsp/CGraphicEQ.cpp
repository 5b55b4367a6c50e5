#include "CGraphicEQ.h"

#include <cmath>
#include <cstring>
#include <new>

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
}  // namespace

// Two-thirds of an octave apart, 24.8 Hz to 15999.9 Hz.
const float CGraphicEQ::kBandFreq[kBandCount] = {
    24.8f,  39.4f,  62.5f,  99.2f,  157.5f, 250.0f,  396.9f,   630.0f,
    1000.0f, 1587.4f, 2519.8f, 4000.0f, 6349.6f, 10079.3f, 15999.9f,
};

CGraphicEQ::CGraphicEQ()
    : m_buf{nullptr, nullptr, nullptr, nullptr}, m_inputLevel(0.0f), m_outputLevel(0.0f),
      m_threshold(1.0), m_active(true), m_overLevel(false), m_format{}, m_units(nullptr),
      m_unitCount(0), m_bandCount(kBandCount), m_filtersReady(false), m_buffersReady(false),
      m_bufferLength(0), m_peakInL(0.0f), m_peakInR(0.0f), m_peakOutL(0.0f), m_peakOutR(0.0f)
{
    m_format.nChannels = 2;
    for (int ch = 0; ch < 2; ++ch) {
        for (int b = 0; b < kBandCount; ++b) {
            m_linearGain[ch][b] = 1.0f;
            m_Q[ch][b] = 5.0f;
            m_gainSetting[ch][b] = 0;
            m_QSetting[ch][b] = kQDefault;
        }
    }
    SetDefaultProp();
}

CGraphicEQ::~CGraphicEQ()
{
    delete[] m_units;
    m_units = nullptr;
    FreeWorkArea();
}

void CGraphicEQ::SetDefaultProp()
{
    CSingleLock hold(m_lock);
    m_active = true;
    m_inputLevel = 0.0f;
    m_outputLevel = -6.0f;  // the default output stage attenuates by 6 dB
    m_threshold = 1.0;
    for (int b = 0; b < kBandCount; ++b) {
        set_Gain(b, 0);
        set_Q(b, kQDefault);
    }
}

void CGraphicEQ::SetMediaType(const tWAVEFORMATEX* format, int maxBlock)
{
    CSingleLock hold(m_lock);
    if (format)
        m_format = *format;
    InitInternalFilters();
    PrepareWorkingBuffer(maxBlock);
}

void CGraphicEQ::InitInternalFilters()
{
    CSingleLock hold(m_lock);
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
    if (m_format.nSamplesPerSec != 0 && (channels == 1 || channels == 2)) {
        const float T = 1.0f / static_cast<float>(m_format.nSamplesPerSec);
        for (int b = 0; b < kBandCount; ++b) {
            if (channels == 1) {
                m_units[b].SetParams(T, kBandFreq[b], m_Q[0][b], m_linearGain[0][b]);
            } else {
                m_units[2 * b].SetParams(T, kBandFreq[b], m_Q[0][b], m_linearGain[0][b]);
                m_units[2 * b + 1].SetParams(T, kBandFreq[b], m_Q[1][b], m_linearGain[1][b]);
            }
        }
    }
    m_filtersReady = true;
}

void CGraphicEQ::PrepareWorkingBuffer(int n)
{
    CSingleLock hold(m_lock);
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
    CSingleLock hold(m_lock);
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
    return !(static_cast<double>(kBandFreq[band]) > static_cast<double>(m_format.nSamplesPerSec) * 0.5);
}

// Sends the stored Q and linear gain of one band to its sections.
void CGraphicEQ::PushBand(int band)
{
    if (!m_filtersReady || !m_units || m_format.nSamplesPerSec == 0)
        return;
    const float T = 1.0f / static_cast<float>(m_format.nSamplesPerSec);
    if (m_format.nChannels == 2) {
        m_units[2 * band].SetParams(T, kBandFreq[band], m_Q[0][band], m_linearGain[0][band]);
        m_units[2 * band + 1].SetParams(T, kBandFreq[band], m_Q[1][band], m_linearGain[1][band]);
    } else if (m_format.nChannels == 1) {
        m_units[band].SetParams(T, kBandFreq[band], m_Q[0][band], m_linearGain[0][band]);
    }
}

bool CGraphicEQ::set_Gain(int band, int gain)
{
    if (!ValidBandIndex(band))
        return false;
    CSingleLock hold(m_lock);
    // A band above Nyquist cannot be realised; it stays flat.
    if (!IsValidBand(band))
        gain = 0;
    else if (gain < kGainMin)
        gain = kGainMin;
    else if (gain > kGainMax)
        gain = kGainMax;
    m_gainSetting[0][band] = gain;
    m_gainSetting[1][band] = gain;
    const float linear =
        static_cast<float>(std::pow(10.0, static_cast<double>(static_cast<float>(gain) * kFixedToFloat / 20.0f)));
    if (m_format.nChannels == 2) {
        m_linearGain[0][band] = linear;
        m_linearGain[1][band] = linear;
    } else if (m_format.nChannels == 1) {
        m_linearGain[0][band] = linear;
    } else {
        return true;
    }
    PushBand(band);
    return true;
}

bool CGraphicEQ::set_Q(int band, int q)
{
    if (!ValidBandIndex(band))
        return false;
    CSingleLock hold(m_lock);
    if (q < kQMin)
        q = kQMin;
    if (!IsValidBand(band))
        q = kQDefault;
    else if (q > kQMax)
        q = kQMax;
    m_QSetting[0][band] = q;
    m_QSetting[1][band] = q;
    const float fq = static_cast<float>(q) * kFixedToFloat;
    if (m_format.nChannels == 2) {
        m_Q[0][band] = fq;
        m_Q[1][band] = fq;
    } else if (m_format.nChannels == 1) {
        m_Q[0][band] = fq;
    } else {
        return true;
    }
    PushBand(band);
    return true;
}

bool CGraphicEQ::set_Activate(bool active)
{
    CSingleLock hold(m_lock);
    m_active = active;
    return true;
}

bool CGraphicEQ::get_Activate(bool* active)
{
    CSingleLock hold(m_lock);
    if (active)
        *active = m_active;
    return true;
}

bool CGraphicEQ::set_InputLevel(int level)
{
    CSingleLock hold(m_lock);
    m_inputLevel = static_cast<float>(level) * kFixedToFloat;
    return true;
}

bool CGraphicEQ::set_OutputLevel(int level)
{
    CSingleLock hold(m_lock);
    m_outputLevel = static_cast<float>(level) * kFixedToFloat;
    return true;
}

bool CGraphicEQ::get_InputLevel(int* level)
{
    CSingleLock hold(m_lock);
    if (level)
        *level = static_cast<int>(static_cast<double>(m_inputLevel) * 65536.0);
    return true;
}

bool CGraphicEQ::get_OutputLevel(int* level)
{
    CSingleLock hold(m_lock);
    if (level)
        *level = static_cast<int>(static_cast<double>(m_outputLevel) * 65536.0);
    return true;
}

bool CGraphicEQ::set_OverLevelThreshold(int /*threshold*/)
{
    // The threshold is full scale, always; the argument exists for the
    // interface's sake.
    CSingleLock hold(m_lock);
    m_threshold = 1.0;
    return true;
}

bool CGraphicEQ::get_OverLevelThreshold(int* threshold)
{
    CSingleLock hold(m_lock);
    if (threshold)
        *threshold = static_cast<int>(m_threshold);
    return true;
}

bool CGraphicEQ::get_OverLevel(bool* over)
{
    CSingleLock hold(m_lock);
    if (over)
        *over = m_overLevel;
    m_overLevel = false;
    return true;
}

bool CGraphicEQ::get_Gain(int band, int* gain)
{
    if (!ValidBandIndex(band))
        return false;
    CSingleLock hold(m_lock);
    if (gain)
        *gain = m_gainSetting[0][band];
    return true;
}

bool CGraphicEQ::get_Q(int band, int* q)
{
    if (!ValidBandIndex(band))
        return false;
    CSingleLock hold(m_lock);
    if (q)
        *q = m_QSetting[0][band];
    return true;
}

bool CGraphicEQ::GetVU(float* inL, float* inR, float* outL, float* outR)
{
    CSingleLock hold(m_lock);
    if (inL) *inL = m_peakInL;
    if (inR) *inR = m_peakInR;
    if (outL) *outL = m_peakOutL;
    if (outR) *outR = m_peakOutR;
    return true;
}

CEqualizerUnit* CGraphicEQ::GetUnit(int index)
{
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
void CGraphicEQ::OperateFilter(float** in, int offset, int count, float** out, float gi, float go, bool slice)
{
    const int channels = m_format.nChannels;
    if (channels != 1 && channels != 2)
        return;
    float* const b0 = m_buf[0];
    float* const b1 = m_buf[1];
    float* const b2 = m_buf[2];
    float* const b3 = m_buf[3];
    const float* inL = in[0] + offset;
    float* outL = out[0] + offset;
    bool over = false;

    if (channels == 2) {
        const float* inR = in[1] + offset;
        float* outR = out[1] + offset;
        for (int i = 0; i < count; ++i) {
            b0[i] = inL[i] * gi;
            b1[i] = inR[i] * gi;
            TrackPeak(m_peakInL, b0[i]);
            TrackPeak(m_peakInR, b1[i]);
        }
        // Bands in series, lowest first, ping-ponging between the A and B
        // buffers; with an odd band count the result ends in B (2 and 3).
        // Left and right of a band run in one loop: they are independent.
        for (int b = 0; b < kBandCount; ++b) {
            CEqualizerUnit& uL = m_units[2 * b];
            CEqualizerUnit& uR = m_units[2 * b + 1];
            if ((b & 1) == 0)
                CEqualizerUnit::OperateEqualizerPair(uL, b0, b2, uR, b1, b3, count, slice);
            else
                CEqualizerUnit::OperateEqualizerPair(uL, b2, b0, uR, b3, b1, count, slice);
        }
        for (int i = 0; i < count; ++i) {
            const float l = b2[i] * go;
            const float r = b3[i] * go;
            outL[i] = l;
            outR[i] = r;
            TrackPeak(m_peakOutL, l);
            TrackPeak(m_peakOutR, r);
            over |= static_cast<double>(std::fabs(l)) > m_threshold ||
                    static_cast<double>(std::fabs(r)) > m_threshold;
        }
    } else {
        for (int i = 0; i < count; ++i) {
            b0[i] = inL[i] * gi;
            TrackPeak(m_peakInL, b0[i]);
        }
        m_peakInR = m_peakInL;
        for (int b = 0; b < kBandCount; ++b) {
            if ((b & 1) == 0)
                m_units[b].OperateEqualizer(b0, b2, count, slice);
            else
                m_units[b].OperateEqualizer(b2, b0, count, slice);
        }
        for (int i = 0; i < count; ++i) {
            const float l = b2[i] * go;
            outL[i] = l;
            TrackPeak(m_peakOutL, l);
            over |= static_cast<double>(std::fabs(l)) > m_threshold;
        }
        m_peakOutR = m_peakOutL;
    }
    if (over)
        m_overLevel = true;
}

bool CGraphicEQ::Transform(float** in, int count, float** out, int* outCount, bool continueBlock)
{
    CSingleLock hold(m_lock);
    if (outCount)
        *outCount = count > 0 ? count : 0;
    if (!continueBlock)
        m_peakInL = m_peakInR = m_peakOutL = m_peakOutR = 0.0f;
    if (count <= 0 || !in || !out || !in[0] || !in[1] || !out[0] || !out[1])
        return true;

    if (!m_active || !m_filtersReady || !m_buffersReady || !m_units) {
        Bypass(in, 0, count, out);
        return true;
    }

    const float gi = LevelFactor(m_inputLevel);
    const float go = LevelFactor(m_outputLevel);
    for (int done = 0; done < count;) {
        const int n = count - done < m_bufferLength ? count - done : m_bufferLength;
        // A block longer than the work buffers runs in slices that continue
        // it, so the result does not depend on where it was cut.
        OperateFilter(in, done, n, out, gi, go, continueBlock || done > 0);
        done += n;
    }
    return true;
}
