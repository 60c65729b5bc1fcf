// From the stack's messages to those of calls. For the files of this folder only: it speaks the stack's types.
#pragma once

#include "sip/call_message.h"

#include <cstdint>
#include <sofia-sip/sip.h>

// `sip` may be null for an answer that the stack made itself: then it says no more than `status`.
[[nodiscard]] CallMessage callRequest(msg_t* message, const sip_t* sip, const SipSource& source);
// How much of From and To is wanted: within a transaction they are known but for their tags.
enum class Parties : uint8_t { Tags, Whole };
[[nodiscard]] CallMessage callResponse(msg_t* message, const sip_t* sip, int status, const SipSource& source,
                                       Parties parties);
