// Calls between telephones that sipp plays: each flow, its failures, and many at once.
#include "support/call_phone.h"
#include "support/free_port.h"
#include "support/patience.h"
#include "support/server_fixture.h"
#include "support/sipp.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"
#include "callserver/event_ids.h"

#include <algorithm>
#include <memory>

namespace {

using Values = std::map<std::string, std::string>;

// User 2001 calls from one port, 2002 is called at another one.
class SippCallsTest : public ServerFixture {
protected:
    // Users 2001, 2002, ... with the password "secret".
    void startServer(const std::function<void(Cdb_fac_mgr&)>& fill = {}, unsigned users = 5)
    {
        fillStore([&](Cdb_fac_mgr& filled) {
            addUsers(filled, 2001, users);
            if (fill)
                fill(filled);
        });
        start();
    }
    // Both telephones are there.
    void startServerAndTelephones(const std::function<void(Cdb_fac_mgr&)>& fill = {})
    {
        startServer(fill);
        registerAt(callerPort, {{"2001", "secret"}});
        registerAt(calledPort, {{"2002", "secret"}});
    }
    void registerAt(uint16_t ownPort, const std::vector<SippUser>& users)
    {
        SippPlan plan;
        plan.scenario = "register.xml";
        plan.serverPort = port;
        plan.ownPort = ownPort;
        plan.users = users;
        const SippResult result = SippLoad(scratch, plan).wait();
        ASSERT_TRUE(result.isAll(static_cast<unsigned>(users.size()))) << result.output;
    }

    [[nodiscard]] SippPlan callPlan(const std::string& scenario, const Values& values = {}) const
    {
        SippPlan plan;
        plan.scenario = scenario;
        plan.values = values;
        plan.values.insert(
            {{"begin", "parts/call_begin.xml"}, {"dialed", "2002"}, {"talkMs", "0"}, {"mayMissRinging", "false"}});
        plan.serverPort = port;
        plan.ownPort = callerPort;
        plan.users = {{"2001", "secret"}};
        plan.dialed = plan.values["dialed"];
        return plan;
    }
    [[nodiscard]] SippPlan calledPlan(const std::string& scenario, const Values& values = {}) const
    {
        SippPlan plan;
        plan.scenario = scenario;
        plan.values = values;
        plan.values.insert({{"talkMs", "0"}, {"lingerMs", "0"}, {"mayMissAck", "false"}});
        plan.serverPort = port;
        plan.ownPort = calledPort;
        plan.count = 1;
        return plan;
    }
    static void expectAll(SippLoad& load, unsigned count, const char* side)
    {
        const SippResult result = load.wait();
        EXPECT_TRUE(result.isAll(count)) << side << ": " << result.successful << " went well, " << result.failed
                                         << " not\n"
                                         << result.output;
    }
    // A telephone that nobody calls, or several that are there already.
    void expectCaller(const SippPlan& plan)
    {
        SippLoad caller(scratch, plan);
        expectAll(caller, std::max(1U, plan.count), "the caller");
    }
    void expectCall(const SippPlan& callerPlan, const SippPlan& called)
    {
        SippLoad telephone(scratch, called);
        ASSERT_TRUE(telephone.waitUntilListening());
        expectCaller(callerPlan);
        expectAll(telephone, std::max(1U, called.count), "the called side");
    }

    // All that the server said of its only call.
    void expectRecord(const std::vector<std::string>& moments, int code, const std::string& numbers = "2001 2002 2002")
    {
        const std::string end = "call 1 end " + numbers + " " + std::to_string(code);
        ASSERT_TRUE(events.waitFor(end)) << end;
        std::vector<std::string> wanted;
        wanted.reserve(moments.size() + 1);
        for (const std::string& moment : moments)
            wanted.push_back("call 1 " + moment + " " + numbers);
        wanted.push_back(end);
        EXPECT_EQ(said("call "), wanted);
    }
    // Those of one user, from the first to the last.
    void expectStates(const std::string& user, const std::vector<std::string>& states)
    {
        ASSERT_TRUE(events.waitForCount("state " + user + " ", states.size())) << user;
        std::vector<std::string> wanted;
        wanted.reserve(states.size());
        for (const std::string& state : states)
            wanted.push_back("state " + user + " " + state);
        EXPECT_EQ(said("state " + user + " "), wanted);
    }
    [[nodiscard]] std::vector<std::string> said(const std::string& beginning) const
    {
        std::vector<std::string> found;
        for (const std::string& entry : events.all())
            if (entry.compare(0, beginning.size(), beginning) == 0)
                found.push_back(entry);
        return found;
    }

