// The hashes of digest authentication (RFC 7616, RFC 8760).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
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

// Hashes texts; the algorithms are looked up once. One thread at a time.
class DigestHasher {
public:
    DigestHasher();
    ~DigestHasher();
    DigestHasher(const DigestHasher&) = delete;
    DigestHasher& operator=(const DigestHasher&) = delete;

    // Lower case hexadecimal digits of the hash of the parts joined by ':'. Empty when the library cannot hash.
    [[nodiscard]] std::string hash(DigestAlgorithm algorithm, std::initializer_list<std::string_view> parts);
    // The response with qop=auth.
    [[nodiscard]] std::string response(DigestAlgorithm algorithm, std::string_view user, std::string_view realm,
                                       std::string_view password, const DigestInput& input);

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

// Takes the same time wherever the texts differ; different lengths are told at once.
[[nodiscard]] bool equalInConstantTime(std::string_view a, std::string_view b);

[[nodiscard]] std::string toHex(const unsigned char* bytes, size_t count);
