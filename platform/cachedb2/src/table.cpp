#include "table.h"

#include "bcl2/text.h"

#include <cstring>

namespace {

const void* at(const FieldDesc& field, const void* record)
{
    return field.at(const_cast<void*>(record)); // NOLINT: only the address is computed
}

template <class T>
T load(const void* from)
{
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T>
void store(void* to, int64_t number)
{
    const T value = static_cast<T>(number);
    std::memcpy(to, &value, sizeof value);
}

int64_t numberOf(const FieldDesc& field, const void* record)
{
    const void* from = at(field, record);
    switch (field.type) {
    case FieldType::U8:
        return load<uint8_t>(from);
    case FieldType::U16:
        return load<uint16_t>(from);
    case FieldType::U32:
        return load<uint32_t>(from);
    case FieldType::I32:
        return load<int32_t>(from);
    default:
        return load<int64_t>(from);
    }
}

void setNumber(const FieldDesc& field, void* record, int64_t number)
{
    void* to = field.at(record);
    switch (field.type) {
    case FieldType::U8:
        return store<uint8_t>(to, number);
    case FieldType::U16:
        return store<uint16_t>(to, number);
    case FieldType::U32:
        return store<uint32_t>(to, number);
    case FieldType::I32:
        return store<int32_t>(to, number);
    default:
        return store<int64_t>(to, number);
    }
}

std::string_view textOf(const FieldDesc& field, const void* record)
{
    const char* text = static_cast<const char*>(at(field, record));
    return {text, strnlen(text, field.size)};
}

void setText(const FieldDesc& field, void* record, std::string_view text)
{
    BclCopyText(static_cast<char*>(field.at(record)), field.size, text, field.size);
}

void reset(const FieldDesc& field, void* record)
{
    if (field.type == FieldType::Text)
        setText(field, record, field.text);
    else
        setNumber(field, record, field.number);
}

bool isKeyText(const FieldDesc& field, std::string_view text)
{
    if (text.empty() || text.size() >= field.size || !BclIsUtf8(text))
        return false;
    for (const char c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return false;
    return true;
}

} // namespace

Table::Table(const char* name, std::span<const FieldDesc> fields) : _fields(fields), _name(name)
{
    std::string keys, where, values, updates, names;
    int position = 0;
    int keyPosition = 0;
    for (const FieldDesc& field : fields) {
        const std::string column = field.column;
        const std::string comma = position == 0 ? "" : ", ";
        _columns += comma + column + (field.type == FieldType::Text ? " text not null" : " integer not null");
        names += comma + column;
        values += comma + "?" + std::to_string(++position);
        if (field.isKey) {
            keys += (keys.empty() ? "" : ", ") + column;
            where += (where.empty() ? " where " : " and ") + column + "=?" + std::to_string(++keyPosition);
        } else {
            updates += (updates.empty() ? "" : ", ") + column + "=excluded." + column;
        }
    }
    _columns += ", primary key (" + keys + ")";
    _selectAll = "select " + names + " from " + _name;
    _get = _selectAll + where;
    _set = "insert into " + _name + " (" + names + ") values (" + values + ") on conflict (" + keys + ") do " +
           (updates.empty() ? "nothing" : "update set " + updates);
    _del = "delete from " + _name + where;
}

std::string Table::createStatement(const std::string& schema) const
{
    return "create table " + (schema.empty() ? "" : schema + ".") + _name + " (" + _columns + ") strict";
}

void Table::init(void* record) const
{
    for (const FieldDesc& field : _fields)
        reset(field, record);
}

void Table::initGroup(void* record, unsigned version) const
{
    for (const FieldDesc& field : _fields)
        if (field.initGroup == version)
            reset(field, record);
}

bool Table::isKeyValid(const void* record) const
{
    for (const FieldDesc& field : _fields)
        if (field.isKey && field.type == FieldType::Text && !isKeyText(field, textOf(field, record)))
            return false;
    return true;
}

void Table::normalise(void* record) const
{
    for (const FieldDesc& field : _fields)
        if (field.type == FieldType::Text)
            setText(field, record, std::string(textOf(field, record)));
}

void Table::map(const DbStatement& row, void* record, int first) const
{
    for (const FieldDesc& field : _fields) {
        if (field.type == FieldType::Text)
            setText(field, record, row.text(first));
        else
            setNumber(field, record, row.number(first));
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
            statement.bindText(index, textOf(field, record));
        else
            statement.bindInt(index, numberOf(field, record));
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

bool Table::set(DbConnection& db, const void* record) const
{
    DbStatement* statement = db.cached(_set);
    if (statement == nullptr)
        return false;
    bind(*statement, record, false);
    const bool isDone = statement->stepDone();
    statement->reset();
    return isDone;
}

bool Table::del(DbConnection& db, const void* record) const
{
    DbStatement* statement = db.cached(_del);
    if (statement == nullptr)
        return false;
    bind(*statement, record, true);
    const bool isDone = statement->stepDone();
    statement->reset();
    return isDone && db.number("select changes()", 0) > 0;
}
