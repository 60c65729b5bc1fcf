// Time as the server's state machines see it.
#pragma once

#include "bcl2/date.h"

#include <cstdint>
#include <ctime>

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
        // Counts on while the machine sleeps: telephones do not sleep with it, and their registrations expire.
        timespec now{};
        if (clock_gettime(CLOCK_BOOTTIME, &now) != 0)
            clock_gettime(CLOCK_MONOTONIC, &now);
        return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
    }
    [[nodiscard]] Cbcl_timestamp wallSeconds() const override { return BclGetCurrTimestamp(); }
};
