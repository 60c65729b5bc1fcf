#include "calls/call_admission.h"

#include "registrar/digest_params.h"
#include "sip/source_key.h"
#include "sip/uri_text.h"
#include "user_address.h"

#include "bcl2/text.h"

#include <algorithm>

namespace {

// Telephones that hide their number say in their credentials only who they are.
std::string userOf(const CallMessage& request)
{
    if (!request.hidesCaller())
        return request.from.user;
    for (const std::string& authorization : request.authorizations) {
        DigestParams params;
        if (parseDigestParams(authorization, params) == DigestParse::Ok && params.username)
            return std::string(*params.username);
    }
    return request.from.user;
}

} // namespace

void CallAdmission::followAddresses()
{
    const uint64_t version = _userBox.version();
    if (version == _addressesOf)
        return;
    _addressesOf = version;
    _byAddress.clear();
    _users.now().forEach([this](const std::string& name, const Cdb_usr_info& user) {
        if (!user.hasFlag(kUsrIpAuth))
            return;
        // A host name matches nobody: it is not looked up for each packet.
        const std::string address = canonicalAddress(std::string(BclTrimmed(BclFieldText(user.ipAddr))));
        if (address.empty())
            return;
        std::string& known = _byAddress[address][addressPort(user)];
        if (known.empty() || name < known)
            known = name;
    });
}

// Who has named the port goes before who is known by the address alone; of several the first by name.
const std::string* CallAdmission::userOfAddress(const SipSource& source)
{
    followAddresses();
    const auto it = _byAddress.find(source.address);
    if (it == _byAddress.end())
        return nullptr;
    for (const uint16_t port : {source.port, uint16_t{0}})
        if (const auto user = it->second.find(port); user != it->second.end())
            return &user->second;
    return nullptr;
}

bool CallAdmission::isRegisteredFrom(const std::string& user, const SipSource& source)
{
    const std::vector<Binding>* contacts = _registrar.contactsOf(user);
    return contacts != nullptr && std::any_of(contacts->begin(), contacts->end(), [&](const Binding& binding) {
               return binding.source.address == source.address && binding.source.port == source.port &&
                      binding.source.transport == source.transport;
           });
}

CallVerdict CallAdmission::admit(const CallMessage& request, CallSource& source)
{
    if (const std::string* user = userOfAddress(request.source); user != nullptr) {
        source = {SourceKind::User, *user};
        return {_sink(request.source, Credentials::Right)};
    }
    const uint8_t flags = _system.now().callFlags;
    const bool isUser = _users.now().find(request.from.user) != nullptr;
    if (isUser && (flags & kSysAuthCalls) == 0 && isRegisteredFrom(request.from.user, request.source)) {
        source = {SourceKind::User, request.from.user};
        return {true};
    }
    if (!isUser && (flags & kSysAcceptUnknown) != 0) {
        source = {SourceKind::Unknown, {}};
        return {true};
    }
    return authenticate(request, source);
}

CallVerdict CallAdmission::authenticate(const CallMessage& request, CallSource& source)
{
    CredentialedRequest credentials;
    credentials.source = request.source;
    credentials.method = request.methodName;
    credentials.requestUri = request.requestUri;
    credentials.user = userOf(request);
    credentials.callId = request.callId;
    credentials.cseq = request.cseq;
    credentials.authorizations = request.authorizations;
    const char* const what = request.method == SipMethod::Message ? "Message" : "Call";
    const AuthOutcome outcome = _registrar.authenticate(credentials);
    if (!_sink(request.source, outcome.credentials))
        return {};
    switch (outcome.result) {
    case AuthResult::Accepted:
        source = {SourceKind::User, credentials.user};
        return {true};
    case AuthResult::Challenge: {
        CallVerdict verdict{false, 407};
        for (const std::string& challenge : outcome.challenges)
            verdict.headers += headerLine("Proxy-Authenticate", challenge);
        return verdict;
    }
    case AuthResult::Malformed:
        _refusals.note(credentials.user, request.source.address, addressText(request.source), outcome.reason, what);
        return {false, 400, "Bad Credentials"};
    case AuthResult::Repeated:
    case AuthResult::Refused:
        break;
    }
    _refusals.note(credentials.user, request.source.address, addressText(request.source), outcome.reason, what);
    return {false, 403};
}
