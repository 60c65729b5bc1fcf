// Offers within a call.
#include "callserver/calls_fixture.h"

namespace {

using Statuses = std::vector<int>;

class CallsOffersTest : public CallsFixture {
protected:
    // As at first, but newer than the hold that was taken back.
    static constexpr const char* kOfferAgain = "v=0\r\no=- 1 3 IN IP4 192.0.2.1\r\ns=-\r\nm=audio 4000 RTP/AVP 8\r\n";
};

TEST_F(CallsOffersTest, TheCallerPutsTheCallOnHoldAndTakesItBack)
{
    Talk made = talk();
    for (const char* offer : {kHold, kOffer}) {
        const HeardPtr reinvite = send(made.caller, SipMethod::Invite, offer);
        const SentPtr passed = next("INVITE");
        EXPECT_EQ(passed->request.callId, made.branch->request.callId);
        EXPECT_EQ(passed->request.uri, "sip:answered@192.0.2.2:5060");
        EXPECT_EQ(passed->request.to, made.branch->request.to + ";tag=of-" + made.branch->request.callId);
        EXPECT_EQ(passed->request.body.data, offer);
        EXPECT_TRUE(passed->request.hasContact);
        EXPECT_EQ(reinvite->statuses(), Statuses{});
        answer(passed, 200, kAnswer);
        ASSERT_EQ(passed->acks.size(), 1U);
        EXPECT_EQ(passed->acks[0].cseq, passed->request.cseq);
        EXPECT_EQ(reinvite->status(), 200);
        EXPECT_EQ(reinvite->answers.back().body.data, kAnswer);
        EXPECT_TRUE(reinvite->answers.back().hasContact);
        ack(reinvite);
    }
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsOffersTest, TheCalledSidePutsTheCallOnHold)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.called, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(passed->request.callId, made.invite->request.callId);
    EXPECT_EQ(passed->request.uri, phone("2001").contact());
    EXPECT_EQ(passed->request.body.data, kHold);
    answer(passed, 200, kOffer);
    EXPECT_EQ(passed->acks.size(), 1U);
    EXPECT_EQ(reinvite->answers.back().body.data, kOffer);
    ack(reinvite);
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsOffersTest, AnUpdateWithAnOfferIsPassedInBothDirections)
{
    Talk made = talk();
    const HeardPtr first = send(made.caller, SipMethod::Update, kHold);
    SentPtr passed = next("UPDATE");
    EXPECT_EQ(passed->request.callId, made.branch->request.callId);
    EXPECT_EQ(passed->request.body.data, kHold);
    answer(passed, 200, kAnswer);
    EXPECT_EQ(first->status(), 200);
    EXPECT_EQ(first->answers.back().body.data, kAnswer);
    EXPECT_EQ(passed->acks.size(), 0U);
    const HeardPtr second = send(made.called, SipMethod::Update, kOffer);
    passed = next("UPDATE");
    EXPECT_EQ(passed->request.callId, made.invite->request.callId);
    answer(passed, 488);
    EXPECT_EQ(second->status(), 488);
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsOffersTest, AnUpdateThatTheOtherSideDoesNotKnowIsRefused)
{
    Talk made = talk("2001", "2002", {}, [](CallMessage& success) { success.allow = "INVITE, ACK, BYE, CANCEL"; });
    EXPECT_EQ(made.invite->answers.back().headers.find("UPDATE"), std::string::npos);
    const HeardPtr update = send(made.caller, SipMethod::Update, kHold);
    EXPECT_EQ(update->status(), 405);
    EXPECT_TRUE(
        isIn(update->answers.back().headers, "Allow: INVITE, ACK, CANCEL, BYE, OPTIONS, PRACK, REFER, SUBSCRIBE"));
    EXPECT_FALSE(hasNext("UPDATE"));
}

TEST_F(CallsOffersTest, TheAnswerToALateOfferGoesWithTheAck)
{
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.body = {}; });
    const SentPtr branch = next("INVITE");
    EXPECT_TRUE(branch->request.body.isEmpty());
    answer(branch, 200, kOffer);
    EXPECT_EQ(invite->answers.back().body.data, kOffer);
    EXPECT_EQ(branch->acks.size(), 0U);
    ack(invite, kAnswer);
    ASSERT_EQ(branch->acks.size(), 1U);
    EXPECT_EQ(branch->acks[0].body.data, kAnswer);
    EXPECT_EQ(branch->acks[0].cseq, branch->request.cseq);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    expectNothingLeft();
}

