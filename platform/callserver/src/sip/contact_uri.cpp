#include "sip/contact_uri.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <sofia-sip/su_alloc.h>
#include <sofia-sip/url.h>

namespace {

// They are different from "not there" (RFC 3261 section 19.1.4).
constexpr std::array<std::string_view, 5> kDecidingParams = {"maddr", "method", "transport", "ttl", "user"};

std::string lower(std::string_view text)
{
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return result;
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Escapes of unreserved characters are the characters; other escapes stay, with upper case digits.
std::string normalizedEscapes(std::string_view text)
{
    static constexpr std::string_view kUnreservedMarks = "-_.!~*'()";
    static constexpr std::string_view kUpperHex = "0123456789ABCDEF";
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
        if (low < 0) {
            result += text[i];
            continue;
        }
        const char c = static_cast<char>(high * 16 + low);
        const bool isUnreserved = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                                  (c != '\0' && kUnreservedMarks.find(c) != std::string_view::npos);
        if (isUnreserved) {
            result += c;
        } else {
            result += '%';
            result += kUpperHex[static_cast<size_t>(high)];
            result += kUpperHex[static_cast<size_t>(low)];
        }
        i += 2;
    }
    return result;
}

std::vector<std::pair<std::string, std::string>> splitPairs(const char* text, char separator)
{
    std::vector<std::pair<std::string, std::string>> pairs;
    std::string_view rest = text == nullptr ? std::string_view() : std::string_view(text);
    while (!rest.empty()) {
        const size_t end = rest.find(separator);
        const std::string_view item = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (item.empty())
            continue;
        const size_t equals = item.find('=');
        const std::string_view value = equals == std::string_view::npos ? std::string_view() : item.substr(equals + 1);
        pairs.emplace_back(lower(normalizedEscapes(item.substr(0, equals))), normalizedEscapes(value));
    }
    std::sort(pairs.begin(), pairs.end());
    return pairs;
}

} // namespace

ContactUri makeContactUri(std::string_view text)
{
    ContactUri result;
    result.text = text;
    if (text.size() > kMaxContactUri)
        return result;
    su_home_t home[1] = {};
    home->suh_size = sizeof home;
    su_home_init(home);
    const url_t* url = url_make(home, result.text.c_str());
    if (url != nullptr && (url->url_type == url_sip || url->url_type == url_sips) && url->url_host != nullptr &&
        url->url_host[0] != '\0') {
        std::string& key = result.key;
        key = url->url_type == url_sips ? "sips:" : "sip:";
        if (url->url_user != nullptr)
            key += normalizedEscapes(url->url_user);
        if (url->url_password != nullptr)
            key += ':' + normalizedEscapes(url->url_password);
        key += '@' + lower(url->url_host);
        if (url->url_port != nullptr)
            key += std::string(":") + url->url_port;
        for (auto& param : splitPairs(url->url_params, ';')) {
            param.second = lower(param.second);
            if (std::find(kDecidingParams.begin(), kDecidingParams.end(), param.first) != kDecidingParams.end())
                key += ';' + param.first + '=' + param.second;
            else
                result.otherParams.push_back(std::move(param));
        }
        char separator = '?';
        for (const auto& [name, value] : splitPairs(url->url_headers, '&')) {
            key += separator + name + '=' + value;
            separator = '&';
        }
    }
    su_home_deinit(home);
    return result;
}

bool isSameContact(const ContactUri& a, const ContactUri& b)
{
    if (a.key != b.key)
        return false;
    auto left = a.otherParams.begin();
    auto right = b.otherParams.begin();
    while (left != a.otherParams.end() && right != b.otherParams.end()) {
        if (left->first < right->first) {
            ++left;
        } else if (right->first < left->first) {
            ++right;
        } else {
            if (left->second != right->second)
                return false;
            ++left;
            ++right;
        }
    }
    return true;
}
