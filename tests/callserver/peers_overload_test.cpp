// The server as a process of its own that cannot keep up, because it is stopped in the middle of its work.
#include "support/call_phone.h"
#include "support/child_process.h"
#include "support/patience.h"
#include "support/server_fixture.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kTooLong{300};
constexpr std::chrono::milliseconds kStandstill{1500};
constexpr int kAttempts = 40;
constexpr int kCrowd = 60;        // calls: more than it serves in a moment, less than its socket takes
constexpr int kMinRetryAfter = 5; // seconds
constexpr int kMaxRetryAfter = 15;

class OverloadedServerTest : public ServerFixture {
protected:
    OverloadedServerTest()
    {
        fillStore([this](Cdb_fac_mgr& filled) {
            setListening(filled, "127.0.0.1", port);
            addUsers(filled, 2001, 4);
        });
        // One source sends what would come from many.
        (void)home.write("switch.ini", "[switch]\ngVarSipChallengeRate=0\n");
        server = std::make_unique<ChildProcess>(std::vector<std::string>{TEST_SERVER}, scratch.file("server"));
        EXPECT_TRUE(server->waitForOutput("ready on 127.0.0.1:" + std::to_string(port))) << server->output();
    }
    // What `sends` sends waits for longer than an overloaded server bears.
    template <class Sends>
    void whileStopped(const Sends& sends) const
    {
        server->stop();
        sends();
        std::this_thread::sleep_for(kTooLong);
        server->resume();
    }
    // Stops it while it works on many calls, so that it has worked without a pause for long, until it refuses some.
    void overload() const
    {
        SipClient crowd("127.0.0.1", port);
        int refused = 0;
        for (int i = 0; i < kAttempts && refused == 0; ++i) {
            server->stop();
            for (int sent = 0; sent < kCrowd; ++sent)
                crowd.send(inviteOf(crowd, "2002"));
            server->resume();
            // With the first answer it is in the midst of them.
            refused += hear(crowd).status == 503 ? 1 : 0;
            server->stop();
            std::this_thread::sleep_for(kStandstill);
            server->resume();
            for (int heard = 1; heard < kCrowd; ++heard)
                refused += hear(crowd).status == 503 ? 1 : 0;
        }
        EXPECT_NE(refused, 0);
    }
    static void talk(CallPhone& caller, CallPhone& called)
    {
        caller.invite(called.user());
        const PhoneMessage invite = called.expect("INVITE");
        called.answer(invite, 200, CallPhone::kAnswer);
        called.expect("ACK");
        caller.ack(caller.expect("200"));
    }
    // A new call.
    static std::string inviteOf(SipClient& client, const std::string& dialed)
    {
        const std::string uri = "sip:" + dialed + "@" + client.serverUri().substr(4);
        return client.requestText("INVITE", "2003", {"To: <" + uri + ">", "Contact: <" + client.contact("2003") + ">"},
                                  uri);
    }
    static SipAnswer hear(const SipClient& client)
    {
        return client.receive(static_cast<int>(kTestPatience.count()) * 1000);
    }

    std::unique_ptr<ChildProcess> server;
};

TEST_F(OverloadedServerTest, NewCallsAreRefusedForAWhileAndThoseInProgressGoOn)
{
    constexpr int kCalls = 50;
    CallPhone caller(port, "2001");
    CallPhone called(port, "2002");
    caller.registerNow();
    called.registerNow();
    talk(caller, called);
    SipClient stranger("127.0.0.1", port);
    overload();
    whileStopped([&] {
        for (int i = 0; i < kCalls; ++i)
            stranger.send(inviteOf(stranger, "2002"));
        caller.send("INFO", "Signal=1");
    });
    for (int i = 0; i < kCalls; ++i) {
        const SipAnswer refused = hear(stranger);
        ASSERT_EQ(refused.status, 503) << refused.text;
        const int seconds = std::stoi("0" + refused.header("Retry-After"));
        EXPECT_GE(seconds, kMinRetryAfter);
        EXPECT_LE(seconds, kMaxRetryAfter);
    }
    EXPECT_TRUE(server->waitForOutput("log Overload: "));
    // The call does not know of it.
    called.answer(called.expect("INFO"), 200);
    EXPECT_TRUE(caller.expect("200").has(" INFO\r\n"));
    caller.send("BYE");
    caller.expect("200");
    called.answer(called.expect("BYE"), 200);
    // Nor do those who come later.
    talk(caller, called);
}

TEST_F(OverloadedServerTest, ACallThatEndsMeanwhileEnds)
{
    CallPhone caller(port, "2001");
    CallPhone called(port, "2002");
    caller.registerNow();
    called.registerNow();
    talk(caller, called);
    SipClient stranger("127.0.0.1", port);
    overload();
    whileStopped([&] {
        stranger.send(inviteOf(stranger, "2002"));
        caller.send("BYE");
    });
    EXPECT_EQ(hear(stranger).status, 503);
    caller.expect("200");
    called.answer(called.expect("BYE"), 200);
}

TEST_F(OverloadedServerTest, TelephonesThatRegisterAreServed)
{
    SipClient telephone("127.0.0.1", port);
    overload();
    whileStopped([&] {
        telephone.send(inviteOf(telephone, "2002"));
        telephone.send(telephone.requestText("REGISTER", "2004",
                                             {"Contact: <" + telephone.contact("2004") + ">", "Expires: 600"}));
    });
    EXPECT_EQ(hear(telephone).status, 503);
    EXPECT_EQ(hear(telephone).status, 401) << "asked for the password, as ever";
}

TEST_F(OverloadedServerTest, HelpCanBeCalled)
{
    SipClient telephone("127.0.0.1", port);
    overload();
    whileStopped([&] {
        telephone.send(inviteOf(telephone, "2002"));
        telephone.send(inviteOf(telephone, "112"));
    });
    EXPECT_EQ(hear(telephone).status, 503);
    EXPECT_EQ(hear(telephone).status, 407) << "asked for the password, as ever";
}

} // namespace
