// The caller's number: analysis, refinement, rewriting, hiding.
#include "callserver/dialplan_fixture.h"

namespace {

using DialPlanCallerTest = DialPlanFixture;

TEST_F(DialPlanCallerTest, LongestCallerPrefixGivesThePlan)
{
    putCallerRule("20", "wide");
    putCallerRule("2001", "narrow");
    putCallerRule(".", "other");
    EXPECT_EQ(callFromUser("2001", "2002").dialPlan, "narrow");
    EXPECT_EQ(callFromUser("2002", "2001").dialPlan, "wide");
    changePeer(1);
    EXPECT_EQ(callFromPeer(1, "2002", "030").dialPlan, "other");
    EXPECT_EQ(callFromPeer(1, "2002", "").dialPlan, "other") << "no caller number at all";
}

TEST_F(DialPlanCallerTest, BlankPlanKeepsThatOfTheSource)
{
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.dialPlan, "sales"); });
    putCallerRule("2", "");
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(answer.dialPlan, "sales");
    EXPECT_TRUE(hasStep(answer, "Caller number analysis: prefix 2 matches 2001; the dial plan stays sales."));
}

TEST_F(DialPlanCallerTest, TransitionOfTheAnalysisChangesTheCaller)
{
    putTransition(1, kTransAdd, 0, 0, "0049");
    putCallerRule("20", "", 1);
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(answer.caller, "00492001");
    EXPECT_EQ(answer.targets.at(0).caller, "00492001");
}

TEST_F(DialPlanCallerTest, WithoutARuleTheCallerIsKept)
{
    putCallerRule("3", "other");
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(answer.caller, "2001");
    EXPECT_EQ(answer.dialPlan, "default");
    EXPECT_TRUE(hasStep(answer, "Caller number analysis: no prefix matches 2001."));
}

TEST_F(DialPlanCallerTest, RefinementGroupOfTheRuleChangesTheCaller)
{
    putTransition(1, kTransReplace, 0, 2, "9");
    putTransition(2, kTransAdd, 0, 0, "8");
    putCallerRefinement(4, "2", 2);
    putCallerRefinement(4, "20", 1);
    putCallerRefinement(5, "2001", 2);
    auto refined = rule("20");
    refined.clrRefineGroup = 4;
    put(refined);
    EXPECT_EQ(callFromUser("2001", "2002").caller, "901");
    put(rule("20"));
    EXPECT_EQ(callFromUser("2001", "2002").caller, "2001");
}

TEST_F(DialPlanCallerTest, RefinementWithoutTransitionKeepsTheCallerAndEndsTheSearch)
{
    putTransition(2, kTransAdd, 0, 0, "8");
    putCallerRefinement(4, ".", 2);
    putCallerRefinement(4, "2001", 0);
    auto refined = rule("20");
    refined.clrRefineGroup = 4;
    put(refined);
    EXPECT_EQ(callFromUser("2001", "2002").caller, "2001");
    EXPECT_EQ(callFromUser("2002", "2001").caller, "82002");
}

TEST_F(DialPlanCallerTest, RefinementOfAnEarlierRuleDoesNotCount)
{
    putTransition(2, kTransAdd, 0, 0, "8");
    putTransition(3, kTransDelete, 0, 1, "");
    putCallerRefinement(4, ".", 2);
    auto first = ruleWithTransition("7", 3, true);
    first.clrRefineGroup = 4;
    first.maxDuration = 10;
    put(first);
    put(rule("20"));
    const DialAnswer answer = callFromUser("2001", "72002");
    EXPECT_EQ(answer.caller, "2001");
    EXPECT_EQ(answer.maxDuration, 0U);
}

TEST_F(DialPlanCallerTest, DisplayNameIsThatOfTheUser)
{
    EXPECT_EQ(callFromUser("2001", "2002").displayName, "");
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.dispName, "Reception"); });
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(answer.displayName, "Reception");
    EXPECT_FALSE(answer.isDisplayNameRemoved);
}

