#include "streams/tls_context.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr unsigned kKeyBits = 2048;
constexpr long kValidSeconds = 10L * 365 * 24 * 3600;
constexpr long kBackdatedSeconds = 24L * 3600; // a telephone's clock may be behind
constexpr size_t kMaxCommonName = 64;          // RFC 5280 appendix A.1
// TLS 1.2 with forward secrecy and authenticated encryption; what 1.3 offers is all so.
constexpr const char* kCiphers = "ECDHE+AESGCM:ECDHE+CHACHA20";

template <auto Free>
struct Freed {
    template <class T>
    void operator()(T* object) const
    {
        Free(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;
using Bio = std::unique_ptr<BIO, Freed<BIO_free_all>>;

// An encrypted key cannot be opened: nobody is there to type its password.
int refusePassword(char*, int, int, void*)
{
    return -1;
}

std::string cryptoError()
{
    const unsigned long code = ERR_peek_last_error();
    ERR_clear_error();
    const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
    return reason == nullptr ? "unknown error" : reason;
}

bool isThere(const std::string& path)
{
    return access(path.c_str(), F_OK) == 0;
}

bool isAddress(const std::string& name)
{
    in6_addr parsed{}; // has room for both
    return inet_pton(AF_INET, name.c_str(), &parsed) == 1 || inet_pton(AF_INET6, name.c_str(), &parsed) == 1;
}

bool isHostName(const std::string& name)
{
    static constexpr std::string_view kInNames = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-.";
    return !name.empty() && name.find_first_not_of(kInNames) == std::string::npos;
}

bool addExtension(X509* certificate, int nid, const std::string& value)
{
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, nid, value.c_str());
    const bool isAdded = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    return isAdded;
}

// "DNS:a,IP:b", without what is neither.
std::string alternativeNames(const std::vector<std::string>& names)
{
    std::string list;
    for (const std::string& name : names) {
        const bool isIp = isAddress(name);
        if (!isIp && !isHostName(name))
            continue;
        if (!list.empty())
            list += ',';
        list += isIp ? "IP:" : "DNS:";
        list += name;
    }
    return list;
}

Certificate makeCertificate(EVP_PKEY* key, const std::vector<std::string>& names)
{
    Certificate certificate(X509_new());
    uint64_t serial = 0;
    RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial);
    const std::string commonName = names.empty() ? "parlovex" : names.front().substr(0, kMaxCommonName);
    X509* made = certificate.get();
    X509_NAME* subject = made == nullptr ? nullptr : X509_get_subject_name(made);
    const std::string alternatives = alternativeNames(names);
    const bool isMade =
        made != nullptr && X509_set_version(made, X509_VERSION_3) == 1 &&
        ASN1_INTEGER_set_uint64(X509_get_serialNumber(made), serial >> 1) == 1 &&
        X509_gmtime_adj(X509_getm_notBefore(made), -kBackdatedSeconds) != nullptr &&
        X509_gmtime_adj(X509_getm_notAfter(made), kValidSeconds) != nullptr && X509_set_pubkey(made, key) == 1 &&
        X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0) == 1 &&
        X509_set_issuer_name(made, subject) == 1 && addExtension(made, NID_basic_constraints, "critical,CA:FALSE") &&
        addExtension(made, NID_ext_key_usage, "serverAuth,clientAuth") &&
        (alternatives.empty() || addExtension(made, NID_subject_alt_name, alternatives)) &&
        X509_sign(made, key, EVP_sha256()) != 0;
    return isMade ? std::move(certificate) : nullptr;
}

// Appears under its name only when it is whole and on disk; nobody else may read it at any moment.
bool writeSecretly(const std::string& path, BIO* content)
{
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(content, &bytes);
    const std::string part = path + ".part";
    const int fd = open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const bool isWritten = write(fd, bytes, static_cast<size_t>(size)) == size && fsync(fd) == 0;
    const bool isClosed = close(fd) == 0;
    return isWritten && isClosed && rename(part.c_str(), path.c_str()) == 0;
}

