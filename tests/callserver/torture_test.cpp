// The torture messages against the real server: each is sent twice, unchanged, and the server still answers the next
// request.
#include "support/free_port.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"
#include "support/torture_messages.h"

#include <algorithm>
#include <arpa/inet.h>
#include <ostream>
#include <set>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kAnswerMs = 30'000;  // a bound; loopback loses nothing
constexpr size_t kMaxAnswers = 20; // more than any message has

using Transport = SipClient::Transport;

struct TortureCase {
    TortureMessage message;
    Transport transport = Transport::Udp;
    std::string address;
};

std::ostream& operator<<(std::ostream& out, const TortureCase& shown)
{
    return out << shown.message.name;
}

bool hasLoopback6()
{
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    const int fd = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool isThere = fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    if (fd >= 0)
        close(fd);
    return isThere;
}

// `folder`: those of one document; empty: all.
std::vector<TortureCase> casesOn(Transport transport, const std::string& address, const std::string& folder = {})
{
    std::vector<TortureCase> cases;
    if (address == "::1" && !hasLoopback6())
        return cases;
    for (TortureMessage& message : tortureMessages(TEST_DATA "/torture"))
        if (folder.empty() || message.folder == folder)
            cases.push_back({std::move(message), transport, address});
    return cases;
}

std::string caseName(const testing::TestParamInfo<TortureCase>& info)
{
    std::string name = info.param.message.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

class TortureTest : public ServerFixture, public testing::WithParamInterface<TortureCase> {
protected:
    void SetUp() override
    {
        if (GetParam().transport == Transport::Tcp)
            tcpPort = freeTcpPort();
        if (GetParam().transport == Transport::Tls)
            tlsPort = freeTcpPort();
        start(GetParam().address);
    }

    // Sends the message twice and gives what came, in order.
    std::vector<SipAnswer> answersOfPackets(const SipClient& client, const std::string& marker) const
    {
        std::vector<SipAnswer> answers;
        client.send(GetParam().message.bytes);
        client.send(GetParam().message.bytes);
        // One socket is served in order: what came before the answer to this one belongs to the message.
        client.send(marker);
        do
            answers.push_back(client.receive(kAnswerMs));
        while (!answers.back().text.empty() && answers.back().header("Call-ID") != callIdOf(client) &&
               answers.size() < kMaxAnswers);
        EXPECT_EQ(answers.back().status, 200) << "the server lives";
        answers.pop_back();
        return answers;
    }

    // The same over two connections, each of which ends behind the message.
    std::vector<SipAnswer> answersOfConnection(const SipClient& client) const
    {
        std::vector<SipAnswer> answers;
        client.send(GetParam().message.bytes);
        client.finish();
        do
            answers.push_back(client.receive(kAnswerMs));
        while (!answers.back().text.empty() && answers.size() < kMaxAnswers);
        EXPECT_TRUE(client.waitForEnd());
        answers.pop_back();
        return answers;
    }

    static std::string callIdOf(const SipClient& client) { return "call-" + std::to_string(client.port()); }
};

void expectAnswers(const std::vector<SipAnswer>& answers, const std::vector<ExpectedAnswer>& expected,
                   const TortureMessage& message)
{
    EXPECT_EQ(answers.size(), expected.size());
    for (size_t i = 0; i < answers.size(); ++i) {
        const SipAnswer& answer = answers[i];
        if (i >= expected.size()) {
            ADD_FAILURE() << "not expected: " << answer.text;
            continue;
        }
        EXPECT_EQ(std::count(expected[i].begin(), expected[i].end(), answer.status), 1) << answer.text;
    }
    if (message.isValid && !answers.empty()) {
        EXPECT_EQ(answers.front().header("Call-ID"), message.header("Call-ID", "i"));
        EXPECT_NE(answers.front().header("To").find("tag"), std::string::npos) << answers.front().text;
    }
}

TEST_P(TortureTest, IsAnsweredAsItsClassAsksFor)
{
    const TortureMessage& message = GetParam().message;
    SCOPED_TRACE("RFC " + message.section + ": " + message.reason);
    if (GetParam().transport == Transport::Udp) {
        SipClient client(GetParam().address, port);
        std::vector<ExpectedAnswer> expected = message.datagram;
        expected.insert(expected.end(), message.datagram.begin(), message.datagram.end());
        const std::vector<SipAnswer> answers = answersOfPackets(client, client.requestText("OPTIONS", "1000", {}));
        expectAnswers(answers, expected, message);
        for (const SipAnswer& answer : answers)
            EXPECT_NE(answer.text.find(";rport=" + std::to_string(client.port())), std::string::npos) << answer.text;
        return;
    }
    const uint16_t streamPort = GetParam().transport == Transport::Tcp ? tcpPort : tlsPort;
    for (int i = 0; i < 2; ++i) {
        const SipClient client(GetParam().address, streamPort, GetParam().transport);
        expectAnswers(answersOfConnection(client), message.stream, message);
    }
    SipClient other(GetParam().address, streamPort, GetParam().transport);
    EXPECT_EQ(other.request("OPTIONS", "1000").status, 200) << "the server lives";
}

INSTANTIATE_TEST_SUITE_P(Udp, TortureTest, testing::ValuesIn(casesOn(Transport::Udp, "127.0.0.1")), caseName);
INSTANTIATE_TEST_SUITE_P(Udp6, TortureTest, testing::ValuesIn(casesOn(Transport::Udp, "::1")), caseName);
INSTANTIATE_TEST_SUITE_P(Tcp, TortureTest, testing::ValuesIn(casesOn(Transport::Tcp, "127.0.0.1")), caseName);
INSTANTIATE_TEST_SUITE_P(Tcp6, TortureTest, testing::ValuesIn(casesOn(Transport::Tcp, "::1")), caseName);
// Each start makes a key first, which takes its time.
INSTANTIATE_TEST_SUITE_P(Tls, TortureTest, testing::ValuesIn(casesOn(Transport::Tls, "127.0.0.1", "rfc4475")),
                         caseName);

TEST(TortureMessages, AllOfTheTwoDocumentsAreThere)
{
    const std::vector<TortureMessage> all = tortureMessages(TEST_DATA "/torture");
    const auto count = [&](const std::string& document) {
        std::set<std::string> names;
        for (const TortureMessage& message : all)
            if (message.folder == document)
                names.insert(message.name);
        return names.size();
    };
    EXPECT_EQ(count("rfc4475"), 49U);
    EXPECT_EQ(count("rfc5118"), 11U);
}

} // namespace
