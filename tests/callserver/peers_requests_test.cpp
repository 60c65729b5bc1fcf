#include "support/server_fixture.h"
#include "support/sip_client.h"

#include "cachedb2/switch_variants.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr const char* kAllow = "INVITE, ACK, CANCEL, BYE, OPTIONS, PRACK, UPDATE, INFO, MESSAGE, REGISTER";

class RequestsTest : public ServerFixture {
protected:
    void startWithUser()
    {
        fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
        start();
    }
};

bool hasIpv6Loopback()
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

TEST_F(RequestsTest, OptionsIsAnswered)
{
    start();
    SipClient client("127.0.0.1", port);
    const SipAnswer answer = client.request("OPTIONS", "1000");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("Allow"), kAllow);
    EXPECT_EQ(answer.header("Accept"), "application/sdp");
    EXPECT_NE(answer.header("To").find(";tag="), std::string::npos);
}

TEST_F(RequestsTest, MethodsThatAreNotServedAreRefused)
{
    start();
    SipClient client("127.0.0.1", port);
    const std::vector<std::string> headers = {"Event: presence", "Refer-To: <sip:a@b>", "Subscription-State: active",
                                              "Contact: <sip:a@b>"};
    for (const char* method : {"SUBSCRIBE", "NOTIFY", "REFER", "PUBLISH"}) {
        const SipAnswer answer = client.request(method, "1000", headers);
        EXPECT_EQ(answer.status, 405) << method;
        EXPECT_EQ(answer.header("Allow"), kAllow) << method;
    }
    EXPECT_EQ(client.request("JUGGLE", "1000").status, 501);
}

TEST_F(RequestsTest, WhatBelongsToNoCallIsToldSo)
{
    start();
    SipClient client("127.0.0.1", port);
    for (const char* method : {"INVITE", "BYE", "PRACK", "UPDATE", "MESSAGE", "INFO", "OPTIONS"})
        EXPECT_EQ(client
                      .request(method, "1000",
                               {"RAck: 1 1 INVITE", "Contact: <sip:a@b>", "To: <sip:1000@127.0.0.1>;tag=gone"})
                      .status,
                  481)
            << method;
    for (const char* method : {"BYE", "PRACK", "UPDATE", "INFO", "CANCEL"})
        EXPECT_EQ(client.request(method, "1000", {"RAck: 1 1 INVITE", "Contact: <sip:a@b>"}).status, 481) << method;
}

TEST_F(RequestsTest, CallsOfStrangersAreChallenged)
{
    start();
    SipClient client("127.0.0.1", port);
    for (const char* method : {"INVITE", "MESSAGE"}) {
        const SipAnswer answer = client.request(method, "1000", {"Contact: <sip:a@b>"});
        EXPECT_EQ(answer.status, 407) << method;
        EXPECT_EQ(answer.header("Proxy-Authenticate").compare(0, 7, "Digest "), 0) << answer.text;
    }
    EXPECT_EQ(client.request("INVITE", "1000").status, 400) << "nobody could be called back";
}

TEST_F(RequestsTest, AckIsNeverAnswered)
{
    start();
    SipClient client("127.0.0.1", port);
    client.send(client.requestText("ACK", "1000", {}));
    client.send(client.requestText("ACK", "1000", {"To: <sip:1000@127.0.0.1>;tag=gone"}));
    const SipAnswer answer = client.request("OPTIONS", "1000");
    EXPECT_NE(answer.header("CSeq").find("OPTIONS"), std::string::npos) << "the first answer is that to OPTIONS";
}

