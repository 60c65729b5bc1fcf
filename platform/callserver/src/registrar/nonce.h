// Nonces that need no memory: each carries its time of issue and proves that this process made it for this client.
#pragma once

#include "clock.h"
#include "registrar/keyed_hash.h"

#include <cstdint>
#include <string>
#include <string_view>

enum class NonceState {
    Valid,
    Stale,   // has the form of a nonce, but too old or made for somebody else: a new one is given
    Foreign, // not one of ours
};

// One thread at a time.
class NonceMaker {
public:
    // A client that registers every 5 minutes or more often saves the round trip of the challenge.
    static constexpr int64_t kLifetimeMs = 300'000;

    // The secret is made here, at random.
    explicit NonceMaker(const Clock& clock);

    // For a client at an address (without port: it may change behind a NAT) and a realm, so that nonces of another
    // realm are stale. Empty when there is no randomness.
    [[nodiscard]] std::string make(std::string_view sourceAddress, std::string_view realm);
    [[nodiscard]] NonceState check(std::string_view nonce, std::string_view sourceAddress, std::string_view realm);

    // The number of a nonce that check() found valid: it grows with each nonce made.
    [[nodiscard]] static uint64_t numberOf(std::string_view nonce);
    // Nonces with lower numbers are stale by now.
    [[nodiscard]] uint64_t oldestValid() const;

private:
    [[nodiscard]] uint64_t timeNow() const;

    const Clock& _clock;
    KeyedHash _hash;
    uint64_t _zeroMs = 0; // added to the steady time, which would tell since when the machine runs
    uint64_t _last = 0;
};
