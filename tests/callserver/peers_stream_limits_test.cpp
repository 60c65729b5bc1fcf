// What connections may cost: the server of the connections alone, with short limits, before a stack that only listens.
#include "support/child_process.h"
#include "support/event_log.h"
#include "support/free_port.h"
#include "support/sip_client.h"
#include "support/temporary_folder.h"

#include "clock.h"
#include "streams/stream_server.h"

#include "bcl2/log.h"
#include "bcl2/text.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <list>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using Transport = SipClient::Transport;

constexpr int kLongMs = 30'000;
constexpr int64_t kShortMs = 300;
constexpr int64_t kEndlessMs = 3'600'000;

// Of one entry.
std::shared_ptr<const IpList> listOf(const char* address, unsigned action)
{
    Snapshot<Cdb_ip_bwlist>::Builder builder(nullptr);
    Cdb_ip_bwlist record;
    record.action = action;
    BclCopyStr(record.ipAddr, address);
    builder.set(address, record);
    return std::make_shared<const IpList>(*builder.finish());
}

constexpr unsigned kDeny = 0;
constexpr unsigned kAllow = 1;

// Of which every one can be made short.
StreamLimits endless()
{
    StreamLimits limits;
    limits.handshake = limits.firstMessage = limits.message = limits.writing = limits.closing = kEndlessMs;
    limits.strangerIdle = limits.knownIdle = kEndlessMs;
    return limits;
}

class StreamLimitsTest : public testing::Test {
protected:
    // Stands in for the SIP stack: accepts and says nothing.
    StreamLimitsTest()
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof address;
        if (bind(stack, generic, size) != 0 || listen(stack, 100) != 0 || getsockname(stack, generic, &size) != 0)
            ADD_FAILURE() << "no stack";
        stackPort = ntohs(address.sin_port);
    }
    ~StreamLimitsTest() override { close(stack); }

    // The server is never destroyed: its thread goes on.
    StreamServer& start(const StreamLimits& limits, bool hasTls = false)
    {
        BclOpenLog();
        port = freeTcpPort();
        auto* server = new StreamServer(*new SystemClock, folder.path() + "/", limits);
        std::thread([server] { server->run(); }).detach();
        server->setStackPort(stackPort);
        server->serve({"127.0.0.1", hasTls ? uint16_t{0} : port, hasTls ? port : uint16_t{0}, {}});
        EXPECT_TRUE(events.waitForPart("is ready on 127.0.0.1:" + std::to_string(port)));
        return *server;
    }
    // What the server was asked for before has been done when this returns.
    void waitForTheServer(StreamServer& server)
    {
        port = freeTcpPort();
        server.serve({"127.0.0.1", port, 0, {}});
        ASSERT_TRUE(events.waitForPart("is ready on 127.0.0.1:" + std::to_string(port)));
    }
    // A new connection reaches the stack.
    void expectService()
    {
        SipClient client("127.0.0.1", port, Transport::Tcp);
        const std::string text = client.requestText("OPTIONS", "1000", {});
        const int fd = reached(client, text);
        close(fd);
    }
    // What the stack gets of one more connection.
    [[nodiscard]] int accepted() const
    {
        pollfd waiting = {stack, POLLIN, 0};
        return poll(&waiting, 1, kLongMs) == 1 ? accept4(stack, nullptr, nullptr, SOCK_CLOEXEC) : -1;
    }
    // Over a connection that has said nothing yet; gives the stack's end of it.
    [[nodiscard]] int reached(const SipClient& client, const std::string& text) const
    {
        client.send(text);
        const int fd = accepted();
        EXPECT_EQ(received(fd, text.size()), text);
        return fd;
    }
    static std::string received(int fd, size_t size)
    {
        std::string text(size, '\0');
        return recv(fd, text.data(), size, MSG_WAITALL) == static_cast<ssize_t>(size) ? text : "";
    }

    TemporaryFolder folder;
    EventLog& events = EventLog::subscribed();
    int stack = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    uint16_t stackPort = 0;
    uint16_t port = 0;
};

TEST_F(StreamLimitsTest, ConnectionOnWhichNothingComesIsClosed)
{
    StreamLimits limits = endless();
    limits.firstMessage = kShortMs;
    start(limits);
    EXPECT_TRUE(SipClient("127.0.0.1", port, Transport::Tcp).waitForEnd());
}

