// What is behind the facade: the writers, the newest version of each table, and the operations that all records share.
#pragma once

#include "bcl2/log.h"
#include "bcl2/number.h"
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "tables.h"

#include <cstring>
#include <mutex>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

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

// A part of a key into its field; false for a text that does not fit.
template <size_t N>
bool setKey(char (&field)[N], const char* key)
{
    if (key == nullptr || std::strlen(key) >= N)
        return false;
    BclCopyStr(field, key);
    return true;
}

inline bool setKey(Cphone_number& field, const char* key)
{
    if (key == nullptr || std::strlen(key) > Cphone_number::kBound)
        return false;
    field.SetNbr(key);
    return true;
}

inline bool setKey(uint32_t& field, unsigned key)
{
    field = key;
    return true;
}

inline bool setKey(int32_t& field, int key)
{
    field = key;
    return true;
}

// A record that holds a key only; none when a part of it does not fit.
template <class Record, auto... members, class... Parts>
std::optional<Record> keyOf(Parts... parts)
{
    Record record;
    return (setKey(record.*members, parts) && ...) ? std::optional<Record>(record) : std::nullopt;
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

struct Cdb_fac_mgr::Impl {
    // One writer a file. The two never wait for each other: telephones do not wait for the configuration.
    std::mutex configMutex;
    std::unique_ptr<DbConnection> config; // null: no store
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

    std::mutex hookMutex;
    std::function<std::string(unsigned, std::string_view)> operatorState;

    std::mutex listenerMutex;
    std::shared_ptr<const std::vector<std::function<void(const Cdb_change&)>>> listeners =
        std::make_shared<const std::vector<std::function<void(const Cdb_change&)>>>();

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
            BclLog("The store could not write %s: %s.", what.c_str(), reason.c_str());
            return false;
        }
        BclLog("The store could not write %s: %s.", what.c_str(), db->reason().c_str());
        return false;
    }

    void tell(const Cdb_change& change);
    [[nodiscard]] bool hasListeners();
    [[nodiscard]] bool load(DbConnection& db);

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
        return delWith<Record, Record>(key, [](const Record&) { return false; });
    }

    // Deletes a record, and in the same transaction those records of another table that belong to it.
    template <class Record, class Child, class Belongs>
    [[nodiscard]] unsigned delWith(const std::optional<Record>& record, Belongs&& belongs)
    {
        const Table& table = tableOf<Record>();
        if (!record || !table.isKeyValid(&*record))
            return kDbFailed;
        const std::string key = table.keyText(&*record);
        std::vector<std::pair<std::string, Child>> children;
        {
            const std::scoped_lock lock(configMutex);
            if constexpr (!std::is_same_v<Record, Child>)
                rows<Child>()->forEach([&](const std::string& childKey, const Child& child) {
                    if (belongs(child))
                        children.emplace_back(childKey, child);
                });
            const auto delAll = [&](DbConnection& db) {
                for (const auto& [childKey, child] : children)
                    // One that another process has removed is gone as it should be.
                    if (!tableOf<Child>().del(db, &child) && db.fault() != DbFault::None)
                        return false;
                return table.del(db, &*record);
            };
            if (!transact(config.get(), "the removal from " + named(table, key), delAll))
                return kDbFailed;
            if (!children.empty())
                publish<Child>([&](auto& builder) {
                    for (const auto& [childKey, child] : children)
                        builder.erase(childKey);
                });
            publish<Record>([&](auto& builder) { builder.erase(key); });
        }
        for (const auto& [childKey, child] : children)
            tell({tableOf<Child>().id(), childKey, true});
        tell({table.id(), key, true});
        return kDbOk;
    }

    // Makes the next version of a table. Caller holds the configuration's mutex.
    template <class Record, class Change>
    void publish(Change&& change)
    {
        typename Snapshot<Record>::Builder builder(rows<Record>());
        change(builder);
        box<Record>().put(builder.finish());
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
            if (!transact(config.get(), named(table, key),
                          [&](DbConnection& db) { return (table.*statement)(db, &record); }))
                return kDbFailed;
            publish<Record>([&](auto& builder) { builder.set(key, record); });
        }
        tell({table.id(), key});
        return kDbOk;
    }

    template <class Record>
    [[nodiscard]] bool loadRows(DbConnection& db)
    {
        const Table& table = tableOf<Record>();
        typename Snapshot<Record>::Builder builder(nullptr);
        Record record;
        const bool isWhole = forEachRow(db, table, [&](const DbStatement& row) {
            table.map(row, &record);
            builder.set(table.keyText(&record), record);
        });
        if (isWhole)
            box<Record>().put(builder.finish());
        return isWhole;
    }

    template <class... Records>
    [[nodiscard]] bool loadAll(DbConnection& db, std::type_identity<std::tuple<Records...>>)
    {
        return (loadRows<Records>(db) && ...);
    }

    template <class... Records>
    void clearAll(std::type_identity<std::tuple<Records...>>)
    {
        (box<Records>().put(std::make_shared<const Snapshot<Records>>()), ...);
    }

public:
    // Empty tables, for a store that cannot be read.
    void clear() { clearAll(std::type_identity<VersionedRecords>()); }
};
