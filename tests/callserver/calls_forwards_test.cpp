// Telephones that send a call on to another number.
#include "callserver/calls_fixture.h"

#include <utility>

namespace {

using Statuses = std::vector<int>;
using Texts = std::vector<std::string>;

class CallsForwardsTest : public CallsFixture {
protected:
    struct Two {
        HeardPtr invite;
        SentPtr first;
        SentPtr second;
    };
    // 2001 calls 2002, who has two telephones.
    Two callTwo()
    {
        addPhone("2002");
        HeardPtr invite = call("2001", "2002");
        SentPtr first = next("INVITE");
        return {std::move(invite), std::move(first), next("INVITE")};
    }
    void sendOn(const SentPtr& branch, const std::string& number, int status = 302)
    {
        answer(branch, status, {}, [&](CallMessage& response) {
            response.contact = "sip:" + number + "@198.51.100.1";
            response.contactUser = number;
        });
    }
};

TEST_F(CallsForwardsTest, ATelephoneSendsTheCallOn)
{
    const HeardPtr invite = call("2001", "2002");
    sendOn(next("INVITE"), "2003");
    const SentPtr forwarded = next("INVITE");
    EXPECT_EQ(forwarded->request.destination.address, phone("2003").source.address);
    EXPECT_NE(forwarded->request.from.find("\"Phone 2001\" <sip:2001@"), std::string::npos);
    EXPECT_EQ(forwarded->request.body.data, kOffer);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 181}));
    answer(forwarded, 180);
    answer(forwarded, 200, kAnswer);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 181, 180, 200}));
    ack(invite);
    EXPECT_EQ(server().counts().ofUser("2002"), 1U); // as if he had made it
    EXPECT_EQ(server().counts().madeByUser("2002"), 1U);
    EXPECT_EQ(states.back(), "2003 3");
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    EXPECT_EQ(recordTexts(), (Texts{"start", "end 302", "2:start", "2:ring", "2:answer", "2:end 200"}));
    EXPECT_EQ(records.front().second.callId, records.back().second.callId);
    EXPECT_STREQ(records.back().second.dialedNbr, "2003");
    EXPECT_STREQ(records.back().second.callerNbr, "2001");
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, TheRightsOfTheTelephonesUserCount)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.expiryDate = 20200101; });
    const HeardPtr invite = call("2001", "2002");
    sendOn(next("INVITE"), "2003");
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_EQ(invite->status(), 403);
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, AProxyOrAnotherServiceIsNotFollowed)
{
    for (const int status : {305, 380}) {
        const HeardPtr invite = call("2001", "2002");
        sendOn(next("INVITE"), "2003", status);
        EXPECT_FALSE(hasNext("INVITE")) << status;
        EXPECT_EQ(invite->statuses(), (Statuses{100, 480})) << status;
    }
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, ACircleOfTelephonesIsLeft)
{
    const HeardPtr invite = call("2001", "2002");
    for (unsigned i = 0; i <= Call::kMaxForwards; ++i)
        sendOn(next("INVITE"), i % 2 == 0 ? "2003" : "2002");
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_EQ(invite->status(), 480);
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, ANumberOutsideIsDialedAndNotSentThere)
{
    const HeardPtr invite = call("2001", "2002");
    answer(next("INVITE"), 302, {}, [](CallMessage& response) {
        response.contact = "sip:2003@203.0.113.99";
        response.contactUser = "2003";
    });
    EXPECT_EQ(next("INVITE")->request.destination.address, phone("2003").source.address);
    cancel(invite);
}

