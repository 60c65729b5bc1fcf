#include "streams/listener.h"

#include "sip/numeric_hosts.h"

#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int kBacklog = 1024; // connections that come while TLS keeps the thread busy

// -1 with errno.
int listenOn(const addrinfo& info)
{
    const int fd = socket(info.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int one = 1;
    if (fd < 0)
        return -1;
    // Connections of a former run that still linger must not keep the port.
    const bool isListening =
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) == 0 &&
        (info.ai_family != AF_INET6 || setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &one, sizeof one) == 0) &&
        bind(fd, info.ai_addr, info.ai_addrlen) == 0 && listen(fd, kBacklog) == 0;
    if (isListening)
        return fd;
    const int error = errno;
    ::close(fd);
    errno = error;
    return -1;
}

} // namespace

Listener::Listener(Listener&& other) noexcept
    : _fds(std::exchange(other._fds, {})), _address(std::move(other._address)), _port(other._port)
{}

Listener& Listener::operator=(Listener&& other) noexcept
{
    if (this != &other) {
        close();
        _fds = std::exchange(other._fds, {});
        _address = std::move(other._address);
        _port = other._port;
    }
    return *this;
}

void Listener::close()
{
    for (const int fd : std::exchange(_fds, {}))
        ::close(fd);
}

std::string Listener::open(const std::string& address, uint16_t port)
{
    close();
    _address = address;
    _port = port;
    const std::vector<std::string> literals =
        address.empty() ? std::vector<std::string>{"0.0.0.0", "::"} : std::vector<std::string>{address};
    for (const std::string& literal : literals) {
        addrinfo hints{};
        hints.ai_flags = AI_NUMERICSERV;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* info = nullptr;
        if (resolveLiteral(literal.c_str(), std::to_string(port).c_str(), &hints, &info) != 0) {
            close();
            return "not an IP address";
        }
        const int fd = listenOn(*info);
        const int error = errno;
        freeaddrinfo(info);
        if (fd >= 0) {
            _fds.push_back(fd);
        } else if (!address.empty() || (error != EAFNOSUPPORT && error != EADDRNOTAVAIL)) {
            // A machine without IPv6 (or IPv4) is served all the same.
            close();
            return std::strerror(error);
        }
    }
    return _fds.empty() ? "the machine has no network" : std::string();
}
