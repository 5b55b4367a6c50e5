// A small VST 2.4 plug-in with a response the host tests can predict: a
// gain, a trim and one peaking filter at 1 kHz (the common cookbook biquad),
// written directly against the binary interface. HT_MODE, read when the
// plug-in is created, makes it one of the misbehaving plug-ins the host must
// survive:
//   mono     1 input, 1 output
//   null     the entry point returns null
//   magic    the effect record carries a wrong magic number
//   odd      strange strings: control bytes, invalid UTF-8, empty and
//            over-long names, no indexed program names
//   latency  output delayed by kLatency samples, declared as initialDelay
//   hum      adds a 50 Hz hum at -60 dBFS: not a linear, decaying system
//   chunks   keeps its programs as an opaque chunk (the Program records as
//            they lie in memory) and refuses banks of a newer version
//   crash    aborts on a block of 17 frames
//   overrun  writes one sample past the frame count
//   alloc    allocates and frees on every block
//   editor   has an editor drawn with Xlib on its own display connection
//            inside the host's window; with HT_LOG set it appends what the
//            host did to that file when it is closed
// and, one for each check of graphiceq-host validate, faults that check
// alone must find (the plug-in without a mode passes every check):
//   unresumed  garbage (NaN) out of a block processed while suspended
//   highrate   NaN out of every block above 192 kHz
//   below, above, nan
//              parameters keep values below 0, above 1, or NaN
//   drift      a parameter written back with its own value creeps upwards
//   sticky     a NaN at the input poisons the filter for good
//   racy       a parameter, program or chunk change during a block on
//              another thread corrupts the output
//   paramlock  setParameter takes a lock (a free one: nothing ever waits),
//              which matters where hosts play automation on the audio thread
//   reopen     the editor aborts when opened a second time
// Built with HT_MAIN_ONLY it exports only the historical `main` entry point.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

#include "VstDefs.h"

#include <X11/Xlib.h>

#define HT_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kNumParams = 5, kNumPrograms = 3, kLatency = 100;
enum { kGain, kPeakGain, kPeakQ, kBypass, kTrim };

struct Program {
    char name[32];
    float values[kNumParams];
};

// The editor of HT_MODE=editor: a dark face, a red mark in the top right
// corner and a green bar that follows the output peak (60 dB over 60 pixels), redrawn on every idle.
constexpr int kEditorWidth = 200, kEditorHeight = 120;
constexpr unsigned long kEditorFace = 0x203040, kEditorMark = 0xC03020, kEditorBar = 0x30C060;

struct TestEditor {
    Display* display = nullptr;
    Window window = 0;
    GC gc = nullptr;
    ERect rect{0, 0, kEditorHeight, kEditorWidth};
    int idles = 0;
    int parentWidth = 0, parentHeight = 0;
    bool openedOnce = false;
    std::thread::id uiThread;
};

struct TestEffect {
    AEffect effect;
    audioMasterCallback host;
    std::string mode;
    int channels = 2, latency = 0;
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
    double z1[2] = {}, z2[2] = {};
    float delay[2][kLatency] = {};
    int delayPos = 0;
    uint64_t clock = 0;  // samples processed, for the hum
    TestEditor editor;
    std::atomic<float> peak{0.0f};             // output peak of the last block
    std::atomic<std::thread::id> processThread{};
    std::atomic<bool> inBlock{false}, torn{false};  // racy
};

// racy: a change that lands while a block is running spoils the output.
void NoteChange(TestEffect* t)
{
    if (t->mode == "racy" && t->inBlock.load())
        t->torn = true;
}

void EditorOpen(TestEffect* t, void* parent)
{
    TestEditor& ed = t->editor;
    t->calls += "editopen,";
    if (ed.display || !parent)
        return;
    ed.display = XOpenDisplay(nullptr);
    if (!ed.display)
        return;
    const Window p = static_cast<Window>(reinterpret_cast<uintptr_t>(parent));
    XWindowAttributes a;
    if (XGetWindowAttributes(ed.display, p, &a))
        ed.parentWidth = a.width, ed.parentHeight = a.height;
    ed.window = XCreateSimpleWindow(ed.display, p, 0, 0, kEditorWidth, kEditorHeight, 0, 0, kEditorFace);
    ed.gc = XCreateGC(ed.display, ed.window, 0, nullptr);
    XMapWindow(ed.display, ed.window);
    XFlush(ed.display);
    ed.uiThread = std::this_thread::get_id();
    ed.openedOnce = true;
}

