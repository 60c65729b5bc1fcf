// What call analysis costs: the longest prefix among 100,000 rules beside an ordered map that answers the same
// question, and beside a single look-up; then a whole call, with its steps.
#include "bcl2/text.h"
#include "dialplan/dial_plan.h"
#include "dialplan/prefix_match.h"
#include "support/cpu_time.h"
#include "support/report.h"

#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using Rule = Cdb_nbr_cld_ana_data;

constexpr unsigned kRounds = 15;
constexpr size_t kRules = 100'000;
constexpr size_t kNumbers = 20'000; // called in a round
constexpr size_t kDigits = 12;      // of a called number
constexpr size_t kUsers = 10'000;

class NoCalls final : public CallCounts {
public:
    [[nodiscard]] unsigned ofUser(const std::string& /*user*/) const override { return 0; }
    [[nodiscard]] unsigned madeByUser(const std::string& /*user*/) const override { return 0; }
    [[nodiscard]] unsigned ofLine(const std::string& /*line*/) const override { return 0; }
    [[nodiscard]] unsigned madeOverLine(const std::string& /*line*/) const override { return 0; }
    [[nodiscard]] unsigned toPeer(uint32_t /*peerId*/) const override { return 0; }
    [[nodiscard]] unsigned fromPeer(uint32_t /*peerId*/) const override { return 0; }
};

// The same rules three times: as the dial plan has them, in an ordered map, and in a plain hash table.
class Rules {
public:
    Rules()
    {
        Snapshot<Rule>::Builder builder(nullptr);
        while (_sorted.size() < kRules) {
            const std::string prefix = digits(std::uniform_int_distribution<size_t>(3, 9)(_random));
            const auto [it, isNew] = _sorted.try_emplace(prefix);
            if (!isNew)
                continue;
            BclCopyStr(it->second.calledPrefix, prefix.c_str());
            it->second.routeType = kRtExtLine;
            BclCopyStr(it->second.extLine, "line");
            builder.set(prefix + kAfter, it->second);
        }
        tables.set<Rule>(builder.finish());
        for (const auto& [prefix, rule] : _sorted)
            _whole.emplace(prefix, rule);
        addUsersAndLine();
        const std::vector<std::string> prefixes = somePrefixes();
        for (size_t i = 0; i < kNumbers; ++i) {
            prefixesAsked.push_back(prefixes[i]);
            numbers.push_back(prefixes[i] + digits(kDigits - prefixes[i].size()));
        }
    }

    // What each finds.
    [[nodiscard]] const Rule* ours(const std::string& number) const
    {
        return findLongestPrefix(tables.rows<Rule>(), number, {}, kAfter).get();
    }
    [[nodiscard]] const Rule* byOrderedMap(const std::string& number) const
    {
        // The last key that is not above the number either begins it or shares a shorter beginning with it.
        std::string wanted = number;
        for (auto it = _sorted.upper_bound(wanted); it != _sorted.begin(); it = _sorted.upper_bound(wanted)) {
            --it;
            size_t same = 0;
            while (same < it->first.size() && same < wanted.size() && it->first[same] == wanted[same])
                ++same;
            if (same == it->first.size())
                return &it->second;
            wanted.resize(same);
        }
        return nullptr;
    }
    [[nodiscard]] const Rule* byWholeKey(const std::string& key) const { return &_whole.at(key); }

