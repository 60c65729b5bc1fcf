#include "dbproxy2/slow_proxy.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kPollMs = 20;
constexpr std::chrono::milliseconds kBytePause{50};
constexpr int kAnswerMs = 10'000; // at most, for an answer that is to be lost

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace

SlowProxy::SlowProxy(uint16_t serverPort)
    : _serverPort(serverPort), _listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(_listener, generic, size) == 0 && listen(_listener, 16) == 0 &&
        getsockname(_listener, generic, &size) == 0)
        _port = ntohs(address.sin_port);
    _thread = std::thread([this] { run(); });
}

SlowProxy::~SlowProxy()
{
    _isStopped = true;
    _thread.join();
    close(_listener);
    for (const Pair& pair : _pairs) {
        close(pair.client);
        close(pair.server);
    }
}

void SlowProxy::takeClient()
{
    const int client = accept(_listener, nullptr, nullptr);
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(_serverPort);
    if (connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        _pairs.push_back({client, server});
    else {
        close(client);
        close(server);
    }
}

// From the client to the server.
bool SlowProxy::ask(const Pair& pair)
{
    std::array<char, 4096> buffer{};
    const char* lost = _lost;
    const ssize_t got = lost == nullptr ? -1 : recv(pair.client, buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_PEEK);
    const bool isLost =
        got > 0 && std::string_view(buffer.data(), static_cast<size_t>(got)).find(lost) != std::string_view::npos;
    if (!pass(pair.client, pair.server, SIZE_MAX))
        return false;
    if (!isLost)
        return true;
    _lost = nullptr;
    pollfd entry{pair.server, POLLIN, 0};
    (void)poll(&entry, 1, kAnswerMs);
    return false;
}

bool SlowProxy::pass(int from, int to, size_t most)
{
    std::array<char, 4096> buffer{};
    const ssize_t got = recv(from, buffer.data(), std::min(most, buffer.size()), MSG_DONTWAIT);
    if (got < 0)
        return true; // nothing there
    return got > 0 && send(to, buffer.data(), static_cast<size_t>(got), MSG_NOSIGNAL) == got;
}

void SlowProxy::run()
{
    while (!_isStopped) {
        std::vector<pollfd> entries = {{_listener, POLLIN, 0}};
        for (const Pair& pair : _pairs) {
            entries.push_back({pair.client, POLLIN, 0});
            entries.push_back({pair.server, POLLIN, 0});
        }
        if (poll(entries.data(), entries.size(), kPollMs) <= 0)
            continue;
        if (entries[0].revents != 0)
            takeClient();
        std::vector<Pair> open;
        for (const Pair& pair : _pairs) {
            if (ask(pair) && pass(pair.server, pair.client, _isSlow ? 1 : SIZE_MAX))
                open.push_back(pair);
            else {
                close(pair.client);
                close(pair.server);
            }
        }
        _pairs = open;
        if (_isSlow)
            std::this_thread::sleep_for(kBytePause);
    }
}
