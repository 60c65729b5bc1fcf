// A page is one more row of the table below.
#include "console/pages/list_pages.h"

#include "cachedb2/remote_tables.h"
#include "frm_ana_cld_nbr.h"
#include "frm_ana_clr_nbr.h"
#include "frm_call_recording.h"
#include "frm_caller_prepaid.h"
#include "frm_callingcard_fee_matrix.h"
#include "frm_callingcard_info.h"
#include "frm_callshop.h"
#include "frm_clr_rewriting.h"
#include "frm_disa_account.h"
#include "frm_disa_caller_id.h"
#include "frm_evt_channel_auth.h"
#include "frm_ext_lines.h"
#include "frm_hg_dect.h"
#include "frm_hg_info.h"
#include "frm_hg_oper.h"
#include "frm_ip_bwlist.h"
#include "frm_ivr_trigger.h"
#include "frm_local_users.h"
#include "frm_lua_trigger.h"
#include "frm_peer_servers.h"
#include "frm_prepaid_rate.h"
#include "frm_refine_cld_nbr.h"
#include "frm_refine_clr_nbr.h"
#include "frm_rg_detection.h"
#include "frm_rg_user.h"
#include "frm_route.h"
#include "frm_route_group.h"
#include "frm_speed_dial.h"
#include "frm_sub_balance.h"
#include "frm_sys_black_list.h"
#include "frm_time_cond.h"
#include "frm_transitions.h"
#include "support/page_fixture.h"

#include <array>
#include <string>
#include <utility>

