#include "cachedb2/store_content.h"

#include "dbsqlite/connection.h"
#include "tables.h"

namespace {

template <class Record>
std::string bytesOf(const Record& record)
{
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

template <class Record>
std::string nameOf(const Table& table, const Record& record)
{
    return table.name() + " " + table.keyText(&record);
}

template <class Record>
bool readRows(DbConnection& db, const Table& table, StoreContent& content)
{
    DbStatement* rows = db.cached(table.selectAll());
    if (rows == nullptr)
        return false;
    while (rows->stepRow()) {
        Record record;
        table.map(*rows, &record);
        content[nameOf(table, record)] = bytesOf(record);
    }
    const bool isWhole = db.fault() == DbFault::None;
    rows->reset();
    return isWhole;
}

template <class... Records>
bool readAll(DbConnection& db, StoreContent& content, std::type_identity<std::tuple<Records...>>)
{
    return (readRows<Records>(db, tableOf<Records>(), content) && ...);
}

template <class Record>
void collect(Cdb_fac_mgr& store, StoreContent& content)
{
    store.rows<Record>().get()->forEach([&](const std::string&, const Record& record) {
        content[nameOf(tableOf<Record>(), record)] = bytesOf(record);
    });
}

template <class... Records>
void collectAll(Cdb_fac_mgr& store, StoreContent& content, std::type_identity<std::tuple<Records...>>)
{
    (collect<Records>(store, content), ...);
}

} // namespace

StoreContent contentOf(Cdb_fac_mgr& store)
{
    StoreContent content;
    collectAll(store, content, std::type_identity<VersionedRecords>());
    const auto system = store.system().get();
    content[nameOf(systemTable(), *system)] = bytesOf(*system);
    return content;
}

StoreContent contentOf(const std::filesystem::path& configFile)
{
    std::string reason;
    StoreContent content;
    const auto db = DbConnection::open(configFile.string(), DbConnection::Mode::Reader, reason);
    if (!db)
        return {{"cannot be opened", reason}};
    // One moment of all tables.
    const bool isWhole = db->exec("begin") && readAll(*db, content, std::type_identity<VersionedRecords>()) &&
                         readRows<Cdb_sys_data>(*db, systemTable(), content);
    if (!isWhole)
        return {{"cannot be read", db->reason()}};
    return content;
}

StoreContent contentAfterDeath(const std::filesystem::path& configFile, const std::filesystem::path& folder)
{
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    const std::filesystem::path copy = folder / configFile.filename();
    for (const char* companion : {"", "-wal"})
        if (std::filesystem::exists(configFile.string() + companion))
            std::filesystem::copy_file(configFile.string() + companion, copy.string() + companion);
    return contentOf(copy);
}