void EditorIdle(TestEffect* t)
{
    TestEditor& ed = t->editor;
    if (!ed.display)
        return;
    ++ed.idles;
    // 60 dB of level over 60 pixels.
    const float peak = t->peak.load();
    const int bar = peak > 0.001f ? std::clamp(static_cast<int>(60.0f + 20.0f * std::log10(peak)), 0, 60) : 0;
    XSetForeground(ed.display, ed.gc, kEditorFace);
    XFillRectangle(ed.display, ed.window, ed.gc, 0, 0, kEditorWidth, kEditorHeight);
    XSetForeground(ed.display, ed.gc, kEditorMark);
    XFillRectangle(ed.display, ed.window, ed.gc, 150, 10, 40, 20);
    XSetForeground(ed.display, ed.gc, kEditorBar);
    XFillRectangle(ed.display, ed.window, ed.gc, 20, 110 - bar, 40, bar);
    XFlush(ed.display);
}

void EditorClose(TestEffect* t)
{
    TestEditor& ed = t->editor;
    t->calls += "editclose,";
    if (!ed.display)
        return;
    XFreeGC(ed.display, ed.gc);
    XDestroyWindow(ed.display, ed.window);
    XCloseDisplay(ed.display);
    ed.display = nullptr;
}

// What the host did with the editor, for the tests (HT_LOG).
void WriteEditorLog(TestEffect* t)
{
    const char* path = std::getenv("HT_LOG");
    if (!path || !t->editor.openedOnce)
        return;
    if (FILE* f = std::fopen(path, "a")) {
        std::fprintf(f, "calls=%s idles=%d parent=%dx%d process-on-ui-thread=%d open-at-close=%d\n",
                     t->calls.c_str(), t->editor.idles, t->editor.parentWidth, t->editor.parentHeight,
                     t->processThread.load() == t->editor.uiThread ? 1 : 0, t->editor.display ? 1 : 0);
        std::fclose(f);
    }
}

double GainDb(float n) { return -24.0 + 48.0 * n; }
double PeakDb(float n) { return -12.0 + 24.0 * n; }
double PeakQ(float n) { return 0.5 * std::pow(40.0, n); }
double TrimDb(float n) { return 6.0 - 12.0 * n; }  // display falls as the value rises

void Recalc(TestEffect* t)
{
    const double A = std::pow(10.0, PeakDb(t->values[kPeakGain]) / 40.0);
    const double w0 = 2.0 * kPi * 1000.0 / t->rate, alpha = std::sin(w0) / (2.0 * PeakQ(t->values[kPeakQ]));
    const double a0 = 1.0 + alpha / A;
    t->b0 = (1.0 + alpha * A) / a0;
    t->b1 = t->a1 = -2.0 * std::cos(w0) / a0;
    t->b2 = (1.0 - alpha * A) / a0;
    t->a2 = (1.0 - alpha / A) / a0;
}

std::string HostDirectory(TestEffect* t)
{
    const char* dir = reinterpret_cast<const char*>(t->host(&t->effect, audioMasterGetDirectory, 0, 0, nullptr, 0));
    return dir ? dir : "(null)";
}

void Put(char* out, const char* s, size_t max) { std::snprintf(out, max, "%s", s); }

void ParamDisplay(TestEffect* t, int index, char* out)
{
    const float v = t->values[index];
    if (index == kBypass)
        std::strcpy(out, v >= 0.5f ? "On" : "Off");
    else
        std::snprintf(out, 16, index == kGain || index == kPeakQ ? "%.2f" : "%.1f",
                      index == kGain ? GainDb(v) : index == kPeakGain ? PeakDb(v)
                                                 : index == kPeakQ ? PeakQ(v) : TrimDb(v));
}

void Load(TestEffect* t, int program)
{
    t->current = program;
    std::memcpy(t->values, t->programs[program].values, sizeof t->values);
    Recalc(t);
}

