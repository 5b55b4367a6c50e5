#include "Audio.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <strings.h>

#include "VstHost.h"

namespace ghost {

const Band kBands[15] = {
    {24.8, "25Hz"},      {39.4, "39Hz"},     {62.5, "63Hz"},     {99.2, "99Hz"},
    {157.5, "158Hz"},    {250.0, "250Hz"},   {396.9, "397Hz"},   {630.0, "630Hz"},
    {1000.0, "1.0KHz"},  {1587.4, "1.6KHz"}, {2519.8, "2.5KHz"}, {4000.0, "4.0KHz"},
    {6349.6, "6.3KHz"},  {10079.3, "10.0KHz"}, {15999.9, "16.0KHz"},
};

namespace {

constexpr double kPi = 3.14159265358979323846;

std::string Extension(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return "";
    std::string e = path.substr(dot + 1);
    for (char& c : e)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return e;
}

// The container libsndfile associates with a file extension, or 0.
int MajorForExtension(const std::string& ext)
{
    if (ext.empty())
        return 0;
    if (ext == "wav" || ext == "wave")
        return SF_FORMAT_WAV;
    if (ext == "aif" || ext == "aiff" || ext == "aifc")
        return SF_FORMAT_AIFF;
    if (ext == "ogg" || ext == "oga")
        return SF_FORMAT_OGG;
    int count = 0;
    sf_command(nullptr, SFC_GET_FORMAT_MAJOR_COUNT, &count, sizeof count);
    for (int i = 0; i < count; ++i) {
        SF_FORMAT_INFO info{};
        info.format = i;
        if (sf_command(nullptr, SFC_GET_FORMAT_MAJOR, &info, sizeof info) == 0 && info.extension &&
            strcasecmp(info.extension, ext.c_str()) == 0)
            return info.format & SF_FORMAT_TYPEMASK;
    }
    return 0;
}

bool Valid(int format, int channels, double rate)
{
    SF_INFO info{};
    info.format = format;
    info.channels = channels;
    info.samplerate = static_cast<int>(rate);
    return sf_format_check(&info) != 0;
}

bool IsIntegerSubtype(int format)
{
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
        return false;
    default:
        return true;
    }
}

// Small deterministic generator (xorshift), so renders are reproducible.
struct Noise {
    uint64_t s;
    explicit Noise(uint64_t seed) : s(seed * 0x9E3779B97F4A7C15ull + 1) {}
    double Uniform()  // -1..1
    {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return static_cast<double>(s >> 11) * (2.0 / 9007199254740992.0) - 1.0;
    }
};


// One block of zeroed input and output buffers for every pin of a plug-in,
// with the pointer arrays processReplacing takes. Plug-ins without inputs
// still get one (unused) input buffer, so in[0] always exists.
struct PinBuffers {
    std::vector<std::vector<float>> in, out;
    std::vector<float*> inPtr, outPtr;
    PinBuffers(int ins, int outs, size_t block)
        : in(static_cast<size_t>(std::max(ins, 1)), std::vector<float>(block, 0.0f)),
          out(static_cast<size_t>(std::max(outs, 0)), std::vector<float>(block, 0.0f))
    {
        for (auto& c : in)
            inPtr.push_back(c.data());
        for (auto& c : out)
            outPtr.push_back(c.data());
    }
    void Process(VstPlugin& plugin, size_t frames)
    {
        plugin.Process(inPtr.data(), outPtr.data(), static_cast<int>(frames));
    }
};

}  // namespace

Audio ReadAudioFile(const std::string& path, int* format)
{
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f)
        throw HostError(path + ": cannot read audio: " + sf_strerror(nullptr));
    if (info.channels <= 0 || info.channels > 256 || info.samplerate <= 0) {
        sf_close(f);
        throw HostError(path + ": unusable audio format");
    }
    Audio a;
    a.rate = info.samplerate;
    a.channels.assign(info.channels, {});
    std::vector<float> chunk(static_cast<size_t>(info.channels) * 8192);
    for (;;) {
        const sf_count_t got = sf_readf_float(f, chunk.data(), 8192);
        if (got <= 0)
            break;
        for (int c = 0; c < info.channels; ++c)
            for (sf_count_t i = 0; i < got; ++i)
                a.channels[c].push_back(chunk[static_cast<size_t>(i) * info.channels + c]);
    }
    sf_close(f);
    if (format)
        *format = info.format;
    return a;
}