TEST_F(StreamLimitsTest, HandshakeThatIsNeverFinishedIsClosed)
{
    StreamLimits limits = endless();
    limits.handshake = kShortMs;
    start(limits, true);
    SipClient stranger("127.0.0.1", port, Transport::Tcp); // speaks no TLS
    stranger.send("\x16\x03\x01");
    EXPECT_TRUE(stranger.waitForEnd());
}

TEST_F(StreamLimitsTest, MessageThatDripsIsClosedThoughBytesKeepComing)
{
    StreamLimits limits = endless();
    limits.message = kShortMs;
    start(limits);
    SipClient stranger("127.0.0.1", port, Transport::Tcp);
    stranger.send("OPTIONS sip:a SIP/2.0\r\nX: ");
    bool isClosed = false;
    for (int i = 0; i < 10'000 && !isClosed; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(kShortMs / 10));
        try {
            stranger.send("x");
        } catch (const std::exception&) {
            isClosed = true;
        }
    }
    EXPECT_TRUE(isClosed);
}

TEST_F(StreamLimitsTest, StrangerThatIsIdleIsClosedAndOneThatIsKnownStays)
{
    StreamLimits limits = endless();
    limits.strangerIdle = kShortMs;
    StreamServer& server = start(limits);
    SipClient known("127.0.0.1", port, Transport::Tcp);
    SipClient stranger("127.0.0.1", port, Transport::Tcp);
    const std::string text = known.requestText("OPTIONS", "1000", {});
    const int ofKnown = reached(known, text);
    server.flows().setKnown({"127.0.0.1", known.port(), kTransportTcp});
    stranger.send(stranger.requestText("OPTIONS", "1000", {}));
    EXPECT_TRUE(stranger.waitForEnd());
    known.send(text);
    EXPECT_EQ(received(ofKnown, text.size()), text);
    close(ofKnown);
}

