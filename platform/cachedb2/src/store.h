// What is behind the facade: the writers, the newest version of each table, and the operations that all records share.
#pragma once

#include "bcl2/background.h"
#include "bcl2/log.h"
#include "bcl2/number.h"
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "dbproxy2/remote_db.h"
#include "dbsqlite/backups.h"
#include "host_lookup.h"
#include "key_parts.h"
#include "port_mapper.h"
#include "tables.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

// In the order in which the rows were added. False when the reading ended by an error.
template <class Visitor>
bool forEachRow(DbConnection& db, const Table& table, Visitor&& visit)
{
    DbStatement* statement = db.cached(table.selectAll() + " order by rowid");
    if (statement == nullptr)
        return false;
    while (statement->stepRow())
        visit(*statement);
    const bool isWhole = db.fault() == DbFault::None;
    if (isWhole)
        statement->reset();
    return isWhole;
}

template <class Record>
std::optional<Record> keyOf(const Record* record)
{
    return record == nullptr ? std::nullopt : std::optional<Record>(*record);
}

template <class Records>
struct BoxesOf;

template <class... Records>
struct BoxesOf<std::tuple<Records...>> {
    using Type = std::tuple<SnapshotBox<Snapshot<Records>>...>;
};

// A reading of the whole configuration.
struct StoreReading {
    template <class Record>
    using Rows = std::shared_ptr<const Snapshot<Record>>;
    template <class Records>
    struct RowsOf;
    template <class... Records>
    struct RowsOf<std::tuple<Records...>> {
        using Type = std::tuple<Rows<Records>...>;
    };

    RowsOf<VersionedRecords>::Type tables;
    std::optional<Cdb_sys_data> system;
};

// A change with a key of its own.
struct StoredChange {
    Edb_table table;
    std::string key;
    bool isRemoval;
};

struct Cdb_fac_mgr::Impl {
    // One writer a file. The two never wait for each other: telephones do not wait for the configuration.
    std::mutex configMutex;
    std::unique_ptr<DbConnection> config; // null: no store
    uint64_t ownWrites = 0;               // grows with each version that this process makes
    int64_t knownState = 0;               // of the file: what the versions hold, or what this process has written since
    std::mutex runtimeMutex;
    std::unique_ptr<DbConnection> runtime; // null: registrations are not kept
    // For the state of single users and lines: who asks for it does not wait for a batch that is being written.
    std::mutex stateMutex;
    std::unique_ptr<DbConnection> stateReader; // null as `runtime`

    std::unique_ptr<Clocal_db> cacheDb;
    std::unique_ptr<Clocal_db> localDb;

    BoxesOf<VersionedRecords>::Type boxes;
    SnapshotBox<Cdb_sys_data> system;
    std::unique_ptr<Cdb_sys_tbl> systemRecord;
    std::atomic<bool> isSystemForeign = false; // `systemRecord` is older than what another process has saved

    std::unique_ptr<DbConnection> followReader; // the follower's, as the next one
    bool isFollowFailing = false;

    std::mutex remoteMutex;             // for its settings: the newest ones last
    std::unique_ptr<Cdb_remote> remote; // null: no store

    std::mutex hookMutex;
    std::function<std::string(unsigned, std::string_view)> operatorState;

    std::mutex listenerMutex;
    std::shared_ptr<const std::vector<std::function<void(const Cdb_change&)>>> listeners =
        std::make_shared<const std::vector<std::function<void(const Cdb_change&)>>>();

    std::unique_ptr<DailyBackup> backups; // null: no store

    template <class Record>
    [[nodiscard]] auto& box()
    {
        return std::get<SnapshotBox<Snapshot<Record>>>(boxes);
    }
    template <class Record>
    [[nodiscard]] auto rows()
    {
        return box<Record>().get();
    }

