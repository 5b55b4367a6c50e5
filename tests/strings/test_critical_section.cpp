#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "CCriticalSection.h"

TEST(CriticalSection, IsRecursiveAndCountsLocks)
{
    CCriticalSection cs;
    EXPECT_FALSE(cs.IsLocked());  // and leaves it free
    ASSERT_TRUE(cs.Lock());
    ASSERT_TRUE(cs.Lock(0));  // same thread, and a zero timeout never fails

    std::atomic<int> seen{-1};
    auto probe = [&] {
        std::thread t([&] { seen = cs.IsLocked() ? 1 : 0; });
        t.join();
        return seen.load();
    };
    EXPECT_EQ(probe(), 1);
    cs.Unlock();
    EXPECT_EQ(probe(), 1) << "one Unlock must not free a lock taken twice";
    cs.Unlock();
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(probe(), 0) << "IsLocked on a free lock must leave it free";
}

TEST(CriticalSection, SerialisesThreads)
{
    CCriticalSection cs;
    long counter = 0;
    auto work = [&] {
        for (int i = 0; i < 20000; ++i) {
            CSingleLock hold(cs);
            counter = counter + 1;
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
    EXPECT_EQ(counter, 40000);
}
