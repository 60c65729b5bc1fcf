// Messages that cross each other (RFC 5407), as both telephones see them. Repetitions stand in peers_losses_test, what
// crosses a CANCEL in peers_sipp_calls_test.
#include "callserver/two_telephones.h"

#include <utility>

namespace {

class RacesTest : public ThreeTelephones {
protected:
    // Both telephones, each in the part of the one that acts first.
    [[nodiscard]] std::vector<std::pair<CallPhone*, CallPhone*>> bothWays() const
    {
        return {{caller.get(), called.get()}, {called.get(), caller.get()}};
    }
    static std::string cseqOf(const PhoneMessage& message, const std::string& method)
    {
        const std::string cseq = message.header("CSeq");
        return cseq.substr(0, cseq.find(' ') + 1) + method;
    }
    void expectEnd() { EXPECT_TRUE(events.waitFor("call " + std::to_string(++ended) + " end 2001 2002 2002 200")); }

    int ended = 0; // calls
};

// Section 3.1.4: the first offer has its answer.
TEST_F(RacesTest, AnOfferThatOvertakesTheAckIsTaken)
{
    startTelephones();
    caller->invite("2002");
    called->answer(called->expect("INVITE"), 200, CallPhone::kAnswer);
    called->expect("ACK");
    const PhoneMessage first = caller->expect("200");
    caller->learn(first);
    caller->send("INVITE", kHeld);
    const PhoneMessage offer = called->expect("INVITE");
    EXPECT_EQ(offer.body(), kHeld);
    called->answer(offer, 200, kHolding);
    called->expect("ACK");
    const PhoneMessage second = caller->expect("200");
    EXPECT_EQ(second.body(), kHolding);
    caller->ack(second);
    // Its BYE waits for the ACK that was overtaken (RFC 3261 section 15).
    called->send("BYE");
    called->expect("200");
    EXPECT_TRUE(caller->hearsNothing(kQuietMs));
    caller->ack(first);
    caller->answer(caller->expect("BYE"), 200);
    expectEnd();
    expectQuiet();
}

// Section 3.1.5: the answer to the first offer is not there yet.
TEST_F(RacesTest, AnOfferThatOvertakesTheAnswerComesLater)
{
    startTelephones();
    caller->invite("2002", "");
    called->answer(called->expect("INVITE"), 200, CallPhone::kOffer);
    const PhoneMessage first = caller->expect("200");
    caller->learn(first);
    caller->send("INVITE", kHeld);
    caller->confirmFailure(caller->expect("491"));
    EXPECT_TRUE(called->hearsNothing(kQuietMs));
    caller->ack(first, CallPhone::kAnswer);
    EXPECT_EQ(called->expect("ACK").body(), CallPhone::kAnswer);
    exchange(*caller, *called, kHeld, kHolding);
    hangUp();
    expectQuiet();
}

// Section 3.1.3 and appendix A: a BYE of who has heard of an early dialog only.
TEST_F(RacesTest, TheCallerMayLeaveAnEarlyDialog)
{
    startTelephones();
    for (const bool isAnswered : {false, true}) {
        caller->invite("2002");
        const PhoneMessage invite = called->expect("INVITE");
        called->answer(invite, 180);
        caller->learn(caller->expect("180"));
        if (isAnswered) {
            called->answer(invite, 200, CallPhone::kAnswer);
            called->expect("ACK");
        }
        caller->send("BYE");
        if (isAnswered) {
            const PhoneMessage success = caller->expect("200");
            EXPECT_EQ(success.header("CSeq").find("BYE"), std::string::npos) << "this one was sent before";
            caller->expect("200");
            called->answer(called->expect("BYE"), 200);
            caller->ack(success);
        } else {
            caller->expect("200");
            caller->confirmFailure(caller->expect("487"));
            called->answer(called->expect("CANCEL"), 200);
            called->answer(invite, 487);
            called->expect("ACK");
        }
        EXPECT_TRUE(events.waitForCount("call " + std::to_string(isAnswered ? 2 : 1) + " end", 1));
        expectQuiet();
    }
}

// Section 3.2.2
TEST_F(RacesTest, AnOfferThatMeetsAByeIsTooLate)
{
    startTelephones();
    for (const auto& [leaving, other] : bothWays()) {
        talk(*caller, *called);
        leaving->send("BYE");
        leaving->expect("200");
        const PhoneMessage bye = other->expect("BYE");
        other->send("INVITE", kHeld);
        other->confirmFailure(other->expect("481"));
        other->send("UPDATE", kHeld);
        other->expect("481");
        other->answer(bye, 200);
        expectEnd();
        expectQuiet();
    }
}

// Section 3.2.3 and appendix B: the offer of who leaves, or of who is left, has met the BYE. Its answer is confirmed,
// whatever it is, since it would be repeated else.
TEST_F(RacesTest, AnOfferThatAByeHasMetIsConfirmed)
{
    startTelephones();
    for (const auto& [offering, other] : bothWays())
        for (const bool isOffererLeaving : {true, false})
            for (const int status : {487, 200}) {
                SCOPED_TRACE(offering->user() + (isOffererLeaving ? " leaves, " : " is left, ") +
                             std::to_string(status));
                talk(*caller, *called);
                offering->send("INVITE", kHeld);
                const PhoneMessage offer = other->expect("INVITE");
                CallPhone& leaving = isOffererLeaving ? *offering : *other;
                CallPhone& left = isOffererLeaving ? *other : *offering;
                leaving.send("BYE");
                leaving.expect("200");
                offering->confirmFailure(offering->expect("487"));
                const PhoneMessage bye = left.expect("BYE");
                other->answer(offer, status, status == 200 ? kHolding : "");
                EXPECT_EQ(other->expect("ACK").header("CSeq"), cseqOf(offer, "ACK"));
                left.answer(bye, 200);
                expectEnd();
                expectQuiet();
            }
}

// Section 3.3.2
TEST_F(RacesTest, AnUpdateAndAnInviteThatCrossAreBothToComeLater)
{
    startTelephones();
    talk();
    for (const auto& [one, other] : bothWays()) {
        one->send("UPDATE", kHeld);
        const PhoneMessage update = other->expect("UPDATE");
        other->send("INVITE", kHeld);
        other->confirmFailure(other->expect("491"));
        other->answer(update, 491);
        one->expect("491");

        one->send("INVITE", kHeld);
        const PhoneMessage invite = other->expect("INVITE");
        other->send("UPDATE", kHeld);
        other->expect("491");
        other->answer(invite, 491);
        other->expect("ACK");
        one->confirmFailure(one->expect("491"));

        exchange(*other, *one, kHeld, kHolding);
        exchange(*one, *other, CallPhone::kOffer, CallPhone::kAnswer);
    }
    hangUp();
    expectQuiet();
}

// Section 3.3.3
TEST_F(RacesTest, ATransferThatMeetsAByeIsTooLate)
{
    startThree();
    for (const auto& [leaving, other] : bothWays()) {
        talk(*caller, *called);
        leaving->send("BYE");
        leaving->expect("200");
        const PhoneMessage bye = other->expect("BYE");
        other->send("REFER", "", {"Refer-To: " + at("2003"), "Contact: " + other->contact()});
        other->expect("481");
        other->answer(bye, 200);
        expectEnd();
        expectQuiet({caller.get(), called.get(), third.get()});
    }
}

} // namespace
