#include "registrar/user_agent.h"

#include "bcl2/text.h"

#include <algorithm>

namespace {

constexpr size_t kMaxUserAgent = 128; // bytes of the record's field

// Bytes that are looked at: far more than any telephone sends, and a header of control characters alone costs little.
constexpr size_t kMaxInput = 1024;

} // namespace

std::string cleanUserAgent(std::string_view text)
{
    // What nearly all send.
    if (text.size() <= kMaxUserAgent &&
        std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }))
        return std::string(BclTrimmed(text));
    text = text.substr(0, kMaxInput);
    std::string result;
    while (!text.empty() && result.size() <= kMaxUserAgent) {
        char32_t code = 0;
        const size_t length = BclDecodeUtf8(text, code);
        if (length != 0 && !BclIsControlCharacter(code))
            result += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    result.resize(BclUtf8Bound(result, kMaxUserAgent));
    return std::string(BclTrimmed(result));
}
