#include "trace/tracing.h"

#include "callserver/event_ids.h"
#include "callserver/fake_clock.h"

#include "bcl2/event_bus.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

using Lines = std::vector<std::string>;
using Way = MessageTrace::Way;

class TracingTest : public testing::Test {
protected:
    TracingTest()
    {
        BclSubEvent(kEvtLog, this, [](void* context, void* line, void*) {
            static_cast<TracingTest*>(context)->lines.emplace_back(static_cast<const char*>(line));
        });
    }
    void note(const std::string& message, const std::string& address = "192.0.2.1", Way way = Way::Received)
    {
        messages.note(way, {address, 5060, kTransportUdp}, message);
    }
    Lines take() { return std::exchange(lines, {}); }
    // The one line that the order gives.
    std::string answerTo(const std::function<void()>& order)
    {
        order();
        const Lines said = take();
        return said.size() == 1 ? said.front() : "not one line but " + std::to_string(said.size());
    }
    void trace(const char* address)
    {
        tracing.onAddress(address);
        take();
    }

    Lines lines;
    FakeClock clock;
    MessageTrace messages{clock};
    Tracing tracing{messages};
};

TEST_F(TracingTest, WritesNothingWhileItIsOff)
{
    note("OPTIONS sip:a SIP/2.0\r\n\r\n");
    EXPECT_EQ(lines, Lines());
}

TEST_F(TracingTest, WritesTheLinesOfAMessageAndTheSizeOfItsBody)
{
    EXPECT_EQ(answerTo([this] { tracing.onAddress("192.0.2.1"); }), "Trace on: SIP messages to and from 192.0.2.1.");
    note("OPTIONS sip:a SIP/2.0\r\nTo: <sip:a>\r\n\r\nv=0\r\n");
    note("SIP/2.0 200 OK\r\n\r\n", "192.0.2.1", Way::Sent);
    note("junk", "192.0.2.1", Way::Dropped);
    EXPECT_EQ(lines, (Lines{
                         "Trace: received from 192.0.2.1:5060 over UDP, 43 bytes.",
                         "Trace:   OPTIONS sip:a SIP/2.0",
                         "Trace:   To: <sip:a>",
                         "Trace:   (a body of 5 bytes)",
                         "Trace: sent to 192.0.2.1:5060 over UDP, 18 bytes.",
                         "Trace:   SIP/2.0 200 OK",
                         "Trace: received and dropped from 192.0.2.1:5060 over UDP, 4 bytes.",
                         "Trace:   junk",
                     }));
}

TEST_F(TracingTest, OtherAddressesAreLeftOut)
{
    trace("192.0.2.1");
    note("OPTIONS sip:a SIP/2.0\r\n\r\n", "192.0.2.11");
    EXPECT_EQ(lines, Lines());
}

TEST_F(TracingTest, AnAddressMayBeWrittenInAnyForm)
{
    for (const char* const form : {" 2001:DB8:0:0::1 ", "2001:db8::0:1"}) {
        trace(form);
        note("x", "2001:db8::1");
        EXPECT_EQ(take().size(), 2U) << form;
    }
    trace("::ffff:192.0.2.1");
    note("x");
    EXPECT_EQ(take().size(), 2U);
}

TEST_F(TracingTest, WhatIsNoAddressIsRefusedAndChangesNothing)
{
    trace("192.0.2.1");
    for (const char* const bad : {"abc", "192.0.2", "192.0.2.256", "192.0.2.1:5060", "localhost"})
        EXPECT_EQ(answerTo([&] { tracing.onAddress(bad); }),
                  std::string("No trace was set: \"") + bad + "\" is not an IP address.");
    EXPECT_EQ(answerTo([this] { tracing.onAddress("  "); }), "No trace was set: \"\" is not an IP address.");
    EXPECT_EQ(answerTo([this] { tracing.onAddress(nullptr); }), "No trace was set: \"\" is not an IP address.");
    note("x");
    EXPECT_EQ(lines.size(), 2U) << "the former trace goes on";
}

TEST_F(TracingTest, TheEndOfATraceNamesIt)
{
    trace("192.0.2.1");
    EXPECT_EQ(answerTo([this] { tracing.stop(); }), "Trace off: SIP messages to and from 192.0.2.1.");
    note("x");
    EXPECT_EQ(lines, Lines());
    EXPECT_EQ(answerTo([this] { tracing.stop(); }), "No trace was on.");
}

TEST_F(TracingTest, ATraceByNumberTakesThePlaceOfTheOneBefore)
{
    trace("192.0.2.1");
    tracing.onCallerPrefix(" 10");
    EXPECT_EQ(take().front(), "Trace on: calls whose caller number begins with 10.");
    note("x");
    EXPECT_EQ(lines, Lines());
    tracing.onCalledPrefix("0049");
    EXPECT_EQ(take().front(), "Trace on: calls whose called number begins with 0049.");
    EXPECT_EQ(answerTo([this] { tracing.stop(); }), "Trace off: calls whose called number begins with 0049.");
}

