#include "dbproxy2/greedy_server.h"

#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

using namespace std::string_literals;

constexpr int kPollMs = 20;
constexpr char kQuery = 3; // the first byte of a packet with a statement

std::string packet(unsigned number, const std::string& content)
{
    const size_t size = content.size();
    return std::string{static_cast<char>(size & 0xff), static_cast<char>(size >> 8 & 0xff),
                       static_cast<char>(size >> 16 & 0xff), static_cast<char>(number)} +
           content;
}

// Version 10, without TLS, willing to take files, with a native password.
std::string greeting()
{
    return "\x0a"s
           "8.0.0\0"
           "\1\0\0\0"
           "abcdefgh\0"
           "\x8f\xa2" // long passwords, found rows, long flags, a database, files; 4.1, transactions, safe passwords
           "\x2d"
           "\2\0"
           "\x08\0" // plugins
           "\x15"
           "\0\0\0\0\0\0\0\0\0\0"
           "ijklmnopqrst\0"
           "mysql_native_password\0"s;
}

const std::string kOk = "\0\0\0\2\0\0\0"s;

bool sendAll(int client, const std::string& bytes)
{
    return send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

} // namespace

GreedyServer::GreedyServer(Wish wish, std::string file)
    : _wish(wish), _file(std::move(file)), _listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(_listener, generic, size) == 0 && listen(_listener, 8) == 0 && getsockname(_listener, generic, &size) == 0)
        _port = ntohs(address.sin_port);
    _thread = std::thread([this] { run(); });
}

GreedyServer::~GreedyServer()
{
    _isStopped = true;
    _thread.join();
    close(_listener);
}

std::string GreedyServer::received()
{
    const std::scoped_lock lock(_mutex);
    return _received;
}

void GreedyServer::run()
{
    while (!_isStopped) {
        pollfd entry{_listener, POLLIN, 0};
        if (poll(&entry, 1, kPollMs) <= 0)
            continue;
        const int client = accept(_listener, nullptr, nullptr);
        serve(client);
        close(client);
    }
}

void GreedyServer::serve(int client)
{
    if (!sendAll(client, packet(0, greeting())) || readPacket(client).empty())
        return;
    if (_wish == Wish::PasswordInClear) {
        (void)sendAll(client, packet(2, "\xfe"s + "mysql_clear_password\0"s));
        (void)readPacket(client);
        ++_asked;
        return;
    }
    (void)sendAll(client, packet(2, kOk));
    for (std::string asked = readPacket(client); !asked.empty() && asked[0] == kQuery; asked = readPacket(client)) {
        if (!sendAll(client, packet(1, "\xfb" + _file)))
            return;
        // The file, in packets of which the last one is empty.
        unsigned number = 2;
        while (!readPacket(client).empty())
            ++number;
        ++_asked;
        (void)sendAll(client, packet(number + 1, kOk));
    }
}

// Empty also when the client has left.
std::string GreedyServer::readPacket(int client)
{
    const std::string head = readBytes(client, 4);
    if (head.size() < 4)
        return {};
    const auto byte = [&head](size_t i) { return static_cast<size_t>(static_cast<unsigned char>(head[i])); };
    return readBytes(client, byte(0) | byte(1) << 8 | byte(2) << 16);
}

std::string GreedyServer::readBytes(int client, size_t count)
{
    std::string bytes(count, '\0');
    size_t got = 0;
    while (got < count && !_isStopped) {
        pollfd entry{client, POLLIN, 0};
        if (poll(&entry, 1, kPollMs) <= 0)
            continue;
        const ssize_t now = recv(client, bytes.data() + got, count - got, 0);
        if (now <= 0)
            break;
        got += static_cast<size_t>(now);
    }
    bytes.resize(got);
    const std::scoped_lock lock(_mutex);
    _received += bytes;
    return bytes;
}
