#include "sip/overload.h"

#include "server_log.h"

#include <cinttypes>
#include <random>
#include <utility>

bool Overload::isTooMuch(const Backlog& backlog)
{
    if (!backlog.packetMs)
        return backlog.unrestMs > kLongestUnrestMs;
    _isRefusing = _isRefusing ? *backlog.packetMs > kEndWaitMs
                              : *backlog.packetMs > kBeginWaitMs && backlog.unrestMs > kBeginUnrestMs;
    return _isRefusing;
}

unsigned Overload::refuse()
{
    _refusedAtMs = _clock.steadyMs();
    ++_refused;
    if (!std::exchange(_isTold, true)) {
        _beganAtMs = _refusedAtMs;
        ServerLog("Overload: more calls come than can be served. New calls are refused with 503; those in progress go "
                  "on.");
    }
    static std::minstd_rand& random = *new std::minstd_rand(std::random_device{}()); // SIP thread
    return std::uniform_int_distribution(kMinRetryAfter, kMaxRetryAfter)(random);
}

void Overload::step()
{
    if (!_isTold || _clock.steadyMs() - _refusedAtMs < kCalmMs)
        return;
    ServerLog("The overload is over: %zu %s refused within %" PRId64 " s.", _refused,
              _refused == 1 ? "call was" : "calls were", (_refusedAtMs - _beganAtMs + 999) / 1000);
    _isTold = false;
    _refused = 0;
}
