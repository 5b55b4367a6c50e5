#pragma once
// The engine's block kernels: fifteen peaking sections in series for one or
// two channels. Two engines share the sections' coefficients:
//
// - the precise engine (the default) keeps every section's state and sums in
//   double precision, so what it adds to the ideal filter stays far below
//   anything audible at every sample rate; it comes in several
//   instruction-set widths, chosen at run time;
// - the reference engine is the plain single-precision recursion, reproducible
//   bit for bit, in one scalar kernel.
//
// Every kernel reads the coefficients and carries the history in "lane"
// arrays: index b is band b, index 15 is an idle lane that only exists so
// that the bands fill sixteen lanes.
#include <cstdint>

namespace graphiceq {

constexpr int kLanes = 16;
constexpr int kBands = 15;

// ---- reference engine (single precision) ----

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
    float* work[4];       // count floats each
    int channels;         // 1 or 2
    int count;            // >= 1
    bool slice;           // continues a block begun by an earlier call
    float gi, go;         // input and output level factors
};

// Band by band, each band over the whole block, with the tiny-value flush
// and the first-two-samples grouping of the single-precision recursion.
void RunReference(const KernelArgs& args);

// A band whose history holds an infinity, a NaN or a magnitude beyond 2^40
// restarts from zero, so one bad block does not silence the rest of the
// session; the idle lane is kept at zero.
void SanitizeHistory(LaneHistory& h);

// ---- precise engine (double precision) ----

// The same sections (the single-precision coefficients, each exact in
// double), rearranged for the recursion
//   y = k*x + (na1*y1 + (na2*y2 + (kb2*x2 + kb1*x1)))
// which every precise kernel evaluates in exactly this order.
struct alignas(64) PreciseCoeffs {
    double k[kLanes];
    double kb1[kLanes];  // k * b1
    double kb2[kLanes];  // k * b2
    double na1[kLanes];  // -a1
    double na2[kLanes];  // -a2
};

struct alignas(64) PreciseHistory {
    double x1[kLanes];
    double x2[kLanes];
    double y1[kLanes];
    double y2[kLanes];
};

struct PreciseArgs {
    const float* in[2];   // channel inputs, count samples
    float* out[2];        // channel outputs; may be the inputs themselves
    const PreciseCoeffs* coeffs[2];
    PreciseHistory* history[2];
    int channels;         // 1 or 2
    int count;            // >= 1
    double gi, go;        // input and output level factors
};

enum class Variant { Scalar, Sse2, Avx2, Avx512 };

using PreciseKernel = void (*)(const PreciseArgs&);

// Each runs every band of every channel over count samples: in * gi,
// through the fifteen sections, times go into out, rounded to single
// precision only there. The result does not depend on how a stream is cut
// into calls. Scalar and sse2 give identical results; avx2 and avx512 fuse
// each multiply-add (one rounding fewer) and agree with each other. The
// history of a band that ends the call holding an infinity, a NaN or a huge
// value restarts from zero. The caller keeps denormals out (FTZ/DAZ, see
// NoDenormals).
void RunPreciseScalar(const PreciseArgs& args);
void RunPreciseSse2(const PreciseArgs& args);
void RunPreciseAvx2(const PreciseArgs& args);
void RunPreciseAvx512(const PreciseArgs& args);
void SanitizeHistory(PreciseHistory& h);

PreciseKernel KernelFor(Variant v);
const char* VariantName(Variant v);
bool VariantSupported(Variant v);
// The widest variant this processor runs, unless the environment variable
// GRAPHICEQ_SIMD (scalar, sse2, avx2, avx512) names a supported one.
Variant DefaultVariant();
bool ParseVariant(const char* name, Variant* v);

enum class Engine { Precise, Reference };
const char* EngineName(Engine e);  // "precise", "reference"
bool ParseEngine(const char* name, Engine* e);
// Precise, unless the environment variable GRAPHICEQ_ENGINE says reference.
Engine DefaultEngine();

// Sets flush-to-zero and denormals-are-zero for its lifetime and restores
// the caller's floating-point control word afterwards. In double precision
// a value reaches the denormal range only 600 dB below full scale, so this
// changes nothing audible; it only keeps decaying tails off the processor's
// slow path.
class NoDenormals {
public:
    NoDenormals();
    ~NoDenormals();
    NoDenormals(const NoDenormals&) = delete;
    NoDenormals& operator=(const NoDenormals&) = delete;

private:
    unsigned m_saved;
};

}  // namespace graphiceq
