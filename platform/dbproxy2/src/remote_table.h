// The tables of the remote database: statements and values follow from the description of a record.
#pragma once

#include "dbproxy2/remote_db.h"
#include "engine.h"

#include <cstring>

// Made once, never destroyed; any thread. The statements suit every engine.
class RemoteTable {
public:
    RemoteTable(const char* name, std::span<const FieldDesc> fields);

    [[nodiscard]] const std::string& name() const { return _name; }
    [[nodiscard]] std::span<const FieldDesc> fields() const { return _fields; }
    [[nodiscard]] std::string createStatement(const SqlDialect& dialect) const;

    // Gives no row, and fails when the table is not as it should be.
    [[nodiscard]] const std::string& probe() const { return _probe; }
    // Values: those of the key.
    [[nodiscard]] const std::string& select() const { return _select; }
    [[nodiscard]] const std::string& remove() const { return _remove; }
    [[nodiscard]] const std::string& has() const { return _has; }
    // Values: all. Insert refuses a key that is there, replace does not.
    [[nodiscard]] const std::string& insert() const { return _insert; }
    [[nodiscard]] const std::string& replace() const { return _replace; }
    [[nodiscard]] const std::string& count() const { return _count; }

    // In stored order; the texts lie in the record.
    [[nodiscard]] std::vector<SqlValue> values(const void* record) const;
    [[nodiscard]] std::vector<SqlValue> keyValues(const void* record) const;

    // The record from the first row of `select()`.
    void map(const SqlRows& rows, void* record) const;

private:
    std::span<const FieldDesc> _fields;
    std::string _name, _columns, _keys, _probe, _select, _has, _remove, _insert, _replace, _count;
};

template <class Record>
void resetRemoteRecord(Record& record)
{
    std::memset(static_cast<void*>(&record), 0, sizeof record);
    initFields(remoteTableOf<Record>().fields(), &record);
}

// All of them.
[[nodiscard]] std::span<const RemoteTable* const> remoteTables();

// A decimal number of a result; 0 for a text that is none.
[[nodiscard]] int64_t numberOfCell(const std::string& cell);
