#include "table.h"

#include <algorithm>
#include <utility>
#include <vector>

Table::Table(const char* name, std::span<const FieldDesc> fields, Edb_table id, std::string listOrder)
    : _fields(fields), _id(id), _name(name), _listOrder(std::move(listOrder))
{
    std::string where, whereOfAll, values, updates, assignments, names;
    std::vector<std::pair<uint8_t, std::string>> ranked;
    int position = 0;
    int keyPosition = 0;
    for (const FieldDesc& field : fields) {
        const std::string column = field.column;
        const std::string comma = position == 0 ? "" : ", ";
        _columns += comma + column + (field.type == FieldType::Text ? " text not null" : " integer not null");
        names += comma + column;
        const std::string value = "?" + std::to_string(++position);
        values += comma + value;
        if (field.isKey) {
            ranked.emplace_back(field.keyRank, column);
            where += (where.empty() ? " where " : " and ") + column + "=?" + std::to_string(++keyPosition);
            whereOfAll += (whereOfAll.empty() ? " where " : " and ") + column + "=" + value;
        } else {
            updates += (updates.empty() ? "" : ", ") + column + "=excluded." + column;
            assignments += (assignments.empty() ? "" : ", ") + column + "=" + value;
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string keys;
    for (const auto& [rank, column] : ranked)
        keys += (keys.empty() ? "" : ", ") + column;
    _columns += ", primary key (" + keys + ")";
    _selectAll = "select " + names + " from " + _name;
    _get = _selectAll + where;
    const std::string insert = "insert into " + _name + " (" + names + ") values (" + values + ") on conflict (" + keys;
    _add = insert + ") do nothing";
    _set = updates.empty() ? _add : insert + ") do update set " + updates;
    _update = "update " + _name + " set " + assignments + whereOfAll; // of use where there is more than a key
    _del = "delete from " + _name + where;
}

std::string Table::createStatement(const std::string& schema) const
{
    const std::string prefix = schema.empty() ? "" : schema + ".";
    const std::string table = "create table " + prefix + _name + " (" + _columns + ") strict";
    return _listOrder.empty()
               ? table
               : table + "; create index " + prefix + _name + "_list on " + _name + " (" + _listOrder + ")";
}

void Table::map(const DbStatement& row, void* record, int first) const
{
    for (const FieldDesc& field : _fields) {
        if (field.type == FieldType::Text)
            setFieldText(field, record, row.text(first));
        else
            setFieldNumber(field, record, row.number(first));
        ++first;
    }
}

void Table::bind(DbStatement& statement, const void* record, bool onlyKeys) const
{
    int index = 0;
    for (const FieldDesc& field : _fields) {
        if (onlyKeys && !field.isKey)
            continue;
        ++index;
        if (field.type == FieldType::Text)
            statement.bindText(index, fieldText(field, record));
        else
            statement.bindInt(index, fieldNumber(field, record));
    }
}

bool Table::get(DbConnection& db, void* record) const
{
    DbStatement* statement = db.cached(_get);
    if (statement == nullptr)
        return false;
    bind(*statement, record, true);
    const bool isFound = statement->stepRow();
    if (isFound)
        map(*statement, record);
    statement->reset();
    return isFound;
}

bool Table::run(DbConnection& db, const std::string& sql, const void* record, bool onlyKeys) const
{
    DbStatement* statement = db.cached(sql);
    if (statement == nullptr)
        return false;
    bind(*statement, record, onlyKeys);
    const bool isDone = statement->stepDone();
    statement->reset();
    return isDone;
}

bool Table::runOnOne(DbConnection& db, const std::string& sql, const void* record, bool onlyKeys) const
{
    return run(db, sql, record, onlyKeys) && db.changes() > 0;
}

bool Table::set(DbConnection& db, const void* record) const
{
    return run(db, _set, record, false);
}

bool Table::add(DbConnection& db, const void* record) const
{
    return runOnOne(db, _add, record, false);
}

bool Table::update(DbConnection& db, const void* record) const
{
    return runOnOne(db, _update, record, false);
}

bool Table::del(DbConnection& db, const void* record) const
{
    return runOnOne(db, _del, record, true);
}

bool Table::delWhere(DbConnection& db, const char* column, int64_t number) const
{
    DbStatement* statement = db.cached("delete from " + _name + " where " + column + "=?1");
    if (statement == nullptr)
        return false;
    statement->bindInt(1, number);
    const bool isDone = statement->stepDone();
    statement->reset();
    return isDone;
}
