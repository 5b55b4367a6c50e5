#include "Commands.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xmmintrin.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "Audio.h"
#include "FxBank.h"
#include "Loudness.h"
#include "ParamSet.h"
#include "Plot.h"
#include "VstHost.h"

namespace ghost {

static FILE* g_results = nullptr;

FILE* Results()
{
    return g_results ? g_results : stdout;
}

void SeparatePluginOutput()
{
    std::fflush(stdout);
    const int fd = dup(STDOUT_FILENO);
    if (fd < 0)
        return;
    FILE* f = fdopen(fd, "w");
    if (!f) {
        close(fd);
        return;
    }
    if (dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        std::fclose(f);
        return;
    }
    g_results = f;
}

double ParseDouble(const std::string& opt, const std::string& v)
{
    char* end = nullptr;
    const double d = std::strtod(v.c_str(), &end);
    if (v.empty() || *end != '\0' || !std::isfinite(d))
        throw UsageError(opt + " expects a number, got \"" + v + "\"");
    return d;
}

int ParseInt(const std::string& opt, const std::string& v)
{
    char* end = nullptr;
    const long l = std::strtol(v.c_str(), &end, 10);
    if (v.empty() || *end != '\0' || l < INT32_MIN || l > INT32_MAX)
        throw UsageError(opt + " expects an integer, got \"" + v + "\"");
    return static_cast<int>(l);
}

double ParseRate(const std::string& opt, const std::string& v)
{
    const double rate = ParseDouble(opt, v);
    if (rate < 1000 || rate > 768000)
        throw UsageError(opt + " must be between 1000 and 768000 Hz");
    return rate;
}

int ParseBlock(const std::string& opt, const std::string& v)
{
    const int block = ParseInt(opt, v);
    if (block < 1 || block > kMaxBlock)
        throw UsageError(opt + " must be between 1 and " + std::to_string(kMaxBlock));
    return block;
}

namespace {

bool Exists(const std::string& path)
{
    struct stat st;
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// As a DAW's audio thread does: denormals flushed to zero, so plug-ins are
// timed and heard the way they run in practice.
void FlushDenormals()
{
    _mm_setcsr(_mm_getcsr() | 0x8040);  // FTZ | DAZ
}

std::string Hex(uint32_t v)
{
    char b[16];
    std::snprintf(b, sizeof b, "0x%08X", v);
    return b;
}

std::string FlagNames(int32_t flags)
{
    static const struct {
        int32_t bit;
        const char* name;
    } names[] = {{effFlagsHasEditor, "HasEditor"},         {effFlagsHasClip, "HasClip"},
                 {effFlagsHasVu, "HasVu"},                 {effFlagsCanMono, "CanMono"},
                 {effFlagsCanReplacing, "CanReplacing"},   {effFlagsProgramChunks, "ProgramChunks"},
                 {effFlagsIsSynth, "IsSynth"},             {effFlagsNoSoundInStop, "NoSoundInStop"},
                 {effFlagsCanDoubleReplacing, "CanDoubleReplacing"}};
    std::string s;
    int32_t known = 0;
    for (const auto& n : names) {
        known |= n.bit;
        if (flags & n.bit)
            s += (s.empty() ? "" : " ") + std::string(n.name);
    }
    if (flags & ~known)
        s += (s.empty() ? "" : " ") + std::string("other:") + Hex(static_cast<uint32_t>(flags & ~known));
    return s;
}

const char* CategoryName(int32_t c)
{
    static const char* const names[] = {"Unknown",     "Effect",      "Synth",       "Analysis",
                                        "Mastering",   "Spacializer", "RoomFx",      "SurroundFx",
                                        "Restoration", "OfflineProcess", "Shell",    "Generator"};
    return c >= 0 && c < 12 ? names[c] : "?";
}

std::string ChannelName(int c, int outs)
{
    if (outs == 2)
        return c == 0 ? "L" : "R";
    if (outs == 1)
        return "out";
    return "out" + std::to_string(c + 1);
}

std::unique_ptr<VstPlugin> Load(const std::string& path, double rate, int block)
{
    return std::make_unique<VstPlugin>(path, rate, block);
}

// Loads the plug-in and, with --bank, hands it the bank file right after
// open, before any --program or --set. The file is read first, so a bad
// bank is reported without loading anything.
std::unique_ptr<VstPlugin> LoadWithBank(const std::string& path, double rate, int block, const Options& o)
{
    FxBank bank;
    if (!o.bank.empty())
        bank = ReadFxBank(o.bank);
    auto p = Load(path, rate, block);
    if (!o.bank.empty()) {
        LoadFxBank(*p, bank, o.bank);
        std::fprintf(stderr, "bank %s: %s\n", o.bank.c_str(), DescribeFxBank(bank).c_str());
    }
    return p;
}

// --program, then every --set in order; each setting is reported on stderr.
void ApplySettings(VstPlugin& p, const Options& o, bool quiet = false)
{
    if (o.program >= 0)
        p.SetProgram(o.program);
    PluginParamAccess access(p);
    for (const std::string& assignment : o.sets) {
        const ParamSetting s = ApplySetting(access, assignment);
        if (quiet)
            continue;
        std::fprintf(stderr, "set %d \"%s\" = %s%s%s (normalised %.6f)\n", s.index, s.name.c_str(),
                     s.display.c_str(), s.label.empty() ? "" : " ", s.label.c_str(), s.normalised);
        if (!s.note.empty())
            std::fprintf(stderr, "  note: %s\n", s.note.c_str());
    }
}

std::string PluginPathFor(const Options& o)
{
    const std::string path = o.plugin.empty() ? DefaultPluginPath() : o.plugin;
    return path;
}

double Peak(const Audio& a)
{
    double p = 0;
    for (const auto& ch : a.channels)
        for (float v : ch)
            if (std::isfinite(v))
                p = std::max(p, static_cast<double>(std::fabs(v)));
    return p;
}

double Dbfs(double v) { return v > 0 ? 20.0 * std::log10(v) : -INFINITY; }

// A progress bar on stderr, drawn only on a terminal, at most ten times a second.
class Progress {
public:
    explicit Progress(bool enabled) : m_on(enabled && isatty(STDERR_FILENO)) {}
    ~Progress()
    {
        if (m_on && m_drawn)
            std::fputs("\r\033[K", stderr);
    }
    void operator()(double f)
    {
        if (!m_on)
            return;
        const auto now = std::chrono::steady_clock::now();
        if (m_drawn && now - m_last < std::chrono::milliseconds(100) && f < 1.0)
            return;
        m_last = now;
        m_drawn = true;
        const int width = 40, filled = static_cast<int>(f * width);
        std::string bar(static_cast<size_t>(filled), '#');
        bar.resize(width, '-');
        std::fprintf(stderr, "\r[%s] %3d%%", bar.c_str(), static_cast<int>(f * 100));
        std::fflush(stderr);
    }

private:
    bool m_on;
    bool m_drawn = false;
    std::chrono::steady_clock::time_point m_last;
};

std::string FormatName(int format)
{
    SF_FORMAT_INFO major{}, sub{};
    major.format = format & SF_FORMAT_TYPEMASK;
    sub.format = format & SF_FORMAT_SUBMASK;
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &major, sizeof major);
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &sub, sizeof sub);
    return std::string(major.name ? major.name : "?") + ", " + (sub.name ? sub.name : "?");
}

}  // namespace

