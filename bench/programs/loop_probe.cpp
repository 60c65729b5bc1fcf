// Linked with the main() of a program with a window. Prints "painted T 0" when its main window has been painted for the
// first time, and from then on "late T D" when its event loop comes D nanoseconds late to a timer, by a millisecond or
// more. T is CLOCK_MONOTONIC in nanoseconds.
#include "programs/tell.h"

#include <QApplication>
#include <QEvent>
#include <QMainWindow>
#include <QTimer>

namespace {

constexpr int kTickMs = 5;
constexpr int64_t kNsPerMs = 1'000'000;
constexpr int64_t kWorthTelling = kNsPerMs;

class LoopProbe : public QObject {
public:
    LoopProbe()
    {
        _ticks.setTimerType(Qt::PreciseTimer);
        connect(&_ticks, &QTimer::timeout, this, &LoopProbe::tick);
        qApp->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        // What is posted while the window is painted comes when it is.
        if (event->type() == QEvent::Paint && !_isPainted && qobject_cast<QMainWindow*>(watched) != nullptr) {
            _isPainted = true;
            QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::HighEventPriority);
        }
        return false;
    }
    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        _last = now();
        tell("painted", _last, 0);
        qApp->removeEventFilter(this);
        _ticks.start(kTickMs);
        return true;
    }

private:
    void tick()
    {
        const int64_t time = now();
        const int64_t late = time - _last - kTickMs * kNsPerMs;
        _last = time;
        if (late >= kWorthTelling)
            tell("late", time, late);
    }

    QTimer _ticks;
    int64_t _last = 0;
    bool _isPainted = false;
};

void startProbe()
{
    static LoopProbe& probe = *new LoopProbe; // as long as the process
    (void)probe;
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startProbe)
