// SIP over TCP and TLS: a real server, real connections.
#include "support/child_process.h"
#include "support/free_port.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"

#include "streams/stream_limits.h"
#include "streams/tls_context.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <deque>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Transport = SipClient::Transport;

constexpr int kLongMs = 30'000;

class StreamsTest : public ServerFixture {
protected:
    void startStreams(const std::string& address = "127.0.0.1")
    {
        fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 10); });
        tcpPort = freeTcpPort();
        tlsPort = freeTcpPort();
        start(address);
    }
    [[nodiscard]] uint16_t portOf(Transport transport) const { return transport == Transport::Tcp ? tcpPort : tlsPort; }
    std::string registeredAs(const SipClient& client)
    {
        return sql("select transport from tbl_sip_contact where srcPort = " + std::to_string(client.port()));
    }
};

class EachStreamTest : public StreamsTest, public testing::WithParamInterface<Transport> {};

std::string transportName(const testing::TestParamInfo<Transport>& info)
{
    return info.param == Transport::Tcp ? "Tcp" : "Tls";
}

INSTANTIATE_TEST_SUITE_P(Streams, EachStreamTest, testing::Values(Transport::Tcp, Transport::Tls), transportName);

TEST_P(EachStreamTest, TelephoneRegistersAndItsOwnAddressIsShown)
{
    startStreams();
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    const SipAnswer answer = phone.registerUser("1000", "secret", {"Contact: <" + phone.contact("1000") + ">"});
    ASSERT_EQ(answer.status, 200) << answer.text;
    EXPECT_TRUE(events.waitFor("address 1000 " + phone.source()));
    EXPECT_EQ(registeredAs(phone), GetParam() == Transport::Tcp ? "1" : "2");
}

TEST_P(EachStreamTest, AnswerNamesTheTransportAndTheSource)
{
    startStreams();
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    const SipAnswer answer = phone.request("OPTIONS", "1000");
    ASSERT_EQ(answer.status, 200);
    const std::string via = answer.header("Via");
    EXPECT_EQ(via.find(GetParam() == Transport::Tcp ? "SIP/2.0/TCP " : "SIP/2.0/TLS "), 0U) << via;
    EXPECT_NE(via.find("rport=" + std::to_string(phone.port())), std::string::npos) << via;
    EXPECT_NE(via.find("received=127.0.0.1"), std::string::npos) << via;
}

TEST_P(EachStreamTest, SeveralMessagesInOnePieceAreAllAnswered)
{
    startStreams();
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    std::string all;
    for (int i = 0; i < 5; ++i)
        all += phone.requestText("OPTIONS", "1000", {});
    phone.send(all);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(phone.receive(kLongMs).status, 200);
}

TEST_P(EachStreamTest, MessageInManyPiecesIsAnswered)
{
    startStreams();
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    const std::string text = phone.requestText("OPTIONS", "1000", {});
    for (const char c : text)
        phone.send(std::string(1, c));
    EXPECT_EQ(phone.receive(kLongMs).status, 200);
}

TEST_P(EachStreamTest, PingIsAnswered)
{
    startStreams();
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    phone.send("\r\n\r\n");
    const std::string text = phone.requestText("OPTIONS", "1000", {});
    phone.send(text);
    // The answer stands behind the pong.
    EXPECT_EQ(phone.receive(kLongMs).text.find("\r\nSIP/2.0 200"), 0U);
}

TEST_P(EachStreamTest, RequestWithoutLengthIsAnsweredWhileTheConnectionStaysOpen)
{
    startStreams();
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    std::string text = phone.requestText("OPTIONS", "1000", {});
    text.erase(text.find("Content-Length: 0\r\n"), 19);
    EXPECT_EQ(phone.exchange(text).status, 200);
    EXPECT_EQ(phone.exchange(text).status, 200);
}

