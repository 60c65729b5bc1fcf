// Call flows between two telephones, message by message as both see them (RFC 3665 section 3, RFC 5359 section 2).
#include "callserver/two_telephones.h"

namespace {

const std::string kInactive = std::string(CallPhone::kAnswer) + "a=inactive\r\n";
const std::string kOtherAnswer = std::string(CallPhone::kAnswer) + "a=ptime:20\r\n";

class FlowsTest : public TwoTelephones {
protected:
    // The request of one within the dialog, and its answer by the other.
    static void ask(CallPhone& one, CallPhone& other, const std::string& method, int status)
    {
        one.send(method);
        other.answer(other.expect(method), status);
        one.expect(std::to_string(status));
    }
};

// RFC 3665 section 3.1
TEST_F(FlowsTest, ACallIsAnsweredAndEndedWithoutAnythingElse)
{
    startTelephones();
    const PhoneMessage invite = talk();
    EXPECT_EQ(invite.header("Max-Forwards"), "69");
    expectQuiet();
    hangUp(*called, *caller);
    expectQuiet();
}

// RFC 3665 section 3.2: a proxy on the way stays there.
TEST_F(FlowsTest, RequestsWithinTheCallTakeTheWayOfTheInvite)
{
    startTelephones();
    const std::string callerProxy = "<sip:127.0.0.1:" + std::to_string(caller->port()) + ";lr>";
    const std::string near = "<sip:near@127.0.0.1:" + std::to_string(called->port()) + ";lr>";
    const std::string far = "<sip:far@127.0.0.1:" + std::to_string(called->port()) + ";lr>";
    caller->invite("2002", CallPhone::kOffer, {"Record-Route: " + callerProxy});
    const PhoneMessage invite = called->expect("INVITE");
    EXPECT_EQ(invite.header("Record-Route"), "") << "of the other leg";
    const std::vector<std::string> routes = {"Record-Route: " + far, "Record-Route: " + near};
    called->answer(invite, 180, "", routes);
    EXPECT_EQ(caller->expect("180").header("Record-Route"), callerProxy);
    called->answer(invite, 200, CallPhone::kAnswer, routes);
    const PhoneMessage ack = called->expect("ACK");
    EXPECT_EQ(ack.firstLine(), "ACK " + called->contact().substr(1, called->contact().size() - 2) + " SIP/2.0");
    EXPECT_LT(ack.text.find("near@"), ack.text.find("far@")) << ack.text;
    const PhoneMessage success = caller->expect("200");
    EXPECT_EQ(success.header("Record-Route"), callerProxy);
    caller->ack(success);
    caller->send("BYE");
    caller->expect("200");
    const PhoneMessage bye = called->expect("BYE");
    EXPECT_LT(bye.text.find("near@"), bye.text.find("far@")) << bye.text;
    EXPECT_TRUE(bye.has("far@"));
    called->answer(bye, 200);
    expectQuiet();
}

// RFC 3665 section 3.7
TEST_F(FlowsTest, ATelephoneTakesTheCallWithItToAnotherAddress)
{
    startTelephones();
    const PhoneMessage invite = talk();
    CallPhone moved(port, "2002");
    const std::string branch = ";rport;branch=z9hG4bKmoved";
    const std::string via = "Via: SIP/2.0/UDP 127.0.0.1:" + std::to_string(moved.port()) + branch;
    const std::string target = invite.header("Contact");
    const std::string dialog = "From: " + invite.header("To") + ";tag=q" + std::to_string(called->port()) +
                               "\r\nTo: " + invite.header("From") + "\r\nCall-ID: " + invite.header("Call-ID") + "\r\n";
    const std::string line = " " + target.substr(1, target.find('>') - 1) + " SIP/2.0\r\n";
    const std::string offer(CallPhone::kOffer);
    moved.sendText("INVITE" + line + via + "1\r\n" + dialog + "CSeq: 14 INVITE\r\nContact: " + moved.contact() +
                   "\r\nContent-Type: application/sdp\r\nContent-Length: " + std::to_string(offer.size()) + "\r\n\r\n" +
                   offer);
    const PhoneMessage reinvite = caller->expect("INVITE");
    EXPECT_EQ(reinvite.body(), offer);
    caller->answer(reinvite, 200, CallPhone::kAnswer);
    caller->expect("ACK");
    moved.expect("200");
    moved.sendText("ACK" + line + via + "2\r\n" + dialog + "CSeq: 14 ACK\r\nContent-Length: 0\r\n\r\n");
    caller->send("BYE");
    caller->expect("200");
    const PhoneMessage bye = moved.expect("BYE");
    EXPECT_EQ(bye.firstLine(), "BYE " + moved.contact().substr(1, moved.contact().size() - 2) + " SIP/2.0");
    moved.answer(bye, 200);
    expectQuiet();
}

// RFC 3665 sections 3.9 and 3.11
TEST_F(FlowsTest, ATelephoneThatRefusesIsConfirmedAndTheCallerHearsWhy)
{
    startTelephones();
    int call = 0;
    for (const int status : {486, 480, 603}) {
        caller->invite("2002");
        const PhoneMessage invite = called->expect("INVITE");
        called->answer(invite, 180);
        caller->expect("180");
        called->answer(invite, status, "", {"Retry-After: 60", "Warning: 399 telephone \"busy\""});
        const PhoneMessage ack = called->expect("ACK");
        EXPECT_EQ(ack.header("Via"), invite.header("Via")) << "it belongs to the INVITE (RFC 3261 section 17.1.1.3)";
        EXPECT_EQ(ack.header("CSeq"), std::to_string(std::stoi(invite.header("CSeq"))) + " ACK");
        const PhoneMessage failure = caller->expect(std::to_string(status));
        EXPECT_EQ(failure.header("Retry-After"), "60");
        EXPECT_EQ(failure.header("Warning"), "399 telephone \"busy\"");
        caller->confirmFailure(failure);
        EXPECT_TRUE(
            events.waitForPart("call " + std::to_string(++call) + " end 2001 2002 2002 " + std::to_string(status)));
        EXPECT_TRUE(called->hearsNothing(kQuietMs));
    }
}

TEST_F(FlowsTest, HeadersForTheOtherSideArePassed)
{
    startTelephones();
    caller->invite("2002", CallPhone::kOffer,
                   {"s: Lunch", "Alert-Info: <http://127.0.0.1/ring>;info=external", "Priority: urgent",
                    "Recv-Info: dtmf,", " other", "Content-Disposition: session;handling=required",
                    "X-Secret: of this leg", "Server: of this leg"});
    const PhoneMessage invite = called->expect("INVITE");
    EXPECT_EQ(invite.header("Subject"), "Lunch");
    EXPECT_EQ(invite.header("Alert-Info"), "<http://127.0.0.1/ring>;info=external");
    EXPECT_EQ(invite.header("Priority"), "urgent");
    EXPECT_TRUE(invite.has("\r\nRecv-Info: dtmf,")) << invite.text;
    EXPECT_TRUE(invite.has(" other\r\n")) << invite.text;
    EXPECT_EQ(invite.header("Content-Disposition"), "session;handling=required");
    EXPECT_FALSE(invite.has("of this leg"));
    called->answer(invite, 180, "", {"Alert-Info: <urn:alert:tone:waiting>"});
    EXPECT_EQ(caller->expect("180").header("Alert-Info"), "<urn:alert:tone:waiting>");
    called->answer(invite, 200, CallPhone::kAnswer, {"Organization: Kitchen"});
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    EXPECT_EQ(success.header("Organization"), "Kitchen");
    caller->ack(success);
    caller->send("BYE", "", {"Reason: Q.850;cause=16;text=\"Terminated\""});
    caller->expect("200");
    const PhoneMessage bye = called->expect("BYE");
    EXPECT_EQ(bye.header("Reason"), "Q.850;cause=16;text=\"Terminated\"");
    called->answer(bye, 200);
}

// RFC 5359 section 2.1
TEST_F(FlowsTest, EitherSideHoldsTheOtherUntilBothHaveLetGo)
{
    startTelephones();
    talk();
    exchange(*called, *caller, kHeld, kHolding);
    exchange(*caller, *called, kHeld, kInactive);
    exchange(*called, *caller, CallPhone::kOffer, kInactive);
    exchange(*caller, *called, CallPhone::kOffer, CallPhone::kAnswer);
    hangUp();
    expectQuiet();
}

// RFC 5359 section 2.2
TEST_F(FlowsTest, AUserAsksAThirdOneWhileTheFirstIsOnHold)
{
    startTelephones();
    talk();
    exchange(*called, *caller, kHeld, kHolding);
    CallPhone second(port, "2002"); // the other line of the same telephone
    CallPhone third(port, "2003");
    third.registerNow();
    second.invite("2003");
    const PhoneMessage invite = third.expect("INVITE");
    third.answer(invite, 180);
    second.expect("180");
    third.answer(invite, 200, CallPhone::kAnswer);
    third.expect("ACK");
    second.ack(second.expect("200"));
    EXPECT_TRUE(events.waitForPart("call 2 answer"));
    second.send("BYE");
    second.expect("200");
    third.answer(third.expect("BYE"), 200);
    EXPECT_TRUE(events.waitForPart("call 2 end"));
    exchange(*called, *caller, CallPhone::kOffer, CallPhone::kAnswer);
    hangUp();
    expectQuiet();
}

// RFC 5359 section 2.3: the music's offer is asked for first.
TEST_F(FlowsTest, AHeldSideHearsMusicFromElsewhere)
{
    startTelephones();
    talk();
    exchange(*called, *caller, kHeld, kHolding);
    called->send("INVITE");
    const PhoneMessage asked = caller->expect("INVITE");
    EXPECT_EQ(asked.body(), "");
    caller->answer(asked, 200, CallPhone::kOffer);
    const PhoneMessage offer = called->expect("200");
    EXPECT_EQ(offer.body(), CallPhone::kOffer);
    EXPECT_TRUE(caller->hearsNothing(kQuietMs)) << "the answer is not there yet";
    called->ack(offer, kOtherAnswer);
    EXPECT_EQ(caller->expect("ACK").body(), kOtherAnswer);
    exchange(*called, *caller, CallPhone::kOffer, CallPhone::kAnswer);
    hangUp();
    expectQuiet();
}

// RFC 5359 section 2.13
TEST_F(FlowsTest, AScreenedCallerIsRefusedBeforeTheTelephoneRings)
{
    startTelephones([](Cdb_fac_mgr& filled) {
        for (const auto& [name, flag] : {std::pair("2006", kUsrRejectAnonymous), std::pair("2007", kUsrDoNotDisturb)})
            addUser(filled, name, "secret", [flag = flag](Cdb_usr_info& user) { user.flags |= flag; });
    });
    CallPhone choosy(port, "2006");
    CallPhone quiet(port, "2007");
    choosy.registerNow();
    quiet.registerNow();
    EXPECT_EQ(caller->ask("INVITE", "2006", CallPhone::kOffer, {"Privacy: id"}).status(), 433);
    EXPECT_EQ(caller->ask("INVITE", "2007", CallPhone::kOffer).status(), 486);
    EXPECT_TRUE(choosy.hearsNothing(kQuietMs));
    EXPECT_TRUE(quiet.hearsNothing(kQuietMs));
    caller->invite("2006");
    choosy.answer(choosy.expect("INVITE"), 486);
    caller->expect("486");
}

// RFC 3261 section 17.2.1
TEST_F(FlowsTest, TryingIsSaidOnlyWhereNothingElseCanBeSaidSoon)
{
    startTelephones([](Cdb_fac_mgr& filled) {
        addUser(filled, "2007", "secret", [](Cdb_usr_info& user) { user.flags |= kUsrDoNotDisturb; });
    });
    caller->invite("2007");
    EXPECT_EQ(caller->hear(kQuietMs).status(), 486);
    caller->invite("2002");
    EXPECT_EQ(caller->hear(kQuietMs).status(), 100);
    called->answer(called->expect("INVITE"), 486);
    caller->expect("486");
}

TEST_F(FlowsTest, EarlyMediaIsFollowedByRingingAndAnotherAnswer)
{
    startTelephones();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 183, CallPhone::kAnswer);
    EXPECT_EQ(caller->expect("183").body(), CallPhone::kAnswer);
    called->answer(invite, 180);
    EXPECT_EQ(caller->expect("180").body(), "");
    called->answer(invite, 200, kOtherAnswer);
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    EXPECT_EQ(success.body(), kOtherAnswer);
    caller->ack(success);
    hangUp();
    expectQuiet();
}