    // One transaction on a file; `what` names it in the log line of a failure. Caller holds the file's mutex.
    template <class Body>
    static bool transact(DbConnection* db, const std::string& what, Body&& body)
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
            db->dropFailedCommit();
            BclLog("The store could not write %s: %s.", what.c_str(), reason.c_str());
            return false;
        }
        BclLog("The store could not write %s: %s.", what.c_str(), db->reason().c_str());
        return false;
    }

    void tell(const Cdb_change& change);
    void applyRemote(); // the newest settings
    [[nodiscard]] bool hasListeners();
    // At the start.
    [[nodiscard]] bool load(DbConnection& db);
    // Follows what another process has written. The follower's thread.
    void follow();

    // The record whose key is set.
    template <class Record>
    [[nodiscard]] unsigned get(Record& record)
    {
        const auto found = find(record);
        if (!found)
            return kDbFailed;
        record = *found;
        return kDbOk;
    }

    template <class Record>
    [[nodiscard]] unsigned get(Record* record)
    {
        return record == nullptr ? kDbFailed : get(*record);
    }

    template <class Record>
    [[nodiscard]] unsigned has(const std::optional<Record>& key)
    {
        return key && find(*key) ? kDbHas : 0;
    }

    template <class Record>
    [[nodiscard]] unsigned count()
    {
        return static_cast<unsigned>(rows<Record>()->size());
    }

    template <class Record>
    [[nodiscard]] unsigned set(const Record& record)
    {
        return write(record, &Table::set);
    }

    template <class Record>
    [[nodiscard]] unsigned add(const Record& record)
    {
        return write(record, &Table::add);
    }

    template <class Record>
    [[nodiscard]] unsigned update(const Record& record)
    {
        return write(record, &Table::update);
    }

    template <class Record>
    [[nodiscard]] unsigned del(const std::optional<Record>& key)
    {
        const auto nothing = [](DbConnection&) { return true; };
        if (!delWith(key, nothing, [] {}))
            return kDbFailed;
        tellGone(*key);
        return kDbOk;
    }

    // Deletes a record, and in the same transaction every record of another table that names it in `column`.
    template <auto owner, class Record>
    [[nodiscard]] unsigned delWithOwned(const std::optional<Record>& key, const char* column, uint32_t ownerKey)
    {
        using Owned = decltype(recordOf(owner));
        const Table& owned = tableOf<Owned>();
        std::vector<std::string> gone;
        const auto delOwned = [&](DbConnection& db) { return owned.delWhere(db, column, ownerKey); };
        const auto forget = [&] {
            rows<Owned>()->forEach([&](const std::string& ownedKey, const Owned& record) {
                if (record.*owner == ownerKey)
                    gone.push_back(ownedKey);
            });
            if (!gone.empty())
                publish<Owned>([&gone](auto& builder) {
                    for (const std::string& ownedKey : gone)
                        builder.erase(ownedKey);
                });
        };
        if (!delWith(key, delOwned, forget))
            return kDbFailed;
        for (const std::string& ownedKey : gone)
            tell({owned.id(), ownedKey, true});
        tellGone(*key);
        return kDbOk;
    }

    // Changes a record that every store has; until it is stored it is as a new one.
    template <class Record, class Change>
    [[nodiscard]] unsigned change(Change&& change)
    {
        Record record;
        const std::string key = tableOf<Record>().keyText(&record);
        {
            const std::scoped_lock lock(configMutex);
            if (const auto stored = rows<Record>()->find(key))
                record = *stored;
            change(record);
            if (!store(record, key, &Table::set))
                return kDbFailed;
        }
        tell({tableOf<Record>().id(), key});
        return kDbOk;
    }

    // Makes the next version of a table. Caller holds the configuration's mutex.
    template <class Record, class Change>
    void publish(Change&& change)
    {
        typename Snapshot<Record>::Builder builder(rows<Record>());
        change(builder);
        box<Record>().put(builder.finish());
        ++ownWrites;
    }

    // A run-time record of a line or user, its key set.
    template <class Record>
    [[nodiscard]] bool readState(const Table& table, Record& record)
    {
        const std::scoped_lock lock(stateMutex);
        return stateReader && table.get(*stateReader, &record);
    }

