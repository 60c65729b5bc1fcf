// Requests of the server to telephones that registered over a connection.
#include "support/child_process.h"
#include "support/event_log.h"
#include "support/free_port.h"
#include "support/no_calls.h"
#include "support/sip_client.h"
#include "support/temporary_folder.h"

#include "clock.h"
#include "sip/sip_agent.h"
#include "sip/sip_stack.h"
#include "streams/stream_server.h"

#include "bcl2/log.h"

#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <optional>
#include <thread>

namespace {

using Transport = SipClient::Transport;

constexpr int kLongMs = 30'000;

// Accepts everybody and remembers from where the last one came.
class OpenRegistrar final : public NoCalls {
public:
    [[nodiscard]] bool admits(const SipSource&, bool) override { return true; }
    [[nodiscard]] RegisterReply onRegister(const RegisterRequest& request) override
    {
        const std::lock_guard guard(_mutex);
        _last = request.source;
        RegisterReply reply;
        reply.status = 200;
        reply.phrase = "OK";
        return reply;
    }
    SipSource last()
    {
        const std::lock_guard guard(_mutex);
        return _last;
    }

private:
    std::mutex _mutex;
    SipSource _last;
};

// Never destroyed: its threads go on.
struct Server {
    explicit Server(const std::string& folder) : streams(clock, folder) {}

    SystemClock clock;
    StreamServer streams;
    SipStack stack;
    OpenRegistrar registrar;
    SipAgent agent{stack, registrar, [] { return std::vector<std::string>(); }, streams.flows()};
};

class OutgoingTest : public testing::TestWithParam<Transport> {
protected:
    OutgoingTest()
    {
        BclOpenLog();
        std::thread([this] { server.streams.run(); }).detach();
        std::thread([this] {
            (void)server.stack.run([this] { server.streams.setStackPort(server.agent.openStreams()); }, [] {});
        }).detach();
        server.streams.serve({"127.0.0.1", tcpPort, tlsPort, {}});
        const uint16_t last = tlsPort;
        EXPECT_TRUE(events.waitFor("log SIP over TLS is ready on 127.0.0.1:" + std::to_string(last) + "."));
    }
    ~OutgoingTest() override { EXPECT_TRUE(server.stack.park(kLongMs)); }

    std::future<int> send(const SipSource& destination, const std::string& user)
    {
        const auto result = std::make_shared<std::promise<int>>();
        server.stack.post([this, destination, user, result] {
            server.agent.send({"OPTIONS", "sip:" + user + "@127.0.0.1", "sip:server@127.0.0.1",
                               "sip:" + user + "@127.0.0.1", destination},
                              [result](int status) { result->set_value(status); });
        });
        return result->get_future();
    }

    TemporaryFolder folder;
    EventLog& events = EventLog::subscribed();
    uint16_t tcpPort = freeTcpPort();
    uint16_t tlsPort = freeTcpPort();
    Server& server = *new Server(folder.path() + "/");
};

INSTANTIATE_TEST_SUITE_P(Streams, OutgoingTest, testing::Values(Transport::Tcp, Transport::Tls),
                         [](const testing::TestParamInfo<Transport>& tested) {
                             return tested.param == Transport::Tcp ? "Tcp" : "Tls";
                         });

TEST_P(OutgoingTest, GoesOverTheConnectionThatRegistered)
{
    SipClient phone("127.0.0.1", GetParam() == Transport::Tcp ? tcpPort : tlsPort, GetParam());
    ASSERT_EQ(phone.request("REGISTER", "1000", {"Contact: <sip:1000@192.0.2.99>"}).status, 200);
    std::future<int> result = send(server.registrar.last(), "1000");
    const SipAnswer request = phone.receive(kLongMs);
    ASSERT_EQ(request.text.find("OPTIONS sip:1000@127.0.0.1 SIP/2.0\r\n"), 0U) << request.text;
    const std::string via = request.header("Via");
    const std::string expected = GetParam() == Transport::Tcp ? "SIP/2.0/TCP 127.0.0.1:" + std::to_string(tcpPort)
                                                              : "SIP/2.0/TLS 127.0.0.1:" + std::to_string(tlsPort);
    EXPECT_EQ(via.find(expected + ";"), 0U) << via;
    phone.send("SIP/2.0 486 Busy Here\r\nVia: " + via + "\r\nFrom: " + request.header("From") +
               "\r\nTo: " + request.header("To") + ";tag=x\r\nCall-ID: " + request.header("Call-ID") +
               "\r\nCSeq: " + request.header("CSeq") + "\r\nContent-Length: 0\r\n\r\n");
    ASSERT_EQ(result.wait_for(kTestPatience), std::future_status::ready);
    EXPECT_EQ(result.get(), 486);
    // The telephone may go on with it.
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200);
}

TEST_P(OutgoingTest, EachTelephoneOfOneAddressGetsItsOwn)
{
    const uint16_t port = GetParam() == Transport::Tcp ? tcpPort : tlsPort;
    SipClient first("127.0.0.1", port, GetParam());
    SipClient second("127.0.0.1", port, GetParam());
    ASSERT_EQ(first.request("REGISTER", "1000", {}).status, 200);
    const SipSource ofFirst = server.registrar.last();
    ASSERT_EQ(second.request("REGISTER", "1001", {}).status, 200);
    const SipSource ofSecond = server.registrar.last();
    const std::future<int> toFirst = send(ofFirst, "1000");
    const std::future<int> toSecond = send(ofSecond, "1001");
    EXPECT_EQ(first.receive(kLongMs).text.find("OPTIONS sip:1000@"), 0U);
    EXPECT_EQ(second.receive(kLongMs).text.find("OPTIONS sip:1001@"), 0U);
}

TEST_P(OutgoingTest, ConnectionThatIsGoneFailsAtOnce)
{
    std::optional<SipClient> phone;
    phone.emplace("127.0.0.1", GetParam() == Transport::Tcp ? tcpPort : tlsPort, GetParam());
    ASSERT_EQ(phone->request("REGISTER", "1000", {}).status, 200);
    const SipSource source = server.registrar.last();
    phone.reset();
    // Until the server has noticed.
    for (int i = 0; i < kLongMs && server.streams.flows().wayTo(source).stackPort != 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::future<int> result = send(source, "1000");
    ASSERT_EQ(result.wait_for(kTestPatience), std::future_status::ready);
    EXPECT_EQ(result.get(), kFlowFailed);
}

} // namespace
