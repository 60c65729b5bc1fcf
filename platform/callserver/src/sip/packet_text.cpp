#include "sip/packet_text.h"

#include <algorithm>
#include <array>
#include <strings.h>

namespace {

bool begins(std::string_view line, std::string_view name)
{
    return line.size() >= name.size() && strncasecmp(line.data(), name.data(), name.size()) == 0;
}

bool isEndOfHeader(std::string_view rest)
{
    return rest.empty() || rest[0] == '\n' || rest.substr(0, 2) == "\r\n";
}

// The value behind the colon when the line is of the header of that name.
std::optional<std::string_view> valueOf(std::string_view line, std::string_view name)
{
    if (!begins(line, name))
        return std::nullopt;
    const size_t colon = line.find_first_not_of(" \t", name.size());
    if (colon == std::string_view::npos || line[colon] != ':')
        return std::nullopt;
    std::string_view value = line.substr(colon + 1);
    value = value.substr(0, value.find('\n'));
    const size_t first = value.find_first_not_of(" \t\r");
    return first == std::string_view::npos ? std::string_view()
                                           : value.substr(first, value.find_last_not_of(" \t\r") - first + 1);
}

} // namespace

std::string_view withoutEmptyLines(std::string_view packet)
{
    packet.remove_prefix(std::min(packet.find_first_not_of("\r\n"), packet.size()));
    return packet;
}

bool isMethod(std::string_view packet, std::string_view method)
{
    packet = withoutEmptyLines(packet);
    return begins(packet, method) && packet.size() > method.size() && packet[method.size()] == ' ';
}

std::optional<std::string_view> headerOf(std::string_view packet, std::span<const std::string_view> names)
{
    for (size_t at = packet.find('\n'); at != std::string_view::npos; at = packet.find('\n', at + 1)) {
        const std::string_view line = packet.substr(at + 1);
        if (isEndOfHeader(line))
            break;
        for (const std::string_view name : names)
            if (const auto value = valueOf(line, name); value)
                return value;
    }
    return std::nullopt;
}

std::string_view callIdOf(std::string_view packet)
{
    static constexpr std::array<std::string_view, 2> kNames = {"Call-ID", "i"};
    return headerOf(packet, kNames).value_or(std::string_view());
}
