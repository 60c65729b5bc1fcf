// What is under way while telephones send calls on or join them: it meets whom it was meant for, or comes to nothing.
#include "callserver/transfers_fixture.h"

namespace {

using Statuses = std::vector<int>;
using Texts = std::vector<std::string>;

class CallsCrossingsTest : public TransfersFixture {
protected:
    CallsCrossingsTest()
    {
        allowTransfers("2001");
        allowTransfers("2003");
    }

    // 2002 has the call of 2001 sent on.
    SentPtr sendOn(PhoneDialog& by, const std::string& number)
    {
        EXPECT_EQ(refer(by, number)->status(), 202);
        EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
        return next("INVITE");
    }

    // The two who are to talk agree; who has joined them hears good-bye in both calls.
    void agree(const SentPtr& asked, const PhoneDialog& by, const PhoneDialog& other)
    {
        answer(asked, 200, kFourth);
        const SentPtr passed = next("INVITE");
        EXPECT_EQ(passed->request.destination.address, phone("2003").source.address);
        answer(passed, 200, kThird);
        EXPECT_EQ(passed->acks.size(), 1U);
        ASSERT_EQ(asked->acks.size(), 1U);
        EXPECT_EQ(media(asked->acks[0].body.data), media(kThird));
        expectGoodbyeTo(other.callId);
        EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
        expectGoodbyeTo(by.callId);
    }

    // The first caller talks to the new side, and hangs up.
    void expectDone(Talk& made, const SentPtr& toNew)
    {
        complete(toNew);
        hangUp(made.caller, toNew->request.callId);
        expectAllOver();
    }

