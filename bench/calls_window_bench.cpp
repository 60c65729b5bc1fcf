// The window of the calls under load: how long the console's event loop is blocked at most while it is full and 500
// events of calls come in a second, beside a program with an empty window on the same display at the same time.
#include "support/bench_desktop.h"
#include "support/cpu_time.h"
#include "support/probed_program.h"
#include "support/report.h"

#include <chrono>
#include <cstdlib>
#include <string>

namespace {

constexpr unsigned kSeconds = 60;
constexpr double kLimitMs = 50;

void bench()
{
    const unsigned seconds = numberWanted("PARLOVEX_BENCH_SECONDS", kSeconds);
    setenv("PARLOVEX_BENCH_SECONDS", std::to_string(seconds).c_str(), 1);
    const BenchOffice office(1);
    ProbedProgram console = office.start(BENCH_CALLS_WINDOW);
    const int64_t begin = console.told("calling").timeNs;
    const CpuTime before = CpuTime::of(console.pid());
    const Told shown = console.told("called", std::chrono::seconds(seconds));
    const CpuTime used = CpuTime::of(console.pid()).since(before);
    const double took = static_cast<double>(shown.timeNs - begin) / 1e9;

    const Table table("Window of the calls: 500 events a second for " + std::to_string(seconds) + " s",
                      {"What", "Parlovex", "empty Qt main window", "Limit"});
    table.row({"event loop late at most, ms", decimal(console.worstLatenessMs(begin, shown.timeNs)),
               decimal(office.empty().worstLatenessMs(begin, shown.timeNs)), decimal(kLimitMs, 0)});
    table.row({"rows that are not as they were told last", std::to_string(shown.number), "", "0"});
    table.row({"CPU of the process, % of one core", decimal(static_cast<double>(used.total()) / 1e7 / took), "", ""});
    Table::note(
        "The window is shown and holds up to 1,001 calls: every eight seconds it is begun anew. A precise "
        "timer of 5 ms in each program; both run at the same time, under Xvfb with a window manager. Load of the "
        "machine before: " +
        office.load() + ".");
}

} // namespace

int main(int argc, char** argv)
{
    return runDesktopBench(argc, argv, bench);
}
