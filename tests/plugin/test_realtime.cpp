// The audio thread never waits: while it processes, the host's thread
// changes every parameter, program and chunk as fast as it can, and the
// real-time checker, active on the audio thread inside processReplacing and
// processDoubleReplacing only, must count no heap call, no lock another
// thread held, no blocking system call. Block times are reported, not
// asserted: the machine is shared.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "RunningEffect.h"
#include "rtcheck.h"

namespace {

TEST(RealTime, AudioThreadNeverAllocatesLocksOrCallsTheSystem)
{
    RunningEffect effect;
    AEffect* const fx = effect.fx;

    std::atomic<bool> stop{false};
    std::atomic<long> blocks{0};
    bool finite = true;
    std::vector<double> micros;
    micros.reserve(1 << 20);
    rtcheck_reset();

    std::thread audio([&] {
        std::vector<float> l(256), r(256), ol(256), orr(256);
        std::vector<double> dl(256), dr(256);
        unsigned n = 0;
        while (!stop.load(std::memory_order_relaxed)) {
            for (int i = 0; i < 256; ++i) {
                l[i] = r[i] = 0.5f * std::sin(0.05f * static_cast<float>(n * 256u + i));
                dl[i] = dr[i] = l[i];
            }
            float* in[2] = {l.data(), r.data()};
            float* out[2] = {ol.data(), orr.data()};
            double* io[2] = {dl.data(), dr.data()};
            const auto t0 = std::chrono::steady_clock::now();
            rtcheck_begin();
            if (n % 4 == 3)
                fx->processDoubleReplacing(fx, io, io, 256);
            else
                fx->processReplacing(fx, in, out, 256);
            rtcheck_end();
            const auto t1 = std::chrono::steady_clock::now();
            if (micros.size() < micros.capacity())
                micros.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
            for (int i = 0; i < 256; ++i)
                finite = finite && std::isfinite(ol[i]) && std::isfinite(dl[i]);
            ++n;
            blocks.fetch_add(1, std::memory_order_relaxed);
        }
    });

    // The host's thread: this one, flat out for a second and a half, with at
    // least a few hundred blocks processed meanwhile.
    std::vector<char> copy(8192);
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    long edits = 0;
    for (int i = 0; std::chrono::steady_clock::now() < until || blocks.load() < 400; ++i) {
        // The switch (parameter 0) mostly on, so most blocks are filtered.
        for (VstInt32 index = 0; index < fx->numParams; ++index, ++edits)
            fx->setParameter(fx, index,
                             index == 0 ? (i % 16 ? 1.0f : 0.0f)
                                        : static_cast<float>((i * 7919 + index * 31) % 1001) / 1000.0f);
        effect.call(effSetProgram, i % fx->numPrograms);
        for (VstInt32 preset = 0; preset < 2; ++preset) {  // bank, then one program
            void* data = nullptr;
            const VstIntPtr size = effect.call(effGetChunk, 0, &data, 0.0f, preset);
            if (size > 0 && static_cast<size_t>(size) <= copy.size()) {
                std::memcpy(copy.data(), data, static_cast<size_t>(size));
                effect.call(effSetChunk, size, copy.data(), 0.0f, preset);
            }
        }
        float a, b, c, d;
        static_cast<AGraEQ*>(fx->object)->GetVU(&a, &b, &c, &d);
    }
    stop = true;
    audio.join();

    rtcheck_counts counts{};
    rtcheck_read(&counts);
    EXPECT_EQ(counts.allocs, 0u);
    EXPECT_EQ(counts.frees, 0u);
    EXPECT_EQ(counts.lock_waits, 0u);
    EXPECT_EQ(counts.syscalls, 0u);
    EXPECT_TRUE(finite);
    ASSERT_GT(micros.size(), 100u);

    std::sort(micros.begin(), micros.end());
    std::printf("%zu blocks of 256 frames against %ld edits: median %.2f us, 99.9%% %.2f us, worst %.2f us\n",
                micros.size(), edits, micros[micros.size() / 2], micros[micros.size() * 999 / 1000],
                micros.back());
}

}  // namespace
