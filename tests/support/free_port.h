// Ports that nobody uses now.
#pragma once

#include <cstdint>

// A UDP port of 127.0.0.1 that was free a moment ago. 0 when there is none.
[[nodiscard]] uint16_t freeUdpPort();

// Keeps a UDP port of 127.0.0.1 taken while it lives.
class TakenUdpPort {
public:
    TakenUdpPort();
    ~TakenUdpPort();
    TakenUdpPort(const TakenUdpPort&) = delete;
    TakenUdpPort& operator=(const TakenUdpPort&) = delete;

    [[nodiscard]] uint16_t port() const { return _port; }

private:
    int _fd;
    uint16_t _port = 0;
};

// A TCP port of 127.0.0.1 that was free a moment ago. 0 when there is none.
[[nodiscard]] uint16_t freeTcpPort();
