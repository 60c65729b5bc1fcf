// Session timers (RFC 4028) of both legs, and the times after which a call is looked at or ended.
#include "callserver/calls_fixture.h"

#include "bcl2/text.h"

namespace {

using Refresher = SessionTimer::Refresher;
using Statuses = std::vector<int>;

class CallsTimersTest : public CallsFixture {
protected:
    static Change asksFor(uint32_t interval, Refresher refresher, uint32_t minimum = 0)
    {
        return [=](CallMessage& message) {
            message.isTimerSupported = true;
            message.timer = {interval, minimum, refresher};
        };
    }
    // Both sides answer what they are asked; nothing is silent meanwhile.
    void passTalking(int64_t seconds)
    {
        for (int64_t i = 0; i < seconds; ++i) {
            pass(1);
            while (hasNext("OPTIONS"))
                answer(next("OPTIONS"), 200);
        }
    }
};

TEST_F(CallsTimersTest, AreOfferedToTheTelephone)
{
    call("2001", "2002");
    const SentPtr branch = next("INVITE");
    EXPECT_TRUE(isIn(branch->request.headers, "Supported: replaces, timer"));
    EXPECT_TRUE(isIn(branch->request.headers, "Session-Expires: 1800"));
    EXPECT_TRUE(isIn(branch->request.headers, "Min-SE: 90"));
}

TEST_F(CallsTimersTest, EachLegHasItsOwn)
{
    Talk made = talk("2001", "2002", asksFor(600, Refresher::None), asksFor(1800, Refresher::Uas));
    const std::string& told = made.invite->answers.back().headers;
    EXPECT_TRUE(isIn(told, "Session-Expires: 600;refresher=uac"));
    EXPECT_TRUE(isIn(told, "Require: timer"));
    EXPECT_EQ(told.find("1800"), std::string::npos);
}

TEST_F(CallsTimersTest, ACallerWhoDoesNotKnowThemGetsNone)
{
    Talk made = talk("2001", "2002", {}, asksFor(1800, Refresher::Uas));
    EXPECT_EQ(made.invite->answers.back().headers.find("Session-Expires"), std::string::npos);
    passTalking(1700);
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsTimersTest, OfTheTelephoneAreRefreshedByTheServerWithUpdate)
{
    Talk made = talk("2001", "2002", {}, [](CallMessage& success) {
        success.timer = {1800, 0, Refresher::Uac};
        success.allow = "INVITE, ACK, BYE, CANCEL, UPDATE";
    });
    passTalking(899);
    EXPECT_FALSE(hasNext("UPDATE"));
    passTalking(1);
    const SentPtr update = next("UPDATE");
    EXPECT_EQ(update->request.callId, made.branch->request.callId);
    EXPECT_TRUE(update->request.body.isEmpty());
    EXPECT_TRUE(isIn(update->request.headers, "Session-Expires: 1800;refresher=uac"));
    answer(update, 200, {}, asksFor(1800, Refresher::Uac));
    passTalking(899);
    EXPECT_FALSE(hasNext("UPDATE"));
    passTalking(1);
    answer(next("UPDATE"), 200, {}, asksFor(1800, Refresher::Uac));
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTimersTest, AreRefreshedByInviteWhereUpdateIsNotKnown)
{
    Talk made = talk("2001", "2002", {}, [](CallMessage& success) {
        success.timer = {200, 0, Refresher::Uac};
        success.allow = "INVITE, ACK, BYE, CANCEL";
    });
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold);
    answer(next("INVITE"), 488); // it does not hold
    EXPECT_EQ(hold->status(), 488);
    passTalking(100);
    const SentPtr reinvite = next("INVITE");
    EXPECT_EQ(reinvite->request.callId, made.branch->request.callId);
    EXPECT_EQ(reinvite->request.body.data, kOffer);
    EXPECT_TRUE(isIn(reinvite->request.headers, "Session-Expires: 200;refresher=uac"));
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->status(), 491);
    EXPECT_EQ(send(made.caller, SipMethod::Invite, kHold)->status(), 491);
    answer(reinvite, 200, kAnswer, asksFor(200, Refresher::Uac));
    EXPECT_EQ(reinvite->acks.size(), 1U);
    EXPECT_EQ(send(made.called, SipMethod::Invite, kHold)->statuses(), Statuses{});
}

