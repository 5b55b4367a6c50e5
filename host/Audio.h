#pragma once
// Audio buffers, files (libsndfile), the generated test signal and the
// three things the host does with a plug-in: render, measure, time.
#include <complex>
#include <functional>
#include <string>
#include <vector>

namespace ghost {

class VstPlugin;

// Planar audio, one vector per channel, all of the same length.
struct Audio {
    double rate = 48000.0;
    std::vector<std::vector<float>> channels;
    size_t Frames() const { return channels.empty() ? 0 : channels[0].size(); }
};

// Reads any file libsndfile reads. `format` (optional) receives its
// libsndfile format code. Throws HostError.
Audio ReadAudioFile(const std::string& path, int* format = nullptr);

// The libsndfile format for writing `path`: the container named by its
// extension (else the input's, else WAV), the input's sample encoding where
// that container takes it, else 32-bit float, else 24-bit, else 16-bit PCM.
int ChooseOutputFormat(const std::string& path, int inputFormat, int channels, double rate);

// Writes with the given format (see ChooseOutputFormat). Returns the number
// of samples that had to be clipped for an integer format. Throws HostError.
size_t WriteAudioFile(const std::string& path, const Audio& audio, int format);

// The generated test signal: 2 s of pink noise at about -20 dBFS RMS
// (independent in each channel), 0.25 s of silence, then a 2 s logarithmic
// sine sweep from 20 Hz to 20 kHz (or 0.45 x rate) at -12 dBFS in every
// channel. Deterministic.
Audio TestSignal(double rate, int channels);

// Runs `in` through the plug-in (which must be resumed) block by block and
// returns its outputs. A mono input feeds every plug-in input; otherwise
// input i takes channel i (silence where the file has fewer channels). The
// plug-in's declared latency is compensated: output is aligned with the
// input and has the same length. `progress` (optional) gets 0..1.
Audio RenderThrough(VstPlugin& plugin, const Audio& in,
                    const std::function<void(double)>& progress = nullptr);

// The impulse response of every output to a unit impulse fed to all inputs,
// after `settle` seconds of silence (parameter smoothing). At least `length`
// frames are recorded, more while the response still rings, at most
// `maxLength` (the declared latency comes on top and stays in the response).
// The tail below 1e-10 of each response's peak, which changes no printed
// figure, is cut off.
std::vector<std::vector<float>> MeasureImpulseResponse(VstPlugin& plugin, size_t length,
                                                       size_t maxLength, double settle = 0.5);

// Frequency response of an impulse response at frequency f (Hz), evaluated
// exactly (a single DFT term, not an FFT bin).
std::complex<double> ResponseAt(const std::vector<float>& h, double f, double rate);

// |H(f)| in dB.
double ResponseDb(const std::vector<float>& h, double f, double rate);

// The complex gain of every output at frequency f, measured with a steady
// sine fed to all inputs (a stepped-sine measurement): the output is
// compared with the input over successive windows of at least 20 periods
// (4-term Blackman-Harris, so neither the sine's mirror image nor noise
// leaks in) until two windows in a row agree to 1e-5, or `maxSeconds` have
// been played. Insensitive to latency and to small noise or limit cycles
// that would spoil an impulse response. The plug-in must be resumed.
std::vector<std::complex<double>> MeasureSineGain(VstPlugin& plugin, double f, double maxSeconds = 30.0);

// Plays `seconds` of silence (lets parameter smoothing and old state settle).
void PlaySilence(VstPlugin& plugin, double seconds);

// The band centres the equalizer is built around and their names.
struct Band {
    double freq;
    const char* name;
};
extern const Band kBands[15];

}  // namespace ghost
