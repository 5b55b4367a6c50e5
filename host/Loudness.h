#pragma once
// Loudness of steady test signals as ITU-R BS.1770 weighs it: each channel
// through the K-weighting (a high shelf of about +4 dB above 1.7 kHz, then a
// second-order high-pass at about 38 Hz), mean squares summed over the
// channels, -0.691 + 10 log10 of the sum. No gating: the signals measured
// here (pink noise through a plug-in) are steady, so the gated and ungated
// figures agree. Header-only and free of other host code, so tests measure
// with the same weighting.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace loudness {

// One biquad in direct form I, in double precision.
struct Biquad {
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    double Run(double x)
    {
        const double y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
        x2 = x1, x1 = x, y2 = y1, y1 = y;
        return y;
    }
};

// The two K-weighting sections for a sample rate, from their analogue
// prototypes (at 48 kHz they give the coefficients BS.1770 tabulates).
inline void KWeighting(double rate, Biquad& shelf, Biquad& highPass)
{
    const double pi = 3.14159265358979323846;
    {
        const double f0 = 1681.974450955533, gainDB = 3.999843853973347, q = 0.7071752369554196;
        const double k = std::tan(pi * f0 / rate);
        const double vh = std::pow(10.0, gainDB / 20.0), vb = std::pow(vh, 0.4996667741545416);
        const double a0 = 1.0 + k / q + k * k;
        shelf.b0 = (vh + vb * k / q + k * k) / a0;
        shelf.b1 = 2.0 * (k * k - vh) / a0;
        shelf.b2 = (vh - vb * k / q + k * k) / a0;
        shelf.a1 = 2.0 * (k * k - 1.0) / a0;
        shelf.a2 = (1.0 - k / q + k * k) / a0;
    }
    {
        const double f0 = 38.13547087602444, q = 0.5003270373238773;
        const double k = std::tan(pi * f0 / rate);
        const double a0 = 1.0 + k / q + k * k;
        highPass.b0 = 1.0, highPass.b1 = -2.0, highPass.b2 = 1.0;
        highPass.a1 = 2.0 * (k * k - 1.0) / a0;
        highPass.a2 = (1.0 - k / q + k * k) / a0;
    }
}

// Mean square of one channel after K-weighting, from sample `skip` on
// (the weighting runs over the skipped part too, so it has settled).
inline double WeightedMeanSquare(const std::vector<float>& x, double rate, size_t skip)
{
    Biquad shelf, highPass;
    KWeighting(rate, shelf, highPass);
    double sum = 0.0;
    size_t n = 0;
    for (size_t i = 0; i < x.size(); ++i) {
        const double z = highPass.Run(shelf.Run(x[i]));
        if (i >= skip)
            sum += z * z, ++n;
    }
    return n ? sum / static_cast<double>(n) : 0.0;
}

// Loudness in LUFS of the channels (front channels, weight 1 each).
inline double Lufs(const std::vector<std::vector<float>>& channels, double rate, size_t skip)
{
    double sum = 0.0;
    for (const auto& c : channels)
        sum += WeightedMeanSquare(c, rate, skip);
    return sum > 0.0 ? -0.691 + 10.0 * std::log10(sum) : -INFINITY;
}

// Pink noise (-3 dB per octave, flat within 0.5 dB from 10 Hz up: white
// noise through a sum of first-order low-passes), n samples scaled to an
// RMS of `rms`, repeatable for a seed.
inline std::vector<float> PinkNoise(size_t n, double rms, uint32_t seed)
{
    uint64_t s = 0x9E3779B97F4A7C15ull * (seed + 1);
    auto uniform = [&s] {  // xorshift64*, -1 .. 1
        s ^= s >> 12, s ^= s << 25, s ^= s >> 27;
        return static_cast<double>((s * 0x2545F4914F6CDD1Dull) >> 11) / 4503599627370496.0 - 1.0;
    };
    std::vector<double> p(n);
    double b0 = 0, b1 = 0, b2 = 0, b3 = 0, b4 = 0, b5 = 0, b6 = 0, sum = 0.0;
    for (size_t i = 0; i < n; ++i) {
        const double w = uniform();
        b0 = 0.99886 * b0 + w * 0.0555179;
        b1 = 0.99332 * b1 + w * 0.0750759;
        b2 = 0.96900 * b2 + w * 0.1538520;
        b3 = 0.86650 * b3 + w * 0.3104856;
        b4 = 0.55000 * b4 + w * 0.5329522;
        b5 = -0.7616 * b5 - w * 0.0168980;
        p[i] = b0 + b1 + b2 + b3 + b4 + b5 + b6 + w * 0.5362;
        b6 = w * 0.115926;
        sum += p[i] * p[i];
    }
    const double scale = sum > 0.0 ? rms / std::sqrt(sum / static_cast<double>(n)) : 0.0;
    std::vector<float> out(n);
    for (size_t i = 0; i < n; ++i)
        out[i] = static_cast<float>(p[i] * scale);
    return out;
}

}  // namespace loudness