    // Nothing that was sent there names 2001.
    void expectNotShownTo(const std::string& name) const
    {
        size_t seen = 0;
        for (const SentPtr& one : transport.sent) {
            const CallRequestOut& request = one->request;
            if (request.destination.address != phone(name).source.address)
                continue;
            ++seen;
            const std::string all = request.headers + request.from + request.to + request.contactUser;
            EXPECT_EQ(all.find("2001"), std::string::npos) << request.method << ": " << all;
        }
        EXPECT_GT(seen, 0U);
    }
};

TEST_F(CallsCrossingsTest, AnAnswerToAJoinThatIsOverIsNotTakenForTheNextOne)
{
    Talk first = talk("2001", "2002");
    Talk next2004 = talk("2004", "2002");
    Talk joined = talk("2002", "2003");
    pass(40);
    (void)send(first.caller, SipMethod::Info);
    answer(next("INFO"), 200);
    (void)send(joined.called, SipMethod::Info);
    answer(next("INFO"), 200);
    (void)send(next2004.called, SipMethod::Options);
    pass(21);
    const SentPtr probe = next("OPTIONS"); // 2004 is asked whether it is there, and is silent
    EXPECT_EQ(probe->request.callId, next2004.caller.callId);

    join(first.called, joined.caller);
    const SentPtr asked = next("INVITE");
    answer(asked, 200, kFourth);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(send(first.caller, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(asked->acks.size(), 1U);
    EXPECT_EQ(notified(), "SIP/2.0 487 Request Terminated terminated");
    expectGoodbyeTo(first.called.callId);
    join(next2004.called, joined.caller);
    EXPECT_FALSE(hasNext("INVITE"));
    answer(passed, 200, kThird); // to the offer of 2001, who has left
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_FALSE(hasNext("NOTIFY"));
    const SentPtr back = next("INVITE");
    EXPECT_EQ(back->request.callId, joined.called.callId);
    EXPECT_EQ(media(back->request.body.data), media(kOffer));
    answer(back, 200, kAnswer);
    EXPECT_EQ(back->acks.size(), 1U);

    pass(1);
    const SentPtr again = next("INVITE");
    EXPECT_EQ(again->request.callId, next2004.caller.callId);
    answerOwn(probe, 408);
    agree(again, next2004.called, joined.caller);
    expectOneCallOf("2004", "2003", "2002");
    hangUp(next2004.caller, joined.called.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, TheRecordOfASideThatHasMovedEndsWithIt)
{
    Talk second = talk("2003", "2002");
    Talk first = talk("2002", "2001");
    join(first.caller, second.called);
    agree(next("INVITE"), first.caller, second.called);
    EXPECT_EQ(recordTexts(), (Texts{"start", "answer", "2:start", "2:answer"}));
    EXPECT_EQ(server().statusTable().size(), 3U); // both, and the head
    hangUp(second.caller, first.called.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AllRecordsOfASideThatHasMovedTwiceEndWithIt)
{
    Talk second = talk("2003", "2002");
    Talk first = talk("2002", "2001");
    join(first.caller, second.called);
    agree(next("INVITE"), first.caller, second.called);
    // 2003 sends 2001 on to 2004.
    const SentPtr toNew = sendOn(second.caller, "2004");
    answer(toNew, 200, kAnswer);
    const SentPtr offered = next("INVITE");
    EXPECT_EQ(offered->request.callId, first.called.callId);
    answer(offered, 200, kFourth);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    expectGoodbyeTo(second.caller.callId);
    hangUp(first.called, toNew->request.callId);
    EXPECT_EQ(recordTexts().size(), 9U);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AJoinWaitsForAnOfferInTheOtherCall)
{
    Two two = twoCalls();
    join(two.first.called, two.second.caller);
    const SentPtr asked = next("INVITE");
    const HeardPtr hold = send(two.second.caller, SipMethod::Invite, kHold);
    const SentPtr held = next("INVITE");
    EXPECT_EQ(held->request.callId, two.second.called.callId);
    answer(asked, 200, kFourth);
    EXPECT_FALSE(hasNext("INVITE"));
    ASSERT_EQ(asked->acks.size(), 1U); // with what it has already
    EXPECT_EQ(media(asked->acks[0].body.data), media(kAnswer));
    answer(held, 200, kThird);
    ASSERT_EQ(held->acks.size(), 1U);
    EXPECT_EQ(held->acks[0].cseq, held->request.cseq);
    ack(hold);
    pass(1);
    agree(next("INVITE"), two.first.called, two.second.caller);
    expectOneCallOf("2001", "2003", "2002");
    hangUp(two.second.called, two.first.caller.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AnOfferThatIsNeverConfirmedEndsItsCallAndTheJoin)
{
    Two two = twoCalls();
    join(two.first.called, two.second.caller);
    const SentPtr asked = next("INVITE");
    const HeardPtr hold = send(two.second.caller, SipMethod::Invite, kHold);
    answer(next("INVITE"), 200, kThird);
    EXPECT_EQ(hold->status(), 200);
    answer(asked, 200, kFourth);
    FakeCallTransport::leaveUnconfirmed(hold);
    EXPECT_EQ(notified(), "SIP/2.0 481 Call/Transaction Does Not Exist terminated");
    EXPECT_EQ(server().counts().ofUser("2003"), 0U);
    for (const std::string& callId : {two.second.caller.callId, two.second.called.callId}) {
        const SentPtr bye = next("BYE");
        EXPECT_EQ(bye->request.callId, callId);
        answer(bye, 200);
    }
    expectOneCallOf("2001", "2002");
    EXPECT_EQ(recordTexts().back(), "2:end 408");
    hangUp(two.first);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, ATextToASideThatIsReplacedIsNotTakenForTheNewOne)
{
    Two two = twoCalls();
    join(two.first.called, two.second.caller);
    const HeardPtr info = send(two.second.called, SipMethod::Info);
    const SentPtr passed = next("INFO");
    EXPECT_EQ(passed->request.callId, two.second.caller.callId);
    agree(next("INVITE"), two.first.called, two.second.caller);
    EXPECT_EQ(info->statuses(), (Statuses{480})); // 481 would end its dialog
    answer(passed, 481);
    expectOneCallOf("2001", "2003", "2002");
    hangUp(two.first.caller, two.second.called.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AnOfferToTheOneWhoHasAskedAndLeftDoesNotEndTheTransfer)
{
    Talk made = talk("2001", "2002");
    const SentPtr toNew = sendOn(made.called, "2003");
    answer(toNew, 180);
    EXPECT_EQ(notified(), "SIP/2.0 180 Ringing active");
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr held = next("INVITE");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(hold->status(), 500);
    EXPECT_FALSE(lineOf(hold->answers.back().headers, "Retry-After").empty());
    answer(held, 481);
    EXPECT_FALSE(toNew->isCancelled);
    complete(toNew);
    EXPECT_EQ(server().counts().ofUser("2001"), 1U);
    hangUp(made.caller, toNew->request.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AnOfferThatNobodyAnswersAnyMoreDoesNotHoldUpTheTransfer)
{
    Talk made = talk("2001", "2002");
    const SentPtr toNew = sendOn(made.called, "2003");
    (void)send(made.caller, SipMethod::Invite, kHold);
    (void)next("INVITE");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    answer(toNew, 200, kThird);
    const SentPtr offered = next("INVITE");
    EXPECT_EQ(offered->request.callId, made.caller.callId);
    answer(offered, 200, kFourth);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    pass(25);
    EXPECT_EQ(server().counts().ofUser("2001"), 1U);
    hangUp(made.caller, toNew->request.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, ATextToTheOneWhoHasAskedAndLeftDoesNotEndTheTransfer)
{
    Talk made = talk("2001", "2002");
    const SentPtr toNew = sendOn(made.called, "2003");
    const HeardPtr info = send(made.caller, SipMethod::Info);
    const SentPtr passed = next("INFO");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(info->statuses(), (Statuses{480}));
    answer(passed, 481);
    EXPECT_FALSE(toNew->isCancelled);
    expectDone(made, toNew);
}

TEST_F(CallsCrossingsTest, AQuestionToTheOneWhoHasLeftDoesNotEndTheTransfer)
{
    Talk made = talk("2001", "2002");
    pass(60);
    const SentPtr toCaller = next("OPTIONS"); // whether they are still there
    const SentPtr toCalled = next("OPTIONS");
    EXPECT_EQ(toCalled->request.callId, made.called.callId);
    answer(toCaller, 200);
    const SentPtr toNew = sendOn(made.called, "2003");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    answer(toCalled, 481);
    EXPECT_FALSE(toNew->isCancelled);
    expectDone(made, toNew);
}

TEST_F(CallsCrossingsTest, TheOfferThatHeAskedForIsConfirmedWhenHeLeaves)
{
    Talk made = talk("2001", "2002");
    const HeardPtr late = send(made.called, SipMethod::Invite);
    const SentPtr asked = next("INVITE");
    answer(asked, 200, kFourth);
    EXPECT_EQ(late->status(), 200);
    const SentPtr toNew = sendOn(made.called, "2003");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    ASSERT_EQ(asked->acks.size(), 1U);
    EXPECT_EQ(media(asked->acks[0].body.data), media(kAnswer));
    expectDone(made, toNew);
}

TEST_F(CallsCrossingsTest, ARefreshOfTheOneWhoHasLeftDoesNotHoldUpTheTransfer)
{
    Talk made = talk("2001", "2002");
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr held = next("INVITE");
    cancel(hold);
    answer(held, 200, kAnswer);
    const SentPtr back = next("INVITE"); // it gets again what it had
    EXPECT_EQ(back->request.callId, made.called.callId);
    const SentPtr toNew = sendOn(made.called, "2003");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    complete(toNew);
    pass(25);
    EXPECT_EQ(server().counts().ofUser("2001"), 1U);
    hangUp(made.caller, toNew->request.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, ATextToATelephoneThatHasSentTheCallOnIsNotTakenForTheNewOne)
{
    const HeardPtr invite = call("2001", "2002");
    const SentPtr first = next("INVITE");
    answer(first, 180);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    const HeardPtr info = send(caller, SipMethod::Info);
    const SentPtr passed = next("INFO");
    answer(first, 302, {}, [](CallMessage& response) { response.contactUser = "2003"; });
    EXPECT_EQ(info->statuses(), (Statuses{480}));
    const SentPtr second = next("INVITE");
    answer(second, 200, kThird);
    ack(invite);
    answer(passed, 481);
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(server().counts().ofUser("2003"), 1U);
    hangUp(caller, second->request.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AnOfferToATelephoneThatHasSentTheCallOnIsNotTakenForTheNewOne)
{
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.body = {}; });
    const SentPtr first = next("INVITE");
    answer(first, 180);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    const HeardPtr update = send(caller, SipMethod::Update, kOffer);
    const SentPtr passed = next("UPDATE");
    answer(first, 302, {}, [](CallMessage& response) { response.contactUser = "2003"; });
    EXPECT_EQ(update->status(), 500);
    const SentPtr second = next("INVITE");
    answer(second, 200, kThird);
    ack(invite, kOffer);
    answer(passed, 200, kAnswer, [](CallMessage& response) { response.contact = "sip:strange@192.0.2.2:5060"; });
    EXPECT_EQ(update->finals, 1U);
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.uri, "sip:answered@192.0.2.3:5060");
    answer(bye, 200);
    EXPECT_FALSE(hasNext("BYE"));
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AnOfferToASideThatIsToBeReplacedAndLeavesDoesNotEndTheJoin)
{
    Two two = twoCalls();
    join(two.first.called, two.second.caller);
    const SentPtr asked = next("INVITE");
    const HeardPtr hold = send(two.second.called, SipMethod::Invite, kHold);
    const SentPtr held = next("INVITE");
    EXPECT_EQ(held->request.callId, two.second.caller.callId);
    EXPECT_EQ(send(two.second.caller, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(hold->status(), 500);
    answer(held, 481);
    EXPECT_EQ(server().counts().ofUser("2003"), 1U);
    answer(asked, 200, kFourth);
    answer(next("INVITE"), 200, kThird);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    expectGoodbyeTo(two.first.called.callId);
    expectOneCallOf("2001", "2003", "2002");
    hangUp(two.first.caller, two.second.called.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, WhateverEndsATransferMidwayLeavesNothing)
{
    enum class End { Drop, Release, Goodbye };
    for (const bool isJoin : {false, true})
        for (int steps = 0; steps < 4; ++steps)
            for (const End end : {End::Drop, End::Release, End::Goodbye}) {
                SCOPED_TRACE(std::string(isJoin ? "join" : "transfer") + ", steps " + std::to_string(steps) + ", end " +
                             std::to_string(static_cast<int>(end)));
                Two two = twoCalls();
                (void)refer(two.first.called, "2004", isJoin ? replacing(two.second.caller) : Change());
                if (steps > 0)
                    answer(next("INVITE"), 200, kFourth);
                if (steps > 1)
                    answer(next("INVITE"), steps == 2 ? 491 : 200, kThird);
                if (end == End::Drop)
                    server().dropUdp();
                else if (end == End::Release)
                    (void)server().releaseAll();
                else
                    for (PhoneDialog* by : {&two.first.caller, &two.second.called})
                        (void)send(*by, SipMethod::Bye);
                for (const std::string method : {"INVITE", "BYE", "NOTIFY"})
                    while (hasNext(method))
                        answer(next(method), method == "INVITE" ? 487 : 200);
                pass(60);
                expectAllOver();
            }
}

TEST_F(CallsCrossingsTest, CallsSentOnCountAgainstTheLimitOfTheirSender)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.maxCalls = 1; });
    Talk made = talk("2001", "2002");
    const SentPtr toNew = sendOn(made.called, "2003");
    complete(toNew);
    expectGoodbyeTo(made.called.callId);
    EXPECT_EQ(server().counts().ofUser("2002"), 1U);
    EXPECT_EQ(call("2005", "2002")->status(), 486);
    EXPECT_FALSE(hasNext("INVITE"));
    hangUp(made.caller, toNew->request.callId);
    const HeardPtr invite = call("2005", "2002");
    answer(next("INVITE"), 486);
    EXPECT_EQ(invite->status(), 486);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, CallsThatATelephoneSendsOnCountAgainstTheLimitOfItsUser)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.maxCalls = 1; });
    const HeardPtr invite = call("2001", "2002");
    answer(next("INVITE"), 302, {}, [](CallMessage& response) { response.contactUser = "2003"; });
    const SentPtr forwarded = next("INVITE");
    answer(forwarded, 200, kThird);
    ack(invite);
    EXPECT_EQ(server().counts().madeByUser("2002"), 1U);
    EXPECT_EQ(call("2005", "2002")->status(), 486);
    EXPECT_FALSE(hasNext("INVITE"));
    PhoneDialog caller = callerOf(invite, phone("2001"));
    hangUp(caller, forwarded->request.callId);
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AnAnonymousCallerStaysSoWhereverHeIsSentOn)
{
    Talk made = talk("2001", "2002", [](CallMessage& request) { request.isAnonymous = true; });
    answer(sendOn(made.called, "2003"), 302, {}, [](CallMessage& response) { response.contactUser = "2004"; });
    const SentPtr toNew = next("INVITE");
    EXPECT_EQ(toNew->request.destination.address, phone("2004").source.address);
    complete(toNew);
    expectGoodbyeTo(made.called.callId);
    hangUp(made.caller, toNew->request.callId);
    expectNotShownTo("2003");
    expectNotShownTo("2004");
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AnAnonymousCallerStaysSoWhenHeIsJoined)
{
    Talk first = talk("2001", "2002", [](CallMessage& request) { request.isAnonymous = true; });
    Talk second = talk("2002", "2003");
    join(first.called, second.caller);
    agree(next("INVITE"), first.called, second.caller);
    hangUp(first.caller, second.called.callId);
    expectNotShownTo("2003");
    expectAllOver();
}

TEST_F(CallsCrossingsTest, AnUpdateOfASideThatLeavesIsNeitherCancelledNorConfirmed)
{
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    notified();
    const HeardPtr update = send(made.called, SipMethod::Update, kHold);
    const SentPtr passed = next("UPDATE");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(update->status(), 487);
    answer(passed, 200, kAnswer);
    EXPECT_TRUE(passed->acks.empty());
    const SentPtr back = next("INVITE"); // to the new side
    EXPECT_EQ(back->request.destination.address, phone("2003").source.address);
    EXPECT_EQ(next("INVITE")->request.callId, made.invite->request.callId); // what held before the UPDATE
}

} // namespace
