#include "registrar/digest.h"

#include <algorithm>
#include <array>
#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace {

constexpr std::array<std::string_view, 2> kAlgorithmNames = {"MD5", "SHA-256"};

char upper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace

std::string_view digestAlgorithmName(DigestAlgorithm algorithm)
{
    return kAlgorithmNames[static_cast<size_t>(algorithm)];
}

std::optional<DigestAlgorithm> digestAlgorithmOf(std::string_view name)
{
    for (size_t i = 0; i < kAlgorithmNames.size(); ++i) {
        const std::string_view known = kAlgorithmNames[i];
        if (std::equal(name.begin(), name.end(), known.begin(), known.end(),
                       [](char a, char b) { return upper(a) == b; }))
            return static_cast<DigestAlgorithm>(i);
    }
    return std::nullopt;
}

struct DigestHasher::Impl {
    // Looking an algorithm up takes longer than hashing with it.
    std::array<EVP_MD*, 2> algorithms = {EVP_MD_fetch(nullptr, "MD5", nullptr),
                                         EVP_MD_fetch(nullptr, "SHA256", nullptr)};
    EVP_MD_CTX* context = EVP_MD_CTX_new();
};

DigestHasher::DigestHasher() : _impl(std::make_unique<Impl>()) {}

DigestHasher::~DigestHasher()
{
    EVP_MD_CTX_free(_impl->context);
    for (EVP_MD* algorithm : _impl->algorithms)
        EVP_MD_free(algorithm);
}

std::string DigestHasher::hash(DigestAlgorithm algorithm, std::initializer_list<std::string_view> parts)
{
    const EVP_MD* method = _impl->algorithms[static_cast<size_t>(algorithm)];
    EVP_MD_CTX* context = _impl->context;
    if (method == nullptr || context == nullptr || EVP_DigestInit_ex2(context, method, nullptr) != 1)
        return {};
    bool isFirst = true;
    for (const std::string_view part : parts) {
        if (!isFirst)
            EVP_DigestUpdate(context, ":", 1);
        isFirst = false;
        EVP_DigestUpdate(context, part.data(), part.size());
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned count = 0;
    if (EVP_DigestFinal_ex(context, bytes.data(), &count) != 1)
        return {};
    return toHex(bytes.data(), count);
}

std::string DigestHasher::response(DigestAlgorithm algorithm, std::string_view user, std::string_view realm,
                                   std::string_view password, const DigestInput& input)
{
    const std::string secret = hash(algorithm, {user, realm, password});
    const std::string request = hash(algorithm, {input.method, input.uri});
    return hash(algorithm, {secret, input.nonce, input.nc, input.cnonce, "auth", request});
}

bool equalInConstantTime(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::string toHex(const unsigned char* bytes, size_t count)
{
    static constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(count * 2);
    for (size_t i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}
