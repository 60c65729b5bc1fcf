// Nothing that is not authenticated leaves the house: each way in that strangers and users without the right try.
#include "callserver/calls_fixture.h"
#include "registrar/digest.h"

#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"

namespace {

constexpr const char* kOutside = "0049301234"; // over the external line, level 2
constexpr const char* kTrunk = "99100";        // over the peer server
constexpr const char* kFree = "0800";          // over the line, free for all
constexpr const char* kEmergency = "112";
constexpr const char* kElsewhere = "203.0.113.9";

std::string valueOf(const std::string& challenge, const std::string& name)
{
    const size_t begin = challenge.find(name + "=\"") + name.size() + 2;
    return challenge.substr(begin, challenge.find('"', begin) - begin);
}

class TollFraudTest : public CallsFixture {
protected:
    // A line for numbers that begin with 0 and emergency calls, a peer server for those with 99. Users are asked for
    // their password, "secret".
    TollFraudTest()
    {
        BclCopyStr(gVarCcfEmergencyNumbers, kEmergency);
        changeSystem([](Cdb_sys_data& system) { system.callFlags = kSysAuthCalls; });
        for (const char* user : {"2001", "2002", "2003"})
            changeUser(user, [](Cdb_usr_info& record) { BclCopyStr(record.password, "secret"); });
        Cdb_ext_line_info line;
        BclCopyStr(line.extName, "city");
        BclCopyStr(line.serverAddr, "198.51.100.200");
        EXPECT_EQ(store.DbExtLineSet(line), kDbOk);
        EXPECT_EQ(store.DbPeerServerSet(1, Cdb_sip_domain_data()), kDbOk);
        addRule("0", kRtExtLine, 2);
        addRule("99", kRtSipTrunk, 0);
        addRule(kFree, kRtExtLine, 0);
        addRule(kEmergency, kRtExtLine, 2);
    }

    void addRule(const char* prefix, uint32_t route, uint32_t level, const char* plan = "default")
    {
        Cdb_nbr_cld_ana_data rule;
        BclCopyStr(rule.calledPrefix, prefix);
        BclCopyStr(rule.dialPlan, plan);
        BclCopyStr(rule.extLine, "city");
        rule.routeType = route;
        rule.level = level;
        rule.peerServerId = 1;
        EXPECT_EQ(store.DbNbrCldAnaSet(rule), kDbOk);
    }
    void setFlags(uint8_t flags)
    {
        changeSystem([flags](Cdb_sys_data& system) { system.callFlags = flags; });
    }
    void giveAddress(const char* name, const std::string& address, uint32_t port)
    {
        changeUser(name, [&](Cdb_usr_info& user) {
            user.flags |= kUsrIpAuth;
            user.ipPort = port;
            BclCopyStr(user.ipAddr, address.c_str());
        });
    }
    void restrict(const char* name, uint32_t levels)
    {
        changeUser(name, [levels](Cdb_usr_info& user) { user.levels = Cbcl_bit_set(levels); });
    }

    static FakePhone at(const std::string& user, const std::string& address = kElsewhere, uint16_t port = 5060)
    {
        return {user, {address, port, kTransportUdp}};
    }

    // "leaves" when the call is given to a line or peer server, "rings" when a telephone of the house is called; else
    // the refusal.
    std::string outcome(const CallMessage& request)
    {
        const size_t before = transport.sent.size();
        const HeardPtr heard = deliver(request);
        if (heard->status() == 503)
            return "leaves"; // and ends there: lines and peer servers are not served yet
        return transport.sent.size() > before ? "rings" : std::to_string(heard->status());
    }
    std::string outcome(const FakePhone& from, const std::string& dialed, const Change& change = {})
    {
        CallMessage invite = initial(from, dialed, SipMethod::Invite);
        invite.body = sdp(kOffer);
        if (change)
            change(invite);
        return outcome(invite);
    }

