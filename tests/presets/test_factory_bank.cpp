// The factory bank the build generates: 32 well-formed presets, slot 1
// flat, every other one audibly different and as loud as Flat on pink noise.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "BankFile.h"
#include "AGraEQ.h"
#include "CGraphicEQ.h"
#include "Loudness.h"
#include "ParamMap.h"
#include "PresetText.h"
#include "TestFiles.h"

namespace {

using Bank = std::array<AGraEQProgram, kNumPrograms>;

Bank LoadFactory()
{
    Bank bank;
    EXPECT_EQ(LoadBankFile(GRAPHICEQ_FACTORY_BANK, kGraEQUniqueID, reinterpret_cast<unsigned char*>(bank.data()),
                           kBankBytes),
              kBankBytes);
    return bank;
}

// A sine 0.09 dB below full scale: the engine's single-precision sections
// ripple by about 0.015 dB at 20 Hz even at unity gain, so a preset that adds
// no gain anywhere (Flat, the cut-only ones) would otherwise flag a
// full-scale input on rounding alone.
constexpr double kInputAmplitude = 0.99;

// Steady-state gain in dB of the effect playing a record, for a stereo sine
// (from the RMS over whole periods, which unlike the sampled peak does not
// depend on where the samples fall), and whether it flagged an over-level.
double MeasuredGainDB(AGraEQProgram rec, double hz, int rate, bool* over)
{
    AGraEQ fx([](AEffect*, VstInt32 op, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
        return op == audioMasterVersion ? 2400 : 0;
    });
    fx.setSampleRate(static_cast<float>(rate));
    fx.resume();
    fx.setChunk(&rec, kProgramBytes, true);
    const int block = 1024, settle = rate / 2, measure = rate / 5;
    std::vector<float> l(block), r(block);
    float* io[2] = {l.data(), r.data()};
    std::vector<double> tail;
    for (int done = 0; done < settle + measure; done += block) {
        if (done >= settle && done < settle + block)
            fx.GetClip();  // the over-level flag from here on only
        for (int i = 0; i < block; ++i)
            l[i] = r[i] = static_cast<float>(kInputAmplitude * std::sin(2.0 * M_PI * hz * (done + i) / rate));
        fx.processReplacing(io, io, block);
        if (done >= settle)
            tail.insert(tail.end(), l.begin(), l.end());
    }
    *over = fx.GetClip() != 0;
    const size_t n = static_cast<size_t>(std::lround(std::floor(tail.size() * hz / rate) * rate / hz));
    double sum = 0.0;
    for (size_t i = 0; i < n && i < tail.size(); ++i)
        sum += tail[i] * tail[i];
    return 20.0 * std::log10(std::sqrt(2.0 * sum / static_cast<double>(n)) / kInputAmplitude);
}

}  // namespace

TEST(FactoryBank, HoldsThirtyTwoWellFormedPresets)
{
    ASSERT_EQ(ReadFile(GRAPHICEQ_FACTORY_BANK).size(), static_cast<size_t>(kBankFileBytes));
    const Bank bank = LoadFactory();
    std::set<std::string> names;
    for (const AGraEQProgram& rec : bank) {
        const std::string name = rec.szName;
        EXPECT_TRUE(names.insert(name).second) << "duplicate " << name;
        EXPECT_TRUE(!name.empty() && name.size() <= 23u) << name;
        for (unsigned char c : name)
            EXPECT_TRUE(c >= 0x20 && c < 0x7F) << name;
        EXPECT_EQ(rec.fValue[kParamActive], 1.0f) << name;
        for (float v : rec.fValue)
            EXPECT_TRUE(v >= 0.0f && v <= 1.0f) << name;
    }
    EXPECT_EQ(bank[0].nCurrentProgram, 0);
    // Slot 1 is "Flat": exactly the constructed record's values.
    EXPECT_STREQ(bank[0].szName, "Flat");
    EXPECT_EQ(std::memcmp(bank[0].fValue, AGraEQProgram().fValue, sizeof bank[0].fValue), 0);
}

TEST(FactoryBank, EveryPresetIsAudibleAndHasTheGainItsCurvePromises)
{
    const Bank bank = LoadFactory();
    for (int i = 0; i < kNumPrograms; ++i) {
        // Audible: the shape across the band centres spans at least 3 dB.
        double lo = 1e9, hi = -1e9;
        for (double hz : CGraphicEQ::kBandFreq) {
            lo = std::min(lo, RecordResponseDB(bank[i], hz, 48000.0));
            hi = std::max(hi, RecordResponseDB(bank[i], hz, 48000.0));
        }
        EXPECT_GE(hi - lo, i == 0 ? 0.0 : 3.0) << bank[i].szName;
        // The real engine, fed a sine at the curve's highest point, has the
        // computed gain there.
        double at = 0.0;
        const double computed = RecordPeakDB(bank[i], 48000.0, &at);
        bool over = false;
        EXPECT_NEAR(MeasuredGainDB(bank[i], at, 48000, &over), computed, 0.02) << bank[i].szName << " at " << at;
        // A flagged over-level means the output passed full scale.
        EXPECT_EQ(over, computed > 0.1) << bank[i].szName;
    }
    // Voiced around 0 dB: Bass Boost raises the lows and leaves the mids.
    const AGraEQProgram& bass = bank[3];
    ASSERT_STREQ(bass.szName, "Bass Boost");
    EXPECT_GT(RecordResponseDB(bass, 63.0, 48000.0), 4.0);
    for (double hz : {630.0, 1000.0, 2500.0, 6300.0})
        EXPECT_NEAR(RecordResponseDB(bass, hz, 48000.0), 0.0, 1.0) << hz;
}

