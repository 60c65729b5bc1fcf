// The IP list as packets and connections meet it: a real server, whose administrator changes the list meanwhile.
#include "support/free_port.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"

#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Transport = SipClient::Transport;

constexpr unsigned kDeny = 0;
constexpr unsigned kAllow = 1;
constexpr int kQuietMs = 300; // on loopback a packet that was sent is there by then
constexpr int kFailures = 15; // enough to be silenced

class IpListPeersTest : public ServerFixture {
protected:
    void startHouse(const std::string& address = "127.0.0.1")
    {
        fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 2); });
        tcpPort = freeTcpPort();
        tlsPort = freeTcpPort();
        start(address);
    }
    static void setEntry(Cdb_fac_mgr& to, const char* address, unsigned action)
    {
        Cdb_ip_bwlist entry;
        entry.action = action;
        BclCopyStr(entry.ipAddr, address);
        ASSERT_EQ(to.DbIPBWListSet(entry), kDbOk);
    }
    void setEntry(const char* address, unsigned action) { setEntry(store(), address, action); }
    void deleteEntry(const char* address) { ASSERT_EQ(store().DbIPBWListDel(address), kDbOk); }

    static bool isServed(SipClient& client) { return client.request("OPTIONS", "1000").status == 200; }
    static bool isIgnored(SipClient& client)
    {
        client.send(client.requestText("OPTIONS", "1000", {}));
        return client.receive(kQuietMs).text.empty();
    }
    static int registration(SipClient& client, const char* password = "secret")
    {
        return client.registerUser("1000", password, {"Contact: <" + client.contact("1000") + ">"}).status;
    }
};

TEST_F(IpListPeersTest, PacketsOfADeniedAddressAreDroppedFromTheChangeOn)
{
    startHouse();
    SipClient telephone("127.0.0.1", port);
    EXPECT_EQ(registration(telephone), 200);
    setEntry("127.0.0.2", kDeny);
    EXPECT_TRUE(isServed(telephone)) << "a neighbour";
    setEntry("127.0.0.1", kDeny);
    EXPECT_TRUE(isIgnored(telephone));
    deleteEntry("127.0.0.1");
    EXPECT_TRUE(isServed(telephone));
    EXPECT_EQ(registration(telephone), 200);
}

TEST_F(IpListPeersTest, SmallestNetworkCounts)
{
    startHouse();
    SipClient telephone("127.0.0.1", port);
    setEntry("127.0.0.0/8", kDeny);
    EXPECT_TRUE(isIgnored(telephone));
    setEntry("127.0.0.0/24", kAllow);
    EXPECT_TRUE(isServed(telephone));
    setEntry("127.0.0.0/30", kDeny);
    EXPECT_TRUE(isIgnored(telephone));
    deleteEntry("127.0.0.0/30");
    EXPECT_TRUE(isServed(telephone));
}

TEST_F(IpListPeersTest, ListOfTheStoreHoldsFromTheStartOn)
{
    fillStore([](Cdb_fac_mgr& filled) { setEntry(filled, "127.0.0.1", kDeny); });
    startHouse();
    SipClient telephone("127.0.0.1", port);
    EXPECT_TRUE(isIgnored(telephone));
    EXPECT_TRUE(SipClient("127.0.0.1", tcpPort, Transport::Tcp).waitForEnd());
    deleteEntry("127.0.0.1");
    EXPECT_TRUE(isServed(telephone));
}

TEST_F(IpListPeersTest, Ipv6AddressIsDeniedAlone)
{
    startHouse("::1");
    SipClient telephone("::1", port);
    EXPECT_TRUE(isServed(telephone));
    setEntry("::2", kDeny); // of the same network of 64 bits
    EXPECT_TRUE(isServed(telephone));
    setEntry("::1/128", kDeny);
    EXPECT_TRUE(isIgnored(telephone));
    EXPECT_TRUE(SipClient("::1", tcpPort, Transport::Tcp).waitForEnd());
    setEntry("::1/128", kAllow);
    EXPECT_TRUE(isServed(telephone));
}

class IpListStreamTest : public IpListPeersTest, public testing::WithParamInterface<Transport> {
protected:
    [[nodiscard]] uint16_t listening() const { return GetParam() == Transport::Tcp ? tcpPort : tlsPort; }
};

