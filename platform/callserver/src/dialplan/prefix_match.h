// The longest rule that begins a number. A rule "." matches every number and ranks last, behind an empty one.
#pragma once

#include "bcl2/number.h"
#include "cachedb2/snapshot.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

// The rule of every number.
constexpr std::string_view kAnyNumber = ".";

// Calls `visit` with every rule that would match the number, the highest rank first, until it returns true. `lengths`
// has a bit for each length in bytes that is wanted.
template <class Visitor>
void forEachPrefix(std::string_view number, uint64_t lengths, Visitor&& visit)
{
    for (size_t length = std::min(number.size(), Cphone_number::kBound) + 1; length-- > 0;) {
        const std::string_view prefix = number.substr(0, length);
        if ((lengths >> length & 1) != 0 && prefix != kAnyNumber && visit(prefix))
            return;
    }
    if ((lengths >> kAnyNumber.size() & 1) != 0)
        visit(kAnyNumber);
}

// `before` and `after` are what stands around the prefix in the key of a rule. `isWanted` may pass over rules. Null
// when none matches.
template <class Record, class IsWanted>
typename Snapshot<Record>::RecordPtr findLongestPrefix(const Snapshot<Record>& rules, std::string_view number,
                                                       std::string_view before, std::string_view after,
                                                       const IsWanted& isWanted)
{
    constexpr uint64_t kEveryLength = ~uint64_t{0};
    typename Snapshot<Record>::RecordPtr found;
    std::string key;
    if (rules.size() == 0)
        return found;
    forEachPrefix(number, kEveryLength, [&](std::string_view prefix) {
        key.assign(before).append(prefix).append(after);
        found = rules.find(key);
        if (found && !isWanted(*found))
            found = nullptr;
        return found != nullptr;
    });
    return found;
}

template <class Record>
typename Snapshot<Record>::RecordPtr findLongestPrefix(const Snapshot<Record>& rules, std::string_view number,
                                                       std::string_view before = {}, std::string_view after = {})
{
    return findLongestPrefix(rules, number, before, after, [](const Record&) { return true; });
}
