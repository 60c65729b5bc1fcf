// A connection between a client and a server that can be made slow, or cut.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

// Listens on a port of 127.0.0.1 and passes on what comes. One thread for all connections.
class SlowProxy {
public:
    explicit SlowProxy(uint16_t serverPort);
    ~SlowProxy();
    SlowProxy(const SlowProxy&) = delete;
    SlowProxy& operator=(const SlowProxy&) = delete;

    [[nodiscard]] uint16_t port() const { return _port; }
    // From now on the server's bytes come one at a time, with a pause after each.
    void trickle() { _isSlow = true; }
    // The next statement with this text (a literal) reaches the server and is done there, but its answer is lost with
    // the connection.
    void loseAnswerOf(const char* statement) { _lost = statement; }

private:
    struct Pair {
        int client;
        int server;
    };

    void run();
    void takeClient();
    [[nodiscard]] bool ask(const Pair& pair);
    [[nodiscard]] static bool pass(int from, int to, size_t most);

    const uint16_t _serverPort;
    int _listener;
    uint16_t _port = 0;
    std::atomic<bool> _isSlow = false;
    std::atomic<const char*> _lost = nullptr;
    std::atomic<bool> _isStopped = false;
    std::vector<Pair> _pairs; // the thread's own
    std::thread _thread;
};
