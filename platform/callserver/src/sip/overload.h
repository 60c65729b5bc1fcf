// Keeps the calls that are there when more come than can be served: new ones are refused until what has come is worked
// off.
#pragma once

#include "clock.h"

#include <cstddef>
#include <cstdint>
#include <optional>

// How far behind the SIP thread is. Milliseconds.
struct Backlog {
    std::optional<int64_t> packetMs; // that a packet has waited in its socket; nothing: it came over a connection
    int64_t unrestMs = 0;            // since the thread had nothing to do for the last time
};

// SIP thread.
class Overload {
public:
    // Whoever waits a little longer sends again (RFC 3261, timer T1: 500 ms), which makes more of it.
    static constexpr int64_t kBeginWaitMs = 400;
    // A machine that stood still for a moment has late packets, too, but soon nothing to do again.
    static constexpr int64_t kBeginUnrestMs = 1000;
    // What is left is worked off faster than telephones notice.
    static constexpr int64_t kEndWaitMs = 100;
    // How long messages wait in connections nobody knows. A server that keeps up rests within this time.
    static constexpr int64_t kLongestUnrestMs = 3000;
    // Without a refusal; shorter pauses between them are not told.
    static constexpr int64_t kCalmMs = 10'000;
    // Seconds, spread so that those who were refused together do not come back together (RFC 3261 section 20.33).
    static constexpr unsigned kMinRetryAfter = 5;
    static constexpr unsigned kMaxRetryAfter = 15;

    explicit Overload(const Clock& clock) : _clock(clock) {}

    // Whether a new call that has come just now is too much.
    [[nodiscard]] bool isTooMuch(const Backlog& backlog);
    // It was refused. Gives the seconds after which it may be tried again.
    [[nodiscard]] unsigned refuse();
    // Says in the log when it is over. Cheap; call it now and then.
    void step();

private:
    const Clock& _clock;
    bool _isRefusing = false; // calls that come as packets
    bool _isTold = false;
    size_t _refused = 0; // since it was told
    int64_t _beganAtMs = 0;
    int64_t _refusedAtMs = 0; // the last one
};