TEST_F(CallsOffersTest, ALateOfferThatIsNeverConfirmedEndsBothSides)
{
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.body = {}; });
    const SentPtr branch = next("INVITE");
    answer(branch, 200, kOffer);
    FakeCallTransport::leaveUnconfirmed(invite);
    EXPECT_EQ(branch->acks.size(), 1U);
    (void)next("BYE");
    (void)next("BYE");
    expectNothingLeft();
}

TEST_F(CallsOffersTest, ALateOfferWithinTheCallWaitsForTheAckToo)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite);
    const SentPtr passed = next("INVITE");
    EXPECT_TRUE(passed->request.body.isEmpty());
    answer(passed, 200, kOffer);
    EXPECT_EQ(reinvite->answers.back().body.data, kOffer);
    EXPECT_EQ(passed->acks.size(), 0U);
    ack(reinvite, kAnswer);
    ASSERT_EQ(passed->acks.size(), 1U);
    EXPECT_EQ(passed->acks[0].body.data, kAnswer);
    EXPECT_EQ(passed->acks[0].cseq, passed->request.cseq);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->statuses(), Statuses{});
    EXPECT_TRUE(hasNext("INVITE"));
}

TEST_F(CallsOffersTest, AnOfferThatIsNeverConfirmedEndsTheCall)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.called, SipMethod::Invite, kHold);
    answer(next("INVITE"), 200, kOffer);
    FakeCallTransport::leaveUnconfirmed(reinvite);
    (void)next("BYE");
    (void)next("BYE");
    EXPECT_EQ(recordTexts().back(), "end 408");
    expectNothingLeft();
}

TEST_F(CallsOffersTest, AnOfferThatMeetsAnotherIsPending)
{
    for (const SipMethod first : {SipMethod::Invite, SipMethod::Update})
        for (const SipMethod second : {SipMethod::Invite, SipMethod::Update})
            for (const bool isCallerFirst : {true, false}) {
                Talk made = talk();
                PhoneDialog& one = isCallerFirst ? made.caller : made.called;
                PhoneDialog& other = isCallerFirst ? made.called : made.caller;
                const HeardPtr offer = send(one, first, kHold);
                EXPECT_EQ(send(other, second, kOffer)->status(), 491);
                answer(next(first == SipMethod::Invite ? "INVITE" : "UPDATE"), 200, kAnswer);
                EXPECT_EQ(offer->status(), 200);
                ack(offer);
                EXPECT_EQ(send(other, second, kOffer)->statuses(), Statuses{}); // now it may
                answer(next(second == SipMethod::Invite ? "INVITE" : "UPDATE"), 488);
                hangUp(made);
            }
    expectNothingLeft();
}

TEST_F(CallsOffersTest, AnOfferOnTopOfTheOwnIsToBeTriedLater)
{
    for (const SipMethod first : {SipMethod::Invite, SipMethod::Update})
        for (const SipMethod second : {SipMethod::Invite, SipMethod::Update})
            for (const bool isCaller : {true, false}) {
                Talk made = talk();
                PhoneDialog& side = isCaller ? made.caller : made.called;
                const HeardPtr offer = send(side, first, kHold);
                const HeardPtr another = send(side, second, kOffer);
                EXPECT_EQ(another->status(), 500);
                EXPECT_TRUE(isIn(another->answers.back().headers, "Retry-After: 3"));
                answer(next(first == SipMethod::Invite ? "INVITE" : "UPDATE"), 200, kAnswer);
                EXPECT_EQ(offer->status(), 200);
                ack(offer);
                hangUp(made);
            }
}

TEST_F(CallsOffersTest, AnOfferOfTheOtherSideThatIsNotConfirmedYetIsStillPending)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    answer(next("INVITE"), 200, kAnswer);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kOffer)->status(), 491);
    ack(reinvite);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kOffer)->statuses(), Statuses{});
}

TEST_F(CallsOffersTest, ThePendingOfferOfTheOtherTelephoneIsPassedOn)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    answer(next("INVITE"), 491);
    EXPECT_EQ(reinvite->status(), 491);
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsOffersTest, BeforeTheCallersAckTheCalledSideHasToWait)
{
    const HeardPtr invite = call("2001", "2002");
    const SentPtr branch = next("INVITE");
    answer(branch, 200, kAnswer);
    PhoneDialog called = calledOf(branch, phone("2002"));
    EXPECT_EQ(send(called, SipMethod::Invite, kHold)->status(), 491);
    ack(invite);
    EXPECT_EQ(send(called, SipMethod::Invite, kHold)->statuses(), Statuses{});
}

