#include "bcl2/log.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "format_text.h"

#include <atomic>
#include <cstdarg>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr size_t kMaxLineLength = 1024; // bytes; a line of a log window, not a dump
constexpr size_t kMaxHeldLines = 100;   // a start writes a dozen; more is a fault that repeats itself

// What was logged before anybody could show it. Shared by all threads, never destroyed.
struct Log {
    std::atomic<bool> isOpen = false; // set under the mutex, once no line is held
    std::mutex mutex;
    bool isOpening = false;
    std::vector<std::string> held;
    unsigned dropped = 0;
};

Log& theLog()
{
    static Log& log = *new Log;
    return log;
}

void publish(const std::string& line)
{
    BclPubEvent(kBclLogEvent, line.c_str(), nullptr);
}

// True when the line was kept (or dropped because too many are kept), false when it can be published.
bool hold(Log& log, std::string& line)
{
    const std::lock_guard lock(log.mutex);
    if (log.isOpen.load(std::memory_order_relaxed))
        return false;
    if (log.held.size() < kMaxHeldLines)
        log.held.push_back(std::move(line));
    else
        ++log.dropped;
    return true;
}

} // namespace

void BclLog(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text;
    if (!bclFormatText(text, format, args))
        text = format; // better than no line
    va_end(args);
    std::string line = BclPrintable(text, kMaxLineLength);
    Log& log = theLog();
    if (log.isOpen.load(std::memory_order_acquire) || !hold(log, line))
        publish(line);
}

void BclOpenLog()
{
    Log& log = theLog();
    std::unique_lock lock(log.mutex);
    if (std::exchange(log.isOpening, true))
        return;
    // Published without the lock, because a subscriber may log; lines that come meanwhile are held for the next round,
    // and the log opens only when none is left, so that nothing overtakes.
    while (!log.held.empty() || log.dropped > 0) {
        const std::vector<std::string> lines = std::exchange(log.held, {});
        const unsigned dropped = std::exchange(log.dropped, 0);
        lock.unlock();
        for (const std::string& line : lines)
            publish(line);
        if (dropped > 0)
            publish(std::to_string(dropped) + " log lines were dropped: too many came before the log was open");
        lock.lock();
    }
    log.isOpen.store(true, std::memory_order_release);
}
