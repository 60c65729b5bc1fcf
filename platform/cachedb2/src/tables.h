// Every table of the store.
#pragma once

#include "cachedb2/access_lists.h"
#include "cachedb2/call_details.h"
#include "cachedb2/call_record.h"
#include "cachedb2/call_shop.h"
#include "cachedb2/callback.h"
#include "cachedb2/ext_line.h"
#include "cachedb2/hunting_groups.h"
#include "cachedb2/numbers.h"
#include "cachedb2/peer_server.h"
#include "cachedb2/ring_groups.h"
#include "cachedb2/routing.h"
#include "cachedb2/settings.h"
#include "cachedb2/speed_dial.h"
#include "cachedb2/time_condition.h"
#include "cachedb2/triggers.h"
#include "cachedb2/usr_info.h"
#include "table.h"

#include <tuple>
#include <vector>

const Table& localUsersTable();    // tbl_local_users, Cdb_usr_info
const Table& systemTable();        // tbl_system, Cdb_sys_data
const Table& registrationsTable(); // tbl_sip_reg, Cdb_sip_reg; run-time file
const Table& contactsTable();      // tbl_sip_contact, Cdb_sip_contact; run-time file
const Table& extLineStatesTable(); // tbl_ext_line_state, ExtLineState; run-time file
const Table& callDetailsTable();   // tbl_cdr, Cdb_call_detail; file of finished calls

// The records that the store holds in versions, a table each. The system record has its own.
using VersionedRecords =
    std::tuple<Cdb_usr_info, Cdb_ext_line_info, Cdb_peer_server, Cdb_route_group, Cdb_route, Cdb_nbr_trans_data,
               Cdb_nbr_cld_ana_data, Cdb_nbr_clr_ana_data, Cdb_nbr_clr_refine_data, Cdb_nbr_cld_refine, Cdb_time_cond,
               Cdb_hunting_group_cfg_data, Cdb_hunting_group_operator_data, Cdb_hunting_group_detect_data, Cdb_rg_user,
               Cdb_rg_detection, Cdb_ivr_trigger_data, Cdb_lua_trigger, Cdb_speed_dial_data, Cdb_call_record,
               Cdb_call_shop_fee_rate_info, Cdb_clr_rewriting_info, Cdb_sys_black_item, Cdb_ip_bwlist,
               Cdb_evt_channel_auth, Cdb_cb_serv_data, Cdb_settings>;

template <>
const Table& tableOf<Cdb_usr_info>();
template <>
const Table& tableOf<Cdb_ext_line_info>();
template <>
const Table& tableOf<Cdb_peer_server>();
template <>
const Table& tableOf<Cdb_route_group>();
template <>
const Table& tableOf<Cdb_route>();
template <>
const Table& tableOf<Cdb_nbr_trans_data>();
template <>
const Table& tableOf<Cdb_nbr_cld_ana_data>();
template <>
const Table& tableOf<Cdb_nbr_clr_ana_data>();
template <>
const Table& tableOf<Cdb_nbr_clr_refine_data>();
template <>
const Table& tableOf<Cdb_nbr_cld_refine>();
template <>
const Table& tableOf<Cdb_time_cond>();
template <>
const Table& tableOf<Cdb_hunting_group_cfg_data>();
template <>
const Table& tableOf<Cdb_hunting_group_operator_data>();
template <>
const Table& tableOf<Cdb_hunting_group_detect_data>();
template <>
const Table& tableOf<Cdb_rg_user>();
template <>
const Table& tableOf<Cdb_rg_detection>();
template <>
const Table& tableOf<Cdb_ivr_trigger_data>();
template <>
const Table& tableOf<Cdb_lua_trigger>();
template <>
const Table& tableOf<Cdb_speed_dial_data>();
template <>
const Table& tableOf<Cdb_call_record>();
template <>
const Table& tableOf<Cdb_call_shop_fee_rate_info>();
template <>
const Table& tableOf<Cdb_clr_rewriting_info>();
template <>
const Table& tableOf<Cdb_sys_black_item>();
template <>
const Table& tableOf<Cdb_ip_bwlist>();
template <>
const Table& tableOf<Cdb_evt_channel_auth>();
template <>
const Table& tableOf<Cdb_cb_serv_data>();
template <>
const Table& tableOf<Cdb_settings>();

// All of the configuration file, respectively of the run-time file.
[[nodiscard]] std::vector<const Table*> configTables();
[[nodiscard]] std::vector<const Table*> runtimeTables();
