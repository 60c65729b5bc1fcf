#include "support/event_log.h"

#include "support/child_process.h"

#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "callserver/call_record.h"
#include "callserver/event_ids.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace {

std::string text(const void* data)
{
    return static_cast<const char*>(data);
}

} // namespace

EventLog& EventLog::subscribed()
{
    static EventLog& log = *[] {
        auto* made = new EventLog;
        const auto onLine = [](void* context, void* line, void*) {
            static_cast<EventLog*>(context)->note("log " + text(line));
        };
        BclSubEvent(kBclLogEvent, made, onLine);
        BclSubEvent(kEvtLog, made, onLine);
        BclSubEvent(kEvtUserState, made, [](void* context, void* user, void* state) {
            static_cast<EventLog*>(context)->note("state " + text(user) + " " +
                                                  std::to_string(*static_cast<const uint8_t*>(state)));
        });
        BclSubEvent(kEvtUserAgent, made, [](void* context, void* user, void* agent) {
            static_cast<EventLog*>(context)->note("agent " + text(user) + " " + text(agent));
        });
        BclSubEvent(kEvtUserAddress, made, [](void* context, void* user, void* address) {
            static_cast<EventLog*>(context)->note("address " + text(user) + " " + text(address));
        });
        BclSubEvent(kEvtCallRecord, made, [](void* context, void* id, void* data) {
            const auto& record = *static_cast<const Ccdr_record_data*>(data);
            static constexpr std::array kMoments = {"start", "ring", "answer", "end"};
            const char* moment = "?";
            for (unsigned i = 0; i < kCdrTimes; ++i)
                if (record.has(1U << i))
                    moment = kMoments.at(i);
            std::string entry = "call " + std::to_string(*static_cast<const int*>(id)) + " " + moment + " " +
                                record.callerNbr + " " + record.dialedNbr + " " + record.calledNbr;
            if (record.has(kCdrHasEnd))
                entry += " " + std::to_string(record.releaseCode);
            static_cast<EventLog*>(context)->note(std::move(entry));
        });
        return made;
    }();
    return log;
}

void EventLog::note(std::string entry)
{
    const std::lock_guard guard(_mutex);
    _entries.push_back(std::move(entry));
    _wake.notify_all();
}

std::vector<std::string> EventLog::all() const
{
    const std::lock_guard guard(_mutex);
    return _entries;
}

void EventLog::clear()
{
    const std::lock_guard guard(_mutex);
    _entries.clear();
}

size_t EventLog::count(const std::string& beginning) const
{
    const std::lock_guard guard(_mutex);
    return static_cast<size_t>(std::count_if(_entries.begin(), _entries.end(), [&](const std::string& entry) {
        return entry.compare(0, beginning.size(), beginning) == 0;
    }));
}

bool EventLog::waitUntil(const std::function<bool()>& isThere)
{
    std::unique_lock lock(_mutex);
    return _wake.wait_for(lock, kTestPatience, isThere);
}

bool EventLog::waitFor(const std::string& entry)
{
    return waitUntil([&] { return std::find(_entries.begin(), _entries.end(), entry) != _entries.end(); });
}

bool EventLog::waitForPart(const std::string& part)
{
    return waitUntil([&] {
        return std::any_of(_entries.begin(), _entries.end(),
                           [&](const std::string& entry) { return entry.find(part) != std::string::npos; });
    });
}

bool EventLog::waitForCount(const std::string& beginning, size_t count)
{
    return waitUntil([&] {
        return static_cast<size_t>(std::count_if(_entries.begin(), _entries.end(), [&](const std::string& entry) {
                   return entry.compare(0, beginning.size(), beginning) == 0;
               })) >= count;
    });
}
