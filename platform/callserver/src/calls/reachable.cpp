#include "calls/reachable.h"

#include "sip/source_key.h"
#include "sip/uri_text.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

namespace {

constexpr uint16_t kSipPort = 5060;

} // namespace

std::vector<Telephone> telephonesOf(const Cdb_usr_info& user, const std::vector<Binding>* bindings)
{
    std::vector<Telephone> telephones;
    if (user.hasFlag(kUsrIpAuth)) {
        SipSource destination;
        destination.address = canonicalAddress(std::string(BclTrimmed(BclFieldText(user.ipAddr))));
        destination.port = user.ipPort == 0 || user.ipPort > UINT16_MAX ? kSipPort : static_cast<uint16_t>(user.ipPort);
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
