// How calls end: refused, cancelled, hung up, lost.
#include "callserver/calls_fixture.h"
#include "trace/message_trace.h"

#include <algorithm>

namespace {

using Statuses = std::vector<int>;

class CallsEndingTest : public CallsFixture {
protected:
    struct Begun {
        HeardPtr invite;
        SentPtr branch;
    };
    // The telephone of 2002 has answered 2001 so; nobody has confirmed it.
    Begun begun(int status, const std::string& body = {})
    {
        Begun made{call("2001", "2002"), next("INVITE")};
        answer(made.branch, status, body);
        return made;
    }
};

TEST_F(CallsEndingTest, ATraceSaysWhyTheCalledUserDoesNotRing)
{
    const auto stepOf = [this](const std::string& from, const std::string& to, int status) {
        lines.clear();
        EXPECT_EQ(call(from, to)->status(), status) << to;
        const std::string last = lines.empty() ? std::string() : lines.back();
        return last.substr(std::min(last.find("Refused"), last.size()));
    };
    changeUser("2001", [](Cdb_usr_info& user) { user.flags |= kUsrHideNumber; });
    changeUser("2002", [](Cdb_usr_info& user) { user.flags |= kUsrRejectAnonymous; });
    changeUser("2003", [](Cdb_usr_info& user) { user.flags |= kUsrDoNotDisturb; });
    changeUser("2004", [](Cdb_usr_info& user) { user.maxCalls = 1; });
    changeUser("2005", [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrCallWaiting}; });
    EXPECT_EQ(stepOf("2001", "2002", 433), "") << "nobody traces it";
    messageTrace().beginCalls(MessageTrace::Whose::Called, "200");
    EXPECT_EQ(stepOf("2001", "2002", 433), "Refused with 433: local user 2002 does not want anonymous calls.");
    EXPECT_EQ(stepOf("2001", "2003", 486), "Refused with 486: local user 2003 is not to be disturbed.");
    EXPECT_EQ(stepOf("2001", "2001", 480), "Refused with 480: local user 2001 has no telephone that could ring.");
    talk("2004", "2005");
    EXPECT_EQ(stepOf("2001", "2004", 486), "Refused with 486: local user 2004 has reached his limit of calls.");
    EXPECT_EQ(stepOf("2001", "2005", 486), "Refused with 486: local user 2005 is busy, and no more calls may wait.");
    messageTrace().end();
}

TEST_F(CallsEndingTest, EachSideMayHangUp)
{
    Talk first = talk("2001", "2002");
    EXPECT_EQ(send(first.caller, SipMethod::Bye)->status(), 200);
    SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, first.branch->request.callId);
    EXPECT_EQ(bye->request.uri, "sip:answered@192.0.2.2:5060");
    EXPECT_FALSE(hasNext("BYE"));
    Talk second = talk("2001", "2002");
    EXPECT_EQ(send(second.called, SipMethod::Bye)->status(), 200);
    bye = next("BYE");
    EXPECT_EQ(bye->request.callId, second.invite->request.callId);
    EXPECT_EQ(bye->request.uri, phone("2001").contact());
    EXPECT_FALSE(hasNext("BYE"));
    expectNothingLeft();
}

TEST_F(CallsEndingTest, TheReasonOfAByeIsPassedOn)
{
    Talk made = talk();
    send(made.called, SipMethod::Bye, {}, [](CallMessage& bye) { bye.passed = "Reason: Q.850;cause=16\r\n"; });
    EXPECT_EQ(next("BYE")->request.headers, "Reason: Q.850;cause=16\r\n");
}

