#include "bcl2/background.h"

#include "support/patience.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <future>
#include <mutex>
#include <pthread.h>
#include <vector>

TEST(BackgroundThreads, GetNoSignals)
{
    std::promise<bool> isBlocked;
    const std::jthread thread = BclStartThread("listener", [&isBlocked](const std::stop_token&) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        isBlocked.set_value(sigismember(&mask, SIGTERM) == 1);
    });
    EXPECT_TRUE(isBlocked.get_future().get());
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    EXPECT_EQ(0, sigismember(&own, SIGTERM));
}

TEST(BackgroundThreads, TickUntilTheirOwnerEndsThem)
{
    std::atomic<int> ticks = 0;
    {
        const Cbcl_ticker ticker("ticker", 1, [&ticks] { ++ticks; });
        ASSERT_TRUE(waitUntil([&ticks] { return ticks >= 3; }));
    }
    const int last = ticks;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(last, ticks);
}

TEST(BackgroundThreads, EndAtOnceWhileTheyWaitForTheNextTick)
{
    std::atomic<int> ticks = 0;
    // With an interval of an hour the test would not come back.
    const Cbcl_ticker ticker("ticker", 3600U * 1000, [&ticks] { ++ticks; });
    EXPECT_EQ(0, ticks);
}

TEST(BackgroundThreads, WorkOnTheNewestRequestOnly)
{
    std::mutex mutex;
    std::vector<int> done;
    std::atomic<bool> isHeld = true;
    std::atomic<bool> hasBegun = false;
    std::atomic<bool> wasStale = false;
    Cbcl_latest<int> worker("worker", [&](const int* request, const auto& isStale) {
        hasBegun = true;
        while (isHeld)
            std::this_thread::yield();
        wasStale = wasStale || isStale();
        const std::scoped_lock lock(mutex);
        done.push_back(*request);
        return 0U;
    });
    const auto count = [&] {
        const std::scoped_lock lock(mutex);
        return done.size();
    };
    worker.ask(1);
    ASSERT_TRUE(waitUntil([&hasBegun] { return hasBegun.load(); }));
    for (int request = 2; request <= 9; ++request)
        worker.ask(request);
    isHeld = false;
    ASSERT_TRUE(waitUntil([&] { return count() == 2; }));
    EXPECT_EQ((std::vector<int>{1, 9}), done);
    EXPECT_TRUE(wasStale);
}

TEST(BackgroundThreads, AreCalledAgainWhenTheyAskForIt)
{
    std::atomic<int> calls = 0;
    Cbcl_latest<int> worker("worker", [&calls](const int* request, const auto&) {
        EXPECT_EQ(calls == 0, request != nullptr);
        return ++calls < 3 ? 1U : 0U;
    });
    worker.ask(1);
    EXPECT_TRUE(waitUntil([&calls] { return calls == 3; }));
}
