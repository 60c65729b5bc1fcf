#include "sip/stack_text.h"

#include <cstring>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/url.h>
#include <string_view>

namespace {

constexpr size_t kUsualValue = 256; // bytes

} // namespace

std::string uriText(msg_t* message, const url_t* url)
{
    char* text = url_as_string(msg_home(message), url);
    return text == nullptr ? std::string() : std::string(text);
}

std::string unescapedText(const char* text)
{
    if (text == nullptr)
        return {};
    std::string result(std::strlen(text), '\0');
    const char* end = url_unescape(result.data(), text);
    result.resize(std::strlen(end));
    return result;
}

std::string unquotedText(const char* text)
{
    std::string_view quoted(text);
    if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"')
        return text;
    quoted = quoted.substr(1, quoted.size() - 2);
    std::string result;
    result.reserve(quoted.size());
    for (size_t i = 0; i < quoted.size(); ++i) {
        if (quoted[i] == '\\' && i + 1 < quoted.size())
            ++i;
        result += quoted[i];
    }
    return result;
}

std::string headerValue(const msg_header_t* header)
{
    std::string text(kUsualValue, '\0');
    issize_t size = msg_header_field_e(text.data(), text.size(), header, 0);
    if (size >= static_cast<issize_t>(text.size())) {
        text.resize(static_cast<size_t>(size) + 1);
        size = msg_header_field_e(text.data(), text.size(), header, 0);
    }
    text.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return text;
}

std::string authorizationText(const sip_authorization_t* header)
{
    std::string text = header->au_scheme == nullptr ? "" : header->au_scheme;
    char separator = ' ';
    for (msg_param_t const* param = header->au_params; param != nullptr && *param != nullptr; ++param) {
        text += separator;
        text += *param;
        separator = ',';
    }
    return text;
}

void addBodyLines(const SipBody& body, std::string& headers)
{
    if (body.isEmpty())
        return;
    if (!body.type.empty())
        headers += headerLine("Content-Type", body.type);
    headers += body.headers;
}

sip_payload_t* payloadOf(msg_t* message, const SipBody& body)
{
    return body.isEmpty()
               ? nullptr
               : sip_payload_create(msg_home(message), body.data.data(), static_cast<isize_t>(body.data.size()));
}
