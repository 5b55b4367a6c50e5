#pragma once
// Helpers shared by the engine tests: a plain, literal implementation of the
// filter recursion and of the engine's block path, against which the
// optimised engine must agree bit for bit, and magnitude-response helpers.
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <vector>

#include "CEqualizerUnit.h"
#include "CGraphicEQ.h"

namespace ref {

inline uint32_t Bits(float f)
{
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

inline float FlushTiny(float y)
{
    const int e = static_cast<int>((Bits(y) >> 23) & 0xFF) - 127;
    return e < -20 ? 0.0f : y;
}

struct Coeffs {
    float k, b1, b2, a1, a2;
};

inline Coeffs Of(const CEqualizerUnit& u)
{
    return {u.GetK(), u.GetB1(), u.GetB2(), u.GetA1(), u.GetA2()};
}

// One section with its history, written exactly as the recursion reads:
// the first two outputs of a block from the carried history, the rest from
// the block's own arrays, history taken from the arrays at the end.
struct Section {
    Coeffs c;
    float x1 = 0, x2 = 0, y1 = 0, y2 = 0;

    void Run(const float* in, float* out, int count)
    {
        const float k = c.k, b1 = c.b1, b2 = c.b2, a1 = c.a1, a2 = c.a2;
        float y = k * b2 * x2 + (b1 * k * x1 + in[0] * k) - (a2 * y2 + a1 * y1);
        out[0] = FlushTiny(y);
        y = k * b2 * x1 + (b1 * k * in[0] + in[1] * k) - (a2 * y1 + a1 * out[0]);
        out[1] = FlushTiny(y);
        for (int n = 2; n < count; ++n) {
            y = k * b2 * in[n - 2] + (b1 * k * in[n - 1] + in[n] * k) - a1 * out[n - 1] - a2 * out[n - 2];
            out[n] = FlushTiny(y);
        }
        y1 = out[count - 1];
        y2 = out[count - 2];
        x1 = in[count - 1];
        x2 = in[count - 2];
    }
};

// The stereo engine path, band by band, left channel then right channel.
struct StereoEngine {
    Section left[15], right[15];
    float inLevelDB = 0, outLevelDB = -6;

    void Run(const float* inL, const float* inR, float* outL, float* outR, int count)
    {
        std::vector<float> b0(count), b1(count), b2(count), b3(count);
        const float gi = std::pow(10.0f, inLevelDB / 20.0f);
        const float go = std::pow(10.0f, outLevelDB / 20.0f);
        for (int i = 0; i < count; ++i) {
            b0[i] = inL[i] * gi;
            b1[i] = inR[i] * gi;
        }
        for (int b = 0; b < 15; ++b) {
            if (b % 2 == 0)
                left[b].Run(b0.data(), b2.data(), count);
            else
                left[b].Run(b2.data(), b0.data(), count);
        }
        for (int b = 0; b < 15; ++b) {
            if (b % 2 == 0)
                right[b].Run(b1.data(), b3.data(), count);
            else
                right[b].Run(b3.data(), b1.data(), count);
        }
        for (int i = 0; i < count; ++i) {
            outL[i] = b2[i] * go;
            outR[i] = b3[i] * go;
        }
    }
};

// The precise engine's recursion written plainly: double state and sums,
// one section after the other for each sample, rounded to single precision
// only at the output.
struct PreciseStereo {
    struct Band {
        double k = 1, kb1 = 0, kb2 = 0, na1 = 0, na2 = 0;
        double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    };
    Band left[15], right[15];
    double gi = 1, go = 1;

    static void Run(Band* bands, const float* in, float* out, int count, double gi, double go)
    {
        for (int i = 0; i < count; ++i) {
            double x = static_cast<double>(in[i]) * gi;
            for (int b = 0; b < 15; ++b) {
                Band& s = bands[b];
                const double y = s.k * x + (s.na1 * s.y1 + (s.na2 * s.y2 + (s.kb2 * s.x2 + s.kb1 * s.x1)));
                s.x2 = s.x1;
                s.x1 = x;
                s.y2 = s.y1;
                s.y1 = y;
                x = y;
            }
            out[i] = static_cast<float>(x * go);
        }
    }
    void Run(const float* inL, const float* inR, float* outL, float* outR, int count)
    {
        Run(left, inL, outL, count, gi, go);
        Run(right, inR, outR, count, gi, go);
    }
};

// Distance in representable floats between two finite values of one sign.
inline int64_t UlpDistance(float a, float b)
{
    auto key = [](float f) {
        const int64_t u = Bits(f);
        return u & 0x80000000 ? -(u & 0x7FFFFFFF) : u;
    };
    const int64_t d = key(a) - key(b);
    return d < 0 ? -d : d;
}

// The precise engine's fused variants against the plain double recursion:
// one rounding fewer per multiply-add may move an output by its last bit, or
// a quiet one by a few, never by more than 1e-9 (-180 dBFS).
inline bool CloseToPrecise(float got, float want)
{
    return UlpDistance(got, want) <= 1 || std::fabs(got - want) < 1e-9f;
}

// |H(e^{j theta})| of a designed section, in double.
inline double Magnitude(const Coeffs& c, double theta)
{
    const std::complex<double> z1 = std::polar(1.0, -theta);
    const std::complex<double> num = 1.0 + static_cast<double>(c.b1) * z1 + static_cast<double>(c.b2) * z1 * z1;
    const std::complex<double> den = 1.0 + static_cast<double>(c.a1) * z1 + static_cast<double>(c.a2) * z1 * z1;
    return static_cast<double>(c.k) * std::abs(num / den);
}

inline double DB(double x) { return 20.0 * std::log10(x); }

// The angular frequency a section is actually centred on, per nominal Hz.
constexpr double kOmegaPerHz = 6.2825185307;

inline tWAVEFORMATEX Format(uint32_t rate, uint16_t channels = 2)
{
    tWAVEFORMATEX f{};
    f.wFormatTag = 3;
    f.nChannels = channels;
    f.nSamplesPerSec = rate;
    f.wBitsPerSample = 32;
    f.nBlockAlign = static_cast<uint16_t>(4 * channels);
    f.nAvgBytesPerSec = rate * f.nBlockAlign;
    return f;
}

inline std::vector<float> Noise(int n, uint32_t seed, float amp = 0.5f)
{
    std::vector<float> v(n);
    for (int i = 0; i < n; ++i) {
        seed = seed * 1664525u + 1013904223u;
        v[i] = amp * (static_cast<float>(seed >> 8) / 8388608.0f - 1.0f);
    }
    return v;
}

inline int FixedDB(double dB) { return static_cast<int>(dB * 65536.0); }

inline void Prepare(CGraphicEQ& eq, uint32_t rate, int maxBlock, uint16_t channels = 2)
{
    const tWAVEFORMATEX f = Format(rate, channels);
    eq.SetMediaType(&f, maxBlock);
}

// One Transform call over separate channel buffers; returns the count produced.
inline int Transform(CGraphicEQ& eq, float* l, float* r, float* outL, float* outR, int n,
                     bool continues = false)
{
    float* in[2] = {l, r};
    float* out[2] = {outL, outR};
    int produced = -1;
    eq.Transform(in, n, out, &produced, continues);
    return produced;
}

// The plain engine with the sections and levels eq holds now.
inline StereoEngine PlainOf(CGraphicEQ& eq)
{
    StereoEngine plain;
    int in = 0, out = 0;
    eq.get_InputLevel(&in);
    eq.get_OutputLevel(&out);
    plain.inLevelDB = static_cast<float>(in) * 1.5258789e-5f;
    plain.outLevelDB = static_cast<float>(out) * 1.5258789e-5f;
    for (int b = 0; b < 15; ++b) {
        plain.left[b].c = Of(*eq.GetUnit(2 * b));
        plain.right[b].c = Of(*eq.GetUnit(2 * b + 1));
    }
    return plain;
}

// The plain precise recursion with the sections and levels eq holds now.
inline PreciseStereo PrecisePlainOf(CGraphicEQ& eq)
{
    PreciseStereo plain;
    int in = 0, out = 0;
    eq.get_InputLevel(&in);
    eq.get_OutputLevel(&out);
    plain.gi = std::pow(10.0, static_cast<double>(static_cast<float>(in) * 1.5258789e-5f) / 20.0);
    plain.go = std::pow(10.0, static_cast<double>(static_cast<float>(out) * 1.5258789e-5f) / 20.0);
    for (int b = 0; b < 15; ++b) {
        for (int c = 0; c < 2; ++c) {
            const Coeffs u = Of(*eq.GetUnit(2 * b + c));
            PreciseStereo::Band& s = c == 0 ? plain.left[b] : plain.right[b];
            s.k = u.k;
            s.kb1 = static_cast<double>(u.k) * u.b1;
            s.kb2 = static_cast<double>(u.k) * u.b2;
            s.na1 = -static_cast<double>(u.a1);
            s.na2 = -static_cast<double>(u.a2);
        }
    }
    return plain;
}

}  // namespace ref
