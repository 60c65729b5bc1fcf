// Reading the configuration: at the start, and again when another process has written to the file.
#include "bcl2/log.h"
#include "store.h"

#include <utility>

namespace {

// After that many readings in a row that a write of this process has overtaken, writing waits for the next one. They
// are only overtaken when the store is large and is written to all the time.
constexpr int kReadings = 20;

// Grows when another connection commits, not with what is written through this one.
int64_t stateOf(DbConnection& db, int64_t fallback)
{
    return db.number("pragma data_version", fallback);
}

} // namespace

bool Cdb_fac_mgr::Impl::read(DbConnection& db, StoreReading& reading)
{
    const bool isWhole = std::apply([&db](auto&... rows) { return (readRows(db, rows) && ...); }, reading.tables);
    if (!isWhole)
        return false;
    Cdb_sys_data system;
    if (systemTable().get(db, &system))
        reading.system = system;
    return db.fault() == DbFault::None;
}

bool Cdb_fac_mgr::Impl::load(DbConnection& db)
{
    const int64_t state = stateOf(db, 0); // before the reading: what comes in between is read twice rather than never
    StoreReading reading;
    if (!read(db, reading))
        return false;
    const Cdb_sys_data fresh;
    if (!reading.system && !(db.exec("begin immediate") && systemTable().set(db, &fresh) && db.exec("commit")))
        return false;
    const auto take = [this]<class Record>(const std::shared_ptr<const Snapshot<Record>>& rows) {
        box<Record>().put(rows);
    };
    std::apply([&take](const auto&... rows) { (take(rows), ...); }, reading.tables);
    system.put(std::make_shared<const Cdb_sys_data>(reading.system.value_or(fresh)));
    knownState = state;
    return true;
}

// Caller holds the configuration's mutex.
bool Cdb_fac_mgr::Impl::isCurrent(uint64_t writes, int64_t state)
{
    return ownWrites == writes && stateOf(*config, state) == state;
}

std::vector<StoredChange> Cdb_fac_mgr::Impl::takeForeign(const StoreReading& reading)
{
    std::vector<StoredChange> changes;
    std::apply([&](const auto&... rows) { (takeForeignRows(rows, changes), ...); }, reading.tables);
    // Without a system record the one that is served goes on.
    if (reading.system && !areFieldsEqual(systemTable().fields(), &*reading.system, system.get().get())) {
        system.put(std::make_shared<const Cdb_sys_data>(*reading.system));
        isSystemForeign = true;
        changes.push_back({Edb_table::System, {}, false});
    }
    return changes;
}

void Cdb_fac_mgr::Impl::follow()
{
    uint64_t writes = 0;
    int64_t state = 0;
    {
        const std::scoped_lock lock(configMutex);
        state = stateOf(*config, knownState);
        if (state == knownState)
            return;
        writes = ownWrites;
    }
    const auto endReading = [this] {
        if (followReader)
            (void)followReader->exec("rollback");
    };
    std::vector<StoredChange> changes;
    bool isTaken = false;
    for (int round = 1; !isTaken; ++round) {
        std::unique_lock lock(configMutex, std::defer_lock);
        const bool isLast = round >= kReadings;
        if (isLast)
            lock.lock();
        StoreReading reading;
        const bool isWhole = followReader && followReader->exec("begin") && read(*followReader, reading);
        if (!isWhole) {
            if (!std::exchange(isFollowFailing, true))
                BclLog("The store was changed by another process and cannot be read: %s.",
                       followReader ? followReader->reason().c_str() : "the file could not be opened");
            endReading();
            return; // the next tick tries again
        }
        endReading();
        isFollowFailing = false;
        if (!isLast)
            lock.lock();
        isTaken = isLast || isCurrent(writes, state);
        if (isTaken) {
            changes = takeForeign(reading);
            knownState = state;
        } else {
            state = stateOf(*config, state);
            writes = ownWrites;
        }
    }
    for (const StoredChange& change : changes)
        tell({change.table, change.key, change.isRemoval});
}
