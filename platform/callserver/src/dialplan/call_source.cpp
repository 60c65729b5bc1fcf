#include "dialplan/call_source.h"

#include "user_expiry.h"

#include "bcl2/text.h"

namespace {

constexpr std::string_view kDefaultPlan = "default";

std::string planOr(std::string_view plan, std::string_view other)
{
    return std::string(BclTrimmed(plan).empty() ? other : plan);
}

void checkLimits(Analysis& analysis)
{
    const Cdb_usr_info& user = *analysis.user;
    const std::string& name = analysis.request.source.name;
    if (hasExpired(user, analysis.now))
        analysis.refuse(403, {"local user ", shownText(name), " has expired"}, Analysis::Heard::Yes);
    else if (isLimitReached(user.maxCalls, analysis.counts.ofUser(name)))
        analysis.refuse(486, {"local user ", shownText(name), " has reached his limit of calls"}, Analysis::Heard::Yes);
    else if (isLimitReached(user.maxOutCalls, analysis.counts.madeByUser(name)))
        analysis.refuse(486, {"local user ", shownText(name), " has reached his limit of outgoing calls"},
                        Analysis::Heard::Yes);
}

void fromUser(Analysis& analysis)
{
    const std::string& name = analysis.request.source.name;
    analysis.user = analysis.tables.rows<Cdb_usr_info>().find(name);
    if (!analysis.user)
        return analysis.refuse(403, {"local user ", shownText(name), " does not exist any more"}, Analysis::Heard::No);
    analysis.answer.dialPlan = planOr(BclFieldText(analysis.user->dialPlan), kDefaultPlan);
    analysis.answer.displayName = BclFieldText(analysis.user->dispName);
    analysis.step({"The call comes from local user ", shownText(name), "; dial plan ", analysis.answer.dialPlan, "."});
    if (analysis.tables.isEmergencyNumber(analysis.request.dialed)) {
        analysis.answer.isEmergency = true;
        return analysis.step({"Emergency number ", shownText(analysis.request.dialed),
                              ": limits, levels, expiry dates, time conditions and the black list do not count."});
    }
    analysis.maxDuration = smallerLimit(0, analysis.user->maxDuration);
    checkLimits(analysis);
}

void fromLine(Analysis& analysis)
{
    const std::string& name = analysis.request.source.name;
    analysis.line = analysis.tables.rows<Cdb_ext_line_info>().find(name);
    if (!analysis.line)
        return analysis.refuse(403, {"external line ", shownText(name), " does not exist any more"},
                               Analysis::Heard::No);
    std::string& called = analysis.answer.called;
    if (const std::string_view destination = BclFieldText(analysis.line->destination); !destination.empty())
        called = destination;
    else if (called == name && !analysis.request.toUser.empty())
        called = analysis.request.toUser;
    analysis.step({"The call comes from external line ", shownText(name), " for ", shownText(called), "; dial plan ",
                   kDefaultPlan, "."});
    analysis.maxDuration = smallerLimit(0, analysis.line->maxDuration);
    if (isLimitReached(analysis.line->maxCalls, analysis.counts.ofLine(name)))
        analysis.refuse(486, {"external line ", shownText(name), " has reached its limit of calls"},
                        Analysis::Heard::No);
}

void fromPeer(Analysis& analysis)
{
    const uint32_t peerId = analysis.request.source.peerId;
    const std::string name = numbered("peer server", peerId);
    const auto peer = analysis.tables.rows<Cdb_peer_server>().find(std::to_string(peerId));
    if (!peer)
        return analysis.refuse(403, {name, " does not exist any more"}, Analysis::Heard::No);
    analysis.answer.dialPlan = planOr(BclFieldText(peer->dialPlan), kDefaultPlan);
    analysis.step({"The call comes from ", name, "; dial plan ", analysis.answer.dialPlan, "."});
    if (isLimitReached(peer->maxInCalls, analysis.counts.fromPeer(peerId)))
        analysis.refuse(503, {name, " has reached its limit of incoming calls"}, Analysis::Heard::No);
}

void fromUnknown(Analysis& analysis)
{
    analysis.step({"The call comes from an unknown server; dial plan ", kDefaultPlan, "."});
    if ((analysis.tables.system().callFlags & kSysAcceptUnknown) == 0)
        analysis.refuse(403, {"calls from unknown servers are not accepted"}, Analysis::Heard::No);
}

} // namespace

void checkSource(Analysis& analysis)
{
    analysis.answer.caller = analysis.request.caller;
    analysis.answer.called = analysis.request.dialed;
    analysis.answer.dialPlan = kDefaultPlan;
    switch (analysis.request.source.kind) {
    case SourceKind::User:
        return fromUser(analysis);
    case SourceKind::Line:
        return fromLine(analysis);
    case SourceKind::Peer:
        return fromPeer(analysis);
    case SourceKind::Unknown:
        break;
    }
    fromUnknown(analysis);
}
