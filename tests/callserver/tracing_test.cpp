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
