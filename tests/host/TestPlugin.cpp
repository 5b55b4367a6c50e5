// A small VST 2.4 plug-in with a response the host tests can predict: a
// gain, a trim and one peaking filter at 1 kHz (the common cookbook biquad),
// written directly against the binary interface. Compile-time variants make
// the misbehaving plug-ins the host must survive:
//   HT_MONO        1 input, 1 output
//   HT_MAIN_ONLY   exports only the historical `main` entry point
//   HT_NULL        the entry point returns null
//   HT_BAD_MAGIC   the effect record carries a wrong magic number
//   HT_ODD         strange strings: control bytes, invalid UTF-8, empty and
//                  over-long names, no indexed program names
//   HT_LATENCY     output delayed by kLatency samples, declared as initialDelay
//   HT_HUM         adds a 50 Hz hum at -60 dBFS: not a linear, decaying system
//   HT_CHUNKS      keeps its programs as an opaque chunk (the Program records
//                  as they lie in memory) and refuses banks of a newer version
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <algorithm>
#include <cstring>
#include <string>

#include "VstDefs.h"

#define HT_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kNumParams = 5;
constexpr int kNumPrograms = 3;
constexpr double kPeakFreq = 1000.0;

enum { kGain, kPeakGain, kPeakQ, kBypass, kTrim };

#ifdef HT_LATENCY
constexpr int kLatency = 100;
#else
constexpr int kLatency = 0;
#endif
constexpr int kDelayLength = kLatency > 0 ? kLatency : 1;

#ifdef HT_MONO
constexpr int kChannels = 1;
#else
constexpr int kChannels = 2;
#endif

struct Program {
    char name[32];
    float values[kNumParams];
};

struct TestEffect {
    AEffect effect;
    audioMasterCallback host;
    float values[kNumParams];
    Program programs[kNumPrograms];
    int current = 0;
    double rate = 44100.0;
    int block = 1024;
    bool rateSet = false, blockSet = false, resumed = false;
    int violations = 0;  // calls out of order or out of range
    std::string calls;   // order of the life-cycle calls
    std::string dirAtCreate;
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
    double z1[kChannels] = {}, z2[kChannels] = {};
    float delay[kChannels][kDelayLength] = {};
    int delayPos = 0;
    uint64_t clock = 0;  // samples processed, for the hum
};

double GainDb(float n) { return -24.0 + 48.0 * n; }
double PeakDb(float n) { return -12.0 + 24.0 * n; }
double PeakQ(float n) { return 0.5 * std::pow(40.0, n); }
double TrimDb(float n) { return 6.0 - 12.0 * n; }  // display falls as the value rises

void Recalc(TestEffect* t)
{
    const double A = std::pow(10.0, PeakDb(t->values[kPeakGain]) / 40.0);
    const double w0 = 2.0 * kPi * kPeakFreq / t->rate;
    const double alpha = std::sin(w0) / (2.0 * PeakQ(t->values[kPeakQ]));
    const double a0 = 1.0 + alpha / A;
    t->b0 = (1.0 + alpha * A) / a0;
    t->b1 = -2.0 * std::cos(w0) / a0;
    t->b2 = (1.0 - alpha * A) / a0;
    t->a1 = -2.0 * std::cos(w0) / a0;
    t->a2 = (1.0 - alpha / A) / a0;
}

std::string HostDirectory(TestEffect* t)
{
    const char* dir = reinterpret_cast<const char*>(
        t->host(&t->effect, audioMasterGetDirectory, 0, 0, nullptr, 0.0f));
    return dir ? dir : "(null)";
}

void Put(char* out, const char* s, size_t max)
{
    std::strncpy(out, s, max - 1);
    out[max - 1] = '\0';
}

