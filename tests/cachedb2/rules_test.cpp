// Rules that only one record has.
#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"

#include <cstring>
#include <thread>

class StoreRules : public StoreFixture {
protected:
    StoreRules() { open(); }

    static Cdb_route route(unsigned groupID, const char* line)
    {
        Cdb_route record;
        record.groupID = groupID;
        record.routeType = 1;
        record.extLine.SetNbr(line);
        return record;
    }

    static Cdb_route_group routeGroup(unsigned groupID)
    {
        Cdb_route_group record;
        record.groupID = groupID;
        return record;
    }
};

TEST_F(StoreRules, RouteGroupTakesItsRoutesWithIt)
{
    for (const unsigned groupID : {1u, 2u}) {
        ASSERT_EQ(kDbOk, store().DbRouteGroupAdd(routeGroup(groupID)));
        ASSERT_EQ(kDbOk, store().DbRouteAdd(route(groupID, "a")));
        ASSERT_EQ(kDbOk, store().DbRouteAdd(route(groupID, "b")));
    }
    std::vector<Edb_table> heard;
    store().addListener([&heard](const Cdb_change& change) {
        EXPECT_TRUE(change.isRemoval);
        heard.push_back(change.table);
    });
    EXPECT_EQ(kDbOk, store().DbRouteGroupDelete(1));
    EXPECT_EQ((std::vector<Edb_table>{Edb_table::Routes, Edb_table::Routes, Edb_table::RouteGroups}), heard);
    for (int start = 0; start < 2; ++start) {
        EXPECT_EQ(1u, store().rows<Cdb_route_group>().get()->size());
        EXPECT_EQ(2u, store().rows<Cdb_route>().get()->size());
        store().rows<Cdb_route>().get()->forEach(
            [](const std::string&, const Cdb_route& kept) { EXPECT_EQ(2u, kept.groupID); });
        open();
    }
}

TEST_F(StoreRules, RoutesOfAMissingGroupStayWhenItsRemovalFails)
{
    ASSERT_EQ(kDbOk, store().DbRouteAdd(route(9, "a"))); // a reference to nothing is allowed
    EXPECT_EQ(kDbFailed, store().DbRouteGroupDelete(9));
    EXPECT_EQ(1u, store().rows<Cdb_route>().get()->size());
    open();
    EXPECT_EQ(1u, store().rows<Cdb_route>().get()->size());
}

TEST_F(StoreRules, KeysThatAreTooLongNameNothing)
{
    const std::string key(32, '1');
    const std::string longer = key + "1";
    Cdb_nbr_clr_ana_data caller;
    BclCopyStr(caller.callerPrefix, key.c_str());
    ASSERT_EQ(kDbOk, store().DbNbrClrAnaSet(caller));
    EXPECT_EQ(0u, store().DbNbrClrAnaHas(longer.c_str()));
    EXPECT_EQ(kDbFailed, store().DbNbrClrAnaDel(longer.c_str()));
    EXPECT_EQ(kDbFailed, store().DbNbrClrAnaDel(nullptr));
    EXPECT_EQ(kDbHas, store().DbNbrClrAnaHas(key.c_str()));

    Cdb_hunting_group_operator_data record;
    record.operatorNbr.SetNbr(key.c_str());
    ASSERT_EQ(kDbOk, store().DbAddHGOperator(record));
    EXPECT_EQ(0u, store().DbHasOperator(longer.c_str()));
    EXPECT_EQ(kDbFailed, store().DbRemoveHGOperator(longer.c_str()));
    EXPECT_EQ(kDbHas, store().DbHasOperator(key.c_str()));
}

TEST_F(StoreRules, NullRecordsAreRefused)
{
    EXPECT_EQ(kDbFailed, store().DbAddIVRTrigger(nullptr));
    EXPECT_EQ(kDbFailed, store().DbUpdateIVRTrigger(nullptr));
    EXPECT_EQ(kDbFailed, store().DbGetIVRTrigger(nullptr));
    EXPECT_EQ(kDbFailed, store().DbDelIVRTrigger(nullptr));
    EXPECT_EQ(kDbFailed, store().DbCallShopAdd(nullptr));
    EXPECT_EQ(kDbFailed, store().DbClrReWriteGet(nullptr));
    EXPECT_EQ(kDbFailed, store().DbSysBlackListDel(nullptr));
    EXPECT_EQ(kDbFailed, store().DbCallbackGet(nullptr));
    EXPECT_EQ(kDbFailed, store().DbCallbackSet(nullptr));
}

