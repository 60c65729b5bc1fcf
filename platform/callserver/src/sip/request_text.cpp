#include "sip/request_text.h"

#include <algorithm>
#include <array>

namespace {

constexpr size_t kUsualHead = 768; // bytes

void addLine(std::string& text, std::string_view name, std::string_view value)
{
    text.append(name).append(": ").append(value).append("\r\n");
}

} // namespace

void addBodyLines(const SipBody& body, std::string& headers)
{
    if (body.isEmpty())
        return;
    if (!body.type.empty())
        addLine(headers, "Content-Type", body.type);
    headers += body.headers;
}

std::string requestText(const CallRequestOut& request, std::string_view via, std::string_view contact)
{
    const std::array<std::string_view, 5> values = {request.uri, request.from, request.to, request.callId, contact};
    if (std::any_of(values.begin(), values.end(), hasLineEnd) ||
        std::any_of(request.routes.begin(), request.routes.end(), hasLineEnd))
        return {};
    std::string text;
    text.reserve(kUsualHead + request.headers.size() + request.body.data.size());
    text.append(request.method).append(" ").append(request.uri).append(" SIP/2.0\r\n");
    addLine(text, "Via", via);
    for (const std::string& route : request.routes)
        addLine(text, "Route", route);
    addLine(text, "Max-Forwards", std::to_string(request.maxForwards));
    addLine(text, "From", request.from);
    addLine(text, "To", request.to);
    addLine(text, "Call-ID", request.callId);
    addLine(text, "CSeq", std::to_string(request.cseq) + " " + request.method);
    if (!contact.empty())
        addLine(text, "Contact", contact);
    text += request.headers;
    addBodyLines(request.body, text);
    addLine(text, "Content-Length", std::to_string(request.body.data.size()));
    text.append("\r\n").append(request.body.data);
    return text;
}
