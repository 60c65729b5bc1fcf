#include "registrar/digest.h"

#include <algorithm>
#include <array>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <string>

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
    std::string text; // kept for its memory: one call of the library costs less than one a part
};

DigestHasher::DigestHasher() : _impl(std::make_unique<Impl>()) {}

DigestHasher::~DigestHasher()
{
    EVP_MD_CTX_free(_impl->context);
    for (EVP_MD* algorithm : _impl->algorithms)
        EVP_MD_free(algorithm);
}

HexDigest DigestHasher::hash(DigestAlgorithm algorithm, std::initializer_list<std::string_view> parts)
{
    ++_count;
    const EVP_MD* method = _impl->algorithms[static_cast<size_t>(algorithm)];
    EVP_MD_CTX* context = _impl->context;
    if (method == nullptr || context == nullptr || EVP_DigestInit_ex2(context, method, nullptr) != 1)
        return {};
    std::string& text = _impl->text;
    text.clear();
    for (const std::string_view part : parts) {
        text += part;
        text += ':';
    }
    text.pop_back();
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes;
    unsigned count = 0;
    if (EVP_DigestUpdate(context, text.data(), text.size()) != 1 ||
        EVP_DigestFinal_ex(context, bytes.data(), &count) != 1)
        return {};
    return {bytes.data(), count};
}

HexDigest DigestHasher::response(DigestAlgorithm algorithm, std::string_view user, std::string_view realm,
                                 std::string_view password, const DigestInput& input)
{
    const HexDigest secret = hash(algorithm, {user, realm, password});
    const HexDigest request = hash(algorithm, {input.method, input.uri});
    if (secret.isEmpty() || request.isEmpty())
        return {};
    return hash(algorithm, {secret.view(), input.nonce, input.nc, input.cnonce, "auth", request.view()});
}

bool equalInConstantTime(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

HexDigest::HexDigest(const unsigned char* bytes, size_t count) : _size(2 * std::min(count, kMaxBytes))
{
    writeHex(bytes, _size / 2, _digits.data());
}

void writeHex(const unsigned char* bytes, size_t count, char* digits)
{
    for (size_t i = 0; i < count; ++i) {
        *digits++ = kHexDigits[bytes[i] >> 4];
        *digits++ = kHexDigits[bytes[i] & 15];
    }
}
