// Answers as text, made of the request as it came in.
#pragma once

#include "sip/sip_messages.h"

#include <string>
#include <string_view>

struct ReplyLine {
    int status = 0;
    std::string_view phrase;
    std::string_view headers; // further ones: whole lines with their ends
    // Of the To header when the request has none (RFC 3261 section 8.2.6.2); empty: it has one.
    std::string_view toTag;
};

// The answer to a request: its Via, From, To, Call-ID and CSeq headers letter by letter, but for what RFC 3581 section
// 4 adds to the first Via (where the request came from). Empty when the request has no Via, so that nobody could tell
// what the answer belongs to. Any thread.
[[nodiscard]] std::string replyText(std::string_view request, const SipSource& source, const ReplyLine& line);
