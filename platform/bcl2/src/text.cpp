#include "bcl2/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>

namespace {

constexpr size_t kMaxUtf8Length = 4; // RFC 3629 section 3
constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD

struct Magnitude {
    uint64_t value = 0;
    bool isNegative = false;
};

// A trimmed number text with automatic base; false when it is none or does not fit 64 bits.
bool parseNumber(const char* text, Magnitude& out)
{
    if (text == nullptr)
        return false;
    std::string_view digits = BclTrimmed(text);
    if (!digits.empty() && (digits[0] == '-' || digits[0] == '+')) {
        out.isNegative = digits[0] == '-';
        digits.remove_prefix(1);
    }
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        base = 16;
        digits.remove_prefix(2);
    } else if (digits.size() > 1 && digits[0] == '0') {
        base = 8;
    }
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, out.value, base);
    return error == std::errc() && stop == end;
}

} // namespace

size_t BclDecodeUtf8(std::string_view text, char32_t& code)
{
    if (text.empty())
        return 0;
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        code = lead;
        return 1;
    }
    // 0x80 to 0xc1 and 0xf5 to 0xff start no character; the first continuation byte's range keeps overlong forms,
    // surrogates and numbers above U+10FFFF out.
    if (lead < 0xc2 || lead > 0xf4)
        return 0;
    const size_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    if (text.size() < length)
        return 0;
    const unsigned char low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
    const unsigned char high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
    if (byte(1) < low || byte(1) > high)
        return 0;
    char32_t value = lead & (0xffu >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80)
            return 0;
        value = (value << 6) | (byte(i) & 0x3fu);
    }
    code = value;
    return length;
}

bool BclIsControlCharacter(char32_t code)
{
    return code < 0x20 || (code >= 0x7f && code <= 0x9f) || code == 0x61c || code == 0x200e || code == 0x200f ||
           (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069) ||
           (code >= 0xfdd0 && code <= 0xfdef) || code == 0xfeff || (code >= 0xfff9 && code <= 0xfffc) ||
           (code & 0xfffe) == 0xfffe;
}

size_t BclUtf8Bound(std::string_view text, size_t bound)
{
    if (text.size() <= bound)
        return text.size();
    for (size_t back = 1; back < kMaxUtf8Length && back <= bound; ++back) {
        char32_t code = 0;
        if (BclDecodeUtf8(text.substr(bound - back), code) > back)
            return bound - back;
    }
    return bound;
}

bool BclIsUtf8(std::string_view text)
{
    for (size_t at = 0; at < text.size();) {
        char32_t code = 0;
        const size_t length = BclDecodeUtf8(text.substr(at), code);
        if (length == 0)
            return false;
        at += length;
    }
    return true;
}

size_t BclCopyText(char* dst, size_t size, std::string_view src, size_t bound)
{
    if (size == 0)
        return 0;
    // A field's text ends at its first NUL; bytes behind one would make equal texts differ.
    src = src.substr(0, src.find('\0'));
    const size_t length = BclUtf8Bound(src, std::min(bound, size - 1));
    if (length > 0)
        std::memmove(dst, src.data(), length); // src may lie inside dst
    std::memset(dst + length, 0, size - length);
    return length;
}

std::string_view BclTrimmed(std::string_view text)
{
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return text.substr(0, 0);
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

void BclStrTrimSpace(char* text)
{
    if (text == nullptr)
        return;
    const size_t size = std::strlen(text);
    const std::string_view trimmed = BclTrimmed({text, size});
    const size_t length = trimmed.size();
    std::memmove(text, trimmed.data(), length);
    std::memset(text + length, 0, size - length);
}

bool BclStrIsBlank(const char* text)
{
    return text == nullptr || *text == '\0';
}

std::string BclIntToStr(int value)
{
    return std::to_string(value);
}

int32_t BclStrToInt(const char* text)
{
    Magnitude number;
    if (!parseNumber(text, number))
        return 0;
    constexpr auto kMax = static_cast<uint64_t>(std::numeric_limits<int32_t>::max());
    if (number.value > kMax + (number.isNegative ? 1 : 0))
        return 0;
    const auto value = static_cast<int64_t>(number.value);
    return static_cast<int32_t>(number.isNegative ? -value : value);
}

uint32_t BclStrToU32(const char* text)
{
    Magnitude number;
    if (!parseNumber(text, number) || number.isNegative || number.value > std::numeric_limits<uint32_t>::max())
        return 0;
    return static_cast<uint32_t>(number.value);
}

namespace {

// The characters of ASCII at its start that are printable.
std::string_view plainStart(std::string_view text)
{
    const auto end = std::find_if_not(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
    return text.substr(0, static_cast<size_t>(end - text.begin()));
}

} // namespace

std::string BclPrintable(std::string_view text, size_t bound)
{
    std::string out;
    out.reserve(std::min(text.size(), bound));
    for (size_t at = 0; at < text.size();) {
        // Nearly always that is all of it.
        const std::string_view plain = plainStart(text.substr(at));
        out += plain.substr(0, bound - out.size());
        at += plain.size();
        if (at == text.size() || out.size() == bound)
            break;
        char32_t code = 0;
        const size_t length = BclDecodeUtf8(text.substr(at), code);
        std::array<char, 16> escape{};
        std::string_view piece = text.substr(at, length);
        if (length == 0) {
            piece = kReplacement;
        } else if (BclIsControlCharacter(code)) {
            std::snprintf(escape.data(), escape.size(), code < 0x100 ? "\\x%02X" : "\\u{%04X}",
                          static_cast<unsigned>(code));
            piece = escape.data();
        }
        if (piece.size() > bound - out.size())
            break;
        out += piece;
        at += std::max<size_t>(length, 1);
    }
    return out;
}
