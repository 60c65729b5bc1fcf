// Linked with the main() of the console. When its main window has been painted it shows the window of the calls with
// 1,000 of them, and a thread publishes 500 events a second for as many seconds as PARLOVEX_BENCH_SECONDS says: each
// call starts, rings, is answered and ends. Prints "calling T 0" at the beginning, and "called T N" when the last call
// is shown as it ended: N rows show a call that does not stand there as it was told last.
#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "callserver/event_ids.h"
#include "frm_realtime_cdr.h"
#include "programs/tell.h"

#include <QApplication>
#include <QEvent>
#include <QMainWindow>
#include <QStandardItemModel>
#include <QTimer>
#include <QTreeView>

#include <chrono>
#include <string>
#include <thread>

namespace {

constexpr int kFull = 1000;
constexpr int kPerSecond = 500;
constexpr int kBurstMs = 20;
constexpr int kEvents = kCdrTimes; // of one call
constexpr int kBetween = 100;      // calls that start between two events of one call
constexpr int kRestMs = 1000;      // until what filled the window is painted
constexpr int kLookMs = 200;
constexpr int kEndColumn = 11;

void publish(int id, int event)
{
    Ccdr_record_data record;
    record.callId = id;
    BclCopyStr(record.callerNbr, std::to_string(id).c_str());
    BclCopyStr(record.calledNbr, "1000");
    BclCopyStr(record.calledAddr, "192.0.2.20:5060");
    record.flags = kCdrCalledAddr;
    for (int moment = 0; moment <= event; ++moment)
        record.setTime(static_cast<Ecdr_time>(moment), 1'800'000'000 + id + moment);
    BclPubEvent(kEvtCallRecord, &id, &record);
}

// Calls 1 to `last`, of which each is some events behind the one that started before it.
void publishCalls(int first, int last)
{
    auto next = std::chrono::steady_clock::now();
    int count = 0;
    for (int step = first; step < last + (kEvents - 1) * kBetween + 1; ++step)
        for (int event = 0; event < kEvents; ++event) {
            const int id = step - event * kBetween;
            if (id < first || id > last)
                continue;
            if (count++ % (kPerSecond * kBurstMs / 1000) == 0)
                std::this_thread::sleep_until(next += std::chrono::milliseconds(kBurstMs));
            publish(id, event);
        }
}

class CallsWindow : public QObject {
public:
    CallsWindow() : _last(kFull + qEnvironmentVariableIntValue("PARLOVEX_BENCH_SECONDS") * kPerSecond / kEvents)
    {
        connect(&_looks, &QTimer::timeout, this, &CallsWindow::look);
        qApp->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        auto* const window = qobject_cast<QMainWindow*>(watched);
        if (event->type() == QEvent::Paint && window != nullptr) {
            qApp->removeEventFilter(this);
            QMetaObject::invokeMethod(
                this, [this, window] { begin(*window); }, Qt::QueuedConnection);
        }
        return false;
    }

private:
    void begin(const QMainWindow& window)
    {
        auto* const calls = window.findChild<Cfrm_realtime_cdr*>();
        _model = calls->findChild<QTreeView*>()->model();
        calls->show();
        for (int id = 1; id <= kFull; ++id)
            publish(id, kCdrEnd);
        QTimer::singleShot(kRestMs, this, &CallsWindow::call);
    }
    void call()
    {
        tell("calling", now(), 0);
        std::thread([last = _last] { publishCalls(kFull + 1, last); }).detach();
        _looks.start(kLookMs);
    }
    [[nodiscard]] QString cell(int row, int column) const { return _model->index(row, column).data().toString(); }
    void look()
    {
        int64_t wrong = 0;
        bool isLastEnded = false;
        for (int row = 0; row < _model->rowCount(); ++row) {
            const bool isEnded = !cell(row, kEndColumn).isEmpty();
            isLastEnded = isLastEnded || (isEnded && cell(row, 0) == QString::number(_last));
            wrong += isEnded && cell(row, 0) == cell(row, 1) && cell(row, 0) == cell(row, 2) ? 0 : 1;
        }
        if (!isLastEnded)
            return;
        _looks.stop();
        tell("called", now(), wrong);
    }

    const int _last;
    QTimer _looks;
    QAbstractItemModel* _model = nullptr;
};

void startCalls()
{
    static CallsWindow& window = *new CallsWindow; // as long as the process
    (void)window;
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startCalls)
