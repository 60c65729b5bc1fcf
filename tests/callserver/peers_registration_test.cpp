#include "support/child_process.h"
#include "support/free_port.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"
#include "support/sipp.h"

#include "bcl2/date.h"
#include "bcl2/text.h"
#include "callserver/app.h"

#include <algorithm>

namespace {

using RegistrationTest = ServerFixture;

std::vector<SippUser> users(unsigned first, unsigned count, const std::string& password)
{
    std::vector<SippUser> result;
    for (unsigned i = 0; i < count; ++i)
        result.push_back({std::to_string(first + i), password});
    return result;
}

// The answer without the lines that name the caller or this very request, and without the nonce.
std::string withoutOwnMarks(const SipAnswer& answer)
{
    std::string result;
    size_t start = 0;
    for (size_t end = 0; end != std::string::npos; start = end + 2) {
        end = answer.text.find("\r\n", start);
        std::string line = answer.text.substr(start, end - start);
        for (const char* name : {"Via:", "From:", "To:", "Call-ID:", "CSeq:"})
            if (line.find(name) == 0)
                line = name;
        const std::string nonce = challengeParam(line, "nonce");
        if (!nonce.empty())
            line.replace(line.find(nonce), nonce.size(), std::to_string(nonce.size()));
        result += line + "\n";
    }
    return result;
}

TEST_F(RegistrationTest, ThousandUsersRegister)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1000); });
    start();
    EXPECT_EQ(runSipp(scratch, "register.xml", port, users(1000, 1000, "secret")), 0);
    ASSERT_TRUE(events.waitForCount("state ", 1000));
    EXPECT_EQ(sql("select count(*) from tbl_sip_reg where usrStage=1 and preAddr='127.0.0.1'"), "1000");
    EXPECT_TRUE(events.waitForCount("log User ", 1000));
    EXPECT_EQ(events.count("address "), 1000U);
}

TEST_F(RegistrationTest, PageAndEventsAgreeAtAnyMoment)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    start();
    SipClient client("127.0.0.1", port);
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <" + client.contact("1000") + ">", "User-Agent: phone"})
                  .status,
              200);
    ASSERT_TRUE(events.waitFor("address 1000 " + client.source()));
    EXPECT_EQ(sql("select preAddr||':'||prePort||' '||usrStage||' '||userAgent from tbl_sip_reg where userName='1000'"),
              client.source() + " 1 phone");
    EXPECT_TRUE(events.waitFor("state 1000 1"));
    EXPECT_TRUE(events.waitFor("agent 1000 phone"));
    EXPECT_TRUE(events.waitFor("log User 1000 registered from " + client.source() + " (phone), 3600 s."));
}

TEST_F(RegistrationTest, WrongPasswordsAndUnknownUsersAreRefused)
{
    // Nine altogether: one more would silence the source.
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 4); });
    start();
    EXPECT_EQ(runSipp(scratch, "register_refused.xml", port, users(1000, 4, "wrong")), 0);
    EXPECT_EQ(runSipp(scratch, "register_refused.xml", port, users(5000, 5, "secret")), 0);
    EXPECT_TRUE(events.waitForPart("log Registration of user 1000 from 127.0.0.1:"));
    EXPECT_TRUE(events.waitForPart("log Registration of user 5004 from 127.0.0.1:"));
    EXPECT_EQ(events.count("state "), 0U);
    EXPECT_EQ(sql("select count(*) from tbl_sip_reg"), "0");
}

TEST_F(RegistrationTest, AnswersDoNotTellWhoExists)
{
    fillStore([](Cdb_fac_mgr& filled) {
        addUsers(filled, 1000, 1);
        addUser(filled, "1001", "");
    });
    start();
    std::vector<std::string> challenges;
    std::vector<std::string> refusals;
    for (const char* user : {"1000", "1001", "9999"}) {
        SipClient client("127.0.0.1", port);
        const std::vector<std::string> headers = {"Contact: <sip:x@h>"};
        challenges.push_back(withoutOwnMarks(client.request("REGISTER", user, headers)));
        const SipAnswer refusal = client.registerUser(user, "wrong", headers);
        EXPECT_EQ(refusal.status, 403) << user;
        refusals.push_back(withoutOwnMarks(refusal));
    }
    EXPECT_EQ(challenges[0], challenges[1]);
    EXPECT_EQ(challenges[0], challenges[2]);
    EXPECT_EQ(refusals[0], refusals[1]);
    EXPECT_EQ(refusals[0], refusals[2]);
}

