#include "cachedb2/fac_mgr.h"

#include "bcl2/log.h"
#include "bcl2/text.h"
#include "cachedb2/data_folder.h"
#include "local_users.h"
#include "store.h"
#include "store_files.h"
#include "tables.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>
#include <set>

namespace {

std::string withSeparator(std::string folder)
{
    if (folder.empty() || folder.back() != '/')
        folder += '/';
    return folder;
}

// What another process writes is to be served within a second.
constexpr unsigned kFollowMs = 300;

// Everything that is stored of a user is stored under that user.
bool hasGoodKeys(const Cdb_user_bindings& user)
{
    const auto isGood = [&user](const Table& table, const auto& record) {
        return table.isKeyValid(&record) && BclFieldText(record.userName) == user.userName;
    };
    Cdb_sip_reg key;
    BclCopyText(key.userName, sizeof key.userName, user.userName, sizeof key.userName);
    const bool hasWholeRow = user.hasRow && !user.isStageOnly;
    return isGood(registrationsTable(), key) && (!hasWholeRow || isGood(registrationsTable(), user.row)) &&
           std::all_of(user.contacts.begin(), user.contacts.end(),
                       [&](const Cdb_sip_contact& contact) { return isGood(contactsTable(), contact); });
}

// `clear` is the statement that removes a user's contacts.
bool setContacts(DbConnection& db, DbStatement& clear, const Cdb_user_bindings& user)
{
    clear.reset();
    clear.bindText(1, user.userName);
    return clear.stepDone() &&
           std::all_of(user.contacts.begin(), user.contacts.end(),
                       [&db](const Cdb_sip_contact& contact) { return contactsTable().set(db, &contact); });
}

// `update` is the statement that sets the state of a user's row, `clear` the one that removes the row.
bool setRow(DbConnection& db, DbStatement& update, DbStatement& clear, const Cdb_user_bindings& user)
{
    if (user.hasRow && !user.isStageOnly)
        return registrationsTable().set(db, &user.row);
    DbStatement& statement = user.hasRow ? update : clear;
    statement.reset();
    statement.bindText(1, user.userName);
    if (user.hasRow)
        statement.bindInt(2, user.row.usrStage);
    return statement.stepDone();
}

// The data folder of the options, made when it is that of this instance; empty when it cannot be used.
std::string usableFolder(const Cdb_options& options)
{
    if (!options.dataFolder.empty())
        return withSeparator(options.dataFolder);
    Cbcl_tmp_str folder;
    DbGetDataFolder(folder);
    if (const int error = DbMakeDataFolder(); error != 0) {
        BclLog("The data folder %s cannot be used: %s. Nothing can be stored until this is mended and the program is "
               "started again.",
               folder.c_str(), std::strerror(error));
        return {};
    }
    return std::string(folder.view());
}

Cdb_remote_settings remoteSettings(const Cdb_sys_data& system)
{
    const bool isPort = system.dbPort > 0 && system.dbPort <= std::numeric_limits<uint16_t>::max();
    return {std::string(BclTrimmed(BclFieldText(system.dbAddr))), isPort ? static_cast<unsigned>(system.dbPort) : 0,
            std::string(BclFieldText(system.dbUser)), std::string(BclFieldText(system.dbPassword)),
            std::string(BclFieldText(system.dbName))};
}

} // namespace

void Cdb_fac_mgr::Impl::applyRemote()
{
    const std::scoped_lock lock(remoteMutex);
    if (remote)
        remote->apply(remoteSettings(*system.get()));
}

void Cdb_fac_mgr::Impl::tell(const Cdb_change& change)
{
    if (change.table == Edb_table::System)
        applyRemote();
    std::shared_ptr<const std::vector<std::function<void(const Cdb_change&)>>> current;
    {
        const std::scoped_lock lock(listenerMutex);
        current = listeners;
    }
    for (const auto& listener : *current)
        listener(change);
}

bool Cdb_fac_mgr::Impl::hasListeners()
{
    const std::scoped_lock lock(listenerMutex);
    return !listeners->empty();
}

