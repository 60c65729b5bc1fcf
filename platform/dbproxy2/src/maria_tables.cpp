#include "maria_tables.h"

#include "bcl2/text.h"
#include "remote_table.h"

#include <algorithm>
#include <array>
#include <strings.h>

namespace {

constexpr const char* kEngines =
    "select t.table_name, t.engine, e.transactions from information_schema.tables t join information_schema.engines e "
    "on e.engine=t.engine where t.table_schema=database() and t.table_name in ";
constexpr const char* kColumns =
    "select table_name, column_name, column_type, data_type, character_maximum_length, column_key from "
    "information_schema.columns where table_schema=database() and table_name in ";

SqlResult flaw(const std::string& what)
{
    return {SqlStatus::Failed, 0, what};
}

// "(?, ?)" with a place for each table.
std::string places()
{
    std::string list;
    for (size_t i = 0; i < remoteTables().size(); ++i)
        list += list.empty() ? "(?" : ", ?";
    return list + ")";
}

SqlResult ask(const SqlRun& run, const char* question, SqlRows& rows)
{
    std::vector<SqlValue> names;
    for (const RemoteTable* table : remoteTables())
        names.emplace_back(std::string_view(table->name()));
    SqlResult result = run(question + places(), names, &rows);
    if (result.status == SqlStatus::Failed)
        return {}; // it is not known here
    return result;
}

// Tables whose name the server writes as it likes are found all the same.
const RemoteTable* tableOf(const std::string& name)
{
    const auto found = std::find_if(remoteTables().begin(), remoteTables().end(), [&name](const RemoteTable* table) {
        return strcasecmp(table->name().c_str(), name.c_str()) == 0;
    });
    return found == remoteTables().end() ? nullptr : *found;
}

const FieldDesc* fieldOf(const RemoteTable& table, const std::string& column)
{
    const auto found = std::find_if(table.fields().begin(), table.fields().end(), [&column](const FieldDesc& field) {
        return strcasecmp(field.column, column.c_str()) == 0;
    });
    return found == table.fields().end() ? nullptr : &*found;
}

// Bytes of an integer type; 0: it is none.
int bytesOf(const std::string& type)
{
    struct Known {
        const char* name;
        int bytes;
    };
    constexpr std::array<Known, 5> kTypes = {
        {{"tinyint", 1}, {"smallint", 2}, {"mediumint", 3}, {"int", 4}, {"bigint", 8}}};
    const auto* const found =
        std::find_if(kTypes.begin(), kTypes.end(), [&type](const Known& known) { return type == known.name; });
    return found == kTypes.end() ? 0 : found->bytes;
}

bool isUnsigned(FieldType type)
{
    return type == FieldType::U8 || type == FieldType::U16 || type == FieldType::U32;
}

int bytesOf(FieldType type)
{
    switch (type) {
    case FieldType::U8:
        return 1;
    case FieldType::U16:
        return 2;
    case FieldType::I64:
        return 8;
    default:
        return 4;
    }
}

struct Column {
    std::string type;     // "int", "varbinary"
    std::string fullType; // "int(10) unsigned"
    int64_t length = 0;   // of a text
};

// Every value of the field fits and comes back as it was.
bool holds(const Column& column, const FieldDesc& field)
{
    if (field.type == FieldType::Text)
        return column.type == "varbinary" && column.length >= field.size - 1;
    const bool isPositive = column.fullType.find("unsigned") != std::string::npos;
    const int bytes = bytesOf(column.type);
    const int needed = bytesOf(field.type);
    if (isUnsigned(field.type))
        return isPositive ? bytes >= needed : bytes > needed;
    return !isPositive && bytes >= needed;
}

SqlResult checkEngines(const SqlRun& run)
{
    SqlRows rows;
    SqlResult result = ask(run, kEngines, rows);
    for (size_t i = 0; result.isDone() && i < rows.cells.size(); i += rows.columns)
        if (strcasecmp(rows.cells[i + 2].c_str(), "no") == 0) {
            const std::string table = BclPrintable(rows.cells[i]);
            result = flaw("the table " + table + " is of the engine " + BclPrintable(rows.cells[i + 1]) +
                          ", which knows no transactions; mend it with \"alter table " + table + " engine=InnoDB\"");
        }
    return result;
}

SqlResult checkColumns(const SqlRun& run)
{
    SqlRows rows;
    SqlResult result = ask(run, kColumns, rows);
    for (size_t i = 0; result.isDone() && i < rows.cells.size(); i += rows.columns) {
        const std::string* cells = &rows.cells[i];
        const RemoteTable* table = tableOf(cells[0]);
        const FieldDesc* field = table == nullptr ? nullptr : fieldOf(*table, cells[1]);
        const bool isKey = cells[5] == "PRI";
        if (field == nullptr && isKey)
            result = flaw("the primary key of " + BclPrintable(cells[0]) + " has the further column " +
                          BclPrintable(cells[1]));
        else if (field != nullptr && field->isKey && !isKey)
            result = flaw("the primary key of " + table->name() + " lacks the column " + field->column);
        else if (field != nullptr && !field->isKey && isKey)
            result = flaw("the column " + std::string(field->column) + " is no part of the primary key of " +
                          table->name() + " and stands in it");
        else if (field != nullptr && !holds({cells[3], cells[2], numberOfCell(cells[4])}, *field))
            result = flaw("the column " + std::string(field->column) + " of " + table->name() + " is " +
                          BclPrintable(cells[2]) + "; mend it with \"alter table " + table->name() + " modify " +
                          field->column + " " + mariaColumnType(*field) + "\"");
    }
    return result;
}

} // namespace

SqlResult checkMariaTables(const SqlRun& run)
{
    const SqlResult result = checkEngines(run);
    return result.isDone() ? checkColumns(run) : result;
}

// Binary strings: keys compare byte by byte and without padding on every server of this protocol, and what is read is
// what was written.
std::string mariaColumnType(const FieldDesc& field)
{
    switch (field.type) {
    case FieldType::Text:
        return "varbinary(" + std::to_string(field.size - 1) + ") not null";
    case FieldType::U8:
        return "tinyint unsigned not null";
    case FieldType::U16:
        return "smallint unsigned not null";
    case FieldType::U32:
        return "int unsigned not null";
    case FieldType::I32:
        return "int not null";
    default:
        return "bigint not null";
    }
}
