// The factory bank the build generates: 32 well-formed presets, slot 1
// flat, every other one audibly different, none clipping a full-scale sine.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "BankFile.h"
#include "CGraphicEQ.h"
#include "ParamMap.h"
#include "PresetText.h"
#include "TestFiles.h"

namespace {

using Bank = std::array<AGraEQProgram, kNumPrograms>;

Bank LoadFactory()
{
    Bank bank;
    unsigned char chunk[kBankBytes];
    const int n = LoadBankFile(GRAPHICEQ_FACTORY_BANK, kGraEQUniqueID, chunk, sizeof chunk);
    EXPECT_EQ(n, kBankBytes);
    if (n == kBankBytes)
        std::memcpy(static_cast<void*>(bank.data()), chunk, sizeof chunk);
    return bank;
}

// Sets up the engine as the plug-in does for a record.
void Apply(CGraphicEQ& eq, const AGraEQProgram& rec)
{
    eq.set_Activate(NormalizeValToDWValue(kParamActive, rec.fValue[kParamActive]) != 0);
    eq.set_OutputLevel(NormalizeValToDWValue(kParamOutput, rec.fValue[kParamOutput]));
    eq.set_InputLevel(NormalizeValToDWValue(kParamInput, rec.fValue[kParamInput]));
    for (int b = 0; b < kNumBands; ++b) {
        eq.set_Gain(b, NormalizeValToDWValue(kParamGainFirst + b, rec.fValue[kParamGainFirst + b]));
        eq.set_Q(b, NormalizeValToDWValue(kParamQFirst + b, rec.fValue[kParamQFirst + b]));
    }
}

// A sine 0.09 dB below full scale: the engine's single-precision sections
// ripple by about 0.015 dB at 20 Hz even at unity gain, so a preset that adds
// no gain anywhere (Flat, the cut-only ones) would otherwise flag a
// full-scale input on rounding alone.
constexpr double kInputAmplitude = 0.99;

// Steady-state gain of the engine, in dB, for a stereo sine (from the RMS of
// the output, which unlike the sampled peak does not depend on where the
// samples fall on a high-frequency wave), and whether the engine flagged an
// over-level.
double MeasuredGainDB(const AGraEQProgram& rec, double hz, int rate, bool* over)
{
    CGraphicEQ eq;
    tWAVEFORMATEX fmt{};
    fmt.wFormatTag = 3;
    fmt.nChannels = 2;
    fmt.nSamplesPerSec = static_cast<uint32_t>(rate);
    fmt.wBitsPerSample = 32;
    fmt.nBlockAlign = 8;
    fmt.nAvgBytesPerSec = static_cast<uint32_t>(rate) * 8;
    const int block = 1024;
    eq.SetMediaType(&fmt, block);
    Apply(eq, rec);

    std::vector<float> l(block), r(block), ol(block), orr(block);
    float* in[2] = {l.data(), r.data()};
    float* out[2] = {ol.data(), orr.data()};
    const int settle = rate / 2, measure = rate / 5;
    std::vector<double> tail;
    bool anyOver = false;
    for (int done = 0; done < settle + measure; done += block) {
        for (int i = 0; i < block; ++i) {
            const double t = static_cast<double>(done + i) / rate;
            l[i] = r[i] = static_cast<float>(kInputAmplitude * std::sin(2.0 * M_PI * hz * t));
        }
        int produced = 0;
        eq.Transform(in, block, out, &produced);
        bool o = false;
        eq.get_OverLevel(&o);
        if (done >= settle) {
            anyOver |= o;
            tail.insert(tail.end(), ol.begin(), ol.end());
        }
    }
    *over = anyOver;
    // A whole number of periods, so the mean square is exact.
    const double periods = std::floor(static_cast<double>(tail.size()) * hz / rate);
    const size_t n = static_cast<size_t>(std::lround(periods * rate / hz));
    double sum = 0.0;
    for (size_t i = 0; i < n && i < tail.size(); ++i) {
        sum += tail[i] * tail[i];
    }
    const double amplitude = std::sqrt(2.0 * sum / static_cast<double>(n));
    return 20.0 * std::log10(amplitude / kInputAmplitude);
}

}  // namespace

