// Transfers between telephones, message by message (RFC 5359 sections 2.4 and 2.5, RFC 5589 sections 6 and 7).
#include "callserver/two_telephones.h"

namespace {

class TransfersTest : public ThreeTelephones {
protected:
    std::string referTo(const std::string& user) const { return "Refer-To: " + at(user); }

    // Confirms a NOTIFY, and gives the first line of what it tells.
    static std::string notified(CallPhone& phone)
    {
        const PhoneMessage notify = phone.expect("NOTIFY");
        EXPECT_EQ(notify.header("Event").substr(0, 5), "refer");
        EXPECT_EQ(notify.header("Content-Type"), "message/sipfrag;version=2.0");
        phone.answer(notify, 200);
        return notify.body().substr(0, notify.body().find("\r\n"));
    }
};

TEST_F(TransfersTest, ACallIsSentOnWithoutAsking)
{
    startThree();
    CallPhone& transferee = *caller;
    CallPhone& transferor = *called;
    CallPhone& target = *third;
    talk(transferee, transferor);

    transferor.send("INVITE", kOther); // puts the caller on hold
    transferee.answer(transferee.expect("INVITE"), 200, CallPhone::kOffer);
    transferor.ack(transferor.expect("200"));
    transferee.expect("ACK");

    transferor.send("REFER", {}, {referTo("2003"), "Contact: " + transferor.contact()});
    const PhoneMessage accepted = transferor.expect("202");
    EXPECT_FALSE(accepted.header("Contact").empty());
    EXPECT_EQ(notified(transferor), "SIP/2.0 100 Trying");
    const PhoneMessage invite = target.expect("INVITE");
    EXPECT_TRUE(invite.body().empty());
    EXPECT_TRUE(invite.has("\"Phone 2001\" <sip:2001@")) << invite.text;
    EXPECT_TRUE(invite.header("Referred-By").find("sip:2002@") != std::string::npos) << invite.text;
    target.answer(invite, 180);
    EXPECT_EQ(notified(transferor), "SIP/2.0 180 Said");
    target.answer(invite, 200, CallPhone::kAnswer);
    const PhoneMessage offer = transferee.expect("INVITE");
    EXPECT_TRUE(offer.has("m=audio 40002")) << offer.text;
    EXPECT_TRUE(offer.header("P-Asserted-Identity").find("sip:2003@") != std::string::npos) << offer.text;
    transferee.answer(offer, 200, kOther);
    transferee.expect("ACK");
    EXPECT_TRUE(target.expect("ACK").has("m=audio 40010"));
    EXPECT_EQ(notified(transferor), "SIP/2.0 200 OK");
    transferor.answer(transferor.expect("BYE"), 200);
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2));

    target.send("BYE");
    target.expect("200");
    transferee.answer(transferee.expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 2 end 2001 2003 2003 200"));
    EXPECT_TRUE(events.waitForCount("state 2001 1", 2));
}

TEST_F(TransfersTest, TwoCallsAreJoinedByTheOneWhoHasBoth)
{
    startThree();
    CallPhone& transferee = *caller;
    CallPhone& transferor = *called;
    CallPhone& target = *third;
    talk(transferee, transferor);
    CallPhone second(port, "2002"); // the other line of the same telephone
    second.invite("2003");
    target.answer(target.expect("INVITE"), 200, CallPhone::kAnswer);
    const PhoneMessage success = second.expect("200");
    second.ack(success);
    target.expect("ACK");

    const std::string replaces = second.callId() + "%3Bto-tag%3D" + tagOf(success.header("To")) + "%3Bfrom-tag%3D" +
                                 tagOf(success.header("From"));
    transferor.send("REFER", {},
                    {"Refer-To: <sip:2003@127.0.0.1:" + std::to_string(port) + "?Replaces=" + replaces + ">",
                     "Contact: " + transferor.contact()});
    transferor.expect("202");
    EXPECT_EQ(notified(transferor), "SIP/2.0 100 Trying");
    const PhoneMessage asked = transferee.expect("INVITE");
    EXPECT_TRUE(asked.body().empty()) << asked.text;
    transferee.answer(asked, 200, kOther);
    const PhoneMessage offer = target.expect("INVITE");
    EXPECT_TRUE(offer.has("m=audio 40010")) << offer.text;
    target.answer(offer, 200, CallPhone::kAnswer);
    target.expect("ACK");
    EXPECT_TRUE(transferee.expect("ACK").has("m=audio 40002"));
    second.answer(second.expect("BYE"), 200);
    EXPECT_EQ(notified(transferor), "SIP/2.0 200 OK");
    transferor.answer(transferor.expect("BYE"), 200);
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2));

    transferee.send("BYE");
    transferee.expect("200");
    target.answer(target.expect("BYE"), 200);
    EXPECT_TRUE(events.waitForCount("state 2001 1", 2));
    EXPECT_TRUE(events.waitForCount("state 2003 1", 2));
}

