#include "support/bench_desktop.h"

#include "console/virtual_desktop.h"
#include "support/cpu_time.h"
#include "support/free_port.h"
#include "support/office.h"
#include "support/report.h"

#include <QCoreApplication>

#include <filesystem>
#include <stdexcept>

int runDesktopBench(int argc, char** argv, void (*bench)())
{
    const QCoreApplication application(argc, argv);
    qputenv("QT_QPA_PLATFORM", "xcb");
    std::filesystem::current_path(BENCH_RUN_FOLDER); // where the language files are
    return runBench([bench] {
        VirtualDesktop desktop;
        QString reason;
        if (!desktop.start(reason))
            throw std::runtime_error(reason.toStdString());
        bench();
    });
}

namespace {

std::string loadOfFilled(const TemporaryFolder& office, unsigned users, uint16_t port, std::optional<ServedCalls> calls)
{
    if (calls)
        fillCallOffice(office.path(), users, port, *calls == ServedCalls::Authenticated);
    else
        fillOffice(office.path(), users, port);
    return machineLoad();
}

} // namespace

BenchOffice::BenchOffice(unsigned users, std::optional<ServedCalls> calls)
    : _port(freeUdpPort()),
      _load(loadOfFilled(_office, users, _port, calls)),
      _empty(BENCH_EMPTY_WINDOW, _scratch.file("empty"), _office.path())
{
    (void)_empty.msToFirstPaint();
}

ProbedProgram BenchOffice::start(const char* program) const
{
    return {program, _scratch.file("console"), _office.path()};
}
