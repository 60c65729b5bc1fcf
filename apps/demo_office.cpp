// Fills the data folder with a small office to try the server with, and prints what its telephones need to know. Does
// nothing to what is already there, so that a second start finds the same office.

#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "cachedb2/remote_tables.h"

#include <cstdio>
#include <functional>
#include <string>

namespace {

constexpr unsigned kFirstUser = 1000;
constexpr unsigned kUsers = 20;
constexpr unsigned kOfficeHours = 1; // a time condition
constexpr uint8_t kWorkdays = 0b0111110;
constexpr unsigned kBranch = 1; // peer servers
constexpr unsigned kCarrier = 2;
constexpr unsigned kOutside = 1;     // a routing group
constexpr unsigned kOurNumber = 1;   // a caller refinement group
constexpr unsigned kSwitchboard = 1; // a hunting group
constexpr unsigned kSales = 1;       // a ring group
constexpr unsigned kNational = 1;    // prepaid rates
constexpr unsigned kInternational = 2;

// Number transitions.
constexpr unsigned kAddAreaCode = 1;
constexpr unsigned kToInternational = 2;
constexpr unsigned kAddOurPrefix = 3;
constexpr unsigned kFromInternational = 4;
constexpr unsigned kToExtension = 5;

constexpr const char* kBranchPlan = "branch"; // calls of the branch reach extensions only

void printLogLine(void*, void* text, void*)
{
    std::fprintf(stderr, "%s\n", static_cast<const char*>(text));
}

bool addUsers(Cdb_fac_mgr& store)
{
    return store.DbAddUserMany(kFirstUser, kUsers, nullptr) == kDbOk;
}

bool addOfficeHours(Cdb_fac_mgr& store)
{
    Cdb_time_cond hours;
    hours.ID = kOfficeHours;
    if (store.DbTimeConditionGet(hours) == kDbOk)
        return true;
    hours.init();
    hours.ID = kOfficeHours;
    BclCopyStr(hours.description, "Office hours");
    hours.startHour = 8;
    hours.endHour = 17;
    hours.endMinute = 30;
    hours.weekdays = kWorkdays;
    return store.DbTimeConditionAdd(hours) == kDbOk;
}

// Its address is kept for documentation (RFC 5737): nothing leaves for it.
bool addPeer(Cdb_fac_mgr& store, unsigned sid, const char* description, const char* address,
             const std::function<void(Cdb_sip_domain_data&)>& complete)
{
    Cdb_sip_domain_data peer;
    if (store.DbPeerServerGet(sid, peer) == kDbOk)
        return true;
    peer.Init();
    BclCopyStr(peer.description, description);
    BclCopyStr(peer.peerAddr, address);
    complete(peer);
    return store.DbPeerServerSet(sid, peer) == kDbOk;
}

bool addPeers(Cdb_fac_mgr& store)
{
    const auto ofBranch = [](Cdb_sip_domain_data& peer) { BclCopyStr(peer.dialPlan, kBranchPlan); };
    const auto ofCarrier = [](Cdb_sip_domain_data& peer) {
        peer.timeCondId = kOfficeHours;
        peer.backupSid = kBranch;
    };
    return addPeer(store, kBranch, "Branch office", "192.0.2.10", ofBranch) &&
           addPeer(store, kCarrier, "Carrier, in office hours", "198.51.100.20", ofCarrier);
}

bool addTransition(Cdb_fac_mgr& store, unsigned id, Enbr_trans_type type, unsigned length, const char* digits,
                   const char* description)
{
    if (store.DbNbrTransHas(id) == kDbHas)
        return true;
    Cdb_nbr_trans_data transition;
    transition.transid = id;
    transition.type = type;
    transition.length = length;
    BclCopyStr(transition.digits, digits);
    BclCopyStr(transition.description, description);
    return store.DbNbrTransSet(transition) == kDbOk;
}

bool addTransitions(Cdb_fac_mgr& store)
{
    return addTransition(store, kAddAreaCode, kTransAdd, 0, "044", "Our area code before a local number") &&
           addTransition(store, kToInternational, kTransReplace, 2, "+", "A plus in the place of 00") &&
           addTransition(store, kFromInternational, kTransReplace, 1, "00", "00 in the place of a plus") &&
           addTransition(store, kAddOurPrefix, kTransAdd, 0, "044550", "Extension to our number with area code") &&
           addTransition(store, kToExtension, kTransDelete, 6, "", "Our number with area code to extension");
}

bool addTrunk(Cdb_fac_mgr& store, unsigned peerServer)
{
    Cdb_route route;
    route.groupID = kOutside;
    route.routeType = kRouteTrunk;
    route.peerServerId = peerServer;
    return store.DbRouteAdd(route) == kDbOk;
}

bool addRoutes(Cdb_fac_mgr& store)
{
    Cdb_route_group group;
    group.groupID = kOutside;
    if (store.DbRouteGroupGet(group) == kDbOk)
        return true;
    BclCopyStr(group.description, "Outside: carrier, then branch");
    return store.DbRouteGroupAdd(group) == kDbOk && addTrunk(store, kCarrier) && addTrunk(store, kBranch);
}

bool addCallerRefinement(Cdb_fac_mgr& store)
{
    Cdb_nbr_clr_refine_data refinement;
    refinement.groupID = kOurNumber;
    refinement.transId = kAddOurPrefix;
    BclCopyStr(refinement.callerPrefix, "10");
    BclCopyStr(refinement.description, "Extensions show their outside number");
    return store.DbNbrClrRefineHas(kOurNumber, refinement.callerPrefix) == kDbHas ||
           store.DbNbrClrRefineSet(refinement) == kDbOk;
}

// Callers from abroad come with a plus: telephones cannot dial that back.
bool addCallerAnalysis(Cdb_fac_mgr& store)
{
    Cdb_nbr_clr_ana_data analysis;
    BclCopyStr(analysis.callerPrefix, "+");
    BclCopyStr(analysis.description, "00 in the place of the plus");
    analysis.transId = kFromInternational;
    return store.DbNbrClrAnaHas(analysis.callerPrefix) == kDbHas || store.DbNbrClrAnaSet(analysis) == kDbOk;
}

struct Row {
    const char* plan;
    const char* prefix;
    const char* description;
    Ert_type routeType;
    unsigned level = 0; // what users may dial with it: 1 local, 3 national, 4 international numbers
    unsigned transition = 0;
};

constexpr Row kCalledAnalysis[] = {
    {"default", "10", "Extensions", kRtLocalUser},
    {"default", "0445501", "Our own number, from outside", kRtLocalUser, 0, kToExtension},
    {"default", "110", "Emergency", kRtGroup},
    {"default", "112", "Emergency", kRtGroup},
    {"default", "119", "Emergency", kRtGroup},
    {"default", "911", "Emergency", kRtGroup},
    {"default", "999", "Emergency", kRtGroup},
    {"default", "2", "Extensions of the branch office", kRtSipTrunk},
    {"default", "5", "Numbers of our area", kRtGroup, 1, kAddAreaCode},
    {"default", "0", "National", kRtGroup, 3},
    {"default", "00", "International", kRtGroup, 4, kToInternational},
    {kBranchPlan, "10", "Extensions", kRtLocalUser},
    {kBranchPlan, ".", "Nothing else", kRtReject},
};

bool addCalledAnalysis(Cdb_fac_mgr& store)
{
    for (const Row& row : kCalledAnalysis) {
        Cdb_nbr_cld_ana_data analysis;
        BclCopyStr(analysis.dialPlan, row.plan);
        BclCopyStr(analysis.calledPrefix, row.prefix);
        BclCopyStr(analysis.description, row.description);
        analysis.routeType = row.routeType;
        analysis.peerServerId = row.routeType == kRtSipTrunk ? kBranch : 0;
        analysis.rtGroupId = row.routeType == kRtGroup ? kOutside : 0;
        analysis.clrRefineGroup = row.routeType == kRtGroup ? kOurNumber : 0;
        analysis.level = row.level;
        analysis.calledChanged = row.transition == 0 ? 0 : 1;
        analysis.transId = row.transition;
        if (store.DbNbrCldAnaHas(row.plan, row.prefix) != kDbHas && store.DbNbrCldAnaSet(analysis) != kDbOk)
            return false;
    }
    return true;
}

bool addDialPlan(Cdb_fac_mgr& store)
{
    return addTransitions(store) && addRoutes(store) && addCallerRefinement(store) && addCallerAnalysis(store) &&
           addCalledAnalysis(store);
}

bool addOperator(Cdb_fac_mgr& store, const char* number, bool isExternal)
{
    Cdb_hunting_group_operator_data record;
    record.operatorNbr.SetNbr(number);
    record.groupID = kSwitchboard;
    record.isExternal = isExternal ? 1 : 0;
    return store.DbHasOperator(number) == kDbHas || store.DbAddHGOperator(record) == kDbOk;
}

// 800, also for the branch office, one of whose extensions helps out.
bool addSwitchboard(Cdb_fac_mgr& store)
{
    Cdb_hunting_group_cfg_data group;
    group.groupID = kSwitchboard;
    group.strategy = 2; // longest idle first
    group.operatorTime = 15;
    group.isQueueOn = 1;
    group.queueCounter = 5;
    group.queueDuration = 120;
    BclCopyStr(group.name, "Switchboard");
    if (store.DbHasHGInfo(kSwitchboard) != kDbHas && store.DbAddHuntingGroup(group) != kDbOk)
        return false;
    for (const char* plan : {"default", "branch"}) {
        Cdb_hunting_group_detect_data rule;
        BclCopyStr(rule.dialPlan, plan);
        BclCopyStr(rule.calledNbr, "800");
        if (store.DbHGGetDetect(rule) == kDbOk)
            continue;
        rule.groupID = kSwitchboard;
        if (store.DbHGAddDetect(rule) != kDbOk)
            return false;
    }
    return addOperator(store, "1001", false) && addOperator(store, "1002", false) && addOperator(store, "2001", true);
}

// 801 rings at three telephones.
bool addSales(Cdb_fac_mgr& store)
{
    for (const char* user : {"1004", "1005", "1006"}) {
        Cdb_rg_user member;
        member.groupID = kSales;
        BclCopyStr(member.user, user);
        if (store.DbRGUserHas(member) != kDbHas && store.DbRGUserAdd(member) != kDbOk)
            return false;
    }
    Cdb_rg_detection rule;
    BclCopyStr(rule.cldNbr, "801");
    BclCopyStr(rule.name, "Sales");
    rule.groupID = kSales;
    return store.DbRGDetectionHas(rule.index()) == kDbHas || store.DbRGDetectionSet(rule) == kDbOk;
}

// The menu's file and the module are for whoever tries them to write.
bool addTriggers(Cdb_fac_mgr& store)
{
    Cdb_ivr_trigger_data menu;
    menu.calledNbr.SetNbr("850");
    BclCopyStr(menu.name, "Menu");
    BclCopyStr(menu.fileName, "menu.xml");
    Cdb_lua_trigger door;
    door.DP = kLuaNumberCollected;
    door.calledNbr.SetNbr("802");
    BclCopyStr(door.name, "Door opener");
    door.moduleName.SetNbr("door");
    return (store.DbGetIVRTrigger(&menu) == kDbOk || store.DbAddIVRTrigger(&menu) == kDbOk) &&
           (store.DbLuaTriggerGet(&door) == kDbOk || store.DbLuaTriggerAdd(door) == kDbOk);
}

bool addSpeedDial(Cdb_fac_mgr& store, const char* caller, const char* destination, const char* name)
{
    Cdb_speed_dial_data speedDial;
    speedDial.callerNbr.SetNbr(caller);
    speedDial.dialedNbr.SetNbr("7");
    speedDial.destination.SetNbr(destination);
    BclCopyStr(speedDial.name, name);
    return store.DbAddSpeedDial(speedDial) == kDbOk;
}

bool addSpeedDials(Cdb_fac_mgr& store)
{
    return store.DbGetSpeedDialCnt() != 0 || (addSpeedDial(store, ".", "2000", "Branch office") &&
                                              addSpeedDial(store, "1001", "2005", "Workshop of the branch office"));
}

bool addRecordingRule(Cdb_fac_mgr& store, const char* caller, unsigned char recording, const char* name)
{
    Cdb_call_record rule;
    rule.callerNbr.SetNbr(caller);
    rule.calledNbr.SetNbr("0");
    if (store.DbCallRecordGet(rule) == kDbOk)
        return true;
    rule.recording = recording;
    BclCopyStr(rule.name, name);
    return store.DbAddCallRecord(rule) == kDbOk;
}

bool addRecordingRules(Cdb_fac_mgr& store)
{
    constexpr unsigned char kNo = 1;
    constexpr unsigned char kYes = 2;
    return addRecordingRule(store, "10", kNo, "Calls out") && addRecordingRule(store, "1004", kYes, "Sales: calls out");
}

bool addBlackList(Cdb_fac_mgr& store)
{
    Cdb_sys_black_item premium;
    BclCopyStr(premium.calledNbr, "0900");
    if (store.DbSysBlackListGet(premium) == kDbOk)
        return true;
    BclCopyStr(premium.name, "Premium rate");
    return store.DbSysBlackListAdd(&premium) == kDbOk;
}

bool addIpList(Cdb_fac_mgr& store)
{
    constexpr unsigned kAllow = 1;
    Cdb_ip_bwlist local;
    local.action = kAllow;
    BclCopyStr(local.ipAddr, "127.0.0.0/8");
    BclCopyStr(local.name, "This machine");
    return store.DbIPBWListSet(local) == kDbOk;
}

bool addRewriting(Cdb_fac_mgr& store)
{
    Cdb_clr_rewriting_info reception;
    BclCopyStr(reception.callerNbr, "1000");
    if (store.DbClrReWriteGet(&reception) == kDbOk)
        return true;
    BclCopyStr(reception.displayName, "Reception");
    return store.DbClrReWriteAdd(&reception) == kDbOk;
}

bool addWallboard(Cdb_fac_mgr& store)
{
    if (store.rows<Cdb_evt_channel_auth>().get()->size() != 0)
        return true;
    Cdb_evt_channel_auth local;
    BclCopyStr(local.ipAddr, "127.0.0.1");
    return store.DbEvtChannelAuthAdd(local) == kDbOk;
}

bool addShopRate(Cdb_fac_mgr& store, const char* prefix, unsigned fee, const char* description)
{
    Cdb_call_shop_fee_rate_info rate;
    BclCopyStr(rate.calledNbr, prefix);
    BclCopyStr(rate.description, description);
    rate.interval = 60;
    rate.fee = fee;
    return store.DbCallShopAdd(&rate) == kDbOk;
}

bool addShopRates(Cdb_fac_mgr& store)
{
    return store.rows<Cdb_call_shop_fee_rate_info>().get()->size() != 0 ||
           (addShopRate(store, ".", 40, "Everywhere else") && addShopRate(store, "0", 5, "National"));
}

bool addLists(Cdb_fac_mgr& store)
{
    return addBlackList(store) && addIpList(store) && addRewriting(store) && addWallboard(store) && addShopRates(store);
}

bool addRate(Cdb_fac_mgr& store, unsigned id, unsigned tariff, unsigned fee)
{
    Ctbl_prepaid_rate rate;
    if (tbl_prepaid_rate_get(&store, id, &rate) == kDbOk)
        return true;
    rate.rate_id = id;
    rate.tariff_interval = 60;
    rate.tariff = tariff;
    rate.onetime_fee = fee;
    return tbl_prepaid_rate_add(&store, rate) == kDbOk;
}

// For every prepaid user and every card without a dial plan of its own. The prefix is of the number after its analysis.
bool addRateOf(Cdb_fac_mgr& store, const char* prefix, unsigned rateId)
{
    Ctbl_caller_prepaid caller;
    BclCopyStr(caller.cSubscriber, ".");
    BclCopyStr(caller.cRouteNbr, prefix);
    caller.nRateId = rateId;
    Ctbl_callingcard_fee_matrix card;
    BclCopyStr(card.cDialPlan, "default");
    BclCopyStr(card.cRouteNbr, prefix);
    card.nRateId = rateId;
    unsigned known = 0;
    const bool hasCaller = tbl_caller_prepaid_has(&store, caller.cSubscriber, prefix) == kDbHas;
    const bool hasCard = tbl_callingcard_fee_matrix_get(&store, card.cDialPlan, prefix, known) == kDbOk;
    return (hasCaller || tbl_caller_prepaid_add(&store, caller) == kDbOk) &&
           (hasCard || tbl_callingcard_fee_matrix_add(&store, card) == kDbOk);
}

// A user who pays for calls out of a balance.
bool addPrepaidUser(Cdb_fac_mgr& store, const char* name, int cents)
{
    if (tbl_sub_balace_has(&store, name) == kDbHas)
        return true;
    Cdb_usr_info user;
    if (store.DbGetUsrInfo(name, user) != kDbOk)
        return false;
    user.flags |= kUsrPrepaid;
    Ctbl_sub_balance balance;
    BclCopyStr(balance.cSubName, name);
    balance.nBalance = cents;
    return store.DbSetLocalUserData(user) == kDbOk && tbl_sub_balance_add(&store, balance) == kDbOk;
}

bool addCard(Cdb_fac_mgr& store)
{
    Ctbl_callingcard_balance card;
    BclCopyStr(card.cCard, "55501234");
    if (tbl_callingcard_balance_get(&store, card) == kDbOk)
        return true;
    BclCopyStr(card.cPin, "4711");
    card.nBalance = 500;
    return tbl_callingcard_balance_add(&store, card) == kDbOk;
}

// Ten euros for one user, little for another, and a card. Nothing where the remote database is away.
bool addBilling(Cdb_fac_mgr& store)
{
    if (store.IsRemoteDbActive() == 0)
        return true;
    return addRate(store, kNational, 2, 5) && addRate(store, kInternational, 25, 10) &&
           addRateOf(store, "0", kNational) && addRateOf(store, "+", kInternational) &&
           addPrepaidUser(store, "1010", 1000) && addPrepaidUser(store, "1011", 3) && addCard(store);
}

bool printUsers(Cdb_fac_mgr& store)
{
    for (unsigned number = kFirstUser; number < kFirstUser + kUsers; ++number) {
        Cdb_usr_info user;
        if (store.DbGetUsrInfo(std::to_string(number).c_str(), user) != kDbOk)
            return false;
        std::printf("%s %s\n", user.usrName, user.password);
    }
    return true;
}

} // namespace

int main()
{
    BclSubEvent(kBclLogEvent, nullptr, &printLogLine);
    BclOpenLog();
    Cdb_fac_mgr store;
    if (!store.isOpen() || !addUsers(store) || !addOfficeHours(store) || !addPeers(store) || !addDialPlan(store) ||
        !addSwitchboard(store) || !addSales(store) || !addTriggers(store) || !addSpeedDials(store) ||
        !addRecordingRules(store) || !addLists(store) || !addBilling(store) || !printUsers(store)) {
        std::fprintf(stderr, "The demo office could not be made.\n");
        return 1;
    }
    return 0;
}
