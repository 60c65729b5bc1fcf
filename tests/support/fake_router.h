// A router that speaks UPnP, as far as port mappings go, and the service that knows it: neither touches the network.
#pragma once

#include "support/http_server.h"

#include <map>
#include <mutex>
#include <string>
#include <thread>

class FakeRouter {
public:
    struct Habits {
        size_t tableSize = 1000; // mappings; more are refused
        bool knowsLeases = true; // else it takes permanent mappings only
        bool mapsPorts = true;   // else it is a device of another kind
    };

    // `socketPath`: where the service listens that names the router.
    FakeRouter(const std::string& socketPath, Habits habits);
    ~FakeRouter();
    FakeRouter(const FakeRouter&) = delete;
    FakeRouter& operator=(const FakeRouter&) = delete;

    // "UDP 5060" -> "127.0.0.1 lease 7200".
    [[nodiscard]] std::map<std::string, std::string> mappings();

private:
    std::string answer(const std::string& request);
    std::string act(const std::string& action, const std::string& request);
    void tellDevices();

    Habits _habits;
    std::mutex _mutex;
    std::map<std::string, std::string> _mappings;
    HttpServer _server;
    int _socket = -1;
    std::jthread _teller;
};
