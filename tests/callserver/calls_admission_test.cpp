// Who may begin a call or send a message.
#include "callserver/calls_fixture.h"

#include "bcl2/text.h"

namespace {

class CallsAdmissionTest : public CallsFixture {
protected:
    void authenticate()
    {
        changeSystem([](Cdb_sys_data& system) { system.callFlags |= kSysAuthCalls; });
    }
    void giveAddress(const std::string& name, const std::string& address, uint32_t port)
    {
        changeUser(name, [&](Cdb_usr_info& user) {
            user.flags |= kUsrIpAuth;
            user.ipPort = port;
            BclCopyStr(user.ipAddr, address.c_str());
        });
    }
};

TEST_F(CallsAdmissionTest, RegisteredUsersAreChallengedWhenTheSystemSaysSo)
{
    authenticate();
    for (const SipMethod method : {SipMethod::Invite, SipMethod::Message}) {
        const HeardPtr heard = deliver(initial(phone("2001"), "2002", method));
        EXPECT_EQ(heard->status(), 407);
        EXPECT_NE(heard->answers.back().headers.find("Proxy-Authenticate: Digest "), std::string::npos);
    }
    EXPECT_TRUE(transport.sent.empty());
    EXPECT_EQ(server().load().calls, 0U);
    EXPECT_TRUE(records.empty());
}

TEST_F(CallsAdmissionTest, AnAddressThatIsNotRegisteredIsChallengedInAnyCase)
{
    FakePhone stranger = phone("2001");
    stranger.source.port = 6060;
    EXPECT_EQ(call(stranger, "2002")->status(), 407);
    stranger = phone("2001");
    stranger.source.transport = kTransportTcp;
    EXPECT_EQ(call(stranger, "2002")->status(), 407);
    stranger = phone("2003");
    stranger.user = "2001";
    EXPECT_EQ(call(stranger, "2002")->status(), 407);
    EXPECT_TRUE(records.empty());
}

TEST_F(CallsAdmissionTest, UnknownServersAreTakenOnlyWhenTheSystemSaysSo)
{
    const FakePhone stranger{"somebody", {"203.0.113.9", 5060, kTransportUdp}};
    EXPECT_EQ(call(stranger, "2002")->status(), 407);
    changeSystem([](Cdb_sys_data& system) { system.callFlags |= kSysAcceptUnknown; });
    EXPECT_EQ(call(stranger, "2002")->status(), 100);
    const std::string from = next("INVITE")->request.from;
    EXPECT_EQ(from.substr(0, from.find(";tag=")), "<sip:somebody@198.51.100.1:5060>");
    FakePhone pretender = stranger;
    pretender.user = "2001";
    EXPECT_EQ(call(pretender, "2002")->status(), 407);
}

TEST_F(CallsAdmissionTest, AUserWithIpAuthenticationIsKnownByHisAddress)
{
    authenticate();
    giveAddress("2005", "192.0.2.77", 0);
    giveAddress("2004", "192.0.2.77", 5070);
    const HeardPtr any = call(FakePhone{"whoever", {"192.0.2.77", 5060, kTransportUdp}}, "2002");
    EXPECT_EQ(any->status(), 100);
    EXPECT_STREQ(records.back().second.callerNbr, "2005");
    call(FakePhone{"whoever", {"192.0.2.77", 5070, kTransportUdp}}, "2002");
    EXPECT_STREQ(records.back().second.callerNbr, "2004");
    EXPECT_EQ(call(FakePhone{"2005", {"192.0.2.78", 5060, kTransportUdp}}, "2002")->status(), 407);
}

TEST_F(CallsAdmissionTest, APortThatIsNoneIsAny)
{
    for (const uint32_t port : {0U, 65'536U, 70'000U, UINT32_MAX}) {
        giveAddress("2005", "192.0.2.77", port);
        const FakePhone caller{"whoever", {"192.0.2.77", static_cast<uint16_t>(port + 1000), kTransportUdp}};
        const HeardPtr made = call(caller, "2002");
        EXPECT_EQ(made->status(), 100) << port;
        EXPECT_STREQ(records.back().second.callerNbr, "2005");
        cancel(made);
        cancel(call("2001", "2005"));
        const SipSource& called = transport.sent.back()->request.destination;
        EXPECT_EQ(called.address, "192.0.2.77");
        EXPECT_EQ(called.port, 5060) << port;
    }
}

TEST_F(CallsAdmissionTest, OfSeveralUsersAtOneAddressTheFirstByNameCalls)
{
    authenticate();
    const auto callerFrom = [this](uint16_t port) {
        const HeardPtr made = call(FakePhone{"whoever", {"192.0.2.77", port, kTransportUdp}}, "2002");
        EXPECT_EQ(made->status(), 100);
        cancel(made);
        return std::string(records.back().second.callerNbr);
    };
    for (const char* name : {"2007", "2005", "2009", "2006", "2008"})
        giveAddress(name, "192.0.2.77", 5070);
    for (const char* name : {"2012", "2011", "2013"})
        giveAddress(name, "192.0.2.77", 0);
    EXPECT_EQ(callerFrom(5070), "2005");
    EXPECT_EQ(callerFrom(5071), "2011");
    giveAddress("2005", "192.0.2.78", 5070);
    EXPECT_EQ(callerFrom(5070), "2006");
}

TEST_F(CallsAdmissionTest, TheAddressFollowsTheStore)
{
    authenticate();
    giveAddress("2005", "2001:db8::7", 0);
    const FakePhone first{"2005", {"2001:db8::7", 5060, kTransportUdp}};
    EXPECT_EQ(call(first, "2002")->status(), 100);
    giveAddress("2005", "2001:db8::8", 0);
    EXPECT_EQ(call(first, "2002")->status(), 407);
    giveAddress("2005", "2001:DB8:0::7", 0);
    EXPECT_EQ(call(first, "2002")->status(), 100);
}

TEST_F(CallsAdmissionTest, OtherRequestsOutsideOfCallsBelongToNothing)
{
    for (const SipMethod method : {SipMethod::Bye, SipMethod::Update, SipMethod::Info, SipMethod::Prack})
        EXPECT_EQ(deliver(initial(phone("2001"), "2002", method))->status(), 481);
}

} // namespace
