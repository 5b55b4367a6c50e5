#include "CEqualizerUnit.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>

namespace {

// Deliberately not 2*pi: every bell sits at 0.99989 of its nominal frequency,
// and presets were tuned by ear with this constant.
constexpr double kTwoPiApprox = 6.2825185307;
constexpr float kE = 2.718282f;

// Values whose magnitude is below 2^-20 (about -120 dB) become exact zeros,
// denormals included, so a decaying tail never lands in slow denormal
// arithmetic. Infinities and NaNs pass unchanged.
inline float Flush(float y)
{
    uint32_t bits;
    std::memcpy(&bits, &y, sizeof bits);
    const uint32_t biasedExp = (bits >> 23) & 0xFFu;
    return biasedExp < 127u - 20u ? 0.0f : y;
}

}  // namespace

// Coefficient products formed once per block, in the exact order in which the
// per-sample formula multiplies them, plus the history the block starts from.
struct CEqualizerUnit::State {
    float kb2;  // k * b2
    float b1k;  // b1 * k
    float k;
    float a1, a2;
    float x1, x2, y1, y2;
};

CEqualizerUnit::CEqualizerUnit()
    : m_T(1.0f / 44100.0f), m_freq(1000.0f), m_Q(3.0f), m_gain(1.0f),
      m_k(1.0f), m_b1(0.0f), m_b2(0.0f), m_a1(0.0f), m_a2(0.0f),
      m_y1(0.0f), m_y2(0.0f), m_x1(0.0f), m_x2(0.0f)
{
    CalcCoefficients();
}

CEqualizerUnit::~CEqualizerUnit() = default;

void CEqualizerUnit::SetParams(float samplingPeriod, float frequency, float q, float gain)
{
    m_T = samplingPeriod;
    m_freq = frequency;
    m_Q = q;
    m_gain = gain;
    CalcCoefficients();
}

void CEqualizerUnit::CalcCoefficients()
{
    const float T = m_T;
    const float G = m_gain;
    const float w = static_cast<float>(static_cast<double>(m_freq) * kTwoPiApprox);
    const float d = static_cast<float>(1.0 / (2.0 * static_cast<double>(m_Q)));

    // A boost widens the zeros, a cut narrows the poles by the same factor, so
    // a cut is the mirror image of the boost of the same size. A NaN gain
    // takes the cut branch.
    float zetaZ, zetaP;
    if (G >= 1.0f) {
        zetaP = d;
        zetaZ = G * d;
    } else {
        zetaP = d / G;
        zetaZ = d;
    }

    const float theta = w * T;
    const float rz = static_cast<float>(std::pow(static_cast<double>(kE), static_cast<double>(-(zetaZ * theta))));
    const float rp = static_cast<float>(std::pow(static_cast<double>(kE), static_cast<double>(-(theta * zetaP))));

    // For damping above 1 the root is imaginary and the complex cosine turns
    // into a hyperbolic one: the roots stay real without a separate case.
    const std::complex<float> cz =
        std::sqrt(std::complex<float>(static_cast<float>(1.0 - static_cast<double>(zetaZ * zetaZ)), 0.0f));
    const std::complex<float> argZ = cz * T * w;
    m_b1 = -2.0f * rz * std::cos(argZ).real();
    m_b2 = rz * rz;

    const std::complex<float> cp =
        std::sqrt(std::complex<float>(static_cast<float>(1.0 - static_cast<double>(zetaP * zetaP)), 0.0f));
    const std::complex<float> argP = cp * T * w;
    m_a1 = -2.0f * rp * std::cos(argP).real();
    m_a2 = rp * rp;

    // Scale the numerator so |H| at theta is exactly G.
    const double c = std::cos(static_cast<double>(theta));
    const double s = std::sin(static_cast<double>(theta));
    const double a1 = m_a1, a2 = m_a2, b1 = m_b1, b2 = m_b2;
    const double pr = (1.0 + a2) * c + a1;
    const double pi = -(a2 - 1.0) * s;
    const float PA = static_cast<float>(pr * pr + pi * pi);
    const double zr = (1.0 + b2) * c + b1;
    const double zi = -(b2 - 1.0) * s;
    const float PB = static_cast<float>(zr * zr + zi * zi);
    m_k = static_cast<float>(std::sqrt(static_cast<double>(PA)) * static_cast<double>(G) /
                             std::sqrt(static_cast<double>(PB)));
}

void CEqualizerUnit::LoadState(State& s) const
{
    s.kb2 = m_k * m_b2;
    s.b1k = m_b1 * m_k;
    s.k = m_k;
    s.a1 = m_a1;
    s.a2 = m_a2;
    s.x1 = m_x1;
    s.x2 = m_x2;
    s.y1 = m_y1;
    s.y2 = m_y2;
}

void CEqualizerUnit::StoreState(const State& s)
{
    // A NaN or infinity in the history would otherwise keep the section
    // silent-or-screaming for the rest of the session: the block that carried
    // it passes it on, the next block starts from silence.
    if (std::isfinite(s.x1) && std::isfinite(s.x2) && std::isfinite(s.y1) && std::isfinite(s.y2)) {
        m_x1 = s.x1;
        m_x2 = s.x2;
        m_y1 = s.y1;
        m_y2 = s.y2;
    } else {
        m_x1 = m_x2 = m_y1 = m_y2 = 0.0f;
    }
}

namespace {

// The recursion, sample by sample. The first two samples of a block use the
// history with the feedback grouped as (a2*y2 + a1*y1); later samples
// subtract the two feedback terms one after the other. Both groupings are part
// of the reproducible result. The history advances with every sample, so a
// block split anywhere gives the same output as one call.
struct Section {
    float kb2, b1k, k, a1, a2;
    float x1, x2, y1, y2;
    int n;  // samples done in this block

    inline float Step(float x)
    {
        float y;
        if (n >= 2)
            y = kb2 * x2 + (b1k * x1 + x * k) - a1 * y1 - a2 * y2;
        else
            y = kb2 * x2 + (b1k * x1 + x * k) - (a2 * y2 + a1 * y1);
        y = Flush(y);
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        ++n;
        return y;
    }
};

}  // namespace

void CEqualizerUnit::OperateEqualizer(const float* in, float* out, int count, bool continueBlock)
{
    if (count <= 0)
        return;
    State st;
    LoadState(st);
    Section s{st.kb2, st.b1k, st.k, st.a1, st.a2, st.x1, st.x2, st.y1, st.y2, continueBlock ? 2 : 0};
    for (int i = 0; i < count; ++i)
        out[i] = s.Step(in[i]);
    st.x1 = s.x1;
    st.x2 = s.x2;
    st.y1 = s.y1;
    st.y2 = s.y2;
    StoreState(st);
}