TEST(FactoryBank, HoldsThirtyTwoWellFormedPresets)
{
    const std::string bytes = ReadFile(GRAPHICEQ_FACTORY_BANK);
    ASSERT_EQ(bytes.size(), static_cast<size_t>(kBankFileBytes));
    const Bank bank = LoadFactory();

    std::set<std::string> names;
    for (int i = 0; i < kNumPrograms; ++i) {
        const std::string name = bank[i].szName;
        EXPECT_GE(name.size(), 1u) << i;
        EXPECT_LE(name.size(), 23u) << i;
        for (unsigned char c : name)
            EXPECT_TRUE(c >= 0x20 && c < 0x7F) << name;
        names.insert(name);
        EXPECT_EQ(bank[i].fValue[kParamActive], 1.0f) << name;
        for (int k = 0; k < kNumParams; ++k)
            EXPECT_TRUE(bank[i].fValue[k] >= 0.0f && bank[i].fValue[k] <= 1.0f) << name << " " << k;
    }
    EXPECT_EQ(names.size(), static_cast<size_t>(kNumPrograms));  // no duplicates
    EXPECT_EQ(bank[0].nCurrentProgram, 0);

    // Slot 1 is "Flat": exactly the constructed record's values.
    EXPECT_STREQ(bank[0].szName, "Flat");
    const AGraEQProgram flat;
    EXPECT_EQ(std::memcmp(bank[0].fValue, flat.fValue, sizeof flat.fValue), 0);
}

TEST(FactoryBank, EveryPresetIsAudibleAndNoneClips)
{
    const Bank bank = LoadFactory();
    for (int i = 1; i < kNumPrograms; ++i) {
        // Audible: the shape across the band centres spans at least 3 dB.
        double lo = 1e9, hi = -1e9;
        for (int b = 0; b < kNumBands; ++b) {
            const double db = RecordResponseDB(bank[i], CGraphicEQ::kBandFreq[b], 48000.0);
            lo = std::min(lo, db);
            hi = std::max(hi, db);
        }
        EXPECT_GE(hi - lo, 3.0) << bank[i].szName;

        // No clipping: the computed peak over the audio band stays at or
        // below 0 dB at the common rates...
        for (double rate : {44100.0, 48000.0, 96000.0})
            EXPECT_LE(RecordPeakDB(bank[i], rate), 0.01) << bank[i].szName << " at " << rate;
    }
}

TEST(FactoryBank, TheEngineAgreesWithTheComputedResponse)
{
    // ...and the real engine, fed a full-scale sine at each preset's worst
    // frequency, has the computed gain there and never raises its
    // over-level flag.
    const Bank bank = LoadFactory();
    for (int i = 0; i < kNumPrograms; ++i) {
        double at = 0.0;
        const double computed = RecordPeakDB(bank[i], 48000.0, &at);
        bool over = true;
        const double measured = MeasuredGainDB(bank[i], at, 48000, &over);
        EXPECT_NEAR(measured, computed, 0.02) << bank[i].szName << " at " << at << " Hz";
        EXPECT_FALSE(over) << bank[i].szName;
    }
}

TEST(PresetText, RejectsWhatTheBankCannotHold)
{
    std::vector<PresetText> presets;
    std::string error;
    EXPECT_FALSE(ParsePresetText("output = 0\n", presets, error));  // before any [Name]
    EXPECT_FALSE(ParsePresetText("[A]\ngain = 1 2 3\n", presets, error));
    EXPECT_NE(error.find("line 2"), std::string::npos);
    EXPECT_FALSE(ParsePresetText("[A]\nq = x\n", presets, error));
    ASSERT_TRUE(ParsePresetText("[A] # comment\noutput = -3 ; dB\nq = 2\n", presets, error));
    ASSERT_EQ(presets.size(), 1u);
    EXPECT_EQ(presets[0].outputDB, -3.0);

    AGraEQProgram rec;
    ASSERT_TRUE(PresetToRecord(presets[0], rec, error));
    // -3 dB of 6 dB per doubling is amplitude 2^-0.5.
    EXPECT_NEAR(NormalizeValToInternalVal(kParamOutput, rec.fValue[kParamOutput]), -3.0, 1e-3);
    EXPECT_FLOAT_EQ(rec.fValue[kParamQFirst], ValToNormalizeValue(kParamQFirst, 2.0f));

    PresetText p = presets[0];
    p.name = "A name far too long for the field";
    EXPECT_FALSE(PresetToRecord(p, rec, error));
    p.name = "Caf\xC3\xA9";
    EXPECT_FALSE(PresetToRecord(p, rec, error));
    p = presets[0];
    p.gainDB[4] = 12.5;
    EXPECT_FALSE(PresetToRecord(p, rec, error));
    p = presets[0];
    p.outputDB = 7;
    EXPECT_FALSE(PresetToRecord(p, rec, error));
}