TEST_P(EachStreamTest, ServerOpensNoConnectionForAnAnswer)
{
    startStreams();
    // Where the Via says.
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(listener, generic, size), 0);
    ASSERT_EQ(listen(listener, 10), 0);
    ASSERT_EQ(getsockname(listener, generic, &size), 0);
    const std::string elsewhere = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    for (const char* broken : {"To: <sip:1000@127.0.0.1>\r\n", " SIP/2.0\r\n"}) {
        SipClient stranger("127.0.0.1", portOf(GetParam()), GetParam());
        std::string bad = stranger.requestText("OPTIONS", "1000", {});
        bad.replace(bad.find(stranger.source()), stranger.source().size(), elsewhere);
        const std::string good = bad;
        // The stack answers such a request by itself, and closes; what follows in the same piece finds it closed.
        bad.replace(bad.find(broken), std::string(broken).size(), broken[0] == ' ' ? "  SIP/2.0\r\n" : "");
        stranger.send(bad + bad + good + good);
        stranger.finish();
        EXPECT_TRUE(stranger.waitForEnd());
    }
    pollfd waiting = {listener, POLLIN, 0};
    EXPECT_EQ(poll(&waiting, 1, 0), 0);
    close(listener);
}

TEST_P(EachStreamTest, WhatIsNoSipEndsTheConnection)
{
    startStreams();
    SipClient stranger("127.0.0.1", portOf(GetParam()), GetParam());
    stranger.send("GET / HTTP/1.1\r\nHost: example.com\r\n\r\n");
    EXPECT_TRUE(stranger.waitForEnd());
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200);
}

TEST_P(EachStreamTest, LastAnswerComesThoughTheTelephoneClosedItsDirection)
{
    startStreams();
    SipClient phone("127.0.0.1", portOf(GetParam()), GetParam());
    phone.send(phone.requestText("OPTIONS", "1000", {}));
    phone.finish();
    EXPECT_EQ(phone.receive(kLongMs).status, 200);
    EXPECT_TRUE(phone.waitForEnd());
}

TEST_P(EachStreamTest, StrangersBeyondTheLimitOfTheirAddressEndTheOldest)
{
    startStreams();
    const StreamLimits limits;
    SipClient registered("127.0.0.1", portOf(GetParam()), GetParam());
    ASSERT_EQ(registered.registerUser("1000", "secret", {"Contact: <" + registered.contact("1000") + ">"}).status, 200);
    std::deque<SipClient> strangers;
    strangers.emplace_back("127.0.0.1", portOf(GetParam()), GetParam());
    // The one that registered counts as a stranger until it is looked at again.
    for (size_t i = 0; i < limits.strangersOfSource; ++i)
        strangers.emplace_back("127.0.0.1", portOf(GetParam()), GetParam());
    EXPECT_TRUE(strangers.front().waitForEnd());
    EXPECT_EQ(strangers.back().request("OPTIONS", "1000").status, 200);
    EXPECT_EQ(events.count("log There are too many connections"), 1U);
}

TEST_P(EachStreamTest, Ipv6ServesLikeIpv4)
{
    startStreams("::1");
    SipClient phone("::1", portOf(GetParam()), GetParam());
    const SipAnswer answer = phone.registerUser("1000", "secret", {"Contact: <" + phone.contact("1000") + ">"});
    ASSERT_EQ(answer.status, 200) << answer.text;
    EXPECT_TRUE(events.waitFor("address 1000 " + phone.source()));
}

TEST_F(StreamsTest, SippRegistersOverTcp)
{
    startStreams();
    const std::string users =
        scratch.write("users.csv", "SEQUENTIAL\n1001;[authentication username=1001 password=secret]\n");
    ChildProcess sipp({"sipp", "127.0.0.1:" + std::to_string(tcpPort), "-sf",
                       std::string(TEST_DATA) + "/sipp/register.xml", "-inf", users, "-i", "127.0.0.1", "-m", "1", "-t",
                       "t1", "-nostdin", "-timeout", "60", "-timeout_error"},
                      scratch.file("sipp"));
    EXPECT_EQ(sipp.wait(), 0) << sipp.output();
}