TEST_F(CallsTimersTest, OfTheCallerAreRefreshedByTheServerWhenHeWantsIt)
{
    Talk made = talk("2001", "2002", asksFor(120, Refresher::Uas));
    EXPECT_TRUE(isIn(made.invite->answers.back().headers, "Session-Expires: 120;refresher=uas"));
    passTalking(60);
    const SentPtr reinvite = next("INVITE"); // he did not say that he knows UPDATE
    EXPECT_EQ(reinvite->request.callId, made.invite->request.callId);
    EXPECT_EQ(reinvite->request.body.data, kAnswer);
    answer(reinvite, 200, kOffer, asksFor(120, Refresher::Uac));
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsTimersTest, ARefreshThatCollidesIsTriedAgain)
{
    Talk made = talk("2001", "2002", {}, [](CallMessage& success) {
        success.timer = {200, 0, Refresher::Uac};
        success.allow = "INVITE, ACK, BYE, CANCEL";
    });
    passTalking(100);
    answer(next("INVITE"), 491);
    passTalking(4);
    EXPECT_FALSE(hasNext("INVITE"));
    passTalking(1);
    answer(next("INVITE"), 200, kAnswer, asksFor(200, Refresher::Uac));
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsTimersTest, ARefreshThatFailsReleasesTheCall)
{
    for (const int status : {403, 408, 481}) {
        Talk made = talk("2001", "2002", {}, [](CallMessage& success) {
            success.timer = {200, 0, Refresher::Uac};
            success.allow = "INVITE, UPDATE";
        });
        passTalking(100);
        answer(next("UPDATE"), status);
        (void)next("BYE");
        EXPECT_EQ(hasNext("BYE"), status != 481); // who says so knows
        if (status != 481)
            (void)next("BYE");
        EXPECT_EQ(recordTexts().back().substr(recordTexts().back().find("end")), "end 408");
        expectNothingLeft();
    }
}

TEST_F(CallsTimersTest, ARefreshThatCollidesIsTriedAgainUntilTheSessionEnds)
{
    for (const int status : {491, 500, 503}) {
        Talk made = talk("2001", "2002", {}, [](CallMessage& success) {
            success.timer = {200, 0, Refresher::Uac};
            success.allow = "INVITE, UPDATE";
        });
        passTalking(100);
        for (int64_t left = 100; left > 0; left -= Call::kRefreshPauseMs / 1000) {
            answer(next("UPDATE"), status);
            EXPECT_EQ(server().size(), 1U) << left;
            passTalking(Call::kRefreshPauseMs / 1000);
        }
        answer(next("UPDATE"), status);
        (void)next("BYE");
        (void)next("BYE");
        expectNothingLeft();
    }
}

TEST_F(CallsTimersTest, ARefreshByInviteThatIsNeverAnsweredReleasesTheCall)
{
    Talk made = talk("2001", "2002", {}, [](CallMessage& success) {
        success.timer = {200, 0, Refresher::Uac};
        success.allow = "INVITE, ACK, BYE, CANCEL";
    });
    passTalking(100);
    answer(next("INVITE"), 100);
    passTalking(Call::kOfferMs / 1000 - 1);
    EXPECT_EQ(server().size(), 1U);
    passTalking(1);
    EXPECT_EQ(recordTexts().back(), "end 408");
    (void)next("BYE");
    (void)next("BYE");
    expectNothingLeft();
}

