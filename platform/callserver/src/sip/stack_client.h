// A request of a call that was sent, as the stack carries it. For the files of this folder only.
#pragma once

#include "sip/transactions.h"

#include <cstdint>
#include <memory>
#include <sofia-sip/nta.h>
#include <string>

class StackCalls;

class StackClientTransaction final : public ClientTransaction {
public:
    StackClientTransaction(StackCalls& calls, uint64_t number, SipSource destination, ResponseHandler onResponse);
    ~StackClientTransaction() override;

    void begin(nta_agent_t* agent, nta_outgoing_t* outgoing, bool isInvite);
    // Of an INVITE over a stream: what its CANCEL will be made of. As a proxy the stack takes one that was cancelled
    // there for done, and hears of none of its answers.
    void keepForCancel(const CallRequestOut& invite, const std::string& via);
    void cancel(const std::string& headers) override;
    static int onAnswer(nta_outgoing_magic_t* magic, nta_outgoing_t* outgoing, const sip_t* sip);

    // The branch of its Via; empty: it was never sent.
    [[nodiscard]] std::string branch() const;
    [[nodiscard]] const nta_agent_t* agent() const { return _agent; }
    [[nodiscard]] uint64_t number() const { return _number; }
    // No final answer has come.
    [[nodiscard]] bool isOpen() const { return !_isFinal; }
    // It has told all that matters; the stack keeps it as long as the answer may be repeated.
    void finish();
    // Its agent is about to be destroyed, and its transaction with it.
    void forget() { _outgoing = nullptr; }
    // Tells that no answer will come.
    void fail();

private:
    struct OwnCancel {
        CallRequestOut request;
        std::string via;
    };

    void sendCancel();

    StackCalls& _calls;
    uint64_t _number;
    SipSource _destination;
    std::unique_ptr<OwnCancel> _own;
    ResponseHandler _onResponse;
    nta_agent_t* _agent = nullptr;
    nta_outgoing_t* _outgoing = nullptr;
    std::string _cancelHeaders;
    bool _isInvite = false;
    bool _isFinal = false;
    bool _hasProvisional = false;
    bool _isCancelled = false;
};
