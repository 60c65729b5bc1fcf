// Which request is answered how. For the files of this folder only: it speaks the stack's types.
#pragma once

#include <sofia-sip/nta.h>
#include <sofia-sip/sip.h>

class SipHandler;
class StackCalls;
struct SipSource;

// Answers a message that belongs to no transaction, or gives it one, and disposes of it.
void answerMessage(nta_agent_t* agent, msg_t* message, sip_t* sip, const SipSource& source, SipHandler& handler,
                   StackCalls& calls);

// True for a request that is to be answered with 400: a header that the answer depends on is missing, there twice, or
// cannot be read, or a URI of it is none.
[[nodiscard]] bool isMalformed(const sip_t* sip);
