// Which records of strangers' calls are stored.
#pragma once

#include "clock.h"

#include <cstdint>

// Keeps strangers from filling the disk: anybody can send INVITEs that nobody answers, each of them from another
// address that he makes up. SIP thread.
class StrangerRecords {
public:
    // As many at once, too. A day of attack makes a few megabytes.
    static constexpr int64_t kPerHour = 600;
    static constexpr int64_t kHourMs = 3'600'000;

    explicit StrangerRecords(const Clock& clock) : _clock(clock) {}

    // Whether the record of one more call that nobody answered is to be stored. If not a log line says so, one an hour.
    [[nodiscard]] bool take();

private:
    void tellLeft(int64_t now);

    const Clock& _clock;
    int64_t _freeAtMs = 0; // when all of the room is free again
    int64_t _toldAtMs = 0;
    uint64_t _left = 0; // since the last line
    bool _isTold = false;
};
