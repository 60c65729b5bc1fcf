// Reliable provisional answers (RFC 3262).
#include "callserver/calls_fixture.h"

namespace {

using Statuses = std::vector<int>;

class CallsReliableTest : public CallsFixture {
protected:
    void begin(bool isSupported, const std::string& offer = kOffer)
    {
        invite = call("2001", "2002", [&](CallMessage& request) {
            request.isReliableSupported = isSupported;
            request.body = sdp(offer);
        });
        branch = next("INVITE");
    }
    void progress(int status, uint32_t rseq, const std::string& body = {})
    {
        answer(branch, status, body, [rseq](CallMessage& response) { response.rseq = rseq; });
    }
    HeardPtr prack(const std::string& body = {})
    {
        CallMessage request = initial(phone("2001"), "server", SipMethod::Prack);
        request.body = sdp(body);
        return FakeCallTransport::prack(invite, request);
    }

    HeardPtr invite;
    SentPtr branch;
};

TEST_F(CallsReliableTest, AreOfferedToTheTelephoneWhenTheCallerKnowsThem)
{
    begin(true);
    EXPECT_TRUE(isIn(branch->request.headers, "Supported: 100rel, replaces, timer"));
}

TEST_F(CallsReliableTest, AreNotOfferedForACallerWhoDoesNotKnowThem)
{
    begin(false);
    EXPECT_TRUE(isIn(branch->request.headers, "Supported: replaces, timer"));
    progress(183, 7, kAnswer); // all the same
    EXPECT_EQ(invite->status(), 183);
    EXPECT_EQ(invite->reliable.size(), 0U);
    EXPECT_EQ(invite->answers.back().body.data, kAnswer);
    EXPECT_FALSE(hasNext("PRACK"));
    answer(branch, 200, kAnswer);
    EXPECT_EQ(invite->status(), 200);
}

TEST_F(CallsReliableTest, AreNotOfferedToSeveralTelephones)
{
    addPhone("2002");
    begin(true);
    EXPECT_TRUE(isIn(branch->request.headers, "Supported: replaces, timer"));
    EXPECT_TRUE(isIn(next("INVITE")->request.headers, "Supported: replaces, timer"));
}

TEST_F(CallsReliableTest, APrackIsPassedWithTheNumbersOfTheOtherLeg)
{
    begin(true);
    progress(183, 4711, kAnswer);
    ASSERT_EQ(invite->reliable.size(), 1U);
    EXPECT_EQ(invite->reliable[0].body.data, kAnswer);
    EXPECT_FALSE(hasNext("PRACK"));
    const HeardPtr confirmed = prack();
    const SentPtr passed = next("PRACK");
    EXPECT_EQ(passed->request.callId, branch->request.callId);
    EXPECT_TRUE(isIn(passed->request.headers, "RAck: 4711 1 INVITE"));
    EXPECT_EQ(passed->request.cseq, 2U);
    EXPECT_EQ(confirmed->statuses(), Statuses{});
    answer(passed, 200);
    EXPECT_EQ(confirmed->statuses(), Statuses{200});
    answer(branch, 200);
    EXPECT_EQ(invite->status(), 200);
    ASSERT_EQ(branch->acks.size(), 1U);
    EXPECT_EQ(branch->acks[0].cseq, 1U);
    ack(invite);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    send(caller, SipMethod::Bye);
    expectNothingLeft();
}

TEST_F(CallsReliableTest, SeveralAnswersAreConfirmedInTheirOrder)
{
    begin(true);
    progress(183, 10, kAnswer);
    progress(180, 11);
    EXPECT_EQ(invite->reliable.size(), 2U);
    prack();
    EXPECT_TRUE(isIn(next("PRACK")->request.headers, "RAck: 10 1 INVITE"));
    prack();
    EXPECT_TRUE(isIn(next("PRACK")->request.headers, "RAck: 11 1 INVITE"));
}

TEST_F(CallsReliableTest, ARepeatedAnswerIsPassedOnce)
{
    begin(true);
    progress(183, 10, kAnswer);
    progress(183, 10, kAnswer);
    progress(183, 9, kAnswer);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 183}));
    progress(180, 11);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 183, 180}));
}

// RFC 3262 section 4: what is not the next one comes again.
TEST_F(CallsReliableTest, AnAnswerThatOvertookAnotherIsNotTaken)
{
    begin(true);
    progress(183, 10, kAnswer);
    progress(180, 12);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 183}));
    progress(182, 11);
    progress(180, 12);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 183, 182, 180}));
    for (const char* rack : {"RAck: 10 1 INVITE", "RAck: 11 1 INVITE", "RAck: 12 1 INVITE"}) {
        prack();
        EXPECT_TRUE(isIn(next("PRACK")->request.headers, rack));
    }
}

TEST_F(CallsReliableTest, AnAnswerThatIsNotReliableStaysSo)
{
    begin(true);
    answer(branch, 180);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 180}));
    EXPECT_EQ(invite->reliable.size(), 0U);
    EXPECT_EQ(prack()->status(), 200); // for nothing that the telephone waits for
    EXPECT_FALSE(hasNext("PRACK"));
}

TEST_F(CallsReliableTest, TheAnswerToAnEarlyOfferGoesWithThePrack)
{
    begin(true, "");
    progress(183, 1, kOffer);
    EXPECT_EQ(invite->reliable.at(0).body.data, kOffer);
    prack(kAnswer);
    const SentPtr passed = next("PRACK");
    EXPECT_EQ(passed->request.body.data, kAnswer);
    answer(passed, 200);
    answer(branch, 200);
    EXPECT_EQ(branch->acks.size(), 1U);
    EXPECT_EQ(invite->status(), 200);
}