TEST_F(FlowsTest, BeforeTheAnswerBothSidesMaySayAndAsk)
{
    startTelephones();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 183, CallPhone::kAnswer);
    caller->learn(caller->expect("183"));
    ask(*caller, *called, "INFO", 200);
    ask(*called, *caller, "INFO", 415);
    for (CallPhone* phone : {caller.get(), called.get()}) {
        phone->send("OPTIONS");
        EXPECT_TRUE(phone->expect("200").has("Accept: application/sdp"));
    }
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    caller->ack(caller->expect("200"));
    ask(*caller, *called, "INFO", 200);
    ask(*called, *caller, "INFO", 200);
    hangUp();
    expectQuiet();
}

// RFC 3262 section 5, RFC 3311 section 5: several offers before the answer.
TEST_F(FlowsTest, OffersBeforeTheAnswerGoWithPrackAndUpdate)
{
    startTelephones();
    caller->invite("2002", CallPhone::kOffer, {"Supported: 100rel"});
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 183, CallPhone::kAnswer, {"Require: 100rel", "RSeq: 5"});
    const PhoneMessage progress = caller->expect("183");
    caller->learn(progress);
    caller->send("PRACK", kHeld, {"RAck: " + progress.header("RSeq") + " 2 INVITE"});
    const PhoneMessage prack = called->expect("PRACK");
    EXPECT_EQ(prack.body(), kHeld);
    called->answer(prack, 200, kHolding);
    EXPECT_EQ(caller->expect("200").body(), kHolding);
    for (int i = 0; i < 2; ++i) {
        CallPhone& one = i == 0 ? *caller : *called;
        CallPhone& other = i == 0 ? *called : *caller;
        one.send("UPDATE", kHeld);
        const PhoneMessage update = other.expect("UPDATE");
        EXPECT_EQ(update.body(), kHeld);
        other.answer(update, 200, kHolding);
        EXPECT_EQ(one.expect("200").body(), kHolding);
    }
    called->answer(invite, 180, "", {"Require: 100rel", "RSeq: 6"});
    const PhoneMessage ringing = caller->expect("180");
    caller->send("PRACK", "", {"RAck: " + ringing.header("RSeq") + " 2 INVITE"});
    called->answer(called->expect("PRACK"), 200);
    caller->expect("200");
    called->answer(invite, 200);
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    EXPECT_EQ(success.body(), "");
    caller->ack(success);
    hangUp();
    expectQuiet();
}

