#include "registrar/user_agent.h"

#include "bcl2/text.h"

namespace {

constexpr size_t kMaxUserAgent = 128; // bytes of the record's field

// Length of the well-formed UTF-8 character at the start, 0 when there is none.
size_t characterLength(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    const size_t length = first < 0x80 ? 1 : first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : first >= 0xc0 ? 2 : 0;
    return length != 0 && length <= text.size() && BclIsUtf8(text.substr(0, length)) ? length : 0;
}

bool isInvisible(std::string_view character)
{
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(character[i]); };
    if (character.size() == 1)
        return byte(0) < 0x20 || byte(0) == 0x7f;
    if (character.size() == 2)
        return byte(0) == 0xc2 && byte(1) < 0xa0;
    if (character.size() != 3 || byte(0) != 0xe2)
        return false;
    // U+2028 to U+202E separators and overrides, U+2066 to U+2069 isolates.
    return (byte(1) == 0x80 && byte(2) >= 0xa8 && byte(2) <= 0xae) ||
           (byte(1) == 0x81 && byte(2) >= 0xa6 && byte(2) <= 0xa9);
}

} // namespace

std::string cleanUserAgent(std::string_view text)
{
    std::string result;
    while (!text.empty() && result.size() <= kMaxUserAgent) {
        const size_t length = characterLength(text);
        if (length != 0 && !isInvisible(text.substr(0, length)))
            result += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    result.resize(BclUtf8Bound(result, kMaxUserAgent));
    return std::string(BclTrimmed(result));
}
