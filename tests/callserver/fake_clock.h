// A clock that a test sets.
#pragma once

#include "clock.h"

class FakeClock final : public Clock {
public:
    static constexpr int64_t kStartMs = 1'000'000;
    static constexpr Cbcl_timestamp kStartWall = 1'700'000'000;

    [[nodiscard]] int64_t steadyMs() const override { return kStartMs + _passedMs; }
    [[nodiscard]] Cbcl_timestamp wallSeconds() const override { return kStartWall + _jump + _passedMs / 1000; }

    void passSeconds(int64_t seconds) { _passedMs += seconds * 1000; }
    void passMs(int64_t ms) { _passedMs += ms; }
    // The time of day is set; nothing passes.
    void jumpSeconds(int64_t seconds) { _jump += seconds; }

private:
    int64_t _passedMs = 0;
    Cbcl_timestamp _jump = 0;
};
