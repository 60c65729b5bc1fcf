// Contact URIs and when two of them are the same contact.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Bytes; longer ones are kept by no store, so their parts are not looked at.
constexpr size_t kMaxContactUri = 511;

// A URI with what RFC 3261 section 19.1.4 compares of it.
struct ContactUri {
    std::string text; // as sent, without angle brackets
    // Canonical form of all that always decides: scheme, user, host, port, transport, ttl, method, user and maddr
    // parameters, headers. Empty: the text is no SIP URI, or longer than
    // kMaxContactUri.
    std::string key;
    // Other parameters, lower case and sorted by name: they decide only where both URIs have them.
    std::vector<std::pair<std::string, std::string>> otherParams;

    [[nodiscard]] bool isSip() const { return !key.empty(); }
};

[[nodiscard]] ContactUri makeContactUri(std::string_view text);

[[nodiscard]] bool isSameContact(const ContactUri& a, const ContactUri& b);
