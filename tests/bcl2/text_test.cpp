#include "bcl2/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

namespace {

// One character of each length: U+0041, U+00E9, U+20AC, U+1F600.
const std::string kCharacters[] = {"A", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"};

} // namespace

TEST(Utf8Bound, cutsNoCharacterAtAnyOffset)
{
    for (const std::string& character : kCharacters) {
        for (size_t before = 0; before < 6; ++before) {
            const std::string text = std::string(before, 'x') + character + "yz";
            for (size_t bound = 0; bound <= text.size() + 2; ++bound) {
                size_t expected = std::min(bound, text.size());
                if (bound > before && bound < before + character.size())
                    expected = before;
                EXPECT_EQ(BclUtf8Bound(text, bound), expected) << text << " at " << bound;
            }
        }
    }
}

TEST(Utf8Bound, countsBytesThatAreNoUtf8)
{
    EXPECT_EQ(BclUtf8Bound("\x80\x80\x80\x80\x80", 3), 3u);
    EXPECT_EQ(BclUtf8Bound("\xE2\x82", 1), 1u);             // a character that is not whole
    EXPECT_EQ(BclUtf8Bound("\xC3\xA9\x80\x80", 3), 3u);     // a continuation byte too many
    EXPECT_EQ(BclUtf8Bound("\xED\xA0\x80", 2), 2u);         // a surrogate
    EXPECT_EQ(BclUtf8Bound("\xF8\x88\x80\x80\x80", 4), 4u); // a form of five bytes
    EXPECT_EQ(BclUtf8Bound("", 0), 0u);
}

TEST(IsUtf8, knowsTheFormsOfTheRfc)
{
    for (const char* good : {"", "abc", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                             "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_TRUE(BclIsUtf8(good)) << good;
    for (const char* bad : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xE0\x9F\xBF", "\xE2\x82",
                            "\xE2\x82\x41", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF0\x9F\x98",
                            "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF", "ok\xC3"})
        EXPECT_FALSE(BclIsUtf8(bad)) << bad;
    EXPECT_TRUE(BclIsUtf8(std::string_view("a\0b", 3)));
}

TEST(CopyStr, keepsInsideTheFieldWhateverTheBound)
{
    struct {
        char before[8];
        char field[33];
        char after[8];
    } record;
    std::memset(&record, '#', sizeof record);
    for (const size_t bound : {size_t{1024}, size_t{33}, size_t{32}, SIZE_MAX}) {
        EXPECT_EQ(BclCopyStr(record.field, std::string(2000, 'x').c_str(), bound), 32u);
        EXPECT_EQ(std::string(record.field), std::string(32, 'x'));
        EXPECT_EQ(std::string_view(record.before, 8), "########");
        EXPECT_EQ(std::string_view(record.after, 8), "########");
    }
}

TEST(CopyStr, cutsNoCharacterAndFillsWithZeros)
{
    for (const std::string& character : kCharacters) {
        for (size_t before = 0; before <= 8; ++before) {
            char field[9];
            std::memset(field, '#', sizeof field);
            const std::string kept = std::string(before, 'x') + (before + character.size() <= 8 ? character : "");
            EXPECT_EQ(BclCopyStr(field, (std::string(before, 'x') + character).c_str()), kept.size());
            const std::string expected = kept + std::string(sizeof field - kept.size(), '\0');
            EXPECT_EQ(std::string(field, sizeof field), expected);
        }
    }
}

TEST(CopyStr, obeysABoundBelowTheField)
{
    char field[33];
    EXPECT_EQ(BclCopyStr(field, "123456", 4), 4u);
    EXPECT_STREQ(field, "1234");
    EXPECT_EQ(BclCopyStr(field, "123456", 0), 0u);
    EXPECT_STREQ(field, "");
}

TEST(CopyStr, equalTextsHaveEqualBytes)
{
    char used[33];
    char fresh[33];
    std::memset(fresh, '#', sizeof fresh);
    BclCopyStr(used, "a text that was there before");
    BclCopyStr(used, "short");
    BclCopyText(fresh, sizeof fresh, std::string_view("short\0hidden", 12), 32);
    EXPECT_EQ(std::memcmp(used, fresh, sizeof used), 0);
    BclCopyStr(used, nullptr);
    EXPECT_TRUE(std::all_of(used, used + sizeof used, [](char c) { return c == '\0'; }));
}

TEST(CopyStr, takesATextInsideTheField)
{
    char field[16];
    BclCopyStr(field, "0123456789");
    EXPECT_EQ(BclCopyStr(field, field + 3), 7u);
    EXPECT_STREQ(field, "3456789");
}

TEST(CopyText, writesNothingIntoNothing)
{
    char byte = '#';
    EXPECT_EQ(BclCopyText(&byte, 0, "text", 4), 0u);
    EXPECT_EQ(byte, '#');
    EXPECT_EQ(BclCopyText(nullptr, 0, "text", 4), 0u);
    EXPECT_EQ(BclCopyText(&byte, 1, "text", 4), 0u);
    EXPECT_EQ(byte, '\0');
}

TEST(FieldText, endsAtTheFieldWithoutTerminator)
{
    const char full[4] = {'a', 'b', 'c', 'd'};
    const char part[4] = {'a', '\0', 'c', 'd'};
    EXPECT_EQ(BclFieldText(full), "abcd");
    EXPECT_EQ(BclFieldText(part), "a");
}

TEST(Trim, takesBlanksFromBothEnds)
{
    EXPECT_EQ(BclTrimmed(" \t\r\n a b \n"), "a b");
    EXPECT_EQ(BclTrimmed(""), "");
    EXPECT_EQ(BclTrimmed(" \r\n"), "");
    EXPECT_EQ(BclTrimmed("\xC2\xA0"), "\xC2\xA0"); // a no-break space is no blank here
    char text[] = "  a b  ";
    BclStrTrimSpace(text);
    EXPECT_EQ(std::memcmp(text, "a b\0\0\0\0", sizeof text), 0);
    char blanks[] = " \t ";
    BclStrTrimSpace(blanks);
    EXPECT_EQ(std::memcmp(blanks, "\0\0\0", sizeof blanks), 0);
    BclStrTrimSpace(nullptr);
}

TEST(IsBlank, doesNotTrim)
{
    EXPECT_TRUE(BclStrIsBlank(nullptr));
    EXPECT_TRUE(BclStrIsBlank(""));
    EXPECT_FALSE(BclStrIsBlank(" "));
    EXPECT_FALSE(BclStrIsBlank("a"));
}

TEST(Numbers, findTheirBase)
{
    const struct {
        const char* text;
        int32_t number;
    } cases[] = {{"0", 0},
                 {"7", 7},
                 {"10", 10},
                 {"010", 8},
                 {"0x10", 16},
                 {"0XfF", 255},
                 {"00", 0},
                 {"017", 15},
                 {" 12\t", 12},
                 {"\n0x1\r", 1},
                 {"+12", 12},
                 {"+010", 8},
                 {"+0x10", 16},
                 {"08", 0},
                 {"019", 0},
                 {"12a", 0},
                 {"a", 0},
                 {"", 0},
                 {"0x", 0},
                 {"0xg", 0},
                 {"0x0x5", 0},
                 {"x10", 0},
                 {"1 2", 0},
                 {"+", 0},
                 {"++1", 0},
                 {"+-1", 0},
                 {"- 1", 0},
                 {"1.0", 0},
                 {"1e3", 0},
                 {"0x-5", 0},
                 {"2147483647", INT32_MAX},
                 {"0x7fffffff", INT32_MAX}};
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(BclStrToInt(text), number) << text;
        EXPECT_EQ(BclStrToU32(text), static_cast<uint32_t>(number)) << text;
    }
    EXPECT_EQ(BclStrToInt(nullptr), 0);
    EXPECT_EQ(BclStrToU32(nullptr), 0u);
}

TEST(Numbers, onlyTheSignedTypeTakesAMinus)
{
    EXPECT_EQ(BclStrToInt("-12"), -12);
    EXPECT_EQ(BclStrToInt("-0x10"), -16);
    EXPECT_EQ(BclStrToInt("-010"), -8);
    EXPECT_EQ(BclStrToInt("--1"), 0);
    EXPECT_EQ(BclStrToU32("-12"), 0u);
    EXPECT_EQ(BclStrToU32("-0"), 0u);
}

TEST(Numbers, outsideTheRangeAreZero)
{
    EXPECT_EQ(BclStrToInt("2147483648"), 0);
    EXPECT_EQ(BclStrToInt("-2147483648"), INT32_MIN);
    EXPECT_EQ(BclStrToInt("-2147483649"), 0);
    EXPECT_EQ(BclStrToU32("4294967295"), UINT32_MAX);
    EXPECT_EQ(BclStrToU32("0xffffffff"), UINT32_MAX);
    EXPECT_EQ(BclStrToU32("037777777777"), UINT32_MAX);
    EXPECT_EQ(BclStrToU32("4294967296"), 0u);
    for (const char* huge :
         {"18446744073709551615", "18446744073709551616", "99999999999999999999999999999999999999"}) {
        EXPECT_EQ(BclStrToInt(huge), 0) << huge;
        EXPECT_EQ(BclStrToU32(huge), 0u) << huge;
    }
}

TEST(Numbers, goToDecimalTextAndBack)
{
    EXPECT_EQ(BclIntToStr(0), "0");
    for (const int value : {1, -1, 40, INT_MAX, INT_MIN})
        EXPECT_EQ(BclStrToInt(BclIntToStr(value).c_str()), value);
}

TEST(Printable, showsControlCharactersOfEveryKind)
{
    const struct {
        std::string_view text;
        std::string_view shown;
    } cases[] = {{"plain <h1> \xE2\x82\xAC \\", "plain <h1> \xE2\x82\xAC \\"},
                 {"a\nb\r\t", "a\\x0Ab\\x0D\\x09"},
                 {std::string_view("\0", 1), "\\x00"},
                 {"\x1B[31m\x7F", "\\x1B[31m\\x7F"},
                 {"\xC2\x80\xC2\x85\xC2\x9F\xC2\xA0", "\\x80\\x85\\x9F\xC2\xA0"},
                 {"\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\x90", "\xE2\x80\x8D\\u{200E}\\u{200F}\xE2\x80\x90"},
                 {"\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xA9", "\xE2\x80\xA7\\u{2028}\\u{2029}"},
                 {"\u061b\u061c\u061d", "\u061b\\u{061C}\u061d"},
                 {"\ufdcf\ufdd0\ufdef\ufdf0", "\ufdcf\\u{FDD0}\\u{FDEF}\ufdf0"},
                 {"\ufefe\ufeff\uff00", "\ufefe\\u{FEFF}\uff00"},
                 {"\ufff8\ufff9\ufffc\ufffd\ufffe\uffff", "\ufff8\\u{FFF9}\\u{FFFC}\ufffd\\u{FFFE}\\u{FFFF}"},
                 {"\U0001fffd\U0001fffe\U00020000", "\U0001fffd\\u{1FFFE}\U00020000"},
                 {"\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF", "\\u{202A}\\u{202E}\xE2\x80\xAF"},
                 {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA", "\xE2\x81\xA5\\u{2066}\\u{2069}\xE2\x81\xAA"},
                 {"a\xFF\x80z\xC3", "a\xEF\xBF\xBD\xEF\xBF\xBDz\xEF\xBF\xBD"}};
    for (const auto& [text, shown] : cases)
        EXPECT_EQ(BclPrintable(text), shown);
}

TEST(Printable, obeysItsBoundWithoutCuttingAPiece)
{
    EXPECT_EQ(BclPrintable(std::string(5000, 'x')), std::string(1024, 'x'));
    EXPECT_EQ(BclPrintable("abc", 0), "");
    EXPECT_EQ(BclPrintable("ab\n", 6), "ab\\x0A");
    EXPECT_EQ(BclPrintable("ab\nc", 5), "ab");
    EXPECT_EQ(BclPrintable("ab\xE2\x82\xAC", 4), "ab");
    EXPECT_EQ(BclPrintable("ab\xFF", 4), "ab");
    EXPECT_EQ(BclPrintable("ab\xE2\x80\xA8", 9), "ab");
    EXPECT_EQ(BclPrintable("ab\xE2\x80\xA8", 10), "ab\\u{2028}");
}