TEST_F(CallsTimersTest, ARefreshThatIsTooShortForTheTelephoneIsMadeLonger)
{
    Talk made = talk("2001", "2002", {}, [](CallMessage& success) {
        success.timer = {200, 0, Refresher::Uac};
        success.allow = "INVITE, UPDATE";
    });
    passTalking(100);
    answer(next("UPDATE"), 422, {}, [](CallMessage& refusal) { refusal.timer.minimum = 400; });
    passTalking(Call::kRefreshPauseMs / 1000);
    const SentPtr update = next("UPDATE");
    EXPECT_TRUE(isIn(update->request.headers, "Session-Expires: 400;refresher=uac"));
    answer(update, 200, {}, asksFor(400, Refresher::Uac));
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsTimersTest, ARefreshThatDoesNotComeReleasesTheCall)
{
    // A third, but at most 32 s, before the end (RFC 4028 section 10).
    Talk made = talk("2001", "2002", asksFor(180, Refresher::Uac));
    passTalking(147);
    EXPECT_EQ(server().size(), 1U);
    passTalking(1);
    EXPECT_EQ(server().size(), 0U);
    EXPECT_TRUE(isIn(next("BYE")->request.headers, "Reason: SIP;cause=408;text=\"The session was not refreshed\""));
    (void)next("BYE");
    expectNothingLeft();
}

TEST_F(CallsTimersTest, ARefreshOfATelephoneIsAnsweredByTheServer)
{
    Talk made = talk("2001", "2002", asksFor(180, Refresher::Uac));
    passTalking(90);
    const HeardPtr update = send(made.caller, SipMethod::Update, {}, asksFor(180, Refresher::Uac));
    EXPECT_EQ(update->status(), 200);
    EXPECT_TRUE(isIn(update->answers.back().headers, "Session-Expires: 180;refresher=uac"));
    EXPECT_TRUE(update->answers.back().hasContact);
    EXPECT_FALSE(hasNext("UPDATE"));
    passTalking(147);
    EXPECT_EQ(server().size(), 1U);
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kOffer, asksFor(180, Refresher::Uac));
    answer(next("INVITE"), 200, kAnswer);
    EXPECT_TRUE(isIn(reinvite->answers.back().headers, "Session-Expires: 180;refresher=uac"));
    ack(reinvite);
    passTalking(147);
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsTimersTest, AnOfferThatIsPassedRefreshesTheOtherLegToo)
{
    Talk made = talk("2001", "2002", {}, asksFor(180, Refresher::Uas));
    passTalking(100);
    const HeardPtr reinvite = send(made.caller, SipMethod::Invite, kHold);
    const SentPtr passed = next("INVITE");
    EXPECT_TRUE(isIn(passed->request.headers, "Session-Expires: 180;refresher=uas"));
    answer(passed, 200, kAnswer, asksFor(180, Refresher::Uas));
    ack(reinvite);
    passTalking(147);
    EXPECT_EQ(server().size(), 1U);
    passTalking(1);
    EXPECT_EQ(server().size(), 0U);
}

TEST_F(CallsTimersTest, TooShortOnesAreRefused)
{
    const HeardPtr invite = call("2001", "2002", asksFor(89, Refresher::None));
    EXPECT_EQ(invite->status(), 422);
    EXPECT_TRUE(isIn(invite->answers.back().headers, "Min-SE: 90"));
    EXPECT_EQ(server().load().calls, 0U);
    Talk made = talk("2001", "2002", asksFor(90, Refresher::Uac));
    for (const SipMethod method : {SipMethod::Invite, SipMethod::Update})
        for (const char* body : {kHold, ""}) {
            const HeardPtr refused = send(made.caller, method, body, asksFor(60, Refresher::Uac));
            EXPECT_EQ(refused->status(), 422);
            EXPECT_TRUE(isIn(refused->answers.back().headers, "Min-SE: 90"));
        }
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_EQ(server().size(), 1U);
}