TEST_F(CallsForwardsTest, AnswersWithoutANumberAreFailures)
{
    const HeardPtr invite = call("2001", "2002");
    answer(next("INVITE"), 302);
    EXPECT_EQ(invite->status(), 480);
    EXPECT_FALSE(hasNext("INVITE"));
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, TheOtherTelephonesOfTheUserRingOn)
{
    const auto [invite, first, second] = callTwo();
    sendOn(first, "2003");
    EXPECT_FALSE(hasNext("INVITE"));
    answer(second, 486);
    EXPECT_EQ(next("INVITE")->request.destination.address, phone("2003").source.address);
    cancel(invite);
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, ANumberIsCalledWhenTheOtherTelephonesHaveRungOutTheirTime)
{
    const auto [invite, first, second] = callTwo();
    answer(second, 180);
    sendOn(first, "2003");
    pass(29);
    EXPECT_FALSE(second->isCancelled);
    pass(2);
    EXPECT_TRUE(second->isCancelled);
    const SentPtr forwarded = next("INVITE");
    EXPECT_EQ(forwarded->request.destination.address, phone("2003").source.address);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 180, 181}));
    answer(second, 487);
    pass(25); // the new telephones have a time of their own
    answer(forwarded, 200, kAnswer);
    EXPECT_EQ(invite->status(), 200);
    ack(invite);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    EXPECT_EQ(recordTexts(), (Texts{"start", "ring", "end 302", "2:start", "2:answer", "2:end 200"}));
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, AnAnswerThatCrossesTheEndOfItsTimeIsConfirmedAndHungUp)
{
    const auto [invite, first, second] = callTwo();
    sendOn(first, "2003");
    pass(31);
    const SentPtr forwarded = next("INVITE");
    answer(second, 180);
    answer(second, 200, kAnswer);
    EXPECT_EQ(second->acks.size(), 1U);
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, second->request.callId);
    answer(bye, 200);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 181}));
    answer(forwarded, 486);
    EXPECT_EQ(invite->status(), 486);
    EXPECT_FALSE(hasNext("BYE"));
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, ATelephoneThatNeverAnswersItsCancelIsForgotten)
{
    addPhone("2002");
    for (const bool isAnswered : {false, true}) {
        const HeardPtr invite = call("2001", "2002");
        const SentPtr first = next("INVITE");
        const SentPtr second = next("INVITE");
        sendOn(first, "2003");
        pass(31);
        const SentPtr forwarded = next("INVITE");
        answer(forwarded, isAnswered ? 200 : 486, isAnswered ? kAnswer : "");
        EXPECT_TRUE(second->isHeard);
        if (isAnswered) {
            ack(invite);
            pass(42);
            EXPECT_FALSE(second->isHeard);
            EXPECT_EQ(server().inProgress(), 1U);
            PhoneDialog caller = callerOf(invite, phone("2001"));
            EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
            answer(next("BYE"), 200);
        }
        expectNothingLeft();
        EXPECT_FALSE(second->isHeard);
    }
}

TEST_F(CallsForwardsTest, WithoutANumberTheEndOfTheTimeIsTheEndOfTheCall)
{
    addPhone("2002");
    const HeardPtr invite = call("2001", "2002");
    const SentPtr first = next("INVITE");
    answer(first, 302);
    pass(31);
    EXPECT_EQ(invite->status(), 480);
    EXPECT_TRUE(next("INVITE")->isCancelled);
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, ARefusalForEverybodyIsNotSentOn)
{
    addPhone("2002");
    const HeardPtr invite = call("2001", "2002");
    const SentPtr first = next("INVITE");
    sendOn(first, "2003");
    answer(next("INVITE"), 603);
    EXPECT_EQ(invite->status(), 603);
    EXPECT_FALSE(hasNext("INVITE"));
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, ASessionThatTheCallerHoldsForSureIsNotReplaced)
{
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.isReliableSupported = true; });
    const SentPtr branch = next("INVITE");
    answer(branch, 183, kAnswer, [](CallMessage& response) { response.rseq = 7; });
    sendOn(branch, "2003");
    EXPECT_EQ(invite->status(), 480);
    EXPECT_FALSE(hasNext("INVITE"));
    expectNothingLeft();
}

