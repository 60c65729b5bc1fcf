// Who may register and call: digest authentication (RFC 3261 section 22, RFC 7616, RFC 8760).
#pragma once

#include "cachedb2/snapshot.h"
#include "cachedb2/usr_info.h"
#include "clock.h"
#include "registrar/digest.h"
#include "registrar/digest_params.h"
#include "registrar/keyed_hash.h"
#include "registrar/nonce.h"
#include "registrar/recent_answers.h"
#include "registrar/used_nonces.h"
#include "sip/sip_messages.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

enum class AuthResult {
    Accepted,
    Repeated, // an accepted request came again: it is not carried out once more
    Challenge,
    Refused,
    Malformed,
};

struct AuthOutcome {
    AuthResult result = AuthResult::Challenge;
    Credentials credentials = Credentials::None;
    std::vector<std::string> challenges;         // with Challenge
    std::string reason;                          // with Refused (for the log) and Malformed (also for the client)
    Snapshot<Cdb_usr_info>::RecordPtr user;      // with Accepted
    const RegisterReply* formerAnswer = nullptr; // with Repeated; null: 200 with the contacts
};

// What the answer depends on beside the request.
struct AuthSettings {
    std::string_view realm;
    unsigned sha256Mode = 0; // gVarSipDigestSha256
};

// Unknown users, wrong passwords and users without password are answered alike, after the same work. One thread.
class RegisterAuth {
public:
    // Refused requests that are known again when they are repeated. Strangers choose them, so they are few; what is
    // pushed out counts as a failure once more.
    static constexpr size_t kMaxRefused = 512;

    explicit RegisterAuth(const Clock& clock) : _clock(clock), _nonces(clock) {}

    // What the outcome points to lives until the next call.
    [[nodiscard]] AuthOutcome check(const CredentialedRequest& request, const AuthSettings& settings,
                                    const Snapshot<Cdb_usr_info>& users);
    // Keeps the answer to the request that was accepted last, for its repetitions.
    void answered(const RegisterReply& reply);

    // The user was deleted: one of the same name begins anew.
    void forget(const std::string& user);
    // The same for all who are not among the users any more.
    void forgetOthers(const Snapshot<Cdb_usr_info>& users);

    [[nodiscard]] const DigestHasher& hasher() const { return _hasher; }

private:
    // Of users that exist, so their number bounds it.
    struct UsedCredentials {
        UsedNonces nonces;
        RecentAnswers answers;
    };

    // What stands in the request for our realm. Credentials for others only tell in `params` of their nonce.
    AuthResult findCredentials(const CredentialedRequest& request, const AuthSettings& settings, DigestParams& params);
    AuthOutcome challenge(const CredentialedRequest& request, const AuthSettings& settings, bool isStale);
    AuthOutcome verify(const CredentialedRequest& request, const AuthSettings& settings, const DigestParams& params,
                       const Snapshot<Cdb_usr_info>& users);
    AuthOutcome accept(const CredentialedRequest& request, const AuthSettings& settings, const DigestParams& params,
                       uint64_t fingerprint);
    AuthOutcome refuse(uint64_t fingerprint, std::string reason);
    uint64_t fingerprintOf(const CredentialedRequest& request, const DigestParams& params);

    const Clock& _clock;
    NonceMaker _nonces;
    DigestHasher _hasher;
    KeyedHash _fingerprints;
    std::unordered_map<std::string, UsedCredentials> _used;
    std::vector<uint64_t> _refused; // fingerprints; a ring once it is full
    size_t _nextRefused = 0;
    RecentAnswers* _accepted = nullptr; // of the user who was accepted last
    uint64_t _acceptedRequest = 0;
    const char* _malformed = "";
};
