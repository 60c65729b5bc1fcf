// Packets that are no SIP, or not quite, as fast as wanted.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

// Sends them over UDP to 127.0.0.1 from an address of the loopback network, on a thread of its own: random bytes, texts
// that begin like SIP, requests that break off. The same packets in each run.
class JunkSender {
public:
    JunkSender(const std::string& sourceAddress, uint16_t serverPort, unsigned perSecond, unsigned count);

    // Returns when all have been sent.
    void wait();
    [[nodiscard]] unsigned sent() const { return _sent; }

private:
    void run(const std::stop_token& stop, int fd, unsigned perSecond, unsigned count);

    const std::vector<std::string> _packets;
    std::atomic<unsigned> _sent = 0;
    std::jthread _thread;
};