// RFC 3262 section 3: also of a telephone that knows nothing of it, one after the other, and the success last.
TEST_F(FlowsTest, ACallerThatRequiresReliableAnswersGetsNoOthers)
{
    startTelephones();
    caller->invite("2002", CallPhone::kOffer, {"Require: 100rel"});
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 180);
    called->answer(invite, 183, CallPhone::kAnswer);
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    for (const char* expected : {"180", "183"}) {
        const PhoneMessage progress = caller->expect(expected);
        ASSERT_NE(progress.header("RSeq"), "");
        EXPECT_EQ(progress.header("Require"), "100rel");
        EXPECT_TRUE(caller->hearsNothing(kQuietMs)) << "not before this one is confirmed";
        caller->learn(progress);
        caller->send("PRACK", "", {"RAck: " + progress.header("RSeq") + " 2 INVITE"});
        EXPECT_NE(caller->expect("200").header("CSeq").find("PRACK"), std::string::npos);
    }
    const PhoneMessage success = caller->expect("200");
    EXPECT_NE(success.header("CSeq").find("INVITE"), std::string::npos);
    caller->ack(success);
    hangUp();
    expectQuiet();
}

// Nobody is there to answer it.
TEST_F(FlowsTest, AnOfferInAPrackThatTheTelephoneDoesNotKnowIsRefused)
{
    startTelephones();
    caller->invite("2002", CallPhone::kOffer, {"Require: 100rel"});
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 183, CallPhone::kAnswer);
    const PhoneMessage progress = caller->expect("183");
    caller->learn(progress);
    caller->send("PRACK", kHeld, {"RAck: " + progress.header("RSeq") + " 2 INVITE"});
    caller->expect("488");
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    caller->ack(caller->expect("200"));
    hangUp();
}