// What the plug-in saw of its host, for the tests to read via effGetErrorText.
void Diagnostics(TestEffect* t, char* text)
{
    AEffect* e = &t->effect;
    auto ask = [&](VstInt32 op, const char* s = nullptr) {
        return static_cast<long>(t->host(e, op, 0, 0, const_cast<char*>(s), 0.0f));
    };
    char vendor[64] = {}, product[64] = {};
    t->host(e, audioMasterGetVendorString, 0, 0, vendor, 0.0f);
    t->host(e, audioMasterGetProductString, 0, 0, product, 0.0f);
    std::snprintf(text, 1024,
                  "version=%ld rate=%ld block=%ld canStart=%ld canMidi=%ld vendor=%s product=%s "
                  "violations=%d calls=%s dir=%s created=%s",
                  ask(audioMasterVersion), ask(audioMasterGetSampleRate), ask(audioMasterGetBlockSize),
                  ask(audioMasterCanDo, "startStopProcess"), ask(audioMasterCanDo, "sendVstEvents"), vendor, product,
                  t->violations, t->calls.c_str(), HostDirectory(t).c_str(), t->dirAtCreate.c_str());
}

// effSetChunk: whole records only, sanitised; the bank opens on its first program.
VstIntPtr SetChunk(TestEffect* t, const void* ptr, VstIntPtr size)
{
    const size_t records = std::min<size_t>(static_cast<size_t>(size), sizeof t->programs) / sizeof(Program);
    std::memcpy(t->programs, ptr, records * sizeof(Program));
    for (Program& p : t->programs) {
        p.name[sizeof p.name - 1] = '\0';
        for (float& v : p.values)
            v = v >= 0.0f && v <= 1.0f ? v : 0.0f;
    }
    Load(t, 0);
    return 1;
}