TEST_F(CallsOffersTest, AnInviteWhileItRingsIsRefused)
{
    const HeardPtr invite = call("2001", "2002");
    const SentPtr branch = next("INVITE");
    answer(branch, 183, kAnswer);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Invite, kHold)->status(), 500);
    PhoneDialog called = calledOf(branch, phone("2002"));
    EXPECT_EQ(send(called, SipMethod::Invite, kHold)->status(), 491);
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_FALSE(invite->isDecided);
}

TEST_F(CallsOffersTest, ARefusedOfferLeavesTheCallAsItWas)
{
    Talk made = talk();
    for (const int status : {403, 415, 488, 500, 603}) {
        const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
        answer(next("INVITE"), status, {}, [](CallMessage& failure) { failure.passed = "Warning: 304 x \"no\"\r\n"; });
        EXPECT_EQ(reinvite->status(), status);
        EXPECT_TRUE(isIn(reinvite->answers.back().headers, "Warning: 304 x \"no\""));
        EXPECT_EQ(server().size(), 1U) << status;
    }
    EXPECT_FALSE(hasNext("BYE"));
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsOffersTest, AnOfferThatCannotBeSentLeavesTheCallAsItWas)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    answerOwn(next("INVITE"), 503);
    EXPECT_EQ(reinvite->status(), 500);
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsOffersTest, AnOfferToASideThatDoesNotKnowTheCallEndsIt)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    answer(next("INVITE"), 481);
    EXPECT_EQ(reinvite->status(), 481);
    EXPECT_EQ(next("BYE")->request.callId, made.invite->request.callId);
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(recordTexts().back(), "end 408");
    expectNothingLeft();
}

// It may have heard of it; a BYE gets there when its network is back.
TEST_F(CallsOffersTest, AnOfferThatNobodyAnswersEndsBothSides)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.called, SipMethod::Invite, kHold);
    answerOwn(next("INVITE"), 408);
    EXPECT_EQ(reinvite->status(), 408);
    (void)next("BYE");
    (void)next("BYE");
    expectNothingLeft();
}

TEST_F(CallsOffersTest, ACancelOfAnOfferReachesTheOtherSide)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    cancel(reinvite);
    EXPECT_TRUE(passed->isCancelled);
    EXPECT_EQ(reinvite->statuses(), (Statuses{487}));
    ack(reinvite); // of the failure
    EXPECT_TRUE(passed->isHeard);
    answer(passed, 487);
    EXPECT_EQ(server().size(), 1U);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->statuses(), Statuses{});
    EXPECT_TRUE(hasNext("INVITE"));
}

TEST_F(CallsOffersTest, AnOfferThatWasTakenBeforeItsCancelIsTakenBack)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    cancel(reinvite);
    answer(passed, 200, kAnswer);
    EXPECT_EQ(passed->acks.size(), 1U);
    EXPECT_EQ(reinvite->statuses(), (Statuses{487}));
    const SentPtr back = next("INVITE");
    EXPECT_EQ(back->request.callId, made.branch->request.callId);
    EXPECT_EQ(back->request.body.data, kOfferAgain);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->status(), 491);
    answer(back, 200, kAnswer);
    EXPECT_EQ(back->acks.size(), 1U);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->statuses(), Statuses{});
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsOffersTest, ALateOfferThatCameDespiteItsCancelIsAnsweredWithWhatHeld)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite);
    const SentPtr passed = next("INVITE");
    cancel(reinvite);
    answer(passed, 200, kAnswer);
    ASSERT_EQ(passed->acks.size(), 1U);
    EXPECT_EQ(passed->acks[0].body.data, kOffer);
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->statuses(), Statuses{});
}

class KeptOfferTest : public CallsOffersTest {
protected:
    // Everybody answers the supervision meanwhile.
    void passAlive(int64_t seconds)
    {
        for (int64_t i = 0; i < seconds; ++i) {
            pass(1);
            while (hasNext("OPTIONS"))
                answer(next("OPTIONS"), 200);
        }
    }
    // The caller's offer to a telephone that keeps it to itself, until it was given up.
    SentPtr keptOffer(Talk& made)
    {
        const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
        SentPtr passed = next("INVITE");
        answer(passed, 100);
        passAlive(Call::kOfferMs / 1000 - 1);
        EXPECT_EQ(reinvite->statuses(), Statuses{});
        EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->status(), 491);
        pass(1);
        EXPECT_EQ(reinvite->status(), 500);
        EXPECT_TRUE(isIn(reinvite->answers.back().headers, "Retry-After: 3"));
        EXPECT_TRUE(passed->isCancelled);
        EXPECT_EQ(server().size(), 1U);
        return passed;
    }
};

