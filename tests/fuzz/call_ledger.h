// What was said in calls under a fuzz target, and what must hold of it whatever that was.
#pragma once

#include "callserver/fake_call_transport.h"
#include "callserver/fake_clock.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Of a From or To; empty: none.
[[nodiscard]] std::string tagOf(const std::string& party);
[[nodiscard]] bool isSuccess(int status);

// What became of a request that the server sent, beyond what the way to the telephones keeps.
struct Sent {
    SentPtr request;
    int64_t atMs = 0;
    bool hasProvisional = false;
    int final = 0;       // by the telephone
    bool isTold = false; // its final answer was heard
    std::optional<int64_t> cancelledAtMs{};
    [[nodiscard]] bool isInvite() const { return request->request.method == "INVITE"; }
    [[nodiscard]] bool isInitial() const { return tagOf(request->request.to).empty(); }
};

// A request that the server got.
struct Heard {
    HeardPtr request;
    size_t confirmed = 0; // of its reliable answers
    int64_t atMs = 0;     // of its last answer that has to be confirmed
    size_t awaited = 0;   // answers that had to be confirmed, when it was looked at last
    bool isOver = false;  // its success was confirmed, or never will be
    bool isOwn = false;   // the stack may have answered it by itself
    [[nodiscard]] bool isInvite() const { return request->request.method == SipMethod::Invite; }
    [[nodiscard]] bool isInitial() const { return request->request.to.tag.empty(); }
    [[nodiscard]] bool awaitsPrack() const { return confirmed < request->reliable.size(); }
    [[nodiscard]] bool awaitsAck() const
    {
        return isInvite() && !isOver && !awaitsPrack() && request->isDecided && isSuccess(request->status());
    }
};

// How a dialog that was established came to its end.
struct Ending {
    bool isByeSent = false;
    bool isByeHeard = false;
    bool isDenied = false; // the telephone said that it knows of none
    bool isLost = false;   // with its sockets
    [[nodiscard]] bool isAny() const { return isByeSent || isByeHeard || isDenied || isLost; }
};

class CallLedger {
public:
    // `addresses`: where requests may go.
    CallLedger(const FakeCallTransport& transport, const FakeClock& clock, std::set<std::string> addresses)
        : _transport(transport), _clock(clock), _addresses(std::move(addresses))
    {}

    // Takes note of what the server has done.
    void look();
    // All is over.
    void checkEnd() const;

    std::vector<Sent> sent;
    std::vector<Heard> heard;
    std::map<std::string, Ending> endings; // by Call-ID

private:
    void checkNew(const CallRequestOut& request);
    [[nodiscard]] bool mayBeEnded(const CallRequestOut& bye) const;
    void checkTurn(const CallRequestOut& request) const;
    void checkHeard(const Heard& one) const;
    void checkSent(const Sent& one) const;

    const FakeCallTransport& _transport;
    const FakeClock& _clock;
    std::set<std::string> _addresses;
    std::map<std::string, uint32_t> _cseqs; // of the server, by Call-ID and tag
};
