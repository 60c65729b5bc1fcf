#include "store_files.h"

#include "bcl2/date.h"
#include "bcl2/log.h"
#include "line_state.h"
#include "schema.h"
#include "tables.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

constexpr std::array<const char*, 2> kCompanions = {"-wal", "-shm"}; // what the engine keeps beside a file

// A power cut must not lose what was acknowledged.
constexpr const char* kConfigPragmas = "pragma journal_mode=wal; pragma synchronous=full; pragma trusted_schema=off";
// Registrations come again by themselves: a power cut may lose the last ones, a killed process may not.
constexpr const char* kRuntimePragmas = "pragma journal_mode=wal; pragma synchronous=normal; pragma trusted_schema=off";

struct Attempt {
    std::unique_ptr<DbConnection> db;
    const char* aside = nullptr; // the word for a file that must make room, null when it may stay
    std::string reason;
};

// False with a reason: the check found something; false without one: it could not be made.
bool passes(DbConnection& db, const char* pragma, std::string& reason)
{
    DbStatement* check = db.cached(pragma);
    if (check == nullptr || !check->stepRow())
        return false;
    const std::string_view verdict = check->text(0);
    const bool isSound = verdict == "ok";
    if (!isSound)
        reason = verdict;
    check->reset();
    return isSound;
}

// As above. The engine's check also blames the file for pages that the disk did not give.
bool isStructureSound(DbConnection& db, std::string& reason, const char* pragma = "pragma quick_check(1)")
{
    if (passes(db, pragma, reason))
        return true;
    if (reason.empty())
        return false;
    reason.clear();
    return db.canReadEveryPage() && passes(db, pragma, reason);
}

std::string countOf(const Table& table)
{
    return "select count(*) from (" + table.selectAll() + ")";
}

bool hasRuntimeTables(DbConnection& db)
{
    const std::vector<const Table*> tables = runtimeTables();
    return std::all_of(tables.begin(), tables.end(),
                       [&db](const Table* table) { return db.number(countOf(*table), -1) >= 0; });
}

bool makeRuntimeTables(DbConnection& db)
{
    const std::vector<const Table*> tables = runtimeTables();
    return std::all_of(tables.begin(), tables.end(),
                       [&db](const Table* table) { return db.exec(table->createStatement("runtime")); });
}

// False: the attempt says why the older file is not to be migrated.
bool isSavedBeforeMigration(const std::string& path, Attempt& attempt)
{
    // A damaged file goes aside; only a whole one is worth a backup. The check is that of the backup.
    if (!isStructureSound(*attempt.db, attempt.reason, "pragma integrity_check(1)")) {
        if (!attempt.reason.empty() || attempt.db->fault() == DbFault::Damaged)
            attempt.aside = "damaged";
        return false;
    }
    const BackupResult backup = makeBackup(configBackups(path), [] { return true; });
    if (backup.file.empty()) {
        attempt.reason = "an older version of the program wrote it, and no backup can be made before it is changed: " +
                         backup.reason;
        return false;
    }
    BclLog("A backup was made before the configuration store is changed for this version: %s.", backup.file.c_str());
    return true;
}

// What a file that was not opened must make room for, if it must.
void explain(const DbConnection& db, SchemaState state, Attempt& attempt)
{
    if (state == SchemaState::Newer) {
        attempt.reason = "a newer version of the program wrote it";
        attempt.aside = "newer";
    } else if (state == SchemaState::Foreign) {
        attempt.reason = "another program wrote it";
        attempt.aside = "foreign";
    } else if (attempt.reason.empty()) {
        attempt.reason = db.reason();
        if (db.fault() == DbFault::Damaged)
            attempt.aside = "damaged";
    }
}

Attempt tryConfig(const std::string& path, const std::function<bool(DbConnection&)>& load)
{
    Attempt attempt;
    attempt.db = DbConnection::open(path, DbConnection::Mode::Writer, attempt.reason);
    if (!attempt.db)
        return attempt;

    DbConnection& db = *attempt.db;
    SchemaState state = SchemaState::Failed;
    if (db.exec(kConfigPragmas))
        state = prepareConfig(db, configMigrations(), kConfigVersion,
                              [&] { return isSavedBeforeMigration(path, attempt); });
    if (state == SchemaState::Ready) {
        // Structure first: a page that the load does not touch would otherwise fail at the first write to it.
        if (!isStructureSound(db, attempt.reason))
            attempt.aside = attempt.reason.empty() ? nullptr : "damaged";
        else if (load(db))
            return attempt;
    }

    explain(db, state, attempt);
    attempt.db.reset();
    return attempt;
}

// The structure is not checked: the file grows for years. A write that meets damage tells of it.
Attempt tryCallDetails(const std::string& path, int64_t& lastId)
{
    Attempt attempt;
    attempt.db = DbConnection::open(path, DbConnection::Mode::Writer, attempt.reason);
    if (!attempt.db)
        return attempt;

    DbConnection& db = *attempt.db;
    SchemaState state = SchemaState::Failed;
    if (db.exec(kConfigPragmas))
        state = prepareCallDetails(db);
    if (state == SchemaState::Ready) {
        lastId = db.number("select coalesce(max(id), 0) from " + callDetailsTable().name(), -1);
        if (lastId >= 0)
            return attempt;
    }
    explain(db, state, attempt);
    attempt.db.reset();
    return attempt;
}

