#include "callserver/dialplan_fixture.h"

#include <cstdlib>
#include <ctime>

DialPlanFixture::DialPlanFixture()
{
    setenv("TZ", "UTC", 1);
    tzset();
    put(user("2001"));
    put(user("2002"));
}

Cdb_usr_info DialPlanFixture::user(const std::string& name)
{
    Cdb_usr_info record;
    BclCopyStr(record.usrName, name.c_str());
    return record;
}

Cdb_nbr_cld_ana_data DialPlanFixture::rule(const std::string& prefix, uint32_t routeType, const std::string& plan)
{
    Cdb_nbr_cld_ana_data record;
    BclCopyStr(record.calledPrefix, prefix.c_str());
    BclCopyStr(record.dialPlan, plan.c_str());
    record.routeType = routeType;
    return record;
}

void DialPlanFixture::put(const Cdb_usr_info& record)
{
    putAt(record.usrName, record);
}

void DialPlanFixture::put(const Cdb_nbr_cld_ana_data& record)
{
    putAt(std::string(record.calledPrefix) + kDbKeySeparator + record.dialPlan, record);
}

void DialPlanFixture::put(const Cdb_ext_line_info& record)
{
    putAt(record.extName, record);
}

void DialPlanFixture::put(const Cdb_peer_server& record)
{
    putAt(std::to_string(record.sid), record);
}

void DialPlanFixture::putTransition(uint32_t id, uint32_t type, uint32_t startPos, uint32_t length,
                                    const std::string& digits)
{
    Cdb_nbr_trans_data record;
    record.transid = id;
    record.type = type;
    record.startPos = startPos;
    record.length = length;
    BclCopyStr(record.digits, digits.c_str());
    putAt(std::to_string(id), record);
}

void DialPlanFixture::putCallerRule(const std::string& prefix, const std::string& plan, uint32_t transition)
{
    Cdb_nbr_clr_ana_data record;
    BclCopyStr(record.callerPrefix, prefix.c_str());
    BclCopyStr(record.dialPlan, plan.c_str());
    record.transId = transition;
    putAt(prefix, record);
}

void DialPlanFixture::putCallerRefinement(uint32_t group, const std::string& prefix, uint32_t transition)
{
    Cdb_nbr_clr_refine_data record;
    record.groupID = group;
    record.transId = transition;
    BclCopyStr(record.callerPrefix, prefix.c_str());
    putAt(std::to_string(group) + kDbKeySeparator + prefix, record);
}

void DialPlanFixture::putCalledRefinement(uint32_t group, const std::string& prefix, uint32_t transition)
{
    Cdb_nbr_cld_refine record;
    record.groupID = group;
    record.transId = transition;
    BclCopyStr(record.calledPrefix, prefix.c_str());
    putAt(std::to_string(group) + kDbKeySeparator + prefix, record);
}

void DialPlanFixture::putBlackItem(const std::string& caller, const std::string& called, int code)
{
    Cdb_sys_black_item record;
    record.code = code;
    BclCopyStr(record.callerNbr, caller.c_str());
    BclCopyStr(record.calledNbr, called.c_str());
    putAt(caller + kDbKeySeparator + called, record);
}

void DialPlanFixture::putRewriting(const std::string& caller, const std::string& displayName, bool isAnonymous)
{
    Cdb_clr_rewriting_info record;
    BclCopyStr(record.callerNbr, caller.c_str());
    BclCopyStr(record.displayName, displayName.c_str());
    record.isAnonymous = isAnonymous ? 1 : 0;
    putAt(caller, record);
}

void DialPlanFixture::putSpeedDial(const std::string& caller, const std::string& dialed, const std::string& destination)
{
    Cdb_speed_dial_data record;
    record.callerNbr.SetNbr(caller.c_str());
    record.dialedNbr.SetNbr(dialed.c_str());
    record.destination.SetNbr(destination.c_str());
    putAt(caller + kDbKeySeparator + dialed, record);
}

void DialPlanFixture::putRoute(uint32_t group, const std::string& line, uint32_t peerId)
{
    Cdb_route record;
    record.groupID = group;
    record.routeType = line.empty() ? kRouteTrunk : kRouteExtLine;
    record.peerServerId = peerId;
    record.extLine.SetNbr(line.c_str());
    const std::string key = std::to_string(group) + kDbKeySeparator + std::to_string(record.routeType) +
                            kDbKeySeparator + line + kDbKeySeparator + std::to_string(peerId);
    putAt(key, record);
}

void DialPlanFixture::putTimeCondition(uint32_t id, bool isHeld)
{
    Cdb_time_cond record;
    record.ID = id;
    record.weekdays = isHeld ? 0x7f : 0;
    putAt(std::to_string(id), record);
}

