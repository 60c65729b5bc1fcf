// The dial plan over a real store: rules are found under the keys that the store gives them.
#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"
#include "callserver/dialplan_fixture.h"
#include "dialplan/dial_plan.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace {

class DialPlanStoreTest : public testing::Test {
protected:
    DialPlanStoreTest() { addUser("2001"); }

    void addUser(const std::string& name)
    {
        Cdb_usr_info record;
        BclCopyStr(record.usrName, name.c_str());
        ASSERT_EQ(store.DbSetLocalUserData(record), kDbOk);
    }
    DialAnswer call(const std::string& dialed)
    {
        CallRequest request;
        request.source = {SourceKind::User, "2001", 0};
        request.caller = "2001";
        request.dialed = dialed;
        return analyzeCall(plan.now(), request, counts, BclGetCurrTimestamp());
    }

    static Cdb_options optionsOf(const TemporaryFolder& folder)
    {
        Cdb_options options;
        options.dataFolder = folder.path();
        return options;
    }

    TemporaryFolder folder;
    Cdb_fac_mgr store{optionsOf(folder)};
    DialPlan plan{store};
    FakeCallCounts counts;
};

TEST_F(DialPlanStoreTest, FollowsTheStore)
{
    EXPECT_EQ(call("2002").status, 404);
    addUser("2002");
    EXPECT_EQ(call("2002").status, 0);
    Cdb_nbr_cld_ana_data rule;
    BclCopyStr(rule.calledPrefix, "20");
    rule.routeType = kRtReject;
    ASSERT_EQ(store.DbNbrCldAnaSet(rule), kDbOk);
    EXPECT_NE(call("2002").status, 0);
    ASSERT_EQ(store.DbNbrCldAnaDel("default", "20"), kDbOk);
    EXPECT_EQ(call("2002").status, 0);
}

// Each table once, with the store's own keys: what is found shows in a step.
TEST_F(DialPlanStoreTest, FindsTheRulesOfEveryTable)
{
    Cdb_nbr_trans_data transition;
    transition.transid = 3;
    BclCopyStr(transition.digits, "8");
    ASSERT_EQ(store.DbNbrTransSet(transition), kDbOk);
    Cdb_nbr_clr_ana_data callerRule;
    BclCopyStr(callerRule.callerPrefix, "20");
    BclCopyStr(callerRule.dialPlan, "sales");
    ASSERT_EQ(store.DbNbrClrAnaSet(callerRule), kDbOk);
    Cdb_speed_dial_data speedDial;
    speedDial.callerNbr.SetNbr("2001");
    speedDial.dialedNbr.SetNbr("12");
    speedDial.destination.SetNbr("0301");
    ASSERT_EQ(store.DbAddSpeedDial(speedDial), kDbOk);
    Cdb_nbr_cld_ana_data rule;
    BclCopyStr(rule.dialPlan, "sales");
    BclCopyStr(rule.calledPrefix, "03");
    rule.routeType = kRtGroup;
    rule.rtGroupId = 5;
    rule.clrRefineGroup = 6;
    ASSERT_EQ(store.DbNbrCldAnaSet(rule), kDbOk);
    Cdb_nbr_clr_refine_data callerRefinement;
    callerRefinement.groupID = 6;
    callerRefinement.transId = 3;
    BclCopyStr(callerRefinement.callerPrefix, "2");
    ASSERT_EQ(store.DbNbrClrRefineSet(callerRefinement), kDbOk);
    Cdb_nbr_cld_refine calledRefinement;
    calledRefinement.groupID = 7;
    calledRefinement.transId = 3;
    ASSERT_EQ(store.DbRefineCalledNbrAdd(calledRefinement), kDbOk);
    Cdb_clr_rewriting_info rewriting;
    BclCopyStr(rewriting.callerNbr, "82001");
    BclCopyStr(rewriting.displayName, "Example Ltd");
    ASSERT_EQ(store.DbClrReWriteAdd(&rewriting), kDbOk);
    Cdb_time_cond condition;
    condition.ID = 9;
    condition.weekdays = 0x7f;
    ASSERT_EQ(store.DbTimeConditionAdd(condition), kDbOk);
    Cdb_ext_line_info line;
    BclCopyStr(line.extName, "a");
    line.timeCondId = 9;
    line.cldRefineGroup = 7;
    ASSERT_EQ(store.DbExtLineSet(line), kDbOk);
    ASSERT_EQ(store.DbPeerServerSet(4, Cdb_sip_domain_data()), kDbOk);
    Cdb_route_group group;
    group.groupID = 5;
    ASSERT_EQ(store.DbRouteGroupAdd(group), kDbOk);
    Cdb_route route;
    route.groupID = 5;
    route.routeType = kRouteTrunk;
    route.peerServerId = 4;
    ASSERT_EQ(store.DbRouteAdd(route), kDbOk);
    route = Cdb_route();
    route.groupID = 5;
    route.routeType = kRouteExtLine;
    route.extLine.SetNbr("a");
    ASSERT_EQ(store.DbRouteAdd(route), kDbOk);

    const DialAnswer answer = call("12");
    EXPECT_EQ(answer.dialPlan, "sales");
    EXPECT_EQ(answer.caller, "82001");
    EXPECT_EQ(answer.displayName, "Example Ltd");
    ASSERT_EQ(answer.targets.size(), 2U);
    EXPECT_EQ(answer.targets[0].name, "a");
    EXPECT_EQ(answer.targets[0].called, "80301");
    EXPECT_EQ(answer.targets[1].peerId, 4U);
    EXPECT_EQ(answer.targets[1].called, "0301");
    EXPECT_TRUE(answer.missingTimeConditions.empty());
}

