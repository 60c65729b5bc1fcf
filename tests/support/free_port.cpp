#include "support/free_port.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <random>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// False when the port is taken.
bool bindTo(int fd, uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

// Binds to a free port of 127.0.0.1; 0 when there is none. Below those that the system gives to clients: one of them
// could take the port before the test has a server on it.
uint16_t bindToFree(int fd)
{
    constexpr int kMaxTries = 200;
    std::random_device random;
    std::uniform_int_distribution<int> ports(12000, 31999);
    for (int i = 0; i < kMaxTries; ++i) {
        if (const auto port = static_cast<uint16_t>(ports(random)); bindTo(fd, port))
            return port;
    }
    return 0;
}

// Also on ::1, where connections of a moment ago keep their ports taken for a minute. True without IPv6.
bool isFreeForTcp6(uint16_t port)
{
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    address.sin6_port = htons(port);
    const int fd = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isTaken =
        fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 && errno == EADDRINUSE;
    if (fd >= 0)
        close(fd);
    return !isTaken;
}

} // namespace

TakenUdpPort::TakenUdpPort() : _fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), _port(bindToFree(_fd)) {}

TakenUdpPort::~TakenUdpPort()
{
    close(_fd);
}

uint16_t freeUdpPort()
{
    return TakenUdpPort().port();
}

uint16_t freeTcpPort()
{
    constexpr int kMaxTries = 100;
    for (int i = 0; i < kMaxTries; ++i) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const uint16_t port = bindToFree(fd);
        const bool isUsable = isFreeForTcp6(port);
        close(fd);
        if (isUsable)
            return port;
    }
    return 0;
}