Cdb_fac_mgr::Cdb_fac_mgr(const Cdb_options& options) : _impl(std::make_unique<Impl>())
{
    Impl& impl = *_impl;
    impl.clear();
    impl.portMapper = std::make_unique<Cbcl_latest<MappedPorts>>(
        "upnp", [mapper = std::make_shared<PortMapper>(options.upnpSocket)](
                    const MappedPorts* ports, const auto& isStale) { return mapper->work(ports, isStale); });
    impl.system.put(std::make_shared<const Cdb_sys_data>());

    const std::string folder = usableFolder(options);
    const std::string configPath = folder + "config.db";
    const std::string runtimePath = folder + "runtime.db";
    if (!folder.empty()) {
        impl.runtime = openRuntimeFile(runtimePath);
        if (impl.runtime)
            impl.stateReader = openReader(runtimePath);
        impl.config = openConfigFile(configPath, [&impl](DbConnection& db) { return impl.load(db); });
    }
    const auto makeHandle = [&](const std::string& file) {
        return std::make_unique<Clocal_db>(impl.config ? openPageReader(file.empty() ? configPath : file, runtimePath)
                                                       : nullptr);
    };
    impl.cacheDb = makeHandle(options.cacheFile);
    impl.localDb = makeHandle(options.localFile);
    if (!impl.config)
        impl.clear();
    else {
        impl.systemRecord = std::make_unique<Cdb_sys_tbl>(*this);
        static_cast<Cdb_sys_data&>(*impl.systemRecord) = *impl.system.get();
        impl.remote = std::make_unique<Cdb_remote>(folder);
        impl.applyRemote();
        impl.followReader = openReader(configPath);
        impl.follower = std::make_unique<Cbcl_ticker>("store", kFollowMs, [&impl] { impl.follow(); });
        impl.backups = std::make_unique<DailyBackup>(configBackups(configPath), options.firstBackupLook);
    }
}

Cdb_fac_mgr::~Cdb_fac_mgr() = default;

bool Cdb_fac_mgr::isOpen() const
{
    return _impl->config != nullptr;
}

Clocal_db* Cdb_fac_mgr::GetCacheDB()
{
    return _impl->cacheDb.get();
}

Clocal_db* Cdb_fac_mgr::GetLocalDB()
{
    return _impl->localDb.get();
}

unsigned Cdb_fac_mgr::IsRemoteDbActive()
{
    return _impl->remote && _impl->remote->isActive() ? 1 : 0;
}

Cdb_remote* Cdb_fac_mgr::DbGetRemote()
{
    return _impl->remote.get();
}

unsigned Cdb_fac_mgr::DbGetUsrInfo(const char* user, Cdb_usr_info& record)
{
    auto key = keyOf<Cdb_usr_info, &Cdb_usr_info::usrName>(user);
    if (!key || _impl->get(*key) != kDbOk)
        return kDbFailed;
    record = *key;
    Cdb_sip_reg live;
    BclCopyText(live.userName, sizeof live.userName, BclFieldText(record.usrName), sizeof live.userName);
    if (_impl->readState(registrationsTable(), live)) {
        BclCopyText(record.preAddr, sizeof record.preAddr, BclFieldText(live.preAddr), sizeof record.preAddr);
        record.prePort = live.prePort;
        record.usrStage = live.usrStage;
    }
    return kDbOk;
}

unsigned Cdb_fac_mgr::DbSetLocalUserData(const Cdb_usr_info& record)
{
    Cdb_usr_info stored = record;
    stored.restorePreStatus(Cdb_usr_info()); // versions hold what is stored, not run-time state
    return _impl->set(stored);
}

unsigned Cdb_fac_mgr::DbDelUsrInfo(const char* user)
{
    // Without a server in this process nobody else would remove them.
    const auto dropBindings = [this, user] {
        Cdb_user_bindings none;
        none.userName = user;
        (void)DbWriteRegistrations({none});
    };
    const bool isServed = _impl->hasListeners();
    if (_impl->del(keyOf<Cdb_usr_info, &Cdb_usr_info::usrName>(user)) != kDbOk)
        return kDbFailed;
    if (!isServed)
        dropBindings();
    return kDbOk;
}

unsigned Cdb_fac_mgr::DbIsLocalUser(const char* user)
{
    return _impl->has(keyOf<Cdb_usr_info, &Cdb_usr_info::usrName>(user));
}

unsigned Cdb_fac_mgr::DbGetUsrCnt()
{
    return _impl->count<Cdb_usr_info>();
}

