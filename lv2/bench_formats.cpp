// Both formats of the built plug-in, side by side in one run: the VST 2.4
// GraphicEQ.so through its entry point and the LV2 bundle through lilv, the
// same noise, the same rate and block sizes, default settings. Reports the
// cost per stereo frame (per_frame).
//
//   graphiceq-lv2-bench [--benchmark_repetitions=N]
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <lilv/lilv.h>
#include <lv2/urid/urid.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "Lv2Ids.h"
#include "PortMap.h"
#include "VstDefs.h"

namespace {

constexpr double kRate = 48000.0;

std::vector<float> Noise(size_t n, uint32_t seed)
{
    std::vector<float> v(n);
    for (float& x : v) {
        seed = seed * 1664525u + 1013904223u;
        x = (static_cast<float>(seed >> 8) / 16777216.0f - 0.5f) * 0.5f;
    }
    return v;
}

VstIntPtr Host(AEffect*, VstInt32 opcode, VstInt32, VstIntPtr, void*, float)
{
    return opcode == audioMasterVersion ? 2400 : 0;
}

void BM_Vst(benchmark::State& state)
{
    const int block = static_cast<int>(state.range(0));
    void* lib = dlopen(GRAPHICEQ_SO_PATH, RTLD_NOW | RTLD_LOCAL);
    auto entry = lib ? reinterpret_cast<VstPluginMainProc>(dlsym(lib, "VSTPluginMain")) : nullptr;
    AEffect* fx = entry ? entry(Host) : nullptr;
    if (!fx) {
        state.SkipWithError("cannot load GraphicEQ.so");
        return;
    }
    fx->dispatcher(fx, effOpen, 0, 0, nullptr, 0);
    fx->dispatcher(fx, effSetSampleRate, 0, 0, nullptr, static_cast<float>(kRate));
    fx->dispatcher(fx, effSetBlockSize, 0, block, nullptr, 0);
    fx->dispatcher(fx, effMainsChanged, 0, 1, nullptr, 0);
    std::vector<float> l = Noise(block, 1), r = Noise(block, 2), ol(block), orr(block);
    float* in[2] = {l.data(), r.data()};
    float* out[2] = {ol.data(), orr.data()};
    for (auto _ : state)
        fx->processReplacing(fx, in, out, block);
    state.counters["per_frame"] = benchmark::Counter(static_cast<double>(state.iterations()) * block,
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    fx->dispatcher(fx, effMainsChanged, 0, 0, nullptr, 0);
    fx->dispatcher(fx, effClose, 0, 0, nullptr, 0);
}

LV2_URID Map(LV2_URID_Map_Handle h, const char* uri)
{
    auto* ids = static_cast<std::map<std::string, LV2_URID>*>(h);
    auto it = ids->find(uri);
    if (it != ids->end())
        return it->second;
    const LV2_URID id = static_cast<LV2_URID>(ids->size() + 1);
    (*ids)[uri] = id;
    return id;
}

void BM_Lv2(benchmark::State& state)
{
    const uint32_t block = static_cast<uint32_t>(state.range(0));
    LilvWorld* world = lilv_world_new();
    LilvNode* bundle = lilv_new_file_uri(world, nullptr, GRAPHICEQ_LV2_BUNDLE_PATH "/");
    lilv_world_load_bundle(world, bundle);
    LilvNode* uri = lilv_new_uri(world, GRAPHICEQ_LV2_URI);
    const LilvPlugin* plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uri);
    std::map<std::string, LV2_URID> ids;
    LV2_URID_Map map{&ids, &Map};
    LV2_Feature mapFeature{LV2_URID__map, &map};
    const LV2_Feature* features[] = {&mapFeature, nullptr};
    LilvInstance* inst = plugin ? lilv_plugin_instantiate(plugin, kRate, features) : nullptr;
    if (inst) {
        std::vector<float> controls(lv2port::kNumPorts, 0.0f);
        for (int i = 0; i < kNumParams; ++i)
            controls[i] = lv2port::PortDefault(i);
        std::vector<float> l = Noise(block, 1), r = Noise(block, 2), ol(block), orr(block);
        for (uint32_t p = 0; p < lv2port::kNumPorts; ++p)
            lilv_instance_connect_port(inst, p, &controls[p]);
        lilv_instance_connect_port(inst, lv2port::kInL, l.data());
        lilv_instance_connect_port(inst, lv2port::kInR, r.data());
        lilv_instance_connect_port(inst, lv2port::kOutL, ol.data());
        lilv_instance_connect_port(inst, lv2port::kOutR, orr.data());
        lilv_instance_activate(inst);
        for (auto _ : state)
            lilv_instance_run(inst, block);
        state.counters["per_frame"] = benchmark::Counter(static_cast<double>(state.iterations()) * block,
                                                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
        lilv_instance_deactivate(inst);
        lilv_instance_free(inst);
    } else {
        state.SkipWithError("cannot instantiate the LV2 bundle");
    }
    lilv_node_free(uri);
    lilv_node_free(bundle);
    lilv_world_free(world);
}

BENCHMARK(BM_Vst)->Arg(64)->Arg(512)->Arg(4096)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Lv2)->Arg(64)->Arg(512)->Arg(4096)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
