#include "registrar/registrar.h"

#include "registrar/user_agent.h"

#include "bcl2/date.h"
#include "bcl2/text.h"
#include "bcl2/uaddr.h"
#include "cachedb2/switch_variants.h"

#include <algorithm>
#include <utility>

namespace {

static_assert(kMaxContactUri == sizeof(Cdb_sip_contact::contact) - 1);
constexpr size_t kMaxCallId = sizeof(Cdb_sip_contact::callId) - 1;
constexpr int64_t kMsPerSecond = 1000;
constexpr uint32_t kMaxPort = 65535;

// For the administrator; the client gets the phrase.
constexpr const char* kOutOfOrder = "it is older than what was registered";

std::string addressText(const std::string& address, uint16_t port)
{
    Cbcl_uaddr text;
    text.setAddress(address.c_str(), port);
    return text.getURLStr();
}

std::string registeredLine(const std::string& user, const Binding& binding, uint32_t expires)
{
    return "User " + user + " registered from " + addressText(binding.source.address, binding.source.port) +
           (binding.userAgent.empty() ? "" : " (" + binding.userAgent + ")") + ", " + std::to_string(expires) + " s.";
}

std::string unregisteredLine(const std::string& user, const SipSource& source)
{
    return "User " + user + " unregistered from " + addressText(source.address, source.port) + ".";
}

RegisterReply reply(int status, const char* phrase, std::string refusal = {})
{
    RegisterReply result;
    result.status = status;
    result.phrase = phrase;
    result.refusal = std::move(refusal);
    return result;
}

uint32_t askedExpires(const RegisterRequest& request, const RegisterContact& contact)
{
    return contact.expires.value_or(request.expires.value_or(Registrar::kDefaultExpires));
}

// A late packet of an earlier registration (RFC 3261 section 10.3, step 7).
bool isOutdated(const Binding& binding, const RegisterRequest& request)
{
    return binding.callId == request.callId && request.cseq < binding.cseq;
}

// Null when the request can be carried out as far as its form goes.
const char* formError(const RegisterRequest& request)
{
    if (request.callId.size() > kMaxCallId)
        return "Call-ID Too Long";
    if (request.contacts.size() > kMaxContacts)
        return "Too Many Contacts";
    if (request.isStar && (request.expires != 0U || request.contacts.size() > 1))
        return "Contact * Needs Expires 0";
    for (const RegisterContact& contact : request.contacts)
        if (contact.uri.text.size() > kMaxContactUri)
            return "Contact Too Long";
    return nullptr;
}

} // namespace

Registrar::Registrar(const SnapshotBox<Snapshot<Cdb_usr_info>>& users, const SnapshotBox<Cdb_sys_data>& system,
                     const Clock& clock, Sink sink)
    : _users(users), _system(system), _clock(clock), _sink(std::move(sink)), _auth(clock)
{}

RegisterReply Registrar::handle(const RegisterRequest& request)
{
    const AuthSettings settings{BclFieldText(_system.now().realm), gVarSipDigestSha256};
    AuthOutcome outcome = _auth.check(request, settings, _users.now());
    switch (outcome.result) {
    case AuthResult::Accepted:
        return handleAuthenticated(request);
    case AuthResult::Challenge: {
        RegisterReply answer = reply(401, "Unauthorized");
        answer.challenges = std::move(outcome.challenges);
        return answer;
    }
    case AuthResult::Malformed:
        return reply(400, "Bad Credentials", outcome.reason);
    case AuthResult::Refused:
        break;
    }
    return reply(403, "Forbidden", outcome.reason);
}

RegisterReply Registrar::handleAuthenticated(const RegisterRequest& request)
{
    const auto user = _users.now().find(request.user);
    if (user == nullptr) // deleted a moment ago
        return reply(403, "Forbidden", "the user has been deleted");
    if (user->expiryDate != 0 && BclGetDateInt(_clock.wallSeconds()) > user->expiryDate)
        return reply(403, "Account Expired", "the account has expired");
    if (const char* error = formError(request); error != nullptr)
        return reply(400, error, std::string("bad request (") + error + ")");
    if (request.isStar)
        return removeAll(request);
    if (request.contacts.empty())
        return listContacts(request.user);
    return setContacts(request);
}

RegisterReply Registrar::listContacts(const std::string& user) const
{
    RegisterReply answer = reply(200, "OK");
    const auto it = _table.users().find(user);
    if (it == _table.users().end())
        return answer;
    const int64_t now = _clock.steadyMs();
    for (const Binding& binding : it->second.contacts)
        if (const int64_t left = binding.expiresAtMs - now; left > 0)
            answer.contacts.push_back(
                {binding.uri.text, static_cast<uint32_t>((left + kMsPerSecond - 1) / kMsPerSecond), binding.priority});
    return answer;
}

RegisterReply Registrar::removeAll(const RegisterRequest& request)
{
    UserBindings* bindings = _table.find(request.user);
    if (bindings == nullptr || bindings->contacts.empty())
        return listContacts(request.user);
    for (const Binding& binding : bindings->contacts)
        if (isOutdated(binding, request))
            return reply(500, "Request Out Of Order", kOutOfOrder);
    UserChange change;
    bindings->contacts.clear();
    change.lines.push_back(unregisteredLine(request.user, request.source));
    commit(request.user, std::move(change));
    return listContacts(request.user);
}

