// What a telephone says of itself, made fit for records and pages.
#pragma once

#include <string>
#include <string_view>

// At most 128 bytes of valid UTF-8 without control characters, line separators and direction overrides.
[[nodiscard]] std::string cleanUserAgent(std::string_view text);
