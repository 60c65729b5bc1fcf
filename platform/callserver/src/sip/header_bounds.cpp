#include "sip/header_bounds.h"

#include <algorithm>

bool HeaderBounds::admits(std::string_view line)
{
    if (_lines == 1 && !line.empty() && (line[0] == ' ' || line[0] == '\t'))
        return false;
    for (size_t at = line.find('\r'); at != std::string_view::npos; at = line.find('\r', at + 1))
        if (at + 1 < line.size() && line[at + 1] != '\n')
            return false;
    _bytes += line.size();
    ++_lines;
    _separators +=
        static_cast<size_t>(std::count_if(line.begin(), line.end(), [](char c) { return c == ',' || c == ';'; }));
    return _bytes <= kMaxBytes && _lines <= kMaxLines && _separators <= kMaxSeparators;
}
