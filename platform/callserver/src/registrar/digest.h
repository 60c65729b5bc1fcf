// The hashes of digest authentication (RFC 7616, RFC 8760).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>

enum class DigestAlgorithm : uint8_t { Md5, Sha256 };

// "MD5", "SHA-256".
[[nodiscard]] std::string_view digestAlgorithmName(DigestAlgorithm algorithm);
// Names are compared without regard to case.
[[nodiscard]] std::optional<DigestAlgorithm> digestAlgorithmOf(std::string_view name);

// What a response is made of, beside the user's secret.
struct DigestInput {
    std::string_view method;
    std::string_view uri;
    std::string_view nonce;
    std::string_view nc;
    std::string_view cnonce;
};

inline constexpr std::string_view kHexDigits = "0123456789abcdef";

// Two digits for each byte.
void writeHex(const unsigned char* bytes, size_t count, char* digits);

// A hash as lower case hexadecimal digits. Empty when the library could not hash.
class HexDigest {
public:
    static constexpr size_t kMaxBytes = 32; // SHA-256

    HexDigest() = default;
    HexDigest(const unsigned char* bytes, size_t count);

    [[nodiscard]] std::string_view view() const { return {_digits.data(), _size}; }
    [[nodiscard]] bool isEmpty() const { return _size == 0; }
    friend bool operator==(const HexDigest& digest, std::string_view text) { return digest.view() == text; }

private:
    std::array<char, 2 * kMaxBytes> _digits;
    size_t _size = 0;
};

// Hashes texts; the algorithms are looked up once. One thread at a time.
class DigestHasher {
public:
    DigestHasher();
    ~DigestHasher();
    DigestHasher(const DigestHasher&) = delete;
    DigestHasher& operator=(const DigestHasher&) = delete;

    // The hash of the parts joined by ':'.
    [[nodiscard]] HexDigest hash(DigestAlgorithm algorithm, std::initializer_list<std::string_view> parts);
    // The response with qop=auth.
    [[nodiscard]] HexDigest response(DigestAlgorithm algorithm, std::string_view user, std::string_view realm,
                                     std::string_view password, const DigestInput& input);

    // Hashes made so far: equal work is part of what is promised to users.
    [[nodiscard]] uint64_t count() const { return _count; }

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
    uint64_t _count = 0;
};

// Takes the same time wherever the texts differ; different lengths are told at once.
[[nodiscard]] bool equalInConstantTime(std::string_view a, std::string_view b);
