#include "sip/packet_gate.h"

#include "sip/header_bounds.h"
#include "sip/source_key.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <strings.h>

namespace {

constexpr std::string_view kResponse = "SIP/2.0 ";

std::string_view withoutEmptyLines(std::string_view packet)
{
    packet.remove_prefix(std::min(packet.find_first_not_of("\r\n"), packet.size()));
    return packet;
}

bool isTextByte(char c)
{
    return (c > ' ' && c < 0x7f) || c == '\r' || c == '\n';
}

bool containsSip(std::string_view line)
{
    for (size_t at = line.find('/'); at != std::string_view::npos; at = line.find('/', at + 1))
        if (at >= 3 && strncasecmp(line.data() + at - 3, "SIP", 3) == 0)
            return true;
    return false;
}

bool begins(std::string_view line, std::string_view name)
{
    return line.size() >= name.size() && strncasecmp(line.data(), name.data(), name.size()) == 0;
}

} // namespace

bool isParsable(std::string_view packet)
{
    // By its first byte the stack takes a packet for STUN or for compressed SIP, whatever follows.
    if (packet.empty() || !isTextByte(packet.front()))
        return false;
    packet = withoutEmptyLines(packet);
    const size_t lineEnd = packet.find('\n');
    if (lineEnd == std::string_view::npos || !containsSip(packet.substr(0, lineEnd)))
        return false;
    size_t start = 0;
    HeaderBounds bounds;
    for (size_t end = lineEnd; end != std::string_view::npos; end = packet.find('\n', start)) {
        if (!bounds.admits(packet.substr(start, end + 1 - start)))
            return false;
        start = end + 1;
        const std::string_view rest = packet.substr(start);
        if (rest.empty() || rest[0] == '\n' || rest.substr(0, 2) == "\r\n")
            return true; // the end of the header
    }
    return bounds.admits(packet.substr(start));
}

namespace {

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

// The first of these headers.
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

} // namespace

bool lacksCredentials(std::string_view packet)
{
    static constexpr std::array<std::string_view, 1> kOfRegistrations = {"Authorization"};
    static constexpr std::array<std::string_view, 2> kOfCalls = {"Proxy-Authorization", "Authorization"};
    packet = withoutEmptyLines(packet);
    if (begins(packet, kResponse))
        return false;
    if (begins(packet, "REGISTER "))
        return !headerOf(packet, kOfRegistrations);
    // Other requests are not answered by their credentials.
    return !(begins(packet, "INVITE ") || begins(packet, "MESSAGE ")) || !headerOf(packet, kOfCalls);
}

bool isAck(std::string_view packet)
{
    return begins(withoutEmptyLines(packet), "ACK ");
}

std::string_view callIdOf(std::string_view packet)
{
    static constexpr std::array<std::string_view, 2> kNames = {"Call-ID", "i"};
    return headerOf(packet, kNames).value_or(std::string_view());
}

bool PacketGate::admits(const sockaddr& source, std::string_view packet)
{
    const SourceKey key = sourceKey(source);
    const int64_t now = _clock.steadyMs();
    if (_guard.isSilenced(key, now) || !isParsable(packet))
        return false;
    if (!lacksCredentials(packet) || _calls.has(callIdOf(packet)))
        return true;
    return !isAck(packet) && _guard.admitWithoutCredentials(key, now);
}
