#include "calls/sdp_part.h"

#include <algorithm>
#include <cstddef>
#include <strings.h>

namespace {

constexpr size_t kMaxParts = 16; // more are not looked at

bool beginsWith(std::string_view text, std::string_view start)
{
    return text.size() >= start.size() && strncasecmp(text.data(), start.data(), start.size()) == 0;
}

// The value of its boundary parameter; empty: it is no multipart type.
std::string_view boundaryOf(std::string_view type)
{
    static constexpr std::string_view kName = "boundary=";
    if (!beginsWith(type, "multipart/"))
        return {};
    for (size_t at = type.find(';'); at != std::string_view::npos; at = type.find(';', at)) {
        at = std::min(type.find_first_not_of("; \t", at), type.size());
        if (!beginsWith(type.substr(at), kName))
            continue;
        std::string_view value = type.substr(at + kName.size());
        if (value.starts_with('"'))
            return value.substr(1, value.substr(1).find('"'));
        return value.substr(0, value.find_first_of("; \t"));
    }
    return {};
}

// Of a part with its headers: what follows them, when it is a description as it stands.
std::string_view describedIn(std::string_view part)
{
    bool isSdp = false;
    while (!part.empty()) {
        const size_t end = std::min(part.find('\n'), part.size() - 1) + 1;
        const std::string_view line = part.substr(0, part.find_first_of("\r\n"));
        part.remove_prefix(end);
        if (line.empty())
            return isSdp ? part : std::string_view();
        const size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            return {};
        std::string_view value = line.substr(colon + 1);
        value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
        if (beginsWith(line, "Content-Type:"))
            isSdp = beginsWith(value, "application/sdp");
        else if (beginsWith(line, "Content-Transfer-Encoding:") && !beginsWith(value, "binary") &&
                 !beginsWith(value, "8bit") && !beginsWith(value, "7bit"))
            return {};
    }
    return {};
}

} // namespace

std::string_view sdpOf(const SipBody& body)
{
    if (body.isSdp())
        return body.data;
    const std::string_view boundary = boundaryOf(body.type);
    if (boundary.empty())
        return {};
    const std::string delimiter = "\n--" + std::string(boundary);
    const std::string_view data = body.data;
    size_t at = delimiter.size() - 1; // the first one may begin the body
    if (!data.starts_with(std::string_view(delimiter).substr(1))) {
        at = data.find(delimiter);
        at = at == std::string_view::npos ? at : at + delimiter.size();
    }
    for (size_t parts = 0; at != std::string_view::npos && parts < kMaxParts; ++parts) {
        if (data.substr(at).starts_with("--"))
            return {};
        const size_t begin = std::min(data.find('\n', at), data.size() - 1) + 1;
        const size_t end = data.find(delimiter, begin - 1);
        if (end == std::string_view::npos)
            return {};
        std::string_view part = data.substr(begin, end - std::min(begin, end));
        if (part.ends_with('\r'))
            part.remove_suffix(1);
        if (const std::string_view sdp = describedIn(part); !sdp.empty())
            return sdp;
        at = end + delimiter.size();
    }
    return {};
}

SipBody withSdp(const SipBody& body, std::string_view sdp)
{
    SipBody changed = body;
    const std::string_view own = sdpOf(body);
    if (!own.empty())
        changed.data.replace(static_cast<size_t>(own.data() - body.data.data()), own.size(), sdp);
    return changed;
}
