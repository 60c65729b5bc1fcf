// Texts of URIs and name-addr headers that the server writes.
#pragma once

#include "sip/sip_messages.h"

#include <string>
#include <string_view>

// "sip:user@host"; without a user "sip:host". What the user part may not hold is escaped (RFC 3261 section 25.1).
[[nodiscard]] std::string sipUri(std::string_view user, std::string_view host);

// `"Display" <uri>`; without a display name "<uri>". Quotes and backslashes of the name are escaped, control characters
// become blanks.
[[nodiscard]] std::string nameAddr(std::string_view display, std::string_view uri);

// "address:port", "[address]:port".
[[nodiscard]] std::string addressText(const SipSource& source);
