// Routes to external lines, trunks and routing groups.
#include "callserver/dialplan_fixture.h"

namespace {

class DialPlanLinesTest : public DialPlanFixture {
protected:
    void setNext(const std::string& line, const std::string& next)
    {
        changeLine(line, [&next](Cdb_ext_line_info& record) { BclCopyStr(record.nextLine, next.c_str()); });
    }
    void setBackup(uint32_t peer, uint32_t backup)
    {
        changePeer(peer, [backup](Cdb_peer_server& record) { record.backupSid = backup; });
    }
};

TEST_F(DialPlanLinesTest, RuleNamesALine)
{
    changeLine("a");
    changeLine("b");
    put(ruleToLine("0", "b"));
    const DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "line b");
    EXPECT_EQ(answer.targets.at(0).called, "0301");
    EXPECT_EQ(answer.targets.at(0).caller, "2001");
    EXPECT_TRUE(hasStep(answer, "prefix 0 matches 0301; external line b."));
}

TEST_F(DialPlanLinesTest, RuleWithoutALineTakesTheFirstByNameThatIsOnAndFree)
{
    put(ruleToLine("0", ""));
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "503");
    for (const char* name : {"c", "a", "d", "b", "e"})
        changeLine(name);
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line a");
    counts.linesOff.insert("a");
    changeLine("b", [](Cdb_ext_line_info& record) { record.maxCalls = 1; });
    counts.lines["b"] = 1;
    putTimeCondition(1, false);
    changeLine("c", [](Cdb_ext_line_info& record) { record.timeCondId = 1; });
    changeLine("d", [](Cdb_ext_line_info& record) { record.maxOutCalls = 2; });
    counts.linesMade["d"] = 2;
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line e");
    counts.linesMade["d"] = 1;
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line d");
}

TEST_F(DialPlanLinesTest, SpecialLineOfTheCallerReplacesEveryLine)
{
    changeLine("a");
    changeLine("b");
    put(ruleToLine("0", "a"));
    put(ruleToLine("9", ""));
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.extLine, "b"); });
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line b");
    EXPECT_EQ(outcome(callFromUser("2001", "9301")), "line b");
    EXPECT_EQ(outcome(callFromUser("2002", "0301")), "line a");
    putRoute(5, "a");
    put(ruleToGroup("8", 5));
    EXPECT_EQ(outcome(callFromUser("2001", "8301")), "line a") << "a routing group has lines of its own";
}

TEST_F(DialPlanLinesTest, NextLinesFollowEachOnce)
{
    setNext("a", "b");
    setNext("b", "c");
    setNext("c", "a");
    put(ruleToLine("0", "a"));
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line a, line b, line c");
    setNext("a", "a");
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line a");
}

TEST_F(DialPlanLinesTest, LinesThatCannotTakeTheCallArePassedOver)
{
    setNext("a", "b");
    setNext("b", "c");
    changeLine("c");
    put(ruleToLine("0", "a"));
    counts.linesOff.insert("a");
    DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "line b, line c");
    EXPECT_TRUE(hasStep(answer, "External line a is off."));

    putTimeCondition(1, false);
    changeLine("b", [](Cdb_ext_line_info& record) { record.timeCondId = 1; });
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line c");
    changeLine("c", [](Cdb_ext_line_info& record) { record.maxCalls = 3; });
    counts.lines["c"] = 2;
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line c");
    counts.lines["c"] = 3;
    answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "503");
    EXPECT_TRUE(hasStep(answer, "External line c has reached its limit of calls."));
}

TEST_F(DialPlanLinesTest, LimitOfOutgoingCallsCountsThoseOverTheLine)
{
    changeLine("a", [](Cdb_ext_line_info& record) { record.maxOutCalls = 1; });
    put(ruleToLine("0", "a"));
    counts.lines["a"] = 7;
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line a");
    counts.linesMade["a"] = 1;
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "503");
}

TEST_F(DialPlanLinesTest, LineThatDoesNotExistEndsItsChain)
{
    put(ruleToLine("0", "a"));
    DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "503");
    EXPECT_TRUE(hasStep(answer, "There is no external line a."));
    setNext("a", "b");
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line a");
}

TEST_F(DialPlanLinesTest, MissingTimeConditionOpensNoLine)
{
    changeLine("a", [](Cdb_ext_line_info& record) { record.timeCondId = 9; });
    put(ruleToLine("0", ""));
    const DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "503");
    EXPECT_EQ(answer.missingTimeConditions, std::vector<uint32_t>{9});
}

