// Numbers as tags, branches and nonces show them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// 16 digits, with leading zeros. Any thread.
[[nodiscard]] inline std::string hexText(uint64_t number)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text(16, '0');
    for (size_t i = text.size(); number != 0; number >>= 4)
        text[--i] = kDigits[number & 0xf];
    return text;
}
