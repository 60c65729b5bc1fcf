// The facade of the configuration store.
#pragma once

#include "cachedb2/access_lists.h"
#include "cachedb2/call_record.h"
#include "cachedb2/call_shop.h"
#include "cachedb2/callback.h"
#include "cachedb2/change.h"
#include "cachedb2/ext_line.h"
#include "cachedb2/hunting_groups.h"
#include "cachedb2/local_db.h"
#include "cachedb2/numbers.h"
#include "cachedb2/peer_server.h"
#include "cachedb2/registrations.h"
#include "cachedb2/ring_groups.h"
#include "cachedb2/routing.h"
#include "cachedb2/settings.h"
#include "cachedb2/snapshot.h"
#include "cachedb2/speed_dial.h"
#include "cachedb2/sys_tbl.h"
#include "cachedb2/time_condition.h"
#include "cachedb2/triggers.h"
#include "cachedb2/usr_info.h"
#include "dbproxy2/results.h"

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class Cdb_remote;

// Where a store lies. Empty: the data folder of this instance, and its own file for both read handles.
struct Cdb_options {
    std::string dataFolder;
    std::string cacheFile;  // file behind GetCacheDB()
    std::string localFile;  // file behind GetLocalDB()
    std::string upnpSocket; // of a minissdpd that knows the routers; empty: the system's, else a search in the network
    // From the start to the first look whether a daily backup is due.
    std::chrono::seconds firstBackupLook{300};
};

// One per process, owned by the server application object. Typed operations may be called on any thread; they return
// kDbOk only when the change is on disk. A key of which a part is empty, too long or holds control characters is
// refused. add refuses a key that exists, update and delete one that is missing, set adds or replaces; get fills a
// record whose key is set. The two read handles belong to the GUI thread.
class Cdb_fac_mgr {
public:
    Cdb_fac_mgr() : Cdb_fac_mgr(Cdb_options{}) {}
    explicit Cdb_fac_mgr(const Cdb_options& options);
    ~Cdb_fac_mgr();
    Cdb_fac_mgr(const Cdb_fac_mgr&) = delete;
    Cdb_fac_mgr& operator=(const Cdb_fac_mgr&) = delete;

    // False when the store could not be opened (a log line said why): reads are empty, writes fail, defaults hold.
    [[nodiscard]] bool isOpen() const;

    [[nodiscard]] Clocal_db* GetCacheDB();
    [[nodiscard]] Clocal_db* GetLocalDB();

    // The remote database, which follows the system record: 0 while it is not connected. Its tables: remote_tables.h.
    [[nodiscard]] unsigned IsRemoteDbActive();
    [[nodiscard]] Cdb_remote* DbGetRemote(); // null without a store

    // Local users. Keys: 1 to 32 bytes of UTF-8 without control characters.
    unsigned DbGetUsrInfo(const char* user, Cdb_usr_info& record);
    unsigned DbSetLocalUserData(const Cdb_usr_info& record); // adds or replaces; run-time state is not written
    unsigned DbDelUsrInfo(const char* user);                 // and the user's registrations
    unsigned DbIsLocalUser(const char* user);
    unsigned DbGetUsrCnt();
    // Makes the users start, start + 1, ... (total of them, at most kMaxAddMany; none when the last one is no unsigned
    // number) in one transaction; names of users and external lines that exist are skipped. Null or empty password: a
    // random one of 12 letters and digits each; longer than 32 bytes: refused.
    static constexpr unsigned kMaxAddMany = 100000; // far above the console's 300; bounds the transaction
    unsigned DbAddUserMany(unsigned start, unsigned total, const char* password);

    // External lines. Get tells the state of the moment; set does not write it.
    unsigned DbExtLineGet(Cdb_ext_line_info& record);
    unsigned DbExtLineSet(const Cdb_ext_line_info& record);
    unsigned DbExtLineHas(const char* name);
    unsigned DbExtLineDel(const char* name);
    unsigned DbExtLineGetCnt();
    // For the server: 0 off, else on; what `select * from tbl_ext_line` gives from then on.
    unsigned DbWriteExtLineState(const char* name, unsigned state);
    // All lines are off: for the server, at its start.
    unsigned DbClearExtLineStates();

    unsigned DbPeerServerGet(unsigned sid, Cdb_sip_domain_data& record);
    unsigned DbPeerServerSet(unsigned sid, const Cdb_sip_domain_data& record);
    unsigned DbPeerServerDel(unsigned sid);

