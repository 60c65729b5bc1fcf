// Who may register: digest authentication (RFC 3261 section 22, RFC 7616, RFC 8760).
#pragma once

#include "cachedb2/snapshot.h"
#include "cachedb2/usr_info.h"
#include "clock.h"
#include "registrar/digest.h"
#include "registrar/digest_params.h"
#include "registrar/nonce.h"
#include "sip/sip_messages.h"

#include <string>
#include <string_view>
#include <vector>

enum class AuthResult { Accepted, Challenge, Refused, Malformed };

struct AuthOutcome {
    AuthResult result = AuthResult::Challenge;
    std::vector<std::string> challenges; // with Challenge
    std::string reason;                  // with Refused (for the log) and Malformed (also for the client)
};

// What the answer depends on beside the request.
struct AuthSettings {
    std::string_view realm;
    unsigned sha256Mode = 0; // gVarSipDigestSha256
};

// Unknown users, wrong passwords and users without password are answered alike, after the same work. One thread.
class RegisterAuth {
public:
    explicit RegisterAuth(const Clock& clock) : _nonces(clock) {}

    [[nodiscard]] AuthOutcome check(const RegisterRequest& request, const AuthSettings& settings,
                                    const Snapshot<Cdb_usr_info>& users);

private:
    // What stands in the request for our realm. Credentials for others only tell in `params` of their nonce.
    AuthResult findCredentials(const RegisterRequest& request, const AuthSettings& settings, DigestParams& params);
    AuthOutcome challenge(const RegisterRequest& request, const AuthSettings& settings, bool isStale);
    AuthOutcome verify(const RegisterRequest& request, const AuthSettings& settings, const DigestParams& params,
                       const Cdb_usr_info* user);

    NonceMaker _nonces;
    DigestHasher _hasher;
    const char* _malformed = "";
};
