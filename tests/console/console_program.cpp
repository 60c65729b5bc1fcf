#include "console/console_program.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <csignal>

namespace {

constexpr int kPatienceMs = 60000; // a sanitizer build on a loaded machine; only a failing test waits that long

// The set of signals that a line of /proc/PID/status names, bit n - 1 for signal n.
quint64 signalSet(const QByteArray& status, const QByteArray& name)
{
    const int at = status.indexOf("\n" + name + ":");
    if (at < 0)
        return 0;
    const int from = at + name.size() + 2;
    return status.mid(from, status.indexOf('\n', from) - from).trimmed().toULongLong(nullptr, 16);
}

} // namespace

ConsoleProgram::ConsoleProgram(const QString& home, const QString& program)
    : _environment(QProcessEnvironment::systemEnvironment())
{
    _environment.insert(QStringLiteral("PARLOVEX_HOME"), home);
    // Freed memory is overwritten: who uses it nevertheless does not get away with it.
    _environment.insert(QStringLiteral("MALLOC_PERTURB_"), QStringLiteral("165"));
    setPlatform(QStringLiteral("offscreen"));
    // Under sanitizers as in the test processes; leaks are looked for there only, since the toolkit's own would spoil
    // the exit code.
    addOption(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    addOption(QStringLiteral("TSAN_OPTIONS"), QStringLiteral("ignore_noninstrumented_modules=1"));
    _process.setProcessChannelMode(QProcess::MergedChannels);
    _process.setProgram(program);
    _process.setWorkingDirectory(QFileInfo(QStringLiteral(PARLOVEX_PROGRAM)).path());
}

ConsoleProgram::~ConsoleProgram()
{
    if (_process.state() != QProcess::NotRunning) {
        _process.kill();
        _process.waitForFinished(kPatienceMs);
    }
}

void ConsoleProgram::addOption(const QString& variable, const QString& option)
{
    _environment.insert(variable, _environment.value(variable) + QLatin1Char(':') + option);
}

void ConsoleProgram::setPlatform(const QString& platform)
{
    _environment.insert(QStringLiteral("QT_QPA_PLATFORM"), platform);
}

void ConsoleProgram::start()
{
    _process.setProcessEnvironment(_environment);
    _process.start();
    _process.waitForStarted(kPatienceMs);
}

bool ConsoleProgram::waitUntilItHandlesSignals()
{
    // A child has its parent's handlers until it becomes the program, but never the program's name together with an
    // ignored SIGPIPE, which QProcess takes back before.
    constexpr quint64 kTermBit = quint64{1} << (SIGTERM - 1);
    constexpr quint64 kPipeBit = quint64{1} << (SIGPIPE - 1);
    const QByteArray name = "Name:\t" + QFileInfo(_process.program()).fileName().toUtf8() + "\n";
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < kPatienceMs && isRunning()) {
        QFile file(QStringLiteral("/proc/%1/status").arg(processId()));
        const QByteArray status = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        if (status.startsWith(name) && (signalSet(status, "SigCgt") & kTermBit) != 0 &&
            (signalSet(status, "SigIgn") & kPipeBit) != 0)
            return true;
        _process.waitForFinished(1);
    }
    return false;
}

void ConsoleProgram::sendSignal(int number) const
{
    ::kill(static_cast<pid_t>(processId()), number);
}

int ConsoleProgram::exitCode()
{
    if (_process.state() != QProcess::NotRunning && !_process.waitForFinished(kPatienceMs))
        return -1;
    return _process.exitStatus() == QProcess::NormalExit ? _process.exitCode() : -1;
}
