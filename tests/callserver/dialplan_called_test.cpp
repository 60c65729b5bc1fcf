// Called number analysis: rules, levels, transitions, repeats, routes that reject, default route.
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
    EXPECT_TRUE(hasStep(answer, "Called number analysis, plan default: prefix 20 matches 2002; local user."));
}

TEST_F(DialPlanCalledTest, RefusesANumberThatIsNoLocalUser)
{
    put(rule("20"));
    const DialAnswer answer = callFromUser("2001", "2003");
    EXPECT_EQ(outcome(answer), "404");
    EXPECT_EQ(answer.reason, "there is no local user 2003");
    EXPECT_TRUE(answer.targets.empty());
    EXPECT_TRUE(hasStep(answer, "Refused with 404"));
}

TEST_F(DialPlanCalledTest, LongestPrefixOfThePlanDecides)
{
    put(rule("2", kRtReject));
    put(rule("2002"));
    put(rule("200", kRtReject, "sales"));
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
    EXPECT_EQ(outcome(callFromUser("2002", "2001")), "403");
}

TEST_F(DialPlanCalledTest, RulesOfOtherServicesAreNotRead)
{
    auto other = rule("200", kRtReject);
    other.serviceType = 1;
    put(other);
    put(rule("2"));
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
}

TEST_F(DialPlanCalledTest, RejectAndUnknownRouteTypesRefuseTheCall)
{
    for (const uint32_t routeType : {4U, 3U, 5U, 7U, 0xffffffffU}) {
        put(rule("20", routeType));
        EXPECT_EQ(outcome(callFromUser("2001", "2002")), "403") << routeType;
    }
}

TEST_F(DialPlanCalledTest, RefusedUserHearsAnAnnouncementWhenTheyAreOn)
{
    changeSystem([](Cdb_sys_data& record) { record.callFlags |= kSysAnnounce; });
    put(rule("3", kRtReject));
    changePeer(1);
    EXPECT_TRUE(callFromUser("2001", "300").mayAnnounce);
    EXPECT_TRUE(callFromUser("2001", "404").mayAnnounce);
    EXPECT_FALSE(callFromPeer(1, "300").mayAnnounce);
    EXPECT_FALSE(callFromUser("2001", "2002").mayAnnounce);
    changeSystem([](Cdb_sys_data& record) { record.callFlags &= ~kSysAnnounce; });
    EXPECT_FALSE(callFromUser("2001", "300").mayAnnounce);
}

TEST_F(DialPlanCalledTest, LevelNeedsTheRightOfTheUser)
{
    for (uint32_t level = 0; level <= 6; ++level) {
        auto guarded = rule("20");
        guarded.level = level;
        put(guarded);
        changeUser("2001", [](Cdb_usr_info& record) { record.levels = Cbcl_bit_set(0x7e); });
        EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002") << level;
        changeUser("2001", [level](Cdb_usr_info& record) { record.levels.Clear(level); });
        EXPECT_EQ(outcome(callFromUser("2001", "2002")), level == 0 ? "local user 2002" : "403") << level;
    }
}

TEST_F(DialPlanCalledTest, LevelIsNotAskedOfLinesAndPeers)
{
    auto guarded = rule("20");
    guarded.level = 6;
    put(guarded);
    changePeer(1);
    changeLine("a");
    EXPECT_EQ(outcome(callFromPeer(1, "2002")), "local user 2002");
    EXPECT_EQ(outcome(callFromLine("a", "2002")), "local user 2002");
}

TEST_F(DialPlanCalledTest, TransitionChangesTheCalledNumber)
{
    putTransition(3, kTransDelete, 0, 1, "");
    put(ruleWithTransition("7", 3, false));
    const DialAnswer answer = callFromUser("2001", "72002");
    EXPECT_EQ(outcome(answer), "local user 2002");
    EXPECT_EQ(answer.called, "2002");
    EXPECT_TRUE(hasStep(answer, "Transition 3 makes 72002 2002."));
}

TEST_F(DialPlanCalledTest, TransitionIsAppliedOnlyWhenTheNumberIsToBeChanged)
{
    putTransition(3, kTransDelete, 0, 1, "");
    auto unchanged = ruleWithTransition("2", 3, true);
    unchanged.calledChanged = 0;
    put(unchanged);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
}

TEST_F(DialPlanCalledTest, TransitionThatDoesNotExistKeepsTheNumber)
{
    put(ruleWithTransition("2", 9, true));
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(outcome(answer), "local user 2002");
    EXPECT_TRUE(hasStep(answer, "Transition 9 does not exist"));
    put(ruleWithTransition("2", 0, true));
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
}