std::string UsageText()
{
    return "usage: graphiceq-host COMMAND [options]\n"
           "\n"
           "  info [PLUGIN] [--bank FILE.fxb] [--program N] [--json] [--rate HZ] [--block N]\n"
           "      identity, flags, I/O, parameters (name, display, label, normalised) and programs\n"
           "  render [--plugin PLUGIN] [--bank FILE.fxb] [--program N] [--set NAME=VALUE]...\n"
           "         [--rate HZ] [--block N] [IN] OUT\n"
           "      runs IN (any file libsndfile reads; mono feeds every input) through the plug-in\n"
           "      into OUT (container from OUT's extension, encoding from IN, else float WAV).\n"
           "      Without IN a test signal is generated: 2 s pink noise, 0.25 s silence, 2 s log\n"
           "      sweep 20 Hz..20 kHz at -12 dBFS, 0.25 s silence (--rate, default 48000 Hz).\n"
           "  response [--plugin PLUGIN] [--bank FILE.fxb] [--program N] [--set NAME=VALUE]...\n"
           "           [--rate HZ] [--png FILE] [--peak] [--loudness]\n"
           "      measures the magnitude response with a stepped sine at each GraphicEQ band centre\n"
           "      and prints the gains; --png draws the curve (from the impulse response, or from\n"
           "      stepped sines when the plug-in keeps ringing or humming after an impulse, or\n"
           "      its impulse response disagrees with the stepped sines at the band centres)\n"
           "      --peak also finds the highest gain anywhere from 10 Hz to 24 kHz (or fs/2)\n"
           "      --loudness also plays 10 s of pink noise at -20 dBFS RMS (the same in every run)\n"
           "      and prints its loudness in and out (BS.1770 K-weighting, no gating) and the gain\n"
           "  bench PLUGIN... [--rate HZ] [--block N] [--seconds S]\n"
           "      throughput of each plug-in in its default state, measured in the same run:\n"
           "      ns per frame (one sample in every channel) and real-time factor\n"
           "  null [PLUGIN | VAR=VALUE]... [--rate HZ | --rates HZ,HZ,...] [--set NAME=VALUE]...\n"
           "       [--program N] [--freq HZ] [--level DBFS] [--seconds S] [--block N] [--png FILE]\n"
           "      what each plug-in adds to a sine (default 997 Hz, -6 dBFS, 10 s fading in over\n"
           "      0.5 s; the last 40 % analysed): the null depth against the input scaled by the\n"
           "      fitted gain, and THD+N (the residual once the fitted tone is removed), in dB\n"
           "      relative to the output tone, and the frequency where the residual peaks.\n"
           "      VAR=VALUE sets an environment variable while the next plug-in loads (e.g.\n"
           "      GRAPHICEQ_ENGINE=reference); --png plots each residual's spectrum\n"
           "  bank [--plugin PLUGIN] FILE.fxb [--export OUT.txt]\n"
           "  bank [--plugin PLUGIN] --program-list [--export OUT.txt]\n"
           "      lists every program of a bank file (or the plug-in's own bank after open) as\n"
           "      text: number, name, and each parameter's name, display value, label and\n"
           "      normalised value, as the plug-in shows them; --export writes it to a file\n"
           "\n"
           "  --bank FILE.fxb    (info, render, response) hands a VST bank file to the plug-in\n"
           "                     after open (an opaque chunk bank, or a bank of parameters)\n"
           "  --set NAME=VALUE   the plug-in's parameter name and a value in its display unit,\n"
           "                     e.g. --set \"Gain 1.0KHz=6\" or --set ON/OFF=OFF;\n"
           "                     or INDEX=NORMALISED, e.g. --set 3=0.75\n"
           "  Without --plugin: the GraphicEQ.so of this build, else ~/.vst/GraphicEQ/GraphicEQ.so.\n";
}

Options ParseCommandLine(int argc, char** argv, bool* help)
{
    Options o;
    *help = false;
    if (argc < 2) {
        *help = true;
        return o;
    }
    o.command = argv[1];
    if (o.command == "help" || o.command == "--help" || o.command == "-h") {
        *help = true;
        return o;
    }
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc)
                throw UsageError(a + " needs a value");
            return argv[++i];
        };
        if (a == "--help" || a == "-h") {
            *help = true;
        } else if (a == "--plugin") {
            o.plugin = value();
        } else if (a == "--set") {
            o.sets.push_back(value());
        } else if (a == "--program") {
            o.program = ParseInt(a, value());
            if (o.program < 0)
                throw UsageError("--program expects a program number from 0");
        } else if (a == "--rate") {
            o.rate = ParseRate(a, value());
        } else if (a == "--block") {
            o.block = ParseBlock(a, value());
        } else if (a == "--seconds") {
            o.seconds = ParseDouble(a, value());
            if (o.seconds <= 0 || o.seconds > 3600)
                throw UsageError("--seconds must be between 0 and 3600");
        } else if (a == "--png") {
            o.png = value();
        } else if (a == "--json") {
            o.json = true;
        } else if (a == "--bank") {
            o.bank = value();
        } else if (a == "--export") {
            o.exportPath = value();
        } else if (a == "--program-list") {
            o.programList = true;
        } else if (a == "--peak") {
            o.peak = true;
        } else if (a == "--loudness") {
            o.loudness = true;
        } else if (a == "--rates") {
            std::stringstream list(value());
            for (std::string r; std::getline(list, r, ',');)
                o.rates.push_back(ParseRate(a, r));
        } else if (a == "--freq") {
            o.freq = ParseDouble(a, value());
            if (o.freq < 1)
                throw UsageError("--freq must be at least 1 Hz");
        } else if (a == "--level") {
            o.level = ParseDouble(a, value());
            if (o.level > 0 || o.level < -120)
                throw UsageError("--level must be between -120 and 0 dBFS");
        } else if (a.size() > 1 && a[0] == '-' && a != "-") {
            throw UsageError("unknown option " + a);
        } else {
            o.positional.push_back(a);
        }
    }
    return o;
}

