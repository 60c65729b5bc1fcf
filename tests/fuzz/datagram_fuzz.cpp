// Datagrams against the server's own SIP agent over loopback: gate, stack, answers and registrar, as they run in the
// program but for the limits of what one source may send. Every answer must be one, and the server must live on.
#include "fuzz/fuzz_checks.h"
#include "fuzz/open_gate.h"
#include "fuzz/packet_socket.h"
#include "fuzz/registrar_under_fuzz.h"
#include "sip/sip_agent.h"
#include "sip/sip_stack.h"
#include "sip/stack_sockets.h"
#include "streams/flow_table.h"
#include "support/free_port.h"
#include "support/no_calls.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr size_t kMaxPackets = 4; // of one input
constexpr int kAnswerMs = 30'000; // a bound; loopback loses nothing
constexpr int kStartMs = 100;     // between tries until the server listens
constexpr int kMaxStartTries = 600;

class Handler final : public NoCalls {
public:
    void reset()
    {
        const std::lock_guard guard(_mutex);
        _registrar.reset();
    }
    [[nodiscard]] bool admits(const SipSource&, bool) override { return true; }
    [[nodiscard]] RegisterReply onRegister(const RegisterRequest& request) override
    {
        const std::lock_guard guard(_mutex);
        return _registrar.handle(request);
    }

private:
    std::mutex _mutex; // for below
    RegistrarUnderFuzz _registrar;
};

struct Server {
    uint16_t port = freeUdpPort();
    OpenGate gate;
    Handler handler;
    FlowTable flows;
    SipStack stack;
    SipAgent agent{stack, handler, [] { return std::vector<std::string>(); }, flows};
};

// The SIP thread uses what the stack's library takes down at exit.
Server* theServer = nullptr;

Server& startedServer()
{
    theServer = new Server;
    setPacketFilter(&theServer->gate);
    std::thread([] {
        (void)theServer->stack.run([] { theServer->agent.serveUdp("127.0.0.1", theServer->port); }, [] {});
    }).detach();
    std::atexit([] { (void)theServer->stack.park(kAnswerMs); });
    return *theServer;
}

class Client {
public:
    explicit Client(uint16_t serverPort) : _fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        require(bind(_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        address.sin_port = htons(serverPort);
        require(connect(_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        for (int i = 0; i < kMaxStartTries; ++i) {
            sendEnd();
            if (receive(kStartMs).find(endCallId()) != std::string::npos)
                return;
        }
        std::abort();
    }

    void sendPacket(std::string_view packet) const { (void)send(_fd, packet.data(), packet.size(), 0); }
    // The last request of an input; its answer comes behind all others.
    void sendEnd()
    {
        ++_serial;
        sendPacket("OPTIONS sip:127.0.0.1 SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1;rport;branch=z9hG4bK" +
                   std::to_string(_serial) + "\r\nFrom: <sip:f@127.0.0.1>;tag=f\r\nTo: <sip:f@127.0.0.1>\r\nCall-ID: " +
                   endCallId() + "\r\nCSeq: 1 OPTIONS\r\nContent-Length: 0\r\n\r\n");
    }
    [[nodiscard]] std::string endCallId() const { return "end-of-input-" + std::to_string(_serial) + "@fuzz"; }
    [[nodiscard]] std::string receive(int timeoutMs) const { return receivePacket(_fd, timeoutMs); }

private:
    int _fd;
    unsigned _serial = 0;
};

// No line of an answer is a header that only the request wanted there. An address that was folded within its brackets
// comes back so in what the stack refuses by itself.
bool isAnswerHeader(std::string_view line)
{
    static constexpr std::string_view kNames =
        " via v from f to t call-id i cseq contact record-route date server allow accept unsupported min-expires "
        "retry-after www-authenticate content-length l ";
    if (line.front() == ' ' || line.front() == '\t' || line.front() == '>')
        return true;
    std::string name = " " + std::string(line.substr(0, line.find_first_of(": \t"))) + " ";
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return kNames.find(name) != std::string_view::npos;
}

bool isAnswer(std::string_view text)
{
    static constexpr std::string_view kProtocol = "SIP/2.0 ";
    if (text.size() <= 12 || !text.starts_with(kProtocol) || !text.ends_with("\r\n\r\n") || text[8] < '2' ||
        text[8] > '6' || text[11] != ' ')
        return false;
    std::string_view rest = text.substr(text.find('\n') + 1);
    while (rest != "\r\n") {
        const size_t end = rest.find('\n');
        const std::string_view line = rest.substr(0, end);
        if (line.empty() || line == "\r" || !isAnswerHeader(line))
            return false;
        rest = rest.substr(end + 1);
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Server& server = startedServer();
    static Client& client = *new Client(server.port);
    server.handler.reset();
    std::string_view rest = textOf(data, size);
    size_t sent = 0;
    for (; sent < kMaxPackets && !rest.empty(); ++sent)
        client.sendPacket(takePart(rest).substr(0, kMaxPacket));
    client.sendEnd();
    for (size_t i = 0;; ++i) {
        const std::string answer = client.receive(kAnswerMs);
        if (!isAnswer(answer)) {
            std::fprintf(stderr, "Not an answer: \"%s\"\n", answer.c_str());
            std::abort();
        }
        if (answer.find(client.endCallId()) != std::string::npos)
            return 0;
        require(i < sent);
    }
}
