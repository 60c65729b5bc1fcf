#include "dialplan/time_condition.h"

#include <ctime>

namespace {

constexpr unsigned kMinutes = 60; // of an hour
constexpr unsigned kHours = 24;   // of a day
constexpr unsigned kDays = 7;     // of a week

bool isOnClock(unsigned hour, unsigned minute)
{
    return hour < kHours && minute < kMinutes;
}

} // namespace

bool holdsAt(const Cdb_time_cond& condition, Cbcl_timestamp now)
{
    const bool endsAtMidnight = condition.endHour == kHours && condition.endMinute == 0;
    if (!isOnClock(condition.startHour, condition.startMinute) ||
        (!endsAtMidnight && !isOnClock(condition.endHour, condition.endMinute)))
        return false;

    std::tm local{};
    const time_t stamp = now;
    if (localtime_r(&stamp, &local) == nullptr)
        return false;
    const auto isOn = [&](unsigned weekday) { return (condition.weekdays & 1U << weekday) != 0; };
    const auto today = static_cast<unsigned>(local.tm_wday);
    const unsigned yesterday = (today + kDays - 1) % kDays;
    const unsigned minute = static_cast<unsigned>(local.tm_hour) * kMinutes + static_cast<unsigned>(local.tm_min);
    const unsigned start = condition.startHour * kMinutes + condition.startMinute;
    const unsigned end = condition.endHour * kMinutes + condition.endMinute;
    if (start == end)
        return isOn(today);
    if (start < end)
        return isOn(today) && minute >= start && minute < end;
    return (isOn(today) && minute >= start) || (isOn(yesterday) && minute < end);
}
