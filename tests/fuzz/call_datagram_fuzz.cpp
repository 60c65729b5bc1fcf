// Two telephones against the server's own SIP agent over loopback: gate, stack, transactions and calls as they run in
// the program, with a clock that the input moves. What the telephones get must be SIP, and nothing stays of a call.
#include "callserver/fake_clock.h"
#include "fuzz/calls_under_fuzz.h"
#include "fuzz/fuzz_checks.h"
#include "fuzz/open_gate.h"
#include "fuzz/packet_socket.h"
#include "sip/sip_agent.h"
#include "sip/sip_stack.h"
#include "sip/stack_sockets.h"
#include "streams/flow_table.h"
#include "support/free_port.h"
#include "support/no_calls.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <sofia-sip/su_time.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

// The stack reads the time through these when they are set.
extern "C" {
extern void (*_su_time)(su_time_t* time);      // NOLINT(bugprone-reserved-identifier)
extern uint64_t (*_su_nanotime)(uint64_t* ns); // NOLINT(bugprone-reserved-identifier)
}

namespace {

constexpr size_t kMaxParts = 12;     // of one input
constexpr size_t kMaxAnswers = 2000; // to one input: repetitions, with each step of the clock
constexpr int kAnswerMs = 30'000;    // a bound; loopback loses nothing
constexpr int kMaxPorts = 20;        // until one is free
constexpr int kStepSeconds = 2;      // so much the clock moves at once
constexpr int kLastSeconds = 60;     // what is kept of ended calls is gone then
constexpr uint64_t kNsPerSecond = 1'000'000'000;
constexpr uint64_t kStartSeconds = 3'900'000'000; // NTP; any moment

std::atomic<uint64_t> passedSeconds{0};

void setStackTime(su_time_t* time)
{
    *time = {kStartSeconds + passedSeconds, 0};
}

uint64_t setStackNs(uint64_t* ns)
{
    return *ns = (kStartSeconds + passedSeconds) * kNsPerSecond;
}

// All of it on the SIP thread.
class Handler final : public NoCalls {
public:
    [[nodiscard]] bool admits(const SipSource&, bool) override { return true; }
    [[nodiscard]] RegisterReply onRegister(const RegisterRequest&) override
    {
        RegisterReply reply;
        reply.status = 403;
        reply.phrase = "Forbidden";
        return reply;
    }
    [[nodiscard]] bool hasCall(std::string_view callId, const SipSource& source) const override
    {
        return world != nullptr && world->calls().has(callId, sourceKey(source.address));
    }
    [[nodiscard]] CallVerdict judge(const CallMessage& request) override
    {
        return world == nullptr ? CallVerdict{false, 503} : world->calls().judge(request);
    }
    void onCallRequest(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction) override
    {
        world->calls().onRequest(request, std::move(transaction));
    }
    void onUdpClosing() override
    {
        if (world != nullptr)
            world->calls().dropUdp();
    }

    std::unique_ptr<CallsUnderFuzz> world; // null between inputs
};

class Server {
public:
    void run()
    {
        _su_time = setStackTime;
        _su_nanotime = setStackNs;
        setPacketFilter(&_gate);
        (void)_stack.run([] {},
                         [this] {
                             if (_handler.world != nullptr)
                                 _handler.world->calls().step();
                         });
    }
    void park() { (void)_stack.park(kAnswerMs); }

