// What the administrator asks of the running server: traces, its status, the end of all calls.
#include "support/server_fixture.h"
#include "support/sip_client.h"

#include "callserver/app.h"
#include "callserver/event_ids.h"
#include "callserver/sip_fac.h"
#include "support/free_port.h"
#include "support/patience.h"

#include "bcl2/event_bus.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace {

using Transport = SipClient::Transport;

class ServerOrders : public ServerFixture {
protected:
    void startWithUsers()
    {
        fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 3); });
        tcpPort = freeTcpPort();
        tlsPort = freeTcpPort();
        start();
    }
    [[nodiscard]] uint16_t portOf(Transport transport) const
    {
        return transport == Transport::Udp ? port : transport == Transport::Tcp ? tcpPort : tlsPort;
    }
    // Registers and gives the log lines of its trace up to the final answer.
    std::vector<std::string> traced(SipClient& phone)
    {
        EXPECT_EQ(phone.registerUser("1000", "secret", {"Contact: <" + phone.contact("1000") + ">"}).status, 200);
        EXPECT_TRUE(events.waitFor("log Trace:   SIP/2.0 200 OK"));
        return events.all();
    }
};

class TraceTest : public ServerOrders, public testing::WithParamInterface<Transport> {};

std::string transportName(const testing::TestParamInfo<Transport>& info)
{
    return info.param == Transport::Udp ? "Udp" : info.param == Transport::Tcp ? "Tcp" : "Tls";
}

INSTANTIATE_TEST_SUITE_P(Each, TraceTest, testing::Values(Transport::Udp, Transport::Tcp, Transport::Tls),
                         transportName);

TEST_P(TraceTest, ShowsBothDirectionsWithTheAddressOfTheTelephone)
{
    startWithUsers();
    server().traceOnIPAddr("127.0.0.1");
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    const std::vector<std::string> lines = traced(phone);
    const auto count = [&](const std::string& begin) {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.compare(0, begin.size(), begin) == 0; });
    };
    const std::string peer = phone.source() + " over " +
                             std::string(GetParam() == Transport::Udp   ? "UDP"
                                         : GetParam() == Transport::Tcp ? "TCP"
                                                                        : "TLS");
    EXPECT_EQ(count("log Trace: received from " + peer), 2);
    EXPECT_EQ(count("log Trace: sent to " + peer), 2);
    EXPECT_EQ(count("log Trace: "), 4 + count("log Trace:   "));
    EXPECT_EQ(count("log Trace:   REGISTER sip:"), 2);
    EXPECT_EQ(count("log Trace:   SIP/2.0 401 "), 1);
    const auto credentials = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("Trace:   Authorization: Digest") != std::string::npos;
    });
    ASSERT_NE(credentials, lines.end());
    EXPECT_NE(credentials->find("response=\"...\""), std::string::npos) << *credentials;
}

TEST_P(TraceTest, EndsWhenItIsStopped)
{
    startWithUsers();
    server().traceOnIPAddr("127.0.0.1");
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    (void)traced(phone);
    server().stopTrace();
    ASSERT_TRUE(events.waitFor("log Trace off: SIP messages to and from 127.0.0.1."));
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200); // a message that was under way has been traced by now
    events.clear();
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200);
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200);
    EXPECT_EQ(events.count("log Trace"), 0U);
}

TEST_F(ServerOrders, PacketsThatTheGateDropsAreTracedAsDropped)
{
    startWithUsers();
    server().traceOnIPAddr("127.0.0.1");
    SipClient stranger("127.0.0.1", port);
    stranger.send("hello\r\n\r\n");
    EXPECT_TRUE(events.waitFor("log Trace: received and dropped from " + stranger.source() + " over UDP, 9 bytes."));
    EXPECT_TRUE(events.waitFor("log Trace:   hello"));
}

TEST_F(ServerOrders, CallStatusCountsTheRegisteredUsers)
{
    startWithUsers();
    server().GetSipFacMgr()->GetUaFac()->PrintCallStatus();
    EXPECT_TRUE(events.waitFor("log Call status: no call is in progress, 0 users are registered."));
    SipClient phone("127.0.0.1", port);
    for (const char* const user : {"1000", "1001"})
        EXPECT_EQ(phone.registerUser(user, "secret", {"Contact: <" + phone.contact(user) + ">"}).status, 200);
    EXPECT_EQ(phone.registerUser("1001", "secret", {"Contact: *", "Expires: 0"}).status, 200);
    server().GetSipFacMgr()->GetUaFac()->PrintCallStatus();
    EXPECT_TRUE(events.waitFor("log Call status: no call is in progress, 1 user is registered."));
}

TEST_F(ServerOrders, TheEndOfAllCallsIsHandledOnTheServersOwnThread)
{
    startWithUsers();
    static std::atomic<bool> isHere = false;
    static std::atomic<bool> isElsewhere = false;
    static const std::thread::id kHere = std::this_thread::get_id();
    BclSubEvent(kEvtLog, nullptr,
                [](void*, void*, void*) { (std::this_thread::get_id() == kHere ? isHere : isElsewhere) = true; });
    BclPubEvent(kEvtReleaseCalls, nullptr, nullptr);
    EXPECT_TRUE(events.waitFor("log Release of all calls: no call is in progress."));
    EXPECT_TRUE(waitUntil([] { return isElsewhere.load(); }));
    EXPECT_FALSE(isHere);
}

} // namespace