    const uint16_t callerPort = freeUdpPort();
    const uint16_t calledPort = freeUdpPort();
};

const std::vector<std::string> kAnswered = {"start", "ring", "answer"};

TEST_F(SippCallsTest, TheCallerHangsUp)
{
    startServerAndTelephones();
    expectCall(callPlan("call_ended.xml"), calledPlan("called_answers.xml"));
    expectRecord(kAnswered, 200);
    expectStates("2001", {"1", "4", "3", "1"});
    expectStates("2002", {"1", "2", "3", "1"});
}

TEST_F(SippCallsTest, TheCalledUserHangsUp)
{
    startServerAndTelephones();
    expectCall(callPlan("call_left.xml"), calledPlan("called_leaves.xml"));
    expectRecord(kAnswered, 200);
    expectStates("2001", {"1", "4", "3", "1"});
    expectStates("2002", {"1", "2", "3", "1"});
}

class SippRefusals : public SippCallsTest, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Statuses, SippRefusals, testing::Values(486, 603));

TEST_P(SippRefusals, TheCallerIsToldWhatTheTelephoneSays)
{
    const Values status = {{"status", std::to_string(GetParam())}};
    startServerAndTelephones();
    expectCall(callPlan("call_refused.xml", status), calledPlan("called_refuses.xml", status));
    expectRecord({"start"}, GetParam());
    expectStates("2001", {"1", "4", "1"});
}

TEST_F(SippCallsTest, NobodyAnswersInTheTimeOfTheUser)
{
    startServerAndTelephones([](Cdb_fac_mgr& filled) {
        Cdb_usr_info user;
        ASSERT_EQ(filled.DbGetUsrInfo("2002", user), kDbOk);
        user.noAnsTime = 5;
        ASSERT_EQ(filled.DbSetLocalUserData(user), kDbOk);
    });
    // Where a user has no time of his own it rings longer.
    CallPhone other(port, "2003");
    CallPhone patient(port, "2004");
    patient.registerNow();
    other.invite("2004");
    patient.answer(patient.expect("INVITE"), 180);
    ASSERT_TRUE(events.waitFor("call 1 ring 2003 2004 2004"));
    expectCall(callPlan("call_refused.xml", {{"status", "480"}}), calledPlan("called_rings.xml"));
    EXPECT_TRUE(events.waitFor("call 2 end 2001 2002 2002 480"));
    EXPECT_EQ(events.count("call 1 end"), 0U);
    expectStates("2001", {"1", "4", "1"});
    expectStates("2002", {"1", "2", "1"});
}

TEST_F(SippCallsTest, AnUnknownNumberIsNotFound)
{
    startServerAndTelephones();
    expectCaller(callPlan("call_refused.xml", {{"status", "404"}, {"dialed", "7777"}}));
    expectRecord({"start"}, 404, "2001 7777 7777");
    expectStates("2001", {"1", "4", "1"});
}

TEST_F(SippCallsTest, AUserWithoutTelephoneIsNotAvailable)
{
    startServer();
    registerAt(callerPort, {{"2001", "secret"}});
    expectCaller(callPlan("call_refused.xml", {{"status", "480"}}));
    expectRecord({"start"}, 480);
    EXPECT_EQ(events.count("state 2002"), 0U);
}

TEST_F(SippCallsTest, TheCallerGivesUpBeforeAnybodyHasSaidAWord)
{
    startServerAndTelephones();
    expectCall(callPlan("call_cancelled_early.xml"), calledPlan("called_wakes_up.xml"));
    expectRecord({"start"}, 487);
    expectStates("2001", {"1", "4", "1"});
    expectStates("2002", {"1"});
}

TEST_F(SippCallsTest, TheCallerGivesUpWhileItRings)
{
    startServerAndTelephones();
    expectCall(callPlan("call_cancelled.xml"), calledPlan("called_rings.xml"));
    expectRecord({"start", "ring"}, 487);
    expectStates("2001", {"1", "4", "1"});
    expectStates("2002", {"1", "2", "1"});
}

TEST_F(SippCallsTest, AnAnswerThatCrossesTheCancellationIsHungUp)
{
    startServerAndTelephones();
    expectCall(callPlan("call_cancelled.xml"), calledPlan("called_crosses.xml"));
    expectRecord({"start", "ring"}, 487);
    expectStates("2002", {"1", "2", "1"});
}

