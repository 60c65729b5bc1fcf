// Processor time of one authenticated registration (two requests, two answers): ours with stored registrations and
// published events beside Kamailio with locations in memory. A refresh that changes nothing is neither stored nor
// published.
#include "support/cpu_time.h"
#include "support/free_port.h"
#include "support/office.h"
#include "support/report.h"
#include "support/servers.h"

#include <array>
#include <cstdio>
#include <map>

namespace {

constexpr unsigned kPerSecond = 4000;
constexpr unsigned kCounted = 40'000; // a round: each user refreshes four times
constexpr unsigned kRounds = 5;

// What telephones do, each kind more than the one before.
struct Kind {
    const char* scenario;
    const char* what;
};
constexpr std::array<Kind, 3> kKinds = {
    {{"register.xml", "refresh that changes nothing"},
     {"register_priority.xml", "refresh that is stored, as one late in its lifetime is"},
     {"register_changed.xml", "new User-Agent each time: stored, published, logged"}}};

struct Measured {
    Rounds total; // us
    std::map<std::string, Rounds> threads;
    unsigned retransmissions = 0;
};

// Each user twice, with another priority the second time.
std::vector<SippUser> usersWithPriorities()
{
    std::vector<SippUser> users;
    for (const char* priority : {"0.5", "0.6"})
        for (SippUser& user : officeUsers(0, kOfficeUsers)) {
            user.third = priority;
            users.push_back(std::move(user));
        }
    return users;
}

class Bench {
public:
    void run()
    {
        for (MeasuredServer* server : servers())
            load(*server, kKinds.front(), kOfficeUsers);
        const std::string before = machineLoad();
        const unsigned rounds = roundsWanted(kRounds);
        const Table table("CPU per authenticated registration, µs", {"What", "Parlovex", "Kamailio", "Ratio"});
        for (const Kind& kind : kKinds) {
            std::map<std::string, Measured> measured;
            for (unsigned round = 0; round < rounds; ++round)
                for (MeasuredServer* server : servers())
                    measure(*server, kind, measured[server->name()]);
            print(table, kind, measured.at(_parlovex.name()), measured.at(_kamailio.name()));
        }
        Table::note("Medians (smallest to largest) of " + std::to_string(rounds) + " interleaved rounds of " +
                    std::to_string(kCounted) + " registrations at " + std::to_string(kPerSecond) + " a second, " +
                    std::to_string(kOfficeUsers) + " users; user and system time of all threads and processes of the " +
                    "server. Load of the machine before: " + before + ".");
        std::fprintf(stderr, "%s", _parlovex.end().c_str());
    }

private:
    std::vector<MeasuredServer*> servers() { return {&_parlovex, &_kamailio}; }

    SippResult load(const MeasuredServer& server, const Kind& kind, unsigned count) const
    {
        return registerAll(_scratch, server.port(), _ownPort, _users, count, kPerSecond, kind.scenario);
    }

    void measure(const MeasuredServer& server, const Kind& kind, Measured& measured) const
    {
        const CpuTime before = CpuTime::of(server.pid());
        const SippResult result = load(server, kind, kCounted);
        const CpuTime used = CpuTime::of(server.pid()).since(before);
        const auto perRegistration = [](int64_t ns) { return static_cast<double>(ns) / 1000 / kCounted; };
        measured.total.add(perRegistration(used.total()));
        for (const auto& [thread, time] : used.byThread())
            measured.threads[thread].add(perRegistration(time));
        measured.retransmissions += result.retransmissions;
        std::fprintf(stderr, "%s: %.1f us, %u retransmissions, load %s\n", server.name().c_str(),
                     perRegistration(used.total()), result.retransmissions, machineLoad().c_str());
    }

    static void print(const Table& table, const Kind& kind, const Measured& ours, const Measured& reference)
    {
        table.row({kind.what, spread(ours.total), spread(reference.total),
                   decimal(ours.total.median() / reference.total.median(), 2)});
        for (const auto& [thread, rounds] : ours.threads)
            if (rounds.median() >= 0.05)
                table.row({"- of it thread \"" + thread + "\"", spread(rounds), "", ""});
        table.row({"- retransmissions by sipp", std::to_string(ours.retransmissions),
                   std::to_string(reference.retransmissions), ""});
    }

    const TemporaryFolder _scratch;
    const std::vector<SippUser> _users = usersWithPriorities();
    const uint16_t _ownPort = freeUdpPort();
    ParlovexServer _parlovex{kOfficeUsers};
    KamailioServer _kamailio;
};

} // namespace

int main()
{
    return runBench([] { Bench().run(); });
}
