// The precise engine's plain kernel (sample by sample through the fifteen
// bands, no vectors), the choice of engine and kernel, and the denormal
// guard.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <xmmintrin.h>

#include "EngineKernels.h"

namespace graphiceq {

void SanitizeHistory(PreciseHistory& h)
{
    constexpr double kLimit = 1099511627776.0;  // 2^40, as for the reference engine
    for (int b = 0; b < kLanes; ++b) {
        const bool sane = std::fabs(h.x1[b]) <= kLimit && std::fabs(h.x2[b]) <= kLimit &&
                          std::fabs(h.y1[b]) <= kLimit && std::fabs(h.y2[b]) <= kLimit;
        if (b == kBands || !sane)
            h.x1[b] = h.x2[b] = h.y1[b] = h.y2[b] = 0.0;
    }
}

void RunPreciseScalar(const PreciseArgs& a)
{
    const int n = a.count;
    if (n <= 0)
        return;
    for (int c = 0; c < a.channels; ++c) {
        const PreciseCoeffs& q = *a.coeffs[c];
        PreciseHistory& h = *a.history[c];
        double x1[kBands], x2[kBands], y1[kBands], y2[kBands];
        for (int b = 0; b < kBands; ++b) {
            x1[b] = h.x1[b];
            x2[b] = h.x2[b];
            y1[b] = h.y1[b];
            y2[b] = h.y2[b];
        }
        const float* in = a.in[c];
        float* out = a.out[c];
        for (int i = 0; i < n; ++i) {
            double x = static_cast<double>(in[i]) * a.gi;
            for (int b = 0; b < kBands; ++b) {
                const double y = q.k[b] * x + (q.na1[b] * y1[b] + (q.na2[b] * y2[b] + (q.kb2[b] * x2[b] + q.kb1[b] * x1[b])));
                x2[b] = x1[b];
                x1[b] = x;
                y2[b] = y1[b];
                y1[b] = y;
                x = y;
            }
            out[i] = static_cast<float>(x * a.go);
        }
        for (int b = 0; b < kBands; ++b) {
            h.x1[b] = x1[b];
            h.x2[b] = x2[b];
            h.y1[b] = y1[b];
            h.y2[b] = y2[b];
        }
        SanitizeHistory(h);
    }
}

PreciseKernel KernelFor(Variant v)
{
    switch (v) {
    case Variant::Sse2: return RunPreciseSse2;
    case Variant::Avx2: return RunPreciseAvx2;
    case Variant::Avx512: return RunPreciseAvx512;
    case Variant::Scalar: break;
    }
    return RunPreciseScalar;
}

const char* VariantName(Variant v)
{
    switch (v) {
    case Variant::Sse2: return "sse2";
    case Variant::Avx2: return "avx2";
    case Variant::Avx512: return "avx512";
    case Variant::Scalar: break;
    }
    return "scalar";
}

bool VariantSupported(Variant v)
{
    switch (v) {
    case Variant::Avx512: return __builtin_cpu_supports("avx512f");
    case Variant::Avx2: return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    case Variant::Sse2: return __builtin_cpu_supports("sse2");
    case Variant::Scalar: break;
    }
    return true;
}

bool ParseVariant(const char* name, Variant* v)
{
    if (!name)
        return false;
    for (Variant c : {Variant::Scalar, Variant::Sse2, Variant::Avx2, Variant::Avx512}) {
        if (std::strcmp(name, VariantName(c)) == 0) {
            *v = c;
            return true;
        }
    }
    return false;
}

Variant DefaultVariant()
{
    Variant forced;
    if (ParseVariant(std::getenv("GRAPHICEQ_SIMD"), &forced) && VariantSupported(forced))
        return forced;
    for (Variant c : {Variant::Avx512, Variant::Avx2, Variant::Sse2}) {
        if (VariantSupported(c))
            return c;
    }
    return Variant::Scalar;
}

const char* EngineName(Engine e)
{
    return e == Engine::Reference ? "reference" : "precise";
}

bool ParseEngine(const char* name, Engine* e)
{
    if (!name)
        return false;
    for (Engine c : {Engine::Precise, Engine::Reference}) {
        if (std::strcmp(name, EngineName(c)) == 0) {
            *e = c;
            return true;
        }
    }
    return false;
}

Engine DefaultEngine()
{
    Engine e = Engine::Precise;
    ParseEngine(std::getenv("GRAPHICEQ_ENGINE"), &e);
    return e;
}

NoDenormals::NoDenormals() : m_saved(_mm_getcsr())
{
    constexpr unsigned kFlushToZero = 0x8000, kDenormalsAreZero = 0x0040;
    _mm_setcsr(m_saved | kFlushToZero | kDenormalsAreZero);
}

NoDenormals::~NoDenormals()
{
    _mm_setcsr(m_saved);
}

}  // namespace graphiceq
