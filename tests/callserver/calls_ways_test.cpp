// Where the requests of a call go when a telephone moves.
#include "callserver/transfers_fixture.h"

namespace {

class CallsWaysTest : public CallsFixture {
protected:
    static FakePhone over(const FakePhone& phone, uint8_t transport, uint16_t port)
    {
        FakePhone moved = phone;
        moved.source.transport = transport;
        moved.source.port = port;
        return moved;
    }
    static Change from(const FakePhone& phone)
    {
        return [phone](CallMessage& request) { request.source = phone.source; };
    }
    static std::string wayOf(const SentPtr& sent)
    {
        const SipSource& way = sent->request.destination;
        return way.address + ":" + std::to_string(way.port) + (way.transport == kTransportUdp ? "" : " stream");
    }
};

TEST_F(CallsWaysTest, ALargeRequestOverAConnectionLeavesTheDialogWhereItWas)
{
    Talk made = talk();
    const HeardPtr hold = send(made.caller, SipMethod::Invite, kHold, from(over(phone("2001"), kTransportTcp, 49152)));
    answer(next("INVITE"), 200, kAnswer);
    EXPECT_EQ(hold->status(), 200);
    ack(hold);
    pass(Call::kSilenceMs / 1000 + 1);
    EXPECT_EQ(wayOf(next("OPTIONS")), "192.0.2.1:5060");
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(wayOf(next("BYE")), "192.0.2.1:5060");
}

TEST_F(CallsWaysTest, ARequestFromAnotherPortMovesTheDialog)
{
    Talk made = talk();
    EXPECT_EQ(send(made.caller, SipMethod::Options, {}, from(over(phone("2001"), kTransportUdp, 6060)))->status(), 200);
    EXPECT_EQ(send(made.called, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(wayOf(next("BYE")), "192.0.2.1:6060");
}

// Its former registration lives on until it expires, and calls go there, too.
TEST_F(CallsWaysTest, ATelephoneThatCameBackElsewhereRingsAndItsFormerSelfIsWaitedFor)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.noAnsTime = 60; });
    addPhone("2002");
    const HeardPtr answered = call("2001", "2002");
    const SentPtr former = next("INVITE");
    const SentPtr now = next("INVITE");
    answer(now, 180);
    EXPECT_EQ(answered->status(), 180);
    answer(now, 200, kAnswer);
    EXPECT_EQ(answered->status(), 200);
    EXPECT_TRUE(former->isCancelled);
    ack(answered);
    PhoneDialog caller = callerOf(answered, phone("2001"));
    EXPECT_EQ(send(caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    answerOwn(former, 408);

    const HeardPtr refused = call("2001", "2002");
    const SentPtr silent = next("INVITE");
    answer(next("INVITE"), 486);
    EXPECT_EQ(refused->status(), 100);
    answerOwn(silent, 408); // after 32 s
    EXPECT_EQ(refused->status(), 486);
    expectNothingLeft();
}

class MovingTelephones : public CallsWaysTest, public testing::WithParamInterface<bool> {
protected:
    // 2005 calls or is called, over a connection.
    Talk talkOverConnection()
    {
        removePhones("2005");
        first = addPhone("2005", kTransportTcp);
        other = GetParam() ? "2001" : "2005";
        Talk made = GetParam() ? talk("2005", "2001") : talk("2001", "2005");
        mover = GetParam() ? made.caller : made.called;
        stayer = GetParam() ? made.called : made.caller;
        return made;
    }

    FakePhone first;
    std::string other;
    PhoneDialog mover;
    PhoneDialog stayer;
};

TEST_P(MovingTelephones, ATelephoneTakesItsCallsWithItToAnotherConnection)
{
    talkOverConnection();
    registerAnew(over(first, kTransportTcp, 50001));
    EXPECT_EQ(send(stayer, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(wayOf(next("BYE")), first.source.address + ":50001 stream");
}

TEST_P(MovingTelephones, ATelephoneMovesToAnotherTransport)
{
    talkOverConnection();
    registerAnew(over(first, kTransportUdp, 6060));
    EXPECT_EQ(send(stayer, SipMethod::Info)->status(), 0);
    EXPECT_EQ(wayOf(next("INFO")), first.source.address + ":6060");
}

TEST_P(MovingTelephones, AConnectionThatIsGoneGivesWayToTheRegisteredOne)
{
    talkOverConnection();
    const FakePhone second = over(first, kTransportTcp, 50002);
    EXPECT_EQ(send(mover, SipMethod::Options, {}, from(second))->status(), 200);
    EXPECT_EQ(send(stayer, SipMethod::Info)->status(), 0);
    EXPECT_EQ(wayOf(next("INFO")), first.source.address + ":50002 stream");
    transport.brokenPorts.insert(50002);
    EXPECT_EQ(send(stayer, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(wayOf(next("BYE")), first.source.address + ":5060 stream");
}

TEST_P(MovingTelephones, TheLastWordOfATelephoneCounts)
{
    talkOverConnection();
    registerAnew(over(first, kTransportTcp, 50003));
    EXPECT_EQ(send(mover, SipMethod::Options, {}, from(over(first, kTransportTcp, 50004)))->status(), 200);
    EXPECT_EQ(send(stayer, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(wayOf(next("BYE")), first.source.address + ":50004 stream");
}

TEST_P(MovingTelephones, AnotherTelephoneOfTheUserGetsNothing)
{
    talkOverConnection();
    FakePhone stranger = over(first, kTransportTcp, 50005);
    stranger.source.address = "192.0.2.77";
    registerAnew(stranger);
    transport.brokenPorts.insert(first.source.port);
    EXPECT_EQ(send(stayer, SipMethod::Bye)->status(), 200);
    EXPECT_EQ(wayOf(next("BYE")), first.source.address + ":5060 stream");
}

INSTANTIATE_TEST_SUITE_P(EitherSide, MovingTelephones, testing::Bool());

} // namespace
