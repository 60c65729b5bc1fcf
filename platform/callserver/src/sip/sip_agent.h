// The server's SIP sockets, and who answers what comes in on them.
#pragma once

#include "sip/sip_messages.h"
#include "sip/sip_outgoing.h"
#include "sip/transactions.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class FlowTable;
class SipStack;

// What becomes of a request of calls that belongs to no transaction.
struct CallVerdict {
    bool isServed = false; // it gets a transaction
    // Else the answer without one; no status: none.
    int status = 0;
    std::string phrase{};  // empty: the usual one
    std::string headers{}; // whole lines
};

// Serves the requests that need more than their own text. Called on the stack's thread.
class SipHandler {
public:
    SipHandler() = default;
    virtual ~SipHandler() = default;
    SipHandler(const SipHandler&) = delete;
    SipHandler& operator=(const SipHandler&) = delete;

    // False: the message is dropped unseen. Asked for what comes over connections; packets were looked at before they
    // reached the stack.
    [[nodiscard]] virtual bool admits(const SipSource& source, bool hasCredentials) = 0;
    [[nodiscard]] virtual RegisterReply onRegister(const RegisterRequest& request) = 0;
    // A call with this Call-ID is in progress, and the source is a side of it.
    [[nodiscard]] virtual bool hasCall(std::string_view callId, const SipSource& source) const = 0;
    // Whether a new call has to be refused because more come than can be served: the seconds after which it may be
    // tried again, 0 when not.
    [[nodiscard]] virtual unsigned overloadBy(std::string_view dialed) = 0;
    // Whether a request with credentials is to be answered though nobody has looked at them: anybody can write some.
    [[nodiscard]] virtual bool mayAnswerUnproven(const SipSource& source) = 0;
    [[nodiscard]] virtual CallVerdict judge(const CallMessage& request) = 0;
    // After it was judged to be served.
    virtual void onCallRequest(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction) = 0;
    // A success of an INVITE that no transaction waits for: another one was first, or nobody wants it any more.
    virtual void onStraySuccess(const CallMessage& /*response*/) {}
    // The sockets of UDP are about to be closed, with all transactions over them.
    virtual void onUdpClosing() = 0;
};

// SIP over UDP, and over the connections that are passed on to it. Belongs to the stack's thread; never destroyed.
class SipAgent {
public:
    // Gives the literals of the machine's addresses.
    using AddressSource = std::function<std::vector<std::string>()>;

    // `flows`: whose connections they are.
    SipAgent(SipStack& stack, SipHandler& handler, AddressSource addresses, FlowTable& flows);
    ~SipAgent();
    SipAgent(const SipAgent&) = delete;
    SipAgent& operator=(const SipAgent&) = delete;

    // Serves this address (a literal; blank: every address of the machine) and port from now on, and says in the log
    // what became of it. When it cannot be had, what was served before stays. When it is served already, only what
    // could not be bound of it is tried again.
    void serveUdp(const std::string& address, uint16_t port);

    // The port that is served now; 0: none.
    [[nodiscard]] uint16_t servedUdpPort() const;

    // Begins to serve connections. Gives the port of 127.0.0.1 to which they are to be passed, 0 without one. Once.
    [[nodiscard]] uint16_t openStreams();

    // For calls. Lives as long as this.
    [[nodiscard]] CallTransport& calls();

    // Sends a request to a telephone that registered over TCP or TLS; see sendOverConnection().
    void send(const OutgoingRequest& request, OutgoingResult done);

    // When every address is served: also those that the machine has got since, and those that could not be bound
    // before (an IPv6 address cannot while its uniqueness is being checked). Cheap; call it every few seconds.
    void followAddresses();

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