    unsigned DbRouteGroupAdd(Cdb_route_group record);
    unsigned DbRouteGroupGet(Cdb_route_group& record);
    unsigned DbRouteGroupUpdate(Cdb_route_group record);
    unsigned DbRouteGroupDelete(unsigned groupID); // and its routes
    unsigned DbRouteAdd(Cdb_route record);         // refuses one without a target
    unsigned DbRouteDel(Cdb_route record);

    unsigned DbNbrTransGet(Cdb_nbr_trans_data& record);
    unsigned DbNbrTransSet(const Cdb_nbr_trans_data& record);
    unsigned DbNbrTransHas(unsigned transid);
    unsigned DbNbrTransDel(unsigned transid);
    unsigned DbNbrCldAnaGet(Cdb_nbr_cld_ana_data& record);
    unsigned DbNbrCldAnaSet(const Cdb_nbr_cld_ana_data& record);
    unsigned DbNbrCldAnaHas(const char* dialPlan, const char* prefix);
    unsigned DbNbrCldAnaDel(const char* dialPlan, const char* prefix);
    unsigned DbNbrClrAnaGet(Cdb_nbr_clr_ana_data& record);
    unsigned DbNbrClrAnaSet(const Cdb_nbr_clr_ana_data& record);
    unsigned DbNbrClrAnaHas(const char* prefix);
    unsigned DbNbrClrAnaDel(const char* prefix);
    unsigned DbNbrClrRefineGet(Cdb_nbr_clr_refine_data& record);
    unsigned DbNbrClrRefineSet(const Cdb_nbr_clr_refine_data& record);
    unsigned DbNbrClrRefineHas(unsigned groupID, const char* prefix);
    unsigned DbNbrClrRefineDel(unsigned groupID, const char* prefix);
    unsigned DbRefineCalledNbrAdd(Cdb_nbr_cld_refine record);
    unsigned DbRefineCalledNbrUpdate(Cdb_nbr_cld_refine record);
    unsigned DbRefineCalledNbrGet(Cdb_nbr_cld_refine& record);
    unsigned DbRefineCalledNbrDelete(unsigned groupID, const char* prefix);

    unsigned DbTimeConditionAdd(const Cdb_time_cond& record);
    unsigned DbTimeConditionUpdate(const Cdb_time_cond& record);
    unsigned DbTimeConditionGet(Cdb_time_cond& record);
    unsigned DbTimeConditionDel(unsigned id);

    unsigned DbAddHuntingGroup(const Cdb_hunting_group_cfg_data& record);
    unsigned DbUpdateHuntingGroup(const Cdb_hunting_group_cfg_data& record);
    unsigned DbGetHGInfo(Cdb_hunting_group_cfg_data& record);
    unsigned DbHasHGInfo(unsigned groupID);
    unsigned DbDelHuntingGroup(unsigned groupID);
    unsigned DbGetHGGrouptCnt();
    unsigned DbAddHGOperator(const Cdb_hunting_group_operator_data& record);
    unsigned DbHasOperator(const char* number);
    unsigned DbRemoveHGOperator(const char* number);
    unsigned DbHGAddDetect(const Cdb_hunting_group_detect_data& record);
    unsigned DbHGUpdateDetect(const Cdb_hunting_group_detect_data& record);
    unsigned DbHGGetDetect(Cdb_hunting_group_detect_data& record);
    unsigned DbHGDelDetect(const char* dialPlan, const char* calledNbr);
    // Groups and operators as log lines, with what setOperatorState's function says of each operator.
    void DbHGPrintAll();
    // For the server: called on the thread that prints.
    void setOperatorState(std::function<std::string(unsigned groupID, std::string_view number)> state);

    unsigned DbRGUserAdd(Cdb_rg_user record);
    unsigned DbRGUserDel(Cdb_rg_user record);
    unsigned DbRGUserHas(Cdb_rg_user record);
    unsigned DbRGDetectionSet(Cdb_rg_detection record); // refuses group 0
    unsigned DbRGDetectionGet(Cdb_rg_detection& record);
    unsigned DbRGDetectionHas(Cdb_rg_detection_index index);
    unsigned DbRGDetectionDel(Cdb_rg_detection_index index);

    unsigned DbAddIVRTrigger(const Cdb_ivr_trigger_data* record);
    unsigned DbUpdateIVRTrigger(const Cdb_ivr_trigger_data* record);
    unsigned DbGetIVRTrigger(Cdb_ivr_trigger_data* record);
    unsigned DbDelIVRTrigger(const Cdb_ivr_trigger_data* record);
    unsigned DbHasIVRTrigger(const char* dialPlan, const char* calledNbr);
    unsigned DbLuaTriggerAdd(Cdb_lua_trigger record);
    unsigned DbLuaTriggerUpdate(Cdb_lua_trigger record);
    unsigned DbLuaTriggerDel(Cdb_lua_trigger record);
    unsigned DbLuaTriggerGet(Cdb_lua_trigger* record);
    unsigned DbLuaTriggerHas(int point, const char* dialPlan, const char* calledNbr);

