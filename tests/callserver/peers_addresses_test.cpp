// The SIP sockets of a machine whose addresses come and go.
#include "support/child_process.h"
#include "support/event_log.h"
#include "support/free_port.h"
#include "support/no_calls.h"
#include "support/sip_client.h"

#include "sip/sip_agent.h"
#include "sip/sip_stack.h"
#include "streams/flow_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <optional>
#include <thread>

namespace {

class NoRegistrar final : public NoCalls {
public:
    [[nodiscard]] bool admits(const SipSource&, bool) override { return true; }
    [[nodiscard]] RegisterReply onRegister(const RegisterRequest&) override { return {}; }
};

// Never destroyed: the stack's thread goes on.
struct Server {
    std::vector<std::string> present = {"127.0.0.2"}; // the machine's addresses; the stack's thread reads them
    SipStack stack;
    NoRegistrar registrar;
    FlowTable flows;
    SipAgent agent{stack, registrar, [this] { return present; }, flows};

    static Server& make()
    {
        static std::vector<Server*>& all = *new std::vector<Server*>;
        return *all.emplace_back(new Server);
    }
};

class AddressesTest : public testing::Test {
protected:
    AddressesTest()
    {
        std::thread([&running = stack] { (void)running.run([] {}, [] {}); }).detach();
    }
    ~AddressesTest() override { EXPECT_TRUE(stack.park(kLongMs)); }

    // On the stack's thread; returns when it is done.
    void serve(const std::string& address = {})
    {
        onStack([&] { agent.serveUdp(address, port); });
    }
    void follow(std::vector<std::string> addresses)
    {
        onStack([&] {
            present = std::move(addresses);
            agent.followAddresses();
        });
    }
    [[nodiscard]] std::vector<std::string> newLines()
    {
        std::vector<std::string> lines = events.all();
        events.clear();
        return lines;
    }
    [[nodiscard]] std::string at(const std::string& address) const { return address + ":" + std::to_string(port); }
    [[nodiscard]] std::string ready(const std::string& addresses) const
    {
        return "log SIP over UDP is ready on " + addresses + ".";
    }
    [[nodiscard]] std::string taken(const std::string& address) const
    {
        return "log SIP over UDP cannot use port " + std::to_string(port) + " of " + address +
               ": Address already in use.";
    }
    [[nodiscard]] bool isServed(const std::string& address) const
    {
        return SipClient(address, port).request("OPTIONS", "x").status == 200;
    }

