// The loop of the SIP thread by itself.
#include "sip/sip_stack.h"
#include "support/patience.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <sofia-sip/su_wait.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

class SipStackTest : public testing::Test {
protected:
    // Before the process ends its thread has to rest.
    ~SipStackTest() override { EXPECT_TRUE(stack.park(kParkMs)); }

    void start(const std::function<void()>& onStart = [] {})
    {
        std::thread([this, onStart] { (void)stack.run(onStart, [this] { ++rounds; }); }).detach();
        ASSERT_TRUE(waitUntil([this] { return rounds > 0; }));
    }
    // How long so many rounds take. A busy machine makes it longer.
    [[nodiscard]] Milliseconds timeOf(unsigned count) const
    {
        const unsigned before = rounds;
        const auto begin = Clock::now();
        EXPECT_TRUE(waitUntil([&] { return rounds - before >= count; }));
        return std::chrono::duration_cast<Milliseconds>(Clock::now() - begin);
    }

    static constexpr unsigned kParkMs = static_cast<unsigned>(kTestPatience.count()) * 1000;
    SipStack& stack = *new SipStack; // never destroyed
    std::atomic<unsigned> rounds = 0;
};

TEST_F(SipStackTest, SleepsWhileNothingHappens)
{
    start();
    EXPECT_GE(timeOf(20), Milliseconds(1000));
}

// The stack itself would not wait at all.
TEST_F(SipStackTest, SleepsAlsoWhileATimerIsAlwaysNear)
{
    start([this] {
        su_timer_t* timer = su_timer_create(su_root_task(stack.root()), 1);
        ASSERT_EQ(su_timer_run(
                      timer, [](su_root_magic_t*, su_timer_t*, su_timer_arg_t*) {}, nullptr),
                  0);
    });
    EXPECT_GE(timeOf(100), Milliseconds(250));
}

TEST_F(SipStackTest, DoesPostedWorkInItsOrder)
{
    start();
    std::atomic<unsigned> done = 0;
    for (unsigned i = 0; i < 100; ++i)
        stack.post([&done, i] { done += done == i ? 1 : 0; });
    EXPECT_TRUE(waitUntil([&] { return done == 100; }));
}

} // namespace
