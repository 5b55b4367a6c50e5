// Audio through the host: rendering files, the test signal, and the
// measured response compared with the test plug-in's known filter.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>

#include "Audio.h"
#include "HostTestUtil.h"
#include "ParamSet.h"
#include "VstHost.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// The cookbook peaking filter, evaluated analytically at f.
double PeakingDb(double gainDb, double q, double f0, double f, double rate)
{
    const double A = std::pow(10.0, gainDb / 40.0);
    const double w0 = 2 * kPi * f0 / rate, alpha = std::sin(w0) / (2 * q);
    const double b0 = 1 + alpha * A, b1 = -2 * std::cos(w0), b2 = 1 - alpha * A;
    const double a0 = 1 + alpha / A, a1 = -2 * std::cos(w0), a2 = 1 - alpha / A;
    const std::complex<double> z1 = std::polar(1.0, -2 * kPi * f / rate), z2 = z1 * z1;
    return 20 * std::log10(std::abs((b0 + b1 * z1 + b2 * z2) / (a0 + a1 * z1 + a2 * z2)));
}

void WriteSine(const std::string& path, int channels, int format, double amplitude, double freq = 440.0)
{
    ghost::Audio a;
    a.rate = 44100;
    a.channels.assign(channels, std::vector<float>(44100));
    for (int c = 0; c < channels; ++c)
        for (size_t i = 0; i < 44100; ++i)
            a.channels[c][i] = static_cast<float>(amplitude * (c + 1) * std::sin(2 * kPi * freq * i / 44100.0));
    ghost::WriteAudioFile(path, a, format);
}

double Rms(const std::vector<float>& v, size_t from)
{
    double s = 0;
    for (size_t i = from; i < v.size(); ++i)
        s += double(v[i]) * v[i];
    return std::sqrt(s / double(v.size() - from));
}

}  // namespace