    static constexpr unsigned kLongMs = 30'000; // a bound, not an expectation
    EventLog& events = EventLog::subscribed();
    std::optional<TakenUdpPort> blocker{std::in_place}; // keeps the port of 127.0.0.1
    const uint16_t port = blocker->port();
    Server& server = Server::make();
    SipStack& stack = server.stack;
    SipAgent& agent = server.agent;
    std::vector<std::string>& present = server.present;

private:
    void onStack(const std::function<void()>& work)
    {
        std::promise<void> done;
        stack.post([&] {
            work();
            done.set_value();
        });
        ASSERT_EQ(done.get_future().wait_for(kTestPatience), std::future_status::ready);
    }
};

using Lines = std::vector<std::string>;

TEST_F(AddressesTest, AppearingAddressIsServed)
{
    serve();
    EXPECT_EQ(newLines(), Lines{ready(at("127.0.0.2"))});
    follow({"127.0.0.2"});
    EXPECT_EQ(newLines(), Lines{});
    follow({"127.0.0.2", "127.0.0.3", "127.0.0.4"});
    EXPECT_EQ(newLines(), Lines{ready(at("127.0.0.3") + " and " + at("127.0.0.4"))});
    EXPECT_TRUE(isServed("127.0.0.2"));
    EXPECT_TRUE(isServed("127.0.0.4"));
}

TEST_F(AddressesTest, FailedAddressIsTriedAgainAndToldOnce)
{
    present = {"127.0.0.1", "127.0.0.2"};
    serve();
    EXPECT_EQ(newLines(), (Lines{taken("127.0.0.1"), ready(at("127.0.0.2"))}));
    follow(present);
    follow({"127.0.0.1", "127.0.0.2", "127.0.0.3"});
    EXPECT_EQ(newLines(), Lines{ready(at("127.0.0.3"))});
    blocker.reset();
    follow({"127.0.0.1", "127.0.0.2", "127.0.0.3"});
    EXPECT_EQ(newLines(), Lines{ready(at("127.0.0.1"))});
    EXPECT_TRUE(isServed("127.0.0.1"));
}

TEST_F(AddressesTest, AppearingAddressThatFailsIsToldEachTimeItAppears)
{
    serve();
    (void)newLines();
    follow({"127.0.0.1", "127.0.0.2"});
    EXPECT_EQ(newLines(), Lines{taken("127.0.0.1")});
    follow({"127.0.0.2"});
    EXPECT_EQ(newLines(), Lines{});
    follow({"127.0.0.1", "127.0.0.2"});
    EXPECT_EQ(newLines(), Lines{taken("127.0.0.1")});
}

TEST_F(AddressesTest, AddressThatComesBackIsServedAsBefore)
{
    present = {"127.0.0.2", "127.0.0.3"};
    serve();
    (void)newLines();
    follow({"127.0.0.2"});
    follow({"127.0.0.2", "127.0.0.3"});
    EXPECT_EQ(newLines(), Lines{});
    EXPECT_TRUE(isServed("127.0.0.3"));
}

TEST_F(AddressesTest, FirstAddressMayComeLate)
{
    present = {};
    serve();
    EXPECT_EQ(newLines(), Lines{"log SIP over UDP waits for the machine to have a network address."});
    follow({"127.0.0.2"});
    EXPECT_EQ(newLines(), Lines{ready(at("127.0.0.2"))});
    EXPECT_TRUE(isServed("127.0.0.2"));
}

TEST_F(AddressesTest, ManyLostAddressesAreGivenUp)
{
    present.clear();
    for (int i = 1; i <= 20; ++i)
        present.push_back("127.0.1." + std::to_string(i));
    serve();
    (void)newLines();
    follow({"127.0.0.2"});
    EXPECT_EQ(newLines(), Lines{ready(at("127.0.0.2"))});
    EXPECT_TRUE(isServed("127.0.0.2"));
}

TEST_F(AddressesTest, SavedRecordBindsWhatIsMissing)
{
    present = {"127.0.0.1", "127.0.0.2"};
    serve();
    (void)newLines();
    serve();
    EXPECT_EQ(newLines(), Lines{taken("127.0.0.1")}) << "who saves is told again";
    blocker.reset();
    serve();
    EXPECT_EQ(newLines(), Lines{ready(at("127.0.0.1"))});
    serve();
    EXPECT_EQ(newLines(), Lines{});
    EXPECT_TRUE(isServed("127.0.0.1"));
    EXPECT_TRUE(isServed("127.0.0.2"));
}

TEST_F(AddressesTest, NothingBoundIsNotCalledReady)
{
    present = {};
    serve();
    (void)newLines();
    serve("192.0.2.200"); // there is no former one to stay on
    EXPECT_EQ(newLines(), Lines{"log SIP over UDP cannot use port " + std::to_string(port) +
                                " of 192.0.2.200: Cannot assign requested address."});
    follow({"127.0.0.2"});
    EXPECT_EQ(newLines(), Lines{ready(at("127.0.0.2"))});
}

TEST_F(AddressesTest, AnAddressThatCannotBeHadLeavesTheServedSocketsOpen)
{
    serve();
    (void)newLines();
    present = {};
    serve("192.0.2.200");
    EXPECT_EQ(newLines(),
              Lines{"log SIP over UDP cannot use port " + std::to_string(port) +
                    " of 192.0.2.200: Cannot assign requested address; it stays on " + at("127.0.0.2") + "."});
    EXPECT_TRUE(isServed("127.0.0.2"));
}

} // namespace
