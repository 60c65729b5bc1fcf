#include "cachedb2/fac_mgr.h"

#include "bcl2/log.h"
#include "bcl2/text.h"
#include "cachedb2/data_folder.h"
#include "local_users.h"
#include "store_files.h"
#include "tables.h"

#include <cstring>
#include <mutex>

namespace {

std::string withSeparator(std::string folder)
{
    if (folder.empty() || folder.back() != '/')
        folder += '/';
    return folder;
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

// False when the reading ended by an error.
template <class Visitor>
bool forEachRow(DbConnection& db, const Table& table, Visitor&& visit)
{
    DbStatement* statement = db.cached(table.selectAll());
    if (statement == nullptr)
        return false;
    while (statement->stepRow())
        visit(*statement);
    const bool isWhole = db.fault() == DbFault::None;
    if (isWhole)
        statement->reset();
    return isWhole;
}

template <size_t N>
bool setKey(char (&field)[N], const char* key)
{
    if (key == nullptr || std::strlen(key) >= N)
        return false;
    BclCopyStr(field, key);
    return true;
}

} // namespace

struct Cdb_fac_mgr::Impl {
    using Users = Snapshot<Cdb_usr_info>;

    // One writer a file. The two never wait for each other: telephones do not wait for the configuration.
    std::mutex configMutex;
    std::unique_ptr<DbConnection> config; // null: no store
    std::mutex runtimeMutex;
    std::unique_ptr<DbConnection> runtime; // null: registrations are not kept
    // For the state of single users: who asks for it does not wait for a batch that is being written.
    std::mutex stateMutex;
    std::unique_ptr<DbConnection> stateReader; // null as `runtime`

    std::unique_ptr<Clocal_db> cacheDb;
    std::unique_ptr<Clocal_db> localDb;

    SnapshotBox<Users> users;
    SnapshotBox<Cdb_sys_data> system;
    std::unique_ptr<Cdb_sys_tbl> systemRecord;

    std::mutex listenerMutex;
    std::shared_ptr<const std::vector<std::function<void(const Cdb_change&)>>> listeners =
        std::make_shared<const std::vector<std::function<void(const Cdb_change&)>>>();

    // One transaction on a file; `what` names it in the log line of a failure. Caller holds the file's mutex.
    template <class Body>
    static bool transact(DbConnection* db, const char* what, Body&& body)
    {
        if (db == nullptr)
            return false;
        if (db->exec("begin immediate")) {
            if (body(*db) && db->exec("commit"))
                return true;
            const std::string reason = db->reason();
            const DbFault fault = db->fault();
            (void)db->exec("rollback");
            if (fault == DbFault::None)
                return false; // refused by the body, for instance a key that is not there
            BclLog("The store could not write %s: %s.", what, reason.c_str());
            return false;
        }
        BclLog("The store could not write %s: %s.", what, db->reason().c_str());
        return false;
    }

    void tell(const Cdb_change& change)
    {
        std::shared_ptr<const std::vector<std::function<void(const Cdb_change&)>>> current;
        {
            const std::scoped_lock lock(listenerMutex);
            current = listeners;
        }
        for (const auto& listener : *current)
            listener(change);
    }

    bool hasListeners()
    {
        const std::scoped_lock lock(listenerMutex);
        return !listeners->empty();
    }

