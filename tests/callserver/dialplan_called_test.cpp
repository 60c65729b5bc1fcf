#include "callserver/dialplan_fixture.h"

namespace {

using DialPlanCalledTest = DialPlanFixture;

TEST_F(DialPlanCalledTest, ReachesAnotherLocalUserByARule)
{
    put(rule("20"));
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(outcome(answer), "local user 2002");
    ASSERT_EQ(answer.targets.size(), 1U);
    EXPECT_EQ(answer.targets[0].caller, "2001");
    EXPECT_EQ(answer.targets[0].called, "2002");
    EXPECT_EQ(answer.dialPlan, "default");
    EXPECT_TRUE(answer.reason.empty());
    EXPECT_TRUE(hasStep(answer, "Called number analysis, plan default: prefix 20 matches 2002"));
}

TEST_F(DialPlanCalledTest, ReachesALocalUserByTheDefaultRoute)
{
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(outcome(answer), "local user 2002");
    EXPECT_TRUE(hasStep(answer, "no prefix matches 2002"));
}

TEST_F(DialPlanCalledTest, RefusesANumberThatIsNoLocalUser)
{
    put(rule("20"));
    EXPECT_EQ(outcome(callFromUser("2001", "2003")), "404");
    EXPECT_EQ(outcome(callFromUser("2001", "3003")), "404");
    EXPECT_FALSE(callFromUser("2001", "3003").reason.empty());
}

TEST_F(DialPlanCalledTest, AnalyzesInTheDialPlanOfTheUser)
{
    Cdb_usr_info caller = user("2001");
    BclCopyStr(caller.dialPlan, "sales");
    put(caller);
    put(rule("20", kRtReject));
    put(rule("20", kRtLocalUser, "sales"));
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(outcome(answer), "local user 2002");
    EXPECT_EQ(answer.dialPlan, "sales");
}

} // namespace
