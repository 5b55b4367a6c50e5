// graphiceq-host validate. The parent process runs each check of each
// plug-in in a child (this program again, "validate --child CHECK PLUGIN"),
// reads the child's findings from file descriptor 3 as text lines, and turns
// a signal or a time-out into a crash or hang finding. The children talk to
// the plug-in through the binary interface only, like any host.
#include "Validate.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#ifdef GHOST_HAVE_X11
#include <X11/Xlib.h>
#endif

#include "Commands.h"
#include "VstHost.h"

namespace ghost {
namespace {

// ---------------------------------------------------------------------------
// Child side: findings go to descriptor 3 as lines "KEY VALUE..." (see Row).

FILE* g_report = nullptr;

void Report(const char* fmt, ...)
{
    if (!g_report)
        return;
    va_list ap;
    va_start(ap, fmt);
    std::vfprintf(g_report, fmt, ap);
    va_end(ap);
    std::fputc('\n', g_report);
    std::fflush(g_report);
}

// The counting library of --rt, found at run time; absent, nothing counts.
struct RtCounts {
    unsigned long long allocs, frees, lock_waits, syscalls, locks;
};
struct RtApi {
    void (*begin)() = nullptr;
    void (*end)() = nullptr;
    void (*read)(RtCounts*) = nullptr;
    void (*reset)() = nullptr;
    bool Present() const { return begin && end && read && reset; }
};
RtApi g_rt;
unsigned long long g_rtBlocks = 0;

void LookUpRt()
{
    g_rt.begin = reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "rtcheck_begin"));
    g_rt.end = reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "rtcheck_end"));
    g_rt.read = reinterpret_cast<void (*)(RtCounts*)>(dlsym(RTLD_DEFAULT, "rtcheck_read"));
    g_rt.reset = reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "rtcheck_reset"));
}

constexpr int kGuard = 64;
// A NaN with a payload no arithmetic produces: a guard sample that still
// holds these bits was not written.
constexpr uint32_t kGuardBits = 0x7FA5A5A5u;

bool IsGuard(float v)
{
    uint32_t u;
    std::memcpy(&u, &v, 4);
    return u == kGuardBits;
}

float GuardValue()
{
    float v;
    std::memcpy(&v, &kGuardBits, 4);
    return v;
}

// Channel buffers with guard samples behind the frame count.
class Buffers {
public:
    Buffers(int channels, int frames) : m_frames(frames), m_data(std::max(channels, 1))
    {
        for (auto& ch : m_data)
            ch.assign(static_cast<size_t>(frames) + kGuard, GuardValue());
        for (auto& ch : m_data)
            m_ptrs.push_back(ch.data());
        for (auto& ch : m_data)
            std::fill(ch.begin(), ch.begin() + frames, 0.0f);
    }
    float** Ptrs() { return m_ptrs.data(); }
    std::vector<float>& Channel(int c) { return m_data[static_cast<size_t>(c)]; }
    int Channels() const { return static_cast<int>(m_data.size()); }
    int Frames() const { return m_frames; }
    // Guard samples written: the plug-in wrote past the frame count. Each is
    // counted once, then set back.
    int GuardsHit()
    {
        int hit = 0;
        for (auto& ch : m_data)
            for (int i = 0; i < kGuard; ++i) {
                float& g = ch[static_cast<size_t>(m_frames + i)];
                if (!IsGuard(g)) {
                    ++hit;
                    g = GuardValue();
                }
            }
        return hit;
    }
    int NonFinite() const
    {
        int n = 0;
        for (const auto& ch : m_data)
            for (int i = 0; i < m_frames; ++i)
                n += !std::isfinite(ch[static_cast<size_t>(i)]);
        return n;
    }
    float Peak() const
    {
        float p = 0.0f;
        for (const auto& ch : m_data)
            for (int i = 0; i < m_frames; ++i)
                p = std::max(p, std::fabs(ch[static_cast<size_t>(i)]));
        return p;
    }

private:
    int m_frames;
    std::vector<std::vector<float>> m_data;
    std::vector<float*> m_ptrs;
};

// Deterministic noise at about -6 dBFS.
struct Noise {
    uint32_t state = 12345;
    float Next()
    {
        state = state * 1664525u + 1013904223u;
        return (static_cast<float>(state >> 8) / 16777216.0f - 0.5f);
    }
    void Fill(Buffers& b, int frames)
    {
        for (int c = 0; c < b.Channels(); ++c)
            for (int i = 0; i < frames; ++i)
                b.Channel(c)[static_cast<size_t>(i)] = Next();
    }
};

// Findings of the running check, reported when it ends.
struct Tally {
    long long nonFinite = 0;
    long long overruns = 0;
};
Tally g_tally;

