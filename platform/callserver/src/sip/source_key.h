// Who a packet or a connection comes from: as texts, and as limits count them.
#pragma once

#include "sip/sip_messages.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/socket.h>

// An IPv4 address, or the first 64 bits of an IPv6 address: whoever has one of those has all of them. Of a link-local
// one the last 64.
struct SourceKey {
    std::array<uint8_t, 9> bytes{}; // kind (0: no address), then the bytes that tell

    friend bool operator==(const SourceKey&, const SourceKey&) = default;
};

struct SourceKeyHash {
    size_t operator()(const SourceKey& key) const;
};

// For the log: "192.0.2.1", "2001:db8:1:2::/64".
[[nodiscard]] std::string sourceText(const SourceKey& key);

// Literal and port; the transport stays UDP. Mapped IPv4 addresses become what they map. Any thread.
[[nodiscard]] SipSource sourceOfAddress(const sockaddr& address);

// Where the socket is bound; without an address when that cannot be told. Any thread.
[[nodiscard]] SipSource localEnd(int fd);

// A literal as sourceOfAddress() would write it; empty: it is none. Any thread.
[[nodiscard]] std::string canonicalAddress(const std::string& literal);

// Mapped IPv4 addresses count as what they map. Any thread.
[[nodiscard]] SourceKey sourceKey(const sockaddr& address);
// Of a literal without brackets; what is none gives the key of no address.
[[nodiscard]] SourceKey sourceKey(std::string_view literal);
