#include "sip/local_addresses.h"

#include <algorithm>
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

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
