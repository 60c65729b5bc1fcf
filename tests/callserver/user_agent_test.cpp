#include "registrar/user_agent.h"

#include <gtest/gtest.h>

namespace {

TEST(UserAgent, StaysAsItIsWhenItIsHarmless)
{
    EXPECT_EQ(cleanUserAgent("Téléphone/1.0 (日本)"), "Téléphone/1.0 (日本)");
    EXPECT_EQ(cleanUserAgent(""), "");
}

TEST(UserAgent, LosesWhatCouldForgeALine)
{
    EXPECT_EQ(cleanUserAgent("a\r\nb\tc\x7f\xc2\x85"
                             "d\xe2\x80\xa8"
                             "e\xe2\x80\xae"
                             "f\xe2\x81\xa6g"),
              "abcdefg");
}

TEST(UserAgent, LosesBytesThatAreNoUtf8)
{
    EXPECT_EQ(cleanUserAgent("a\xff"
                             "b\xc3"
                             "c\xe2\x82"),
              "abc");
}

TEST(UserAgent, IsCutBetweenCharacters)
{
    EXPECT_EQ(cleanUserAgent(std::string(127, 'a') + "éxyz"), std::string(127, 'a'));
    EXPECT_EQ(cleanUserAgent(std::string(126, 'a') + "éxyz"), std::string(126, 'a') + "é");
}

TEST(UserAgent, OfPlainLettersIsCutAndTrimmedToo)
{
    EXPECT_EQ(cleanUserAgent(std::string(128, 'a')), std::string(128, 'a'));
    EXPECT_EQ(cleanUserAgent(std::string(129, 'a')), std::string(128, 'a'));
    EXPECT_EQ(cleanUserAgent("  phone 1.0 "), "phone 1.0");
}

TEST(UserAgent, IsNotSearchedForInALongHeader)
{
    EXPECT_EQ(cleanUserAgent(std::string(1023, '\t') + "ab"), "a");
}

} // namespace
