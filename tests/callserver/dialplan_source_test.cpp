// Who calls: plans, expiry dates, limits, emergency numbers.
#include "callserver/dialplan_fixture.h"

namespace {

using DialPlanSourceTest = DialPlanFixture;

TEST_F(DialPlanSourceTest, UserIsAnalyzedInHisDialPlan)
{
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.dialPlan, "sales"); });
    put(rule("20", kRtReject));
    put(rule("20", kRtLocalUser, "sales"));
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(outcome(answer), "local user 2002");
    EXPECT_EQ(answer.dialPlan, "sales");
    EXPECT_TRUE(hasStep(answer, "The call comes from local user 2001; dial plan sales."));
}

TEST_F(DialPlanSourceTest, BlankDialPlanIsTheDefaultOne)
{
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.dialPlan, ""); });
    EXPECT_EQ(callFromUser("2001", "2002").dialPlan, "default");
    changePeer(3, [](Cdb_peer_server& record) { BclCopyStr(record.dialPlan, " "); });
    EXPECT_EQ(callFromPeer(3, "2002").dialPlan, "default");
}

TEST_F(DialPlanSourceTest, UserThatWasDeletedMeanwhileIsRefused)
{
    EXPECT_EQ(outcome(callFromUser("2009", "2002")), "403");
}

TEST_F(DialPlanSourceTest, ExpiryDateIsTheLastValidDay)
{
    changeUser("2001", [](Cdb_usr_info& record) { record.expiryDate = 20260101; });
    now = kMidnight + 86399;
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
    now = kMidnight + 86400;
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "403");
    changeUser("2001", [](Cdb_usr_info& record) { record.expiryDate = 0; });
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
}

TEST_F(DialPlanSourceTest, CallAtTheLimitOfAllCallsIsRefused)
{
    changeUser("2001", [](Cdb_usr_info& record) { record.maxCalls = 2; });
    counts.users["2001"] = 1;
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
    counts.users["2001"] = 2;
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "486");
    counts.users["2001"] = 3;
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "486");
}

TEST_F(DialPlanSourceTest, CallAtTheLimitOfOutgoingCallsIsRefused)
{
    changeUser("2001", [](Cdb_usr_info& record) { record.maxOutCalls = 1; });
    counts.users["2001"] = 5;
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
    counts.usersMade["2001"] = 1;
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "486");
}

TEST_F(DialPlanSourceTest, LimitOfZeroOrLessIsNone)
{
    for (const int limit : {0, -1}) {
        changeUser("2001", [limit](Cdb_usr_info& record) { record.maxCalls = record.maxOutCalls = limit; });
        counts.users["2001"] = counts.usersMade["2001"] = 1000;
        EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
    }
}

TEST_F(DialPlanSourceTest, TimeConditionOfAUserCountsOnlyForCallsThatLeave)
{
    putTimeCondition(4, false);
    changeUser("2001", [](Cdb_usr_info& record) { record.timeCondId = 4; });
    changeLine("a");
    changePeer(1);
    put(ruleToLine("0", "a"));
    put(ruleToPeer("9", 1));
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "local user 2002");
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "403");
    EXPECT_EQ(outcome(callFromUser("2001", "9301")), "403");
    putTimeCondition(4, true);
    EXPECT_EQ(outcome(callFromUser("2001", "0301")), "line a");
}

TEST_F(DialPlanSourceTest, MissingTimeConditionNeverHoldsAndIsTold)
{
    changeUser("2001", [](Cdb_usr_info& record) { record.timeCondId = 4; });
    changeLine("a");
    put(ruleToLine("0", "a"));
    const DialAnswer answer = callFromUser("2001", "0301");
    EXPECT_EQ(outcome(answer), "403");
    EXPECT_EQ(answer.missingTimeConditions, std::vector<uint32_t>{4});
    EXPECT_TRUE(hasStep(answer, "Time condition 4 does not exist"));
    EXPECT_TRUE(callFromUser("2001", "2002").missingTimeConditions.empty());
}

TEST_F(DialPlanSourceTest, LineIsAnalyzedWithItsDestinationInTheDefaultPlan)
{
    changeLine("a", [](Cdb_ext_line_info& record) { BclCopyStr(record.destination, "2002"); });
    const DialAnswer answer = callFromLine("a", "0304711");
    EXPECT_EQ(outcome(answer), "local user 2002");
    EXPECT_EQ(answer.dialPlan, "default");
    EXPECT_EQ(answer.called, "2002");
}

