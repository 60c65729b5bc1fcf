#include "dialplan/analysis.h"

#include "bcl2/text.h"
#include "dialplan/time_condition.h"
#include "dialplan/transition.h"

#include <algorithm>
#include <utility>

namespace {

// One line, whatever the records and the request hold.
std::string joined(std::initializer_list<std::string_view> parts)
{
    std::string text;
    for (const std::string_view part : parts)
        text += part;
    return BclPrintable(text);
}

} // namespace

std::string shownText(std::string_view text)
{
    constexpr size_t kMaxShown = 64; // bytes; numbers of records have half of it
    return text.empty() ? "(none)" : BclPrintable(text, kMaxShown);
}

std::string numbered(std::string_view what, uint32_t number)
{
    return std::string(what).append(" ").append(std::to_string(number));
}

uint32_t smallerLimit(uint32_t limit, int64_t other)
{
    if (other <= 0)
        return limit;
    return limit == 0 || other < limit ? static_cast<uint32_t>(other) : limit;
}

bool isLimitReached(int64_t limit, unsigned calls)
{
    return limit > 0 && calls >= limit;
}

void Analysis::step(std::initializer_list<std::string_view> parts)
{
    if (request.areStepsTold)
        answer.steps.push_back({joined(parts)});
}

void Analysis::refuse(int status, std::initializer_list<std::string_view> reason, Heard heard)
{
    answer.status = status;
    answer.reason = joined(reason);
    answer.targets.clear();
    answer.mayAnnounce = heard == Heard::Yes && user && (tables.system().callFlags & kSysAnnounce) != 0;
    step({"Refused with ", std::to_string(status), ": ", answer.reason, "."});
}

bool Analysis::holds(uint32_t timeCondition)
{
    if (timeCondition == 0)
        return true;
    const auto condition = tables.rows<Cdb_time_cond>().find(std::to_string(timeCondition));
    if (condition)
        return holdsAt(*condition, now);
    auto& missing = answer.missingTimeConditions;
    if (std::find(missing.begin(), missing.end(), timeCondition) == missing.end()) {
        missing.push_back(timeCondition);
        step({numbered("Time condition", timeCondition), " does not exist, so it never holds."});
    }
    return false;
}

bool Analysis::applyTransition(uint32_t transition, std::string& number)
{
    if (transition == 0)
        return false;
    const auto found = tables.rows<Cdb_nbr_trans_data>().find(std::to_string(transition));
    const std::string name = numbered("Transition", transition);
    if (!found) {
        step({name, " does not exist; the number is kept."});
        return false;
    }
    std::string next = changedNumber(*found, number);
    step({name, " makes ", shownText(number), " ", shownText(next), "."});
    number = std::move(next);
    return true;
}

bool Analysis::mayLeave()
{
    if (request.source.kind == SourceKind::Unknown)
        refuse(403, {"calls from unknown servers may only reach local users and services"}, Heard::No);
    else if (user && !answer.isEmergency && !holds(user->timeCondId))
        refuse(403, {numbered("time condition", user->timeCondId), " of the caller does not hold"}, Heard::Yes);
    else if (!user && (tables.system().callFlags & kSysTransit) == 0)
        refuse(403, {"transit calls are not allowed"}, Heard::No);
    return !isRefused();
}

void Analysis::addTarget(DialTarget::Kind kind, std::string name, uint32_t peerId)
{
    DialTarget& target = answer.targets.emplace_back();
    target.kind = kind;
    target.name = std::move(name);
    target.peerId = peerId;
    target.caller = answer.caller;
    target.called = answer.called;
    target.maxDuration = maxDuration;
}