void ParamName(int index, char* out)
{
#ifdef HT_ODD
    static const char* const names[] = {"Gain\x01\x02", "Peak \xff\xfeGain", "", "Bypass",
                                        "Trim that has a name far beyond every limit a host "
                                        "would expect, to see whether it copes"};
    std::strcpy(out, names[index]);  // deliberately ignores the 8-byte limit
#else
    static const char* const names[] = {"Gain", "Peak Gain", "Peak Q", "Bypass", "Trim"};
    std::strcpy(out, names[index]);  // longer than 8 bytes, as many plug-ins do
#endif
}

void ParamDisplay(TestEffect* t, int index, char* out)
{
    const float v = t->values[index];
    switch (index) {
    case kGain: std::snprintf(out, 16, "%.2f", GainDb(v)); break;
    case kPeakGain: std::snprintf(out, 16, "%.1f", PeakDb(v)); break;
    case kPeakQ: std::snprintf(out, 16, "%.2f", PeakQ(v)); break;
    case kBypass: std::strcpy(out, v >= 0.5f ? "On" : "Off"); break;
    case kTrim: std::snprintf(out, 16, "%.1f", TrimDb(v)); break;
    }
}

VstIntPtr Dispatcher(AEffect* e, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt)
{
    TestEffect* t = static_cast<TestEffect*>(e->object);
    char* text = static_cast<char*>(ptr);
    const bool validParam = index >= 0 && index < kNumParams;
    switch (opcode) {
    case effOpen:
        // Chatter on standard output, as some plug-ins have.
        std::printf("HostTestEQ: opened\n");
        std::fflush(stdout);
        t->calls += "open,";
        return 0;
    case effClose:
        delete t;
        return 0;
    case effSetProgram:
        if (value >= 0 && value < kNumPrograms) {
            t->current = static_cast<int>(value);
            std::memcpy(t->values, t->programs[t->current].values, sizeof t->values);
            Recalc(t);
            t->host(e, audioMasterUpdateDisplay, 0, 0, nullptr, 0.0f);
        }
        return 0;
    case effGetProgram:
        return t->current;
    case effSetProgramName:
        if (text)
            Put(t->programs[t->current].name, text, 24);
        return 0;
#ifdef HT_CHUNKS
    case effGetChunk:
        if (!ptr)
            return 0;
        *static_cast<void**>(ptr) = t->programs;
        return static_cast<VstIntPtr>(sizeof t->programs);
    case effSetChunk: {
        // Whole records only; the bank opens on its first program.
        if (!ptr || value < 0 || index != 0)
            return 0;
        const size_t records = std::min<size_t>(static_cast<size_t>(value), sizeof t->programs) / sizeof(Program);
        std::memcpy(t->programs, ptr, records * sizeof(Program));
        for (Program& p : t->programs) {
            p.name[sizeof p.name - 1] = '\0';
            for (float& v : p.values)
                v = v >= 0.0f && v <= 1.0f ? v : 0.0f;
        }
        t->current = 0;
        std::memcpy(t->values, t->programs[0].values, sizeof t->values);
        Recalc(t);
        return 1;
    }
    case effBeginLoadBank: {
        // The second and third fields: the bank's plug-in and its version.
        const VstInt32* info = static_cast<const VstInt32*>(ptr);
        return info && info[1] == e->uniqueID && info[2] <= e->version ? 0 : -1;
    }
#endif
    case effGetProgramName:
#ifdef HT_ODD
        std::snprintf(text, 24, "odd\t%d", t->current);
#else
        Put(text, t->programs[t->current].name, 24);
#endif
        return 0;
    case effGetProgramNameIndexed:
#ifdef HT_ODD
        return 0;  // only the old way
#else
        if (index < 0 || index >= kNumPrograms)
            return 0;
        Put(text, t->programs[index].name, 24);
        return 1;
#endif
    case effGetParamLabel:
        if (validParam)
            std::strcpy(text, index == kGain || index == kPeakGain || index == kTrim ? "dB" : "");
        return 0;
    case effGetParamDisplay:
        if (validParam)
            ParamDisplay(t, index, text);
        return 0;
    case effGetParamName:
        if (validParam)
            ParamName(index, text);
        return 0;
    case effSetSampleRate:
        if (t->resumed || !(opt > 0))
            ++t->violations;
        t->rate = opt > 0 ? opt : 44100.0;
        t->rateSet = true;
        t->calls += "rate,";
        Recalc(t);
        return 0;
    case effSetBlockSize:
        if (t->resumed || value <= 0)
            ++t->violations;
        t->block = static_cast<int>(value);
        t->blockSet = true;
        t->calls += "block,";
        return 0;
    case effMainsChanged:
        t->resumed = value != 0;
        t->calls += value ? "resume," : "suspend,";
        if (value)
            for (int c = 0; c < kChannels; ++c)
                t->z1[c] = t->z2[c] = 0;
        return 0;
    case effStartProcess:
        t->calls += "start,";
        return 0;
    case effStopProcess:
        t->calls += "stop,";
        return 0;
    case effGetErrorText: {
        // The tests read what the plug-in saw of its host through here.
        const VstIntPtr version = t->host(e, audioMasterVersion, 0, 0, nullptr, 0.0f);
        const VstIntPtr rate = t->host(e, audioMasterGetSampleRate, 0, 0, nullptr, 0.0f);
        const VstIntPtr block = t->host(e, audioMasterGetBlockSize, 0, 0, nullptr, 0.0f);
        const VstIntPtr canStart = t->host(e, audioMasterCanDo, 0, 0, const_cast<char*>("startStopProcess"), 0.0f);
        const VstIntPtr canMidi = t->host(e, audioMasterCanDo, 0, 0, const_cast<char*>("sendVstEvents"), 0.0f);
        char vendor[64] = {}, product[64] = {};
        t->host(e, audioMasterGetVendorString, 0, 0, vendor, 0.0f);
        t->host(e, audioMasterGetProductString, 0, 0, product, 0.0f);
        std::snprintf(text, 1024,
                      "version=%ld rate=%ld block=%ld canStart=%ld canMidi=%ld vendor=%s product=%s "
                      "violations=%d calls=%s dir=%s created=%s",
                      static_cast<long>(version), static_cast<long>(rate), static_cast<long>(block),
                      static_cast<long>(canStart), static_cast<long>(canMidi), vendor, product,
                      t->violations, t->calls.c_str(), HostDirectory(t).c_str(), t->dirAtCreate.c_str());
        return 1;
    }
    case effGetEffectName:
#ifdef HT_ODD
        std::memset(text, 'N', 200);  // no terminator within the published limit
        text[200] = '\0';
#else
        Put(text, kChannels == 1 ? "HostTestMono" : "HostTestEQ", 32);
#endif
        return 1;
    case effGetVendorString:
#ifdef HT_ODD
        std::strcpy(text, "Odd\x1b[31m Vendor\xc3");
#else
        Put(text, "GraphicEQ Tests", 64);
#endif
        return 1;
    case effGetProductString:
        Put(text, "Host Test EQ", 64);
        return 1;
    case effGetVendorVersion:
        return 1234;
    case effGetVstVersion:
        return 2400;
    case effGetPlugCategory:
        return kPlugCategEffect;
    case effCanBeAutomated:
        return 1;
    default:
        return 0;
    }
}

