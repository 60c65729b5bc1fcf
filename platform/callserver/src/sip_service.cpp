#include "sip_service.h"

#include "server_log.h"
#include "sip/local_addresses.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <string>

namespace {

constexpr int32_t kDefaultUdpPort = 5060;
constexpr int32_t kMaxPort = 65535;
// A laptop that joins a network is reachable there after this time.
constexpr int64_t kAddressCheckMs = 5000;

} // namespace

SipService::SipService(Cdb_fac_mgr& store, Registrar& registrar, const Clock& clock)
    : _store(store), _registrar(registrar), _clock(clock), _refusals(clock), _agent(_stack, *this, localAddresses)
{
    _store.addListener([this](const Cdb_change& change) { onStoreChange(change); });
}

void SipService::run()
{
    if (!_stack.run([this] { serveConfigured(); }, [this] { step(); }))
        ServerLog("The SIP stack could not be started: no calls are served.");
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
}

void SipService::serveConfigured()
{
    const auto system = _store.system().get();
    const bool isPort = system->udpPort >= 1 && system->udpPort <= kMaxPort;
    _agent.serveUdp(std::string(BclTrimmed(BclFieldText(system->localAddr))),
                    static_cast<uint16_t>(isPort ? system->udpPort : kDefaultUdpPort));
}

void SipService::step()
{
    _registrar.expire();
    const int64_t now = _clock.steadyMs();
    if (now - _addressesAtMs < kAddressCheckMs)
        return;
    _addressesAtMs = now;
    _agent.followAddresses();
}

RegisterReply SipService::onRegister(const RegisterRequest& request)
{
    RegisterReply reply = _registrar.handle(request);
    if (!reply.refusal.empty()) {
        Cbcl_uaddr source;
        source.setAddress(request.source.address.c_str(), request.source.port);
        _refusals.note(request.user, request.source.address, source.getURLStr(), reply.refusal);
    }
    return reply;
}
