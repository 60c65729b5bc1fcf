// Keeps those who guess passwords or flood the server from costing more than a look at where their packets come from.
#pragma once

#include "sip/source_key.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <list>
#include <unordered_map>
#include <utility>

// Values of sources in the order in which they were put last, at most so many: the oldest makes room. One thread.
template <class Value>
class SourceTable {
public:
    // `seed` keeps strangers from choosing addresses that fall together.
    SourceTable(size_t bound, uint64_t seed) : _bound(bound), _index(0, Hash{seed}) {}

    [[nodiscard]] bool isEmpty() const { return _order.empty(); }
    // Null when there is none.
    [[nodiscard]] Value* find(const SourceKey& source)
    {
        const auto it = _index.find(source);
        return it == _index.end() ? nullptr : &it->second->second;
    }
    // The value of the source, with the initial one when it is new; it is the newest from now on.
    Value& put(const SourceKey& source, const Value& initial)
    {
        if (const auto it = _index.find(source); it != _index.end()) {
            _order.splice(_order.end(), _order, it->second);
            return it->second->second;
        }
        if (_order.size() >= _bound)
            erase(oldest().first);
        _order.emplace_back(source, initial);
        _index.emplace(source, std::prev(_order.end()));
        return _order.back().second;
    }
    void erase(const SourceKey& source)
    {
        if (const auto it = _index.find(source); it != _index.end()) {
            _order.erase(it->second);
            _index.erase(it);
        }
    }
    [[nodiscard]] const std::pair<SourceKey, Value>& oldest() const { return _order.front(); }

private:
    struct Hash {
        uint64_t seed;
        size_t operator()(const SourceKey& source) const
        {
            uint64_t hash = 0;
            std::memcpy(&hash, source.bytes.data() + 1, sizeof hash);
            hash ^= seed ^ source.bytes[0];
            // The last steps of MurmurHash3: every bit of the key reaches every bit of the result.
            hash = (hash ^ (hash >> 33)) * 0xff51afd7ed558ccd;
            hash = (hash ^ (hash >> 33)) * 0xc4ceb9fe1a85ec53;
            return hash ^ (hash >> 33);
        }
    };
    using Order = std::list<std::pair<SourceKey, Value>>;

    size_t _bound;
    Order _order; // the oldest first
    std::unordered_map<SourceKey, typename Order::iterator, Hash> _index;
};

// Which sources are not heard any more, and which are heard less often. What the administrator says of an address goes
// before; such addresses are not brought here. Times are Clock::steadyMs(). One thread.
class SourceGuard {
public:
    // Failures within that time silence a source: a person who mistypes stays far below, as does a telephone with a
    // wrong password that tries again every half minute.
    static constexpr size_t kMaxFailures = 10;
    static constexpr int64_t kFailureWindowMs = 60'000;
    // Sixty guesses an hour are left to whoever waits it out.
    static constexpr int64_t kSilenceMs = 600'000;
    // A burst within the rate is as long: all telephones of an office ask at once when its power comes back.
    static constexpr int64_t kBurstMs = 10'000;
    // From an address behind which users are, ten times as much is heard, that long after the last of them.
    static constexpr int64_t kKnownMs = 3'600'000;
    static constexpr unsigned kKnownFactor = 10;
    // Sources in each table: a few megabytes altogether when all are full. Beyond that an attack comes from so many
    // addresses that limits for each of them do not help.
    static constexpr size_t kMaxSources = 8192;
    // One line a source, and so many lines altogether within this time: the log stays readable.
    static constexpr int64_t kDropLineMs = 60'000;
    static constexpr size_t kMaxDropLines = 20;

    SourceGuard();

    // Whether nothing of the source is to be looked at.
    [[nodiscard]] bool isSilenced(const SourceKey& source, int64_t now);
    // A wrong password that was tried with a nonce of ours. True when the source is silenced from now on; a log line
    // says so.
    bool noteFailure(const SourceKey& source, int64_t now);
    // A user was authenticated. Failures stay counted: a source that knows one password may guess others.
    void noteSuccess(const SourceKey& source, int64_t now);
    // Whether a request without credentials of any worth is to be answered (gVarSipChallengeRate).
    [[nodiscard]] bool admitWithoutCredentials(const SourceKey& source, int64_t now);

private:
    struct Failures {
        std::array<int64_t, kMaxFailures> atMs{}; // a ring
        size_t count = 0;
    };
    struct Bucket {
        int64_t level = 0; // thousandths of a request
        int64_t filledAtMs = 0;
        int64_t loggedAtMs = 0;
        bool isLogged = false;
    };
    struct Known {
        Bucket bucket;
        int64_t authenticatedAtMs = 0;
    };

    [[nodiscard]] static int64_t capacity(unsigned rate) { return kBurstMs * rate; }
    [[nodiscard]] bool take(Bucket& bucket, unsigned rate, const SourceKey& source, int64_t now);
    void tellDropped(Bucket& bucket, unsigned rate, const SourceKey& source, int64_t now);

    SourceTable<Failures> _failing;
    SourceTable<int64_t> _silenced; // until when; the first to end is the oldest, as all are silenced equally long
    SourceTable<Bucket> _strangers;
    SourceTable<Known> _known; // apart from the strangers, who could push them out
    int64_t _linesSinceMs = 0;
    size_t _lines = 0;
};