TEST_F(FlowsTest, TheAnswerToAnOfferOfAReliableAnswerGoesWithThePrack)
{
    startTelephones();
    caller->invite("2002", "", {"Supported: 100rel"});
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 183, CallPhone::kOffer, {"Require: 100rel", "RSeq: 5"});
    const PhoneMessage progress = caller->expect("183");
    EXPECT_EQ(progress.body(), CallPhone::kOffer);
    caller->learn(progress);
    caller->send("PRACK", CallPhone::kAnswer, {"RAck: " + progress.header("RSeq") + " 2 INVITE"});
    const PhoneMessage prack = called->expect("PRACK");
    EXPECT_EQ(prack.body(), CallPhone::kAnswer);
    called->answer(prack, 200);
    caller->expect("200");
    called->answer(invite, 200);
    EXPECT_EQ(called->expect("ACK").body(), "");
    const PhoneMessage success = caller->expect("200");
    EXPECT_EQ(success.body(), "");
    caller->ack(success);
    hangUp();
    expectQuiet();
}

// A proxy at the registered address rings two telephones: two early dialogs of one INVITE (RFC 3261 section 12.1.2).
class ForkedTest : public FlowsTest, public testing::WithParamInterface<SipClient::Transport> {};

INSTANTIATE_TEST_SUITE_P(Transports, ForkedTest,
                         testing::Values(SipClient::Transport::Udp, SipClient::Transport::Tcp,
                                         SipClient::Transport::Tls),
                         [](const testing::TestParamInfo<SipClient::Transport>& tested) {
                             return tested.param == SipClient::Transport::Udp   ? "Udp"
                                    : tested.param == SipClient::Transport::Tcp ? "Tcp"
                                                                                : "Tls";
                         });

