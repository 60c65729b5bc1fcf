#include "registrar/register_auth.h"

#include "bcl2/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

namespace {

constexpr size_t kUsualChallenge = 192; // bytes
constexpr size_t kMaxUser = 64;         // bytes of a name in the log; twice what a user's can have

// The algorithms offered, in the order of the server's preference.
std::span<const DigestAlgorithm> offered(unsigned sha256Mode)
{
    static constexpr std::array kBoth = {DigestAlgorithm::Sha256, DigestAlgorithm::Md5};
    const std::span<const DigestAlgorithm> both(kBoth);
    switch (sha256Mode) {
    case 1:
        return both;
    case 2:
        return both.first(1);
    default:
        return both.last(1);
    }
}

std::optional<DigestAlgorithm> chosenAlgorithm(const DigestParams& params, unsigned sha256Mode)
{
    const auto algorithm = digestAlgorithmOf(params.algorithm.value_or("MD5"));
    const auto list = offered(sha256Mode);
    if (!algorithm || std::find(list.begin(), list.end(), *algorithm) == list.end())
        return std::nullopt;
    return algorithm;
}

std::string quoted(std::string_view text)
{
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + '"';
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string toLower(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

// User, host and port decide; clients differ in how they copy parameters.
std::string comparableUri(std::string_view uri)
{
    uri = uri.substr(0, uri.find_first_of(";?"));
    const size_t scheme = std::min(uri.find(':'), uri.size());
    const size_t at = uri.rfind('@');
    const size_t host = at == std::string_view::npos || at < scheme ? scheme : at;
    return toLower(uri.substr(0, scheme)) + std::string(uri.substr(scheme, host - scheme)) + toLower(uri.substr(host));
}

bool isSameUri(std::string_view a, std::string_view b)
{
    return a == b || comparableUri(a) == comparableUri(b);
}

bool isSameResponse(const HexDigest& expected, std::string_view given)
{
    std::array<char, 2 * HexDigest::kMaxBytes> digits{};
    if (expected.isEmpty() || given.size() > digits.size())
        return false;
    std::transform(given.begin(), given.end(), digits.begin(), lower);
    return equalInConstantTime(expected.view(), {digits.data(), given.size()});
}

std::optional<uint32_t> nonceCount(std::string_view text)
{
    uint32_t count = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), count, 16);
    if (text.size() != 8 || error != std::errc() || stop != text.data() + text.size())
        return std::nullopt;
    return count;
}

// Null when the parameters are complete.
const char* missingParam(const DigestParams& params)
{
    if (!params.username || !params.nonce || !params.uri || !params.response)
        return "incomplete credentials";
    if (!params.qop || toLower(*params.qop) != "auth")
        return "credentials without qop=auth";
    if (!params.nc || !nonceCount(*params.nc) || !params.cnonce || params.cnonce->empty())
        return "credentials without nc or cnonce";
    return nullptr;
}

} // namespace

AuthResult RegisterAuth::findCredentials(const CredentialedRequest& request, const AuthSettings& settings,
                                         DigestParams& params)
{
    // A client may hold credentials for other realms: they say nothing here, however they look.
    bool isFound = false;
    for (const std::string& header : request.authorizations) {
        DigestParams candidate;
        const DigestParse parsed = parseDigestParams(header, candidate);
        const bool isOurs = candidate.realm == settings.realm;
        if (isOurs && parsed != DigestParse::Ok) {
            _malformed = "credentials that cannot be read";
            return AuthResult::Malformed;
        }
        if (isOurs || !isFound)
            params = std::move(candidate);
        isFound = isFound || isOurs;
    }
    if (!isFound)
        return AuthResult::Challenge;
    if (const char* missing = missingParam(params); missing != nullptr) {
        _malformed = missing;
        return AuthResult::Malformed;
    }
    if (!isSameUri(*params.uri, request.requestUri)) {
        _malformed = "credentials for another URI";
        return AuthResult::Malformed;
    }
    return chosenAlgorithm(params, settings.sha256Mode) ? AuthResult::Accepted : AuthResult::Challenge;
}

AuthOutcome RegisterAuth::check(const CredentialedRequest& request, const AuthSettings& settings,
                                const Snapshot<Cdb_usr_info>& users)
{
    DigestParams params;
    switch (const AuthResult found = findCredentials(request, settings, params)) {
    case AuthResult::Accepted:
        return verify(request, settings, params, users);
    case AuthResult::Challenge: {
        // One of our nonces in credentials for another realm: the realm was changed, the password may still be right.
        const bool isStale =
            params.nonce && _nonces.check(*params.nonce, request.source.address, settings.realm) == NonceState::Stale;
        return challenge(request, settings, isStale);
    }
    default: {
        AuthOutcome outcome;
        outcome.result = found;
        outcome.credentials = Credentials::Unproven;
        outcome.reason = _malformed;
        return outcome;
    }
    }
}