TEST_F(SippCallsTest, ACancellationThatCrossesTheAnswerHasNoEffect)
{
    startServerAndTelephones();
    expectCall(callPlan("call_cancelled_late.xml"), calledPlan("called_answers.xml"));
    expectRecord(kAnswered, 200);
}

TEST_F(SippCallsTest, AWrongPasswordIsRefused)
{
    startServerAndTelephones();
    SippPlan plan = callPlan("call_refused.xml", {{"status", "403"}});
    plan.users = {{"2001", "wrong"}};
    expectCaller(plan);
    EXPECT_EQ(events.count("call "), 0U) << "a call that nobody made has no record";
    expectStates("2001", {"1"});
}

// Nobody learns from an answer which users there are.
TEST_F(SippCallsTest, AWrongPasswordAndAnUnknownUserAreAnsweredAlike)
{
    startServer([](Cdb_fac_mgr& filled) { addUser(filled, "2999", "another"); });
    CallPhone wrong(port, "2999");
    CallPhone unknown(port, "9999");
    const auto names = [](const PhoneMessage& answer) {
        std::string found = answer.firstLine();
        size_t at = 0;
        while ((at = answer.text.find("\r\n", at)) != std::string::npos &&
               answer.text.compare(at, 4, "\r\n\r\n") != 0) {
            at += 2;
            found += " " + answer.text.substr(at, answer.text.find(':', at) - at);
        }
        return found;
    };
    for (const char* const method : {"INVITE", "MESSAGE"}) {
        const PhoneMessage toWrong = wrong.ask(method, "2002");
        const PhoneMessage toUnknown = unknown.ask(method, "2002");
        EXPECT_EQ(toWrong.status(), 403) << toWrong.text;
        EXPECT_EQ(names(toWrong), names(toUnknown)) << toWrong.text << toUnknown.text;
    }
}

TEST_F(SippCallsTest, ACallWithoutCredentialsIsOnlyChallenged)
{
    startServerAndTelephones();
    SippPlan plan = callPlan("call_unauthorized.xml");
    plan.count = 3;
    expectCaller(plan);
    EXPECT_EQ(events.count("call "), 0U);
    expectStates("2001", {"1"});
}

TEST_F(SippCallsTest, AUserKnownByHisAddressIsNotChallenged)
{
    startServer([this](Cdb_fac_mgr& filled) {
        Cdb_usr_info user;
        ASSERT_EQ(filled.DbGetUsrInfo("2001", user), kDbOk);
        user.flags |= kUsrIpAuth;
        BclCopyStr(user.ipAddr, "127.0.0.1");
        user.ipPort = callerPort;
        ASSERT_EQ(filled.DbSetLocalUserData(user), kDbOk);
    });
    registerAt(calledPort, {{"2002", "secret"}});
    expectCall(callPlan("call_ended.xml", {{"begin", "parts/call_begin_known.xml"}}), calledPlan("called_answers.xml"));
    expectRecord(kAnswered, 200);
}

TEST_F(SippCallsTest, ACallRingsAtAUserKnownByHisAddress)
{
    startServer([this](Cdb_fac_mgr& filled) {
        Cdb_usr_info user;
        ASSERT_EQ(filled.DbGetUsrInfo("2002", user), kDbOk);
        user.flags |= kUsrIpAuth;
        BclCopyStr(user.ipAddr, "127.0.0.1");
        user.ipPort = calledPort;
        ASSERT_EQ(filled.DbSetLocalUserData(user), kDbOk);
    });
    registerAt(callerPort, {{"2001", "secret"}});
    expectCall(callPlan("call_left.xml"), calledPlan("called_leaves.xml"));
    expectRecord(kAnswered, 200);
}

TEST_F(SippCallsTest, OfThreeTelephonesTheFirstAnswerWins)
{
    startServerAndTelephones();
    const std::vector<uint16_t> others = {freeUdpPort(), freeUdpPort()};
    std::vector<std::unique_ptr<SippLoad>> ringing;
    for (const uint16_t other : others) {
        registerAt(other, {{"2002", "secret"}});
        SippPlan plan = calledPlan("called_rings.xml");
        plan.ownPort = other;
        ringing.push_back(std::make_unique<SippLoad>(scratch, plan));
        ASSERT_TRUE(ringing.back()->waitUntilListening());
    }
    SippLoad winner(scratch, calledPlan("called_answers_late.xml"));
    ASSERT_TRUE(winner.waitUntilListening());
    SippLoad caller(scratch, callPlan("call_ended.xml", {{"talkMs", "3000"}}));
    for (const std::unique_ptr<SippLoad>& one : ringing)
        expectAll(*one, 1, "a telephone that only rang");
    EXPECT_EQ(events.count("call 1 end"), 0U) << "they were let ring until the end";
    expectAll(caller, 1, "the caller");
    expectAll(winner, 1, "the called side");
    expectRecord(kAnswered, 200);
    expectStates("2002", {"1", "2", "3", "1"});
}

