#include "registrar/keyed_hash.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <string>

struct KeyedHash::Impl {
    Impl()
    {
        EVP_MAC* mac = EVP_MAC_fetch(nullptr, "SIPHASH", nullptr);
        context = EVP_MAC_CTX_new(mac);
        EVP_MAC_free(mac);
        isReady = context != nullptr && RAND_bytes(key.data(), static_cast<int>(key.size())) == 1;
    }
    ~Impl()
    {
        EVP_MAC_CTX_free(context);
        OPENSSL_cleanse(key.data(), key.size());
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    // The library takes no second message under a key without being given the key again.
    std::array<unsigned char, 16> key{};
    EVP_MAC_CTX* context = nullptr;
    bool isReady = false;
    std::string text; // kept for its memory: one call of the library costs less than one a part
};

KeyedHash::KeyedHash() : _impl(std::make_unique<Impl>()) {}

KeyedHash::~KeyedHash() = default;

std::optional<KeyedHash::Value> KeyedHash::hash(std::initializer_list<std::string_view> parts)
{
    static constexpr char kSeparator = '\0'; // so that no byte can move from one part to the next
    EVP_MAC_CTX* context = _impl->context;
    if (!_impl->isReady || EVP_MAC_init(context, _impl->key.data(), _impl->key.size(), nullptr) != 1)
        return std::nullopt;
    std::string& text = _impl->text;
    text.clear();
    for (const std::string_view part : parts) {
        text += part;
        text += kSeparator;
    }
    Value value{};
    size_t count = 0;
    if (EVP_MAC_update(context, reinterpret_cast<const unsigned char*>(text.data()), text.size()) != 1 ||
        EVP_MAC_final(context, value.data(), &count, value.size()) != 1 || count != value.size())
        return std::nullopt;
    return value;
}
