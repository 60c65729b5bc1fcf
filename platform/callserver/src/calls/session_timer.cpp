#include "calls/session_timer.h"

#include <algorithm>

namespace {

constexpr int64_t kMsPerSecond = 1000;
constexpr uint32_t kLastSeconds = 32; // RFC 4028 section 10: before the end, or a third of it

} // namespace

void LegTimer::start(uint32_t interval, bool isOurs, int64_t now)
{
    _interval = interval;
    _isOurs = isOurs && interval != 0;
    const uint32_t seconds = isOurs ? interval / 2 : interval - std::min(kLastSeconds, interval / 3);
    _endMs = now + interval * kMsPerSecond;
    _dueMs = interval == 0 ? 0 : now + seconds * kMsPerSecond;
}

std::string LegTimer::accept(const CallMessage& request, int64_t now)
{
    if (!request.isTimerSupported) {
        start(0, false, now);
        return {};
    }
    uint32_t interval = request.timer.interval == 0 ? kInterval : std::min(request.timer.interval, kInterval);
    interval = std::max({interval, request.timer.minimum, kMinimum});
    const bool isOurs = request.timer.refresher == SessionTimer::Refresher::Uas;
    start(interval, isOurs, now);
    const std::string value = std::to_string(interval) + (isOurs ? ";refresher=uas" : ";refresher=uac");
    return headerLine("Require", "timer") + headerLine("Session-Expires", value);
}

std::string LegTimer::offer(uint32_t minimum) const
{
    const uint32_t interval = std::max({isOn() ? _interval : kInterval, minimum, kMinimum});
    std::string value = std::to_string(interval);
    if (isOn())
        value += _isOurs ? ";refresher=uac" : ";refresher=uas";
    return headerLine("Session-Expires", value) + headerLine("Min-SE", std::to_string(std::max(minimum, kMinimum)));
}

void LegTimer::answered(const CallMessage& response, int64_t now)
{
    start(response.timer.interval == 0 ? 0 : std::max(response.timer.interval, kMinimum),
          response.timer.refresher != SessionTimer::Refresher::Uas, now);
}
