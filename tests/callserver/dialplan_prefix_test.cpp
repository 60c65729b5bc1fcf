#include "dialplan/prefix_match.h"

#include "cachedb2/change.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

// The rules hold their own keys.
using Rules = Snapshot<std::string>;

std::shared_ptr<const Rules> rulesOf(std::initializer_list<std::string> keys)
{
    Rules::Builder builder(nullptr);
    for (const std::string& key : keys)
        builder.set(key, key);
    return builder.finish();
}

std::string matchOf(const Rules& rules, std::string_view number)
{
    const auto rule = findLongestPrefix(rules, number);
    return rule ? *rule : "none";
}

TEST(DialPlanPrefixTest, LongestPrefixWins)
{
    const auto rules = rulesOf({"2", "20", "200", "3"});
    EXPECT_EQ(matchOf(*rules, "2001"), "200");
    EXPECT_EQ(matchOf(*rules, "200"), "200");
    EXPECT_EQ(matchOf(*rules, "20"), "20");
    EXPECT_EQ(matchOf(*rules, "21"), "2");
    EXPECT_EQ(matchOf(*rules, "4"), "none");
    EXPECT_EQ(matchOf(*rules, ""), "none");
}

TEST(DialPlanPrefixTest, PrefixIsLiteralAndFromTheLeft)
{
    const auto rules = rulesOf({"2.", "x", "A", "%"});
    EXPECT_EQ(matchOf(*rules, "2001"), "none");
    EXPECT_EQ(matchOf(*rules, "2.1"), "2.");
    EXPECT_EQ(matchOf(*rules, "1x"), "none");
    EXPECT_EQ(matchOf(*rules, "a"), "none");
}

TEST(DialPlanPrefixTest, DotMatchesEveryNumberAndRanksLast)
{
    const auto rules = rulesOf({".", "2"});
    EXPECT_EQ(matchOf(*rules, "2001"), "2");
    EXPECT_EQ(matchOf(*rules, "3001"), ".");
    EXPECT_EQ(matchOf(*rules, ""), ".");
    EXPECT_EQ(matchOf(*rules, "."), ".");
}

TEST(DialPlanPrefixTest, EmptyPrefixMatchesEveryNumberBeforeTheDot)
{
    const auto both = rulesOf({".", ""});
    EXPECT_EQ(matchOf(*both, "3001"), "");
    EXPECT_EQ(matchOf(*both, ".5"), "") << "the dot is no prefix of a number that begins with one";
    EXPECT_EQ(matchOf(*both, "."), "");
    EXPECT_EQ(matchOf(*both, ""), "");
    EXPECT_EQ(matchOf(*rulesOf({"", "3"}), "3001"), "3");
}

TEST(DialPlanPrefixTest, NumbersMayBeLongerThanAnyPrefix)
{
    const std::string longest(32, '7');
    const auto rules = rulesOf({longest, "7"});
    EXPECT_EQ(matchOf(*rules, longest), longest);
    EXPECT_EQ(matchOf(*rules, longest + "7"), longest);
    EXPECT_EQ(matchOf(*rules, std::string(60000, '7')), longest);
    EXPECT_EQ(matchOf(*rules, std::string(31, '7')), "7");
}

TEST(DialPlanPrefixTest, NamesAreComparedByTheirBytes)
{
    const auto rules = rulesOf({"\xc3\xa4", "\xc3\xa4\xc3\xb6"});
    EXPECT_EQ(matchOf(*rules, "\xc3\xa4\xc3\xb6x"), "\xc3\xa4\xc3\xb6");
    EXPECT_EQ(matchOf(*rules, "\xc3\xa4\xc3"), "\xc3\xa4");
    EXPECT_EQ(matchOf(*rules, "\xc3"), "none");
}

TEST(DialPlanPrefixTest, SeparatorInANumberReachesNoOtherKey)
{
    const auto rules = rulesOf({std::string("20") + kDbKeySeparator + "sales"});
    const std::string number = std::string("20") + kDbKeySeparator + "sales";
    EXPECT_FALSE(findLongestPrefix(*rules, number, {}, std::string(1, kDbKeySeparator) + "default"));
    EXPECT_TRUE(findLongestPrefix(*rules, number, {}, std::string(1, kDbKeySeparator) + "sales"));
}

TEST(DialPlanPrefixTest, UnwantedRulesLeaveShorterOnesTheirTurn)
{
    const auto rules = rulesOf({"200", "2"});
    const auto rule = findLongestPrefix(*rules, "2001", {}, {}, [](const std::string& key) { return key != "200"; });
    ASSERT_TRUE(rule);
    EXPECT_EQ(*rule, "2");
}

} // namespace
