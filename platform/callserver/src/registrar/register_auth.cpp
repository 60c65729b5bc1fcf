#include "registrar/register_auth.h"

#include "bcl2/text.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <utility>

namespace {

constexpr std::string_view kMethod = "REGISTER";
constexpr size_t kMaxUser = 64; // bytes of a name in the log; twice what a user's can have

// The algorithms offered, in the order of the server's preference.
std::vector<DigestAlgorithm> offered(unsigned sha256Mode)
{
    switch (sha256Mode) {
    case 1:
        return {DigestAlgorithm::Sha256, DigestAlgorithm::Md5};
    case 2:
        return {DigestAlgorithm::Sha256};
    default:
        return {DigestAlgorithm::Md5};
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

std::string toLower(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
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

bool isNonceCount(std::string_view text)
{
    return text.size() == 8 && text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

// Null when the parameters are complete.
const char* missingParam(const DigestParams& params)
{
    if (!params.username || !params.nonce || !params.uri || !params.response)
        return "incomplete credentials";
    if (!params.qop || toLower(*params.qop) != "auth")
        return "credentials without qop=auth";
    if (!params.nc || !isNonceCount(*params.nc) || !params.cnonce || params.cnonce->empty())
        return "credentials without nc or cnonce";
    return nullptr;
}

} // namespace

AuthResult RegisterAuth::findCredentials(const RegisterRequest& request, const AuthSettings& settings,
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
    if (comparableUri(*params.uri) != comparableUri(request.requestUri)) {
        _malformed = "credentials for another URI";
        return AuthResult::Malformed;
    }
    return chosenAlgorithm(params, settings.sha256Mode) ? AuthResult::Accepted : AuthResult::Challenge;
}

AuthOutcome RegisterAuth::check(const RegisterRequest& request, const AuthSettings& settings,
                                const Snapshot<Cdb_usr_info>& users)
{
    DigestParams params;
    switch (const AuthResult found = findCredentials(request, settings, params)) {
    case AuthResult::Accepted:
        return verify(request, settings, params, users.find(*params.username).get());
    case AuthResult::Challenge: {
        // One of our nonces in credentials for another realm: the realm was changed, the password may still be right.
        const bool isStale =
            params.nonce && _nonces.check(*params.nonce, request.source.address, settings.realm) == NonceState::Stale;
        return challenge(request, settings, isStale);
    }
    default:
        return {found, {}, _malformed};
    }
}

AuthOutcome RegisterAuth::challenge(const RegisterRequest& request, const AuthSettings& settings, bool isStale)
{
    AuthOutcome outcome;
    const std::string nonce = _nonces.make(request.source.address, settings.realm);
    for (const DigestAlgorithm algorithm : offered(settings.sha256Mode))
        outcome.challenges.push_back("Digest realm=" + quoted(settings.realm) + ", nonce=\"" + nonce +
                                     "\", algorithm=" + std::string(digestAlgorithmName(algorithm)) + ", qop=\"auth\"" +
                                     (isStale ? ", stale=true" : ""));
    return outcome;
}

AuthOutcome RegisterAuth::verify(const RegisterRequest& request, const AuthSettings& settings,
                                 const DigestParams& params, const Cdb_usr_info* user)
{
    switch (_nonces.check(*params.nonce, request.source.address, settings.realm)) {
    case NonceState::Valid:
        break;
    case NonceState::Stale:
        return challenge(request, settings, true);
    case NonceState::Foreign:
        return challenge(request, settings, false);
    }
    static constexpr std::string_view kNoPassword = "unknown"; // hashed for unknown users, never accepted
    const std::string_view password = user == nullptr ? kNoPassword : BclFieldText(user->password);
    const DigestAlgorithm algorithm = *chosenAlgorithm(params, settings.sha256Mode);
    const std::string expected = _hasher.response(algorithm, *params.username, settings.realm, password,
                                                  {kMethod, *params.uri, *params.nonce, *params.nc, *params.cnonce});
    const bool isRight = !expected.empty() && equalInConstantTime(expected, toLower(*params.response));
    // Before anything is told of the password, and with the name that it was tried for: the user of To is not the one
    // who is attacked.
    if (*params.username != request.user)
        return {
            AuthResult::Refused, {}, "its credentials are those of user " + BclPrintable(*params.username, kMaxUser)};
    if (user != nullptr && password.empty())
        return {AuthResult::Refused, {}, "the user has no password"};
    if (!isRight || user == nullptr)
        return {AuthResult::Refused, {}, "wrong user name or password"};
    return {AuthResult::Accepted, {}, ""};
}
