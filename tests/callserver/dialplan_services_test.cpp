// Service codes, speed dial, detection, black list and Lua triggers.
#include "callserver/dialplan_fixture.h"
#include "dialplan/service_codes.h"

namespace {

class DialPlanServicesTest : public DialPlanFixture {
protected:
    void putIvr(const std::string& plan, const std::string& called, const std::string& file)
    {
        Cdb_ivr_trigger_data record;
        BclCopyStr(record.fileName, file.c_str());
        putAt(plan + kDbKeySeparator + called, record);
    }
    void putRing(const std::string& plan, const std::string& called, uint32_t group)
    {
        Cdb_rg_detection record;
        record.groupID = group;
        putAt(plan + kDbKeySeparator + called, record);
    }
    void putHunting(const std::string& plan, const std::string& prefix, uint32_t group)
    {
        Cdb_hunting_group_detect_data record;
        record.groupID = group;
        BclCopyStr(record.calledNbr, prefix.c_str());
        putAt(plan + kDbKeySeparator + prefix, record);
    }
    void putLua(Elua_point point, const std::string& called, const std::string& module)
    {
        Cdb_lua_trigger record;
        record.moduleName.SetNbr(module.c_str());
        putAt(std::to_string(point) + kDbKeySeparator + "default" + kDbKeySeparator + called, record);
    }
};

TEST_F(DialPlanServicesTest, ServiceCodesAreNotRouted)
{
    put(rule("*"));
    for (const char* code : {"*8", "*73", "*78", "*79", "*97"}) {
        const DialAnswer answer = callFromUser("2001", code);
        EXPECT_EQ(outcome(answer), std::string("service code ") + code);
        EXPECT_EQ(answer.targets.at(0).called, "");
    }
}

TEST_F(DialPlanServicesTest, ForwardCodeCarriesItsNumber)
{
    const DialAnswer answer = callFromUser("2001", "*722002");
    EXPECT_EQ(outcome(answer), "service code *72");
    EXPECT_EQ(answer.targets.at(0).called, "2002");
    EXPECT_EQ(answer.targets.at(0).caller, "2001");
    EXPECT_EQ(callFromUser("2001", "*72*8").targets.at(0).called, "*8");
    EXPECT_EQ(outcome(callFromUser("2001", "*72")), "484");
}

TEST_F(DialPlanServicesTest, OtherNumbersWithTheCharacterAreNoCodes)
{
    for (const char* dialed : {"*", "*1", "*80", "*731", "*7", "**8", "*970"})
        EXPECT_EQ(outcome(callFromUser("2001", dialed)), "404") << dialed;
}

TEST_F(DialPlanServicesTest, CharacterOfServiceCodesIsASetting)
{
    changeSystem([](Cdb_sys_data& record) { record.servicePrefix = '#'; });
    EXPECT_EQ(outcome(callFromUser("2001", "#8")), "service code *8");
    put(user("*8"));
    EXPECT_EQ(outcome(callFromUser("2001", "*8")), "local user *8");
    changeSystem([](Cdb_sys_data& record) { record.servicePrefix = '\0'; });
    EXPECT_EQ(outcome(callFromUser("2001", "#8")), "404");
    EXPECT_FALSE(serviceCodeOf('\0', std::string_view("\0"
                                                      "8",
                                                      2)));
}

TEST_F(DialPlanServicesTest, ServiceCodesAreForLocalUsers)
{
    changePeer(1);
    put(user("*8"));
    EXPECT_EQ(outcome(callFromPeer(1, "*8")), "local user *8");
}

TEST_F(DialPlanServicesTest, SpeedDialIsExactInCallerAndNumber)
{
    putSpeedDial("2001", "12", "2002");
    EXPECT_EQ(outcome(callFromUser("2001", "12")), "local user 2002");
    EXPECT_EQ(outcome(callFromUser("2001", "123")), "404");
    EXPECT_EQ(outcome(callFromUser("2001", "1")), "404");
    EXPECT_EQ(outcome(callFromUser("2002", "12")), "404");
    EXPECT_TRUE(hasStep(callFromUser("2001", "12"), "Speed dial: 12 of 2001 is 2002."));
}

TEST_F(DialPlanServicesTest, OwnSpeedDialGoesBeforeThatOfEveryCaller)
{
    put(user("2003"));
    putSpeedDial(".", "12", "2002");
    putSpeedDial("2001", "12", "2003");
    EXPECT_EQ(outcome(callFromUser("2001", "12")), "local user 2003");
    EXPECT_EQ(outcome(callFromUser("2003", "12")), "local user 2002");
}

TEST_F(DialPlanServicesTest, SpeedDialIsForLocalUsers)
{
    changePeer(1);
    putSpeedDial(".", "12", "2002");
    EXPECT_EQ(outcome(callFromPeer(1, "12")), "404");
}

TEST_F(DialPlanServicesTest, SpeedDialIsNotExpandedTwiceAndIsNoServiceCode)
{
    putSpeedDial(".", "1", "2");
    putSpeedDial(".", "2", "2002");
    put(user("*8"));
    putSpeedDial(".", "3", "*8");
    EXPECT_EQ(outcome(callFromUser("2001", "1")), "404");
    EXPECT_EQ(outcome(callFromUser("2001", "3")), "local user *8");
}

TEST_F(DialPlanServicesTest, SpeedDialGoesBeforeTheBlackList)
{
    putSpeedDial(".", "12", "2002");
    putBlackItem("", "2002", 480);
    EXPECT_EQ(outcome(callFromUser("2001", "12")), "480");
}

TEST_F(DialPlanServicesTest, DetectionIsOnPlanAndNumber)
{
    putIvr("default", "600", "menu.xml");
    putRing("default", "700", 7);
    putHunting("default", "80", 8);
    EXPECT_EQ(outcome(callFromUser("2001", "600")), "IVR file menu.xml");
    EXPECT_EQ(outcome(callFromUser("2001", "700")), "ring group 7");
    EXPECT_EQ(outcome(callFromUser("2001", "80")), "hunting group 8");
    EXPECT_EQ(outcome(callFromUser("2001", "801")), "hunting group 8");
    EXPECT_EQ(outcome(callFromUser("2001", "6001")), "404") << "IVR triggers are exact";
    EXPECT_EQ(outcome(callFromUser("2001", "7001")), "404") << "ring groups are exact";
    changeUser("2001", [](Cdb_usr_info& record) { BclCopyStr(record.dialPlan, "sales"); });
    for (const char* number : {"600", "700", "80"})
        EXPECT_EQ(outcome(callFromUser("2001", number)), "404") << number;
}

TEST_F(DialPlanServicesTest, DetectionHasAnOrder)
{
    putHunting("default", "600", 8);
    EXPECT_EQ(outcome(callFromUser("2001", "600")), "hunting group 8");
    putRing("default", "600", 7);
    EXPECT_EQ(outcome(callFromUser("2001", "600")), "ring group 7");
    putIvr("default", "600", "menu.xml");
    EXPECT_EQ(outcome(callFromUser("2001", "600")), "IVR file menu.xml");
}

TEST_F(DialPlanServicesTest, LongestPrefixFindsTheHuntingGroup)
{
    putHunting("default", ".", 1);
    putHunting("default", "8", 2);
    putHunting("default", "80", 3);
    EXPECT_EQ(outcome(callFromUser("2001", "801")), "hunting group 3");
    EXPECT_EQ(outcome(callFromUser("2001", "81")), "hunting group 2");
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "hunting group 1");
}

