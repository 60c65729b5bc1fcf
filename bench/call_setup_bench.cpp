// How much later a call arrives because a server is in its way: from the INVITE of the caller to that at the called
// telephone, while other calls are made.
#include "support/call_load.h"
#include "support/cpu_time.h"
#include "support/office.h"
#include "support/report.h"
#include "support/servers.h"
#include "support/sip_client.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr std::array<unsigned, 3> kRates = {50, 300, 1000};
constexpr unsigned kSeconds = 20; // of each
constexpr std::chrono::milliseconds kPause{10};
constexpr int kPatienceMs = 5000;
constexpr int kMessages = 100; // at most that are passed over
constexpr int kRepeatMs = 500; // RFC 3261 section 17.2.1, timer G
constexpr int kSends = 6;
constexpr const char* kRefused = "SIP/2.0 486";
constexpr unsigned kFirstMediaPort = 40'000; // of five digits all, so that the length of the body stays
constexpr unsigned kMediaPorts = 10'000;
constexpr unsigned kPairs = kOfficeUsers / 2 - 1;
// Who take no part in the other calls.
const SippUser kCaller = officeUsers(kOfficeUsers - 2, 1).front();
const SippUser kCalled = officeUsers(kOfficeUsers - 1, 1).front();

// One telephone that calls another one, which refuses. Both stay as long as the server: it would ring a user wherever
// he has registered before, too, and wait for telephones that have gone.
class Probe {
public:
    explicit Probe(const MeasuredServer& server)
        : _caller("127.0.0.1", server.port()), _called("127.0.0.1", server.port())
    {
        enroll(_caller, kCaller);
        enroll(_called, kCalled);
    }

    // From INVITE to INVITE, in milliseconds. Nothing when one of the telephones does not hear what it should.
    std::optional<double> once()
    {
        const std::string number = std::to_string(_caller.port()) + "-" + std::to_string(++_calls);
        const std::string media = "m=audio " + std::to_string(kFirstMediaPort + _calls % kMediaPorts) + " ";
        const std::string uri = "sip:" + kCalled.name + "@" + _caller.serverUri().substr(4);
        const std::string dialog = "Via: SIP/2.0/UDP " + _caller.source() + ";branch=z9hG4bK" + number +
                                   "\r\nMax-Forwards: 70\r\nFrom: <sip:" + kCaller.name + "@127.0.0.1>;tag=" + number +
                                   "\r\nCall-ID: " + number + "\r\n";
        const auto begin = std::chrono::steady_clock::now();
        _caller.send("INVITE " + uri + " SIP/2.0\r\n" + dialog + "To: <" + uri + ">\r\nCSeq: 1 INVITE\r\nContact: <" +
                     _caller.contact(kCaller.name) + ">\r\n" + kDescribed + media + kCodecs);
        // The server may give its own call another Call-ID, but leaves the media alone.
        const auto arrived = heard(_called, "INVITE ", media, kPatienceMs);
        const std::chrono::duration<double, std::milli> passed = std::chrono::steady_clock::now() - begin;
        const auto refused = arrived ? refuse(*arrived, number) : std::nullopt;
        if (!refused)
            return std::nullopt;
        _caller.send("ACK " + uri + " SIP/2.0\r\n" + dialog + "To: " + SipAnswer{0, *refused}.header("To") +
                     "\r\nCSeq: 1 ACK\r\nContent-Length: 0\r\n\r\n");
        const std::string id = SipAnswer{0, *arrived}.header("Call-ID");
        return heard(_called, "ACK ", id, kPatienceMs) ? std::optional(passed.count()) : std::nullopt;
    }

private:
    static constexpr const char* kDescribed =
        "Content-Type: application/sdp\r\nContent-Length: 100\r\n\r\nv=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\n"
        "c=IN IP4 127.0.0.1\r\nt=0 0\r\n";
    static constexpr const char* kCodecs = "RTP/AVP 8\r\na=sendrecv\r\n";

