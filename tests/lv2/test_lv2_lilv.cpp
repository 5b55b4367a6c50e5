// The LV2 bundle as a lilv host loads it: its output against the VST build's
// (the same effect, set to the same values), its state through lilv, its
// factory presets, and its run() under the real-time checker.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "AEffEditor.h"
#include "AudioEffect.h"
#include "GraphicEQLink.h"
#include "LilvHost.h"
#include "PortMap.h"
#include "TestHost.h"
#include "rtcheck.h"

namespace {

using lv2port::PortFromNormalized;

// Parameter values in the units the ports take, turned into the VST's
// normalised values by the parameter table's ranges.
float GainNorm(double db) { return static_cast<float>((db + 12.0) / 24.0); }
float QNorm(double q) { return static_cast<float>((q - 1.0) / 19.0); }
float LevelNorm(double db, double top)
{
    const float amp = static_cast<float>(std::pow(2.0, db / 6.0));
    return static_cast<float>((amp - 0.001) / static_cast<double>(static_cast<float>(top - 0.001)));
}

struct Setting {
    const char* symbol;
    int index;       // VST parameter
    float port;      // LV2 value
    float normalised;
};

std::vector<Setting> FirstSettings()
{
    return {{"on_off", 0, 1.0f, 1.0f},
            {"output", 1, 6.0f, LevelNorm(6.0, 2.0)},
            {"input", 2, 0.0f, LevelNorm(0.0, 1.0)},
            {"gain_1_0khz", 3 + 8, 6.0f, GainNorm(6.0)},
            {"gain_63hz", 3 + 2, -4.5f, GainNorm(-4.5)},
            {"q_1_0khz", 18 + 8, 10.0f, QNorm(10.0)},
            {"gain_16_0khz", 3 + 14, 12.0f, GainNorm(12.0)}};
}

std::vector<Setting> SecondSettings()
{
    return {{"output", 1, -6.0f, LevelNorm(-6.0, 2.0)},
            {"gain_1_0khz", 3 + 8, -7.5f, GainNorm(-7.5)},
            {"q_25hz", 18, 20.0f, QNorm(20.0)},
            {"input", 2, -6.0f, LevelNorm(-6.0, 1.0)}};
}

void Signal(std::vector<float>& l, std::vector<float>& r, uint32_t start, uint32_t n, double rate)
{
    uint32_t seed = 12345u + start;
    for (uint32_t i = 0; i < n; ++i) {
        l[i] = 0.5f * static_cast<float>(std::sin(2.0 * M_PI * 1000.0 * (start + i) / rate));
        seed = seed * 1664525u + 1013904223u;
        r[i] = 0.3f * (static_cast<float>(seed >> 8) / 16777216.0f - 0.5f);
    }
}

double MeterOf(const float* x, uint32_t n)
{
    float peak = 0.0f;
    for (uint32_t i = 0; i < n; ++i)
        peak = std::max(peak, std::fabs(x[i]));
    return std::max(-60.0, std::min(6.0, 6.0 * std::log2(static_cast<double>(peak))));
}

// Blocks of any size, split or not, changes between blocks: sample for sample
// what the VST build plays with the same settings.
TEST(Lv2Bundle, OutputMatchesTheVstBuildSampleForSample)
{
    struct Case {
        double rate;
        std::vector<uint32_t> blocks;
    };
    const Case cases[] = {{44100.0, {512, 512, 512, 512, 512, 512}},
                          {48000.0, {1, 7, 333, 64, 4096, 10000, 3, 2048}},
                          {96000.0, {17, 256, 255, 1, 1000, 999}}};
    LilvHost host;
    ASSERT_NE(host.plugin, nullptr);
    PluginLibrary lib;
    ASSERT_NE(lib.handle, nullptr);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.rate);
        LilvEffect lv2(host, c.rate);
        ASSERT_NE(lv2.instance, nullptr);
        TestEffect vst(lib, static_cast<float>(c.rate), 512);
        ASSERT_NE(vst.fx, nullptr);
        std::vector<float> vl(LilvEffect::kMaxFrames), vr(LilvEffect::kMaxFrames);
        uint32_t t = 0;
        for (size_t b = 0; b < c.blocks.size(); ++b) {
            const uint32_t n = c.blocks[b];
            // Settings, new settings, switched off for a block, on again.
            std::vector<Setting> change;
            if (b == 0)
                change = FirstSettings();
            else if (b == c.blocks.size() / 2)
                change = SecondSettings();
            else if (b == c.blocks.size() / 2 + 1 || b + 1 == c.blocks.size())
                change = {{"on_off", 0, b + 1 == c.blocks.size() ? 1.0f : 0.0f, b + 1 == c.blocks.size() ? 1.0f : 0.0f}};
            for (const Setting& s : change) {
                lv2.Control(s.symbol) = s.port;
                vst.Set(s.index, s.normalised);
            }
            Signal(lv2.audio[0], lv2.audio[1], t, n, c.rate);
            Signal(vl, vr, t, n, c.rate);
            lv2.Run(n);
            vst.Process(vl.data(), vr.data(), static_cast<VstInt32>(n));
            for (uint32_t i = 0; i < n; ++i) {
                ASSERT_EQ(lv2.audio[2][i], vl[i]) << "left, block " << b << " frame " << i;
                ASSERT_EQ(lv2.audio[3][i], vr[i]) << "right, block " << b << " frame " << i;
            }
            if (n <= 8192) {
                EXPECT_NEAR(lv2.Control("meter_out_l"), MeterOf(vl.data(), n), 1e-3);
                EXPECT_NEAR(lv2.Control("meter_out_r"), MeterOf(vr.data(), n), 1e-3);
            }
            if (b + 1 == c.blocks.size() / 2) {
                EXPECT_EQ(lv2.Control("over"), 1.0f);  // +6 dB out, +6 dB at 1 kHz
            }
            t += n;
        }
        EXPECT_EQ(lv2.Control("over"), 0.0f);
        EXPECT_LT(lv2.Control("meter_in_r"), lv2.Control("meter_in_l"));
    }
}