TEST_F(DialPlanCalledTest, ChangedNumberIsAnalyzedAgainInTheSamePlan)
{
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.dialPlan, "sales"); });
    putTransition(3, kTransReplace, 0, 1, "20");
    auto first = ruleWithTransition("7", 3, true);
    BclCopyStr(first.dialPlan, "sales");
    first.routeType = kRtReject;
    put(first);
    put(rule("20", kRtReject));
    put(rule("20", kRtLocalUser, "sales"));
    EXPECT_EQ(outcome(callFromUser("2001", "702")), "local user 2002");
    first.transOption = 0;
    put(first);
    EXPECT_EQ(outcome(callFromUser("2001", "702")), "403") << "the rule's own route";
}

TEST_F(DialPlanCalledTest, ChangedNumberWithoutARuleTakesTheDefaultRoute)
{
    putTransition(3, kTransDelete, 0, 1, "");
    put(ruleWithTransition("7", 3, true));
    EXPECT_EQ(outcome(callFromUser("2001", "72002")), "local user 2002");
    EXPECT_EQ(outcome(callFromUser("2001", "7300")), "404");
}

TEST_F(DialPlanCalledTest, LevelCountsInEveryAnalysis)
{
    putTransition(3, kTransDelete, 0, 1, "");
    put(ruleWithTransition("7", 3, true));
    auto guarded = rule("20");
    guarded.level = 5;
    put(guarded);
    changeUser("2001", [](Cdb_usr_info& record) { record.levels.Clear(5); });
    EXPECT_EQ(outcome(callFromUser("2001", "72002")), "403");
}

TEST_F(DialPlanCalledTest, NumberIsAnalyzedAgainFiveTimesAtMost)
{
    putTransition(3, kTransDelete, 0, 1, "");
    put(ruleWithTransition("7", 3, true));
    put(rule("20"));
    EXPECT_EQ(outcome(callFromUser("2001", "777772002")), "local user 2002");
    EXPECT_EQ(outcome(callFromUser("2001", "7777772002")), "482");
}

TEST_F(DialPlanCalledTest, RulesThatLeadToThemselvesEnd)
{
    putTransition(3, kTransReplace, 0, 1, "7");
    put(ruleWithTransition("7", 3, true));
    EXPECT_EQ(outcome(callFromUser("2001", "72002")), "482");
}

TEST_F(DialPlanCalledTest, SmallestMaximumDurationHolds)
{
    auto limited = rule("20");
    limited.maxDuration = 100;
    put(limited);
    EXPECT_EQ(callFromUser("2001", "2002").maxDuration, 100U);
    changeUser("2001", [](Cdb_usr_info& record) { record.maxDuration = 60; });
    EXPECT_EQ(callFromUser("2001", "2002").maxDuration, 60U);
    EXPECT_EQ(callFromUser("2001", "2002").targets.at(0).maxDuration, 60U);
    changeUser("2001", [](Cdb_usr_info& record) { record.maxDuration = 200; });
    EXPECT_EQ(callFromUser("2001", "2002").maxDuration, 100U);
    changeUser("2001", [](Cdb_usr_info& record) { record.maxDuration = -5; });
    EXPECT_EQ(callFromUser("2001", "2002").maxDuration, 100U);
    EXPECT_EQ(callFromUser("2002", "2001").maxDuration, 100U);
    put(rule("20"));
    EXPECT_EQ(callFromUser("2001", "2002").maxDuration, 0U);
}

TEST_F(DialPlanCalledTest, LineLimitsTheDurationOfItsIncomingCalls)
{
    changeLine("a", [](Cdb_ext_line_info& record) { record.maxDuration = 30; });
    EXPECT_EQ(callFromLine("a", "2002").maxDuration, 30U);
}

TEST_F(DialPlanCalledTest, DefaultRouteIsALocalUser)
{
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(outcome(answer), "local user 2002");
    EXPECT_TRUE(hasStep(answer, "no prefix matches 2002"));
    EXPECT_EQ(outcome(callFromUser("2001", "3003")), "404");
}

TEST_F(DialPlanCalledTest, DefaultRouteMayBeAnExternalLine)
{
    changeSystem([](Cdb_sys_data& record) { record.defaultRoute = 1; });
    changeLine("b");
    changeLine("a");
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002") << "a local user goes first";
    EXPECT_EQ(outcome(callFromUser("2001", "3003")), "line a");
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.extLine, "b"); });
    EXPECT_EQ(outcome(callFromUser("2001", "3003")), "line b");
}

