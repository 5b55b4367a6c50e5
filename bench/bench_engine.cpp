// Throughput of the engine's block processing, stereo at 48 kHz, with every
// band boosted or cut so no section is a trivial pass-through: the precise
// engine once per kernel variant this processor runs, the reference engine's
// one kernel, and the default variant under special input (denormals, huge
// values, NaN, infinity) in every block.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

#include "CGraphicEQ.h"

namespace {

enum Input { kNoise, kDenormal, kHuge, kNaN, kInf };
const char* const kInputName[] = {"noise", "denormal", "huge", "nan", "inf"};

void Setup(CGraphicEQ& eq, int block, int channels)
{
    tWAVEFORMATEX fmt{};
    fmt.wFormatTag = 3;
    fmt.nChannels = static_cast<uint16_t>(channels);
    fmt.nSamplesPerSec = 48000;
    fmt.wBitsPerSample = 32;
    fmt.nBlockAlign = static_cast<uint16_t>(4 * channels);
    fmt.nAvgBytesPerSec = 48000 * fmt.nBlockAlign;
    eq.SetMediaType(&fmt, block);
    for (int b = 0; b < CGraphicEQ::kBandCount; ++b) {
        eq.set_Gain(b, (b % 2 ? 6 : -6) * 65536);
        eq.set_Q(b, (2 + b % 4) * 65536);
    }
}

void Run(benchmark::State& state, graphiceq::Engine engine, graphiceq::Variant variant, Input kind, int channels = 2)
{
    const int block = static_cast<int>(state.range(0));
    CGraphicEQ eq;
    eq.SetEngine(engine);
    if (!eq.SetVariant(variant)) {
        state.SkipWithError("variant not supported here");
        return;
    }
    Setup(eq, block, channels);
    std::vector<float> inL(block), inR(block), outL(block), outR(block);
    unsigned seed = 12345;
    for (int i = 0; i < block; ++i) {
        seed = seed * 1664525u + 1013904223u;
        inL[i] = static_cast<float>(seed >> 8) / 16777216.0f - 0.5f;
        inR[i] = 0.5f * std::sin(0.01f * static_cast<float>(i));
        // Every fourth sample of the special blocks carries the value.
        if (kind != kNoise && i % 4 == 1) {
            const float v = kind == kDenormal ? 1e-40f
                          : kind == kHuge     ? 1e30f
                          : kind == kNaN      ? std::numeric_limits<float>::quiet_NaN()
                                              : std::numeric_limits<float>::infinity();
            inL[i] = v;
            inR[i] = kind == kDenormal ? -v : v;
        }
        if (kind == kDenormal)
            inL[i] *= 1e-38f;  // the whole block is tiny, most of it denormal
    }
    float* in[2] = {inL.data(), inR.data()};
    float* out[2] = {outL.data(), outR.data()};
    int produced = 0;
    for (auto _ : state) {
        eq.Transform(in, block, out, &produced);
        benchmark::DoNotOptimize(outL.data());
        benchmark::DoNotOptimize(outR.data());
        benchmark::ClobberMemory();
    }
    const double frames = static_cast<double>(state.iterations()) * block;
    // Seconds per frame (stereo unless the name says mono); printed with
    // its SI prefix, e.g. "9.3n".
    state.counters["per_frame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.SetItemsProcessed(static_cast<int64_t>(frames));
    state.SetLabel(engine == graphiceq::Engine::Reference ? "reference" : graphiceq::VariantName(variant));
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    const graphiceq::Variant chosen = graphiceq::DefaultVariant();
    std::printf("graphiceq-bench: default variant %s (GRAPHICEQ_SIMD overrides)\n",
                graphiceq::VariantName(chosen));
    using graphiceq::Engine;
    using graphiceq::Variant;
    // name/engine-or-variant, e.g. BM_Transform/avx512 (precise) and
    // BM_Transform/reference.
    auto add = [](const std::string& name, Engine engine, Variant v, int channels, std::initializer_list<int> blocks) {
        auto* b = benchmark::RegisterBenchmark(name.c_str(), [engine, v, channels](benchmark::State& s) {
            Run(s, engine, v, kNoise, channels);
        });
        for (int n : blocks)
            b->Arg(n);
        b->Unit(benchmark::kMicrosecond);
    };
    std::vector<std::pair<std::string, std::pair<Engine, Variant>>> kernels;
    for (Variant v : {Variant::Scalar, Variant::Sse2, Variant::Avx2, Variant::Avx512}) {
        if (graphiceq::VariantSupported(v))
            kernels.push_back({graphiceq::VariantName(v), {Engine::Precise, v}});
    }
    kernels.push_back({"reference", {Engine::Reference, Variant::Scalar}});
    for (const auto& [label, k] : kernels) {
        add("BM_Transform/" + label, k.first, k.second, 2, {64, 512, 4096});
        // Hosts that cut blocks into a few frames, and mono.
        add("BM_Tiny/" + label, k.first, k.second, 2, {1, 4, 7});
        add("BM_Mono/" + label, k.first, k.second, 1, {64, 512});
    }
    for (Input kind : {kNoise, kDenormal, kHuge, kNaN, kInf}) {
        const std::string name = std::string("BM_Special/") + kInputName[kind];
        benchmark::RegisterBenchmark(name.c_str(), [chosen, kind](benchmark::State& s) {
            Run(s, Engine::Precise, chosen, kind);
        })->Arg(512)->Unit(benchmark::kMicrosecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