// A bank with program 7 current and edited values goes through lilv's state
// (to text and back) into a second instance and comes back bit for bit.
TEST(Lv2Bundle, StateRoundTripsThroughLilvBitForBit)
{
    LilvHost host;
    ASSERT_NE(host.plugin, nullptr);
    LilvEffect a(host, 48000.0);
    ASSERT_NE(a.instance, nullptr);
    std::vector<unsigned char> bank = a.SavedBank();
    ASSERT_EQ(bank.size(), 5120u);
    for (int p = 0; p < 32; ++p) {
        float* values = reinterpret_cast<float*>(bank.data() + 160 * p);
        for (int i = 1; i < 33; ++i)
            values[i] = static_cast<float>((p * 33 + i) % 97) / 97.0f;
        std::snprintf(reinterpret_cast<char*>(bank.data() + 160 * p + 132), 24, "Program %d", p);
    }
    const int32_t current = 7;
    std::memcpy(bank.data() + 156, &current, 4);
    ASSERT_EQ(a.RestoreBank(bank), LV2_STATE_SUCCESS);
    // A host restores the control values with the state: the program's.
    const float* program = reinterpret_cast<const float*>(bank.data() + 160 * current);
    GraphicEQLink* link = static_cast<GraphicEQLink*>(lilv_instance_get_handle(a.instance));
    for (int i = 0; i < 33; ++i) {
        a.controls[i] = link->PortValue(i);
        EXPECT_EQ(link->PortValue(i), i == 0 ? 1.0f : PortFromNormalized(i, program[i])) << i;
    }
    a.Run(256);
    ASSERT_EQ(a.SavedBank(), bank);

    auto getValue = [](const char* symbol, void* user, uint32_t* size, uint32_t* type) -> const void* {
        auto* e = static_cast<LilvEffect*>(user);
        *size = sizeof(float);
        *type = e->host.urids.Id(LV2_ATOM__Float);
        return &e->Control(symbol);
    };
    LilvState* saved = lilv_state_new_from_instance(host.plugin, a.instance, &host.urids.map, nullptr, nullptr,
                                                    nullptr, nullptr, getValue, &a, 0, nullptr);
    ASSERT_NE(saved, nullptr);
    char* text = lilv_state_to_string(host.world, &host.urids.map, &host.urids.unmap, saved,
                                      "urn:graphiceq:test:state", nullptr);
    lilv_state_free(saved);
    ASSERT_NE(text, nullptr);
    LilvState* loaded = lilv_state_new_from_string(host.world, &host.urids.map, text);
    lilv_free(text);
    ASSERT_NE(loaded, nullptr);

    LilvEffect b(host, 48000.0);
    ASSERT_NE(b.instance, nullptr);
    auto setValue = [](const char* symbol, void* user, const void* value, uint32_t size, uint32_t) {
        if (size == sizeof(float))
            std::memcpy(&static_cast<LilvEffect*>(user)->Control(symbol), value, sizeof(float));
    };
    lilv_state_restore(loaded, b.instance, setValue, &b, 0, nullptr);
    lilv_state_free(loaded);
    // Hosts that keep fewer digits (six) restore values a little off the
    // effect's; the bank must not take them as edits.
    for (int i = 0; i < 33; ++i) {
        char text6[32];
        std::snprintf(text6, sizeof text6, "%g", static_cast<double>(b.controls[i]));
        b.controls[i] = std::strtof(text6, nullptr);
        EXPECT_NEAR(b.controls[i], a.controls[i], 1e-4) << i;
    }
    Signal(a.audio[0], a.audio[1], 0, 512, 48000.0);
    Signal(b.audio[0], b.audio[1], 0, 512, 48000.0);
    a.Run(512);
    b.Run(512);
    EXPECT_EQ(b.SavedBank(), bank);
    EXPECT_EQ(a.audio[2], b.audio[2]);
    EXPECT_EQ(a.audio[3], b.audio[3]);

    // Not a bank: refused, nothing changed.
    std::vector<unsigned char> half(bank.begin(), bank.begin() + 2560);
    EXPECT_NE(b.RestoreBank(half), LV2_STATE_SUCCESS);
    EXPECT_EQ(b.SavedBank(), bank);
}