TEST_F(CallsTimersTest, ATelephoneThatWantsLongerOnesIsAskedAgain)
{
    const HeardPtr invite = call("2001", "2002");
    const SentPtr first = next("INVITE");
    answer(first, 422, {}, [](CallMessage& refusal) { refusal.timer.minimum = 3600; });
    const SentPtr second = next("INVITE");
    EXPECT_EQ(second->request.callId, first->request.callId);
    EXPECT_EQ(second->request.cseq, first->request.cseq + 1);
    EXPECT_TRUE(isIn(second->request.headers, "Session-Expires: 3600"));
    EXPECT_TRUE(isIn(second->request.headers, "Min-SE: 3600"));
    EXPECT_EQ(invite->statuses(), Statuses{100});
    answer(second, 200, kAnswer, asksFor(3600, Refresher::Uac));
    ASSERT_EQ(second->acks.size(), 1U);
    EXPECT_EQ(second->acks[0].cseq, second->request.cseq);
    EXPECT_EQ(invite->status(), 200);
}

TEST_F(CallsTimersTest, ATelephoneThatRefusesAllOfThemIsNotAskedForEver)
{
    const HeardPtr invite = call("2001", "2002");
    for (int i = 0; i < 2; ++i)
        answer(next("INVITE"), 422, {},
               [i](CallMessage& refusal) { refusal.timer.minimum = 3600U + 100U * unsigned(i); });
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_EQ(invite->status(), 500);
    expectNothingLeft();
}

TEST_F(CallsTimersTest, AreOffWhenTheSystemSaysSo)
{
    changeSystem([](Cdb_sys_data& system) { system.callFlags &= static_cast<uint8_t>(~kSysSessionTimers); });
    Talk made = talk("2001", "2002", asksFor(60, Refresher::Uac), asksFor(100, Refresher::Uas));
    EXPECT_EQ(made.branch->request.headers.find("Session-Expires"), std::string::npos);
    EXPECT_EQ(made.branch->request.headers.find("timer"), std::string::npos);
    EXPECT_EQ(made.invite->answers.back().headers.find("Session-Expires"), std::string::npos);
    passTalking(2000);
    EXPECT_EQ(server().size(), 1U);
    EXPECT_FALSE(hasNext("UPDATE"));
    EXPECT_FALSE(hasNext("INVITE"));
}

TEST_F(CallsTimersTest, ASilentSideIsAskedAfterAMinute)
{
    Talk made = talk();
    pass(59);
    EXPECT_FALSE(hasNext("OPTIONS"));
    pass(1);
    const SentPtr one = next("OPTIONS");
    const SentPtr other = next("OPTIONS");
    EXPECT_NE(one->request.callId, other->request.callId);
    pass(10);
    EXPECT_FALSE(hasNext("OPTIONS")); // one at a time
    for (const SentPtr& asked : {one, other})
        answer(asked, asked == one ? 405 : 501);
    EXPECT_EQ(server().size(), 1U);
    pass(59);
    EXPECT_FALSE(hasNext("OPTIONS"));
    pass(1);
    for (int i = 0; i < 2; ++i)
        answer(next("OPTIONS"), 200);
    hangUp(made);
    expectNothingLeft();
}

TEST_F(CallsTimersTest, ASideThatSpeaksIsNotAsked)
{
    Talk made = talk();
    for (int i = 0; i < 5; ++i) {
        pass(40);
        send(made.caller, SipMethod::Info);
        answer(next("INFO"), 200); // both were heard
    }
    EXPECT_FALSE(hasNext("OPTIONS"));
    pass(40);
    send(made.caller, SipMethod::Options);
    pass(20);
    EXPECT_EQ(next("OPTIONS")->request.callId, made.branch->request.callId);
    EXPECT_FALSE(hasNext("OPTIONS"));
}

