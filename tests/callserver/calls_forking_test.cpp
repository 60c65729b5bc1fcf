// Users with several telephones.
#include "callserver/calls_fixture.h"

#include <utility>

namespace {

using Statuses = std::vector<int>;

class CallsForkingTest : public CallsFixture {
protected:
    // A call of 2001 to the telephones of 2002; he has one at first.
    void begin(size_t phones)
    {
        for (size_t i = 1; i < phones; ++i)
            addPhone("2002");
        invite = call("2001", "2002");
        for (size_t i = 0; i < phones; ++i)
            branches.push_back(next("INVITE"));
        EXPECT_FALSE(hasNext("INVITE"));
    }

    HeardPtr invite;
    std::vector<SentPtr> branches;
};

TEST_F(CallsForkingTest, AllTelephonesRingEachInADialogOfItsOwn)
{
    begin(3);
    for (size_t i = 0; i < 3; ++i)
        for (size_t k = i + 1; k < 3; ++k) {
            EXPECT_NE(branches[i]->request.callId, branches[k]->request.callId);
            EXPECT_NE(branches[i]->request.from, branches[k]->request.from);
            EXPECT_NE(branches[i]->request.destination.address, branches[k]->request.destination.address);
        }
    EXPECT_EQ(server().load().legs, 4U);
}

TEST_F(CallsForkingTest, TheCallerHearsOneRinging)
{
    begin(2);
    answer(branches[0], 180);
    answer(branches[1], 180);
    answer(branches[1], 183, kAnswer);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 180}));
    EXPECT_TRUE(invite->answers.back().body.isEmpty());
}

TEST_F(CallsForkingTest, TheFirstThatAnswersWins)
{
    begin(3);
    answer(branches[0], 180);
    answer(branches[1], 200, kAnswer);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 180, 200}));
    EXPECT_EQ(invite->answers.back().body.data, kAnswer);
    EXPECT_EQ(branches[1]->acks.size(), 1U);
    EXPECT_FALSE(branches[1]->isCancelled);
    for (const size_t other : {0U, 2U}) {
        EXPECT_TRUE(branches[other]->isCancelled);
        EXPECT_EQ(branches[other]->acks.size(), 0U);
        answer(branches[other], 487);
    }
    EXPECT_EQ(invite->statuses(), (Statuses{100, 180, 200}));
    EXPECT_EQ(server().load().legs, 2U);
    ack(invite);
    PhoneDialog winner = calledOf(branches[1], phone("2002"));
    EXPECT_EQ(send(winner, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(next("BYE")->request.callId, invite->request.callId);
    EXPECT_FALSE(hasNext("BYE"));
    expectNothingLeft();
}

TEST_F(CallsForkingTest, ASecondAnswerThatCrossesIsConfirmedAndHungUp)
{
    begin(2);
    answer(branches[0], 200, kAnswer);
    answer(branches[1], 200, kAnswer);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 200}));
    EXPECT_EQ(branches[1]->acks.size(), 1U);
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, branches[1]->request.callId);
    EXPECT_EQ(bye->request.to, branches[1]->request.to + ";tag=of-" + branches[1]->request.callId);
    EXPECT_EQ(bye->request.uri, "sip:answered@192.0.2.6:5060");
    EXPECT_GT(bye->request.cseq, branches[1]->acks[0].cseq);
    ack(invite);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(next("BYE")->request.callId, branches[0]->request.callId);
    expectNothingLeft();
}

// A proxy at the address of the telephone rings several (RFC 3261 section 12.1.2).
class ProxiedTest : public CallsForkingTest {
protected:
    void progress(const std::string& tag, int status, uint32_t rseq, const std::string& body = {})
    {
        answer(branches[0], status, body, [&](CallMessage& response) {
            response.to.tag = tag;
            response.contact = "sip:" + tag + "@192.0.2.2";
            response.rseq = rseq;
        });
    }
    HeardPtr prack() { return FakeCallTransport::prack(invite, initial(phone("2001"), "server", SipMethod::Prack)); }
    HeardPtr say(const std::string& tag, uint32_t cseq, SipMethod method)
    {
        PhoneDialog dialog = calledOf(branches[0], phone("2002"));
        dialog.tag = tag;
        dialog.cseq = cseq - 1;
        return send(dialog, method);
    }
    void ring()
    {
        invite = call("2001", "2002", [](CallMessage& request) { request.isReliableSupported = true; });
        branches.push_back(next("INVITE"));
    }
};

TEST_F(ProxiedTest, EachTelephoneHasItsOwnReliableAnswers)
{
    ring();
    progress("first", 183, 100, kAnswer);
    progress("second", 183, 7, kAnswer);
    progress("first", 180, 101);
    progress("second", 180, 7); // said already
    EXPECT_EQ(invite->statuses(), (Statuses{100, 183, 183, 180}));
    for (const auto& [tag, rack] : {std::pair("first", "RAck: 100 1 INVITE"), std::pair("second", "RAck: 7 1 INVITE"),
                                    std::pair("first", "RAck: 101 1 INVITE")}) {
        const HeardPtr confirmed = prack();
        const SentPtr passed = next("PRACK");
        EXPECT_NE(passed->request.headers.find(std::string(rack) + "\r\n"), std::string::npos);
        EXPECT_NE(passed->request.to.find(std::string(";tag=") + tag), std::string::npos) << passed->request.to;
        EXPECT_EQ(passed->request.uri, std::string("sip:") + tag + "@192.0.2.2");
        answer(passed, 200);
        EXPECT_EQ(confirmed->status(), 200);
    }
}