int ChooseOutputFormat(const std::string& path, int inputFormat, int channels, double rate)
{
    int major = MajorForExtension(Extension(path));
    if (!major)
        major = inputFormat ? (inputFormat & SF_FORMAT_TYPEMASK) : SF_FORMAT_WAV;
    const int candidates[] = {inputFormat & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT, SF_FORMAT_PCM_24,
                              SF_FORMAT_PCM_16, SF_FORMAT_VORBIS};
    for (int sub : candidates)
        if (sub && Valid(major | sub, channels, rate))
            return major | sub;
    // A container that takes none of those: fall back to float WAV.
    return SF_FORMAT_WAV | SF_FORMAT_FLOAT;
}

size_t WriteAudioFile(const std::string& path, const Audio& audio, int format)
{
    const int channels = static_cast<int>(audio.channels.size());
    if (channels <= 0)
        throw HostError(path + ": nothing to write (no channels)");
    SF_INFO info{};
    info.format = format;
    info.channels = channels;
    info.samplerate = static_cast<int>(std::lround(audio.rate));
    if (!sf_format_check(&info))
        throw HostError(path + ": libsndfile cannot write this format");
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f)
        throw HostError(path + ": cannot write audio: " + sf_strerror(nullptr));
    const bool integer = IsIntegerSubtype(format);
    if (integer)
        sf_command(f, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    size_t clipped = 0;
    const size_t frames = audio.Frames();
    std::vector<float> chunk(static_cast<size_t>(channels) * 8192);
    for (size_t pos = 0; pos < frames; pos += 8192) {
        const size_t n = std::min<size_t>(8192, frames - pos);
        for (size_t i = 0; i < n; ++i)
            for (int c = 0; c < channels; ++c) {
                float v = audio.channels[c][pos + i];
                if (!std::isfinite(v))
                    v = 0.0f;  // a plug-in's NaN must not reach the file
                if (integer && std::fabs(v) > 1.0f)
                    ++clipped;
                chunk[i * channels + c] = v;
            }
        if (sf_writef_float(f, chunk.data(), static_cast<sf_count_t>(n)) != static_cast<sf_count_t>(n)) {
            const std::string err = sf_strerror(f);
            sf_close(f);
            throw HostError(path + ": write failed: " + err);
        }
    }
    if (sf_close(f) != 0)
        throw HostError(path + ": write failed on close");
    return clipped;
}

Audio TestSignal(double rate, int channels)
{
    Audio a;
    a.rate = rate;
    const size_t noise = static_cast<size_t>(2.0 * rate);
    const size_t gap = static_cast<size_t>(0.25 * rate);
    const size_t sweep = static_cast<size_t>(2.0 * rate);
    const size_t total = noise + gap + sweep + gap;
    a.channels.assign(std::max(1, channels), std::vector<float>(total, 0.0f));
    for (size_t c = 0; c < a.channels.size(); ++c) {
        // Pink noise: white noise through a sum of first-order low-passes
        // (a standard -3 dB/octave approximation, flat within 0.5 dB).
        Noise rng(c + 1);
        double b0 = 0, b1 = 0, b2 = 0, b3 = 0, b4 = 0, b5 = 0, b6 = 0;
        for (size_t i = 0; i < noise; ++i) {
            const double w = rng.Uniform();
            b0 = 0.99886 * b0 + w * 0.0555179;
            b1 = 0.99332 * b1 + w * 0.0750759;
            b2 = 0.96900 * b2 + w * 0.1538520;
            b3 = 0.86650 * b3 + w * 0.3104856;
            b4 = 0.55000 * b4 + w * 0.5329522;
            b5 = -0.7616 * b5 - w * 0.0168980;
            const double pink = b0 + b1 + b2 + b3 + b4 + b5 + b6 + w * 0.5362;
            b6 = w * 0.115926;
            a.channels[c][i] = static_cast<float>(pink * 0.05);
        }
        const double f0 = 20.0, f1 = std::min(20000.0, 0.45 * rate);
        const double T = static_cast<double>(sweep) / rate;
        const double k = std::log(f1 / f0);
        const size_t fade = static_cast<size_t>(0.01 * rate);
        for (size_t i = 0; i < sweep; ++i) {
            const double t = static_cast<double>(i) / rate;
            const double phase = 2.0 * kPi * f0 * T / k * (std::exp(t / T * k) - 1.0);
            double g = 0.25;  // -12 dBFS
            if (i < fade)
                g *= static_cast<double>(i) / fade;
            if (sweep - i < fade)
                g *= static_cast<double>(sweep - i) / fade;
            a.channels[c][noise + gap + i] = static_cast<float>(g * std::sin(phase));
        }
    }
    return a;
}