VstIntPtr Dispatcher(AEffect* e, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt)
{
    TestEffect* t = static_cast<TestEffect*>(e->object);
    char* text = static_cast<char*>(ptr);
    const bool odd = t->mode == "odd", chunks = t->mode == "chunks";
    const bool validParam = index >= 0 && index < kNumParams;
    // Longer than the 8-byte limit, as many plug-ins do; odd goes further.
    static const char* const names[] = {"Gain", "Peak Gain", "Peak Q", "Bypass", "Trim"};
    static const char* const oddNames[] = {"Gain\x01\x02", "Peak \xff\xfeGain", "", "Bypass",
                                           "Trim that has a name far beyond every limit a host would "
                                           "expect, to see whether it copes"};
    switch (opcode) {
    case effOpen:
        std::printf("HostTestEQ: opened\n");  // chatter on standard output, as some plug-ins have
        std::fflush(stdout);
        t->calls += "open,";
        return 0;
    case effClose:
        WriteEditorLog(t);
        EditorClose(t);
        delete t;
        return 0;
    case effEditGetRect:
        if (!(e->flags & effFlagsHasEditor) || !ptr)
            return 0;
        *static_cast<ERect**>(ptr) = &t->editor.rect;
        return 1;
    case effEditOpen:
        if (!(e->flags & effFlagsHasEditor))
            return 0;
        if (t->mode == "reopen" && t->editor.openedOnce)
            std::abort();
        EditorOpen(t, ptr);
        return 1;
    case effEditIdle: EditorIdle(t); return 0;  // both do nothing while no editor is open
    case effEditClose: EditorClose(t); return 0;
    case effSetProgram:
        NoteChange(t);
        if (value >= 0 && value < kNumPrograms) {
            Load(t, static_cast<int>(value));
            t->host(e, audioMasterUpdateDisplay, 0, 0, nullptr, 0.0f);
        }
        return 0;
    case effGetProgram: return t->current;
    case effSetProgramName: if (text) Put(t->programs[t->current].name, text, 24); return 0;
    case effGetChunk:
        if (!chunks || !ptr)
            return 0;
        *static_cast<void**>(ptr) = t->programs;
        return sizeof t->programs;
    case effSetChunk: NoteChange(t); return chunks && ptr && value >= 0 && index == 0 ? SetChunk(t, ptr, value) : 0;
    case effBeginLoadBank: {
        // The second and third fields: the bank's plug-in and its version.
        const VstInt32* info = static_cast<const VstInt32*>(ptr);
        return !chunks ? 0 : info && info[1] == e->uniqueID && info[2] <= e->version ? 0 : -1;
    }
    case effGetProgramName:
        if (odd)
            std::snprintf(text, 24, "odd\t%d", t->current);
        else
            Put(text, t->programs[t->current].name, 24);
        return 0;
    case effGetProgramNameIndexed:  // odd: only the old way
        if (odd || index < 0 || index >= kNumPrograms)
            return 0;
        Put(text, t->programs[index].name, 24);
        return 1;
    case effGetParamLabel: if (validParam) std::strcpy(text, index == kBypass || index == kPeakQ ? "" : "dB"); return 0;
    case effGetParamDisplay: if (validParam) ParamDisplay(t, index, text); return 0;
    case effGetParamName: if (validParam) std::strcpy(text, (odd ? oddNames : names)[index]); return 0;
    case effSetSampleRate:
        t->violations += t->resumed || !(opt > 0);
        t->rate = opt > 0 ? opt : 44100.0;
        t->rateSet = true;
        t->calls += "rate,";
        Recalc(t);
        return 0;
    case effSetBlockSize:
        t->violations += t->resumed || value <= 0;
        t->block = static_cast<int>(value);
        t->blockSet = true;
        t->calls += "block,";
        return 0;
    case effMainsChanged:
        t->resumed = value != 0;
        t->calls += value ? "resume," : "suspend,";
        if (value)
            std::fill(t->z1, t->z1 + 2, 0.0), std::fill(t->z2, t->z2 + 2, 0.0);
        return 0;
    case effStartProcess: t->calls += "start,"; return 0;
    case effStopProcess: t->calls += "stop,"; return 0;
    case effGetErrorText: Diagnostics(t, text); return 1;
    case effGetEffectName:
        if (odd) {
            std::memset(text, 'N', 200);  // no terminator within the published limit
            text[200] = '\0';
        } else {
            Put(text, t->channels == 1 ? "HostTestMono" : "HostTestEQ", 32);
        }
        return 1;
    case effGetVendorString: std::strcpy(text, odd ? "Odd\x1b[31m Vendor\xc3" : "GraphicEQ Tests"); return 1;
    case effGetProductString: Put(text, "Host Test EQ", 64); return 1;
    case effGetVendorVersion: return 1234;
    case effGetVstVersion: return 2400;
    case effGetPlugCategory: return kPlugCategEffect;
    case effCanBeAutomated: return 1;
    default: return 0;
    }
}

