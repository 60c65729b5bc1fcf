#include "table.h"

#include "bcl2/text.h"

#include <algorithm>
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
    if (text.empty())
        return field.mayBeEmpty;
    if (text.size() >= field.size || !BclIsUtf8(text))
        return false;
    for (const char c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return false;
    return true;
}

} // namespace

void initFields(std::span<const FieldDesc> fields, void* record)
{
    for (const FieldDesc& field : fields)
        reset(field, record);
}

Table::Table(const char* name, std::span<const FieldDesc> fields, Edb_table id) : _fields(fields), _id(id), _name(name)
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
    return "create table " + (schema.empty() ? "" : schema + ".") + _name + " (" + _columns + ") strict";
}

void Table::init(void* record) const
{
    initFields(_fields, record);
}

void Table::initGroup(void* record, unsigned version) const
{
    for (const FieldDesc& field : _fields)
        if (field.initGroup == version)
            reset(field, record);
}

bool Table::isKeyValid(const void* record) const
{
    return std::all_of(_fields.begin(), _fields.end(), [record](const FieldDesc& field) {
        if (!field.isKey)
            return true;
        if (field.type == FieldType::Text)
            return isKeyText(field, textOf(field, record));
        return field.mayBeEmpty || numberOf(field, record) != 0;
    });
}

std::string Table::keyText(const void* record) const
{
    std::string key;
    bool isFirst = true;
    for (const FieldDesc& field : _fields) {
        if (!field.isKey)
            continue;
        if (!isFirst)
            key += kDbKeySeparator;
        isFirst = false;
        if (field.type == FieldType::Text)
            key += textOf(field, record);
        else
            key += std::to_string(numberOf(field, record));
    }
    return key;
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
    return run(db, sql, record, onlyKeys) && db.number("select changes()", 0) > 0;
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