TEST_F(CallsTimersTest, ASideThatDoesNotAnswerEndsTheCall)
{
    Talk made = talk();
    pass(60);
    answer(next("OPTIONS"), 200); // of the caller
    answerOwn(next("OPTIONS"), 408);
    (void)next("BYE");
    (void)next("BYE"); // it may come again
    EXPECT_EQ(recordTexts().back(), "end 408");
    EXPECT_EQ(server().counts().ofUser("2001"), 0U);
    expectNothingLeft();
}

TEST_F(CallsTimersTest, ASideThatHasForgottenTheCallEndsIt)
{
    Talk made = talk();
    pass(60);
    const SentPtr ofCaller = next("OPTIONS");
    EXPECT_EQ(ofCaller->request.callId, made.invite->request.callId);
    answer(ofCaller, 481);
    EXPECT_EQ(next("BYE")->request.callId, made.branch->request.callId);
    EXPECT_FALSE(hasNext("BYE"));
    expectNothingLeft();
}

TEST_F(CallsTimersTest, AConnectionThatBreaksMayComeAgainOnce)
{
    Talk made = talk();
    pass(60);
    answerOwn(next("OPTIONS"), 503);
    answer(next("OPTIONS"), 200);
    EXPECT_EQ(server().size(), 1U);
    pass(60);
    answer(next("OPTIONS"), 200);
    answer(next("OPTIONS"), 200); // it was back
    pass(60);
    answerOwn(next("OPTIONS"), 503);
    answer(next("OPTIONS"), 200);
    pass(60);
    answerOwn(next("OPTIONS"), 503);
    EXPECT_EQ(server().size(), 0U);
    expectNothingLeft();
}

TEST_F(CallsTimersTest, TheLongestTimeOfTheCallerEndsHisCall)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.maxDuration = 50; });
    const HeardPtr invite = call("2001", "2002");
    const SentPtr branch = next("INVITE");
    answer(branch, 180);
    pass(20); // does not count
    answer(branch, 200, kAnswer);
    ack(invite);
    pass(49);
    EXPECT_FALSE(hasNext("BYE"));
    pass(1);
    (void)next("BYE");
    (void)next("BYE");
    EXPECT_EQ(recordTexts().back(), "end 200");
    EXPECT_EQ(records.back().second.duration, 50U);
    expectNothingLeft();
    Talk received = talk("2002", "2001");
    pass(55);
    EXPECT_FALSE(hasNext("BYE")); // only calls that he makes
}

TEST_F(CallsTimersTest, TheSmallestOfTheLongestTimesHolds)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.maxDuration = 50; });
    Cdb_nbr_cld_ana_data rule;
    BclCopyStr(rule.calledPrefix, "20");
    rule.maxDuration = 30;
    ASSERT_EQ(store.DbNbrCldAnaSet(rule), kDbOk);
    talk("2001", "2002");
    pass(29);
    EXPECT_EQ(server().size(), 1U);
    pass(1);
    EXPECT_EQ(server().size(), 0U);
    rule.maxDuration = 55;
    ASSERT_EQ(store.DbNbrCldAnaSet(rule), kDbOk);
    talk("2001", "2002");
    pass(49);
    EXPECT_EQ(server().size(), 1U);
    pass(1);
    EXPECT_EQ(server().size(), 0U);
}

// It answers with another port than at first; the other side has to know.
TEST_F(CallsTimersTest, WhatARefreshChangesIsPassedOn)
{
    static constexpr const char* kMoved = "v=0\r\no=- 2 2 IN IP4 192.0.2.2\r\ns=-\r\nm=audio 5555 RTP/AVP 8\r\n";
    Talk made = talk("2001", "2002", {}, [](CallMessage& response) {
        response.allow = "INVITE, ACK, BYE, INFO";
        response.isTimerSupported = true;
        response.timer = {90, 0, Refresher::Uac};
    });
    pass(50);
    const SentPtr refresh = next("INVITE");
    answer(refresh, 200, kMoved, asksFor(90, Refresher::Uac));
    const SentPtr change = next("INVITE");
    EXPECT_EQ(change->request.callId, made.invite->request.callId);
    EXPECT_EQ(change->request.body.data, kMoved);
    answer(change, 200, kOffer);
    EXPECT_EQ(change->acks.size(), 1U);
    EXPECT_FALSE(hasNext("INVITE"));
    passTalking(46);
    answer(next("INVITE"), 200, kMoved); // as it is known by now
    EXPECT_FALSE(hasNext("INVITE"));
}

