// What becomes of calls when twice as many come as can be served: how many are made nevertheless, whether those that
// were there before go on, and how long the console's event loop is blocked at most meanwhile, beside a program with an
// empty window on the same core and the same display at the same time.
#include "support/bench_desktop.h"
#include "support/call_load.h"
#include "support/cpu_time.h"
#include "support/office.h"
#include "support/own_core.h"
#include "support/probed_program.h"
#include "support/report.h"
#include "support/servers.h"

#include <chrono>
#include <cstdio>
#include <stdexcept>
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
constexpr double kLoopLimitMs = 50;

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
    if (most == 0)
        throw std::runtime_error("the machine is too busy: even " + std::to_string(kFirstRate) +
                                 " calls a second are too many");
    return most;
}

struct Outcome {
    [[nodiscard]] std::string aSecond(unsigned calls) const { return decimal(calls / made.seconds, 0); }

    unsigned capacity = 0; // calls a second
    unsigned offered = 0;  // so many beyond it
    CallsMade made;
    int64_t beginNs = 0;
    int64_t endNs = 0;
    unsigned lost = 0;  // of those that were there before
    unsigned after = 0; // failed of those that came afterwards
};

// The server runs on the other core.
Outcome overload(uint16_t port)
{
    const OwnCore core(kTelephoneCore);
    const CallTelephones many(port, 0, kPairs);
    const CallTelephones few(port, 2 * kPairs, kHeld);
    Outcome result;
    result.capacity = capacityOf(many);
    const unsigned rate = kFactor * result.capacity;
    result.offered = rate * kSeconds;
    std::this_thread::sleep_for(kSettle);
    const auto held = few.start({kHeld, kHeld, kHeldMs});
    std::this_thread::sleep_for(kSettle);
    result.beginNs = monotonicNs();
    result.made = many.start({result.offered, rate})->wait();
    result.endNs = monotonicNs();
    result.lost = kHeld - held->wait().successful;
    std::this_thread::sleep_for(kSettle);
    result.after = result.capacity - many.start({result.capacity, result.capacity / kFactor})->wait().successful;
    return result;
}

Outcome overloadServer()
{
    const OwnCore core(kServerCore);
    const ParlovexServer server(kOfficeUsers, ServedCalls::OfRegistered);
    return overload(server.port());
}

void bench()
{
    const std::string before = machineLoad();
    const Outcome alone = overloadServer();
    const OwnCore core(kServerCore);
    const BenchOffice office(kOfficeUsers, ServedCalls::OfRegistered);
    ProbedProgram console = office.start(BENCH_CONSOLE);
    (void)console.msToFirstPaint();
    const Outcome whole = overload(office.port());

    const Table table("Calls beyond what can be served, on one core",
                      {"What", "Parlovex without console", "Parlovex", "empty Qt main window", "Limit"});
    table.row({"calls a second without a refused one", std::to_string(alone.capacity), std::to_string(whole.capacity)});
    table.row({"calls a second begun beyond that", alone.aSecond(alone.offered), whole.aSecond(whole.offered)});
    table.row({"- of them made", alone.aSecond(alone.made.successful), whole.aSecond(whole.made.successful)});
    table.row({"- event loop late at most meanwhile, ms", "",
               decimal(console.worstLatenessMs(whole.beginNs, whole.endNs)),
               decimal(office.empty().worstLatenessMs(whole.beginNs, whole.endNs)), decimal(kLoopLimitMs, 0)});
    table.row({"calls that were there before and did not end well, of " + std::to_string(kHeld),
               std::to_string(alone.lost), std::to_string(whole.lost), "", "0"});
    table.row({"calls afterwards that failed, of as many as are served in a second", std::to_string(alone.after),
               std::to_string(whole.after), "", "0"});
    Table::note(
        "The server alone first, then the console with its server beside the program with the empty window, each bound "
        "to one core, and all sipp to the other; " +
        std::to_string(kSeconds) +
        " s of calls of 100 ms each. sipp counts a refused call as failed, and begins fewer than it should when "
        "its core is busy. A precise timer of 5 ms in each program, under Xvfb with a window manager. Load of the "
        "machine before: " +
        before + ".");
}

} // namespace

int main(int argc, char** argv)
{
    return runDesktopBench(argc, argv, bench);
}