TEST_F(DialPlanStoreTest, FindsServicesAndTheBlackList)
{
    Cdb_ivr_trigger_data ivr;
    ivr.calledNbr.SetNbr("600");
    BclCopyStr(ivr.fileName, "menu.xml");
    ASSERT_EQ(store.DbAddIVRTrigger(&ivr), kDbOk);
    Cdb_rg_detection ring;
    ring.groupID = 7;
    BclCopyStr(ring.dialPlan, "default");
    BclCopyStr(ring.cldNbr, "700");
    ASSERT_EQ(store.DbRGDetectionSet(ring), kDbOk);
    Cdb_hunting_group_detect_data hunting;
    hunting.groupID = 8;
    BclCopyStr(hunting.calledNbr, "8");
    ASSERT_EQ(store.DbHGAddDetect(hunting), kDbOk);
    Cdb_lua_trigger lua;
    lua.DP = kLuaNumberCollected;
    lua.calledNbr.SetNbr("9");
    lua.moduleName.SetNbr("night");
    ASSERT_EQ(store.DbLuaTriggerAdd(lua), kDbOk);
    Cdb_sys_black_item blackItem;
    blackItem.code = 603;
    BclCopyStr(blackItem.callerNbr, "20");
    BclCopyStr(blackItem.calledNbr, "99");
    ASSERT_EQ(store.DbSysBlackListAdd(&blackItem), kDbOk);

    EXPECT_EQ(DialPlanFixture::outcome(call("600")), "IVR file menu.xml");
    EXPECT_EQ(DialPlanFixture::outcome(call("700")), "ring group 7");
    EXPECT_EQ(DialPlanFixture::outcome(call("800")), "hunting group 8");
    EXPECT_EQ(DialPlanFixture::outcome(call("990")), "603");
    EXPECT_TRUE(DialPlanFixture::hasStep(call("910"), "Lua module night matches 910"));
}

TEST_F(DialPlanStoreTest, CallKeepsTheVersionsThatItBeganWith)
{
    addUser("2002");
    const DialPlanTables before = plan.now();
    ASSERT_EQ(store.DbDelUsrInfo("2002"), kDbOk);
    EXPECT_FALSE(plan.now().rows<Cdb_usr_info>().find("2002"));
    EXPECT_TRUE(before.rows<Cdb_usr_info>().find("2002"));
}

TEST_F(DialPlanStoreTest, TakesOverTheSwitchVariants)
{
    BclCopyStr(gVarCcfEmergencyNumbers, "112,919");
    gVarCcfLuaServiceMatchCld = 1;
    DialPlan other(store);
    EXPECT_TRUE(other.now().isEmergencyNumber("919"));
    EXPECT_TRUE(other.now().areLuaNumbersExact());
    gVarCcfEmergencyNumbers[0] = '\0';
    gVarCcfLuaServiceMatchCld = 0;
    DialPlan next(store);
    EXPECT_FALSE(next.now().isEmergencyNumber("919"));
    EXPECT_FALSE(next.now().areLuaNumbersExact());
}

} // namespace