unsigned Cdb_fac_mgr::DbAddUserMany(unsigned start, unsigned total, const char* password)
{
    Impl& impl = *_impl;
    const std::string_view secret = password == nullptr ? "" : password;
    if (total == 0 || total > kMaxAddMany || total - 1 > std::numeric_limits<unsigned>::max() - start ||
        secret.size() >= sizeof Cdb_usr_info::password)
        return kDbFailed;
    {
        const std::scoped_lock lock(impl.configMutex);
        const auto users = impl.rows<Cdb_usr_info>();
        const auto lines = impl.rows<Cdb_ext_line_info>();
        std::vector<Cdb_usr_info> added;
        const auto isTaken = [&](const std::string& name) { return users->find(name) || lines->find(name); };
        if (!makeUsers(start, total, secret, isTaken, added))
            return kDbFailed;
        // A user that another process has made a moment ago is skipped like those that were known before.
        const auto addAll = [&added](DbConnection& db) {
            bool isWhole = true;
            std::erase_if(added, [&](const Cdb_usr_info& user) {
                const bool isAdded = isWhole && localUsersTable().add(db, &user);
                isWhole = isWhole && (isAdded || db.fault() == DbFault::None);
                return !isAdded;
            });
            return isWhole;
        };
        if (!Impl::transact(impl.config.get(), "many users", addAll))
            return kDbFailed;
        impl.publish<Cdb_usr_info>([&added](auto& builder) {
            for (const Cdb_usr_info& user : added)
                builder.set(BclFieldText(user.usrName), user);
        });
    }
    impl.tell({Edb_table::LocalUsers, {}});
    return kDbOk;
}

Cdb_sys_tbl* Cdb_fac_mgr::DbGetSysTbl()
{
    Impl& impl = *_impl;
    if (impl.systemRecord && impl.isSystemForeign.exchange(false))
        static_cast<Cdb_sys_data&>(*impl.systemRecord) = *impl.system.get();
    return impl.systemRecord.get();
}

unsigned Cdb_fac_mgr::DbSetSysData(const Cdb_sys_data& record)
{
    Impl& impl = *_impl;
    Cdb_sys_data stored = record;
    stored.id = Cdb_sys_data().id;
    systemTable().normalise(&stored);
    {
        const std::scoped_lock lock(impl.configMutex);
        if (!Impl::transact(impl.config.get(), "the system settings",
                            [&stored](DbConnection& db) { return systemTable().set(db, &stored); }))
            return kDbFailed;
        impl.system.put(std::make_shared<const Cdb_sys_data>(stored));
        ++impl.ownWrites;
    }
    impl.tell({Edb_table::System, {}});
    return kDbOk;
}

template <class Record>
const SnapshotBox<Snapshot<Record>>& Cdb_fac_mgr::rows() const
{
    return _impl->box<Record>();
}

void Cdb_fac_mgr::DbInitDialPlanView(std::list<std::string>& names)
{
    // A hundred thousand users share a handful of plans: a text is made only for one that is not there yet.
    std::set<std::string, std::less<>> found;
    const auto add = [&found](std::string_view plan) {
        if (!found.contains(plan))
            found.emplace(plan);
    };
    const auto collect = [this, &add]<class Record, class Plan>(Plan Record::*plan) {
        _impl->rows<Record>()->forEach([&](const std::string&, const Record& record) {
            if constexpr (std::is_same_v<Plan, Cphone_number>)
                add((record.*plan).view());
            else
                add(BclFieldText(record.*plan));
        });
    };
    collect(&Cdb_usr_info::dialPlan);
    _impl->rows<Cdb_peer_server>()->forEach(
        [&](const std::string&, const Cdb_peer_server& peer) { add(BclFieldText(peer.dialPlan)); });
    collect(&Cdb_nbr_clr_ana_data::dialPlan);
    collect(&Cdb_nbr_cld_ana_data::dialPlan);
    collect(&Cdb_hunting_group_detect_data::dialPlan);
    collect(&Cdb_rg_detection::dialPlan);
    collect(&Cdb_ivr_trigger_data::dialPlan);
    collect(&Cdb_lua_trigger::dialPlan);
    names = {"default"};
    for (const std::string& name : found)
        if (!BclTrimmed(name).empty() && name != "default")
            names.push_back(name);
}

const char* Cdb_fac_mgr::DbGetSmtpServer()
{
    const Cdb_sys_tbl* system = DbGetSysTbl();
    return system != nullptr ? system->smtpAddr : "";
}

const SnapshotBox<Cdb_sys_data>& Cdb_fac_mgr::system() const
{
    return _impl->system;
}

