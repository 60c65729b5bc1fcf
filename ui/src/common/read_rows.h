// Reads rows of the store, and of its remote database, with a cursor that lives no longer than the read. A statement
// that fails has no rows.
#pragma once

#include "cachedb2/local_db.h"
#include "cachedb2/remote_tables.h"
#include "dbproxy2/results.h"

#include <cstdint>
#include <utility>

// Calls `take(const Cdb_query&)` on every row.
template <class Take>
void forEachRow(Clocal_db* db, const char* sql, Take take)
{
    Cdb_query query(db);
    if (query.prepare(sql) != kDbOk)
        return;
    while (query.step() == kDbRow)
        take(query);
}

// The same with rows mapped into records: `map` is one of the store's row mappers.
template <class Record, class Take>
void forEachRecord(Clocal_db* db, const char* sql, void (*map)(const Cdb_query&, Record*), Take take)
{
    forEachRow(db, sql, [map, &take](const Cdb_query& row) {
        Record record;
        map(row, &record);
        take(record);
    });
}

// The number that the statement counts; 0 when it fails.
[[nodiscard]] uint32_t countRows(Clocal_db* db, const char* sql);

// The same of the remote database: calls `take(const Cdb_proxy&)` on every row.
template <class Take>
void forEachRemoteRow(Cdb_fac_mgr* store, const char* sql, Take take)
{
    Cdba_proxy rows(store);
    if (rows.query(sql) != kDbOk)
        return;
    while (rows.fetchRow() == kDbOk)
        take(std::as_const(rows));
}

[[nodiscard]] uint32_t countRemoteRows(Cdb_fac_mgr* store, const char* sql);
