// The server's SIP sockets, and who answers what comes in on them.
#pragma once

#include "sip/sip_messages.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

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
    // Gives the literals of the machine's addresses.
    using AddressSource = std::function<std::vector<std::string>()>;

    SipAgent(SipStack& stack, SipHandler& handler, AddressSource addresses);
    ~SipAgent();
    SipAgent(const SipAgent&) = delete;
    SipAgent& operator=(const SipAgent&) = delete;

    // Serves this address (a literal; blank: every address of the machine) and port from now on, and says in the log
    // what became of it. When it cannot be had, what was served before stays. When it is served already, only what
    // could not be bound of it is tried again.
    void serveUdp(const std::string& address, uint16_t port);

    // When every address is served: also those that the machine has got since, and those that could not be bound
    // before (an IPv6 address cannot while its uniqueness is being checked). Cheap; call it every few seconds.
    void followAddresses();

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
