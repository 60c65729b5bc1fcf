// Session timers of one leg (RFC 4028): who refreshes the session, and when it is over.
#pragma once

#include "sip/call_message.h"

#include <algorithm>
#include <cstdint>
#include <string>

// Times are Clock::steadyMs(). One thread.
class LegTimer {
public:
    static constexpr uint32_t kInterval = 1800; // s
    static constexpr uint32_t kMinimum = 90;    // s; RFC 4028 section 4

    // The other side asks for less than the server bears: its request gets 422.
    [[nodiscard]] static bool isTooShort(const CallMessage& request)
    {
        return request.timer.interval != 0 && request.timer.interval < kMinimum;
    }

    // A request that refreshes came in; gives the header lines of its success.
    [[nodiscard]] std::string accept(const CallMessage& request, int64_t now);
    // Header lines of an INVITE or UPDATE of ours. `minimum`: what the other side insisted on, 0: nothing.
    [[nodiscard]] std::string offer(uint32_t minimum = 0) const;
    // Our INVITE or UPDATE succeeded.
    void answered(const CallMessage& response, int64_t now);

    [[nodiscard]] bool isOn() const { return _interval != 0; }
    // The refresh is due: it is ours.
    [[nodiscard]] bool isOurs() const { return _isOurs; }
    // When to refresh, or when the session is over because the other side did not; 0: never.
    [[nodiscard]] int64_t dueMs() const { return _dueMs; }
    // When the session is over unless somebody refreshes it.
    [[nodiscard]] int64_t endMs() const { return _endMs; }
    // The other side bears no shorter interval.
    void raise(uint32_t minimum) { _interval = _interval == 0 ? 0 : std::max(_interval, minimum); }
    // A refresh is under way; it is not begun again meanwhile.
    void postpone(int64_t untilMs) { _dueMs = untilMs; }

private:
    void start(uint32_t interval, bool isOurs, int64_t now);

    uint32_t _interval = 0; // s; 0: no timer
    bool _isOurs = false;
    int64_t _dueMs = 0;
    int64_t _endMs = 0;
};
