#include "registrar/registrar.h"

#include "registrar/user_agent.h"
#include "user_address.h"
#include "user_expiry.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"
#include "cachedb2/switch_variants.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

static_assert(kMaxContactUri == sizeof(Cdb_sip_contact::contact) - 1);
constexpr size_t kMaxCallId = sizeof(Cdb_sip_contact::callId) - 1;
constexpr int64_t kMsPerSecond = 1000;
// A refresh that changes nothing is written when this share of the stored lifetime has gone. So what is stored may be
// that much older than what the telephone was granted, and a restart lets it live as much longer.
constexpr int64_t kUnwrittenShare = 3;

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

// Seconds from one moment to a later one, at most `bound`: stored moments may be anything.
int64_t secondsBetween(Cbcl_timestamp from, Cbcl_timestamp to, int64_t bound)
{
    if (to <= from)
        return 0;
    const uint64_t seconds = static_cast<uint64_t>(to) - static_cast<uint64_t>(from);
    return seconds < static_cast<uint64_t>(bound) ? static_cast<int64_t>(seconds) : bound;
}

// Whether what is stored of a contact does for one that was just refreshed. A lifetime that is longer would end too
// early after a restart, one of less than half far too late.
bool isStoredWellEnough(const Binding& binding)
{
    return binding.refreshedAtMs - binding.storedRefreshMs < binding.storedLifetimeMs / kUnwrittenShare &&
           binding.lifetimeMs <= binding.storedLifetimeMs && binding.lifetimeMs >= binding.storedLifetimeMs / 2;
}