// One block through the plug-in: processReplacing when offered, else the
// accumulating process into zeroed outputs. Counts non-finite output and
// written guard samples; the output buffers must hold frames samples.
void Run(AEffect* e, Buffers& in, Buffers& out, int frames, bool countNonFinite = true)
{
    const bool replacing = (e->flags & effFlagsCanReplacing) && e->processReplacing;
    if (!replacing)
        for (int c = 0; c < out.Channels(); ++c)
            std::fill(out.Channel(c).begin(), out.Channel(c).begin() + frames, 0.0f);
    if (g_rt.Present())
        g_rt.begin();
    if (replacing)
        e->processReplacing(e, in.Ptrs(), out.Ptrs(), frames);
    else if (e->process)
        e->process(e, in.Ptrs(), out.Ptrs(), frames);
    if (g_rt.Present()) {
        g_rt.end();
        ++g_rtBlocks;
    }
    g_tally.overruns += in.GuardsHit() + out.GuardsHit();
    if (countNonFinite)
        g_tally.nonFinite += out.NonFinite();
}

// A freshly loaded, resumed plug-in at rate and announced block.
std::unique_ptr<VstPlugin> Load(const std::string& path, double rate = 48000.0, int block = 512)
{
    auto p = std::make_unique<VstPlugin>(path, rate, block);
    p->Resume();
    return p;
}

void Fail(const char* fmt, ...)
{
    char text[512];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    Report("fail %s", text);
}

// Runs blocks of noise (or silence) at the given size.
void Play(VstPlugin& p, int frames, int blocks, Noise* noise)
{
    Buffers in(p.NumInputs(), frames), out(p.NumOutputs(), frames);
    for (int b = 0; b < blocks; ++b) {
        if (noise)
            noise->Fill(in, frames);
        Run(p.Effect(), in, out, frames);
    }
}

// Parameters outside 0..1 or not finite, as the host reads them back.
int ParamsOutOfRange(VstPlugin& p)
{
    int bad = 0;
    for (int i = 0; i < p.NumParams(); ++i) {
        const float v = p.GetParam(i);
        bad += !(v >= 0.0f && v <= 1.0f);
    }
    return bad;
}

// ---------------------------------------------------------------------------
// The checks

void CheckCalls(const std::string& path)
{
    // Open and close, never resumed.
    for (int i = 0; i < 3; ++i)
        VstPlugin p(path, 48000.0, 512);
    // Processing before resume, doubled and unpaired resume/suspend, and a
    // close while still running.
    VstPlugin p(path, 48000.0, 512);
    Noise noise;
    Play(p, 512, 4, &noise);
    p.Dispatch(effMainsChanged, 0, 0);  // suspend while suspended
    p.Dispatch(effMainsChanged, 0, 1);
    p.Dispatch(effMainsChanged, 0, 1);
    p.Dispatch(effStartProcess);
    Play(p, 512, 4, &noise);
    p.Dispatch(effStopProcess);
    p.Dispatch(effMainsChanged, 0, 0);
    p.Dispatch(effMainsChanged, 0, 0);
    Play(p, 512, 4, &noise);
    // Rate and block size changed while running.
    p.Dispatch(effMainsChanged, 0, 1);
    p.Dispatch(effSetSampleRate, 0, 0, nullptr, 96000.0f);
    p.Dispatch(effSetBlockSize, 0, 64);
    Play(p, 64, 8, &noise);
    // Left running: the destructor closes without a suspend.
}

void CheckBlocks(const std::string& path)
{
    const int sizes[] = {0, 1, 2, 3, 17, 511, 4096, 65536};
    Noise noise;
    {
        // Announced 512; every size, the larger ones past the announcement.
        auto p = Load(path);
        for (int n : sizes)
            Play(*p, n, 3, &noise);
    }
    {
        // Each size announced before it is used.
        auto p = Load(path);
        for (int n : sizes) {
            p->Dispatch(effMainsChanged, 0, 0);
            p->Dispatch(effSetBlockSize, 0, n);
            p->Dispatch(effMainsChanged, 0, 1);
            Play(*p, n, 3, &noise);
        }
    }
    // In place: input and output the same buffers must give what separate
    // buffers give from the same history.
    auto a = Load(path), b = Load(path);
    const int channels = std::max(a->NumInputs(), a->NumOutputs());
    for (int n : {1, 17, 512, 4096}) {
        Buffers inA(channels, n), outA(channels, n), io(channels, n);
        for (int rep = 0; rep < 3; ++rep) {
            noise.Fill(inA, n);
            for (int c = 0; c < channels; ++c)
                io.Channel(c) = inA.Channel(c);
            Run(a->Effect(), inA, outA, n);
            Run(b->Effect(), io, io, n);
            for (int c = 0; c < a->NumOutputs(); ++c)
                if (std::memcmp(outA.Channel(c).data(), io.Channel(c).data(), sizeof(float) * n) != 0) {
                    Fail("blocks: in-place output differs from separate buffers (block %d, channel %d)", n, c);
                    return;
                }
        }
    }
}

