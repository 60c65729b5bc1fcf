// From the start of the program to the first paint of its main window, beside a program with an empty main window on
// the same virtual display.
#include "support/bench_desktop.h"
#include "support/cpu_time.h"
#include "support/free_port.h"
#include "support/office.h"
#include "support/probed_program.h"
#include "support/report.h"
#include "support/temporary_folder.h"

namespace {

constexpr unsigned kRounds = 15;
constexpr double kLimitMs = 60; // above the empty window

void bench()
{
    const TemporaryFolder office;
    const TemporaryFolder scratch;
    fillOffice(office.path(), kOfficeUsers, freeUdpPort());
    const std::string load = machineLoad();
    Rounds console;
    Rounds empty;
    Rounds difference;
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round <= rounds; ++round) {
        const std::string name = std::to_string(round);
        const double ours =
            ProbedProgram(BENCH_CONSOLE, scratch.file("console" + name), office.path()).msToFirstPaint();
        const double theirs =
            ProbedProgram(BENCH_EMPTY_WINDOW, scratch.file("empty" + name), office.path()).msToFirstPaint();
        if (round == 0)
            continue; // files come from the disk for the first time
        console.add(ours);
        empty.add(theirs);
        difference.add(ours - theirs);
    }
    const Table table("Start to first paint, ms", {"What", "Parlovex", "empty Qt main window", "Difference", "Limit"});
    table.row({"main window, store of " + std::to_string(kOfficeUsers) + " users", spread(console), spread(empty),
               spread(difference), decimal(kLimitMs, 0)});
    Table::note("Medians (smallest to largest) of " + std::to_string(rounds) +
                " interleaved starts under Xvfb with a window manager and a tray, from exec to the end of the first "
                "paint. Load of the machine before: " +
                load + ".");
}

} // namespace

int main(int argc, char** argv)
{
    return runDesktopBench(argc, argv, bench);
}
