#include "cachedb2/local_db.h"

#include "dbproxy2/results.h"
#include "dbsqlite/connection.h"
#include "table.h"

#include <sqlite3.h>

Clocal_db::Clocal_db(std::unique_ptr<DbConnection> connection) : _connection(std::move(connection)) {}

Clocal_db::~Clocal_db() = default;

Cdb_query::Cdb_query(Clocal_db* db) : _db(db) {}

Cdb_query::~Cdb_query()
{
    delete _statement;
}

unsigned Cdb_query::prepare(const char* sql)
{
    delete _statement;
    _statement = nullptr;
    _isOnRow = false;
    _isDone = false;
    if (_db == nullptr || sql == nullptr)
        return kDbFailed;
    if (_db->_watch)
        _db->_watch(sql);
    if (!_db->_connection)
        return kDbFailed;
    _statement = _db->_connection->prepareReading(sql).release();
    return _statement == nullptr ? kDbFailed : kDbOk;
}

unsigned Cdb_query::step()
{
    // A statement that has ended would start again.
    if (_statement == nullptr || _isDone)
        return kDbFailed;
    _isOnRow = _statement->stepRow();
    _isDone = !_isOnRow;
    return _isOnRow ? kDbRow : kDbFailed;
}

unsigned Cdb_query::query(const Cbcl_buf_str& sql)
{
    return prepare(sql) == kDbOk ? step() : kDbFailed;
}

const char* Cdb_query::getRow(unsigned column) const
{
    if (!_isOnRow || column >= static_cast<unsigned>(sqlite3_column_count(_statement->handle)))
        return "";
    const unsigned char* text = sqlite3_column_text(_statement->handle, static_cast<int>(column));
    return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

uint32_t Cdb_query::getRowU32Val(unsigned column) const
{
    if (!_isOnRow || column >= static_cast<unsigned>(sqlite3_column_count(_statement->handle)))
        return 0;
    return static_cast<uint32_t>(_statement->number(static_cast<int>(column)));
}

int32_t Cdb_query::getRowIntVal(unsigned column) const
{
    return static_cast<int32_t>(getRowU32Val(column));
}

bool Cdb_query::mapRow(const Table& table, void* record) const
{
    if (!_isOnRow || static_cast<size_t>(sqlite3_column_count(_statement->handle)) < table.fields().size())
        return false;
    table.map(*_statement, record);
    return true;
}