void CheckRates(const std::string& path)
{
    const double rates[] = {8000, 11025, 16000, 22050, 44100, 48000, 88200, 96000, 176400, 192000, 352800, 384000};
    Noise noise;
    auto p = Load(path);
    for (double rate : rates) {
        p->Dispatch(effMainsChanged, 0, 0);
        p->Dispatch(effSetSampleRate, 0, 0, nullptr, static_cast<float>(rate));
        p->Dispatch(effMainsChanged, 0, 1);
        Play(*p, 512, static_cast<int>(rate / 512 / 4) + 1, &noise);
        // A fresh instance opened at the rate, too.
        auto q = Load(path, rate, 512);
        Play(*q, 512, 8, &noise);
    }
}

// A string opcode into a buffer of patterned bytes: bytes written past the
// size a host gives, or no terminator inside it, are an overrun.
void CheckString(VstPlugin& p, const char* what, int32_t opcode, int32_t index, size_t size)
{
    std::vector<unsigned char> buf(4096, 0xA5);
    p.Dispatch(opcode, index, 0, buf.data());
    size_t extent = buf.size();
    while (extent > 0 && buf[extent - 1] == 0xA5)
        --extent;
    if (extent == 0)
        return;  // nothing written
    const bool terminated = std::memchr(buf.data(), 0, std::min(extent, size)) != nullptr;
    if (extent > size || !terminated) {
        ++g_tally.overruns;
        Fail("strings: %s (index %d) wrote %zu bytes%s into a %zu-byte buffer", what, index, extent,
             terminated ? "" : " without a terminator", size);
    }
}

void CheckStrings(const std::string& path)
{
    auto p = Load(path);
    // What hosts give: kVstMaxLabelLen (64) for parameter strings, the
    // interface's own sizes for the rest.
    const int n = p->NumParams();
    std::vector<int> params;
    for (int i = 0; i < n; ++i)
        params.push_back(i);
    for (int i : {-1, n, n + 1, 1 << 30})
        params.push_back(i);
    for (int i : params) {
        CheckString(*p, "parameter name", effGetParamName, i, 64);
        CheckString(*p, "parameter label", effGetParamLabel, i, 64);
        CheckString(*p, "parameter display", effGetParamDisplay, i, 64);
    }
    const int programs = p->NumPrograms();
    for (int i = -1; i <= programs; ++i)
        CheckString(*p, "indexed program name", effGetProgramNameIndexed, i, kVstMaxProgNameLen);
    CheckString(*p, "program name", effGetProgramName, 0, kVstMaxProgNameLen);
    CheckString(*p, "effect name", effGetEffectName, 0, kVstMaxEffectNameLen);
    CheckString(*p, "vendor", effGetVendorString, 0, kVstMaxVendorStrLen);
    CheckString(*p, "product", effGetProductString, 0, kVstMaxProductStrLen);
    // Parameter displays after hostile values, too.
    for (int i = 0; i < n; ++i) {
        for (float v : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -1e30f}) {
            p->SetParam(i, v);
            CheckString(*p, "parameter display", effGetParamDisplay, i, 64);
        }
    }
}

void CheckParams(const std::string& path)
{
    auto p = Load(path);
    Noise noise;
    const int n = p->NumParams();
    const float values[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(), -1.0f, 2.0f, 1e30f, -1e30f, 1e-40f,
                            0.0f, 1.0f, 0.5f};
    const int indices[] = {-1, n, n + 1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};
    AEffect* e = p->Effect();
    for (float v : values) {
        for (int i : indices)
            e->setParameter(e, i, v);
        for (int i : indices)
            (void)e->getParameter(e, i);
        for (int i = 0; i < n; ++i)
            e->setParameter(e, i, v);
        const int bad = ParamsOutOfRange(*p);
        if (bad)
            Fail("parameters: %d of %d read back outside 0..1 after setting %g", bad, n, static_cast<double>(v));
        Play(*p, 512, 2, &noise);
    }
    // Random values, processing in between.
    std::vector<float> junk;
    uint32_t s = 99;
    for (int round = 0; round < 2000; ++round) {
        s = s * 1664525u + 1013904223u;
        const int i = n ? static_cast<int>(s % static_cast<uint32_t>(n)) : 0;
        s = s * 1664525u + 1013904223u;
        float v;
        std::memcpy(&v, &s, 4);
        if (n)
            e->setParameter(e, i, v);
        if (round % 50 == 0)
            Play(*p, 256, 1, &noise);
    }
    const int bad = ParamsOutOfRange(*p);
    if (bad)
        Fail("parameters: %d of %d outside 0..1 after random bit patterns", bad, n);
}

std::vector<unsigned char> GetChunk(VstPlugin& p, bool preset)
{
    void* data = nullptr;
    const intptr_t size = p.Dispatch(effGetChunk, preset ? 1 : 0, 0, &data);
    if (size <= 0 || !data || size > (1 << 28))
        return {};
    const auto* b = static_cast<const unsigned char*>(data);
    return std::vector<unsigned char>(b, b + size);
}