void SetParameter(AEffect* e, VstInt32 index, float value)
{
    TestEffect* t = static_cast<TestEffect*>(e->object);
    if (index < 0 || index >= kNumParams)
        return;
    t->values[index] = value < 0.0f ? 0.0f : value > 1.0f ? 1.0f : value;
    t->programs[t->current].values[index] = t->values[index];
    Recalc(t);
}

float GetParameter(AEffect* e, VstInt32 index)
{
    TestEffect* t = static_cast<TestEffect*>(e->object);
    return index >= 0 && index < kNumParams ? t->values[index] : 0.0f;
}

void ProcessReplacing(AEffect* e, float** in, float** out, VstInt32 frames)
{
    TestEffect* t = static_cast<TestEffect*>(e->object);
    if (!t->resumed || !t->rateSet || !t->blockSet || frames > t->block || frames < 0)
        ++t->violations;
    const double g = std::pow(10.0, (GainDb(t->values[kGain]) + TrimDb(t->values[kTrim])) / 20.0);
    const bool bypass = t->values[kBypass] >= 0.5f;
    for (int c = 0; c < kChannels; ++c)
        for (VstInt32 i = 0; i < frames; ++i) {
            const double x = in[c][i];
            if (bypass) {
                out[c][i] = static_cast<float>(x);
                continue;
            }
            const double y = t->b0 * x + t->z1[c];
            t->z1[c] = t->b1 * x - t->a1 * y + t->z2[c];
            t->z2[c] = t->b2 * x - t->a2 * y;
            out[c][i] = static_cast<float>(g * y);
        }
#ifdef HT_HUM
    for (VstInt32 i = 0; i < frames; ++i) {
        const float hum = static_cast<float>(0.001 * std::sin(2.0 * kPi * 50.0 * double(t->clock + i) / t->rate));
        for (int c = 0; c < kChannels; ++c)
            out[c][i] += hum;
    }
#endif
    t->clock += static_cast<uint64_t>(frames > 0 ? frames : 0);
    if (kLatency > 0) {
        for (VstInt32 i = 0; i < frames; ++i) {
            const int at = (t->delayPos + i) % kDelayLength;
            for (int c = 0; c < kChannels; ++c) {
                const float v = out[c][i];
                out[c][i] = t->delay[c][at];
                t->delay[c][at] = v;
            }
        }
        t->delayPos = (t->delayPos + frames) % kDelayLength;
    }
}

