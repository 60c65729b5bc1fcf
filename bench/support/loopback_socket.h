// A UDP socket to a server on this machine.
#pragma once

#include <cstdint>

// Owns the descriptor. Throws when there is none to be had.
class LoopbackSocket {
public:
    // On a port of its own of 127.0.0.1, connected to the server's port there.
    explicit LoopbackSocket(uint16_t serverPort);
    ~LoopbackSocket();
    LoopbackSocket(const LoopbackSocket&) = delete;
    LoopbackSocket& operator=(const LoopbackSocket&) = delete;

    [[nodiscard]] int fd() const { return _fd; }
    [[nodiscard]] uint16_t ownPort() const { return _ownPort; }

private:
    int _fd;
    uint16_t _ownPort = 0;
};