TEST_F(TracingTest, ACallIsFollowedOnceItsNumberMatches)
{
    tracing.onCallerPrefix("20");
    take();
    const std::string message = "INVITE sip:a SIP/2.0\r\nCall-ID: one\r\n\r\n";
    note(message);
    EXPECT_EQ(take(), Lines()) << "nobody has said yet whose call it is";
    EXPECT_FALSE(messages.followIf("one", "120", "2001")) << "from the left";
    EXPECT_TRUE(messages.followIf("one", "2001", "3001"));
    EXPECT_FALSE(messages.followIf("one", "2001", "3001")) << "it is followed already";
    note(message, "192.0.2.7");
    note("SIP/2.0 180 Ringing\r\ni: one\r\n\r\n", "192.0.2.8", Way::Sent);
    EXPECT_EQ(take().size(), 6U);
    note("BYE sip:a SIP/2.0\r\nCall-ID: two\r\n\r\n");
    EXPECT_EQ(take(), Lines());
    messages.followToo("two", "other");
    note("BYE sip:a SIP/2.0\r\nCall-ID: two\r\n\r\n");
    EXPECT_EQ(take(), Lines());
    messages.followToo("two", "one");
    note("BYE sip:a SIP/2.0\r\nCall-ID: two\r\n\r\n");
    EXPECT_EQ(take().size(), 3U) << "the other leg of the call";

    tracing.onCalledPrefix("30");
    take();
    note(message);
    EXPECT_EQ(take(), Lines()) << "a new trace forgets the calls of the one before";
    EXPECT_TRUE(messages.followIf("three", "2001", "3001"));
    EXPECT_TRUE(messages.follows("three"));
    tracing.stop();
    EXPECT_FALSE(messages.follows("three"));
    EXPECT_FALSE(messages.followIf("four", "2001", "3001"));
}

TEST_F(TracingTest, TheOldestFollowedCallIsLeftForANewOne)
{
    tracing.onCallerPrefix("2");
    for (size_t i = 0; i <= MessageTrace::kMaxCalls; ++i)
        EXPECT_TRUE(messages.followIf("call" + std::to_string(i), "2", ""));
    EXPECT_FALSE(messages.follows("call0"));
    EXPECT_TRUE(messages.follows("call1"));
}

TEST_F(TracingTest, SessionDescriptionsAreWrittenWithoutTheirKeys)
{
    trace("192.0.2.1");
    note("INVITE sip:a SIP/2.0\r\nc: Application/SDP\r\n\r\nv=0\r\n"
         "a=crypto:1 AES_CM_128_HMAC_SHA1_80 inline:c2VjcmV0|2^20\r\n");
    EXPECT_EQ(take(),
              (Lines{"Trace: received from 192.0.2.1:5060 over UDP, 106 bytes.", "Trace:   INVITE sip:a SIP/2.0",
                     "Trace:   c: Application/SDP", "Trace:   (a body of 62 bytes)", "Trace:   v=0",
                     "Trace:   a=crypto:1 AES_CM_128_HMAC_SHA1_80 inline:...|2^20"}));
    note("MESSAGE sip:a SIP/2.0\r\nContent-Type: text/plain\r\n\r\nprivate\r\n");
    EXPECT_EQ(take().back(), "Trace:   (a body of 9 bytes)");
}

TEST_F(TracingTest, ABlankNumberIsRefused)
{
    EXPECT_EQ(answerTo([this] { tracing.onCallerPrefix(" "); }), "No trace was set: the caller number is blank.");
    EXPECT_EQ(answerTo([this] { tracing.onCalledPrefix(" "); }), "No trace was set: the called number is blank.");
    EXPECT_EQ(answerTo([this] { tracing.stop(); }), "No trace was on.");
}

TEST_F(TracingTest, NoCredentialsAreWritten)
{
    const std::string digest(32, 'a');
    trace("192.0.2.1");
    note("REGISTER sip:a SIP/2.0\r\n"
         "Authorization: Digest username=\"1000\", nonce=\"" +
         digest + "\", RESPONSE=\"" + digest +
         "\", opaque=\"x\"\r\n"
         "Proxy-Authorization: Digest response=\r\n \"" +
         digest + digest +
         "\"\r\n"
         "Authorization: Basic c2VjcmV0\r\n\r\n");
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[2], "Trace:   Authorization: Digest username=\"1000\", nonce=\"" + digest +
                            "\", RESPONSE=\"...\", opaque=\"x\"");
    EXPECT_EQ(lines[4], "Trace:    \"...\"");
    EXPECT_EQ(lines[5], "Trace:   Authorization: Basic ...");
}

TEST_F(TracingTest, StrangersCannotForgeLinesOrFillTheLog)
{
    trace("192.0.2.1");
    note("a\rb\x1b[0m");
    EXPECT_EQ(take().back(), "Trace:   a\\x0Db\\x1B[0m");

    std::string many;
    for (size_t i = 0; i < MessageTrace::kMaxLines + 5; ++i)
        many += "x: y\r\n";
    note(many);
    const Lines bounded = take();
    EXPECT_EQ(bounded.size(), MessageTrace::kMaxLines + 2);
    EXPECT_EQ(bounded.back(), "Trace:   (the rest of the header is left out)");

    clock.passSeconds(1);
    for (unsigned i = 0; i < MessageTrace::kMaxPerSecond + 7; ++i)
        note("x");
    EXPECT_EQ(take().size(), 2 * MessageTrace::kMaxPerSecond);
    clock.passSeconds(1);
    note("x");
    EXPECT_EQ(take().front(), "Trace: 7 messages came too fast and are left out.");
}

} // namespace
