// Texts, questions and other requests within a call that make no session.
#include "callserver/calls_fixture.h"

namespace {

using Statuses = std::vector<int>;

class CallsWithinTest : public CallsFixture {};

TEST_F(CallsWithinTest, TextsAndSignalsArePassedWithWhatTheyCarry)
{
    Talk made = talk();
    const HeardPtr info = send(made.caller, SipMethod::Info, {}, [](CallMessage& request) {
        request.body = {"application/dtmf-relay", "Content-Disposition: signal\r\n", "Signal=5\r\nDuration=160\r\n"};
        request.passed = "Info-Package: dtmf\r\n";
    });
    const SentPtr passed = next("INFO");
    EXPECT_EQ(passed->request.callId, made.branch->request.callId);
    EXPECT_EQ(passed->request.body.type, "application/dtmf-relay");
    EXPECT_EQ(passed->request.body.headers, "Content-Disposition: signal\r\n");
    EXPECT_EQ(passed->request.body.data, "Signal=5\r\nDuration=160\r\n");
    EXPECT_TRUE(isIn(passed->request.headers, "Info-Package: dtmf"));
    answer(passed, 200);
    EXPECT_EQ(info->statuses(), (Statuses{200}));
    const HeardPtr text = send(made.called, SipMethod::Message, {}, [](CallMessage& request) {
        request.body = {"text/plain", {}, "hello"};
    });
    const SentPtr other = next("MESSAGE");
    EXPECT_EQ(other->request.callId, made.invite->request.callId);
    EXPECT_EQ(other->request.body.data, "hello");
    answer(other, 415);
    EXPECT_EQ(text->statuses(), (Statuses{415}));
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsWithinTest, ATextToASideThatDoesNotKnowTheCallEndsIt)
{
    Talk made = talk();
    const HeardPtr info = send(made.caller, SipMethod::Info);
    answer(next("INFO"), 481);
    EXPECT_EQ(info->status(), 481);
    EXPECT_EQ(next("BYE")->request.callId, made.invite->request.callId);
    expectNothingLeft();
}

TEST_F(CallsWithinTest, ATextThatNobodyAnswersLeavesTheCall)
{
    Talk made = talk();
    const HeardPtr info = send(made.caller, SipMethod::Info);
    answerOwn(next("INFO"), 408);
    EXPECT_EQ(info->status(), 500); // 408 would end the sender's dialog
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsWithinTest, ASideWaitsForTheAnswersToItsTextsBeforeItSendsTooMany)
{
    Talk made = talk();
    std::vector<HeardPtr> texts;
    for (size_t i = 0; i < Call::kMaxRelays; ++i)
        texts.push_back(send(made.caller, SipMethod::Info));
    const HeardPtr refused = send(made.caller, SipMethod::Message);
    ASSERT_EQ(refused->status(), 500);
    EXPECT_NE(refused->answers.back().headers.find("Retry-After: "), std::string::npos);
    EXPECT_FALSE(hasNext("MESSAGE"));
    answer(next("INFO"), 200);
    EXPECT_EQ(texts.front()->status(), 200);
    const HeardPtr taken = send(made.caller, SipMethod::Message);
    answer(next("MESSAGE"), 200);
    EXPECT_EQ(taken->status(), 200);
    hangUp(made);
    for (const HeardPtr& text : texts)
        EXPECT_EQ(text->finals, 1U);
    expectNothingLeft();
}

TEST_F(CallsWithinTest, OptionsWithinTheCallAreAnsweredByTheServer)
{
    Talk made = talk();
    const HeardPtr options = send(made.caller, SipMethod::Options);
    EXPECT_EQ(options->status(), 200);
    EXPECT_TRUE(isIn(options->answers.back().headers, "Accept: application/sdp"));
    EXPECT_TRUE(isIn(options->answers.back().headers,
                     "Allow: INVITE, ACK, CANCEL, BYE, OPTIONS, PRACK, REFER, SUBSCRIBE, UPDATE, INFO, MESSAGE"));
    EXPECT_FALSE(hasNext("OPTIONS"));
}

TEST_F(CallsWithinTest, AnOldSequenceNumberIsRefused)
{
    Talk made = talk();
    send(made.caller, SipMethod::Options); // 2
    made.caller.cseq = 1;
    EXPECT_EQ(send(made.caller, SipMethod::Invite, kHold)->status(), 500);
    made.caller.cseq = 0;
    EXPECT_EQ(send(made.caller, SipMethod::Bye)->status(), 500);
    EXPECT_EQ(server().size(), 1U);
    made.caller.cseq = 2;
    EXPECT_EQ(send(made.caller, SipMethod::Bye)->status(), 200);
}

TEST_F(CallsWithinTest, ARequestWithForeignTagsBelongsToNoCall)
{
    Talk made = talk();
    for (const SipMethod method : {SipMethod::Bye, SipMethod::Invite, SipMethod::Update, SipMethod::Info,
                                   SipMethod::Message, SipMethod::Options}) {
        PhoneDialog foreign = made.caller;
        foreign.tag = "other";
        EXPECT_EQ(send(foreign, method)->status(), 481);
        foreign = made.caller;
        foreign.serverTag = "other";
        EXPECT_EQ(send(foreign, method)->status(), 481);
        foreign = made.caller;
        foreign.callId = made.branch->request.callId;
        EXPECT_EQ(send(foreign, method)->status(), 481);
    }
    EXPECT_EQ(server().size(), 1U);
    CallMessage bye = initial(phone("2001"), "2002", SipMethod::Bye);
    EXPECT_EQ(deliver(bye)->status(), 481); // outside of all dialogs
}

TEST_F(CallsWithinTest, AfterTheEndNobodyKnowsTheCall)
{
    Talk made = talk();
    hangUp(made);
    EXPECT_EQ(send(made.called, SipMethod::Info)->status(), 481);
    const SourceKey at = sourceKey(std::string_view("192.0.2.1"));
    const SourceKey calledAt = sourceKey(std::string_view("192.0.2.2"));
    EXPECT_TRUE(server().has(made.invite->request.callId, at)) << "what was answered is still repeated";
    pass(Calls::kLingerMs / 1000 + 1);
    EXPECT_FALSE(server().has(made.branch->request.callId, calledAt));
    EXPECT_FALSE(server().has(made.invite->request.callId, at));
}

TEST_F(CallsWithinTest, RequestsFollowTheTelephoneToItsNewAddress)
{
    Talk made = talk();
    EXPECT_TRUE(server().has(made.branch->request.callId, sourceKey(made.called.phone.source.address)));
    EXPECT_FALSE(server().has(made.branch->request.callId, sourceKey(std::string_view("198.51.100.1"))))
        << "others are strangers";
    made.called.phone.source.port = 6070; // its router has given it another one
    send(made.called, SipMethod::Options);
    send(made.caller, SipMethod::Info);
    EXPECT_EQ(next("INFO")->request.destination.port, 6070);
    const HeardPtr reinvite = send(made.called, SipMethod::Invite, kHold,
                                   [](CallMessage& request) { request.contact = "sip:moved@192.0.2.2:6070"; });
    answer(next("INVITE"), 200, kAnswer);
    ack(reinvite);
    send(made.caller, SipMethod::Info);
    EXPECT_EQ(next("INFO")->request.uri, "sip:moved@192.0.2.2:6070");
}

TEST_F(CallsWithinTest, ATelephoneThatRefusesTextsWhileItRingsRingsOn)
{
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.isReliableSupported = true; });
    const SentPtr branch = next("INVITE");
    answer(branch, 183, kAnswer, [](CallMessage& response) { response.rseq = 1; });
    PhoneDialog caller = callerOf(invite, phone("2001"));
    const HeardPtr info = send(caller, SipMethod::Info);
    answer(next("INFO"), 481);
    EXPECT_EQ(info->status(), 481);
    const HeardPtr update = send(caller, SipMethod::Update, kOffer);
    answer(next("UPDATE"), 481);
    EXPECT_EQ(update->status(), 481);
    EXPECT_EQ(invite->status(), 183);
    EXPECT_FALSE(branch->isCancelled);
    answer(branch, 200);
    EXPECT_EQ(invite->status(), 200);
    ack(invite);
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    expectNothingLeft();
}

TEST_F(CallsWithinTest, TextsNeedTheRightOfBothUsers)
{
    for (const char* forbidden : {"2001", "2002"}) {
        changeUser(forbidden, [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrMessages}; });
        Talk made = talk();
        for (PhoneDialog* side : {&made.caller, &made.called}) {
            EXPECT_EQ(send(*side, SipMethod::Message)->status(), 403);
            const std::string allow = send(*side, SipMethod::Options)->answers.back().headers;
            EXPECT_EQ(allow.find("MESSAGE"), std::string::npos) << allow;
        }
        EXPECT_FALSE(hasNext("MESSAGE"));
        changeUser(forbidden, [](Cdb_usr_info& user) { user.flags |= kUsrMessages; });
    }
}

} // namespace