void CheckState(const std::string& path)
{
    auto p = Load(path);
    Noise noise;
    const int n = p->NumParams();
    // Parameters read back and written again stay as they were.
    for (int i = 0; i < n; ++i)
        p->SetParam(i, static_cast<float>((i * 37) % 101) / 100.0f);
    std::vector<float> before(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        before[static_cast<size_t>(i)] = p->GetParam(i);
    for (int i = 0; i < n; ++i)
        p->SetParam(i, before[static_cast<size_t>(i)]);
    for (int i = 0; i < n; ++i)
        if (p->GetParam(i) != before[static_cast<size_t>(i)]) {
            Fail("state: parameter %d changes when its own value is written back", i);
            break;
        }
    if (!(p->Flags() & effFlagsProgramChunks))
        return;
    for (bool preset : {false, true}) {
        const std::vector<unsigned char> chunk = GetChunk(*p, preset);
        if (chunk.empty())
            continue;
        std::vector<unsigned char> copy = chunk;
        p->Dispatch(effSetChunk, preset ? 1 : 0, static_cast<intptr_t>(copy.size()), copy.data());
        if (GetChunk(*p, preset) != chunk)
            Fail("state: the %s chunk does not survive its own round trip", preset ? "program" : "bank");
        // Malformed chunks: truncated, random bytes, flipped bits, empty.
        uint32_t s = 7;
        auto next = [&s] { return s = s * 1664525u + 1013904223u; };
        std::vector<std::vector<unsigned char>> bad;
        bad.push_back({});
        bad.push_back({0x42});
        for (size_t cut : {chunk.size() / 2, chunk.size() - 1, size_t(4), size_t(160)})
            if (cut < chunk.size())
                bad.emplace_back(chunk.begin(), chunk.begin() + static_cast<long>(cut));
        for (int k = 0; k < 8; ++k) {
            std::vector<unsigned char> r(chunk.size());
            for (auto& byte : r)
                byte = static_cast<unsigned char>(next() >> 24);
            bad.push_back(r);
            std::vector<unsigned char> f = chunk;
            for (int bit = 0; bit < 16; ++bit)
                f[next() % f.size()] ^= static_cast<unsigned char>(1u << (next() % 8));
            bad.push_back(f);
        }
        for (auto& b : bad) {
            std::vector<unsigned char> buf = b;
            buf.resize(buf.size() + 64, 0);  // readable slack; the size says less
            p->Dispatch(effSetChunk, preset ? 1 : 0, static_cast<intptr_t>(b.size()), b.empty() ? nullptr : buf.data());
            const int out = ParamsOutOfRange(*p);
            if (out) {
                Fail("state: a malformed %s chunk of %zu bytes left %d parameters outside 0..1",
                     preset ? "program" : "bank", b.size(), out);
                break;
            }
            Play(*p, 512, 2, &noise);
        }
        p->Dispatch(effSetChunk, preset ? 1 : 0, static_cast<intptr_t>(copy.size()), copy.data());
    }
}

// Non-finite and denormal input, then clean input: how long until the output
// is finite again (recovery), and whether the output then dies away to zero
// once the input stops (tail).
void CheckSignal(const std::string& path)
{
    const double rate = 48000.0;
    const int block = 512;
    auto p = Load(path, rate, block);
    Noise noise;
    Buffers in(p->NumInputs(), block), out(p->NumOutputs(), block);
    // Denormal input must come out finite.
    for (int b = 0; b < 20; ++b) {
        for (int c = 0; c < in.Channels(); ++c)
            std::fill(in.Channel(c).begin(), in.Channel(c).begin() + block, 1e-40f);
        Run(p->Effect(), in, out, block);
    }
    const float poison[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()};
    int worstRecovery = 0;
    bool recovered = true;
    for (float v : poison) {
        for (int b = 0; b < 4; ++b) {
            noise.Fill(in, block);
            in.Channel(0)[static_cast<size_t>(b * 7)] = v;
            Run(p->Effect(), in, out, block, false);
        }
        // Up to a second of clean input.
        int blocks = 0;
        const int limit = static_cast<int>(rate / block);
        for (; blocks < limit; ++blocks) {
            noise.Fill(in, block);
            Run(p->Effect(), in, out, block, false);
            if (out.NonFinite() == 0)
                break;
        }
        if (blocks == limit) {
            recovered = false;
            Fail("signal: output still not finite a second after a %g sample", static_cast<double>(v));
            // Counted from here on: reloading gives the tail a fair start.
            p = Load(path, rate, block);
        }
        worstRecovery = std::max(worstRecovery, blocks);
    }
    if (recovered)
        Report("recovery %d", worstRecovery * block * 1000 / static_cast<int>(rate));
    else
        Report("recovery never");

    // Tail, in each program (up to 32): a second of noise over low tones
    // (where long recursions ring longest), then up to 30 s of silence. The
    // row shows the longest; a program that never falls silent fails.
    const int programs = std::min(std::max(p->NumPrograms(), 1), 32);
    int longest = 0;
    for (int program = 0; program < programs; ++program) {
        if (p->NumPrograms() > 0)
            p->Dispatch(effSetProgram, 0, program);
        for (int b = 0, t = 0; b < static_cast<int>(rate / block); ++b) {
            noise.Fill(in, block);
            for (int i = 0; i < block; ++i, ++t) {
                const double x = 2.0 * 3.141592653589793 * t / rate;
                const float tone = static_cast<float>(0.2 * std::sin(25.0 * x) + 0.2 * std::sin(40.0 * x));
                for (int c = 0; c < in.Channels(); ++c)
                    in.Channel(c)[static_cast<size_t>(i)] = 0.2f * in.Channel(c)[static_cast<size_t>(i)] + tone;
            }
            Run(p->Effect(), in, out, block);
        }
        for (int c = 0; c < in.Channels(); ++c)
            std::fill(in.Channel(c).begin(), in.Channel(c).begin() + block, 0.0f);
        const int limit = static_cast<int>(30 * rate / block);
        int b = 0;
        float last = 0.0f;
        for (; b < limit; ++b) {
            Run(p->Effect(), in, out, block);
            last = out.Peak();
            if (last == 0.0f)
                break;  // digital silence
        }
        if (b == limit) {
            Report("tail never");
            Fail("signal: in program %d the output is still at %.1f dBFS 30 s after the input stopped "
                 "(never digital silence)", program, 20.0 * std::log10(static_cast<double>(last)));
            return;
        }
        longest = std::max(longest, b);
    }
    Report("tail %d", longest * block * 1000 / static_cast<int>(rate));
}

// Block times at 48 kHz, 512 frames, and the real-time counts when the
// counting library is loaded.
void CheckTiming(const std::string& path)
{
    auto p = Load(path);
    Noise noise;
    Buffers in(p->NumInputs(), 512), out(p->NumOutputs(), 512);
    std::vector<double> us;
    for (int b = 0; b < 3000; ++b) {
        noise.Fill(in, 512);
        // A parameter written now and then (with its own value, so the
        // state measured stays the plug-in's default).
        if (b % 100 == 0 && p->NumParams() > 0) {
            const int i = (b / 100) % p->NumParams();
            p->SetParam(i, p->GetParam(i));
        }
        const auto t0 = std::chrono::steady_clock::now();
        Run(p->Effect(), in, out, 512);
        const auto t1 = std::chrono::steady_clock::now();
        if (b >= 100)  // warmed up
            us.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    std::sort(us.begin(), us.end());
    Report("time %.1f %.1f", us.back(), us[us.size() / 2]);
}

// As hosts really call: the audio thread plays automation (setParameter
// between processReplacing calls, as Ardour and Reaper do, counted by --rt
// like the blocks), the host's thread switches programs and sets chunks,
// and an interface thread reads what a generic editor or a panel shows
// (parameter values and display strings, program names, the chunk) with
// the plug-in's editor open and idling, where there is a display.
void CheckThreads(const std::string& path)
{
    auto p = Load(path);
    std::atomic<bool> stop{false};
#ifdef GHOST_HAVE_X11
    Display* display = (p->Flags() & effFlagsHasEditor) ? XOpenDisplay(nullptr) : nullptr;
    Window parent = 0;
    if (display) {
        parent = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 800, 600, 0, 0, 0);
        XMapWindow(display, parent);
        XSync(display, False);
    }
#endif
    const int n = p->NumParams();
    const int programs = p->NumPrograms();
    std::vector<unsigned char> chunk;
    if (p->Flags() & effFlagsProgramChunks)
        chunk = GetChunk(*p, false);
    std::thread host([&] {
        uint32_t s = 5;
        for (int round = 0; !stop.load(); ++round) {
            s = s * 1664525u + 1013904223u;
            if (programs > 0)
                p->Dispatch(effSetProgram, 0, static_cast<intptr_t>(s % static_cast<uint32_t>(programs)));
            if (round % 8 == 0 && !chunk.empty()) {
                std::vector<unsigned char> copy = chunk;
                p->Dispatch(effSetChunk, 0, static_cast<intptr_t>(copy.size()), copy.data());
            }
            if (round % 4 == 0)
                std::this_thread::yield();
        }
    });
    std::thread ui([&] {
        char text[256];
#ifdef GHOST_HAVE_X11
        if (display) {
            ERect* rect = nullptr;
            p->Dispatch(effEditGetRect, 0, 0, &rect);
            p->Dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(parent));
        }
#endif
        while (!stop.load()) {
#ifdef GHOST_HAVE_X11
            if (display) {
                p->Dispatch(effEditIdle);
                while (XPending(display)) {
                    XEvent ev;
                    XNextEvent(display, &ev);
                }
            }
#endif
            for (int i = 0; i < n; ++i) {
                p->Dispatch(effGetParamDisplay, i, 0, text);
                (void)p->GetParam(i);
            }
            p->Dispatch(effGetProgramName, 0, 0, text);
            (void)p->Dispatch(effGetProgram);
            if (!chunk.empty())
                (void)GetChunk(*p, false);
            std::this_thread::yield();
        }
#ifdef GHOST_HAVE_X11
        if (display)
            p->Dispatch(effEditClose);
#endif
    });
    Noise noise;
    Buffers in(p->NumInputs(), 256), out(p->NumOutputs(), 256);
    uint32_t s = 11;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (std::chrono::steady_clock::now() < end) {
        // A few automation points per block, then the block.
        for (int k = 0; k < 4 && n > 0; ++k) {
            s = s * 1664525u + 1013904223u;
            if (g_rt.Present())
                g_rt.begin();
            p->SetParam(static_cast<int>(s % static_cast<uint32_t>(n)), static_cast<float>(s >> 8) / 16777216.0f);
            (void)p->GetParam(static_cast<int>((s >> 4) % static_cast<uint32_t>(n)));
            if (g_rt.Present())
                g_rt.end();
        }
        noise.Fill(in, 256);
        Run(p->Effect(), in, out, 256);
    }
    stop = true;
    host.join();
    ui.join();
#ifdef GHOST_HAVE_X11
    if (display) {
        XDestroyWindow(display, parent);
        XCloseDisplay(display);
    }
#endif
}

