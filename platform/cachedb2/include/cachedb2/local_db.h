// A read handle on the store and the cursor over it.
#pragma once

#include "bcl2/tmp_str.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

struct DbStatement;
class DbConnection;
class Table;

// One connection to one file of the store, with the run-time tables attached. Read-only; one thread at a time.
// Owned by the facade.
class Clocal_db {
public:
    explicit Clocal_db(std::unique_ptr<DbConnection> connection);
    ~Clocal_db();
    Clocal_db(const Clocal_db&) = delete;
    Clocal_db& operator=(const Clocal_db&) = delete;

    // Hears the text of every statement that a cursor of this handle is asked to prepare, on the thread that asks.
    using Watch = std::function<void(std::string_view sql)>;
    void watchStatements(Watch watch) { _watch = std::move(watch); }

private:
    friend class Cdb_query;
    std::unique_ptr<DbConnection> _connection; // null: the store could not be opened, every statement fails
    Watch _watch;                              // empty: nobody listens
};

// A cursor that runs one statement: a local object of the function that reads, destroyed at its end.
class Cdb_query {
public:
    // A null handle is allowed; then every statement fails.
    explicit Cdb_query(Clocal_db* db);
    ~Cdb_query();
    Cdb_query(const Cdb_query&) = delete;
    Cdb_query& operator=(const Cdb_query&) = delete;

    // 0: compiled and ready (exactly one reading statement), else 1. An earlier statement of this cursor ends.
    unsigned prepare(const char* sql);
    unsigned prepare(const Cbcl_buf_str& sql) { return prepare(sql.c_str()); }
    // 14: a row is current; 1: no more rows, or an error.
    unsigned step();
    // prepare and one step.
    unsigned query(const Cbcl_buf_str& sql);

    // Columns of the current row, numbered from 0 in the order of the select list. The text is valid until the next
    // step. NULL, a column that is not there and no current row give an empty text and 0. Numbers keep the low 32 bits
    // of what is stored; texts are read as decimal numbers.
    [[nodiscard]] const char* getRow(unsigned column) const;
    [[nodiscard]] uint32_t getRowU32Val(unsigned column) const;
    [[nodiscard]] int32_t getRowIntVal(unsigned column) const;

    // For the row mappers: fills a record of `table` from a row with all its columns; false when there is none.
    [[nodiscard]] bool mapRow(const Table& table, void* record) const;

private:
    Clocal_db* _db;
    DbStatement* _statement = nullptr;
    bool _isOnRow = false;
    bool _isDone = false;
};
