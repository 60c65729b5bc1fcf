// ACKs of successes that went out as packets, for those who repeat their success (RFC 3261 section 13.2.2.4).
#pragma once

#include "sip/sip_messages.h"

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

// One thread. Times: ms of a clock that only goes forward.
class SentAcks {
public:
    // A telephone repeats its success no longer (64 times T1).
    static constexpr int64_t kKeptMs = 32'000;

    struct Ack {
        SipSource from;
        SipSource to;
        std::string text;
    };

    // Which success it confirms, as From, To and CSeq of that say.
    struct Success {
        std::string_view localTag;
        std::string_view remoteTag;
        uint32_t cseq = 0;
    };

    // Takes the place of one for the same success.
    void keep(const Success& success, Ack&& ack, int64_t nowMs);
    // Null: there is none any more. Until the next call of keep().
    [[nodiscard]] const Ack* find(const Success& success, int64_t nowMs);
    [[nodiscard]] size_t size() const { return _acks.size(); }

private:
    struct Kept {
        Ack ack;
        int64_t untilMs;
    };

    void dropOld(int64_t nowMs);

    std::unordered_map<std::string, Kept> _acks;
    std::deque<std::pair<int64_t, std::string>> _ends; // in the order in which they were kept
};