AuthOutcome RegisterAuth::challenge(const CredentialedRequest& request, const AuthSettings& settings, bool isStale)
{
    AuthOutcome outcome;
    outcome.credentials = request.authorizations.empty() ? Credentials::None : Credentials::Unproven;
    const std::string realm = quoted(settings.realm);
    const std::string nonce = _nonces.make(request.source.address, settings.realm);
    for (const DigestAlgorithm algorithm : offered(settings.sha256Mode)) {
        std::string& text = outcome.challenges.emplace_back();
        text.reserve(kUsualChallenge);
        text.append("Digest realm=").append(realm).append(", nonce=\"").append(nonce).append("\", algorithm=");
        text.append(digestAlgorithmName(algorithm)).append(isStale ? ", qop=\"auth\", stale=true" : ", qop=\"auth\"");
    }
    return outcome;
}

AuthOutcome RegisterAuth::verify(const CredentialedRequest& request, const AuthSettings& settings,
                                 const DigestParams& params, const Snapshot<Cdb_usr_info>& users)
{
    switch (_nonces.check(*params.nonce, request.source.address, settings.realm)) {
    case NonceState::Valid:
        break;
    case NonceState::Stale:
        return challenge(request, settings, true);
    case NonceState::Foreign:
        return challenge(request, settings, false);
    }
    // Hashed for unknown users, never accepted; as long as the passwords that the server makes.
    static constexpr std::string_view kNoPassword = "unknown user";
    Snapshot<Cdb_usr_info>::RecordPtr user = users.find(*params.username);
    const std::string_view password = user == nullptr ? kNoPassword : BclFieldText(user->password);
    const DigestAlgorithm algorithm = *chosenAlgorithm(params, settings.sha256Mode);
    const HexDigest expected =
        _hasher.response(algorithm, *params.username, settings.realm, password,
                         {request.method, *params.uri, *params.nonce, *params.nc, *params.cnonce});
    const bool isRight = isSameResponse(expected, *params.response);
    const uint64_t fingerprint = fingerprintOf(request, params);
    // Before anything is told of the password, and with the name that it was tried for: the user of To is not the one
    // who is attacked. A right password counts as a failure here too: it must not be the one that is not counted.
    if (*params.username != request.user)
        return refuse(fingerprint, "its credentials are those of user " + BclPrintable(*params.username, kMaxUser));
    if (user != nullptr && password.empty())
        return refuse(fingerprint, "the user has no password");
    if (!isRight || user == nullptr)
        return refuse(fingerprint, "wrong user name or password");
    AuthOutcome outcome = accept(request, settings, params, fingerprint);
    outcome.user = std::move(user);
    return outcome;
}

AuthOutcome RegisterAuth::accept(const CredentialedRequest& request, const AuthSettings& settings,
                                 const DigestParams& params, uint64_t fingerprint)
{
    UsedCredentials& used = _used[request.user];
    AuthOutcome outcome;
    outcome.credentials = Credentials::Right;
    if (const RecentAnswers::Answer* answer = used.answers.find(fingerprint, _clock.steadyMs()); answer != nullptr) {
        outcome.result = AuthResult::Repeated;
        // Who heard the request can send it again, too.
        outcome.credentials = Credentials::Unproven;
        outcome.formerAnswer = answer->other.get();
        return outcome;
    }
    if (!used.nonces.use(NonceMaker::numberOf(*params.nonce), *nonceCount(*params.nc), _nonces.oldestValid()))
        return challenge(request, settings, true);
    _accepted = &used.answers;
    _acceptedRequest = fingerprint;
    outcome.result = AuthResult::Accepted;
    return outcome;
}

void RegisterAuth::answered(const RegisterReply& reply)
{
    if (_accepted != nullptr)
        _accepted->add(_acceptedRequest, _clock.steadyMs(), reply);
    _accepted = nullptr;
}

AuthOutcome RegisterAuth::refuse(uint64_t fingerprint, std::string reason)
{
    AuthOutcome outcome;
    outcome.result = AuthResult::Refused;
    outcome.reason = std::move(reason);
    if (std::find(_refused.begin(), _refused.end(), fingerprint) != _refused.end()) {
        outcome.credentials = Credentials::Unproven;
        return outcome;
    }
    outcome.credentials = Credentials::Wrong;
    if (_refused.size() < kMaxRefused) {
        _refused.push_back(fingerprint);
    } else {
        _refused[_nextRefused] = fingerprint;
        _nextRefused = (_nextRefused + 1) % kMaxRefused;
    }
    return outcome;
}

uint64_t RegisterAuth::fingerprintOf(const CredentialedRequest& request, const DigestParams& params)
{
    std::array<char, 10> cseq{};
    const char* end = std::to_chars(cseq.data(), cseq.data() + cseq.size(), request.cseq).ptr;
    const auto hash = _fingerprints.hash({request.callId,
                                          {cseq.data(), static_cast<size_t>(end - cseq.data())},
                                          *params.nonce,
                                          *params.nc,
                                          *params.response});
    uint64_t fingerprint = 0;
    // Without a hash there was no nonce either, and nobody comes here.
    if (hash)
        std::memcpy(&fingerprint, hash->data(), sizeof fingerprint);
    return fingerprint;
}

void RegisterAuth::forget(const std::string& user)
{
    _accepted = nullptr;
    _used.erase(user);
}

void RegisterAuth::forgetOthers(const Snapshot<Cdb_usr_info>& users)
{
    _accepted = nullptr;
    std::erase_if(_used, [&](const auto& entry) { return users.find(entry.first) == nullptr; });
}