TEST_F(DialPlanServicesTest, DetectionGoesBeforeTheCalledNumberAnalysis)
{
    put(rule("7", kRtReject));
    putRing("default", "700", 7);
    EXPECT_EQ(outcome(callFromUser("2001", "700")), "ring group 7");
}

TEST_F(DialPlanServicesTest, AutoAttendantAnswersTheCallsOfItsLine)
{
    changeLine("a", [](Cdb_ext_line_info& record) { record.flags |= kLineAutoAttendant; });
    EXPECT_EQ(outcome(callFromLine("a", "2002")), "IVR file auto_attendant.xml");
    EXPECT_EQ(outcome(callFromLine("a", "")), "IVR file auto_attendant.xml");
    putBlackItem("030123", "", 603);
    EXPECT_EQ(outcome(callFromLine("a", "2002")), "603");
}

TEST_F(DialPlanServicesTest, BlackListNeedsBothPrefixes)
{
    putBlackItem("2001", "2002", 480);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "480");
    EXPECT_EQ(outcome(callFromUser("2002", "2001")), "local user 2001");
    EXPECT_EQ(outcome(callFromUser("2001", "2001")), "local user 2001");
    putBlackItem("", "2001", 481);
    putBlackItem("3", ".", 482);
    EXPECT_EQ(outcome(callFromUser("2002", "2001")), "481");
    changePeer(1);
    EXPECT_EQ(outcome(callFromPeer(1, "2002", "300")), "482");
    EXPECT_EQ(outcome(callFromPeer(1, "2002", "")), "local user 2002");
}

