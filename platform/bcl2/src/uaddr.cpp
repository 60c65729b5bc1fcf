#include "bcl2/uaddr.h"

#include "bcl2/text.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

bool isLiteral(int family, const char* text)
{
    unsigned char bytes[sizeof(in6_addr)];
    return inet_pton(family, text, bytes) == 1;
}

} // namespace

void Cbcl_uaddr::setAddress(const char* address, uint16_t port)
{
    std::string text(BclTrimmed(address == nullptr ? "" : address));
    if (text.empty() || port == 0) {
        _address.clear();
        _url.clear();
        _port = 0;
        return;
    }
    // A zone ("fe80::1%eth0", RFC 4007 section 11) belongs to the literal.
    const bool isIpv6 =
        text.find(':') != std::string::npos && isLiteral(AF_INET6, text.substr(0, text.find('%')).c_str());
    _url = (isIpv6 ? "[" + text + "]" : text) + ":" + std::to_string(port);
    _address = std::move(text);
    _port = port;
}

unsigned BclIsIPFormat(const char* text)
{
    // inet_pton takes exactly these forms: no blanks, no leading zeros in an IPv4 number, no brackets.
    return text != nullptr && (isLiteral(AF_INET, text) || isLiteral(AF_INET6, text)) ? 1 : 0;
}
