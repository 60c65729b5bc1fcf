#include "sip/source_key.h"

#include "bcl2/uaddr.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string>

namespace {

constexpr uint8_t kV4 = 4;
constexpr uint8_t kV6 = 6;
constexpr uint8_t kLinkLocal = 10;
constexpr size_t kMappedPrefix = 12; // bytes before the IPv4 address in a mapped one

SourceKey keyOf(uint8_t family, const void* address, size_t size)
{
    SourceKey key;
    key.bytes[0] = family;
    std::memcpy(key.bytes.data() + 1, address, std::min(size, key.bytes.size() - 1));
    return key;
}

SourceKey keyOf(const in6_addr& address)
{
    if (IN6_IS_ADDR_V4MAPPED(&address))
        return keyOf(kV4, address.s6_addr + kMappedPrefix, sizeof(in_addr));
    // On a link all have the same network, and each machine an identifier of its own.
    if (IN6_IS_ADDR_LINKLOCAL(&address))
        return keyOf(kLinkLocal, address.s6_addr + sizeof address.s6_addr / 2, sizeof address.s6_addr / 2);
    return keyOf(kV6, address.s6_addr, sizeof address.s6_addr);
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
    if (key.bytes[0] == kV4)
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
    if (address.sa_family == AF_INET)
        return keyOf(kV4, &reinterpret_cast<const sockaddr_in&>(address).sin_addr, sizeof(in_addr));
    if (address.sa_family == AF_INET6)
        return keyOf(reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
    return {};
}

SourceKey sourceKey(std::string_view literal)
{
    const std::string text(literal.substr(0, literal.find('%'))); // without the interface of a link-local one
    in_addr v4{};
    in6_addr v6{};
    if (inet_pton(AF_INET, text.c_str(), &v4) == 1)
        return keyOf(kV4, &v4, sizeof v4);
    if (inet_pton(AF_INET6, text.c_str(), &v6) == 1)
        return keyOf(v6);
    return {};
}
