#include "calls/stranger_records.h"

#include "server_log.h"

#include <algorithm>
#include <cinttypes>

bool StrangerRecords::take()
{
    const int64_t now = _clock.steadyMs();
    const int64_t freeAtMs = std::max(_freeAtMs, now) + kHourMs / kPerHour;
    if (freeAtMs - now > kHourMs) {
        tellLeft(now);
        return false;
    }
    _freeAtMs = freeAtMs;
    return true;
}

void StrangerRecords::tellLeft(int64_t now)
{
    ++_left;
    if (_isTold && now - _toldAtMs < kHourMs)
        return;
    ServerLog("Unknown servers make many calls that nobody answers: %d of them an hour are stored. Left out: %" PRIu64
              ".",
              static_cast<int>(kPerHour), _left);
    _isTold = true;
    _toldAtMs = now;
    _left = 0;
}