std::string DefaultPluginPath()
{
    std::vector<std::string> tried;
#ifdef GRAPHICEQ_BUILD_PLUGIN
    tried.push_back(GRAPHICEQ_BUILD_PLUGIN);
#endif
    if (const char* home = std::getenv("HOME"))
        tried.push_back(std::string(home) + "/.vst/GraphicEQ/GraphicEQ.so");
    for (const auto& p : tried)
        if (Exists(p))
            return p;
    std::string msg = "no --plugin given and no GraphicEQ.so found (looked at";
    for (const auto& p : tried)
        msg += " " + p;
    throw HostError(msg + ")");
}

std::string JsonString(const std::string& s)
{
    std::string out = "\"";
    const unsigned char* p = reinterpret_cast<const unsigned char*>(s.data());
    const size_t n = s.size();
    for (size_t i = 0; i < n;) {
        const unsigned char c = p[i];
        if (c < 0x80) {
            if (c == '"' || c == '\\') {
                out += '\\';
                out += static_cast<char>(c);
            } else if (c < 0x20 || c == 0x7F) {
                char b[8];
                std::snprintf(b, sizeof b, "\\u%04x", c);
                out += b;
            } else {
                out += static_cast<char>(c);
            }
            ++i;
            continue;
        }
        // A well-formed UTF-8 sequence passes through; anything else is U+FFFD.
        size_t len = c >= 0xF0 && c <= 0xF4 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 && c <= 0xDF ? 2 : 0;
        bool ok = len > 0 && i + len <= n;
        for (size_t k = 1; ok && k < len; ++k)
            ok = (p[i + k] & 0xC0) == 0x80;
        if (ok && len == 3) {
            const unsigned cp = ((c & 0x0F) << 12) | ((p[i + 1] & 0x3F) << 6) | (p[i + 2] & 0x3F);
            ok = cp >= 0x800 && !(cp >= 0xD800 && cp <= 0xDFFF);
        }
        if (ok && len == 4) {
            const unsigned cp = ((c & 0x07) << 18) | ((p[i + 1] & 0x3F) << 12) | ((p[i + 2] & 0x3F) << 6);
            ok = cp >= 0x10000 && cp <= 0x10FFFF;
        }
        if (ok) {
            out.append(s, i, len);
            i += len;
        } else {
            out += "\\ufffd";
            ++i;
        }
    }
    return out + "\"";
}

int RunInfo(const Options& o)
{
    std::string path = o.plugin;
    if (path.empty() && !o.positional.empty())
        path = o.positional[0];
    if (o.positional.size() > 1 || (!o.plugin.empty() && !o.positional.empty()))
        throw UsageError("info expects one PLUGIN");
    if (path.empty())
        path = DefaultPluginPath();
    auto p = LoadWithBank(path, o.rate > 0 ? o.rate : 48000.0, o.block, o);
    ApplySettings(*p, o);
    AEffect* e = p->Effect();

    const std::string name = p->EffectName(), vendor = p->VendorString(), product = p->ProductString();
    const int32_t vendorVersion = p->VendorVersion(), vstVersion = p->VstVersion();
    const int32_t category = p->Category();
    const int current = p->NumPrograms() > 0 ? p->CurrentProgram() : -1;
    std::vector<std::string> programs = p->ProgramNames();
    struct Param {
        std::string name, label, display;
        float value;
        bool automatable;
    };
    std::vector<Param> params;
    for (int i = 0; i < p->NumParams(); ++i)
        params.push_back({p->ParamName(i), p->ParamLabel(i), p->ParamDisplay(i), p->GetParam(i),
                          p->Dispatch(effCanBeAutomated, i) != 0});
    intptr_t bankChunk = -1, programChunk = -1;
    if (e->flags & effFlagsProgramChunks) {
        void* data = nullptr;
        bankChunk = p->Dispatch(effGetChunk, 0, 0, &data);
        data = nullptr;
        programChunk = p->Dispatch(effGetChunk, 1, 0, &data);
    }
    const std::string id = FourCCToString(e->uniqueID);

    if (o.json) {
        std::ostringstream j;
        j << "{\n";
        j << "  \"path\": " << JsonString(p->Path()) << ",\n";
        j << "  \"entry\": " << JsonString(p->UsedMainFallback() ? "main" : "VSTPluginMain") << ",\n";
        j << "  \"name\": " << JsonString(name) << ",\n";
        j << "  \"vendor\": " << JsonString(vendor) << ",\n";
        j << "  \"product\": " << JsonString(product) << ",\n";
        j << "  \"vendorVersion\": " << vendorVersion << ",\n";
        j << "  \"version\": " << e->version << ",\n";
        j << "  \"vstVersion\": " << vstVersion << ",\n";
        j << "  \"uniqueID\": " << JsonString(id) << ",\n";
        j << "  \"uniqueIDNumber\": " << e->uniqueID << ",\n";
        j << "  \"category\": " << category << ",\n";
        j << "  \"flags\": " << e->flags << ",\n";
        j << "  \"flagNames\": " << JsonString(FlagNames(e->flags)) << ",\n";
        j << "  \"inputs\": " << p->NumInputs() << ",\n";
        j << "  \"outputs\": " << p->NumOutputs() << ",\n";
        j << "  \"initialDelay\": " << e->initialDelay << ",\n";
        if (bankChunk >= 0)
            j << "  \"chunkBytes\": {\"bank\": " << bankChunk << ", \"program\": " << programChunk << "},\n";
        j << "  \"currentProgram\": " << current << ",\n";
        j << "  \"programs\": [";
        for (size_t i = 0; i < programs.size(); ++i)
            j << (i ? ", " : "") << JsonString(programs[i]);
        j << "],\n  \"parameters\": [";
        for (size_t i = 0; i < params.size(); ++i) {
            const Param& q = params[i];
            char v[32];
            std::snprintf(v, sizeof v, "%.9g", std::isfinite(q.value) ? q.value : 0.0f);
            j << (i ? "," : "") << "\n    {\"index\": " << i << ", \"name\": " << JsonString(q.name)
              << ", \"label\": " << JsonString(q.label) << ", \"display\": " << JsonString(q.display)
              << ", \"value\": " << v << ", \"automatable\": " << (q.automatable ? "true" : "false")
              << "}";
        }
        j << (params.empty() ? "" : "\n  ") << "]\n}\n";
        std::fputs(j.str().c_str(), Results());
        return 0;
    }

    std::fprintf(Results(), "Plug-in      %s\n", p->Path().c_str());
    std::fprintf(Results(), "Entry        %s\n", p->UsedMainFallback() ? "main" : "VSTPluginMain");
    std::fprintf(Results(), "Name         %s\n", name.c_str());
    std::fprintf(Results(), "Vendor       %s\n", vendor.c_str());
    std::fprintf(Results(), "Product      %s\n", product.c_str());
    std::fprintf(Results(), "Version      vendor %d, effect %d, VST %d\n", vendorVersion, e->version, vstVersion);
    std::fprintf(Results(), "Unique ID    '%s' %s (%d)\n", id.c_str(), Hex(static_cast<uint32_t>(e->uniqueID)).c_str(),
                e->uniqueID);
    std::fprintf(Results(), "Category     %s (%d)\n", CategoryName(category), category);
    std::fprintf(Results(), "Flags        %s %s\n", Hex(static_cast<uint32_t>(e->flags)).c_str(), FlagNames(e->flags).c_str());
    std::fprintf(Results(), "I/O          %d in, %d out\n", p->NumInputs(), p->NumOutputs());
    std::fprintf(Results(), "Latency      %d samples\n", e->initialDelay);
    if (bankChunk >= 0)
        std::fprintf(Results(), "Chunks       bank %ld bytes, program %ld bytes\n", static_cast<long>(bankChunk),
                    static_cast<long>(programChunk));
    std::fprintf(Results(), "Programs     %d (current %d)\n", p->NumPrograms(), current);
    for (size_t i = 0; i < programs.size(); ++i)
        std::fprintf(Results(), "  %3zu  %s\n", i, programs[i].c_str());
    std::fprintf(Results(), "Parameters   %d\n", p->NumParams());
    size_t w = 4;
    for (const Param& q : params)
        w = std::max(w, q.name.size());
    w = std::min<size_t>(w, 40);
    std::fprintf(Results(), "  %3s  %-*s  %-12s %-6s %s\n", "#", static_cast<int>(w), "name", "display", "label",
                "normalised");
    for (size_t i = 0; i < params.size(); ++i)
        std::fprintf(Results(), "  %3zu  %-*s  %-12s %-6s %.6f\n", i, static_cast<int>(w), params[i].name.c_str(),
                    params[i].display.c_str(), params[i].label.c_str(), params[i].value);
    return 0;
}

