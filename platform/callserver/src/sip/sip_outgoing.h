// Requests of the server's own to telephones.
#pragma once

#include "sip/sip_messages.h"

#include <functional>
#include <string>

class FlowTable;
struct nta_agent_s;

// A request outside of calls.
struct OutgoingRequest {
    std::string method; // "OPTIONS"
    std::string uri;    // of the contact that registered
    std::string from;   // URI
    std::string to;     // URI
    SipSource destination;
};

// The final status; 408: none came in time.
using OutgoingResult = std::function<void(int status)>;

constexpr int kFlowFailed = 430; // RFC 5626 section 11.5: its connection is gone

// Sends it over the connection on which the telephone registered, and over no other one: behind most routers a
// telephone cannot be reached otherwise, and over TLS nobody else may hear it. Calls `done` once, perhaps at once. On
// the stack's thread.
void sendOverConnection(nta_agent_s* streams, const FlowTable& flows, const OutgoingRequest& request,
                        OutgoingResult done);
