// GraphicEQ.so through its binary interface: malformed chunks and audio (a
// boosted band measured at the output, odd block sizes, double precision, bad input).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "TestHost.h"

namespace {

constexpr int kRecord = 160, kBank = 5120;

std::vector<float> Sine(double freq, double rate, int frames, float amp = 0.25f)
{
    std::vector<float> s(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i)
        s[static_cast<size_t>(i)] = amp * static_cast<float>(std::sin(2.0 * M_PI * freq * i / rate));
    return s;
}

double Rms(const std::vector<float>& s, size_t from)
{
    double acc = 0.0;
    for (size_t i = from; i < s.size(); ++i)
        acc += static_cast<double>(s[i]) * s[i];
    return std::sqrt(acc / static_cast<double>(s.size() - from));
}

TEST_F(Binary, MalformedChunksChangeNothingOrOnlyWholeRecords)
{
    e->Dispatch(effSetProgram, 0, 4);
    e->Set(3, 1.0f);
    e->Name("Keep");
    const std::vector<char> before = e->Chunk(false);

    // Too short, empty, negative, beyond 32 bits, or no data at all: ignored.
    std::vector<char> junk(kBank * 2, '\x7f');
    for (bool preset : {true, false}) {
        for (VstIntPtr size : {VstIntPtr(0), VstIntPtr(1), VstIntPtr(kRecord - 1), VstIntPtr(-1),
                               VstIntPtr(-kBank), VstIntPtr(1) << 40}) {
            e->Dispatch(effSetChunk, preset, size, junk.data());
            EXPECT_EQ(e->Chunk(false), before) << preset << " " << size;
        }
        e->Dispatch(effSetChunk, preset, kBank, nullptr);
        EXPECT_EQ(e->Chunk(false), before);
    }
    // Oversized chunks are read up to the bank or record size only (ASan
    // would see an over-read of the exact-size copies).
    std::vector<char> big = before, bigPreset(before.begin() + 4 * kRecord, before.begin() + 7 * kRecord);
    big.resize(kBank + 777, '\x01');
    e->Dispatch(effSetChunk, 0, static_cast<VstIntPtr>(big.size()), big.data());
    e->Dispatch(effSetChunk, 1, static_cast<VstIntPtr>(bigPreset.size()), bigPreset.data());
    EXPECT_EQ(e->Chunk(false), before);

    // A partial bank takes whole records only, and its current-program index.
    std::vector<char> partial(before.begin(), before.begin() + 2 * kRecord + 100);
    const int32_t one = 1;
    std::memcpy(partial.data() + 156, &one, 4);
    std::memcpy(partial.data() + kRecord + 132, "Second", 7);
    e->Dispatch(effSetChunk, 0, static_cast<VstIntPtr>(partial.size()), partial.data());
    EXPECT_EQ(e->Dispatch(effGetProgram), 1);
    EXPECT_EQ(e->String(effGetProgramName), "Second");
    EXPECT_EQ(e->String(effGetProgramNameIndexed, 4), "Keep");

    // A current-program index the bank cannot hold is ignored.
    std::vector<char> bad = before;
    for (int32_t index : {32, -1, 0x7fffffff}) {
        std::memcpy(bad.data() + 156, &index, 4);
        e->Dispatch(effSetProgram, 0, 6);
        e->Dispatch(effSetChunk, 0, kBank, bad.data());
        EXPECT_EQ(e->Dispatch(effGetProgram), 6) << index;
    }
}

TEST_F(Binary, BoostedBandRaisesASineByItsGain)
{
    const struct {
        VstInt32 band;
        double freq;
        float normalised, startRate;
        double expectDB;
    } cases[] = {
        {8, 1000.0, 1.0f, 48000, 12.0},   {8, 1000.0, 0.75f, 48000, 6.0}, {8, 1000.0, 0.0f, 48000, -12.0},
        {11, 4000.0, 1.0f, 48000, 12.0},
        {8, 4000.0, 1.0f, 48000, 0.0},     // a 1 kHz boost leaves 4 kHz alone (Q 5)
        {14, 15999.9, 1.0f, 22050, 12.0},  // set past Nyquist at 22050 Hz, heard again at 48000 Hz
    };
    const double rate = 48000.0;
    const int frames = 48000;
    for (const auto& c : cases) {
        TestEffect t(lib, c.startRate, 512);
        ASSERT_NE(t.fx, nullptr);
        t.Set(3 + c.band, c.normalised);
        t.Dispatch(effSetSampleRate, 0, 0, nullptr, static_cast<float>(rate));
        std::vector<float> l = Sine(c.freq, rate, frames), r = l;
        const std::vector<float> in = l;
        for (int done = 0; done < frames; done += 512)
            t.Process(l.data() + done, r.data() + done, std::min(512, frames - done));
        EXPECT_NEAR(20.0 * std::log10(Rms(l, 24000) / Rms(in, 24000)), c.expectDB, 0.3)
            << "band " << c.band << " at " << c.freq << " Hz";
        EXPECT_EQ(l, r) << "both channels alike";
    }
}

TEST_F(Binary, SwitchedOffOrSuspendedPassesAudioThrough)
{
    e->Set(11, 1.0f);
    e->Set(0, 0.7f);  // truncates to 0: off
    std::vector<float> l = Sine(1000.0, 44100.0, 512), r = l;
    const std::vector<float> in = l;
    e->Process(l.data(), r.data(), 512);
    EXPECT_EQ(l, in);
    // Suspended, even after a new format and startProcess; on again only at resume.
    e->Set(0, 1.0f);
    e->Dispatch(effMainsChanged, 0, 0);
    e->Dispatch(effSetBlockSizeAndSampleRate, 0, 128, nullptr, 48000.0f);
    e->Dispatch(effStartProcess);
    e->Process(l.data(), r.data(), 512);
    EXPECT_EQ(l, in);
    // Suspend shows the switch off without touching the program's own
    // switch: selecting the program again brings that back.
    EXPECT_EQ(e->Get(0), 0.0f);
    EXPECT_EQ(e->Display(0), "OFF");
    e->Dispatch(effSetProgram, 0, 0);
    EXPECT_EQ(e->Get(0), 1.0f);
    e->Dispatch(effMainsChanged, 0, 1);
    EXPECT_EQ(e->Display(0), "ON");
    e->Process(l.data(), r.data(), 512);
    EXPECT_NE(l, in);
}

TEST_F(Binary, AnyBlockSizeGivesTheSameSignal)
{
    const int frames = 9000;
    std::vector<float> src = Sine(997.0, 44100.0, frames, 0.4f);
    for (int i = 0; i < frames; ++i)
        src[static_cast<size_t>(i)] += 0.3f * static_cast<float>(std::sin(i * 0.37));

    auto run = [&](VstInt32 announced, const std::vector<int>& blocks, bool inPlace) {
        TestEffect t(lib, 44100.0f, announced);
        for (VstInt32 i = 3; i < 18; ++i)
            t.Set(i, (i % 3) / 2.0f);
        std::vector<float> l = src, r = src, ol(src.size()), orr(src.size());
        for (size_t k = 0, pos = 0; pos < src.size(); ++k) {
            const int n = std::min<int>(blocks[k % blocks.size()], frames - static_cast<int>(pos));
            float* in[2] = {l.data() + pos, r.data() + pos};
            float* out[2] = {ol.data() + pos, orr.data() + pos};
            t.fx->processReplacing(t.fx, in, inPlace ? in : out, n);
            pos += static_cast<size_t>(n);
        }
        return inPlace ? l : ol;
    };
    // The sections continue their history across blocks, and the engine
    // computes every sample the same way wherever a block starts: the
    // output is the same to the last bit.
    const std::vector<float> ref = run(512, {512}, false);
    auto differs = [&](const std::vector<float>& got) {
        for (size_t i = 0; i < got.size(); ++i)
            if (std::memcmp(&got[i], &ref[i], sizeof(float)) != 0)
                return static_cast<int>(i);
        return -1;
    };
    // Zero and single frames, more than announced, a prime; in place and not;
    // announced sizes of 0, negative and huge. -1: no sample differs.
    EXPECT_EQ(differs(run(512, {0, 1, 513, 0, 7, 2048, 1}, false)), -1);
    EXPECT_EQ(differs(run(64, {1000, 3, 64, 65}, true)), -1);
    EXPECT_EQ(differs(run(1, {4096}, true)), -1);
    EXPECT_EQ(differs(run(0, {17}, false)), -1);
    EXPECT_EQ(differs(run(-5, {300}, false)), -1);
    EXPECT_EQ(differs(run(0x7fffffff, {8000}, false)), -1);
}

TEST_F(Binary, DoublePrecisionMatchesSinglePrecision)
{
    const int frames = 3000;  // more than one internal slice
    const std::vector<float> src = Sine(1000.0, 44100.0, frames);
    TestEffect &f = *e, d(lib);
    for (TestEffect* t : {&f, &d}) {
        t->Set(11, 0.9f);
        t->Set(1, 0.8f);
    }
    std::vector<float> l = src, r = src;
    f.Process(l.data(), r.data(), frames);
    std::vector<double> dl(src.begin(), src.end()), dr = dl;
    double* io[2] = {dl.data(), dr.data()};
    d.fx->processDoubleReplacing(d.fx, io, io, 0);
    d.fx->processDoubleReplacing(d.fx, io, io, -3);
    d.fx->processDoubleReplacing(d.fx, nullptr, nullptr, 64);
    d.fx->processDoubleReplacing(d.fx, io, io, frames);
    for (size_t i = 0; i < size_t(frames); ++i)
        ASSERT_NEAR(dl[i], l[i], 1e-6) << i;
}

TEST_F(Binary, BadHostInputIsSurvived)
{
    std::vector<float> l(128, 0.1f), r(128, 0.1f);
    float* half[2] = {l.data(), nullptr};
    e->fx->processReplacing(e->fx, nullptr, nullptr, 128);
    e->fx->processReplacing(e->fx, half, half, 128);
    e->fx->process(e->fx, nullptr, nullptr, 64);
    e->Process(l.data(), r.data(), -10);
    for (float rate : {std::numeric_limits<float>::quiet_NaN(), 0.0f, -44100.0f, 1e30f, 0.5f})
        e->Dispatch(effSetSampleRate, 0, 0, nullptr, rate);
    e->Dispatch(effSetBlockSize, 0, -1);
    e->Dispatch(effSetBlockSize, 0, VstIntPtr(1) << 40);
    e->Dispatch(effSetBlockSizeAndSampleRate, 0, 128, nullptr, 96000.0f);
    e->Dispatch(effMainsChanged, 0, 1);
    e->Dispatch(effStartProcess);
    e->Set(3, 1.0f);
    e->Process(l.data(), r.data(), 128);
    for (float v : l)
        ASSERT_TRUE(std::isfinite(v));

    // Callbacks on a record whose instance pointer was cleared.
    AEffect copy = *e->fx;
    copy.object = nullptr;
    EXPECT_EQ(copy.dispatcher(&copy, effGetVendorVersion, 0, 0, nullptr, 0.0f), 0);
    copy.processReplacing(&copy, nullptr, nullptr, 10);
    copy.setParameter(&copy, 0, 1.0f);
    EXPECT_EQ(copy.getParameter(&copy, 0), 0.0f);
    EXPECT_EQ(copy.dispatcher(nullptr, effGetVendorVersion, 0, 0, nullptr, 0.0f), 0);
}

}  // namespace
