#include "dialplan/transition.h"

#include "bcl2/text.h"

#include <algorithm>

namespace {

// Where the character after `count` others begins, at most the end of the text. A byte that is no UTF-8 counts as one.
size_t offsetOf(std::string_view text, size_t count)
{
    size_t offset = 0;
    char32_t code = 0;
    for (; count > 0 && offset < text.size(); --count)
        offset += std::max<size_t>(BclDecodeUtf8(text.substr(offset), code), 1);
    return offset;
}

} // namespace

std::string changedNumber(const Cdb_nbr_trans_data& transition, std::string_view number)
{
    const std::string_view digits = BclFieldText(transition.digits);
    if (transition.type == kTransAdd)
        return std::string(digits).append(number);
    const size_t start = offsetOf(number, transition.startPos);
    if (start == number.size() || (transition.type != kTransReplace && transition.type != kTransDelete))
        return std::string(number);
    const size_t removed = offsetOf(number.substr(start), transition.length);
    return std::string(number).replace(start, removed, transition.type == kTransReplace ? digits : std::string_view());
}
