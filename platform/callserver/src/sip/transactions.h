// Transactions of calls, as the stack carries them: what calls are made of. SIP thread.
#pragma once

#include "sip/call_message.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

class ServerTransaction;

// Hears what becomes of a request that came in.
class ServerTransactionListener {
public:
    ServerTransactionListener() = default;
    virtual ~ServerTransactionListener() = default;
    ServerTransactionListener(const ServerTransactionListener&) = delete;
    ServerTransactionListener& operator=(const ServerTransactionListener&) = delete;

    // The success of an INVITE was confirmed.
    virtual void onAck(ServerTransaction& invite, const CallMessage& ack) = 0;
    // Before the final answer; the stack gives 487 afterwards unless another one was given.
    virtual void onCancel(ServerTransaction& invite, const CallMessage& cancel) = 0;
    // The last reliable answer was confirmed; what came is to be answered by its own transaction.
    virtual void onPrack(ServerTransaction& invite, const CallMessage& prack,
                         std::unique_ptr<ServerTransaction> transaction) = 0;
    // Nobody confirmed a success or a reliable answer (RFC 3261 section 13.3.1.4, RFC 3262 section 3).
    virtual void onUnconfirmed(ServerTransaction& invite) = 0;
};

// A request that came in. Destroyed without a final answer it gives 500.
class ServerTransaction {
public:
    ServerTransaction() = default;
    virtual ~ServerTransaction() = default;
    ServerTransaction(const ServerTransaction&) = delete;
    ServerTransaction& operator=(const ServerTransaction&) = delete;

    // The tag of To in all answers but 100; before the first of them. Not for requests within a dialog.
    virtual void setTag(const std::string& tag) = 0;
    // Null: nobody hears any more. Only INVITE has something to tell.
    virtual void setListener(ServerTransactionListener* listener) = 0;
    // 100 goes out only when nothing else follows soon.
    virtual void answer(const CallAnswer& answer) = 0;
    // A provisional answer that is repeated until it is confirmed (RFC 3262). False: the caller does not know that.
    [[nodiscard]] virtual bool answerReliably(const CallAnswer& answer) = 0;
    // A final answer was given.
    [[nodiscard]] virtual bool isAnswered() const = 0;
};

// A request that was sent. Destroyed, nobody hears of its answers any more.
class ClientTransaction {
public:
    ClientTransaction() = default;
    virtual ~ClientTransaction() = default;
    ClientTransaction(const ClientTransaction&) = delete;
    ClientTransaction& operator=(const ClientTransaction&) = delete;

    // Only of an INVITE without final answer; it is sent when the first provisional answer has come. `headers`: whole
    // lines.
    virtual void cancel(const std::string& headers) = 0;
};

// Called for every answer but 100, never before send() has returned. 408 without a source: none came in time; 503
// without a source: the request could not be sent, or its connection broke.
using ResponseHandler = std::function<void(const CallMessage& response)>;

class CallTransport {
public:
    CallTransport() = default;
    virtual ~CallTransport() = default;
    CallTransport(const CallTransport&) = delete;
    CallTransport& operator=(const CallTransport&) = delete;

    // Never null.
    [[nodiscard]] virtual std::unique_ptr<ClientTransaction> send(const CallRequestOut& request,
                                                                  ResponseHandler onResponse) = 0;
    // The ACK of a success. Its repetitions are answered with it from now on, and nothing more is heard of it.
    virtual void sendAck(const CallRequestOut& ack, ClientTransaction& invite) = 0;
    // The ACK of a success that belongs to no transaction any more.
    virtual void sendAck(const CallRequestOut& ack) = 0;
    // Our end of the way to there, in the form of URIs ("192.0.2.1:5060", "[2001:db8::1]:5060").
    [[nodiscard]] virtual std::string localHost(const SipSource& peer) = 0;
};
