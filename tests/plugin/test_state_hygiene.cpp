// State hygiene: whatever a host, a chunk or the panel hands in, the effect
// stores only finite normalised values inside 0..1 and terminated names of
// whole characters, and good state passes through bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "CoreHarness.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kBefore = 0.3f;

enum class Source { kHost, kPanel, kPresetChunk, kBankChunk };

// What a bad value becomes: the value held before, the parameter's default,
// or a bound.
enum class Becomes { kPrevious, kDefault, kZero, kOne };

class StateHygiene : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_hostDirectory.clear();
        fx = std::make_unique<AGraEQ>(CoreHost);
        fx->open();
    }

    std::vector<unsigned char> Chunk(bool preset)
    {
        void* data = nullptr;
        const VstInt32 n = fx->getChunk(&data, preset);
        const auto* p = static_cast<const unsigned char*>(data);
        return std::vector<unsigned char>(p, p + n);
    }

    void Feed(Source source, VstInt32 index, float value)
    {
        switch (source) {
        case Source::kHost:
            fx->setParameter(index, value);
            break;
        case Source::kPanel:
            fx->setParameterFormUI(index, value);
            break;
        case Source::kPresetChunk:
        case Source::kBankChunk: {
            const bool preset = source == Source::kPresetChunk;
            std::vector<unsigned char> c = Chunk(preset);
            std::memcpy(c.data() + (preset ? 0 : fx->getProgram() * kProgramBytes) + index * 4, &value, 4);
            fx->setChunk(c.data(), static_cast<VstInt32>(c.size()), preset);
            break;
        }
        }
    }

    // Every stored value sane, in the parameters and in both chunks; every
    // name terminated inside its field.
    void ExpectSaneEverywhere()
    {
        for (VstInt32 i = 0; i < kNumParams; ++i)
            ASSERT_TRUE(IsSaneNormalized(fx->getParameter(i))) << i;
        const std::vector<unsigned char> bank = Chunk(false);
        ASSERT_EQ(bank.size(), static_cast<size_t>(kBankBytes));
        for (int r = 0; r < kNumPrograms; ++r) {
            AGraEQProgram rec;
            std::memcpy(static_cast<void*>(&rec), bank.data() + r * kProgramBytes, kProgramBytes);
            for (int i = 0; i < kNumParams; ++i)
                ASSERT_TRUE(IsSaneNormalized(rec.fValue[i])) << r << "/" << i;
            ASSERT_NE(std::memchr(rec.szName, 0, sizeof rec.szName), nullptr) << r;
        }
    }

    std::unique_ptr<AGraEQ> fx;
};

TEST_F(StateHygiene, BadValuesBecomeWhatTheirSourceDecides)
{
    const float bad[] = {kNaN, kInf, -kInf, -1.0f, 2.0f, 1e30f, -1e-30f};
    // Per source, what each bad value above becomes: the host and the panel
    // keep the value before for a NaN, chunks take the default for any
    // non-finite value; finite values outside 0..1 go to the nearest bound.
    using B = Becomes;
    const B kept[] = {B::kPrevious, B::kOne, B::kZero, B::kZero, B::kOne, B::kOne, B::kZero};
    const B reset[] = {B::kDefault, B::kDefault, B::kDefault, B::kZero, B::kOne, B::kOne, B::kZero};
    const std::pair<Source, const B*> rules[] = {
        {Source::kHost, kept}, {Source::kPanel, kept}, {Source::kPresetChunk, reset}, {Source::kBankChunk, reset}};
    for (const auto& rule : rules) {
        for (size_t k = 0; k < sizeof bad / sizeof bad[0]; ++k) {
            for (VstInt32 i = 0; i < kNumParams; ++i) {
                fx->setParameter(i, kBefore);
                Feed(rule.first, i, bad[k]);
                float want = 0.0f;
                switch (rule.second[k]) {
                case Becomes::kPrevious: want = kBefore; break;
                case Becomes::kDefault: want = DefaultNormalized(i); break;
                case Becomes::kZero: want = 0.0f; break;
                case Becomes::kOne: want = 1.0f; break;
                }
                ASSERT_EQ(fx->getParameter(i), want)
                    << "source " << int(rule.first) << ", value " << bad[k] << ", index " << i;
                ASSERT_EQ(fx->GetBank(AGraEQ::kCurrentBank)[fx->getProgram()].fValue[i], want);
                char text[64] = {};
                fx->getParameterDisplay(i, text);
                ASSERT_EQ(std::strstr(text, "nan"), nullptr) << text;
                ASSERT_EQ(std::strstr(text, "inf"), nullptr) << text;
            }
        }
    }
    ExpectSaneEverywhere();
}

