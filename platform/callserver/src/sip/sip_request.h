// From the stack's messages to the server's own. For the files of this folder only.
#pragma once

#include "sip/sip_messages.h"

#include <sofia-sip/sip.h>

// Where the packet came from, by its socket.
[[nodiscard]] SipSource sourceOf(msg_t* message);

[[nodiscard]] RegisterRequest registerRequest(msg_t* message, const sip_t* sip);
