#include "support/junk_sender.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <random>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr size_t kKinds = 600; // different packets, sent in turn
constexpr size_t kMaxRandom = 1200;

using Random = std::mt19937;

size_t below(Random& random, size_t bound)
{
    return std::uniform_int_distribution<size_t>(0, bound - 1)(random);
}

std::string randomBytes(Random& random)
{
    std::string packet(below(random, kMaxRandom), '\0');
    for (char& byte : packet)
        byte = static_cast<char>(below(random, 256));
    return packet;
}

std::string request(Random& random)
{
    const std::string user = std::to_string(below(random, 100'000));
    return "REGISTER sip:127.0.0.1 SIP/2.0\r\n"
           "Via: SIP/2.0/UDP 127.0.0.9:5060;branch=z9hG4bK" +
           user +
           "\r\n"
           "Max-Forwards: 70\r\n"
           "From: <sip:" +
           user +
           "@127.0.0.1>;tag=x\r\n"
           "To: <sip:" +
           user +
           "@127.0.0.1>\r\n"
           "Call-ID: junk-" +
           user +
           "\r\n"
           "CSeq: 1 REGISTER\r\n"
           "Contact: <sip:" +
           user +
           "@127.0.0.9>\r\n"
           "Content-Length: 0\r\n\r\n";
}

std::string brokenOff(Random& random)
{
    std::string packet = request(random);
    packet.resize(below(random, packet.size()));
    return packet;
}

// A request with some of its bytes changed.
std::string garbled(Random& random)
{
    std::string packet = request(random);
    for (size_t i = 0; i < 12; ++i)
        packet[below(random, packet.size())] = static_cast<char>(below(random, 256));
    return packet;
}

std::string manyHeaders(Random& random)
{
    std::string packet = "INVITE sip:a@127.0.0.1 SIP/2.0\r\n";
    for (size_t i = below(random, 60); i > 0; --i)
        packet.append("x").append(std::to_string(i)).append(":\r\n");
    return packet;
}

std::vector<std::string> makePackets()
{
    Random random(4475); // NOLINT(bugprone-random-generator-seed): the same packets in each run
    std::vector<std::string> packets;
    for (size_t i = 0; i < kKinds / 4; ++i)
        for (const auto make : {randomBytes, brokenOff, garbled, manyHeaders})
            packets.push_back(make(random));
    return packets;
}

sockaddr_in loopback(const char* address, uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    inet_pton(AF_INET, address, &result.sin_addr);
    return result;
}

int openSocket(const std::string& sourceAddress, uint16_t serverPort)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in own = loopback(sourceAddress.c_str(), 0);
    const sockaddr_in server = loopback("127.0.0.1", serverPort);
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
        connect(fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0)
        throw std::runtime_error("no socket on " + sourceAddress);
    return fd;
}

} // namespace

JunkSender::JunkSender(const std::string& sourceAddress, uint16_t serverPort, unsigned perSecond, unsigned count)
    : _packets(makePackets()),
      _thread([this, fd = openSocket(sourceAddress, serverPort), perSecond, count](const std::stop_token& stop) {
          run(stop, fd, perSecond, count);
          close(fd);
      })
{}

void JunkSender::wait()
{
    _thread.join();
}

void JunkSender::run(const std::stop_token& stop, int fd, unsigned perSecond, unsigned count)
{
    using namespace std::chrono;
    const auto begin = steady_clock::now();
    while (_sent < count && !stop.stop_requested()) {
        const auto passed = duration_cast<microseconds>(steady_clock::now() - begin).count();
        const auto due = std::min<int64_t>(count, passed * perSecond / 1'000'000);
        for (; _sent < due; ++_sent) {
            const std::string& packet = _packets[_sent % _packets.size()];
            // What the server refuses to take, as one that has gone does, is lost.
            (void)send(fd, packet.data(), packet.size(), MSG_NOSIGNAL);
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
}
