// The log view under load: how long the console's event loop is blocked at most while 2,000 log lines a second come,
// beside a program with an empty window on the same display at the same time, and whether every line is shown.
#include "console/virtual_desktop.h"
#include "support/cpu_time.h"
#include "support/free_port.h"
#include "support/office.h"
#include "support/probed_program.h"
#include "support/report.h"
#include "support/temporary_folder.h"

#include <QCoreApplication>

#include <chrono>
#include <filesystem>
#include <stdexcept>

namespace {

constexpr unsigned kPerSecond = 2000;
constexpr unsigned kSeconds = 60;
constexpr double kLimitMs = 100;

void bench()
{
    VirtualDesktop desktop;
    QString reason;
    if (!desktop.start(reason))
        throw std::runtime_error(reason.toStdString());
    const unsigned seconds = numberWanted("PARLOVEX_BENCH_SECONDS", kSeconds);
    qputenv("PARLOVEX_BENCH_SECONDS", QByteArray::number(seconds));
    const TemporaryFolder office;
    const TemporaryFolder scratch;
    fillOffice(office.path(), 1, freeUdpPort());
    const std::string load = machineLoad();
    ProbedProgram empty(BENCH_EMPTY_WINDOW, scratch.file("empty"), office.path());
    (void)empty.msToFirstPaint();
    ProbedProgram console(BENCH_FLOODED_CONSOLE, scratch.file("console"), office.path());
    const int64_t begin = console.told("flooding").timeNs;
    const Told shown = console.told("flooded", std::chrono::seconds(seconds));

    const Table table("Log view under load: " + std::to_string(kPerSecond) + " lines a second for " +
                          std::to_string(seconds) + " s",
                      {"What", "Parlovex", "empty Qt main window", "Limit"});
    table.row({"event loop late at most, ms", decimal(console.worstLatenessMs(begin, shown.timeNs)),
               decimal(empty.worstLatenessMs(begin, shown.timeNs)), decimal(kLimitMs, 0)});
    table.row(
        {"lines lost or out of their order", std::to_string(int64_t{seconds} * kPerSecond - shown.number), "", "0"});
    table.row(
        {"seconds until the last one is shown", decimal(static_cast<double>(shown.timeNs - begin) / 1e9), "", ""});
    Table::note("A precise timer of 5 ms in each program; both run at the same time, under Xvfb with a window manager. "
                "Load of the machine before: " +
                load + ".");
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    qputenv("QT_QPA_PLATFORM", "xcb");
    std::filesystem::current_path(BENCH_RUN_FOLDER); // where the language files are
    return runBench(bench);
}
