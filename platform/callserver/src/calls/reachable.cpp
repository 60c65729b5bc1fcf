#include "calls/reachable.h"

#include "sip/source_key.h"
#include "sip/uri_text.h"
#include "user_address.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <algorithm>

namespace {

constexpr uint16_t kSipPort = 5060;

} // namespace

std::vector<Telephone> telephonesOf(const Cdb_usr_info& user, const std::vector<Binding>* bindings)
{
    std::vector<Telephone> telephones;
    if (user.hasFlag(kUsrIpAuth)) {
        SipSource destination;
        destination.address = canonicalAddress(std::string(BclTrimmed(BclFieldText(user.ipAddr))));
        const uint16_t port = addressPort(user);
        destination.port = port == 0 ? kSipPort : port;
        if (destination.address.empty())
            return telephones;
        Cbcl_uaddr host;
        host.setAddress(destination.address.c_str(), destination.port);
        telephones.push_back({sipUri(BclFieldText(user.usrName), host.getURLStr()), destination});
    } else if (bindings != nullptr) {
        for (const Binding& binding : *bindings)
            telephones.push_back({binding.uri.text, binding.source});
    }
    return telephones;
}

bool isSameEnd(const SipSource& a, const SipSource& b)
{
    return a.address == b.address && a.port == b.port && a.transport == b.transport;
}

KnownBinding knownBinding(const std::vector<Binding>* bindings, const std::string& contact, const SipSource& source)
{
    if (bindings == nullptr)
        return {};
    auto it = std::find_if(bindings->begin(), bindings->end(),
                           [&contact](const Binding& one) { return one.uri.text == contact; });
    if (it == bindings->end())
        it = std::find_if(bindings->begin(), bindings->end(),
                          [&source](const Binding& one) { return isSameEnd(one.source, source); });
    return it == bindings->end() ? KnownBinding{} : KnownBinding{it->uri.text, it->callId, it->source};
}

const Binding* bindingNow(const std::vector<Binding>* bindings, const KnownBinding& known)
{
    if (bindings == nullptr || known.uri.empty())
        return nullptr;
    const Binding* found = nullptr;
    for (const Binding& one : *bindings) {
        if (one.uri.text == known.uri)
            return &one;
        if (!known.callId.empty() && one.callId == known.callId &&
            (found == nullptr || found->refreshedAtMs < one.refreshedAtMs))
            found = &one;
    }
    return found;
}
