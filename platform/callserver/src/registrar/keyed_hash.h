// Proofs and fingerprints that nobody outside this process can foretell or steer.
#pragma once

#include <array>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>

// SipHash-2-4 with a result of 128 bits, under a key that is made at random for each object. One thread at a time.
class KeyedHash {
public:
    using Value = std::array<unsigned char, 16>;

    KeyedHash();
    ~KeyedHash();
    KeyedHash(const KeyedHash&) = delete;
    KeyedHash& operator=(const KeyedHash&) = delete;

    // Of the parts in this order; no part may hold a NUL. Nothing when there was no randomness for the key.
    [[nodiscard]] std::optional<Value> hash(std::initializer_list<std::string_view> parts);

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