AEffect* Create(audioMasterCallback host)
{
    if (!host || host(nullptr, audioMasterVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
#ifdef HT_NULL
    return nullptr;
#endif
#ifdef HT_BAD_MAGIC
    // A host cannot close a record it does not recognise, so nothing is
    // allocated for it.
    static AEffect bad;
    bad.magic = VstFourCC('N', 'o', 'p', 'e');
    return &bad;
#endif
    TestEffect* t = new TestEffect();
    std::memset(&t->effect, 0, sizeof t->effect);
    t->host = host;
    AEffect& e = t->effect;
    e.magic = kEffectMagic;
    e.dispatcher = Dispatcher;
    e.setParameter = SetParameter;
    e.getParameter = GetParameter;
    e.processReplacing = ProcessReplacing;
    e.numPrograms = kNumPrograms;
    e.numParams = kNumParams;
    e.numInputs = kChannels;
    e.numOutputs = kChannels;
    e.flags = effFlagsCanReplacing;
#ifdef HT_CHUNKS
    e.flags |= effFlagsProgramChunks;
#endif
    e.initialDelay = kLatency;
    e.ioRatio = 1.0f;
    e.object = t;
    e.uniqueID = VstFourCC('H', 't', 'E', 'q');
    e.version = 7;
    const float defaults[kNumParams] = {0.5f, 0.5f, 0.3f, 0.0f, 0.5f};
    static const char* const names[kNumPrograms] = {"Flat", "Boost 1k", "Cut 1k"};
    for (int p = 0; p < kNumPrograms; ++p) {
        std::memcpy(t->programs[p].values, defaults, sizeof defaults);
        Put(t->programs[p].name, names[p], sizeof t->programs[p].name);
    }
    t->programs[1].values[kPeakGain] = 0.75f;  // +6 dB
    t->programs[2].values[kPeakGain] = 0.25f;  // -6 dB
    std::memcpy(t->values, defaults, sizeof defaults);
    t->dirAtCreate = HostDirectory(t);  // hosts must answer even before they know the record
    Recalc(t);
    return &e;
}

}  // namespace

#ifdef HT_MAIN_ONLY
HT_EXPORT AEffect* ht_main(audioMasterCallback host) __asm__("main");
HT_EXPORT AEffect* ht_main(audioMasterCallback host) { return Create(host); }
#else
HT_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) { return Create(host); }
#endif