TEST_F(DialPlanLinesTest, CalledRefinementChangesTheNumberOfItsLineOnly)
{
    putTransition(1, kTransDelete, 0, 1, "");
    putTransition(2, kTransAdd, 0, 0, "99");
    putCalledRefinement(4, "", 2);
    putCalledRefinement(4, "03", 1);
    putCalledRefinement(4, "05", 0);
    setNext("a", "b");
    changeLine("a", [](Cdb_ext_line_info& record) { record.cldRefineGroup = 4; });
    changeLine("b");
    put(ruleToLine("0", "a"));
    DialAnswer answer = callFromUser("2001", "0301");
    ASSERT_EQ(outcome(answer), "line a, line b");
    EXPECT_EQ(answer.targets[0].called, "301");
    EXPECT_EQ(answer.targets[1].called, "0301");
    EXPECT_EQ(answer.called, "0301");
    EXPECT_EQ(callFromUser("2001", "0401").targets.at(0).called, "990401") << "the empty prefix";
    EXPECT_EQ(callFromUser("2001", "0501").targets.at(0).called, "0501") << "transition 0 keeps the number";
}

TEST_F(DialPlanLinesTest, DurationIsLimitedByTheLineOfEachTarget)
{
    setNext("a", "b");
    changeLine("a", [](Cdb_ext_line_info& record) { record.maxDuration = 50; });
    changeLine("b", [](Cdb_ext_line_info& record) { record.maxDuration = 500; });
    auto limited = ruleToLine("0", "a");
    limited.maxDuration = 100;
    put(limited);
    const DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(answer.maxDuration, 50U);
    EXPECT_EQ(answer.targets.at(0).maxDuration, 50U);
    EXPECT_EQ(answer.targets.at(1).maxDuration, 100U);
}

TEST_F(DialPlanLinesTest, RuleNamesATrunkWithItsBackups)
{
    setBackup(1, 2);
    setBackup(2, 3);
    setBackup(3, 1);
    put(ruleToPeer("0", 1));
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "trunk 1, trunk 2, trunk 3");
    putTimeCondition(1, false);
    changePeer(1, [](Cdb_peer_server& record) { record.timeCondId = 1; });
    changePeer(2, [](Cdb_peer_server& record) { record.maxOutCalls = 2; });
    counts.peersMade[2] = 1;
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "trunk 2, trunk 3");
    counts.peersMade[2] = 2;
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "trunk 3");
}

TEST_F(DialPlanLinesTest, TrunkThatDoesNotExistTakesNoCall)
{
    put(ruleToPeer("0", 7));
    const DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "503");
    EXPECT_TRUE(hasStep(answer, "There is no SIP trunk 7."));
}

TEST_F(DialPlanLinesTest, TrunkMayReplaceTheCallerAndRefineTheCalledNumber)
{
    putTransition(1, kTransDelete, 0, 1, "");
    putCalledRefinement(4, ".", 1);
    setBackup(1, 2);
    changePeer(1, [](Cdb_peer_server& record) {
        BclCopyStr(record.outCallerNbr, "0301000");
        record.cldRefineGroup = 4;
    });
    changePeer(2);
    put(ruleToPeer("0", 1));
    const DialAnswer answer = callFromUser("2001", "0301");
    ASSERT_EQ(outcome(answer), "trunk 1, trunk 2");
    EXPECT_EQ(answer.targets[0].caller, "0301000");
    EXPECT_EQ(answer.targets[0].called, "301");
    EXPECT_EQ(answer.targets[1].caller, "2001");
    EXPECT_EQ(answer.targets[1].called, "0301");
    EXPECT_EQ(answer.caller, "2001");
}

TEST_F(DialPlanLinesTest, GroupTriesItsLinesBeforeItsTrunksInTheirOrder)
{
    for (const char* name : {"a", "b"})
        changeLine(name);
    changePeer(1);
    changePeer(2);
    putRoute(5, "", 2);
    putRoute(5, "b");
    putRoute(5, "", 1);
    putRoute(5, "a");
    putRoute(6, "a");
    put(ruleToGroup("0", 5));
    const DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "line b, line a, trunk 2, trunk 1");
    counts.linesOff.insert("b");
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line a, trunk 2, trunk 1");
}

TEST_F(DialPlanLinesTest, GroupTriesEachLineAndPeerOnce)
{
    setNext("a", "b");
    changeLine("b");
    setBackup(1, 2);
    changePeer(2);
    putRoute(5, "a");
    putRoute(5, "b");
    putRoute(5, "", 1);
    putRoute(5, "", 2);
    put(ruleToGroup("0", 5));
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line a, line b, trunk 1, trunk 2");
}

TEST_F(DialPlanLinesTest, GroupWithoutRoutesTakesNoCall)
{
    put(ruleToGroup("0", 5));
    const DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "503");
    EXPECT_TRUE(hasStep(answer, "Routing group 5 has no routes."));
}

} // namespace
