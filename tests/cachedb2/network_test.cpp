// Names that are looked up and ports that are mapped.
#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"
#include "host_lookup.h"
#include "port_mapper.h"
#include "support/fake_router.h"
#include "support/patience.h"

#include <algorithm>

using Mappings = std::map<std::string, std::string>;

class StoreNetwork : public StoreFixture {
protected:
    StoreNetwork() { open(); }

    // Also the lines of earlier calls.
    bool logs(const std::string& part)
    {
        return waitUntil([&] {
            const std::vector<std::string> more = takeLog();
            _log.insert(_log.end(), more.begin(), more.end());
            return std::any_of(_log.begin(), _log.end(),
                               [&part](const std::string& line) { return line.find(part) != std::string::npos; });
        });
    }

    std::vector<std::string> _log;
};

TEST_F(StoreNetwork, HostsAreReadWithoutTheirPorts)
{
    EXPECT_EQ("mail.example", hostOf(" mail.example "));
    EXPECT_EQ("mail.example", hostOf("mail.example:25"));
    EXPECT_EQ("192.0.2.1", hostOf("192.0.2.1:25"));
    EXPECT_EQ("2001:db8::1", hostOf("2001:db8::1"));
    EXPECT_EQ("2001:db8::1", hostOf("[2001:db8::1]:25"));
    EXPECT_EQ("2001:db8::1", hostOf("[2001:db8::1"));
    EXPECT_EQ("", hostOf(" "));
    EXPECT_EQ("", hostOf(""));
}

TEST_F(StoreNetwork, NamesOfTheConfigurationAreLookedUp)
{
    Cdb_sys_data settings = *store().system().get();
    BclCopyStr(settings.smtpAddr, "localhost:25");
    BclCopyStr(settings.stunAddr1, "127.0.0.9");
    BclCopyStr(settings.stunAddr2, "no-such-host.invalid");
    ASSERT_EQ(kDbOk, store().DbSetSysData(settings));
    Cdb_ext_line_info line;
    BclCopyStr(line.extName, "main");
    BclCopyStr(line.serverAddr, "localhost");
    ASSERT_EQ(kDbOk, store().DbExtLineSet(line));
    Cdb_sip_domain_data peer;
    BclCopyStr(peer.peerAddr, "localhost");
    ASSERT_EQ(kDbOk, store().DbPeerServerSet(4, peer));

    ASSERT_EQ(kDbOk, store().DbSysDNSGet());
    EXPECT_TRUE(logs("SMTP server localhost has the address"));
    EXPECT_TRUE(logs("STUN server no-such-host.invalid was not found: "));
    EXPECT_TRUE(logs("External line main: server localhost has the address"));
    EXPECT_TRUE(logs("Peer server 4 localhost has the address"));
    for (const std::string& logged : _log) {
        EXPECT_EQ(std::string::npos, logged.find("127.0.0.9")) << logged; // an address is no name
        EXPECT_EQ(std::string::npos, logged.find("Remote database")) << logged;
    }
}

TEST_F(StoreNetwork, PortsAreMappedOnlyWhenTheSettingsSaySo)
{
    Cdb_sys_data settings;
    settings.udpPort = 5070;
    settings.tcpPort = 5071;
    settings.tlsPort = 0;
    settings.rtpPortFirst = 20000;
    settings.rtpPortLast = 20003;
    EXPECT_TRUE(portsToMap(settings).empty());
    settings.isUpnp = 1;
    EXPECT_EQ((MappedPorts{{false, 5070, false},
                           {false, 5071, true},
                           {true, 20000, false},
                           {true, 20001, false},
                           {true, 20002, false},
                           {true, 20003, false}}),
              portsToMap(settings));
    settings.udpPort = 0; // served on the default one
    EXPECT_TRUE(portsToMap(settings).contains({false, 5060, false}));
    settings.rtpPortLast = 19999; // not above the first: a range of its own
    EXPECT_EQ(2 + kMaxMediaPorts, portsToMap(settings).size());
    settings.rtpPortFirst = 65530;
    settings.rtpPortLast = 70000;
    EXPECT_EQ(2u + 6u, portsToMap(settings).size());
}

class StoreUpnp : public StoreNetwork {
protected:
    void use(FakeRouter::Habits habits)
    {
        _router = std::make_unique<FakeRouter>(path("upnp.sock"), habits);
        Cdb_options options;
        options.upnpSocket = path("upnp.sock");
        open(options);
    }

    void request(bool isUpnp, int udpPort, int mediaPorts = 2)
    {
        Cdb_sys_data settings = *store().system().get();
        settings.isUpnp = isUpnp ? 1 : 0;
        settings.udpPort = udpPort;
        settings.tcpPort = 0;
        settings.rtpPortFirst = 20000;
        settings.rtpPortLast = 20000 + mediaPorts - 1;
        ASSERT_EQ(kDbOk, store().DbSetSysData(settings));
        ASSERT_EQ(kDbOk, store().searchUPnP());
    }

    FakeRouter& router() { return *_router; }

private:
    std::unique_ptr<FakeRouter> _router;
};

TEST_F(StoreUpnp, FollowsTheSettings)
{
    use({});
    request(true, 5070);
    EXPECT_TRUE(logs("maps UDP port 5070 and the media ports 20000 to 20001 to 127.0.0.1; its public address is "
                     "203.0.113.7."));
    const std::string mapped = "127.0.0.1 lease 7200";
    EXPECT_EQ((Mappings{{"UDP 5070", mapped}, {"UDP 20000", mapped}, {"UDP 20001", mapped}}), router().mappings());
    request(true, 5080);
    EXPECT_TRUE(logs("maps UDP port 5080"));
    EXPECT_EQ((Mappings{{"UDP 5080", mapped}, {"UDP 20000", mapped}, {"UDP 20001", mapped}}), router().mappings());
    request(false, 5080);
    EXPECT_TRUE(logs("maps no ports to this machine any more"));
    EXPECT_TRUE(router().mappings().empty());
}

TEST_F(StoreUpnp, TakesPermanentMappingsWhereTheRouterKnowsNoLease)
{
    use({.knowsLeases = false});
    request(true, 5070);
    EXPECT_TRUE(logs("maps UDP port 5070"));
    EXPECT_EQ("127.0.0.1 lease 0", router().mappings()["UDP 5070"]);
}

TEST_F(StoreUpnp, SaysWhichPortsARouterRefuses)
{
    use({.tableSize = 4});
    request(true, 5070, 100);
    EXPECT_TRUE(logs("does not map UDP port 20003"));
    EXPECT_TRUE(logs("maps UDP port 5070 and the media ports 20000 to 20002"));
    EXPECT_EQ(4u, router().mappings().size());
}

TEST_F(StoreUpnp, SaysWhenThereIsNoRouter)
{
    use({.mapsPorts = false});
    request(true, 5070);
    EXPECT_TRUE(logs("no router that maps ports was found"));
}
