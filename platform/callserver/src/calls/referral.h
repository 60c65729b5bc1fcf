// What a side that asked for a transfer is told of it (RFC 3515).
#pragma once

#include "sip/call_message.h"

#include <cstdint>
#include <string>

class Call;

// A transfer that one side of a call has asked for, until it is done or has failed.
struct Referral {
    static constexpr uint32_t kExpires = 180;       // s; longer than any telephone may ring
    static constexpr int64_t kOfferRetryMs = 1'000; // after another offer stood in the way (RFC 3261 section 14.1)
    static constexpr unsigned kMaxOffers = 20;      // so often; the new side waits half a minute for its ACK

    unsigned serial = 0;   // of the call's transfers
    int by = 0;            // leg that asked
    int other = 0;         // leg that is to talk to the new side
    std::string event;     // value of the Event header
    int64_t untilMs = 0;   // for so long it is told
    bool isSilent = false; // it is not
    CallAnswer state{100}; // as it was told last

    // The call to the new side, where the server makes it. It is made for this transfer only.
    Call* attempt = nullptr;
    SipBody offer; // of the new side, once it has answered
    // A call of the one who asked, whose place in it the other side takes.
    Call* joined = nullptr;
    int place = 0;
    bool isAnswerOwed = false; // the other side has made an offer, and waits for its answer
    SipBody before;            // what it had before

    unsigned offers = 0;
    int64_t retryAtMs = 0; // 0: the offer is under way, or there is none yet

    void subscribe(uint32_t seconds, int64_t nowMs) { untilMs = nowMs + int64_t{seconds} * 1000; }
    [[nodiscard]] uint32_t secondsLeft(int64_t nowMs) const
    {
        return untilMs <= nowMs ? 0 : static_cast<uint32_t>((untilMs - nowMs + 999) / 1000);
    }
};

// Event of its NOTIFY requests. The first REFER of a dialog may go without an ID, and some telephones expect none.
[[nodiscard]] std::string referEvent(bool isFirst, uint32_t cseq);

// Headers and body that tell the state. Not over and no seconds left: the subscription has run out.
[[nodiscard]] std::string notifyHeaders(const std::string& event, bool isOver, uint32_t expires);
[[nodiscard]] SipBody notifyBody(const CallAnswer& state);
