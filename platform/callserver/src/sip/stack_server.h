// A request of a call that came in, as the stack carries it. For the files of this folder only.
#pragma once

#include "sip/transactions.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <sofia-sip/nta.h>
#include <string>
#include <vector>

class StackCalls;

class StackServerTransaction final : public ServerTransaction {
public:
    // What the stack knows of the request, and how it came in.
    struct Taken {
        nta_agent_t* agent = nullptr;
        nta_incoming_t* incoming = nullptr;
        SipSource source;
        std::string protocol;            // of its Via, where the stack was shown another one; else empty
        bool isReliableRequired = false; // RFC 3262 section 3: 100rel among Require
    };

    StackServerTransaction(StackCalls& calls, Taken taken);
    ~StackServerTransaction() override;

    void setTag(const std::string& tag) override;
    void setListener(ServerTransactionListener* listener) override { _listener = listener; }
    void answer(const CallAnswer& answer) override;
    [[nodiscard]] bool answerReliably(const CallAnswer& answer) override;
    [[nodiscard]] bool isAnswered() const override { return _isAnswered; }

    [[nodiscard]] const nta_agent_t* agent() const { return _taken.agent; }
    [[nodiscard]] uint64_t number() const { return _number; }
    // Tells that nobody will confirm it.
    void lose();
    // Its agent is about to be destroyed, and its transaction with it.
    void forget();

private:
    struct Waiting {
        CallAnswer answer;
        bool isReliable;
        bool isOwn; // the listener has not asked for it to be reliable
    };

    void give(const CallAnswer& answer);
    [[nodiscard]] bool answerReliably(const CallAnswer& answer, bool isOwn);
    [[nodiscard]] bool giveReliably(const CallAnswer& answer, bool isOwn);
    void giveNext();
    void takeBackWaiting();
    [[nodiscard]] msg_t* responseTo(const CallAnswer& answer);
    void mendVia(msg_t* message, sip_via_t* via) const;
    void onConfirmed(nta_reliable_t* reliable, nta_incoming_t* prack, const sip_t* sip);
    void onAckOrCancel(const sip_t* sip);

    StackCalls& _calls;
    Taken _taken; // without `incoming`: its agent is gone
    ServerTransactionListener* _listener = nullptr;
    // Not yet confirmed: one at a time. The stack has a queue of its own, but it aborts the process when it cannot
    // send.
    std::vector<nta_reliable_t*> _reliable;
    std::deque<Waiting> _waiting;
    uint64_t _number;
    bool _isAnswered = false;
    bool _isSuccess = false;
    bool _isOwnReliable = false; // the one that is not yet confirmed
};
