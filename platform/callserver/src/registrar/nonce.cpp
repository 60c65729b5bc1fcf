#include "registrar/nonce.h"

#include "registrar/digest.h"

#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rand.h>

// "<issue time, 16 digits><random, 16 digits><proof, 32 digits>", all hexadecimal.
namespace {

constexpr size_t kTimeDigits = 16;
constexpr size_t kVisibleDigits = 32;
constexpr size_t kRandomBytes = (kVisibleDigits - kTimeDigits) / 2;
constexpr size_t kProofBytes = 16; // 128 bits of the HMAC: nobody guesses that within five minutes
constexpr size_t kNonceDigits = kVisibleDigits + 2 * kProofBytes;
constexpr size_t kSecretBytes = 32;

} // namespace

struct NonceMaker::Key {
    Key()
    {
        EVP_MAC* mac = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
        context = EVP_MAC_CTX_new(mac);
        EVP_MAC_free(mac);
        std::array<unsigned char, kSecretBytes> secret{};
        char algorithm[] = "SHA256";
        const std::array<OSSL_PARAM, 2> params = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, algorithm, 0),
                                                  OSSL_PARAM_construct_end()};
        isReady = context != nullptr && RAND_bytes(secret.data(), static_cast<int>(secret.size())) == 1 &&
                  EVP_MAC_init(context, secret.data(), secret.size(), params.data()) == 1;
        OPENSSL_cleanse(secret.data(), secret.size());
    }
    ~Key() { EVP_MAC_CTX_free(context); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    EVP_MAC_CTX* context = nullptr;
    bool isReady = false;
};

NonceMaker::NonceMaker(const Clock& clock) : _clock(clock), _key(std::make_unique<Key>()) {}

NonceMaker::~NonceMaker() = default;

std::string NonceMaker::proof(std::string_view visible, std::string_view sourceAddress, std::string_view realm)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    size_t count = 0;
    // Starting again without a key keeps the key.
    if (!_key->isReady || EVP_MAC_init(_key->context, nullptr, 0, nullptr) != 1)
        return {};
    for (const std::string_view part : {visible, sourceAddress, std::string_view("\0", 1), realm})
        EVP_MAC_update(_key->context, reinterpret_cast<const unsigned char*>(part.data()), part.size());
    if (EVP_MAC_final(_key->context, bytes.data(), &count, bytes.size()) != 1 || count < kProofBytes)
        return {};
    return toHex(bytes.data(), kProofBytes);
}

std::string NonceMaker::make(std::string_view sourceAddress, std::string_view realm)
{
    std::array<unsigned char, kRandomBytes> random{};
    if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1)
        return {};
    std::array<char, kTimeDigits + 1> time{};
    std::snprintf(time.data(), time.size(), "%016" PRIx64, static_cast<uint64_t>(_clock.steadyMs()));
    std::string nonce = time.data() + toHex(random.data(), random.size());
    const std::string suffix = proof(nonce, sourceAddress, realm);
    if (suffix.empty())
        return {};
    return nonce + suffix;
}

NonceState NonceMaker::check(std::string_view nonce, std::string_view sourceAddress, std::string_view realm)
{
    if (nonce.size() != kNonceDigits || nonce.find_first_not_of("0123456789abcdef") != std::string_view::npos)
        return NonceState::Foreign;
    const std::string_view visible = nonce.substr(0, kVisibleDigits);
    if (!equalInConstantTime(proof(visible, sourceAddress, realm), nonce.substr(kVisibleDigits)))
        return NonceState::Stale;
    uint64_t issued = 0;
    std::from_chars(visible.data(), visible.data() + kTimeDigits, issued, 16);
    return _clock.steadyMs() - static_cast<int64_t>(issued) <= kLifetimeMs ? NonceState::Valid : NonceState::Stale;
}