TEST_F(DialPlanServicesTest, MostSpecificRowOfTheBlackListGivesTheCode)
{
    putBlackItem("", "2002", 601);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "601");
    putBlackItem(".", "20", 602);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "601") << "of those for every caller, the longer called prefix";
    putBlackItem("2", ".", 603);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "603") << "the caller's prefix counts first";
    putBlackItem("20", "20", 604);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "604");
    putBlackItem("20", "200", 605);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "605");
}

TEST_F(DialPlanServicesTest, BlackListCodeZeroIs403)
{
    putBlackItem("2001", "", 0);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "403");
    putBlackItem("2001", "", 200);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "403") << "no refusal may be taken for an answer";
    putBlackItem("2001", "", 700);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "403");
}

TEST_F(DialPlanServicesTest, BlackListTakesNumbersOfAnyLength)
{
    const std::string longest(32, '9');
    putBlackItem(longest, longest, 604);
    changePeer(1);
    EXPECT_EQ(outcome(callFromPeer(1, std::string(500, '9'), std::string(500, '9'))), "604");
    EXPECT_EQ(outcome(callFromPeer(1, std::string(31, '9'), longest)), "404");
}

TEST_F(DialPlanServicesTest, BlackListSeesTheAnalyzedCaller)
{
    putTransition(1, kTransAdd, 0, 0, "0049");
    putCallerRule("20", "", 1);
    putBlackItem("0049", "", 603);
    EXPECT_EQ(outcome(callFromUser("2001", "2002")), "603");
}

TEST_F(DialPlanServicesTest, LuaTriggersAreToldAndLeaveTheCall)
{
    putLua(kLuaNumberCollected, "2", "collected");
    putLua(kLuaNumberAnalyzed, "2002", "analyzed");
    const DialAnswer answer = callFromUser("2001", "2002");
    EXPECT_EQ(outcome(answer), "local user 2002");
    EXPECT_TRUE(hasStep(answer, "Lua module collected matches 2002"));
    EXPECT_TRUE(hasStep(answer, "Lua module analyzed matches 2002"));
    EXPECT_FALSE(hasStep(callFromUser("2002", "3001"), "Lua module"));
}

TEST_F(DialPlanServicesTest, LuaNumbersMayBeExact)
{
    putLua(kLuaNumberCollected, "2", "collected");
    tables.setLuaNumbersExact(true);
    EXPECT_FALSE(hasStep(callFromUser("2001", "2002"), "Lua module"));
    putLua(kLuaNumberCollected, "2002", "exact");
    EXPECT_TRUE(hasStep(callFromUser("2001", "2002"), "Lua module exact matches 2002"));
}

} // namespace