int RunRender(const Options& o)
{
    if (o.positional.empty() || o.positional.size() > 2)
        throw UsageError("render expects [IN] OUT");
    const std::string out = o.positional.back();
    const bool haveIn = o.positional.size() == 2;
    FlushDenormals();

    Audio in;
    int inFormat = 0;
    if (haveIn) {
        in = ReadAudioFile(o.positional[0], &inFormat);
        if (o.rate > 0 && std::fabs(o.rate - in.rate) > 0.5)
            std::fprintf(stderr, "note: --rate ignored, %s plays at %g Hz\n", o.positional[0].c_str(), in.rate);
    }
    auto p = LoadWithBank(PluginPathFor(o), haveIn ? in.rate : (o.rate > 0 ? o.rate : 48000.0), o.block, o);
    if (!haveIn)
        in = TestSignal(p->SampleRate(), std::max(1, std::min(2, p->NumInputs())));
    // Settings after resume: a plug-in may reset some of them when it starts
    // (GraphicEQ switches its ON/OFF parameter on in resume).
    p->Resume();
    ApplySettings(*p, o);
    Audio result;
    {
        Progress bar(static_cast<double>(in.Frames()) > 10.0 * in.rate);
        result = RenderThrough(*p, in, [&](double f) { bar(f); });
    }
    p->Suspend();
    const int format = ChooseOutputFormat(out, inFormat, static_cast<int>(result.channels.size()), result.rate);
    const size_t clipped = WriteAudioFile(out, result, format);
    std::fprintf(stderr, "wrote %s: %zu frames, %zu channels, %g Hz, %s; peak in %.1f dBFS, out %.1f dBFS\n",
                 out.c_str(), result.Frames(), result.channels.size(), result.rate, FormatName(format).c_str(),
                 Dbfs(Peak(in)), Dbfs(Peak(result)));
    if (clipped)
        std::fprintf(stderr, "warning: %zu samples clipped in the integer output format\n", clipped);
    return 0;
}

