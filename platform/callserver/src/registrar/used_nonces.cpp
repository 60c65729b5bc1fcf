#include "registrar/used_nonces.h"

#include <algorithm>

bool UsedNonces::use(uint64_t nonce, uint32_t count, uint64_t oldestValid)
{
    const auto known = std::find_if(_used.begin(), _used.end(), [&](const Used& used) { return used.nonce == nonce; });
    if (known != _used.end())
        return useCount(*known, count);
    if (nonce <= _forgotten)
        return false;
    add(nonce, count, oldestValid);
    return true;
}

bool UsedNonces::useCount(Used& used, uint32_t count)
{
    if (count > used.highest) {
        const uint32_t step = count - used.highest;
        used.counts = step < kWindow ? (used.counts << step) | 1 : 1;
        used.highest = count;
        return true;
    }
    const uint32_t below = used.highest - count;
    const uint64_t bit = below < kWindow ? uint64_t{1} << below : 0;
    if (bit == 0 || (used.counts & bit) != 0)
        return false;
    used.counts |= bit;
    return true;
}

void UsedNonces::add(uint64_t nonce, uint32_t count, uint64_t oldestValid)
{
    const auto oldest =
        std::min_element(_used.begin(), _used.end(), [](const Used& a, const Used& b) { return a.nonce < b.nonce; });
    const bool isReplaced = oldest != _used.end() && (_used.size() >= kMaxNonces || oldest->nonce < oldestValid);
    if (!isReplaced) {
        _used.push_back({nonce, 1, count});
        return;
    }
    _forgotten = std::max(_forgotten, oldest->nonce);
    *oldest = {nonce, 1, count};
}