TEST_F(CallsEndingTest, ACancelBeforeAnyAnswerReachesTheTelephone)
{
    const HeardPtr invite = call("2001", "2002");
    const SentPtr branch = next("INVITE");
    cancel(invite);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 487}));
    EXPECT_TRUE(branch->isCancelled);
    answer(branch, 487);
    EXPECT_EQ(recordTexts().back(), "end 487");
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(server().size(), 0U);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ACancelWhileItRingsReachesTheTelephone)
{
    const auto [invite, branch] = begun(180);
    cancel(invite);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 180, 487}));
    EXPECT_TRUE(branch->isCancelled);
    EXPECT_EQ(server().counts().ofUser("2002"), 0U);
    answer(branch, 487);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, AnAnswerThatCrossesACancelIsConfirmedAndHungUp)
{
    const auto [invite, branch] = begun(180);
    cancel(invite);
    answer(branch, 200, kAnswer);
    EXPECT_EQ(invite->status(), 487);
    ASSERT_EQ(branch->acks.size(), 1U);
    EXPECT_EQ(branch->acks[0].cseq, branch->request.cseq);
    EXPECT_EQ(next("BYE")->request.callId, branch->request.callId);
    EXPECT_EQ(recordTexts(), (std::vector<std::string>{"start", "ring", "end 487"}));
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ACancelAfterTheAnswerDoesNothing)
{
    const auto [invite, branch] = begun(200, kAnswer);
    cancel(invite);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 200}));
    EXPECT_FALSE(branch->isCancelled);
    EXPECT_EQ(server().counts().ofUser("2001"), 1U);
    ack(invite);
}

TEST_F(CallsEndingTest, ATelephoneThatIgnoresItsCancelIsForgotten)
{
    const HeardPtr invite = call("2001", "2002");
    const SentPtr branch = next("INVITE");
    cancel(invite);
    EXPECT_EQ(server().load().calls, 1U);
    EXPECT_EQ(server().load().legs, 0U);
    pass(39);
    EXPECT_TRUE(branch->isHeard);
    pass(2);
    EXPECT_FALSE(branch->isHeard);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ABusyTelephoneIsPassedOnWithItsReasons)
{
    const HeardPtr invite = call("2001", "2002");
    answer(next("INVITE"), 486, {}, [](CallMessage& busy) {
        busy.phrase = "At Lunch";
        busy.passed = "Retry-After: 1800\r\n";
    });
    EXPECT_EQ(invite->status(), 486);
    EXPECT_EQ(invite->answers.back().phrase, "At Lunch");
    EXPECT_NE(invite->answers.back().headers.find("Retry-After: 1800\r\n"), std::string::npos);
    EXPECT_EQ(recordTexts().back(), "end 486");
    expectNothingLeft();
}

TEST_F(CallsEndingTest, WhatConcernsTheServerAloneIsNotPassedOn)
{
    const std::vector<std::pair<int, int>> told = {{302, 480}, {401, 500}, {404, 480}, {407, 500}, {410, 480},
                                                   {422, 500}, {481, 500}, {482, 500}, {487, 480}, {503, 500}};
    for (const auto& [answered, heard] : told) {
        const HeardPtr invite = call("2001", "2002");
        answer(next("INVITE"), answered, {}, [](CallMessage& failure) {
            failure.phrase = "Secret";
            failure.passed = "Retry-After: 60\r\n";
        });
        EXPECT_EQ(invite->status(), heard) << answered;
        EXPECT_EQ(invite->answers.back().headers.find("Retry-After"), std::string::npos) << answered;
        EXPECT_NE(invite->answers.back().phrase, "Secret") << answered;
    }
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ATelephoneThatCannotBeReachedEndsTheCall)
{
    const HeardPtr silent = call("2001", "2002");
    answerOwn(next("INVITE"), 408);
    EXPECT_EQ(silent->status(), 480);
    const HeardPtr unsent = call("2001", "2002");
    answerOwn(next("INVITE"), 503);
    EXPECT_EQ(unsent->status(), 500);
    expectNothingLeft();
}

