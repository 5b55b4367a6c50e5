// Audio through the host: rendering files, the test signal, the measured
// response compared with the test plug-in's known filter, and a third-party
// equalizer (Debian's lsp-plugins-vst, skipped when it is not installed).
#include <gtest/gtest.h>
#include <sndfile.h>

#include <unistd.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "Audio.h"
#include "HostTestUtil.h"
#include "ParamSet.h"
#include "VstHost.h"

using namespace hosttest;

namespace {

// The cookbook peaking filter, evaluated analytically at f.
double PeakingDb(double gainDb, double q, double f0, double f, double rate)
{
    const double A = std::pow(10.0, gainDb / 40.0);
    const double w0 = 2 * M_PI * f0 / rate, alpha = std::sin(w0) / (2 * q);
    const double b0 = 1 + alpha * A, b1 = -2 * std::cos(w0), b2 = 1 - alpha * A;
    const double a0 = 1 + alpha / A, a1 = -2 * std::cos(w0), a2 = 1 - alpha / A;
    const std::complex<double> z1 = std::polar(1.0, -2 * M_PI * f / rate), z2 = z1 * z1;
    return 20 * std::log10(std::abs((b0 + b1 * z1 + b2 * z2) / (a0 + a1 * z1 + a2 * z2)));
}

double Rms(const std::vector<float>& v)
{
    double s = 0;
    for (float x : v)
        s += double(x) * x;
    return std::sqrt(s / double(v.size()));
}

double Db(std::complex<double> g) { return 20 * std::log10(std::abs(g)); }

}  // namespace