Audio RenderThrough(VstPlugin& plugin, const Audio& in, const std::function<void(double)>& progress)
{
    const int ins = plugin.NumInputs(), outs = plugin.NumOutputs();
    if (outs <= 0)
        throw HostError(plugin.Path() + ": the plug-in has no audio outputs");
    const size_t block = static_cast<size_t>(plugin.BlockSize());
    const size_t frames = in.Frames();
    const size_t delay = static_cast<size_t>(plugin.InitialDelay());
    const size_t total = frames + delay;

    PinBuffers pins(ins, outs, block);
    auto& ib = pins.in;
    auto& ob = pins.out;

    Audio out;
    out.rate = in.rate;
    out.channels.assign(outs, std::vector<float>(frames, 0.0f));
    const size_t nIn = in.channels.size();
    for (size_t pos = 0; pos < total; pos += block) {
        const size_t n = std::min(block, total - pos);
        for (int c = 0; c < ins; ++c) {
            const std::vector<float>* src = nullptr;
            if (nIn == 1)
                src = &in.channels[0];
            else if (static_cast<size_t>(c) < nIn)
                src = &in.channels[c];
            for (size_t i = 0; i < n; ++i)
                ib[c][i] = (src && pos + i < frames) ? (*src)[pos + i] : 0.0f;
        }
        pins.Process(plugin, n);
        for (int c = 0; c < outs; ++c)
            for (size_t i = 0; i < n; ++i) {
                const size_t at = pos + i;
                if (at >= delay)
                    out.channels[c][at - delay] = ob[c][i];
            }
        if (progress)
            progress(static_cast<double>(pos + n) / static_cast<double>(total));
    }
    return out;
}

std::vector<std::vector<float>> MeasureImpulseResponse(VstPlugin& plugin, size_t length,
                                                       size_t maxLength, double settle)
{
    const int ins = plugin.NumInputs(), outs = plugin.NumOutputs();
    if (outs <= 0)
        throw HostError(plugin.Path() + ": the plug-in has no audio outputs");
    constexpr float kAmplitude = 0.25f;  // headroom for boosts
    const size_t block = static_cast<size_t>(plugin.BlockSize());
    const size_t warm = static_cast<size_t>(settle * plugin.SampleRate());
    const size_t delay = static_cast<size_t>(plugin.InitialDelay());
    const size_t minimum = length + delay;
    const size_t maximum = std::max(maxLength, length) + delay;
    const size_t window = std::max<size_t>(block, static_cast<size_t>(0.25 * plugin.SampleRate()));

    PinBuffers pins(ins, outs, block);
    auto& ib = pins.in;
    auto& ob = pins.out;

    for (size_t pos = 0; pos < warm; pos += block)
        pins.Process(plugin, std::min(block, warm - pos));

    // Record at least `length` frames, then go on while the last quarter
    // second still holds more than 1e-9 of the peak (a narrow low band rings
    // for seconds), up to `maxLength`.
    std::vector<std::vector<float>> h(outs);
    double peak = 0;
    size_t lastLoud = 0;  // one past the last frame above the threshold
    size_t pos = 0;
    while (pos < maximum && (pos < minimum || pos < lastLoud + window)) {
        const size_t n = std::min(block, maximum - pos);
        for (auto& ch : ib)
            std::fill(ch.begin(), ch.end(), 0.0f);
        if (pos == 0)
            for (auto& ch : ib)
                ch[0] = kAmplitude;
        pins.Process(plugin, n);
        for (int c = 0; c < outs; ++c)
            for (size_t i = 0; i < n; ++i) {
                const float v = ob[c][i] / kAmplitude;
                h[c].push_back(v);
                if (std::isfinite(v) && std::fabs(v) > peak)
                    peak = std::fabs(v);
                if (std::isfinite(v) && std::fabs(v) > peak * 1e-9)
                    lastLoud = pos + i + 1;
            }
        pos += n;
    }
    // Drop the negligible tail once, so each frequency evaluated later costs
    // only the part of the response that matters.
    for (auto& ch : h) {
        double chPeak = 0;
        for (float v : ch)
            if (std::isfinite(v))
                chPeak = std::max(chPeak, static_cast<double>(std::fabs(v)));
        size_t end = ch.size();
        while (end > 0 && std::fabs(ch[end - 1]) <= chPeak * 1e-10)
            --end;
        ch.resize(end);
    }
    return h;
}

