#include "support/loopback_socket.h"

#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kBuffer = 4 << 20; // bytes

}

LoopbackSocket::LoopbackSocket(uint16_t serverPort) : _fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    bool isReady = _fd >= 0 && bind(_fd, generic, size) == 0 && getsockname(_fd, generic, &size) == 0;
    _ownPort = ntohs(address.sin_port);
    address.sin_port = htons(serverPort);
    isReady = isReady && connect(_fd, generic, size) == 0;
    if (!isReady) {
        close(_fd);
        throw std::runtime_error("no socket on the loopback interface");
    }
    setsockopt(_fd, SOL_SOCKET, SO_RCVBUF, &kBuffer, sizeof kBuffer);
    setsockopt(_fd, SOL_SOCKET, SO_SNDBUF, &kBuffer, sizeof kBuffer);
}

LoopbackSocket::~LoopbackSocket()
{
    close(_fd);
}
