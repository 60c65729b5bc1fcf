#include "sip/quoted_nuls.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

void blankQuotedNuls(char* message, size_t size)
{
    if (std::memchr(message, '\0', size) == nullptr)
        return;
    const size_t headers = std::min(std::string_view(message, size).find("\r\n\r\n"), size);
    bool isEscaped = false;
    for (char& c : std::span(message, headers)) {
        if (isEscaped && c == '\0')
            c = ' ';
        isEscaped = !isEscaped && c == '\\';
    }
}