TEST_F(StreamsTest, TlsHasForwardSecrecyAndNoOldVersion)
{
    startStreams();
    const SipClient phone("127.0.0.1", tlsPort, Transport::Tls);
    EXPECT_EQ(phone.cipher().find("TLSv1.3 "), 0U) << phone.cipher();
    const std::string server = "127.0.0.1:" + std::to_string(tlsPort);
    const auto handshake = [&](const std::vector<std::string>& options) {
        std::vector<std::string> command = {"openssl", "s_client", "-connect", server, "-brief"};
        command.insert(command.end(), options.begin(), options.end());
        ChildProcess client(command, scratch.file(options.back()));
        client.wait();
        return client.output();
    };
    const std::string ofTls12 = handshake({"-tls1_2"});
    EXPECT_NE(ofTls12.find("Protocol version: TLSv1.2"), std::string::npos) << ofTls12;
    EXPECT_NE(ofTls12.find("Ciphersuite: ECDHE-"), std::string::npos) << ofTls12;
    const std::string ofTls11 = handshake({"-tls1_1", "-cipher", "ALL@SECLEVEL=0"});
    EXPECT_EQ(ofTls11.find("Protocol version"), std::string::npos) << ofTls11;
    const std::string withoutSecrecy = handshake({"-tls1_2", "-cipher", "AES128-GCM-SHA256:AES256-SHA"});
    EXPECT_EQ(withoutSecrecy.find("Protocol version"), std::string::npos) << withoutSecrecy;
}

TEST_F(StreamsTest, CertificateIsMadeOnceAndNobodyElseMayReadTheKey)
{
    startStreams();
    const std::string key = home.file(kTlsKeyFile);
    struct stat status = {};
    ASSERT_EQ(stat(key.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    const std::string before = TemporaryFolder::read(key);
    EXPECT_EQ(events.count("log A self-signed TLS certificate was made"), 1U);
    const TlsIdentity again = openTlsIdentity(home.path() + "/", {"office.example"});
    EXPECT_NE(again.context, nullptr);
    EXPECT_TRUE(again.notes.empty());
    EXPECT_EQ(TemporaryFolder::read(key), before);
}

TEST_F(StreamsTest, CertificateIsMadeOfAKeyThatIsAloneAndOfNamesThatAreSome)
{
    const std::string folder = home.path() + "/";
    ASSERT_NE(openTlsIdentity(folder, {"office.example"}).context, nullptr);
    const std::string key = TemporaryFolder::read(home.file(kTlsKeyFile));
    ASSERT_EQ(unlink(home.file(kTlsCertificateFile).c_str()), 0);
    const TlsIdentity again = openTlsIdentity(folder, {"pbx.example:5060", "4711", "a b", "192.0.2.1", "::1", "x,y"});
    EXPECT_NE(again.context, nullptr) << again.error;
    EXPECT_EQ(TemporaryFolder::read(home.file(kTlsKeyFile)), key);
}

TEST_F(StreamsTest, CertificateThatCannotBeReadLeavesTlsOffAndItsFileAlone)
{
    (void)home.write(kTlsCertificateFile, "no certificate");
    (void)home.write(kTlsKeyFile, "no key");
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    tcpPort = freeTcpPort();
    start();
    Cdb_sys_tbl* record = store().DbGetSysTbl();
    record->tlsPort = freeTcpPort();
    record->SetModified();
    ASSERT_EQ(record->SaveDB(), kDbOk);
    EXPECT_TRUE(events.waitForPart("SIP over TLS is not available: " + home.file(kTlsCertificateFile)));
    EXPECT_EQ(TemporaryFolder::read(home.file(kTlsCertificateFile)), "no certificate");
    SipClient phone("127.0.0.1", tcpPort, Transport::Tcp);
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200);
}

TEST_F(StreamsTest, PortsFollowTheSystemRecordAtOnce)
{
    startStreams();
    const uint16_t former = tcpPort;
    SipClient old("127.0.0.1", former, Transport::Tcp);
    Cdb_sys_tbl* record = store().DbGetSysTbl();
    record->tcpPort = freeTcpPort();
    record->tlsPort = 0;
    record->SetModified();
    ASSERT_EQ(record->SaveDB(), kDbOk);
    ASSERT_TRUE(events.waitFor("log SIP over TLS is switched off."));
    SipClient phone("127.0.0.1", record->tcpPort, Transport::Tcp);
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200);
    EXPECT_THROW(SipClient("127.0.0.1", former, Transport::Tcp), std::runtime_error);
    // Open connections outlive a change of the port.
    EXPECT_EQ(old.request("OPTIONS", "1000").status, 200);
}

