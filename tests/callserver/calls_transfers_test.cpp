// Transfers: a telephone has the other side talk to somebody else.
#include "callserver/transfers_fixture.h"

#include <algorithm>

namespace {

using Statuses = std::vector<int>;
using Texts = std::vector<std::string>;

class CallsTransfersTest : public TransfersFixture {
protected:
    // 2001 called 2002, who has it sent to 2003: the new side has answered, and the transferred one has its offer.
    struct Sent {
        Talk first;
        SentPtr toNew;
        SentPtr toOther;
    };
    Sent sendOn(bool isByCalled = true)
    {
        Sent sent;
        sent.first = isByCalled ? talk("2001", "2002") : talk("2002", "2001");
        PhoneDialog& by = isByCalled ? sent.first.called : sent.first.caller;
        EXPECT_EQ(refer(by, "2003")->status(), 202);
        EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
        sent.toNew = next("INVITE");
        answer(sent.toNew, 180);
        EXPECT_EQ(notified(), "SIP/2.0 180 Ringing active");
        answer(sent.toNew, 200, kThird);
        sent.toOther = next("INVITE");
        return sent;
    }
};

TEST_F(CallsTransfersTest, TheCalledSideSendsTheCallerOn)
{
    Sent sent = sendOn();
    EXPECT_EQ(sent.toNew->request.destination.address, phone("2003").source.address);
    EXPECT_TRUE(sent.toNew->request.body.isEmpty());
    EXPECT_NE(sent.toNew->request.from.find("sip:2001@"), std::string::npos);
    EXPECT_NE(lineOf(sent.toNew->request.headers, "Referred-By").find("sip:2002@"), std::string::npos);
    EXPECT_EQ(sent.toOther->request.callId, sent.first.invite->request.callId);
    EXPECT_EQ(media(sent.toOther->request.body.data), media(kThird));
    EXPECT_NE(lineOf(sent.toOther->request.headers, "P-Asserted-Identity").find("\"Phone 2003\" <sip:2003@"),
              std::string::npos);
    EXPECT_TRUE(sent.toNew->acks.empty());
    answer(sent.toOther, 200, kFourth);
    ASSERT_EQ(sent.toOther->acks.size(), 1U);
    ASSERT_EQ(sent.toNew->acks.size(), 1U);
    EXPECT_EQ(sent.toNew->acks[0].body.data, kFourth);
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    EXPECT_EQ(subscription, "terminated;reason=noresource");
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, sent.first.called.callId);
    answer(bye, 200);
    // The two talk.
    PhoneDialog third = calledOf(sent.toNew, phone("2003"));
    const HeardPtr hold = send(third, SipMethod::Invite, kHold);
    const SentPtr held = next("INVITE");
    EXPECT_EQ(held->request.callId, sent.first.invite->request.callId);
    answer(held, 200, kFourth);
    ack(hold);
    EXPECT_EQ(send(sent.first.caller, SipMethod::Bye)->status(), 200);
    const SentPtr last = next("BYE");
    EXPECT_EQ(last->request.callId, sent.toNew->request.callId);
    answer(last, 200);
    EXPECT_EQ(recordTexts(), (Texts{"start", "answer", "2:start", "2:ring", "2:answer", "end 200", "2:end 200"}));
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, TheCallerSendsTheCalledSideOn)
{
    Sent sent = sendOn(false);
    EXPECT_NE(sent.toNew->request.from.find("\"Phone 2001\" <sip:2001@"), std::string::npos);
    EXPECT_EQ(sent.toOther->request.callId, sent.first.branch->request.callId);
    answer(sent.toOther, 200, kFourth);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, sent.first.invite->request.callId);
    answer(bye, 200);
    EXPECT_EQ(records.size(), 5U); // the first record goes on: its called side still talks
    PhoneDialog third = calledOf(sent.toNew, phone("2003"));
    EXPECT_EQ(send(third, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    EXPECT_EQ(recordTexts(), (Texts{"start", "answer", "2:start", "2:ring", "2:answer", "end 200", "2:end 200"}));
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, RecordsOfATransferBelongToOneCall)
{
    Sent sent = sendOn();
    answer(sent.toOther, 200, kFourth);
    notified();
    hangUp(sent.first);
    ASSERT_FALSE(records.empty());
    for (const auto& [id, data] : records)
        EXPECT_EQ(data.callId, records.front().second.callId);
    const auto& second = std::find_if(records.begin(), records.end(), [](const auto& one) { return one.first == 2; });
    ASSERT_NE(second, records.end());
    EXPECT_STREQ(second->second.callerNbr, "2001");
    EXPECT_STREQ(second->second.dialedNbr, "2003");
    EXPECT_STREQ(second->second.calledNbr, "2003");
}

TEST_F(CallsTransfersTest, TheStatusTableShowsARecordAsLongAsItsCalledSideTalks)
{
    Sent sent = sendOn(false);
    answer(sent.toOther, 200, kFourth);
    (void)notified();
    answer(next("BYE"), 200);
    EXPECT_EQ(server().inProgress(), 1U);
    const Texts table = server().statusTable();
    ASSERT_EQ(table.size(), 3U);
    for (const size_t i : {1U, 2U})
        EXPECT_NE(table[i].find("talking"), std::string::npos) << table[i];
    EXPECT_NE(table[1].find("  2003 (192.0.2.3:5060)"), std::string::npos) << table[1];
    EXPECT_NE(table[2].find("  2001 (192.0.2.1:5060)"), std::string::npos) << table[2];
    EXPECT_EQ(table[1].substr(0, 4), table[2].substr(0, 4)); // the number of the call
    PhoneDialog third = calledOf(sent.toNew, phone("2003"));
    hangUp(third, sent.first.branch->request.callId);
    expectAllOver();
}

TEST_F(CallsTransfersTest, TheUsersStatesFollowATransfer)
{
    Sent sent = sendOn();
    answer(sent.toOther, 200, kFourth);
    (void)takeStates();
    (void)notified();
    answer(next("BYE"), 200);
    EXPECT_EQ(server().counts().ofUser("2001"), 1U);
    EXPECT_EQ(server().counts().ofUser("2002"), 1U); // as if he had made it
    EXPECT_EQ(server().counts().madeByUser("2002"), 1U);
    EXPECT_EQ(server().counts().ofUser("2003"), 1U);
    hangUp(sent.first);
    EXPECT_EQ(takeStates(), (Texts{"2001 1", "2003 1"}));
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, EachTelephoneSeesOneSessionWhoeverDescribesIt)
{
    Sent sent = sendOn();
    const std::string before = origin(sent.first.invite->answers.back().body.data);
    EXPECT_EQ(before, "o=- 2 1 IN IP4 192.0.2.2");
    EXPECT_EQ(origin(sent.toOther->request.body.data), "o=- 2 2 IN IP4 192.0.2.2");
    answer(sent.toOther, 200, kFourth);
    notified();
    PhoneDialog third = calledOf(sent.toNew, phone("2003"));
    const HeardPtr hold = send(third, SipMethod::Invite, kHold);
    const SentPtr held = next("INVITE");
    EXPECT_EQ(origin(held->request.body.data), "o=- 2 3 IN IP4 192.0.2.2");
    EXPECT_EQ(media(held->request.body.data), media(kHold));
    answer(held, 200, kFourth);
    EXPECT_EQ(hold->answers.back().body.data, kFourth);
    ack(hold);
}

TEST_F(CallsTransfersTest, ARefusalOfTheNewSideLeavesTheCallAsItWas)
{
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
    answer(next("INVITE"), 486);
    EXPECT_EQ(notified(), "SIP/2.0 486 Busy Here terminated");
    const HeardPtr hold = send(made.called, SipMethod::Invite, kHold);
    answer(next("INVITE"), 200, kOffer);
    EXPECT_EQ(hold->status(), 200);
    ack(hold);
    // And it may be tried again.
    EXPECT_EQ(refer(made.called, "2004")->status(), 202);
    const SentPtr notify = next("NOTIFY");
    EXPECT_EQ(lineOf(notify->request.headers, "Event"), "refer;id=3");
    answer(notify, 200);
    answer(next("INVITE"), 603);
    EXPECT_EQ(notified(), "SIP/2.0 603 Decline terminated");
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, WhoMayNotTransferIsForbidden)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.flags &= ~static_cast<uint32_t>(kUsrTransfer); });
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 403);
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_FALSE(hasNext("NOTIFY"));
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, TheRightsOfTheOneWhoTransfersCount)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.expiryDate = 20200101; });
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
    EXPECT_EQ(notified(), "SIP/2.0 403 Forbidden terminated");
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_EQ(refer(made.called, "nobody")->status(), 202);
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, ALimitOfOneCallDoesNotForbidATransfer)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.maxCalls = 1; });
    Sent sent = sendOn();
    answer(sent.toOther, 200, kFourth);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
}

