#include "sip_service.h"

#include "server_log.h"
#include "sip/local_addresses.h"
#include "sip/numeric_hosts.h"
#include "sip/stack_sockets.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kMaxHostName = 255; // RFC 1034 section 3.1
// A laptop that joins a network is reachable there after this time.
constexpr int64_t kAddressCheckMs = 5000;
constexpr size_t kMaxUnreadableLines = 10; // in the log, of one change

// The names by which telephones may reach this machine, the best first.
std::vector<std::string> certificateNames(const Cdb_sys_data& system)
{
    std::vector<std::string> names;
    const auto add = [&](std::string_view name) {
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.emplace_back(name);
    };
    std::array<char, kMaxHostName + 1> host{};
    add(BclTrimmed(BclFieldText(system.sipDomain)));
    add(BclTrimmed(BclFieldText(system.publicAddr)));
    if (gethostname(host.data(), kMaxHostName) == 0)
        add(host.data());
    for (const std::string& address : localAddresses())
        add(address);
    return names;
}

// Those that were not there before.
std::vector<std::string> newUnreadable(const IpList& next, const IpList& former)
{
    std::vector<std::string> news;
    std::set_difference(next.unreadable().begin(), next.unreadable().end(), former.unreadable().begin(),
                        former.unreadable().end(), std::back_inserter(news));
    return news;
}

void tellUnreadable(const std::vector<std::string>& entries)
{
    const size_t lines = std::min(entries.size(), kMaxUnreadableLines);
    for (size_t i = 0; i < lines; ++i)
        ServerLog("IP list: \"%s\" is neither an address nor a network; it has no effect.", entries[i].c_str());
    if (entries.size() > lines)
        ServerLog("IP list: %zu more are neither addresses nor networks.", entries.size() - lines);
}

} // namespace

SipService::SipService(Cdb_fac_mgr& store, Registrar& registrar, StreamServer& streams, CdrStore& records,
                       const Clock& clock)
    : _store(store),
      _registrar(registrar),
      _streams(streams),
      _clock(clock),
      _refusals(clock),
      _overload(clock),
      _agent(_stack, *this, localAddresses, streams.flows()),
      _calls(store, registrar, _refusals, _agent.calls(), records, clock,
             [this](const SipSource& source, Credentials credentials) { return noteCredentials(source, credentials); }),
      _gate(_ipList, _guard, clock, _calls)
{
    _ipLists.put(std::make_shared<const IpList>());
    _store.addListener([this](const Cdb_change& change) { onStoreChange(change); });
    followIpList();
}

void SipService::run()
{
    if (!_stack.run([this] { begin(); }, [this] { step(); }))
        ServerLog("The SIP stack could not be started: no calls are served.");
}

void SipService::begin()
{
    setPacketFilter(&_gate);
    const uint16_t port = _agent.openStreams();
    _hasStreams = port != 0;
    if (_hasStreams)
        _streams.setStackPort(port);
    else
        ServerLog("SIP over TCP and TLS is not available: the SIP stack has no port for it.");
    serveConfigured();
}

// On the writing thread, which may be any.
void SipService::onStoreChange(const Cdb_change& change)
{
    if (change.table == Edb_table::System)
        _stack.post([this] { serveConfigured(); });
    else if (change.table == Edb_table::LocalUsers)
        _stack.post([this, user = std::string(change.key), isRemoval = change.isRemoval] {
            _registrar.userChanged(user, isRemoval);
        });
    else if (change.table == Edb_table::IpLists)
        followIpList();
}

// The list is made here and not by those who ask it, so that it holds when the change is stored, and no packet waits.
void SipService::followIpList()
{
    std::vector<std::string> unreadable;
    {
        const std::scoped_lock lock(_ipListMutex);
        const auto& entries = _store.rows<Cdb_ip_bwlist>();
        const uint64_t version = entries.version();
        if (version == _ipListVersion)
            return; // another process changes many at once, which are told one by one
        _ipListVersion = version;
        const auto next = std::make_shared<const IpList>(*entries.get());
        unreadable = newUnreadable(*next, *_ipLists.get());
        _ipLists.put(next);
        _streams.setIpList(next);
    }
    tellUnreadable(unreadable);
}

void SipService::serveConfigured()
{
    const auto system = _store.system().get();
    const std::string address(BclTrimmed(BclFieldText(system->localAddr)));
    _agent.serveUdp(address, udpPortToServe(*system));
    if (_hasStreams)
        _streams.serve({address, system->tcpPort, system->tlsPort, certificateNames(*system)});
}

