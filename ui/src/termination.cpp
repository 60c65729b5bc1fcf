#include "termination.h"

#include "bcl2/event_bus.h"
#include "callserver/app.h"
#include "callserver/event_ids.h"

#include <QCoreApplication>

namespace {

// Posted, never called: a loop that has not begun yet finds it as its first event.
void postQuit()
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), "quit", Qt::QueuedConnection);
}

// Runs on the thread that waits for signals.
void spfTerminate(void* /*context*/, void* /*data1*/, void* /*data2*/)
{
    postQuit();
}

} // namespace

void QuitOnTermination()
{
    BclSubEvent(kEvtTerminate, nullptr, spfTerminate);
    if (TerminationWanted())
        postQuit();
}