TEST_F(CallsTransfersTest, AReferThatIsNoCallIsRefused)
{
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003", [](CallMessage& request) { request.referTo.reset(); })->status(), 400);
    EXPECT_EQ(refer(made.called, "2003", [](CallMessage& request) { request.referTo->method = "BYE"; })->status(), 400);
    EXPECT_EQ(refer(made.called, "")->status(), 400);
    EXPECT_FALSE(hasNext("NOTIFY"));
    EXPECT_EQ(refer(made.called, "2003", [](CallMessage& request) { request.referTo->method = "invite"; })->status(),
              202);
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, ASecondReferWaitsForTheFirst)
{
    Talk made = talk();
    allowTransfers("2001");
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    EXPECT_EQ(refer(made.called, "2004")->status(), 491);
    EXPECT_EQ(refer(made.caller, "2004")->status(), 491);
    EXPECT_EQ(send(made.caller, SipMethod::Bye)->status(), 200);
}

TEST_F(CallsTransfersTest, BeforeTheAnswerThereIsNothingToTransfer)
{
    const HeardPtr invite = call("2001", "2002");
    const SentPtr branch = next("INVITE");
    answer(branch, 180);
    PhoneDialog called = calledOf(branch, phone("2002"));
    EXPECT_EQ(refer(called, "2003")->status(), 491);
    answer(branch, 200, kAnswer);
    EXPECT_EQ(refer(called, "2003")->status(), 491); // not confirmed yet
    ack(invite);
    EXPECT_EQ(refer(called, "2003")->status(), 202);
}