private:
    template <class Record>
    [[nodiscard]] std::shared_ptr<const Record> find(const Record& record)
    {
        const Table& table = tableOf<Record>();
        return table.isKeyValid(&record) ? rows<Record>()->find(table.keyText(&record)) : nullptr;
    }

    static std::string named(const Table& table, const std::string& key)
    {
        return table.name() + " (" + BclPrintable(key) + ")";
    }

    // One transaction, and the next version. Caller holds the configuration's mutex.
    template <class Record>
    [[nodiscard]] bool store(const Record& record, const std::string& key,
                             bool (Table::*statement)(DbConnection&, const void*) const)
    {
        const Table& table = tableOf<Record>();
        if (!transact(config.get(), named(table, key),
                      [&](DbConnection& db) { return (table.*statement)(db, &record); }))
            return false;
        publish<Record>([&](auto& builder) { builder.set(key, record); });
        return true;
    }

    // `before` runs in the transaction, `after` when it is on disk.
    template <class Record, class Before, class After>
    [[nodiscard]] bool delWith(const std::optional<Record>& record, Before&& before, After&& after)
    {
        const Table& table = tableOf<Record>();
        if (!record || !table.isKeyValid(&*record))
            return false;
        const std::string key = table.keyText(&*record);
        const std::scoped_lock lock(configMutex);
        if (!transact(config.get(), "the removal from " + named(table, key),
                      [&](DbConnection& db) { return before(db) && table.del(db, &*record); }))
            return false;
        after();
        publish<Record>([&](auto& builder) { builder.erase(key); });
        return true;
    }

    template <class Record>
    void tellGone(const Record& record)
    {
        const Table& table = tableOf<Record>();
        tell({table.id(), table.keyText(&record), true});
    }

    template <class Record>
    [[nodiscard]] unsigned write(Record record, bool (Table::*statement)(DbConnection&, const void*) const)
    {
        const Table& table = tableOf<Record>();
        if (!table.isKeyValid(&record))
            return kDbFailed;
        table.normalise(&record);
        const std::string key = table.keyText(&record);
        {
            const std::scoped_lock lock(configMutex);
            if (!store(record, key, statement))
                return kDbFailed;
        }
        tell({table.id(), key});
        return kDbOk;
    }

    template <class Record>
    [[nodiscard]] static bool readRows(DbConnection& db, StoreReading::Rows<Record>& rows)
    {
        const Table& table = tableOf<Record>();
        typename Snapshot<Record>::Builder builder(nullptr);
        Record record;
        const bool isWhole = forEachRow(db, table, [&](const DbStatement& row) {
            table.map(row, &record);
            builder.set(table.keyText(&record), record);
        });
        rows = builder.finish();
        return isWhole;
    }

    [[nodiscard]] static bool read(DbConnection& db, StoreReading& reading);
    [[nodiscard]] bool isCurrent(uint64_t writes, int64_t state);
    [[nodiscard]] std::vector<StoredChange> takeForeign(const StoreReading& reading);

    // Takes over a table that another process has changed. Caller holds the configuration's mutex.
    template <class Record>
    void takeForeignRows(const StoreReading::Rows<Record>& next, std::vector<StoredChange>& changes)
    {
        constexpr size_t kSingleChanges = 100; // with more, "many" says it in less time
        const Table& table = tableOf<Record>();
        const auto before = rows<Record>();
        std::vector<StoredChange> changed;
        next->forEach([&](const std::string& key, const Record& record) {
            const auto known = before->find(key);
            if (!known || !areFieldsEqual(table.fields(), &record, known.get()))
                changed.push_back({table.id(), key, false});
        });
        const bool isMany = changed.size() > kSingleChanges;
        const bool hasNews = !changed.empty();
        if (isMany)
            changed = {{table.id(), {}, false}};
        const size_t known = changes.size();
        before->forEach([&](const std::string& key, const Record&) {
            if (!next->find(key))
                changes.push_back({table.id(), key, true});
        });
        if (!hasNews && changes.size() == known)
            return;
        changes.insert(changes.end(), changed.begin(), changed.end());
        box<Record>().put(next);
    }

    template <class... Records>
    void clearAll(std::type_identity<std::tuple<Records...>>)
    {
        (box<Records>().put(std::make_shared<const Snapshot<Records>>()), ...);
    }

public:
    // Empty tables, for a store that cannot be read.
    void clear() { clearAll(std::type_identity<VersionedRecords>()); }

    Cbcl_latest<std::vector<HostUse>> hostLookup{
        "host names",
        [](const std::vector<HostUse>* hosts, const auto& isStale) { return lookUpHosts(*hosts, isStale); }};
    std::unique_ptr<Cbcl_latest<MappedPorts>> portMapper;

    // Last: its thread uses all of the above.
    std::unique_ptr<Cbcl_ticker> follower;
};
