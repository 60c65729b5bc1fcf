// Services that telephones make of calls (RFC 5359 section 2), and those that would need a server which knows more than
// calls: message by message as everybody sees them. Hold, screening of callers, transfers and forwards have tests of
// their own.
#include "callserver/two_telephones.h"

#include "bcl2/text.h"

namespace {

constexpr int kRepeatMs = 700; // what is not confirmed comes again after half a second

class ServicesTest : public ThreeTelephones {
protected:
    void expectAllQuiet() { expectQuiet({caller.get(), called.get(), third.get()}); }
};

// RFC 5359 section 2.6
TEST_F(ServicesTest, ATransferToATextIsRefusedAndTheCallGoesOn)
{
    startThree();
    talk();
    const std::string other = "sip:2003@127.0.0.1:" + std::to_string(port);
    for (const std::string& target :
         {"<" + other + ";method=MESSAGE>", "<" + other + ";method=SUBSCRIBE>", std::string("<im:2003@127.0.0.1>")}) {
        SCOPED_TRACE(target);
        called->send("REFER", {}, {"Refer-To: " + target, "Contact: " + called->contact()});
        called->expect("400");
    }
    expectAllQuiet();
    exchange(*called, *caller, kHeld, kHolding);
    hangUp();
}

// RFC 5359 section 2.10: each side hears of the other one from the telephone in between.
TEST_F(ServicesTest, ATelephoneThatMixesAddsAThirdOne)
{
    const std::string mixed = std::string(CallPhone::kOffer) + "a=label:mixed\r\n";
    startThree();
    talk();
    exchange(*called, *caller, kHeld, kHolding);
    CallPhone second(port, "2002"); // the other line of the same telephone
    second.invite("2003", mixed);
    const PhoneMessage invite = third->expect("INVITE");
    EXPECT_EQ(invite.body(), mixed);
    third->answer(invite, 180);
    second.expect("180");
    third->answer(invite, 200, CallPhone::kAnswer);
    third->expect("ACK");
    second.ack(second.expect("200"));
    exchange(*called, *caller, mixed, CallPhone::kAnswer);
    EXPECT_TRUE(events.waitFor("call 2 answer 2002 2003 2003"));
    EXPECT_TRUE(events.waitFor("state 2003 3"));
    expectAllQuiet();
    // One leaves, the other two talk on.
    third->send("BYE");
    third->expect("200");
    second.answer(second.expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 2 end 2002 2003 2003 200"));
    EXPECT_TRUE(events.waitForCount("state 2003 1", 2));
    exchange(*called, *caller, CallPhone::kOffer, CallPhone::kAnswer);
    EXPECT_EQ(events.count("state 2002 1"), 1U) << "still talks";
    hangUp();
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2));
}

// RFC 5359 section 2.11, RFC 3911: whoever insists is told so, whoever does not makes a call like any other.
TEST_F(ServicesTest, NobodyJoinsACallThatTwoOthersHave)
{
    startThreeWithCallWaiting();
    const PhoneMessage invite = talk();
    const std::string join = "Join: " + dialogOf(invite, *called);
    const PhoneMessage refused = third->ask("INVITE", "2002", CallPhone::kOffer, {"Require: join", join});
    EXPECT_EQ(refused.status(), 420);
    EXPECT_EQ(refused.header("Unsupported"), "join");
    third->confirmFailure(refused);
    expectAllQuiet();
    third->invite("2002", CallPhone::kOffer, {join});
    const PhoneMessage second = called->expect("INVITE");
    EXPECT_EQ(second.header("Join"), "") << "it names a dialog of another leg";
    called->answer(second, 486);
    called->expect("ACK");
    third->confirmFailure(third->expect("486"));
    // The first one goes on.
    caller->send("BYE");
    caller->expect("200");
    called->answer(called->expect("BYE"), 200);
    expectAllQuiet();
}

