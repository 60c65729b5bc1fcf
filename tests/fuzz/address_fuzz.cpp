// Address literals, and addresses with a port.
#include "bcl2/text.h"
#include "bcl2/uaddr.h"
#include "fuzz/fuzz_checks.h"

#include <arpa/inet.h>
#include <array>
#include <string>

namespace {

bool isLiteral(int family, const std::string& text)
{
    std::array<unsigned char, sizeof(in6_addr)> bytes{};
    return inet_pton(family, text.c_str(), bytes.data()) == 1;
}

void checkAddress(const std::string& text, uint16_t port)
{
    Cbcl_uaddr address;
    address.setAddress(text.c_str(), port);
    const std::string url = address.getURLStr();
    if (port == 0 || BclTrimmed(text).empty()) {
        require(url.empty() && address.getPort() == 0 && std::string(address.getAddress()).empty());
        return;
    }
    const std::string kept = address.getAddress();
    const bool isV6 = isLiteral(AF_INET6, kept.substr(0, kept.find('%'))); // a zone belongs to it
    require(address.getPort() == port && !kept.empty());
    require(url == (isV6 ? "[" + kept + "]" : kept) + ":" + std::to_string(port));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text = std::string(textOf(data, size)).c_str();
    const bool isAddress = isLiteral(AF_INET, text) || isLiteral(AF_INET6, text);
    require(BclIsIPFormat(text.c_str()) == (isAddress ? 1U : 0U));
    // What is an address is not trimmed and survives being shown.
    require(!isAddress || (BclPrintable(text) == text && BclTrimmed(text) == text));
    for (const size_t port : {size_t{0}, size_t{5060}, size % 65536})
        checkAddress(text, static_cast<uint16_t>(port));
    return 0;
}
