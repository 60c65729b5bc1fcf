// Nothing that is not authenticated leaves the house: each way in that strangers and users without the right try.
#include "callserver/toll_fraud_fixture.h"

namespace {

TEST_F(TollFraudTest, AUserWithHisPasswordMayCallOut)
{
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001")), "leaves");
    EXPECT_EQ(outcome(authenticated(phone("2001"), kTrunk, "2001")), "leaves");
    EXPECT_EQ(outcome(authenticated(at("2001"), kOutside, "2001")), "leaves") << "from wherever he is";
    EXPECT_EQ(outcome(authenticated(phone("2001"), "2002", "2001")), "rings");
}

TEST_F(TollFraudTest, NobodyCallsWithoutCredentials)
{
    for (const char* dialed : {kOutside, kTrunk, kFree, kEmergency, "2002"}) {
        EXPECT_EQ(outcome(phone("2001"), dialed), "407") << dialed;
        EXPECT_EQ(outcome(at("2001"), dialed), "407") << dialed;
        EXPECT_EQ(outcome(at("nobody"), dialed), "407") << dialed;
        EXPECT_EQ(outcome(at(""), dialed), "407") << dialed;
        EXPECT_EQ(outcome(at("anonymous"), dialed), "407") << dialed;
    }
    EXPECT_TRUE(transport.sent.empty());
    EXPECT_TRUE(records.empty());
}

TEST_F(TollFraudTest, WithoutAuthenticationOnlyARegisteredTelephoneIsBelieved)
{
    setFlags(0);
    EXPECT_EQ(outcome(phone("2001"), kOutside), "leaves");
    for (const char* dialed : {kOutside, kTrunk, kFree, kEmergency}) {
        EXPECT_EQ(outcome(at("2001"), dialed), "407") << dialed;
        EXPECT_EQ(outcome(at("2001", "192.0.2.1", 5061), dialed), "407") << dialed;
        EXPECT_EQ(outcome(at("2001", "192.0.2.2"), dialed), "407") << "the telephone of another user: " << dialed;
        FakePhone other = phone("2001");
        other.source.transport = kTransportTcp;
        EXPECT_EQ(outcome(other, dialed), "407") << dialed;
    }
}

class TollFraudUnknownTest : public TollFraudTest {
protected:
    TollFraudUnknownTest() { setFlags(kSysAuthCalls | kSysAcceptUnknown); }
};

TEST_F(TollFraudUnknownTest, WhoIsUnknownReachesTheHouseOnly)
{
    EXPECT_EQ(outcome(at("nobody"), "2002"), "rings");
    for (const char* dialed : {kOutside, kTrunk, kFree, kEmergency})
        for (const char* from : {"nobody", "", "anonymous", "city", "198.51.100.201", "1"})
            EXPECT_EQ(outcome(at(from), dialed), "403") << from << " to " << dialed;
    setFlags(kSysAuthCalls | kSysAcceptUnknown | kSysTransit);
    EXPECT_EQ(outcome(at("nobody"), kOutside), "403") << "transit is for lines and peers";
    expectNothingOutside();
}

TEST_F(TollFraudUnknownTest, WhoSaysThatHeIsAUserIsAskedForHisPassword)
{
    for (const char* dialed : {kOutside, kFree, "2002"})
        EXPECT_EQ(outcome(at("2001"), dialed), "407") << dialed;
}

TEST_F(TollFraudUnknownTest, TheDefaultLineIsNotForStrangers)
{
    changeSystem([](Cdb_sys_data& system) { system.defaultRoute = 1; });
    EXPECT_EQ(outcome(authenticated(phone("2001"), "555", "2001")), "leaves");
    EXPECT_EQ(outcome(at("nobody"), "555"), "403");
    EXPECT_EQ(outcome(at("nobody"), "2002"), "rings");
}

TEST_F(TollFraudUnknownTest, SpeedDialsAndServiceCodesAreForUsers)
{
    Cdb_speed_dial_data speedDial;
    speedDial.callerNbr.SetNbr(".");
    speedDial.dialedNbr.SetNbr("12");
    speedDial.destination.SetNbr(kFree);
    ASSERT_EQ(store.DbAddSpeedDial(speedDial), kDbOk);
    speedDial.callerNbr.SetNbr("nobody");
    ASSERT_EQ(store.DbAddSpeedDial(speedDial), kDbOk);
    EXPECT_EQ(outcome(authenticated(phone("2001"), "12", "2001")), "leaves");
    EXPECT_EQ(outcome(at("nobody"), "12"), "404");
    EXPECT_EQ(outcome(at("nobody"), std::string("*72") + kOutside), "404");
    EXPECT_EQ(outcome(at("nobody"), "*8"), "404");
}

TEST_F(TollFraudUnknownTest, TheCallersNumberOpensNoOtherDoor)
{
    // The plan of the directors has free lines.
    Cdb_nbr_clr_ana_data caller;
    BclCopyStr(caller.callerPrefix, "77");
    BclCopyStr(caller.dialPlan, "directors");
    ASSERT_EQ(store.DbNbrClrAnaSet(caller), kDbOk);
    addRule("5", kRtExtLine, 0, "directors");
    EXPECT_EQ(outcome(at("7701"), "5551"), "403");
    changeUser("2001", [](Cdb_usr_info& user) { BclCopyStr(user.dispName, "7701"); });
    EXPECT_EQ(outcome(authenticated(phone("2001"), "5551", "2001",
                                    [](CallMessage& invite) { invite.from.display = "7701"; })),
              "404");
}

TEST_F(TollFraudUnknownTest, AChangedNumberIsNotFree)
{
    // 5... becomes 0800 and is analyzed again.
    Cdb_nbr_trans_data transition;
    transition.transid = 3;
    transition.type = 2;
    transition.length = 1;
    BclCopyStr(transition.digits, kFree);
    ASSERT_EQ(store.DbNbrTransSet(transition), kDbOk);
    Cdb_nbr_cld_ana_data rule;
    BclCopyStr(rule.calledPrefix, "5");
    rule.calledChanged = 1;
    rule.transId = 3;
    rule.transOption = 1;
    ASSERT_EQ(store.DbNbrCldAnaSet(rule), kDbOk);
    EXPECT_EQ(outcome(authenticated(phone("2001"), "5", "2001")), "leaves");
    EXPECT_EQ(outcome(at("nobody"), "5"), "403");
}

TEST_F(TollFraudTest, TheCredentialsOfAnotherUserAreNoCredentials)
{
    restrict("2001", 0);
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001")), "403") << "he has no level";
    EXPECT_EQ(outcome(authenticated(at("2002"), kOutside, "2001")), "403") << "From of somebody who has";
    EXPECT_EQ(outcome(authenticated(at("nobody"), kFree, "2001")), "403");
    EXPECT_EQ(outcome(authenticated(at(""), kFree, "2001")), "403");
}

TEST_F(TollFraudTest, WhoHidesHisNumberCallsWithHisOwnRights)
{
    const auto hide = [](CallMessage& invite) {
        invite.from = {"sip:x@anonymous.invalid", "x", "anonymous.invalid", {}, "t"};
    };
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001", hide)), "leaves");
    restrict("2001", 0);
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001", hide)), "403");
    CallMessage other = authenticated(phone("2001"), kOutside, "2001", hide);
    other.from.user = "2002";
    EXPECT_EQ(outcome(other), "403") << "the credentials say who he is";
}

TEST_F(TollFraudTest, AWrongOrEmptyPasswordOpensNothing)
{
    CallMessage request = initial(phone("2001"), kOutside, SipMethod::Invite);
    const std::string challenge = challengeFor(request);
    for (const char* password : {"Secret", "", "2001", "unknown user"}) {
        sign(request, challenge, "2001", password);
        EXPECT_EQ(outcome(request), "403") << password;
    }
    changeUser("2001", [](Cdb_usr_info& user) { BclCopyStr(user.password, ""); });
    sign(request, challenge, "2001", "");
    ++request.cseq;
    EXPECT_EQ(outcome(request), "403") << "a user without password";
    CallMessage nobody = initial(at("nobody"), kOutside, SipMethod::Invite);
    sign(nobody, challengeFor(nobody), "nobody", "unknown user");
    EXPECT_EQ(outcome(nobody), "403");
}

TEST_F(TollFraudTest, AnOverheardNonceIsOfNoUseElsewhere)
{
    CallMessage request = initial(phone("2001"), kOutside, SipMethod::Invite);
    sign(request, challengeFor(request), "2001");
    CallMessage stolen = request;
    stolen.source = at("x").source;
    EXPECT_EQ(outcome(stolen), "407") << "from another address";
    EXPECT_EQ(outcome(request), "leaves");
    CallMessage own = initial(at("2001"), kOutside, SipMethod::Invite);
    sign(own, "nonce=\"0123456789abcdef\", realm=\"parlovex\"", "2001");
    EXPECT_EQ(outcome(own), "407") << "an invented one";
}

TEST_F(TollFraudTest, OverheardCredentialsAreOfNoUseAgain)
{
    CallMessage used = authenticated(phone("2001"), kFree, "2001");
    ASSERT_EQ(outcome(used), "leaves");
    CallMessage replayed = used;
    replayed.callId = "another";
    EXPECT_EQ(outcome(replayed), "407") << "as another call";
    EXPECT_EQ(outcome(used), "407") << "the same again";
    replayed.requestUri = std::string("sip:") + kOutside + "@198.51.100.1";
    replayed.requestUser = kOutside;
    EXPECT_EQ(outcome(replayed), "400") << "for another number";
}

TEST_F(TollFraudTest, CredentialsAreForOneNumberAndOneMethod)
{
    CallMessage request = initial(phone("2001"), kFree, SipMethod::Invite);
    const std::string challenge = challengeFor(request);
    sign(request, challenge, "2001");
    CallMessage other = request;
    other.requestUri = std::string("sip:") + kOutside + "@198.51.100.1";
    other.requestUser = kOutside;
    EXPECT_EQ(outcome(other), "400") << "the number was changed on the way";
    other.requestUri = std::string("sip:") + kFree + ";x@198.51.100.1";
    other.requestUser = std::string(kFree) + ";x";
    EXPECT_EQ(outcome(other), "400");
    for (const char* method : {"REGISTER", "MESSAGE", "OPTIONS"}) {
        sign(other, challenge, "2001", "secret", method);
        EXPECT_EQ(outcome(other), "403") << method;
    }
}

TEST_F(TollFraudTest, AnExpiredUserCallsNobody)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.expiryDate = 20200101; });
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001")), "403");
    EXPECT_EQ(outcome(authenticated(phone("2001"), "2002", "2001")), "403");
    giveAddress("2003", kElsewhere, 0);
    EXPECT_EQ(outcome(at("2003"), kOutside), "leaves");
    changeUser("2003", [](Cdb_usr_info& user) { user.expiryDate = 20200101; });
    EXPECT_EQ(outcome(at("2003"), kOutside), "403");
    setFlags(0);
    EXPECT_EQ(outcome(phone("2001"), kOutside), "403");
}

