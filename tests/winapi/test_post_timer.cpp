// Posted messages and window timers, delivered by the event pump. No
// display needed: the queue to the user-interface thread works without one.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "CWnd.h"
#include "test_support.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Msg {
    UINT message;
    WPARAM wp;
    LPARAM lp;
};

class CRecWnd : public CWnd {
public:
    std::vector<Msg> got;
    std::vector<Clock::time_point> timerTimes;
    LRESULT WindowProc(UINT message, WPARAM wp, LPARAM lp) override
    {
        got.push_back({message, wp, lp});
        if (message == WM_TIMER) timerTimes.push_back(Clock::now());
        return CWnd::WindowProc(message, wp, lp);
    }
    int Count(UINT message) const
    {
        int n = 0;
        for (const Msg& m : got) n += m.message == message;
        return n;
    }
};

// Pumps until pred holds or the deadline passes.
template <class Pred>
bool PumpUntil(Pred pred, int ms = 2000)
{
    auto end = Clock::now() + std::chrono::milliseconds(ms);
    while (!pred()) {
        if (Clock::now() > end) return false;
        AfxPumpMessages(5);
    }
    return true;
}

void Drain()
{
    for (int i = 0; i < 3; ++i) AfxPumpMessages(0);
}

}  // namespace

TEST(Posting, DeliveredInOrderOnlyByThePump)
{
    Drain();
    CRecWnd w;
    EXPECT_EQ(w.PostMessage(WM_USER + 1, 10, -20), 0);
    w.PostMessage(WM_USER + 2, 11, 21);
    w.PostMessage(WM_USER + 3, 12, 22);
    EXPECT_TRUE(w.got.empty()) << "posting never delivers synchronously";
    AfxPumpMessages(0);
    ASSERT_EQ(w.got.size(), 3u);
    EXPECT_EQ(w.got[0].message, (UINT)WM_USER + 1);
    EXPECT_EQ(w.got[0].wp, 10u);
    EXPECT_EQ(w.got[0].lp, -20);
    EXPECT_EQ(w.got[2].message, (UINT)WM_USER + 3);
    AfxPumpMessages(0);
    EXPECT_EQ(w.got.size(), 3u) << "each post is delivered once";
}

TEST(Posting, The257thUndeliveredPostOverwritesTheFirst)
{
    Drain();
    CRecWnd w;
    for (int i = 0; i < 257; ++i) w.PostMessage(WM_USER, (WPARAM)i, 0);
    AfxPumpMessages(0);
    ASSERT_EQ(w.got.size(), 256u);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(w.got[i].wp, (WPARAM)(i + 1)) << "position " << i;
}

std::vector<WPARAM> g_deferred;
void DeferredWindowProc(WPARAM wp) { g_deferred.push_back(wp); }

TEST(Posting, ByHandleAndWithoutATarget)
{
    Drain();
    CRecWnd w;
    w.m_hWnd = reinterpret_cast<HWND>(&w);  // stands in for a created window's view
    EXPECT_EQ(CWnd::FromHandle(w.m_hWnd), &w);
    EXPECT_TRUE(PostMessage(w.m_hWnd, WM_USER + 7, 1, 2));
    EXPECT_FALSE(PostMessage(reinterpret_cast<HWND>(&g_deferred), WM_USER, 0, 0)) << "not a window";

    // Without a target only the deferred-window request goes anywhere, and
    // it shares the ring (and its order) with the other posts.
    EXPECT_TRUE(PostMessage(nullptr, WM_DEFERRED_WINDOW, 42, 0));
    AfxPumpMessages(0);  // no procedure when it is delivered: dropped
    ASSERT_EQ(w.got.size(), 1u);
    EXPECT_EQ(w.got[0].message, (UINT)WM_USER + 7);
    EXPECT_EQ(w.got[0].lp, 2);
    w.got.clear();
    AfxSetDeferredWindowProc(DeferredWindowProc);
    PostMessage(nullptr, WM_DEFERRED_WINDOW, 43, 0);
    PostMessage(nullptr, WM_USER, 44, 0);
    w.PostMessage(WM_USER + 8, 0, 0);
    EXPECT_TRUE(g_deferred.empty());
    AfxPumpMessages(0);
    EXPECT_EQ(g_deferred, std::vector<WPARAM>{43});
    ASSERT_EQ(w.got.size(), 1u) << "the target-less WM_USER went nowhere";
    EXPECT_EQ(w.got[0].message, (UINT)WM_USER + 8);
    AfxSetDeferredWindowProc(nullptr);
    w.m_hWnd = nullptr;
}