TEST_F(StoreRules, PartsOfAKeyDoNotRunIntoEachOther)
{
    Cdb_speed_dial_data record;
    record.callerNbr.SetNbr("12");
    record.dialedNbr.SetNbr("3");
    ASSERT_EQ(kDbOk, store().DbAddSpeedDial(record));
    record.callerNbr.SetNbr("1");
    record.dialedNbr.SetNbr("23");
    ASSERT_EQ(kDbOk, store().DbAddSpeedDial(record));
    EXPECT_EQ(2u, store().DbGetSpeedDialCnt());
    open();
    EXPECT_EQ(2u, store().DbGetSpeedDialCnt());
}

TEST_F(StoreRules, CalledAnalysisIsReadInTheOrderOfItsIndex)
{
    // The page sorts by dial plan and prefix: without the index every page would sort the whole table.
    const std::string plan = sql(path("config.db"), "explain query plan select * from tbl_nbr_cld_ana where "
                                                    "serviceType=0 order by dialPlan, calledPrefix limit 0, 50");
    EXPECT_NE(std::string::npos, plan.find("USING INDEX")) << plan;
}

TEST_F(StoreRules, BlackListNeedsOnePrefixAndARefusal)
{
    Cdb_sys_black_item item;
    EXPECT_FALSE(item.IsValid());
    EXPECT_EQ(kDbFailed, store().DbSysBlackListAdd(&item));
    BclCopyStr(item.calledNbr, "00");
    for (const int code : {0, 400, 699}) {
        item.code = code;
        EXPECT_TRUE(item.IsValid()) << code;
    }
    EXPECT_EQ(kDbOk, store().DbSysBlackListAdd(&item));
    for (const int code : {-1, 1, 200, 399, 700}) {
        item.code = code;
        EXPECT_FALSE(item.IsValid()) << code;
        EXPECT_EQ(kDbFailed, store().DbSysBlackListUpdate(&item));
    }
}

TEST_F(StoreRules, HuntingGroupsAreNumberedFromOneToAHundred)
{
    for (const unsigned groupID : {0u, 101u, 4294967295u}) {
        Cdb_hunting_group_cfg_data group;
        group.groupID = groupID;
        EXPECT_FALSE(group.IsUsed());
        EXPECT_EQ(kDbFailed, store().DbAddHuntingGroup(group));
    }
    for (const unsigned groupID : {1u, 100u}) {
        Cdb_hunting_group_cfg_data group;
        group.groupID = groupID;
        EXPECT_TRUE(group.IsUsed());
        EXPECT_EQ(1, group.strategy);
        EXPECT_EQ(20u, group.operatorTime);
        EXPECT_EQ(kDbOk, store().DbAddHuntingGroup(group));
    }
    EXPECT_EQ(2u, store().DbGetHGGrouptCnt());
}

TEST_F(StoreRules, HuntingGroupsArePrintedWithWhatTheServerSays)
{
    Cdb_hunting_group_cfg_data group;
    group.groupID = 7;
    BclCopyStr(group.name, "Sales");
    ASSERT_EQ(kDbOk, store().DbAddHuntingGroup(group));
    Cdb_hunting_group_operator_data record;
    record.groupID = 7;
    record.operatorNbr.SetNbr("1000");
    ASSERT_EQ(kDbOk, store().DbAddHGOperator(record));
    const auto printed = [this] {
        (void)takeLog();
        store().DbHGPrintAll();
        std::string all;
        for (const std::string& logged : takeLog())
            all += logged + "\n";
        return all;
    };
    EXPECT_NE(std::string::npos, printed().find("Sales"));
    EXPECT_NE(std::string::npos, printed().find("1000"));
    store().setOperatorState([](unsigned groupID, std::string_view number) {
        return "busy in " + std::to_string(groupID) + " as " + std::string(number);
    });
    EXPECT_NE(std::string::npos, printed().find("operator 1000: busy in 7 as 1000"));
}

