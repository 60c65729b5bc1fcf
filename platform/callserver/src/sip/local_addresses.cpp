#include "sip/local_addresses.h"

#include "sip/numeric_hosts.h"
#include "sip/source_key.h"

#include <algorithm>
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Empty when the address is none that telephones could use.
std::string usableAddress(const sockaddr* address)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (address->sa_family == AF_INET) {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
        inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text);
    } else if (address->sa_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
        if (!IN6_IS_ADDR_LINKLOCAL(&v6->sin6_addr))
            inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof text);
    }
    return text;
}

} // namespace

std::vector<std::string> localAddresses()
{
    std::vector<std::string> result;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return result;
    for (const ifaddrs* item = list; item != nullptr; item = item->ifa_next) {
        if (item->ifa_addr == nullptr || (item->ifa_flags & IFF_UP) == 0)
            continue;
        std::string text = usableAddress(item->ifa_addr);
        if (!text.empty() && std::find(result.begin(), result.end(), text) == result.end())
            result.push_back(std::move(text));
    }
    freeifaddrs(list);
    std::stable_partition(result.begin(), result.end(),
                          [](const std::string& text) { return text.find(':') == std::string::npos; });
    return result;
}

std::string localAddressTowards(const std::string& literal)
{
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICSERV;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* info = nullptr;
    // Any port: nothing is sent.
    if (resolveLiteral(literal.c_str(), "9", &hints, &info) != 0)
        return {};
    std::string result;
    const int fd = socket(info->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_storage local{};
    socklen_t size = sizeof local;
    if (fd >= 0 && connect(fd, info->ai_addr, info->ai_addrlen) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&local), &size) == 0)
        result = sourceOfAddress(*reinterpret_cast<const sockaddr*>(&local)).address;
    if (fd >= 0)
        close(fd);
    freeaddrinfo(info);
    return result;
}
