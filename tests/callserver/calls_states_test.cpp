// The states and limits of users while they call.
#include "callserver/calls_fixture.h"

#include "bcl2/text.h"

namespace {

using Texts = std::vector<std::string>;

class CallsStatesTest : public CallsFixture {};

TEST_F(CallsStatesTest, FollowACallFromDialToRelease)
{
    const HeardPtr invite = call("2001", "2002");
    EXPECT_EQ(takeStates(), (Texts{"2001 4"}));
    const SentPtr branch = next("INVITE");
    answer(branch, 180);
    EXPECT_EQ(takeStates(), (Texts{"2002 2"}));
    answer(branch, 180);
    EXPECT_EQ(takeStates(), (Texts{}));
    answer(branch, 200, kAnswer);
    EXPECT_EQ(takeStates(), (Texts{"2001 3", "2002 3"}));
    ack(invite);
    EXPECT_EQ(takeStates(), (Texts{}));
    PhoneDialog caller = callerOf(invite, phone("2001"));
    send(caller, SipMethod::Bye);
    EXPECT_EQ(takeStates(), (Texts{"2001 1", "2002 1"}));
    expectNothingLeft();
}

TEST_F(CallsStatesTest, EarlyMediaRings)
{
    call("2001", "2002");
    answer(next("INVITE"), 183, kAnswer);
    EXPECT_EQ(takeStates(), (Texts{"2001 4", "2002 2"}));
}

TEST_F(CallsStatesTest, AWaitingCallDoesNotHideThatTheUserTalks)
{
    Talk first = talk("2001", "2002");
    EXPECT_EQ(takeStates(), (Texts{"2001 4", "2001 3", "2002 3"}));
    const HeardPtr second = call("2003", "2002");
    const SentPtr branch = next("INVITE");
    answer(branch, 180);
    EXPECT_EQ(takeStates(), (Texts{"2003 4"}));
    hangUp(first);
    EXPECT_EQ(takeStates(), (Texts{"2001 1", "2002 2"}));
    cancel(second);
    EXPECT_EQ(takeStates(), (Texts{"2003 1", "2002 1"}));
    answer(branch, 487);
    expectNothingLeft();
}

TEST_F(CallsStatesTest, AUserWithoutTelephoneIsOfflineAgainAfterHisCall)
{
    removePhones("2005");
    changeUser("2005", [](Cdb_usr_info& user) {
        user.flags |= kUsrIpAuth;
        BclCopyStr(user.ipAddr, "192.0.2.77");
    });
    const FakePhone caller{"2005", {"192.0.2.77", 5070, kTransportUdp}};
    const HeardPtr invite = call(caller, "2002");
    EXPECT_EQ(takeStates(), (Texts{"2005 4"}));
    answer(next("INVITE"), 486);
    EXPECT_EQ(takeStates(), (Texts{"2005 1"})); // his address is always there
}

TEST_F(CallsStatesTest, OneCallFewerThanTheLimitIsLetThrough)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.maxCalls = 2; });
    Talk received = talk("2002", "2001");
    Talk made = talk("2001", "2003");
    EXPECT_EQ(server().counts().ofUser("2001"), 2U);
    EXPECT_EQ(call("2001", "2004")->status(), 486);
    EXPECT_EQ(call("2004", "2001")->status(), 486);
    hangUp(received);
    EXPECT_EQ(call("2001", "2004")->status(), 100);
}

TEST_F(CallsStatesTest, TheLimitOfOutgoingCallsLeavesReceivedOnesAlone)
{
    changeUser("2001", [](Cdb_usr_info& user) {
        user.maxOutCalls = 1;
        user.callWaitingLimit = 5;
    });
    Talk received = talk("2002", "2001");
    EXPECT_EQ(server().counts().madeByUser("2001"), 0U);
    Talk made = talk("2001", "2003");
    EXPECT_EQ(server().counts().madeByUser("2001"), 1U);
    EXPECT_EQ(call("2001", "2004")->status(), 486);
    EXPECT_EQ(call("2004", "2001")->status(), 100);
    hangUp(made);
    EXPECT_EQ(call("2001", "2005")->status(), 100);
}

TEST_F(CallsStatesTest, ALimitBelowOneIsNone)
{
    changeUser("2001", [](Cdb_usr_info& user) {
        user.maxCalls = -1;
        user.maxOutCalls = 0;
    });
    for (const char* called : {"2002", "2003", "2004"})
        talk("2001", called);
    EXPECT_EQ(call("2001", "2005")->status(), 100);
}

TEST_F(CallsStatesTest, ACallCountsFromItsInvite)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.maxCalls = 1; });
    const HeardPtr first = call("2001", "2002");
    EXPECT_EQ(server().counts().ofUser("2001"), 1U);
    EXPECT_EQ(server().counts().ofUser("2002"), 1U);
    EXPECT_EQ(call("2003", "2002")->status(), 486);
    EXPECT_EQ(server().counts().ofUser("2003"), 0U);
    cancel(first);
    EXPECT_EQ(server().counts().ofUser("2001"), 0U);
    EXPECT_EQ(server().counts().ofUser("2002"), 0U);
}

TEST_F(CallsStatesTest, AWaitingCallRingsOnlyWithinTheLimit)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.callWaitingLimit = 1; });
    talk("2001", "2002");
    EXPECT_EQ(call("2003", "2002")->status(), 100);
    EXPECT_EQ(call("2004", "2002")->status(), 486);
}

TEST_F(CallsStatesTest, WithoutCallWaitingATalkingUserIsBusy)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrCallWaiting}; });
    changeUser("2003", [](Cdb_usr_info& user) { user.callWaitingLimit = 0; });
    talk("2001", "2002");
    EXPECT_EQ(call("2004", "2002")->status(), 486);
    Talk other = talk("2001", "2003");
    EXPECT_EQ(call("2004", "2003")->status(), 486);
    hangUp(other);
    EXPECT_EQ(call("2004", "2003")->status(), 100);
}

TEST_F(CallsStatesTest, NoFailureLeavesACallBehind)
{
    for (const int status : {301, 400, 401, 404, 422, 480, 486, 488, 500, 503, 600, 603}) {
        const HeardPtr invite = call("2001", "2002");
        answer(next("INVITE"), status);
        EXPECT_GE(invite->status(), 400) << status;
        EXPECT_EQ(server().counts().ofUser("2001"), 0U) << status;
        EXPECT_EQ(server().counts().ofUser("2002"), 0U) << status;
    }
    for (const int status : {408, 503}) {
        call("2001", "2002");
        answerOwn(next("INVITE"), status);
        EXPECT_EQ(server().counts().ofUser("2002"), 0U) << status;
    }
    for (const char* dialed : {"9999", "*97", "2001"})
        EXPECT_GE(call("2001", dialed)->status(), 400) << dialed;
    expectNothingLeft();
}

TEST_F(CallsStatesTest, AnExpiredUserMayNotCall)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.expiryDate = 20231113; }); // the day before
    EXPECT_EQ(call("2001", "2002")->status(), 403);
    changeUser("2001", [](Cdb_usr_info& user) { user.expiryDate = 20231115; });
    EXPECT_EQ(call("2001", "2002")->status(), 100);
}

} // namespace
