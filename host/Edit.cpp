// graphiceq-host edit: a plug-in's editor in a top-level X11 window of the
// host's own, the way Linux VST hosts embed editors: the host opens its own
// display connection, sizes its window from effEditGetRect, passes the
// window id to effEditOpen as the parent, and calls effEditIdle from its UI
// loop. Audio runs meanwhile on a thread of its own at the plug-in's sample
// rate in real time, so meters move.
#include "Edit.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <cairo.h>
#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>

#include "Commands.h"
#include "ParamSet.h"
#include "VstHost.h"

namespace ghost {

namespace {

using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t g_interrupted = 0;
void OnInterrupt(int) { g_interrupted = 1; }

bool EndsWith(const std::string& s, const std::string& tail)
{
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// Single-producer single-consumer queue of interleaved samples: the audio
// thread pushes what the plug-in produced, the UI thread writes it to the
// file. Fixed capacity; what does not fit is counted and dropped.
class SampleQueue {
public:
    explicit SampleQueue(size_t capacity) : m_buf(capacity) {}
    void Push(const float* data, size_t n)
    {
        const size_t head = m_head.load(std::memory_order_relaxed);
        const size_t tail = m_tail.load(std::memory_order_acquire);
        if (m_buf.size() - (head - tail) < n) {
            m_dropped.fetch_add(n, std::memory_order_relaxed);
            return;
        }
        for (size_t i = 0; i < n; ++i)
            m_buf[(head + i) % m_buf.size()] = data[i];
        m_head.store(head + n, std::memory_order_release);
    }
    // Hands every queued sample to `sink` (in at most two runs).
    template <typename Sink>
    void Drain(Sink&& sink)
    {
        const size_t tail = m_tail.load(std::memory_order_relaxed);
        const size_t head = m_head.load(std::memory_order_acquire);
        size_t at = tail;
        while (at < head) {
            const size_t start = at % m_buf.size();
            const size_t run = std::min(head - at, m_buf.size() - start);
            sink(m_buf.data() + start, run);
            at += run;
        }
        m_tail.store(head, std::memory_order_release);
    }
    size_t Dropped() const { return m_dropped.load(); }

private:
    std::vector<float> m_buf;
    std::atomic<size_t> m_head{0}, m_tail{0}, m_dropped{0};
};

// Plays `source` through the plug-in, looped, in real time: one block, then
// sleep until the block's time has come. Everything is allocated before the
// thread starts.
class AudioThread {
public:
    AudioThread(VstPlugin& plugin, const Audio& source, SampleQueue* record)
        : m_plugin(plugin), m_source(source), m_record(record)
    {
        const int block = plugin.BlockSize();
        m_in.assign(std::max(1, plugin.NumInputs()), std::vector<float>(block, 0.0f));
        m_out.assign(std::max(1, plugin.NumOutputs()), std::vector<float>(block, 0.0f));
        for (auto& c : m_in)
            m_inPtrs.push_back(c.data());
        for (auto& c : m_out)
            m_outPtrs.push_back(c.data());
        m_interleaved.assign(static_cast<size_t>(block) * plugin.NumOutputs(), 0.0f);
    }
    ~AudioThread() { Stop(); }
    void Start() { m_thread = std::thread([this] { Run(); }); }
    void Stop()
    {
        m_stop.store(true);
        if (m_thread.joinable())
            m_thread.join();
    }
    uint64_t Frames() const { return m_frames.load(); }

private:
    void Run()
    {
        const int block = m_plugin.BlockSize();
        const double rate = m_plugin.SampleRate();
        const size_t length = m_source.Frames();
        const int srcChannels = static_cast<int>(m_source.channels.size());
        size_t pos = 0;
        uint64_t done = 0;
        const Clock::time_point start = Clock::now();
        while (!m_stop.load(std::memory_order_relaxed)) {
            for (int i = 0; i < m_plugin.NumInputs(); ++i) {
                // A mono source feeds every input; missing channels are silent.
                const int c = srcChannels == 1 ? 0 : i;
                for (int f = 0; f < block; ++f)
                    m_in[i][f] = c < srcChannels && length ? m_source.channels[c][(pos + f) % length] : 0.0f;
            }
            m_plugin.Process(m_inPtrs.data(), m_outPtrs.data(), block);
            if (length)
                pos = (pos + block) % length;
            if (m_record) {
                const int outs = m_plugin.NumOutputs();
                for (int f = 0; f < block; ++f)
                    for (int c = 0; c < outs; ++c)
                        m_interleaved[static_cast<size_t>(f) * outs + c] = m_out[c][f];
                m_record->Push(m_interleaved.data(), static_cast<size_t>(block) * outs);
            }
            done += block;
            m_frames.store(done, std::memory_order_relaxed);
            std::this_thread::sleep_until(start + std::chrono::duration_cast<Clock::duration>(
                                                      std::chrono::duration<double>(done / rate)));
        }
    }

    VstPlugin& m_plugin;
    const Audio& m_source;
    SampleQueue* m_record;
    std::vector<std::vector<float>> m_in, m_out;
    std::vector<float*> m_inPtrs, m_outPtrs;
    std::vector<float> m_interleaved;
    std::atomic<bool> m_stop{false};
    std::atomic<uint64_t> m_frames{0};
    std::thread m_thread;
};

// The host's top-level window on its own display connection.
class HostWindow {
public:
    HostWindow(const std::string& title, int width, int height)
    {
        m_display = XOpenDisplay(nullptr);
        if (!m_display) {
            const char* d = std::getenv("DISPLAY");
            throw HostError(std::string("cannot open the X display ") + (d ? d : "(DISPLAY is not set)"));
        }
        const int screen = DefaultScreen(m_display);
        m_window = XCreateSimpleWindow(m_display, RootWindow(m_display, screen), 0, 0, width, height, 0,
                                       BlackPixel(m_display, screen), BlackPixel(m_display, screen));
        XStoreName(m_display, m_window, title.c_str());
        m_deleteAtom = XInternAtom(m_display, "WM_DELETE_WINDOW", False);
        XSetWMProtocols(m_display, m_window, &m_deleteAtom, 1);
        XSelectInput(m_display, m_window, StructureNotifyMask | ExposureMask);
        Resize(width, height);
        XMapWindow(m_display, m_window);
        // Wait until the server shows it, so the editor opens into a mapped window.
        const Clock::time_point until = Clock::now() + std::chrono::seconds(5);
        while (!m_mapped && Clock::now() < until) {
            Pump();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        XSync(m_display, False);
    }
    ~HostWindow()
    {
        if (m_display) {
            XDestroyWindow(m_display, m_window);
            XCloseDisplay(m_display);
        }
    }
    HostWindow(const HostWindow&) = delete;
    HostWindow& operator=(const HostWindow&) = delete;

    Window Id() const { return m_window; }
    int Width() const { return m_width; }
    int Height() const { return m_height; }

    // A fixed-size window: the editor decides its size.
    void Resize(int width, int height)
    {
        m_width = std::max(1, width);
        m_height = std::max(1, height);
        XSizeHints* hints = XAllocSizeHints();
        hints->flags = PMinSize | PMaxSize;
        hints->min_width = hints->max_width = m_width;
        hints->min_height = hints->max_height = m_height;
        XSetWMNormalHints(m_display, m_window, hints);
        XFree(hints);
        XResizeWindow(m_display, m_window, m_width, m_height);
    }

    // Handles pending events; false once the user closed the window.
    bool Pump()
    {
        while (XPending(m_display)) {
            XEvent e;
            XNextEvent(m_display, &e);
            if (e.type == MapNotify)
                m_mapped = true;
            else if (e.type == ClientMessage && static_cast<Atom>(e.xclient.data.l[0]) == m_deleteAtom)
                m_closed = true;
        }
        return !m_closed;
    }

    void Sync() { XSync(m_display, False); }
    void Raise() { XRaiseWindow(m_display, m_window); }

    // The window's contents (the editor's windows inside it included) as a PNG.
    void Screenshot(const std::string& path)
    {
        // Pixels under other windows are not ours to read: come to the top first.
        XRaiseWindow(m_display, m_window);
        XSync(m_display, False);
        XImage* image = XGetImage(m_display, m_window, 0, 0, m_width, m_height, AllPlanes, ZPixmap);
        if (!image)
            throw HostError("cannot read the window's pixels for the screenshot");
        cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, m_width, m_height);
        unsigned char* data = cairo_image_surface_get_data(s);
        const int stride = cairo_image_surface_get_stride(s);
        auto channel = [](unsigned long pixel, unsigned long mask) -> uint32_t {
            if (!mask)
                return 0;
            int shift = 0;
            while (!((mask >> shift) & 1))
                ++shift;
            const unsigned long max = mask >> shift;
            return static_cast<uint32_t>(((pixel & mask) >> shift) * 255 / max);
        };
        for (int y = 0; y < m_height; ++y) {
            uint32_t* row = reinterpret_cast<uint32_t*>(data + static_cast<size_t>(y) * stride);
            for (int x = 0; x < m_width; ++x) {
                const unsigned long p = XGetPixel(image, x, y);
                row[x] = channel(p, image->red_mask) << 16 | channel(p, image->green_mask) << 8 |
                         channel(p, image->blue_mask);
            }
        }
        XDestroyImage(image);
        cairo_surface_mark_dirty(s);
        const cairo_status_t st = cairo_surface_write_to_png(s, path.c_str());
        cairo_surface_destroy(s);
        if (st != CAIRO_STATUS_SUCCESS)
            throw HostError("cannot write " + path + ": " + cairo_status_to_string(st));
    }

private:
    Display* m_display = nullptr;
    Window m_window = 0;
    Atom m_deleteAtom = 0;
    int m_width = 1, m_height = 1;
    bool m_mapped = false, m_closed = false;
};

// The editor's size from effEditGetRect, or 0 x 0 when it gives none.
void EditorSize(VstPlugin& p, int* width, int* height)
{
    ERect* rect = nullptr;
    p.Dispatch(effEditGetRect, 0, 0, &rect);
    *width = *height = 0;
    if (rect) {
        *width = std::clamp(rect->right - rect->left, 0, 8192);
        *height = std::clamp(rect->bottom - rect->top, 0, 8192);
    }
}

// An output file written as the audio thread delivers.
class Recorder {
public:
    Recorder(const std::string& path, int inputFormat, int channels, double rate) : m_path(path)
    {
        SF_INFO info{};
        info.samplerate = static_cast<int>(std::lround(rate));
        info.channels = channels;
        info.format = ChooseOutputFormat(path, inputFormat, channels, rate);
        m_file = sf_open(path.c_str(), SFM_WRITE, &info);
        if (!m_file)
            throw HostError("cannot write " + path + ": " + sf_strerror(nullptr));
    }
    ~Recorder()
    {
        if (m_file)
            sf_close(m_file);
    }
    void Write(const float* data, size_t n)
    {
        if (sf_write_float(m_file, data, static_cast<sf_count_t>(n)) != static_cast<sf_count_t>(n))
            throw HostError("cannot write " + m_path + ": " + sf_strerror(m_file));
    }

private:
    std::string m_path;
    SNDFILE* m_file = nullptr;
};

}  // namespace

Audio BurstSignal(double rate, int channels, double seconds)
{
    Audio a;
    a.rate = rate;
    const size_t total = static_cast<size_t>(seconds * rate);
    a.channels.assign(std::max(1, channels), std::vector<float>(total, 0.0f));
    const double peaks[] = {-6, -18, -3, -12};   // dBFS, one per burst
    const size_t burst = total / 4;
    for (size_t c = 0; c < a.channels.size(); ++c) {
        uint32_t seed = 0x9E3779B9u * static_cast<uint32_t>(c + 1);
        double b0 = 0, b1 = 0, b2 = 0;
        for (size_t i = 0; i < total; ++i) {
            seed = seed * 1664525u + 1013904223u;
            const double w = (seed >> 8) / 8388608.0 - 1.0;
            // Three-pole pink approximation, scaled to about +-1.
            b0 = 0.99765 * b0 + w * 0.0990460;
            b1 = 0.96300 * b1 + w * 0.2965164;
            b2 = 0.57000 * b2 + w * 1.0526913;
            const double pink = (b0 + b1 + b2 + w * 0.1848) * 0.25;
            const size_t k = i / burst, t = i % burst;
            // Each burst starts at its peak and decays by 30 dB over its length.
            const double dB = peaks[std::min<size_t>(k, 3)] - 30.0 * t / burst - (c % 2) * 1.5;
            a.channels[c][i] = static_cast<float>(std::clamp(pink, -1.0, 1.0) * std::pow(10.0, dB / 20.0));
        }
    }
    return a;
}

std::string EditUsageText()
{
    return "usage: graphiceq-host edit [PLUGIN] [IN] [options]\n"
           "  opens the plug-in's editor in a window of its own (X11, as Linux hosts embed\n"
           "  editors) and plays IN, looped, through the plug-in in real time on an audio\n"
           "  thread; without IN, pink-noise bursts at -6, -18, -3 and -12 dBFS (--rate HZ,\n"
           "  default 48000). Runs until the window is closed, or for --after MS.\n"
           "\n"
           "  --out OUT.wav          records what the plug-in plays\n"
           "  --screenshot FILE.png  writes the window's contents after --after MS and quits\n"
           "  --after MS             stops after MS milliseconds (taking the screenshot)\n"
           "  --idle-ms N            calls the editor's idle every N ms (default 33)\n"
           "  --set NAME=VALUE       as for render; --block N (default 512)\n"
           "  Without PLUGIN: the GraphicEQ.so of this build, else ~/.vst/GraphicEQ/GraphicEQ.so.\n";
}

EditOptions ParseEditCommandLine(int argc, char** argv)
{
    EditOptions o;
    std::vector<std::string> positional;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc)
                throw UsageError(a + " needs a value");
            return argv[++i];
        };
        if (a == "--plugin") {
            o.plugin = value();
        } else if (a == "--out") {
            o.out = value();
        } else if (a == "--screenshot") {
            o.screenshot = value();
        } else if (a == "--after") {
            o.afterMs = ParseInt(a, value());
            if (o.afterMs < 0 || o.afterMs > 3600000)
                throw UsageError("--after must be between 0 and 3600000 ms");
        } else if (a == "--idle-ms") {
            o.idleMs = ParseInt(a, value());
            if (o.idleMs < 1 || o.idleMs > 10000)
                throw UsageError("--idle-ms must be between 1 and 10000");
        } else if (a == "--rate") {
            o.rate = ParseRate(a, value());
        } else if (a == "--block") {
            o.block = ParseBlock(a, value());
        } else if (a == "--set") {
            o.sets.push_back(value());
        } else if (a.size() > 1 && a[0] == '-') {
            throw UsageError("unknown option " + a + " for edit");
        } else {
            positional.push_back(a);
        }
    }
    // [PLUGIN] [IN]: with one argument, a shared object is the plug-in and
    // anything else the audio.
    if (positional.size() > 2 || (positional.size() == 2 && !o.plugin.empty()))
        throw UsageError("edit expects [PLUGIN] [IN.wav]");
    if (positional.size() == 2) {
        o.plugin = positional[0];
        o.input = positional[1];
    } else if (positional.size() == 1) {
        if (o.plugin.empty() && EndsWith(positional[0], ".so"))
            o.plugin = positional[0];
        else
            o.input = positional[0];
    }
    if (!o.screenshot.empty() && o.afterMs < 0)
        throw UsageError("--screenshot needs --after MS (when to take it)");
    if (!o.input.empty() && o.rate != 0)
        throw UsageError("--rate applies to the test signal only; the plug-in runs at IN's rate");
    return o;
}

