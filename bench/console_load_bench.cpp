// The console under load: how long its event loop is blocked at most while thousands of telephones register, beside a
// program with an empty window on the same display at the same time.
#include "support/bench_desktop.h"
#include "support/cpu_time.h"
#include "support/free_port.h"
#include "support/office.h"
#include "support/probed_program.h"
#include "support/report.h"

namespace {

constexpr unsigned kUsers = 5000;
constexpr unsigned kPerSecond = 2000;
constexpr unsigned kSeconds = 60;
constexpr double kLimitMs = 50;

void bench()
{
    const BenchOffice office(kUsers);
    ProbedProgram console = office.start(BENCH_CONSOLE);
    (void)console.msToFirstPaint();

    const unsigned seconds = numberWanted("PARLOVEX_BENCH_SECONDS", kSeconds);
    const unsigned count = seconds * kPerSecond;
    const CpuTime before = CpuTime::of(console.pid());
    const int64_t begin = monotonicNs();
    const SippResult result =
        registerAll(office.scratch(), office.port(), freeUdpPort(), officeUsers(0, kUsers), count, kPerSecond);
    const CpuTime used = CpuTime::of(console.pid()).since(before);

    const Table table("Console under load: " + std::to_string(kUsers) + " users, " + std::to_string(kPerSecond) +
                          " registrations a second for " + std::to_string(seconds) + " s",
                      {"What", "Parlovex", "empty Qt main window", "Limit"});
    table.row({"event loop late at most, ms", decimal(console.worstLatenessMs(begin)),
               decimal(office.empty().worstLatenessMs(begin)), decimal(kLimitMs, 0)});
    table.row({"registrations without 200", std::to_string(count - result.successful), "", "0"});
    table.row({"retransmissions by sipp", std::to_string(result.retransmissions), "", "0"});
    table.row({"registrations a second", decimal(result.successful / result.seconds, 0), "", ""});
    table.row({"CPU of the process, % of one core", decimal(static_cast<double>(used.total()) / 1e7 / result.seconds),
               "", ""});
    Table::note("The first " + std::to_string(kUsers) +
                " registrations are new and give a log line each. A precise timer of 5 ms in each program; both run at "
                "the same time, under Xvfb with a window manager. Load of the machine before: " +
                office.load() + ".");
}

} // namespace

int main(int argc, char** argv)
{
    return runDesktopBench(argc, argv, bench);
}
