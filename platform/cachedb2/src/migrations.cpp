#include "schema.h"

#include <array>

namespace {

constexpr std::array kConfigSteps = {
    Migration{2, R"(
create table tbl_ext_line (extName text not null, lineType integer not null, password text not null, description
    text not null, serverAddr text not null, serverPort integer not null, authName text not null, flags integer
    not null, destination text not null, proxyAddr text not null, proxyPort integer not null, transport integer
    not null, uriParams text not null, timeCondId integer not null, cldRefineGroup integer not null, noAnsTime
    integer not null, maxOutCalls integer not null, maxDuration integer not null, nextLine text not null,
    maxCalls integer not null, primary key (extName)) strict;
create table tbl_peer_server (sid integer not null, description text not null, peerPort integer not null,
    outCallerNbr text not null, dialPlan text not null, transport integer not null, cldRefineGroup integer not
    null, peerAddr text not null, timeCondId integer not null, maxOutCalls integer not null, maxInCalls integer
    not null, flags integer not null, backupSid integer not null, uriParams text not null, primary key (sid))
    strict;
create table tbl_route_group (groupID integer not null, description text not null, primary key (groupID))
    strict;
create table tbl_route (groupID integer not null, routeType integer not null, extLine text not null,
    peerServerId integer not null, primary key (groupID, routeType, extLine, peerServerId)) strict;
create table tbl_nbr_trans (transid integer not null, type integer not null, startPos integer not null, length
    integer not null, digits text not null, description text not null, primary key (transid)) strict;
create table tbl_nbr_cld_ana (calledPrefix text not null, routeType integer not null, peerServerId integer not
    null, calledChanged integer not null, transId integer not null, transOption integer not null, extLine text
    not null, level integer not null, dialPlan text not null, maxDuration integer not null, clrRefineGroup
    integer not null, rtGroupId integer not null, description text not null, serviceType integer not null,
    primary key (dialPlan, calledPrefix)) strict;
create table tbl_nbr_clr_ana (callerPrefix text not null, transId integer not null, dialPlan text not null,
    description text not null, primary key (callerPrefix)) strict;
create table tbl_nbr_clr_refine (groupID integer not null, callerPrefix text not null, transId integer not null,
    description text not null, primary key (groupID, callerPrefix)) strict;
create table tbl_nbr_cld_refine (groupID integer not null, calledPrefix text not null, transId integer not null,
    description text not null, primary key (groupID, calledPrefix)) strict;
create table tbl_time_condition (ID integer not null, description text not null, startHour integer not null,
    startMinute integer not null, endHour integer not null, endMinute integer not null, weekdays integer not
    null, primary key (ID)) strict;
create table tbl_hunting_group (groupID integer not null, description text not null, strategy integer not null,
    operatorTime integer not null, isQueueOn integer not null, queueCounter integer not null, queueDuration
    integer not null, primary key (groupID)) strict;
create table tbl_hunting_group_operator (operator text not null, groupID integer not null, isExternal integer
    not null, primary key (operator)) strict;
create table tbl_hunting_group_detect (dialPlan text not null, calledNbr text not null, groupID integer not
    null, primary key (dialPlan, calledNbr)) strict;
create table tbl_rg_user (groupID integer not null, user text not null, primary key (groupID, user)) strict;
create table tbl_rg_detect (dialPlan text not null, cldNbr text not null, name text not null, groupID integer
    not null, primary key (dialPlan, cldNbr)) strict;
create table tbl_ivr_trigger (dialPlan text not null, calledNbr text not null, name text not null, fileName text
    not null, primary key (dialPlan, calledNbr)) strict;
create table tbl_lua_trigger (DP integer not null, dialPlan text not null, calledNbr text not null, name text
    not null, moduleName text not null, primary key (DP, dialPlan, calledNbr)) strict;
create table tbl_speed_dial (callerNbr text not null, dialedNbr text not null, name text not null, destination
    text not null, primary key (callerNbr, dialedNbr)) strict;
create table tbl_call_recording (callerNbr text not null, calledNbr text not null, name text not null, recording
    integer not null, primary key (callerNbr, calledNbr)) strict;
create table tbl_call_shop (calledNbr text not null, description text not null, interval integer not null, fee
    integer not null, primary key (calledNbr)) strict;
create table tbl_clr_rewrite (callerNbr text not null, displayName text not null, isAnonymous integer not null,
    primary key (callerNbr)) strict;
create table tbl_sys_blacklist (callerNbr text not null, calledNbr text not null, name text not null, code
    integer not null, primary key (callerNbr, calledNbr)) strict;
create table tbl_ip_bwlist (ipAddr text not null, name text not null, action integer not null, primary key
    (ipAddr)) strict;
create table tbl_evt_channel_auth (ipAddr text not null, primary key (ipAddr)) strict;
create table tbl_callback (id integer not null, file text not null, delay integer not null, number text not
    null, primary key (id)) strict;
create table tbl_settings (id integer not null, annLang integer not null, vmsMode integer not null, primary key
    (id)) strict;
)"},
    // Routes of a group in the order in which they were added: the index of the key no longer orders them.
    Migration{3, R"(
alter table tbl_route rename to tbl_route_2;
create table tbl_route (groupID integer not null, routeType integer not null, extLine text not null,
    peerServerId integer not null, primary key (extLine, peerServerId, groupID, routeType)) strict;
insert into tbl_route (groupID, routeType, extLine, peerServerId) select groupID, routeType, extLine, peerServerId
    from tbl_route_2 order by rowid;
drop table tbl_route_2;
create index tbl_route_list on tbl_route (groupID, routeType);
)"},
};

constexpr std::array kRuntimeSteps = {
    Migration{2, R"(
create table tbl_ext_line_state (extName text not null, state integer not null, primary key (extName)) strict;
)"},
};

} // namespace

std::span<const Migration> configMigrations()
{
    return kConfigSteps;
}

std::span<const Migration> runtimeMigrations()
{
    return kRuntimeSteps;
}
