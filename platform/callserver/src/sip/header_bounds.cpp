#include "sip/header_bounds.h"

#include <algorithm>

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

struct Counts {
    size_t lines = 0;
    size_t separators = 0;
    size_t bareReturns = 0; // CR with something else than LF behind it
};

// Every byte of every packet passes here: counted in single bytes the compiler takes many at a time.
Counts countsOf(std::string_view text)
{
    constexpr size_t kPiece = 240; // a byte can count so far
    Counts result;
    for (size_t begin = 0; begin < text.size(); begin += kPiece) {
        const size_t size = std::min(kPiece, text.size() - begin);
        const char* const piece = text.data() + begin;
        uint8_t lines = 0;
        uint8_t separators = 0;
        for (size_t i = 0; i < size; ++i) {
            lines += static_cast<uint8_t>(piece[i] == '\n');
            separators += static_cast<uint8_t>(piece[i] == ',') | static_cast<uint8_t>(piece[i] == ';');
        }
        // Of the last byte nobody knows what comes behind it.
        const size_t known = begin + size < text.size() ? size : size - 1;
        uint8_t bareReturns = 0;
        for (size_t i = 0; i < known; ++i)
            bareReturns += static_cast<uint8_t>(piece[i] == '\r') & static_cast<uint8_t>(piece[i + 1] != '\n');
        result.lines += lines;
        result.separators += separators;
        result.bareReturns += bareReturns;
    }
    return result;
}

} // namespace

bool HeaderBounds::admits(std::string_view lines)
{
    if (lines.empty())
        return true;
    const size_t firstEnd = _lines == 0 ? lines.find('\n') + 1 : 0;
    if (_lines <= 1 && firstEnd < lines.size() && (_lines == 1 || firstEnd != 0) && isBlank(lines[firstEnd]))
        return false;
    const Counts counts = countsOf(lines);
    _bytes += lines.size();
    _lines += counts.lines + (lines.back() == '\n' ? 0 : 1);
    _separators += counts.separators;
    return counts.bareReturns == 0 && _bytes <= kMaxBytes && _lines <= kMaxLines && _separators <= kMaxSeparators;
}
