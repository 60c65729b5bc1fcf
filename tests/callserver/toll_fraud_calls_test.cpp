// Who is in a call already gets nowhere that he might not call himself.
#include "callserver/toll_fraud_fixture.h"

namespace {

class TollFraudWithinTest : public TollFraudTest {
protected:
    TollFraudWithinTest() { setFlags(0); }

    std::string status(PhoneDialog dialog, SipMethod method, const Change& change = {})
    {
        return std::to_string(send(dialog, method, kOffer, change)->status());
    }
};

TEST_F(TollFraudWithinTest, WhoDoesNotKnowADialogCannotSpeakInIt)
{
    Talk made = talk();
    const size_t sent = transport.sent.size();
    const FakePhone stranger = at("2001");
    for (const SipMethod method : {SipMethod::Invite, SipMethod::Bye, SipMethod::Update, SipMethod::Info,
                                   SipMethod::Message, SipMethod::Prack}) {
        PhoneDialog guessed{stranger, made.caller.callId, made.caller.tag, "0123456789abcdef", 5};
        EXPECT_EQ(status(guessed, method), "481");
        guessed = {stranger, made.caller.callId, "guessed", made.caller.serverTag, 5};
        EXPECT_EQ(status(guessed, method), "481");
        guessed = {stranger, "another", made.caller.tag, made.caller.serverTag, 5};
        EXPECT_EQ(status(guessed, method), "481");
        guessed = {stranger, made.caller.callId, made.caller.tag, made.called.serverTag, 5};
        EXPECT_EQ(status(guessed, method), "481") << "the tag of the other side";
    }
    EXPECT_EQ(transport.sent.size(), sent);
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(TollFraudWithinTest, AChangedOfferCallsNobodyElse)
{
    Talk made = talk();
    const auto redirect = [](CallMessage& request) {
        request.requestUri = std::string("sip:") + kOutside + "@198.51.100.1";
        request.requestUser = kOutside;
        request.to.uri = request.requestUri;
        request.to.user = kOutside;
        request.from.user = "2002";
        request.contact = "sip:0049301234@198.51.100.200";
        request.routes = {"<sip:198.51.100.200;lr>"};
    };
    EXPECT_EQ(status(made.caller, SipMethod::Invite, redirect), "0");
    const SentPtr passed = next("INVITE");
    EXPECT_EQ(passed->request.destination.address, "192.0.2.2");
    EXPECT_EQ(passed->request.uri.find(kOutside), std::string::npos);
    EXPECT_EQ(passed->request.to.find(kOutside), std::string::npos);
    expectNothingOutside();
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(TollFraudWithinTest, ContactsAndRoutesOfACallLeadNowhereElse)
{
    const auto outside = [](CallMessage& message) {
        message.contact = "sip:0049301234@198.51.100.200;maddr=198.51.100.201";
        message.routes = {"<sip:198.51.100.200;lr>", "<sip:198.51.100.201;maddr=198.51.100.202>"};
    };
    Talk made = talk("2001", "2002", outside, outside);
    send(made.caller, SipMethod::Info, kOffer, outside);
    send(made.called, SipMethod::Update, kOffer, outside);
    answer(next("UPDATE"), 200, kAnswer, outside);
    pass(61);
    (void)server().releaseAll();
    EXPECT_TRUE(hasNext("BYE"));
    expectNothingOutside();
}

TEST_F(TollFraudWithinTest, WhoSendsACallOnNeedsTheRightToCallThere)
{
    const auto outside = [](CallMessage& moved) {
        moved.contact = "sip:0049301234@198.51.100.200";
        moved.contactUser = kOutside;
    };
    restrict("2002", 0);
    const HeardPtr refused = call("2001", "2002");
    answer(next("INVITE"), 302, {}, outside);
    EXPECT_EQ(refused->status(), 403);
    const HeardPtr left = call("2001", "2003");
    answer(next("INVITE"), 302, {}, outside);
    EXPECT_EQ(left->status(), 503) << "as if 2003 had dialed it";
    expectNothingOutside();
    EXPECT_FALSE(hasNext("INVITE"));
}

class TollFraudTransferTest : public TollFraudWithinTest {
protected:
    // What the one who asks for a transfer to there is told of it at last.
    std::string transfer(PhoneDialog& by, const std::string& number)
    {
        const HeardPtr refer = send(by, SipMethod::Refer, {}, [&](CallMessage& request) {
            request.referTo = ReferTo{number, {}, {}};
            request.contact = "sip:0049301234@198.51.100.200";
        });
        if (refer->status() != 202)
            return std::to_string(refer->status());
        std::string told;
        while (hasNext("NOTIFY"))
            told = next("NOTIFY")->request.body.data.substr(8, 3);
        return told;
    }
};

TEST_F(TollFraudTransferTest, WhoTransfersNeedsTheRightToCallThere)
{
    restrict("2002", 0);
    Talk made = talk();
    EXPECT_EQ(transfer(made.called, kOutside), "403");
    EXPECT_EQ(transfer(made.caller, kOutside), "503") << "as if 2001 had dialed it";
    changeUser("2001", [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrTransfer}; });
    EXPECT_EQ(transfer(made.caller, kOutside), "403");
    EXPECT_FALSE(hasNext("INVITE"));
    expectNothingOutside();
}

TEST_F(TollFraudTransferTest, StrangersTransferNobody)
{
    setFlags(kSysAcceptUnknown);
    const FakePhone stranger = at("nobody");
    const HeardPtr invite = call(stranger, "2002");
    answer(next("INVITE"), 200, kAnswer);
    ack(invite);
    PhoneDialog dialog = callerOf(invite, stranger);
    EXPECT_EQ(transfer(dialog, "2003"), "403");
    EXPECT_EQ(transfer(dialog, kFree), "403");
    EXPECT_FALSE(hasNext("INVITE"));
    for (const SentPtr& sent : transport.sent)
        EXPECT_NE(sent->request.method, "NOTIFY") << "it was begun";
}

TEST_F(TollFraudTransferTest, NobodyTakesTheCallOfAnother)
{
    setFlags(kSysAcceptUnknown);
    Talk made = talk();
    const auto replace = [&](CallMessage& invite) {
        invite.replaces = ReplacedDialog{made.caller.callId, made.caller.serverTag, made.caller.tag, false};
    };
    EXPECT_EQ(outcome(phone("2003"), "2002", replace), "403");
    EXPECT_EQ(outcome(at("nobody"), "2002", replace), "403");
    EXPECT_EQ(outcome(at("2001"), "2002", replace), "407");
    EXPECT_EQ(outcome(phone("2001"), "2002", replace), "rings") << "it is his own";
}

} // namespace
