#include "bcl2/cipher.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

constexpr auto kVeiled = BclEncipher("https://www.example.test/help/");

} // namespace

TEST(Cipher, givesTheClearTextBack)
{
    Cbcl_tmp_str clear;
    BclGetEncryptString(kVeiled.data(), kVeiled.size(), clear);
    EXPECT_EQ(clear.view(), "https://www.example.test/help/");
}

TEST(Cipher, leavesNoPieceOfTheClearTextInTheVeiledBytes)
{
    constexpr std::string_view kClear = "https://www.example.test/help/";
    const std::string_view veiled(kVeiled.data(), kVeiled.size());
    for (size_t i = 0; i + 3 <= kClear.size(); ++i)
        EXPECT_EQ(veiled.find(kClear.substr(i, 3)), std::string_view::npos) << i;
    for (size_t i = 0; i < kClear.size(); ++i)
        EXPECT_NE(veiled[i], kClear[i]) << i;
}

TEST(Cipher, deciphersOnlyAsManyBytesAsItWasTold)
{
    Cbcl_tmp_str clear("old text");
    BclGetEncryptString(kVeiled.data(), 5, clear);
    EXPECT_EQ(clear.view(), "https");
    BclGetEncryptString(kVeiled.data(), 0, clear);
    EXPECT_EQ(clear.view(), "");
}

TEST(Cipher, nullTextIsEmpty)
{
    Cbcl_tmp_str clear("old text");
    BclGetEncryptString(nullptr, 7, clear);
    EXPECT_EQ(clear.view(), "");
}
