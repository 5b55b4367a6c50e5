#include "PresetText.h"

#include <cmath>
#include <complex>
#include <cstring>
#include <sstream>
#include <vector>

#include "CEqualizerUnit.h"
#include "CGraphicEQ.h"
#include "ParamMap.h"

namespace {

std::string Trim(const std::string& s)
{
    const size_t a = s.find_first_not_of(" \t\r");
    if (a == std::string::npos)
        return "";
    const size_t b = s.find_last_not_of(" \t\r");
    return s.substr(a, b - a + 1);
}

bool ParseNumbers(const std::string& text, std::vector<double>& out)
{
    std::istringstream in(text);
    out.clear();
    std::string word;
    while (in >> word) {
        char* end = nullptr;
        const double v = std::strtod(word.c_str(), &end);
        if (end == word.c_str() || *end != '\0' || !std::isfinite(v))
            return false;
        out.push_back(v);
    }
    return true;
}

std::string At(int line) { return "line " + std::to_string(line) + ": "; }

}  // namespace

bool ParsePresetText(const std::string& text, std::vector<PresetText>& presets, std::string& error)
{
    presets.clear();
    std::istringstream in(text);
    std::string raw;
    int lineNo = 0;
    while (std::getline(in, raw)) {
        ++lineNo;
        std::string line = raw;
        const size_t comment = line.find_first_of("#;");
        if (comment != std::string::npos)
            line.erase(comment);
        line = Trim(line);
        if (line.empty())
            continue;
        if (line.front() == '[') {
            if (line.back() != ']') {
                error = At(lineNo) + "a preset name is written [Name]";
                return false;
            }
            PresetText p;
            p.name = Trim(line.substr(1, line.size() - 2));
            p.line = lineNo;
            presets.push_back(p);
            continue;
        }
        if (presets.empty()) {
            error = At(lineNo) + "setting before the first [Name]";
            return false;
        }
        const size_t eq = line.find('=');
        if (eq == std::string::npos) {
            error = At(lineNo) + "expected key = value";
            return false;
        }
        const std::string key = Trim(line.substr(0, eq));
        std::vector<double> v;
        if (!ParseNumbers(line.substr(eq + 1), v) || v.empty()) {
            error = At(lineNo) + "expected numbers after " + key;
            return false;
        }
        PresetText& p = presets.back();
        if (key == "output" && v.size() == 1) {
            p.outputDB = v[0];
        } else if (key == "input" && v.size() == 1) {
            p.inputDB = v[0];
        } else if (key == "active" && v.size() == 1 && (v[0] == 0 || v[0] == 1)) {
            p.active = v[0] != 0;
        } else if (key == "gain" && v.size() == kNumBands) {
            for (int b = 0; b < kNumBands; ++b)
                p.gainDB[b] = v[b];
        } else if (key == "q" && (v.size() == 1 || v.size() == kNumBands)) {
            for (int b = 0; b < kNumBands; ++b)
                p.q[b] = v.size() == 1 ? v[0] : v[b];
        } else {
            error = At(lineNo) + "unknown key or wrong number of values: " + key;
            return false;
        }
    }
    return true;
}

bool PresetToRecord(const PresetText& preset, AGraEQProgram& record, std::string& error)
{
    record = AGraEQProgram();
    const std::string where = At(preset.line) + "[" + preset.name + "] ";
    if (preset.name.empty() || preset.name.size() > kProgramNameSize - 1) {
        error = where + "names hold 1 to 23 characters";
        return false;
    }
    for (unsigned char c : preset.name) {
        if (c < 0x20 || c > 0x7E) {
            error = where + "names are plain ASCII";
            return false;
        }
    }
    // The levels are dB figures of 6 dB per doubling: amplitude 2^(dB/6).
    if (preset.outputDB < -60.0 || preset.outputDB > 6.0 || preset.inputDB < -60.0 || preset.inputDB > 0.0) {
        error = where + "output must lie in -60..+6 dB, input in -60..0 dB";
        return false;
    }
    record.fValue[kParamActive] = preset.active ? 1.0f : 0.0f;
    record.fValue[kParamOutput] =
        ValToNormalizeValue(kParamOutput, static_cast<float>(std::pow(2.0, preset.outputDB / 6.0)));
    record.fValue[kParamInput] =
        ValToNormalizeValue(kParamInput, static_cast<float>(std::pow(2.0, preset.inputDB / 6.0)));
    for (int b = 0; b < kNumBands; ++b) {
        if (preset.gainDB[b] < -12.0 || preset.gainDB[b] > 12.0 || preset.q[b] < 1.0 || preset.q[b] > 20.0) {
            error = where + "band " + szCenterFreq[b] + ": gain must lie in -12..+12 dB, Q in 1..20";
            return false;
        }
        record.fValue[kParamGainFirst + b] = ValToNormalizeValue(kParamGainFirst + b, static_cast<float>(preset.gainDB[b]));
        record.fValue[kParamQFirst + b] = ValToNormalizeValue(kParamQFirst + b, static_cast<float>(preset.q[b]));
    }
    std::memset(record.szName, 0, sizeof record.szName);
    std::memcpy(record.szName, preset.name.c_str(), preset.name.size());
    record.nCurrentProgram = 0;
    return true;
}

