// Posted messages and window timers, delivered by the event pump. No
// display needed: the queue to the user-interface thread works without one.
#include <gtest/gtest.h>

#include <thread>

#include "test_support.h"

namespace {

// Leftovers of earlier tests in this process are delivered first.
void Drain() { PumpFor(15); }

std::vector<WPARAM> g_deferred;
void DeferredWindowProc(WPARAM wp) { g_deferred.push_back(wp); }

}  // namespace

TEST(Posting, DeliveredInOrderOnlyByThePumpAndNeverToADeletedWindow)
{
    Drain();
    CRecorder w;
    {
        CRecorder doomed;
        EXPECT_EQ(w.PostMessage(WM_USER + 1, 10, -20), 0);
        doomed.PostMessage(WM_USER, 1, 0);
        w.PostMessage(WM_USER + 2, 11, 21);
        w.PostMessage(WM_USER + 3, 12, 22);
    }
    EXPECT_TRUE(w.got.empty()) << "posting never delivers synchronously";
    AfxPumpMessages(0);  // under ASan a delivery to the dead object would be caught
    ASSERT_EQ(w.got.size(), 3u);
    for (UINT i = 0; i < 3; ++i) EXPECT_EQ(w.got[i].message, WM_USER + 1 + i);
    EXPECT_EQ(w.got[0].wp, 10u);
    EXPECT_EQ(w.got[0].lp, -20);
    AfxPumpMessages(0);
    EXPECT_EQ(w.got.size(), 3u) << "each post is delivered once";
}

TEST(Posting, The257thUndeliveredPostOverwritesTheFirst)
{
    Drain();
    CRecorder w;
    for (int i = 0; i < 257; ++i) w.PostMessage(WM_USER, (WPARAM)i, 0);
    AfxPumpMessages(0);
    ASSERT_EQ(w.got.size(), 256u);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(w.got[i].wp, (WPARAM)(i + 1)) << "position " << i;
}

TEST(Posting, ByHandleAndWithoutATarget)
{
    Drain();
    CRecorder w;
    w.m_hWnd = reinterpret_cast<HWND>(&w);  // stands in for a created window's view
    EXPECT_TRUE(PostMessage(w.m_hWnd, WM_USER + 7, 1, 2));
    EXPECT_FALSE(PostMessage(reinterpret_cast<HWND>(&g_deferred), WM_USER, 0, 0)) << "not a window";
    // Without a target only the deferred-window request goes anywhere, and
    // it shares the ring (and its order) with the other posts.
    EXPECT_TRUE(PostMessage(nullptr, WM_DEFERRED_WINDOW, 42, 0));
    AfxPumpMessages(0);  // no procedure when it is delivered: dropped
    AfxSetDeferredWindowProc(DeferredWindowProc);
    PostMessage(nullptr, WM_DEFERRED_WINDOW, 43, 0);
    PostMessage(nullptr, WM_USER, 44, 0);
    w.PostMessage(WM_USER + 8, 0, 0);
    EXPECT_TRUE(g_deferred.empty());
    AfxPumpMessages(0);
    EXPECT_EQ(g_deferred, std::vector<WPARAM>{43});
    ASSERT_EQ(w.got.size(), 2u) << "the target-less WM_USER went nowhere";
    EXPECT_EQ(w.got[0].message, (UINT)WM_USER + 7);
    EXPECT_EQ(w.got[0].lp, 2);
    EXPECT_EQ(w.got[1].message, (UINT)WM_USER + 8);
    AfxSetDeferredWindowProc(nullptr);
    w.m_hWnd = nullptr;
}

TEST(Posting, OtherThreadsMayPostAndKeepTheirOrder)
{
    Drain();
    CRecorder w;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&w, t] {
            for (int i = 0; i < 50; ++i) w.PostMessage(WM_USER, (WPARAM)(t * 100 + i), 0);
        });
    for (auto& t : threads) t.join();
    EXPECT_TRUE(PumpUntil([&] { return w.got.size() >= 200; }, 2000));
    EXPECT_EQ(w.got.size(), 200u);
    int last[4] = {-1, -1, -1, -1};
    for (const Msg& m : w.got) {
        EXPECT_GT((int)m.wp, last[m.wp / 100]);
        last[m.wp / 100] = (int)m.wp;
    }
}

TEST(Timers, FireWithFirstParameterZeroAtTheIntervalOnePerPump)
{
    Drain();
    CRecorder w;
    EXPECT_EQ(w.SetTimer(5, 40), 5u);
    auto start = Clock::now();
    ASSERT_TRUE(PumpUntil([&] { return w.Count(WM_TIMER) >= 3; }, 2000));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100)) << "three 40 ms firings cannot come sooner";
    for (const Msg& m : w.Of({WM_TIMER})) {
        EXPECT_EQ(m.wp, 0u) << "every firing carries identifier 0";
        EXPECT_EQ(m.lp, 0);
    }
    // A host idling rarely: one firing per pump, however long it waited.
    w.KillTimer(5);
    w.got.clear();
    w.SetTimer(1, 10);
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    AfxPumpMessages(0);
    EXPECT_EQ(w.Count(WM_TIMER), 1);
    w.KillTimer(1);
}

TEST(Timers, RunInThePumpWithoutAThreadAndNothingArrivesAfterKillTimer)
{
    Drain();
    const int threadsBefore = CountEntries("/proc/self/task");
    {
        CRecorder w;
        w.SetTimer(1, 10);
        EXPECT_EQ(CountEntries("/proc/self/task"), threadsBefore) << "a timer is a deadline, not a thread";
        EXPECT_EQ(platform::TimerCount(), 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(40));  // due now
        EXPECT_EQ(w.Count(WM_TIMER), 0) << "only the pump fires it";
        EXPECT_TRUE(w.KillTimer(99));  // any identifier stops the window's timer
        PumpFor(60);
        EXPECT_EQ(w.Count(WM_TIMER), 0);
        EXPECT_EQ(platform::TimerCount(), 0);
    }
    {
        CRecorder w;
        w.SetTimer(1, 10);
        w.SetTimer(2, 20);  // replaces the first
        EXPECT_EQ(platform::TimerCount(), 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }  // deleted with its timer due
    EXPECT_EQ(platform::TimerCount(), 0);
    AfxPumpMessages(0);
}

namespace {

// Kills the other window's timer from its own WM_TIMER.
class CKiller : public CRecorder {
public:
    CWnd* victim = nullptr;
    LRESULT WindowProc(UINT message, WPARAM wp, LPARAM lp) override
    {
        LRESULT r = CRecorder::WindowProc(message, wp, lp);
        if (message == WM_TIMER && victim) victim->KillTimer(0);
        return r;
    }
};

}  // namespace

TEST(Timers, AWaitingPumpWakesForTheDeadlineAndAKilledTimerDueInTheSamePumpStaysSilent)
{
    Drain();
    CRecorder w;
    w.SetTimer(1, 50);
    // One call that may wait up to a second returns with the firing.
    auto start = Clock::now();
    AfxPumpMessages(1000);
    EXPECT_EQ(w.Count(WM_TIMER), 1);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
    w.KillTimer(1);

    CKiller a;
    CRecorder b;
    a.victim = &b;
    a.SetTimer(1, 10);
    b.SetTimer(1, 10);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));  // both due
    AfxPumpMessages(0);
    EXPECT_EQ(a.Count(WM_TIMER), 1);
    EXPECT_EQ(b.Count(WM_TIMER), 0) << "killed by the first firing of the same pump";
    a.KillTimer(1);
}