TEST_F(CallsTransfersTest, WhoAsksMayHangUpBeforeItIsDone)
{
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(server().counts().ofUser("2002"), 1U); // what he has asked for
    const SentPtr toNew = next("INVITE");
    answer(toNew, 200, kThird);
    answer(next("INVITE"), 200, kFourth);
    EXPECT_EQ(toNew->acks.size(), 1U);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    EXPECT_FALSE(hasNext("BYE"));
    EXPECT_EQ(send(made.caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, WhenNobodyIsLeftTheOtherSideHearsGoodbye)
{
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    notified();
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    answer(next("INVITE"), 480);
    notified();
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, made.invite->request.callId);
    answer(bye, 200);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, TheOtherSideHangsUpMeanwhile)
{
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    notified();
    const SentPtr toNew = next("INVITE");
    answer(toNew, 180);
    notified();
    EXPECT_EQ(send(made.caller, SipMethod::Bye)->status(), 200);
    EXPECT_TRUE(toNew->isCancelled);
    answer(toNew, 487);
    EXPECT_EQ(notified(), "SIP/2.0 487 Request Terminated terminated");
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, made.called.callId);
    answer(bye, 200);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, TheOtherSideRefusesTheOffer)
{
    Sent sent = sendOn();
    answer(sent.toOther, 488);
    EXPECT_EQ(sent.toNew->acks.size(), 1U);
    const SentPtr bye = next("BYE");
    EXPECT_EQ(bye->request.callId, sent.toNew->request.callId);
    answer(bye, 200);
    EXPECT_EQ(notified(), "SIP/2.0 488 Not Acceptable Here terminated");
    hangUp(sent.first);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, AnOfferThatCollidesIsMadeAgain)
{
    Sent sent = sendOn();
    answer(sent.toOther, 491);
    EXPECT_FALSE(hasNext("INVITE"));
    pass(2);
    const SentPtr again = next("INVITE");
    EXPECT_EQ(media(again->request.body.data), media(kThird));
    answer(again, 200, kFourth);
    EXPECT_EQ(sent.toNew->acks.size(), 1U);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
}

TEST_F(CallsTransfersTest, AnOfferOfTheOtherSideIsWaitedFor)
{
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    notified();
    const SentPtr toNew = next("INVITE");
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr held = next("INVITE");
    answer(toNew, 200, kThird);
    EXPECT_FALSE(hasNext("INVITE"));
    answer(held, 200, kAnswer);
    ack(hold);
    pass(2);
    answer(next("INVITE"), 200, kFourth);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
}