    std::string challengeFor(const CallMessage& request) { return deliver(request)->answers.back().headers; }
    static void sign(CallMessage& request, const std::string& challenge, const std::string& user,
                     const std::string& password = "secret", const char* method = nullptr)
    {
        const std::string nonce = valueOf(challenge, "nonce");
        const std::string realm = valueOf(challenge, "realm");
        DigestHasher hasher;
        const HexDigest response = hasher.response(
            DigestAlgorithm::Md5, user, realm, password,
            {method != nullptr ? method : request.methodName.c_str(), request.requestUri, nonce, "00000001", "c0"});
        request.authorizations = {"Digest username=\"" + user + "\", realm=\"" + realm + "\", nonce=\"" + nonce +
                                  "\", uri=\"" + request.requestUri + "\", response=\"" + std::string(response.view()) +
                                  "\", algorithm=MD5, cnonce=\"c0\", qop=auth, nc=00000001"};
    }
    // With the right answer of `signer` to a challenge of its own.
    CallMessage authenticated(const FakePhone& from, const std::string& dialed, const std::string& signer,
                              const Change& change = {})
    {
        CallMessage request = initial(from, dialed, SipMethod::Invite);
        if (change)
            change(request);
        sign(request, challengeFor(request), signer);
        ++request.cseq;
        return request;
    }
    // Nobody but telephones of the house was sent anything.
    void expectNothingOutside()
    {
        for (const SentPtr& sent : transport.sent)
            EXPECT_TRUE(sent->request.destination.address.starts_with("192.0.2."))
                << sent->request.method << " to " << sent->request.destination.address;
    }
};

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

class TollFraudWithinTest : public TollFraudTest {
protected:
    TollFraudWithinTest() { setFlags(0); }