Key readKey(const std::string& path)
{
    const Bio file(BIO_new_file(path.c_str(), "r"));
    return Key(file == nullptr ? nullptr : PEM_read_bio_PrivateKey(file.get(), nullptr, refusePassword, nullptr));
}

// Empty when both files are there now, else why not. A key that is there already is used.
std::string makeFiles(const std::string& certificatePath, const std::string& keyPath,
                      const std::vector<std::string>& names)
{
    const bool hasKey = isThere(keyPath);
    const Key key = hasKey ? readKey(keyPath) : Key(EVP_RSA_gen(kKeyBits));
    if (hasKey && key == nullptr)
        return keyPath + " cannot be used: " + cryptoError();
    const Certificate certificate = key == nullptr ? nullptr : makeCertificate(key.get(), names);
    if (certificate == nullptr)
        return "a certificate could not be made: " + cryptoError();
    const Bio keyText(BIO_new(BIO_s_mem()));
    const Bio certificateText(BIO_new(BIO_s_mem()));
    if (PEM_write_bio_PKCS8PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1 ||
        PEM_write_bio_X509(certificateText.get(), certificate.get()) != 1)
        return "a certificate could not be made: " + cryptoError();
    // The key first: a certificate alone would be taken for the administrator's.
    if ((!hasKey && !writeSecretly(keyPath, keyText.get())) || !writeSecretly(certificatePath, certificateText.get()))
        return std::string("a certificate could not be stored: ") + strerror(errno);
    return {};
}

std::string fingerprint(const X509* certificate)
{
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    if (X509_digest(certificate, EVP_sha256(), bytes, &size) != 1)
        return {};
    std::string text;
    char digits[4];
    for (unsigned i = 0; i < size; ++i) {
        std::snprintf(digits, sizeof digits, i == 0 ? "%02X" : ":%02X", unsigned{bytes[i]});
        text += digits;
    }
    return text;
}

TlsContext makeContext()
{
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    if (context == nullptr || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_cipher_list(context.get(), kCiphers) != 1 || SSL_CTX_set_num_tickets(context.get(), 0) != 1)
        return nullptr;
    SSL_CTX_set_options(context.get(), SSL_OP_NO_TICKET | SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                           SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_mode(context.get(),
                     SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_NONE, nullptr);
    return context;
}

} // namespace

void TlsContextDeleter::operator()(ssl_ctx_st* context) const
{
    SSL_CTX_free(context);
}

TlsIdentity openTlsIdentity(const std::string& folder, const std::vector<std::string>& names)
{
    TlsIdentity identity;
    const std::string certificatePath = folder + kTlsCertificateFile;
    const std::string keyPath = folder + kTlsKeyFile;
    const bool isNew = !isThere(certificatePath);
    if (isNew) {
        identity.error = makeFiles(certificatePath, keyPath, names);
        if (!identity.error.empty())
            return identity;
    }
    ERR_clear_error();
    TlsContext context = makeContext();
    if (context == nullptr) {
        identity.error = cryptoError();
        return identity;
    }
    SSL_CTX_set_default_passwd_cb(context.get(), refusePassword);
    if (SSL_CTX_use_certificate_chain_file(context.get(), certificatePath.c_str()) != 1)
        identity.error = certificatePath + " cannot be used: " + cryptoError();
    else if (SSL_CTX_use_PrivateKey_file(context.get(), keyPath.c_str(), SSL_FILETYPE_PEM) != 1)
        identity.error = keyPath + " cannot be used: " + cryptoError();
    else if (SSL_CTX_check_private_key(context.get()) != 1)
        identity.error = keyPath + " is not the key of " + certificatePath;
    if (!identity.error.empty())
        return identity;
    const X509* certificate = SSL_CTX_get0_certificate(context.get());
    if (isNew)
        identity.notes.push_back("A self-signed TLS certificate was made: " + certificatePath +
                                 ", SHA-256 fingerprint " + fingerprint(certificate) + ".");
    if (X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0)
        identity.notes.push_back("The TLS certificate " + certificatePath +
                                 " has expired: telephones that check it will refuse it.");
    identity.context = std::move(context);
    return identity;
}
