#include "sip/numeric_hosts.h"

#include <arpa/inet.h>
#include <atomic>
#include <cstdint>
#include <netinet/in.h>
#include <sofia-sip/su_addrinfo.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

int resolveLiteral(const char* node, const char* service, const addrinfo* hints, addrinfo** result)
{
    addrinfo numeric{};
    if (hints != nullptr)
        numeric = *hints;
    numeric.ai_flags |= AI_NUMERICHOST;
    return getaddrinfo(node, service, &numeric, result);
}

namespace {

constexpr int kMaxDrained = 256; // connections at once

std::atomic<bool> isClosedForStreams = false;
std::atomic<bool> isDrainUsed = false;
std::atomic<int> drainSocket = -1;
std::atomic<uint16_t> drainPort = 0; // 0: there is no drain

// A socket of 127.0.0.1 that takes connections and nothing else.
void openDrain()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (fd < 0 || bind(fd, generic, size) != 0 || listen(fd, SOMAXCONN) != 0 || getsockname(fd, generic, &size) != 0) {
        if (fd >= 0)
            close(fd);
        return;
    }
    drainSocket.store(fd);
    drainPort.store(ntohs(address.sin_port));
}

} // namespace

void closeStackStreams()
{
    if (!isClosedForStreams.exchange(true))
        openDrain();
}

void drainStackStreams()
{
    if (!isDrainUsed.load(std::memory_order_relaxed))
        return;
    for (int i = 0; i < kMaxDrained; ++i) {
        const int fd = accept4(drainSocket.load(), nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            return;
        close(fd);
    }
}

// Stands in for the function of that name in the stack's library, which calls it through the dynamic linker: the
// program's definition comes first as long as it is exported (see CMakeLists.txt).
extern "C" __attribute__((visibility("default"))) int su_getaddrinfo(const char* node, const char* service,
                                                                     const su_addrinfo_t* hints, su_addrinfo_t** res)
{
    if (hints != nullptr && hints->ai_socktype == SOCK_STREAM && isClosedForStreams.load()) {
        isDrainUsed.store(true);
        const uint16_t port = drainPort.load();
        return port == 0 ? EAI_NONAME : resolveLiteral("127.0.0.1", std::to_string(port).c_str(), hints, res);
    }
    return resolveLiteral(node, service, hints, res);
}
