#include "sip/call_message.h"

#include <algorithm>
#include <strings.h>

namespace {

std::string_view trimmed(std::string_view text)
{
    const size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

} // namespace

bool SipBody::isSdp() const
{
    const std::string_view name = trimmed(std::string_view(type).substr(0, type.find(';')));
    constexpr std::string_view kSdp = "application/sdp";
    return !data.empty() && name.size() == kSdp.size() && strncasecmp(name.data(), kSdp.data(), kSdp.size()) == 0;
}

bool CallMessage::hidesCaller() const
{
    return isAnonymous || strcasecmp(from.user.c_str(), "anonymous") == 0 ||
           strcasecmp(from.host.c_str(), "anonymous.invalid") == 0;
}

bool CallMessage::allows(std::string_view wanted) const
{
    if (allow.empty())
        return true;
    std::string_view rest = allow;
    while (!rest.empty()) {
        const size_t comma = std::min(rest.find(','), rest.size());
        if (trimmed(rest.substr(0, comma)) == wanted)
            return true;
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    return false;
}

bool hasLineEnd(std::string_view value)
{
    return value.find('\r') != std::string_view::npos || value.find('\n') != std::string_view::npos;
}

std::string headerLine(std::string_view name, std::string_view value)
{
    std::string line;
    line.reserve(name.size() + value.size() + 4);
    line.append(name).append(": ").append(value).append("\r\n");
    return line;
}

std::string withoutHeaders(std::string_view lines, std::initializer_list<std::string_view> names)
{
    std::string rest;
    bool isLeftOut = false;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n') + 1 == 0 ? lines.size() : lines.find('\n') + 1);
        lines.remove_prefix(line.size());
        const bool isContinued = line.starts_with(' ') || line.starts_with('\t');
        if (!isContinued) {
            const std::string_view name = trimmed(line.substr(0, line.find(':')));
            isLeftOut = std::any_of(names.begin(), names.end(), [name](std::string_view one) {
                return one.size() == name.size() && strncasecmp(one.data(), name.data(), name.size()) == 0;
            });
        }
        if (!isLeftOut)
            rest += line;
    }
    return rest;
}

std::string_view statusPhrase(int status)
{
    switch (status) {
    case 100:
        return "Trying";
    case 180:
        return "Ringing";
    case 181:
        return "Call Is Being Forwarded";
    case 182:
        return "Queued";
    case 183:
        return "Session Progress";
    case 200:
        return "OK";
    case 202:
        return "Accepted";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 402:
        return "Payment Required";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 406:
        return "Not Acceptable";
    case 407:
        return "Proxy Authentication Required";
    case 408:
        return "Request Timeout";
    case 410:
        return "Gone";
    case 415:
        return "Unsupported Media Type";
    case 420:
        return "Bad Extension";
    case 422:
        return "Session Interval Too Small";
    case 433:
        return "Anonymity Disallowed";
    case 480:
        return "Temporarily Unavailable";
    case 481:
        return "Call/Transaction Does Not Exist";
    case 482:
        return "Loop Detected";
    case 483:
        return "Too Many Hops";
    case 484:
        return "Address Incomplete";
    case 486:
        return "Busy Here";
    case 487:
        return "Request Terminated";
    case 488:
        return "Not Acceptable Here";
    case 491:
        return "Request Pending";
    case 500:
        return "Server Internal Error";
    case 501:
        return "Not Implemented";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    case 504:
        return "Server Time-out";
    case 600:
        return "Busy Everywhere";
    case 603:
        return "Decline";
    case 604:
        return "Does Not Exist Anywhere";
    case 606:
        return "Not Acceptable";
    default:
        return {};
    }
}
