// A user takes a call with another telephone of his, and what is under way meanwhile.
#include "callserver/transfers_fixture.h"

namespace {

using Texts = std::vector<std::string>;

class CallsTakesTest : public TransfersFixture {};

TEST_F(CallsTakesTest, AnotherTelephoneOfTheUserTakesTheCall)
{
    const FakePhone desk = addPhone("2002");
    Talk made = talk("2001", "2003");
    // Not a stranger, and not one that is not there.
    EXPECT_EQ(take(phone("2004"), made.called)->status(), 403);
    PhoneDialog wrong = made.called;
    wrong.tag = "other";
    EXPECT_EQ(take(phone("2003"), wrong)->status(), 481);
    EXPECT_EQ(take(phone("2003"), made.called, true)->status(), 486);
    const HeardPtr invite = take(phone("2003"), made.called);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(passed->request.callId, made.invite->request.callId);
    EXPECT_EQ(media(passed->request.body.data), media(kThird));
    answer(passed, 200, kFourth);
    EXPECT_EQ(passed->acks.size(), 1U);
    EXPECT_EQ(invite->status(), 200);
    EXPECT_EQ(invite->answers.back().body.data, kFourth);
    ack(invite);
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, made.branch->request.callId);
    answer(bye, 200);
    PhoneDialog taken = callerOf(invite, phone("2003"));
    EXPECT_EQ(send(taken, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(next("BYE")->request.callId, made.invite->request.callId);
    EXPECT_EQ(recordTexts(), (Texts{"start", "answer", "end 200"}));
    expectNothingLeft();
}

// The gate would drop the ACK of a stranger's call, and the stack repeat the refusal until it comes.
TEST_F(CallsTakesTest, ARefusalIsOfACallUntilItIsConfirmed)
{
    Talk made = talk("2001", "2003");
    PhoneDialog unknown = made.called;
    unknown.tag = "other";
    const FakePhone third = phone("2004");
    for (const PhoneDialog& wanted : {made.called, unknown}) {
        const HeardPtr refused = take(third, wanted);
        EXPECT_GE(refused->status(), 300);
        EXPECT_TRUE(server().has(refused->request.callId, sourceKey(third.source.address)));
        pass(Calls::kLingerMs / 1000 + 1);
        EXPECT_FALSE(server().has(refused->request.callId, sourceKey(third.source.address)));
    }
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTakesTest, ACallThatCannotBeTakenStaysWhereItIs)
{
    Talk made = talk("2001", "2003");
    const HeardPtr invite = take(phone("2003"), made.called);
    answer(next("INVITE"), 488);
    EXPECT_EQ(invite->status(), 488);
    EXPECT_FALSE(hasNext("BYE"));
    const HeardPtr cancelled = take(phone("2003"), made.called);
    const SentPtr passed = next("INVITE");
    cancel(cancelled);
    EXPECT_TRUE(passed->isCancelled);
    answer(passed, 487);
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTakesTest, ATakenCallGoesOnOverItsNewTelephonesTransport)
{
    const FakePhone desk = addPhone("2004", kTransportTcp);
    const FakePhone mobile = addPhone("2004", kTransportTcp);
    removePhones("2005");
    const FakePhone other = addPhone("2005", kTransportTcp);
    const HeardPtr invite = call(desk, "2005");
    const SentPtr branch = next("INVITE");
    answer(branch, 200, kAnswer);
    ack(invite);
    const HeardPtr taken = take(mobile, callerOf(invite, desk));
    answer(next("INVITE"), 200, kAnswer);
    EXPECT_EQ(taken->status(), 200);
    ack(taken);
    expectGoodbyeTo(invite->request.callId);
    server().dropUdp();
    EXPECT_FALSE(hasNext("BYE"));
    PhoneDialog now = callerOf(taken, mobile);
    hangUp(now, branch->request.callId);
    expectAllOver();
}

TEST_F(CallsTakesTest, WhoWantsToTakeACallMayHangUpBeforeHeHasIt)
{
    Talk made = talk("2001", "2003");
    const HeardPtr taking = take(phone("2003"), made.called);
    const SentPtr passed = next("INVITE");
    PhoneDialog taker = callerOf(taking, phone("2003"));
    EXPECT_EQ(send(taker, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(taking->status(), 487);
    EXPECT_EQ(taking->finals, 1U);
    EXPECT_TRUE(passed->isCancelled);
    // It has crossed the CANCEL: the caller gets again what it had.
    answer(passed, 200, kFourth);
    EXPECT_EQ(passed->acks.size(), 1U);
    const SentPtr back = next("INVITE");
    EXPECT_EQ(media(back->request.body.data), media(kAnswer));
    answer(back, 200, kOffer);
    EXPECT_EQ(back->acks.size(), 1U);
    hangUp(made.caller, made.called.callId);
    expectAllOver();
}

TEST_F(CallsTakesTest, ATelephoneMayHangUpWhileAnotherOneTakesItsCall)
{
    Talk made = talk("2001", "2003");
    const HeardPtr taking = take(phone("2003"), made.called);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    EXPECT_FALSE(hasNext("BYE"));
    answer(passed, 200, kFourth);
    EXPECT_EQ(taking->status(), 200);
    ack(taking);
    expectOneCallOf("2001", "2003");
    hangUp(made.caller, taking->request.callId);
    expectAllOver();
}

TEST_F(CallsTakesTest, ACallThatNobodyHasTakenEndsWithTheOneWhoHasLeft)
{
    Talk made = talk("2001", "2003");
    const HeardPtr taking = take(phone("2003"), made.called);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    answer(passed, 488);
    EXPECT_EQ(taking->status(), 488);
    expectGoodbyeTo(made.caller.callId);
    expectAllOver();
}

TEST_F(CallsTakesTest, WhoHasTakenACallHearsGoodbyeOnceHeHasConfirmedIt)
{
    Talk made = talk("2001", "2003");
    const HeardPtr taking = take(phone("2003"), made.called);
    answer(next("INVITE"), 200, kFourth);
    EXPECT_EQ(taking->status(), 200);
    expectGoodbyeTo(made.called.callId); // it has been replaced
    EXPECT_EQ(send(made.caller, SipMethod::Bye)->status(), 200);
    EXPECT_FALSE(hasNext("BYE"));
    ack(taking);
    expectGoodbyeTo(taking->request.callId);
    expectAllOver();
}

TEST_F(CallsTakesTest, WhoHasTakenACallMayHangUpBeforeHeConfirmsIt)
{
    Talk made = talk("2001", "2003");
    const HeardPtr taking = take(phone("2003"), made.called);
    answer(next("INVITE"), 200, kFourth);
    expectGoodbyeTo(made.called.callId);
    PhoneDialog taker = callerOf(taking, phone("2003"));
    hangUp(taker, made.caller.callId);
    ack(taking);
    EXPECT_FALSE(hasNext("BYE"));
    expectAllOver();
}

TEST_F(CallsTakesTest, WhoNeverConfirmsThatHeHasTakenACallHearsGoodbyeInTheEnd)
{
    for (const bool isOver : {true, false}) {
        Talk made = talk("2001", "2003");
        const HeardPtr taking = take(phone("2003"), made.called);
        answer(next("INVITE"), 200, kFourth);
        expectGoodbyeTo(made.called.callId);
        if (isOver) {
            EXPECT_EQ(send(made.caller, SipMethod::Bye)->status(), 200);
            EXPECT_FALSE(hasNext("BYE"));
        }
        FakeCallTransport::leaveUnconfirmed(taking);
        if (!isOver) {
            const SentPtr bye = next("BYE");
            EXPECT_EQ(bye->request.callId, made.caller.callId);
            answer(bye, 200);
        }
        expectGoodbyeTo(taking->request.callId);
        expectAllOver();
    }
}

TEST_F(CallsTakesTest, TelephonesThatTryInVainToTakeACallLeaveNothingInIt)
{
    Talk made = talk("2001", "2003");
    const Calls::Load before = server().load();
    for (int i = 0; i < 100; ++i) {
        (void)take(phone("2003"), made.called);
        answer(next("INVITE"), 488);
    }
    EXPECT_EQ(server().load().legs, before.legs);
    pass(50); // late repetitions still find their call IDs for a while
    EXPECT_EQ(server().load().callIds, before.callIds);
    hangUp(made.caller, made.called.callId);
    expectAllOver();
}

TEST_F(CallsTakesTest, AUserWhoHasExpiredTakesNoCall)
{
    Talk made = talk("2001", "2003");
    changeUser("2003", [](Cdb_usr_info& user) { user.expiryDate = 20200101; });
    EXPECT_EQ(take(phone("2003"), made.called)->status(), 403);
    EXPECT_FALSE(hasNext("INVITE"));
}

// RFC 3891 section 3
TEST_F(CallsTakesTest, ACallThatHasJustEndedIsDeclined)
{
    Talk made = talk("2001", "2003");
    hangUp(made);
    EXPECT_EQ(take(phone("2003"), made.called)->status(), 603);
    pass(60);
    EXPECT_EQ(take(phone("2003"), made.called)->status(), 481);
}

// The one who would be told of it is about to leave.
TEST_F(CallsTakesTest, ATelephoneThatIsBeingReplacedTransfersNothing)
{
    allowTransfers("2001");
    allowTransfers("2003");
    Talk made = talk("2001", "2003");
    const HeardPtr taking = take(phone("2003"), made.called);
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(refer(made.called, "2004")->status(), 491);
    EXPECT_EQ(refer(made.caller, "2004")->status(), 491);
    answer(passed, 200, kFourth);
    EXPECT_EQ(taking->status(), 200);
    EXPECT_FALSE(hasNext("NOTIFY"));
}

} // namespace
