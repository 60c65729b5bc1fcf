#include "frm_main.h"

#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "cachedb2/switch_variants.h"
#include "callserver/app.h"
#include "callserver/event_ids.h"
#include "common/desktop.h"
#include "common/help_topic.h"
#include "log_view.h"
#include "product.h"

#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QShortcut>

namespace {

constexpr double kDesktopShare = 0.5; // of the desktop's width and height
constexpr int kBalloonMs = 10000;

// Keeps the server object reachable after the main window is gone: its threads run until the process ends.
[[gnu::used]] Capp* keptApp = nullptr;

} // namespace

Cfrm_main::Cfrm_main(QMainWindow* parent) : QMainWindow(parent, Qt::WindowFlags())
{
    setContextMenuPolicy(Qt::NoContextMenu);
    BclSubEvent(kBclLogEvent, this, spfDisplayLog);
    BclSubEvent(kEvtLog, this, spfDisplayLog);
    initPrivateValues();
    initSpecialStrings();
    updateCaption();
    initOtherWindows();
    setupUi();
    establishSignalAndSlots();
    showWindowCenter();
}

void Cfrm_main::initPrivateValues()
{
    _trayIcon = nullptr;
    _app = nullptr;
}

void Cfrm_main::initOtherWindows()
{
    _windows.forgetAll();
}

void Cfrm_main::updateCaption()
{
    const QString caption = QString::asprintf("%s %s", kProduct, kVersion) + QString::asprintf(" build %u", kBuild);
    setWindowTitle(tr(caption.toUtf8().constData()));
}

void Cfrm_main::setupUi()
{
    if (objectName().isEmpty())
        setObjectName(QStringLiteral("MainWindow"));
    setWindowModality(Qt::ApplicationModal);
    if (const QSize desktop = WinDesktopSize(); desktop.isValid())
        resize(qRound(desktop.width() * kDesktopShare), qRound(desktop.height() * kDesktopShare));
    setupMenuBar();
    setupToolbar();
    setupLogWin();
    setupTrayIcon();
    new QShortcut(QKeySequence(Qt::Key_F1), this, [] { openHelpPage(kHelpStartPage); });
}

void Cfrm_main::establishSignalAndSlots()
{
    connect(this, &Cfrm_main::sigRestoreWindow, this, &Cfrm_main::slotRestoreWindow);
    connect(this, &Cfrm_main::sigServerLogInfo, _logView, &Clog_view::append);
    connectMenuItems();
}

void Cfrm_main::showWindowCenter()
{
    const QScreen* screen = QGuiApplication::screens().value(0);
    if (screen == nullptr)
        return;
    const QRect available = screen->availableGeometry();
    move((available.width() - width()) / 2, (available.height() - height()) / 2);
}

void Cfrm_main::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    StartSIPServer();
    createPreloadWindows();
}

void Cfrm_main::StartSIPServer()
{
    if (_app != nullptr)
        return;
    keptApp = _app = new Capp;
    _app->Run();
}

// They gather live state from the server's first moment, also while nobody looks at them.
void Cfrm_main::createPreloadWindows()
{
    windowBehind(&Cfrm_main::actShowLocalUsers);
    windowBehind(&Cfrm_main::actShowRTCDR);
}

bool Cfrm_main::isTrayUsable() const
{
    return _trayIcon != nullptr && QSystemTrayIcon::isSystemTrayAvailable();
}

void Cfrm_main::closeEvent(QCloseEvent* event)
{
    event->ignore();
    // A tray icon may be wanted and yet have no place to show: then a hidden window could never come back.
    if (gVarGuiHideSysTrayIcon == 1 || !isTrayUsable()) {
        showMinimized();
        return;
    }
    _trayIcon->showMessage(tr("Parlovex is here"), tr("Double click this icon to restore main window"),
                           QSystemTrayIcon::Information, kBalloonMs);
    hide();
}
