// Answers go to where the request came from, whatever its Via says. For the files of this folder only: it speaks the
// stack's types.
#pragma once

#include "sip/sip_messages.h"

#include <sofia-sip/msg_mclass.h>
#include <sofia-sip/sip.h>

// The stack's message class, but for what would send answers elsewhere. The Via parameters that do (maddr; received
// and rport of the sender's own making, which the stack sets anew) are dropped while the header is parsed, so that the
// answers that the stack gives by itself keep to it too. Requests of another SIP version reach the agent's callback
// like all others. Lives as long as the process. Null without memory.
[[nodiscard]] const msg_mclass_t* sourceBoundMessages();

// To be called in the callback before a message of a connection is answered: its first Via gets the transport back that
// it was sent with, and says where it came from (RFC 3581 section 4).
void markReceived(msg_t* message, sip_t* sip, const SipSource& source);
