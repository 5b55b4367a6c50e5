#pragma once
// The engine's block kernels: fifteen peaking sections in series for one or
// two channels, in several instruction-set widths that all give the same
// result bit for bit. Every kernel reads the coefficients and carries the
// history in "lane" arrays: index b is band b, index 15 is an idle lane that
// only exists so that the bands fill sixteen lanes.
#include <cstdint>

namespace graphiceq {

constexpr int kLanes = 16;
constexpr int kBands = 15;

struct alignas(64) LaneCoeffs {
    float kb2[kLanes];  // k * b2
    float b1k[kLanes];  // b1 * k
    float k[kLanes];
    float a1[kLanes];
    float a2[kLanes];
};

struct alignas(64) LaneHistory {
    float x1[kLanes];  // last input of each band
    float x2[kLanes];  // last-but-one input
    float y1[kLanes];  // last output
    float y2[kLanes];  // last-but-one output
};

struct KernelArgs {
    const float* in[2];   // channel inputs, count samples
    float* out[2];        // channel outputs; may be the inputs themselves
    const LaneCoeffs* coeffs[2];
    LaneHistory* history[2];
    float* work[4];       // count floats each, for the band-by-band kernel
    int channels;         // 1 or 2
    int count;            // >= 1
    bool slice;           // continues a block begun by an earlier call
    float gi, go;         // input and output level factors
};

enum class Variant { Scalar, Sse2, Avx2, Avx512 };

using Kernel = void (*)(const KernelArgs&);

// Runs every band of every channel over count samples: in * gi, through the
// fifteen sections, times go into out. The history of a band that ends the
// call holding an infinity, a NaN or a huge value restarts from zero.
void RunScalar(const KernelArgs& args);
void RunSse2(const KernelArgs& args);
void RunAvx2(const KernelArgs& args);
void RunAvx512(const KernelArgs& args);

Kernel KernelFor(Variant v);
const char* VariantName(Variant v);
bool VariantSupported(Variant v);
// The widest variant this processor runs, unless the environment variable
// GRAPHICEQ_SIMD (scalar, sse2, avx2, avx512) names a supported one.
Variant DefaultVariant();
bool ParseVariant(const char* name, Variant* v);

// Shared by every kernel: a band whose history holds an infinity, a NaN or
// a magnitude beyond 2^40 restarts from zero, so one bad block does not
// silence the rest of the session; the idle lane is kept at zero.
void SanitizeHistory(LaneHistory& h);

}  // namespace graphiceq