Attempt tryRuntime(const std::string& path)
{
    Attempt attempt;
    attempt.db = DbConnection::open(path, DbConnection::Mode::Writer, attempt.reason);
    if (!attempt.db)
        return attempt;

    DbConnection& db = *attempt.db;
    bool isSound = db.exec(kRuntimePragmas) && prepareRuntime(db);
    // Every page is read once: the tables are small.
    isSound = isSound && isStructureSound(db, attempt.reason) && hasRuntimeTables(db);
    if (isSound)
        return attempt;
    if (db.fault() == DbFault::System)
        attempt.reason = db.reason();
    else
        attempt.aside = "damaged"; // broken, or of another version
    attempt.db.reset();
    return attempt;
}

} // namespace

std::string keepAside(const std::string& path, const char* word)
{
    Cbcl_tmp_str stamp;
    BclGetDateTimeStr(BclGetCurrTimestamp(), stamp);
    std::string digits(stamp.view());
    std::replace(digits.begin(), digits.end(), ' ', '-');
    std::erase(digits, ':');

    const std::string base = path + "." + word + "-" + digits;
    std::string target = base;
    for (int i = 2; access(target.c_str(), F_OK) == 0 && i < 1000; ++i)
        target = base + "-" + std::to_string(i);
    if (rename(path.c_str(), target.c_str()) != 0)
        return {};
    for (const char* companion : kCompanions)
        (void)rename((path + companion).c_str(), (target + companion).c_str()); // often not there
    return target;
}

BackupPlan configBackups(const std::string& path)
{
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    return {.path = path, .folder = folder + "backups/", .name = "config", .applicationId = kApplicationId};
}

std::unique_ptr<DbConnection> openConfigFile(const std::string& path, const std::function<bool(DbConnection&)>& load)
{
    Attempt attempt = tryConfig(path, load);
    if (attempt.db)
        return std::move(attempt.db);
    if (attempt.aside == nullptr) {
        BclLog("The configuration store %s cannot be opened: %s. Nothing can be stored until this is mended and the "
               "program is started again.",
               path.c_str(), attempt.reason.c_str());
        return nullptr;
    }
    const std::string kept = keepAside(path, attempt.aside);
    if (kept.empty()) {
        BclLog("The configuration store %s cannot be used (%s) and cannot be renamed: %s. It is left as it is.",
               path.c_str(), attempt.reason.c_str(), std::strerror(errno));
        return nullptr;
    }
    BclLog("The configuration store %s cannot be used (%s). It is kept as %s; a new, empty store is started.",
           path.c_str(), attempt.reason.c_str(), kept.c_str());
    attempt = tryConfig(path, load);
    if (!attempt.db)
        BclLog("The new configuration store %s cannot be made: %s.", path.c_str(), attempt.reason.c_str());
    return std::move(attempt.db);
}

bool keepCallDetailsAside(const std::string& path, const char* word, std::string& reason)
{
    const std::string kept = keepAside(path, word);
    if (kept.empty()) {
        reason += "; it cannot be renamed: " + std::string(std::strerror(errno));
        return false;
    }
    BclLog("The file %s of call records cannot be used (%s). It is kept as %s; a new, empty one is started.",
           path.c_str(), reason.c_str(), kept.c_str());
    return true;
}

std::unique_ptr<DbConnection> openCallDetailsFile(const std::string& path, int64_t& lastId, std::string& reason)
{
    Attempt attempt = tryCallDetails(path, lastId);
    if (attempt.aside != nullptr && keepCallDetailsAside(path, attempt.aside, attempt.reason))
        attempt = tryCallDetails(path, lastId);
    reason = attempt.reason;
    return std::move(attempt.db);
}

std::unique_ptr<DbConnection> openRuntimeFile(const std::string& path)
{
    Attempt attempt = tryRuntime(path);
    if (attempt.aside != nullptr) {
        // Telephones register again within the hour, so a broken file is not worth keeping.
        for (const char* companion : kCompanions)
            (void)unlink((path + companion).c_str());
        (void)unlink(path.c_str());
        attempt = tryRuntime(path);
        if (attempt.db)
            BclLog("The file %s of registrations was damaged and has been made anew.", path.c_str());
    }
    if (!attempt.db)
        BclLog("The file %s of registrations cannot be used: %s. Registrations will not outlive this run.",
               path.c_str(), attempt.reason.c_str());
    return std::move(attempt.db);
}

std::unique_ptr<DbConnection> openReader(const std::string& path)
{
    std::string reason;
    auto db = DbConnection::open(path, DbConnection::Mode::Reader, reason);
    return db && db->lockForReading() ? std::move(db) : nullptr;
}

std::unique_ptr<DbConnection> openPageReader(const std::string& path, const std::string& runtimePath)
{
    std::string reason;
    auto db = DbConnection::open(path, DbConnection::Mode::Reader, reason);
    if (!db)
        return nullptr;
    bool isAttached = db->attach(runtimePath, "runtime");
    if (isAttached && !hasRuntimeTables(*db)) {
        isAttached = false;
        (void)db->exec("detach database runtime");
    }
    // Without its tables the pages of the console would not be read at all.
    isAttached = isAttached || (db->attach(":memory:", "runtime") && makeRuntimeTables(*db));
    return isAttached && db->exec(extLineViewStatement()) && db->lockForReading() ? std::move(db) : nullptr;
}