TEST_F(StoreRules, TransitionsAreValidWithinTheirRanges)
{
    Cdb_nbr_trans_data good;
    good.transid = 1;
    EXPECT_TRUE(good.IsValid());
    const auto isValid = [&good](uint32_t Cdb_nbr_trans_data::*field, uint32_t value) {
        Cdb_nbr_trans_data changed = good;
        changed.*field = value;
        EXPECT_NE(0u, changed.Comp(&good));
        return changed.IsValid();
    };
    EXPECT_FALSE(isValid(&Cdb_nbr_trans_data::transid, 0));
    EXPECT_FALSE(isValid(&Cdb_nbr_trans_data::type, 0));
    EXPECT_TRUE(isValid(&Cdb_nbr_trans_data::type, 3));
    EXPECT_FALSE(isValid(&Cdb_nbr_trans_data::type, 4));
    EXPECT_TRUE(isValid(&Cdb_nbr_trans_data::startPos, 31));
    EXPECT_FALSE(isValid(&Cdb_nbr_trans_data::startPos, 32));
    EXPECT_TRUE(isValid(&Cdb_nbr_trans_data::length, 32));
    EXPECT_FALSE(isValid(&Cdb_nbr_trans_data::length, 33));
    EXPECT_EQ(0u, good.Comp(&good));
    EXPECT_NE(0u, good.Comp(nullptr));
}

TEST_F(StoreRules, TransitionsAreShownByTheirType)
{
    Cdb_nbr_trans_data rule;
    rule.transid = 12;
    rule.startPos = 2;
    rule.length = 3;
    BclCopyStr(rule.digits, "0049%s");
    Cbcl_tmp_str text;
    rule.type = 1;
    rule.ToString(text);
    EXPECT_EQ("12: +0049%s", text.view());
    rule.type = 2;
    rule.ToString(text);
    EXPECT_EQ("12: [2,3]=0049%s", text.view());
    rule.type = 3;
    rule.ToString(text);
    EXPECT_EQ("12: -[2,3]", text.view());
}

TEST_F(StoreRules, VersionedResetsTouchTheDialPlanOnly)
{
    Cdb_nbr_cld_ana_data called;
    std::memset(static_cast<void*>(&called), 'x', sizeof called);
    Cdb_nbr_cld_ana_data expected = called;
    called.InitV6();
    EXPECT_STREQ("default", called.dialPlan);
    std::memcpy(expected.dialPlan, called.dialPlan, sizeof expected.dialPlan);
    EXPECT_EQ(0, std::memcmp(&expected, &called, sizeof called));

    Cdb_nbr_clr_ana_data caller;
    std::memset(static_cast<void*>(&caller), 'x', sizeof caller);
    Cdb_nbr_clr_ana_data kept = caller;
    caller.InitV1();
    EXPECT_STREQ("", caller.dialPlan);
    std::memcpy(kept.dialPlan, caller.dialPlan, sizeof kept.dialPlan);
    EXPECT_EQ(0, std::memcmp(&kept, &caller, sizeof caller));
}

TEST_F(StoreRules, PeersResetToTheirDefaultsAndCompare)
{
    Cdb_sip_domain_data peer;
    const Cdb_sip_domain_data fresh;
    EXPECT_EQ(5060, peer.peerPort);
    EXPECT_EQ(30, peer.maxOutCalls);
    EXPECT_EQ(30, peer.maxInCalls);
    EXPECT_STREQ("default", peer.dialPlan);
    EXPECT_EQ(0u, peer.Comp(fresh));
    peer.flags = kPeerRelayMedia;
    EXPECT_NE(0u, peer.Comp(fresh));
}

TEST_F(StoreRules, RingDetectionIsKeyedByItsIndex)
{
    Cdb_rg_detection_index index;
    EXPECT_FALSE(index.isValid());
    BclCopyStr(index.cldNbr, "600");
    EXPECT_TRUE(index.isValid());
    EXPECT_STREQ("default", index.dialPlan);
    Cdb_rg_detection record;
    BclCopyStr(record.cldNbr, "600");
    EXPECT_EQ(0, std::memcmp(&index, &static_cast<const Cdb_rg_detection_index&>(record.index()), sizeof index));
}