void Cdb_fac_mgr::addListener(std::function<void(const Cdb_change&)> listener)
{
    const std::scoped_lock lock(_impl->listenerMutex);
    auto next = std::make_shared<std::vector<std::function<void(const Cdb_change&)>>>(*_impl->listeners);
    next->push_back(std::move(listener));
    _impl->listeners = std::move(next);
}

unsigned Cdb_fac_mgr::DbWriteRegistrations(const std::vector<Cdb_user_bindings>& changes, std::string* reason)
{
    Impl& impl = *_impl;
    const auto writeAll = [&changes](DbConnection& db) {
        DbStatement* clearContacts = db.cached("delete from tbl_sip_contact where userName=?1");
        DbStatement* clearRow = db.cached("delete from tbl_sip_reg where userName=?1");
        DbStatement* updateStage = db.cached("update tbl_sip_reg set usrStage=?2 where userName=?1");
        if (clearContacts == nullptr || clearRow == nullptr || updateStage == nullptr)
            return false;
        for (const Cdb_user_bindings& user : changes)
            if ((!user.isRowOnly && !setContacts(db, *clearContacts, user)) ||
                !setRow(db, *updateStage, *clearRow, user))
                return false;
        for (DbStatement* statement : {clearContacts, clearRow, updateStage})
            statement->reset();
        return true;
    };
    if (!std::all_of(changes.begin(), changes.end(), &hasGoodKeys)) {
        if (reason != nullptr)
            *reason = "a user name or contact is empty or too long";
        return kDbFailed;
    }
    const std::scoped_lock lock(impl.runtimeMutex);
    if (!impl.runtime) {
        if (reason != nullptr)
            *reason = "the file could not be opened";
        return kDbFailed;
    }
    DbConnection& db = *impl.runtime;
    if (db.exec("begin immediate") && writeAll(db) && db.exec("commit"))
        return kDbOk;
    if (reason != nullptr)
        *reason = db.reason();
    (void)db.exec("rollback");
    return kDbFailed;
}

std::vector<Cdb_user_bindings> Cdb_fac_mgr::DbReadRegistrations()
{
    Impl& impl = *_impl;
    std::vector<Cdb_user_bindings> all;
    std::unordered_map<std::string, size_t> byName;
    const auto bindingsOf = [&](std::string_view name) -> Cdb_user_bindings& {
        const auto [it, isNew] = byName.try_emplace(std::string(name), all.size());
        if (isNew)
            all.emplace_back().userName = name;
        return all[it->second];
    };

    const std::scoped_lock lock(impl.runtimeMutex);
    if (!impl.runtime)
        return all;
    const bool isWhole = forEachRow(*impl.runtime, registrationsTable(),
                                    [&](const DbStatement& statement) {
                                        Cdb_sip_reg row;
                                        registrationsTable().map(statement, &row);
                                        Cdb_user_bindings& user = bindingsOf(BclFieldText(row.userName));
                                        user.hasRow = true;
                                        user.row = row;
                                    }) &&
                         forEachRow(*impl.runtime, contactsTable(), [&](const DbStatement& statement) {
                             Cdb_sip_contact contact;
                             contactsTable().map(statement, &contact);
                             bindingsOf(BclFieldText(contact.userName)).contacts.push_back(contact);
                         });
    if (!isWhole)
        BclLog(
            "Not all registrations could be read: %s. The telephones concerned are reachable when they register again.",
            impl.runtime->reason().c_str());
    return all;
}

// The versions of every table that others may read.
template const SnapshotBox<Snapshot<Cdb_usr_info>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_ext_line_info>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_peer_server>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_route_group>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_route>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_nbr_trans_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_nbr_cld_ana_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_nbr_clr_ana_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_nbr_clr_refine_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_nbr_cld_refine>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_time_cond>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_hunting_group_cfg_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_hunting_group_operator_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_hunting_group_detect_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_rg_user>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_rg_detection>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_ivr_trigger_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_lua_trigger>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_speed_dial_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_call_record>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_call_shop_fee_rate_info>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_clr_rewriting_info>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_sys_black_item>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_ip_bwlist>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_evt_channel_auth>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_cb_serv_data>>& Cdb_fac_mgr::rows() const;
template const SnapshotBox<Snapshot<Cdb_settings>>& Cdb_fac_mgr::rows() const;
