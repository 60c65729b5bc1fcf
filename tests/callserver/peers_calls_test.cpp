#include "callserver/two_telephones.h"

#include "bcl2/event_bus.h"
#include "callserver/app.h"
#include "callserver/event_ids.h"
#include "callserver/sip_fac.h"

#include <memory>
#include <thread>

namespace {

class CallsTest : public TwoTelephones {
protected:
    // The call that goes on ends; gives the port that is served now.
    uint16_t releaseByMoving()
    {
        Cdb_sys_tbl* settings = store().DbGetSysTbl();
        settings->udpPort = freeUdpPort();
        settings->SetModified();
        EXPECT_EQ(settings->SaveDB(), kDbOk);
        EXPECT_TRUE(events.waitFor("log SIP over UDP moves: 1 call over it is released."));
        called->expect("BYE");
        caller->expect("BYE");
        return settings->udpPort;
    }
};

TEST_F(CallsTest, AUserCallsAnother)
{
    startTelephones();
    ASSERT_TRUE(events.waitFor("state 2002 1"));

    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    EXPECT_TRUE(invite.has("\"Phone 2001\" <sip:2001@")) << invite.text;
    EXPECT_EQ(invite.body(), CallPhone::kOffer);
    EXPECT_TRUE(events.waitFor("call 1 start 2001 2002 2002"));
    EXPECT_TRUE(events.waitFor("state 2001 4"));

    called->answer(invite, 180);
    const PhoneMessage ringing = caller->expect("180");
    EXPECT_TRUE(events.waitFor("call 1 ring 2001 2002 2002"));
    EXPECT_TRUE(events.waitFor("state 2002 2"));

    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    const PhoneMessage answered = caller->expect("200");
    EXPECT_EQ(answered.body(), CallPhone::kAnswer);
    EXPECT_EQ(answered.header("To"), ringing.header("To"));
    caller->ack(answered);
    EXPECT_TRUE(events.waitFor("call 1 answer 2001 2002 2002"));
    EXPECT_TRUE(events.waitFor("state 2001 3"));
    EXPECT_TRUE(events.waitFor("state 2002 3"));

    caller->send("BYE");
    caller->expect("200");
    const PhoneMessage bye = called->expect("BYE");
    called->answer(bye, 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
    EXPECT_TRUE(events.waitForCount("state 2001 1", 2));
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2));
}

TEST_F(CallsTest, ATraceByNumberShowsTheWholeCall)
{
    startTelephones();
    server().traceOnCalledPrefix("2002");
    ASSERT_TRUE(events.waitForPart("log Trace on"));
    caller->invite("2002");
    called->answer(called->expect("INVITE"), 200, CallPhone::kAnswer);
    const PhoneMessage success = caller->expect("200");
    caller->ack(success);
    called->expect("ACK");
    caller->send("BYE");
    called->answer(called->expect("BYE"), 200);
    caller->expect("200");
    ASSERT_TRUE(events.waitForPart("log Trace: received from 127.0.0.1:" + std::to_string(called->port())));
    const std::string callerAt = "127.0.0.1:" + std::to_string(caller->port());
    const std::string calledAt = "127.0.0.1:" + std::to_string(called->port());
    // The INVITE with and without credentials, the ACK, BYE; nothing answers the ACK of the challenge.
    EXPECT_TRUE(events.waitForCount("log Trace: received from " + callerAt, 4));
    EXPECT_TRUE(events.waitForPart("log Trace: received and dropped from " + callerAt));
    EXPECT_TRUE(events.waitForCount("log Trace: sent to " + callerAt, 4));
    EXPECT_TRUE(events.waitForCount("log Trace: sent to " + calledAt, 3));
    EXPECT_TRUE(events.waitForCount("log Trace: received from " + calledAt, 2));
    EXPECT_TRUE(events.waitForPart("log Trace: call 1: ")) << "the steps of the dial plan";
    EXPECT_TRUE(events.waitForPart("response=\"...\""));
    EXPECT_TRUE(events.waitForPart("log Trace:   m=audio 40002"));

    server().stopTrace();
    ASSERT_TRUE(events.waitForPart("log Trace off"));
    EXPECT_EQ(caller->ask("INVITE", "2009").status(), 404);
    for (const std::string& entry : events.all())
        EXPECT_EQ(entry.find("log Trace:   INVITE sip:2009"), std::string::npos) << entry;
}