TEST_F(ProxiedTest, EachTelephoneMaySpeakBeforeOneAnswers)
{
    ring();
    progress("first", 180, 0);
    progress("second", 180, 0);
    const HeardPtr info = say("first", 30, SipMethod::Info);
    EXPECT_EQ(info->statuses(), Statuses{});
    answer(next("INFO"), 200);
    EXPECT_EQ(info->status(), 200);
    EXPECT_EQ(say("second", 4, SipMethod::Options)->status(), 200) << "its numbers are its own";
    EXPECT_EQ(say("first", 30, SipMethod::Options)->status(), 500);
    EXPECT_EQ(say("third", 1, SipMethod::Options)->status(), 481);
    progress("first", 180, 0);
    answer(branches[0], 200, kAnswer, [](CallMessage& success) { success.to.tag = "second"; });
    ack(invite);
    EXPECT_EQ(say("first", 31, SipMethod::Options)->status(), 481) << "another one has answered";
    EXPECT_EQ(say("second", 5, SipMethod::Options)->status(), 200);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    EXPECT_NE(next("BYE")->request.to.find(";tag=second"), std::string::npos);
    expectNothingLeft();
}

TEST_F(ProxiedTest, TooManyTelephonesAreNotHeard)
{
    ring();
    for (int i = 0; i < 100; ++i)
        progress("t" + std::to_string(i), 180, 0);
    EXPECT_EQ(say("t0", 1, SipMethod::Options)->status(), 200);
    EXPECT_EQ(say("t99", 1, SipMethod::Options)->status(), 481);
    EXPECT_LT(invite->answers.size(), 20U);
}

// All of them answer.
TEST_F(CallsForkingTest, ALateSuccessOfTheSameInviteIsConfirmedAndHungUpOnce)
{
    Talk made = talk();
    CallMessage success;
    success.method = SipMethod::Invite;
    success.status = 200;
    success.source = phone("2002").source;
    success.callId = made.branch->request.callId;
    success.cseq = made.branch->request.cseq;
    success.from = {"sip:2001@198.51.100.1:5060", "2001", "198.51.100.1", "Phone 2001", made.called.serverTag};
    success.to = {"sip:2002@198.51.100.1", "2002", "198.51.100.1", {}, "late"};
    success.contact = "sip:late@203.0.113.9";
    success.routes = {"<sip:first@203.0.113.9;lr>", "<sip:second@203.0.113.9;lr>"};
    for (int i = 0; i < 2; ++i)
        server().onStraySuccess(success);
    ASSERT_EQ(transport.strayAcks.size(), 2U);
    EXPECT_EQ(transport.strayAcks[0].cseq, made.branch->request.cseq);
    EXPECT_EQ(transport.strayAcks[0].to, "<sip:2002@198.51.100.1>;tag=late");
    const SentPtr bye = next("BYE");
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(bye->request.uri, "sip:late@203.0.113.9");
    EXPECT_EQ(bye->request.from, made.branch->request.from);
    EXPECT_EQ(bye->request.cseq, made.branch->request.cseq + 1);
    EXPECT_EQ(bye->request.routes,
              (std::vector<std::string>{"<sip:second@203.0.113.9;lr>", "<sip:first@203.0.113.9;lr>"}));
    EXPECT_EQ(bye->request.destination.address, "192.0.2.2") << "where it came from, not where it says";

    success.to.tag = made.called.tag; // the one that talks
    server().onStraySuccess(success);
    success.to.tag = "foreign";
    success.source = phone("2003").source; // nobody who was called
    server().onStraySuccess(success);
    EXPECT_EQ(transport.strayAcks.size(), 2U);
    success.source = phone("2002").source;
    for (size_t i = 0; i < 2 * Calls::kMaxStrays; ++i) {
        success.to.tag = "many" + std::to_string(i);
        server().onStraySuccess(success);
    }
    EXPECT_EQ(transport.strayAcks.size(), 1 + Calls::kMaxStrays);
    EXPECT_EQ(server().size(), 1U);
    hangUp(made);
    pass(Calls::kLingerMs / 1000 + 1);
    success.to.tag = "nobodys";
    server().onStraySuccess(success);
    EXPECT_EQ(transport.strayAcks.size(), 1 + Calls::kMaxStrays);
    expectNothingLeft();
}