// Opening and closing the editor again and again while audio runs.
void CheckEditor(const std::string& path)
{
    auto p = Load(path);
    if (!(p->Flags() & effFlagsHasEditor)) {
        Report("editor none");
        return;
    }
#ifdef GHOST_HAVE_X11
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        Fail("editor: no X display to open the editor in");
        return;
    }
    const Window parent = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 800, 600, 0, 0, 0);
    XMapWindow(display, parent);
    XSync(display, False);
    std::atomic<bool> stop{false};
    std::thread audio([&] {
        Noise noise;
        Buffers in(p->NumInputs(), 256), out(p->NumOutputs(), 256);
        while (!stop.load()) {
            noise.Fill(in, 256);
            Run(p->Effect(), in, out, 256);
        }
    });
    for (int round = 0; round < 20; ++round) {
        ERect* rect = nullptr;
        p->Dispatch(effEditGetRect, 0, 0, &rect);
        p->Dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(parent));
        for (int idle = 0; idle < 5; ++idle) {
            p->Dispatch(effEditIdle);
            while (XPending(display)) {
                XEvent ev;
                XNextEvent(display, &ev);
            }
            usleep(5000);
        }
        p->Dispatch(effEditClose);
    }
    stop = true;
    audio.join();
    XDestroyWindow(display, parent);
    XCloseDisplay(display);
    Report("editor ok");
