#include "bcl2/background.h"

#include "support/patience.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <future>
#include <pthread.h>

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
