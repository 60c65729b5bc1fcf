// What the calls of users make of their states.
#include "calls/call_counts.h"

#include "bcl2/text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Stages = std::vector<Eusr_stage>;

class CallCountsTest : public testing::Test {
protected:
    static Cdb_usr_info user(bool isWaiting, uint8_t limit)
    {
        Cdb_usr_info record;
        BclCopyStr(record.usrName, "2001");
        record.flags = isWaiting ? uint32_t{kUsrCallWaiting} : 0U;
        record.callWaitingLimit = limit;
        return record;
    }
    Stages take() { return std::exchange(told, {}); }

    Stages told;
    UserCalls calls{[this](const std::string& name, Eusr_stage stage) {
        EXPECT_EQ(name, "2001");
        told.push_back(stage);
    }};
};

TEST_F(CallCountsTest, ACallThatNobodyHearsYetIsNoStateButCounts)
{
    calls.add("2001", UserPart::Pending, false);
    EXPECT_EQ(take(), Stages{});
    EXPECT_EQ(calls.ofUser("2001"), 1U);
    EXPECT_EQ(calls.madeByUser("2001"), 0U);
    calls.change("2001", UserPart::Pending, UserPart::Ringing);
    EXPECT_EQ(take(), Stages{kUsrRinging});
    calls.remove("2001", UserPart::Ringing, false);
    EXPECT_EQ(take(), Stages{kUsrOffline});
    EXPECT_EQ(calls.ofUser("2001"), 0U);
}

TEST_F(CallCountsTest, TalkingGoesBeforeRingingAndRingingBeforeCallingOut)
{
    calls.add("2001", UserPart::Calling, true);
    EXPECT_EQ(take(), Stages{kUsrCallingOut});
    calls.add("2001", UserPart::Ringing, false);
    EXPECT_EQ(take(), Stages{kUsrRinging});
    calls.add("2001", UserPart::Talking, false);
    EXPECT_EQ(take(), Stages{kUsrTalking});
    EXPECT_EQ(calls.ofUser("2001"), 3U);
    EXPECT_EQ(calls.madeByUser("2001"), 1U);
    calls.remove("2001", UserPart::Talking, false);
    EXPECT_EQ(take(), Stages{kUsrRinging});
    calls.remove("2001", UserPart::Ringing, false);
    EXPECT_EQ(take(), Stages{kUsrCallingOut});
    calls.remove("2001", UserPart::Calling, true);
    EXPECT_EQ(take(), Stages{kUsrOffline});
}

TEST_F(CallCountsTest, AStateThatStaysIsNotToldAgain)
{
    calls.add("2001", UserPart::Talking, true);
    calls.add("2001", UserPart::Talking, true);
    calls.add("2001", UserPart::Ringing, false);
    calls.remove("2001", UserPart::Talking, true);
    calls.remove("2001", UserPart::Ringing, false);
    EXPECT_EQ(take(), Stages{kUsrTalking});
    EXPECT_EQ(calls.madeByUser("2001"), 1U);
}

TEST_F(CallCountsTest, NobodyHasNoCalls)
{
    calls.add("", UserPart::Talking, true);
    EXPECT_EQ(take(), Stages{});
    EXPECT_EQ(calls.ofUser(""), 0U);
}

TEST_F(CallCountsTest, AFreeUserRingsWhateverHisCallWaiting)
{
    EXPECT_TRUE(calls.mayRing(user(false, 0)));
    EXPECT_TRUE(calls.mayRing(user(true, 0)));
    calls.add("2001", UserPart::Talking, false);
    calls.remove("2001", UserPart::Talking, false);
    EXPECT_TRUE(calls.mayRing(user(false, 0)));
}

TEST_F(CallCountsTest, WithoutCallWaitingAnyCallMakesTheUserBusy)
{
    for (const UserPart part : {UserPart::Calling, UserPart::Pending, UserPart::Ringing, UserPart::Talking}) {
        calls.add("2001", part, part == UserPart::Calling);
        EXPECT_FALSE(calls.mayRing(user(false, 5))) << static_cast<int>(part);
        EXPECT_FALSE(calls.mayRing(user(true, 0))) << static_cast<int>(part);
        calls.remove("2001", part, part == UserPart::Calling);
    }
}

TEST_F(CallCountsTest, AsManyCallsWaitAsTheLimitSays)
{
    calls.add("2001", UserPart::Talking, false);
    EXPECT_TRUE(calls.mayRing(user(true, 2)));
    calls.add("2001", UserPart::Ringing, false);
    EXPECT_TRUE(calls.mayRing(user(true, 2)));
    calls.add("2001", UserPart::Pending, false);
    EXPECT_FALSE(calls.mayRing(user(true, 2)));
    EXPECT_TRUE(calls.mayRing(user(true, 3)));
}

TEST_F(CallCountsTest, TheFirstCallOfAFreeUserDoesNotWait)
{
    calls.add("2001", UserPart::Ringing, false);
    EXPECT_TRUE(calls.mayRing(user(true, 1)));
    calls.add("2001", UserPart::Ringing, false);
    EXPECT_FALSE(calls.mayRing(user(true, 1)));
}

} // namespace
