#include "common/read_rows.h"

uint32_t countRows(Clocal_db* db, const char* sql)
{
    Cdb_query query(db);
    return query.query(Cbcl_tmp_str(sql)) == kDbRow ? query.getRowU32Val(0) : 0;
}

uint32_t countRemoteRows(Cdb_fac_mgr* store, const char* sql)
{
    Cdba_proxy rows(store);
    return rows.query(sql) == kDbOk && rows.fetchRow() == kDbOk ? rows.getRowU32Val(0) : 0;
}
