// Transactions of calls on the SIP stack by themselves.
#include "sip/sip_stack.h"
#include "sip/stack_calls.h"
#include "sip/stack_client.h"
#include "streams/flow_table.h"
#include "support/free_port.h"
#include "support/patience.h"
#include "support/sip_client.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <sofia-sip/msg.h>
#include <sofia-sip/nta.h>
#include <sofia-sip/tport_tag.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr int kPatienceMs = static_cast<int>(kTestPatience.count()) * 1000;

class StackCallsTest : public testing::Test {
protected:
    // Before the process ends its thread has to rest.
    ~StackCallsTest() override { EXPECT_TRUE(stack.park(static_cast<unsigned>(kPatienceMs))); }

    void SetUp() override
    {
        std::thread([this] { (void)stack.run([this] { open(); }, [] {}); }).detach();
        onStack([this] { ASSERT_NE(agent, nullptr); });
    }
    void open()
    {
        auto* const noSocketYet = reinterpret_cast<url_string_t*>(-1); // NOLINT(performance-no-int-to-ptr)
        const auto drop = [](nta_agent_magic_t*, nta_agent_t*, msg_t* message, sip_t*) {
            msg_destroy(message);
            return 0;
        };
        agent = nta_agent_create(stack.root(), noSocketYet, drop, nullptr, NTATAG_UA(1), TAG_END());
        const std::string url = "sip:127.0.0.1:" + std::to_string(port) + ";transport=udp";
        ASSERT_EQ(nta_agent_add_tport(agent, reinterpret_cast<const url_string_t*>(url.c_str()),
                                      TPTAG_IDENT(addresses.front().c_str()), TAG_END()),
                  0);
    }
    // Has it done on the stack's thread.
    void onStack(const std::function<void()>& work)
    {
        auto done = std::make_shared<std::promise<void>>();
        stack.post([work, done] {
            work();
            done->set_value();
        });
        ASSERT_EQ(done->get_future().wait_for(kTestPatience), std::future_status::ready);
    }

    // A request to the telephone, and what it hears of it.
    struct Sent {
        std::unique_ptr<ClientTransaction> transaction;
        std::atomic<int> status = 0;
        [[nodiscard]] std::string branch() const
        {
            return static_cast<const StackClientTransaction&>(*transaction).branch();
        }
    };
    void send(Sent& sent, const std::string& callId)
    {
        CallRequestOut request;
        request.method = "INFO";
        request.uri = "sip:2001@" + phone.source();
        request.from = "<sip:2002@127.0.0.1>;tag=a";
        request.to = "<sip:2001@127.0.0.1>;tag=b";
        request.callId = callId;
        request.cseq = 1;
        request.destination = {"127.0.0.1", phone.port(), kTransportUdp};
        onStack([&] {
            sent.transaction =
                calls.send(request, [&sent](const CallMessage& response) { sent.status = response.status; });
        });
    }
    void answerNext()
    {
        const SipAnswer request = phone.receive(kPatienceMs);
        std::string text = "SIP/2.0 200 OK\r\n";
        for (const char* const name : {"Via", "From", "To", "Call-ID", "CSeq"})
            text += std::string(name) + ": " + request.header(name) + "\r\n";
        phone.send(text + "Content-Length: 0\r\n\r\n");
    }

    const uint16_t port = freeUdpPort();
    const std::vector<std::string> addresses = {"127.0.0.1"};
    SipClient phone{"127.0.0.1", port};
    nta_agent_t* agent = nullptr;
    SipStack& stack = *new SipStack; // never destroyed
    FlowTable& flows = *new FlowTable;
    StackCalls& calls = *new StackCalls(
        stack,
        [this] {
            return UdpSockets{agent, port, &addresses};
        },
        flows);
};

// The stack frees its part of a transaction with the sockets, whoever still holds ours: that one may neither speak of
// it nor free it once more.
TEST_F(StackCallsTest, NoRequestKnowsTheStacksTransactionOnceItsSocketsAreGone)
{
    Sent answered;
    Sent open;
    send(answered, "answered");
    answerNext();
    ASSERT_TRUE(waitUntil([&answered] { return answered.status == 200; }));
    send(open, "open");
    onStack([&] {
        EXPECT_NE(answered.branch(), "");
        EXPECT_NE(open.branch(), "");
        calls.forget(agent);
        EXPECT_EQ(answered.branch(), "");
        EXPECT_EQ(open.branch(), "");
        nta_agent_destroy(std::exchange(agent, nullptr));
    });
    EXPECT_TRUE(waitUntil([&open] { return open.status == 503; })) << "no answer will come";
    onStack([&] {
        answered.transaction.reset();
        open.transaction.reset();
    });
    EXPECT_EQ(answered.status, 200) << "that was the answer";
}

} // namespace
