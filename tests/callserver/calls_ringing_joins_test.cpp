// A telephone has its call joined with another one of its own that still rings.
#include "callserver/transfers_fixture.h"

namespace {

class CallsRingingJoinsTest : public TransfersFixture {
protected:
    // 2001 talks to 2002, who calls 2003, whose telephone rings.
    void ring(const Change& change = {})
    {
        first = talk("2001", "2002");
        second = call("2002", "2003", change);
        branch = next("INVITE");
        answer(branch, 180);
        by = callerOf(second, phone("2002"));
        third = calledOf(branch, phone("2003"));
    }

    void askToJoin()
    {
        EXPECT_EQ(refer(first.called, "2003", replacing(by))->status(), 202);
        EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
        EXPECT_FALSE(hasNext("INVITE"));
    }

    void leaveSecond(bool isByCancel)
    {
        if (isByCancel) {
            cancel(second);
        } else {
            EXPECT_EQ(send(by, SipMethod::Bye)->status(), 200);
        }
        EXPECT_EQ(second->status(), 487);
        EXPECT_FALSE(branch->isCancelled);
    }

    // The first caller makes an offer, the new side answers it.
    void expectJoined()
    {
        const SentPtr asked = next("INVITE");
        EXPECT_EQ(asked->request.callId, first.invite->request.callId);
        EXPECT_TRUE(asked->request.body.isEmpty());
        answer(asked, 200, kFourth);
        const SentPtr passed = next("INVITE");
        EXPECT_EQ(passed->request.callId, branch->request.callId);
        EXPECT_EQ(media(passed->request.body.data), media(kFourth));
        answer(passed, 200, kThird);
        ASSERT_EQ(asked->acks.size(), 1U);
        EXPECT_EQ(media(asked->acks[0].body.data), media(kThird));
        EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    }

    Talk first;
    HeardPtr second;
    SentPtr branch;
    PhoneDialog by;
    PhoneDialog third;
};

TEST_F(CallsRingingJoinsTest, ACallThatRingsIsJoinedOnceItIsAnswered)
{
    ring();
    askToJoin();
    answer(branch, 183, kThird);
    EXPECT_EQ(second->status(), 183);
    EXPECT_EQ(notified(), "SIP/2.0 183 Session Progress active");
    answer(branch, 200, kThird);
    EXPECT_EQ(second->status(), 200);
    EXPECT_FALSE(hasNext("INVITE"));
    ack(second);
    expectJoined();
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, by.callId);
    answer(bye, 200);
    expectGoodbyeTo(first.called.callId);
    EXPECT_EQ(server().counts().ofUser("2002"), 1U); // it is his call
    hangUp(third, first.caller.callId);
    expectAllOver();
}

TEST_F(CallsRingingJoinsTest, WhoAsksMayLeaveBothCallsWhileItRings)
{
    for (const bool isByCancel : {false, true}) {
        ring();
        askToJoin();
        leaveSecond(isByCancel);
        EXPECT_EQ(send(first.called, SipMethod::Bye)->status(), 200);
        EXPECT_FALSE(hasNext("BYE"));
        answer(branch, 200, kThird);
        EXPECT_EQ(branch->acks.size(), 1U);
        expectJoined();
        EXPECT_FALSE(hasNext("BYE"));
        hangUp(first.caller, third.callId);
        expectAllOver();
    }
}

TEST_F(CallsRingingJoinsTest, ARefusalIsToldWithItsStatus)
{
    ring();
    askToJoin();
    answer(branch, 486);
    EXPECT_EQ(second->status(), 486);
    EXPECT_EQ(notified(), "SIP/2.0 486 Busy Here terminated");
    hangUp(first);
    expectAllOver();
}

TEST_F(CallsRingingJoinsTest, ARefusalAfterTheOneWhoAskedHasLeftEndsAll)
{
    ring();
    askToJoin();
    leaveSecond(true);
    EXPECT_EQ(send(first.called, SipMethod::Bye)->status(), 200);
    answer(branch, 603);
    EXPECT_EQ(notified(), "SIP/2.0 603 Decline terminated");
    expectGoodbyeTo(first.caller.callId);
    expectAllOver();
}

TEST_F(CallsRingingJoinsTest, NobodyAnswersInTime)
{
    ring();
    askToJoin();
    leaveSecond(true);
    pass(31);
    EXPECT_TRUE(branch->isCancelled);
    answer(branch, 487);
    EXPECT_EQ(notified(), "SIP/2.0 480 Temporarily Unavailable terminated");
    hangUp(first);
    expectAllOver();
}

TEST_F(CallsRingingJoinsTest, TheOtherSideHangsUpWhileItRings)
{
    for (const bool hasLeft : {false, true}) {
        ring();
        askToJoin();
        if (hasLeft)
            leaveSecond(true);
        EXPECT_EQ(send(first.caller, SipMethod::Bye)->status(), 200);
        EXPECT_EQ(notified(), "SIP/2.0 487 Request Terminated terminated");
        expectGoodbyeTo(first.called.callId);
        EXPECT_EQ(branch->isCancelled, hasLeft);
        if (!hasLeft) {
            EXPECT_EQ(second->status(), 180);
            cancel(second);
        }
        answer(branch, 487);
        expectAllOver();
    }
}

// RFC 3262 section 3: it would repeat them, and give up in the end.
TEST_F(CallsRingingJoinsTest, ReliableAnswersAreConfirmedForTheOneWhoHasLeft)
{
    ring([](CallMessage& request) { request.isReliableSupported = true; });
    answer(branch, 183, kThird, [](CallMessage& response) { response.rseq = 5; });
    askToJoin();
    EXPECT_FALSE(hasNext("PRACK"));
    leaveSecond(true);
    const SentPtr open = next("PRACK");
    EXPECT_EQ(lineOf(open->request.headers, "RAck"), "5 1 INVITE");
    answer(open, 200);
    answer(branch, 180, {}, [](CallMessage& response) { response.rseq = 6; });
    const SentPtr later = next("PRACK");
    EXPECT_EQ(lineOf(later->request.headers, "RAck"), "6 1 INVITE");
    answer(later, 200);
    EXPECT_EQ(notified(), "SIP/2.0 180 Ringing active");
    answer(branch, 200);
    expectJoined();
    expectGoodbyeTo(first.called.callId);
    hangUp(first.caller, third.callId);
    expectAllOver();
}

TEST_F(CallsRingingJoinsTest, ACallThatCannotBeJoinedRingsOn)
{
    const auto expectRefused = [this](const Change& change, const std::string& status) {
        EXPECT_EQ(refer(first.called, "2003", change)->status(), 202);
        EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
        EXPECT_EQ(notified(), "SIP/2.0 " + status + " terminated");
    };
    // Who has left could not answer the offer that is asked for.
    ring([](CallMessage& request) { request.body = {}; });
    expectRefused(replacing(by), "481 Call/Transaction Does Not Exist");
    cancel(second);
    answer(branch, 487);
    hangUp(first);
    ring();
    expectRefused(replacing(third), "481 Call/Transaction Does Not Exist");
    expectRefused(
        [this](CallMessage& request) {
            replacing(by)(request);
            request.referTo->replaces->isEarlyOnly = true; // it is replaced when it is none any more
        },
        "486 Busy Here");
    EXPECT_EQ(second->status(), 180);
    cancel(second);
    answer(branch, 487);
    hangUp(first);
    expectAllOver();
}

} // namespace