// A number that is no port leaves the one that is served; at the start the default one takes its place.
uint16_t SipService::udpPortToServe(const Cdb_sys_data& system) const
{
    const uint16_t configured = system.servedUdpPort();
    if (configured == system.udpPort)
        return configured;
    const uint16_t served = _agent.servedUdpPort();
    const uint16_t port = served != 0 ? served : configured;
    ServerLog("SIP over UDP cannot use port %d: ports are 1 to 65535. Port %u is served.", system.udpPort,
              unsigned{port});
    return port;
}

void SipService::step()
{
    drainStackStreams();
    _registrar.expire();
    _calls.step();
    _overload.step();
    const int64_t now = _clock.steadyMs();
    if (now - _addressesAtMs < kAddressCheckMs)
        return;
    _addressesAtMs = now;
    _agent.followAddresses();
}

void SipService::printCallStatus()
{
    _stack.post([this] {
        const size_t users = _registrar.registeredUsers();
        const std::vector<std::string> table = _calls.statusTable();
        const size_t calls = _calls.inProgress();
        ServerLog("Call status: %s in progress, %zu %s registered.",
                  calls == 0 ? "no call is"
                             : (std::to_string(calls) + (calls == 1 ? " call is" : " calls are")).c_str(),
                  users, users == 1 ? "user is" : "users are");
        for (const std::string& line : table)
            ServerLog("%s", line.c_str());
    });
}

void SipService::releaseAllCalls()
{
    _stack.post([this] {
        const size_t calls = _calls.releaseAll();
        if (calls == 0)
            ServerLog("Release of all calls: no call is in progress.");
        else
            ServerLog("Release of all calls: %zu %s released.", calls, calls == 1 ? "call is" : "calls are");
    });
}

bool SipService::hasCall(std::string_view callId, const SipSource& source) const
{
    return _calls.has(callId, sourceKey(source.address));
}

unsigned SipService::overloadBy(std::string_view dialed)
{
    return _overload.isTooMuch({packetWaitMs(), _stack.unrestMs()}) && !_calls.isEmergency(dialed) ? _overload.refuse()
                                                                                                   : 0;
}

bool SipService::mayAnswerUnproven(const SipSource& source)
{
    return noteCredentials(source, Credentials::Unproven);
}

CallVerdict SipService::judge(const CallMessage& request)
{
    CallVerdict verdict = _calls.judge(request);
    // Within a call nobody looks at credentials.
    if (verdict.status == 481 && !request.authorizations.empty() && !mayAnswerUnproven(request.source))
        return {};
    return verdict;
}

void SipService::onCallRequest(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    _calls.onRequest(request, std::move(transaction));
}

bool SipService::admits(const SipSource& source, bool hasCredentials)
{
    const IpVerdict verdict = verdictOf(source);
    if (verdict != IpVerdict::None)
        return verdict == IpVerdict::Allow;
    const SourceKey key = sourceKey(source.address);
    const int64_t now = _clock.steadyMs();
    return !_guard.isSilenced(key, now) && (hasCredentials || _guard.admitWithoutCredentials(key, now));
}

IpVerdict SipService::verdictOf(const SipSource& source)
{
    const IpList& list = _ipList.now();
    return list.isEmpty() ? IpVerdict::None : list.of(ipAddress(source.address));
}

bool SipService::noteCredentials(const SipSource& source, Credentials credentials)
{
    const bool isAllowed = verdictOf(source) == IpVerdict::Allow;
    const SourceKey key = sourceKey(source.address);
    const int64_t now = _clock.steadyMs();
    switch (credentials) {
    case Credentials::None:
        break; // was counted before it was looked at
    case Credentials::Unproven:
        // Anybody can write some.
        return isAllowed || _guard.admitWithoutCredentials(key, now);
    case Credentials::Wrong:
        if (!isAllowed && _guard.noteFailure(key, now))
            _streams.shutOut(source.address, now + SourceGuard::kSilenceMs);
        break;
    case Credentials::Right:
        _guard.noteSuccess(key, now);
        if (source.transport != kTransportUdp)
            _streams.flows().setKnown(source);
    }
    return true;
}

RegisterReply SipService::onRegister(const RegisterRequest& request)
{
    RegisterReply reply = _registrar.handle(request);
    if (!noteCredentials(request.source, reply.credentials))
        return {}; // no status: no answer
    if (!reply.refusal.empty()) {
        Cbcl_uaddr source;
        source.setAddress(request.source.address.c_str(), request.source.port);
        _refusals.note(request.user, request.source.address, source.getURLStr(), reply.refusal);
    }
    return reply;
}