#else
    Report("editor untested");
#endif
}

struct Check {
    const char* name;
    void (*run)(const std::string&);
};
const Check kChecks[] = {
    {"calls", CheckCalls},   {"blocks", CheckBlocks},   {"rates", CheckRates},
    {"strings", CheckStrings}, {"params", CheckParams}, {"state", CheckState},
    {"signal", CheckSignal}, {"timing", CheckTiming},   {"threads", CheckThreads},
    {"editor", CheckEditor},
};

int RunChild(const std::string& check, const std::string& path)
{
    g_report = fdopen(3, "w");
    if (!g_report)
        return 3;
    LookUpRt();
    if (g_rt.Present())
        g_rt.reset();
    for (const Check& c : kChecks) {
        if (check != c.name)
            continue;
        try {
            c.run(path);
        } catch (const std::exception& e) {
            Fail("%s: %s", c.name, e.what());
        }
        Report("nonfinite %lld", g_tally.nonFinite);
        Report("overrun %lld", g_tally.overruns);
        if (g_rt.Present()) {
            RtCounts counts{};
            g_rt.read(&counts);
            Report("rt %llu %llu %llu %llu %llu %llu", g_rtBlocks, counts.allocs, counts.frees, counts.lock_waits,
                   counts.syscalls, counts.locks);
        }
        Report("done");
        std::fclose(g_report);
        // Leave at once: a plug-in's threads or exit handlers are not this
        // check's business.
        _exit(0);
    }
    return 2;
}

// ---------------------------------------------------------------------------
// Parent side

struct Row {
    std::string plugin;
    int crashes = 0;
    int hangs = 0;
    long long nonFinite = 0;
    long long overruns = 0;
    unsigned long long rtBlocks = 0, allocs = 0, frees = 0, waits = 0, syscalls = 0, locks = 0;
    std::string recovery = "-";
    std::string tail = "-";
    std::string editor = "-";
    double worstUs = -1, medianUs = -1;
    std::vector<std::string> findings;
    bool Failed(bool rt) const
    {
        return crashes || hangs || nonFinite || overruns || !findings.empty() ||
               (rt && (rtBlocks == 0 || allocs || frees || waits || syscalls || locks));
    }
};

std::string SelfPath()
{
    char buf[4096];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0)
        return "graphiceq-host";
    buf[n] = 0;
    return buf;
}

