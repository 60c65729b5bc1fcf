// Whose limits hold in calls that are sent on, joined and transferred: how many calls, and how long.
#include "callserver/transfers_fixture.h"

#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"

namespace {

class CallsLimitsTest : public TransfersFixture {
protected:
    static constexpr unsigned kShort = 50; // s
    static constexpr unsigned kOver = 55;

    CallsLimitsTest()
    {
        allowTransfers("2001");
        allowTransfers("2003");
    }
    void limitDuration(const std::string& name, int seconds)
    {
        changeUser(name, [seconds](Cdb_usr_info& user) { user.maxDuration = seconds; });
    }
    void takeCallWaiting(const std::string& name)
    {
        changeUser(name, [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrCallWaiting}; });
    }
    SentPtr sendOn(const SentPtr& branch, const std::string& number)
    {
        answer(branch, 302, {}, [&number](CallMessage& response) { response.contactUser = number; });
        return next("INVITE");
    }
    // The other side of `by` talks to that number; gives the branch there.
    SentPtr transfer(PhoneDialog& by, const std::string& number)
    {
        EXPECT_EQ(refer(by, number)->status(), 202);
        notified();
        SentPtr branch = next("INVITE");
        answer(branch, 200, kThird);
        answer(next("INVITE"), 200, kFourth);
        notified();
        answer(next("BYE"), 200);
        EXPECT_EQ(server().size(), 1U);
        return branch;
    }
    // Two calls of one user become one.
    void join(PhoneDialog& by, const PhoneDialog& with)
    {
        EXPECT_EQ(refer(by, "2003", replacing(with))->status(), 202);
        notified();
        answer(next("INVITE"), 200, kFourth);
        answer(next("INVITE"), 200, kThird);
        notified();
        for (int i = 0; i < 2; ++i)
            answer(next("BYE"), 200);
        EXPECT_EQ(server().size(), 1U);
    }
    [[nodiscard]] unsigned madeBy(const std::string& name) { return server().counts().madeByUser(name); }
};

TEST_F(CallsLimitsTest, WhoJoinsTwoCallsThatHeMadeHasMadeOne)
{
    Talk first = talk("2002", "2001");
    Talk second = talk("2002", "2003");
    EXPECT_EQ(madeBy("2002"), 2U);
    join(first.caller, second.caller);
    EXPECT_EQ(madeBy("2002"), 1U);
    EXPECT_EQ(server().counts().ofUser("2002"), 1U);
    EXPECT_EQ(server().counts().ofUser("2001"), 1U);
    EXPECT_EQ(server().counts().ofUser("2003"), 1U);
    hangUp(first.called, second.branch->request.callId);
    expectAllOver();
}

TEST_F(CallsLimitsTest, WhoJoinsACallThatHeGotPaysForTheOneThatHeMade)
{
    Talk got = talk("2001", "2002");
    Talk made = talk("2002", "2003");
    join(got.called, made.caller);
    EXPECT_EQ(madeBy("2002"), 1U);
    EXPECT_EQ(madeBy("2001"), 1U);
    hangUp(got.caller, made.branch->request.callId);
    expectAllOver();
}

TEST_F(CallsLimitsTest, WhoJoinsTwoCallsThatHeGotPaysForNone)
{
    Talk first = talk("2001", "2002");
    Talk second = talk("2003", "2002");
    join(first.called, second.called);
    EXPECT_EQ(server().counts().ofUser("2002"), 0U);
    EXPECT_EQ(madeBy("2001"), 1U);
    EXPECT_EQ(madeBy("2003"), 1U);
    hangUp(first.caller, second.invite->request.callId);
    expectAllOver();
}

TEST_F(CallsLimitsTest, WhoHasJoinedCallsHasNoMoreThanHisLimit)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.maxOutCalls = 2; });
    Talk first = talk("2002", "2001");
    Talk second = talk("2002", "2003");
    join(first.caller, second.caller);
    talk("2002", "2004");
    EXPECT_EQ(call("2002", "2005")->status(), 486);
}