TEST_F(KeptOfferTest, IsStillWaitedForWhenItsCallerCancelsItLate)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    answer(passed, 100);
    passAlive(Call::kOfferMs / 1000 - 1);
    cancel(reinvite);
    EXPECT_TRUE(passed->isCancelled);
    passAlive(Call::kGoodbyeMs / 1000 - 1);
    EXPECT_TRUE(passed->isHeard);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->status(), 491);
    answer(passed, 200, kAnswer);
    EXPECT_EQ(passed->acks.size(), 1U);
    EXPECT_EQ(reinvite->statuses(), (Statuses{487}));
    const SentPtr back = next("INVITE");
    EXPECT_EQ(back->request.body.data, kOfferAgain);
    answer(back, 200, kAnswer);
    hangUp(made);
    expectNothingLeft();
}

TEST_F(KeptOfferTest, IsGivenUpAWhileAfterItsCancel)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    answer(passed, 100);
    passAlive(Call::kOfferMs / 1000 - 1);
    cancel(reinvite);
    passAlive(Call::kGoodbyeMs / 1000);
    EXPECT_FALSE(passed->isHeard);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->statuses(), Statuses{});
    EXPECT_TRUE(hasNext("INVITE"));
}

TEST_F(KeptOfferTest, IsGivenUp)
{
    Talk made = talk();
    (void)keptOffer(made);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->status(), 491) << "it may still answer";
    passAlive(Call::kGoodbyeMs / 1000);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->statuses(), Statuses{});
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(KeptOfferTest, ThatIsTakenTooLateIsTakenBack)
{
    Talk made = talk();
    const SentPtr passed = keptOffer(made);
    answer(passed, 200, kAnswer);
    EXPECT_EQ(passed->acks.size(), 1U);
    const SentPtr back = next("INVITE");
    EXPECT_EQ(back->request.body.data, kOfferAgain);
    answer(back, 200, kAnswer);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->statuses(), Statuses{});
}

TEST_F(CallsOffersTest, AByeWhileAnOfferIsOpenEndsBoth)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(reinvite->status(), 487);
    EXPECT_EQ(next("BYE")->request.callId, made.invite->request.callId);
    expectNothingLeft();
}

TEST_F(CallsOffersTest, WhatIsOpenWhenTheCallEndsIsAnswered)
{
    Talk made = talk();
    const HeardPtr info = send(made.caller, SipMethod::Info);
    send(made.called, SipMethod::Bye);
    EXPECT_EQ(info->status(), 481);
    expectNothingLeft();
}

TEST_F(CallsOffersTest, ALateOfferIsConfirmedAlsoWhenTheCallEndsBeforeItsAnswer)
{
    for (const bool isLost : {true, false}) {
        Talk made = talk();
        const HeardPtr reinvite = send(made.called, SipMethod::Invite);
        const SentPtr passed = next("INVITE");
        answer(passed, 200, kOffer);
        ASSERT_EQ(reinvite->status(), 200);
        if (isLost)
            FakeCallTransport::leaveUnconfirmed(reinvite);
        else
            (void)server().releaseAll();
        ASSERT_EQ(passed->acks.size(), 1U);
        EXPECT_EQ(passed->acks.front().body.data, kAnswer); // what it had before
        expectNothingLeft();
    }
}

TEST_F(CallsOffersTest, AnOfferThatWasAnsweredAtTheLastMomentMayStillBeConfirmed)
{
    Talk made = talk();
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite);
    const SentPtr passed = next("INVITE");
    pass(Call::kOfferMs / 1000 - 1);
    answer(passed, 200, kOffer);
    ASSERT_EQ(reinvite->status(), 200);
    pass(5);
    ack(reinvite, kAnswer);
    ASSERT_EQ(passed->acks.size(), 1U);
    EXPECT_EQ(passed->acks.front().body.data, kAnswer);
    EXPECT_EQ(reinvite->finals, 1U);
    send(made.called, SipMethod::Invite, kOffer);
    EXPECT_TRUE(hasNext("INVITE")) << "nothing is pending any more";
}

TEST_F(CallsOffersTest, WhatIsTakenBackIsTriedAgainWhenItCollides)
{
    Talk made = talk();
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    cancel(hold);
    answer(passed, 200, kAnswer); // it crossed the CANCEL
    for (int i = 0; i < 3; ++i) {
        const SentPtr back = next("INVITE");
        EXPECT_EQ(back->request.body.data, kOfferAgain);
        answer(back, 491);
        EXPECT_FALSE(hasNext("INVITE"));
        pass(Call::kPutPauseMs / 1000);
    }
    const SentPtr last = next("INVITE");
    answer(last, 200, kAnswer);
    EXPECT_EQ(last->acks.size(), 1U);
    pass(20);
    EXPECT_FALSE(hasNext("INVITE"));
}

