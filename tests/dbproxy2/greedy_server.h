// A server of the protocol that asks a client for what it must not give.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

class GreedyServer {
public:
    enum class Wish { PasswordInClear, File };

    // On a port of 127.0.0.1 that the system chooses; `file`: the one that is asked for.
    explicit GreedyServer(Wish wish, std::string file = {});
    ~GreedyServer();
    GreedyServer(const GreedyServer&) = delete;
    GreedyServer& operator=(const GreedyServer&) = delete;

    [[nodiscard]] uint16_t port() const { return _port; }
    // How often a client heard the wish and answered or left.
    [[nodiscard]] int asked() const { return _asked; }
    // All that clients sent.
    [[nodiscard]] std::string received();

private:
    void run();
    void serve(int client);
    [[nodiscard]] std::string readPacket(int client);
    [[nodiscard]] std::string readBytes(int client, size_t count);

    const Wish _wish;
    const std::string _file;
    int _listener;
    uint16_t _port = 0;
    std::atomic<int> _asked = 0;
    std::atomic<bool> _isStopped = false;
    std::mutex _mutex;
    std::string _received;
    std::thread _thread;
};
