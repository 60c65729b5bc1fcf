#include "calls/sdp.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::string_view kOrigin = "o=";

// The first line of the text, with its end; takes it away.
std::string_view takeLine(std::string_view& text)
{
    const std::string_view line = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
    text.remove_prefix(line.size());
    return line;
}

std::string_view withoutEnd(std::string_view line)
{
    return line.substr(0, std::min(line.find_first_of("\r\n"), line.size()));
}

} // namespace

std::string withoutVideo(std::string_view sdp)
{
    static constexpr std::string_view kVideo = "m=video ";
    std::string result;
    result.reserve(sdp.size());
    while (!sdp.empty()) {
        std::string_view line = takeLine(sdp);
        if (line.starts_with(kVideo)) {
            line.remove_prefix(kVideo.size());
            result.append(kVideo).append("0");
            line.remove_prefix(std::min(line.find_first_of(" \r\n"), line.size()));
        }
        result += line;
    }
    return result;
}

std::string originOf(std::string_view sdp)
{
    while (!sdp.empty())
        if (const std::string_view line = takeLine(sdp); line.starts_with(kOrigin))
            return std::string(withoutEnd(line.substr(kOrigin.size())));
    return {};
}

std::string withOrigin(std::string_view sdp, std::string_view origin)
{
    std::string result;
    result.reserve(sdp.size() + origin.size());
    while (!sdp.empty()) {
        const std::string_view line = takeLine(sdp);
        if (line.starts_with(kOrigin))
            result.append(kOrigin).append(origin).append(line.substr(withoutEnd(line).size()));
        else
            result += line;
    }
    return result;
}

std::string heldAnswer(std::string_view offer, std::string_view origin)
{
    const bool isIp6 = offer.find("c=IN IP6 ") != std::string_view::npos;
    const std::string nowhere = isIp6 ? "IN IP6 ::" : "IN IP4 0.0.0.0";
    std::string result = "v=0\r\no=";
    result.append(origin.empty() ? "- 1 1 " + nowhere : std::string(origin)).append("\r\ns=-\r\nc=").append(nowhere);
    // Equal to that of the offer (RFC 3264 section 6).
    const size_t times = offer.find("\nt=");
    result.append("\r\n")
        .append(times == std::string_view::npos ? "t=0 0" : withoutEnd(offer.substr(times + 1)))
        .append("\r\n");
    bool isTaken = false;
    while (!offer.empty()) {
        const std::string_view line = withoutEnd(takeLine(offer));
        if (line.starts_with("m=")) {
            const size_t port = std::min(line.find(' '), line.size());
            const size_t rest = std::min(line.find(' ', port + 1), line.size());
            // Others need keys, which nobody has agreed on.
            isTaken = line.substr(rest).starts_with(" RTP/AVP ") && line.substr(port, rest - port) != " 0";
            result.append(line.substr(0, port)).append(isTaken ? " 9" : " 0").append(line.substr(rest)).append("\r\n");
            if (isTaken)
                result += "a=inactive\r\n";
        } else if (isTaken && line.starts_with("a=rtpmap:")) {
            result.append(line).append("\r\n");
        }
    }
    return result;
}

std::string nextOrigin(std::string_view origin)
{
    std::string next(origin);
    // user, session, version, and where it is
    const size_t session = origin.find(' ');
    const size_t version = session == std::string_view::npos ? session : origin.find(' ', session + 1);
    const size_t end = version == std::string_view::npos ? version : origin.find(' ', version + 1);
    if (end == std::string_view::npos)
        return next;
    const size_t begin = version + 1;
    const std::string_view digits = origin.substr(begin, end - begin);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos)
        return next;
    // It may have more digits than an integer takes (RFC 4566 section 9).
    for (size_t i = end; i-- > begin;) {
        if (next[i] != '9') {
            ++next[i];
            return next;
        }
        next[i] = '0';
    }
    return next.insert(begin, 1, '1');
}
