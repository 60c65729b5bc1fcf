#include "sip/message_lines.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sofia-sip/msg.h>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_parser.h>
#include <sofia-sip/sip_protos.h>
#include <sofia-sip/url.h>
#include <string_view>
#include <strings.h>

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kProtocol = "SIP/";

// Our version in a text whose address tells that the request came with another one.
constexpr const char kDisguisedVersion[] = "SIP/2.0";

// RFC 3261 section 25.1
bool isToken(std::string_view text)
{
    static constexpr std::string_view kMarks = "-.!%*_+`'~";
    const auto isTokenChar = [](unsigned char c) {
        return c < 0x80 && (std::isalnum(c) != 0 || kMarks.find(static_cast<char>(c)) != std::string_view::npos);
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), isTokenChar);
}

// "SIP/2.0" and the like.
bool isSipVersion(std::string_view text)
{
    if (text.size() <= kProtocol.size() || strncasecmp(text.data(), kProtocol.data(), kProtocol.size()) != 0)
        return false;
    const std::string_view number = text.substr(kProtocol.size());
    const size_t dot = number.find('.');
    return dot != 0 && dot != std::string_view::npos && dot + 1 < number.size() &&
           number.find_first_not_of(kDigits) == dot &&
           number.find_first_not_of(kDigits, dot + 1) == std::string_view::npos;
}

// The stack says "invalid" of names whose characters it does not know.
sip_method_t methodOf(const char* name)
{
    return std::max(sip_method_code(name), sip_method_unknown);
}

// The three parts of a request line, which end with NUL once it is cut.
struct RequestLine {
    char* method;
    char* uri;
    char* version;
    bool isExact; // one blank between them, and nothing behind
};

// False when the text is no request of SIP at all.
bool cut(char* text, RequestLine& line)
{
    const std::string_view all(text);
    const size_t methodEnd = all.find_first_of(kBlanks);
    const size_t last = all.find_last_not_of(kBlanks);
    if (methodEnd == 0 || methodEnd == std::string_view::npos || last < methodEnd)
        return false;
    const size_t versionStart = all.find_last_of(kBlanks, last) + 1;
    if (versionStart <= methodEnd + 1 || !isSipVersion(all.substr(versionStart, last + 1 - versionStart)))
        return false;
    const std::string_view uri = all.substr(methodEnd + 1, versionStart - methodEnd - 2);
    line.isExact = last + 1 == all.size() && all[methodEnd] == ' ' && all[versionStart - 1] == ' ' && !uri.empty() &&
                   uri.find_first_of(kBlanks) == std::string_view::npos;
    line.method = text;
    line.uri = text + methodEnd + 1;
    line.version = text + versionStart;
    text[methodEnd] = text[versionStart - 1] = text[last + 1] = '\0';
    return true;
}

// Behind its first `length` characters a text that the stack left in the middle of a line ends.
void endAfter(const char* text, size_t length)
{
    const_cast<char*>(text)[length] = '\0'; // NOLINT(cppcoreguidelines-pro-type-const-cast): part of the packet
}

// The last parameter may be followed by the fault.
void endParams(const msg_param_t* params)
{
    static constexpr std::string_view kInValue = "=:[]/";
    if (params == nullptr || *params == nullptr)
        return;
    while (params[1] != nullptr)
        ++params;
    size_t length = 0;
    for (const char* at = *params; isToken({at, 1}) || (*at != '\0' && kInValue.find(*at) != std::string_view::npos);
         ++at)
        ++length;
    // No value is left of it.
    while (length > 0 && (*params)[length - 1] == '=')
        --length;
    endAfter(*params, length);
}

size_t hostLength(const char* host)
{
    if (host[0] == '[')
        return std::strcspn(host, "]") + 1;
    size_t length = 0;
    while (isToken(std::string_view(host + length, host[length] == '\0' ? 0 : 1)))
        ++length;
    return length;
}

} // namespace

issize_t parseRequestLine(su_home_t*, msg_header_t* header, char* text, isize_t)
{
    auto* request = reinterpret_cast<sip_request_t*>(header);
    request->rq_common->h_class = sip_request_class;
    RequestLine line{};
    if (!cut(text, line))
        return -1;
    request->rq_method = methodOf(line.method);
    request->rq_method_name = line.method;
    request->rq_version =
        std::string_view(line.version).substr(kProtocol.size()) == "2.0" ? sip_version_2_0 : kDisguisedVersion;
    if (!line.isExact || !isToken(line.method) || url_d(request->rq_url, line.uri) < 0) {
        *request->rq_url = {};
        request->rq_url->url_type = url_invalid;
    }
    return 0;
}

issize_t parseCseq(su_home_t*, msg_header_t* header, char* text, isize_t)
{
    auto* cseq = reinterpret_cast<sip_cseq_t*>(header);
    cseq->cs_common->h_class = sip_cseq_class;
    if (msg_uint32_d(&text, &cseq->cs_seq) < 0 || !isToken(text))
        return -1;
    cseq->cs_method = methodOf(text);
    cseq->cs_method_name = text;
    return 0;
}

bool salvageVia(su_home_t* home, sip_via_t* via)
{
    const size_t length = via->v_protocol == nullptr || via->v_host == nullptr ? 0 : hostLength(via->v_host);
    if (length == 0)
        return false;
    endAfter(via->v_host, length);
    if (via->v_port != nullptr)
        endAfter(via->v_port, std::strspn(via->v_port, kDigits.data()));
    endParams(via->v_params);
    via->v_next = nullptr;
    via->v_common->h_succ = nullptr;
    via->v_comment = nullptr;
    msg_header_update_params(via->v_common, 1);
    // A message is its own home.
    sip_object(reinterpret_cast<msg_t*>(home))->sip_flags |= MSG_FLG_ERROR;
    return true;
}

bool isOtherVersion(const sip_t* sip)
{
    return sip->sip_request->rq_version == kDisguisedVersion;
}
