// The log view under load: how long the console's event loop is blocked at most while 2,000 log lines a second come,
// beside a program with an empty window on the same display at the same time, and whether every line is shown.
#include "support/bench_desktop.h"
#include "support/probed_program.h"
#include "support/report.h"

#include <chrono>
#include <cstdlib>
#include <string>

namespace {

constexpr unsigned kPerSecond = 2000;
constexpr unsigned kSeconds = 60;
constexpr double kLimitMs = 100;

void bench()
{
    const unsigned seconds = numberWanted("PARLOVEX_BENCH_SECONDS", kSeconds);
    setenv("PARLOVEX_BENCH_SECONDS", std::to_string(seconds).c_str(), 1);
    const BenchOffice office(1);
    ProbedProgram console = office.start(BENCH_FLOODED_CONSOLE);
    const int64_t begin = console.told("flooding").timeNs;
    const Told shown = console.told("flooded", std::chrono::seconds(seconds));

    const Table table("Log view under load: " + std::to_string(kPerSecond) + " lines a second for " +
                          std::to_string(seconds) + " s",
                      {"What", "Parlovex", "empty Qt main window", "Limit"});
    table.row({"event loop late at most, ms", decimal(console.worstLatenessMs(begin, shown.timeNs)),
               decimal(office.empty().worstLatenessMs(begin, shown.timeNs)), decimal(kLimitMs, 0)});
    table.row(
        {"lines lost or out of their order", std::to_string(int64_t{seconds} * kPerSecond - shown.number), "", "0"});
    table.row(
        {"seconds until the last one is shown", decimal(static_cast<double>(shown.timeNs - begin) / 1e9), "", ""});
    Table::note("A precise timer of 5 ms in each program; both run at the same time, under Xvfb with a window manager. "
                "Load of the machine before: " +
                office.load() + ".");
}

} // namespace

int main(int argc, char** argv)
{
    return runDesktopBench(argc, argv, bench);
}
