#include "bcl2/number.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

TEST(PhoneNumber, isEmptyAtFirst)
{
    const Cphone_number number;
    EXPECT_TRUE(number.IsEmpty());
    EXPECT_STREQ(number.c_str(), "");
    EXPECT_EQ(number.getStrLen(), 0u);
}

TEST(PhoneNumber, keepsAtMost32Bytes)
{
    Cphone_number number;
    number.SetNbr(std::string(32, '1').c_str());
    EXPECT_EQ(number.view(), std::string(32, '1'));
    number.SetNbr(std::string(1000, '2').c_str());
    EXPECT_EQ(number.view(), std::string(32, '2'));
    EXPECT_EQ(number.getStrLen(), 32u);
}

TEST(PhoneNumber, cutsNoCharacterInTwo)
{
    Cphone_number number;
    number.SetNbr((std::string(30, 'x') + "\u20ac").c_str());
    EXPECT_EQ(number.view(), std::string(30, 'x'));
}

TEST(PhoneNumber, equalTextsHaveEqualBytes)
{
    Cphone_number used;
    used.SetNbr("a much longer number before");
    used.SetNbr("1000");
    Cphone_number fresh;
    fresh.SetNbr("1000");
    EXPECT_EQ(std::memcmp(&used, &fresh, sizeof used), 0);
    EXPECT_TRUE(used == fresh);
    used.Init();
    const Cphone_number empty;
    EXPECT_EQ(std::memcmp(&used, &empty, sizeof used), 0);
    EXPECT_FALSE(used == fresh);
}

TEST(PhoneNumber, nullIsTheEmptyText)
{
    Cphone_number number;
    number.SetNbr("1000");
    number.SetNbr(nullptr);
    EXPECT_TRUE(number.IsEmpty());
}

TEST(PhoneNumber, takesItsOwnText)
{
    Cphone_number number;
    number.SetNbr("0049123");
    number.SetNbr(number.c_str() + 2);
    EXPECT_EQ(number.view(), "49123");
}

TEST(PhoneNumber, knowsWhetherItIsAllDigits)
{
    for (const char* digits : {"0", "9", "0123456789", "00000000000000000000000000000000"}) {
        Cphone_number number;
        number.SetNbr(digits);
        EXPECT_EQ(number.IsAllDigits09(), 1u) << digits;
    }
    for (const char* other : {"", " ", "12 ", "+12", "-1", "1a", "/", ":", "1.0", "\xd9\xa1"}) {
        EXPECT_EQ(BclIsAllDigits09(other), 0u) << other;
        Cphone_number number;
        number.SetNbr(other);
        EXPECT_EQ(number.IsAllDigits09(), 0u) << other;
    }
}
