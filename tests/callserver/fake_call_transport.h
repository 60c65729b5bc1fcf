// The way of calls to telephones, as a test plays it: what is sent stays here, and the test answers it.
#pragma once

#include "sip/transactions.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

// A request that the server sent.
struct SentRequest {
    CallRequestOut request;
    std::vector<CallRequestOut> acks;
    bool isCancelled = false;
    bool isFinal = false; // it was answered for good
    bool isHeard = true;  // somebody waits for its answers
    ResponseHandler onResponse;
};
using SentPtr = std::shared_ptr<SentRequest>;

// A request that the server got, with what it answered.
struct HeardRequest {
    CallMessage request;
    std::vector<CallAnswer> answers;
    std::vector<CallAnswer> reliable; // of the answers those that are repeated until they are confirmed
    std::string tag;                  // of To in the answers
    ServerTransactionListener* listener = nullptr;
    ServerTransaction* transaction = nullptr; // null: the server has let it go
    bool isDecided = false;                   // it has a final answer
    bool holdsSuccess = false;                // a success waits until a reliable answer is confirmed
    unsigned finals = 0;                      // how many the server wanted to give

    // Of the last answer; 0: there was none.
    [[nodiscard]] int status() const { return answers.empty() ? 0 : answers.back().status; }
    [[nodiscard]] std::vector<int> statuses() const;
};
using HeardPtr = std::shared_ptr<HeardRequest>;

class FakeCallTransport final : public CallTransport {
public:
    static constexpr const char* kHost = "198.51.100.1:5060";

    [[nodiscard]] std::unique_ptr<ClientTransaction> send(const CallRequestOut& request,
                                                          ResponseHandler onResponse) override;
    void sendAck(const CallRequestOut& ack, ClientTransaction& invite) override;
    void sendAck(const CallRequestOut& ack) override { strayAcks.push_back(ack); }
    [[nodiscard]] std::string localHost(const SipSource& peer) override
    {
        return peer.transport != kTransportUdp && brokenPorts.count(peer.port) != 0 ? std::string() : kHost;
    }

    // A request that comes in. The transaction is for the server.
    [[nodiscard]] static HeardPtr hear(const CallMessage& request, std::unique_ptr<ServerTransaction>& transaction);
    // An answer to what was sent. Nobody hears of it when it was let go, or answered for good before.
    static void answer(const SentPtr& sent, const CallMessage& response);
    // The caller's side of an INVITE.
    static void ack(const HeardPtr& invite, const CallMessage& ack);
    static void cancel(const HeardPtr& invite, const CallMessage& cancel);
    // Of the oldest reliable answer that was not confirmed; the PRACK as the server got it.
    static HeardPtr prack(const HeardPtr& invite, const CallMessage& prack);
    // The time for the ACK or PRACK is over.
    static void leaveUnconfirmed(const HeardPtr& invite);

    std::set<uint16_t> brokenPorts; // of the other ends of connections that are gone
    std::vector<SentPtr> sent;
    std::vector<CallRequestOut> strayAcks; // of what belongs to no transaction
};