void DialPlanFixture::changeSystem(const std::function<void(Cdb_sys_data&)>& change)
{
    Cdb_sys_data record = tables.system();
    change(record);
    tables.setSystem(std::make_shared<const Cdb_sys_data>(record));
}

void DialPlanFixture::changeUser(const std::string& name, const std::function<void(Cdb_usr_info&)>& change)
{
    const auto stored = tables.rows<Cdb_usr_info>().find(name);
    Cdb_usr_info record = stored ? *stored : user(name);
    change(record);
    put(record);
}

void DialPlanFixture::changeLine(const std::string& name, const std::function<void(Cdb_ext_line_info&)>& change)
{
    const auto stored = tables.rows<Cdb_ext_line_info>().find(name);
    Cdb_ext_line_info record;
    if (stored) {
        record = *stored;
    } else {
        BclCopyStr(record.extName, name.c_str());
        record.maxCalls = record.maxOutCalls = 0;
    }
    if (change)
        change(record);
    put(record);
}

void DialPlanFixture::changePeer(uint32_t id, const std::function<void(Cdb_peer_server&)>& change)
{
    const auto stored = tables.rows<Cdb_peer_server>().find(std::to_string(id));
    Cdb_peer_server record;
    if (stored) {
        record = *stored;
    } else {
        record.sid = id;
        record.maxInCalls = record.maxOutCalls = 0;
    }
    if (change)
        change(record);
    put(record);
}

Cdb_nbr_cld_ana_data DialPlanFixture::ruleToLine(const std::string& prefix, const std::string& line)
{
    Cdb_nbr_cld_ana_data record = rule(prefix, kRtExtLine);
    BclCopyStr(record.extLine, line.c_str());
    return record;
}

Cdb_nbr_cld_ana_data DialPlanFixture::ruleToPeer(const std::string& prefix, uint32_t peerId)
{
    Cdb_nbr_cld_ana_data record = rule(prefix, kRtSipTrunk);
    record.peerServerId = peerId;
    return record;
}

Cdb_nbr_cld_ana_data DialPlanFixture::ruleToGroup(const std::string& prefix, uint32_t group)
{
    Cdb_nbr_cld_ana_data record = rule(prefix, kRtGroup);
    record.rtGroupId = group;
    return record;
}

Cdb_nbr_cld_ana_data DialPlanFixture::ruleWithTransition(const std::string& prefix, uint32_t transition,
                                                         bool isRepeated)
{
    Cdb_nbr_cld_ana_data record = rule(prefix);
    record.calledChanged = 1;
    record.transId = transition;
    record.transOption = isRepeated ? 1 : 0;
    return record;
}

DialAnswer DialPlanFixture::analyze(const CallRequest& request) const
{
    return analyzeCall(tables, request, counts, now);
}

DialAnswer DialPlanFixture::callFromUser(const std::string& user, const std::string& dialed) const
{
    CallRequest request;
    request.source = {SourceKind::User, user, 0};
    request.caller = user;
    request.dialed = dialed;
    return analyze(request);
}

DialAnswer DialPlanFixture::callFromLine(const std::string& line, const std::string& dialed,
                                         const std::string& caller) const
{
    CallRequest request;
    request.source = {SourceKind::Line, line, 0};
    request.caller = caller;
    request.dialed = dialed;
    return analyze(request);
}

DialAnswer DialPlanFixture::callFromPeer(uint32_t peerId, const std::string& dialed, const std::string& caller) const
{
    CallRequest request;
    request.source = {SourceKind::Peer, {}, peerId};
    request.caller = caller;
    request.dialed = dialed;
    return analyze(request);
}

DialAnswer DialPlanFixture::callFromUnknown(const std::string& dialed) const
{
    CallRequest request;
    request.caller = "030123";
    request.dialed = dialed;
    return analyze(request);
}

testing::AssertionResult DialPlanFixture::hasStep(const DialAnswer& answer, const std::string& text)
{
    std::string all;
    for (const DialStep& step : answer.steps) {
        if (step.text.find(text) != std::string::npos)
            return testing::AssertionSuccess();
        all += "\n  " + step.text;
    }
    return testing::AssertionFailure() << "no step says \"" << text << "\":" << all;
}

std::string DialPlanFixture::outcome(const DialAnswer& answer)
{
    if (answer.status != 0)
        return std::to_string(answer.status);
    std::string text;
    for (const DialTarget& target : answer.targets) {
        text += text.empty() ? "" : ", ";
        switch (target.kind) {
        case DialTarget::Kind::LocalUser:
            text += "local user " + target.name;
            break;
        case DialTarget::Kind::Line:
            text += "line " + target.name;
            break;
        case DialTarget::Kind::Trunk:
            text += "trunk " + std::to_string(target.peerId);
            break;
        case DialTarget::Kind::Service:
            text += target.name;
            break;
        }
    }
    return text;
}
