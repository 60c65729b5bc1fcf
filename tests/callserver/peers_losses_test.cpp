// Messages of calls that get lost, come twice, too late, or out of order, between real telephones over UDP.
#include "callserver/two_telephones.h"

#include <utility>

namespace {

constexpr int kPatienceMs = 60'000; // a bound; what is repeated comes within seconds

class LossesTest : public TwoTelephones {
protected:
    // Takes the call to where the telephone rings.
    void ring(const std::vector<std::string>& headers = {})
    {
        sent = caller->invite("2002", CallPhone::kOffer, headers);
        invite = called->expect("INVITE");
        called->answer(invite, 180);
        ringing = caller->expect("180");
        caller->learn(ringing);
    }
    // The same once more, as if its answer had been lost.
    static void expectAgain(CallPhone& phone, const PhoneMessage& former)
    {
        EXPECT_EQ(phone.hear(kPatienceMs).text, former.text);
    }

    std::string sent; // the INVITE of the caller
    PhoneMessage invite;
    PhoneMessage ringing;
};

TEST_F(LossesTest, ARepeatedInviteIsAnsweredWithTheLastAnswer)
{
    startTelephones();
    ring();
    for (int i = 0; i < 3; ++i) {
        caller->sendText(sent);
        expectAgain(*caller, ringing);
    }
    EXPECT_TRUE(called->hearsNothing(kQuietMs));
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    caller->sendText(sent);
    expectAgain(*caller, success);
    caller->ack(success);
    hangUp();
    EXPECT_EQ(events.count("call "), 4U) << "one call";
}

TEST_F(LossesTest, AnInviteThatComesAgainAfterTheEndMakesNoCall)
{
    startTelephones();
    ring();
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    caller->ack(caller->expect("200"));
    hangUp();
    caller->sendText(sent);
    EXPECT_TRUE(called->hearsNothing(kQuietMs));
    EXPECT_EQ(events.count("call 2 start"), 0U);
}

TEST_F(LossesTest, AnOldSuccessAfterTheEndIsNoCall)
{
    startTelephones();
    ring();
    called->answer(invite, 200, CallPhone::kAnswer);
    const PhoneMessage ack = called->expect("ACK");
    caller->ack(caller->expect("200"));
    caller->send("BYE");
    caller->expect("200");
    const PhoneMessage bye = called->expect("BYE");
    called->answer(bye, 200);
    EXPECT_TRUE(events.waitForPart("call 1 end"));
    called->answer(invite, 200, CallPhone::kAnswer);
    const PhoneMessage again = called->hear(kPatienceMs);
    EXPECT_EQ(again.method(), "ACK");
    EXPECT_EQ(again.header("CSeq"), ack.header("CSeq"));
    expectQuiet();
    EXPECT_EQ(events.count("call "), 4U);
}

// RFC 3665 section 3.10: a telephone that is not there any more. One that wakes up is hung up.
TEST_F(LossesTest, AnInviteThatNobodyAnswersIsRepeatedUntilItIsGivenUp)
{
    startTelephones([](Cdb_fac_mgr& filled) {
        Cdb_usr_info user;
        ASSERT_EQ(filled.DbGetUsrInfo("2002", user), kDbOk);
        user.noAnsTime = 60; // longer than the stack waits
        ASSERT_EQ(filled.DbSetLocalUserData(user), kDbOk);
    });
    caller->invite("2002");
    invite = called->expect("INVITE");
    // RFC 3261 section 17.1.1.2: after 0.5, 1.5, 3.5, 7.5, 15.5 and 31.5 s
    for (int i = 0; i < 6; ++i)
        expectAgain(*called, invite);
    const PhoneMessage failure = caller->expect("480");
    caller->confirmFailure(failure);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 480"));
    EXPECT_EQ(events.count("call "), 2U) << "start and end";
    EXPECT_EQ(events.count("state 2002 2"), 0U) << "never rang";
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    called->answer(called->expect("BYE"), 200);
    expectQuiet();
}

TEST_F(LossesTest, ARingingThatComesAfterTheAnswerIsNotPassed)
{
    startTelephones();
    ring();
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    called->answer(invite, 180);
    called->answer(invite, 183, CallPhone::kAnswer);
    caller->ack(success);
    expectQuiet();
    hangUp();
}

TEST_F(LossesTest, AByeIsRepeatedUntilItIsAnswered)
{
    startTelephones();
    talk();
    caller->send("BYE");
    caller->expect("200");
    const PhoneMessage bye = called->expect("BYE");
    expectAgain(*called, bye);
    called->answer(bye, 200);
    expectQuiet();
}

TEST_F(LossesTest, ARepeatedSuccessIsConfirmedAgain)
{
    startTelephones();
    caller->invite("2002", "");
    invite = called->expect("INVITE");
    called->answer(invite, 200, CallPhone::kOffer);
    caller->ack(caller->expect("200"), CallPhone::kAnswer);
    const PhoneMessage ack = called->expect("ACK");
    EXPECT_EQ(ack.body(), CallPhone::kAnswer);
    for (int i = 0; i < 2; ++i) {
        called->answer(invite, 200, CallPhone::kOffer);
        expectAgain(*called, ack);
    }

    caller->send("INVITE", kHeld);
    const PhoneMessage change = called->expect("INVITE");
    called->answer(change, 200, kHolding);
    const PhoneMessage confirmed = called->expect("ACK");
    caller->ack(caller->expect("200"));
    called->answer(change, 200, kHolding);
    expectAgain(*called, confirmed);
    called->answer(invite, 200, CallPhone::kOffer);
    expectAgain(*called, ack);
    expectQuiet();
    hangUp();
}

// As telephones of RFC 2543 answer.
TEST_F(LossesTest, ARepeatedSuccessWithoutATagIsConfirmedAgain)
{
    startTelephones();
    caller->invite("2002");
    invite = called->expect("INVITE");
    const std::string body = CallPhone::kAnswer;
    const std::string success =
        "SIP/2.0 200 OK\r\nVia: " + invite.header("Via") + "\r\nFrom: " + invite.header("From") +
        "\r\nTo: " + invite.header("To") + "\r\nCall-ID: " + invite.header("Call-ID") +
        "\r\nCSeq: " + invite.header("CSeq") + "\r\nContact: " + called->contact() +
        "\r\nContent-Type: application/sdp\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    called->sendText(success);
    const PhoneMessage ack = called->expect("ACK");
    caller->ack(caller->expect("200"));
    called->sendText(success);
    expectAgain(*called, ack);
    expectQuiet();
}

TEST_F(LossesTest, AByeWhoseAnswerWasLostIsAnsweredAgain)
{
    startTelephones();
    talk();
    caller->send("BYE");
    const PhoneMessage done = caller->expect("200");
    called->answer(called->expect("BYE"), 200);
    // The Via makes it the same request (RFC 3261 section 17.2.3).
    const std::string again =
        "BYE sip:2002@127.0.0.1:" + std::to_string(port) + " SIP/2.0\r\nVia: " + done.header("Via") +
        "\r\nMax-Forwards: 70\r\nFrom: " + done.header("From") + "\r\nTo: " + done.header("To") +
        "\r\nCall-ID: " + done.header("Call-ID") + "\r\nCSeq: " + done.header("CSeq") + "\r\nContent-Length: 0\r\n\r\n";
    for (int i = 0; i < 2; ++i) {
        caller->sendText(again);
        expectAgain(*caller, done);
    }
    expectQuiet();
    EXPECT_EQ(events.count("call "), 4U);
}

TEST_F(LossesTest, AByeMayComeBeforeTheAck)
{
    startTelephones();
    ring();
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    caller->learn(success);
    caller->send("BYE");
    const PhoneMessage done = caller->expect("200");
    EXPECT_EQ(done.header("CSeq"), "3 BYE");
    called->answer(called->expect("BYE"), 200);
    caller->ack(success);
    expectQuiet();
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

TEST_F(LossesTest, TheServersByeWaitsForALateAck)
{
    startTelephones();
    ring();
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    called->send("BYE");
    called->expect("200");
    EXPECT_TRUE(events.waitForPart("call 1 end"));
    EXPECT_TRUE(caller->hearsNothing(kQuietMs));
    caller->ack(success);
    caller->answer(caller->expect("BYE"), 200);
    expectQuiet();
}

TEST_F(LossesTest, ACancelIsRepeatedUntilItIsAnswered)
{
    startTelephones();
    ring();
    caller->cancel();
    const PhoneMessage taken = caller->expect("200");
    const PhoneMessage failure = caller->expect("487");
    const PhoneMessage cancel = called->expect("CANCEL");
    expectAgain(*called, cancel);
    called->answer(cancel, 200);
    called->answer(invite, 487);
    called->expect("ACK");
    // The telephone has not heard of it: neither of the answer to its CANCEL nor of that to its INVITE.
    std::string heard;
    for (caller->cancel();
         heard.find(taken.text) == std::string::npos || heard.find(failure.text) == std::string::npos;)
        heard += caller->hear(kPatienceMs).text;
    EXPECT_EQ(events.count("call "), 3U) << "start, ring, end";
}

TEST_F(LossesTest, AFailureIsRepeatedUntilItIsConfirmed)
{
    startTelephones();
    ring();
    called->answer(invite, 486);
    const PhoneMessage ack = called->expect("ACK");
    called->answer(invite, 486);
    expectAgain(*called, ack);
    const PhoneMessage failure = caller->expect("486");
    expectAgain(*caller, failure);
    caller->confirmFailure(failure);
    expectQuiet();
}

TEST_F(LossesTest, AReliableAnswerIsRepeatedUntilItIsConfirmed)
{
    startTelephones();
    sent = caller->invite("2002", CallPhone::kOffer, {"Supported: 100rel"});
    invite = called->expect("INVITE");
    called->answer(invite, 183, CallPhone::kAnswer, {"Require: 100rel", "RSeq: 20"});
    const PhoneMessage progress = caller->expect("183");
    caller->learn(progress);
    expectAgain(*caller, progress);
    const std::string rseq = progress.header("RSeq");
    caller->send("PRACK", "", {"RAck: " + std::to_string(std::stoul(rseq) + 1) + " 2 INVITE"});
    caller->expect("481"); // confirms nothing that was said
    caller->send("PRACK", "", {"RAck: " + rseq + " 2 INVITE"});
    const PhoneMessage prack = called->expect("PRACK");
    // The server repeats what the telephone does not answer, and waits with its own answer.
    expectAgain(*called, prack);
    called->answer(prack, 200);
    caller->expect("200");
    // The telephone has not heard the answer, and repeats what is confirmed already.
    called->answer(invite, 183, CallPhone::kAnswer, {"Require: 100rel", "RSeq: 20"});
    caller->send("PRACK", "", {"RAck: " + rseq + " 2 INVITE"});
    caller->expect("481");
    expectQuiet();
    called->answer(invite, 200);
    called->expect("ACK");
    caller->ack(caller->expect("200"));
    hangUp();
}

TEST_F(LossesTest, ReliableAnswersOfTheTelephoneInWrongOrderArePassedInTheirs)
{
    startTelephones();
    caller->invite("2002", CallPhone::kOffer, {"Supported: 100rel"});
    invite = called->expect("INVITE");
    called->answer(invite, 183, CallPhone::kAnswer, {"Require: 100rel", "RSeq: 20"});
    const PhoneMessage first = caller->expect("183");
    caller->learn(first);
    // RFC 3262 section 4: what is out of order is not taken; it comes again.
    called->answer(invite, 180, "", {"Require: 100rel", "RSeq: 22"});
    called->answer(invite, 182, "", {"Require: 100rel", "RSeq: 21"});
    called->answer(invite, 180, "", {"Require: 100rel", "RSeq: 22"});
    PhoneMessage progress = first;
    for (const auto& [rseq, next] : {std::pair("20 ", "182"), std::pair("21 ", "180"), std::pair("22 ", "")}) {
        caller->send("PRACK", "", {"RAck: " + progress.header("RSeq") + " 2 INVITE"});
        const PhoneMessage prack = called->expect("PRACK");
        EXPECT_EQ(prack.header("RAck"), rseq + invite.header("CSeq"));
        if (*next != '\0')
            progress = caller->expect(next);
        called->answer(prack, 200);
        caller->expect("200");
    }
    called->answer(invite, 200);
    called->expect("ACK");
    caller->ack(caller->expect("200"));
    hangUp();
}

TEST_F(LossesTest, AnAckOfNoCallIsNothing)
{
    startTelephones();
    talk();
    const std::string head =
        "ACK sip:2002@127.0.0.1 SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:" + std::to_string(caller->port()) +
        ";branch=z9hG4bKnone;rport\r\n";
    const std::string from = "From: <sip:2001@127.0.0.1>;tag=x\r\n";
    for (const char* to : {"<sip:2002@127.0.0.1>", "<sip:2002@127.0.0.1>;tag=y"})
        for (const std::string& callId : {caller->callId(), std::string("nobodys")})
            caller->sendText(head + from + "To: " + to + "\r\nCall-ID: " + callId +
                             "\r\nCSeq: 2 ACK\r\nContent-Length: 0\r\n\r\n");
    expectQuiet();
    hangUp();
}

TEST_F(LossesTest, OldRequestsOfTheTelephoneAreRefusedAndChangeNothing)
{
    startTelephones();
    talk();
    caller->send("OPTIONS");
    const PhoneMessage answer = caller->expect("200");
    const auto request = [&](const std::string& method, int cseq) {
        return method + " sip:2002@127.0.0.1:" + std::to_string(port) +
               " SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:" + std::to_string(caller->port()) + ";rport;branch=z9hG4bKold" +
               method + std::to_string(cseq) + "\r\nMax-Forwards: 70\r\nFrom: " + answer.header("From") +
               "\r\nTo: " + answer.header("To") + "\r\nCall-ID: " + answer.header("Call-ID") +
               "\r\nCSeq: " + std::to_string(cseq) + " " + method + "\r\nContact: " + caller->contact() +
               "\r\nContent-Length: 0\r\n\r\n";
    };
    for (const char* method : {"BYE", "INVITE", "UPDATE", "INFO"})
        for (const int cseq : {1, 2, 3}) {
            caller->sendText(request(method, cseq));
            caller->expect("500");
            if (std::string(method) == "INVITE")
                caller->sendText(request("ACK", cseq));
        }
    EXPECT_TRUE(called->hearsNothing(kQuietMs));
    hangUp();
}

TEST_F(LossesTest, ByesThatCrossEndTheCallOnce)
{
    startTelephones();
    talk();
    caller->send("BYE");
    caller->expect("200");
    const PhoneMessage bye = called->expect("BYE");
    called->send("BYE");
    called->expect("481"); // over already (RFC 3261 section 15.1.2)
    called->answer(bye, 481);
    expectQuiet();
    EXPECT_EQ(events.count("call "), 4U);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

} // namespace
