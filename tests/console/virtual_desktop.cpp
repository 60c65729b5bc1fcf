#include "console/virtual_desktop.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QScreen>
#include <QStringList>
#include <QSystemTrayIcon>
#include <unistd.h>

namespace {

constexpr int kPatienceMs = 30000; // only a failing test waits that long
constexpr int kSliceMs = 5;

bool launch(QProcess& process, const QStringList& command, QString& reason)
{
    process.start(command.first(), command.mid(1));
    if (process.waitForStarted(kPatienceMs))
        return true;
    reason = command.first() + QStringLiteral(": ") + process.errorString();
    return false;
}

// Until the root window has the property with such a value.
bool waitForRootProperty(const QString& property, const QByteArray& value, QString& reason)
{
    QByteArray shown;
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < kPatienceMs) {
        QProcess xprop;
        xprop.start(QStringLiteral("xprop"), {QStringLiteral("-root"), property});
        xprop.waitForFinished(kPatienceMs);
        shown = xprop.readAll();
        if (shown.contains(value))
            return true;
    }
    reason = QStringLiteral("the window manager did not come up: ") + QString::fromUtf8(shown);
    return false;
}

// Pixels that the toolkit makes one of, where it enlarges everything.
int inUnits(int pixels)
{
    return qRound(pixels / qGuiApp->devicePixelRatio());
}

} // namespace

VirtualDesktop::~VirtualDesktop()
{
    for (QProcess* const process : {&_tray, &_windowManager, &_display}) {
        process->terminate();
        if (!process->waitForFinished(kPatienceMs))
            process->kill();
        process->waitForFinished(kPatienceMs);
    }
}

bool VirtualDesktop::start(QString& reason)
{
    qunsetenv("DBUS_SESSION_BUS_ADDRESS"); // the tray of this display, not one that a session bus knows
    qunsetenv("WAYLAND_DISPLAY");
    return startDisplay(reason) && startWindowManager(reason) && launch(_tray, {QStringLiteral("trayer")}, reason);
}

bool VirtualDesktop::startDisplay(QString& reason)
{
    // Displays that look for a free number at the same time take each other's sockets away: the number is this
    // process's own, below the highest that has a place in the numbers of ports.
    const QString number = QString::number(100 + getpid() % 50000);
    const QString size = QStringLiteral("%1x%2x24").arg(_width).arg(_height);
    if (!launch(_display,
                {QStringLiteral("Xvfb"), QLatin1Char(':') + number, QStringLiteral("-displayfd"), QStringLiteral("1"),
                 QStringLiteral("-screen"), QStringLiteral("0"), size, QStringLiteral("-noreset"),
                 QStringLiteral("-nolisten"), QStringLiteral("tcp")},
                reason))
        return false;
    // It names its number when it can be connected to.
    if (!_display.waitForReadyRead(kPatienceMs)) {
        reason = QStringLiteral("Xvfb: ") + QString::fromUtf8(_display.readAllStandardError());
        return false;
    }
    qputenv("DISPLAY", ":" + number.toLatin1());
    return true;
}

bool VirtualDesktop::startWindowManager(QString& reason)
{
    const QString path = _folder.filePath(QStringLiteral("rc.xml"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        reason = file.errorString();
        return false;
    }
    file.write("<openbox_config xmlns=\"http://openbox.org/3.4/rc\"><margins><top>" + QByteArray::number(_margin) +
               "</top></margins><keyboard><keybind key=\"A-F4\"><action name=\"Close\"/></keybind></keyboard>"
               "</openbox_config>");
    file.close();
    return launch(_windowManager, {QStringLiteral("openbox"), QStringLiteral("--config-file"), path}, reason) &&
           waitForRootProperty(QStringLiteral("_NET_WORKAREA"), QByteArray::number(_height - _margin), reason);
}

bool VirtualDesktop::isReady() const
{
    QElapsedTimer waited;
    waited.start();
    while (!QSystemTrayIcon::isSystemTrayAvailable() ||
           QGuiApplication::primaryScreen()->availableGeometry().height() != inUnits(_height - _margin)) {
        if (waited.elapsed() > kPatienceMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, kSliceMs);
    }
    return true;
}