bool FileExists(const std::string& p)
{
    struct stat st;
    return stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string FindRtLibrary()
{
    if (const char* env = std::getenv("GRAPHICEQ_RTCHECK"))
        return env;
    const std::string self = SelfPath();
    const std::string dir = self.substr(0, self.find_last_of('/'));
    for (const std::string& c : {dir + "/rtcheck/libgraphiceq_rtcheck.so", dir + "/libgraphiceq_rtcheck.so"})
        if (FileExists(c))
            return c;
#ifdef GRAPHICEQ_RTCHECK_LIBRARY
    if (FileExists(GRAPHICEQ_RTCHECK_LIBRARY))
        return GRAPHICEQ_RTCHECK_LIBRARY;
#endif
    return {};
}

// A private Xvfb for the editor check when no display is set.
pid_t g_xvfb = 0;

void EnsureDisplay()
{
    if (std::getenv("DISPLAY") && *std::getenv("DISPLAY"))
        return;
    for (int n = 140; n < 200; ++n) {
        const std::string sock = "/tmp/.X11-unix/X" + std::to_string(n);
        const std::string lock = "/tmp/.X" + std::to_string(n) + "-lock";
        if (access(sock.c_str(), F_OK) == 0 || access(lock.c_str(), F_OK) == 0)
            continue;
        const std::string display = ":" + std::to_string(n);
        const pid_t pid = fork();
        if (pid == 0) {
            const int null = open("/dev/null", O_RDWR);
            dup2(null, 1);
            dup2(null, 2);
            execlp("Xvfb", "Xvfb", display.c_str(), "-screen", "0", "1280x1024x24", "-nolisten", "tcp",
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        if (pid < 0)
            return;
        for (int i = 0; i < 100 && access(sock.c_str(), F_OK) != 0; ++i)
            usleep(50000);
        g_xvfb = pid;
        setenv("DISPLAY", display.c_str(), 1);
        return;
    }
}

void RunCheck(Row& row, const Check& check, const std::string& path, const std::string& rtLib, bool verbose,
              int timeoutSeconds)
{
    if (std::strcmp(check.name, "editor") == 0 || std::strcmp(check.name, "threads") == 0)
        EnsureDisplay();
    int fds[2];
    if (pipe(fds) != 0)
        throw HostError("validate: cannot create a pipe");
    const std::string self = SelfPath();
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 3);
        if (fds[0] != 3)
            close(fds[0]);
        if (fds[1] != 3)
            close(fds[1]);
        if (!verbose) {
            const int null = open("/dev/null", O_RDWR);
            dup2(null, 1);
            dup2(null, 2);
        }
        if (!rtLib.empty()) {
            setenv("LD_PRELOAD", rtLib.c_str(), 1);
            // A sanitizer build of this host would refuse a library loaded
            // before its runtime; the counting library of such a build uses
            // the sanitizer's hooks, so the order does not matter.
            std::string asan = std::getenv("ASAN_OPTIONS") ? std::getenv("ASAN_OPTIONS") : "";
            setenv("ASAN_OPTIONS", (asan + (asan.empty() ? "" : ":") + "verify_asan_link_order=0").c_str(), 1);
        }
        execl(self.c_str(), "graphiceq-host", "validate", "--child", check.name, path.c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    if (pid < 0) {
        close(fds[0]);
        throw HostError("validate: cannot start a child process");
    }
    std::string text;
    bool timedOut = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            kill(pid, SIGKILL);
            break;
        }
        pollfd pfd{fds[0], POLLIN, 0};
        if (poll(&pfd, 1, static_cast<int>(std::min<long long>(left.count(), 1000))) <= 0)
            continue;
        char buf[4096];
        const ssize_t n = read(fds[0], buf, sizeof buf);
        if (n <= 0)
            break;
        text.append(buf, static_cast<size_t>(n));
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);

    bool done = false;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t nl = text.find('\n', pos);
        if (nl == std::string::npos)
            nl = text.size();
        const std::string line = text.substr(pos, nl - pos);
        pos = nl + 1;
        char word[32] = {};
        if (std::sscanf(line.c_str(), "%31s", word) != 1)
            continue;
        const std::string key = word;
        const char* rest = line.c_str() + key.size() + (line.size() > key.size() ? 1 : 0);
        if (key == "fail")
            row.findings.push_back(rest);
        else if (key == "nonfinite")
            row.nonFinite += std::atoll(rest);
        else if (key == "overrun")
            row.overruns += std::atoll(rest);
        else if (key == "recovery")
            row.recovery = rest;
        else if (key == "tail")
            row.tail = rest;
        else if (key == "editor")
            row.editor = rest;
        else if (key == "time")
            std::sscanf(rest, "%lf %lf", &row.worstUs, &row.medianUs);
        else if (key == "rt") {
            unsigned long long b = 0, a = 0, f = 0, w = 0, y = 0, l = 0;
            if (std::sscanf(rest, "%llu %llu %llu %llu %llu %llu", &b, &a, &f, &w, &y, &l) == 6) {
                row.rtBlocks += b;
                row.allocs += a;
                row.frees += f;
                row.waits += w;
                row.syscalls += y;
                row.locks += l;
            }
        } else if (key == "done")
            done = true;
    }
    if (timedOut) {
        ++row.hangs;
        row.findings.push_back(std::string(check.name) + ": no answer within " + std::to_string(timeoutSeconds) + " s");
    } else if (WIFSIGNALED(status)) {
        ++row.crashes;
        row.findings.push_back(std::string(check.name) + ": crashed with signal " + std::to_string(WTERMSIG(status)) +
                               " (" + strsignal(WTERMSIG(status)) + ")");
    } else if (!done) {
        ++row.crashes;
        row.findings.push_back(std::string(check.name) + ": ended early (exit status " +
                               std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + ")");
    }
}