namespace {

// The highest gain of any output between 10 Hz and 24 kHz (or just below
// fs/2), from stepped sines: on a logarithmic grid with the band centres,
// then a golden-section search between the neighbours of the best point.
// Not from the impulse response: a plug-in may fall into a small limit
// cycle after a low tone (GraphicEQ's flush of tiny values does at 25 Hz)
// and such a tail, summed over seconds, would look like a huge peak.
void PrintPeak(VstPlugin& p, const Options& o)
{
    const double rate = p.SampleRate();
    const double fLo = 10.0, fHi = std::min(rate / 2 * 0.999, 24000.0);
    auto gainAt = [&](double f) {
        double best = 0;
        // From a clean start: a plug-in clears its filter history on resume
        // (and may reset parameters there, so the settings are made again).
        p.Suspend();
        p.Resume();
        ApplySettings(p, o, true);
        for (const auto& g : MeasureSineGain(p, f, 5.0))
            best = std::max(best, std::abs(g));
        return best;
    };
    constexpr int kPoints = 67;  // six per octave over 10 Hz .. 24 kHz
    std::vector<double> freqs;
    for (int k = 0; k < kPoints; ++k)
        freqs.push_back(fLo * std::pow(fHi / fLo, k / double(kPoints - 1)));
    for (const Band& b : kBands)
        if (b.freq < fHi)
            freqs.push_back(b.freq);
    std::sort(freqs.begin(), freqs.end());
    std::vector<double> gains;
    for (double f : freqs)
        gains.push_back(gainAt(f));
    const size_t at = static_cast<size_t>(std::max_element(gains.begin(), gains.end()) - gains.begin());
    double peak = gains[at], peakHz = freqs[at];
    // Golden section on log frequency between the neighbours.
    double lo = std::log(freqs[at > 0 ? at - 1 : 0]), hi = std::log(freqs[std::min(at + 1, freqs.size() - 1)]);
    const double r = (std::sqrt(5.0) - 1) / 2;
    double x1 = hi - r * (hi - lo), x2 = lo + r * (hi - lo);
    double g1 = gainAt(std::exp(x1)), g2 = gainAt(std::exp(x2));
    for (int i = 0; i < 14 && hi - lo > 1e-5; ++i) {
        if (g1 >= g2) {
            hi = x2, x2 = x1, g2 = g1;
            x1 = hi - r * (hi - lo), g1 = gainAt(std::exp(x1));
        } else {
            lo = x1, x1 = x2, g1 = g2;
            x2 = lo + r * (hi - lo), g2 = gainAt(std::exp(x2));
        }
    }
    for (const auto& [g, x] : {std::make_pair(g1, x1), std::make_pair(g2, x2)})
        if (g > peak)
            peak = g, peakHz = std::exp(x);
    std::fprintf(Results(), "%-8s %10.1f %+9.3f  (highest gain, %g Hz..%g Hz, any output)\n", "peak", peakHz,
                 peak > 0 ? 20.0 * std::log10(peak) : -INFINITY, fLo, std::round(fHi));
}

// Loudness of pink noise through the plug-in: the same noise (independent
// in each channel, -20 dBFS RMS) for every run, so two settings or two
// plug-ins compare directly. The first second, while the filters settle,
// is left out of both figures.
void PrintLoudness(VstPlugin& p, const Options& o)
{
    p.Suspend();
    p.Resume();
    ApplySettings(p, o, true);
    PlaySilence(p, 0.5);
    const double rate = p.SampleRate();
    Audio in;
    in.rate = rate;
    const size_t frames = static_cast<size_t>(10.0 * rate), skip = static_cast<size_t>(rate);
    for (int c = 0; c < std::max(1, p.NumInputs()); ++c)
        in.channels.push_back(loudness::PinkNoise(frames, 0.1, static_cast<uint32_t>(c)));
    const Audio out = RenderThrough(p, in);
    const double lin = loudness::Lufs(in.channels, rate, skip), lout = loudness::Lufs(out.channels, rate, skip);
    std::fprintf(Results(), "%-8s %+10.2f %+9.3f  (LUFS in, gain in dB; pink noise, K-weighted, out %+.2f LUFS)\n",
                 "loudness", lin, lout - lin, lout);
}

}  // namespace

int RunResponse(const Options& o)
{
    if (!o.positional.empty())
        throw UsageError("response takes no file arguments (use --plugin and --png)");
    FlushDenormals();
    auto p = LoadWithBank(PluginPathFor(o), o.rate > 0 ? o.rate : 48000.0, o.block, o);
    p->Resume();
    ApplySettings(*p, o);  // after resume, as in render
    PlaySilence(*p, 0.5);  // parameter smoothing, if the plug-in has any
    const double rate = p->SampleRate();
    const int outs = p->NumOutputs();
    if (outs <= 0)
        throw HostError(p->Path() + ": the plug-in has no audio outputs");
    const std::string name = p->EffectName();

    // The impulse response for the curve is taken first, from the settled
    // state: after the stepped sines a plug-in may still carry a small limit
    // cycle (GraphicEQ's 25 Hz band does, from its flush of tiny values),
    // which an impulse response several seconds long would sum into false
    // peaks.
    const double fHi = std::min(rate / 2 * 0.999, 24000.0);
    const size_t maxLength = static_cast<size_t>(10.0 * rate);
    std::vector<std::vector<float>> h;
    if (!o.png.empty())
        h = MeasureImpulseResponse(*p, static_cast<size_t>(rate), maxLength, 0.0);

    // The band centres: stepped sines, the accurate figures.
    std::fprintf(Results(), "Magnitude response of %s at %g Hz (stepped sines)\n",
                name.empty() ? p->Path().c_str() : name.c_str(), rate);
    if (p->InitialDelay() > 0)
        std::fprintf(Results(), "Latency %d samples\n", p->InitialDelay());
    std::fprintf(Results(), "%-8s %10s", "band", "freq/Hz");
    for (int c = 0; c < outs; ++c)
        std::fprintf(Results(), " %9s", (ChannelName(c, outs) + "/dB").c_str());
    std::fprintf(Results(), "\n");
    auto Db = [](std::complex<double> g) { return std::abs(g) > 0 ? 20.0 * std::log10(std::abs(g)) : -INFINITY; };
    std::vector<Marker> markers;
    std::vector<std::pair<double, std::vector<std::complex<double>>>> measured;
    for (const Band& b : kBands) {
        std::fprintf(Results(), "%-8s %10.1f", b.name, b.freq);
        if (b.freq >= rate / 2) {
            for (int c = 0; c < outs; ++c)
                std::fprintf(Results(), " %9s", "n/a");
            std::fprintf(Results(), "\n");
            continue;
        }
        const auto g = MeasureSineGain(*p, b.freq);
        for (int c = 0; c < outs; ++c)
            std::fprintf(Results(), " %+9.3f", Db(g[c]));
        std::fprintf(Results(), "\n");
        std::fflush(Results());
        markers.push_back({b.freq, Db(g[0]), b.name});
        measured.push_back({b.freq, g});
    }
    if (o.peak)
        PrintPeak(*p, o);
    if (o.loudness)
        PrintLoudness(*p, o);

    if (!o.png.empty()) {
        // The curve: from the impulse response when it dies away and agrees
        // with the stepped sines at the band centres (dense and quick); a
        // plug-in that keeps ringing, hums or falls into a limit cycle after
        // an impulse gets stepped sines instead.
        bool decayed = true;
        for (const auto& ch : h)
            decayed = decayed && ch.size() < maxLength;
        bool agrees = decayed;
        for (const auto& [f, g] : measured)
            for (int c = 0; agrees && c < outs; ++c)
                if (Db(g[c]) > -60.0 && std::fabs(Db(ResponseAt(h[c], f, rate)) - Db(g[c])) > 0.1)
                    agrees = false;
        const char* why = !decayed ? " (the impulse response does not die away: curve from stepped sines)"
                          : !agrees ? " (the impulse response disagrees with the stepped sines: curve from "
                                      "stepped sines)"
                                    : "";
        decayed = agrees;
        std::vector<Curve> curves(outs);
        for (int c = 0; c < outs; ++c)
            curves[c].label = ChannelName(c, outs);
        // A logarithmic grid, plus the band centres so no peak is missed.
        const int points = decayed ? 480 : 120;
        std::vector<double> freqs;
        for (int k = 0; k < points; ++k)
            freqs.push_back(10.0 * std::pow(fHi / 10.0, k / double(points - 1)));
        for (const Band& b : kBands)
            if (b.freq < fHi)
                freqs.push_back(b.freq);
        std::sort(freqs.begin(), freqs.end());
        for (double f : freqs) {
            std::vector<std::complex<double>> g(outs);
            if (decayed)
                for (int c = 0; c < outs; ++c)
                    g[c] = ResponseAt(h[c], f, rate);
            else
                g = MeasureSineGain(*p, f, 5.0);
            for (int c = 0; c < outs; ++c) {
                curves[c].freq.push_back(f);
                curves[c].db.push_back(Db(g[c]));
            }
        }
        std::string title = (name.empty() ? std::string("plug-in") : name) + " at " +
                            std::to_string(static_cast<int>(rate)) + " Hz";
        for (const auto& s : o.sets)
            title += ", " + s;
        PlotResponse(o.png, title, curves, markers, fHi);
        std::fprintf(stderr, "wrote %s%s\n", o.png.c_str(), why);
    }
    p->Suspend();
    return 0;
}

