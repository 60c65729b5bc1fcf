// Transfers: a telephone has the two others of its calls talk to each other.
#include "callserver/transfers_fixture.h"

namespace {

using Texts = std::vector<std::string>;

class CallsJoinsTest : public TransfersFixture {};

TEST_F(CallsJoinsTest, TwoCallsOfOneTelephoneAreJoined)
{
    Two two = twoCalls();
    (void)takeStates();
    join(two.first.called, two.second.caller);
    const SentPtr asked = next("INVITE"); // the first caller makes an offer
    EXPECT_EQ(asked->request.callId, two.first.invite->request.callId);
    EXPECT_TRUE(asked->request.body.isEmpty());
    answer(asked, 200, kFourth);
    EXPECT_TRUE(asked->acks.empty());
    const SentPtr passed = next("INVITE"); // which the other one answers
    EXPECT_EQ(passed->request.callId, two.second.branch->request.callId);
    EXPECT_EQ(media(passed->request.body.data), media(kFourth));
    EXPECT_EQ(origin(passed->request.body.data), "o=- 1 2 IN IP4 192.0.2.1");
    answer(passed, 200, kThird);
    EXPECT_EQ(passed->acks.size(), 1U);
    ASSERT_EQ(asked->acks.size(), 1U);
    EXPECT_EQ(media(asked->acks[0].body.data), media(kThird));
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, two.second.invite->request.callId);
    answer(bye, 200);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    const SentPtr last = next("BYE");
    EXPECT_EQ(last->request.callId, two.first.called.callId);
    answer(last, 200);
    EXPECT_EQ(server().counts().ofUser("2002"), 1U); // one of them is his
    EXPECT_EQ(server().counts().ofUser("2001"), 1U);
    EXPECT_EQ(server().counts().ofUser("2003"), 1U);
    EXPECT_EQ(send(two.second.called, SipMethod::Bye)->status(), 200);
    const SentPtr end = next("BYE");
    EXPECT_EQ(end->request.callId, two.first.invite->request.callId);
    answer(end, 200);
    EXPECT_EQ(recordTexts(), (Texts{"start", "answer", "2:start", "2:answer", "end 200", "2:end 200"}));
    expectNothingLeft();
}

TEST_F(CallsJoinsTest, CallsThatOneTelephoneHasMadeAreJoined)
{
    Talk first = talk("2002", "2001");
    Talk second = talk("2002", "2003");
    join(first.caller, second.caller);
    const SentPtr asked = next("INVITE");
    EXPECT_EQ(asked->request.callId, first.branch->request.callId);
    answer(asked, 200, kFourth);
    answer(next("INVITE"), 200, kThird);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    for (int i = 0; i < 2; ++i)
        answer(next("BYE"), 200);
    EXPECT_EQ(send(first.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(next("BYE")->request.callId, second.branch->request.callId);
    EXPECT_EQ(recordTexts(), (Texts{"start", "answer", "2:start", "2:answer", "end 200", "2:end 200"}));
    expectNothingLeft();
}

TEST_F(CallsJoinsTest, WhoAsksForTheJoinMayHangUpBothCalls)
{
    Two two = twoCalls();
    join(two.first.called, two.second.caller);
    EXPECT_EQ(send(two.second.caller, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(send(two.first.called, SipMethod::Bye)->status(), 200);
    EXPECT_FALSE(hasNext("BYE"));
    answer(next("INVITE"), 200, kFourth);
    answer(next("INVITE"), 200, kThird);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(send(two.second.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(next("BYE")->request.callId, two.first.invite->request.callId);
    expectNothingLeft();
}

TEST_F(CallsJoinsTest, AJoinThatFailsLeavesBothCallsAsTheyWere)
{
    Two two = twoCalls();
    join(two.first.called, two.second.caller);
    const SentPtr asked = next("INVITE");
    answer(asked, 200, kFourth);
    answer(next("INVITE"), 488);
    ASSERT_EQ(asked->acks.size(), 1U);
    EXPECT_EQ(media(asked->acks[0].body.data), media(kAnswer));
    EXPECT_EQ(notified(), "SIP/2.0 488 Not Acceptable Here terminated");
    EXPECT_FALSE(hasNext("BYE"));
    hangUp(two.first);
    hangUp(two.second);
    expectNothingLeft();
}

TEST_F(CallsJoinsTest, TheOtherCallEndsDuringTheJoin)
{
    Two two = twoCalls();
    join(two.first.called, two.second.caller);
    const SentPtr asked = next("INVITE");
    answer(asked, 200, kFourth);
    EXPECT_EQ(send(two.second.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(asked->acks.size(), 1U);
    EXPECT_EQ(notified(), "SIP/2.0 481 Call/Transaction Does Not Exist terminated");
    answer(next("BYE"), 200);
    hangUp(two.first);
    expectNothingLeft();
}

TEST_F(CallsJoinsTest, NobodyJoinsTheCallsOfOthers)
{
    Talk first = talk("2001", "2002");
    Talk strange = talk("2004", "2003");
    for (const PhoneDialog& dialog : {strange.caller, strange.called}) {
        EXPECT_EQ(refer(first.called, "2003", replacing(dialog))->status(), 202);
        EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
        EXPECT_EQ(notified(), "SIP/2.0 481 Call/Transaction Does Not Exist terminated");
    }
    // Nor with itself.
    EXPECT_EQ(refer(first.called, "2003", replacing(first.called))->status(), 202);
    EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
    EXPECT_EQ(notified(), "SIP/2.0 481 Call/Transaction Does Not Exist terminated");
    EXPECT_FALSE(hasNext("INVITE"));
    hangUp(first);
    hangUp(strange);
    expectNothingLeft();
}

} // namespace