TEST_P(ForkedTest, TheSecondSuccessIsConfirmedAndHungUp)
{
    startTelephones({}, GetParam());
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answerAs("first");
    called->answer(invite, 180);
    caller->expect("180");
    called->answerAs("second");
    called->answer(invite, 183, CallPhone::kAnswer);
    EXPECT_EQ(caller->expect("183").body(), CallPhone::kAnswer);
    called->answer(invite, 200, CallPhone::kAnswer);
    EXPECT_TRUE(called->expect("ACK").has(";tag=second"));
    caller->ack(caller->expect("200"));

    called->answerAs("first");
    called->answer(invite, 200, kOtherAnswer);
    const PhoneMessage ack = called->expect("ACK");
    EXPECT_TRUE(ack.has(";tag=first")) << ack.text;
    EXPECT_EQ(ack.header("CSeq"), std::to_string(std::stoi(invite.header("CSeq"))) + " ACK");
    const PhoneMessage bye = called->expect("BYE");
    EXPECT_TRUE(bye.has(";tag=first")) << bye.text;
    called->answer(bye, 200);
    EXPECT_TRUE(caller->hearsNothing(kQuietMs));

    called->answerAs("second");
    called->answer(invite, 180); // takes the second dialog again; too late for the caller
    ask(*called, *caller, "INFO", 200);
    ask(*caller, *called, "INFO", 200);
    caller->send("BYE");
    caller->expect("200");
    const PhoneMessage end = called->expect("BYE");
    EXPECT_TRUE(end.has(";tag=second")) << end.text;
    called->answer(end, 200);
    expectQuiet();
    EXPECT_EQ(events.count("call "), 4U) << "one record";
}