    bool load(DbConnection& db);
    void fillRunTimeState(Cdb_usr_info& record);
};

bool Cdb_fac_mgr::Impl::load(DbConnection& db)
{
    auto all = loadUsers(db);
    if (!all)
        return false;
    Cdb_sys_data record;
    if (!systemTable().get(db, &record)) {
        if (db.fault() != DbFault::None || !db.exec("begin immediate") || !systemTable().set(db, &record) ||
            !db.exec("commit"))
            return false;
    }
    users.put(std::move(all));
    system.put(std::make_shared<const Cdb_sys_data>(record));
    return true;
}

void Cdb_fac_mgr::Impl::fillRunTimeState(Cdb_usr_info& record)
{
    Cdb_sip_reg row;
    BclCopyText(row.userName, sizeof row.userName, BclFieldText(record.usrName), sizeof row.userName);
    const std::scoped_lock lock(stateMutex);
    if (!stateReader || !registrationsTable().get(*stateReader, &row))
        return;
    BclCopyText(record.preAddr, sizeof record.preAddr, BclFieldText(row.preAddr), sizeof record.preAddr);
    record.prePort = row.prePort;
    record.usrStage = row.usrStage;
}

Cdb_fac_mgr::Cdb_fac_mgr(const Cdb_options& options) : _impl(std::make_unique<Impl>())
{
    Impl& impl = *_impl;
    impl.users.put(std::make_shared<const Impl::Users>());
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
    if (impl.config) {
        impl.systemRecord = std::make_unique<Cdb_sys_tbl>(*this);
        static_cast<Cdb_sys_data&>(*impl.systemRecord) = *impl.system.get();
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

unsigned Cdb_fac_mgr::DbGetUsrInfo(const char* user, Cdb_usr_info& record)
{
    const auto found = user == nullptr ? nullptr : _impl->users.get()->find(user);
    if (!found)
        return kDbFailed;
    record = *found;
    _impl->fillRunTimeState(record);
    return kDbOk;
}

unsigned Cdb_fac_mgr::DbSetLocalUserData(const Cdb_usr_info& record)
{
    Impl& impl = *_impl;
    if (!localUsersTable().isKeyValid(&record))
        return kDbFailed;
    const std::string name(BclFieldText(record.usrName));
    Cdb_usr_info stored = record;
    localUsersTable().normalise(&stored);
    stored.restorePreStatus(Cdb_usr_info()); // versions hold what is stored, not run-time state
    {
        const std::scoped_lock lock(impl.configMutex);
        if (!Impl::transact(impl.config.get(), ("user " + name).c_str(),
                            [&stored](DbConnection& db) { return localUsersTable().set(db, &stored); }))
            return kDbFailed;
        Impl::Users::Builder builder(impl.users.get());
        builder.set(name, stored);
        impl.users.put(builder.finish());
    }
    impl.tell({Edb_table::LocalUsers, name});
    return kDbOk;
}

unsigned Cdb_fac_mgr::DbDelUsrInfo(const char* user)
{
    Impl& impl = *_impl;
    Cdb_usr_info record;
    if (!setKey(record.usrName, user))
        return kDbFailed;
    {
        const std::scoped_lock lock(impl.configMutex);
        if (!Impl::transact(impl.config.get(), (std::string("the removal of user ") + user).c_str(),
                            [&record](DbConnection& db) { return localUsersTable().del(db, &record); }))
            return kDbFailed;
        Impl::Users::Builder builder(impl.users.get());
        builder.erase(user);
        impl.users.put(builder.finish());
    }
    if (!impl.hasListeners()) {
        // Without a server in this process nobody else would remove them.
        Cdb_user_bindings none;
        none.userName = user;
        (void)DbWriteRegistrations({none});
    }
    impl.tell({Edb_table::LocalUsers, user, true});
    return kDbOk;
}

unsigned Cdb_fac_mgr::DbIsLocalUser(const char* user)
{
    return user != nullptr && _impl->users.get()->find(user) ? kDbHas : 0;
}

unsigned Cdb_fac_mgr::DbGetUsrCnt()
{
    return static_cast<unsigned>(_impl->users.get()->size());
}

unsigned Cdb_fac_mgr::DbAddUserMany(unsigned start, unsigned total, const char* password)
{
    Impl& impl = *_impl;
    const std::string_view secret = password == nullptr ? "" : password;
    if (total == 0 || total > kMaxAddMany || secret.size() >= sizeof Cdb_usr_info::password)
        return kDbFailed;
    {
        const std::scoped_lock lock(impl.configMutex);
        const auto existing = impl.users.get();
        std::vector<Cdb_usr_info> added;
        if (!makeUsers(start, total, secret, *existing, added))
            return kDbFailed;
        const auto addAll = [&added](DbConnection& db) {
            for (const Cdb_usr_info& user : added)
                if (!localUsersTable().set(db, &user))
                    return false;
            return true;
        };
        if (!Impl::transact(impl.config.get(), "many users", addAll))
            return kDbFailed;
        Impl::Users::Builder builder(existing);
        for (const Cdb_usr_info& user : added)
            builder.set(BclFieldText(user.usrName), user);
        impl.users.put(builder.finish());
    }
    impl.tell({Edb_table::LocalUsers, {}});
    return kDbOk;
}

Cdb_sys_tbl* Cdb_fac_mgr::DbGetSysTbl()
{
    return _impl->systemRecord.get();
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
    }
    impl.tell({Edb_table::System, {}});
    return kDbOk;
}

const SnapshotBox<Snapshot<Cdb_usr_info>>& Cdb_fac_mgr::users() const
{
    return _impl->users;
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
        if (clearContacts == nullptr || clearRow == nullptr)
            return false;
        for (const Cdb_user_bindings& user : changes) {
            clearContacts->reset();
            clearContacts->bindText(1, user.userName);
            if (!clearContacts->stepDone())
                return false;
            for (const Cdb_sip_contact& contact : user.contacts)
                if (!contactsTable().set(db, &contact))
                    return false;
            if (user.hasRow) {
                if (!registrationsTable().set(db, &user.row))
                    return false;
                continue;
            }
            clearRow->reset();
            clearRow->bindText(1, user.userName);
            if (!clearRow->stepDone())
                return false;
        }
        clearContacts->reset();
        clearRow->reset();
        return true;
    };
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
