#include "sip/stack_text.h"

#include <cstring>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/url.h>
#include <string_view>

namespace {

constexpr size_t kUsualValue = 256; // bytes

void append(std::string& text, std::string_view separator, const char* part)
{
    if (part != nullptr)
        text.append(separator).append(part);
}

// The stack writes a header from its parts unless it has it written already.
void keepLine(msg_header_t* header, const char* line, size_t size)
{
    header->sh_data = line;
    header->sh_len = line == nullptr ? 0 : static_cast<unsigned>(size);
}

// RFC 3261 section 19.1.1
std::string sipUriText(const url_t& url)
{
    std::string text = url.url_scheme;
    append(text, ":", url.url_user);
    if (url.url_user != nullptr)
        append(text, ":", url.url_password);
    append(text, url.url_user == nullptr ? ":" : "@", url.url_host);
    append(text, ":", url.url_port);
    append(text, ";", url.url_params);
    append(text, "?", url.url_headers);
    return text;
}

} // namespace

std::string uriText(msg_t* message, const url_t* url)
{
    // Nearly all are of these.
    if (const bool isSip = url->url_type == url_sip || url->url_type == url_sips;
        isSip && url->url_host != nullptr && url->url_root == 0 && url->url_path == nullptr &&
        url->url_fragment == nullptr)
        return sipUriText(*url);
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

bool addHeader(msg_t* message, msg_hclass_t* kind, std::string_view name, const std::string& value)
{
    if (hasLineEnd(value))
        return false;
    su_home_t* const home = msg_home(message);
    msg_header_t* const header = msg_header_make(home, kind, value.c_str());
    if (header == nullptr)
        return false;
    const std::string line = name.empty() ? value + "\r\n" : headerLine(name, value);
    if (header->sh_next == nullptr)
        keepLine(header, su_strndup(home, line.data(), static_cast<isize_t>(line.size())), line.size());
    return msg_header_insert(message, msg_object(message), header) == 0;
}

bool addLines(msg_t* message, std::string_view lines)
{
    su_home_t* const home = msg_home(message);
    const char* const written = su_strndup(home, lines.data(), static_cast<isize_t>(lines.size()));
    char* const parsed = su_strndup(home, lines.data(), static_cast<isize_t>(lines.size()));
    if (written == nullptr || parsed == nullptr)
        return false;
    for (size_t begin = 0; begin < lines.size();) {
        size_t end = lines.find('\n', begin);
        // What begins with white space continues the line.
        while (end != std::string_view::npos && end + 1 < lines.size() &&
               (lines[end + 1] == ' ' || lines[end + 1] == '\t'))
            end = lines.find('\n', end + 1);
        if (end == std::string_view::npos || end == begin || lines[end - 1] != '\r')
            return false;
        parsed[end - 1] = '\0';
        msg_header_t* const header = msg_header_alloc(home, sip_unknown_class, 0);
        if (header == nullptr || sip_unknown_d(home, header, parsed + begin, static_cast<isize_t>(end - 1 - begin)) < 0)
            return false;
        keepLine(header, written + begin, end + 1 - begin);
        if (msg_header_insert(message, msg_object(message), header) < 0)
            return false;
        begin = end + 1;
    }
    return true;
}

bool addBody(msg_t* message, const SipBody& body)
{
    if (body.isEmpty())
        return true;
    sip_payload_t* const payload =
        sip_payload_create(msg_home(message), body.data.data(), static_cast<isize_t>(body.data.size()));
    return payload != nullptr &&
           msg_header_insert(message, msg_object(message), reinterpret_cast<msg_header_t*>(payload)) == 0;
}
