// The server's SIP sockets, and who answers what comes in on them.
#pragma once

#include "sip/sip_messages.h"

#include <cstdint>
#include <memory>
#include <string>

class SipStack;

// Serves the requests that need more than their own text. Called on the stack's thread.
class SipHandler {
public:
    SipHandler() = default;
    virtual ~SipHandler() = default;
    SipHandler(const SipHandler&) = delete;
    SipHandler& operator=(const SipHandler&) = delete;

    [[nodiscard]] virtual RegisterReply onRegister(const RegisterRequest& request) = 0;
};

// SIP over UDP. Belongs to the stack's thread; never destroyed.
class SipAgent {
public:
    SipAgent(SipStack& stack, SipHandler& handler);
    ~SipAgent();
    SipAgent(const SipAgent&) = delete;
    SipAgent& operator=(const SipAgent&) = delete;

    // Serves this address (a literal; blank: every address of the machine) and port from now on, and says in the log
    // what became of it. When it cannot be had, what was served before stays. Does nothing when it is served already.
    void serveUdp(const std::string& address, uint16_t port);

    // When every address is served: also those that the machine has got since. Cheap; call it every few seconds.
    void followAddresses();

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
