// The audio-thread counter counts what the bracketed thread does, and only
// that: heap calls, every lock taken (a free one too, and a successful
// try), a mutex that another thread holds and condition waits as waits, and
// blocking system calls; other threads stay silent.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <unistd.h>

#include "rtcheck.h"

namespace {

rtcheck_counts Read()
{
    rtcheck_counts c{};
    rtcheck_read(&c);
    return c;
}

// Keeps the optimiser from removing a malloc/free pair.
void* volatile g_sink;

TEST(RtCheck, CountsHeapLocksAndCallsOnTheBracketedThreadOnly)
{
    rtcheck_reset();

    // Outside the bracket nothing counts.
    g_sink = std::malloc(32);
    std::free(g_sink);
    EXPECT_EQ(Read().allocs, 0u);

    rtcheck_begin();
    g_sink = std::malloc(64);
    std::free(g_sink);
    int* volatile p = new int(3);
    delete p;
    std::mutex free_mutex;
    free_mutex.lock();  // uncontended: a lock, not a wait
    free_mutex.unlock();
    if (free_mutex.try_lock())
        free_mutex.unlock();
    rtcheck_end();

    rtcheck_counts c = Read();
    EXPECT_EQ(c.allocs, 2u);
    EXPECT_EQ(c.frees, 2u);
    EXPECT_EQ(c.locks, 2u);
    EXPECT_EQ(c.lock_waits, 0u);

    // Another thread allocating while this one counts is not counted.
    std::atomic<int> phase{0};
    std::thread other([&] {
        while (phase.load() == 0)
            std::this_thread::yield();
        for (int i = 0; i < 100; ++i) {
            g_sink = std::malloc(16);
            std::free(g_sink);
        }
        phase = 2;
    });
    rtcheck_reset();
    rtcheck_begin();
    phase = 1;
    while (phase.load() != 2) {
    }
    rtcheck_end();
    other.join();
    EXPECT_EQ(Read().allocs, 0u);
}

TEST(RtCheck, ContendedMutexAndWaitsAndSystemCalls)
{
    std::mutex m;
    std::atomic<bool> held{false};
    std::thread holder([&] {
        std::lock_guard<std::mutex> lock(m);
        held = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    });
    while (!held)
        std::this_thread::yield();

    rtcheck_reset();
    rtcheck_begin();
    m.lock();  // held by the other thread: a blocking wait
    m.unlock();
    std::condition_variable cv;
    {
        std::unique_lock<std::mutex> lock(m);
        cv.wait_for(lock, std::chrono::milliseconds(1));
    }
    (void)::write(-1, "", 0);
    ::usleep(1);
    rtcheck_end();
    holder.join();

    const rtcheck_counts c = Read();
    EXPECT_GE(c.locks, 2u);
    EXPECT_GE(c.lock_waits, 2u);
    EXPECT_GE(c.syscalls, 2u);
}

}  // namespace
