#include "sip/reply_text.h"

#include <algorithm>
#include <array>
#include <strings.h>

namespace {

constexpr size_t kUsualReply = 1024; // bytes

struct CopiedHeader {
    std::string_view name;
    std::string_view shortName; // RFC 3261 section 7.3.3; empty: none
};
constexpr CopiedHeader kVia = {"Via", "v"};
constexpr CopiedHeader kTo = {"To", "t"};
constexpr std::array<CopiedHeader, 3> kOthers = {{{"From", "f"}, {"Call-ID", "i"}, {"CSeq", {}}}};

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool isNamed(std::string_view name, const CopiedHeader& header)
{
    return equalsIgnoringCase(name, header.name) ||
           (!header.shortName.empty() && equalsIgnoringCase(name, header.shortName));
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

// Takes the next header with the lines that go on with it, without its end; empty: the header part is over.
std::string_view takeHeader(std::string_view& text)
{
    size_t end = text.find('\n');
    while (end != std::string_view::npos && end + 1 < text.size() && (text[end + 1] == ' ' || text[end + 1] == '\t'))
        end = text.find('\n', end + 1);
    const std::string_view header = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return trimmed(header);
}

// Takes what stands before the separator outside of quotes; the separator is taken, too.
std::string_view takeUntil(std::string_view& text, char separator)
{
    bool isQuoted = false;
    size_t at = 0;
    for (; at < text.size() && (isQuoted || text[at] != separator); ++at) {
        if (text[at] == '"')
            isQuoted = !isQuoted;
        else if (text[at] == '\\' && isQuoted)
            ++at;
    }
    at = std::min(at, text.size());
    const std::string_view taken = text.substr(0, at);
    text.remove_prefix(std::min(at + 1, text.size()));
    return taken;
}

// The first Via of the request, and those that follow it on the same line.
void addFirstVia(std::string& reply, std::string_view value, const SipSource& source)
{
    std::string_view first = takeUntil(value, ',');
    reply += "Via: ";
    reply += trimmed(takeUntil(first, ';'));
    while (!first.empty()) {
        const std::string_view param = trimmed(takeUntil(first, ';'));
        const std::string_view name = trimmed(param.substr(0, param.find('=')));
        if (param.empty() || equalsIgnoringCase(name, "received") || equalsIgnoringCase(name, "rport"))
            continue;
        reply += ';';
        reply += param;
    }
    reply += ";received=" + source.address + ";rport=" + std::to_string(source.port);
    if (!value.empty()) {
        reply += ',';
        reply += value;
    }
    reply += "\r\n";
}

void addHeader(std::string& reply, std::string_view name, std::string_view value)
{
    reply += name;
    reply += ": ";
    reply += value;
    reply += "\r\n";
}

} // namespace

std::string replyText(std::string_view request, const SipSource& source, const ReplyLine& line)
{
    std::string reply;
    reply.reserve(kUsualReply + line.headers.size());
    reply += "SIP/2.0 " + std::to_string(line.status) + ' ';
    reply += line.phrase;
    reply += "\r\n";

    const size_t start = request.find_first_not_of("\r\n");
    request.remove_prefix(std::min(start, request.size()));
    takeHeader(request); // the request line
    bool hasVia = false;
    bool hasTo = false;
    std::array<bool, kOthers.size()> has{};
    while (!request.empty()) {
        const std::string_view header = takeHeader(request);
        if (header.empty())
            break;
        const size_t colon = header.find(':');
        if (colon == std::string_view::npos)
            continue;
        const std::string_view name = trimmed(header.substr(0, colon));
        const std::string_view value = trimmed(header.substr(colon + 1));
        if (isNamed(name, kVia)) {
            if (hasVia)
                addHeader(reply, kVia.name, value);
            else
                addFirstVia(reply, value, source);
            hasVia = true;
        } else if (isNamed(name, kTo) && !hasTo) {
            hasTo = true;
            addHeader(reply, kTo.name, value);
            if (!line.toTag.empty()) {
                reply.resize(reply.size() - 2);
                reply += ";tag=";
                reply += line.toTag;
                reply += "\r\n";
            }
        } else {
            for (size_t i = 0; i < kOthers.size(); ++i)
                if (!has[i] && isNamed(name, kOthers[i])) {
                    has[i] = true;
                    addHeader(reply, kOthers[i].name, value);
                }
        }
    }
    if (!hasVia)
        return {};
    reply += line.headers;
    reply += "Content-Length: 0\r\n\r\n";
    return reply;
}