TEST_F(CallsTransfersTest, ANewSideThatHangsUpAtOnceLeavesTheCallAsItWas)
{
    Sent sent = sendOn();
    PhoneDialog third = calledOf(sent.toNew, phone("2003"));
    EXPECT_EQ(send(third, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(notified(), "SIP/2.0 487 Request Terminated terminated");
    // The other side has the offer already; it gets back what it had.
    answer(sent.toOther, 200, kFourth);
    EXPECT_EQ(sent.toOther->acks.size(), 1U);
    const SentPtr back = next("INVITE");
    EXPECT_EQ(back->request.callId, sent.first.invite->request.callId);
    EXPECT_EQ(media(back->request.body.data), media(kAnswer));
    EXPECT_EQ(origin(back->request.body.data), "o=- 2 3 IN IP4 192.0.2.2");
    answer(back, 200, kOffer);
    EXPECT_EQ(back->acks.size(), 1U);
    hangUp(sent.first);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, NobodyIsToldWhoDoesNotWantToHear)
{
    Talk made = talk();
    const HeardPtr heard = refer(made.called, "2003", [](CallMessage& request) { request.isReferSilent = true; });
    EXPECT_EQ(heard->status(), 202);
    EXPECT_EQ(lineOf(heard->answers.back().headers, "Refer-Sub"), "false");
    answer(next("INVITE"), 200, kThird);
    answer(next("INVITE"), 200, kFourth);
    EXPECT_FALSE(hasNext("NOTIFY"));
    EXPECT_EQ(next("BYE")->request.callId, made.called.callId);
}

TEST_F(CallsTransfersTest, TheSubscriptionOfATransferCanBeAskedForAndEnded)
{
    Talk made = talk();
    const auto about = [](const std::string& event, uint32_t expires) {
        return [event, expires](CallMessage& request) {
            request.event = EventName{event, {}};
            request.expires = expires;
        };
    };
    EXPECT_EQ(send(made.called, SipMethod::Subscribe, {}, about("refer", 60))->status(), 481);
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    notified();
    EXPECT_EQ(send(made.called, SipMethod::Subscribe, {}, about("presence", 60))->status(), 489);
    EXPECT_EQ(send(made.caller, SipMethod::Subscribe, {}, about("refer", 60))->status(), 481);
    const HeardPtr again = send(made.called, SipMethod::Subscribe, {}, about("refer", 60));
    EXPECT_EQ(lineOf(again->answers.back().headers, "Expires"), "60");
    EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
    EXPECT_EQ(send(made.called, SipMethod::Subscribe, {}, about("refer", 0))->status(), 200);
    EXPECT_EQ(notified(), "SIP/2.0 100 Trying terminated");
    EXPECT_EQ(subscription, "terminated;reason=timeout");
    answer(next("INVITE"), 486);
    EXPECT_FALSE(hasNext("NOTIFY"));
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTransfersTest, ASubscriptionThatHasRunOutIsToldSoOnceAndNoMore)
{
    Talk made = talk();
    EXPECT_EQ(refer(made.called, "2003")->status(), 202);
    EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
    EXPECT_EQ(send(made.called, SipMethod::Subscribe, {},
                   [](CallMessage& request) {
                       request.event = EventName{"refer", {}};
                       request.expires = 1;
                   })
                  ->status(),
              200);
    EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
    pass(2);
    const SentPtr toNew = next("INVITE");
    answer(toNew, 180);
    EXPECT_EQ(notified(), "SIP/2.0 180 Ringing terminated");
    EXPECT_EQ(subscription, "terminated;reason=timeout");
    answer(toNew, 200, kThird);
    answer(next("INVITE"), 200, kFourth);
    EXPECT_FALSE(hasNext("NOTIFY"));
    expectGoodbyeTo(made.called.callId);
    hangUp(made.caller, toNew->request.callId);
    expectAllOver();
}

TEST_F(CallsTransfersTest, OnlyWhoMayTransferIsToldThatItIsPossible)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.flags &= ~static_cast<uint32_t>(kUsrTransfer); });
    Talk made = talk("2001", "2002");
    const std::string& toCaller = made.invite->answers.back().headers;
    const std::string& toCalled = made.branch->request.headers;
    EXPECT_EQ(lineOf(toCaller, "Allow").find("REFER"), std::string::npos);
    EXPECT_EQ(lineOf(toCaller, "Allow").find("SUBSCRIBE"), std::string::npos);
    EXPECT_NE(lineOf(toCalled, "Allow").find(", REFER, SUBSCRIBE"), std::string::npos);
    for (const std::string& headers : {toCaller, toCalled})
        EXPECT_NE(lineOf(headers, "Supported").find("replaces"), std::string::npos);
    for (PhoneDialog* by : {&made.caller, &made.called}) {
        const HeardPtr options = send(*by, SipMethod::Options);
        EXPECT_EQ(lineOf(options->answers.back().headers, "Allow").find(", REFER, SUBSCRIBE") != std::string::npos,
                  by == &made.called);
    }
}

TEST_F(CallsTransfersTest, AJoinedCallCanBeSentOnAgain)
{
    allowTransfers("2003");
    Sent sent = sendOn();
    answer(sent.toOther, 200, kFourth);
    notified();
    answer(next("BYE"), 200);
    PhoneDialog third = calledOf(sent.toNew, phone("2003"));
    EXPECT_EQ(refer(third, "2004")->status(), 202);
    notified();
    const SentPtr toNew = next("INVITE");
    EXPECT_NE(toNew->request.from.find("sip:2001@"), std::string::npos);
    answer(toNew, 200, kAnswer);
    answer(next("INVITE"), 200, kOffer);
    EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    answer(next("BYE"), 200);
    EXPECT_EQ(send(sent.first.caller, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(next("BYE")->request.callId, toNew->request.callId);
    expectNothingLeft();
}

} // namespace