class CallFlowsTest : public TwoTelephones, public testing::WithParamInterface<SipClient::Transport> {
protected:
    void startTelephones() { TwoTelephones::startTelephones({}, GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Transports, CallFlowsTest,
                         testing::Values(SipClient::Transport::Udp, SipClient::Transport::Tcp,
                                         SipClient::Transport::Tls),
                         [](const testing::TestParamInfo<SipClient::Transport>& tested) {
                             return tested.param == SipClient::Transport::Udp   ? "Udp"
                                    : tested.param == SipClient::Transport::Tcp ? "Tcp"
                                                                                : "Tls";
                         });

TEST_P(CallFlowsTest, EitherSideHangsUp)
{
    startTelephones();
    talk();
    hangUp(*called, *caller);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

TEST_P(CallFlowsTest, HoldAndBack)
{
    startTelephones();
    talk();
    const std::string held = std::string(CallPhone::kOffer) + "a=sendonly\r\n";
    for (int i = 0; i < 2; ++i) {
        const bool isByCaller = i == 0;
        CallPhone& one = isByCaller ? *caller : *called;
        CallPhone& other = isByCaller ? *called : *caller;
        one.send("INVITE", held);
        const PhoneMessage offer = other.expect("INVITE");
        EXPECT_EQ(offer.body(), held);
        other.answer(offer, 200, CallPhone::kAnswer);
        other.expect("ACK");
        const PhoneMessage answer = one.expect("200");
        EXPECT_EQ(answer.body(), CallPhone::kAnswer);
        one.ack(answer);
        one.send("UPDATE", CallPhone::kOffer);
        other.answer(other.expect("UPDATE"), 200, CallPhone::kAnswer);
        one.expect("200");
    }
    hangUp();
}

TEST_P(CallFlowsTest, TheAnswerToALateOfferComesWithTheConfirmation)
{
    startTelephones();
    caller->invite("2002", "");
    const PhoneMessage invite = called->expect("INVITE");
    EXPECT_EQ(invite.body(), "");
    called->answer(invite, 200, CallPhone::kOffer);
    const PhoneMessage success = caller->expect("200");
    EXPECT_EQ(success.body(), CallPhone::kOffer);
    caller->ack(success, CallPhone::kAnswer);
    EXPECT_EQ(called->expect("ACK").body(), CallPhone::kAnswer);
    hangUp(*called, *caller);
}

TEST_P(CallFlowsTest, ReliableAnswersAreConfirmedFromEndToEnd)
{
    startTelephones();
    caller->invite("2002", CallPhone::kOffer, {"Supported: 100rel"});
    const PhoneMessage invite = called->expect("INVITE");
    EXPECT_NE(invite.header("Supported").find("100rel"), std::string::npos) << invite.text;
    called->answer(invite, 183, CallPhone::kAnswer, {"Require: 100rel", "RSeq: 77"});
    const PhoneMessage progress = caller->expect("183");
    EXPECT_EQ(progress.body(), CallPhone::kAnswer);
    EXPECT_NE(progress.header("Require").find("100rel"), std::string::npos);
    caller->learn(progress);
    caller->send("PRACK", "", {"RAck: " + progress.header("RSeq") + " 2 INVITE"});
    const PhoneMessage prack = called->expect("PRACK");
    EXPECT_EQ(prack.header("RAck"), "77 " + invite.header("CSeq"));
    called->answer(prack, 200);
    caller->expect("200");
    called->answer(invite, 200);
    called->expect("ACK");
    caller->ack(caller->expect("200"));
    hangUp();
}

TEST_P(CallFlowsTest, ACallIsCancelledWhileItRings)
{
    startTelephones();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 180);
    caller->expect("180");
    caller->cancel();
    caller->expect("200");
    caller->expect("487 Request Terminated\r\n");
    called->answer(called->expect("CANCEL"), 200);
    called->answer(invite, 487);
    called->expect("ACK");
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 487"));
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2));
}

TEST_P(CallFlowsTest, OffersThatMeetAreBothRefused)
{
    startTelephones();
    talk();
    caller->send("INVITE", CallPhone::kOffer);
    const PhoneMessage offer = called->expect("INVITE");
    called->send("INVITE", CallPhone::kOffer);
    called->expect("491");
    called->send("ACK");
    called->answer(offer, 491);
    called->expect("ACK");
    caller->expect("491");
    caller->send("ACK");
    hangUp();
}

