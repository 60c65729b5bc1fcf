#include "registrar/user_agent.h"

#include "bcl2/text.h"

namespace {

constexpr size_t kMaxUserAgent = 128; // bytes of the record's field

} // namespace

std::string cleanUserAgent(std::string_view text)
{
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