TEST_F(DialPlanCalledTest, DefaultLineNeedsLevelSix)
{
    changeSystem([](Cdb_sys_data& record) { record.defaultRoute = 1; });
    changeLine("a");
    changeUser("2001", [](Cdb_usr_info& record) { record.levels.Clear(6); });
    EXPECT_EQ(outcome(callFromUser("2001", "3003")), "403");
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
}

TEST_F(DialPlanCalledTest, TransitCallsNeedTheirFlag)
{
    changeLine("a");
    changeLine("b");
    changePeer(1);
    putRoute(5, "b");
    put(ruleToLine("0", "b"));
    put(ruleToPeer("9", 1));
    put(ruleToGroup("8", 5));
    for (const char* number : {"0301", "9301", "8301"}) {
        EXPECT_EQ(outcome(callFromLine("a", number)), "403") << number;
        EXPECT_EQ(outcome(callFromPeer(1, number)), "403") << number;
        EXPECT_NE(outcome(callFromUser("2001", number)), "403") << number;
    }
    EXPECT_EQ(outcome(callFromPeer(1, "2002")), "local user 2002");
    changeSystem([](Cdb_sys_data& record) { record.callFlags |= kSysTransit; });
    EXPECT_EQ(outcome(callFromLine("a", "0301")), "line b");
    EXPECT_EQ(outcome(callFromPeer(1, "9301")), "trunk 1");
    EXPECT_EQ(outcome(callFromPeer(1, "8301")), "line b");
}

TEST_F(DialPlanCalledTest, TransitFlagCountsForTheDefaultLine)
{
    changeSystem([](Cdb_sys_data& record) { record.defaultRoute = 1; });
    changeLine("a");
    changePeer(1);
    EXPECT_EQ(outcome(callFromPeer(1, "3003")), "403");
    EXPECT_EQ(outcome(callFromPeer(1, "2002")), "local user 2002");
    changeSystem([](Cdb_sys_data& record) { record.callFlags |= kSysTransit; });
    EXPECT_EQ(outcome(callFromPeer(1, "3003")), "line a");
}

TEST_F(DialPlanCalledTest, RuleThatIsAnalyzedAgainIsNoTransit)
{
    putTransition(3, kTransDelete, 0, 1, "");
    auto first = ruleWithTransition("7", 3, true);
    first.routeType = kRtExtLine;
    put(first);
    changePeer(1);
    EXPECT_EQ(outcome(callFromPeer(1, "72002")), "local user 2002");
}

TEST_F(DialPlanCalledTest, NumberThatATransitionEmptiesGoesNowhere)
{
    putTransition(3, kTransDelete, 0, 32, "");
    auto emptied = ruleWithTransition("7", 3, false);
    put(emptied);
    EXPECT_EQ(outcome(callFromUser("2001", "700")), "404");
    emptied.routeType = kRtExtLine;
    put(emptied);
    changeLine("a");
    EXPECT_EQ(outcome(callFromUser("2001", "700")), "484");
}

TEST_F(DialPlanCalledTest, NumbersMayBeLongAndHoldAnything)
{
    const std::string longest(32, '5');
    put(user(longest));
    EXPECT_EQ(outcome(callFromUser("2001", longest)), "local user " + longest);
    EXPECT_EQ(outcome(callFromUser("2001", longest + "5")), "404");
    EXPECT_EQ(outcome(callFromUser("2001", std::string(60000, '5'))), "404");
    put(user("j\xc3\xb6rg"));
    put(rule("j\xc3\xb6"));
    EXPECT_EQ(outcome(callFromUser("2001", "j\xc3\xb6rg")), "local user j\xc3\xb6rg");
    EXPECT_EQ(outcome(callFromUser("2001", "\xff\xfe")), "404");
}

TEST_F(DialPlanCalledTest, StepsAreOneShortLineEachWhateverIsDialed)
{
    put(rule(".", kRtReject));
    for (const std::string& dialed : {std::string("1\r\n2\x1b[31m\x1f"), std::string(60000, '5')})
        for (const DialStep& step : callFromUser("2001", dialed).steps) {
            EXPECT_EQ(step.text, BclPrintable(step.text));
            EXPECT_LT(step.text.size(), 300U) << step.text;
        }
}

} // namespace
