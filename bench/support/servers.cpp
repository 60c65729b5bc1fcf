#include "support/servers.h"

#include "support/free_port.h"
#include "support/loopback_socket.h"
#include "support/office.h"
#include "support/patience.h"

#include "cachedb2/fac_mgr.h"

#include <chrono>
#include <csignal>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <utility>

namespace {

constexpr int kProbeMs = 1; // between two requests to a server that is starting
constexpr int kProbes = 30'000;
constexpr const char* kSocketBuffer = "4194304"; // bytes; as many as our server asks for

bool answers(uint16_t port)
{
    const LoopbackSocket client(port);
    const std::string own = std::to_string(client.ownPort());
    std::string request = "OPTIONS sip:127.0.0.1 SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:";
    request.append(own).append(";branch=z9hG4bKprobe\r\nMax-Forwards: 70\r\nFrom: <sip:probe@127.0.0.1>;tag=t\r\n");
    request.append("To: <sip:probe@127.0.0.1>\r\nCall-ID: probe-").append(own);
    request.append("\r\nCSeq: 1 OPTIONS\r\nContent-Length: 0\r\n\r\n");
    for (int i = 0; i < kProbes; ++i) {
        // Refused, and sent again, as long as nobody listens.
        (void)send(client.fd(), request.data(), request.size(), MSG_NOSIGNAL);
        pollfd waiting = {client.fd(), POLLIN, 0};
        char byte = 0;
        if (poll(&waiting, 1, kProbeMs) > 0 && recv(client.fd(), &byte, 1, 0) > 0)
            return true;
        if ((waiting.revents & POLLERR) != 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(kProbeMs));
    }
    return false;
}

void replaceAll(std::string& text, const std::string& what, const std::string& by)
{
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
}

// Debian keeps them in a folder of the machine's architecture.
std::string kamailioModules()
{
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib")) {
        const auto modules = entry.path() / "kamailio/modules";
        if (std::filesystem::exists(modules))
            return modules.string() + "/";
    }
    throw std::runtime_error("Kamailio's modules are not installed");
}

} // namespace

MeasuredServer::MeasuredServer(std::string name) : _name(std::move(name)), _port(freeUdpPort()) {}

MeasuredServer::~MeasuredServer()
{
    end();
}

void MeasuredServer::start(const std::vector<std::string>& command, const std::vector<std::string>& environment)
{
    _process = std::make_unique<ChildProcess>(command, _folder.file("output"), environment);
    if (!answers(_port))
        throw std::runtime_error(_name + " does not answer: " + _process->output());
}

std::string MeasuredServer::end()
{
    if (_process == nullptr)
        return {};
    _process->sendSignal(SIGTERM);
    _process->wait();
    return std::exchange(_process, nullptr)->output();
}

void MeasuredServer::kill()
{
    _process->sendSignal(SIGKILL);
    _process->wait();
    _process.reset();
}

ParlovexServer::ParlovexServer(unsigned users) : MeasuredServer("Parlovex")
{
    fillOffice(_folder.path(), users, port());
    startServer();
}

ParlovexServer::ParlovexServer(unsigned users, ServedCalls calls) : MeasuredServer("Parlovex")
{
    fillCallOffice(_folder.path(), users, port(), calls == ServedCalls::Authenticated);
    startServer();
}

void ParlovexServer::startServer()
{
    start({BENCH_SERVER}, {"PARLOVEX_HOME=" + _folder.path()});
}

double ParlovexServer::restartMs()
{
    kill();
    const auto begin = std::chrono::steady_clock::now();
    startServer();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

double ParlovexServer::heapBytes()
{
    constexpr std::string_view kMark = "heap now: ";
    const size_t before = output().size();
    sendSignal(SIGUSR1);
    std::string text;
    const bool isTold = waitUntil([&] {
        text = output();
        const size_t at = text.find(kMark, before);
        return at != std::string::npos && text.find('\n', at) != std::string::npos;
    });
    if (!isTold)
        throw std::runtime_error("the server does not tell its heap");
    return std::stod(text.substr(text.find(kMark, before) + kMark.size()));
}

size_t ParlovexServer::countBindings()
{
    end();
    Cdb_options options;
    options.dataFolder = _folder.path();
    return Cdb_fac_mgr(options).DbReadRegistrations().size();
}

KamailioServer::KamailioServer(ServedCalls calls) : MeasuredServer("Kamailio")
{
    std::string config = TemporaryFolder::read(BENCH_FILES "/kamailio.cfg.in");
    replaceAll(config, "@AUTHENTICATE@", calls == ServedCalls::Authenticated ? "#!define AUTHENTICATE_CALLS" : "");
    replaceAll(config, "@PORT@", std::to_string(port()));
    replaceAll(config, "@MODULES@", kamailioModules());
    // In the foreground, with its log on standard error.
    start({"kamailio", "-DD", "-E", "-f", _folder.write("kamailio.cfg", config), "-Y", _folder.path(), "-P",
           _folder.file("pid"), "-w", _folder.path(), "-m", "1024", "-M", "16", "-b", kSocketBuffer},
          {});
}