TEST_P(ForkedTest, SuccessesThatCrossTheCancelAreAllHungUp)
{
    startTelephones({}, GetParam());
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 180);
    caller->expect("180");
    caller->cancel();
    caller->expect("200");
    caller->expect("487");
    called->answer(called->expect("CANCEL"), 200);
    for (const char* tag : {"first", "second"}) {
        called->answerAs(tag);
        called->answer(invite, 200, CallPhone::kAnswer);
        EXPECT_TRUE(called->expect("ACK").has(std::string(";tag=") + tag));
        const PhoneMessage bye = called->expect("BYE");
        EXPECT_TRUE(bye.has(std::string(";tag=") + tag));
        called->answer(bye, 200);
    }
    EXPECT_TRUE(called->hearsNothing(kQuietMs));
}

// A strange Contact would make the server talk to others.
TEST_F(FlowsTest, WhatAnswersTwiceIsHungUpWhereItIsNotWhereItSays)
{
    startTelephones();
    CallPhone victim(port, "2003");
    const PhoneMessage invite = talk();
    const std::string success =
        "SIP/2.0 200 OK\r\nVia: " + invite.header("Via") + "\r\nFrom: " + invite.header("From") +
        "\r\nTo: " + invite.header("To") + ";tag=strange\r\nCall-ID: " + invite.header("Call-ID") +
        "\r\nCSeq: " + invite.header("CSeq") + "\r\nContact: " + victim.contact() + "\r\nContent-Length: 0\r\n\r\n";
    called->sendText(success);
    called->expect("ACK");
    called->answer(called->expect("BYE"), 200);
    EXPECT_TRUE(victim.hearsNothing(kQuietMs));
    hangUp();
}

// RFC 3261 section 18.1.1: what is too large for a datagram comes over a connection, which is soon closed.
TEST_F(FlowsTest, ARequestOverAConnectionLeavesTheCallWhereItWas)
{
    tcpPort = freeTcpPort();
    startTelephones();
    caller->invite("2002");
    called->answer(called->expect("INVITE"), 200, CallPhone::kAnswer);
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    caller->ack(success);
    {
        CallPhone connection(tcpPort, "2001", SipClient::Transport::Tcp);
        connection.sendText(
            "OPTIONS sip:2002@127.0.0.1 SIP/2.0\r\nVia: SIP/2.0/TCP 127.0.0.1:" + std::to_string(connection.port()) +
            ";branch=z9hG4bKlarge;rport\r\nMax-Forwards: 70\r\nFrom: " + success.header("From") +
            "\r\nTo: " + success.header("To") + "\r\nCall-ID: " + caller->callId() +
            "\r\nCSeq: 50 OPTIONS\r\nContent-Length: 0\r\n\r\n");
        connection.expect("200");
    }
    called->send("BYE");
    called->expect("200");
    caller->answer(caller->expect("BYE"), 200);
}

} // namespace
