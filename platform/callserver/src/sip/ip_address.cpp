#include "sip/ip_address.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>

namespace {

IpAddress addressOf(const in_addr& address)
{
    IpAddress result;
    result.family = IpAddress::kV4;
    std::memcpy(result.bytes.data(), &address, sizeof address);
    return result;
}

IpAddress addressOf(const in6_addr& address)
{
    if (IN6_IS_ADDR_V4MAPPED(&address)) {
        in_addr mapped{};
        std::memcpy(&mapped, address.s6_addr + kMappedPrefix, sizeof mapped);
        return addressOf(mapped);
    }
    IpAddress result;
    result.family = IpAddress::kV6;
    std::memcpy(result.bytes.data(), address.s6_addr, sizeof address.s6_addr);
    return result;
}

} // namespace

IpAddress ipAddress(const sockaddr& address)
{
    switch (address.sa_family) {
    case AF_INET:
        return addressOf(reinterpret_cast<const sockaddr_in&>(address).sin_addr);
    case AF_INET6:
        return addressOf(reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
    default:
        return {};
    }
}

IpAddress ipAddress(std::string_view literal)
{
    literal = literal.substr(0, literal.find('%'));
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (literal.size() >= text.size())
        return {};
    literal.copy(text.data(), literal.size());
    in_addr v4{};
    in6_addr v6{};
    if (inet_pton(AF_INET, text.data(), &v4) == 1)
        return addressOf(v4);
    if (inet_pton(AF_INET6, text.data(), &v6) == 1)
        return addressOf(v6);
    return {};
}