    DialPlanTables tables;
    std::vector<std::string> numbers;
    std::vector<std::string> prefixesAsked; // of a rule each, which begins the number of the same place

private:
    std::string digits(size_t count)
    {
        std::string text;
        for (; count > 0; --count)
            text += static_cast<char>('0' + std::uniform_int_distribution<int>(0, 9)(_random));
        return text;
    }
    std::vector<std::string> somePrefixes()
    {
        std::vector<std::string> prefixes;
        prefixes.reserve(_sorted.size());
        for (const auto& [prefix, rule] : _sorted)
            prefixes.push_back(prefix);
        std::shuffle(prefixes.begin(), prefixes.end(), _random);
        return prefixes;
    }
    void addUsersAndLine()
    {
        Snapshot<Cdb_usr_info>::Builder users(nullptr);
        for (size_t i = 0; i < kUsers; ++i) {
            Cdb_usr_info user;
            BclCopyStr(user.usrName, std::to_string(10'000 + i).c_str());
            users.set(user.usrName, user);
        }
        tables.set<Cdb_usr_info>(users.finish());
        Snapshot<Cdb_ext_line_info>::Builder lines(nullptr);
        Cdb_ext_line_info line;
        BclCopyStr(line.extName, "line");
        lines.set(line.extName, line);
        tables.set<Cdb_ext_line_info>(lines.finish());
    }

    static inline const std::string kAfter = std::string(1, kDbKeySeparator) + "default";

    std::mt19937 _random{1};
    std::map<std::string, Rule> _sorted;
    std::unordered_map<std::string, Rule> _whole;
};

// Mean time of one call of `ask` for each of the numbers, µs.
double microseconds(const std::vector<std::string>& asked, const std::function<bool(const std::string&)>& ask)
{
    const auto start = std::chrono::steady_clock::now();
    size_t found = 0;
    for (const std::string& number : asked)
        found += ask(number) ? 1 : 0;
    const std::chrono::duration<double, std::micro> passed = std::chrono::steady_clock::now() - start;
    if (found != asked.size())
        throw std::runtime_error("a rule was not found");
    return passed.count() / static_cast<double>(asked.size());
}

void checkThatBothFindTheSame(const Rules& rules)
{
    for (const std::string& number : rules.numbers)
        if (BclFieldText(rules.ours(number)->calledPrefix) != BclFieldText(rules.byOrderedMap(number)->calledPrefix))
            throw std::runtime_error("two rules were found for " + number);
}

bool isCallRouted(const Rules& rules, const std::string& dialed)
{
    static const NoCalls counts;
    CallRequest request;
    request.source = {SourceKind::User, "10000", 0};
    request.caller = "10000";
    request.dialed = dialed;
    return analyzeCall(rules.tables, request, counts, 0).targets.size() == 1;
}

void bench()
{
    const std::string load = machineLoad();
    const Rules rules;
    checkThatBothFindTheSame(rules);
    Rounds ours;
    Rounds ordered;
    Rounds whole;
    Rounds call;
    Rounds toOrdered;
    Rounds toWhole;
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round < rounds; ++round) {
        const double own =
            microseconds(rules.numbers, [&](const std::string& number) { return rules.ours(number) != nullptr; });
        const double map = microseconds(
            rules.numbers, [&](const std::string& number) { return rules.byOrderedMap(number) != nullptr; });
        const double key = microseconds(rules.prefixesAsked,
                                        [&](const std::string& prefix) { return rules.byWholeKey(prefix) != nullptr; });
        ours.add(own);
        ordered.add(map);
        whole.add(key);
        toOrdered.add(own / map);
        toWhole.add(own / key);
        call.add(microseconds(rules.numbers, [&](const std::string& number) { return isCallRouted(rules, number); }));
    }
    const Table table("Call analysis, " + std::to_string(kRules) + " rules",
                      {"What", "µs", "longest prefix to it", "Limit"});
    table.row({"longest prefix of a number of 12 digits", spread(ours, 2), "", "10"});
    table.row({"the same in a std::map", spread(ordered, 2), decimal(toOrdered.median(), 2), ""});
    table.row({"one key of a std::unordered_map", spread(whole, 2), decimal(toWhole.median(), 2), ""});
    table.row({"a whole call to an external line, with its steps", spread(call, 2), "", ""});
    Table::note("Medians (smallest to largest) of " + std::to_string(rounds) + " interleaved rounds of " +
                std::to_string(kNumbers) +
                " different numbers, each of which has a rule of 3 to 9 digits. A ratio above 1 is a longer time. Load "
                "of the machine before: " +
                load + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