TEST_F(TollFraudTest, LevelsHoldHoweverTheUserIsKnown)
{
    restrict("2001", 0x7f & ~0x04U);
    giveAddress("2003", kElsewhere, 0);
    restrict("2003", 0);
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001")), "403");
    EXPECT_EQ(outcome(authenticated(phone("2001"), kFree, "2001")), "leaves");
    EXPECT_EQ(outcome(at("2003"), kOutside), "403");
    EXPECT_EQ(outcome(at("2002"), kOutside), "403") << "the address says who he is, not From";
    setFlags(0);
    EXPECT_EQ(outcome(phone("2001"), kOutside), "403");
    EXPECT_EQ(outcome(phone("2002"), kOutside), "leaves");
}

TEST_F(TollFraudTest, TheDefaultLineNeedsItsLevel)
{
    changeSystem([](Cdb_sys_data& system) { system.defaultRoute = 1; });
    EXPECT_EQ(outcome(authenticated(phone("2001"), "555", "2001")), "leaves");
    changeUser("2001", [](Cdb_usr_info& user) { user.levels = Cbcl_bit_set(user.levels.value() & ~0x40U); });
    EXPECT_EQ(outcome(authenticated(phone("2001"), "555", "2001")), "403");
}

TEST_F(TollFraudTest, OnlyEmergencyNumbersThemselvesPassTheLevels)
{
    restrict("2001", 0);
    changeUser("2001", [](Cdb_usr_info& user) { user.expiryDate = 20200101; });
    EXPECT_EQ(outcome(authenticated(phone("2001"), kEmergency, "2001")), "leaves");
    EXPECT_EQ(outcome(authenticated(phone("2001"), std::string(kEmergency) + "0049", "2001")), "403");
    EXPECT_EQ(outcome(phone("2001"), kEmergency), "407") << "not even they without a password";
}