TEST_F(DialPlanCallerTest, RewritingReplacesTheDisplayName)
{
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.dispName, "Reception"); });
    putRewriting("2001", "Example Ltd");
    putRewriting(".", "Others");
    DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(answer.displayName, "Example Ltd");
    EXPECT_EQ(answer.caller, "2001");
    EXPECT_FALSE(answer.isAnonymous);
    answer = callFromUser("2002", "2001");
    EXPECT_EQ(answer.displayName, "Others");
    putRewriting("2001", "");
    answer = callFromUser("2001", "2002");
    EXPECT_EQ(answer.displayName, "");
    EXPECT_TRUE(answer.isDisplayNameRemoved);
}

TEST_F(DialPlanCallerTest, RewritingIsExact)
{
    putRewriting("200", "Example Ltd");
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(answer.displayName, "");
    EXPECT_FALSE(answer.isDisplayNameRemoved);
}

TEST_F(DialPlanCallerTest, RewritingSeesTheRefinedNumber)
{
    putTransition(2, kTransAdd, 0, 0, "8");
    putCallerRefinement(4, ".", 2);
    auto refined = rule("20");
    refined.clrRefineGroup = 4;
    put(refined);
    putRewriting("82001", "Example Ltd");
    EXPECT_EQ(callFromUser("2001", "2002").displayName, "Example Ltd");
}

TEST_F(DialPlanCallerTest, RewritingMayHideTheNumber)
{
    putRewriting("2001", "Example Ltd", true);
    changePeer(1, [](Cdb_peer_server& record) { BclCopyStr(record.outCallerNbr, "0301000"); });
    put(ruleToPeer("0", 1));
    for (const char* dialed : {"2002", "0301"}) {
        const DialAnswer answer = callFromUser("2001", dialed);
        EXPECT_TRUE(answer.isAnonymous) << dialed;
        EXPECT_EQ(answer.caller, "anonymous");
        EXPECT_EQ(answer.displayName, "Example Ltd");
        EXPECT_EQ(answer.targets.at(0).caller, "anonymous") << dialed;
    }
}

TEST_F(DialPlanCallerTest, NumberOfATrunkStandsForAnonymousCallersFromElsewhere)
{
    changeSystem([](Cdb_sys_data& record) { record.callFlags |= kSysTransit; });
    changePeer(1, [](Cdb_peer_server& record) { BclCopyStr(record.outCallerNbr, "0301000"); });
    put(ruleToPeer("0", 1));
    EXPECT_EQ(callFromPeer(1, "0301", "anonymous").targets.at(0).caller, "0301000");
}

TEST_F(DialPlanCallerTest, NumberOfATrunkGoesBeforeTheHiddenOneOfTheUser)
{
    changeUser("2001", [](Cdb_usr_info& record) { record.flags |= kUsrHideNumber; });
    changePeer(1, [](Cdb_peer_server& record) { BclCopyStr(record.outCallerNbr, "0301000"); });
    put(ruleToPeer("0", 1));
    const DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_TRUE(answer.isAnonymous);
    EXPECT_EQ(answer.targets.at(0).caller, "0301000");
}

TEST_F(DialPlanCallerTest, UserMayHideHisNumber)
{
    changeUser("2001", [](Cdb_usr_info& record) {
        record.flags |= kUsrHideNumber;
        BclCopyStr(record.dispName, "Reception");
    });
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_TRUE(answer.isAnonymous);
    EXPECT_EQ(answer.displayName, "Anonymous");
    EXPECT_EQ(answer.caller, "2001") << "trunks and lines get it as P-Asserted-Identity";
    putRewriting("2001", "");
    EXPECT_EQ(callFromUser("2001", "2002").displayName, "Anonymous");
    EXPECT_FALSE(callFromUser("2001", "2002").isDisplayNameRemoved);
}

TEST_F(DialPlanCallerTest, RewritingHoldsForServices)
{
    putRewriting("2001", "Example Ltd", true);
    Cdb_rg_detection ring;
    ring.groupID = 7;
    putAt(std::string("default") + kDbKeySeparator + "700", ring);
    const DialAnswer answer = callFromUser("2001", "700");
    EXPECT_TRUE(answer.isAnonymous);
    EXPECT_EQ(answer.targets.at(0).caller, "anonymous");
}

} // namespace
