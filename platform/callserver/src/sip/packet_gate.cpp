#include "sip/packet_gate.h"

#include "sip/header_bounds.h"
#include "sip/source_key.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

namespace {

constexpr std::string_view kRegister = "REGISTER ";
constexpr std::string_view kAuthorization = "Authorization";
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

bool lacksCredentials(std::string_view packet)
{
    packet = withoutEmptyLines(packet);
    if (begins(packet, kResponse))
        return false;
    // Other requests are not answered by their credentials.
    if (!begins(packet, kRegister))
        return true;
    for (size_t at = packet.find('\n'); at != std::string_view::npos; at = packet.find('\n', at + 1)) {
        const std::string_view line = packet.substr(at + 1);
        if (begins(line, kAuthorization)) {
            const size_t colon = line.find_first_not_of(" \t", kAuthorization.size());
            if (colon != std::string_view::npos && line[colon] == ':')
                return false;
        }
        if (line.empty() || line[0] == '\n' || line.substr(0, 2) == "\r\n")
            break;
    }
    return true;
}

bool PacketGate::admits(const sockaddr& source, std::string_view packet)
{
    const SourceKey key = sourceKey(source);
    const int64_t now = _clock.steadyMs();
    return !_guard.isSilenced(key, now) && isParsable(packet) &&
           (!lacksCredentials(packet) || _guard.admitWithoutCredentials(key, now));
}