TEST_F(StoreRules, CallbackHasOneRecord)
{
    Cdb_cb_serv_data record;
    EXPECT_EQ(5, record.delay);
    EXPECT_EQ(kDbFailed, store().DbCallbackGet(&record));
    record.id = 9;
    record.delay = -1;
    ASSERT_EQ(kDbOk, store().DbCallbackSet(&record));
    record.delay = 60;
    ASSERT_EQ(kDbOk, store().DbCallbackSet(&record));
    EXPECT_EQ(1u, store().rows<Cdb_cb_serv_data>().get()->size());
    Cdb_cb_serv_data read;
    ASSERT_EQ(kDbOk, store().DbCallbackGet(&read));
    EXPECT_EQ(60, read.delay);
}

TEST_F(StoreRules, AnnouncementLanguageAndVoiceMailModeAreKept)
{
    EXPECT_EQ(0u, store().DbGetSrfAnnLang());
    EXPECT_EQ(0u, store().DbGetVmsMode());
    ASSERT_EQ(kDbOk, store().DbSetSrfAnnLang(1));
    ASSERT_EQ(kDbOk, store().DbSetVmsMode(2));
    ASSERT_EQ(kDbOk, store().DbSetSrfAnnLang(1));
    open();
    EXPECT_EQ(1u, store().DbGetSrfAnnLang());
    EXPECT_EQ(2u, store().DbGetVmsMode());
}

TEST_F(StoreRules, SmtpServerIsThatOfTheSystemSettings)
{
    EXPECT_STREQ("", store().DbGetSmtpServer());
    BclCopyStr(store().DbGetSysTbl()->smtpAddr, "mail.example.net:25");
    store().DbGetSysTbl()->SetModified();
    ASSERT_EQ(kDbOk, store().DbGetSysTbl()->SaveDB());
    open();
    EXPECT_STREQ("mail.example.net:25", store().DbGetSmtpServer());
}

TEST_F(StoreRules, DialPlansComeFromEveryRecordThatNamesOne)
{
    std::list<std::string> names = {"left over"};
    store().DbInitDialPlanView(names);
    EXPECT_EQ(std::list<std::string>{"default"}, names);

    Cdb_usr_info named = user("1000");
    BclCopyStr(named.dialPlan, "h user");
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(named));
    named = user("1001");
    BclCopyStr(named.dialPlan, " ");
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(named));
    Cdb_sip_domain_data peer;
    BclCopyStr(peer.dialPlan, "g peer");
    ASSERT_EQ(kDbOk, store().DbPeerServerSet(1, peer));
    Cdb_nbr_clr_ana_data caller;
    BclCopyStr(caller.callerPrefix, "1");
    BclCopyStr(caller.dialPlan, "f caller");
    ASSERT_EQ(kDbOk, store().DbNbrClrAnaSet(caller));
    Cdb_nbr_cld_ana_data called;
    BclCopyStr(called.calledPrefix, "1");
    BclCopyStr(called.dialPlan, "e called");
    ASSERT_EQ(kDbOk, store().DbNbrCldAnaSet(called));
    Cdb_hunting_group_detect_data hunting;
    BclCopyStr(hunting.calledNbr, "1");
    BclCopyStr(hunting.dialPlan, "d hunting");
    ASSERT_EQ(kDbOk, store().DbHGAddDetect(hunting));
    Cdb_rg_detection ring;
    ring.groupID = 1;
    BclCopyStr(ring.cldNbr, "1");
    BclCopyStr(ring.dialPlan, "c ring");
    ASSERT_EQ(kDbOk, store().DbRGDetectionSet(ring));
    Cdb_ivr_trigger_data ivr;
    ivr.calledNbr.SetNbr("1");
    ivr.dialPlan.SetNbr("b ivr");
    ASSERT_EQ(kDbOk, store().DbAddIVRTrigger(&ivr));
    Cdb_lua_trigger lua;
    lua.calledNbr.SetNbr("1");
    lua.dialPlan.SetNbr("a lua");
    ASSERT_EQ(kDbOk, store().DbLuaTriggerAdd(lua));
    lua.calledNbr.SetNbr("2"); // names it a second time
    ASSERT_EQ(kDbOk, store().DbLuaTriggerAdd(lua));
    store().DbInitDialPlanView(names);
    EXPECT_EQ((std::list<std::string>{"default", "a lua", "b ivr", "c ring", "d hunting", "e called", "f caller",
                                      "g peer", "h user"}),
              names);
}