TEST(HostAudio, RendersFilesWithTheRequestedGain)
{
    // Mono in: fed to both inputs; the encoding is kept.
    TempDir dir;
    ghost::WriteAudioFile(dir / "mono.wav", Sine(1, 44100, 0.25, 440), SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    auto r = RunOk({"render", "--plugin", TEST_PLUGIN, "--set", "Gain=6.02", "--block", "100", dir / "mono.wav",
                    dir / "out.wav"});
    EXPECT_TRUE(Has(r.err, "set 0 \"Gain\" = 6.02 dB"));
    int format = 0;
    const ghost::Audio in = ghost::ReadAudioFile(dir / "mono.wav");
    ghost::Audio out = ghost::ReadAudioFile(dir / "out.wav", &format);
    EXPECT_EQ(format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    EXPECT_EQ(out.rate, 44100);
    ASSERT_EQ(out.channels.size(), 2u);
    ASSERT_EQ(out.Frames(), in.Frames());
    EXPECT_EQ(out.channels[0], out.channels[1]);
    // 440 Hz sits on the flat part of the 1 kHz peak (gain 0 dB by default).
    EXPECT_NEAR(Rms(out.channels[0]) / Rms(in.channels[0]), std::pow(10.0, 6.02 / 20), 2e-4);

    // A one-in, one-out plug-in makes a mono file from the first channel;
    // the container follows the extension.
    ghost::WriteAudioFile(dir / "stereo.wav", Sine(2, 44100, 0.1, 440), SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    {
        Mode mono("mono");
        RunOk({"render", "--plugin", TEST_PLUGIN, dir / "stereo.wav", dir / "out.flac"});
    }
    out = ghost::ReadAudioFile(dir / "out.flac", &format);
    EXPECT_EQ(format & SF_FORMAT_TYPEMASK, SF_FORMAT_FLAC);
    ASSERT_EQ(out.channels.size(), 1u);
    EXPECT_NEAR(Rms(out.channels[0]), 0.1 / std::sqrt(2.0), 1e-3);

    // The declared latency is compensated, sample for sample to the last frame.
    ghost::WriteAudioFile(dir / "low.wav", Sine(2, 44100, 0.1, 100), SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    Mode latency("latency");
    r = RunOk({"render", "--plugin", TEST_PLUGIN, "--set", "Bypass=On", "--block", "64", dir / "low.wav",
               dir / "out.wav"});
    EXPECT_EQ(ghost::ReadAudioFile(dir / "out.wav").channels, ghost::ReadAudioFile(dir / "low.wav").channels);
}

TEST(HostAudio, PicksAnOutputFormatTheContainerTakes)
{
    const int floatWav = SF_FORMAT_WAV | SF_FORMAT_FLOAT, pcm16Wav = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    const int pcm24Aiff = SF_FORMAT_AIFF | SF_FORMAT_PCM_24;
    const std::tuple<const char*, int, int> cases[] = {
        {"o.wav", 0, floatWav},
        {"o.WAV", pcm16Wav, pcm16Wav},
        {"o.flac", floatWav, SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
        {"o.aiff", floatWav, SF_FORMAT_AIFF | SF_FORMAT_FLOAT},
        {"o.ogg", pcm16Wav, SF_FORMAT_OGG | SF_FORMAT_VORBIS},
        {"o.data", pcm24Aiff, pcm24Aiff},  // unknown extension: the input's container
        {"dir.v2/out", 0, floatWav},
    };
    for (const auto& [path, input, want] : cases)
        EXPECT_EQ(ghost::ChooseOutputFormat(path, input, 2, 48000), want) << path;
}

TEST(HostAudio, RendersTheTestSignalWithoutInput)
{
    TempDir dir;
    const auto r = RunOk({"render", "--plugin", TEST_PLUGIN, "--program", "1", "--rate", "32000", dir / "gen.wav"});
    const ghost::Audio out = ghost::ReadAudioFile(dir / "gen.wav");
    const ghost::Audio ref = ghost::TestSignal(32000, 2);
    EXPECT_EQ(out.rate, 32000);
    EXPECT_EQ(out.Frames(), size_t(4.5 * 32000));
    EXPECT_EQ(ref.Frames(), out.Frames());
    EXPECT_GT(Rms(out.channels[0]), Rms(ref.channels[0])) << "program 1 boosts 1 kHz by 6 dB";
}

TEST(HostAudio, MeasuresTheKnownFilterWithinAHundredthOfADecibel)
{
    // The second run also has a declared latency, which neither the impulse
    // response's magnitude nor the sine measurement may see.
    for (const auto& [rate, mode] : {std::make_pair(48000.0, ""), std::make_pair(96000.0, "latency")}) {
        Mode m(mode);
        ghost::VstPlugin p(TEST_PLUGIN, rate, 512);
        ghost::PluginParamAccess a(p);
        ghost::ApplySetting(a, "Peak Gain=9");
        const double q = 0.5 * std::pow(40.0, ghost::ApplySetting(a, "Peak Q=4").normalised);
        ghost::ApplySetting(a, "Gain=-3");
        p.Resume();
        const auto h = ghost::MeasureImpulseResponse(p, size_t(rate / 10), size_t(rate * 10));
        ASSERT_EQ(h.size(), 2u);
        for (const ghost::Band& b : ghost::kBands) {
            const double expected = PeakingDb(9.0, q, 1000.0, b.freq, rate) - 3.0;
            const auto g = ghost::MeasureSineGain(p, b.freq);
            ASSERT_EQ(g.size(), 2u);
            for (int c = 0; c < 2; ++c) {
                EXPECT_NEAR(ghost::ResponseDb(h[c], b.freq, rate), expected, 0.01) << b.name << " at " << rate;
                EXPECT_NEAR(Db(g[c]), expected, 0.01) << "sine, " << b.name << " at " << rate;
            }
        }
        EXPECT_THROW(ghost::MeasureSineGain(p, rate * 0.6), ghost::HostError);
    }
}

TEST(HostAudio, KeepsMeasuringWhileTheFilterRings)
{
    // Q 20 with +12 dB rings for thousands of samples: far longer than the
    // minimum length asked for, which alone would miss the peak.
    ghost::VstPlugin p(TEST_PLUGIN, 48000.0, 256);
    ghost::PluginParamAccess a(p);
    ghost::ApplySetting(a, "Peak Gain=12");
    ASSERT_EQ(ghost::ApplySetting(a, "Peak Q=20").display, "20.00");
    p.Resume();
    const auto h = ghost::MeasureImpulseResponse(p, 64, 48000 * 10);
    EXPECT_GT(h[0].size(), 4800u);
    EXPECT_NEAR(ghost::ResponseDb(h[0], 1000.0, 48000.0), PeakingDb(12.0, 20.0, 1000.0, 1000.0, 48000.0), 0.01);
    // A sine switched on at the resonance needs several windows to settle.
    EXPECT_NEAR(Db(ghost::MeasureSineGain(p, 1000.0)[0]), 12.0, 0.01);

    // At a high rate the window shrinks to twenty periods, and the same
    // filter rings through the first two or three of them.
    ghost::VstPlugin fast(TEST_PLUGIN, 384000.0, 512);
    ghost::PluginParamAccess fa(fast);
    ghost::ApplySetting(fa, "Peak Gain=12");
    ghost::ApplySetting(fa, "Peak Q=20");
    fast.Resume();
    EXPECT_NEAR(Db(ghost::MeasureSineGain(fast, 1000.0)[0]), 12.0, 0.01) << "at 384 kHz";

    // So do GraphicEQ's lowest bands at 48 kHz: measured from rest, the
    // 25 Hz band at Q 20 agrees with a second measurement that starts with
    // the sine already steady.
    ghost::VstPlugin eq(GRAPHICEQ_PLUGIN, 48000.0, 512);
    ghost::PluginParamAccess e(eq);
    for (const char* set : {"Gain 25Hz=12", "Q 25Hz=20", "Output=0"})
        ghost::ApplySetting(e, set);
    eq.Resume();
    const double fromRest = Db(ghost::MeasureSineGain(eq, 24.8)[1]);
    const double steady = Db(ghost::MeasureSineGain(eq, 24.8)[1]);
    EXPECT_NEAR(fromRest, steady, 0.01);
    EXPECT_NEAR(steady, 12.0, 0.1);
}

TEST(HostAudio, PrintsAndDrawsTheResponseEvenThroughHum)
{
    // An impulse response that never dies away: the band figures come from
    // sines and stay exact, and the curve falls back to sines as well.
    TempDir dir;
    const auto clean = RunOk({"response", "--plugin", TEST_PLUGIN, "--set", "Peak Gain=-6"});
    for (const char* want : {"band", "\n1.0KHz       1000.0    -6.000    -6.000", "16.0KHz"})
        EXPECT_TRUE(Has(clean.out, want));
    Mode hum("hum");
    const auto r = RunOk({"response", "--plugin", TEST_PLUGIN, "--set", "Peak Gain=-6", "--png", dir / "c.png"});
    EXPECT_TRUE(Has(r.err, "curve from stepped sines"));
    EXPECT_EQ(r.out, clean.out) << "every band to the printed thousandth of a dB";
    EXPECT_EQ(ReadText(dir / "c.png").substr(0, 4), "\x89PNG");
}

TEST(HostAudio, DrivesTheLspGraphicEqualizer)
{
    const char* const lsp = "/usr/lib/vst/lsp-plugins/graph-equalizer-x16-stereo.so";
    if (access(lsp, R_OK) != 0)
        GTEST_SKIP() << lsp << " is not installed";
    ghost::VstPlugin p(lsp, 48000.0, 512);
    EXPECT_EQ(p.NumInputs() * 10 + p.NumOutputs(), 22);
    ghost::PluginParamAccess a(p);
    const auto s = ghost::ApplySetting(a, "g_8=6");  // the 630 Hz band
    EXPECT_EQ(s.display + "|" + s.label, "6.00|dB");
    p.Resume();
    const auto h = ghost::MeasureImpulseResponse(p, 4800, 480000);
    ASSERT_EQ(h.size(), 2u);
    EXPECT_NEAR(ghost::ResponseDb(h[0], 630.0, 48000.0), 6.0, 0.5);
    EXPECT_NEAR(ghost::ResponseDb(h[1], 4000.0, 48000.0), 0.0, 0.05);
}

// null: a clean plug-in leaves nothing but the signal's own rounding; the
// same plug-in loaded with HT_MODE=hum (the variable set for that plug-in
// only) adds its 50 Hz hum at -60 dBFS, 54 dB under the -6 dBFS tone, and
// the residual's spectrum is drawn.
TEST(HostAudio, NullFindsWhatAPluginAdds)
{
    TempDir dir;
    const auto r = RunOk({"null", TEST_PLUGIN, "HT_MODE=hum", TEST_PLUGIN, TEST_PLUGIN, "--seconds", "2",
                          "--rates", "44100,96000", "--png", dir / "n.png"});
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(r.out);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("HostTestEQ", 0) != 0)
            continue;
        std::istringstream words(line.substr(line.find(')') == std::string::npos ? 10 : line.find(')') + 1));
        std::vector<std::string> w;
        for (std::string s; words >> s;)
            w.push_back(s);
        rows.push_back(w);
    }
    ASSERT_EQ(rows.size(), 6u) << r.out;
    for (size_t i = 0; i < 6; ++i) {
        ASSERT_GE(rows[i].size(), 5u) << r.out;
        const double rate = std::stod(rows[i][0]), gain = std::stod(rows[i][1]), thdn = std::stod(rows[i][3]);
        EXPECT_EQ(rate, i < 3 ? 44100 : 96000);
        EXPECT_NEAR(gain, 0.0, 1e-3);
        if (i % 3 == 1) {
            EXPECT_NEAR(thdn, -54.0, 0.5) << r.out;
            EXPECT_NEAR(std::stod(rows[i][2]), -54.0, 0.5) << "the null sees the hum too\n" << r.out;
            EXPECT_NEAR(std::stod(rows[i][4]), 50.0, 1.0) << r.out;
        } else {
            EXPECT_LT(thdn, -120.0) << r.out;
        }
    }
    EXPECT_TRUE(Has(r.out, "HostTestEQ (HT_MODE=hum)"));
    EXPECT_EQ(ReadText(dir / "n.png").substr(0, 4), "\x89PNG");
}