TEST_F(StreamsTest, PortThatIsTakenLeavesTheFormerOne)
{
    startStreams();
    Cdb_sys_tbl* record = store().DbGetSysTbl();
    const uint16_t former = record->tcpPort;
    record->tcpPort = record->tlsPort;
    record->SetModified();
    ASSERT_EQ(record->SaveDB(), kDbOk);
    EXPECT_TRUE(events.waitFor("log SIP over TCP cannot use 127.0.0.1:" + std::to_string(tlsPort) +
                               ": Address already in use; it stays on 127.0.0.1:" + std::to_string(former) + "."));
    SipClient phone("127.0.0.1", former, Transport::Tcp);
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200);
}

TEST_F(StreamsTest, PortsCanBeExchanged)
{
    startStreams();
    Cdb_sys_tbl* record = store().DbGetSysTbl();
    std::swap(record->tcpPort, record->tlsPort);
    record->SetModified();
    ASSERT_EQ(record->SaveDB(), kDbOk);
    ASSERT_TRUE(events.waitFor("log SIP over TLS is ready on 127.0.0.1:" + std::to_string(tcpPort) + "."));
    SipClient phone("127.0.0.1", tlsPort, Transport::Tcp);
    EXPECT_EQ(phone.request("OPTIONS", "1000").status, 200);
}

TEST_F(StreamsTest, PortThatWasTakenIsHadOnceItIsFree)
{
    startStreams();
    const int taken = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(taken, generic, size), 0);
    ASSERT_EQ(listen(taken, 1), 0);
    ASSERT_EQ(getsockname(taken, generic, &size), 0);
    Cdb_sys_tbl* record = store().DbGetSysTbl();
    record->tcpPort = ntohs(address.sin_port);
    record->SetModified();
    ASSERT_EQ(record->SaveDB(), kDbOk);
    const std::string shown = "127.0.0.1:" + std::to_string(record->tcpPort);
    ASSERT_TRUE(events.waitForPart("log SIP over TCP cannot use " + shown));
    close(taken);
    EXPECT_TRUE(events.waitFor("log SIP over TCP is ready on " + shown + "."));
    EXPECT_EQ(events.count("log SIP over TCP cannot use"), 1U);
}

TEST_F(StreamsTest, OtherProgramAtTheStacksOwnDoorGetsNoAnswer)
{
    startStreams();
    SipClient phone("127.0.0.1", tcpPort, Transport::Tcp);
    ASSERT_EQ(phone.request("OPTIONS", "1000").status, 200);
    // The listening TCP sockets of this process that no telephone uses: the stack's door, and the drain for lost
    // answers.
    std::vector<uint16_t> doors;
    ChildProcess ss({"ss", "-Hltnp"}, scratch.file("ss"));
    ASSERT_EQ(ss.wait(), 0);
    const std::string lines = ss.output();
    const std::string owner = "pid=" + std::to_string(getpid()) + ",";
    for (size_t start = 0; start < lines.size();) {
        const size_t end = std::min(lines.find('\n', start), lines.size());
        const std::string line = lines.substr(start, end - start);
        start = end + 1;
        const size_t at = line.find("127.0.0.1:");
        if (at == std::string::npos || line.find(owner) == std::string::npos)
            continue;
        const auto found = static_cast<uint16_t>(std::atoi(line.c_str() + at + 10));
        if (found != tcpPort && found != tlsPort)
            doors.push_back(found);
    }
    ASSERT_EQ(doors.size(), 2U) << lines;
    for (const uint16_t door : doors) {
        SipClient intruder("127.0.0.1", door, Transport::Tcp);
        intruder.send(intruder.requestText("OPTIONS", "1000", {}));
        // Answered in order: when the telephone's comes, the intruder's would have come.
        ASSERT_EQ(phone.request("OPTIONS", "1000").status, 200);
        EXPECT_EQ(intruder.receive(0).status, 0);
    }
}

} // namespace