TEST_F(StoreRules, CalledRefinementAndOneSideOfTheBlackListMayBeEmpty)
{
    Cdb_nbr_cld_refine refine;
    refine.groupID = 1;
    EXPECT_EQ(kDbOk, store().DbRefineCalledNbrAdd(refine));
    EXPECT_EQ(kDbOk, store().DbRefineCalledNbrGet(refine));
    EXPECT_EQ(kDbOk, store().DbRefineCalledNbrDelete(1, ""));
    Cdb_sys_black_item caller;
    BclCopyStr(caller.callerNbr, "1");
    EXPECT_EQ(kDbOk, store().DbSysBlackListAdd(&caller));
    Cdb_sys_black_item called;
    BclCopyStr(called.calledNbr, "1");
    EXPECT_EQ(kDbOk, store().DbSysBlackListAdd(&called));
    Cdb_nbr_clr_refine_data empty;
    empty.groupID = 1;
    EXPECT_EQ(kDbFailed, store().DbNbrClrRefineSet(empty));
}

TEST_F(StoreRules, RoutesAreKeptInTheOrderInWhichTheyWereAdded)
{
    for (const char* line : {"m", "z", "a", "k"})
        ASSERT_EQ(kDbOk, store().DbRouteAdd(route(1, line)));
    ASSERT_EQ(kDbOk, store().DbRouteDel(route(1, "z")));
    ASSERT_EQ(kDbOk, store().DbRouteAdd(route(1, "z")));
    for (int start = 0; start < 2; ++start) {
        std::string lines;
        for (const auto& kept : store().rows<Cdb_route>().get()->inOrder())
            lines += kept->extLine.view();
        EXPECT_EQ("makz", lines);
        // And so does the page show them.
        Cdb_query page(store().GetCacheDB());
        ASSERT_EQ(kDbOk, page.prepare("select * from tbl_route order by groupID, routeType limit 0, 50"));
        lines.clear();
        while (page.step() == kDbRow)
            lines += page.getRow(2);
        EXPECT_EQ("makz", lines);
        open();
    }
}

TEST_F(StoreRules, SettingsChangedAtTheSameTimeAreBothKept)
{
    for (unsigned round = 1; round <= 20; ++round) {
        std::thread mode([&] { EXPECT_EQ(kDbOk, store().DbSetVmsMode(round)); });
        EXPECT_EQ(kDbOk, store().DbSetSrfAnnLang(round));
        mode.join();
        ASSERT_EQ(round, store().DbGetVmsMode());
        ASSERT_EQ(round, store().DbGetSrfAnnLang());
    }
}

TEST_F(StoreRules, RoutesAndDetectionsWithoutATargetAreRefused)
{
    Cdb_route record = route(1, " ");
    EXPECT_EQ(kDbFailed, store().DbRouteAdd(record)); // no line
    record.routeType = 2;
    EXPECT_EQ(kDbFailed, store().DbRouteAdd(record)); // no peer
    record.peerServerId = 4;
    record.routeType = 7;
    EXPECT_EQ(kDbFailed, store().DbRouteAdd(record)); // no type
    record.routeType = 2;
    EXPECT_EQ(kDbOk, store().DbRouteAdd(record));

    Cdb_rg_detection detection;
    BclCopyStr(detection.cldNbr, "100");
    EXPECT_EQ(kDbFailed, store().DbRGDetectionSet(detection));
    detection.groupID = 1;
    EXPECT_EQ(kDbOk, store().DbRGDetectionSet(detection));
}

TEST_F(StoreRules, OneUserMayBeInSeveralRingGroups)
{
    Cdb_rg_user member;
    BclCopyStr(member.user, "1000");
    for (const unsigned groupID : {1u, 2u, 3u}) {
        member.groupID = groupID;
        ASSERT_EQ(kDbOk, store().DbRGUserAdd(member));
    }
    member.groupID = 2;
    EXPECT_EQ(kDbOk, store().DbRGUserDel(member));
    open();
    for (const auto& [groupID, has] : {std::pair{1u, kDbHas}, {2u, 0u}, {3u, kDbHas}}) {
        member.groupID = groupID;
        EXPECT_EQ(has, store().DbRGUserHas(member)) << groupID;
    }
}
