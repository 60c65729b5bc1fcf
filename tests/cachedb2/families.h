// Every record of the store with the typed operations of its family, for tests that go over all of them.
#pragma once

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "tables.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

namespace families {

using Store = Cdb_fac_mgr;

// The operations of a record; those that its family does not have are empty.
template <class Record>
struct Family {
    const char* table;
    Edb_table id;
    const char* columns; // stored order
    std::function<unsigned(Store&, Record&)> add = {};
    std::function<unsigned(Store&, Record&)> set = {};
    std::function<unsigned(Store&, Record&)> update = {};
    std::function<unsigned(Store&, Record&)> get = {};
    std::function<unsigned(Store&, Record&)> has = {};
    std::function<unsigned(Store&, Record&)> del = {};
    std::function<void(const Cdb_query&, Record*)> map = {};
    std::function<void(Record&)> fit = {}; // brings a record within rules of its own
    bool isSingle = false;                 // one record, whose key nobody chooses
};

inline void put(const FieldDesc& field, void* record, const std::string& text, int64_t number)
{
    if (field.type == FieldType::Text)
        BclCopyText(static_cast<char*>(field.at(record)), field.size, text, field.size);
    else
        std::memcpy(field.at(record), &number, field.size); // little endian: the low bytes
}

// An operation as a function of the store and a record, whatever form its record takes.
template <class Record>
auto byRef(unsigned (Store::*op)(Record&))
{
    return [op](Store& store, Record& record) { return (store.*op)(record); };
}

template <class Record>
auto byRef(unsigned (Store::*op)(const Record&))
{
    return [op](Store& store, Record& record) { return (store.*op)(record); };
}

template <class Record>
auto byValue(unsigned (Store::*op)(Record))
{
    return [op](Store& store, Record& record) { return (store.*op)(record); };
}

template <class Record>
auto byPointer(unsigned (Store::*op)(const Record*))
{
    return [op](Store& store, Record& record) { return (store.*op)(&record); };
}

template <class Record>
auto byPointer(unsigned (Store::*op)(Record*))
{
    return [op](Store& store, Record& record) { return (store.*op)(&record); };
}

template <class T>
T part(const T& number)
{
    return number;
}

template <size_t N>
const char* part(const char (&text)[N])
{
    return text;
}

inline const char* part(const Cphone_number& number)
{
    return number.c_str();
}

// An operation that takes the parts of the key.
template <class Record, auto... members, class Op>
auto byKey(Op op)
{
    return [op](Store& store, Record& record) { return (store.*op)(part(record.*members)...); };
}

// A plain record whose every part of the key is told by `key`, 1 to 9.
template <class Record>
Record sample(const Family<Record>& family, int key, const std::string& text)
{
    Record record;
    for (const FieldDesc& field : tableOf<Record>().fields()) {
        if (!field.isKey)
            put(field, &record, text, static_cast<int64_t>(text.size()));
        else if (!family.isSingle)
            put(field, &record, "k" + std::to_string(key), key);
    }
    if (family.fit)
        family.fit(record);
    return record;
}

// Adds or replaces, whichever the family has.
template <class Record>
unsigned write(const Family<Record>& family, Store& store, Record record)
{
    return family.add ? family.add(store, record) : family.set(store, record);
}

// Calls visit(name, Family<Record>) for each of them.
template <class Visitor>
void forEachFamily(Visitor&& visit)
{
    visit("ExtLines",
          Family<Cdb_ext_line_info>{
              .table = "tbl_ext_line",
              .id = Edb_table::ExtLines,
              .columns =
                  "extName lineType password description serverAddr serverPort authName flags destination proxyAddr "
                  "proxyPort transport uriParams timeCondId cldRefineGroup noAnsTime maxOutCalls maxDuration "
                  "nextLine maxCalls",
              .set = byRef<Cdb_ext_line_info>(&Store::DbExtLineSet),
              .get = byRef<Cdb_ext_line_info>(&Store::DbExtLineGet),
              .has = byKey<Cdb_ext_line_info, &Cdb_ext_line_info::extName>(&Store::DbExtLineHas),
              .del = byKey<Cdb_ext_line_info, &Cdb_ext_line_info::extName>(&Store::DbExtLineDel),
              .map = cdb_ext_line_get_full_data});
    visit("PeerServers",
          Family<Cdb_peer_server>{
              .table = "tbl_peer_server",
              .id = Edb_table::PeerServers,
              .columns = "sid description peerPort outCallerNbr dialPlan transport cldRefineGroup peerAddr timeCondId "
                         "maxOutCalls maxInCalls flags backupSid uriParams",
              .set = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerSet(row.sid, row); },
              .get = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerGet(row.sid, row); },
              .del = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerDel(row.sid); },
              .map = [](const Cdb_query& query,
                        Cdb_peer_server* row) { ldb_peer_server_get_full_data(query, row->sid, row); }});
    visit("RouteGroups",
          Family<Cdb_route_group>{.table = "tbl_route_group",
                                  .id = Edb_table::RouteGroups,
                                  .columns = "groupID description",
                                  .add = byValue<Cdb_route_group>(&Store::DbRouteGroupAdd),
                                  .update = byValue<Cdb_route_group>(&Store::DbRouteGroupUpdate),
                                  .get = byRef<Cdb_route_group>(&Store::DbRouteGroupGet),
                                  .del = byKey<Cdb_route_group, &Cdb_route_group::groupID>(&Store::DbRouteGroupDelete),
                                  .map = ldb_route_group_get_full_data});
    visit("Routes", Family<Cdb_route>{.table = "tbl_route",
                                      .id = Edb_table::Routes,
                                      .columns = "groupID routeType extLine peerServerId",
                                      .add = byValue<Cdb_route>(&Store::DbRouteAdd),
                                      .del = byValue<Cdb_route>(&Store::DbRouteDel),
                                      .map = ldb_route_get_full_data});
    using T = Cdb_nbr_trans_data;
    visit("NbrTransitions", Family<T>{.table = "tbl_nbr_trans",
                                      .id = Edb_table::NbrTransitions,
                                      .columns = "transid type startPos length digits description",
                                      .set = byRef<T>(&Store::DbNbrTransSet),
                                      .get = byRef<T>(&Store::DbNbrTransGet),
                                      .has = byKey<T, &T::transid>(&Store::DbNbrTransHas),
                                      .del = byKey<T, &T::transid>(&Store::DbNbrTransDel),
                                      .map = ldb_nbr_trans_get_full_data});
    using Called = Cdb_nbr_cld_ana_data;
    visit("CalledAnalysis",
          Family<Called>{
              .table = "tbl_nbr_cld_ana",
              .id = Edb_table::CalledAnalysis,
              .columns = "calledPrefix routeType peerServerId calledChanged transId transOption extLine level dialPlan "
                         "maxDuration clrRefineGroup rtGroupId description serviceType",
              .set = byRef<Called>(&Store::DbNbrCldAnaSet),
              .get = byRef<Called>(&Store::DbNbrCldAnaGet),
              .has = byKey<Called, &Called::dialPlan, &Called::calledPrefix>(&Store::DbNbrCldAnaHas),
              .del = byKey<Called, &Called::dialPlan, &Called::calledPrefix>(&Store::DbNbrCldAnaDel),
              .map = ldb_nbr_cld_ana_get_full_data});
    using Caller = Cdb_nbr_clr_ana_data;
    visit("CallerAnalysis", Family<Caller>{.table = "tbl_nbr_clr_ana",
                                           .id = Edb_table::CallerAnalysis,
                                           .columns = "callerPrefix transId dialPlan description",
                                           .set = byRef<Caller>(&Store::DbNbrClrAnaSet),
                                           .get = byRef<Caller>(&Store::DbNbrClrAnaGet),
                                           .has = byKey<Caller, &Caller::callerPrefix>(&Store::DbNbrClrAnaHas),
                                           .del = byKey<Caller, &Caller::callerPrefix>(&Store::DbNbrClrAnaDel),
                                           .map = ldb_nbr_clr_ana_get_full_data});
    using Refined = Cdb_nbr_clr_refine_data;
    visit("CallerRefinement",
          Family<Refined>{.table = "tbl_nbr_clr_refine",
                          .id = Edb_table::CallerRefinement,
                          .columns = "groupID callerPrefix transId description",
                          .set = byRef<Refined>(&Store::DbNbrClrRefineSet),
                          .get = byRef<Refined>(&Store::DbNbrClrRefineGet),
                          .has = byKey<Refined, &Refined::groupID, &Refined::callerPrefix>(&Store::DbNbrClrRefineHas),
                          .del = byKey<Refined, &Refined::groupID, &Refined::callerPrefix>(&Store::DbNbrClrRefineDel),
                          .map = ldb_nbr_clr_refine_get_full_data});
    using R = Cdb_nbr_cld_refine;
    visit("CalledRefinement", Family<R>{.table = "tbl_nbr_cld_refine",
                                        .id = Edb_table::CalledRefinement,
                                        .columns = "groupID calledPrefix transId description",
                                        .add = byValue<R>(&Store::DbRefineCalledNbrAdd),
                                        .update = byValue<R>(&Store::DbRefineCalledNbrUpdate),
                                        .get = byRef<R>(&Store::DbRefineCalledNbrGet),
                                        .del = byKey<R, &R::groupID, &R::calledPrefix>(&Store::DbRefineCalledNbrDelete),
                                        .map = ldb_nbr_cld_refine_get_full_data});
    using Time = Cdb_time_cond;
    visit("TimeConditions", Family<Time>{.table = "tbl_time_condition",
                                         .id = Edb_table::TimeConditions,
                                         .columns = "ID description startHour startMinute endHour endMinute weekdays",
                                         .add = byRef<Time>(&Store::DbTimeConditionAdd),
                                         .update = byRef<Time>(&Store::DbTimeConditionUpdate),
                                         .get = byRef<Time>(&Store::DbTimeConditionGet),
                                         .del = byKey<Time, &Time::ID>(&Store::DbTimeConditionDel),
                                         .map = ldb_time_condition_get_full_data});
    using Group = Cdb_hunting_group_cfg_data;
    visit("HuntingGroups",
          Family<Group>{.table = "tbl_hunting_group",
                        .id = Edb_table::HuntingGroups,
                        .columns = "groupID description strategy operatorTime isQueueOn queueCounter queueDuration",
                        .add = byRef<Group>(&Store::DbAddHuntingGroup),
                        .update = byRef<Group>(&Store::DbUpdateHuntingGroup),
                        .get = byRef<Group>(&Store::DbGetHGInfo),
                        .has = byKey<Group, &Group::groupID>(&Store::DbHasHGInfo),
                        .del = byKey<Group, &Group::groupID>(&Store::DbDelHuntingGroup),
                        .map = ldb_hg_group_get_full_data,
                        .fit = [](Group& group) { group.groupID = std::min(group.groupID, 100u); }});
    using Operator = Cdb_hunting_group_operator_data;
    visit("HuntingOperators",
          Family<Operator>{.table = "tbl_hunting_group_operator",
                           .id = Edb_table::HuntingOperators,
                           .columns = "operator groupID isExternal",
                           .add = byRef<Operator>(&Store::DbAddHGOperator),
                           .has = byKey<Operator, &Operator::operatorNbr>(&Store::DbHasOperator),
                           .del = byKey<Operator, &Operator::operatorNbr>(&Store::DbRemoveHGOperator),
                           .map = cdb_hg_operator_get_full_data});
    using Detect = Cdb_hunting_group_detect_data;
    visit("HuntingDetection",
          Family<Detect>{.table = "tbl_hunting_group_detect",
                         .id = Edb_table::HuntingDetection,
                         .columns = "dialPlan calledNbr groupID",
                         .add = byRef<Detect>(&Store::DbHGAddDetect),
                         .update = byRef<Detect>(&Store::DbHGUpdateDetect),
                         .get = byRef<Detect>(&Store::DbHGGetDetect),
                         .del = byKey<Detect, &Detect::dialPlan, &Detect::calledNbr>(&Store::DbHGDelDetect),
                         .map = ldb_hg_detect_get_full_data});
    using Member = Cdb_rg_user;
    visit("RingUsers", Family<Member>{.table = "tbl_rg_user",
                                      .id = Edb_table::RingUsers,
                                      .columns = "groupID user",
                                      .add = byValue<Member>(&Store::DbRGUserAdd),
                                      .has = byValue<Member>(&Store::DbRGUserHas),
                                      .del = byValue<Member>(&Store::DbRGUserDel),
                                      .map = ldb_rg_user_get_full_data});
    using Ring = Cdb_rg_detection;
    visit("RingDetection",
          Family<Ring>{.table = "tbl_rg_detect",
                       .id = Edb_table::RingDetection,
                       .columns = "dialPlan cldNbr name groupID",
                       .set = byValue<Ring>(&Store::DbRGDetectionSet),
                       .get = byRef<Ring>(&Store::DbRGDetectionGet),
                       .has = [](Store& store, Ring& record) { return store.DbRGDetectionHas(record.index()); },
                       .del = [](Store& store, Ring& record) { return store.DbRGDetectionDel(record.index()); },
                       .map = ldb_rg_detect_get_full_data});
    using Ivr = Cdb_ivr_trigger_data;
    visit("IvrTriggers", Family<Ivr>{.table = "tbl_ivr_trigger",
                                     .id = Edb_table::IvrTriggers,
                                     .columns = "dialPlan calledNbr name fileName",
                                     .add = byPointer<Ivr>(&Store::DbAddIVRTrigger),
                                     .update = byPointer<Ivr>(&Store::DbUpdateIVRTrigger),
                                     .get = byPointer<Ivr>(&Store::DbGetIVRTrigger),
                                     .has = byKey<Ivr, &Ivr::dialPlan, &Ivr::calledNbr>(&Store::DbHasIVRTrigger),
                                     .del = byPointer<Ivr>(&Store::DbDelIVRTrigger),
                                     .map = ldb_ivr_trigger_get_full_data});
    using Lua = Cdb_lua_trigger;
    visit("LuaTriggers",
          Family<Lua>{.table = "tbl_lua_trigger",
                      .id = Edb_table::LuaTriggers,
                      .columns = "DP dialPlan calledNbr name moduleName",
                      .add = byValue<Lua>(&Store::DbLuaTriggerAdd),
                      .update = byValue<Lua>(&Store::DbLuaTriggerUpdate),
                      .get = byPointer<Lua>(&Store::DbLuaTriggerGet),
                      .has = byKey<Lua, &Lua::DP, &Lua::dialPlan, &Lua::calledNbr>(&Store::DbLuaTriggerHas),
                      .del = byValue<Lua>(&Store::DbLuaTriggerDel),
                      .map = ldb_lua_trigger_get_full_data});
    using Dial = Cdb_speed_dial_data;
    visit("SpeedDial", Family<Dial>{.table = "tbl_speed_dial",
                                    .id = Edb_table::SpeedDial,
                                    .columns = "callerNbr dialedNbr name destination",
                                    .add = byRef<Dial>(&Store::DbAddSpeedDial),
                                    .update = byRef<Dial>(&Store::DbUpdateSpeedDial),
                                    .del = byRef<Dial>(&Store::DbDelSpeedDial),
                                    .map = ldb_speed_dial_get_full_data});
    using Rec = Cdb_call_record;
    visit("CallRecording", Family<Rec>{.table = "tbl_call_recording",
                                       .id = Edb_table::CallRecording,
                                       .columns = "callerNbr calledNbr name recording",
                                       .add = byValue<Rec>(&Store::DbAddCallRecord),
                                       .update = byValue<Rec>(&Store::DbUpdateCallRecord),
                                       .get = byRef<Rec>(&Store::DbCallRecordGet),
                                       .del = byKey<Rec, &Rec::callerNbr, &Rec::calledNbr>(&Store::DbCallRecordDel),
                                       .map = ldb_call_recording_get_full_data});
    using Shop = Cdb_call_shop_fee_rate_info;
    visit("CallShop", Family<Shop>{.table = "tbl_call_shop",
                                   .id = Edb_table::CallShop,
                                   .columns = "calledNbr description interval fee",
                                   .add = byPointer<Shop>(&Store::DbCallShopAdd),
                                   .update = byPointer<Shop>(&Store::DbCallShopUpdate),
                                   .del = byPointer<Shop>(&Store::DbCallShopDel),
                                   .map = [](const Cdb_query& query, Shop* record) {
                                       ldb_call_shop_get_full_data(&query, record);
                                   }});
    using Rewrite = Cdb_clr_rewriting_info;
    visit("CallerRewriting", Family<Rewrite>{.table = "tbl_clr_rewrite",
                                             .id = Edb_table::CallerRewriting,
                                             .columns = "callerNbr displayName isAnonymous",
                                             .add = byPointer<Rewrite>(&Store::DbClrReWriteAdd),
                                             .update = byPointer<Rewrite>(&Store::DbClrReWriteUpdate),
                                             .get = byPointer<Rewrite>(&Store::DbClrReWriteGet),
                                             .del = byPointer<Rewrite>(&Store::DbClrReWriteDel),
                                             .map = ldb_clr_rewrite_get_full_data});
    using Black = Cdb_sys_black_item;
    visit("BlackList", Family<Black>{.table = "tbl_sys_blacklist",
                                     .id = Edb_table::BlackList,
                                     .columns = "callerNbr calledNbr name code",
                                     .add = byPointer<Black>(&Store::DbSysBlackListAdd),
                                     .update = byPointer<Black>(&Store::DbSysBlackListUpdate),
                                     .get = byRef<Black>(&Store::DbSysBlackListGet),
                                     .del = byPointer<Black>(&Store::DbSysBlackListDel),
                                     .map = ldb_sys_black_list_get_full_data,
                                     .fit = [](Black& item) { item.code = item.code == 0 ? 0 : 699; }});
    using Ip = Cdb_ip_bwlist;
    visit("IpLists", Family<Ip>{.table = "tbl_ip_bwlist",
                                .id = Edb_table::IpLists,
                                .columns = "ipAddr name action",
                                .set = byRef<Ip>(&Store::DbIPBWListSet),
                                .get = byRef<Ip>(&Store::DbIPBWListGet),
                                .del = byKey<Ip, &Ip::ipAddr>(&Store::DbIPBWListDel),
                                .map = ldb_ip_bwlist_get_full_data});
    using Auth = Cdb_evt_channel_auth;
    visit("EventChannel", Family<Auth>{.table = "tbl_evt_channel_auth",
                                       .id = Edb_table::EventChannel,
                                       .columns = "ipAddr",
                                       .add = byValue<Auth>(&Store::DbEvtChannelAuthAdd),
                                       .del = byKey<Auth, &Auth::ipAddr>(&Store::DbEvtChannelAuthDel),
                                       .map = ldb_evt_channel_auth_get_full_data});
    using Callback = Cdb_cb_serv_data;
    visit("Callback", Family<Callback>{.table = "tbl_callback",
                                       .id = Edb_table::Callback,
                                       .columns = "id file delay number",
                                       .set = byPointer<Callback>(&Store::DbCallbackSet),
                                       .get = byPointer<Callback>(&Store::DbCallbackGet),
                                       .isSingle = true});
}

} // namespace families