int RunBench(const Options& o)
{
    std::vector<std::string> paths = o.positional;
    if (!o.plugin.empty())
        paths.insert(paths.begin(), o.plugin);
    if (paths.empty())
        paths.push_back(DefaultPluginPath());
    if (!o.sets.empty() || o.program >= 0 || !o.bank.empty())
        throw UsageError("bench measures every plug-in in its default state; --set, --program and --bank do not apply");
    FlushDenormals();
    const double rate = o.rate > 0 ? o.rate : 48000.0;
    const int block = o.block;

    struct Entry {
        std::unique_ptr<VstPlugin> plugin;
        std::string name;
        std::vector<std::vector<float>> in, out;
        std::vector<float*> ip, op;
        std::vector<double> nsPerFrame;
    };
    std::vector<Entry> entries;
    for (const auto& path : paths) {
        Entry e;
        e.plugin = Load(path, rate, block);
        e.name = e.plugin->EffectName();
        if (e.name.empty())
            e.name = e.plugin->ProductString();
        if (e.plugin->NumOutputs() <= 0)
            throw HostError(path + ": the plug-in has no audio outputs");
        e.in.assign(std::max(1, e.plugin->NumInputs()), std::vector<float>(block));
        e.out.assign(e.plugin->NumOutputs(), std::vector<float>(block));
        uint32_t seed = 1;
        for (auto& ch : e.in)
            for (float& v : ch) {
                seed = seed * 1664525u + 1013904223u;
                v = (static_cast<float>(seed >> 8) / 16777216.0f - 0.5f) * 0.5f;
            }
        for (auto& ch : e.in)
            e.ip.push_back(ch.data());
        for (auto& ch : e.out)
            e.op.push_back(ch.data());
        e.plugin->Resume();
        entries.push_back(std::move(e));
    }

    // Rounds alternate between the plug-ins so drifting machine load hits
    // all of them alike; each plug-in's figure is its median round.
    constexpr int kRounds = 5;
    const size_t framesPerRound = static_cast<size_t>(o.seconds * rate / kRounds);
    auto run = [&](Entry& e, size_t frames) {
        const auto t0 = std::chrono::steady_clock::now();
        for (size_t pos = 0; pos < frames; pos += block)
            e.plugin->Process(e.ip.data(), e.op.data(), static_cast<int>(std::min<size_t>(block, frames - pos)));
        const auto t1 = std::chrono::steady_clock::now();
        return std::chrono::duration<double, std::nano>(t1 - t0).count();
    };
    for (auto& e : entries)
        run(e, std::min<size_t>(framesPerRound, static_cast<size_t>(rate / 4)));  // warm-up
    for (int r = 0; r < kRounds; ++r)
        for (auto& e : entries)
            e.nsPerFrame.push_back(run(e, framesPerRound) / static_cast<double>(std::max<size_t>(framesPerRound, 1)));

    std::fprintf(Results(), "Throughput at %g Hz, block %d, %g s of audio per plug-in (%d rounds; median and best)\n",
                rate, block, o.seconds, kRounds);
    size_t w = 7;
    for (const auto& e : entries)
        w = std::max(w, e.name.size());
    w = std::min<size_t>(w, 40);
    std::fprintf(Results(), "%-*s  %5s  %12s  %12s  %12s  %s\n", static_cast<int>(w), "plug-in", "I/O", "ns/frame",
                "best ns/fr", "x real time", "file");
    for (auto& e : entries) {
        std::vector<double> v = e.nsPerFrame;
        std::sort(v.begin(), v.end());
        const double median = v[v.size() / 2];
        const double rtf = median > 0 ? (1e9 / rate) / median : INFINITY;
        char io[16];
        std::snprintf(io, sizeof io, "%d/%d", e.plugin->NumInputs(), e.plugin->NumOutputs());
        std::fprintf(Results(), "%-*s  %5s  %12.1f  %12.1f  %12.1f  %s\n", static_cast<int>(w), e.name.c_str(), io,
                    median, v.front(), rtf, e.plugin->Path().c_str());
        e.plugin->Suspend();
    }
    return 0;
}

