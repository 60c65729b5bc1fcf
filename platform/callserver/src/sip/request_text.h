// Requests of calls as text, for those that need no transaction.
#pragma once

#include "sip/call_message.h"

#include <string>
#include <string_view>

// What the header says of a body: whole lines. Any thread.
void addBodyLines(const SipBody& body, std::string& headers);

// `via`: value of the one Via. `contact`: value of the Contact; empty: none. Empty when a value of the request would
// begin another header. Any thread.
[[nodiscard]] std::string requestText(const CallRequestOut& request, std::string_view via, std::string_view contact);
