// printf into a text of any length.
#pragma once

#include <cstdarg>
#include <string>

// Replaces `out` by the formatted text; false when the C library cannot format it, and then `out` is as it was.
// The arguments may point into `out`.
[[nodiscard]] bool bclFormatText(std::string& out, const char* format, va_list args)
    __attribute__((format(printf, 2, 0)));
