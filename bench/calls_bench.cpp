// Processor time of one call through two legs: ours with dial plan, states of users, events and stored records beside
// Kamailio, which relays the call and keeps locations in memory.
#include "support/call_load.h"
#include "support/cpu_time.h"
#include "support/office.h"
#include "support/report.h"
#include "support/servers.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <map>
#include <thread>

namespace {

constexpr unsigned kPerSecond = 300;
constexpr unsigned kRounds = 5;
constexpr std::chrono::seconds kRound{10};
// What a call leaves behind is kept for 32 s (RFC 3261, timers H and J). After that as much goes as comes.
constexpr std::chrono::seconds kSteady{35};

struct Kind {
    ServedCalls calls;
    const char* what;
};
constexpr std::array<Kind, 2> kKinds = {{{ServedCalls::OfRegistered, "call of a telephone that registered"},
                                         {ServedCalls::Authenticated, "call with a password"}}};

// A server under steady load.
class Loaded {
public:
    Loaded(const MeasuredServer& server, const CallsWanted& wanted)
        : _server(server),
          _telephones(server.port(), 0, kOfficeUsers / 2),
          _wanted(wanted),
          _run(_telephones.start(wanted))
    {}

    void beginRound()
    {
        _before = CpuTime::of(_server.pid());
        _begin = std::chrono::steady_clock::now();
    }
    void endRound()
    {
        const CpuTime used = CpuTime::of(_server.pid()).since(_before);
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - _begin;
        const double calls = passed.count() * _wanted.perSecond;
        total.add(static_cast<double>(used.total()) / 1000 / calls);
        for (const auto& [thread, time] : used.byThread())
            threads[thread].add(static_cast<double>(time) / 1000 / calls);
    }
    void finish()
    {
        const CallsMade made = _run->wait();
        expectAllMade(made, _wanted.count);
        retransmissions = made.retransmissions;
    }

    Rounds total; // us
    std::map<std::string, Rounds> threads;
    unsigned retransmissions = 0;

private:
    const MeasuredServer& _server;
    const CallTelephones _telephones;
    const CallsWanted _wanted;
    std::unique_ptr<CallTelephones::Run> _run;
    CpuTime _before;
    std::chrono::steady_clock::time_point _begin;
};

void print(const Table& table, const char* what, const Loaded& ours, const Loaded& reference)
{
    table.row({what, spread(ours.total), spread(reference.total),
               decimal(ours.total.median() / reference.total.median(), 2)});
    for (const auto& [thread, rounds] : ours.threads)
        if (rounds.median() >= 0.05)
            table.row({"- of it thread \"" + thread + "\"", spread(rounds), "", ""});
    table.row(
        {"- retransmissions by sipp", std::to_string(ours.retransmissions), std::to_string(reference.retransmissions)});
}

void measure(const Table& table, const Kind& kind, unsigned rounds)
{
    ParlovexServer parlovex(kOfficeUsers, kind.calls);
    const KamailioServer kamailio(kind.calls);
    CallsWanted wanted;
    wanted.perSecond = kPerSecond;
    wanted.count = kPerSecond * static_cast<unsigned>((kSteady + rounds * kRound + kRound / 2).count());
    wanted.areAuthenticated = kind.calls == ServedCalls::Authenticated;
    Loaded ours(parlovex, wanted);
    Loaded reference(kamailio, wanted);
    std::this_thread::sleep_for(kSteady);
    for (unsigned round = 0; round < rounds; ++round) {
        ours.beginRound();
        reference.beginRound();
        std::this_thread::sleep_for(kRound);
        ours.endRound();
        reference.endRound();
    }
    ours.finish();
    reference.finish();
    print(table, kind.what, ours, reference);
    std::fprintf(stderr, "%s", parlovex.end().c_str());
}

void bench()
{
    const std::string before = machineLoad();
    const unsigned rounds = roundsWanted(kRounds);
    const Table table("CPU per call, µs", {"What", "Parlovex", "Kamailio", "Ratio"});
    for (const Kind& kind : kKinds)
        measure(table, kind, rounds);
    Table::note(
        "Medians (smallest to largest) of " + std::to_string(rounds) + " rounds of " + std::to_string(kRound.count()) +
        " s with " + std::to_string(kPerSecond) +
        " calls a second of 100 ms each, both servers at the same time, after " + std::to_string(kSteady.count()) +
        " s of the same load; " + std::to_string(kOfficeUsers) +
        " users; user and system time of all threads and processes of the server. Load of the machine before: " +
        before + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
