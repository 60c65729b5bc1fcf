// IPv4 and IPv6 addresses in one order.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <sys/socket.h>
#include <tuple>

// Family, then the address from its first bit on: networks of either are ranges in the order of the bytes.
struct IpAddress {
    static constexpr uint8_t kNone = 0;
    static constexpr uint8_t kV4 = 4;
    static constexpr uint8_t kV6 = 6;
    static constexpr size_t kMaxSize = 16; // bytes of an address

    uint8_t family = kNone;
    std::array<uint8_t, kMaxSize> bytes{}; // zero behind an IPv4 address

    friend bool operator==(const IpAddress&, const IpAddress&) = default;
    friend auto operator<=>(const IpAddress& a, const IpAddress& b)
    {
        return std::tie(a.family, a.bytes) <=> std::tie(b.family, b.bytes);
    }
};

// Bits of an address.
[[nodiscard]] constexpr unsigned ipBits(uint8_t family)
{
    constexpr unsigned kV4Bits = 32;
    constexpr unsigned kV6Bits = 128;
    return family == IpAddress::kV4 ? kV4Bits : family == IpAddress::kV6 ? kV6Bits : 0;
}

// Of the first bytes of a mapped IPv4 address (RFC 4291 section 2.5.5.2).
constexpr size_t kMappedPrefix = 12;

// Mapped IPv4 addresses are what they map. No address: of neither family, no literal. Any thread.
[[nodiscard]] IpAddress ipAddress(const sockaddr& address);
// Without brackets; the interface of a link-local one is left out.
[[nodiscard]] IpAddress ipAddress(std::string_view literal);
