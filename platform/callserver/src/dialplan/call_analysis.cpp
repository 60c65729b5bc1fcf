// The order in which a call is handled, up to its targets.
#include "bcl2/text.h"
#include "dialplan/analysis.h"
#include "dialplan/black_list.h"
#include "dialplan/call_source.h"
#include "dialplan/caller_identity.h"
#include "dialplan/outgoing_targets.h"
#include "dialplan/prefix_match.h"
#include "dialplan/refinement.h"
#include "dialplan/services.h"

#include <utility>

namespace {

using CalledRule = std::shared_ptr<const Cdb_nbr_cld_ana_data>;

constexpr int kMaxRepeats = 5; // of the called number analysis, so that rules that lead to each other end
constexpr uint32_t kDefaultLineLevel = 6;

void analyzeCaller(Analysis& analysis)
{
    std::string& caller = analysis.answer.caller;
    const auto rule = findLongestPrefix(analysis.tables.rows<Cdb_nbr_clr_ana_data>(), caller);
    if (!rule)
        return analysis.step({"Caller number analysis: no prefix matches ", shownText(caller), "."});
    const std::string_view plan = BclTrimmed(BclFieldText(rule->dialPlan));
    if (!plan.empty())
        analysis.answer.dialPlan = BclFieldText(rule->dialPlan);
    analysis.step({"Caller number analysis: prefix ", BclFieldText(rule->callerPrefix), " matches ", shownText(caller),
                   plan.empty() ? "; the dial plan stays " : "; dial plan ", analysis.answer.dialPlan, "."});
    (void)analysis.applyTransition(rule->transId, caller);
}

void expandSpeedDial(Analysis& analysis)
{
    if (!analysis.user)
        return;
    const auto& rules = analysis.tables.rows<Cdb_speed_dial_data>();
    std::string& called = analysis.answer.called;
    auto rule = rules.find(analysis.answer.caller + kDbKeySeparator + called);
    if (!rule)
        rule = rules.find(std::string(kAnyNumber) + kDbKeySeparator + called);
    if (!rule || rule->destination.IsEmpty())
        return analysis.step({"Speed dial: no number for ", shownText(called), "."});
    analysis.step({"Speed dial: ", shownText(called), " of ", shownText(rule->callerNbr.view()), " is ",
                   shownText(rule->destination.view()), "."});
    called = rule->destination.view();
}

void checkBlackList(Analysis& analysis)
{
    constexpr int kLowest = 400;
    constexpr int kHighest = 699;
    constexpr int kForbidden = 403;

    if (analysis.answer.isEmergency)
        return;
    const auto item = findBlackItem(analysis.tables, analysis.answer.caller, analysis.answer.called);
    if (!item)
        return analysis.step({"Black list: no pair of prefixes matches ", shownText(analysis.answer.caller), " and ",
                              shownText(analysis.answer.called), "."});
    const int code = item->code >= kLowest && item->code <= kHighest ? item->code : kForbidden;
    analysis.refuse(code,
                    {"the black list has caller prefix ", shownText(BclFieldText(item->callerNbr)),
                     " with called prefix ", shownText(BclFieldText(item->calledNbr))},
                    Analysis::Heard::Yes);
}

std::string routeText(const Cdb_nbr_cld_ana_data& rule)
{
    const std::string_view line = BclFieldText(rule.extLine);
    switch (rule.routeType) {
    case kRtLocalUser:
        return "local user";
    case kRtExtLine:
        return line.empty() ? "any external line" : std::string("external line ").append(line);
    case kRtSipTrunk:
        return numbered("SIP trunk", rule.peerServerId);
    case kRtGroup:
        return numbered("routing group", rule.rtGroupId);
    default:
        return "reject";
    }
}

bool mayDial(Analysis& analysis, uint32_t level)
{
    if (level == 0 || !analysis.user || analysis.answer.isEmergency || analysis.user->levels.Has(level))
        return true;
    analysis.refuse(403, {"the caller may not dial numbers of ", numbered("level", level)}, Analysis::Heard::Yes);
    return false;
}

// The rule that says where the call goes, its transition applied; null when there is none, or when the call is refused.
CalledRule analyzeCalled(Analysis& analysis)
{
    std::string& called = analysis.answer.called;
    const std::string& plan = analysis.answer.dialPlan;
    const auto isShown = [](const Cdb_nbr_cld_ana_data& rule) { return rule.serviceType == 0; };
    for (int repeats = 0; repeats <= kMaxRepeats; ++repeats) {
        auto rule = findLongestPrefix(analysis.tables.rows<Cdb_nbr_cld_ana_data>(), called, {}, kDbKeySeparator + plan,
                                      isShown);
        if (!rule) {
            analysis.step({"Called number analysis, plan ", plan, ": no prefix matches ", shownText(called), "."});
            return nullptr;
        }
        analysis.step({"Called number analysis, plan ", plan, ": prefix ", BclFieldText(rule->calledPrefix),
                       " matches ", shownText(called), "; ", routeText(*rule), "."});
        if (!mayDial(analysis, rule->level))
            return nullptr;
        if (rule->calledChanged != 1 || !analysis.applyTransition(rule->transId, called) || rule->transOption != 1)
            return rule;
        analysis.step({"The changed number is analyzed again."});
    }
    analysis.refuse(482, {"the called number was analyzed again ", std::to_string(kMaxRepeats), " times without end"},
                    Analysis::Heard::No);
    return nullptr;
}

bool hasUser(const Analysis& analysis)
{
    return analysis.tables.rows<Cdb_usr_info>().find(analysis.answer.called) != nullptr;
}

void routeToUser(Analysis& analysis)
{
    const std::string& called = analysis.answer.called;
    if (!hasUser(analysis))
        return analysis.refuse(404, {"there is no local user ", shownText(called)}, Analysis::Heard::Yes);
    analysis.step({"Route: local user ", shownText(called), "."});
    analysis.addTarget(DialTarget::Kind::LocalUser, called);
}

// A line that a rule names; empty: any. The caller's own special line goes before it.
void routeToLine(Analysis& analysis, OutgoingTargets& targets, std::string_view line)
{
    std::string name(line);
    if (analysis.user && analysis.user->extLine[0] != '\0') {
        name = BclFieldText(analysis.user->extLine);
        analysis.step({"The caller has the special external line ", shownText(name), "."});
    }
    targets.addLine(name);
}

void routeOut(Analysis& analysis, const Cdb_nbr_cld_ana_data* rule)
{
    if (!analysis.mayLeave())
        return;
    if (analysis.answer.called.empty())
        return analysis.refuse(484, {"no number is left to be called"}, Analysis::Heard::No);
    OutgoingTargets targets(analysis);
    if (rule == nullptr || rule->routeType == kRtExtLine)
        routeToLine(analysis, targets, rule == nullptr ? std::string_view() : BclFieldText(rule->extLine));
    else if (rule->routeType == kRtSipTrunk)
        targets.addPeer(rule->peerServerId);
    else
        targets.addGroup(rule->rtGroupId);
    if (analysis.answer.targets.empty())
        analysis.refuse(503, {"no external line or trunk takes the call now"}, Analysis::Heard::No);
}

void routeByDefault(Analysis& analysis)
{
    const bool isLineNext = analysis.tables.system().defaultRoute == 1;
    analysis.step({"Default route: local user", isLineNext ? ", else an external line." : "."});
    if (!isLineNext || hasUser(analysis))
        return routeToUser(analysis);
    if (mayDial(analysis, kDefaultLineLevel))
        routeOut(analysis, nullptr);
}

void route(Analysis& analysis, const CalledRule& rule)
{
    if (!rule)
        return routeByDefault(analysis);
    switch (rule->routeType) {
    case kRtLocalUser:
        return routeToUser(analysis);
    case kRtExtLine:
    case kRtSipTrunk:
    case kRtGroup:
        return routeOut(analysis, rule.get());
    default:
        return analysis.refuse(403, {"calls to ", shownText(analysis.answer.called), " are rejected"},
                               Analysis::Heard::Yes);
    }
}

// Up to the services; true when the called number is to be analyzed.
bool isForAnalysis(Analysis& analysis)
{
    checkSource(analysis);
    if (analysis.isRefused())
        return false;
    analyzeCaller(analysis);
    const bool isAnswered = analysis.line && analysis.line->hasFlag(kLineAutoAttendant);
    if (analysis.answer.called.empty() && !isAnswered) {
        analysis.refuse(484, {"the call names no number"}, Analysis::Heard::No);
        return false;
    }
    if (serveCode(analysis))
        return false;
    expandSpeedDial(analysis);
    checkBlackList(analysis);
    if (analysis.isRefused())
        return false;
    runModules(analysis, kLuaNumberCollected);
    return true;
}

void analyze(Analysis& analysis)
{
    if (!isForAnalysis(analysis) || serveDetected(analysis))
        return;
    const CalledRule rule = analyzeCalled(analysis);
    if (analysis.isRefused())
        return;
    if (rule) {
        refineCaller(analysis, rule->clrRefineGroup);
        if (!analysis.answer.isEmergency)
            analysis.maxDuration = smallerLimit(analysis.maxDuration, rule->maxDuration);
    }
    runModules(analysis, kLuaNumberAnalyzed);
    rewriteCaller(analysis);
    route(analysis, rule);
}

} // namespace

DialAnswer analyzeCall(const DialPlanTables& tables, const CallRequest& request, const CallCounts& counts,
                       Cbcl_timestamp now)
{
    Analysis analysis{tables, request, counts, now, nullptr, nullptr, 0, false, {}};
    analyze(analysis);
    if (!analysis.answer.targets.empty())
        analysis.answer.maxDuration = analysis.answer.targets.front().maxDuration;
    return std::move(analysis.answer);
}
