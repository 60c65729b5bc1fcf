// What a local user dials to change his own services.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct ServiceCode {
    std::string_view code;   // with "*", whatever character it is dialed with; empty: there is no such code
    std::string_view number; // that follows it
    bool isNumberMissing = false;
};

// Nothing when the dialed number is no service code. `prefix` is its first character; NUL: there are none.
[[nodiscard]] std::optional<ServiceCode> serviceCodeOf(char prefix, std::string_view dialed);
