// A call that rings at one telephone of a user is taken with another one of his.
#include "callserver/transfers_fixture.h"

namespace {

using Statuses = std::vector<int>;
using Texts = std::vector<std::string>;

class CallsPickupsTest : public TransfersFixture {
protected:
    // 2001 calls 2002, whose telephone rings.
    void ring(const Change& change = {})
    {
        invite = call("2001", "2002", change);
        branch = next("INVITE");
        answer(branch, 180);
        caller = callerOf(invite, phone("2001"));
        called = calledOf(branch, phone("2002"));
    }

    // The user's other telephone has come, and has the caller's offer.
    void pickUp()
    {
        arrived = take(desk, called);
        ASSERT_EQ(arrived->status(), 200);
        ack(arrived);
        offered = next("INVITE");
        taken = callerOf(arrived, desk);
    }

    // As telephones do it: with the tag of their end.
    void answerOffered(int status, const std::string& body = {})
    {
        answer(offered, status, body, [this](CallMessage& response) { response.to.tag = taken.tag; });
    }

    void expectTheFirstTelephoneAnswersAsEver()
    {
        answer(branch, 183, kAnswer);
        EXPECT_EQ(invite->status(), 183);
        answer(branch, 200, kAnswer);
        EXPECT_EQ(invite->status(), 200);
        EXPECT_EQ(invite->answers.back().body.data, kAnswer);
        ack(invite);
        hangUp(caller, called.callId);
        expectAllOver();
    }