// Whether his ring time or the patience of the stack is over first.
TEST_F(CallsEndingTest, ASilentTelephoneIsTheSameAfterAnyTime)
{
    const auto heard = [this](uint32_t ringTime, int otherTelephone) {
        changeUser("2002", [ringTime](Cdb_usr_info& user) { user.noAnsTime = ringTime; });
        const HeardPtr invite = call("2001", "2002");
        const SentPtr silent = next("INVITE");
        answer(next("INVITE"), otherTelephone);
        pass(32);
        if (ringTime > 32)
            answerOwn(silent, 408);
        else
            answer(silent, 487);
        EXPECT_EQ(records.back().second.releaseCode, static_cast<uint32_t>(invite->status()));
        return invite->status();
    };
    addPhone("2002");
    for (const auto& [other, told] : std::map<int, int>{{408, 480}, {480, 480}, {486, 486}, {503, 480}, {415, 415}}) {
        EXPECT_EQ(heard(30, other), told) << other;
        EXPECT_EQ(heard(60, other), told) << other;
    }
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ACallThatNobodyAnswersEndsAfterHalfAMinute)
{
    const auto [invite, branch] = begun(180);
    pass(29);
    EXPECT_EQ(invite->status(), 180);
    pass(1);
    EXPECT_EQ(invite->status(), 480);
    EXPECT_TRUE(branch->isCancelled);
    EXPECT_EQ(recordTexts().back(), "end 480");
    answer(branch, 487);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, AUserMayHaveATimeOfHisOwn)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.noAnsTime = 100; });
    const auto [invite, branch] = begun(180);
    pass(99);
    EXPECT_EQ(invite->status(), 180);
    pass(1);
    EXPECT_EQ(invite->status(), 480);
    answer(branch, 487);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, AnAnsweredCallIsNotEndedByTheTimeToAnswer)
{
    Talk made = talk();
    pass(50);
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(server().size(), 1U);
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ACallerMayLeaveBeforeTheAnswer)
{
    const auto [invite, branch] = begun(180);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(invite->status(), 487);
    EXPECT_TRUE(branch->isCancelled);
    answer(branch, 487);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ATelephoneThatHangsUpBeforeItsAnswerCameIsUnavailable)
{
    const auto [invite, branch] = begun(180);
    PhoneDialog called = calledOf(branch, phone("2002"));
    EXPECT_EQ(send(called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(invite->status(), 480);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, TheServersByeWaitsForTheCallersAck)
{
    const auto [invite, branch] = begun(200, kAnswer);
    PhoneDialog called = calledOf(branch, phone("2002"));
    EXPECT_EQ(send(called, SipMethod::Bye)->status(), 200);
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(recordTexts().back(), "end 200");
    ack(invite);
    EXPECT_EQ(next("BYE")->request.callId, invite->request.callId);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, AByeThatHadToWaitKeepsItsReason)
{
    const auto [invite, branch] = begun(200, kAnswer);
    PhoneDialog called = calledOf(branch, phone("2002"));
    send(called, SipMethod::Bye, {}, [](CallMessage& bye) { bye.passed = "Reason: Q.850;cause=16\r\n"; });
    ack(invite);
    EXPECT_EQ(next("BYE")->request.headers, "Reason: Q.850;cause=16\r\n");
}

TEST_F(CallsEndingTest, ACallerWhoNeverConfirmsIsHungUp)
{
    const auto [invite, branch] = begun(200, kAnswer);
    FakeCallTransport::leaveUnconfirmed(invite);
    const std::string first = next("BYE")->request.callId;
    const std::string second = next("BYE")->request.callId;
    EXPECT_TRUE((first == invite->request.callId && second == branch->request.callId) ||
                (second == invite->request.callId && first == branch->request.callId));
    EXPECT_EQ(recordTexts().back(), "end 408");
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ACallerWhoNeverConfirmsACallThatIsOverIsHungUpToo)
{
    const auto [invite, branch] = begun(200, kAnswer);
    PhoneDialog called = calledOf(branch, phone("2002"));
    send(called, SipMethod::Bye);
    FakeCallTransport::leaveUnconfirmed(invite);
    EXPECT_EQ(next("BYE")->request.callId, invite->request.callId);
    EXPECT_FALSE(hasNext("BYE"));
    expectNothingLeft();
}

TEST_F(CallsEndingTest, AllCallsAreReleasedAtOnce)
{
    Talk answered = talk("2001", "2002");
    const HeardPtr ringing = call("2003", "2004");
    const SentPtr branch = next("INVITE");
    answer(branch, 180);
    EXPECT_EQ(server().releaseAll(), 2U);
    EXPECT_EQ(ringing->status(), 480);
    EXPECT_TRUE(branch->isCancelled);
    for (int i = 0; i < 2; ++i) {
        const SentPtr bye = next("BYE");
        EXPECT_EQ(bye->request.headers, "Reason: SIP;cause=480;text=\"Released by the administrator\"\r\n");
    }
    EXPECT_EQ(server().releaseAll(), 0U);
    EXPECT_TRUE(server().statusTable().empty());
    EXPECT_EQ(recordTexts(),
              (std::vector<std::string>{"start", "answer", "2:start", "2:ring", "end 200", "2:end 480"}));
    answer(branch, 487);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, EveryCallWithATelephoneOverUdpEndsWithItsSockets)
{
    const FakePhone first = addPhone("2003", kTransportTcp);
    addPhone("2004", kTransportTcp);
    Talk overUdp = talk("2001", "2002");
    const HeardPtr mixed = call(first, "2005");
    const SentPtr udpBranch = next("INVITE");
    const HeardPtr overTcp = call(first, "2004");
    const SentPtr one = next("INVITE");
    const SentPtr other = next("INVITE");
    server().dropUdp();
    EXPECT_EQ(mixed->status(), 503);
    EXPECT_EQ(overTcp->status(), 503); // one of the telephones that ring is reached over UDP
    (void)next("BYE");
    (void)next("BYE");
    for (const SentPtr& branch : {udpBranch, one, other})
        EXPECT_TRUE(branch->isCancelled);
    EXPECT_EQ(server().load().calls, 0U);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, CallsOverTcpSurviveTheSocketsOfUdp)
{
    removePhones("2001");
    removePhones("2002");
    addPhone("2001", kTransportTcp);
    addPhone("2002", kTransportTcp);
    Talk made = talk("2001", "2002");
    server().dropUdp();
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(server().size(), 1U);
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, AnAnswerThatCrossesTheEndOfTheSocketsIsLeftToTheStack)
{
    const FakePhone overTcp = addPhone("2002", kTransportTcp);
    call("2001", "2002");
    (void)next("INVITE");
    const SentPtr branch = next("INVITE");
    ASSERT_EQ(branch->request.destination.address, overTcp.source.address);
    server().dropUdp();
    EXPECT_TRUE(branch->isCancelled);
    EXPECT_FALSE(branch->isHeard) << "who hears a success has to confirm and to end it";
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ACallerOverTcpIsToldThatHisCallEndedWithTheSocketsOfUdp)
{
    const FakePhone caller = addPhone("2001", kTransportTcp);
    const HeardPtr invite = call(caller, "2002");
    answer(next("INVITE"), 200, kAnswer);
    ASSERT_EQ(invite->status(), 200);
    server().dropUdp();
    EXPECT_EQ(next("BYE")->request.destination.address, phone("2002").source.address);
    EXPECT_FALSE(hasNext("BYE")) << "before the caller has confirmed";
    ack(invite);
    EXPECT_EQ(next("BYE")->request.destination.address, caller.source.address);
    expectNothingLeft();
}

TEST_F(CallsEndingTest, ThousandsOfCallsLeaveNothingBehind)
{
    for (int i = 0; i < 2000; ++i) {
        Talk made = talk("2001", "2002");
        EXPECT_EQ(server().load().calls, 1U);
        EXPECT_EQ(server().load().legs, 2U);
        EXPECT_EQ(server().load().due, 1U);
        hangUp(made);
        server().step();
        call("2003", "2004");
        answer(next("INVITE"), 486);
        const HeardPtr cancelled = call("2003", "2004");
        cancel(cancelled);
        answer(next("INVITE"), 487);
        server().step();
        transport.sent.clear();
        records.clear();
        states.clear();
        if (HasFailure())
            break;
    }
    pass(Calls::kLingerMs / 1000 + 1);
    const Calls::Load load = server().load();
    EXPECT_EQ(load.calls + load.legs + load.callIds + load.due, 0U);
    expectNothingLeft();
}

} // namespace