TEST_F(CallsOffersTest, WhatIsTakenBackIsNotTriedForEver)
{
    Talk made = talk();
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    cancel(hold);
    answer(passed, 200, kAnswer);
    for (unsigned i = 0; i < Call::kMaxPuts; ++i) {
        answer(next("INVITE"), 491);
        pass(Call::kPutPauseMs / 1000);
    }
    pass(20);
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsOffersTest, ANewerOfferMakesOneThatIsToBePutBackNeedless)
{
    Talk made = talk();
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    cancel(hold);
    answer(passed, 200, kAnswer);
    answer(next("INVITE"), 491);
    const HeardPtr offer = send(made.called, SipMethod::Invite, kAnswer);
    answer(next("INVITE"), 200, kOffer);
    EXPECT_EQ(offer->status(), 200);
    ack(offer);
    pass(20);
    EXPECT_FALSE(hasNext("INVITE"));
}

// RFC 5057 section 5.1: most of these would end the dialog of who hears them.
TEST_F(CallsOffersTest, RefusalsThatAreForTheServerAreNotPassed)
{
    Talk made = talk();
    for (const int status : {302, 401, 404, 407, 410, 416, 422, 482, 484, 485, 502, 503, 604}) {
        const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
        answer(next("INVITE"), status);
        EXPECT_EQ(hold->status(), 500) << status;
        const HeardPtr info = send(made.caller, SipMethod::Info);
        answer(next("INFO"), status);
        EXPECT_EQ(info->status(), 500) << status;
    }
    for (const int status : {415, 480, 486, 488, 500, 603}) {
        const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
        answer(next("INVITE"), status);
        EXPECT_EQ(hold->status(), status);
    }
}

TEST_F(CallsOffersTest, ALongerSessionTimerOfTheOtherSideIsTheServersAffair)
{
    Talk made = talk("2001", "2002", {}, [](CallMessage& response) {
        response.isTimerSupported = true;
        response.timer = {600, 0, SessionTimer::Refresher::Uas};
    });
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    const auto insist = [](CallMessage& response) { response.timer.minimum = 900; };
    answer(next("INVITE"), 422, {}, insist);
    EXPECT_EQ(hold->status(), 0);
    const SentPtr again = next("INVITE");
    EXPECT_TRUE(isIn(again->request.headers, "Session-Expires: 900;refresher=uas")) << again->request.headers;
    EXPECT_EQ(again->request.body.data, kHold);
    answer(again, 422, {}, insist);
    EXPECT_EQ(hold->status(), 500);
    EXPECT_FALSE(hasNext("INVITE"));
}

// RFC 3261 section 15.1.2: who hangs up answers 487 to what he has not answered yet, and repeats that until it is
// confirmed.
TEST_F(CallsOffersTest, AnOfferThatAByeHasMetIsStillConfirmed)
{
    for (const int status : {487, 200}) {
        Talk made = talk();
        const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
        const SentPtr passed = next("INVITE");
        EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
        EXPECT_EQ(hold->status(), 487);
        answer(next("BYE"), 200);
        EXPECT_TRUE(passed->isHeard);
        answer(passed, status, status == 200 ? kAnswer : "");
        EXPECT_EQ(passed->acks.size(), status == 200 ? 1U : 0U);
        pass(1);
        EXPECT_EQ(server().size(), 0U);
    }
    expectNothingLeft();
}

TEST_F(CallsOffersTest, AnOfferThatNobodyAnswersAfterTheEndIsLetGo)
{
    Talk made = talk();
    send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    expectNothingLeft();
    EXPECT_FALSE(passed->isHeard);
}

TEST_F(CallsOffersTest, ADescriptionInATextIsNoSession)
{
    Talk made = talk();
    const HeardPtr info = send(made.caller, SipMethod::Info, kHold);
    const SentPtr passed = next("INFO");
    EXPECT_EQ(passed->request.body.data, kHold);
    answer(passed, 200, kHold);
    EXPECT_EQ(info->answers.back().body.data, kHold);
    // What it has is put back, which is not what the text said.
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr offered = next("INVITE");
    cancel(hold);
    answer(offered, 200, kAnswer);
    EXPECT_EQ(next("INVITE")->request.body.data, kOfferAgain);
}

} // namespace
