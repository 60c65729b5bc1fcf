#include "remote_table.h"

#include <charconv>

RemoteTable::RemoteTable(const char* name, std::span<const FieldDesc> fields) : _fields(fields), _name(name)
{
    std::string names, marks, where;
    for (const FieldDesc& field : fields) {
        const std::string comma = names.empty() ? "" : ", ";
        names += comma + field.column;
        marks += comma + "?";
        if (field.isKey) {
            _keys += (_keys.empty() ? "" : ", ") + std::string(field.column);
            where += (where.empty() ? " where " : " and ") + std::string(field.column) + "=?";
        }
    }
    const std::string into = " into " + _name + " (" + names + ") values (" + marks + ")";
    _probe = "select " + names + " from " + _name + " where 1=0";
    _select = "select " + names + " from " + _name + where;
    _has = "select count(*) from " + _name + where;
    _remove = "delete from " + _name + where;
    _insert = "insert" + into;
    _replace = "replace" + into;
    _count = "select count(*) from " + _name;
}

std::string RemoteTable::createStatement(const SqlDialect& dialect) const
{
    std::string columns;
    for (const FieldDesc& field : _fields)
        columns += std::string(field.column) + " " + dialect.columnType(field) + ", ";
    return "create table if not exists " + _name + " (" + columns + "primary key (" + _keys + "))" +
           dialect.tableOptions;
}

std::vector<SqlValue> RemoteTable::values(const void* record) const
{
    std::vector<SqlValue> all;
    all.reserve(_fields.size());
    for (const FieldDesc& field : _fields)
        all.push_back(field.type == FieldType::Text ? SqlValue(fieldText(field, record))
                                                    : SqlValue(fieldNumber(field, record)));
    return all;
}

std::vector<SqlValue> RemoteTable::keyValues(const void* record) const
{
    std::vector<SqlValue> all = values(record);
    size_t kept = 0;
    for (size_t i = 0; i < _fields.size(); ++i)
        if (_fields[i].isKey)
            all[kept++] = all[i];
    all.erase(all.begin() + static_cast<std::ptrdiff_t>(kept), all.end());
    return all;
}

void RemoteTable::map(const SqlRows& rows, void* record) const
{
    size_t column = 0;
    for (const FieldDesc& field : _fields) {
        const std::string& cell = rows.cells[column++];
        if (field.type == FieldType::Text)
            setFieldText(field, record, cell);
        else
            setFieldNumber(field, record, numberOfCell(cell));
    }
}

int64_t numberOfCell(const std::string& cell)
{
    int64_t number = 0;
    const auto result = std::from_chars(cell.data(), cell.data() + cell.size(), number);
    return result.ec == std::errc() ? number : 0;
}
