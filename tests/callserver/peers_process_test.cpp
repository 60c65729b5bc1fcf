// The server as a process of its own: killed, ended, started twice.
#include "support/child_process.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"
#include "support/sipp.h"

#include <csignal>
#include <memory>
#include <thread>

namespace {

constexpr unsigned kUsers = 500;

class ProcessTest : public ServerFixture {
protected:
    ProcessTest()
    {
        fillStore([this](Cdb_fac_mgr& filled) {
            setListening(filled, "127.0.0.1", port);
            addUsers(filled, 1000, kUsers);
        });
    }
    std::unique_ptr<ChildProcess> startServer(const std::string& outputName)
    {
        return std::make_unique<ChildProcess>(std::vector<std::string>{TEST_SERVER}, scratch.file(outputName));
    }
    std::string readySip() const { return "ready on 127.0.0.1:" + std::to_string(port); }
};

TEST_F(ProcessTest, RegistrationsSurviveAKilledServer)
{
    auto server = startServer("first");
    ASSERT_TRUE(server->waitForOutput(readySip()));
    SipClient client("127.0.0.1", port);
    const std::string contact = "Contact: <" + client.contact("1000") + ">";
    EXPECT_EQ(client.registerUser("1000", "secret", {contact}).status, 200);
    std::vector<SippUser> users;
    for (unsigned i = 1; i < kUsers; ++i)
        users.push_back({std::to_string(1000 + i), "secret"});
    EXPECT_EQ(runSipp(scratch, "register.xml", port, users), 0);
    ASSERT_TRUE(server->waitForOutput("User 1000 registered"));
    for (const SippUser& user : users)
        ASSERT_TRUE(server->waitForOutput("User " + user.name + " registered"));
    server->sendSignal(SIGKILL);
    EXPECT_EQ(server->wait(), -SIGKILL);

    fillStore([](Cdb_fac_mgr& left) {
        Cdb_query query(left.GetCacheDB());
        ASSERT_EQ(query.prepare("select count(*) from tbl_sip_reg where usrStage=1 and preAddr='127.0.0.1'"), kDbOk);
        ASSERT_EQ(query.step(), kDbRow);
        EXPECT_EQ(query.getRowU32Val(0), kUsers);
    });

    server = startServer("second");
    ASSERT_TRUE(server->waitForOutput(readySip()));
    const SipAnswer listed = client.registerUser("1000", "secret", {});
    EXPECT_EQ(listed.status, 200);
    EXPECT_EQ(listed.header("Contact").find("<" + client.contact("1000") + ">;expires="), 0U);
    EXPECT_EQ(client.registerUser("1000", "secret", {contact}).status, 200);
    server->sendSignal(SIGTERM);
    EXPECT_EQ(server->wait(), 0);
    EXPECT_EQ(server->output().find("User 1000 registered"), std::string::npos) << "for the server it is a refresh";
}

TEST_F(ProcessTest, EndsCleanlyWhileTelephonesRegister)
{
    // Each round is ended at another moment, and every second one by the other signal.
    for (int round = 0; round < 20; ++round) {
        auto server = startServer("round" + std::to_string(round));
        ASSERT_TRUE(server->waitForOutput(readySip())) << server->output();
        std::atomic<bool> isOver = false;
        std::thread telephones([&] {
            SipClient client("127.0.0.1", port);
            for (unsigned i = 0; !isOver; ++i) {
                const std::string user = std::to_string(1000 + i % 50);
                const std::string expires = i % 100 < 50 ? "Expires: 600" : "Expires: 0";
                const std::string text = client.requestText("REGISTER", user, {});
                client.send(text);
                const SipAnswer challenge = client.receive(200);
                if (challenge.status != 401)
                    continue;
                client.send(
                    client.requestText("REGISTER", user,
                                       {"Contact: <sip:a@h>", expires,
                                        client.authorization(challenge.header("WWW-Authenticate"), user, "secret")}));
                (void)client.receive(200);
            }
        });
        EXPECT_TRUE(server->waitForOutput("User " + std::to_string(1000 + 2 * round) + " registered"));
        server->sendSignal(round % 2 == 0 ? SIGTERM : SIGINT);
        EXPECT_EQ(server->wait(), 0) << server->output();
        isOver = true;
        telephones.join();
    }
}

TEST_F(ProcessTest, EndsCleanlyFromTheFirstMomentOn)
{
    for (int round = 0; round < 10; ++round) {
        auto server = startServer("early" + std::to_string(round));
        ASSERT_TRUE(server->waitForOutput("signals"));
        server->sendSignal(SIGTERM);
        EXPECT_EQ(server->wait(), 0) << server->output();
    }
}

TEST_F(ProcessTest, ManySignalsAtOnceAreOneEnd)
{
    auto server = startServer("many");
    ASSERT_TRUE(server->waitForOutput(readySip()));
    for (int i = 0; i < 50; ++i) {
        server->sendSignal(SIGPIPE);
        server->sendSignal(i % 2 == 0 ? SIGTERM : SIGINT);
    }
    EXPECT_EQ(server->wait(), 0) << server->output();
}

TEST_F(ProcessTest, SecondInstanceOfADataFolderIsTold)
{
    auto first = startServer("first");
    ASSERT_TRUE(first->waitForOutput("ready"));
    auto second = startServer("second");
    EXPECT_EQ(second->wait(), 3) << second->output();
    const TemporaryFolder elsewhere;
    ChildProcess third({TEST_SERVER}, scratch.file("third"), {"PARLOVEX_HOME=" + elsewhere.path()});
    EXPECT_TRUE(third.waitForOutput("ready")) << "another data folder is another instance";
    first->sendSignal(SIGKILL);
    EXPECT_EQ(first->wait(), -SIGKILL);
    auto next = startServer("next");
    EXPECT_TRUE(next->waitForOutput("ready")) << "the lock ends with its process";
}

} // namespace