TEST_F(RegistrationTest, SameRefusalIsLoggedOnce)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    start();
    SipClient client("127.0.0.1", port);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(client.registerUser("1000", "wrong", {}).status, 403);
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <sip:x@h>"}).status, 200);
    ASSERT_TRUE(events.waitForPart("log User 1000 registered"));
    EXPECT_EQ(events.count("log Registration of user 1000 from " + client.source() +
                           " refused: wrong user name or password."),
              1U);
}

TEST_F(RegistrationTest, StaleNonceIsRenewed)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    start();
    SipClient client("127.0.0.1", port);
    SipAnswer answer = client.request("REGISTER", "1000");
    ASSERT_EQ(answer.status, 401);
    std::string challenge = answer.header("WWW-Authenticate");
    const std::string nonce = challengeParam(challenge, "nonce");
    challenge.replace(challenge.find(nonce), nonce.size(), std::string(nonce.size(), '0'));
    answer = client.request("REGISTER", "1000", {client.authorization(challenge, "1000", "secret")});
    EXPECT_EQ(answer.status, 401);
    challenge = answer.header("WWW-Authenticate");
    EXPECT_EQ(challengeParam(challenge, "stale"), "true");
    answer = client.request("REGISTER", "1000", {client.authorization(challenge, "1000", "secret")});
    EXPECT_EQ(answer.status, 200);
}

TEST_F(RegistrationTest, UsersUnregister)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 100); });
    start();
    EXPECT_EQ(runSipp(scratch, "unregister.xml", port, users(1000, 100, "secret")), 0);
    ASSERT_TRUE(events.waitForCount("state ", 200));
    EXPECT_EQ(sql("select count(*) from tbl_sip_reg"), "0");
    const std::vector<std::string> all = events.all();
    EXPECT_EQ(std::count(all.begin(), all.end(), "state 1000 0"), 1);
    EXPECT_EQ(std::count(all.begin(), all.end(), "agent 1000 "), 0) << "sipp names none: nothing changed";
    EXPECT_EQ(std::count(all.begin(), all.end(), "address 1000 "), 1);
}

// It says who it is (RFC 5626), but only a registrar that speaks of outbound may take it for the same one.
TEST_F(RegistrationTest, ATelephoneThatComesBackElsewhereIsASecondOne)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    start();
    SipClient former("127.0.0.1", port);
    SipClient back("127.0.0.1", port);
    const auto registerAs = [](SipClient& telephone) {
        return telephone.registerUser(
            "1000", "secret",
            {"Contact: <" + telephone.contact("1000") +
                 ">;+sip.instance=\"<urn:uuid:00000000-0000-1000-8000-000a95a0e128>\";reg-id=1",
             "Supported: path, outbound"});
    };
    EXPECT_EQ(registerAs(former).status, 200);
    const SipAnswer answer = registerAs(back);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.text.find("outbound"), std::string::npos) << answer.text;
    for (const SipClient* telephone : {&former, &back})
        EXPECT_NE(answer.text.find(telephone->contact("1000")), std::string::npos) << answer.text;
}

TEST_F(RegistrationTest, RegistrationExpiresByItself)
{
    // Two registrations of an earlier run that end in three and in five seconds.
    fillStore([](Cdb_fac_mgr& filled) {
        addUsers(filled, 1000, 1);
        Cdb_user_bindings bindings;
        bindings.userName = "1000";
        bindings.hasRow = true;
        BclCopyStr(bindings.row.userName, "1000");
        BclCopyStr(bindings.row.preAddr, "127.0.0.1");
        bindings.row.prePort = 5070;
        bindings.row.usrStage = kUsrIdle;
        for (const uint16_t source : {5070, 5071}) {
            Cdb_sip_contact& contact = bindings.contacts.emplace_back();
            BclCopyStr(contact.userName, "1000");
            BclCopyStr(contact.contact, ("sip:1000@127.0.0.1:" + std::to_string(source)).c_str());
            BclCopyStr(contact.srcAddr, "127.0.0.1");
            contact.srcPort = source;
            // A third of their minute longer than stored: refreshes within it would not have been.
            contact.expiresAt = BclGetCurrTimestamp() - 20 + 3 + int64_t{2} * (source - 5070);
            contact.registeredAt = contact.expiresAt - 60;
        }
        ASSERT_EQ(filled.DbWriteRegistrations({bindings}), kDbOk);
    });
    start();
    const std::string expired = "log The registration of user 1000 from 127.0.0.1:";
    EXPECT_TRUE(events.waitFor(expired + "5071 has expired."));
    EXPECT_TRUE(events.waitFor("state 1000 0"));
    EXPECT_EQ(sql("select count(*) from tbl_sip_reg"), "0");
    // Each for itself: the user stayed reachable under the second one's address.
    std::vector<std::string> told = events.all();
    std::erase_if(told, [](const std::string& entry) { return entry.find("1000") == std::string::npos; });
    EXPECT_EQ(told, (std::vector<std::string>{"address 1000 127.0.0.1:5071", expired + "5070 has expired.",
                                              "state 1000 0", "address 1000 ", expired + "5071 has expired."}));
}

