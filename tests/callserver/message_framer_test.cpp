#include "streams/message_framer.h"

#include "sip/header_bounds.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Result = MessageFramer::Result;

const std::string kOptions = "OPTIONS sip:a.example SIP/2.0\r\nVia: SIP/2.0/TCP b.example\r\nContent-Length: 0\r\n\r\n";

std::string withBody(const std::string& lengthLine, const std::string& body)
{
    return "MESSAGE sip:a.example SIP/2.0\r\nTo: <sip:a.example>\r\n" + lengthLine + "\r\n\r\n" + body;
}

Result resultOf(const std::string& bytes)
{
    MessageFramer framer;
    framer.add(bytes);
    std::string message;
    return framer.next(message);
}

TEST(MessageFramerTest, GivesEachOfSeveralMessages)
{
    MessageFramer framer;
    const std::string body = withBody("Content-Length: 5", "hello");
    framer.add(kOptions + body + kOptions);
    std::string message;
    for (const std::string& expected : {kOptions, body, kOptions}) {
        ASSERT_EQ(framer.next(message), Result::Message);
        EXPECT_EQ(message, expected);
    }
    EXPECT_EQ(framer.next(message), Result::NeedsMore);
    EXPECT_FALSE(framer.isMidMessage());
}

TEST(MessageFramerTest, WaitsForTheLastByteWhereverItIsCut)
{
    const std::string whole = withBody("Content-Length: 5", "hello");
    for (size_t cut = 1; cut < whole.size(); ++cut) {
        MessageFramer framer;
        std::string message;
        framer.add(whole.substr(0, cut));
        ASSERT_EQ(framer.next(message), Result::NeedsMore) << cut;
        EXPECT_TRUE(framer.isMidMessage());
        framer.add(whole.substr(cut));
        ASSERT_EQ(framer.next(message), Result::Message) << cut;
        EXPECT_EQ(message, whole);
    }
}

TEST(MessageFramerTest, ReadsTheLengthInEveryForm)
{
    for (const char* line : {"Content-Length: 5", "content-length:5", "CONTENT-LENGTH  :  5  ", "l: 5", "L:5",
                             "Content-Length:\r\n 5", "Content-Length: 5\r\nl: 5", "X: Content-Length\r\nl: 0005"}) {
        MessageFramer framer;
        std::string message;
        framer.add(withBody(line, "hello") + kOptions);
        ASSERT_EQ(framer.next(message), Result::Message) << line;
        EXPECT_EQ(message, withBody(line, "hello"));
        ASSERT_EQ(framer.next(message), Result::Message) << line;
        EXPECT_EQ(message, kOptions);
    }
}

TEST(MessageFramerTest, MessageWithoutLengthHasNoBodyAndIsToldSo)
{
    MessageFramer framer;
    std::string message;
    framer.add(withBody("X: y", "") + "OPTIONS sip:a SIP/2.0\nTo: b\n\n" + kOptions);
    ASSERT_EQ(framer.next(message), Result::Message);
    EXPECT_EQ(message, withBody("X: y\r\nContent-Length: 0", ""));
    ASSERT_EQ(framer.next(message), Result::Message);
    EXPECT_EQ(message, "OPTIONS sip:a SIP/2.0\nTo: b\nContent-Length: 0\r\n\n");
    ASSERT_EQ(framer.next(message), Result::Message);
    EXPECT_EQ(message, kOptions);
}

TEST(MessageFramerTest, WhatTheStackWouldReadOtherwiseBreaks)
{
    EXPECT_EQ(resultOf(withBody("X: y\rContent-Length: 16000000", "")), Result::Broken) << "a bare CR";
    EXPECT_EQ(resultOf("OPTIONS sip:a SIP/2.0\r\n Content-Length: 16000000\r\n\r\n"), Result::Broken)
        << "a line folded behind the first";
    std::string list = "Allow: a";
    for (size_t i = 0; i < HeaderBounds::kMaxSeparators; ++i)
        list += ",a";
    EXPECT_EQ(resultOf(withBody(list, "")), Result::Message);
    EXPECT_EQ(resultOf(withBody(list + ",a", "")), Result::Broken) << "a list that takes too long";
}