void SetParameter(AEffect* e, VstInt32 index, float value)
{
    TestEffect* t = static_cast<TestEffect*>(e->object);
    if (index < 0 || index >= kNumParams)
        return;
    NoteChange(t);
    const std::string& m = t->mode;
    static std::mutex paramLock;
    std::unique_lock<std::mutex> hold(paramLock, std::defer_lock);
    if (m == "paramlock")
        hold.lock();
    float v = value >= 0.0f ? std::min(value, 1.0f) : 0.0f;  // NaN too
    if (m == "below" && value < 0.0f)
        v = std::max(value, -1.0f);
    else if (m == "above" && value > 1.0f)
        v = std::min(value, 2.0f);
    else if (m == "nan" && value != value)
        v = value;
    else if (m == "drift")
        v = std::min(v + 0.001f, 1.0f);
    t->values[index] = t->programs[t->current].values[index] = v;
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
    t->inBlock = true;
    const double g = std::pow(10.0, (GainDb(t->values[kGain]) + TrimDb(t->values[kTrim])) / 20.0);
    const bool bypass = t->values[kBypass] >= 0.5f, hum = t->mode == "hum";
    const bool garbage = (t->mode == "unresumed" && !t->resumed) || (t->mode == "highrate" && t->rate > 192000.0) ||
                         t->torn.exchange(false);
    for (VstInt32 i = 0; i < frames; ++i) {
        const double h = hum ? 0.001 * std::sin(2.0 * kPi * 50.0 * double(t->clock + i) / t->rate) : 0.0;
        for (int c = 0; c < t->channels; ++c) {
            const double x = in[c][i];
            double y = x;
            if (!bypass) {
                y = t->b0 * x + t->z1[c];
                t->z1[c] = t->b1 * x - t->a1 * y + t->z2[c];
                t->z2[c] = t->b2 * x - t->a2 * y;
                y *= g;
                // A non-finite input sample leaves the history clean (sticky: not).
                if (!std::isfinite(t->z1[c] + t->z2[c]) && t->mode != "sticky")
                    t->z1[c] = t->z2[c] = 0.0;
            }
            if (garbage)
                y = std::nan("");
            float v = static_cast<float>(y) + static_cast<float>(h);
            if (t->latency > 0)
                std::swap(v, t->delay[c][(t->delayPos + i) % kLatency]);
            out[c][i] = v;
        }
    }
    if (t->mode == "crash" && frames == 17)
        std::abort();
    if (t->mode == "overrun" && frames > 0)
        for (int c = 0; c < t->channels; ++c)
            out[c][frames] = 0.0f;
    if (t->mode == "alloc") {
        // Through a volatile pointer, so the compiler cannot drop the pair.
        void* volatile block = std::malloc(static_cast<size_t>(std::max(frames, 1)) * sizeof(float));
        std::free(block);
    }
    float peak = 0.0f;
    for (int c = 0; c < t->channels; ++c)
        for (VstInt32 i = 0; i < frames; ++i)
            peak = std::max(peak, std::fabs(out[c][i]));
    t->peak.store(peak);
    t->processThread.store(std::this_thread::get_id());
    t->inBlock = false;
    t->clock += static_cast<uint64_t>(std::max(frames, 0));
    t->delayPos = (t->delayPos + std::max(frames, 0)) % kLatency;
}

AEffect* Create(audioMasterCallback host)
{
    const char* env = std::getenv("HT_MODE");
    const std::string mode = env ? env : "";
    if (!host || host(nullptr, audioMasterVersion, 0, 0, nullptr, 0.0f) == 0 || mode == "null")
        return nullptr;
    if (mode == "magic") {
        // A host cannot close a record it does not recognise, so nothing is
        // allocated for it.
        static AEffect bad;
        bad.magic = VstFourCC('N', 'o', 'p', 'e');
        return &bad;
    }
    TestEffect* t = new TestEffect();
    std::memset(&t->effect, 0, sizeof t->effect);
    t->host = host;
    t->mode = mode;
    t->channels = mode == "mono" ? 1 : 2;
    t->latency = mode == "latency" ? kLatency : 0;
    AEffect& e = t->effect;
    e.magic = kEffectMagic;
    e.dispatcher = Dispatcher;
    e.setParameter = SetParameter;
    e.getParameter = GetParameter;
    e.processReplacing = ProcessReplacing;
    e.numPrograms = kNumPrograms;
    e.numParams = kNumParams;
    e.numInputs = e.numOutputs = t->channels;
    e.flags = effFlagsCanReplacing | (mode == "chunks" ? effFlagsProgramChunks : 0) |
              (mode == "editor" || mode == "reopen" ? effFlagsHasEditor : 0);
    e.initialDelay = t->latency;
    e.ioRatio = 1.0f;
    e.object = t;
    e.uniqueID = VstFourCC('H', 't', 'E', 'q');
    e.version = 7;
    const Program programs[kNumPrograms] = {{"Flat", {0.5f, 0.5f, 0.3f, 0.0f, 0.5f}},
                                            {"Boost 1k", {0.5f, 0.75f, 0.3f, 0.0f, 0.5f}},  // +6 dB at 1 kHz
                                            {"Cut 1k", {0.5f, 0.25f, 0.3f, 0.0f, 0.5f}}};   // -6 dB
    std::memcpy(t->programs, programs, sizeof programs);
    t->dirAtCreate = HostDirectory(t);  // hosts must answer even before they know the record
    Load(t, 0);
    return &e;
}

}  // namespace

#ifdef HT_MAIN_ONLY
HT_EXPORT AEffect* ht_main(audioMasterCallback host) __asm__("main");
HT_EXPORT AEffect* ht_main(audioMasterCallback host) { return Create(host); }
#else
HT_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) { return Create(host); }
#endif
