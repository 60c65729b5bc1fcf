// Transactions of calls on the SIP stack, and nta_msg_ackbye() of its library. For the files of this folder only: it
// speaks the stack's types.
#pragma once

#include "sip/sent_acks.h"
#include "sip/transactions.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <sofia-sip/nta.h>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

class FlowTable;
class SipStack;
class StackClientTransaction;
class StackServerTransaction;

// What sends over UDP now.
struct UdpSockets {
    nta_agent_t* agent = nullptr;
    uint16_t port = 0;
    const std::vector<std::string>* addresses = nullptr; // literals; each is the identity of its socket in the stack
};

// Sends and answers requests of calls. Where a message goes is decided by where the other side's messages come from,
// never by what they say: telephones sit behind routers that they do not know of, and names are not looked up. SIP
// thread; never destroyed.
class StackCalls final : public CallTransport {
public:
    StackCalls(SipStack& stack, std::function<UdpSockets()> udp, FlowTable& flows);

    // Hears of successes of an INVITE that come after its first one.
    void setStrayListener(std::function<void(const CallMessage&)> listener) { _onStray = std::move(listener); }
    void setStreams(nta_agent_t* streams) { _streams = streams; }
    // A transaction for a request that has none yet. Takes the message. Null: the stack refuses it.
    [[nodiscard]] std::unique_ptr<ServerTransaction> accept(nta_agent_t* agent, msg_t* message, sip_t* sip,
                                                            const SipSource& source);
    // The agent is about to be destroyed: its transactions come to nothing.
    void forget(const nta_agent_t* agent);

    [[nodiscard]] std::unique_ptr<ClientTransaction> send(const CallRequestOut& request,
                                                          ResponseHandler onResponse) override;
    void sendAck(const CallRequestOut& ack, ClientTransaction& invite) override;
    void sendAck(const CallRequestOut& ack) override;
    // Answers a success that belongs to no transaction any more with the ACK that it had before. False: it had none.
    [[nodiscard]] bool repeatAck(const sip_t* success);
    [[nodiscard]] std::string localHost(const SipSource& peer) override;

private:
    friend class StackClientTransaction;
    friend class StackServerTransaction;

    struct Way;
    struct LocalAddress {
        std::string address;
        int64_t untilMs = 0;
    };

    [[nodiscard]] Way wayTo(const SipSource& peer);
    [[nodiscard]] std::string localAddressFor(const std::string& peer, const std::vector<std::string>& bound);
    // "<sip:user@host;transport=tcp>"
    [[nodiscard]] std::string contactText(const std::string& user, const SipSource& peer);
    [[nodiscard]] msg_t* makeRequest(const CallRequestOut& request, const Way& way);
    // Of our own socket of UDP, without the stack. False: there is no way like that; nothing was sent.
    [[nodiscard]] bool sendAckPacket(const CallRequestOut& ack, bool isKept);
    // The stack answers repetitions of the success of an INVITE with this branch with it.
    void sendAckOf(const std::string& branch, const CallRequestOut& ack);
    // `via`: of the INVITE that it is for, over a stream.
    void sendCancel(const CallRequestOut& cancel, const std::string& via);
    void failLater(StackClientTransaction* transaction);
    // The connection to there is gone.
    [[nodiscard]] bool isCut(const SipSource& peer) const;
    void loseLater(StackServerTransaction* transaction);

    SipStack& _stack;
    std::function<UdpSockets()> _udp;
    FlowTable& _flows;
    std::function<void(const CallMessage&)> _onStray;
    nta_agent_t* _streams = nullptr;
    uint64_t _sent = 0;                                    // requests
    uint64_t _taken = 0;                                   // likewise
    std::unordered_map<std::string, LocalAddress> _locals; // by address of the peer
    SentAcks _acks;
    std::unordered_set<StackClientTransaction*> _clients;
    std::unordered_set<StackServerTransaction*> _servers;
};
