// Which request is answered how. For the files of this folder only: it speaks the stack's types.
#pragma once

#include <sofia-sip/nta.h>

class SipHandler;

// Answers a message that belongs to no transaction and disposes of it.
void answerMessage(nta_agent_t* agent, msg_t* message, sip_t* sip, SipHandler& handler);