TEST_F(StateHygiene, EntryFieldIgnoresNaNAndClampsTheRest)
{
    for (VstInt32 i = 1; i < kNumParams; ++i) {
        fx->setParameter(i, kBefore);
        fx->setParameterFromDiaplay(i, kNaN);
        EXPECT_EQ(fx->getParameter(i), kBefore) << i;
        fx->setParameterFromDiaplay(i, kInf);
        EXPECT_EQ(fx->getParameter(i), 1.0f) << i;
        fx->setParameterFromDiaplay(i, -kInf);
        EXPECT_NEAR(fx->getParameter(i), 0.0f, 1e-6f) << i;  // levels: amplitude 0.001
        EXPECT_TRUE(std::isfinite(fx->getParameterDisplayVal(i))) << i;
    }
}

TEST_F(StateHygiene, NamesFromChunksAreTerminatedWholeCharacters)
{
    const struct {
        const char* bytes;  // the 24-byte field, unterminated where it is full
        const char* name;
    } cases[] = {
        {"ABCDEFGHIJKLMNOPQRSTUVWX", "ABCDEFGHIJKLMNOPQRSTUVW"},
        // A two-byte character cut by the field's last byte goes whole.
        {"ABCDEFGHIJKLMNOPQRSTUV\x82\xa0", "ABCDEFGHIJKLMNOPQRSTUV"},
        {"\x82\xa0\x82\xa2", "\x82\xa0\x82\xa2"},
    };
    for (const auto& c : cases) {
        for (bool preset : {true, false}) {
            std::vector<unsigned char> chunk = Chunk(preset);
            unsigned char* field = chunk.data() + (preset ? 0 : fx->getProgram() * kProgramBytes) +
                                   offsetof(AGraEQProgram, szName);
            std::memset(field, 0, kProgramNameSize);
            std::memcpy(field, c.bytes, std::min<size_t>(std::strlen(c.bytes), kProgramNameSize));
            fx->setChunk(chunk.data(), static_cast<VstInt32>(chunk.size()), preset);
            char name[64];
            std::memset(name, 'x', sizeof name);
            fx->getProgramName(name);
            EXPECT_STREQ(name, c.name) << preset;
            EXPECT_STREQ(fx->GetBank(AGraEQ::kCurrentBank)[fx->getProgram()].szName, c.name);
        }
    }
}

TEST_F(StateHygiene, GoodStateRoundTripsBitForBit)
{
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::vector<unsigned char> bank = Chunk(false);
    for (int r = 0; r < kNumPrograms; ++r) {
        AGraEQProgram rec;
        for (int i = 0; i < kNumParams; ++i)
            rec.fValue[i] = unit(rng);
        rec.fValue[3] = -0.0f;  // sane, and its sign bit survives
        rec.fValue[4] = 1.0f;
        std::snprintf(rec.szName, sizeof rec.szName, "P%d \x82\xa0", r);
        rec.nCurrentProgram = r == 0 ? 7 : r * 1000;
        std::memcpy(bank.data() + r * kProgramBytes, &rec, kProgramBytes);
    }
    // A bank brings its current program (record 0's last field) along.
    fx->setChunk(bank.data(), kBankBytes, false);
    EXPECT_EQ(fx->getProgram(), 7);
    EXPECT_EQ(fx->getParameter(10), fx->GetBank(AGraEQ::kCurrentBank)[7].fValue[10]);
    EXPECT_EQ(Chunk(false), bank);
    // A preset fills the current program only.
    const auto record3 = bank.begin() + 3 * kProgramBytes;
    std::vector<unsigned char> preset(record3, record3 + kProgramBytes);
    fx->setChunk(preset.data(), kProgramBytes, true);
    EXPECT_EQ(Chunk(true), preset);
    std::copy(preset.begin(), preset.end(), bank.begin() + 7 * kProgramBytes);
    EXPECT_EQ(Chunk(false), bank);
    EXPECT_EQ(fx->getProgram(), 7);
    EXPECT_EQ(fx->getParameter(10), fx->GetBank(AGraEQ::kCurrentBank)[3].fValue[10]);
    fx->setProgram(2);
    EXPECT_EQ(reinterpret_cast<const AGraEQProgram*>(Chunk(false).data())->nCurrentProgram, 2);
}

TEST_F(StateHygiene, RandomChunksLeaveOnlySaneState)
{
    std::mt19937 rng(11);
    for (int round = 0; round < 300; ++round) {
        const size_t size = rng() % (2 * kBankBytes);
        std::vector<unsigned char> junk(size);
        for (auto& b : junk)
            b = static_cast<unsigned char>(rng());
        fx->setChunk(junk.data(), static_cast<VstInt32>(size), (round & 1) != 0);
        ASSERT_NO_FATAL_FAILURE(ExpectSaneEverywhere()) << "round " << round;
    }
}

}  // namespace