    // Another one behind the same address; it does not ring.
    const FakePhone desk = phone("2002");
    HeardPtr invite;
    SentPtr branch;
    PhoneDialog caller;
    PhoneDialog called;
    HeardPtr arrived;
    SentPtr offered;
    PhoneDialog taken;
};

TEST_F(CallsPickupsTest, AnotherTelephoneOfTheUserTakesWhatRings)
{
    ring();
    (void)takeStates();
    arrived = take(desk, called);
    EXPECT_EQ(arrived->statuses(), (Statuses{100, 200}));
    const std::string& held = arrived->answers.back().body.data;
    EXPECT_NE(held.find("m=audio 9 RTP/AVP 8\r\na=inactive\r\n"), std::string::npos) << held;
    EXPECT_EQ(origin(held), origin(kOffer));
    EXPECT_FALSE(hasNext("INVITE"));
    ack(arrived);
    offered = next("INVITE");
    taken = callerOf(arrived, desk);
    EXPECT_EQ(offered->request.callId, arrived->request.callId);
    EXPECT_EQ(media(offered->request.body.data), media(kOffer));
    EXPECT_EQ(origin(offered->request.body.data), "o=- 1 2 IN IP4 192.0.2.1");
    EXPECT_NE(lineOf(offered->request.headers, "P-Asserted-Identity").find("sip:2001@"), std::string::npos);
    EXPECT_FALSE(branch->isCancelled);
    EXPECT_EQ(invite->status(), 180);
    answerOffered(200, kThird);
    EXPECT_EQ(offered->acks.size(), 1U);
    EXPECT_EQ(invite->status(), 200);
    EXPECT_EQ(invite->answers.back().body.data, kThird);
    EXPECT_TRUE(branch->isCancelled);
    answer(branch, 487);
    ack(invite);
    EXPECT_EQ(takeStates(), (Texts{"2001 3", "2002 3"}));
    const HeardPtr hold = send(taken, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(passed->request.callId, caller.callId);
    answer(passed, 200, kOffer);
    ack(hold);
    hangUp(taken, caller.callId);
    EXPECT_EQ(recordTexts(), (Texts{"start", "ring", "answer", "end 200"}));
    expectAllOver();
}

TEST_F(CallsPickupsTest, NobodyTakesWhatRingsAtOthers)
{
    ring();
    EXPECT_EQ(take(phone("2004"), called)->status(), 403);
    EXPECT_EQ(take(phone("2001"), called)->status(), 403);
    PhoneDialog wrong = called;
    wrong.tag = "other";
    EXPECT_EQ(take(desk, wrong)->status(), 481);
    expectTheFirstTelephoneAnswersAsEver();
}

TEST_F(CallsPickupsTest, WhatRingsEverywhereIsTakenForAllOfThem)
{
    const FakePhone second = addPhone("2002");
    ring();
    const SentPtr other = next("INVITE");
    answer(other, 180);
    arrived = take(second, called);
    ack(arrived);
    offered = next("INVITE");
    taken = callerOf(arrived, second);
    answerOffered(200, kThird);
    EXPECT_EQ(invite->status(), 200);
    for (const SentPtr& one : {branch, other}) {
        EXPECT_TRUE(one->isCancelled);
        answer(one, 487);
    }
    ack(invite);
    EXPECT_EQ(records.back().second.calledAddr, second.source.address + ":5060");
    hangUp(caller, taken.callId);
    expectAllOver();
}

// RFC 3891 section 3: only a dialog that this side has begun.
TEST_F(CallsPickupsTest, ACallOutIsNotTakenBeforeItsAnswer)
{
    ring();
    EXPECT_EQ(take(phone("2001"), caller)->status(), 481);
    expectTheFirstTelephoneAnswersAsEver();
}

TEST_F(CallsPickupsTest, OnlyWhatRingsIsWanted)
{
    ring();
    arrived = take(desk, called, true);
    EXPECT_EQ(arrived->status(), 200);
}

TEST_F(CallsPickupsTest, ASessionThatTheCallerHasHeardOfIsNotReplaced)
{
    ring();
    answer(branch, 183, kAnswer);
    EXPECT_EQ(take(desk, called)->status(), 481);
    answer(branch, 200, kAnswer);
    ack(invite);
    hangUp(caller, called.callId);
    expectAllOver();
}

TEST_F(CallsPickupsTest, WithoutBothOffersThereIsNothingToJoin)
{
    ring([](CallMessage& request) { request.body = {}; });
    EXPECT_EQ(take(desk, called)->status(), 481);
    cancel(invite);
    answer(branch, 487);
    ring();
    const HeardPtr late = call(desk, "2003", [this](CallMessage& request) {
        request.body = {};
        request.replaces = ReplacedDialog{called.callId, called.serverTag, called.tag, false};
    });
    EXPECT_EQ(late->status(), 481);
    cancel(invite);
    answer(branch, 487);
    expectAllOver();
}

TEST_F(CallsPickupsTest, ATelephoneThatCannotTakeTheCallLeavesItRinging)
{
    ring();
    pickUp();
    answerOffered(488);
    expectGoodbyeTo(taken.callId);
    EXPECT_FALSE(branch->isCancelled);
    expectTheFirstTelephoneAnswersAsEver();
}

TEST_F(CallsPickupsTest, ATelephoneThatAgreesToNothingLeavesItRinging)
{
    ring();
    pickUp();
    answerOffered(200);
    EXPECT_EQ(offered->acks.size(), 1U);
    expectGoodbyeTo(taken.callId);
    expectTheFirstTelephoneAnswersAsEver();
}

TEST_F(CallsPickupsTest, ATelephoneThatHangsUpAtOnceLeavesItRinging)
{
    ring();
    pickUp();
    EXPECT_EQ(send(taken, SipMethod::Bye)->status(), 200);
    EXPECT_FALSE(hasNext("BYE"));
    expectTheFirstTelephoneAnswersAsEver();
}

TEST_F(CallsPickupsTest, ATelephoneThatNeverConfirmsLeavesItRinging)
{
    ring();
    arrived = take(desk, called);
    FakeCallTransport::leaveUnconfirmed(arrived);
    expectGoodbyeTo(arrived->request.callId);
    EXPECT_FALSE(hasNext("INVITE"));
    expectTheFirstTelephoneAnswersAsEver();
}

TEST_F(CallsPickupsTest, TheFirstOfTwoTelephonesGetsTheCall)
{
    ring();
    pickUp();
    EXPECT_EQ(take(desk, called)->status(), 491);
    answerOffered(200, kThird);
    answer(branch, 487);
    ack(invite);
    hangUp(caller, taken.callId);
    expectAllOver();
}

TEST_F(CallsPickupsTest, TheTelephoneThatRangMayAnswerFirst)
{
    for (const bool isConfirmed : {false, true}) {
        ring();
        arrived = take(desk, called);
        if (isConfirmed)
            ack(arrived);
        answer(branch, 200, kAnswer);
        EXPECT_EQ(invite->status(), 200);
        EXPECT_EQ(hasNext("BYE"), isConfirmed); // RFC 3261 section 15
        if (!isConfirmed)
            ack(arrived);
        const SentPtr bye = next("BYE");
        EXPECT_EQ(bye->request.callId, arrived->request.callId);
        EXPECT_NE(bye->request.headers.find("Call completed elsewhere"), std::string::npos);
        answer(bye, 200);
        EXPECT_EQ(hasNext("INVITE"), isConfirmed);
        EXPECT_TRUE(!isConfirmed || !next("INVITE")->isHeard);
        ack(invite);
        hangUp(caller, called.callId);
        expectAllOver();
    }
}

TEST_F(CallsPickupsTest, TheCallerMayGiveUpMeanwhile)
{
    for (const bool isConfirmed : {false, true}) {
        ring();
        arrived = take(desk, called);
        if (isConfirmed)
            ack(arrived);
        cancel(invite);
        EXPECT_EQ(invite->status(), 487);
        answer(branch, 487);
        if (!isConfirmed) {
            EXPECT_FALSE(hasNext("BYE"));
            ack(arrived);
        }
        expectGoodbyeTo(arrived->request.callId);
        if (isConfirmed)
            (void)next("INVITE");
        EXPECT_FALSE(hasNext("INVITE"));
        expectAllOver();
    }
}

TEST_F(CallsPickupsTest, NothingIsLeftOfATelephoneThatIsNeverHeardAgain)
{
    ring();
    arrived = take(desk, called);
    cancel(invite);
    answer(branch, 487);
    expectAllOver();
    EXPECT_FALSE(hasNext("BYE"));
}

TEST_F(CallsPickupsTest, TheTelephoneThatRangMayRefuseMeanwhile)
{
    ring();
    pickUp();
    answer(branch, 486);
    EXPECT_EQ(invite->status(), 180);
    answerOffered(200, kThird);
    EXPECT_EQ(invite->status(), 200);
    ack(invite);
    hangUp(caller, taken.callId);
    expectAllOver();
}

TEST_F(CallsPickupsTest, WhenBothRefuseTheCallerHearsIt)
{
    ring();
    pickUp();
    answer(branch, 486);
    answerOffered(488);
    EXPECT_EQ(invite->status(), 486);
    expectGoodbyeTo(taken.callId);
    expectAllOver();
}

TEST_F(CallsPickupsTest, TheEndOfItsTimeEndsAlsoWhatIsBeingTaken)
{
    ring();
    pickUp();
    pass(31);
    EXPECT_EQ(invite->status(), 480);
    EXPECT_TRUE(branch->isCancelled);
    answer(branch, 487);
    expectGoodbyeTo(taken.callId);
    expectAllOver();
}

TEST_F(CallsPickupsTest, ANumberThatTheFirstTelephoneNamesIsCalledWhenTheOtherOneRefuses)
{
    ring();
    arrived = take(desk, called);
    answer(branch, 302, {}, [](CallMessage& response) { response.contactUser = "2003"; });
    EXPECT_EQ(send(taken = callerOf(arrived, desk), SipMethod::Bye)->status(), 200);
    const SentPtr forwarded = next("INVITE");
    EXPECT_EQ(forwarded->request.destination.address, phone("2003").source.address);
    cancel(invite);
    answer(forwarded, 487);
    expectAllOver();
}

} // namespace
