// The main window's log view, the way of a log line into it and out to a file, and the tray icon.
#include "bcl2/date.h"
#include "cachedb2/switch_variants.h"
#include "frm_main.h"
#include "log_view.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileDialog>
#include <QIcon>
#include <QTextStream>

void Cfrm_main::setupLogWin()
{
    _logView = new Clog_view(this);
    setCentralWidget(_logView);
    _logView->setFocus();
}

void Cfrm_main::displayLog(const char* text)
{
    Cbcl_tmp_str stamp;
    BclGetDateTimeStr(BclGetCurrTimestamp(), stamp);
    emit sigServerLogInfo(QString::fromUtf8(stamp.c_str()) + QStringLiteral(" | ") + QString::fromUtf8(text));
}

void Cfrm_main::spfDisplayLog(void* context, void* data1, void* /*data2*/)
{
    static_cast<Cfrm_main*>(context)->displayLog(static_cast<const char*>(data1));
}

// They come from other threads as events of this one.
void Cfrm_main::takeLogLines()
{
    QCoreApplication::sendPostedEvents(_logView, QEvent::MetaCall);
    _logView->showWaiting();
}

void Cfrm_main::actSaveLog()
{
    const QString name =
        QFileDialog::getSaveFileName(this, tr("Save log text file"), QStringLiteral("."), tr("PLX log file (*.txt)"));
    if (name.isEmpty())
        return;
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return;
    takeLogLines();
    QTextStream(&file) << _logView->toPlainText();
}

void Cfrm_main::actClearLog()
{
    takeLogLines();
    _logView->clear();
}

void Cfrm_main::setupTrayIcon()
{
    if (_trayIcon != nullptr || gVarGuiHideSysTrayIcon == 1)
        return;
    _trayIcon = new QSystemTrayIcon(this);
    _trayIcon->setIcon(QIcon(QStringLiteral(":images/plx_64x64.png")));
    connect(_trayIcon, &QSystemTrayIcon::activated, this, &Cfrm_main::slotTrayIconActivated);
    _trayIcon->setVisible(true);
}

void Cfrm_main::slotTrayIconActivated(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::DoubleClick)
        emit sigRestoreWindow();
}

void Cfrm_main::slotRestoreWindow()
{
    showNormal();
}
