// The server's side of TLS: certificate, key, and what is spoken.
#pragma once

#include <memory>
#include <string>
#include <vector>

struct ssl_ctx_st;

struct TlsContextDeleter {
    void operator()(ssl_ctx_st* context) const;
};
using TlsContext = std::unique_ptr<ssl_ctx_st, TlsContextDeleter>;

// Files in the data folder, PEM. The certificate's may hold a chain, the server's own first.
constexpr const char* kTlsCertificateFile = "tls-certificate.pem";
constexpr const char* kTlsKeyFile = "tls-key.pem";

struct TlsIdentity {
    TlsContext context;             // null: TLS cannot be served
    std::string error;              // why not
    std::vector<std::string> notes; // for the administrator: made anew, expired, ...
};

// Reads certificate and key from the folder. Without a certificate, makes a self-signed one for these names and
// addresses first, of the key that is there or of a new one (RSA 2048 bits: old telephones know no other; ten years;
// files 0600). TLS 1.2 and 1.3 with forward secrecy only, no renegotiation, no compression, no session tickets. May
// take a second: never on the SIP thread.
[[nodiscard]] TlsIdentity openTlsIdentity(const std::string& folder, const std::vector<std::string>& names);
