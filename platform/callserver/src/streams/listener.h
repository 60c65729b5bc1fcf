// The sockets that wait for connections of one kind.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Owns its descriptors. One thread.
class Listener {
public:
    Listener() = default;
    ~Listener() { close(); }
    Listener(Listener&& other) noexcept;
    Listener& operator=(Listener&& other) noexcept;

    // Listens on the address (a literal; empty: every one of the machine). Empty when it does, else why not.
    [[nodiscard]] std::string open(const std::string& address, uint16_t port);
    void close();
    [[nodiscard]] bool isOpen() const { return !_fds.empty(); }
    [[nodiscard]] const std::vector<int>& fds() const { return _fds; }
    [[nodiscard]] const std::string& address() const { return _address; }
    [[nodiscard]] uint16_t port() const { return _port; }

private:
    std::vector<int> _fds;
    std::string _address;
    uint16_t _port = 0;
};