TEST_F(DialPlanSourceTest, LineWithoutDestinationIsAnalyzedWithTheNumberFromTheRequest)
{
    changeLine("a");
    CallRequest request;
    request.source = {SourceKind::Line, "a", 0};
    request.dialed = "2002";
    request.toUser = "2001";
    EXPECT_EQ(outcome(analyze(request)), "local user 2002");
    request.dialed = "a";
    EXPECT_EQ(outcome(analyze(request)), "local user 2001") << "the Request-URI is the registered contact";
    request.toUser.clear();
    EXPECT_EQ(outcome(analyze(request)), "404");
}

TEST_F(DialPlanSourceTest, LineAtItsLimitTakesNoCall)
{
    changeLine("a", [](Cdb_ext_line_info& record) { record.maxCalls = 1; });
    EXPECT_EQ(outcome(callFromLine("a", "2002")), "local user 2002");
    counts.lines["a"] = 1;
    EXPECT_EQ(outcome(callFromLine("a", "2002")), "486");
}

TEST_F(DialPlanSourceTest, PeerIsAnalyzedInItsIncomingPlan)
{
    changePeer(3, [](Cdb_peer_server& record) { BclCopyStr(record.dialPlan, "trunks"); });
    put(rule(".", kRtReject, "trunks"));
    const DialAnswer answer = callFromPeer(3, "2002");
    EXPECT_EQ(answer.dialPlan, "trunks");
    EXPECT_EQ(outcome(answer), "403");
}

TEST_F(DialPlanSourceTest, PeerAtItsLimitOfIncomingCallsGets503)
{
    changePeer(3, [](Cdb_peer_server& record) { record.maxInCalls = 2; });
    counts.peersReceived[3] = 1;
    EXPECT_EQ(outcome(callFromPeer(3, "2002")), "local user 2002");
    counts.peersReceived[3] = 2;
    EXPECT_EQ(outcome(callFromPeer(3, "2002")), "503");
}

TEST_F(DialPlanSourceTest, UnknownServerReachesLocalUsersAndServicesOnly)
{
    changeSystem([](Cdb_sys_data& record) { record.callFlags |= kSysAcceptUnknown | kSysTransit; });
    changeLine("a");
    changePeer(1);
    putRoute(1, "a");
    put(ruleToLine("0", "a"));
    put(ruleToPeer("9", 1));
    put(ruleToGroup("8", 1));
    Cdb_rg_detection ring;
    ring.groupID = 7;
    putAt(std::string("default") + kDbKeySeparator + "700", ring);
    EXPECT_EQ(outcome(callFromUnknown("2002")), "local user 2002");
    EXPECT_EQ(outcome(callFromUnknown("700")), "ring group 7");
    EXPECT_EQ(outcome(callFromUnknown("0301")), "403");
    EXPECT_EQ(outcome(callFromUnknown("9301")), "403");
    EXPECT_EQ(outcome(callFromUnknown("8301")), "403");
    changeSystem([](Cdb_sys_data& record) { record.defaultRoute = 1; });
    EXPECT_EQ(outcome(callFromUnknown("5555")), "403");
}

TEST_F(DialPlanSourceTest, UnknownServerIsRefusedUnlessItIsAccepted)
{
    EXPECT_EQ(outcome(callFromUnknown("2002")), "403");
}

TEST_F(DialPlanSourceTest, CallWithoutNumberIsRefused)
{
    put(rule("."));
    EXPECT_EQ(outcome(callFromUser("2001", "")), "484");
}

class DialPlanEmergencyTest : public DialPlanFixture {
protected:
    DialPlanEmergencyTest()
    {
        tables.setEmergencyNumbers("110, 112,,119");
        changeLine("a");
        put(ruleToLine("11", "a"));
    }
};

TEST_F(DialPlanEmergencyTest, PassesLimitsAndExpiry)
{
    changeUser("2001", [](Cdb_usr_info& record) {
        record.maxCalls = record.maxOutCalls = 1;
        record.expiryDate = 20200101;
    });
    counts.users["2001"] = counts.usersMade["2001"] = 9;
    const DialAnswer answer = callFromUser("2001", "112");
    EXPECT_EQ(outcome(answer), "line a");
    EXPECT_TRUE(answer.isEmergency);
    EXPECT_EQ(outcome(callFromUser("2001", "113")), "403");
}

TEST_F(DialPlanEmergencyTest, PassesLevels)
{
    auto guarded = ruleToLine("11", "a");
    guarded.level = 5;
    put(guarded);
    changeUser("2001", [](Cdb_usr_info& record) { record.levels = Cbcl_bit_set(); });
    EXPECT_EQ(outcome(callFromUser("2001", "112")), "line a");
    EXPECT_EQ(outcome(callFromUser("2001", "113")), "403");
}

