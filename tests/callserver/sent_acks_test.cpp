#include "sip/sent_acks.h"

#include <gtest/gtest.h>

namespace {

SentAcks::Ack ack(const std::string& text)
{
    return {{"127.0.0.1", 5060}, {"127.0.0.1", 5070}, text};
}

std::string textOf(const SentAcks::Ack* found)
{
    return found == nullptr ? "none" : found->text;
}

TEST(SentAcks, OneIsFoundByTheSuccessThatItConfirms)
{
    SentAcks acks;
    acks.keep({"a", "b", 1}, ack("first"), 0);
    acks.keep({"a", "c", 1}, ack("of another telephone"), 0);
    acks.keep({"a", "b", 2}, ack("of a later offer"), 0);
    EXPECT_EQ(textOf(acks.find({"a", "b", 1}, 1)), "first");
    EXPECT_EQ(textOf(acks.find({"a", "c", 1}, 1)), "of another telephone");
    EXPECT_EQ(textOf(acks.find({"a", "b", 2}, 1)), "of a later offer");
    EXPECT_EQ(textOf(acks.find({"a", "b", 3}, 1)), "none");
    EXPECT_EQ(textOf(acks.find({"b", "a", 1}, 1)), "none");
}

TEST(SentAcks, EachIsKeptAsLongAsItsSuccessMayBeRepeated)
{
    SentAcks acks;
    acks.keep({"a", "b", 1}, ack("first"), 0);
    acks.keep({"c", "d", 1}, ack("second"), 10);
    EXPECT_EQ(textOf(acks.find({"a", "b", 1}, SentAcks::kKeptMs - 1)), "first");
    EXPECT_EQ(textOf(acks.find({"a", "b", 1}, SentAcks::kKeptMs)), "none");
    EXPECT_EQ(textOf(acks.find({"c", "d", 1}, SentAcks::kKeptMs)), "second");
    EXPECT_EQ(acks.size(), 1U);
    acks.keep({"e", "f", 1}, ack("third"), 2 * SentAcks::kKeptMs);
    EXPECT_EQ(acks.size(), 1U) << "nothing stays for good";
}

TEST(SentAcks, ALaterOneTakesThePlaceOfTheFormer)
{
    SentAcks acks;
    acks.keep({"a", "b", 1}, ack("first"), 0);
    acks.keep({"a", "b", 1}, ack("second"), 100);
    EXPECT_EQ(textOf(acks.find({"a", "b", 1}, SentAcks::kKeptMs)), "second");
    EXPECT_EQ(textOf(acks.find({"a", "b", 1}, SentAcks::kKeptMs + 100)), "none");
    EXPECT_EQ(acks.size(), 0U);
}

} // namespace