TEST_F(SippCallsTest, ACallIsHeldAndTakenBack)
{
    startServerAndTelephones();
    expectCall(callPlan("call_held.xml"), calledPlan("called_held.xml"));
    expectRecord(kAnswered, 200);
    expectStates("2001", {"1", "4", "3", "1"});
}

TEST_F(SippCallsTest, OfTwoChangesAtOnceOneIsDoneAndTheOtherIsToComeLater)
{
    startServerAndTelephones();
    expectCall(callPlan("call_changed.xml"), calledPlan("called_changes.xml"));
    expectRecord(kAnswered, 200);
}

TEST_F(SippCallsTest, AMessageIsTaken)
{
    startServerAndTelephones();
    expectCall(callPlan("message_sent.xml", {{"status", "200"}}), calledPlan("message_taken.xml"));
    EXPECT_EQ(events.count("call "), 0U) << "a message is no call";
}

class SippMessageFlag : public SippCallsTest, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Users, SippMessageFlag, testing::Values("2001", "2002"));

TEST_P(SippMessageFlag, AMessageOfOrToAUserWithoutMessagesIsForbidden)
{
    startServerAndTelephones([](Cdb_fac_mgr& filled) {
        Cdb_usr_info user;
        ASSERT_EQ(filled.DbGetUsrInfo(GetParam(), user), kDbOk);
        user.flags &= ~static_cast<uint32_t>(kUsrMessages);
        ASSERT_EQ(filled.DbSetLocalUserData(user), kDbOk);
    });
    expectCaller(callPlan("message_sent.xml", {{"status", "403"}}));
}

TEST_F(SippCallsTest, AMessageToAUserWithoutTelephoneComesBack)
{
    startServer();
    registerAt(callerPort, {{"2001", "secret"}});
    expectCaller(callPlan("message_sent.xml", {{"status", "480"}}));
}

TEST_F(SippCallsTest, CallsSurviveLostMessages)
{
    constexpr unsigned kCalls = 20;
    startServerAndTelephones([](Cdb_fac_mgr& filled) {
        Cdb_usr_info user;
        ASSERT_EQ(filled.DbGetUsrInfo("2002", user), kDbOk);
        user.callWaitingLimit = 100;
        ASSERT_EQ(filled.DbSetLocalUserData(user), kDbOk);
    });
    SippPlan caller = callPlan("call_ended.xml", {{"mayMissRinging", "true"}});
    SippPlan called = calledPlan("called_answers.xml", {{"lingerMs", "4000"}, {"mayMissAck", "true"}});
    caller.count = called.count = kCalls;
    caller.lostPercent = called.lostPercent = 10;
    SippLoad telephone(scratch, called);
    ASSERT_TRUE(telephone.waitUntilListening());
    SippLoad load(scratch, caller);
    const SippResult made = load.wait();
    const SippResult taken = telephone.wait();
    // What is lost is chance, and sipp does not cope with every order in which repetitions come; most calls go well.
    EXPECT_GT(made.successful, kCalls / 2) << made.output;
    EXPECT_GT(taken.successful, kCalls / 2) << taken.output;
    // Those that sipp has given up, if any, are still there.
    BclPubEvent(kEvtReleaseCalls, nullptr, nullptr);
    ASSERT_TRUE(events.waitForPart("log Release of all calls: "));
    unsigned well = 0;
    for (unsigned i = 1; i <= kCalls; ++i) {
        const std::string call = "call " + std::to_string(i);
        EXPECT_TRUE(events.waitForCount(call + " start 2001 2002 2002", 1)) << call;
        EXPECT_TRUE(events.waitForCount(call + " end 2001 2002 2002", 1)) << call;
        well += events.count(call + " end 2001 2002 2002 200") != 0 ? 1U : 0U;
    }
    EXPECT_GT(well, kCalls / 2);
    EXPECT_TRUE(waitUntil([this] { return sql("select count(*) from tbl_sip_reg where usrStage <> 1") == "0"; }))
        << "a call was left behind";
}