TEST_F(TollFraudTest, OutsideItsHoursNothingLeaves)
{
    Cdb_time_cond never;
    never.ID = 9;
    never.weekdays = 0;
    ASSERT_EQ(store.DbTimeConditionAdd(never), kDbOk);
    changeUser("2001", [](Cdb_usr_info& user) { user.timeCondId = 9; });
    changeUser("2002", [](Cdb_usr_info& user) { user.timeCondId = 77; }); // which does not exist
    for (const char* user : {"2001", "2002"}) {
        EXPECT_EQ(outcome(authenticated(phone(user), kOutside, user)), "403") << user;
        EXPECT_EQ(outcome(authenticated(phone(user), kTrunk, user)), "403") << user;
        EXPECT_EQ(outcome(authenticated(phone(user), kEmergency, user)), "leaves") << user;
        EXPECT_EQ(outcome(authenticated(phone(user), "2003", user)), "rings") << user;
    }
}

TEST_F(TollFraudTest, TheBlackListKnowsTheCallerWhateverHeSays)
{
    Cdb_sys_black_item item;
    BclCopyStr(item.callerNbr, "2001");
    BclCopyStr(item.calledNbr, "0049");
    item.code = 488;
    ASSERT_EQ(store.DbSysBlackListAdd(&item), kDbOk);
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001")), "488");
    const auto hide = [](CallMessage& invite) {
        invite.from = {"sip:x@anonymous.invalid", "x", "anonymous.invalid", {}, "t"};
    };
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001", hide)), "488");
    EXPECT_EQ(outcome(authenticated(phone("2002"), kOutside, "2002")), "leaves");
    giveAddress("2001", kElsewhere, 0);
    EXPECT_EQ(outcome(at("2002"), kOutside), "488");
}