    // Begins anew, and gives the port.
    uint16_t begin(const std::vector<FuzzPhone>& phones, bool hasTimers)
    {
        perform([&] {
            if (_agent.servedUdpPort() == 0)
                moveOn();
            _handler.world = std::make_unique<CallsUnderFuzz>(_agent.calls(), _clock, phones, hasTimers);
        });
        return _agent.servedUdpPort();
    }
    void pass(int seconds)
    {
        perform([&] {
            passedSeconds += static_cast<uint64_t>(seconds);
            _clock.passSeconds(seconds);
        });
    }
    void release()
    {
        perform([&] { (void)_handler.world->calls().releaseAll(); });
    }
    // The sockets go, with all that the stack has of the calls.
    void end()
    {
        perform([&] { moveOn(); });
        perform([] {}); // what was left for later has been done
        pass(kLastSeconds);
        perform([&] {
            _handler.world->calls().step();
            _handler.world->checkNothingLeft();
            _handler.world.reset();
        });
    }

private:
    // To another port. Somebody else on the machine may be faster.
    void moveOn()
    {
        const uint16_t former = _agent.servedUdpPort();
        for (int i = 0; i < kMaxPorts && _agent.servedUdpPort() == former; ++i)
            _agent.serveUdp("127.0.0.1", freeUdpPort());
        require(_agent.servedUdpPort() != former);
    }

    template <class Work>
    void perform(const Work& work)
    {
        std::promise<void> done;
        _stack.post([&] {
            work();
            done.set_value();
        });
        done.get_future().wait();
    }

    FakeClock _clock; // the SIP thread's own
    OpenGate _gate;
    Handler _handler;
    FlowTable _flows;
    SipStack _stack;
    SipAgent _agent{_stack, _handler, [] { return std::vector<std::string>(); }, _flows};
};

Server* theServer = nullptr;

Server& startedServer()
{
    theServer = new Server; // the SIP thread uses what the stack's library takes down at exit
    std::thread([] { theServer->run(); }).detach();
    std::atexit([] { theServer->park(); });
    return *theServer;
}

std::string headerOf(const std::string& message, const std::string& name)
{
    const size_t begin = message.find("\r\n" + name + ": ");
    if (begin == std::string::npos)
        return {};
    const size_t value = begin + name.size() + 4;
    return message.substr(value, message.find("\r\n", value) - value);
}

void replaceAll(std::string& text, std::string_view mark, const std::string& value)
{
    for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + value.size()))
        text.replace(at, mark.size(), value);
}

bool isKnownHeader(std::string_view line)
{
    static constexpr std::string_view kNames =
        " via v from f to t call-id i cseq contact m record-route route date server allow accept unsupported "
        "min-expires retry-after www-authenticate proxy-authenticate content-length l content-type c max-forwards "
        "user-agent supported k require rseq rack session-expires x min-se privacy reason subject s alert-info "
        "call-info "
        "accept-encoding accept-language answer-mode error-info in-reply-to info-package organization priority "
        "recv-info warning content-disposition content-encoding e content-language mime-version timestamp event "
        "subscription-state expires "
        "refer-sub referred-by p-asserted-identity ";
    if (line.front() == ' ' || line.front() == '\t' || line.front() == '>')
        return true;
    std::string name = " " + std::string(line.substr(0, line.find_first_of(": \t"))) + " ";
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return kNames.find(name) != std::string_view::npos;
}

// A request or an answer, with headers that the server knows and a body of the length that it names.
bool isSip(std::string_view text)
{
    const size_t end = text.find("\r\n\r\n");
    const size_t first = text.find("\r\n");
    if (end == std::string_view::npos)
        return false;
    const std::string_view line = text.substr(0, first);
    const bool isAnswer = line.starts_with("SIP/2.0 ") && line.size() > 11 && line[8] >= '1' && line[8] <= '6';
    const bool isRequest = line.ends_with(" SIP/2.0") && std::isupper(static_cast<unsigned char>(line[0])) != 0;
    std::string_view rest = text.substr(first + 2, end - first);
    while (!rest.empty()) {
        const size_t length = rest.find('\n') + 1;
        const std::string_view header = rest.substr(0, length);
        if (length == 0 || header == "\r\n" || !isKnownHeader(header))
            return false;
        rest.remove_prefix(length);
    }
    return isAnswer || isRequest;
}

class Telephone {
public:
    Telephone() : _fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        require(bind(_fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                getsockname(_fd, reinterpret_cast<sockaddr*>(&address), &size) == 0);
        _port = ntohs(address.sin_port);
    }

