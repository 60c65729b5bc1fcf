// The longest rule that begins a number. A rule "." matches every number and ranks last, behind an empty one.
#pragma once

#include "bcl2/number.h"
#include "cachedb2/snapshot.h"

#include <algorithm>
#include <string>
#include <string_view>

// The rule of every number.
constexpr std::string_view kAnyNumber = ".";

// The text of a rule in a table that also holds others: `before` and `after` are what stands around the prefix in the
// key. `isWanted` may pass over rules. Null when none matches.
template <class Record, class IsWanted>
typename Snapshot<Record>::RecordPtr findLongestPrefix(const Snapshot<Record>& rules, std::string_view number,
                                                       std::string_view before, std::string_view after,
                                                       const IsWanted& isWanted)
{
    std::string key;
    const auto find = [&](std::string_view prefix) {
        key.assign(before).append(prefix).append(after);
        auto rule = rules.find(key);
        return rule && isWanted(*rule) ? rule : nullptr;
    };
    if (rules.size() == 0)
        return nullptr;
    for (size_t length = std::min(number.size(), Cphone_number::kBound) + 1; length-- > 0;) {
        const std::string_view prefix = number.substr(0, length);
        if (prefix == kAnyNumber)
            continue;
        if (auto rule = find(prefix))
            return rule;
    }
    return find(kAnyNumber);
}

template <class Record>
typename Snapshot<Record>::RecordPtr findLongestPrefix(const Snapshot<Record>& rules, std::string_view number,
                                                       std::string_view before = {}, std::string_view after = {})
{
    return findLongestPrefix(rules, number, before, after, [](const Record&) { return true; });
}
