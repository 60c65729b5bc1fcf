#include "dialplan/service_codes.h"

#include <array>

std::optional<ServiceCode> serviceCodeOf(char prefix, std::string_view dialed)
{
    constexpr std::array<std::string_view, 5> kWhole = {"*8", "*73", "*78", "*79", "*97"};
    constexpr std::string_view kForwardTo = "*72";

    if (prefix == '\0' || !dialed.starts_with(prefix))
        return std::nullopt;
    const std::string_view digits = dialed.substr(1);
    for (const std::string_view code : kWhole)
        if (digits == code.substr(1))
            return ServiceCode{code, {}};
    if (!digits.starts_with(kForwardTo.substr(1)))
        return ServiceCode{};
    const std::string_view number = digits.substr(kForwardTo.size() - 1);
    return ServiceCode{kForwardTo, number, number.empty()};
}
