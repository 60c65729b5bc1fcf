#include "sip/packet_gate.h"

#include "sip/source_key.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

namespace {

// The same bounds as over connections: the stack takes 30 ms for a packet of nothing but short header lines.
constexpr size_t kMaxHeaderBytes = 16'384;
constexpr size_t kMaxHeaderLines = 256;

constexpr std::string_view kResponse = "SIP/2.0 ";

std::string_view withoutEmptyLines(std::string_view packet)
{
    packet.remove_prefix(std::min(packet.find_first_not_of("\r\n"), packet.size()));
    return packet;
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
    packet = withoutEmptyLines(packet);
    const size_t lineEnd = packet.find('\n');
    if (lineEnd == std::string_view::npos || !containsSip(packet.substr(0, lineEnd)))
        return false;
    size_t lines = 0;
    size_t at = lineEnd;
    while (at != std::string_view::npos) {
        const std::string_view rest = packet.substr(at + 1);
        if (rest.empty() || rest[0] == '\n' || rest.substr(0, 2) == "\r\n")
            return true; // the end of the header
        if (++lines > kMaxHeaderLines || at > kMaxHeaderBytes)
            return false;
        at = packet.find('\n', at + 1);
    }
    return packet.size() <= kMaxHeaderBytes;
}

bool lacksCredentials(std::string_view packet)
{
    packet = withoutEmptyLines(packet);
    if (begins(packet, kResponse))
        return false;
    for (size_t at = packet.find('\n'); at != std::string_view::npos; at = packet.find('\n', at + 1)) {
        const std::string_view line = packet.substr(at + 1);
        if (begins(line, "Authorization") || begins(line, "Proxy-Authorization"))
            return false;
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