std::string PerThousand(unsigned long long count, unsigned long long blocks)
{
    if (blocks == 0)
        return "-";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.1f", 1000.0 * static_cast<double>(count) / static_cast<double>(blocks));
    return buf;
}

std::string Fixed(double v)
{
    if (v < 0)
        return "-";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.1f", v);
    return buf;
}

}  // namespace

int RunValidate(int argc, char** argv)
{
    if (argc >= 3 && std::strcmp(argv[0], "--child") == 0)
        return RunChild(argv[1], argv[2]);
    bool rt = false, verbose = false;
    int timeout = 120;
    std::string only;  // ",calls,blocks,": just these checks
    std::vector<std::string> plugins;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--rt")
            rt = true;
        else if (a == "--verbose")
            verbose = true;
        else if (a == "--timeout" && i + 1 < argc)
            timeout = std::max(1, std::atoi(argv[++i]));
        else if (a == "--only" && i + 1 < argc)
            only = "," + std::string(argv[++i]) + ",";
        else if (!a.empty() && a[0] == '-') {
            std::fprintf(stderr, "graphiceq-host validate: unknown option %s\n", a.c_str());
            return 2;
        } else
            plugins.push_back(a);
    }
    if (plugins.empty()) {
        std::fprintf(stderr, "usage: graphiceq-host validate [--rt] [--verbose] [--timeout S] [--only CHECK,...] "
                             "PLUGIN.so...\n"
                             "checks: calls blocks rates strings params state signal timing threads editor\n");
        return 2;
    }
    std::string rtLib;
    if (rt) {
        rtLib = FindRtLibrary();
        if (rtLib.empty()) {
            std::fprintf(stderr, "graphiceq-host validate: --rt needs libgraphiceq_rtcheck.so beside the host "
                                 "(or GRAPHICEQ_RTCHECK)\n");
            return 2;
        }
    }
    std::vector<Row> rows;
    for (const std::string& path : plugins) {
        Row row;
        row.plugin = path;
        for (const Check& c : kChecks)
            if (only.empty() || only.find("," + std::string(c.name) + ",") != std::string::npos)
                RunCheck(row, c, path, rtLib, verbose, timeout);
        rows.push_back(row);
    }
    if (g_xvfb > 0) {
        kill(g_xvfb, SIGTERM);
        waitpid(g_xvfb, nullptr, 0);
    }

    FILE* out = Results();
    std::fprintf(out, "| plug-in | crashes | non-finite | overruns | allocs/1k blocks | locks/1k blocks | waits/1k blocks "
                "| recovery (ms) | tail (ms) | editor | worst block (us) | median block (us) | result |\n");
    std::fprintf(out, "|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    bool anyFailed = false;
    for (const Row& r : rows) {
        const bool failed = r.Failed(rt);
        anyFailed |= failed;
        const std::string name = r.plugin.substr(r.plugin.find_last_of('/') + 1);
        std::fprintf(out, "| %s | %d | %lld | %lld | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", name.c_str(),
                    r.crashes + r.hangs, r.nonFinite, r.overruns,
                    rt ? PerThousand(r.allocs + r.frees, r.rtBlocks).c_str() : "-",
                    rt ? PerThousand(r.locks, r.rtBlocks).c_str() : "-",
                    rt ? PerThousand(r.waits, r.rtBlocks).c_str() : "-", r.recovery.c_str(), r.tail.c_str(),
                    r.editor.c_str(), Fixed(r.worstUs).c_str(), Fixed(r.medianUs).c_str(), failed ? "FAIL" : "pass");
    }
    std::fflush(out);
    for (const Row& r : rows)
        for (const std::string& f : r.findings)
            std::fprintf(stderr, "%s: %s\n", r.plugin.c_str(), f.c_str());
    if (rt)
        for (const Row& r : rows)
            if (r.allocs || r.frees || r.locks || r.waits || r.syscalls || r.rtBlocks == 0)
                std::fprintf(stderr,
                             "%s: on the audio thread: %llu allocations, %llu frees, %llu locks taken, "
                             "%llu waits, %llu blocking system calls in %llu blocks\n",
                             r.plugin.c_str(), r.allocs, r.frees, r.locks, r.waits, r.syscalls, r.rtBlocks);
    std::fflush(out);
    return anyFailed ? 1 : 0;
}

}  // namespace ghost
