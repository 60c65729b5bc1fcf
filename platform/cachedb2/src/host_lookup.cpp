#include "host_lookup.h"

#include "bcl2/log.h"
#include "bcl2/text.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <set>
#include <sys/socket.h>

namespace {

bool isAddress(const std::string& host)
{
    in6_addr buffer;
    return inet_pton(AF_INET, host.c_str(), &buffer) == 1 || inet_pton(AF_INET6, host.c_str(), &buffer) == 1;
}

// The addresses of a name, parted by commas; empty with a reason when there are none.
std::string addressesOf(const std::string& name, std::string& reason)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM; // each address once
    addrinfo* first = nullptr;
    if (const int error = getaddrinfo(name.c_str(), nullptr, &hints, &first); error != 0) {
        reason = gai_strerror(error);
        return {};
    }
    std::set<std::string> addresses;
    for (const addrinfo* found = first; found != nullptr; found = found->ai_next) {
        char text[NI_MAXHOST];
        if (getnameinfo(found->ai_addr, found->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0)
            addresses.insert(text);
    }
    freeaddrinfo(first);
    std::string list;
    for (const std::string& address : addresses)
        list += (list.empty() ? "" : ", ") + address;
    if (list.empty())
        reason = "the name has no address";
    return list;
}

} // namespace

std::string hostOf(std::string_view hostAndPort)
{
    std::string_view host = BclTrimmed(hostAndPort);
    if (!host.empty() && host.front() == '[')
        return std::string(host.substr(1, host.find(']') - 1));
    const size_t colon = host.find(':');
    const bool isV6 = colon != host.rfind(':');
    return std::string(BclTrimmed(isV6 ? host : host.substr(0, colon)));
}

unsigned lookUpHosts(const std::vector<HostUse>& hosts, const std::function<bool()>& isStale)
{
    for (const HostUse& host : hosts) {
        if (host.host.empty() || isAddress(host.host))
            continue;
        std::string reason;
        const std::string addresses = addressesOf(host.host, reason);
        if (isStale())
            return 0;
        if (addresses.empty())
            BclLog("%s %s was not found: %s.", host.use.c_str(), BclPrintable(host.host).c_str(), reason.c_str());
        else
            BclLog("%s %s has the address %s.", host.use.c_str(), BclPrintable(host.host).c_str(), addresses.c_str());
    }
    return 0;
}
