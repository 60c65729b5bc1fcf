#include "port_mapper.h"

#include "bcl2/log.h"
#include "cachedb2/sys_tbl.h"

#include <algorithm>
#include <memory>
#include <miniupnpc/miniupnpc.h>
#include <miniupnpc/upnpcommands.h>
#include <miniupnpc/upnperrors.h>

namespace {

constexpr int kSearchMs = 2000; // a router answers within MX, which the library sets to 2 s at most
constexpr unsigned char kHops = 2;
constexpr unsigned kLeaseS = 7200; // what a killed process leaves on the router is gone after it
constexpr unsigned kRenewMs = kLeaseS / 2 * 1000;
constexpr int kOnlyPermanentLeases = 725; // error of routers that know no lease
constexpr const char* kForEver = "0";
constexpr unsigned kMaxPort = 65535;
constexpr int kDefaultMediaPorts = 1000; // when the last media port is not above the first

const char* protocolOf(const MappedPort& port)
{
    return port.isTcp ? "TCP" : "UDP";
}

std::string named(const MappedPort& port)
{
    return std::string(protocolOf(port)) + " port " + std::to_string(port.port);
}

// A router that maps ports, found in the network. Each call takes some seconds at most: the library bounds them.
class Router {
public:
    // Null when there is none.
    static std::unique_ptr<Router> find(const std::string& discoverySocket)
    {
        int error = 0;
        UPNPDev* devices = upnpDiscover(kSearchMs, nullptr, discoverySocket.empty() ? nullptr : discoverySocket.c_str(),
                                        UPNP_LOCAL_PORT_ANY, 0, kHops, &error);
        if (devices == nullptr)
            return nullptr;
        std::unique_ptr<Router> router(new Router);
        const int found = UPNP_GetValidIGD(devices, &router->_urls, &router->_data, router->_localAddress,
                                           sizeof router->_localAddress);
        freeUPNPDevlist(devices);
        router->_hasUrls = found != 0;
        // 2: one that says it has no connection, or whose own address is a private one; mapping may help all the same.
        return found == 1 || found == 2 ? std::move(router) : nullptr;
    }
    ~Router()
    {
        if (_hasUrls)
            FreeUPNPUrls(&_urls);
    }
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;

    // 0, or the router's error.
    int map(const MappedPort& port)
    {
        int error = tryMap(port, _lease);
        if (error == kOnlyPermanentLeases) {
            _lease = kForEver;
            error = tryMap(port, _lease);
        }
        return error;
    }

    void unmap(const MappedPort& port)
    {
        // One that is not there any more is gone as it should be.
        (void)UPNP_DeletePortMapping(_urls.controlURL, _data.first.servicetype, std::to_string(port.port).c_str(),
                                     protocolOf(port), nullptr);
    }

    [[nodiscard]] std::string publicAddress()
    {
        char address[64] = "";
        return UPNP_GetExternalIPAddress(_urls.controlURL, _data.first.servicetype, address) == UPNPCOMMAND_SUCCESS
                   ? address
                   : "";
    }

    [[nodiscard]] const char* localAddress() const { return _localAddress; }

private:
    Router() = default;

    int tryMap(const MappedPort& port, const std::string& lease)
    {
        const std::string number = std::to_string(port.port);
        return UPNP_AddPortMapping(_urls.controlURL, _data.first.servicetype, number.c_str(), number.c_str(),
                                   _localAddress, "Parlovex", protocolOf(port), nullptr, lease.c_str());
    }

    UPNPUrls _urls{};
    IGDdatas _data{};
    char _localAddress[64] = "";
    std::string _lease = std::to_string(kLeaseS);
    bool _hasUrls = false;
};

std::string reasonOf(int error)
{
    const char* text = strupnperror(error);
    return text != nullptr ? text : "error " + std::to_string(error);
}

// "UDP port 5060, TCP port 5060 and the media ports 10000 to 10511"
std::string listOf(const MappedPorts& ports)
{
    std::string list;
    uint16_t first = 0;
    uint16_t last = 0;
    for (const MappedPort& port : ports) {
        if (port.isMedia) {
            first = first == 0 ? port.port : first;
            last = port.port;
        } else
            list += (list.empty() ? "" : ", ") + named(port);
    }
    if (first != 0)
        list += (list.empty() ? "" : " and ") + ("the media ports " + std::to_string(first)) + " to " +
                std::to_string(last);
    return list;
}

} // namespace

MappedPorts portsToMap(const Cdb_sys_data& settings)
{
    MappedPorts ports;
    if (settings.isUpnp == 0)
        return ports;
    const auto add = [&ports](int64_t port, bool isTcp, bool isMedia) {
        if (port >= 1 && port <= kMaxPort)
            ports.insert({isMedia, static_cast<uint16_t>(port), isTcp});
    };
    add(settings.servedUdpPort(), false, false);
    add(settings.tcpPort, true, false);
    add(settings.tlsPort, true, false);
    const int64_t first = settings.rtpPortFirst;
    int64_t last = settings.rtpPortLast;
    if (last <= first)
        last = first + kDefaultMediaPorts - 1;
    last = std::min<int64_t>(last, first + kMaxMediaPorts - 1);
    for (int64_t port = first; port <= last; ++port)
        add(port, false, true);
    return ports;
}

unsigned PortMapper::work(const MappedPorts* request, const std::function<bool()>& isStale)
{
    const bool isRenewal = request == nullptr;
    if (!isRenewal)
        _wanted = *request;
    if (_wanted.empty() && _mapped.empty())
        return 0;
    const std::unique_ptr<Router> router = Router::find(_discoverySocket);
    if (!router) {
        BclLog("UPnP: no router that maps ports was found.");
        return kRenewMs; // it may come later
    }
    for (auto it = _mapped.begin(); it != _mapped.end();) {
        if (_wanted.contains(*it))
            ++it;
        else {
            router->unmap(*it);
            it = _mapped.erase(it);
        }
        if (isStale())
            return 0;
    }
    const MappedPorts before = _mapped;
    for (const MappedPort& port : _wanted) {
        if (const int error = router->map(port); error != 0) {
            BclLog("UPnP: the router does not map %s: %s.", named(port).c_str(), reasonOf(error).c_str());
            _mapped.erase(port);
            if (port.isMedia) {
                // Its table is full: it would refuse the next ones too.
                _mapped.erase(_mapped.upper_bound(port), _mapped.end());
                break;
            }
        } else
            _mapped.insert(port);
        if (isStale())
            return 0;
    }
    if (_wanted.empty())
        BclLog("UPnP: the router maps no ports to this machine any more.");
    else if (!_mapped.empty() && (!isRenewal || _mapped != before))
        BclLog("UPnP: the router maps %s to %s; its public address is %s.", listOf(_mapped).c_str(),
               router->localAddress(), router->publicAddress().c_str());
    return _wanted.empty() ? 0 : kRenewMs;
}
