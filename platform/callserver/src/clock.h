// Time as the server's state machines see it.
#pragma once

#include "bcl2/date.h"

#include <chrono>
#include <cstdint>

// Handed in, so that expiries and limits are tested without waiting. Any thread.
class Clock {
public:
    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    // Milliseconds that never jump: for everything that expires.
    [[nodiscard]] virtual int64_t steadyMs() const = 0;
    // The time of day: for dates and for what is stored.
    [[nodiscard]] virtual Cbcl_timestamp wallSeconds() const = 0;
};

class SystemClock final : public Clock {
public:
    [[nodiscard]] int64_t steadyMs() const override
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
    [[nodiscard]] Cbcl_timestamp wallSeconds() const override { return BclGetCurrTimestamp(); }
};