std::string transportName(const testing::TestParamInfo<Transport>& info)
{
    return info.param == Transport::Tcp ? "Tcp" : "Tls";
}

INSTANTIATE_TEST_SUITE_P(Streams, IpListStreamTest, testing::Values(Transport::Tcp, Transport::Tls), transportName);

TEST_P(IpListStreamTest, ConnectionOfADeniedAddressIsClosedAlsoWhenATelephoneIsRegisteredOnIt)
{
    startHouse();
    SipClient telephone("127.0.0.1", listening(), GetParam());
    ASSERT_EQ(registration(telephone), 200);
    setEntry("127.0.0.0/8", kDeny);
    EXPECT_TRUE(telephone.waitForEnd());
    EXPECT_TRUE(SipClient("127.0.0.1", tcpPort, Transport::Tcp).waitForEnd());
    setEntry("127.0.0.0/8", kAllow);
    SipClient udp("127.0.0.1", port);
    EXPECT_TRUE(isServed(udp));
}

TEST_P(IpListStreamTest, WrongPasswordsOfAnAllowedAddressSilenceNobody)
{
    startHouse();
    setEntry("127.0.0.1", kAllow);
    for (int i = 0; i < kFailures; ++i) {
        SipClient telephone("127.0.0.1", listening(), GetParam());
        ASSERT_EQ(registration(telephone, "guess"), 403) << i;
    }
    SipClient telephone("127.0.0.1", listening(), GetParam());
    EXPECT_EQ(registration(telephone), 200);
    EXPECT_EQ(events.count("log 127.0.0.1 is silenced"), 0U);
}

TEST_F(IpListPeersTest, AllowedAddressIsHeardHoweverOftenItFails)
{
    startHouse();
    setEntry("127.0.0.1/32", kAllow);
    SipClient telephone("127.0.0.1", port);
    for (int i = 0; i < kFailures; ++i)
        ASSERT_EQ(registration(telephone, "guess"), 403) << i;
    EXPECT_EQ(registration(telephone), 200);
    EXPECT_EQ(events.count("log 127.0.0.1 is silenced"), 0U);
    // Its failures were not written down for later either.
    deleteEntry("127.0.0.1/32");
    EXPECT_EQ(registration(telephone), 200);
}

TEST_F(IpListPeersTest, WhoIsSilencedIsHeardAgainWhenHeIsAllowed)
{
    startHouse();
    SipClient telephone("127.0.0.1", port);
    for (int i = 0; i < 10; ++i)
        ASSERT_EQ(registration(telephone, "guess"), 403) << i;
    ASSERT_TRUE(events.waitForPart("log 127.0.0.1 is silenced"));
    EXPECT_TRUE(isIgnored(telephone));
    EXPECT_TRUE(SipClient("127.0.0.1", tcpPort, Transport::Tcp).waitForEnd());
    setEntry("127.0.0.1", kAllow);
    EXPECT_EQ(registration(telephone), 200);
}

TEST_P(IpListStreamTest, WhoIsAllowedHasNoRate)
{
    gVarSipChallengeRate = 1;
    startHouse();
    setEntry("127.0.0.1", kAllow);
    SipClient udp("127.0.0.1", port);
    SipClient stream("127.0.0.1", listening(), GetParam());
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(isServed(udp)) << i;
        ASSERT_TRUE(isServed(stream)) << i;
    }
}

TEST_F(IpListPeersTest, WhatIsNoAddressIsToldOnce)
{
    startHouse();
    setEntry("office.example", kDeny);
    EXPECT_TRUE(events.waitFor("log IP list: \"office.example\" is neither an address nor a network; it has no "
                               "effect."));
    setEntry("127.0.0.0/33", kAllow);
    EXPECT_TRUE(events.waitFor("log IP list: \"127.0.0.0/33\" is neither an address nor a network; it has no effect."));
    setEntry("192.0.2.1", kDeny);
    SipClient telephone("127.0.0.1", port);
    EXPECT_TRUE(isServed(telephone));
    EXPECT_EQ(events.count("log IP list: "), 2U);
}

} // namespace