TEST_F(TollFraudTest, TheSpeedDialsOfAnotherAreOutOfReach)
{
    restrict("2001", 0);
    Cdb_speed_dial_data speedDial;
    speedDial.callerNbr.SetNbr("2002");
    speedDial.dialedNbr.SetNbr("12");
    speedDial.destination.SetNbr(kOutside);
    ASSERT_EQ(store.DbAddSpeedDial(speedDial), kDbOk);
    EXPECT_EQ(outcome(authenticated(phone("2002"), "12", "2002")), "leaves");
    EXPECT_EQ(outcome(authenticated(phone("2001"), "12", "2001")), "404");
    EXPECT_EQ(outcome(authenticated(at("2002"), "12", "2001")), "403");
    speedDial.callerNbr.SetNbr("2001");
    ASSERT_EQ(store.DbAddSpeedDial(speedDial), kDbOk);
    EXPECT_EQ(outcome(authenticated(phone("2001"), "12", "2001")), "403") << "the level of what it stands for";
}

TEST_F(TollFraudTest, AnAddressIsKnownWithItsPort)
{
    giveAddress("2003", kElsewhere, 5070);
    EXPECT_EQ(outcome(at("2003", kElsewhere, 5070), kOutside), "leaves");
    EXPECT_EQ(outcome(at("2003", kElsewhere, 5060), kOutside), "407");
    EXPECT_EQ(outcome(at("2003", "203.0.113.90", 5070), kOutside), "407");
    EXPECT_EQ(outcome(at("2003", "::ffff:203.0.113.9", 5071), kOutside), "407");
}

