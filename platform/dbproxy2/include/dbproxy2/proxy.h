// Pages of the remote database.
#pragma once

#include "bcl2/tmp_str.h"

#include <cstdint>
#include <memory>
#include <string>

class Cdb_remote;
struct SqlRows;

// A result set: a local object of the function that reads. One thread.
class Cdb_proxy {
public:
    // A null database is allowed; then every query fails.
    explicit Cdb_proxy(Cdb_remote* database);
    virtual ~Cdb_proxy();
    Cdb_proxy(const Cdb_proxy&) = delete;
    Cdb_proxy& operator=(const Cdb_proxy&) = delete;

    // Runs one select statement. 0: its result is held, in place of an earlier one; else none is.
    unsigned query(const char* sql);
    unsigned query(const Cbcl_buf_str& sql) { return query(sql.c_str()); }

    [[nodiscard]] unsigned getRecordsCnt() const;
    // Makes the next row current; called once before every row, the first included. 0, or 1 when there is none.
    unsigned fetchRow();

    // Columns of the current row, numbered from 0 in the order of the select list. The text is valid until the next
    // query. NULL, a column that is not there and no current row give an empty text and 0. Numbers keep the low 32 bits
    // of what is stored; texts are read as decimal numbers.
    [[nodiscard]] const char* getRow(unsigned column) const;
    [[nodiscard]] uint32_t getRowU32Val(unsigned column) const;
    [[nodiscard]] int32_t getRowIntVal(unsigned column) const;

private:
    [[nodiscard]] const std::string* cell(unsigned column) const;

    Cdb_remote* _database;
    std::unique_ptr<SqlRows> _rows; // null: no result
    size_t _fetched = 0;            // rows; the last of them is current
};
