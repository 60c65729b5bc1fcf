#include "sip/header_bounds.h"

bool HeaderBounds::admits(std::string_view line)
{
    if (_lines == 1 && !line.empty() && (line[0] == ' ' || line[0] == '\t'))
        return false;
    for (size_t at = line.find('\r'); at != std::string_view::npos; at = line.find('\r', at + 1))
        if (at + 1 < line.size() && line[at + 1] != '\n')
            return false;
    _bytes += line.size();
    ++_lines;
    // Of this width the compiler counts many at a time; every byte of every packet passes here.
    unsigned separators = 0;
    for (const char c : line)
        separators += static_cast<unsigned>(c == ',') | static_cast<unsigned>(c == ';');
    _separators += separators;
    return _bytes <= kMaxBytes && _lines <= kMaxLines && _separators <= kMaxSeparators;
}