TEST_P(CallFlowsTest, AMessageGoesToTheOtherUser)
{
    startTelephones();
    // The telephone answers while the sender waits.
    std::thread receiver([this] {
        const PhoneMessage message = called->expect("MESSAGE");
        EXPECT_EQ(message.body(), "Coffee?");
        called->answer(message, 200);
    });
    EXPECT_EQ(caller->ask("MESSAGE", "2002", "Coffee?", {}).status(), 200);
    receiver.join();
    EXPECT_EQ(caller->ask("MESSAGE", "2003", "Coffee?", {}).status(), 480);
    EXPECT_EQ(caller->ask("MESSAGE", "2009", "Coffee?", {}).status(), 404);
}

TEST_P(CallFlowsTest, AllCallsAreReleased)
{
    startTelephones();
    talk();
    server().GetSipFacMgr()->GetUaFac()->PrintCallStatus();
    EXPECT_TRUE(events.waitForPart("log Call status: 1 call is in progress, 2 users are registered."));
    EXPECT_TRUE(events.waitForPart("talking"));
    BclPubEvent(kEvtReleaseCalls, nullptr, nullptr);
    EXPECT_TRUE(events.waitFor("log Release of all calls: 1 call is released."));
    for (CallPhone* phone : {caller.get(), called.get()}) {
        const PhoneMessage bye = phone->expect("BYE");
        EXPECT_NE(bye.header("Reason").find("Released by the administrator"), std::string::npos) << bye.text;
        phone->answer(bye, 200);
    }
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

TEST_F(CallsTest, ASuccessIsRepeatedUntilItIsConfirmed)
{
    startTelephones();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    PhoneMessage again = caller->hear(10'000);
    EXPECT_EQ(again.text, success.text);
    caller->ack(success);
    // The other way: the telephone repeats its success until it hears the ACK.
    called->answer(invite, 200, CallPhone::kAnswer);
    EXPECT_EQ(called->hear(10'000).method(), "ACK");
    caller->send("BYE");
    called->answer(called->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

TEST_F(CallsTest, TheFirstTelephoneThatAnswersWins)
{
    startTelephones();
    CallPhone& first = *called;
    CallPhone second(port, "2002");
    second.registerNow();
    caller->invite("2002");
    const PhoneMessage toFirst = first.expect("INVITE");
    const PhoneMessage toSecond = second.expect("INVITE");
    first.answer(toFirst, 180);
    caller->expect("180");
    second.answer(toSecond, 180);
    second.answer(toSecond, 200, CallPhone::kAnswer);
    second.expect("ACK");
    caller->ack(caller->expect("200"));
    first.answer(first.expect("CANCEL"), 200);
    // It had answered when the CANCEL came.
    first.answer(toFirst, 200, CallPhone::kAnswer);
    first.expect("ACK");
    first.answer(first.expect("BYE"), 200);
    caller->send("BYE");
    caller->expect("200");
    second.answer(second.expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
    EXPECT_EQ(events.count("call "), 4U) << "one record";
}

TEST_F(CallsTest, CallsEndWhenTheirSocketsMove)
{
    startTelephones();
    talk();
    (void)releaseByMoving();
    EXPECT_TRUE(events.waitForPart("call 1 end"));
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2));
}

// What was sent over the sockets before is forgotten with them, also what has its answer.
TEST_F(CallsTest, ACallThatWasNotSentOnEndsWhenItsSocketsMove)
{
    startTelephones();
    talk();
    CallPhone third(port, "2003");
    third.registerNow();
    called->send("REFER", {}, {"Refer-To: <sip:2003@127.0.0.1>", "Contact: " + called->contact()});
    called->expect("202");
    called->answer(called->expect("NOTIFY"), 200);
    third.answer(third.expect("INVITE"), 486);
    third.expect("ACK");
    called->answer(called->expect("NOTIFY"), 200);
    const uint16_t moved = releaseByMoving();
    SipClient client("127.0.0.1", moved);
    EXPECT_EQ(client.request("OPTIONS", "2001").status, 200);
}

// What would stop the stack is kept from it: a telephone may say anything.
class HostileTelephonesTest : public CallsTest {
protected:
    void expectAlive()
    {
        SipClient client("127.0.0.1", port);
        EXPECT_EQ(client.request("OPTIONS", "2001").status, 200);
    }
};

TEST_F(HostileTelephonesTest, AnAnswerToACancelThatWasNeverSentIsNothing)
{
    startTelephones();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    caller->cancel();
    caller->expect("200");
    caller->expect("487");
    PhoneMessage cancel = invite;
    cancel.text.replace(cancel.text.find(" INVITE\r\n"), 7, " CANCEL");
    called->answer(cancel, 200);
    expectAlive();
    // The CANCEL waits for the first provisional answer.
    called->answer(invite, 100);
    called->answer(called->expect("CANCEL"), 200);
    called->answer(invite, 487);
    called->expect("ACK");
    expectAlive();
}

TEST_F(HostileTelephonesTest, ACallerWhoseConnectionBreaksIsMissed)
{
    tcpPort = freeTcpPort();
    tlsPort = freeTcpPort();
    startServer();
    called = std::make_unique<CallPhone>(port, "2002");
    called->registerNow();
    int call = 0;
    for (const auto& [transport, streamPort] :
         {std::pair(SipClient::Transport::Tls, tlsPort), std::pair(SipClient::Transport::Tcp, tcpPort)}) {
        caller = std::make_unique<CallPhone>(streamPort, "2001", transport);
        caller->registerNow();
        caller->invite("2002");
        const PhoneMessage invite = called->expect("INVITE");
        called->answer(invite, 180);
        caller->expect("180");
        caller.reset();
        called->answer(invite, 180);
        called->answer(invite, 200, CallPhone::kAnswer);
        called->expect("ACK");
        called->answer(called->expect("BYE"), 200);
        EXPECT_TRUE(events.waitFor("call " + std::to_string(++call) + " end 2001 2002 2002 408"));
        expectAlive();
    }
}

TEST_F(HostileTelephonesTest, AnAnswerThatFindsItsConnectionClosedIsLost)
{
    tcpPort = freeTcpPort();
    startServer();
    called = std::make_unique<CallPhone>(port, "2002");
    called->registerNow();
    for (int i = 0; i < 3; ++i) {
        caller = std::make_unique<CallPhone>(tcpPort, "2001", SipClient::Transport::Tcp);
        const std::string invite = caller->invite("2002");
        called->answer(called->expect("INVITE"), 180);
        caller->expect("180");
        caller.reset();
        ASSERT_TRUE(events.waitForPart("call " + std::to_string(i + 1) + " ring"));
        // In one write, from another connection: the answer to the CANCEL's INVITE is confirmed before it could be
        // sent.
        std::string both;
        for (const char* method : {"CANCEL", "ACK"}) {
            std::string request = method + invite.substr(invite.find(' '));
            request.replace(request.find(" INVITE\r\n"), 9, std::string(" ") + method + "\r\n");
            request.erase(request.find("\r\n\r\n") + 4);
            const size_t length = request.find("Content-Length: ");
            request.replace(length, request.find("\r\n", length) - length, "Content-Length: 0");
            both += request;
        }
        CallPhone other(tcpPort, "2001", SipClient::Transport::Tcp);
        other.sendText(both);
        const PhoneMessage cancel = called->expect("CANCEL");
        called->answer(cancel, 200);
        expectAlive();
        EXPECT_TRUE(events.waitForPart("call " + std::to_string(i + 1) + " end"));
    }
}

TEST_F(HostileTelephonesTest, AnAnswerThatFitsNoPacketIsLost)
{
    startTelephones();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    // What the server adds makes it too large.
    called->answer(invite, 200, std::string(CallPhone::kAnswer) + "a=" + std::string(64'000, 'x') + "\r\n",
                   {"Subject: " + std::string(800, 's')});
    called->expect("ACK");
    caller->sendText("ACK sip:2002@127.0.0.1 SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:" + std::to_string(caller->port()) +
                     ";branch=z9hG4bKnone;rport\r\nFrom: <sip:2001@127.0.0.1>;tag=x\r\nTo: <sip:2002@127.0.0.1>\r\n"
                     "Call-ID: " +
                     caller->callId() + "\r\nCSeq: 2 ACK\r\nContent-Length: 0\r\n\r\n");
    caller->cancel();
    expectAlive();
}

} // namespace