TEST_F(TollFraudTest, LimitsOfCallsHoldForCallsOut)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.maxOutCalls = 1; });
    ASSERT_EQ(outcome(authenticated(phone("2001"), "2002", "2001")), "rings");
    EXPECT_EQ(outcome(authenticated(phone("2001"), kOutside, "2001")), "486");
}

class TollFraudTransitTest : public TollFraudTest {
protected:
    // Where a call from there would go: "line", "trunk", "user", or the refusal.
    std::string destination(const CallSource& source, const std::string& dialed, const std::string& toUser = {})
    {
        DialPlan plan(store);
        const DialAnswer answer =
            analyzeCall(plan.now(), {source, "0301", dialed, toUser}, server().counts(), clock.wallSeconds());
        if (answer.status != 0)
            return std::to_string(answer.status);
        switch (answer.targets.front().kind) {
        case DialTarget::Kind::Line:
            return "line";
        case DialTarget::Kind::Trunk:
            return "trunk";
        default:
            return "user";
        }
    }
    const CallSource _line{SourceKind::Line, "city", 0};
    const CallSource _peer{SourceKind::Peer, {}, 1};
};

TEST_F(TollFraudTransitTest, WhatCameInDoesNotGoOutAgain)
{
    for (const CallSource& source : {_line, _peer}) {
        for (const char* dialed : {kOutside, kTrunk, kFree, kEmergency})
            EXPECT_EQ(destination(source, dialed), "403") << dialed;
        EXPECT_EQ(destination(source, "2002"), "user");
    }
    EXPECT_EQ(destination(_line, "city", kOutside), "403") << "the number may stand in To";
    changeSystem([](Cdb_sys_data& system) { system.defaultRoute = 1; });
    EXPECT_EQ(destination(_line, "555"), "403");
    EXPECT_EQ(destination(_peer, "555"), "403");
    setFlags(kSysAuthCalls | kSysTransit);
    EXPECT_EQ(destination(_peer, kOutside), "line");
    EXPECT_EQ(destination(_line, kTrunk), "trunk");
}

TEST_F(TollFraudTransitTest, ALineWithADestinationReachesNothingElse)
{
    Cdb_ext_line_info line;
    BclCopyStr(line.extName, "city");
    ASSERT_EQ(store.DbExtLineGet(line), kDbOk);
    BclCopyStr(line.destination, "2002");
    ASSERT_EQ(store.DbExtLineSet(line), kDbOk);
    setFlags(kSysAuthCalls | kSysTransit);
    EXPECT_EQ(destination(_line, kTrunk, kTrunk), "user");
}

TEST_F(TollFraudTest, MessagesStayInTheHouse)
{
    setFlags(kSysAcceptUnknown);
    for (const char* dialed : {kOutside, kTrunk, kFree, kEmergency}) {
        EXPECT_EQ(deliver(initial(phone("2001"), dialed, SipMethod::Message))->status(), 503) << dialed;
        EXPECT_EQ(deliver(initial(at("nobody"), dialed, SipMethod::Message))->status(), 403) << dialed;
        EXPECT_EQ(deliver(initial(at("2001"), dialed, SipMethod::Message))->status(), 407) << dialed;
    }
    EXPECT_TRUE(transport.sent.empty());
}

} // namespace