std::string ProgramListing(VstPlugin& p)
{
    std::string out;
    char line[1024];
    const std::string name = p.EffectName();
    std::snprintf(line, sizeof line, "plug-in %s '%s'\nprograms %d, parameters %d\n", name.c_str(),
                  FourCCToString(p.Effect()->uniqueID).c_str(), p.NumPrograms(), p.NumParams());
    out += line;
    const int current = p.NumPrograms() > 0 ? p.CurrentProgram() : -1;
    const bool currentValid = current >= 0 && current < p.NumPrograms();

    std::vector<std::string> names(static_cast<size_t>(p.NumParams()));
    int width = 4;
    for (int i = 0; i < p.NumParams(); ++i) {
        names[static_cast<size_t>(i)] = p.ParamName(i);
        width = std::max(width, static_cast<int>(std::min<size_t>(names[static_cast<size_t>(i)].size(), 40)));
    }
    auto parameters = [&]() {
        for (int i = 0; i < p.NumParams(); ++i) {
            const std::string label = p.ParamLabel(i);
            const std::string shown = p.ParamDisplay(i) + (label.empty() ? "" : " " + label);
            const float v = p.GetParam(i);
            std::snprintf(line, sizeof line, "  %3d  %-*s = %-14s (%.6f)\n", i, width,
                          names[static_cast<size_t>(i)].c_str(), shown.c_str(), std::isfinite(v) ? v : 0.0f);
            out += line;
        }
    };
    std::string currentName;
    if (p.NumPrograms() == 0) {
        out += "\nno programs: the parameters as they stand\n";
        parameters();
    }
    for (int prog = 0; prog < p.NumPrograms(); ++prog) {
        p.SetProgram(prog);
        const std::string progName = p.DispatchString(effGetProgramName);
        if (prog == current)
            currentName = progName;
        out += "\nprogram " + std::to_string(prog) + ": " + progName + "\n";
        parameters();
    }
    if (currentValid) {
        p.SetProgram(current);
        out += "\ncurrent program " + std::to_string(current) + ": " + currentName + "\n";
    } else {
        out += "\ncurrent program " + std::to_string(current) + " (none)\n";
    }
    return out;
}

int RunBank(const Options& o)
{
    std::string file = o.bank;
    if (!o.positional.empty()) {
        if (o.positional.size() > 1 || !file.empty())
            throw UsageError("bank expects one FILE.fxb");
        file = o.positional[0];
    }
    if (o.programList == !file.empty())
        throw UsageError(o.programList ? "bank --program-list lists the plug-in's own bank; give no FILE.fxb"
                                       : "bank expects FILE.fxb or --program-list");
    if (!o.sets.empty() || o.program >= 0)
        throw UsageError("bank lists every program as stored; --set and --program do not apply");
    Options withBank = o;
    withBank.bank = file;
    auto p = LoadWithBank(PluginPathFor(o), o.rate > 0 ? o.rate : 48000.0, o.block, withBank);
    const std::string text = ProgramListing(*p);
    if (o.exportPath.empty()) {
        std::fputs(text.c_str(), Results());
        return 0;
    }
    // Written beside the target and renamed over it: an export that fails
    // half-way never leaves a truncated listing behind.
    const std::string tmp = o.exportPath + ".tmp";
    {
        std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        if (!out) {
            std::remove(tmp.c_str());
            throw HostError(o.exportPath + ": cannot be written");
        }
    }
    if (std::rename(tmp.c_str(), o.exportPath.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        std::remove(tmp.c_str());
        throw HostError(o.exportPath + ": cannot be written: " + why);
    }
    std::fprintf(stderr, "wrote %s: %d programs\n", o.exportPath.c_str(), p->NumPrograms());
    return 0;
}

}  // namespace ghost