namespace list_pages {
namespace {

template <class Frame>
std::unique_ptr<Cfrm_list> make(Cdb_fac_mgr* store)
{
    return std::make_unique<Frame>(store, nullptr);
}

// Texts that sort by these numbers.
std::string sortable(unsigned number)
{
    return std::to_string(1000 + number);
}

void addHuntingGroup(Cdb_fac_mgr& store)
{
    Cdb_hunting_group_cfg_data group;
    group.groupID = 1;
    ASSERT_EQ(store.DbAddHuntingGroup(group), kDbOk);
}

} // namespace

void PrintTo(const Page& page, std::ostream* out)
{
    *out << page.name;
}

const std::vector<Page>& pages()
{
    static const std::vector<Page> all = {
        {
            .name = "ExtLines",
            .caption = 159,
            .columns = {165, 283, 170, 171, 362, 351},
            .select = "select * from tbl_ext_line",
            .count = kUncounted,
            .help = "manual/index.html#config_ext_line",
            .make = make<Cfrm_ext_lines>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_ext_line_info record;
                    BclCopyStr(record.extName, std::to_string(1000 + number).c_str());
                    return store.DbExtLineSet(record);
                },
        },
        {
            .name = "LocalUsers",
            .caption = 110,
            .columns = {118, 283, 320, 321, 432},
            .toolbar = "Add AddMany Edit Delete Gap Previous Next Refresh Query",
            .select = "select usrName, description, dispName, preAddr, prePort,usrStage,userAgent from tbl_local_users "
                      "left outer join tbl_sip_reg on tbl_sip_reg.userName=tbl_local_users.usrName order by usrName",
            .count = kUncounted,
            .help = "manual/index.html#config_local_user",
            .make = make<Cfrm_local_users>,
            .addRow = [](Cdb_fac_mgr& store,
                         unsigned number) { return store.DbAddUserMany(1000 + number, 1, "secret"); },
        },
        {
            .name = "PeerServers",
            .caption = 181,
            .columns = {183, 184, 185, 186, 362},
            .select = "select * from tbl_peer_server order by sid",
            .count = "select count(*) from tbl_peer_server",
            .help = "sip-trunk/index.html",
            .make = make<Cfrm_peer_servers>,
            .addRow = [](Cdb_fac_mgr& store, unsigned number) { return store.DbPeerServerSet(number, {}); },
        },
        {
            .name = "RouteGroups",
            .caption = 395,
            .columns = {396, 283},
            .select = "select * from tbl_route_group order by groupID",
            .count = "select count(*) from tbl_route_group",
            .help = "routing-group/index.html",
            .make = make<Cfrm_route_group>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_route_group record;
                    record.groupID = number;
                    return store.DbRouteGroupAdd(record);
                },
        },
        {
            .name = "Routes",
            .caption = 398,
            .columns = {396, 208, 214, 215},
            .toolbar = "Add Delete Gap Previous Next Refresh",
            .select = "select * from tbl_route order by groupID, routeType",
            .count = "select count(*) from tbl_route",
            .help = "routing-group/index.html",
            .make = make<Cfrm_route>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_route record;
                    record.groupID = number;
                    record.routeType = 2;
                    record.peerServerId = 1;
                    return store.DbRouteAdd(record);
                },
        },
        {
            .name = "Transitions",
            .caption = 188,
            .columns = {190, 283, 191, 192, 193, 194},
            .select = "select * from tbl_nbr_trans order by transid",
            .count = "select count(*) from tbl_nbr_trans",
            .help = "manual/index.html#transition",
            .make = make<Cfrm_transitions>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_nbr_trans_data record;
                    record.transid = number;
                    record.type = 3;
                    return store.DbNbrTransSet(record);
                },
        },
        {
            .name = "CalledAnalysis",
            .caption = 205,
            .columns = {224, 207, 283, 208, 210, 211, 212, 218},
            .select = "select * from tbl_nbr_cld_ana where serviceType=0 order by dialPlan, calledPrefix",
            .count = "select count(*) from tbl_nbr_cld_ana where serviceType=0",
            .help = "manual/index.html#called_ana",
            .make = make<Cfrm_ana_cld_nbr>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_nbr_cld_ana_data record;
                    BclCopyStr(record.calledPrefix, sortable(number).c_str());
                    return store.DbNbrCldAnaSet(record);
                },
        },
        {
            .name = "CallerAnalysis",
            .caption = 220,
            .columns = {222, 283, 223, 224},
            .select = "select * from tbl_nbr_clr_ana order by callerPrefix",
            .count = "select count(*) from tbl_nbr_clr_ana",
            .help = "manual/index.html#caller_ana",
            .make = make<Cfrm_ana_clr_nbr>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_nbr_clr_ana_data record;
                    BclCopyStr(record.callerPrefix, sortable(number).c_str());
                    return store.DbNbrClrAnaSet(record);
                },
        },
        {
            .name = "CallerRefinement",
            .caption = 318,
            .columns = {315, 316, 283, 317},
            .select = "select * from tbl_nbr_clr_refine order by groupID, callerPrefix",
            .count = "select count(*) from tbl_nbr_clr_refine",
            .help = "manual/index.html#dial_plan_refine_caller",
            .make = make<Cfrm_refine_clr_nbr>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_nbr_clr_refine_data record;
                    record.groupID = number;
                    BclCopyStr(record.callerPrefix, ".");
                    return store.DbNbrClrRefineSet(record);
                },
        },
        {
            .name = "CalledRefinement",
            .caption = 406,
            .columns = {407, 207, 283, 190},
            .select = "select * from tbl_nbr_cld_refine order by groupID, calledPrefix",
            .count = "select count(*) from tbl_nbr_cld_refine",
            .help = "manual/index.html#dial_plan_refine_called",
            .make = make<Cfrm_refine_cld_nbr>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_nbr_cld_refine record;
                    record.groupID = number;
                    return store.DbRefineCalledNbrAdd(record);
                },
        },
        {
            .name = "TimeConditions",
            .caption = 425,
            .columns = {426, 283, 427, 428, 429},
            .toolbar = "Add Edit Delete",
            .select = "select * from tbl_time_condition order by ID",
            .help = "time_condition/index.html",
            .make = make<Cfrm_time_cond>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_time_cond record;
                    record.ID = number;
                    return store.DbTimeConditionAdd(record);
                },
        },
        {
            .name = "HuntingGroups",
            .caption = 277,
            .columns = {282, 283, 281, 284},
            .select = "select * from tbl_hunting_group order by groupID",
            .count = "select count(*) from tbl_hunting_group",
            .help = "hunting_group/index.html",
            .make = make<Cfrm_hg_info>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_hunting_group_cfg_data record;
                    record.groupID = number;
                    return store.DbAddHuntingGroup(record);
                },
            .most = 100,
        },
        {
            .name = "HuntingOperators",
            .caption = 289,
            .columns = {287, 288, 353},
            .toolbar = "Add Delete Gap Previous Next Refresh",
            .select = "select * from tbl_hunting_group_operator order by operator",
            .count = "select count(*) from tbl_hunting_group_operator",
            .help = "hunting_group/index.html",
            .make = make<Cfrm_hg_oper>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_hunting_group_operator_data record;
                    record.operatorNbr.SetNbr(sortable(number).c_str());
                    return store.DbAddHGOperator(record);
                },
            .prepare = addHuntingGroup,
        },
        {
            .name = "HuntingDetection",
            .caption = 293,
            .columns = {291, 292, 288},
            .select = "select * from tbl_hunting_group_detect order by dialPlan, calledNbr",
            .count = "select count(*) from tbl_hunting_group_detect",
            .help = "hunting_group/index.html",
            .make = make<Cfrm_hg_dect>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_hunting_group_detect_data record;
                    BclCopyStr(record.calledNbr, sortable(number).c_str());
                    return store.DbHGAddDetect(record);
                },
            .prepare = addHuntingGroup,
        },
        {
            .name = "RingMembers",
            .caption = 459,
            .columns = {458, 459},
            .toolbar = "Add Delete Gap Previous Next Refresh",
            .select = "select * from tbl_rg_user order by groupID, user",
            .count = "select count(*) from tbl_rg_user",
            .help = "ring_group/service_guide_ring_group.htm",
            .make = make<Cfrm_rg_user>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_rg_user record;
                    record.groupID = number;
                    BclCopyStr(record.user, "1000");
                    return store.DbRGUserAdd(record);
                },
        },
        {
            .name = "RingDetection",
            .caption = 293,
            .columns = {291, 292, 283, 458},
            .select = "select * from tbl_rg_detect order by dialPlan, cldNbr",
            .count = "select count(*) from tbl_rg_detect",
            .help = "ring_group/service_guide_ring_group.htm",
            .make = make<Cfrm_rg_detection>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_rg_detection record;
                    record.groupID = 1;
                    BclCopyStr(record.cldNbr, sortable(number).c_str());
                    return store.DbRGDetectionSet(record);
                },
        },
        {
            .name = "CallerRewriting",
            .caption = 26,
            .columns = {232, 233, 470},
            .select = "select * from tbl_clr_rewrite order by callerNbr",
            .count = "select count(*) from tbl_clr_rewrite",
            .help = "caller_id_rewriting/index.html",
            .make = make<Cfrm_clr_rewriting>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_clr_rewriting_info record;
                    BclCopyStr(record.callerNbr, sortable(number).c_str());
                    return store.DbClrReWriteAdd(&record);
                },
        },
        {
            .name = "IvrTriggers",
            .caption = 348,
            .columns = {291, 292, 283, 347},
            .select = "select * from tbl_ivr_trigger order by dialPlan, calledNbr",
            .count = "select count(*) from tbl_ivr_trigger",
            .help = "auto_attendant/index.html#multi-ivr",
            .make = make<Cfrm_ivr_trigger>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_ivr_trigger_data record;
                    record.calledNbr.SetNbr(sortable(number).c_str());
                    return store.DbAddIVRTrigger(&record);
                },
        },
        {
            .name = "SpeedDials",
            .caption = 352,
            .columns = {232, 350, 283, 351},
            .toolbar = "Add Edit Delete Gap Previous Next Refresh",
            .select = "select * from tbl_speed_dial  order by callerNbr, dialedNbr",
            .count = kUncounted,
            .help = "speed-dial/index.html",
            .make = make<Cfrm_speed_dial>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_speed_dial_data record;
                    record.callerNbr.SetNbr(sortable(number).c_str());
                    record.dialedNbr.SetNbr("1");
                    return store.DbAddSpeedDial(record);
                },
        },
        {
            .name = "CallRecording",
            .caption = 392,
            .columns = {228, 207, 283, 393},
            .select = "select * from tbl_call_recording order by callerNbr, calledNbr",
            .count = "select count(*) from tbl_call_recording",
            .help = "call-recording/index.html",
            .make = make<Cfrm_call_recording>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_call_record record;
                    record.callerNbr.SetNbr(sortable(number).c_str());
                    record.calledNbr.SetNbr(".");
                    return store.DbAddCallRecord(record);
                },
        },
        {
            .name = "IpLists",
            .caption = 444,
            .columns = {416, 283, 445},
            .select = "select * from tbl_ip_bwlist order by ipAddr",
            .count = "select count(*) from tbl_ip_bwlist",
            .help = "ip_black_white/index.html",
            .make = make<Cfrm_ip_bwlist>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_ip_bwlist record;
                    BclCopyStr(record.ipAddr, sortable(number).c_str());
                    return store.DbIPBWListSet(record);
                },
        },
        {
            .name = "LuaTriggers",
            .caption = 435,
            .columns = {368, 291, 207, 283, 434},
            .toolbar = "Add Edit Delete Gap Previous Next Refresh",
            .select = "select * from tbl_lua_trigger order by DP, dialPlan, calledNbr",
            .count = "select count(*) from tbl_lua_trigger",
            .help = "manual/index.html#lua_services",
            .make = make<Cfrm_lua_trigger>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_lua_trigger record;
                    record.calledNbr.SetNbr(sortable(number).c_str());
                    return store.DbLuaTriggerAdd(record);
                },
        },
        {
            .name = "BlackList",
            .caption = 225,
            .columns = {228, 207, 283, 229},
            .select = "select * from tbl_sys_blacklist order by callerNbr, calledNbr",
            .count = "select count(*) from tbl_sys_blacklist",
            .help = "system-black-list/index.html",
            .make = make<Cfrm_sys_black_list>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_sys_black_item record;
                    BclCopyStr(record.callerNbr, sortable(number).c_str());
                    return store.DbSysBlackListAdd(&record);
                },
        },
        {
            .name = "CallShop",
            .caption = 252,
            .columns = {207, 283, 255, 256},
            .toolbar = "Add Edit Delete Gap Previous Next Refresh",
            .select = "select * from tbl_call_shop order by calledNbr",
            .count = "select count(*) from tbl_call_shop",
            .help = "call_shop/index.html",
            .make = make<Cfrm_callshop>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_call_shop_fee_rate_info record;
                    BclCopyStr(record.calledNbr, sortable(number).c_str());
                    return store.DbCallShopAdd(&record);
                },
        },
        {
            .name = "DisaAccounts",
            .caption = 301,
            .columns = {303, 305},
            .toolbar = "Add Edit Delete Gap Previous Next Refresh",
            .select = "select cAccount, cExtension from tbl_disa_account order by cAccount",
            .help = "direct_inward_system_access/index.html",
            .make = make<Cfrm_disa_account>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Ctbl_disa_account record;
                    BclCopyStr(record.cAccount, sortable(number).c_str());
                    return tbl_disa_account_add(&store, record);
                },
        },
        {
            .name = "DisaCallerIds",
            .caption = 306,
            .columns = {308, 309},
            .toolbar = "Add Edit Delete Gap Previous Next Refresh",
            .select = "select cCallerID, cDISAAccount from tbl_disa_caller_id order by cCallerID",
            .help = "direct_inward_system_access/index.html",
            .make = make<Cfrm_disa_caller_id>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Ctbl_disa_caller_id record;
                    BclCopyStr(record.cCallerID, sortable(number).c_str());
                    return tbl_disa_caller_id_add(&store, record);
                },
        },
        {
            .name = "PrepaidRates",
            .caption = 30,
            .columns = {241, 242, 243, 337},
            .select = "select rate_id, tariff_interval, tariff, onetime_fee from tbl_prepaid_rate  order by rate_id",
            .count = kUncounted,
            .help = "caller_prepaid/index.html",
            .make = make<Cfrm_prepaid_rate>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Ctbl_prepaid_rate record;
                    record.rate_id = number;
                    return tbl_prepaid_rate_set(&store, &record);
                },
        },
        {
            .name = "SubscriberBalances",
            .caption = 244,
            .columns = {246, 247},
            .select = "select cSubName, nBalance from tbl_sub_balance order by cSubName",
            .count = kUncounted,
            .help = "caller_prepaid/index.html",
            .make = make<Cfrm_sub_balance>,
            .addRow = [](Cdb_fac_mgr& store,
                         unsigned number) { return tbl_sub_balance_set(&store, sortable(number).c_str(), 0); },
        },
        {
            .name = "CallerPrepaid",
            .caption = 248,
            .columns = {249, 207, 251},
            .toolbar = "Add Edit Delete Gap Previous Next Refresh",
            .select = "select cSubscriber, cRouteNbr, nRateId from tbl_caller_prepaid order by cSubscriber, cRouteNbr",
            .count = kUncounted,
            .help = "caller_prepaid/index.html",
            .make = make<Cfrm_caller_prepaid>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Ctbl_caller_prepaid record;
                    BclCopyStr(record.cSubscriber, sortable(number).c_str());
                    BclCopyStr(record.cRouteNbr, "0");
                    return tbl_caller_prepaid_set(&store, &record);
                },
        },
        {
            .name = "CallingCardFees",
            .caption = 264,
            .columns = {291, 207, 241},
            .toolbar = "Add Edit Delete Gap Previous Next Refresh",
            .select =
                "select cDialPlan, cRouteNbr, nRateId from tbl_callingcard_fee_matrix  order by cDialPlan, cRouteNbr",
            .count = "select count(*) from tbl_callingcard_fee_matrix",
            .help = "calling_card/index.html",
            .make = make<Cfrm_callingcard_fee_matrix>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Ctbl_callingcard_fee_matrix record;
                    BclCopyStr(record.cDialPlan, sortable(number).c_str());
                    BclCopyStr(record.cRouteNbr, "0");
                    return tbl_callingcard_fee_matrix_set(&store, &record);
                },
        },
        {
            .name = "CallingCards",
            .caption = 261,
            .columns = {258, 260},
            .select = "select cCard, nBalance from tbl_callingcard_balance  order by cCard",
            .count = "select count(*) from tbl_callingcard_balance",
            .help = "calling_card/index.html",
            .make = make<Cfrm_callingcard_info>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Ctbl_callingcard_balance record;
                    BclCopyStr(record.cCard, sortable(number).c_str());
                    return tbl_callingcard_balance_set(&store, record);
                },
        },
        {
            .name = "EventChannel",
            .caption = 415,
            .columns = {416},
            .toolbar = "Add Delete Gap Previous Next Refresh",
            .select = "select * from tbl_evt_channel_auth order by ipAddr",
            .count = "select count(*) from tbl_evt_channel_auth",
            .help = "event_channel/index.html",
            .make = make<Cfrm_evt_channel_auth>,
            .addRow =
                [](Cdb_fac_mgr& store, unsigned number) {
                    Cdb_evt_channel_auth record;
                    BclCopyStr(record.ipAddr, sortable(number).c_str());
                    return store.DbEvtChannelAuthAdd(record);
                },
        },
    };
    return all;
}

} // namespace list_pages
