#include "sip/packet_gate.h"

#include "sip/header_bounds.h"
#include "sip/packet_text.h"
#include "sip/source_key.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <netinet/in.h>
#include <strings.h>

namespace {

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

// Behind its last line; `at` is the end of its first one.
size_t headerEnd(std::string_view packet, size_t at)
{
    for (; at != std::string_view::npos; at = packet.find('\n', at + 1)) {
        const std::string_view rest = packet.substr(at + 1);
        if (rest.empty() || rest[0] == '\n' || rest.substr(0, 2) == "\r\n")
            return at + 1;
    }
    return packet.size();
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
    return HeaderBounds().admits(packet.substr(0, headerEnd(packet, lineEnd)));
}

namespace {

uint16_t portOf(const sockaddr& source)
{
    switch (source.sa_family) {
    case AF_INET:
        return reinterpret_cast<const sockaddr_in&>(source).sin_port;
    case AF_INET6:
        return reinterpret_cast<const sockaddr_in6&>(source).sin6_port;
    default:
        return 0;
    }
}

} // namespace

bool lacksCredentials(std::string_view packet)
{
    static constexpr std::array<std::string_view, 1> kOfRegistrations = {"Authorization"};
    static constexpr std::array<std::string_view, 2> kOfCalls = {"Proxy-Authorization", "Authorization"};
    packet = withoutEmptyLines(packet);
    if (isMethod(packet, "SIP/2.0"))
        return false; // an answer
    if (isMethod(packet, "REGISTER"))
        return !headerOf(packet, kOfRegistrations);
    // Other requests are not answered by their credentials.
    return !(isMethod(packet, "INVITE") || isMethod(packet, "MESSAGE")) || !headerOf(packet, kOfCalls);
}

bool PacketGate::admits(const sockaddr& source, std::string_view packet)
{
    if (portOf(source) == 0)
        return false; // nobody could be answered there
    const IpVerdict verdict = verdictOf(source);
    if (verdict == IpVerdict::Deny)
        return false;
    const bool isAllowed = verdict == IpVerdict::Allow;
    const SourceKey key = sourceKey(source);
    const int64_t now = _clock.steadyMs();
    if ((!isAllowed && _guard.isSilenced(key, now)) || !isParsable(packet))
        return false;
    if (!lacksCredentials(packet) || _calls.has(callIdOf(packet), key))
        return true;
    // What confirms nothing is never answered.
    return !isMethod(packet, "ACK") && (isAllowed || _guard.admitWithoutCredentials(key, now));
}

IpVerdict PacketGate::verdictOf(const sockaddr& source)
{
    const IpList& list = _ipList.now();
    return list.isEmpty() ? IpVerdict::None : list.of(ipAddress(source));
}