TEST(MessageFramerTest, LineEndsMayBeBare)
{
    EXPECT_EQ(resultOf("OPTIONS sip:a SIP/2.0\nVia: SIP/2.0/TCP b\n\n"), Result::Message);
}

TEST(MessageFramerTest, LengthThatIsNoneBreaks)
{
    for (const char* line : {"Content-Length: -1", "Content-Length: 1x", "Content-Length:", "Content-Length: 5, 5",
                             "Content-Length: 99999999999999999999999", "Content-Length: 5\r\nContent-Length: 6",
                             "Content-Length: 0x5", "Content-Length: +5"})
        EXPECT_EQ(resultOf(withBody(line, "hello")), Result::Broken) << line;
}

TEST(MessageFramerTest, WhatIsNoSipBreaksWithItsFirstLine)
{
    EXPECT_EQ(resultOf("GET / HTTP/1.1\r\n"), Result::Broken);
    EXPECT_EQ(resultOf("\x16\x03\x01\x02\n"), Result::Broken);
    EXPECT_EQ(resultOf("SIP/2.0 200 OK\r\n"), Result::NeedsMore);
}

TEST(MessageFramerTest, PingIsTwoEmptyLines)
{
    MessageFramer framer;
    std::string message;
    framer.add("\r\n");
    EXPECT_EQ(framer.next(message), Result::NeedsMore);
    EXPECT_FALSE(framer.isMidMessage());
    framer.add("\r\n\r\n\r\n" + kOptions);
    EXPECT_EQ(framer.next(message), Result::Ping);
    EXPECT_EQ(framer.next(message), Result::Ping);
    EXPECT_EQ(framer.next(message), Result::Message);
    framer.add("\r\n" + kOptions);
    EXPECT_EQ(framer.next(message), Result::Message) << "one empty line before a message is passed over";
    EXPECT_EQ(message, kOptions);
}

TEST(MessageFramerTest, BoundsHoldFromBothSides)
{
    const std::string start = "OPTIONS sip:a SIP/2.0\r\n";
    const auto withHeader = [&](size_t bytes) {
        std::string text = start + "X: ";
        text.resize(bytes - 4, 'x');
        return text + "\r\n\r\n";
    };
    EXPECT_EQ(resultOf(withHeader(HeaderBounds::kMaxBytes)), Result::Message);
    EXPECT_EQ(resultOf(withHeader(HeaderBounds::kMaxBytes + 1)), Result::Broken);
    EXPECT_EQ(resultOf(withHeader(HeaderBounds::kMaxBytes + 3).substr(0, HeaderBounds::kMaxBytes + 1)), Result::Broken)
        << "without waiting for the end";

    const auto withLines = [&](size_t lines) {
        std::string text = start;
        for (size_t i = 1; i < lines - 1; ++i)
            text += "a:b\r\n";
        return text + "\r\n";
    };
    EXPECT_EQ(resultOf(withLines(HeaderBounds::kMaxLines)), Result::Message);
    EXPECT_EQ(resultOf(withLines(HeaderBounds::kMaxLines + 1)), Result::Broken);

    const auto withLength = [&](size_t bytes) {
        const std::string header = start + "l: " + std::to_string(bytes) + "\r\n\r\n";
        return header + std::string(bytes, 'x');
    };
    const size_t header = withLength(60000).size() - 60000;
    EXPECT_EQ(resultOf(withLength(MessageFramer::kMaxMessageBytes - header)), Result::Message);
    EXPECT_EQ(resultOf(withLength(MessageFramer::kMaxMessageBytes - header + 1)), Result::Broken);
}

TEST(MessageFramerTest, EmptyLinesWithoutEndCostNothing)
{
    MessageFramer framer;
    std::string message;
    for (int i = 0; i < 1000; ++i) {
        framer.add(std::string(1000, '\n'));
        ASSERT_EQ(framer.next(message), Result::NeedsMore);
    }
    framer.add(kOptions);
    EXPECT_EQ(framer.next(message), Result::Message);
}

} // namespace
