#include "sip/source_key.h"

#include "sip/ip_address.h"

#include "bcl2/uaddr.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string>

namespace {

constexpr uint8_t kLinkLocal = 10;

// fe80::/10
bool isLinkLocal(const IpAddress& address)
{
    return address.family == IpAddress::kV6 && address.bytes[0] == 0xfe && (address.bytes[1] & 0xc0) == 0x80;
}

SourceKey keyOf(const IpAddress& address)
{
    SourceKey key;
    key.bytes[0] = address.family;
    const auto* from = address.bytes.data();
    // On a link all have the same network, and each machine an identifier of its own.
    if (isLinkLocal(address)) {
        key.bytes[0] = kLinkLocal;
        from += address.bytes.size() / 2;
    }
    std::copy_n(from, key.bytes.size() - 1, key.bytes.begin() + 1);
    return key;
}

} // namespace

size_t SourceKeyHash::operator()(const SourceKey& key) const
{
    uint64_t address = 0;
    std::memcpy(&address, key.bytes.data() + 1, sizeof address);
    // The multiplier of Fibonacci hashing spreads neighbours over all bits.
    return static_cast<size_t>((address ^ key.bytes[0]) * 0x9E3779B97F4A7C15ULL);
}

std::string sourceText(const SourceKey& key)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    in6_addr address{}; // the half that is not in the key
    const bool isLinkLocal = key.bytes[0] == kLinkLocal;
    if (isLinkLocal)
        std::copy_n("\xfe\x80", 2, address.s6_addr);
    std::copy(key.bytes.begin() + 1, key.bytes.end(), address.s6_addr + (isLinkLocal ? sizeof address.s6_addr / 2 : 0));
    if (key.bytes[0] == IpAddress::kV4)
        return inet_ntop(AF_INET, &address, text.data(), text.size());
    return std::string(inet_ntop(AF_INET6, &address, text.data(), text.size())) + (isLinkLocal ? "" : "/64");
}

SipSource sourceOfAddress(const sockaddr& address)
{
    SipSource source;
    char text[INET6_ADDRSTRLEN + 1 + IF_NAMESIZE] = {};
    if (address.sa_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
        source.port = ntohs(v4.sin_port);
    } else if (address.sa_family == AF_INET6) {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
        if (IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr))
            inet_ntop(AF_INET, v6.sin6_addr.s6_addr + kMappedPrefix, text, sizeof text);
        else // with the interface of a link-local address
            getnameinfo(&address, sizeof v6, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
        source.port = ntohs(v6.sin6_port);
    }
    source.address = text;
    return source;
}

SipSource localEnd(int fd)
{
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    return getsockname(fd, generic, &size) == 0 ? sourceOfAddress(*generic) : SipSource{};
}

std::string canonicalAddress(const std::string& literal)
{
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* info = nullptr;
    // The library alone would also take "127.1" and a number.
    if (BclIsIPFormat(literal.c_str()) == 0 || getaddrinfo(literal.c_str(), nullptr, &hints, &info) != 0)
        return {};
    std::string address = sourceOfAddress(*info->ai_addr).address;
    freeaddrinfo(info);
    return address;
}

SourceKey sourceKey(const sockaddr& address)
{
    return keyOf(ipAddress(address));
}

SourceKey sourceKey(std::string_view literal)
{
    return keyOf(ipAddress(literal));
}