void PlaySilence(VstPlugin& plugin, double seconds)
{
    const size_t block = static_cast<size_t>(plugin.BlockSize());
    PinBuffers pins(plugin.NumInputs(), std::max(plugin.NumOutputs(), 1), block);
    const size_t total = static_cast<size_t>(seconds * plugin.SampleRate());
    for (size_t pos = 0; pos < total; pos += block)
        pins.Process(plugin, std::min(block, total - pos));
}

std::vector<std::complex<double>> MeasureSineGain(VstPlugin& plugin, double f, double maxSeconds)
{
    const int ins = plugin.NumInputs(), outs = plugin.NumOutputs();
    if (outs <= 0)
        throw HostError(plugin.Path() + ": the plug-in has no audio outputs");
    const double rate = plugin.SampleRate();
    if (!(f > 0 && f < rate / 2))
        throw HostError("measurement frequency " + std::to_string(f) + " Hz is not below Nyquist");
    constexpr double kAmplitude = 0.25;  // headroom for boosts
    const size_t block = static_cast<size_t>(plugin.BlockSize());
    const size_t window = std::max<size_t>(4096, static_cast<size_t>(std::ceil(20.0 * rate / f)));
    const size_t maxWindows = std::max<size_t>(3, static_cast<size_t>(maxSeconds * rate / window));

    std::vector<double> taper(window);
    for (size_t n = 0; n < window; ++n) {
        const double x = 2.0 * kPi * static_cast<double>(n) / static_cast<double>(window - 1);
        taper[n] = 0.35875 - 0.48829 * std::cos(x) + 0.14128 * std::cos(2 * x) - 0.01168 * std::cos(3 * x);
    }

    PinBuffers pins(ins, outs, block);
    auto& ib = pins.in;
    auto& ob = pins.out;

    const double w = 2.0 * kPi * f / rate;
    std::vector<std::complex<double>> previous(outs), gain(outs), accY(outs);
    std::complex<double> accX;
    size_t inWindow = 0;  // position inside the current window
    uint64_t t = 0;       // sample clock of the sine
    for (size_t k = 0; k < maxWindows;) {
        const size_t n = std::min(block, window - inWindow);
        for (size_t i = 0; i < n; ++i) {
            const float x = static_cast<float>(kAmplitude * std::sin(w * static_cast<double>(t + i)));
            for (auto& c : ib)
                c[i] = x;
        }
        pins.Process(plugin, n);
        for (size_t i = 0; i < n; ++i) {
            // Phase reference: the window's own sample index, the same for
            // input and output, so their ratio is the gain.
            const std::complex<double> e = std::polar(taper[inWindow + i], -w * static_cast<double>(inWindow + i));
            accX += static_cast<double>(ib[0][i]) * e;
            for (int c = 0; c < outs; ++c)
                if (std::isfinite(ob[c][i]))
                    accY[c] += static_cast<double>(ob[c][i]) * e;
        }
        t += n;
        inWindow += n;
        if (inWindow < window)
            continue;
        bool settled = k > 0;
        for (int c = 0; c < outs; ++c) {
            gain[c] = std::abs(accX) > 0 ? accY[c] / accX : 0.0;
            if (std::abs(gain[c] - previous[c]) > 1e-5 * std::abs(gain[c]) + 1e-9)
                settled = false;
            previous[c] = gain[c];
            accY[c] = 0.0;
        }
        accX = 0.0;
        inWindow = 0;
        ++k;
        if (settled)
            break;
    }
    return gain;
}

std::complex<double> ResponseAt(const std::vector<float>& h, double f, double rate)
{
    const double w = -2.0 * kPi * f / rate;
    const std::complex<double> step(std::cos(w), std::sin(w));
    std::complex<double> z(1.0, 0.0), acc(0.0, 0.0);
    for (size_t n = 0; n < h.size(); ++n) {
        if (std::isfinite(h[n]))
            acc += static_cast<double>(h[n]) * z;
        z *= step;
        if ((n & 1023) == 1023)  // keep the phasor on the unit circle
            z = std::polar(1.0, w * static_cast<double>(n + 1));
    }
    return acc;
}

double ResponseDb(const std::vector<float>& h, double f, double rate)
{
    const double m = std::abs(ResponseAt(h, f, rate));
    return m > 0 ? 20.0 * std::log10(m) : -INFINITY;
}

}  // namespace ghost
