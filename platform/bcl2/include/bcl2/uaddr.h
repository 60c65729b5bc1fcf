// Addresses with a port, as they are shown and stored.
#pragma once

#include "bcl2/tmp_str.h"

#include <cstdint>
#include <string>

// Text, address literal or host name, and port. One thread at a time.
class Cbcl_uaddr {
public:
    // A null or blank address, or port 0, leaves no address.
    void setAddress(const char* address, uint16_t port);
    // "address:port"; an IPv6 literal stands in brackets (RFC 3986 section 3.2.2): "[::1]:5060". Empty without address.
    [[nodiscard]] const char* getURLStr() const { return _url.c_str(); }
    [[nodiscard]] const char* getAddress() const { return _address.c_str(); }
    [[nodiscard]] uint16_t getPort() const { return _port; }

private:
    std::string _address;
    std::string _url;
    uint16_t _port = 0;
};

// 1 when the text is an IPv4 dotted quad (four decimal numbers, no leading zeros) or an IPv6 literal without brackets,
// else 0. Nothing is looked up.
[[nodiscard]] unsigned BclIsIPFormat(const char* text);