TEST_F(CallsTimersTest, SidesThatChangeWithEachAnswerAreNotAskedForEver)
{
    const auto at = [](int port) {
        return "v=0\r\no=- 2 2 IN IP4 192.0.2.2\r\ns=-\r\nm=audio " + std::to_string(port) + " RTP/AVP 8\r\n";
    };
    talk("2001", "2002", {}, [](CallMessage& response) {
        response.allow = "INVITE, ACK, BYE, INFO";
        response.isTimerSupported = true;
        response.timer = {90, 0, Refresher::Uac};
    });
    pass(50);
    int asked = 0;
    for (; hasNext("INVITE") && asked < 100; ++asked)
        answer(next("INVITE"), 200, at(6000 + asked));
    EXPECT_EQ(asked, 1 + static_cast<int>(Call::kMaxEchoes));
}

TEST_F(CallsTimersTest, ARefreshSaysAgainWhatStoodBesideOtherThings)
{
    static const std::string kMixed = "--x\r\nContent-Type: application/sdp\r\n\r\n" + std::string(kOffer) +
                                      "\r\n--x\r\nContent-Type: text/plain\r\n\r\nhello\r\n--x--\r\n";
    Talk made = talk(
        "2001", "2002",
        [](CallMessage& invite) {
            invite.body = {"multipart/mixed;boundary=x", {}, kMixed};
        },
        [](CallMessage& response) {
            response.allow = "INVITE, ACK, BYE, INFO";
            response.isTimerSupported = true;
            response.timer = {90, 0, Refresher::Uac};
        });
    EXPECT_EQ(made.branch->request.body.data, kMixed);
    pass(50);
    const SentPtr refresh = next("INVITE");
    EXPECT_EQ(refresh->request.body.type, "multipart/mixed;boundary=x");
    EXPECT_EQ(refresh->request.body.data, kMixed);
}

TEST_F(CallsTimersTest, SessionsThatHaveATimerKeepItWhenTimersAreSwitchedOff)
{
    Talk made = talk("2001", "2002", {}, asksFor(600, Refresher::Uas));
    changeSystem([](Cdb_sys_data& system) { system.callFlags &= static_cast<uint8_t>(~kSysSessionTimers); });
    for (int i = 0; i < 5; ++i) {
        passTalking(240);
        const HeardPtr refresh = send(made.called, SipMethod::Update, {}, asksFor(600, Refresher::Uac));
        ASSERT_EQ(refresh->status(), 200);
        EXPECT_TRUE(isIn(refresh->answers.back().headers, "Session-Expires: 600;refresher=uac"));
    }
    EXPECT_EQ(server().size(), 1U);
    Talk later = talk("2003", "2004", {}, asksFor(600, Refresher::Uas));
    EXPECT_EQ(later.branch->request.headers.find("Session-Expires"), std::string::npos);
}

TEST_F(CallsTimersTest, WhoSaysThatTheDialogIsGoneHearsNoBye)
{
    Talk made = talk("2001", "2002", {}, [](CallMessage& response) {
        response.allow = "INVITE, ACK, BYE, UPDATE";
        response.isTimerSupported = true;
        response.timer = {90, 0, Refresher::Uac};
    });
    pass(50);
    answer(next("UPDATE"), 481);
    EXPECT_EQ(next("BYE")->request.callId, made.invite->request.callId);
    EXPECT_FALSE(hasNext("BYE"));
}

} // namespace