// Without a session there is nothing to hold. What the caller confirms late is not for the next telephone.
TEST_F(CallsForwardsTest, AReliableAnswerWithoutASessionHoldsNothing)
{
    const auto reliable = [](uint32_t rseq) { return [rseq](CallMessage& response) { response.rseq = rseq; }; };
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.isReliableSupported = true; });
    const auto confirm = [&] {
        return FakeCallTransport::prack(invite, initial(phone("2001"), "server", SipMethod::Prack));
    };
    const SentPtr first = next("INVITE");
    answer(first, 180, {}, reliable(7));
    answer(first, 180, {}, reliable(8));
    sendOn(first, "2003");
    const SentPtr second = next("INVITE");
    answer(second, 183, kAnswer, reliable(20));
    EXPECT_EQ(confirm()->status(), 200);
    EXPECT_EQ(confirm()->status(), 200);
    EXPECT_FALSE(hasNext("PRACK"));
    const HeardPtr confirmed = confirm();
    const SentPtr passed = next("PRACK");
    EXPECT_EQ(passed->request.callId, second->request.callId);
    EXPECT_TRUE(isIn(passed->request.headers, "RAck: 20 1 INVITE"));
    answer(passed, 200);
    EXPECT_EQ(confirmed->status(), 200);
    answer(second, 200);
    EXPECT_EQ(invite->status(), 200);
    ack(invite);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, AnUnknownNumberIsToldTheCaller)
{
    const HeardPtr invite = call("2001", "2002");
    sendOn(next("INVITE"), "nobody");
    EXPECT_EQ(invite->status(), 404);
    expectNothingLeft();
}

// RFC 3261 section 13.2.1: he keeps to the first description that he has heard until he has confirmed.
TEST_F(CallsForwardsTest, ACallWhoseSessionHasBegunIsSentOnAndTheOtherSessionOfferedLater)
{
    static constexpr const char* kOther = "v=0\r\no=- 9 1 IN IP4 192.0.2.9\r\ns=-\r\nm=audio 9000 RTP/AVP 8\r\n";
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.isReliableSupported = true; });
    const SentPtr branch = next("INVITE");
    answer(branch, 183, kAnswer);
    sendOn(branch, "2003");
    const SentPtr forwarded = next("INVITE");
    EXPECT_EQ(forwarded->request.destination.address, phone("2003").source.address);
    EXPECT_EQ(forwarded->request.body.data, kOffer);
    EXPECT_EQ(forwarded->request.headers.find("100rel"), std::string::npos);
    answer(forwarded, 183, kOther);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 183, 181, 183}));
    EXPECT_TRUE(invite->answers.back().body.isEmpty());
    answer(forwarded, 200, kOther);
    EXPECT_EQ(invite->status(), 200);
    EXPECT_EQ(invite->answers.back().body.data, kAnswer);
    EXPECT_FALSE(hasNext("INVITE"));
    ack(invite);
    const SentPtr offer = next("INVITE");
    EXPECT_EQ(offer->request.callId, invite->request.callId);
    EXPECT_EQ(offer->request.body.data, "v=0\r\no=- 2 2 IN IP4 192.0.2.2\r\ns=-\r\nm=audio 9000 RTP/AVP 8\r\n");
    answer(offer, 200, kOffer);
    EXPECT_EQ(offer->acks.size(), 1U);
    pass(20);
    EXPECT_FALSE(hasNext("INVITE"));
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, ASessionThatHasBegunIsKeptOverSeveralTelephones)
{
    const HeardPtr invite = call("2001", "2002");
    const SentPtr first = next("INVITE");
    answer(first, 183, kAnswer);
    sendOn(first, "2003");
    const SentPtr second = next("INVITE");
    answer(second, 183, kHold);
    sendOn(second, "2004");
    const SentPtr third = next("INVITE");
    answer(third, 200, kHold);
    EXPECT_EQ(invite->answers.back().body.data, kAnswer);
    cancel(invite);
    ack(invite);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    expectNothingLeft();
}

TEST_F(CallsForwardsTest, WithoutAnOfferTheNextTelephoneMakesItsOwn)
{
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.body = {}; });
    const SentPtr branch = next("INVITE");
    answer(branch, 183, kAnswer);
    sendOn(branch, "2003");
    const SentPtr forwarded = next("INVITE");
    answer(forwarded, 200, kHold);
    EXPECT_EQ(invite->answers.back().body.data, kHold);
    ack(invite, kOffer);
    ASSERT_EQ(forwarded->acks.size(), 1U);
    EXPECT_EQ(forwarded->acks.front().body.data, kOffer);
    EXPECT_FALSE(hasNext("INVITE"));
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    expectNothingLeft();
}

} // namespace
