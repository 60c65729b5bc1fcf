#include "sip/source_guard.h"

#include "server_log.h"

#include "cachedb2/switch_variants.h"

#include <algorithm>
#include <random>
#include <string>

namespace {

constexpr int64_t kPerRequest = 1000; // what a request takes of a bucket's level

uint64_t randomSeed()
{
    std::random_device device;
    return uint64_t{device()} << 32 | device();
}

} // namespace

SourceGuard::SourceGuard()
    : _failing(kMaxSources, randomSeed()),
      _silenced(kMaxSources, randomSeed()),
      _strangers(kMaxSources, randomSeed()),
      _known(kMaxSources, randomSeed())
{}

bool SourceGuard::isSilenced(const SourceKey& source, int64_t now)
{
    while (!_silenced.isEmpty() && _silenced.oldest().second <= now)
        _silenced.erase(_silenced.oldest().first);
    return !_silenced.isEmpty() && _silenced.find(source) != nullptr;
}

bool SourceGuard::noteFailure(const SourceKey& source, int64_t now)
{
    if (isSilenced(source, now))
        return false;
    Failures& failures = _failing.put(source, {});
    failures.atMs[failures.count++ % kMaxFailures] = now;
    if (failures.count < kMaxFailures || now - failures.atMs[failures.count % kMaxFailures] > kFailureWindowMs)
        return false;
    _failing.erase(source);
    _silenced.put(source, now + kSilenceMs);
    ServerLog("%s is silenced for 10 minutes: %zu failed passwords within a minute.", sourceText(source).c_str(),
              kMaxFailures);
    return true;
}

void SourceGuard::noteSuccess(const SourceKey& source, int64_t now)
{
    _known.put(source, {{capacity(gVarSipChallengeRate * kKnownFactor), now, 0, false}, now}).authenticatedAtMs = now;
}

bool SourceGuard::admitWithoutCredentials(const SourceKey& source, int64_t now)
{
    const unsigned rate = gVarSipChallengeRate;
    if (rate == 0)
        return true;
    if (Known* known = _known.find(source); known != nullptr && now - known->authenticatedAtMs < kKnownMs)
        return take(known->bucket, rate * kKnownFactor, source, now);
    return take(_strangers.put(source, {capacity(rate), now, 0, false}), rate, source, now);
}

bool SourceGuard::take(Bucket& bucket, unsigned rate, const SourceKey& source, int64_t now)
{
    const int64_t passed = std::clamp<int64_t>(now - bucket.filledAtMs, 0, kBurstMs);
    bucket.level = std::min(bucket.level + passed * rate, capacity(rate));
    bucket.filledAtMs = now;
    if (bucket.level >= kPerRequest) {
        bucket.level -= kPerRequest;
        return true;
    }
    tellDropped(bucket, rate, source, now);
    return false;
}

void SourceGuard::tellDropped(Bucket& bucket, unsigned rate, const SourceKey& source, int64_t now)
{
    if (bucket.isLogged && now - bucket.loggedAtMs < kDropLineMs)
        return;
    if (_lines > 0 && now - _linesSinceMs >= kDropLineMs)
        _lines = 0;
    if (_lines == 0)
        _linesSinceMs = now;
    if (_lines > kMaxDropLines)
        return;
    bucket.isLogged = true;
    bucket.loggedAtMs = now;
    if (++_lines <= kMaxDropLines)
        ServerLog("Requests without credentials from %s are dropped: more than %u a second.",
                  sourceText(source).c_str(), rate);
    else
        ServerLog("Requests without credentials from many sources are dropped; further ones are not logged for a "
                  "while.");
}