    static void enroll(SipClient& client, const SippUser& user)
    {
        const SipAnswer answer = client.registerUser(user.name, user.password,
                                                     {"Contact: <" + client.contact(user.name) + ">", "Expires: 3600"});
        if (answer.status != 200)
            throw std::runtime_error("a telephone cannot register: " + answer.text);
    }
    // The message of this call; what comes before it is passed over, as what is repeated of earlier calls. Nothing when
    // it does not come in time.
    static std::optional<std::string> heard(const SipClient& client, const std::string& beginning,
                                            const std::string& ofCall, int timeoutMs)
    {
        for (int i = 0; i < kMessages; ++i) {
            SipAnswer message = client.receive(timeoutMs);
            if (message.text.starts_with(beginning) && message.text.find(ofCall) != std::string::npos)
                return std::move(message.text);
            if (message.text.empty())
                break;
        }
        return std::nullopt;
    }
    // A server whose socket is full for a moment loses it.
    [[nodiscard]] std::optional<std::string> refuse(const std::string& invite, const std::string& number) const
    {
        const std::string ofCall = "Call-ID: " + number + "\r\n";
        std::optional<std::string> refused;
        for (int i = 0; i < kSends && !refused; ++i) {
            _called.send(refusalOf({0, invite}));
            refused = heard(_caller, kRefused, ofCall, i + 1 < kSends ? kRepeatMs : kPatienceMs);
        }
        return refused;
    }
    static std::string refusalOf(const SipAnswer& invite)
    {
        std::string text = "SIP/2.0 486 Busy Here\r\n";
        for (const std::string& via : invite.headers("Via"))
            text += "Via: " + via + "\r\n";
        return text + "From: " + invite.header("From") + "\r\nTo: " + invite.header("To") +
               ";tag=called\r\nCall-ID: " + invite.header("Call-ID") + "\r\nCSeq: " + invite.header("CSeq") +
               "\r\nContent-Length: 0\r\n\r\n";
    }

    SipClient _caller;
    SipClient _called;
    unsigned _calls = 0;
};

// A server, the telephones that call beside the probe, and what is told of them.
class Measured {
public:
    explicit Measured(const MeasuredServer& server) : _others(server.port(), 0, kPairs), _probe(server) {}

    // The median in milliseconds, what of a hundred one is later than, and how many calls of all were not made.
    std::vector<std::string> measure(unsigned perSecond)
    {
        const auto others = _others.start({perSecond * kSeconds, perSecond});
        std::vector<double> heard;
        unsigned probes = 0;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(kSeconds);
        for (; std::chrono::steady_clock::now() < end; ++probes) {
            if (const std::optional<double> passed = _probe.once())
                heard.push_back(*passed);
            std::this_thread::sleep_for(kPause);
        }
        const auto made = static_cast<unsigned>(others->wait().successful + heard.size());
        const unsigned wanted = perSecond * kSeconds + probes;
        const std::string failed = std::to_string(wanted - made) + " of " + std::to_string(wanted);
        if (heard.empty())
            return {"none", "none", failed};
        std::sort(heard.begin(), heard.end());
        return {decimal(heard[heard.size() / 2], 2), decimal(heard[heard.size() * 99 / 100], 2), failed};
    }

private:
    const CallTelephones _others;
    Probe _probe;
};

void bench()
{
    const std::string before = machineLoad();
    const ParlovexServer parlovex(kOfficeUsers, ServedCalls::OfRegistered);
    const KamailioServer kamailio;
    Measured ours(parlovex);
    Measured theirs(kamailio);
    const Table table("Set-up time that the server adds, ms",
                      {"Other calls a second", "Parlovex", "- 99 of 100 within", "- calls not made", "Kamailio",
                       "- 99 of 100 within", "- calls not made"});
    for (const unsigned rate : kRates) {
        std::vector<std::string> row = {std::to_string(rate)};
        for (Measured* const each : {&ours, &theirs})
            for (std::string& cell : each->measure(rate))
                row.push_back(std::move(cell));
        table.row(std::move(row));
    }
    Table::note(
        "From the INVITE of a caller to that at the called telephone, which share a thread; medians of " +
        std::to_string(kSeconds) +
        " s with calls one after another beside the others, which last 100 ms each. Calls not made are those of the "
        "others that failed and those that did not reach the called telephone or came back unanswered. Load of the "
        "machine before: " +
        before + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
