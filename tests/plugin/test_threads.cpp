// A busy session as hosts make one (RunningEffect.h), run again under
// ThreadSanitizer by the test script: any thread may call any of these at
// the same time (AGraEQ.h), and no race is reported.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <vector>

#include "RunningEffect.h"

namespace {

TEST(Threads, HostEditsWhileAudioRuns)
{
    RunningEffect host;
    AEffect* const fx = host.fx;
    std::atomic<bool> finite{true};
    std::vector<float> l(700), r(700), ol(700), orr(700);
    std::vector<double> dl(300), dr(300);
    // Any block length, in place or not, and now and then double precision.
    host.Storm(
        [&](unsigned n) {
            host.Automate(n);
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
        },
        std::chrono::milliseconds(300), 400);
    EXPECT_TRUE(finite.load());
}

}  // namespace