TEST_F(StreamLimitsTest, TelephoneThatTakesNothingIsClosed)
{
    StreamLimits limits = endless();
    limits.writing = kShortMs;
    start(limits);
    SipClient phone("127.0.0.1", port, Transport::Tcp);
    phone.send(phone.requestText("OPTIONS", "1000", {}));
    const int fd = accepted();
    ASSERT_GE(fd, 0);
    std::string much;
    for (int i = 0; i < 100; ++i)
        much += "SIP/2.0 200 OK\r\nContent-Length: 10000\r\n\r\n" + std::string(10'000, 'x');
    // Until every buffer on the way is full and the server gives up.
    size_t sent = 0;
    for (ssize_t size = 1; size > 0; sent += static_cast<size_t>(std::max<ssize_t>(size, 0)))
        size = send(fd, much.data(), much.size(), MSG_NOSIGNAL);
    EXPECT_GT(sent, limits.writeBuffer);
    close(fd);
}

TEST_F(StreamLimitsTest, StrangerIsReadNoFasterThanItsRate)
{
    StreamLimits limits = endless();
    limits.strangerRate = 2;
    StreamServer& server = start(limits);
    SipClient stranger("127.0.0.1", port, Transport::Tcp);
    const std::string text = stranger.requestText("OPTIONS", "1000", {});
    std::string all;
    for (int i = 0; i < 1000; ++i)
        all += text;
    stranger.send(all);
    const int fd = accepted();
    ASSERT_EQ(received(fd, text.size()), text);
    // A second message a second later at the earliest would take minutes for all of them.
    std::string rest(all.size() - text.size(), '\0');
    const ssize_t early = recv(fd, rest.data(), rest.size(), 0);
    EXPECT_LT(early, static_cast<ssize_t>(rest.size() / 2));
    server.flows().setKnown({"127.0.0.1", stranger.port(), kTransportTcp});
    EXPECT_NE(received(fd, rest.size() - static_cast<size_t>(early)), "") << "who is known is not held back";
    close(fd);
}

TEST_F(StreamLimitsTest, StrangersAboveTheirNumberEndTheOldestAndKnownOnesStay)
{
    StreamLimits limits = endless();
    limits.strangers = 5;
    StreamServer& server = start(limits);
    SipClient known("127.0.0.1", port, Transport::Tcp);
    const std::string text = known.requestText("OPTIONS", "1000", {});
    const int ofKnown = reached(known, text);
    server.flows().setKnown({"127.0.0.1", known.port(), kTransportTcp});
    std::list<SipClient> strangers;
    for (size_t i = 0; i < 3 * limits.strangers; ++i)
        strangers.emplace_back("127.0.0.1", port, Transport::Tcp);
    for (size_t i = 0; i < 2 * limits.strangers; ++i) {
        EXPECT_TRUE(strangers.front().waitForEnd());
        strangers.pop_front();
    }
    for (SipClient& last : strangers) {
        const int fd = reached(last, text);
        close(fd);
    }
    known.send(text);
    EXPECT_EQ(received(ofKnown, text.size()), text);
    close(ofKnown);
}

TEST_F(StreamLimitsTest, SourceThatIsShutOutLosesItsConnectionsAndGetsNoNewOnes)
{
    StreamServer& server = start(endless());
    SipClient before("127.0.0.1", port, Transport::Tcp);
    server.shutOut("127.0.0.1", SystemClock().steadyMs() + kEndlessMs);
    EXPECT_TRUE(before.waitForEnd());
    EXPECT_TRUE(SipClient("127.0.0.1", port, Transport::Tcp).waitForEnd());
    server.shutOut("127.0.0.1", SystemClock().steadyMs());
    waitForTheServer(server);
    expectService();
}

TEST_F(StreamLimitsTest, DeniedAddressLosesItsConnectionsAndGetsNoNewOnes)
{
    StreamServer& server = start(endless());
    SipClient known("127.0.0.1", port, Transport::Tcp);
    const std::string text = known.requestText("OPTIONS", "1000", {});
    const int ofKnown = reached(known, text);
    server.flows().setKnown({"127.0.0.1", known.port(), kTransportTcp});
    SipClient stranger("127.0.0.1", port, Transport::Tcp);
    server.setIpList(listOf("127.0.0.0/8", kDeny));
    EXPECT_TRUE(known.waitForEnd()) << "also where somebody is registered";
    EXPECT_TRUE(stranger.waitForEnd());
    EXPECT_TRUE(SipClient("127.0.0.1", port, Transport::Tcp).waitForEnd());
    close(ofKnown);
    server.setIpList(listOf("127.0.0.2", kDeny));
    waitForTheServer(server);
    expectService();
}

TEST_F(StreamLimitsTest, AllowedAddressIsNotShutOut)
{
    StreamServer& server = start(endless());
    SipClient before("127.0.0.1", port, Transport::Tcp);
    const std::string text = before.requestText("OPTIONS", "1000", {});
    const int fd = reached(before, text);
    server.setIpList(listOf("127.0.0.1", kAllow));
    server.shutOut("127.0.0.1", SystemClock().steadyMs() + kEndlessMs);
    waitForTheServer(server);
    before.send(text);
    EXPECT_EQ(received(fd, text.size()), text);
    close(fd);
    expectService();
    server.setIpList(std::make_shared<const IpList>());
    waitForTheServer(server);
    EXPECT_TRUE(SipClient("127.0.0.1", port, Transport::Tcp).waitForEnd()) << "the former rule holds again";
}

TEST_F(StreamLimitsTest, AllowedAddressIsNoStranger)
{
    StreamLimits limits = endless();
    limits.strangers = limits.strangersOfSource = 2;
    limits.strangerRate = 1;
    limits.strangerIdle = kShortMs;
    StreamServer& server = start(limits);
    server.setIpList(listOf("127.0.0.1", kAllow));
    waitForTheServer(server);
    std::list<SipClient> telephones;
    for (size_t i = 0; i < 5 * limits.strangers; ++i)
        telephones.emplace_back("127.0.0.1", port, Transport::Tcp);
    std::vector<int> fds;
    for (SipClient& telephone : telephones) {
        const std::string text = telephone.requestText("OPTIONS", "1000", {});
        fds.push_back(reached(telephone, text));
    }
    const std::string text = telephones.front().requestText("OPTIONS", "1000", {});
    std::string many;
    for (int i = 0; i < 1000; ++i)
        many += text;
    telephones.front().send(many);
    EXPECT_EQ(received(fds.front(), many.size()), many) << "at a message a second it would take a quarter of an hour";
    for (const int fd : fds)
        close(fd);
}

TEST_F(StreamLimitsTest, AddressThatIsAllowedNoMoreIsAStrangerAgain)
{
    StreamLimits limits = endless();
    limits.strangerIdle = kShortMs;
    StreamServer& server = start(limits);
    server.setIpList(listOf("127.0.0.1", kAllow));
    waitForTheServer(server);
    SipClient telephone("127.0.0.1", port, Transport::Tcp);
    const std::string text = telephone.requestText("OPTIONS", "1000", {});
    const int fd = reached(telephone, text);
    server.setIpList(std::make_shared<const IpList>());
    EXPECT_TRUE(telephone.waitForEnd());
    close(fd);
}

} // namespace