TEST_F(CallsForkingTest, ATelephoneThatLostDoesNotEndTheCall)
{
    begin(2);
    answer(branches[1], 180);
    answer(branches[0], 200, kAnswer);
    ack(invite);
    PhoneDialog loser = calledOf(branches[1], phone("2002"));
    EXPECT_EQ(send(loser, SipMethod::Bye)->status(), 200);
    EXPECT_FALSE(hasNext("BYE"));
    PhoneDialog caller = callerOf(invite, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(next("BYE")->request.callId, branches[0]->request.callId);
    expectNothingLeft();
}

TEST_F(CallsForkingTest, ATelephoneThatHangsUpBeforeItsAnswerCameLeavesTheOthersRinging)
{
    begin(2);
    answer(branches[0], 180);
    PhoneDialog first = calledOf(branches[0], phone("2002"));
    EXPECT_EQ(send(first, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(invite->status(), 180);
    answer(branches[1], 200, kAnswer);
    EXPECT_EQ(invite->status(), 200);
}

TEST_F(CallsForkingTest, NothingIsLeftOfATelephoneThatNeverAnswersItsCancel)
{
    begin(2);
    answer(branches[0], 200, kAnswer);
    ack(invite);
    EXPECT_EQ(server().load().legs, 3U);
    pass(45);
    EXPECT_EQ(server().load().legs, 2U);
    EXPECT_FALSE(branches[1]->isHeard);
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsForkingTest, TheCallGoesOnWhileOneOfThemMayStillAnswer)
{
    begin(3);
    answer(branches[0], 486);
    answer(branches[1], 480);
    EXPECT_EQ(invite->statuses(), (Statuses{100}));
    answer(branches[2], 200, kAnswer);
    EXPECT_EQ(invite->statuses(), (Statuses{100, 200}));
}

TEST_F(CallsForkingTest, BusyIsToldBeforeUnavailable)
{
    begin(3);
    answer(branches[0], 480);
    answer(branches[1], 486);
    answerOwn(branches[2], 408);
    EXPECT_EQ(invite->status(), 486);
    expectNothingLeft();
}

TEST_F(CallsForkingTest, AGlobalFailureEndsTheCallAtOnce)
{
    begin(3);
    answer(branches[0], 486);
    answer(branches[1], 603);
    EXPECT_EQ(invite->status(), 603);
    EXPECT_TRUE(branches[2]->isCancelled);
    answer(branches[2], 487);
    expectNothingLeft();
}

TEST_F(CallsForkingTest, TheTelephoneThatCallsDoesNotRingItself)
{
    const FakePhone second = addPhone("2001");
    const HeardPtr own = call("2001", "2001");
    const SentPtr branch = next("INVITE");
    EXPECT_EQ(branch->request.destination.address, second.source.address);
    EXPECT_FALSE(hasNext("INVITE"));
    answer(branch, 486);
    EXPECT_EQ(call("2002", "2002")->status(), 480);
    expectNothingLeft();
}

TEST_F(CallsForkingTest, AnUnregisteredUserIsUnavailable)
{
    removePhones("2002");
    EXPECT_EQ(call("2001", "2002")->status(), 480);
    EXPECT_EQ(call("2001", "9999")->status(), 404);
    EXPECT_FALSE(hasNext("INVITE"));
    expectNothingLeft();
}

TEST_F(CallsForkingTest, AUserWithIpAuthenticationIsCalledAtHisAddress)
{
    removePhones("2002");
    changeUser("2002", [](Cdb_usr_info& user) {
        user.flags |= kUsrIpAuth;
        std::string("2001:db8::7").copy(user.ipAddr, sizeof user.ipAddr - 1);
    });
    call("2001", "2002");
    const SentPtr branch = next("INVITE");
    EXPECT_EQ(branch->request.uri, "sip:2002@[2001:db8::7]:5060");
    EXPECT_EQ(branch->request.destination.address, "2001:db8::7");
    EXPECT_EQ(branch->request.destination.port, 5060);
}

// RFC 3261 section 13.2.1: he would ignore the second answer to his offer.
TEST_F(CallsForkingTest, TheSessionWithAnotherTelephoneBehindTheContactIsOfferedToTheCaller)
{
    static constexpr const char* kOther = "v=0\r\no=- 9 1 IN IP4 192.0.2.9\r\ns=-\r\nm=audio 9000 RTP/AVP 8\r\n";
    const auto by = [](const char* tag) { return [tag](CallMessage& response) { response.to.tag = tag; }; };
    invite = call("2001", "2002");
    const SentPtr branch = next("INVITE");
    answer(branch, 183, kAnswer, by("one"));
    answer(branch, 180, {}, by("other"));
    answer(branch, 200, kOther, by("other"));
    EXPECT_EQ(invite->status(), 200);
    EXPECT_EQ(invite->answers.back().body.data, kAnswer);
    pass(1);
    EXPECT_FALSE(hasNext("INVITE"));
    ack(invite);
    const SentPtr offer = next("INVITE");
    EXPECT_EQ(offer->request.callId, invite->request.callId);
    EXPECT_EQ(offer->request.body.data, "v=0\r\no=- 2 2 IN IP4 192.0.2.2\r\ns=-\r\nm=audio 9000 RTP/AVP 8\r\n");
    answer(offer, 200, kOffer);
    EXPECT_EQ(offer->acks.size(), 1U);
    pass(20);
    EXPECT_FALSE(hasNext("INVITE"));
}

} // namespace