int RunEdit(int argc, char** argv)
{
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            std::fputs(EditUsageText().c_str(), Results());
            return 0;
        }
    }
    const EditOptions o = ParseEditCommandLine(argc, argv);
    const std::string path = o.plugin.empty() ? DefaultPluginPath() : o.plugin;

    // The sound first: its rate is the plug-in's.
    Audio source;
    int inputFormat = 0;
    if (!o.input.empty())
        source = ReadAudioFile(o.input, &inputFormat);
    const double rate = o.input.empty() ? (o.rate ? o.rate : 48000.0) : source.rate;

    VstPlugin plugin(path, rate, o.block);
    if (!(plugin.Flags() & effFlagsHasEditor))
        throw HostError(path + ": the plug-in has no editor (effFlagsHasEditor is not set)");
    if (o.input.empty())
        source = BurstSignal(rate, std::max(1, plugin.NumInputs()));
    if (!o.sets.empty()) {
        PluginParamAccess params(plugin);
        for (const std::string& s : o.sets)
            ApplySetting(params, s);
    }
    std::unique_ptr<Recorder> recorder;
    std::unique_ptr<SampleQueue> queue;
    if (!o.out.empty()) {
        if (plugin.NumOutputs() < 1)
            throw HostError(path + ": the plug-in has no outputs to record");
        recorder = std::make_unique<Recorder>(o.out, inputFormat, plugin.NumOutputs(), rate);
        // Two seconds of slack between the audio thread and the writer.
        queue = std::make_unique<SampleQueue>(static_cast<size_t>(2 * rate + o.block) * plugin.NumOutputs());
    }

    int width = 0, height = 0;
    EditorSize(plugin, &width, &height);
    const std::string title = "graphiceq-host: " + plugin.EffectName();
    HostWindow window(title, width ? width : 320, height ? height : 200);

    plugin.Resume();
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);
    plugin.Dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(static_cast<uintptr_t>(window.Id())));
    // Some editors know their size only once open.
    int w2 = 0, h2 = 0;
    EditorSize(plugin, &w2, &h2);
    if (w2 > 0 && h2 > 0 && (w2 != window.Width() || h2 != window.Height()))
        window.Resize(w2, h2);
    window.Sync();

    AudioThread audio(plugin, source, queue.get());
    audio.Start();

    const Clock::time_point start = Clock::now();
    const auto idle = std::chrono::milliseconds(o.idleMs);
    Clock::time_point nextIdle = start;
    std::string failure;
    try {
        while (!g_interrupted && window.Pump()) {
            const Clock::time_point now = Clock::now();
            if (now >= nextIdle) {
                plugin.Dispatch(effEditIdle);
                nextIdle += idle;
                if (nextIdle < now)
                    nextIdle = now + idle;
            }
            if (queue)
                queue->Drain([&](const float* d, size_t n) { recorder->Write(d, n); });
            if (o.afterMs >= 0 && now - start >= std::chrono::milliseconds(o.afterMs)) {
                if (!o.screenshot.empty()) {
                    window.Raise();
                    plugin.Dispatch(effEditIdle);
                    window.Sync();
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                    window.Screenshot(o.screenshot);
                }
                break;
            }
            std::this_thread::sleep_until(std::min(nextIdle, now + std::chrono::milliseconds(5)));
        }
    } catch (const HostError& e) {
        failure = e.what();
    }

    // Audio stops first, then the editor closes, then the plug-in.
    audio.Stop();
    if (queue)
        queue->Drain([&](const float* d, size_t n) { recorder->Write(d, n); });
    plugin.Dispatch(effEditClose);
    window.Sync();
    plugin.Suspend();
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    if (!failure.empty())
        throw HostError(failure);
    const double seconds = audio.Frames() / rate;
    std::fprintf(Results(), "played %.2f s through %s at %.0f Hz, block %d\n", seconds, path.c_str(), rate,
                 plugin.BlockSize());
    if (queue && queue->Dropped())
        std::fprintf(stderr, "graphiceq-host: %zu samples could not be recorded in time\n", queue->Dropped());
    if (!o.screenshot.empty())
        std::fprintf(Results(), "screenshot %s (%d x %d)\n", o.screenshot.c_str(), window.Width(), window.Height());
    return 0;
}

}  // namespace ghost
