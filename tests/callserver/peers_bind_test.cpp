#include "support/free_port.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"

#include "bcl2/text.h"

#include <optional>

namespace {

class BindTest : public ServerFixture {
protected:
    bool isServed(uint16_t at)
    {
        SipClient client("127.0.0.1", at);
        return client.request("OPTIONS", "x").status == 200;
    }
    std::string ready(uint16_t at) const
    {
        return "log SIP over UDP is ready on 127.0.0.1:" + std::to_string(at) + ".";
    }
};

TEST_F(BindTest, TakenPortIsOneLineAndTheServerRecovers)
{
    const TakenUdpPort taken;
    const std::string failure =
        "log SIP over UDP cannot use port " + std::to_string(taken.port()) + " of 127.0.0.1: Address already in use.";
    fillStore([&](Cdb_fac_mgr& filled) { setListening(filled, "127.0.0.1", taken.port()); });
    startOnly();
    ASSERT_TRUE(events.waitFor(failure));
    EXPECT_EQ(events.count("log SIP over UDP"), 1U);
    setListening(store(), "127.0.0.1", port);
    ASSERT_TRUE(events.waitFor(ready(port)));
    EXPECT_TRUE(isServed(port));
}

TEST_F(BindTest, FailedPortIsTriedAgainWhenTheRecordIsSaved)
{
    auto taken = std::make_optional<TakenUdpPort>();
    const uint16_t wanted = taken->port();
    fillStore([&](Cdb_fac_mgr& filled) { setListening(filled, "127.0.0.1", wanted); });
    startOnly();
    ASSERT_TRUE(events.waitForPart("cannot use port"));
    taken.reset();
    setListening(store(), "127.0.0.1", wanted);
    ASSERT_TRUE(events.waitFor(ready(wanted)));
    EXPECT_TRUE(isServed(wanted));
}

TEST_F(BindTest, PortChangesWhileRunning)
{
    start();
    const uint16_t next = freeUdpPort();
    setListening(store(), "127.0.0.1", next);
    ASSERT_TRUE(events.waitFor(ready(next)));
    EXPECT_TRUE(isServed(next));
    SipClient former("127.0.0.1", port);
    former.send(former.requestText("OPTIONS", "x", {}));
    EXPECT_TRUE(isServed(next)) << "a round trip after the packet to the former port";
    EXPECT_EQ(former.receive(0).status, 0);
}

TEST_F(BindTest, OldSocketStaysWhenTheNewOneCannotBeHad)
{
    start();
    const TakenUdpPort taken;
    setListening(store(), "127.0.0.1", taken.port());
    ASSERT_TRUE(events.waitForPart("cannot use port " + std::to_string(taken.port())));
    EXPECT_TRUE(isServed(port));
}

TEST_F(BindTest, OtherSettingsDoNotTouchTheSocket)
{
    start();
    events.clear();
    Cdb_sys_tbl* record = store().DbGetSysTbl();
    record->SetRealm("office");
    record->SetModified();
    ASSERT_EQ(record->SaveDB(), kDbOk);
    EXPECT_TRUE(isServed(port));
    EXPECT_EQ(events.count("log SIP"), 0U);
}

TEST_F(BindTest, AddressThatIsNoneIsReported)
{
    fillStore([&](Cdb_fac_mgr& filled) { setListening(filled, "not an address", port); });
    startOnly();
    EXPECT_TRUE(events.waitFor("log SIP over UDP cannot use port " + std::to_string(port) +
                               " of not an address: not an IP address."));
    setListening(store(), "192.0.2.200", port);
    EXPECT_TRUE(events.waitFor("log SIP over UDP cannot use port " + std::to_string(port) +
                               " of 192.0.2.200: Cannot assign requested address."));
}

TEST_F(BindTest, BlankAddressIsEveryAddressOfTheMachine)
{
    fillStore([&](Cdb_fac_mgr& filled) { setListening(filled, "", port); });
    startOnly();
    ASSERT_TRUE(events.waitForPart("ready on"));
    EXPECT_TRUE(events.waitForPart("127.0.0.1:" + std::to_string(port)));
    EXPECT_TRUE(isServed(port));
    // From one address to all of them with the same port, and back.
    setListening(store(), "127.0.0.1", port);
    ASSERT_TRUE(events.waitFor(ready(port)));
    EXPECT_TRUE(isServed(port));
    events.clear();
    setListening(store(), "", port);
    ASSERT_TRUE(events.waitForPart("ready on"));
    EXPECT_TRUE(isServed(port));
}

} // namespace