// Each factory preset, applied by lilv, sounds like the VST build switched to
// the same factory program.
TEST(Lv2Bundle, FactoryPresetsSoundLikeTheFactoryPrograms)
{
    LilvHost host;
    ASSERT_NE(host.plugin, nullptr);
    PluginLibrary lib;
    ASSERT_NE(lib.handle, nullptr);
    int checked = 0;
    for (int p = 1; p <= 32; p += 5) {
        TestEffect vst(lib, 48000.0f, 512);
        ASSERT_NE(vst.fx, nullptr);
        char uri[96];
        std::snprintf(uri, sizeof uri, GRAPHICEQ_URI "#preset-%02d", p);
        LilvNode* node = lilv_new_uri(host.world, uri);
        lilv_world_load_resource(host.world, node);
        LilvState* preset = lilv_state_new_from_world(host.world, &host.urids.map, node);
        lilv_node_free(node);
        ASSERT_NE(preset, nullptr) << uri;
        EXPECT_EQ(std::string(lilv_state_get_label(preset)), vst.String(effGetProgramNameIndexed, p - 1))
            << uri;
        LilvEffect lv2(host, 48000.0);
        ASSERT_NE(lv2.instance, nullptr);
        auto setValue = [](const char* symbol, void* user, const void* value, uint32_t size, uint32_t) {
            if (size == sizeof(float))
                std::memcpy(&static_cast<LilvEffect*>(user)->Control(symbol), value, sizeof(float));
        };
        lilv_state_restore(preset, lv2.instance, setValue, &lv2, 0, nullptr);
        lilv_state_free(preset);
        vst.Dispatch(effSetProgram, 0, p - 1);
        std::vector<float> vl(4096), vr(4096);
        Signal(lv2.audio[0], lv2.audio[1], 0, 4096, 48000.0);
        Signal(vl, vr, 0, 4096, 48000.0);
        lv2.Run(4096);
        vst.Process(vl.data(), vr.data(), 4096);
        double worst = 0.0;
        for (int i = 0; i < 4096; ++i)
            worst = std::max({worst, std::fabs(static_cast<double>(lv2.audio[2][i]) - vl[i]),
                              std::fabs(static_cast<double>(lv2.audio[3][i]) - vr[i])});
        EXPECT_LT(worst, 1e-5) << uri;  // below -100 dB
        ++checked;
    }
    EXPECT_EQ(checked, 7);
}

// run() with every control moving each block, while another thread saves the
// state, reads values and switches programs and sets parameters as the panel
// does: nothing allocated, freed, waited for or asked of the system on the
// audio thread.
TEST(Lv2Bundle, RunNeverAllocatesLocksOrCallsTheSystem)
{
    LilvHost host;
    ASSERT_NE(host.plugin, nullptr);
    LilvEffect lv2(host, 48000.0);
    ASSERT_NE(lv2.instance, nullptr);
    GraphicEQLink* link = static_cast<GraphicEQLink*>(lilv_instance_get_handle(lv2.instance));
    std::atomic<bool> stop{false};
    AudioEffect* effect = link->Editor()->getEffect();
    ASSERT_NE(effect, nullptr);
    std::thread other([&] {
        for (int n = 0; !stop.load(); ++n) {
            (void)lv2.SavedBank();
            for (int i = 0; i < 33; ++i)
                (void)link->PortValue(i);
            effect->setProgram(n % 32);
            effect->setParameter(3 + n % 30, static_cast<float>(n % 100) / 100.0f);
        }
    });
    rtcheck_reset();
    for (uint32_t block = 0; block < 3000; ++block) {
        for (int i = 1; i < 33; ++i)
            lv2.controls[i] = (i < 3 ? -20.0f : 1.0f) + static_cast<float>((block * 7 + i) % 11);
        lv2.controls[0] = (block / 64) % 2 ? 0.0f : 1.0f;
        Signal(lv2.audio[0], lv2.audio[1], block * 128, 128, 48000.0);
        rtcheck_begin();
        lv2.Run(128);
        rtcheck_end();
    }
    stop.store(true);
    other.join();
    rtcheck_counts counts{};
    rtcheck_read(&counts);
    EXPECT_EQ(counts.allocs, 0u);
    EXPECT_EQ(counts.frees, 0u);
    EXPECT_EQ(counts.lock_waits, 0u);
    EXPECT_EQ(counts.syscalls, 0u);
}

}  // namespace
