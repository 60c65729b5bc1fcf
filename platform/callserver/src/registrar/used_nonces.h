// Which nonces a user's right credentials came with, so that no captured request is good for another one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The nonce counts of one user (RFC 7616 section 3.4, nc). Knows only nonces that were used with the right password, so
// strangers cannot fill it. One thread.
class UsedNonces {
public:
    // Telephones of one user that register at the same time have a nonce each; further ones are a matter of one more
    // challenge.
    static constexpr size_t kMaxNonces = 16;
    // Counts below the highest that may still come: requests that overtook each other are few.
    static constexpr uint32_t kWindow = 64;

    // Takes note of a nonce, by its number, and a count. False when they were used before, or may have been: the count
    // is too far below the highest, or the nonce no younger than one that had to be forgotten. Nonces below
    // `oldestValid` are not accepted by the caller any more.
    [[nodiscard]] bool use(uint64_t nonce, uint32_t count, uint64_t oldestValid);
    // Nonces that are remembered.
    [[nodiscard]] size_t size() const { return _used.size(); }

private:
    struct Used {
        uint64_t nonce;
        uint64_t counts; // bit i: highest - i was used
        uint32_t highest;
    };
    static bool useCount(Used& used, uint32_t count);
    void add(uint64_t nonce, uint32_t count, uint64_t oldestValid);

    std::vector<Used> _used;
    uint64_t _forgotten = 0; // the youngest nonce that had to be forgotten
};
