// One host thread changes parameters, programs, chunks, sample rate and
// block size while an audio thread processes and an interface thread reads
// the meters, as a busy session does; the test script runs it again under
// ThreadSanitizer. The audio thread may touch only the engine (under its own
// lock) and the process counter (atomic); the banks and parameter fields are
// unlocked and written and read by the host's thread alone.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

#include "RunningEffect.h"

namespace {

TEST(Threads, HostEditsWhileAudioRuns)
{
    RunningEffect host;
    AEffect* const fx = host.fx;

    std::atomic<bool> stop{false};
    std::atomic<long> blocks{0};
    std::atomic<bool> finite{true};

    std::thread audio([&] {
        std::vector<float> l(700), r(700), ol(700), orr(700);
        std::vector<double> dl(300), dr(300);
        unsigned n = 0;
        while (!stop.load(std::memory_order_relaxed)) {
            const int frames = static_cast<int>((n * 37u) % 700u);
            for (int i = 0; i < frames; ++i)
                l[i] = r[i] = 0.5f * std::sin(0.05f * static_cast<float>(n * 700u + i));
            float* in[2] = {l.data(), r.data()};
            float* out[2] = {ol.data(), orr.data()};
            fx->processReplacing(fx, in, out, frames);
            for (int i = 0; i < frames; ++i)
                if (!std::isfinite(ol[i]))
                    finite = false;
            if (n % 8 == 0) {
                double* io[2] = {dl.data(), dr.data()};
                fx->processDoubleReplacing(fx, io, io, 300);
            }
            ++n;
            blocks.fetch_add(1, std::memory_order_relaxed);
        }
    });

    AGraEQ* effect = static_cast<AGraEQ*>(fx->object);
    std::thread meters([&] {
        while (!stop.load(std::memory_order_relaxed)) {
            float a, b, c, d;
            effect->GetVU(&a, &b, &c, &d);
            (void)effect->GetClip();
            (void)effect->GetProcessCounter();
            std::this_thread::yield();
        }
    });

    // The host's parameter thread: this one.
    std::vector<char> copy(5120);
    char text[64];
    // At least a few thousand edits, and at least a few hundred blocks
    // processed meanwhile, however the two threads get scheduled.
    for (int i = 0; i < 3000 || (blocks.load() < 400 && i < 400000); ++i) {
        const VstInt32 index = i % 33;
        fx->setParameter(fx, index, static_cast<float>((i * 7919) % 1001) / 1000.0f);
        host.call(effGetParamDisplay, 0, text, 0.0f, index);
        (void)fx->getParameter(fx, index);
        if (i % 50 == 0)
            host.call(effSetProgram, (i / 50) % 32);
        for (VstInt32 preset = 0; preset < 2 && i % 97 == 0; ++preset) {  // bank, then preset
            void* data = nullptr;
            const VstIntPtr n = host.call(effGetChunk, 0, &data, 0.0f, preset);
            std::memcpy(copy.data(), data, static_cast<size_t>(n));
            host.call(effSetChunk, n, copy.data(), 0.0f, preset);
        }
        if (i % 401 == 0)
            host.call(effSetSampleRate, 0, nullptr, i % 2 ? 44100.0f : 48000.0f);
        if (i % 503 == 0)
            host.call(effSetBlockSize, 64 + i % 1000);
        if (i % 701 == 0) {
            host.call(effMainsChanged, 0);
            host.call(effMainsChanged, 1);
            host.call(effStartProcess);
        }
    }
    // Let the audio thread see the final state for a few blocks.
    const long seen = blocks.load();
    while (blocks.load() < seen + 10)
        std::this_thread::yield();
    stop = true;
    audio.join();
    meters.join();
    EXPECT_TRUE(finite.load());
    EXPECT_GT(blocks.load(), 10);
}

}  // namespace
