// The session description in the body of a message, which may have other parts beside it (RFC 5621).
#pragma once

#include "sip/call_message.h"

#include <string>
#include <string_view>

// Of the body; empty: it has none.
[[nodiscard]] std::string_view sdpOf(const SipBody& body);

[[nodiscard]] inline bool hasSdp(const SipBody& body)
{
    return !sdpOf(body).empty();
}

// The body with that description in the place of its own.
[[nodiscard]] SipBody withSdp(const SipBody& body, std::string_view sdp);