TEST_F(CallsReliableTest, AnAnswerThatIsNeverConfirmedEndsTheCall)
{
    begin(true);
    progress(183, 1, kAnswer);
    FakeCallTransport::leaveUnconfirmed(invite);
    EXPECT_EQ(invite->status(), 503);
    EXPECT_TRUE(branch->isCancelled);
    EXPECT_FALSE(hasNext("BYE"));
    answer(branch, 487);
    expectNothingLeft();
}

TEST_F(CallsReliableTest, ASuccessThatWaitedForTheConfirmationIsTakenBackWithoutGoodbyeToTheCaller)
{
    begin(true);
    progress(183, 1, kAnswer);
    invite->holdsSuccess = true;
    answer(branch, 200);
    EXPECT_EQ(invite->status(), 183);
    FakeCallTransport::leaveUnconfirmed(invite);
    EXPECT_EQ(invite->status(), 503);
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, branch->request.callId);
    answer(bye, 200);
    EXPECT_FALSE(hasNext("BYE"));
    expectNothingLeft();
}

TEST_F(CallsReliableTest, WhoeverHangsUpMeanwhileGetsNoGoodbyeToTheCallerSentEither)
{
    begin(true);
    progress(183, 1, kAnswer);
    invite->holdsSuccess = true;
    answer(branch, 200);
    PhoneDialog called = calledOf(branch, phone("2002"));
    EXPECT_EQ(send(called, SipMethod::Bye)->status(), 200);
    EXPECT_FALSE(hasNext("BYE"));
    FakeCallTransport::leaveUnconfirmed(invite);
    EXPECT_EQ(invite->status(), 503);
    EXPECT_FALSE(hasNext("BYE"));
    expectNothingLeft();
}

TEST_F(CallsReliableTest, AnOfferInAPrackIsOpenUntilItsAnswer)
{
    begin(true);
    progress(183, 1, kAnswer);
    const HeardPtr confirmed = prack(kHold);
    const SentPtr passed = next("PRACK");
    EXPECT_EQ(passed->request.body.data, kHold);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    PhoneDialog called = calledOf(branch, phone("2002"));
    caller.cseq = 2;
    const HeardPtr onTop = send(caller, SipMethod::Update, kOffer);
    ASSERT_EQ(onTop->status(), 500);
    EXPECT_TRUE(isIn(onTop->answers.back().headers, "Retry-After: 3"));
    EXPECT_EQ(send(called, SipMethod::Update, kOffer)->status(), 491);
    EXPECT_FALSE(hasNext("UPDATE"));
    answer(passed, 200, kAnswer);
    EXPECT_EQ(confirmed->status(), 200);
    EXPECT_EQ(confirmed->answers.back().body.data, kAnswer);
    const HeardPtr update = send(called, SipMethod::Update, kOffer);
    answer(next("UPDATE"), 200, kAnswer);
    EXPECT_EQ(update->status(), 200);
}

TEST_F(CallsReliableTest, ARefusedOfferInAPrackLeavesTheSessionAsItWas)
{
    begin(true);
    progress(183, 1, kAnswer);
    const HeardPtr confirmed = prack(kHold);
    answer(next("PRACK"), 488);
    EXPECT_EQ(confirmed->status(), 488);
    answer(branch, 200, {}, [](CallMessage& response) {
        response.isTimerSupported = true;
        response.timer = {180, 0, SessionTimer::Refresher::Uac};
        response.allow = "INVITE, ACK, BYE, CANCEL, PRACK";
    });
    ack(invite);
    for (int i = 0; i < 1000 && !hasNext("INVITE"); ++i) {
        pass(1);
        while (hasNext("OPTIONS"))
            answer(next("OPTIONS"), 200);
    }
    EXPECT_EQ(next("INVITE")->request.body.data, kOffer); // the refresh
}

TEST_F(CallsReliableTest, AnAnswerInAPrackIsNoOffer)
{
    begin(true, "");
    progress(183, 1, kOffer);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    caller.cseq = 2;
    EXPECT_EQ(send(caller, SipMethod::Update, kHold)->status(), 491);
    prack(kAnswer);
    const HeardPtr update = send(caller, SipMethod::Update, kHold);
    EXPECT_EQ(update->status(), 0); // passed
    answer(next("UPDATE"), 200, kAnswer);
    EXPECT_EQ(update->status(), 200);
    progress(180, 2);
    prack(kHold); // this one is
    EXPECT_EQ(send(caller, SipMethod::Update, kOffer)->status(), 500);
}

TEST_F(CallsReliableTest, AnUpdateBeforeTheAnswerIsPassed)
{
    begin(true);
    progress(183, 1, kAnswer);
    prack();
    answer(next("PRACK"), 200);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    caller.cseq = 2;
    const HeardPtr update = send(caller, SipMethod::Update, kHold);
    const SentPtr passed = next("UPDATE");
    EXPECT_EQ(passed->request.body.data, kHold);
    answer(passed, 200, kAnswer);
    EXPECT_EQ(update->status(), 200);
}

TEST_F(CallsReliableTest, AnswersThatTheCallerDoesNotConfirmAreNotTakenWithoutEnd)
{
    begin(true);
    for (uint32_t i = 1; i <= 50; ++i)
        progress(183, i, kAnswer);
    EXPECT_EQ(invite->reliable.size(), 8U);
    prack();
    answer(next("PRACK"), 200);
    progress(183, 50, kAnswer);
    EXPECT_EQ(invite->reliable.size(), 8U);
    progress(183, 9, kAnswer);
    EXPECT_EQ(invite->reliable.size(), 9U);
}

} // namespace