// RFC 5359 section 2.12: all telephones of the user at once.
TEST_F(ServicesTest, AUserIsFoundAtTheTelephoneWhereHeIs)
{
    startTelephones();
    CallPhone& desk = *called;
    CallPhone mobile(port, "2002");
    CallPhone kitchen(port, "2002");
    mobile.registerNow();
    kitchen.registerNow();
    caller->invite("2002");
    const PhoneMessage atDesk = desk.expect("INVITE");
    const PhoneMessage atMobile = mobile.expect("INVITE");
    const PhoneMessage inKitchen = kitchen.expect("INVITE");
    desk.answer(atDesk, 180);
    caller->expect("180");
    mobile.answer(atMobile, 486);
    mobile.expect("ACK");
    kitchen.answer(inKitchen, 180);
    kitchen.answer(inKitchen, 200, CallPhone::kAnswer);
    kitchen.expect("ACK");
    const PhoneMessage success = caller->expect("200");
    EXPECT_EQ(success.body(), CallPhone::kAnswer);
    caller->ack(success);
    const PhoneMessage cancel = desk.expect("CANCEL");
    EXPECT_NE(cancel.header("Reason").find("Call completed elsewhere"), std::string::npos) << cancel.text;
    desk.answer(cancel, 200);
    desk.answer(atDesk, 487);
    desk.expect("ACK");
    hangUp(*caller, kitchen);
    expectQuiet({caller.get(), &desk, &mobile, &kitchen});
    EXPECT_EQ(events.count("call "), 4U) << "one record";
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

// RFC 5359 section 2.14: after the challenge, and before anything rings.
TEST_F(ServicesTest, AScreenedCallOfAUserRingsNowhere)
{
    startThree([](Cdb_fac_mgr& filled) {
        Cdb_sys_black_item item;
        item.code = 603;
        BclCopyStr(item.callerNbr, "2001");
        BclCopyStr(item.calledNbr, "2003");
        ASSERT_EQ(filled.DbSysBlackListAdd(&item), kDbOk);
    });
    const PhoneMessage refused = caller->ask("INVITE", "2003", CallPhone::kOffer);
    EXPECT_EQ(refused.status(), 603);
    caller->confirmFailure(refused);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2003 2003 603"));
    expectAllQuiet();
    talk(*caller, *called);
    caller->send("BYE");
    caller->expect("200");
    called->answer(called->expect("BYE"), 200);
    expectAllQuiet();
}

// RFC 5359 sections 2.15 to 2.18 (park, pickup, automatic redial, click to dial): they ask for the state of calls, or
// for calls, from outside of one. What is refused changes nothing for those who talk.
TEST_F(ServicesTest, WhatAsksForTheCallsOfOthersIsRefused)
{
    startThree();
    const PhoneMessage invite = talk();
    const std::string replaces = "Replaces=" + dialogOf(invite, *called);
    std::string escaped;
    for (const char c : replaces.substr(9))
        escaped += c == ';' ? "%3B" : c == '=' ? "%3D" : std::string(1, c);
    const std::string callUri = "<sip:2001@127.0.0.1:" + std::to_string(port) + "?Replaces=" + escaped + ">";
    const auto expectNotServed = [this](const PhoneMessage& answer) {
        EXPECT_EQ(answer.status(), 405) << answer.text;
        EXPECT_EQ(answer.header("Allow").find("REFER"), std::string::npos) << answer.text;
        EXPECT_EQ(answer.header("Allow").find("SUBSCRIBE"), std::string::npos) << answer.text;
        expectQuiet({caller.get(), called.get()});
    };
    // Park: the call is offered to another server. Click to dial: to anybody.
    expectNotServed(third->ask("REFER", "2004", "", {"Refer-To: " + callUri, "Referred-By: " + at("2002")}));
    expectNotServed(third->ask("REFER", "2002", "", {"Refer-To: " + at("2001")}));
    // Pickup and automatic redial: who talks to whom.
    for (const char* const event : {"dialog", "dialog;call-id=x;to-tag=y", "presence"})
        expectNotServed(third->ask("SUBSCRIBE", "2002", "", {std::string("Event: ") + event, "Expires: 600"}));
    expectNotServed(third->ask("PUBLISH", "2002", "", {"Event: dialog"}));
    expectNotServed(third->ask("NOTIFY", "2002", "", {"Event: dialog", "Subscription-State: active"}));
    // A dialog that somebody has learned elsewhere is not his.
    const PhoneMessage forbidden = third->ask("INVITE", "2001", kOther, {"Replaces: " + dialogOf(invite, *called)});
    EXPECT_EQ(forbidden.status(), 403);
    third->confirmFailure(forbidden);
    called->send("SUBSCRIBE", "", {"Event: dialog", "Contact: " + called->contact()});
    EXPECT_EQ(called->expect("489").header("Allow-Events"), "refer");
    exchange(*called, *caller, kHeld, kHolding);
    hangUp();
    expectAllQuiet();
}

// RFC 5359 section 2.16
TEST_F(ServicesTest, NobodyPicksUpWhatRingsAtAnotherUser)
{
    startThree();
    caller->invite("2002");
    const PhoneMessage invite = called->expect("INVITE");
    called->answer(invite, 180);
    caller->expect("180");
    for (const char* const option : {"", ";early-only"}) {
        const PhoneMessage refused = third->ask(
            "INVITE", "2001", kOther, {"Require: replaces", "Replaces: " + dialogOf(invite, *called) + option});
        EXPECT_EQ(refused.status(), 403) << refused.text;
        third->confirmFailure(refused);
        EXPECT_EQ(third->hear(kRepeatMs).text, "");
    }
    expectAllQuiet();
    called->answer(invite, 200, CallPhone::kAnswer);
    called->expect("ACK");
    caller->ack(caller->expect("200"));
    hangUp();
}

} // namespace
