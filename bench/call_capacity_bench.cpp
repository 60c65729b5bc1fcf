// The most calls a second that a server carries on one core without a failed one. The telephones have another core.
#include "support/call_load.h"
#include "support/cpu_time.h"
#include "support/office.h"
#include "support/own_core.h"
#include "support/report.h"
#include "support/servers.h"

#include <cstdio>
#include <memory>
#include <string>
#include <type_traits>

namespace {

constexpr unsigned kRounds = 3;
constexpr unsigned kFirstRate = 500;
constexpr unsigned kStep = 250;
constexpr unsigned kLastRate = 8000;
constexpr unsigned kStepSeconds = 8;
constexpr unsigned kServerCore = 0;
constexpr unsigned kTelephoneCore = 1;
constexpr unsigned kLimit = 1000;
// sipp itself is the limit when it begins fewer calls than it was asked for.
constexpr double kBegunEnough = 0.97;

// More and more until a call fails, without a rest in between: what earlier calls left behind is still there.
template <class Server>
double mostCalls()
{
    std::unique_ptr<Server> server;
    {
        const OwnCore core(kServerCore);
        if constexpr (std::is_same_v<Server, ParlovexServer>)
            server = std::make_unique<Server>(kOfficeUsers, ServedCalls::OfRegistered);
        else
            server = std::make_unique<Server>(ServedCalls::OfRegistered);
    }
    const OwnCore core(kTelephoneCore);
    const CallTelephones telephones(server->port(), 0, kOfficeUsers / 2);
    double most = 0;
    for (unsigned rate = kFirstRate; rate <= kLastRate; rate += kStep) {
        CallsWanted wanted;
        wanted.perSecond = rate;
        wanted.count = rate * kStepSeconds;
        const CallsMade made = telephones.start(wanted)->wait();
        const double begun = wanted.count / (made.seconds - wanted.talkMs / 1000.0);
        std::fprintf(stderr, "%s: %u a second: %u of %u, %u retransmissions, %.0f begun\n", server->name().c_str(),
                     rate, made.successful, wanted.count, made.retransmissions, begun);
        if (made.successful != wanted.count || begun < kBegunEnough * rate)
            break;
        most = rate;
    }
    return most;
}

void bench()
{
    const std::string before = machineLoad();
    const unsigned rounds = roundsWanted(kRounds);
    Rounds ours;
    Rounds reference;
    for (unsigned round = 0; round < rounds; ++round) {
        ours.add(mostCalls<ParlovexServer>());
        reference.add(mostCalls<KamailioServer>());
    }
    const Table table("Most calls a second on one core", {"What", "Parlovex", "Kamailio", "Ratio", "Limit"});
    table.row({"calls a second without a failed one", spread(ours, 0), spread(reference, 0),
               decimal(ours.median() / reference.median(), 2), std::to_string(kLimit)});
    Table::note("Medians (smallest to largest) of " + std::to_string(rounds) + " freshly started servers; " +
                std::to_string(kStep) + " calls a second more each " + std::to_string(kStepSeconds) +
                " s, of 100 ms each, until one fails or sipp begins fewer than it should. All processes of the server "
                "are bound to one core, both sipp to the other. Load of the machine before: " +
                before + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