TEST(Posting, NothingReachesADeletedWindow)
{
    Drain();
    CRecWnd survivor;
    {
        CRecWnd doomed;
        doomed.PostMessage(WM_USER, 1, 0);
        survivor.PostMessage(WM_USER, 2, 0);
        doomed.PostMessage(WM_USER, 3, 0);
    }
    AfxPumpMessages(0);  // under ASan a delivery to the dead object would be caught
    ASSERT_EQ(survivor.got.size(), 1u);
    EXPECT_EQ(survivor.got[0].wp, 2u);
}

TEST(Posting, OtherThreadsMayPost)
{
    Drain();
    CRecWnd w;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&w, t] {
            for (int i = 0; i < 50; ++i) w.PostMessage(WM_USER, (WPARAM)(t * 100 + i), 0);
        });
    for (auto& t : threads) t.join();
    EXPECT_TRUE(PumpUntil([&] { return w.got.size() >= 200; }));
    EXPECT_EQ(w.got.size(), 200u);
    // Each thread's posts keep their order.
    for (int t = 0; t < 4; ++t) {
        int last = -1;
        for (const Msg& m : w.got)
            if ((int)m.wp / 100 == t) {
                EXPECT_GT((int)m.wp, last);
                last = (int)m.wp;
            }
    }
}

TEST(Timers, FireWithFirstParameterZeroAtTheInterval)
{
    Drain();
    CRecWnd w;
    EXPECT_EQ(w.SetTimer(5, 40), 5u);
    auto start = Clock::now();
    ASSERT_TRUE(PumpUntil([&] { return w.Count(WM_TIMER) >= 3; }));
    auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(w.timerTimes[2] - start).count();
    EXPECT_GE(elapsed, 100) << "three firings of a 40 ms timer cannot come sooner";
    for (const Msg& m : w.got)
        if (m.message == WM_TIMER) {
            EXPECT_EQ(m.wp, 0u) << "every firing carries identifier 0";
            EXPECT_EQ(m.lp, 0);
        }
    w.KillTimer(5);
}

TEST(Timers, NothingArrivesAfterKillTimerEvenIfAlreadyQueued)
{
    Drain();
    int threadsBefore = CountEntries("/proc/self/task");
    CRecWnd w;
    w.SetTimer(1, 10);
    EXPECT_EQ(CountEntries("/proc/self/task"), threadsBefore + 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(40));  // a firing is now queued
    EXPECT_TRUE(w.KillTimer(99));  // any identifier stops the window's timer
    EXPECT_EQ(CountEntries("/proc/self/task"), threadsBefore) << "KillTimer leaves no thread behind";
    auto end = Clock::now() + std::chrono::milliseconds(60);
    while (Clock::now() < end) AfxPumpMessages(5);
    EXPECT_EQ(w.Count(WM_TIMER), 0);
}

TEST(Timers, SlowPumpingDoesNotPileUpFirings)
{
    Drain();
    CRecWnd w;
    w.SetTimer(1, 10);
    std::this_thread::sleep_for(std::chrono::milliseconds(120));  // a host idling rarely
    AfxPumpMessages(0);
    EXPECT_EQ(w.Count(WM_TIMER), 1) << "one firing per pump, however long the host waited";
    w.KillTimer(1);
}

TEST(Timers, ReplacingOrDeletingLeavesNoThread)
{
    Drain();
    int threadsBefore = CountEntries("/proc/self/task");
    {
        CRecWnd w;
        w.SetTimer(1, 10);
        w.SetTimer(2, 20);  // replaces the first
        EXPECT_EQ(CountEntries("/proc/self/task"), threadsBefore + 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }  // deleted with its timer running and a firing queued
    EXPECT_EQ(CountEntries("/proc/self/task"), threadsBefore);
    AfxPumpMessages(0);
}