RegisterReply Registrar::setContacts(const RegisterRequest& request)
{
    // Everything is looked at before anything is changed: a request is carried out whole or not at all.
    UserBindings* known = _table.find(request.user);
    std::vector<const RegisterContact*> wanted;
    for (const RegisterContact& contact : request.contacts) {
        if (!contact.uri.isSip())
            return reply(416, "Unsupported URI Scheme", "its contact is no SIP URI");
        const Binding* binding = known == nullptr ? nullptr : known->find(contact.uri);
        if (binding != nullptr && isOutdated(*binding, request))
            return reply(500, "Request Out Of Order", kOutOfOrder);
        const uint32_t expires = askedExpires(request, contact);
        if (expires != 0 && expires < kMinExpires) {
            RegisterReply answer =
                reply(423, "Interval Too Brief", "it asks for less than " + std::to_string(kMinExpires) + " s");
            answer.minExpires = kMinExpires;
            return answer;
        }
        const bool isRepeated =
            binding != nullptr && binding->callId == request.callId && binding->cseq == request.cseq;
        if (!isRepeated && (binding != nullptr || expires != 0))
            wanted.push_back(&contact);
    }
    if (!wanted.empty()) {
        UserChange change;
        UserBindings& bindings = _table.get(request.user);
        const std::string agent = cleanUserAgent(request.userAgent);
        for (const RegisterContact* contact : wanted)
            setContact(bindings, request, *contact, agent, change);
        commit(request.user, std::move(change));
    }
    return listContacts(request.user);
}

void Registrar::setContact(UserBindings& bindings, const RegisterRequest& request, const RegisterContact& contact,
                           const std::string& agent, UserChange& change)
{
    const uint32_t expires = std::min(askedExpires(request, contact), kMaxExpires);
    Binding* binding = bindings.find(contact.uri);
    if (expires == 0) {
        if (binding == nullptr)
            return;
        bindings.contacts.erase(bindings.contacts.begin() + (binding - bindings.contacts.data()));
        change.lines.push_back(unregisteredLine(request.user, request.source));
        return;
    }
    const bool isNews = binding == nullptr || binding->userAgent != agent ||
                        binding->source.address != request.source.address ||
                        binding->source.port != request.source.port;
    if (binding == nullptr) {
        if (bindings.contacts.size() >= kMaxContacts)
            bindings.contacts.erase(
                std::min_element(bindings.contacts.begin(), bindings.contacts.end(),
                                 [](const Binding& a, const Binding& b) { return a.refreshedAtMs < b.refreshedAtMs; }));
        binding = &bindings.contacts.emplace_back();
    }
    const int64_t now = _clock.steadyMs();
    binding->uri = contact.uri;
    binding->callId = request.callId;
    binding->cseq = request.cseq;
    binding->userAgent = agent;
    binding->source = request.source;
    binding->priority = contact.priority;
    binding->refreshedAtMs = now;
    binding->expiresAtMs = now + expires * kMsPerSecond;
    if (isNews) {
        binding->order = ++_order;
        change.lines.push_back(registeredLine(request.user, *binding, expires));
    }
}

void Registrar::expire()
{
    const int64_t now = _clock.steadyMs();
    while (const std::string* next = _table.nextExpired(now)) {
        const std::string user = *next;
        UserChange change;
        std::erase_if(_table.get(user).contacts, [&](const Binding& binding) {
            if (binding.expiresAtMs > now)
                return false;
            change.lines.push_back("The registration of user " + user + " from " +
                                   addressText(binding.source.address, binding.source.port) + " has expired.");
            return true;
        });
        commit(user, std::move(change));
    }
}

void Registrar::userChanged(const std::string& user, bool isRemoval)
{
    if (user.empty()) {
        checkAllUsers();
        return;
    }
    const auto record = _users.now().find(user);
    UserBindings* bindings = _table.find(user);
    if (bindings == nullptr && (record == nullptr || !record->hasFlag(kUsrIpAuth)))
        return;
    UserBindings& known = _table.get(user);
    UserChange change;
    const bool isGone = isRemoval || record == nullptr;
    if (isGone && !known.contacts.empty()) {
        known.contacts.clear();
        change.lines.push_back("User " + user + " was deleted and is no longer registered.");
    }
    // The store has dropped the row of a user who was removed, so that it is written anew where one is due.
    if (isGone || shownNow(user, known) != known.shown)
        commit(user, std::move(change));
}

void Registrar::checkAllUsers()
{
    std::vector<std::string> names;
    for (const auto& [name, bindings] : _table.users())
        names.push_back(name);
    _users.now().forEach([&](const std::string& name, const Cdb_usr_info& record) {
        if (record.hasFlag(kUsrIpAuth) && _table.find(name) == nullptr)
            names.push_back(name);
    });
    for (const std::string& name : names)
        userChanged(name);
}

