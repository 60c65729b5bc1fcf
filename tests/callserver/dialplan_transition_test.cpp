#include "bcl2/text.h"
#include "dialplan/transition.h"

#include <gtest/gtest.h>

namespace {

std::string changed(uint32_t type, uint32_t startPos, uint32_t length, const char* digits, std::string_view number)
{
    Cdb_nbr_trans_data transition;
    transition.type = type;
    transition.startPos = startPos;
    transition.length = length;
    BclCopyStr(transition.digits, digits);
    return changedNumber(transition, number);
}

TEST(DialPlanTransitionTest, AddPutsDigitsBeforeTheNumber)
{
    EXPECT_EQ(changed(kTransAdd, 0, 0, "00", "2001"), "002001");
    EXPECT_EQ(changed(kTransAdd, 3, 2, "00", "2001"), "002001") << "position and length do not count";
    EXPECT_EQ(changed(kTransAdd, 0, 0, "9", ""), "9");
    EXPECT_EQ(changed(kTransAdd, 0, 0, "", "2001"), "2001");
}

TEST(DialPlanTransitionTest, ReplacePutsDigitsForThoseFromTheStart)
{
    EXPECT_EQ(changed(kTransReplace, 0, 1, "7", "2001"), "7001");
    EXPECT_EQ(changed(kTransReplace, 1, 2, "789", "2001"), "27891");
    EXPECT_EQ(changed(kTransReplace, 3, 1, "9", "2001"), "2009") << "the last digit";
    EXPECT_EQ(changed(kTransReplace, 1, 2, "", "2001"), "21");
}

TEST(DialPlanTransitionTest, ReplaceOfNoDigitInserts)
{
    EXPECT_EQ(changed(kTransReplace, 0, 0, "0", "2001"), "02001");
    EXPECT_EQ(changed(kTransReplace, 2, 0, "77", "2001"), "207701");
}

TEST(DialPlanTransitionTest, DeleteTakesDigitsAway)
{
    EXPECT_EQ(changed(kTransDelete, 0, 1, "", "02001"), "2001");
    EXPECT_EQ(changed(kTransDelete, 2, 2, "99", "2001"), "20") << "digits do not count";
    EXPECT_EQ(changed(kTransDelete, 1, 0, "", "2001"), "2001");
    EXPECT_EQ(changed(kTransDelete, 0, 4, "", "2001"), "");
}

TEST(DialPlanTransitionTest, LengthIsCutAtTheEnd)
{
    EXPECT_EQ(changed(kTransDelete, 2, 32, "", "2001"), "20");
    EXPECT_EQ(changed(kTransReplace, 2, 32, "5", "2001"), "205");
    EXPECT_EQ(changed(kTransDelete, 1, 0xffffffff, "", "2001"), "2");
}

TEST(DialPlanTransitionTest, StartPastTheEndLeavesTheNumber)
{
    EXPECT_EQ(changed(kTransDelete, 4, 1, "", "2001"), "2001");
    EXPECT_EQ(changed(kTransReplace, 4, 0, "7", "2001"), "2001");
    EXPECT_EQ(changed(kTransReplace, 31, 2, "7", "2001"), "2001");
    EXPECT_EQ(changed(kTransReplace, 0xffffffff, 0xffffffff, "7", "2001"), "2001");
    EXPECT_EQ(changed(kTransReplace, 0, 0, "7", ""), "");
}

TEST(DialPlanTransitionTest, UnknownTypeLeavesTheNumber)
{
    EXPECT_EQ(changed(0, 0, 1, "7", "2001"), "2001");
    EXPECT_EQ(changed(4, 0, 1, "7", "2001"), "2001");
}

TEST(DialPlanTransitionTest, PositionsCountCharacters)
{
    EXPECT_EQ(changed(kTransDelete, 0, 1, "", "\xc3\xa4nne"), "nne");
    EXPECT_EQ(changed(kTransReplace, 1, 1, "i", "\xc3\xa4\xc3\xb6x"), "\xc3\xa4ix");
    EXPECT_EQ(changed(kTransDelete, 1, 1, "", "\xff\xff\xff"), "\xff\xff") << "bytes that are no UTF-8";
}

TEST(DialPlanTransitionTest, NumbersMayBeLongerThanAField)
{
    const std::string number(200, '1');
    EXPECT_EQ(changed(kTransAdd, 0, 0, "00", number), "00" + number);
    EXPECT_EQ(changed(kTransDelete, 31, 32, "", number), std::string(168, '1'));
}

} // namespace
