// Linked with the main() of the console. When its window has been painted, a thread publishes 2,000 log lines a second
// for as many seconds as PARLOVEX_BENCH_SECONDS says. Prints "flooding T 0" at the beginning (CLOCK_MONOTONIC in
// nanoseconds), and "flooded T N" when the log view shows the last line: N of them are there, each in its place.
#include "bcl2/event_bus.h"
#include "callserver/event_ids.h"
#include "programs/tell.h"

#include <QApplication>
#include <QEvent>
#include <QMainWindow>
#include <QTextBlock>
#include <QTextEdit>
#include <QTimer>

#include <chrono>
#include <string>
#include <thread>

namespace {

constexpr int kPerSecond = 2000;
constexpr int kBurstMs = 10; // lines of the server come in bursts, as its packets do
constexpr int kLookMs = 200;
const QString kMark = QStringLiteral(" | flood ");

class LogFlood : public QObject {
public:
    LogFlood() : _lines(qEnvironmentVariableIntValue("PARLOVEX_BENCH_SECONDS") * kPerSecond)
    {
        connect(&_looks, &QTimer::timeout, this, &LogFlood::look);
        qApp->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && qobject_cast<QMainWindow*>(watched) != nullptr) {
            qApp->removeEventFilter(this);
            begin();
        }
        return false;
    }

private:
    void begin()
    {
        tell("flooding", now(), 0);
        std::thread([lines = _lines] {
            auto next = std::chrono::steady_clock::now();
            for (int i = 0; i < lines; ++i) {
                if (i % (kPerSecond * kBurstMs / 1000) == 0)
                    std::this_thread::sleep_until(next += std::chrono::milliseconds(kBurstMs));
                const std::string text = "flood " + std::to_string(i) +
                                         " User 1000 registered from 192.0.2.20:5060 (telephone 1.0), 3600 s.";
                BclPubEvent(kEvtLog, text.c_str(), nullptr);
            }
        }).detach();
        _looks.start(kLookMs);
    }
    void look()
    {
        for (const QWidget* const each : QApplication::topLevelWidgets()) {
            const auto* const view = each->findChild<QTextEdit*>();
            if (view == nullptr)
                continue;
            const QString last = view->document()->lastBlock().text();
            if (!last.contains(kMark + QString::number(_lines - 1) + QLatin1Char(' ')))
                continue;
            _looks.stop();
            const int64_t time = now();
            tell("flooded", time, countInOrder(*view->document()));
        }
    }
    static int64_t countInOrder(const QTextDocument& document)
    {
        int64_t count = 0;
        for (QTextBlock line = document.begin(); line.isValid(); line = line.next()) {
            if (line.text().contains(kMark + QString::number(count) + QLatin1Char(' ')))
                ++count;
        }
        return count;
    }

    const int _lines;
    QTimer _looks;
};

void startFlood()
{
    static LogFlood& flood = *new LogFlood; // as long as the process
    (void)flood;
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startFlood)
