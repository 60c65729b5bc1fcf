#include "frm_main.h"

#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "cachedb2/switch_variants.h"
#include "callserver/app.h"
#include "callserver/event_ids.h"
#include "common/desktop.h"
#include "common/lang_res.h"
#include "log_view.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>

namespace {

constexpr const char* kProduct = "Parlovex";
constexpr const char* kVersion = "V50";
constexpr unsigned kBuild = 20240502;

constexpr double kDesktopShare = 0.5; // of the desktop's width and height
constexpr int kBalloonMs = 10000;

// Action data of the language items: language codes.
constexpr int kLangEnglish = 0;
constexpr int kLangChinese = 1;

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

// Every frame and dialog that the menus open has its pointer set to null here; the menus open none so far.
void Cfrm_main::initOtherWindows() {}

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
    setupLogWin();
    setupTrayIcon();
}

void Cfrm_main::setupMenuBar()
{
    setupMenuFile();
}

void Cfrm_main::setupMenuFile()
{
    QMenu* const menu = menuBar()->addMenu(QString());
    GetLangItem(1, menu, "");
    QMenu* const languages = menu->addMenu(QString());
    GetLangItem(3, languages, "");
    _actLangFirst = languages->addAction(QString());
    GetLangItem(5, _actLangFirst, "");
    _actLangFirst->setData(kLangChinese);
    _actLangSecond = languages->addAction(QString());
    GetLangItem(4, _actLangSecond, "");
    _actLangSecond->setData(kLangEnglish);
    menu->addSeparator();
    _actExit = menu->addAction(QString());
    GetLangItem(2, _actExit, "");
}

void Cfrm_main::establishSignalAndSlots()
{
    connect(this, &Cfrm_main::sigRestoreWindow, this, &Cfrm_main::slotRestoreWindow);
    connect(this, &Cfrm_main::sigServerLogInfo, _logView, &Clog_view::append);
    connect(_actLangFirst, &QAction::triggered, this, &Cfrm_main::actLangSelect);
    connect(_actLangSecond, &QAction::triggered, this, &Cfrm_main::actLangSelect);
    connect(_actExit, &QAction::triggered, qApp, &QApplication::quit);
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

// The windows that gather live state from the server's first moment, also while nobody looks at them, are made here,
// once. The log view, which does so too, is part of this window; there is no other so far.
void Cfrm_main::createPreloadWindows() {}

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
