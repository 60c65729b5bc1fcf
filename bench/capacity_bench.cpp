// The most authenticated registrations a second: a number of telephones register again and again, each as soon as it
// has its answer. They need less of the machine than the servers, which are so the limit.
#include "support/cpu_time.h"
#include "support/fast_telephones.h"
#include "support/office.h"
#include "support/report.h"
#include "support/servers.h"

#include <cstdio>
#include <map>
#include <stdexcept>

namespace {

constexpr unsigned kRounds = 5;
constexpr unsigned kAtATime = 200;
constexpr double kSeconds = 5; // a round

struct Measured {
    Rounds rate;
    Rounds serverCores;
    Rounds ownCores;
    unsigned lost = 0;
};

// One server with its telephones, which stay where they are.
struct Pair {
    explicit Pair(const MeasuredServer& loaded) : server(loaded), telephones(loaded.port(), kOfficeUsers, kAtATime)
    {
        (void)telephones.run(kSeconds); // all users register for the first time
    }

    void round()
    {
        const CpuTime before = CpuTime::of(server.pid());
        const FastTelephones::Result result = telephones.run(kSeconds);
        const CpuTime used = CpuTime::of(server.pid()).since(before);
        if (result.refused != 0)
            throw std::runtime_error(server.name() + " refuses registrations");
        measured.rate.add(result.registered / result.seconds);
        measured.serverCores.add(static_cast<double>(used.total()) / 1e9 / result.seconds);
        measured.ownCores.add(result.ownCores);
        measured.lost += result.lost;
        std::fprintf(stderr, "%s: %.0f a second\n", server.name().c_str(), result.registered / result.seconds);
    }

    const MeasuredServer& server;
    FastTelephones telephones;
    Measured measured;
};

void bench()
{
    const ParlovexServer parlovex(kOfficeUsers);
    const KamailioServer kamailio;
    Pair ours(parlovex);
    Pair theirs(kamailio);
    const std::string load = machineLoad();
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round < rounds; ++round) {
        ours.round();
        theirs.round();
    }
    const Table table("Most registrations a second", {"What", "Parlovex", "Kamailio", "Ratio"});
    table.row({"authenticated registrations a second", spread(ours.measured.rate, 0), spread(theirs.measured.rate, 0),
               decimal(ours.measured.rate.median() / theirs.measured.rate.median(), 2)});
    table.row({"lost replies", std::to_string(ours.measured.lost), std::to_string(theirs.measured.lost), ""});
    table.row(
        {"cores used by the server", spread(ours.measured.serverCores, 2), spread(theirs.measured.serverCores, 2), ""});
    table.row(
        {"cores used by the telephones", spread(ours.measured.ownCores, 2), spread(theirs.measured.ownCores, 2), ""});
    Table::note(
        "Medians (smallest to largest) of " + std::to_string(rounds) + " interleaved rounds of " +
        decimal(kSeconds, 0) + " s; " + std::to_string(kAtATime) + " telephones at a time of " +
        std::to_string(kOfficeUsers) +
        " users, each asking again when it has its answer. Telephones and server share the machine. Load of the "
        "machine before: " +
        load + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
