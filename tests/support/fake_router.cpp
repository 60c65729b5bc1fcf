#include "support/fake_router.h"

#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr const char* kDevice = "urn:schemas-upnp-org:device:InternetGatewayDevice:1";
constexpr const char* kService = "urn:schemas-upnp-org:service:WANIPConnection:1";

std::string tagged(const std::string& name, const std::string& value)
{
    return "<" + name + ">" + value + "</" + name + ">";
}

std::string valueOf(const std::string& text, const std::string& tag)
{
    const size_t begin = text.find("<" + tag + ">");
    const size_t end = text.find("</" + tag + ">");
    if (begin == std::string::npos || end == std::string::npos)
        return {};
    return text.substr(begin + tag.size() + 2, end - begin - tag.size() - 2);
}

std::string service(const std::string& type, const std::string& control)
{
    return tagged("service", tagged("serviceType", type) + tagged("controlURL", control) +
                                 tagged("eventSubURL", "/event") + tagged("SCPDURL", "/service.xml"));
}

std::string description(bool mapsPorts)
{
    if (!mapsPorts)
        return "<?xml version=\"1.0\"?><root xmlns=\"urn:schemas-upnp-org:device-1-0\">" +
               tagged("device", tagged("deviceType", "urn:schemas-upnp-org:device:MediaServer:1")) + "</root>";
    const std::string connection =
        tagged("device", tagged("deviceType", "urn:schemas-upnp-org:device:WANConnectionDevice:1") +
                             tagged("serviceList", service(kService, "/control")));
    const std::string wan =
        tagged("device", tagged("deviceType", "urn:schemas-upnp-org:device:WANDevice:1") +
                             tagged("serviceList",
                                    service("urn:schemas-upnp-org:service:WANCommonInterfaceConfig:1", "/common")) +
                             tagged("deviceList", connection));
    return "<?xml version=\"1.0\"?><root xmlns=\"urn:schemas-upnp-org:device-1-0\">" +
           tagged("device", tagged("deviceType", kDevice) + tagged("deviceList", wan)) + "</root>";
}

std::string envelope(const std::string& body)
{
    return "<?xml version=\"1.0\"?><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>" + body +
           "</s:Body></s:Envelope>";
}

std::string fault(const std::string& code)
{
    return HttpServer::answer(
        "500 Internal Server Error",
        envelope("<s:Fault><detail><UPnPError>" + tagged("errorCode", code) + "</UPnPError></detail></s:Fault>"));
}

std::string done(const std::string& action, const std::string& values = {})
{
    return HttpServer::answer("200 OK", envelope("<u:" + action + "Response xmlns:u=\"" + kService + "\">" + values +
                                                 "</u:" + action + "Response>"));
}

// A text with its length before it; all of ours are shorter than 128 bytes.
std::string counted(const std::string& text)
{
    return static_cast<char>(text.size()) + text;
}

} // namespace

FakeRouter::FakeRouter(const std::string& socketPath, Habits habits)
    : _habits(habits), _server([this](const std::string& request) { return answer(request); })
{
    _socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path)
        throw std::runtime_error("the path of the socket is too long");
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size());
    if (bind(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(_socket, 8) != 0)
        throw std::runtime_error("no socket for the service that names routers");
    _teller = std::jthread([this] { tellDevices(); });
}

FakeRouter::~FakeRouter()
{
    shutdown(_socket, SHUT_RDWR);
    _teller.join();
    close(_socket);
}

std::map<std::string, std::string> FakeRouter::mappings()
{
    const std::scoped_lock lock(_mutex);
    return _mappings;
}

// The protocol of minissdpd: a kind and a counted device type in; a count of devices, and three texts of each, out.
void FakeRouter::tellDevices()
{
    for (;;) {
        const int peer = accept4(_socket, nullptr, nullptr, SOCK_CLOEXEC);
        if (peer < 0)
            return;
        char request[256];
        while (read(peer, request, sizeof request) > 0) {
            const std::string devices =
                '\1' + counted(_server.url("/root.xml")) + counted(kDevice) + counted("uuid:router");
            (void)!send(peer, devices.data(), devices.size(), MSG_NOSIGNAL);
        }
        close(peer);
    }
}

std::string FakeRouter::answer(const std::string& request)
{
    if (request.starts_with("GET /root.xml"))
        return HttpServer::answer("200 OK", description(_habits.mapsPorts));
    const size_t begin = request.find('#');
    const size_t end = request.find('"', begin);
    if (!request.starts_with("POST /control") || begin == std::string::npos || end == std::string::npos)
        return HttpServer::answer("404 Not Found", "");
    return act(request.substr(begin + 1, end - begin - 1), request);
}

std::string FakeRouter::act(const std::string& action, const std::string& request)
{
    const std::scoped_lock lock(_mutex);
    const std::string name = valueOf(request, "NewProtocol") + " " + valueOf(request, "NewExternalPort");
    if (action == "GetStatusInfo")
        return done(action, tagged("NewConnectionStatus", "Connected") + tagged("NewUptime", "10") +
                                tagged("NewLastConnectionError", "ERROR_NONE"));
    if (action == "GetExternalIPAddress")
        return done(action, tagged("NewExternalIPAddress", "203.0.113.7"));
    if (action == "DeletePortMapping")
        return _mappings.erase(name) == 1 ? done(action) : fault("714");
    if (action != "AddPortMapping")
        return fault("401");
    const std::string lease = valueOf(request, "NewLeaseDuration");
    if (!_habits.knowsLeases && lease != "0")
        return fault("725");
    if (_mappings.size() >= _habits.tableSize && !_mappings.contains(name))
        return fault("728");
    _mappings[name] = valueOf(request, "NewInternalClient") + " lease " + lease;
    return done(action);
}
