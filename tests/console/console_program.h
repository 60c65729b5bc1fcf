// The real program as a child process.
#pragma once

#include <QProcess>
#include <QProcessEnvironment>

class ConsoleProgram {
public:
    // Runs in the folder that holds the program and its language files, on Qt's "offscreen" platform unless told
    // otherwise. `program` is the path of another one with the same main().
    explicit ConsoleProgram(const QString& home, const QString& program = QStringLiteral(PARLOVEX_PROGRAM));
    // Ends it if it still runs.
    ~ConsoleProgram();

    void setPlatform(const QString& platform);
    void setVariable(const QString& name, const QString& value) { _environment.insert(name, value); }
    void start();
    // True once the program has passed the single instance test and handles SIGTERM; false when it never did.
    [[nodiscard]] bool waitUntilItHandlesSignals();
    [[nodiscard]] bool isRunning() const { return _process.state() == QProcess::Running; }
    void sendSignal(int number) const;
    // Waits for its end: the exit code, or -1 when it crashed, was killed or did not end.
    [[nodiscard]] int exitCode();
    // What it wrote to its standard output and error so far.
    [[nodiscard]] QByteArray output() { return _process.readAll(); }
    [[nodiscard]] qint64 processId() const { return _process.processId(); }

private:
    void addOption(const QString& variable, const QString& option);

    QProcess _process;
    QProcessEnvironment _environment;
};
