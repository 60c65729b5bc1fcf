// A web server on 127.0.0.1 for tests: one request a connection, one after another.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <thread>

class HttpServer {
public:
    // Gives the whole answer to a whole request, on the server's thread; an empty one is no answer at all.
    using Answer = std::function<std::string(const std::string& request)>;

    explicit HttpServer(Answer answer);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    [[nodiscard]] std::string url(const std::string& path = "/") const;

    [[nodiscard]] static std::string answer(const std::string& status, const std::string& body);

private:
    void serve();

    Answer _answer;
    int _socket = -1;
    int _port = 0;
    std::jthread _thread;
};
