// Nothing that is not authenticated leaves the house: what strangers put into messages leads nowhere. A gateway listens
// where they want to get to.
#include "support/call_phone.h"
#include "support/patience.h"
#include "support/server_fixture.h"

#include "bcl2/text.h"

#include <chrono>
#include <memory>

namespace {

constexpr const char* kOutside = "0049301234";
constexpr int kQuietMs = 300; // on loopback a packet that was sent is there by then

class TollFraudPacketsTest : public ServerFixture {
protected:
    // Users 2001 and 2002 with a telephone each; numbers that begin with 0 leave over the line "city", those with 99
    // over a peer server, both at the gateway.
    void startHouse(uint8_t moreFlags = 0, uint32_t levels = 0x7f)
    {
        fillStore([&](Cdb_fac_mgr& filled) {
            for (const char* name : {"2001", "2002"})
                addUser(filled, name, "secret", [levels](Cdb_usr_info& user) { user.levels = Cbcl_bit_set(levels); });
            Cdb_sys_data system = *filled.system().get();
            system.callFlags = static_cast<uint8_t>(kSysAuthCalls | moreFlags);
            ASSERT_EQ(filled.DbSetSysData(system), kDbOk);
        });
        start();
        gateway = std::make_unique<SipClient>("127.0.0.1", port);
        Cdb_ext_line_info line;
        BclCopyStr(line.extName, "city");
        BclCopyStr(line.serverAddr, "127.0.0.1");
        line.serverPort = gateway->port();
        ASSERT_EQ(store().DbExtLineSet(line), kDbOk);
        addRule("0", kRtExtLine);
        addRule("99", kRtSipTrunk);
        first = std::make_unique<CallPhone>(port, "2001");
        second = std::make_unique<CallPhone>(port, "2002");
        first->registerNow();
        second->registerNow();
        ASSERT_TRUE(events.waitFor("state 2002 1"));
    }
    void addRule(const char* prefix, uint32_t route)
    {
        Cdb_nbr_cld_ana_data rule;
        BclCopyStr(rule.calledPrefix, prefix);
        BclCopyStr(rule.extLine, "city");
        rule.routeType = route;
        rule.level = 2;
        rule.peerServerId = 1;
        ASSERT_EQ(store().DbNbrCldAnaSet(rule), kDbOk);
    }

    [[nodiscard]] std::string server() const { return "127.0.0.1:" + std::to_string(port); }
    [[nodiscard]] std::string gatewayUri(const std::string& user = kOutside) const
    {
        return "sip:" + user + "@127.0.0.1:" + std::to_string(gateway->port());
    }

    // The final answer to a request as it stands there.
    static SipAnswer finalAnswer(SipClient& client, const std::string& text)
    {
        client.send(text);
        const auto until = std::chrono::steady_clock::now() + kTestPatience;
        while (std::chrono::steady_clock::now() < until) {
            SipAnswer answer = client.receive(1000);
            if (answer.status >= 200 && text.find("CSeq: " + answer.header("CSeq") + "\r\n") != std::string::npos)
                return answer;
        }
        return {};
    }
    static int ask(SipClient& client, const std::string& method, const std::string& from, const std::string& uri,
                   std::vector<std::string> headers = {})
    {
        headers.push_back("Contact: <sip:" + from + "@" + client.source() + ">");
        return finalAnswer(client, client.requestText(method, from, headers, uri)).status;
    }
    // With the right credentials of the user.
    static int askAuthorized(SipClient& client, const std::string& method, const std::string& user,
                             const std::string& uri, std::vector<std::string> headers = {})
    {
        headers.push_back("Contact: <sip:" + user + "@" + client.source() + ">");
        const SipAnswer challenge = finalAnswer(client, client.requestText(method, user, headers, uri));
        if (challenge.status != 407)
            return challenge.status;
        headers.push_back("Proxy-Authorization: " +
                          SipClient::credentials(challenge.header("Proxy-Authenticate"), user, "secret", method, uri));
        return finalAnswer(client, client.requestText(method, user, headers, uri)).status;
    }
    void expectSilence()
    {
        EXPECT_EQ(gateway->receive(kQuietMs).text, "");
        EXPECT_TRUE(first->hearsNothing(1));
        EXPECT_TRUE(second->hearsNothing(1));
    }

    void setIpEntry(const char* address, unsigned action)
    {
        Cdb_ip_bwlist entry;
        entry.action = action;
        BclCopyStr(entry.ipAddr, address);
        ASSERT_EQ(store().DbIPBWListSet(entry), kDbOk);
    }

