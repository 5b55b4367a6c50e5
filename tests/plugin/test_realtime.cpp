// The audio thread never waits: in a busy session the real-time checker,
// around the automation it plays and the blocks it processes, counts no heap
// call, no lock and no blocking system call. Block times are only reported.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "RunningEffect.h"
#include "rtcheck.h"

namespace {

TEST(RealTime, AudioThreadNeverAllocatesLocksOrCallsTheSystem)
{
    RunningEffect effect;
    AEffect* const fx = effect.fx;
    bool finite = true;
    std::vector<double> micros;
    micros.reserve(1 << 20);
    std::vector<float> l(256), r(256), ol(256), orr(256);
    std::vector<double> dl(256), dr(256);
    rtcheck_reset();
    const long edits = effect.Storm(
        [&](unsigned n) {
            for (int i = 0; i < 256; ++i) {
                l[i] = r[i] = 0.5f * std::sin(0.05f * static_cast<float>(n * 256u + i));
                dl[i] = dr[i] = l[i];
            }
            float* in[2] = {l.data(), r.data()};
            float* out[2] = {ol.data(), orr.data()};
            double* io[2] = {dl.data(), dr.data()};
            const auto t0 = std::chrono::steady_clock::now();
            rtcheck_begin();
            effect.Automate(n);
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
        },
        std::chrono::milliseconds(1500), 400);

    rtcheck_counts counts{};
    rtcheck_read(&counts);
    EXPECT_EQ(counts.allocs, 0u);
    EXPECT_EQ(counts.frees, 0u);
    EXPECT_EQ(counts.locks, 0u);
    EXPECT_EQ(counts.lock_waits, 0u);
    EXPECT_EQ(counts.syscalls, 0u);
    EXPECT_TRUE(finite);
    ASSERT_GT(micros.size(), 100u);
    std::sort(micros.begin(), micros.end());
    std::printf("%zu blocks of 256 frames (automation included) against %ld edits: allocations %llu, "
                "locks %llu, waits %llu, system calls %llu; median %.2f us, 99.9%% %.2f us, worst %.2f us\n",
                micros.size(), edits, counts.allocs + counts.frees, counts.locks, counts.lock_waits, counts.syscalls, micros[micros.size() / 2], micros[micros.size() * 999 / 1000],
                micros.back());
}

}  // namespace
