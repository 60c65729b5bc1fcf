#include "support/baresip.h"
#include "support/free_port.h"
#include "support/server_fixture.h"

#include <memory>

namespace {

class BaresipTest : public ServerFixture {
protected:
    // Starts the server and the telephone of user 1000, which registers over that transport.
    std::unique_ptr<ChildProcess> startTelephone(const std::string& transport);
};

std::unique_ptr<ChildProcess> BaresipTest::startTelephone(const std::string& transport)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    tcpPort = freeTcpPort();
    tlsPort = freeTcpPort();
    start();
    const uint16_t serverPort = transport == "udp" ? port : transport == "tcp" ? tcpPort : tlsPort;
    return startBaresip(scratch, "1000", serverPort, transport);
}

TEST_F(BaresipTest, ATelephoneRegistersAndLeaves)
{
    const std::unique_ptr<ChildProcess> started = startTelephone("udp");
    ChildProcess& telephone = *started;
    ASSERT_TRUE(events.waitForPart("log User 1000 registered from 127.0.0.1:")) << telephone.output();
    EXPECT_TRUE(events.waitForPart("(baresip v"));
    EXPECT_TRUE(events.waitForPart(", 600 s."));
    EXPECT_TRUE(events.waitFor("state 1000 1"));
    EXPECT_TRUE(events.waitForPart("agent 1000 baresip v"));
    EXPECT_TRUE(events.waitForPart("address 1000 127.0.0.1:"));
    EXPECT_EQ(sql("select usrStage from tbl_sip_reg where userName='1000'"), "1");

    telephone.sendSignal(SIGTERM);
    EXPECT_TRUE(events.waitFor("state 1000 0")) << telephone.output();
    EXPECT_TRUE(events.waitForPart("log User 1000 unregistered from 127.0.0.1:"));
    EXPECT_TRUE(telephone.wait().has_value());
}

class BaresipStreamTest : public BaresipTest, public testing::WithParamInterface<std::string> {};

INSTANTIATE_TEST_SUITE_P(Streams, BaresipStreamTest, testing::Values("tcp", "tls"),
                         [](const testing::TestParamInfo<std::string>& tested) { return tested.param; });

TEST_P(BaresipStreamTest, ATelephoneRegistersAndLeaves)
{
    const std::string transport = GetParam();
    const std::unique_ptr<ChildProcess> telephone = startTelephone(transport);
    ASSERT_TRUE(events.waitForPart("log User 1000 registered from 127.0.0.1:")) << telephone->output();
    EXPECT_EQ(sql("select transport from tbl_sip_contact where userName='1000'"), transport == "tcp" ? "1" : "2");
    telephone->sendSignal(SIGTERM);
    EXPECT_TRUE(events.waitFor("state 1000 0")) << telephone->output();
    EXPECT_TRUE(telephone->wait().has_value());
}

} // namespace