    std::string status(PhoneDialog dialog, SipMethod method, const Change& change = {})
    {
        return std::to_string(send(dialog, method, kOffer, change)->status());
    }
};

TEST_F(TollFraudWithinTest, WhoDoesNotKnowADialogCannotSpeakInIt)
{
    Talk made = talk();
    const size_t sent = transport.sent.size();
    const FakePhone stranger = at("2001");
    for (const SipMethod method : {SipMethod::Invite, SipMethod::Bye, SipMethod::Update, SipMethod::Info,
                                   SipMethod::Message, SipMethod::Prack}) {
        PhoneDialog guessed{stranger, made.caller.callId, made.caller.tag, "0123456789abcdef", 5};
        EXPECT_EQ(status(guessed, method), "481");
        guessed = {stranger, made.caller.callId, "guessed", made.caller.serverTag, 5};
        EXPECT_EQ(status(guessed, method), "481");
        guessed = {stranger, "another", made.caller.tag, made.caller.serverTag, 5};
        EXPECT_EQ(status(guessed, method), "481");
        guessed = {stranger, made.caller.callId, made.caller.tag, made.called.serverTag, 5};
        EXPECT_EQ(status(guessed, method), "481") << "the tag of the other side";
    }
    EXPECT_EQ(transport.sent.size(), sent);
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(TollFraudWithinTest, AChangedOfferCallsNobodyElse)
{
    Talk made = talk();
    const auto redirect = [](CallMessage& request) {
        request.requestUri = std::string("sip:") + kOutside + "@198.51.100.1";
        request.requestUser = kOutside;
        request.to.uri = request.requestUri;
        request.to.user = kOutside;
        request.from.user = "2002";
        request.contact = "sip:0049301234@198.51.100.200";
        request.routes = {"<sip:198.51.100.200;lr>"};
    };
    EXPECT_EQ(status(made.caller, SipMethod::Invite, redirect), "0");
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(passed->request.destination.address, "192.0.2.2");
    EXPECT_EQ(passed->request.uri.find(kOutside), std::string::npos);
    EXPECT_EQ(passed->request.to.find(kOutside), std::string::npos);
    expectNothingOutside();
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(TollFraudWithinTest, ContactsAndRoutesOfACallLeadNowhereElse)
{
    const auto outside = [](CallMessage& message) {
        message.contact = "sip:0049301234@198.51.100.200;maddr=198.51.100.201";
        message.routes = {"<sip:198.51.100.200;lr>", "<sip:198.51.100.201;maddr=198.51.100.202>"};
    };
    Talk made = talk("2001", "2002", outside, outside);
    send(made.caller, SipMethod::Info, kOffer, outside);
    send(made.called, SipMethod::Update, kOffer, outside);
    answer(next("UPDATE"), 200, kAnswer, outside);
    pass(61);
    (void)server().releaseAll();
    EXPECT_TRUE(hasNext("BYE"));
    expectNothingOutside();
}

TEST_F(TollFraudWithinTest, WhoSendsACallOnNeedsTheRightToCallThere)
{
    const auto outside = [](CallMessage& moved) {
        moved.contact = "sip:0049301234@198.51.100.200";
        moved.contactUser = kOutside;
    };
    restrict("2002", 0);
    const HeardPtr refused = call("2001", "2002");
    answer(next("INVITE"), 302, {}, outside);
    EXPECT_EQ(refused->status(), 403);
    const HeardPtr left = call("2001", "2003");
    answer(next("INVITE"), 302, {}, outside);
    EXPECT_EQ(left->status(), 503) << "as if 2003 had dialed it";
    expectNothingOutside();
    EXPECT_FALSE(hasNext("INVITE"));
}

class TollFraudTransferTest : public TollFraudWithinTest {
protected:
    // What the one who asks for a transfer to there is told of it at last.
    std::string transfer(PhoneDialog& by, const std::string& number)
    {
        const HeardPtr refer = send(by, SipMethod::Refer, {}, [&](CallMessage& request) {
            request.referTo = ReferTo{number, {}, {}};
            request.contact = "sip:0049301234@198.51.100.200";
        });
        if (refer->status() != 202)
            return std::to_string(refer->status());
        std::string told;
        while (hasNext("NOTIFY"))
            told = next("NOTIFY")->request.body.data.substr(8, 3);
        return told;
    }
};

TEST_F(TollFraudTransferTest, WhoTransfersNeedsTheRightToCallThere)
{
    restrict("2002", 0);
    Talk made = talk();
    EXPECT_EQ(transfer(made.called, kOutside), "403");
    EXPECT_EQ(transfer(made.caller, kOutside), "503") << "as if 2001 had dialed it";
    changeUser("2001", [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrTransfer}; });
    EXPECT_EQ(transfer(made.caller, kOutside), "403");
    EXPECT_FALSE(hasNext("INVITE"));
    expectNothingOutside();
}

TEST_F(TollFraudTransferTest, StrangersTransferNobody)
{
    setFlags(kSysAcceptUnknown);
    const FakePhone stranger = at("nobody");
    const HeardPtr invite = call(stranger, "2002");
    answer(next("INVITE"), 200, kAnswer);
    ack(invite);
    PhoneDialog dialog = callerOf(invite, stranger);
    EXPECT_EQ(transfer(dialog, "2003"), "403");
    EXPECT_EQ(transfer(dialog, kFree), "403");
    EXPECT_FALSE(hasNext("INVITE"));
    for (const SentPtr& sent : transport.sent)
        EXPECT_NE(sent->request.method, "NOTIFY") << "it was begun";
}

TEST_F(TollFraudTransferTest, NobodyTakesTheCallOfAnother)
{
    setFlags(kSysAcceptUnknown);
    Talk made = talk();
    const auto replace = [&](CallMessage& invite) {
        invite.replaces = ReplacedDialog{made.caller.callId, made.caller.serverTag, made.caller.tag, false};
    };
    EXPECT_EQ(outcome(phone("2003"), "2002", replace), "403");
    EXPECT_EQ(outcome(at("nobody"), "2002", replace), "403");
    EXPECT_EQ(outcome(at("2001"), "2002", replace), "407");
    EXPECT_EQ(outcome(phone("2001"), "2002", replace), "rings") << "it is his own";
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