// Of a user who is shown.
uint8_t shownStage(const UserBindings& bindings)
{
    return bindings.callStage == kUsrOffline ? uint8_t{kUsrIdle} : bindings.callStage;
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

AuthOutcome Registrar::authenticate(const CredentialedRequest& request)
{
    const AuthSettings settings{BclFieldText(_system.now().realm), gVarSipDigestSha256};
    return _auth.check(request, settings, _users.now());
}

const std::vector<Binding>* Registrar::contactsOf(const std::string& user)
{
    const UserBindings* bindings = _table.find(user);
    return bindings == nullptr || bindings->contacts.empty() ? nullptr : &bindings->contacts;
}

void Registrar::setCallStage(const std::string& user, Eusr_stage stage)
{
    UserBindings* bindings = _table.find(user);
    if (bindings == nullptr && stage == kUsrOffline)
        return;
    UserBindings& known = bindings == nullptr ? _table.get(user) : *bindings;
    known.callStage = stage;
    // A row that is there for other reasons, or is still to be: nothing else of it changes with the calls.
    if (known.shown.hasRow && (stage != kUsrOffline || !known.contacts.empty())) {
        showStage(user, known);
        return;
    }
    if (ShownUser shown = shownNow(user, known); shown != known.shown)
        commit(user, {}, std::move(shown), Extent::RowOnly);
    else
        _table.update(user);
}

void Registrar::showStage(const std::string& user, UserBindings& bindings)
{
    const uint8_t stage = shownStage(bindings);
    if (std::exchange(bindings.shown.stage, stage) == stage)
        return;
    UserChange change;
    change.isStateNew = true;
    change.stored.userName = user;
    change.stored.hasRow = change.stored.isRowOnly = change.stored.isStageOnly = true;
    change.stored.row.usrStage = stage;
    _sink(std::move(change));
}

RegisterReply Registrar::handle(const RegisterRequest& request)
{
    AuthOutcome outcome = authenticate(request);
    RegisterReply answer = answerTo(request, outcome);
    answer.credentials = outcome.credentials;
    return answer;
}

RegisterReply Registrar::answerTo(const RegisterRequest& request, AuthOutcome& outcome)
{
    switch (outcome.result) {
    case AuthResult::Accepted: {
        RegisterReply answer = handleAuthenticated(request, *outcome.user);
        _auth.answered(answer);
        return answer;
    }
    case AuthResult::Repeated:
        return outcome.formerAnswer == nullptr ? listContacts(request.user) : *outcome.formerAnswer;
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

RegisterReply Registrar::handleAuthenticated(const RegisterRequest& request, const Cdb_usr_info& user)
{
    if (hasExpired(user, _clock.wallSeconds()))
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

// Most telephones repeat their contact to the letter: the parts of the URI are looked at only where they do not.
Binding* Registrar::findContact(UserBindings* bindings, WantedContact& wanted)
{
    const ContactUri& asked = wanted.contact.uri;
    if (Binding* binding = bindings == nullptr ? nullptr : bindings->findText(asked.text); binding != nullptr)
        return binding;
    if (!wanted.uri.isSip())
        wanted.uri = asked.isSip() ? asked : makeContactUri(asked.text);
    return bindings == nullptr || !wanted.uri.isSip() ? nullptr : bindings->find(wanted.uri);
}

RegisterReply Registrar::setContacts(const RegisterRequest& request)
{
    // Everything is looked at before anything is changed: a request is carried out whole or not at all.
    UserBindings* known = _table.find(request.user);
    std::vector<WantedContact> wanted;
    wanted.reserve(request.contacts.size());
    for (const RegisterContact& contact : request.contacts) {
        WantedContact next{contact, askedExpires(request, contact), {}};
        const Binding* binding = findContact(known, next);
        if (binding == nullptr && !next.uri.isSip())
            return reply(416, "Unsupported URI Scheme", "its contact is no SIP URI");
        if (binding != nullptr && isOutdated(*binding, request))
            return reply(500, "Request Out Of Order", kOutOfOrder);
        if (next.expires != 0 && next.expires < kMinExpires) {
            RegisterReply answer =
                reply(423, "Interval Too Brief", "it asks for less than " + std::to_string(kMinExpires) + " s");
            answer.minExpires = kMinExpires;
            return answer;
        }
        const bool isRepeated =
            binding != nullptr && binding->callId == request.callId && binding->cseq == request.cseq;
        if (!isRepeated && (binding != nullptr || next.expires != 0))
            wanted.push_back(std::move(next));
    }
    if (!wanted.empty())
        setContacts(known == nullptr ? _table.get(request.user) : *known, request, wanted);
    return listContacts(request.user);
}

void Registrar::setContacts(UserBindings& bindings, const RegisterRequest& request, std::vector<WantedContact>& wanted)
{
    UserChange change;
    const std::string agent = cleanUserAgent(request.userAgent);
    bool isChanged = false;
    for (WantedContact& contact : wanted)
        isChanged = setContact(bindings, request, contact, agent, change) || isChanged;
    if (isChanged)
        commit(request.user, std::move(change));
    else
        _table.update(request.user);
}

bool Registrar::setContact(UserBindings& bindings, const RegisterRequest& request, WantedContact& wanted,
                           const std::string& agent, UserChange& change)
{
    Binding* binding = findContact(&bindings, wanted);
    if (wanted.expires == 0) {
        if (binding == nullptr)
            return false;
        bindings.contacts.erase(bindings.contacts.begin() + (binding - bindings.contacts.data()));
        change.lines.push_back(unregisteredLine(request.user, request.source));
        return true;
    }
    const uint32_t expires = std::min(wanted.expires, kMaxExpires);
    const bool isNews = binding == nullptr || binding->userAgent != agent ||
                        binding->source.address != request.source.address ||
                        binding->source.port != request.source.port;
    const bool isOtherText = binding == nullptr || binding->uri.text != wanted.contact.uri.text;
    const bool isChanged = isNews || isOtherText || binding->source.transport != request.source.transport ||
                           binding->priority != wanted.contact.priority;
    if (binding == nullptr) {
        if (bindings.contacts.size() >= kMaxContacts)
            bindings.contacts.erase(
                std::min_element(bindings.contacts.begin(), bindings.contacts.end(),
                                 [](const Binding& a, const Binding& b) { return a.refreshedAtMs < b.refreshedAtMs; }));
        binding = &bindings.contacts.emplace_back();
    }
    if (isOtherText)
        binding->uri = std::move(wanted.uri);
    binding->callId = request.callId;
    binding->cseq = request.cseq;
    binding->userAgent = agent;
    binding->source = request.source;
    binding->priority = wanted.contact.priority;
    binding->refreshedAtMs = _clock.steadyMs();
    binding->lifetimeMs = expires * kMsPerSecond;
    binding->expiresAtMs = binding->refreshedAtMs + binding->lifetimeMs;
    if (isNews) {
        binding->order = ++_order;
        change.lines.push_back(registeredLine(request.user, *binding, expires));
    }
    return isChanged || !isStoredWellEnough(*binding);
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

size_t Registrar::registeredUsers() const
{
    const auto& users = _table.users();
    return static_cast<size_t>(
        std::count_if(users.begin(), users.end(), [](const auto& user) { return !user.second.contacts.empty(); }));
}

void Registrar::userChanged(const std::string& user, bool isRemoval)
{
    if (user.empty()) {
        checkAllUsers();
        return;
    }
    const auto record = _users.now().find(user);
    tellPort(user, record.get());
    const bool isGone = isRemoval || record == nullptr;
    if (isGone)
        _auth.forget(user);
    UserBindings* bindings = _table.find(user);
    if (bindings == nullptr && (record == nullptr || !record->hasFlag(kUsrIpAuth)))
        return;
    UserBindings& known = _table.get(user);
    UserChange change;
    if (isGone && !known.contacts.empty()) {
        known.contacts.clear();
        change.lines.push_back("User " + user + " was deleted and is no longer registered.");
    }
    // The store has dropped the row of a user who was removed, so that it is written anew where one is due.
    if (isGone || shownNow(user, known) != known.shown)
        commit(user, std::move(change));
}

// Editors take any number for a port, and 0 for none. Once, as long as it stands.
void Registrar::tellPort(const std::string& user, const Cdb_usr_info* record)
{
    if (record == nullptr || !record->hasFlag(kUsrIpAuth) || record->ipPort <= UINT16_MAX) {
        _toldPorts.erase(user);
        return;
    }
    const auto [told, isNew] = _toldPorts.try_emplace(user, record->ipPort);
    if (!isNew && std::exchange(told->second, record->ipPort) == record->ipPort)
        return;
    UserChange change;
    change.lines.push_back("User " + user + " with IP authentication: " + std::to_string(record->ipPort) +
                           " is no port. He is known by his address alone, and called at port 5060.");
    _sink(std::move(change));
}

void Registrar::checkAllUsers()
{
    _auth.forgetOthers(_users.now());
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

std::optional<Binding> Registrar::stillValid(const Cdb_sip_contact& contact) const
{
    const int64_t now = _clock.steadyMs();
    const Cbcl_timestamp wall = _clock.wallSeconds();
    const int64_t lifetime = secondsBetween(contact.registeredAt, contact.expiresAt, kMaxExpires);
    const int64_t unwritten = lifetime / kUnwrittenShare;
    // A clock that was set back must not make a registration live for years.
    const int64_t left = secondsBetween(wall - unwritten, contact.expiresAt, kMaxExpires);
    Binding binding;
    binding.uri = makeContactUri(BclFieldText(contact.contact));
    if (left == 0 || !binding.uri.isSip())
        return std::nullopt;
    binding.callId = BclFieldText(contact.callId);
    binding.userAgent = BclFieldText(contact.userAgent);
    binding.source = {std::string(BclFieldText(contact.srcAddr)), contact.srcPort, contact.transport};
    binding.cseq = contact.cseq;
    binding.priority = contact.priority;
    binding.refreshedAtMs = now - secondsBetween(contact.registeredAt, wall, int64_t{2} * kMaxExpires) * kMsPerSecond;
    binding.lifetimeMs = lifetime * kMsPerSecond;
    binding.expiresAtMs = now + left * kMsPerSecond;
    binding.storedRefreshMs = binding.refreshedAtMs;
    binding.storedLifetimeMs = binding.lifetimeMs;
    return binding;
}

void Registrar::load(const std::vector<Cdb_user_bindings>& stored)
{
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
            std::optional<Binding> binding = stillValid(*contact);
            if (!binding) {
                ++expired;
                continue;
            }
            binding->order = ++_order;
            bindings.contacts.push_back(std::move(*binding));
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
    commit(user, std::move(change), shownNow(user, _table.get(user)), Extent::All);
}

void Registrar::commit(const std::string& user, UserChange&& change, ShownUser&& shown, Extent extent)
{
    UserBindings& bindings = _table.get(user);
    change.isStateNew = shown.stage != bindings.shown.stage;
    change.isAgentNew = shown.userAgent != bindings.shown.userAgent;
    change.isAddressNew = shown.address != bindings.shown.address || shown.port != bindings.shown.port;
    bindings.shown = std::move(shown);
    change.stored = storableRow(user, bindings.shown);
    if (extent == Extent::RowOnly) {
        change.stored.isRowOnly = true;
    } else {
        addContacts(change.stored, bindings);
        for (Binding& binding : bindings.contacts) {
            binding.storedRefreshMs = binding.refreshedAtMs;
            binding.storedLifetimeMs = binding.lifetimeMs;
        }
    }
    _table.update(user);
    _sink(std::move(change));
}

ShownUser Registrar::shownNow(const std::string& user, const UserBindings& bindings)
{
    const auto record = _users.now().find(user);
    const uint8_t stage = shownStage(bindings);
    if (record != nullptr && record->hasFlag(kUsrIpAuth)) {
        return {true, stage, addressPort(*record), std::string(BclFieldText(record->ipAddr)), {}};
    }
    if (const Binding* newest = bindings.newest(); newest != nullptr)
        return {true, stage, newest->source.port, newest->source.address, newest->userAgent};
    // Who calls without having registered is shown while he does.
    if (record != nullptr && bindings.callStage != kUsrOffline)
        return {true, stage, 0, {}, {}};
    return {};
}

Cdb_user_bindings Registrar::storableRow(const std::string& user, const ShownUser& shown)
{
    Cdb_user_bindings result;
    result.userName = user;
    result.hasRow = shown.hasRow;
    if (result.hasRow) {
        BclCopyStr(result.row.userName, user.c_str());
        BclCopyStr(result.row.preAddr, shown.address.c_str());
        BclCopyStr(result.row.userAgent, shown.userAgent.c_str());
        result.row.prePort = shown.port;
        result.row.usrStage = shown.stage;
    }
    return result;
}

void Registrar::addContacts(Cdb_user_bindings& stored, const UserBindings& bindings) const
{
    const int64_t now = _clock.steadyMs();
    const Cbcl_timestamp wall = _clock.wallSeconds();
    for (const Binding& binding : bindings.contacts) {
        Cdb_sip_contact& contact = stored.contacts.emplace_back();
        BclCopyStr(contact.userName, stored.userName.c_str());
        BclCopyStr(contact.contact, binding.uri.text.c_str());
        BclCopyStr(contact.callId, binding.callId.c_str());
        BclCopyStr(contact.srcAddr, binding.source.address.c_str());
        BclCopyStr(contact.userAgent, binding.userAgent.c_str());
        contact.registeredAt = wall - (now - binding.refreshedAtMs) / kMsPerSecond;
        contact.expiresAt = contact.registeredAt + binding.lifetimeMs / kMsPerSecond;
        contact.cseq = binding.cseq;
        contact.srcPort = binding.source.port;
        contact.transport = binding.source.transport;
        contact.priority = binding.priority;
    }
}