    unsigned DbAddSpeedDial(const Cdb_speed_dial_data& record);
    unsigned DbUpdateSpeedDial(const Cdb_speed_dial_data& record);
    unsigned DbDelSpeedDial(const Cdb_speed_dial_data& record);
    unsigned DbGetSpeedDialCnt();

    unsigned DbAddCallRecord(Cdb_call_record record);
    unsigned DbUpdateCallRecord(Cdb_call_record record);
    unsigned DbCallRecordGet(Cdb_call_record& record);
    unsigned DbCallRecordDel(const char* callerNbr, const char* calledNbr);

    unsigned DbCallShopAdd(const Cdb_call_shop_fee_rate_info* record);
    unsigned DbCallShopUpdate(const Cdb_call_shop_fee_rate_info* record);
    unsigned DbCallShopDel(const Cdb_call_shop_fee_rate_info* record);

    unsigned DbClrReWriteAdd(const Cdb_clr_rewriting_info* record);
    unsigned DbClrReWriteUpdate(const Cdb_clr_rewriting_info* record);
    unsigned DbClrReWriteGet(Cdb_clr_rewriting_info* record);
    unsigned DbClrReWriteDel(const Cdb_clr_rewriting_info* record);
    unsigned DbSysBlackListAdd(const Cdb_sys_black_item* record);
    unsigned DbSysBlackListUpdate(const Cdb_sys_black_item* record);
    unsigned DbSysBlackListGet(Cdb_sys_black_item& record);
    unsigned DbSysBlackListDel(const Cdb_sys_black_item* record);
    unsigned DbIPBWListGet(Cdb_ip_bwlist& record);
    unsigned DbIPBWListSet(const Cdb_ip_bwlist& record);
    unsigned DbIPBWListDel(const char* ipAddr);
    unsigned DbEvtChannelAuthAdd(Cdb_evt_channel_auth record);
    unsigned DbEvtChannelAuthDel(const char* ipAddr);

    // The one record of the callback service; get fails until it was set.
    unsigned DbCallbackGet(Cdb_cb_serv_data* record);
    unsigned DbCallbackSet(const Cdb_cb_serv_data* record);

    // Language of the announcements: 0 English, 1 Chinese. Voice mail: 0 by e-mail, else stored.
    unsigned DbGetSrfAnnLang();
    unsigned DbSetSrfAnnLang(unsigned language);
    unsigned DbGetVmsMode();
    unsigned DbSetVmsMode(unsigned mode);

    // Every dial plan that a record names: "default" first, the others sorted.
    void DbInitDialPlanView(std::list<std::string>& names);

    // Looks up the host names of the system settings, lines and peers again. Returns at once; what was found comes into
    // the log.
    unsigned DbSysDNSGet();
    // Has the router of the network map the SIP and media ports when the system settings say so, else unmap what this
    // process has mapped. Returns at once; what came of it comes into the log.
    unsigned searchUPnP();

    // SMTP server of the system settings, blank: none. Valid until the settings change. GUI thread.
    [[nodiscard]] const char* DbGetSmtpServer();

    // The system record, null when the store holds none. GUI thread; saved by its SaveDB().
    [[nodiscard]] Cdb_sys_tbl* DbGetSysTbl();
    unsigned DbSetSysData(const Cdb_sys_data& record);

    // Newest versions for the server's threads.
    template <class Record>
    [[nodiscard]] const SnapshotBox<Snapshot<Record>>& rows() const; // by the key that changes carry
    [[nodiscard]] const SnapshotBox<Snapshot<Cdb_usr_info>>& users() const { return rows<Cdb_usr_info>(); }
    [[nodiscard]] const SnapshotBox<Cdb_sys_data>& system() const;

    // Called on the writing thread after the next version is in place, while no lock is held: listeners post what
    // follows and return. Never withdrawn.
    void addListener(std::function<void(const Cdb_change&)> listener);

    // Registrations (run-time file). Each element replaces all that is stored of its user; one transaction, safe
    // against a killed process. On a failure `reason`, where given, says why; nothing is logged.
    unsigned DbWriteRegistrations(const std::vector<Cdb_user_bindings>& changes, std::string* reason = nullptr);
    [[nodiscard]] std::vector<Cdb_user_bindings> DbReadRegistrations();

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