namespace ghost {

namespace {

// One plug-in's figures for the sine: the residual against the input
// scaled by the fitted gain (the null), the residual once the fitted tone
// and offset are removed (THD+N), both relative to the output tone's power,
// and the residual's spectrum.
struct NullResult {
    double gainDB = 0, nullDB = 0, thdnDB = 0, peakHz = 0;
    std::vector<double> spectrumDB;  // at NullSpectrumFreqs, dB re the tone
};

std::vector<double> NullSpectrumFreqs(double rate)
{
    std::vector<double> f;
    const double hi = rate / 2 * 0.995;
    constexpr int kPoints = 600;
    for (int k = 0; k < kPoints; ++k)
        f.push_back(10.0 * std::pow(hi / 10.0, k / double(kPoints - 1)));
    return f;
}

NullResult MeasureNull(VstPlugin& p, const Options& o)
{
    const double rate = p.SampleRate();
    const size_t n = static_cast<size_t>(o.seconds * rate);
    const size_t fade = std::min(n / 2, static_cast<size_t>(rate / 2));
    const size_t from = n - static_cast<size_t>(0.4 * static_cast<double>(n));
    const double amp = std::pow(10.0, o.level / 20.0);
    Audio in;
    in.rate = rate;
    in.channels.assign(1, std::vector<float>(n));
    for (size_t i = 0; i < n; ++i) {
        const double env = i < fade ? 0.5 - 0.5 * std::cos(M_PI * static_cast<double>(i) / static_cast<double>(fade)) : 1.0;
        in.channels[0][i] = static_cast<float>(amp * env * std::sin(2.0 * M_PI * o.freq * static_cast<double>(i) / rate));
    }
    const Audio out = RenderThrough(p, in);  // latency compensated
    const std::vector<float>& x = in.channels[0];

    NullResult worst;
    worst.nullDB = worst.thdnDB = -INFINITY;
    for (const auto& y : out.channels) {
        // Least squares: y ~ g*x (the null), and y ~ a*sin + b*cos + c.
        double xy = 0, xx = 0;
        double S[3][4] = {};
        for (size_t i = from; i < n; ++i) {
            xy += static_cast<double>(x[i]) * y[i];
            xx += static_cast<double>(x[i]) * x[i];
            const double ph = 2.0 * M_PI * o.freq * static_cast<double>(i) / rate;
            const double v[3] = {std::sin(ph), std::cos(ph), 1.0};
            for (int r = 0; r < 3; ++r) {
                S[r][3] += v[r] * y[i];
                for (int c = 0; c < 3; ++c)
                    S[r][c] += v[r] * v[c];
            }
        }
        for (int r = 0; r < 3; ++r)
            for (int q = r + 1; q < 3; ++q) {
                const double f = S[q][r] / S[r][r];
                for (int c = r; c < 4; ++c)
                    S[q][c] -= f * S[r][c];
            }
        double t[3];
        for (int r = 2; r >= 0; --r) {
            double v = S[r][3];
            for (int c = r + 1; c < 3; ++c)
                v -= S[r][c] * t[c];
            t[r] = v / S[r][r];
        }
        const double g = xx > 0 ? xy / xx : 0.0;
        std::vector<double> residual(n - from);
        double nullE = 0, toneE = 0, thdnE = 0;
        for (size_t i = from; i < n; ++i) {
            const double ph = 2.0 * M_PI * o.freq * static_cast<double>(i) / rate;
            const double tone = t[0] * std::sin(ph) + t[1] * std::cos(ph);
            const double e = y[i] - g * x[i];
            const double r = y[i] - tone - t[2];
            nullE += e * e;
            thdnE += r * r;
            toneE += tone * tone;
            residual[i - from] = r;
        }
        NullResult res;
        const double toneAmp = std::hypot(t[0], t[1]);
        res.gainDB = Dbfs(toneAmp / amp);
        res.nullDB = toneE > 0 ? 10.0 * std::log10(nullE / toneE) : INFINITY;
        res.thdnDB = toneE > 0 ? 10.0 * std::log10(thdnE / toneE) : INFINITY;
        // The residual's spectrum through a 4-term Blackman-Harris window,
        // relative to what the tone gives through the same window.
        const size_t m = residual.size();
        std::vector<double> w(m);
        double wsum = 0;
        for (size_t i = 0; i < m; ++i) {
            const double z = 2.0 * M_PI * static_cast<double>(i) / static_cast<double>(m);
            w[i] = 0.35875 - 0.48829 * std::cos(z) + 0.14128 * std::cos(2 * z) - 0.01168 * std::cos(3 * z);
            wsum += w[i];
            residual[i] *= w[i];
        }
        const double ref = toneAmp / 2.0 * wsum;
        double best = -INFINITY;
        for (double f : NullSpectrumFreqs(rate)) {
            const std::complex<double> step = std::polar(1.0, -2.0 * M_PI * f / rate);
            std::complex<double> acc = 0, ph = 1;
            for (size_t i = 0; i < m; ++i) {
                acc += residual[i] * ph;
                ph *= step;
            }
            const double d = ref > 0 ? Dbfs(std::abs(acc) / ref) : INFINITY;
            res.spectrumDB.push_back(d);
            if (d > best)
                best = d, res.peakHz = f;
        }
        if (res.thdnDB > worst.thdnDB || !std::isfinite(worst.thdnDB))
            worst = res;
    }
    return worst;
}

}  // namespace

int RunNull(const Options& o)
{
    std::vector<double> rates = o.rates;
    if (rates.empty())
        rates.push_back(o.rate > 0 ? o.rate : 48000.0);
    std::vector<std::string> args = o.positional;
    if (!o.plugin.empty())
        args.insert(args.begin(), o.plugin);
    struct Entry {
        std::string path, env;  // env: the VAR=VALUE in force for it
    };
    std::vector<Entry> entries;
    std::vector<std::pair<std::string, std::string>> env, pending;  // all named; those for the next plug-in
    for (const std::string& a : args) {
        const size_t eq = a.find('=');
        if (eq != std::string::npos && eq > 0 && a.find('/') > eq && a.find(".so") == std::string::npos) {
            env.push_back({a.substr(0, eq), a.substr(eq + 1)});
            pending.push_back(env.back());
            continue;
        }
        std::string note;
        for (const auto& [k, v] : pending)
            note += (note.empty() ? "" : " ") + k + "=" + v;
        entries.push_back({a, note});
        pending.clear();
    }
    if (!pending.empty())
        throw UsageError(pending.back().first + "=" + pending.back().second + " names no plug-in after it");
    if (entries.empty())
        entries.push_back({DefaultPluginPath(), ""});
    FlushDenormals();

    std::fprintf(Results(), "What each plug-in adds to a %g Hz sine at %.1f dBFS (%g s, last 40 %% analysed), block %d\n",
                 o.freq, o.level, o.seconds, o.block);
    std::fprintf(Results(), "%-44s %8s %9s %9s %9s %12s\n", "plug-in", "rate/Hz", "gain/dB", "null/dB", "THD+N/dB",
                 "residual at");
    std::vector<Curve> curves;
    for (double rate : rates) {
        for (const Entry& e : entries) {
            std::vector<std::pair<std::string, std::string>> saved;
            for (const auto& [k, v] : env) {
                const char* old = std::getenv(k.c_str());
                saved.push_back({k, old ? old : std::string("\x01")});
                unsetenv(k.c_str());
            }
            // Only the variables listed right before this plug-in are in force.
            std::stringstream list(e.env);
            for (std::string kv; list >> kv;) {
                const size_t eq = kv.find('=');
                setenv(kv.substr(0, eq).c_str(), kv.substr(eq + 1).c_str(), 1);
            }
            auto p = LoadWithBank(e.path, rate, o.block, o);
            for (const auto& [k, v] : saved) {
                if (v == "\x01")
                    unsetenv(k.c_str());
                else
                    setenv(k.c_str(), v.c_str(), 1);
            }
            if (p->NumOutputs() <= 0)
                throw HostError(e.path + ": the plug-in has no audio outputs");
            p->Resume();
            ApplySettings(*p, o, true);
            PlaySilence(*p, 0.5);
            const NullResult r = MeasureNull(*p, o);
            p->Suspend();
            std::string name = p->EffectName();
            if (name.empty())
                name = p->ProductString();
            if (!e.env.empty())
                name += " (" + e.env + ")";
            char at[32];
            std::snprintf(at, sizeof at, "%.0f Hz", r.peakHz);
            std::fprintf(Results(), "%-44s %8g %+9.3f %9.1f %9.1f %12s\n", name.c_str(), rate, r.gainDB, r.nullDB,
                         r.thdnDB, at);
            std::fflush(Results());
            if (!o.png.empty()) {
                Curve c;
                c.label = name + (rates.size() > 1 ? " " + std::to_string(static_cast<int>(rate)) + " Hz" : "");
                c.freq = NullSpectrumFreqs(rate);
                c.db = r.spectrumDB;
                curves.push_back(std::move(c));
            }
        }
    }
    if (!o.png.empty()) {
        char title[160];
        std::snprintf(title, sizeof title, "Residual spectrum, %g Hz sine at %.0f dBFS removed (dB re the tone, per bin)",
                      o.freq, o.level);
        std::string t = title;
        if (rates.size() == 1)
            t += ", " + std::to_string(static_cast<int>(rates[0])) + " Hz";
        for (const auto& s : o.sets)
            t += ", " + s;
        double maxFreq = 0;
        for (double r : rates)
            maxFreq = std::max(maxFreq, r / 2);
        PlotResponse(o.png, t, curves, {}, maxFreq, -240.0);
        std::fprintf(stderr, "wrote %s\n", o.png.c_str());
    }
    return 0;
}

}  // namespace ghost