void Registrar::load(const std::vector<Cdb_user_bindings>& stored)
{
    const int64_t now = _clock.steadyMs();
    const Cbcl_timestamp wall = _clock.wallSeconds();
    size_t expired = 0;
    for (const Cdb_user_bindings& user : stored) {
        UserBindings& bindings = _table.get(user.userName);
        if (user.hasRow)
            bindings.shown = {true, user.row.usrStage, user.row.prePort, std::string(BclFieldText(user.row.preAddr)),
                              std::string(BclFieldText(user.row.userAgent))};
        std::vector<const Cdb_sip_contact*> contacts;
        for (const Cdb_sip_contact& contact : user.contacts)
            contacts.push_back(&contact);
        // The contact that the row shows stays the newest one.
        const auto isShown = [&](const Cdb_sip_contact* contact) {
            return bindings.shown.port == contact->srcPort && bindings.shown.address == BclFieldText(contact->srcAddr);
        };
        std::sort(contacts.begin(), contacts.end(), [&](const Cdb_sip_contact* a, const Cdb_sip_contact* b) {
            return std::pair(isShown(a), a->registeredAt) < std::pair(isShown(b), b->registeredAt);
        });
        for (const Cdb_sip_contact* contact : contacts) {
            Binding binding;
            binding.uri = makeContactUri(BclFieldText(contact->contact));
            if (contact->expiresAt <= wall || !binding.uri.isSip()) {
                ++expired;
                continue;
            }
            binding.callId = BclFieldText(contact->callId);
            binding.userAgent = BclFieldText(contact->userAgent);
            binding.source = {std::string(BclFieldText(contact->srcAddr)), contact->srcPort, contact->transport};
            binding.cseq = contact->cseq;
            binding.priority = contact->priority;
            // A clock that was set back must not make a registration live for years.
            binding.expiresAtMs = now + std::min<int64_t>(contact->expiresAt - wall, kMaxExpires) * kMsPerSecond;
            binding.refreshedAtMs = now - std::max<int64_t>(wall - contact->registeredAt, 0) * kMsPerSecond;
            binding.order = ++_order;
            bindings.contacts.push_back(std::move(binding));
        }
        if (bindings.contacts.size() < user.contacts.size())
            commit(user.userName, {});
        else
            _table.update(user.userName);
    }
    if (expired > 0) {
        UserChange told;
        told.lines.push_back(std::to_string(expired) + " registrations expired while the server was not running.");
        _sink(std::move(told));
    }
    checkAllUsers();
}

void Registrar::commit(const std::string& user, UserChange&& change)
{
    UserBindings& bindings = _table.get(user);
    ShownUser shown = shownNow(user, bindings);
    change.isStateNew = shown.stage != bindings.shown.stage;
    change.isAgentNew = shown.userAgent != bindings.shown.userAgent;
    change.isAddressNew = shown.address != bindings.shown.address || shown.port != bindings.shown.port;
    bindings.shown = std::move(shown);
    change.stored = storable(user, bindings);
    _table.update(user);
    _sink(std::move(change));
}

ShownUser Registrar::shownNow(const std::string& user, const UserBindings& bindings)
{
    const auto record = _users.now().find(user);
    if (record != nullptr && record->hasFlag(kUsrIpAuth)) {
        const uint32_t port = record->ipPort <= kMaxPort ? record->ipPort : 0;
        return {true, kUsrIdle, static_cast<uint16_t>(port), std::string(BclFieldText(record->ipAddr)), {}};
    }
    if (const Binding* newest = bindings.newest(); newest != nullptr)
        return {true, kUsrIdle, newest->source.port, newest->source.address, newest->userAgent};
    return {};
}

Cdb_user_bindings Registrar::storable(const std::string& user, const UserBindings& bindings) const
{
    Cdb_user_bindings result;
    result.userName = user;
    result.hasRow = bindings.shown.hasRow;
    if (result.hasRow) {
        BclCopyStr(result.row.userName, user.c_str());
        BclCopyStr(result.row.preAddr, bindings.shown.address.c_str());
        BclCopyStr(result.row.userAgent, bindings.shown.userAgent.c_str());
        result.row.prePort = bindings.shown.port;
        result.row.usrStage = bindings.shown.stage;
    }
    const int64_t now = _clock.steadyMs();
    const Cbcl_timestamp wall = _clock.wallSeconds();
    for (const Binding& binding : bindings.contacts) {
        Cdb_sip_contact& contact = result.contacts.emplace_back();
        BclCopyStr(contact.userName, user.c_str());
        BclCopyStr(contact.contact, binding.uri.text.c_str());
        BclCopyStr(contact.callId, binding.callId.c_str());
        BclCopyStr(contact.srcAddr, binding.source.address.c_str());
        BclCopyStr(contact.userAgent, binding.userAgent.c_str());
        contact.registeredAt = wall - (now - binding.refreshedAtMs) / kMsPerSecond;
        contact.expiresAt = wall + (binding.expiresAtMs - now) / kMsPerSecond;
        contact.cseq = binding.cseq;
        contact.srcPort = binding.source.port;
        contact.transport = binding.source.transport;
        contact.priority = binding.priority;
    }
    return result;
}