TEST_F(RequestsTest, ResponsesAndGarbageAreIgnored)
{
    start();
    SipClient client("127.0.0.1", port);
    client.send(
        "SIP/2.0 200 OK\r\nVia: SIP/2.0/UDP h;branch=z9hG4bKx\r\nFrom: <sip:a@b>;tag=1\r\nTo: <sip:a@b>;tag=2\r\n"
        "Call-ID: c\r\nCSeq: 1 INVITE\r\nContent-Length: 0\r\n\r\n");
    client.send(std::string(64, '\0'));
    client.send("\r\n\r\n");
    client.send("garbage\r\n\r\n");
    for (int i = 0; i < 3; ++i)
        client.send(client.requestText("REGISTER", "1000", {std::string(20'000, 'x') + ": y"}));
    SipAnswer answer = client.request("OPTIONS", "1000");
    for (int i = 0; i < 10 && answer.status != 200; ++i)
        answer = client.receive(30'000);
    EXPECT_EQ(answer.status, 200);
}

TEST_F(RequestsTest, UnknownSchemesAndExtensionsAreRefused)
{
    startWithUser();
    SipClient client("127.0.0.1", port);
    EXPECT_EQ(client.request("REGISTER", "1000", {}, "tel:+15551234").status, 416);
    EXPECT_EQ(client.request("OPTIONS", "1000", {}, "http://example.org/").status, 416);
    const SipAnswer answer = client.request("REGISTER", "1000", {"Require: path, gruu"});
    EXPECT_EQ(answer.status, 420);
    EXPECT_EQ(answer.header("Unsupported"), "path, gruu");
}

TEST_F(RequestsTest, RegisterRulesReachTheWire)
{
    startWithUser();
    SipClient client("127.0.0.1", port);
    const SipAnswer brief = client.registerUser("1000", "secret", {"Contact: <sip:a@h>", "Expires: 59"});
    EXPECT_EQ(brief.status, 423);
    EXPECT_EQ(brief.header("Min-Expires"), "60");
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: *"}).status, 400);
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: *, <sip:a@h>", "Expires: 0"}).status, 400);

    SipAnswer listed = client.registerUser(
        "1000", "secret", {"Contact: <sip:a@h;line=1>;expires=120;q=0.5, <sip:b@h>", "Expires: 9999999999"});
    EXPECT_EQ(listed.status, 200);
    EXPECT_EQ(listed.headers("Contact"),
              (std::vector<std::string>{"<sip:a@h;line=1>;expires=120;q=0.50", "<sip:b@h>;expires=3600"}));
    EXPECT_NE(listed.header("Date"), "");

    listed = client.registerUser("1000", "secret", {"Contact: <sip:b@h>;expires=nonsense"});
    EXPECT_EQ(listed.headers("Contact").back(), "<sip:b@h>;expires=3600");
    listed = client.registerUser("1000", "secret", {"Contact: *", "Expires: 0"});
    EXPECT_EQ(listed.status, 200);
    EXPECT_EQ(listed.header("Contact"), "");
}

TEST_F(RequestsTest, UserIsTheUnescapedUserOfTo)
{
    startWithUser();
    SipClient client("127.0.0.1", port);
    EXPECT_EQ(
        client
            .registerUser("1000", "secret", {"To: \"Anna\" <sip:%31000@example.org;user=phone>", "Contact: <sip:a@h>"})
            .status,
        200);
    EXPECT_TRUE(events.waitFor("state 1000 1"));
}

TEST_F(RequestsTest, AnswerGoesToWhereTheRequestCameFrom)
{
    start();
    SipClient client("127.0.0.1", port);
    std::string text = client.requestText("OPTIONS", "1000", {});
    // The telephone behind a NAT names an address that cannot be reached.
    text.replace(text.find(client.source()), client.source().size(), "192.0.2.99:9");
    const SipAnswer answer = client.exchange(text);
    EXPECT_EQ(answer.status, 200);
    EXPECT_NE(answer.header("Via").find("rport=" + std::to_string(client.port())), std::string::npos);
    EXPECT_NE(answer.header("Via").find("received=127.0.0.1"), std::string::npos);
}

TEST_F(RequestsTest, ViaCannotSendTheAnswerElsewhere)
{
    start();
    SipClient client("127.0.0.1", port);
    SipClient other("127.0.0.1", port);
    const std::string port1 = std::to_string(client.port());
    const std::vector<std::string> vias = {client.source() + ";rport;maddr=127.0.0.2",
                                           client.source() + ";maddr=127.0.0.2",
                                           client.source() + ";maddr=127.0.0.2, SIP/2.0/UDP 192.0.2.9",
                                           client.source() + ";MADDR=127.0.0.2;maddr=127.0.0.3;x;maddr=127.0.0.4",
                                           other.source() + ";rport=9;rport=10;received=127.0.0.3;received=127.0.0.4",
                                           other.source() + ";rport",
                                           other.source(),
                                           "192.0.2.99:9",
                                           "192.0.2.99:9;received=127.0.0.2;rport=9",
                                           "a.example;maddr=localhost"};
    for (const std::string& via : vias) {
        for (const char* name : {"Via", "v"}) {
            std::string text = client.requestText("OPTIONS", "1000", {});
            text.replace(text.find(client.source() + ";rport"), client.source().size() + 6, via);
            // The branch stands behind it, and so belongs to the last one of a list.
            text.replace(text.find("Via"), 3, name);
            const SipAnswer answer = client.exchange(text);
            EXPECT_EQ(answer.status, 200) << via;
            EXPECT_NE(answer.header("Via").find(";rport=" + port1), std::string::npos) << answer.text;
            EXPECT_NE(answer.header("Via").find(";received=127.0.0.1"), std::string::npos) << answer.text;
        }
    }
}

TEST_F(RequestsTest, RefusalsOfTheStackGoToTheSourceToo)
{
    start();
    SipClient client("127.0.0.1", port);
    const auto refused = [&](const std::string& from, const std::string& to) {
        std::string text = client.requestText("OPTIONS", "1000", {});
        text.replace(text.find(client.source() + ";rport"), client.source().size() + 6, "192.0.2.9;maddr=localhost");
        text.replace(text.find(from), from.size(), to);
        return client.exchange(text).status;
    };
    EXPECT_EQ(refused(" SIP/2.0\r\n", " SIP/3.0\r\n"), 505);
    EXPECT_EQ(refused("OPTIONS\r\n", "INVITE\r\n"), 400) << "CSeq of another method";
    EXPECT_EQ(refused("To: <sip:1000@127.0.0.1>", "To: <<<"), 400);
    EXPECT_EQ(refused("Call-ID", "No-ID"), 400);
}

TEST_F(RequestsTest, TooManyContactsAreRefusedWhole)
{
    startWithUser();
    SipClient client("127.0.0.1", port);
    const auto contacts = [](size_t count) {
        std::string text = "Contact: <sip:a0@h>";
        for (size_t i = 1; i < count; ++i)
            text += ", <sip:a" + std::to_string(i) + "@h>";
        return text;
    };
    EXPECT_EQ(client.request("REGISTER", "1000", {contacts(500)}).status, 401) << "strangers learn nothing";
    const std::string agent = "User-Agent: " + std::string(7'000, 'x');
    const SipAnswer refused = client.registerUser("1000", "secret", {contacts(500), agent});
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.text.find("SIP/2.0 400 Too Many Contacts\r\n"), 0U);
    EXPECT_EQ(client.registerUser("1000", "secret", {contacts(11)}).status, 400);
    EXPECT_EQ(client.registerUser("1000", "secret", {contacts(10), agent}).headers("Contact").size(), 10U);
    ASSERT_TRUE(events.waitForCount("log User 1000 registered", 10));
    EXPECT_EQ(events.count("log User 1000 registered"), 10U);
    EXPECT_TRUE(events.waitForPart("refused: bad request (Too Many Contacts)."));
}

TEST_F(RequestsTest, Sha256IsOfferedFirst)
{
    gVarSipDigestSha256 = 1;
    startWithUser();
    SipClient client("127.0.0.1", port);
    const std::vector<std::string> challenges = client.request("REGISTER", "1000").headers("WWW-Authenticate");
    ASSERT_EQ(challenges.size(), 2U);
    EXPECT_EQ(challengeParam(challenges[0], "algorithm"), "SHA-256");
    EXPECT_EQ(challengeParam(challenges[1], "algorithm"), "MD5");
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <sip:a@h>"}, "SHA-256").status, 200);
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <sip:a@h>"}, "MD5").status, 200);
    EXPECT_EQ(client.registerUser("1000", "wrong", {"Contact: <sip:a@h>"}, "SHA-256").status, 403);
}

TEST_F(RequestsTest, Sha256Alone)
{
    gVarSipDigestSha256 = 2;
    startWithUser();
    SipClient client("127.0.0.1", port);
    const std::vector<std::string> challenges = client.request("REGISTER", "1000").headers("WWW-Authenticate");
    ASSERT_EQ(challenges.size(), 1U);
    EXPECT_EQ(challengeParam(challenges[0], "algorithm"), "SHA-256");
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <sip:a@h>"}, "SHA-256").status, 200);
}

TEST_F(RequestsTest, RealmOfTheSystemRecordHoldsAtOnce)
{
    startWithUser();
    SipClient client("127.0.0.1", port);
    Cdb_sys_tbl* record = store().DbGetSysTbl();
    record->SetRealm("office");
    record->SetModified();
    ASSERT_EQ(record->SaveDB(), kDbOk);
    EXPECT_EQ(challengeParam(client.request("REGISTER", "1000").header("WWW-Authenticate"), "realm"), "office");
    EXPECT_EQ(client.registerUser("1000", "secret", {}).status, 200);
}

TEST_F(RequestsTest, RegistersOverIpv6OrSaysThatTheMachineHasNone)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    if (!hasIpv6Loopback()) {
        fillStore([this](Cdb_fac_mgr& filled) { setListening(filled, "::1", port); });
        startOnly();
        EXPECT_TRUE(events.waitForPart("SIP over UDP cannot use port " + std::to_string(port) + " of ::1: "));
        return;
    }
    start("::1");
    SipClient client("::1", port);
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <" + client.contact("1000") + ">"}).status, 200);
    EXPECT_TRUE(events.waitFor("address 1000 [::1]:" + std::to_string(client.port())));
}

} // namespace