TEST_F(CallsLimitsTest, WhoSentACallOnPaysForItAlsoWhenItIsTransferred)
{
    const HeardPtr invite = call("2001", "2002");
    answer(sendOn(next("INVITE"), "2003"), 200, kThird);
    ack(invite);
    EXPECT_EQ(madeBy("2002"), 1U);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    const SentPtr branch = transfer(caller, "2004");
    EXPECT_EQ(madeBy("2002"), 1U);
    EXPECT_EQ(madeBy("2001"), 1U);
    PhoneDialog called = calledOf(branch, phone("2004"));
    EXPECT_EQ(send(called, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    expectAllOver();
}

TEST_F(CallsLimitsTest, WhoSentACallOnPaysForItWithWhateverTelephoneItIsTaken)
{
    const FakePhone desk = addPhone("2003");
    const HeardPtr invite = call("2001", "2002");
    const SentPtr branch = sendOn(next("INVITE"), "2003");
    const SentPtr other = next("INVITE");
    answer(branch, 200, kThird);
    answer(other, 487);
    ack(invite);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    const SentPtr newSide = transfer(caller, "2004");
    const HeardPtr taking = take(desk, calledOf(branch, phone("2003")));
    answer(next("INVITE"), 200, kFourth);
    EXPECT_EQ(taking->status(), 200);
    ack(taking);
    answer(next("BYE"), 200);
    // Its new side transfers it.
    PhoneDialog by = calledOf(newSide, phone("2004"));
    transfer(by, "2005");
    EXPECT_EQ(madeBy("2002"), 1U);
}

TEST_F(CallsLimitsTest, WhoIsOnlyPayingIsFree)
{
    takeCallWaiting("2002");
    Talk made = talk("2001", "2002");
    transfer(made.called, "2003");
    EXPECT_EQ(server().counts().ofUser("2002"), 1U);
    const HeardPtr invite = call("2005", "2002");
    EXPECT_EQ(invite->status(), 100);
    EXPECT_EQ(next("INVITE")->request.destination.address, phone("2002").source.address);
}

TEST_F(CallsLimitsTest, ATelephoneSendsOnMoreThanOneCallAtATime)
{
    takeCallWaiting("2002");
    for (const char* caller : {"2001", "2005"}) {
        const HeardPtr invite = call(caller, "2002");
        answer(sendOn(next("INVITE"), caller == std::string("2001") ? "2003" : "2004"), 200, kThird);
        EXPECT_EQ(invite->status(), 200);
        ack(invite);
    }
    EXPECT_EQ(madeBy("2002"), 2U);
}

TEST_F(CallsLimitsTest, TheCallersLongestTimeHoldsWhereverHisCallIsSentOn)
{
    limitDuration("2001", kShort);
    limitDuration("2002", 100 * kShort);
    const HeardPtr invite = call("2001", "2002");
    answer(sendOn(next("INVITE"), "2003"), 200, kThird);
    ack(invite);
    pass(kOver);
    EXPECT_EQ(next("BYE")->request.callId, invite->request.callId);
}

TEST_F(CallsLimitsTest, TheLongestTimeOfWhoSendsACallOnHolds)
{
    limitDuration("2001", 100 * kShort);
    limitDuration("2002", kShort);
    const HeardPtr invite = call("2001", "2002");
    answer(sendOn(next("INVITE"), "2003"), 200, kThird);
    ack(invite);
    pass(kOver);
    EXPECT_EQ(next("BYE")->request.callId, invite->request.callId);
}

// The one who had it sent on pays for it no more once his part of it has ended.
TEST_F(CallsLimitsTest, TheLongestTimeOfWhoSentACallOnEndsWithThatCall)
{
    limitDuration("2002", kShort);
    const HeardPtr invite = call("2001", "2002");
    const SentPtr branch = sendOn(next("INVITE"), "2003");
    answer(branch, 200, kThird);
    ack(invite);
    PhoneDialog called = calledOf(branch, phone("2003"));
    transfer(called, "2004");
    pass(kOver);
    EXPECT_FALSE(hasNext("BYE"));
}

TEST_F(CallsLimitsTest, WhatAUserCalledHasHisLongestTimeWhoeverTakesHisPlace)
{
    limitDuration("2001", kShort);
    Talk made = talk("2001", "2003");
    const SentPtr second = transfer(made.caller, "2002");
    PhoneDialog by = calledOf(second, phone("2002"));
    transfer(by, "2004");
    pass(kOver);
    EXPECT_TRUE(hasNext("BYE"));
}

TEST_F(CallsLimitsTest, ACallersLongestTimeGoesWithHimWhenHeIsTransferred)
{
    limitDuration("2001", kShort);
    Talk made = talk("2001", "2002");
    transfer(made.called, "2003");
    pass(kOver);
    EXPECT_EQ(next("BYE")->request.callId, made.invite->request.callId);
}

TEST_F(CallsLimitsTest, TheLongestTimeOfWhoTransfersBeginsWithTheNewCall)
{
    limitDuration("2002", kShort);
    Talk made = talk("2001", "2002");
    pass(kShort - 10);
    transfer(made.called, "2003");
    pass(20);
    EXPECT_FALSE(hasNext("BYE"));
    pass(kOver);
    EXPECT_TRUE(hasNext("BYE"));
}

TEST_F(CallsLimitsTest, JoinedCallsEndWhenTheFirstOfTheirTimesIsOver)
{
    limitDuration("2002", kShort);
    Talk first = talk("2002", "2001");
    pass(20);
    Talk second = talk("2002", "2003");
    join(first.caller, second.caller);
    pass(20);
    EXPECT_FALSE(hasNext("BYE"));
    pass(15);
    EXPECT_TRUE(hasNext("BYE"));
}

TEST_F(CallsLimitsTest, TheLongestTimeStaysWithWhateverTelephoneTakesTheCall)
{
    limitDuration("2001", kShort);
    const FakePhone desk = addPhone("2001");
    Talk made = talk("2001", "2003");
    const HeardPtr taking = take(desk, made.caller);
    answer(next("INVITE"), 200, kFourth);
    EXPECT_EQ(taking->status(), 200);
    ack(taking);
    answer(next("BYE"), 200);
    transfer(made.called, "2004");
    pass(kOver);
    EXPECT_EQ(next("BYE")->request.callId, taking->request.callId);
}

TEST_F(CallsLimitsTest, ACallForHelpHasNoLongestTime)
{
    BclCopyStr(gVarCcfEmergencyNumbers, "112");
    limitDuration("2001", kShort);
    changeUser("112", [](Cdb_usr_info&) {});
    addPhone("112");
    Talk made = talk("2001", "2002");
    transfer(made.called, "112");
    pass(kOver);
    EXPECT_EQ(server().size(), 1U);
    EXPECT_FALSE(hasNext("BYE"));
}

} // namespace