    [[nodiscard]] uint16_t port() const { return _port; }
    void reset() { _request = _answer = {}; }

    void send(uint16_t serverPort, const std::string& packet) const
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(serverPort);
        (void)sendto(_fd, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }

    // Marks stand for what only the server knows: of the last request that came the headers of an answer, of the last
    // answer those of a request within its dialog, or of the last request the same from the other side.
    [[nodiscard]] std::string filled(std::string text) const
    {
        for (const auto& [mark, name] : {std::pair("@V", "Via"), std::pair("@F", "From"), std::pair("@T", "To"),
                                         std::pair("@I", "Call-ID"), std::pair("@C", "CSeq")})
            replaceAll(text, mark, headerOf(_request, name));
        const bool isCalled = _answer.empty();
        const std::string& last = isCalled ? _request : _answer;
        replaceAll(text, "@f", isCalled ? headerOf(last, "To") + ";tag=d" : headerOf(last, "From"));
        replaceAll(text, "@t", headerOf(last, isCalled ? "From" : "To"));
        replaceAll(text, "@i", headerOf(last, "Call-ID"));
        replaceAll(text, "@r", headerOf(_answer, "RSeq"));
        return text;
    }

    // Takes what has come.
    void hear()
    {
        for (size_t i = 0; i < kMaxAnswers; ++i) {
            const std::string packet = receive(0);
            if (packet.empty())
                return;
            note(packet);
        }
    }
    [[nodiscard]] std::string receive(int timeoutMs) const { return receivePacket(_fd, timeoutMs); }

private:
    void note(const std::string& packet)
    {
        if (!isSip(packet)) {
            std::fprintf(stderr, "Not SIP: \"%s\"\n", packet.c_str());
            std::abort();
        }
        (packet.starts_with("SIP/2.0 ") ? _answer : _request) = packet;
    }

    int _fd;
    uint16_t _port = 0;
    std::string _request; // the last ones that came
    std::string _answer;
};

class Office {
public:
    Office() : _server(startedServer()) {}

    void play(std::string_view input)
    {
        const std::vector<FuzzPhone> phones = {{"2001", {"127.0.0.1", _caller.port(), kTransportUdp}},
                                               {"2002", {"127.0.0.1", _called.port(), kTransportUdp}}};
        _port = _server.begin(phones, input.size() % 2 != 0);
        _caller.reset();
        _called.reset();
        for (size_t i = 0; i < kMaxParts && !input.empty(); ++i)
            perform(takePart(input));
        _server.end();
        _caller.hear();
        _called.hear();
    }

private:
    void perform(std::string_view part)
    {
        if (part.empty())
            return;
        const std::string rest(part.substr(1, kMaxPacket));
        switch (part.front()) {
        case 'r':
            _server.release();
            break;
        case 't':
            for (int i = rest.empty() ? 1 : rest[0] & 0x1f; i >= 0; --i) {
                _server.pass(kStepSeconds);
                settle();
            }
            break;
        case 'd':
            _called.send(_port, _called.filled(rest));
            break;
        default:
            _caller.send(_port, _caller.filled(rest));
        }
        settle();
    }

    // All that was sent has been answered.
    void settle()
    {
        const std::string id = "end-" + std::to_string(++_serial);
        _observer.send(_port, "OPTIONS sip:127.0.0.1 SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1;rport;branch=z9hG4bK" + id +
                                  "\r\nFrom: <sip:f@127.0.0.1>;tag=f\r\nTo: <sip:f@127.0.0.1>\r\nCall-ID: " + id +
                                  "\r\nCSeq: 1 OPTIONS\r\nContent-Length: 0\r\n\r\n");
        require(_observer.receive(kAnswerMs).find(id) != std::string::npos);
        _caller.hear();
        _called.hear();
    }

    Server& _server;
    Telephone _caller;
    Telephone _called;
    Telephone _observer;
    uint16_t _port = 0;
    unsigned _serial = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Office& office = *new Office;
    office.play(textOf(data, size));
    return 0;
}
