// The pauses between attempts.
#include "growing_pause.h"
#include "remote_times.h"

#include <gtest/gtest.h>

#include <set>

using namespace std::chrono_literals;

TEST(RemotePauses, GrowFromOneSecondToThirty)
{
    GrowingPause pauses(kFirstPause, kLongestPause);
    for (const auto expected : {1s, 2s, 4s, 8s, 16s, 30s, 30s, 30s})
        EXPECT_EQ(expected, pauses.next());
    pauses.reset();
    EXPECT_EQ(1s, pauses.next());
}

TEST(RemotePauses, DifferBetweenThoseWhoMetOnce)
{
    std::minstd_rand random(1);
    std::set<std::chrono::microseconds> seen;
    for (int i = 0; i < 100; ++i) {
        const auto pause = someOf(kLongestConflictPause, random);
        EXPECT_GE(pause, kLongestConflictPause / 2);
        EXPECT_LE(pause, kLongestConflictPause);
        seen.insert(pause);
    }
    EXPECT_GT(seen.size(), 90u);
}

// What an operation repeats fits into its time many times over.
TEST(RemotePauses, LeaveTimeForManyRepetitions)
{
    GrowingPause pauses(kFirstConflictPause, kLongestConflictPause);
    int repetitions = 0;
    for (auto time = 0ms; time < kOperationTime - kConflictTime; ++repetitions)
        time += pauses.next();
    EXPECT_GE(repetitions, 10);
}
