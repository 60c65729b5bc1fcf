// Reads rows of the store with a cursor that lives no longer than the read. A statement that fails has no rows.
#pragma once

#include "cachedb2/local_db.h"
#include "dbproxy2/results.h"

#include <cstdint>

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
