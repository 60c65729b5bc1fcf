// Rows of a page as records.
#pragma once

#include "cachedb2/local_db.h"
#include "table.h"

// The current row of a `select *` of the record's table. Without a row, or with fewer columns, the record stays as it
// is.
template <class Record>
void mapRow(const Cdb_query& query, Record* record)
{
    if (record != nullptr)
        (void)query.mapRow(tableOf<Record>(), record);
}
