#include "sip/uri_text.h"

#include "bcl2/uaddr.h"

#include <algorithm>
#include <array>

namespace {

// unreserved and user-unreserved of RFC 3261 section 25.1
bool isOfUser(char c)
{
    constexpr std::string_view kMarks = "-_.!~*'()&=+$,;?/";
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           kMarks.find(c) != std::string_view::npos;
}

} // namespace

std::string sipUri(std::string_view user, std::string_view host)
{
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string uri = "sip:";
    uri.reserve(uri.size() + user.size() + host.size() + 1);
    for (const char c : user) {
        if (isOfUser(c)) {
            uri += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        uri += '%';
        uri += kDigits[byte >> 4];
        uri += kDigits[byte & 0xf];
    }
    if (!user.empty())
        uri += '@';
    uri += host;
    return uri;
}

std::string nameAddr(std::string_view display, std::string_view uri)
{
    std::string text;
    text.reserve(display.size() + uri.size() + 5);
    if (!display.empty()) {
        text += '"';
        for (const char c : display) {
            if (c == '"' || c == '\\')
                text += '\\';
            text += static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? ' ' : c;
        }
        text += "\" ";
    }
    text.append("<").append(uri).append(">");
    return text;
}

std::string addressText(const SipSource& source)
{
    Cbcl_uaddr text;
    text.setAddress(source.address.c_str(), source.port);
    return text.getURLStr();
}
