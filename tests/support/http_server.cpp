#include "support/http_server.h"

#include <arpa/inet.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr size_t kMaxRequest = 64 << 10;

size_t bodyLength(const std::string& head)
{
    constexpr std::string_view kName = "Content-Length:";
    const size_t at = head.find(kName);
    return at == std::string::npos ? 0 : std::stoul(head.substr(at + kName.size()));
}

bool isWhole(const std::string& request)
{
    const size_t end = request.find("\r\n\r\n");
    return end != std::string::npos && request.size() >= end + 4 + bodyLength(request.substr(0, end));
}

std::string readRequest(int peer)
{
    std::string request;
    while (!isWhole(request) && request.size() < kMaxRequest) {
        char buffer[4096];
        const ssize_t size = read(peer, buffer, sizeof buffer);
        if (size <= 0)
            break;
        request.append(buffer, static_cast<size_t>(size));
    }
    return request;
}

} // namespace

HttpServer::HttpServer(Answer answer) : _answer(std::move(answer))
{
    _socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(_socket, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(_socket, 8) != 0 ||
        getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no port for a web server");
    _port = ntohs(address.sin_port);
    _thread = std::jthread([this] { serve(); });
}

HttpServer::~HttpServer()
{
    shutdown(_socket, SHUT_RDWR);
    _thread.join();
    close(_socket);
}

std::string HttpServer::url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(_port) + path;
}

std::string HttpServer::answer(const std::string& status, const std::string& body)
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

void HttpServer::serve()
{
    for (;;) {
        const int peer = accept4(_socket, nullptr, nullptr, SOCK_CLOEXEC);
        if (peer < 0)
            return;
        const std::string answer = _answer(readRequest(peer));
        if (answer.empty()) {
            char nothing;
            (void)!read(peer, &nothing, 1); // silent until the other side gives up
        }
        (void)!send(peer, answer.data(), answer.size(), MSG_NOSIGNAL);
        close(peer);
    }
}
