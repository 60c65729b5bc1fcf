#include "cachedb2/http.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

// Answers each connection with one text and closes it.
class OneAnswerServer {
public:
    explicit OneAnswerServer(std::string answer, bool isSilent = false)
        : _answer(std::move(answer)), _isSilent(isSilent)
    {
        _socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(0, bind(_socket, reinterpret_cast<sockaddr*>(&address), size));
        EXPECT_EQ(0, listen(_socket, 8));
        EXPECT_EQ(0, getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &size));
        _port = ntohs(address.sin_port);
        _thread = std::jthread([this] { serve(); });
    }
    ~OneAnswerServer()
    {
        shutdown(_socket, SHUT_RDWR);
        _thread.join();
        close(_socket);
    }
    [[nodiscard]] std::string url(const std::string& path = "/") const
    {
        return "http://127.0.0.1:" + std::to_string(_port) + path;
    }

private:
    void serve()
    {
        for (;;) {
            const int peer = accept(_socket, nullptr, nullptr);
            if (peer < 0)
                return;
            char request[4096];
            (void)!read(peer, request, sizeof request);
            if (_isSilent)
                (void)!read(peer, request, sizeof request); // until the other side gives up
            (void)!send(peer, _answer.data(), _answer.size(), MSG_NOSIGNAL);
            close(peer);
        }
    }

    std::string _answer;
    bool _isSilent;
    int _socket = -1;
    int _port = 0;
    std::jthread _thread;
};

std::string answer(const std::string& status, const std::string& body)
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

} // namespace

TEST(HttpGet, GivesTheBodyOfAGoodAnswer)
{
    const OneAnswerServer server(answer("200 OK", "20240502\n"));
    Cbcl_tmp_str reply;
    EXPECT_EQ(0u, DbHttpGet(server.url().c_str(), reply));
    EXPECT_STREQ("20240502\n", reply.c_str());
}

TEST(HttpGet, FailsWithAnEmptyReplyOnAnyOtherStatus)
{
    for (const char* status : {"404 Not Found", "500 Broken", "304 Not Modified"}) {
        const OneAnswerServer server(answer(status, "body"));
        Cbcl_tmp_str reply;
        reply.setText("left over");
        EXPECT_EQ(1u, DbHttpGet(server.url().c_str(), reply)) << status;
        EXPECT_STREQ("", reply.c_str());
    }
}

TEST(HttpGet, BoundsTheReply)
{
    const OneAnswerServer fits(answer("200 OK", std::string(64 << 10, 'x')));
    const OneAnswerServer tooLong(answer("200 OK", std::string((64 << 10) + 1, 'x')));
    Cbcl_tmp_str reply;
    EXPECT_EQ(0u, DbHttpGet(fits.url().c_str(), reply));
    EXPECT_EQ(unsigned{64 << 10}, reply.getStrLen());
    EXPECT_EQ(1u, DbHttpGet(tooLong.url().c_str(), reply));
    EXPECT_EQ(0u, reply.getStrLen());
}

TEST(HttpGet, GivesUpOnAServerThatDoesNotAnswer)
{
    const OneAnswerServer server("", true);
    Cbcl_tmp_str reply;
    EXPECT_EQ(1u, DbHttpGet(server.url().c_str(), reply));
}

TEST(HttpGet, FetchesWebAddressesOnly)
{
    Cbcl_tmp_str reply;
    for (const char* url :
         {"file:///etc/hostname", "ftp://127.0.0.1/", "nonsense", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(1u, DbHttpGet(url, reply));
}

TEST(HttpGet, FollowsARedirectionButNotToAFile)
{
    const OneAnswerServer target(answer("200 OK", "here"));
    const OneAnswerServer there("HTTP/1.1 302 Found\r\nLocation: " + target.url() + "\r\nContent-Length: 0\r\n\r\n");
    const OneAnswerServer file("HTTP/1.1 302 Found\r\nLocation: file:///etc/hostname\r\nContent-Length: 0\r\n\r\n");
    Cbcl_tmp_str reply;
    EXPECT_EQ(0u, DbHttpGet(there.url().c_str(), reply));
    EXPECT_STREQ("here", reply.c_str());
    EXPECT_EQ(1u, DbHttpGet(file.url().c_str(), reply));
}
