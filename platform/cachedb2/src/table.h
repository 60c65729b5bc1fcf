// The one mechanism behind all tables: schema, row mapping, the plain statements and the resets follow from the
// description of a record.
#pragma once

#include "bcl2/record.h"
#include "cachedb2/change.h"
#include "dbsqlite/connection.h"

#include <cstring>
#include <span>
#include <string>

// A described table with its statements. Made once, never destroyed; any thread.
class Table {
public:
    // `listOrder`: columns of an index beside the key's, for pages in this order; where they are equal, records come in
    // the order in which they were added.
    Table(const char* name, std::span<const FieldDesc> fields, Edb_table id = Edb_table::RunTime,
          std::string listOrder = {});

    [[nodiscard]] const std::string& name() const { return _name; }
    [[nodiscard]] Edb_table id() const { return _id; }

    // `schema` is empty or the name of an attached file.
    [[nodiscard]] std::string createStatement(const std::string& schema = {}) const;
    [[nodiscard]] const std::string& selectAll() const { return _selectAll; }
    [[nodiscard]] std::span<const FieldDesc> fields() const { return _fields; }

    // As the functions of bcl2/record.h on the described fields; the parts of a key text by kDbKeySeparator.
    void init(void* record) const { initFields(_fields, record); }
    void initGroup(void* record, unsigned version) const { initFieldGroup(_fields, record, version); }
    [[nodiscard]] bool isKeyValid(const void* record) const { return ::isKeyValid(_fields, record); }
    [[nodiscard]] std::string keyText(const void* record) const { return ::keyText(_fields, record, kDbKeySeparator); }
    void normalise(void* record) const { normaliseFields(_fields, record); }

    // The record from a row of `selectAll()`, or of any statement whose columns from `first` on are in stored order.
    void map(const DbStatement& row, void* record, int first = 0) const;

    // The plain statements, on a record whose key is set. True on success; get, update and del also fail when the key
    // is missing, add when it is there.
    [[nodiscard]] bool get(DbConnection& db, void* record) const;
    [[nodiscard]] bool set(DbConnection& db, const void* record) const; // adds or replaces
    [[nodiscard]] bool add(DbConnection& db, const void* record) const;
    [[nodiscard]] bool update(DbConnection& db, const void* record) const;
    [[nodiscard]] bool del(DbConnection& db, const void* record) const;
    // Every record whose column has the number; true also when there is none.
    [[nodiscard]] bool delWhere(DbConnection& db, const char* column, int64_t number) const;

private:
    void bind(DbStatement& statement, const void* record, bool onlyKeys) const;
    [[nodiscard]] bool run(DbConnection& db, const std::string& sql, const void* record, bool onlyKeys) const;
    [[nodiscard]] bool runOnOne(DbConnection& db, const std::string& sql, const void* record, bool onlyKeys) const;

    std::span<const FieldDesc> _fields;
    Edb_table _id;
    std::string _name, _listOrder, _columns, _selectAll, _get, _set, _add, _update, _del;
};

// The table that holds the records of a type; tables.h names them.
template <class Record>
const Table& tableOf();

// Every byte of a record as a new one has it.
template <class Record>
void resetRecord(Record& record)
{
    std::memset(static_cast<void*>(&record), 0, sizeof record);
    tableOf<Record>().init(&record);
}