namespace {

// One record's chain at one sample rate: the summed level in dB and the
// coefficients of each realised section, computed once and then evaluated
// at as many frequencies as needed.
struct Chain {
    bool active = true;
    double levelDB = 0.0;
    struct Section {
        double k, b1, b2, a1, a2;
    };
    std::vector<Section> sections;

    Chain(const AGraEQProgram& record, double sampleRate)
    {
        active = NormalizeValToInternalVal(kParamActive, record.fValue[kParamActive]) >= 0.5f;
        // The levels reach the engine as 16.16 dB figures.
        levelDB = NormalizeValToDWValue(kParamInput, record.fValue[kParamInput]) / 65536.0 +
                  NormalizeValToDWValue(kParamOutput, record.fValue[kParamOutput]) / 65536.0;
        const float T = static_cast<float>(1.0 / sampleRate);
        for (int b = 0; b < kNumBands; ++b) {
            if (static_cast<double>(CGraphicEQ::kBandFreq[b]) > sampleRate * 0.5)
                continue;  // the engine leaves such a band flat
            const int32_t g = NormalizeValToDWValue(kParamGainFirst + b, record.fValue[kParamGainFirst + b]);
            const int32_t q = NormalizeValToDWValue(kParamQFirst + b, record.fValue[kParamQFirst + b]);
            CEqualizerUnit unit;
            unit.SetParams(T, CGraphicEQ::kBandFreq[b], static_cast<float>(q) * 1.5258789e-5f,
                           static_cast<float>(std::pow(10.0, static_cast<double>(static_cast<float>(g) * 1.5258789e-5f / 20.0f))));
            sections.push_back({unit.GetK(), unit.GetB1(), unit.GetB2(), unit.GetA1(), unit.GetA2()});
        }
    }

    double ResponseDB(double hz, double sampleRate) const
    {
        if (!active)
            return 0.0;  // switched off: the engine copies the input through
        const double w = 2.0 * M_PI * hz / sampleRate;
        const std::complex<double> z1 = std::polar(1.0, -w), z2 = std::polar(1.0, -2.0 * w);
        double db = levelDB;
        for (const Section& s : sections) {
            const std::complex<double> num = 1.0 + s.b1 * z1 + s.b2 * z2;
            const std::complex<double> den = 1.0 + s.a1 * z1 + s.a2 * z2;
            db += 20.0 * std::log10(std::abs(s.k * num / den));
        }
        return db;
    }
};

}  // namespace

double RecordResponseDB(const AGraEQProgram& record, double hz, double sampleRate)
{
    return Chain(record, sampleRate).ResponseDB(hz, sampleRate);
}

double RecordPeakDB(const AGraEQProgram& record, double sampleRate, double* atHz)
{
    const Chain chain(record, sampleRate);
    const double top = std::min(20000.0, sampleRate * 0.45);
    double best = -1e9, bestHz = 20.0;
    for (double hz = 20.0; hz <= top; hz *= 1.005) {
        const double db = chain.ResponseDB(hz, sampleRate);
        if (db > best) {
            best = db;
            bestHz = hz;
        }
    }
    if (atHz)
        *atHz = bestHz;
    return best;
}
