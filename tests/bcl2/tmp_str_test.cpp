#include "bcl2/tmp_str.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstring>
#include <string>

TEST(BufStr, formatsAndAppends)
{
    Cbcl_buf_str text;
    EXPECT_STREQ(text.c_str(), "");
    EXPECT_TRUE(text.empty());
    text.set("%s=%d", "a", 1);
    text.append(",%03u", 7u);
    EXPECT_STREQ(text.c_str(), "a=1,007");
    EXPECT_EQ(text.getStrLen(), 7u);
    text.clear();
    EXPECT_TRUE(text.empty());
}

TEST(BufStr, argumentsMayPointIntoTheBuffer)
{
    Cbcl_buf_str text("abc");
    text.set("<%s>", text.c_str());
    EXPECT_EQ(text.view(), "<abc>");
    text.append("%s", text.c_str());
    EXPECT_EQ(text.view(), "<abc><abc>");
    for (int i = 0; i < 12; ++i) // past every size that is kept in place
        text.append("%s", text.c_str());
    EXPECT_EQ(text.getStrLen(), 10u << 12);
    text.set("%s", text.c_str() + text.getStrLen() - 3);
    EXPECT_EQ(text.view(), "bc>");
}

TEST(BufStr, plainTextMayPointIntoTheBuffer)
{
    Cbcl_tmp_str text("0123456789");
    text.setText(text.view().substr(3, 4));
    EXPECT_EQ(text.view(), "3456");
    for (int i = 0; i < 12; ++i)
        text.appendText(text.view());
    EXPECT_EQ(text.getStrLen(), 4u << 12);
    EXPECT_EQ(text.view().substr(4u << 11, 8), "34563456");
    text.setText("50% of %s");
    EXPECT_EQ(text.view(), "50% of %s");
}

TEST(BufStr, holdsAMegabyte)
{
    const std::string megabyte(1 << 20, 'm');
    Cbcl_buf_str text("x");
    text.append("%s", megabyte.c_str());
    EXPECT_EQ(text.view(), "x" + megabyte);
    text.set("%s%s", megabyte.c_str(), "y");
    EXPECT_EQ(text.view(), megabyte + "y");
}

TEST(BufStr, holdsTextsAroundItsSmallBuffer)
{
    for (size_t size = 505; size < 520; ++size) {
        Cbcl_buf_str text;
        text.set("%s", std::string(size, 's').c_str());
        EXPECT_EQ(text.view(), std::string(size, 's'));
    }
}

TEST(BufStr, aTextThatCannotBeFormattedChangesNothing)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    const wchar_t wide[] = {0x20ac, 0}; // has no bytes in the C locale
    Cbcl_buf_str text("kept");
    text.set("lost %ls", wide);
    EXPECT_EQ(text.view(), "kept");
    text.append("lost %ls", wide);
    EXPECT_EQ(text.view(), "kept");
    char field[8] = "kept";
    Cbcl_tmp_str_proxy proxy(field);
    proxy.set("lost %ls", wide);
    proxy.append("lost %ls", wide);
    EXPECT_STREQ(field, "kept");
}

TEST(BufStr, cutsOneLastByte)
{
    Cbcl_buf_str text("1,2,,");
    text.cut(',');
    EXPECT_EQ(text.view(), "1,2,");
    text.cut(';');
    EXPECT_EQ(text.view(), "1,2,");
    text.clear();
    text.cut(',');
    EXPECT_EQ(text.view(), "");
}

TEST(TmpStrProxy, writesIntoTheMemoryOfItsOwner)
{
    char field[9];
    std::memset(field, '#', sizeof field);
    Cbcl_tmp_str_proxy proxy(field);
    EXPECT_EQ(proxy.getStrLen(), 8u); // what was there, now terminated
    EXPECT_EQ(field[8], '\0');
    proxy.set("%d", 12);
    EXPECT_EQ(std::memcmp(field, "12\0\0\0\0\0\0", sizeof field), 0);
    proxy.append("%s", "34567890");
    EXPECT_STREQ(proxy.c_str(), "12345678");
    EXPECT_EQ(proxy.getStrLen(), 8u);
    proxy.append("%d", 9);
    EXPECT_STREQ(field, "12345678");
    proxy.setText("ab");
    EXPECT_EQ(std::memcmp(field, "ab\0\0\0\0\0\0", sizeof field), 0);
}

TEST(TmpStrProxy, cutsNoCharacterInTwo)
{
    char field[6];
    Cbcl_tmp_str_proxy proxy(field, sizeof field);
    proxy.set("abc%s", "\xE2\x82\xAC");
    EXPECT_STREQ(field, "abc");
    proxy.append("%s", "\xC3\xA9\xC3\xA9");
    EXPECT_STREQ(field, "abc\xC3\xA9");
    char whole[7] = "";
    Cbcl_tmp_str_proxy(whole).set("abc%s", "\xE2\x82\xAC");
    EXPECT_STREQ(whole, "abc\xE2\x82\xAC");
}

TEST(TmpStrProxy, argumentsMayPointIntoTheMemory)
{
    char field[16] = "abc";
    Cbcl_tmp_str_proxy proxy(field);
    proxy.set("<%s>", field);
    EXPECT_STREQ(field, "<abc>");
    proxy.append("%s", field);
    EXPECT_STREQ(field, "<abc><abc>");
    proxy.setText(std::string_view(field + 1, 3));
    EXPECT_STREQ(field, "abc");
}

TEST(TmpStrProxy, withoutMemoryIsEmpty)
{
    Cbcl_tmp_str_proxy proxy(nullptr, 0);
    proxy.set("%d", 1);
    proxy.append("%d", 1);
    proxy.setText("1");
    EXPECT_STREQ(proxy.c_str(), "");
    EXPECT_EQ(proxy.getStrLen(), 0u);
}