TEST(HostAudio, RendersAFileWithTheRequestedGain)
{
    hosttest::TempDir dir;
    WriteSine(dir / "in.wav", 2, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0.1);
    const auto r = hosttest::RunHost({"render", "--plugin", TEST_PLUGIN, "--set", "Gain=6.02", "--block", "100",
                                      dir / "in.wav", dir / "out.wav"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("set 0 \"Gain\" = 6.02 dB"), std::string::npos) << r.err;
    int format = 0;
    const ghost::Audio in = ghost::ReadAudioFile(dir / "in.wav");
    const ghost::Audio out = ghost::ReadAudioFile(dir / "out.wav", &format);
    EXPECT_EQ(format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    ASSERT_EQ(out.channels.size(), 2u);
    ASSERT_EQ(out.Frames(), in.Frames());
    EXPECT_EQ(out.rate, 44100);
    // 440 Hz sits on the flat part of the 1 kHz peak (gain 0 dB by default).
    for (int c = 0; c < 2; ++c)
        EXPECT_NEAR(Rms(out.channels[c], 0) / Rms(in.channels[c], 0), std::pow(10.0, 6.02 / 20), 2e-4);
}

TEST(HostAudio, FeedsMonoToEveryInputAndKeepsTheEncoding)
{
    hosttest::TempDir dir;
    WriteSine(dir / "mono.wav", 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0.25);
    auto r = hosttest::RunHost({"render", "--plugin", TEST_PLUGIN, dir / "mono.wav", dir / "out.wav"});
    ASSERT_EQ(r.status, 0) << r.err;
    int format = 0;
    ghost::Audio out = ghost::ReadAudioFile(dir / "out.wav", &format);
    EXPECT_EQ(format, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    ASSERT_EQ(out.channels.size(), 2u);
    EXPECT_EQ(out.channels[0], out.channels[1]);
    EXPECT_GT(Rms(out.channels[0], 0), 0.17);

    // A one-in, one-out plug-in makes a mono file from the first channel;
    // the container follows the extension.
    WriteSine(dir / "stereo.wav", 2, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0.1);
    r = hosttest::RunHost({"render", "--plugin", TEST_PLUGIN_MONO, dir / "stereo.wav", dir / "out.flac"});
    ASSERT_EQ(r.status, 0) << r.err;
    out = ghost::ReadAudioFile(dir / "out.flac", &format);
    EXPECT_EQ(format & SF_FORMAT_TYPEMASK, SF_FORMAT_FLAC);
    ASSERT_EQ(out.channels.size(), 1u);
    EXPECT_NEAR(Rms(out.channels[0], 0), 0.1 / std::sqrt(2.0), 1e-3);
}

TEST(HostAudio, CompensatesTheDeclaredLatency)
{
    hosttest::TempDir dir;
    WriteSine(dir / "in.wav", 2, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0.1, 100.0);
    const auto r = hosttest::RunHost({"render", "--plugin", TEST_PLUGIN_LATENCY, "--set", "Bypass=On",
                                      "--block", "64", dir / "in.wav", dir / "out.wav"});
    ASSERT_EQ(r.status, 0) << r.err;
    const ghost::Audio in = ghost::ReadAudioFile(dir / "in.wav");
    const ghost::Audio out = ghost::ReadAudioFile(dir / "out.wav");
    ASSERT_EQ(out.Frames(), in.Frames());
    EXPECT_EQ(out.channels, in.channels) << "sample for sample, to the last frame";
}

TEST(HostAudio, PicksAnOutputFormatTheContainerTakes)
{
    const int floatWav = SF_FORMAT_WAV | SF_FORMAT_FLOAT, pcm16Wav = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    EXPECT_EQ(ghost::ChooseOutputFormat("o.wav", 0, 2, 48000), floatWav);
    EXPECT_EQ(ghost::ChooseOutputFormat("o.WAV", pcm16Wav, 2, 48000), pcm16Wav);
    EXPECT_EQ(ghost::ChooseOutputFormat("o.flac", floatWav, 2, 48000), SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    EXPECT_EQ(ghost::ChooseOutputFormat("o.aiff", floatWav, 2, 48000), SF_FORMAT_AIFF | SF_FORMAT_FLOAT);
    EXPECT_EQ(ghost::ChooseOutputFormat("o.ogg", pcm16Wav, 2, 48000), SF_FORMAT_OGG | SF_FORMAT_VORBIS);
    EXPECT_EQ(ghost::ChooseOutputFormat("o.data", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 2, 48000),
              SF_FORMAT_AIFF | SF_FORMAT_PCM_24) << "unknown extension: the input's container";
    EXPECT_EQ(ghost::ChooseOutputFormat("dir.v2/out", 0, 1, 44100), floatWav);
}

TEST(HostAudio, RendersTheTestSignalWithoutInput)
{
    hosttest::TempDir dir;
    const auto r = hosttest::RunHost({"render", "--plugin", TEST_PLUGIN, "--program", "1", "--rate", "32000",
                                      dir / "gen.wav"});
    ASSERT_EQ(r.status, 0) << r.err;
    const ghost::Audio out = ghost::ReadAudioFile(dir / "gen.wav");
    EXPECT_EQ(out.rate, 32000);
    EXPECT_EQ(out.Frames(), size_t(4.5 * 32000));
    const ghost::Audio ref = ghost::TestSignal(32000, 2);
    EXPECT_EQ(ref.Frames(), out.Frames());
    EXPECT_GT(Rms(out.channels[0], 0), Rms(ref.channels[0], 0)) << "program 1 boosts 1 kHz by 6 dB";
}

TEST(HostAudio, MeasuresTheKnownFilterWithinAHundredthOfADecibel)
{
    for (double rate : {48000.0, 96000.0}) {
        ghost::VstPlugin p(TEST_PLUGIN, rate, 512);
        ghost::PluginParamAccess a(p);
        ghost::ApplySetting(a, "Peak Gain=9");
        const auto q = ghost::ApplySetting(a, "Peak Q=4");
        ghost::ApplySetting(a, "Gain=-3");
        const double qValue = 0.5 * std::pow(40.0, q.normalised);
        p.Resume();
        const auto h = ghost::MeasureImpulseResponse(p, size_t(rate / 10), size_t(rate * 10));
        ASSERT_EQ(h.size(), 2u);
        for (const ghost::Band& b : ghost::kBands) {
            const double expected = PeakingDb(9.0, qValue, 1000.0, b.freq, rate) - 3.0;
            EXPECT_NEAR(ghost::ResponseDb(h[0], b.freq, rate), expected, 0.01) << b.name << " at " << rate;
            EXPECT_NEAR(ghost::ResponseDb(h[1], b.freq, rate), expected, 0.01) << b.name << " at " << rate;
            const auto g = ghost::MeasureSineGain(p, b.freq);
            ASSERT_EQ(g.size(), 2u);
            EXPECT_NEAR(20 * std::log10(std::abs(g[0])), expected, 0.01) << "sine, " << b.name << " at " << rate;
            EXPECT_NEAR(20 * std::log10(std::abs(g[1])), expected, 0.01) << "sine, " << b.name << " at " << rate;
        }
    }
}

TEST(HostAudio, KeepsMeasuringWhileTheFilterRings)
{
    // Q 20 with +12 dB rings for thousands of samples: far longer than the
    // minimum length asked for, which alone would miss the peak.
    ghost::VstPlugin p(TEST_PLUGIN, 48000.0, 256);
    ghost::PluginParamAccess a(p);
    ghost::ApplySetting(a, "Peak Gain=12");
    const auto q = ghost::ApplySetting(a, "Peak Q=20");
    ASSERT_EQ(q.display, "20.00");
    p.Resume();
    const auto h = ghost::MeasureImpulseResponse(p, 64, 48000 * 10);
    EXPECT_GT(h[0].size(), 4800u);
    EXPECT_NEAR(ghost::ResponseDb(h[0], 1000.0, 48000.0), PeakingDb(12.0, 20.0, 1000.0, 1000.0, 48000.0), 0.01);
    // A sine switched on at the resonance needs several windows to settle.
    const auto g = ghost::MeasureSineGain(p, 1000.0);
    EXPECT_NEAR(20 * std::log10(std::abs(g[0])), 12.0, 0.01);
}

TEST(HostAudio, SineMeasurementIgnoresLatency)
{
    ghost::VstPlugin p(TEST_PLUGIN_LATENCY, 44100.0, 64);
    ghost::PluginParamAccess a(p);
    ghost::ApplySetting(a, "Peak Gain=-9");
    const auto q = ghost::ApplySetting(a, "Peak Q=1");
    p.Resume();
    for (double f : {250.0, 1000.0, 4000.0}) {
        const auto g = ghost::MeasureSineGain(p, f);
        EXPECT_NEAR(20 * std::log10(std::abs(g[0])),
                    PeakingDb(-9.0, 0.5 * std::pow(40.0, q.normalised), 1000.0, f, 44100.0), 0.01) << f;
    }
    EXPECT_THROW(ghost::MeasureSineGain(p, 30000.0), ghost::HostError);
}

TEST(HostAudio, MeasuresThroughHum)
{
    // An impulse response that never dies away: the band figures come from
    // sines and stay exact, and the curve falls back to sines as well.
    hosttest::TempDir dir;
    const auto r = hosttest::RunHost({"response", "--plugin", TEST_PLUGIN_HUM, "--set", "Peak Gain=6", "--png",
                                      dir / "hum.png"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("curve from stepped sines"), std::string::npos) << r.err;
    const auto clean = hosttest::RunHost({"response", "--plugin", TEST_PLUGIN, "--set", "Peak Gain=6"});
    ASSERT_EQ(clean.status, 0) << clean.err;
    EXPECT_EQ(r.out, clean.out) << "every band to the printed thousandth of a dB";
    EXPECT_NE(r.out.find("\n1.0KHz       1000.0    +6.000    +6.000"), std::string::npos) << r.out;
}

TEST(HostAudio, PrintsTheResponseAndDrawsIt)
{
    hosttest::TempDir dir;
    const auto r = hosttest::RunHost({"response", "--plugin", TEST_PLUGIN, "--set", "Peak Gain=-6", "--png",
                                      dir / "curve.png"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("band"), std::string::npos);
    // The 1 kHz line carries the full cut in both channels.
    const size_t at = r.out.find("\n1.0KHz");
    ASSERT_NE(at, std::string::npos) << r.out;
    const std::string line = r.out.substr(at + 1, r.out.find('\n', at + 1) - at - 1);
    EXPECT_NE(line.find("-6.000    -6.000"), std::string::npos) << line;
    EXPECT_NE(r.out.find("16.0KHz"), std::string::npos);
    EXPECT_EQ(hosttest::ReadText(dir / "curve.png").substr(0, 4), "\x89PNG");
}
