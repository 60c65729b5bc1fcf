#include "support/free_port.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

TakenUdpPort::TakenUdpPort() : _fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(_fd, generic, size) == 0 && getsockname(_fd, generic, &size) == 0)
        _port = ntohs(address.sin_port);
}

TakenUdpPort::~TakenUdpPort()
{
    close(_fd);
}

uint16_t freeUdpPort()
{
    return TakenUdpPort().port();
}
