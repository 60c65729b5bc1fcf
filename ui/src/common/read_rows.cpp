#include "common/read_rows.h"

uint32_t countRows(Clocal_db* db, const char* sql)
{
    Cdb_query query(db);
    return query.query(Cbcl_tmp_str(sql)) == kDbRow ? query.getRowU32Val(0) : 0;
}
