// Build-time tool: turns the readable factory presets into the factory bank
// "GraEQDef.fxb", written exactly as the plug-in writes its default bank.
//
//   make_fxb PRESETS.txt OUT.fxb    check the presets and write the bank
//   make_fxb --report PRESETS.txt   print each preset's response at the
//                                   band centres and its peak
//
// The bank is refused when it does not hold 32 presets. The presets' output
// levels match their loudness to Flat's, so a full-scale sine may leave a
// boosting preset above 0 dBFS; --report shows each peak.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "BankFile.h"
#include "CGraphicEQ.h"
#include "ParamMap.h"
#include "PresetText.h"

namespace {

const double kRates[] = {44100.0, 48000.0, 96000.0};

bool Load(const char* path, std::vector<AGraEQProgram>& bank, std::vector<PresetText>& presets, bool whole)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::cerr << path << ": cannot open\n";
        return false;
    }
    std::stringstream text;
    text << in.rdbuf();
    std::string error;
    if (!ParsePresetText(text.str(), presets, error)) {
        std::cerr << path << ": " << error << "\n";
        return false;
    }
    if (whole ? presets.size() != static_cast<size_t>(kNumPrograms) : presets.size() > static_cast<size_t>(kNumPrograms)) {
        std::cerr << path << ": " << presets.size() << " presets; the bank holds exactly " << kNumPrograms << "\n";
        return false;
    }
    bank.assign(presets.size(), AGraEQProgram());
    for (size_t i = 0; i < presets.size(); ++i) {
        if (!PresetToRecord(presets[i], bank[i], error)) {
            std::cerr << path << ": " << error << "\n";
            return false;
        }
    }
    return true;
}

void Report(const std::vector<AGraEQProgram>& bank)
{
    std::printf("Response in dB at the band centres (48 kHz sampling), levels included\n");
    std::printf("%-2s %-23s", "#", "name");
    for (int b = 0; b < kNumBands; ++b)
        std::printf(" %7s", szCenterFreq[b]);
    std::printf("   peak at any of 44.1/48/96 kHz\n");
    for (size_t i = 0; i < bank.size(); ++i) {
        std::printf("%-2zu %-23s", i + 1, bank[i].szName);
        for (int b = 0; b < kNumBands; ++b)
            std::printf(" %+7.1f", RecordResponseDB(bank[i], CGraphicEQ::kBandFreq[b], 48000.0));
        double peak = -1e9, at = 0.0, rate = 0.0;
        for (double r : kRates) {
            double hz = 0.0;
            const double p = RecordPeakDB(bank[i], r, &hz);
            if (p > peak) {
                peak = p;
                at = hz;
                rate = r;
            }
        }
        std::printf("   %+5.2f dB at %.0f Hz (fs %.0f)\n", peak, at, rate);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<AGraEQProgram> bank;
    std::vector<PresetText> presets;
    if (argc == 3 && std::strcmp(argv[1], "--report") == 0) {
        if (!Load(argv[2], bank, presets, false))
            return 1;
        Report(bank);
        return 0;
    }
    if (argc != 3) {
        std::cerr << "usage: make_fxb PRESETS.txt OUT.fxb | make_fxb --report PRESETS.txt\n";
        return 2;
    }
    if (!Load(argv[1], bank, presets, true))
        return 1;
    bank[0].nCurrentProgram = 0;  // the bank opens on its first preset
    if (!SaveBankFile(argv[2], kGraEQUniqueID, bank.data(), kBankBytes)) {
        std::cerr << argv[2] << ": cannot write\n";
        return 1;
    }
    return 0;
}
