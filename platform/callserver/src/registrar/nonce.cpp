#include "registrar/nonce.h"

#include "registrar/digest.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <openssl/rand.h>

// "<number, 16 digits><proof, 32 digits>", all hexadecimal. The number is the time of issue in milliseconds above a
// count of the nonces within one: unique without randomness. Nobody who does not know the key can tell its proof.
namespace {

constexpr size_t kNumberDigits = 16;
constexpr unsigned kCountBits = 20; // a million nonces a millisecond; more would take the next one's
constexpr uint64_t kZeroMask =
    (uint64_t{1} << 42) - 1; // 139 years, which leaves as much again for the time that passes
constexpr size_t kNonceDigits = kNumberDigits + 2 * std::tuple_size_v<KeyedHash::Value>;

bool isNonce(std::string_view text)
{
    return text.size() == kNonceDigits && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
           });
}

} // namespace

NonceMaker::NonceMaker(const Clock& clock) : _clock(clock)
{
    // Without randomness there is no key either, and no nonce at all.
    std::array<unsigned char, sizeof _zeroMs> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1)
        std::memcpy(&_zeroMs, bytes.data(), bytes.size());
    _zeroMs &= kZeroMask;
}

uint64_t NonceMaker::timeNow() const
{
    return _zeroMs + static_cast<uint64_t>(_clock.steadyMs());
}

std::string NonceMaker::make(std::string_view sourceAddress, std::string_view realm)
{
    _last = std::max(_last + 1, timeNow() << kCountBits);
    std::array<char, kNonceDigits> nonce{};
    uint64_t rest = _last;
    for (size_t i = kNumberDigits; i-- > 0; rest >>= 4)
        nonce[i] = kHexDigits[rest & 15];
    const auto proof = _hash.hash({{nonce.data(), kNumberDigits}, sourceAddress, realm});
    if (!proof)
        return {};
    writeHex(proof->data(), proof->size(), nonce.data() + kNumberDigits);
    return {nonce.data(), nonce.size()};
}

NonceState NonceMaker::check(std::string_view nonce, std::string_view sourceAddress, std::string_view realm)
{
    if (!isNonce(nonce))
        return NonceState::Foreign;
    const auto proof = _hash.hash({nonce.substr(0, kNumberDigits), sourceAddress, realm});
    if (!proof || !equalInConstantTime(HexDigest(proof->data(), proof->size()).view(), nonce.substr(kNumberDigits)))
        return NonceState::Stale;
    return numberOf(nonce) >= oldestValid() ? NonceState::Valid : NonceState::Stale;
}

uint64_t NonceMaker::numberOf(std::string_view nonce)
{
    uint64_t number = 0;
    std::from_chars(nonce.data(), nonce.data() + std::min(nonce.size(), kNumberDigits), number, 16);
    return number;
}

uint64_t NonceMaker::oldestValid() const
{
    const uint64_t now = timeNow();
    return now <= kLifetimeMs ? 0 : (now - kLifetimeMs) << kCountBits;
}