    std::unique_ptr<SipClient> gateway;
    std::unique_ptr<CallPhone> first;
    std::unique_ptr<CallPhone> second;
};

TEST_F(TollFraudPacketsTest, NoFormOfARequestUriOpensTheHouse)
{
    startHouse();
    SipClient stranger("127.0.0.1", port);
    for (const std::string& uri :
         {"sip:" + std::string(kOutside) + "@" + server(), gatewayUri(), gatewayUri("2002"),
          "sip:" + std::string(kOutside) + "@" + server() + ";user=phone",
          "sip:2002@" + server() + ";maddr=127.0.0.1;transport=udp", "sip:%30049301234@" + server(),
          "sip:2002%00@" + server(), std::string("sip:127.0.0.1:") + std::to_string(gateway->port())})
        EXPECT_EQ(ask(stranger, "INVITE", "2001", uri), 407) << uri;
    EXPECT_EQ(ask(stranger, "INVITE", "2001", "tel:+49301234"), 416);
    expectSilence();
    EXPECT_EQ(events.count("call 1 start"), 0U);
}

TEST_F(TollFraudPacketsTest, NoHeaderOfAStrangerOpensTheHouse)
{
    startHouse();
    SipClient stranger("127.0.0.1", port);
    const std::string house = "<sip:2001@" + server() + ">";
    const std::string uri = "sip:" + std::string(kOutside) + "@" + server();
    const std::string away = "<sip:127.0.0.1:" + std::to_string(gateway->port()) + ";lr>";
    for (const std::string& header :
         {"P-Asserted-Identity: " + house, "P-Preferred-Identity: " + house,
          "Remote-Party-ID: " + house + ";screen=yes", "Diversion: " + house, "History-Info: " + house + ";index=1",
          "Referred-By: " + house, "Route: " + away, "Record-Route: " + away,
          "Via: SIP/2.0/UDP 127.0.0.1:" + std::to_string(gateway->port()) + ";maddr=127.0.0.1;branch=z9hG4bKx"})
        EXPECT_EQ(ask(stranger, "INVITE", "2001", uri, {header}), 407) << header;
    expectSilence();
}

TEST_F(TollFraudPacketsTest, WhoIsUnknownReachesTelephonesOnlyAndAsHimself)
{
    startHouse(kSysAcceptUnknown | kSysTransit);
    SipClient stranger("127.0.0.1", port);
    const std::string house = "<sip:2001@" + server() + ">";
    for (const char* number : {kOutside, "99100"})
        EXPECT_EQ(ask(stranger, "INVITE", "nobody", "sip:" + std::string(number) + "@" + server()), 403) << number;
    EXPECT_EQ(ask(stranger, "INVITE", "nobody", gatewayUri("%30049301234")), 403);
    EXPECT_EQ(ask(stranger, "INVITE", "2001", "sip:2002@" + server()), 407);
    expectSilence();
    stranger.send(stranger.requestText("INVITE", "nobody",
                                       {"Contact: <sip:nobody@" + stranger.source() + ">",
                                        "P-Asserted-Identity: " + house, "Remote-Party-ID: " + house,
                                        "Diversion: " + house, "History-Info: " + house, "Referred-By: " + house,
                                        "Route: <" + gatewayUri() + ";lr>", "Record-Route: <" + gatewayUri() + ";lr>"},
                                       "sip:2002@" + server()));
    const PhoneMessage invite = second->expect("INVITE");
    EXPECT_FALSE(invite.has("2001")) << invite.text;
    EXPECT_FALSE(invite.has("Route:")) << invite.text;
    EXPECT_TRUE(invite.header("From").find("nobody") != std::string::npos);
    second->answer(invite, 486);
    second->expect("ACK");
    EXPECT_EQ(gateway->receive(kQuietMs).text, "");
}

TEST_F(TollFraudPacketsTest, NumbersAreTheSameHoweverTheyAreWritten)
{
    startHouse(0, 0x7f & ~0x04U); // not level 2
    SipClient telephone("127.0.0.1", port);
    EXPECT_EQ(askAuthorized(telephone, "INVITE", "2001", "sip:" + std::string(kOutside) + "@" + server()), 403);
    for (const std::string& uri :
         {"sip:" + std::string(kOutside) + "@" + server(), "sip:%30049301234@" + server(),
          "sip:%30%30%34%39301234@" + server(), gatewayUri(), "sip:" + std::string(kOutside) + ";x=y@" + server(),
          "sip:" + std::string(kOutside) + "@" + server() + ";user=phone", "sip:0%00@" + server(),
          "sip:0:password@" + server()})
        EXPECT_NE(askAuthorized(telephone, "INVITE", "2001", uri), 503) << uri << " has left";
    expectSilence();
}

TEST_F(TollFraudPacketsTest, TheHostOfARequestUriDecidesNothing)
{
    startHouse();
    const std::vector<std::string> away = {"Route: <sip:127.0.0.1:" + std::to_string(gateway->port()) + ";lr>"};
    SipClient telephone("127.0.0.1", port);
    std::string text = telephone.requestText("INVITE", "2001", away, gatewayUri("2002") + ";maddr=127.0.0.1");
    const SipAnswer challenge = finalAnswer(telephone, text);
    ASSERT_EQ(challenge.status, 400) << "without Contact";
    std::vector<std::string> headers = away;
    headers.push_back("Contact: <" + gatewayUri() + ">");
    const SipAnswer asked =
        finalAnswer(telephone, telephone.requestText("INVITE", "2001", headers, gatewayUri("2002")));
    ASSERT_EQ(asked.status, 407);
    headers.push_back("Proxy-Authorization: " + SipClient::credentials(asked.header("Proxy-Authenticate"), "2001",
                                                                       "secret", "INVITE", gatewayUri("2002")));
    telephone.send(telephone.requestText("INVITE", "2001", headers, gatewayUri("2002")));
    const PhoneMessage invite = second->expect("INVITE");
    EXPECT_FALSE(invite.has(std::to_string(gateway->port()))) << invite.text;
    second->answer(invite, 200, "", {"Record-Route: <" + gatewayUri() + ";lr>"});
    second->expect("ACK");
    // Nobody confirms it: his Contact leads to the gateway, but he is where he called from.
    second->send("BYE");
    second->expect("200");
    EXPECT_EQ(gateway->receive(kQuietMs).text, "");
}

TEST_F(TollFraudPacketsTest, OverheardRequestsAreOfNoUse)
{
    startHouse();
    const std::string invite = first->invite("2002");
    second->answer(second->expect("INVITE"), 486);
    second->expect("ACK");
    first->expect("486");
    SipClient listener("127.0.0.1", port);
    // As it was, with another branch, as another call, and for another number.
    std::string again = invite;
    again.replace(again.find("branch=z9hG4bK") + 14, 1, "Q");
    const SipAnswer repeated = finalAnswer(listener, again);
    EXPECT_GE(repeated.status, 400);
    std::string other = again;
    other.replace(other.find("Call-ID: ") + 9, 1, "Q");
    other.replace(other.find(";tag=") + 5, 1, "Q");
    other.replace(other.find("branch=z9hG4bK") + 14, 1, "R");
    EXPECT_EQ(finalAnswer(listener, other).status, 407);
    for (size_t at = other.find("2002@"); at != std::string::npos; at = other.find("2002@"))
        other.replace(at, 4, kOutside);
    other.replace(other.find("branch=z9hG4bK") + 14, 1, "S");
    EXPECT_GE(finalAnswer(listener, other).status, 400);
    expectSilence();
}

TEST_F(TollFraudPacketsTest, ACallToAUserGoesToWhereHeRegisteredFrom)
{
    startHouse();
    SipClient telephone("127.0.0.1", port);
    ASSERT_EQ(telephone.registerUser("2002", "secret", {"Contact: <" + gatewayUri() + ">"}).status, 200);
    first->invite("2002");
    second->answer(second->expect("INVITE"), 180);
    SipAnswer invite = telephone.receive(static_cast<int>(kTestPatience.count() * 1000));
    EXPECT_EQ(invite.text.find("INVITE " + gatewayUri() + " SIP/2.0"), 0U) << invite.text;
    EXPECT_EQ(gateway->receive(kQuietMs).text, "");
}

TEST_F(TollFraudPacketsTest, NobodyRegistersAnother)
{
    startHouse();
    SipClient stranger("127.0.0.1", port);
    const std::string contact = "Contact: <sip:2002@" + stranger.source() + ">";
    EXPECT_EQ(stranger.request("REGISTER", "2002", {contact}).status, 401);
    EXPECT_EQ(stranger.registerUser("2001", "secret", {contact, "To: <sip:2002@" + server() + ">"}).status, 403);
    first->invite("2002");
    second->answer(second->expect("INVITE"), 180);
    first->expect("180");
    EXPECT_EQ(stranger.receive(kQuietMs).text, "");
}

TEST_F(TollFraudPacketsTest, ATelephoneSendsNoCallOutside)
{
    startHouse(0, 0);
    first->invite("2002");
    const PhoneMessage invite = second->expect("INVITE");
    second->answer(invite, 302, {}, {"Contact: <" + gatewayUri() + ">", "Contact: <sip:99100@" + server() + ">"});
    second->expect("ACK");
    first->expect("181");
    EXPECT_EQ(gateway->receive(kQuietMs).text, "");
    EXPECT_EQ(events.count("call 1 answer"), 0U);
}

TEST_F(TollFraudPacketsTest, StrangersCannotSpeakInACall)
{
    startHouse();
    first->invite("2002");
    const PhoneMessage invite = second->expect("INVITE");
    second->answer(invite, 200, CallPhone::kAnswer);
    second->expect("ACK");
    first->ack(first->expect("200"));
    SipClient stranger("127.0.0.1", port);
    // He knows the Call-ID, but no tag.
    const std::vector<std::string> guessed = {"To: <sip:2002@" + server() + ">;tag=0123456789abcdef"};
    for (const char* method : {"BYE", "INVITE", "UPDATE", "INFO", "REFER", "NOTIFY", "PRACK"}) {
        std::string text = stranger.requestText(method, "2001", guessed, "sip:2002@" + server());
        text.replace(text.find("Call-ID: ") + 9, text.find("\r\n", text.find("Call-ID: ")) - text.find("Call-ID: ") - 9,
                     first->callId());
        text.insert(text.find("Content-Length"),
                    "Contact: <" + gatewayUri() + ">\r\nRefer-To: <" + gatewayUri() + ">\r\n");
        const int status = finalAnswer(stranger, text).status;
        EXPECT_TRUE(status == 481 || status == 405) << method << ": " << status;
    }
    expectSilence();
    first->send("BYE");
    first->expect("200");
    second->expect("BYE");
}

TEST_F(TollFraudPacketsTest, FromADeniedAddressTheRightPasswordOpensNothing)
{
    startHouse();
    SipClient telephone("127.0.0.1", port);
    const std::string contact = "Contact: <sip:2001@" + telephone.source() + ">";
    for (const std::string& number : {std::string("2002"), std::string(kOutside), std::string("99100")}) {
        const std::string uri = "sip:" + number + "@" + server();
        const SipAnswer challenge = finalAnswer(telephone, telephone.requestText("INVITE", "2001", {contact}, uri));
        ASSERT_EQ(challenge.status, 407) << challenge.text;
        const std::string invite = telephone.requestText(
            "INVITE", "2001",
            {contact, "Proxy-Authorization: " + SipClient::credentials(challenge.header("Proxy-Authenticate"), "2001",
                                                                       "secret", "INVITE", uri)},
            uri);
        setIpEntry("127.0.0.0/8", 0);
        telephone.send(invite);
        EXPECT_EQ(telephone.receive(kQuietMs).text, "") << number;
        expectSilence();
        EXPECT_EQ(events.count("call 1 start"), 0U);
        ASSERT_EQ(store().DbIPBWListDel("127.0.0.0/8"), kDbOk);
        if (number == "2002") // it was not for its words that it was not heard
            continue;
        EXPECT_EQ(finalAnswer(telephone, invite).status, 503) << number;
        events.clear();
    }
}

TEST_F(TollFraudPacketsTest, AUserWithIpAuthenticationIsDeniedLikeAnybody)
{
    startHouse();
    SipClient telephone("127.0.0.1", port);
    addUser(store(), "2003", "", [&](Cdb_usr_info& user) {
        user.flags |= kUsrIpAuth;
        user.ipPort = telephone.port();
        BclCopyStr(user.ipAddr, "127.0.0.1");
    });
    const std::string uri = "sip:" + std::string(kOutside) + "@" + server();
    EXPECT_EQ(ask(telephone, "INVITE", "2003", uri), 503) << "is believed";
    setIpEntry("127.0.0.1", 0);
    telephone.send(telephone.requestText("INVITE", "2003", {"Contact: <" + telephone.contact("2003") + ">"}, uri));
    EXPECT_EQ(telephone.receive(kQuietMs).text, "");
    expectSilence();
}

TEST_F(TollFraudPacketsTest, WithinACallADeniedAddressIsNotHeardEither)
{
    startHouse();
    first->invite("2002");
    second->answer(second->expect("INVITE"), 200, CallPhone::kAnswer);
    second->expect("ACK");
    first->ack(first->expect("200"));
    setIpEntry("127.0.0.1", 0);
    first->send("REFER", {}, {"Refer-To: <" + gatewayUri() + ">", "Contact: <" + first->contact() + ">"});
    first->send("BYE");
    expectSilence();
    setIpEntry("127.0.0.1", 1);
    first->send("BYE");
    first->expect("200");
    second->expect("BYE");
}

TEST_F(TollFraudPacketsTest, MessagesStayInTheHouse)
{
    startHouse();
    SipClient telephone("127.0.0.1", port);
    EXPECT_EQ(ask(telephone, "MESSAGE", "2001", gatewayUri()), 407);
    EXPECT_EQ(askAuthorized(telephone, "MESSAGE", "2001", gatewayUri()), 503);
    EXPECT_EQ(askAuthorized(telephone, "MESSAGE", "2001", "sip:99100@" + server()), 503);
    expectSilence();
}

} // namespace
