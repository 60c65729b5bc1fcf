// Every record of the store with the typed operations of its family, for tests that go over all of them.
#pragma once

#include "bcl2/text.h"
#include "cachedb2/columns.h"
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
    Columns columns; // stored order
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

// A record without two equal values, told by `key`, 1 to 9, in every part of its key.
template <class Record>
Record sample(const Family<Record>& family, int key, const std::string& text)
{
    Record record;
    int64_t position = 0;
    for (const FieldDesc& field : tableOf<Record>().fields()) {
        const std::string name = field.column;
        if (!field.isKey)
            put(field, &record, text.empty() ? text : text + name, static_cast<int64_t>(text.size()) + position);
        else if (!family.isSingle)
            put(field, &record, name + std::to_string(key), position + key);
        ++position;
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

// A type that there is, with its target: a line where there is no peer, a peer where there is no line. None stays none.
inline void fitRoute(Cdb_route& route)
{
    if (route.routeType > 2)
        route.routeType = 1 + route.routeType % 2;
    if (route.routeType != 0 && route.peerServerId == 0)
        route.routeType = 1;
    else if (route.routeType != 0 && route.extLine.IsEmpty())
        route.routeType = 2;
}

// Calls visit(name, Family<Record>) for each of them.
template <class Visitor>
void forEachFamily(Visitor&& visit)
{
    using Line = Cdb_ext_line_info;
    visit("ExtLines",
          Family<Cdb_ext_line_info>{
              .table = "tbl_ext_line",
              .id = Edb_table::ExtLines,
              .columns =
                  {
                      text<&Line::extName>("extName", 32).key(),      u32<&Line::lineType>("lineType"),
                      text<&Line::password>("password", 67),          text<&Line::description>("description", 64),
                      text<&Line::serverAddr>("serverAddr", 64),      i32<&Line::serverPort>("serverPort").def(5060),
                      text<&Line::authName>("authName", 32),          u32<&Line::flags>("flags").def(0x40),
                      text<&Line::destination>("destination", 32),    text<&Line::proxyAddr>("proxyAddr", 64),
                      u16<&Line::proxyPort>("proxyPort").def(5060),   u32<&Line::transport>("transport"),
                      text<&Line::uriParams>("uriParams", 63),        u32<&Line::timeCondId>("timeCondId"),
                      u32<&Line::cldRefineGroup>("cldRefineGroup"),   i32<&Line::noAnsTime>("noAnsTime"),
                      i32<&Line::maxOutCalls>("maxOutCalls").def(20), i32<&Line::maxDuration>("maxDuration"),
                      text<&Line::nextLine>("nextLine", 32),          i32<&Line::maxCalls>("maxCalls").def(20),
                  },
              .set = byRef<Cdb_ext_line_info>(&Store::DbExtLineSet),
              .get = byRef<Cdb_ext_line_info>(&Store::DbExtLineGet),
              .has = byKey<Cdb_ext_line_info, &Cdb_ext_line_info::extName>(&Store::DbExtLineHas),
              .del = byKey<Cdb_ext_line_info, &Cdb_ext_line_info::extName>(&Store::DbExtLineDel),
              .map = cdb_ext_line_get_full_data});
    using Peer = Cdb_peer_server;
    visit("PeerServers",
          Family<Cdb_peer_server>{
              .table = "tbl_peer_server",
              .id = Edb_table::PeerServers,
              .columns =
                  {
                      u32<&Peer::sid>("sid").key(),
                      text<&Peer::description>("description", 64),
                      i32<&Peer::peerPort>("peerPort").def(5060),
                      text<&Peer::outCallerNbr>("outCallerNbr", 32),
                      text<&Peer::dialPlan>("dialPlan", 32).def("default"),
                      u16<&Peer::transport>("transport"),
                      u32<&Peer::cldRefineGroup>("cldRefineGroup"),
                      text<&Peer::peerAddr>("peerAddr", 64),
                      u32<&Peer::timeCondId>("timeCondId"),
                      u16<&Peer::maxOutCalls>("maxOutCalls").def(30),
                      u16<&Peer::maxInCalls>("maxInCalls").def(30),
                      u8<&Peer::flags>("flags"),
                      u32<&Peer::backupSid>("backupSid"),
                      text<&Peer::uriParams>("uriParams", 63),
                  },
              .set = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerSet(row.sid, row); },
              .get = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerGet(row.sid, row); },
              .del = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerDel(row.sid); },
              .map = [](const Cdb_query& query,
                        Cdb_peer_server* row) { ldb_peer_server_get_full_data(query, row->sid, row); }});
    using RouteGroup = Cdb_route_group;
    visit("RouteGroups",
          Family<Cdb_route_group>{.table = "tbl_route_group",
                                  .id = Edb_table::RouteGroups,
                                  .columns =
                                      {
                                          u32<&RouteGroup::groupID>("groupID").key(),
                                          text<&RouteGroup::description>("description", 64),
                                      },
                                  .add = byValue<Cdb_route_group>(&Store::DbRouteGroupAdd),
                                  .update = byValue<Cdb_route_group>(&Store::DbRouteGroupUpdate),
                                  .get = byRef<Cdb_route_group>(&Store::DbRouteGroupGet),
                                  .del = byKey<Cdb_route_group, &Cdb_route_group::groupID>(&Store::DbRouteGroupDelete),
                                  .map = ldb_route_group_get_full_data});
    using Route = Cdb_route;
    visit("Routes", Family<Cdb_route>{.table = "tbl_route",
                                      .id = Edb_table::Routes,
                                      .columns =
                                          {
                                              u32<&Route::groupID>("groupID").key(),
                                              u8<&Route::routeType>("routeType").key().within(1, 2),
                                              text<&Route::extLine>("extLine", 32).key().orEmpty(),
                                              u32<&Route::peerServerId>("peerServerId").key().orEmpty(),
                                          },
                                      .add = byValue<Cdb_route>(&Store::DbRouteAdd),
                                      .del = byValue<Cdb_route>(&Store::DbRouteDel),
                                      .map = ldb_route_get_full_data,
                                      .fit = fitRoute});
    using T = Cdb_nbr_trans_data;
    visit("NbrTransitions", Family<T>{.table = "tbl_nbr_trans",
                                      .id = Edb_table::NbrTransitions,
                                      .columns =
                                          {
                                              u32<&T::transid>("transid").key(),
                                              u32<&T::type>("type").def(1),
                                              u32<&T::startPos>("startPos"),
                                              u32<&T::length>("length"),
                                              text<&T::digits>("digits", 32),
                                              text<&T::description>("description", 64),
                                          },
                                      .set = byRef<T>(&Store::DbNbrTransSet),
                                      .get = byRef<T>(&Store::DbNbrTransGet),
                                      .has = byKey<T, &T::transid>(&Store::DbNbrTransHas),
                                      .del = byKey<T, &T::transid>(&Store::DbNbrTransDel),
                                      .map = ldb_nbr_trans_get_full_data});
    using Called = Cdb_nbr_cld_ana_data;
    visit("CalledAnalysis",
          Family<Called>{.table = "tbl_nbr_cld_ana",
                         .id = Edb_table::CalledAnalysis,
                         .columns =
                             {
                                 text<&Called::calledPrefix>("calledPrefix", 32).key(),
                                 u32<&Called::routeType>("routeType"),
                                 u32<&Called::peerServerId>("peerServerId"),
                                 u32<&Called::calledChanged>("calledChanged"),
                                 u32<&Called::transId>("transId"),
                                 u32<&Called::transOption>("transOption"),
                                 text<&Called::extLine>("extLine", 32),
                                 u32<&Called::level>("level"),
                                 text<&Called::dialPlan>("dialPlan", 32).key().def("default"),
                                 u32<&Called::maxDuration>("maxDuration"),
                                 u32<&Called::clrRefineGroup>("clrRefineGroup"),
                                 u32<&Called::rtGroupId>("rtGroupId"),
                                 text<&Called::description>("description", 64),
                                 u32<&Called::serviceType>("serviceType"),
                             },
                         .set = byRef<Called>(&Store::DbNbrCldAnaSet),
                         .get = byRef<Called>(&Store::DbNbrCldAnaGet),
                         .has = byKey<Called, &Called::dialPlan, &Called::calledPrefix>(&Store::DbNbrCldAnaHas),
                         .del = byKey<Called, &Called::dialPlan, &Called::calledPrefix>(&Store::DbNbrCldAnaDel),
                         .map = ldb_nbr_cld_ana_get_full_data});
    using Caller = Cdb_nbr_clr_ana_data;
    visit("CallerAnalysis", Family<Caller>{.table = "tbl_nbr_clr_ana",
                                           .id = Edb_table::CallerAnalysis,
                                           .columns =
                                               {
                                                   text<&Caller::callerPrefix>("callerPrefix", 32).key(),
                                                   u32<&Caller::transId>("transId"),
                                                   text<&Caller::dialPlan>("dialPlan", 32),
                                                   text<&Caller::description>("description", 64),
                                               },
                                           .set = byRef<Caller>(&Store::DbNbrClrAnaSet),
                                           .get = byRef<Caller>(&Store::DbNbrClrAnaGet),
                                           .has = byKey<Caller, &Caller::callerPrefix>(&Store::DbNbrClrAnaHas),
                                           .del = byKey<Caller, &Caller::callerPrefix>(&Store::DbNbrClrAnaDel),
                                           .map = ldb_nbr_clr_ana_get_full_data});
    using Refined = Cdb_nbr_clr_refine_data;
    visit("CallerRefinement",
          Family<Refined>{.table = "tbl_nbr_clr_refine",
                          .id = Edb_table::CallerRefinement,
                          .columns =
                              {
                                  u32<&Refined::groupID>("groupID").key(),
                                  text<&Refined::callerPrefix>("callerPrefix", 32).key(),
                                  u32<&Refined::transId>("transId"),
                                  text<&Refined::description>("description", 64),
                              },
                          .set = byRef<Refined>(&Store::DbNbrClrRefineSet),
                          .get = byRef<Refined>(&Store::DbNbrClrRefineGet),
                          .has = byKey<Refined, &Refined::groupID, &Refined::callerPrefix>(&Store::DbNbrClrRefineHas),
                          .del = byKey<Refined, &Refined::groupID, &Refined::callerPrefix>(&Store::DbNbrClrRefineDel),
                          .map = ldb_nbr_clr_refine_get_full_data});
    using R = Cdb_nbr_cld_refine;
    visit("CalledRefinement", Family<R>{.table = "tbl_nbr_cld_refine",
                                        .id = Edb_table::CalledRefinement,
                                        .columns =
                                            {
                                                u32<&R::groupID>("groupID").key(),
                                                text<&R::calledPrefix>("calledPrefix", 32).key().orEmpty(),
                                                u32<&R::transId>("transId"),
                                                text<&R::description>("description", 64),
                                            },
                                        .add = byValue<R>(&Store::DbRefineCalledNbrAdd),
                                        .update = byValue<R>(&Store::DbRefineCalledNbrUpdate),
                                        .get = byRef<R>(&Store::DbRefineCalledNbrGet),
                                        .del = byKey<R, &R::groupID, &R::calledPrefix>(&Store::DbRefineCalledNbrDelete),
                                        .map = ldb_nbr_cld_refine_get_full_data});
    using Time = Cdb_time_cond;
    visit("TimeConditions", Family<Time>{.table = "tbl_time_condition",
                                         .id = Edb_table::TimeConditions,
                                         .columns =
                                             {
                                                 u32<&Time::ID>("ID").key(),
                                                 text<&Time::description>("description", 64),
                                                 u8<&Time::startHour>("startHour"),
                                                 u8<&Time::startMinute>("startMinute"),
                                                 u8<&Time::endHour>("endHour"),
                                                 u8<&Time::endMinute>("endMinute"),
                                                 u8<&Time::weekdays>("weekdays"),
                                             },
                                         .add = byRef<Time>(&Store::DbTimeConditionAdd),
                                         .update = byRef<Time>(&Store::DbTimeConditionUpdate),
                                         .get = byRef<Time>(&Store::DbTimeConditionGet),
                                         .del = byKey<Time, &Time::ID>(&Store::DbTimeConditionDel),
                                         .map = ldb_time_condition_get_full_data});
    using Group = Cdb_hunting_group_cfg_data;
    visit("HuntingGroups", Family<Group>{.table = "tbl_hunting_group",
                                         .id = Edb_table::HuntingGroups,
                                         .columns =
                                             {
                                                 u32<&Group::groupID>("groupID").key().within(1, 100),
                                                 text<&Group::name>("description", 64),
                                                 i32<&Group::strategy>("strategy").def(1),
                                                 u32<&Group::operatorTime>("operatorTime").def(20),
                                                 u8<&Group::isQueueOn>("isQueueOn"),
                                                 u8<&Group::queueCounter>("queueCounter"),
                                                 u16<&Group::queueDuration>("queueDuration"),
                                             },
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
                           .columns =
                               {
                                   text<&Operator::operatorNbr>("operator", 32).key(),
                                   u32<&Operator::groupID>("groupID"),
                                   u8<&Operator::isExternal>("isExternal"),
                               },
                           .add = byRef<Operator>(&Store::DbAddHGOperator),
                           .has = byKey<Operator, &Operator::operatorNbr>(&Store::DbHasOperator),
                           .del = byKey<Operator, &Operator::operatorNbr>(&Store::DbRemoveHGOperator),
                           .map = cdb_hg_operator_get_full_data});
    using Detect = Cdb_hunting_group_detect_data;
    visit("HuntingDetection",
          Family<Detect>{.table = "tbl_hunting_group_detect",
                         .id = Edb_table::HuntingDetection,
                         .columns =
                             {
                                 text<&Detect::dialPlan>("dialPlan", 32).key().def("default"),
                                 text<&Detect::calledNbr>("calledNbr", 32).key(),
                                 u32<&Detect::groupID>("groupID"),
                             },
                         .add = byRef<Detect>(&Store::DbHGAddDetect),
                         .update = byRef<Detect>(&Store::DbHGUpdateDetect),
                         .get = byRef<Detect>(&Store::DbHGGetDetect),
                         .del = byKey<Detect, &Detect::dialPlan, &Detect::calledNbr>(&Store::DbHGDelDetect),
                         .map = ldb_hg_detect_get_full_data});
    using Member = Cdb_rg_user;
    visit("RingUsers", Family<Member>{.table = "tbl_rg_user",
                                      .id = Edb_table::RingUsers,
                                      .columns =
                                          {
                                              u32<&Member::groupID>("groupID").key(),
                                              text<&Member::user>("user", 32).key(),
                                          },
                                      .add = byValue<Member>(&Store::DbRGUserAdd),
                                      .has = byValue<Member>(&Store::DbRGUserHas),
                                      .del = byValue<Member>(&Store::DbRGUserDel),
                                      .map = ldb_rg_user_get_full_data});
    using Ring = Cdb_rg_detection;
    visit("RingDetection",
          Family<Ring>{.table = "tbl_rg_detect",
                       .id = Edb_table::RingDetection,
                       .columns =
                           {
                               text<&Ring::dialPlan>("dialPlan", 32).key().def("default"),
                               text<&Ring::cldNbr>("cldNbr", 32).key(),
                               text<&Ring::name>("name", 64),
                               u32<&Ring::groupID>("groupID").within(1, 4294967295),
                           },
                       .set = byValue<Ring>(&Store::DbRGDetectionSet),
                       .get = byRef<Ring>(&Store::DbRGDetectionGet),
                       .has = [](Store& store, Ring& record) { return store.DbRGDetectionHas(record.index()); },
                       .del = [](Store& store, Ring& record) { return store.DbRGDetectionDel(record.index()); },
                       .map = ldb_rg_detect_get_full_data,
                       .fit = [](Ring& ring) { ring.groupID = std::max(ring.groupID, 1u); }});
    using Ivr = Cdb_ivr_trigger_data;
    visit("IvrTriggers", Family<Ivr>{.table = "tbl_ivr_trigger",
                                     .id = Edb_table::IvrTriggers,
                                     .columns =
                                         {
                                             text<&Ivr::dialPlan>("dialPlan", 32).key().def("default"),
                                             text<&Ivr::calledNbr>("calledNbr", 32).key(),
                                             text<&Ivr::name>("name", 64),
                                             text<&Ivr::fileName>("fileName", 63),
                                         },
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
                      .columns =
                          {
                              i32<&Lua::DP>("DP").key().def(3),
                              text<&Lua::dialPlan>("dialPlan", 32).key().def("default"),
                              text<&Lua::calledNbr>("calledNbr", 32).key(),
                              text<&Lua::name>("name", 64),
                              text<&Lua::moduleName>("moduleName", 32),
                          },
                      .add = byValue<Lua>(&Store::DbLuaTriggerAdd),
                      .update = byValue<Lua>(&Store::DbLuaTriggerUpdate),
                      .get = byPointer<Lua>(&Store::DbLuaTriggerGet),
                      .has = byKey<Lua, &Lua::DP, &Lua::dialPlan, &Lua::calledNbr>(&Store::DbLuaTriggerHas),
                      .del = byValue<Lua>(&Store::DbLuaTriggerDel),
                      .map = ldb_lua_trigger_get_full_data});
    using Dial = Cdb_speed_dial_data;
    visit("SpeedDial", Family<Dial>{.table = "tbl_speed_dial",
                                    .id = Edb_table::SpeedDial,
                                    .columns =
                                        {
                                            text<&Dial::callerNbr>("callerNbr", 32).key(),
                                            text<&Dial::dialedNbr>("dialedNbr", 32).key(),
                                            text<&Dial::name>("name", 64),
                                            text<&Dial::destination>("destination", 32),
                                        },
                                    .add = byRef<Dial>(&Store::DbAddSpeedDial),
                                    .update = byRef<Dial>(&Store::DbUpdateSpeedDial),
                                    .del = byRef<Dial>(&Store::DbDelSpeedDial),
                                    .map = ldb_speed_dial_get_full_data});
    using Rec = Cdb_call_record;
    visit("CallRecording", Family<Rec>{.table = "tbl_call_recording",
                                       .id = Edb_table::CallRecording,
                                       .columns =
                                           {
                                               text<&Rec::callerNbr>("callerNbr", 32).key(),
                                               text<&Rec::calledNbr>("calledNbr", 32).key(),
                                               text<&Rec::name>("name", 64),
                                               u8<&Rec::recording>("recording").def(1),
                                           },
                                       .add = byValue<Rec>(&Store::DbAddCallRecord),
                                       .update = byValue<Rec>(&Store::DbUpdateCallRecord),
                                       .get = byRef<Rec>(&Store::DbCallRecordGet),
                                       .del = byKey<Rec, &Rec::callerNbr, &Rec::calledNbr>(&Store::DbCallRecordDel),
                                       .map = ldb_call_recording_get_full_data});
    using Shop = Cdb_call_shop_fee_rate_info;
    visit("CallShop", Family<Shop>{.table = "tbl_call_shop",
                                   .id = Edb_table::CallShop,
                                   .columns =
                                       {
                                           text<&Shop::calledNbr>("calledNbr", 32).key(),
                                           text<&Shop::description>("description", 64),
                                           u32<&Shop::interval>("interval"),
                                           u32<&Shop::fee>("fee"),
                                       },
                                   .add = byPointer<Shop>(&Store::DbCallShopAdd),
                                   .update = byPointer<Shop>(&Store::DbCallShopUpdate),
                                   .del = byPointer<Shop>(&Store::DbCallShopDel),
                                   .map = [](const Cdb_query& query, Shop* record) {
                                       ldb_call_shop_get_full_data(&query, record);
                                   }});
    using Rewrite = Cdb_clr_rewriting_info;
    visit("CallerRewriting", Family<Rewrite>{.table = "tbl_clr_rewrite",
                                             .id = Edb_table::CallerRewriting,
                                             .columns =
                                                 {
                                                     text<&Rewrite::callerNbr>("callerNbr", 32).key(),
                                                     text<&Rewrite::displayName>("displayName", 32),
                                                     u8<&Rewrite::isAnonymous>("isAnonymous"),
                                                 },
                                             .add = byPointer<Rewrite>(&Store::DbClrReWriteAdd),
                                             .update = byPointer<Rewrite>(&Store::DbClrReWriteUpdate),
                                             .get = byPointer<Rewrite>(&Store::DbClrReWriteGet),
                                             .del = byPointer<Rewrite>(&Store::DbClrReWriteDel),
                                             .map = ldb_clr_rewrite_get_full_data});
    using Black = Cdb_sys_black_item;
    visit("BlackList", Family<Black>{.table = "tbl_sys_blacklist",
                                     .id = Edb_table::BlackList,
                                     .columns =
                                         {
                                             text<&Black::callerNbr>("callerNbr", 32).key().orEmpty(),
                                             text<&Black::calledNbr>("calledNbr", 32).key().orEmpty(),
                                             text<&Black::name>("name", 64),
                                             i32<&Black::code>("code").within(400, 699),
                                         },
                                     .add = byPointer<Black>(&Store::DbSysBlackListAdd),
                                     .update = byPointer<Black>(&Store::DbSysBlackListUpdate),
                                     .get = byRef<Black>(&Store::DbSysBlackListGet),
                                     .del = byPointer<Black>(&Store::DbSysBlackListDel),
                                     .map = ldb_sys_black_list_get_full_data,
                                     .fit = [](Black& item) { item.code = item.code == 0 ? 0 : 699; }});
    using Ip = Cdb_ip_bwlist;
    visit("IpLists", Family<Ip>{.table = "tbl_ip_bwlist",
                                .id = Edb_table::IpLists,
                                .columns =
                                    {
                                        text<&Ip::ipAddr>("ipAddr", 64).key(),
                                        text<&Ip::name>("name", 64),
                                        u32<&Ip::action>("action"),
                                    },
                                .set = byRef<Ip>(&Store::DbIPBWListSet),
                                .get = byRef<Ip>(&Store::DbIPBWListGet),
                                .del = byKey<Ip, &Ip::ipAddr>(&Store::DbIPBWListDel),
                                .map = ldb_ip_bwlist_get_full_data});
    using Auth = Cdb_evt_channel_auth;
    visit("EventChannel", Family<Auth>{.table = "tbl_evt_channel_auth",
                                       .id = Edb_table::EventChannel,
                                       .columns =
                                           {
                                               text<&Auth::ipAddr>("ipAddr", 64).key(),
                                           },
                                       .add = byValue<Auth>(&Store::DbEvtChannelAuthAdd),
                                       .del = byKey<Auth, &Auth::ipAddr>(&Store::DbEvtChannelAuthDel),
                                       .map = ldb_evt_channel_auth_get_full_data});
    using Callback = Cdb_cb_serv_data;
    visit("Callback", Family<Callback>{.table = "tbl_callback",
                                       .id = Edb_table::Callback,
                                       .columns =
                                           {
                                               u8<&Callback::id>("id").key().def(1).within(1, 1),
                                               text<&Callback::file>("file", 64),
                                               i32<&Callback::delay>("delay").def(5),
                                               text<&Callback::number>("number", 32),
                                           },
                                       .set = byPointer<Callback>(&Store::DbCallbackSet),
                                       .get = byPointer<Callback>(&Store::DbCallbackGet),
                                       .isSingle = true});
}

} // namespace families