TEST_F(TransfersTest, WhoHasCallsJoinedMayLeaveBothWhileOneRings)
{
    startThree();
    talk(*caller, *called);
    CallPhone second(port, "2002"); // the other line of the same telephone
    second.invite("2003");
    const PhoneMessage invite = third->expect("INVITE");
    third->answer(invite, 180);
    const PhoneMessage ringing = second.expect("180");
    called->send("REFER", {},
                 {"Refer-To: <sip:2003@127.0.0.1:" + std::to_string(port) + "?Replaces=" + second.callId() +
                      "%3Bto-tag%3D" + tagOf(ringing.header("To")) + "%3Bfrom-tag%3D" + tagOf(ringing.header("From")) +
                      ">",
                  "Contact: " + called->contact()});
    called->expect("202");
    EXPECT_EQ(notified(*called), "SIP/2.0 100 Trying");
    second.cancel();
    second.expect("200");
    second.expect("487");
    called->send("BYE");
    called->expect("200");
    EXPECT_TRUE(third->hearsNothing(50));
    third->answer(invite, 200, CallPhone::kAnswer);
    third->expect("ACK");
    const PhoneMessage asked = caller->expect("INVITE");
    caller->answer(asked, 200, kOther);
    const PhoneMessage offer = third->expect("INVITE");
    EXPECT_TRUE(offer.has("m=audio 40010")) << offer.text;
    third->answer(offer, 200, CallPhone::kAnswer);
    third->expect("ACK");
    EXPECT_TRUE(caller->expect("ACK").has("m=audio 40002"));
    EXPECT_EQ(notified(*called), "SIP/2.0 200 OK");
    caller->send("BYE");
    caller->expect("200");
    third->answer(third->expect("BYE"), 200);
    EXPECT_TRUE(events.waitForCount("state 2001 1", 2));
    EXPECT_TRUE(events.waitForCount("state 2003 1", 2));
}

TEST_F(TransfersTest, ACallMovesToAnotherTelephoneOfItsUser)
{
    startTelephones();
    const PhoneMessage invite = talk();

    CallPhone mobile(port, "2002");
    mobile.invite("2002", kOther, {"Require: replaces", "Replaces: " + dialogOf(invite, *called)});
    const PhoneMessage offer = caller->expect("INVITE");
    EXPECT_TRUE(offer.has("m=audio 40010")) << offer.text;
    caller->answer(offer, 200, CallPhone::kOffer);
    caller->expect("ACK");
    const PhoneMessage taken = mobile.expect("200");
    EXPECT_TRUE(taken.has("m=audio 40000")) << taken.text;
    mobile.ack(taken);
    called->answer(called->expect("BYE"), 200);
    mobile.send("BYE");
    mobile.expect("200");
    caller->answer(caller->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

TEST_F(TransfersTest, ACallThatRingsIsTakenWithAnotherTelephoneOfItsUser)
{
    startTelephones();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 180);
    caller->expect("180");

    CallPhone mobile(port, "2002");
    mobile.invite("2002", kOther, {"Require: replaces", "Replaces: " + dialogOf(invite, *called)});
    const PhoneMessage held = mobile.expect("200");
    EXPECT_TRUE(held.has("a=inactive")) << held.text;
    mobile.ack(held);
    const PhoneMessage offer = mobile.expect("INVITE");
    EXPECT_TRUE(offer.has("m=audio 40000")) << offer.text;
    EXPECT_TRUE(offer.header("P-Asserted-Identity").find("sip:2001@") != std::string::npos) << offer.text;
    mobile.answer(offer, 200, kOther);
    mobile.expect("ACK");
    const PhoneMessage success = caller->expect("200");
    EXPECT_TRUE(success.has("m=audio 40010")) << success.text;
    caller->ack(success);
    const PhoneMessage cancel = called->expect("CANCEL");
    EXPECT_TRUE(cancel.header("Reason").find("Call completed elsewhere") != std::string::npos) << cancel.text;
    called->answer(cancel, 200);
    called->answer(invite, 487);
    called->expect("ACK");
    mobile.send("BYE");
    mobile.expect("200");
    caller->answer(caller->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

TEST_F(TransfersTest, ReplacesOrReferToThatCannotBeReadAreRefused)
{
    startTelephones();
    EXPECT_EQ(caller->ask("INVITE", "2002", CallPhone::kOffer, {"Replaces: ;;to-tag"}).status(), 400);
    EXPECT_EQ(caller->ask("INVITE", "2002", CallPhone::kOffer, {"Replaces: x@y;to-tag=1;from-tag=2"}).status(), 481);
    talk(*caller, *called);
    for (const char* header :
         {"Refer-To: ", "Refer-To: <sip:20 03@127.0.0.1>", "Refer-To: <tel:>", "Subject: none",
          "Refer-To: <sip:2003@127.0.0.1;method=BYE>", "Refer-To: <mailto:2003@127.0.0.1>",
          "Refer-To: <sip:2003@127.0.0.1?Replaces=%3B%3Bto-tag>", "Refer-To: <sip:2003@127.0.0.1?Replaces=>",
          "Refer-To: <sip:2003@127.0.0.1?Replaces=x%40y%3Bto-tag%3D1>"}) {
        SCOPED_TRACE(header);
        caller->send("REFER", {}, {header, "Contact: " + caller->contact()});
        caller->expect("400");
    }
    EXPECT_TRUE(called->hearsNothing(50));
    caller->send("BYE");
    called->answer(called->expect("BYE"), 200);
}

} // namespace
