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
constexpr unsigned kPairs = kOfficeUsers / 2 - 1;
// Who take no part in the other calls.
const SippUser kCaller = officeUsers(kOfficeUsers - 2, 1).front();
const SippUser kCalled = officeUsers(kOfficeUsers - 1, 1).front();

// One telephone that calls another one, which refuses.
class Probe {
public:
    explicit Probe(const MeasuredServer& server)
        : _server(server.name()), _caller("127.0.0.1", server.port()), _called("127.0.0.1", server.port())
    {
        enroll(_caller, kCaller);
        enroll(_called, kCalled);
    }

    // From INVITE to INVITE, in milliseconds.
    double once()
    {
        const std::string number = std::to_string(_caller.port()) + "-" + std::to_string(++_calls);
        const std::string uri = "sip:" + kCalled.name + "@" + _caller.serverUri().substr(4);
        const std::string dialog = "Via: SIP/2.0/UDP " + _caller.source() + ";branch=z9hG4bK" + number +
                                   "\r\nMax-Forwards: 70\r\nFrom: <sip:" + kCaller.name + "@127.0.0.1>;tag=" + number +
                                   "\r\nCall-ID: " + number + "\r\n";
        const std::string to = "To: <" + uri + ">";
        const auto begin = std::chrono::steady_clock::now();
        _caller.send("INVITE " + uri + " SIP/2.0\r\n" + dialog + to + "\r\nCSeq: 1 INVITE\r\nContact: <" +
                     _caller.contact(kCaller.name) + ">\r\n" + kBody);
        const std::string arrived = next(_called, "INVITE ");
        const std::chrono::duration<double, std::milli> passed = std::chrono::steady_clock::now() - begin;
        const std::string refused = refuse(arrived);
        _caller.send("ACK " + uri + " SIP/2.0\r\n" + dialog + "To: " + SipAnswer{0, refused}.header("To") +
                     "\r\nCSeq: 1 ACK\r\nContent-Length: 0\r\n\r\n");
        (void)next(_called, "ACK ");
        return passed.count();
    }

private:
    static constexpr const char* kBody =
        "Content-Type: application/sdp\r\nContent-Length: 100\r\n\r\nv=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\n"
        "c=IN IP4 127.0.0.1\r\nt=0 0\r\nm=audio 40000 RTP/AVP 8\r\na=sendrecv\r\n";

    static void enroll(SipClient& client, const SippUser& user)
    {
        const SipAnswer answer = client.registerUser(user.name, user.password,
                                                     {"Contact: <" + client.contact(user.name) + ">", "Expires: 3600"});
        if (answer.status != 200)
            throw std::runtime_error("a telephone cannot register: " + answer.text);
    }
    // Whatever comes before it is passed over. Nothing when it does not come in time.
    static std::optional<std::string> heard(const SipClient& client, const std::string& beginning, int timeoutMs)
    {
        for (int i = 0; i < kMessages; ++i) {
            SipAnswer message = client.receive(timeoutMs);
            if (message.text.starts_with(beginning))
                return std::move(message.text);
            if (message.text.empty())
                break;
        }
        return std::nullopt;
    }
    [[nodiscard]] std::string next(const SipClient& client, const std::string& beginning) const
    {
        if (std::optional<std::string> message = heard(client, beginning, kPatienceMs))
            return *std::move(message);
        throw std::runtime_error("a telephone of " + _server + " does not hear \"" + beginning + "\"");
    }
    // A server whose socket is full for a moment loses it.
    [[nodiscard]] std::string refuse(const std::string& invite) const
    {
        for (int i = 1; i < kSends; ++i) {
            _called.send(refusalOf({0, invite}));
            if (std::optional<std::string> refused = heard(_caller, kRefused, kRepeatMs))
                return *std::move(refused);
        }
        _called.send(refusalOf({0, invite}));
        return next(_caller, kRefused);
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

    const std::string _server;
    SipClient _caller;
    SipClient _called;
    unsigned _calls = 0;
};

struct Times {
    double medianMs = 0;
    double lateMs = 0; // of a hundred one is later
};

Times measure(const MeasuredServer& server, const CallTelephones& telephones, unsigned perSecond)
{
    Probe probe(server);
    const auto others = telephones.start({perSecond * kSeconds, perSecond});
    std::vector<double> all;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(kSeconds);
    while (std::chrono::steady_clock::now() < end) {
        all.push_back(probe.once());
        std::this_thread::sleep_for(kPause);
    }
    expectAllMade(others->wait(), perSecond * kSeconds);
    std::sort(all.begin(), all.end());
    return {all[all.size() / 2], all[all.size() * 99 / 100]};
}

void bench()
{
    const std::string before = machineLoad();
    const ParlovexServer parlovex(kOfficeUsers, ServedCalls::OfRegistered);
    const KamailioServer kamailio;
    const CallTelephones ours(parlovex, 0, kPairs);
    const CallTelephones theirs(kamailio, 0, kPairs);
    const Table table("Set-up time that the server adds, ms",
                      {"Other calls a second", "Parlovex", "- 99 of 100 within", "Kamailio", "- 99 of 100 within"});
    for (const unsigned rate : kRates) {
        const Times own = measure(parlovex, ours, rate);
        const Times other = measure(kamailio, theirs, rate);
        table.row({std::to_string(rate), decimal(own.medianMs, 2), decimal(own.lateMs, 2), decimal(other.medianMs, 2),
                   decimal(other.lateMs, 2)});
    }
    Table::note(
        "From the INVITE of a caller to that at the called telephone, which share a thread; medians of " +
        std::to_string(kSeconds) +
        " s with calls one after another beside the others, which last 100 ms each. Load of the machine before: " +
        before + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