TEST_F(DialPlanEmergencyTest, PassesTimeConditionsOfUserLineAndPeer)
{
    putTimeCondition(4, false);
    changeUser("2001", [](Cdb_usr_info& record) { record.timeCondId = 4; });
    changeLine("a", [](Cdb_ext_line_info& record) { record.timeCondId = 4; });
    changePeer(1, [](Cdb_peer_server& record) { record.timeCondId = 4; });
    EXPECT_EQ(outcome(callFromUser("2001", "112")), "line a");
    put(ruleToPeer("110", 1));
    EXPECT_EQ(outcome(callFromUser("2001", "110")), "trunk 1");
}

TEST_F(DialPlanEmergencyTest, PassesTheBlackList)
{
    putBlackItem(".", "11", 603);
    EXPECT_EQ(outcome(callFromUser("2001", "112")), "line a");
    EXPECT_EQ(outcome(callFromUser("2001", "113")), "603");
}

TEST_F(DialPlanEmergencyTest, FindsAFullLineAndTrunk)
{
    changeLine("a", [](Cdb_ext_line_info& record) { record.maxCalls = record.maxOutCalls = 1; });
    changePeer(1, [](Cdb_peer_server& record) { record.maxOutCalls = 1; });
    counts.lines["a"] = counts.linesMade["a"] = 1;
    counts.peersMade[1] = 1;
    const DialAnswer answer = callFromUser("2001", "112");
    EXPECT_EQ(outcome(answer), "line a");
    EXPECT_TRUE(answer.targets.at(0).isFull);
    counts.lines["a"] = counts.linesMade["a"] = 0;
    EXPECT_FALSE(callFromUser("2001", "112").targets.at(0).isFull);
    counts.linesMade["a"] = 1;
    EXPECT_EQ(outcome(callFromUser("2001", "113")), "503");
    put(ruleToPeer("110", 1));
    EXPECT_EQ(outcome(callFromUser("2001", "110")), "trunk 1");
}

TEST_F(DialPlanEmergencyTest, TakesAFreeLineBeforeAFullOne)
{
    put(ruleToLine("11", ""));
    changeLine("a", [](Cdb_ext_line_info& record) { record.maxCalls = 1; });
    changeLine("b", [](Cdb_ext_line_info& record) { record.maxCalls = 1; });
    counts.lines["a"] = 1;
    EXPECT_EQ(outcome(callFromUser("2001", "112")), "line b");
    counts.lines["b"] = 1;
    EXPECT_EQ(outcome(callFromUser("2001", "112")), "line a");
    EXPECT_EQ(outcome(callFromUser("2001", "113")), "503");
}

TEST_F(DialPlanEmergencyTest, UsesNoLineThatIsOff)
{
    counts.linesOff.insert("a");
    EXPECT_EQ(outcome(callFromUser("2001", "112")), "503");
}

TEST_F(DialPlanEmergencyTest, HasNoMaximumDuration)
{
    changeUser("2001", [](Cdb_usr_info& record) { record.maxDuration = 60; });
    changeLine("a", [](Cdb_ext_line_info& record) { record.maxDuration = 60; });
    auto limited = ruleToLine("11", "a");
    limited.maxDuration = 60;
    put(limited);
    EXPECT_EQ(callFromUser("2001", "112").maxDuration, 0U);
    EXPECT_EQ(callFromUser("2001", "113").maxDuration, 60U);
}

TEST_F(DialPlanEmergencyTest, IsNoServiceCode)
{
    changeSystem([](Cdb_sys_data& record) { record.servicePrefix = '1'; });
    EXPECT_EQ(outcome(callFromUser("2001", "112")), "line a");
    EXPECT_EQ(outcome(callFromUser("2001", "18")), "service code *8");
}

TEST_F(DialPlanEmergencyTest, NeedsARuleLikeAnyNumber)
{
    EXPECT_EQ(outcome(callFromUser("2001", "119")), "line a");
    put(rule("11", kRtReject));
    EXPECT_EQ(outcome(callFromUser("2001", "119")), "403");
}

TEST_F(DialPlanEmergencyTest, NumbersAreExact)
{
    EXPECT_TRUE(callFromUser("2001", "110").isEmergency);
    EXPECT_TRUE(callFromUser("2001", "119").isEmergency);
    for (const char* number : {"1120", "11", "0112", "112 ", " 112", "110,112", "113"})
        EXPECT_FALSE(callFromUser("2001", number).isEmergency) << number;
    tables.setEmergencyNumbers("");
    EXPECT_FALSE(callFromUser("2001", "110").isEmergency);
    EXPECT_FALSE(callFromUser("2001", "").isEmergency);
}

TEST_F(DialPlanEmergencyTest, IsForLocalUsersOnly)
{
    changeSystem([](Cdb_sys_data& record) { record.callFlags &= ~kSysTransit; });
    changePeer(3);
    const DialAnswer answer = callFromPeer(3, "112");
    EXPECT_FALSE(answer.isEmergency);
    EXPECT_EQ(outcome(answer), "403");
}

} // namespace
