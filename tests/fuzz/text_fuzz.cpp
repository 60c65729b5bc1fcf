// The text functions that see what strangers send and administrators type: UTF-8, bounded copies, blanks, numbers.
#include "bcl2/cipher.h"
#include "bcl2/number.h"
#include "bcl2/text.h"
#include "bcl2/tmp_str.h"
#include "fuzz/fuzz_checks.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <string>

namespace {

constexpr size_t kMaxUtf8 = 4; // bytes of a character

std::string encoded(char32_t code)
{
    const auto tail = [code](unsigned shift) { return static_cast<char>(0x80 | ((code >> shift) & 0x3f)); };
    if (code < 0x80)
        return {static_cast<char>(code)};
    if (code < 0x800)
        return {static_cast<char>(0xc0 | (code >> 6)), tail(0)};
    if (code < 0x10000)
        return {static_cast<char>(0xe0 | (code >> 12)), tail(6), tail(0)};
    return {static_cast<char>(0xf0 | (code >> 18)), tail(12), tail(6), tail(0)};
}

void decode(std::string_view input)
{
    bool isAllUtf8 = true;
    for (std::string_view rest = input; !rest.empty();) {
        char32_t code = 0xffffffff;
        const size_t length = BclDecodeUtf8(rest, code);
        require(length <= std::min(kMaxUtf8, rest.size()));
        if (length == 0) {
            require(code == 0xffffffff);
            isAllUtf8 = false;
            rest.remove_prefix(1);
            continue;
        }
        require(code <= 0x10ffff && (code < 0xd800 || code > 0xdfff) && encoded(code) == rest.substr(0, length));
        rest.remove_prefix(length);
    }
    require(BclIsUtf8(input) == isAllUtf8);
}

void show(std::string_view input)
{
    for (size_t bound = 0; bound < 40; ++bound) {
        const size_t length = BclUtf8Bound(input, bound);
        require(length <= bound && length + kMaxUtf8 - 1 >= std::min(bound, input.size()));
        require(!BclIsUtf8(input) || BclIsUtf8(input.substr(0, length)));
        const std::string shown = BclPrintable(input, bound);
        require(shown.size() <= bound && BclIsUtf8(shown));
    }
    const std::string shown = BclPrintable(input);
    require(BclPrintable(shown) == shown);
    for (std::string_view rest = shown; !rest.empty();) {
        char32_t code = 0;
        rest.remove_prefix(BclDecodeUtf8(rest, code));
        require(!BclIsControlCharacter(code));
    }
}

void copy(std::string_view input)
{
    constexpr size_t kMemory = 24;
    constexpr char kUntouched = '\x55';
    for (size_t size = 0; size <= kMemory; ++size) {
        std::array<char, kMemory + 1> memory{};
        memory.fill(kUntouched);
        const size_t bound = input.size() % (kMemory + 3);
        const size_t length = BclCopyText(memory.data(), size, input, bound);
        require(length <= bound && (size == 0 ? length == 0 : length < size));
        // A text ends at its first NUL wherever it is read again.
        require(input.compare(0, length, memory.data(), length) == 0);
        require(std::all_of(memory.begin() + length, memory.begin() + size, [](char c) { return c == '\0'; }));
        require(std::all_of(memory.begin() + size, memory.end(), [](char c) { return c == kUntouched; }));

        Cbcl_tmp_str_proxy proxy(memory.data(), size);
        proxy.setText(input);
        require(size == 0 || proxy.getStrLen() < size);
        require(std::all_of(memory.begin() + size, memory.end(), [](char c) { return c == kUntouched; }));
    }
}

void trim(const std::string& text)
{
    const std::string_view trimmed = BclTrimmed(text);
    require(BclTrimmed(trimmed) == trimmed && text.find(trimmed) != std::string::npos);
    std::string inPlace = text;
    BclStrTrimSpace(inPlace.data());
    require(inPlace.c_str() == std::string(BclTrimmed(text.c_str())));
    require(BclStrIsBlank(text.c_str()) == (text[0] == '\0'));
}

// What the C library reads of the whole text; nothing when it does not take all of it.
long long wholeNumber(const std::string& text)
{
    const std::string trimmed(BclTrimmed(text));
    const bool isNumber = !trimmed.empty() && (std::string_view("+-0123456789").find(trimmed[0]) != std::string::npos);
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(trimmed.c_str(), &end, 0);
    return isNumber && errno == 0 && *end == '\0' ? value : 0;
}

void readNumber(const std::string& input)
{
    const std::string text = input.c_str();
    const long long value = wholeNumber(text);
    const bool isInt = value >= std::numeric_limits<int32_t>::min() && value <= std::numeric_limits<int32_t>::max();
    const bool isU32 = value >= 0 && value <= std::numeric_limits<uint32_t>::max();
    require(BclStrToInt(text.c_str()) == (isInt ? value : 0));
    require(BclStrToU32(text.c_str()) == (isU32 ? static_cast<uint32_t>(value) : 0));
    const int32_t number = BclStrToInt(text.c_str());
    require(BclStrToInt(BclIntToStr(number).c_str()) == number);
}

void keepNumber(const std::string& text)
{
    Cphone_number number;
    number.SetNbr(text.c_str());
    const std::string_view kept = number.view();
    require(kept.size() <= Cphone_number::kBound && kept == number.c_str() && number.getStrLen() == kept.size());
    require(std::string_view(text.c_str()).starts_with(kept) && number.IsEmpty() == kept.empty());
    require(!BclIsUtf8(text.c_str()) || BclIsUtf8(kept));
    const bool isDigits =
        !kept.empty() && std::all_of(kept.begin(), kept.end(), [](char c) { return c >= '0' && c <= '9'; });
    require(number.IsAllDigits09() == (isDigits ? 1U : 0U) && BclIsAllDigits09(kept) == number.IsAllDigits09());
    Cphone_number again;
    again.SetNbr(number.c_str());
    require(again == number);
}

void decipher(std::string_view input)
{
    std::string veiled(input);
    for (size_t i = 0; i < veiled.size(); ++i)
        veiled[i] = static_cast<char>(static_cast<unsigned char>(veiled[i]) ^ BclCipherByte(i));
    Cbcl_tmp_str clear;
    BclGetEncryptString(veiled.data(), veiled.size(), clear);
    require(clear.view() == input);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view input = textOf(data, size);
    const std::string text(input);
    decode(input);
    show(input);
    copy(input);
    trim(text);
    readNumber(text);
    keepNumber(text);
    decipher(input);
    return 0;
}