TEST_F(RegistrationTest, UserDeletedAndAddedAgainBeginsUnregistered)
{
    fillStore([this](Cdb_fac_mgr& filled) {
        setListening(filled, "127.0.0.1", port);
        addUsers(filled, 1000, 1);
        Cdb_user_bindings bindings;
        bindings.userName = "1000";
        bindings.hasRow = true;
        BclCopyStr(bindings.row.userName, "1000");
        Cdb_sip_contact& contact = bindings.contacts.emplace_back();
        BclCopyStr(contact.userName, "1000");
        BclCopyStr(contact.contact, "sip:x@h");
        contact.registeredAt = BclGetCurrTimestamp();
        contact.expiresAt = BclGetCurrTimestamp() + 3600;
        ASSERT_EQ(filled.DbWriteRegistrations({bindings}), kDbOk);
    });
    // Not running yet, so that both changes are there before it looks at the first.
    static Capp& server = *new Capp; // never destroyed
    ASSERT_EQ(server.GetFacMgr()->DbDelUsrInfo("1000"), kDbOk);
    addUser(*server.GetFacMgr(), "1000", "secret");
    server.Run();
    EXPECT_TRUE(events.waitFor("log User 1000 was deleted and is no longer registered."));
    const SipAnswer listed = SipClient("127.0.0.1", port).registerUser("1000", "secret", {});
    EXPECT_EQ(listed.status, 200);
    EXPECT_EQ(listed.header("Contact"), "");
    CloseServer();
}

TEST_F(RegistrationTest, DeletedUserIsUnregistered)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    start();
    SipClient client("127.0.0.1", port);
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <sip:x@h>"}).status, 200);
    ASSERT_TRUE(events.waitFor("state 1000 1"));
    ASSERT_EQ(store().DbDelUsrInfo("1000"), kDbOk);
    EXPECT_TRUE(events.waitFor("state 1000 0"));
    EXPECT_EQ(sql("select count(*) from tbl_sip_reg"), "0");
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <sip:x@h>"}).status, 403);
}

TEST_F(RegistrationTest, NewUsersAndPasswordsCountAtOnce)
{
    start();
    SipClient client("127.0.0.1", port);
    EXPECT_EQ(client.registerUser("1000", "secret", {}).status, 403);
    addUser(store(), "1000", "secret");
    EXPECT_EQ(client.registerUser("1000", "secret", {}).status, 200);
    addUser(store(), "1000", "other");
    EXPECT_EQ(client.registerUser("1000", "secret", {}).status, 403);
}

TEST_F(RegistrationTest, UserWithIpAuthenticationIsShownAtOnce)
{
    start();
    addUser(store(), "2000", "", [](Cdb_usr_info& record) {
        record.flags |= kUsrIpAuth;
        BclCopyStr(record.ipAddr, "192.0.2.9");
        record.ipPort = 5090;
    });
    EXPECT_TRUE(events.waitFor("state 2000 1"));
    EXPECT_TRUE(events.waitFor("address 2000 192.0.2.9:5090"));
    EXPECT_EQ(sql("select preAddr from tbl_sip_reg where userName='2000'"), "192.0.2.9");
}

TEST_F(RegistrationTest, NothingIsAcceptedThatCouldNoLongerBeStored)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    start();
    SipClient client("127.0.0.1", port);
    EXPECT_EQ(client.registerUser("1000", "secret", {"Contact: <sip:x@h>"}).status, 200);
    CloseServer();
    EXPECT_EQ(sql("select usrStage from tbl_sip_reg where userName='1000'"), "1") << "written before it returned";
    client.send(client.requestText("OPTIONS", "1000", {}));
    // It would have answered before another server that is started and asked later.
    const TemporaryFolder elsewhere;
    const uint16_t otherPort = freeUdpPort();
    {
        Cdb_options options;
        options.dataFolder = elsewhere.path();
        Cdb_fac_mgr otherStore(options);
        setListening(otherStore, "127.0.0.1", otherPort);
    }
    ChildProcess other({TEST_SERVER}, scratch.file("other"), {"PARLOVEX_HOME=" + elsewhere.path()});
    ASSERT_TRUE(other.waitForOutput("ready on 127.0.0.1:" + std::to_string(otherPort))) << other.output();
    EXPECT_EQ(SipClient("127.0.0.1", otherPort).request("OPTIONS", "1000").status, 200);
    EXPECT_EQ(client.receive(0).status, 0) << "the server is silent";
}

} // namespace