TEST_F(SippCallsTest, AnAnswerIsRepeatedUntilTheCallerConfirmsIt)
{
    startServer();
    CallPhone caller(port, "2001");
    CallPhone called(port, "2002");
    called.registerNow();
    caller.invite("2002");
    called.answer(called.expect("INVITE"), 200, CallPhone::kAnswer);
    called.expect("ACK");
    const PhoneMessage answered = caller.expect("200");
    EXPECT_EQ(caller.hear(60'000).text, answered.text) << "its ACK was lost";
    caller.ack(answered);
    caller.send("BYE");
    while (caller.hear(60'000).header("CSeq").find("BYE") == std::string::npos) {
    }
    called.answer(called.expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

TEST_F(SippCallsTest, ACallWhoseAnswerNobodyConfirmsEnds)
{
    startServer();
    CallPhone caller(port, "2001");
    CallPhone called(port, "2002");
    called.registerNow();
    caller.invite("2002");
    called.answer(called.expect("INVITE"), 200, CallPhone::kAnswer);
    called.expect("ACK");
    caller.expect("200");
    called.answer(called.expect("BYE"), 200);
    caller.expect("BYE");
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 408"));
}

TEST_F(SippCallsTest, CallsOverTcpReachATelephoneOnUdp)
{
    tcpPort = freeTcpPort();
    startServer();
    registerAt(calledPort, {{"2002", "secret"}});
    SippPlan caller = callPlan("call_ended.xml");
    caller.serverPort = tcpPort;
    caller.isTcp = true;
    expectCall(caller, calledPlan("called_answers.xml"));
    expectRecord(kAnswered, 200);
}

TEST_F(SippCallsTest, TwoHundredCallsOfFourHundredUsersAllEndWell)
{
    constexpr unsigned kCalls = 200;
    ASSERT_EQ(DbInitSwitchVariants(home.write("switch.ini", "[switch]\ngVarSipChallengeRate=0\n").c_str()), 0U);
    // Whoever is registered from there is not challenged.
    startServer(
        [](Cdb_fac_mgr& filled) {
            Cdb_sys_tbl* record = filled.DbGetSysTbl();
            record->callFlags &= static_cast<uint8_t>(~kSysAuthCalls);
            record->SetModified();
            ASSERT_EQ(record->SaveDB(), kDbOk);
        },
        2 * kCalls);
    std::vector<SippUser> callers;
    std::vector<SippUser> calleds;
    for (unsigned i = 0; i < kCalls; ++i) {
        const std::string dialed = std::to_string(2001 + kCalls + i);
        callers.push_back({std::to_string(2001 + i), "secret", dialed});
        calleds.push_back({dialed, "secret"});
    }
    registerAt(callerPort, callers);
    registerAt(calledPort, calleds);
    ASSERT_TRUE(events.waitForCount("state ", size_t{2} * kCalls));

    SippPlan caller = callPlan("call_ended.xml",
                               {{"begin", "parts/call_begin_known.xml"}, {"dialed", "[field2]"}, {"talkMs", "500"}});
    caller.users = callers;
    caller.dialed.clear();
    caller.perSecond = 50;
    SippPlan called = calledPlan("called_answers.xml");
    caller.count = called.count = kCalls;
    expectCall(caller, called);

    ASSERT_TRUE(events.waitForCount("state ", size_t{8} * kCalls));
    std::map<std::string, std::vector<std::string>> records;
    std::map<std::string, std::string> states;
    for (const std::string& entry : events.all()) {
        const size_t name = entry.find(' ') + 1;
        const size_t value = entry.find(' ', name) + 1;
        if (entry.starts_with("call "))
            records[entry.substr(name, value - 1 - name)].push_back(entry.substr(value));
        else if (entry.starts_with("state "))
            states[entry.substr(name, value - 1 - name)] += entry.substr(value);
    }
    ASSERT_EQ(records.size(), kCalls);
    for (const auto& [id, moments] : records) {
        ASSERT_EQ(moments.size(), 4U) << id;
        const std::string numbers = moments[0].substr(moments[0].find(' '));
        EXPECT_EQ(moments, (std::vector<std::string>{"start" + numbers, "ring" + numbers, "answer" + numbers,
                                                     "end" + numbers + " 200"}));
    }
    for (const SippUser& user : callers)
        EXPECT_EQ(states[user.name], "1431") << user.name;
    for (const SippUser& user : calleds)
        EXPECT_EQ(states[user.name], "1231") << user.name;
    EXPECT_EQ(sql("select count(*) from tbl_sip_reg where usrStage=1"), std::to_string(2 * kCalls));
}

} // namespace
