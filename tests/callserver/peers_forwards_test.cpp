// Calls that a telephone sends on, message by message as everybody sees them (RFC 3665 section 3.6, RFC 5359 sections
// 2.7 to 2.9).
#include "callserver/two_telephones.h"

namespace {

class ForwardsTest : public ThreeTelephones {
protected:
    // Its user has told it to send calls on, to a host that is not asked.
    static void sendOn(CallPhone& phone, const PhoneMessage& invite, const std::string& number)
    {
        phone.answer(invite, 302, "", {"Contact: <sip:" + number + "@192.0.2.77>"});
        phone.expect("ACK");
    }
    // Rings and answers; gives the success as the caller heard it.
    PhoneMessage answerForwarded(CallPhone& phone, const PhoneMessage& invite)
    {
        const std::string alert = "<urn:alert:source:" + phone.user() + ">";
        phone.answer(invite, 180, "", {"Alert-Info: " + alert});
        EXPECT_EQ(caller->expect("180").header("Alert-Info"), alert);
        phone.answer(invite, 200, CallPhone::kAnswer);
        phone.expect("ACK");
        PhoneMessage success = caller->expect("200");
        EXPECT_EQ(success.body(), CallPhone::kAnswer);
        caller->ack(success);
        return success;
    }
};

// RFC 5359 section 2.7
TEST_F(ForwardsTest, ATelephoneSendsEveryCallOn)
{
    startThree();
    caller->invite("2002");
    sendOn(*called, called->expect("INVITE"), "2003");
    const PhoneMessage invite = third->expect("INVITE");
    EXPECT_EQ(invite.body(), CallPhone::kOffer);
    EXPECT_TRUE(invite.has("\"Phone 2001\" <sip:2001@")) << invite.text;
    caller->expect("181");
    answerForwarded(*third, invite);
    caller->send("BYE");
    caller->expect("200");
    third->answer(third->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 302"));
    EXPECT_TRUE(events.waitFor("call 2 end 2001 2003 2003 200"));
    expectQuiet({caller.get(), called.get(), third.get()});
}

// RFC 5359 section 2.8
TEST_F(ForwardsTest, ATelephoneThatTalksSendsTheNextCallOn)
{
    startThreeWithCallWaiting();
    CallPhone other(port, "2004");
    other.registerNow();
    talk(other, *called);
    caller->invite("2002");
    sendOn(*called, called->expect("INVITE"), "2003");
    caller->expect("181");
    answerForwarded(*third, third->expect("INVITE"));
    // The first call has noticed nothing.
    expectQuiet({called.get(), &other});
    other.send("BYE");
    other.expect("200");
    called->answer(called->expect("BYE"), 200);
    third->send("BYE");
    third->expect("200");
    caller->answer(caller->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2004 2002 2002 200"));
    EXPECT_TRUE(events.waitFor("call 2 end 2001 2002 2002 302"));
    EXPECT_TRUE(events.waitFor("call 3 end 2001 2003 2003 200"));
}

// RFC 5359 section 2.9: the caller hears all of it in one dialog.
TEST_F(ForwardsTest, ATelephoneThatRangSendsTheCallOn)
{
    startThree();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 180);
    const PhoneMessage ringing = caller->expect("180");
    sendOn(*called, invite, "2003");
    EXPECT_EQ(caller->expect("181").header("To"), ringing.header("To"));
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2)) << "rings no more";
    const PhoneMessage success = answerForwarded(*third, third->expect("INVITE"));
    EXPECT_EQ(success.header("To"), ringing.header("To"));
    third->send("BYE");
    third->expect("200");
    caller->answer(caller->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 302"));
    EXPECT_TRUE(events.waitFor("call 2 end 2001 2003 2003 200"));
    expectQuiet({caller.get(), called.get(), third.get()});
}

// The same where the other telephone does not answer either, and where it sends the call back.
// RFC 3261 section 13.2.1: the caller keeps to the description that he has heard, until he has confirmed.
TEST_F(ForwardsTest, ATelephoneThatHasBeenHeardSendsTheCallOn)
{
    startThree();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 183, CallPhone::kAnswer);
    EXPECT_EQ(caller->expect("183").body(), CallPhone::kAnswer);
    sendOn(*called, invite, "2003");
    caller->expect("181");
    const PhoneMessage forwarded = third->expect("INVITE");
    EXPECT_EQ(forwarded.body(), CallPhone::kOffer);
    third->answer(forwarded, 183, kOther);
    EXPECT_EQ(caller->expect("183").body(), "");
    third->answer(forwarded, 200, kOther);
    third->expect("ACK");
    const PhoneMessage success = caller->expect("200");
    EXPECT_EQ(success.body(), CallPhone::kAnswer);
    caller->ack(success);
    const PhoneMessage offer = caller->expect("INVITE");
    EXPECT_TRUE(offer.has("o=- 2 2 ") && offer.has("m=audio 40010 ")) << offer.text;
    caller->answer(offer, 200, CallPhone::kOffer);
    caller->expect("ACK");
    caller->send("BYE");
    caller->expect("200");
    third->answer(third->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 2 end 2001 2003 2003 200"));
    expectQuiet({caller.get(), called.get(), third.get()});
}

TEST_F(ForwardsTest, TheLastOneToRefuseTellsTheCaller)
{
    startThree();
    for (const char* const back : {"", "2002"}) {
        SCOPED_TRACE(back);
        caller->invite("2002");
        sendOn(*called, called->expect("INVITE"), "2003");
        caller->expect("181");
        const PhoneMessage invite = third->expect("INVITE");
        if (*back == '\0') {
            third->answer(invite, 180);
            caller->expect("180");
            third->answer(invite, 486);
            third->expect("ACK");
        } else {
            sendOn(*third, invite, back);
            called->answer(called->expect("INVITE"), 486);
            called->expect("ACK");
        }
        const PhoneMessage failure = caller->expect("486");
        caller->confirmFailure(failure);
    }
    expectQuiet({caller.get(), called.get(), third.get()});
}

// RFC 3665 section 3.6: the answer comes with the ACK, to whom the call was sent on.
TEST_F(ForwardsTest, ACallWithoutAnOfferIsSentOn)
{
    startThree();
    caller->invite("2002", "");
    const PhoneMessage first = called->expect("INVITE");
    EXPECT_EQ(first.body(), "");
    sendOn(*called, first, "2003");
    caller->expect("181");
    const PhoneMessage invite = third->expect("INVITE");
    EXPECT_EQ(invite.body(), "");
    third->answer(invite, 180);
    caller->expect("180");
    third->answer(invite, 200, CallPhone::kOffer);
    const PhoneMessage offer = caller->expect("200");
    EXPECT_EQ(offer.body(), CallPhone::kOffer);
    EXPECT_TRUE(third->hearsNothing(kQuietMs)) << "the answer is not there yet";
    caller->ack(offer, CallPhone::kAnswer);
    EXPECT_EQ(third->expect("ACK").body(), CallPhone::kAnswer);
    caller->send("BYE");
    caller->expect("200");
    third->answer(third->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 2 end 2001 2003 2003 200"));
    expectQuiet({caller.get(), called.get(), third.get()});
}

} // namespace
