#include "schema.h"

#include "tables.h"

namespace {

template <class... Records>
std::vector<const Table*> tablesOf(std::type_identity<std::tuple<Records...>>)
{
    return {&tableOf<Records>()...};
}

bool create(DbConnection& db, const std::vector<const Table*>& tables, int version, int applicationId = kApplicationId)
{
    if (!db.exec("begin immediate"))
        return false;
    bool isGood = true;
    for (const Table* table : tables)
        isGood = isGood && db.exec(table->createStatement());
    isGood = isGood && db.exec("pragma application_id=" + std::to_string(applicationId)) &&
             db.exec("pragma user_version=" + std::to_string(version)) && db.exec("commit");
    if (!isGood)
        db.rollBack();
    return isGood;
}

bool migrate(DbConnection& db, std::span<const Migration> steps, int version)
{
    for (const Migration& step : steps) {
        if (step.to <= version)
            continue;
        if (!db.exec("begin immediate"))
            return false;
        if (!db.exec(step.sql) || !db.exec("pragma user_version=" + std::to_string(step.to)) || !db.exec("commit")) {
            db.rollBack();
            return false;
        }
        version = step.to;
    }
    return true;
}

// -1: the file cannot be read.
int64_t userVersion(DbConnection& db)
{
    return db.number("pragma user_version", -1);
}

bool isEmpty(DbConnection& db)
{
    return db.number("select count(*) from sqlite_master", -1) == 0;
}

} // namespace

std::vector<const Table*> configTables()
{
    std::vector<const Table*> tables = tablesOf(std::type_identity<VersionedRecords>());
    tables.push_back(&systemTable());
    return tables;
}

std::vector<const Table*> runtimeTables()
{
    return {&registrationsTable(), &contactsTable(), &extLineStatesTable()};
}

SchemaState prepareConfig(DbConnection& db, std::span<const Migration> steps, int wanted,
                          const std::function<bool()>& mayMigrate)
{
    const int64_t version = userVersion(db);
    if (version < 0)
        return SchemaState::Failed;
    if (isEmpty(db))
        return create(db, configTables(), wanted) ? SchemaState::Ready : SchemaState::Failed;
    if (db.number("pragma application_id", 0) != kApplicationId)
        return db.fault() == DbFault::None ? SchemaState::Foreign : SchemaState::Failed;
    if (version > wanted)
        return SchemaState::Newer;
    if (version < wanted && !mayMigrate())
        return SchemaState::Kept;
    return migrate(db, steps, static_cast<int>(version)) ? SchemaState::Ready : SchemaState::Failed;
}

bool prepareRuntime(DbConnection& db)
{
    const int64_t version = userVersion(db);
    if (version < 0)
        return false;
    if (isEmpty(db))
        return create(db, runtimeTables(), kRuntimeVersion);
    return version <= kRuntimeVersion && db.number("pragma application_id", 0) == kApplicationId &&
           migrate(db, runtimeMigrations(), static_cast<int>(version));
}

SchemaState prepareCallDetails(DbConnection& db)
{
    const int64_t version = userVersion(db);
    if (version < 0)
        return SchemaState::Failed;
    if (isEmpty(db))
        return create(db, {&callDetailsTable()}, kCallDetailsVersion, kCallDetailsApplicationId) ? SchemaState::Ready
                                                                                                 : SchemaState::Failed;
    if (db.number("pragma application_id", 0) != kCallDetailsApplicationId)
        return db.fault() == DbFault::None ? SchemaState::Foreign : SchemaState::Failed;
    return version > kCallDetailsVersion ? SchemaState::Newer : SchemaState::Ready;
}
