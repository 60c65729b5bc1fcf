// Memory of registered users: what the server has grown by when all of its users are registered.
#include "support/cpu_time.h"
#include "support/free_port.h"
#include "support/office.h"
#include "support/report.h"
#include "support/servers.h"
#include "support/temporary_folder.h"

#include <chrono>
#include <string_view>
#include <thread>

namespace {

constexpr unsigned kRounds = 3;
constexpr unsigned kPerSecond = 2000;
constexpr double kLimitKb = 4;
// Until what is needed for a moment only, as batches on their way to the disk, is given back.
constexpr std::chrono::seconds kSettle{3};

constexpr unsigned kFirst = 100; // registered before: buffers and caches that do not grow with the users

struct Growth {
    double process = 0; // kB a user
    double heap = 0;    // the same of what was allocated; 0 where nobody tells
};

double heapKb(const std::string& output)
{
    constexpr std::string_view kName = "heap: ";
    const size_t at = output.find(kName);
    return at == std::string::npos ? 0 : std::stod(output.substr(at + kName.size())) / 1024;
}

Growth grow(MeasuredServer& server, double heapBeforeKb)
{
    const TemporaryFolder scratch;
    const uint16_t ownPort = freeUdpPort();
    registerAll(scratch, server.port(), ownPort, officeUsers(0, kFirst), 20 * kFirst, kPerSecond);
    std::this_thread::sleep_for(kSettle);
    const int64_t before = memoryKb(server.pid());
    const auto users = officeUsers(kFirst, kOfficeUsers - kFirst);
    registerAll(scratch, server.port(), ownPort, users, static_cast<unsigned>(users.size()), kPerSecond);
    std::this_thread::sleep_for(kSettle);
    const auto count = static_cast<double>(users.size());
    Growth growth;
    growth.process = static_cast<double>(memoryKb(server.pid()) - before) / count;
    growth.heap = (heapKb(server.end()) - heapBeforeKb) / count;
    return growth;
}

// The heap of a server of ours with the first users registered.
double smallHeapKb()
{
    ParlovexServer server(kOfficeUsers);
    const TemporaryFolder scratch;
    registerAll(scratch, server.port(), freeUdpPort(), officeUsers(0, kFirst), 20 * kFirst, kPerSecond);
    std::this_thread::sleep_for(kSettle);
    return heapKb(server.end());
}

void bench()
{
    Rounds process;
    Rounds heap;
    Rounds reference;
    const double small = smallHeapKb();
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round < rounds; ++round) {
        ParlovexServer parlovex(kOfficeUsers);
        const Growth ours = grow(parlovex, small);
        process.add(ours.process);
        heap.add(ours.heap);
        KamailioServer kamailio;
        reference.add(grow(kamailio, 0).process);
    }
    const Table table("Memory of a registered user, kB", {"What", "Parlovex", "Kamailio", "Ratio", "Limit"});
    table.row({"growth of the process", spread(process, 2), spread(reference, 2),
               decimal(process.median() / reference.median(), 2), decimal(kLimitKb, 0)});
    table.row({"growth of what it has allocated", spread(heap, 2), "", "", decimal(kLimitKb, 0)});
    Table::note("From " + std::to_string(kFirst) + " to " + std::to_string(kOfficeUsers) +
                " registered users, divided by their number. Medians (smallest to largest) of " +
                std::to_string(rounds) +
                " freshly started servers; proportional set size, for Kamailio the sum over its processes. A process "
                "grows by less than it allocates where it had memory left over.");
}

} // namespace

int main()
{
    return runBench(bench);
}
