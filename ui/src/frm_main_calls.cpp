// What the main window asks of the running server: traces, status, the end of all calls; and the viewer of past calls.
#include "bcl2/event_bus.h"
#include "bcl2/process.h"
#include "cachedb2/fac_mgr.h"
#include "callserver/app.h"
#include "callserver/event_ids.h"
#include "callserver/sip_fac.h"
#include "common/input_box.h"
#include "common/qstr.h"
#include "frm_main.h"

#include <QCoreApplication>
#include <QProcess>

void Cfrm_main::askAndTrace(const char* title, const char* prompt, void (Capp::*trace)(const char*))
{
    QString text;
    if (InputBox(text, this, QString::fromLatin1(title), QString::fromLatin1(prompt), QString()) != 0)
        return;
    Cbcl_tmp_str target;
    BclQStringToTmpStr(text, &target);
    (_app->*trace)(target.c_str());
}

void Cfrm_main::actTraceOnIPAddr()
{
    askAndTrace("Set IP address", "Please input IP address to be traced:", &Capp::traceOnIPAddr);
}

void Cfrm_main::actTraceOnCallerNbr()
{
    askAndTrace("Set caller number", "Please input caller number to be traced:", &Capp::traceOnCallerPrefix);
}

void Cfrm_main::actTraceOnCalledNbr()
{
    askAndTrace("Set called number", "Please input called number to be traced:", &Capp::traceOnCalledPrefix);
}

void Cfrm_main::actStopTrace()
{
    _app->stopTrace();
}

void Cfrm_main::actReleaseCalls()
{
    BclPubEvent(kEvtReleaseCalls, nullptr, nullptr);
}

void Cfrm_main::actShowCallStatus()
{
    _app->GetSipFacMgr()->GetUaFac()->PrintCallStatus();
}

void Cfrm_main::actShowHGInfo()
{
    _app->GetFacMgr()->DbHGPrintAll();
}

void Cfrm_main::actShowHistoryCDR()
{
    Cbcl_tmp_str folder;
    BclGetCurrDir(folder);
    auto* const viewer = new QProcess(this);
    // What it says goes where ours goes: nobody would read it here, and it would pile up.
    viewer->setProcessChannelMode(QProcess::ForwardedChannels);
    connect(viewer, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), viewer, &QObject::deleteLater);
    connect(viewer, &QProcess::errorOccurred, viewer, [viewer](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            viewer->deleteLater();
    });
    // A viewer goes on when the program ends: the object that would take it along is left to the end of the process.
    connect(qApp, &QCoreApplication::aboutToQuit, viewer, [viewer] { viewer->setParent(nullptr); });
    viewer->start(QString::fromUtf8(folder.c_str()) + QStringLiteral("histrec"), QStringList(), QIODevice::ReadWrite);
}
