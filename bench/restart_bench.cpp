// From the start of the server to its first answer, with thousands of registrations to be read back and without any.
#include "support/cpu_time.h"
#include "support/free_port.h"
#include "support/office.h"
#include "support/report.h"
#include "support/servers.h"
#include "support/temporary_folder.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

constexpr unsigned kUsers = 5000;
constexpr unsigned kRounds = 11;
constexpr double kLimitMs = 1000;
constexpr std::chrono::seconds kSettle{1}; // until the last registration is stored

void bench()
{
    ParlovexServer with(kUsers);
    ParlovexServer without(kUsers);
    const TemporaryFolder scratch;
    registerAll(scratch, with.port(), freeUdpPort(), officeUsers(0, kUsers), kUsers, 2000);
    std::this_thread::sleep_for(kSettle);
    const std::string load = machineLoad();
    Rounds full;
    Rounds empty;
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round < rounds; ++round) {
        full.add(with.restartMs());
        empty.add(without.restartMs());
    }
    if (with.countBindings() != kUsers)
        throw std::runtime_error("not all registrations came back");
    const Table table("Restart, ms",
                      {"What", std::to_string(kUsers) + " registrations", "none", "Difference", "Limit"});
    table.row({"from exec to the first answer", spread(full), spread(empty), decimal(full.median() - empty.median()),
               decimal(kLimitMs, 0)});
    Table::note("Medians (smallest to largest) of " + std::to_string(rounds) + " interleaved starts of servers with " +
                std::to_string(kUsers) +
                " users that were ended by force. The first answer comes when all registrations are back. Load of the "
                "machine before: " +
                load + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
