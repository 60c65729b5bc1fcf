// What becomes of calls when twice as many come as can be served: how many are made nevertheless, and whether those
// that were there before go on.
#include "support/call_load.h"
#include "support/cpu_time.h"
#include "support/office.h"
#include "support/own_core.h"
#include "support/report.h"
#include "support/servers.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

namespace {

constexpr unsigned kServerCore = 0;
constexpr unsigned kTelephoneCore = 1;
constexpr unsigned kFirstRate = 1000; // calls a second
constexpr unsigned kStep = 250;
constexpr unsigned kLastRate = 6000;
constexpr unsigned kStepSeconds = 5;
constexpr unsigned kSeconds = 20;
constexpr unsigned kFactor = 2;
constexpr unsigned kPairs = 4000;
constexpr unsigned kHeld = 100; // calls that are there before
constexpr unsigned kHeldMs = 45'000;
constexpr std::chrono::seconds kSettle{3};

// The most of which none is refused.
unsigned capacityOf(const CallTelephones& telephones)
{
    unsigned most = 0;
    for (unsigned rate = kFirstRate; rate <= kLastRate; rate += kStep) {
        const CallsMade made = telephones.start({rate * kStepSeconds, rate})->wait();
        std::fprintf(stderr, "%u a second: %u of %u\n", rate, made.successful, rate * kStepSeconds);
        if (made.successful != rate * kStepSeconds)
            break;
        most = rate;
    }
    return most;
}

void bench()
{
    const std::string before = machineLoad();
    ParlovexServer server = [] {
        const OwnCore core(kServerCore);
        return ParlovexServer(kOfficeUsers, ServedCalls::OfRegistered);
    }();
    const OwnCore core(kTelephoneCore);
    const CallTelephones many(server, 0, kPairs);
    const CallTelephones few(server, 2 * kPairs, kHeld);
    const unsigned capacity = capacityOf(many);
    std::this_thread::sleep_for(kSettle);
    const auto held = few.start({kHeld, kHeld, kHeldMs});
    std::this_thread::sleep_for(kSettle);
    const unsigned offered = kFactor * capacity;
    const CallsMade made = many.start({offered * kSeconds, offered})->wait();
    const CallsMade kept = held->wait();
    std::this_thread::sleep_for(kSettle);
    const CallsMade after = many.start({capacity, capacity / kFactor})->wait();

    const Table table("Calls beyond what can be served, on one core", {"What", "Parlovex", "Limit"});
    table.row({"calls a second without a refused one", std::to_string(capacity), ""});
    table.row({"calls a second begun beyond that", decimal(offered * kSeconds / made.seconds, 0), ""});
    table.row({"- of them made", decimal(made.successful / made.seconds, 0), ""});
    table.row({"calls that were there before and did not end well, of " + std::to_string(kHeld),
               std::to_string(kHeld - kept.successful), "0"});
    table.row({"calls afterwards that failed, of " + std::to_string(capacity),
               std::to_string(capacity - after.successful), "0"});
    Table::note(
        "The server is bound to one core, all sipp to the other; " + std::to_string(kSeconds) +
        " s of calls of 100 ms each. sipp counts a refused call as failed, and begins fewer than it should when "
        "its core is busy. Load of the machine before: " +
        before + ".");
    std::fprintf(stderr, "%s", server.end().c_str());
}

} // namespace

int main()
{
    return runBench(bench);
}
