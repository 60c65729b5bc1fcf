#include "sip/overload.h"

#include "fake_clock.h"
#include "support/event_log.h"

#include <gtest/gtest.h>

#include <set>

namespace {

// At a server that has worked without a pause for a while.
Backlog waited(int64_t ms)
{
    return {ms, Overload::kBeginUnrestMs + 1};
}

class OverloadTest : public testing::Test {
protected:
    FakeClock clock;
    EventLog& events = EventLog::subscribed();
    Overload overload{clock};
};

TEST_F(OverloadTest, AServerThatKeepsUpRefusesNothing)
{
    EXPECT_FALSE(overload.isTooMuch({}));
    EXPECT_FALSE(overload.isTooMuch(waited(Overload::kBeginWaitMs)));
    EXPECT_FALSE(overload.isTooMuch({std::nullopt, Overload::kLongestUnrestMs}));
    EXPECT_FALSE(overload.isTooMuch({0, 60'000})) << "busy, but nobody waits";
}

TEST_F(OverloadTest, CallsThatWaitedTooLongAreRefusedUntilTheBacklogIsGone)
{
    EXPECT_TRUE(overload.isTooMuch(waited(Overload::kBeginWaitMs + 1)));
    EXPECT_TRUE(overload.isTooMuch(waited(Overload::kBeginWaitMs - 1)));
    EXPECT_TRUE(overload.isTooMuch(waited(Overload::kEndWaitMs + 1)));
    EXPECT_FALSE(overload.isTooMuch(waited(Overload::kEndWaitMs)));
    EXPECT_FALSE(overload.isTooMuch(waited(Overload::kEndWaitMs + 1))) << "not before it is too much once more";
}

TEST_F(OverloadTest, AMomentInWhichTheMachineStoodStillIsNone)
{
    EXPECT_FALSE(overload.isTooMuch({60'000, Overload::kBeginUnrestMs}));
}

TEST_F(OverloadTest, OverConnectionsTheServersRestCounts)
{
    EXPECT_TRUE(overload.isTooMuch({std::nullopt, Overload::kLongestUnrestMs + 1}));
    EXPECT_FALSE(overload.isTooMuch({std::nullopt, 1}));
}

TEST_F(OverloadTest, WhoeverIsRefusedComesBackAtATimeOfHisOwn)
{
    std::set<unsigned> seconds;
    for (int i = 0; i < 1000; ++i)
        seconds.insert(overload.refuse());
    EXPECT_EQ(*seconds.begin(), Overload::kMinRetryAfter);
    EXPECT_EQ(*seconds.rbegin(), Overload::kMaxRetryAfter);
    EXPECT_EQ(seconds.size(), Overload::kMaxRetryAfter - Overload::kMinRetryAfter + 1);
}

TEST_F(OverloadTest, TheLogSaysOnceWhenItBeginsAndOnceWhenItIsOver)
{
    for (int i = 0; i < 3; ++i) {
        (void)overload.refuse();
        clock.passMs(Overload::kCalmMs - 1);
        overload.step();
    }
    EXPECT_EQ(events.count("log Overload: more calls come than can be served."), 1U);
    EXPECT_EQ(events.count("log The overload is over"), 0U);
    clock.passMs(1);
    overload.step();
    overload.step();
    EXPECT_EQ(events.count("log The overload is over: 3 calls were refused within 20 s."), 1U);
    EXPECT_EQ(events.count("log The overload is over"), 1U);
    (void)overload.refuse();
    EXPECT_EQ(events.count("log Overload: more calls come than can be served."), 2U);
}

} // namespace
