// Memory of calls in progress, and what stays of them when they are over.
#include "support/call_load.h"
#include "support/cpu_time.h"
#include "support/office.h"
#include "support/report.h"
#include "support/servers.h"

#include <chrono>
#include <thread>

namespace {

constexpr unsigned kRounds = 3;
constexpr unsigned kFirst = 100; // in progress before: buffers and caches that do not grow with the calls
constexpr unsigned kMore = 2900;
constexpr unsigned kPerSecond = 500;
constexpr unsigned kTalkMs = 30'000;
constexpr unsigned kFirstTalkMs = 50'000; // a minute of silence would make the server ask the telephones
constexpr double kLimitKb = 100;
constexpr std::chrono::seconds kSettle{3};
constexpr std::chrono::seconds kLinger{36}; // what an ended call leaves behind is kept for 35 s

struct Memory {
    double process = 0; // kB
    double heap = 0;    // likewise; 0 where nobody tells
};

Memory memoryOf(MeasuredServer& server)
{
    Memory memory;
    memory.process = static_cast<double>(memoryKb(server.pid()));
    if (auto* ours = dynamic_cast<ParlovexServer*>(&server); ours != nullptr)
        memory.heap = ours->heapBytes() / 1024;
    return memory;
}

struct Growth {
    Rounds process; // kB a call
    Rounds heap;

    void add(const Memory& before, const Memory& after)
    {
        process.add((after.process - before.process) / kMore);
        heap.add((after.heap - before.heap) / kMore);
    }
};

struct Measured {
    Growth inProgress;
    Growth lingering; // they have just ended
    Growth gone;

    void measure(MeasuredServer& server)
    {
        const CallTelephones few(server.port(), 0, kFirst);
        const CallTelephones many(server.port(), 2 * kFirst, kMore);
        // Once for what is made once.
        (void)few.run({kFirst, kPerSecond});
        std::this_thread::sleep_for(kLinger);
        const Memory idle = memoryOf(server);
        const auto first = few.start({kFirst, kPerSecond, kFirstTalkMs});
        std::this_thread::sleep_for(kSettle);
        const Memory before = memoryOf(server);
        const auto second = many.start({kMore, kPerSecond, kTalkMs});
        std::this_thread::sleep_for(std::chrono::seconds(kMore / kPerSecond) + 2 * kSettle);
        inProgress.add(before, memoryOf(server));
        expectAllMade(second->wait(), kMore);
        lingering.add(before, memoryOf(server));
        expectAllMade(first->wait(), kFirst);
        std::this_thread::sleep_for(kLinger);
        gone.add(idle, memoryOf(server));
    }
};

void row(const Table& table, const char* what, const Rounds& ours, const Rounds* reference, const char* limit = "")
{
    table.row({what, spread(ours, 1), reference == nullptr ? std::string() : spread(*reference, 1), limit});
}

void bench()
{
    Measured ours;
    Measured reference;
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round < rounds; ++round) {
        ParlovexServer parlovex(kOfficeUsers, ServedCalls::OfRegistered);
        ours.measure(parlovex);
        KamailioServer kamailio;
        reference.measure(kamailio);
    }
    const std::string limit = decimal(kLimitKb, 0);
    const Table table("Memory of a call, kB", {"What", "Parlovex", "Kamailio", "Limit"});
    row(table, "in progress: growth of the process", ours.inProgress.process, &reference.inProgress.process,
        limit.c_str());
    row(table, "in progress: growth of what it has allocated", ours.inProgress.heap, nullptr, limit.c_str());
    row(table, "just ended: the process", ours.lingering.process, &reference.lingering.process);
    row(table, "just ended: what it has allocated", ours.lingering.heap, nullptr);
    row(table, "36 s after the end: the process", ours.gone.process, &reference.gone.process);
    row(table, "36 s after the end: what it has allocated", ours.gone.heap, nullptr);
    Table::note("From " + std::to_string(kFirst) + " to " + std::to_string(kFirst + kMore) +
                " calls in progress, divided by their number. Medians (smallest to largest) of " +
                std::to_string(rounds) +
                " freshly started servers; proportional set size, for Kamailio the sum over its processes. What is "
                "allocated no more is given back to the machine only in part.");
}

} // namespace

int main()
{
    return runBench(bench);
}
