// Nonces that need no memory: each carries its time of issue and proves that this process made it for this client.
#pragma once

#include "clock.h"

#include <memory>
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
    ~NonceMaker();
    NonceMaker(const NonceMaker&) = delete;
    NonceMaker& operator=(const NonceMaker&) = delete;

    // For a client at an address (without port: it may change behind a NAT) and a realm, so that nonces of another
    // realm are stale. Empty when there is no randomness.
    [[nodiscard]] std::string make(std::string_view sourceAddress, std::string_view realm);
    [[nodiscard]] NonceState check(std::string_view nonce, std::string_view sourceAddress, std::string_view realm);

private:
    std::string proof(std::string_view visible, std::string_view sourceAddress, std::string_view realm);

    const Clock& _clock;
    struct Key;
    std::unique_ptr<Key> _key;
};
