#include "dialplan/outgoing_targets.h"

#include "bcl2/text.h"
#include "dialplan/refinement.h"

#include <utility>

std::string OutgoingTargets::whyNot(const Cdb_ext_line_info& line, bool mayPush)
{
    const std::string name(BclFieldText(line.extName));
    const CallCounts& counts = _analysis.counts;
    if (!counts.isLineOn(name))
        return "is off";
    if (!_analysis.answer.isEmergency && !_analysis.holds(line.timeCondId))
        return "is outside its time condition " + std::to_string(line.timeCondId);
    if (mayPush)
        return {};
    if (isLimitReached(line.maxCalls, counts.ofLine(name)))
        return "has reached its limit of calls";
    if (isLimitReached(line.maxOutCalls, counts.madeOverLine(name)))
        return "has reached its limit of outgoing calls";
    return {};
}

std::string OutgoingTargets::whyNot(const Cdb_peer_server& peer)
{
    if (_analysis.answer.isEmergency)
        return {};
    if (!_analysis.holds(peer.timeCondId))
        return "is outside its time condition " + std::to_string(peer.timeCondId);
    if (isLimitReached(peer.maxOutCalls, _analysis.counts.toPeer(peer.sid)))
        return "has reached its limit of outgoing calls";
    return {};
}

std::string OutgoingTargets::firstFreeLine()
{
    const auto& lines = _analysis.tables.linesByName();
    const auto findLine = [&](bool mayPush) -> std::string {
        for (const auto& line : lines)
            if (whyNot(*line, mayPush).empty())
                return std::string(BclFieldText(line->extName));
        return {};
    };
    std::string name = findLine(false);
    if (name.empty() && _analysis.answer.isEmergency)
        name = findLine(true);
    if (name.empty())
        _analysis.step({"No external line is on and free."});
    else
        _analysis.step({"External line ", name, " is the first one that can take the call."});
    return name;
}

void OutgoingTargets::addLine(const std::string& name)
{
    const std::string wanted = name.empty() ? firstFreeLine() : name;
    for (std::string next = wanted; !next.empty() && _triedLines.insert(next).second;) {
        const auto line = _analysis.tables.rows<Cdb_ext_line_info>().find(next);
        if (!line)
            return _analysis.step({"There is no external line ", shownText(next), "."});
        if (const std::string reason = whyNot(*line, _analysis.answer.isEmergency); !reason.empty())
            _analysis.step({"External line ", next, " ", reason, "."});
        else
            addTarget(*line);
        next = BclFieldText(line->nextLine);
    }
}

void OutgoingTargets::addPeer(uint32_t peerId)
{
    for (uint32_t next = peerId; next != 0 && _triedPeers.insert(next).second;) {
        const auto peer = _analysis.tables.rows<Cdb_peer_server>().find(std::to_string(next));
        const std::string name = numbered("SIP trunk", next);
        if (!peer)
            return _analysis.step({"There is no ", name, "."});
        if (const std::string reason = whyNot(*peer); !reason.empty())
            _analysis.step({name, " ", reason, "."});
        else
            addTarget(*peer);
        next = peer->backupSid;
    }
}

void OutgoingTargets::addGroup(uint32_t groupId)
{
    const auto& routes = _analysis.tables.routesOf(groupId);
    if (routes.empty())
        _analysis.step({numbered("Routing group", groupId), " has no routes."});
    for (const auto& route : routes) {
        if (route->routeType == kRouteExtLine && !route->extLine.IsEmpty())
            addLine(std::string(route->extLine.view()));
        else if (route->routeType == kRouteTrunk)
            addPeer(route->peerServerId);
    }
}

void OutgoingTargets::addTarget(const Cdb_ext_line_info& line)
{
    const std::string name(BclFieldText(line.extName));
    _analysis.addTarget(DialTarget::Kind::Line, name);
    DialTarget& target = _analysis.answer.targets.back();
    target.called = refinedNumber(_analysis, line.cldRefineGroup);
    if (_analysis.answer.isEmergency)
        target.isFull = !whyNot(line, false).empty();
    else
        target.maxDuration = smallerLimit(target.maxDuration, line.maxDuration);
    _analysis.step({"External line ", name, " gets ", shownText(target.called),
                    target.isFull ? "; it is full, so another call has to end." : "."});
}

void OutgoingTargets::addTarget(const Cdb_peer_server& peer)
{
    const std::string name = numbered("SIP trunk", peer.sid);
    _analysis.addTarget(DialTarget::Kind::Trunk, {}, peer.sid);
    DialTarget& target = _analysis.answer.targets.back();
    target.called = refinedNumber(_analysis, peer.cldRefineGroup);
    if (const std::string_view own = BclFieldText(peer.outCallerNbr); !own.empty() && !_analysis.isNumberRemoved)
        target.caller = own;
    _analysis.step({name, " gets ", shownText(target.called), " from ", shownText(target.caller), "."});
}
