// Linked with the program's own main(): presses the exit item of the main window's menu once the log view shows as many
// lines as the variable PARLOVEX_EXIT_AT_LINE says. The end of the process then takes its time, as it does on a loaded
// machine, so that what the server still does meets what is gone already.
#include <QApplication>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTextDocument>
#include <QTextEdit>
#include <QThread>
#include <QTimer>

namespace {

constexpr int kLookMs = 1;
constexpr unsigned long kSlowEndMs = 60; // several batches of registrations

QAction* itemOf(const QList<QAction*>& level, const QString& text)
{
    for (QAction* const action : level)
        if (action->text() == text)
            return action;
    return nullptr;
}

void pressExitWhenDue()
{
    for (QWidget* const widget : QApplication::topLevelWidgets()) {
        const auto* const window = qobject_cast<QMainWindow*>(widget);
        const auto* const log = widget->findChild<QTextEdit*>();
        if (window == nullptr || log == nullptr ||
            log->document()->blockCount() < qEnvironmentVariableIntValue("PARLOVEX_EXIT_AT_LINE"))
            continue;
        const QAction* const file = itemOf(window->menuBar()->actions(), QStringLiteral("&File"));
        QAction* const exit = file == nullptr ? nullptr : itemOf(file->menu()->actions(), QStringLiteral("E&xit"));
        if (exit != nullptr)
            exit->trigger();
    }
}

void watch()
{
    auto* const timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, qApp, pressExitWhenDue);
    timer->start(kLookMs);
    // By the application object's destructor, when the main window has been destroyed.
    qAddPostRoutine([] { QThread::msleep(kSlowEndMs); });
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watch)
