#include "sip/numeric_hosts.h"

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sofia-sip/su_addrinfo.h>
#include <span>
#include <string>
#include <string_view>
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

// One result that is ours: its address follows it.
struct OwnResult {
    addrinfo info{};
    sockaddr_in address{};
};

constexpr int kOwnMark = 0x4000'0000; // among the flags of results of ours

// The stack asks for each packet that it sends; the C library takes longer than the rest of sending. Null: leave it to
// that.
addrinfo* ofV4Literal(const char* node, const char* service, const addrinfo* hints)
{
    in_addr host{};
    if (node == nullptr || service == nullptr || hints == nullptr || hints->ai_socktype != SOCK_DGRAM ||
        hints->ai_family == AF_INET6 || (hints->ai_flags & ~AI_NUMERICHOST) != 0 ||
        inet_pton(AF_INET, node, &host) != 1)
        return nullptr;
    uint16_t port = 0;
    const std::string_view digits(service);
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), port);
    if (error != std::errc() || end != digits.end())
        return nullptr;
    auto* const result = new OwnResult;
    result->address.sin_family = AF_INET;
    result->address.sin_port = htons(port);
    result->address.sin_addr = host;
    result->info.ai_family = AF_INET;
    result->info.ai_socktype = SOCK_DGRAM;
    result->info.ai_protocol = IPPROTO_UDP;
    result->info.ai_addrlen = sizeof result->address;
    result->info.ai_addr = reinterpret_cast<sockaddr*>(&result->address);
    result->info.ai_flags = kOwnMark;
    return &result->info;
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

// The functions below stand in for those of the same names in the stack's library and in the C library, which the stack
// calls through the dynamic linker: the program's definitions come first as long as they are exported (see
// CMakeLists.txt).
extern "C" __attribute__((visibility("default"))) int su_getaddrinfo(const char* node, const char* service,
                                                                     const su_addrinfo_t* hints, su_addrinfo_t** res)
{
    if (hints != nullptr && hints->ai_socktype == SOCK_STREAM && isClosedForStreams.load()) {
        isDrainUsed.store(true);
        const uint16_t port = drainPort.load();
        return port == 0 ? EAI_NONAME : resolveLiteral("127.0.0.1", std::to_string(port).c_str(), hints, res);
    }
    if (su_addrinfo_t* const known = ofV4Literal(node, service, hints); known != nullptr) {
        *res = known;
        return 0;
    }
    return resolveLiteral(node, service, hints, res);
}

extern "C" __attribute__((visibility("default"))) void su_freeaddrinfo(su_addrinfo_t* list)
{
    if (list != nullptr && (list->ai_flags & kOwnMark) != 0)
        delete reinterpret_cast<OwnResult*>(list);
    else if (list != nullptr)
        freeaddrinfo(list);
}

// The stack writes the addresses of each packet several times, and the C library's function formats with sprintf().
extern "C" __attribute__((visibility("default"))) const char* inet_ntop(int family, const void* address, char* text,
                                                                        socklen_t size) noexcept
{
    if (family != AF_INET) {
        using Function = const char* (*)(int, const void*, char*, socklen_t);
        static const auto ofLibrary = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "inet_ntop"));
        return ofLibrary(family, address, text, size);
    }
    std::array<char, INET_ADDRSTRLEN> digits{};
    char* end = digits.data();
    for (const uint8_t byte : std::span(static_cast<const uint8_t*>(address), sizeof(in_addr))) {
        if (end != digits.data())
            *end++ = '.';
        end = std::to_chars(end, digits.data() + digits.size(), byte).ptr;
    }
    const auto length = static_cast<size_t>(end - digits.data());
    if (size <= length) {
        errno = ENOSPC;
        return nullptr;
    }
    std::memcpy(text, digits.data(), length);
    text[length] = '\0';
    return text;
}