// Loudness (BS.1770 K-weighting) of the same pink noise through the effect
// playing a record, in dB relative to the noise itself.
double PinkLoudnessGainDB(AGraEQProgram rec)
{
    AGraEQ fx([](AEffect*, VstInt32 op, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
        return op == audioMasterVersion ? 2400 : 0;
    });
    const int rate = 48000, block = 512;
    fx.setSampleRate(static_cast<float>(rate));
    fx.resume();
    fx.setChunk(&rec, kProgramBytes, true);
    std::vector<std::vector<float>> in = {loudness::PinkNoise(6 * rate, 0.1, 1), loudness::PinkNoise(6 * rate, 0.1, 2)};
    std::vector<std::vector<float>> out = in;
    for (size_t done = 0; done < out[0].size(); done += block) {
        const int n = static_cast<int>(std::min<size_t>(block, out[0].size() - done));
        float* io[2] = {out[0].data() + done, out[1].data() + done};
        fx.processReplacing(io, io, n);
    }
    return loudness::Lufs(out, rate, rate) - loudness::Lufs(in, rate, rate);
}

TEST(FactoryBank, EveryPresetIsAsLoudAsFlatOnPinkNoise)
{
    // The measure itself: at 48 kHz the weighting has the coefficients
    // BS.1770 tabulates, and a full-scale 997 Hz sine in one channel reads
    // -3.01 LUFS.
    loudness::Biquad shelf, highPass;
    loudness::KWeighting(48000.0, shelf, highPass);
    const double want[] = {1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241,
                           0.73248077421585, -1.99004745483398, 0.99007225036621};
    const double got[] = {shelf.b0, shelf.b1, shelf.b2, shelf.a1, shelf.a2, highPass.a1, highPass.a2};
    for (int k = 0; k < 7; ++k)
        EXPECT_NEAR(got[k], want[k], 1e-7) << k;
    EXPECT_EQ(highPass.b0 + highPass.b1 + highPass.b2, 0.0);
    auto sine = [](double hz) {
        std::vector<float> x(48000 * 2);
        for (size_t i = 0; i < x.size(); ++i)
            x[i] = static_cast<float>(std::sin(2.0 * M_PI * hz * static_cast<double>(i) / 48000.0));
        return loudness::Lufs({x}, 48000.0, 4800);
    };
    EXPECT_NEAR(sine(997.0), -3.01, 0.02);

    const Bank bank = LoadFactory();
    const double flat = PinkLoudnessGainDB(bank[0]);
    EXPECT_NEAR(flat, 0.0, 0.05);
    for (int i = 1; i < kNumPrograms; ++i)
        EXPECT_NEAR(PinkLoudnessGainDB(bank[i]), flat, 1.5) << bank[i].szName;
}

TEST(PresetText, RejectsWhatTheBankCannotHold)
{
    std::vector<PresetText> presets;
    std::string error;
    for (const char* bad : {"output = 0\n" /* before any [Name] */, "[A]\nq = x\n", "[A]\ngain = 1 2 3\n"})
        EXPECT_FALSE(ParsePresetText(bad, presets, error)) << bad;
    EXPECT_NE(error.find("line 2"), std::string::npos);
    ASSERT_TRUE(ParsePresetText("[A] # comment\noutput = -3 ; dB\nq = 2\n", presets, error));
    ASSERT_EQ(presets.size(), 1u);
    AGraEQProgram rec;
    ASSERT_TRUE(PresetToRecord(presets[0], rec, error));
    // -3 dB of 6 dB per doubling is amplitude 2^-0.5.
    EXPECT_NEAR(NormalizeValToInternalVal(kParamOutput, rec.fValue[kParamOutput]), -3.0, 1e-3);
    EXPECT_FLOAT_EQ(rec.fValue[kParamQFirst], ValToNormalizeValue(kParamQFirst, 2.0f));

    PresetText tooLong = presets[0], utf8 = presets[0], gain = presets[0], output = presets[0];
    tooLong.name = "A name far too long for the field";
    utf8.name = "Caf\xC3\xA9";
    gain.gainDB[4] = 12.5;
    output.outputDB = 7;
    for (const PresetText* p : {&tooLong, &utf8, &gain, &output})
        EXPECT_FALSE(PresetToRecord(*p, rec, error)) << p->name;
}
