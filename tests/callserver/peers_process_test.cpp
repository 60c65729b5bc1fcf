// The server as a process of its own: killed, ended, started twice.
#include "support/child_process.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"
#include "support/sipp.h"

#include "bcl2/text.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <thread>

namespace {

constexpr unsigned kUsers = 500;
constexpr unsigned kBusyUsers = 50; // that register again and again

unsigned rounds(const char* variable, unsigned usual)
{
    const char* const wanted = std::getenv(variable);
    return wanted == nullptr ? usual : static_cast<unsigned>(std::max(1, std::atoi(wanted)));
}

// Registers one user after another as fast as the server answers, each time as a telephone of another name ("phone N",
// growing), so that each registration is stored, published and logged. Every other turn of the users signs them off.
class BusyTelephones {
public:
    explicit BusyTelephones(uint16_t port, unsigned firstName = 0, bool isSigningOff = true)
        : _name(firstName),
          _thread([this, port, isSigningOff](const std::stop_token& stop) { work(stop, port, isSigningOff); })
    {}
    // The name that no telephone has had yet, when they have stopped.
    unsigned stop()
    {
        _thread.request_stop();
        _thread.join();
        return _name;
    }

private:
    static constexpr int kAnswerMs = 200; // the server may be gone at any moment

    void work(const std::stop_token& stop, uint16_t port, bool isSigningOff)
    {
        SipClient client("127.0.0.1", port);
        for (; !stop.stop_requested(); ++_name) {
            const std::string user = std::to_string(1000 + _name % kBusyUsers);
            client.send(client.requestText("REGISTER", user, {}));
            const SipAnswer challenge = client.receive(kAnswerMs);
            if (challenge.status != 401)
                continue;
            const bool isLast = isSigningOff && _name / kBusyUsers % 2 == 1;
            client.send(
                client.requestText("REGISTER", user,
                                   {"Contact: <sip:a@h>", isLast ? "Expires: 0" : "Expires: 600",
                                    "User-Agent: phone " + std::to_string(_name),
                                    client.authorization(challenge.header("WWW-Authenticate"), user, "secret")}));
            (void)client.receive(kAnswerMs);
        }
    }

    unsigned _name;
    std::jthread _thread;
};

// The number of the telephone that each user was told to have last, in the lines of the server:
// "log User 1000 registered from 127.0.0.1:5060 (phone 17), 600 s."
std::map<std::string, unsigned> toldTelephones(const std::string& output)
{
    std::map<std::string, unsigned> result;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        constexpr std::string_view kBegin = "log User ";
        constexpr std::string_view kName = "(phone ";
        const size_t name = line.find(kName);
        // The last line may be cut by the end of the server.
        if (line.starts_with(kBegin) && name != std::string::npos && line.ends_with(" s."))
            result[line.substr(kBegin.size(), 4)] = static_cast<unsigned>(std::stoul(line.substr(name + kName.size())));
    }
    return result;
}

std::map<std::string, unsigned> storedTelephones(Cdb_fac_mgr& store)
{
    std::map<std::string, unsigned> result;
    for (const Cdb_user_bindings& bindings : store.DbReadRegistrations()) {
        constexpr std::string_view kName = "phone ";
        const std::string agent(BclFieldText(bindings.row.userAgent));
        if (bindings.contacts.size() == 1 && bindings.row.usrStage == kUsrIdle && agent.starts_with(kName) &&
            BclFieldText(bindings.contacts.front().userAgent) == agent)
            result[bindings.userName] = static_cast<unsigned>(std::stoul(agent.substr(kName.size())));
    }
    return result;
}

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

TEST_F(ProcessTest, KilledAtAnyMomentItHasStoredWhatItTold)
{
    std::map<std::string, unsigned> told;
    unsigned name = 0;
    const unsigned count = rounds("PARLOVEX_KILL_ROUNDS", 20);
    for (unsigned round = 0; round < count; ++round) {
        auto server = startServer("killed" + std::to_string(round));
        ASSERT_TRUE(server->waitForOutput(readySip())) << server->output();
        const unsigned last = name + 1 + round * 37 % (4 * kBusyUsers); // each round gets to another moment
        BusyTelephones telephones(port, name, false);
        ASSERT_TRUE(server->waitForOutput("(phone " + std::to_string(last) + ")")) << server->output();
        server->sendSignal(SIGKILL);
        EXPECT_EQ(server->wait(), -SIGKILL);
        name = telephones.stop();
        for (const auto& [user, telephone] : toldTelephones(server->output()))
            told[user] = telephone;
        fillStore([&](Cdb_fac_mgr& left) {
            ASSERT_EQ(left.DbGetUsrCnt(), kUsers);
            const std::map<std::string, unsigned> stored = storedTelephones(left);
            for (const auto& [user, telephone] : told) {
                ASSERT_TRUE(stored.contains(user)) << user << " is gone after round " << round;
                ASSERT_GE(stored.at(user), telephone) << user << " is as before in round " << round;
            }
        });
    }
    EXPECT_EQ(told.size(), kBusyUsers);
}

TEST_F(ProcessTest, EndsCleanlyWhileTelephonesRegister)
{
    // Each round is ended at another moment, and every second one by the other signal.
    const unsigned count = rounds("PARLOVEX_LEAVE_ROUNDS", 20);
    for (unsigned round = 0; round < count; ++round) {
        auto server = startServer("round" + std::to_string(round));
        ASSERT_TRUE(server->waitForOutput(readySip())) << server->output();
        BusyTelephones telephones(port);
        EXPECT_TRUE(server->waitForOutput("User " + std::to_string(1000 + 2 * round % kBusyUsers) + " registered"));
        server->sendSignal(round % 2 == 0 ? SIGTERM : SIGINT);
        EXPECT_EQ(server->wait(), 0) << server->output();
        telephones.stop();
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
