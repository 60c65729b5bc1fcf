// From the stack's messages to the server's own. For the files of this folder only.
#pragma once

#include "sip/sip_messages.h"

#include <sofia-sip/sip.h>

[[nodiscard]] RegisterRequest registerRequest(msg_t* message, const sip_t* sip, const SipSource& source);
