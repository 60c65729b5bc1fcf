// The one mechanism behind all tables: a record is described once, as a list of its fields; schema, row mapping, the
// plain statements and the resets follow from the list.
#pragma once

#include "bcl2/bit_set.h"
#include "bcl2/number.h"
#include "cachedb2/change.h"
#include "connection.h"

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

enum class FieldType : uint8_t { Text, U8, U16, U32, I32, I64 };

// One column: where it lies in the record, what it is called in the store, what it is reset to.
struct FieldDesc {
    const char* column;
    FieldType type;
    uint16_t size; // bytes in the record; a text has one less
    void* (*at)(void* record);
    int64_t number = 0;    // default of a number
    const char* text = ""; // default of a text
    uint8_t initGroup = 0; // the versioned reset it belongs to, 0 none
    bool isKey = false;
    uint8_t keyRank = 0;     // keys of a lower rank come first in the index, equal ones in stored order
    bool mayBeEmpty = false; // a key part that may be an empty text or 0

    [[nodiscard]] constexpr FieldDesc key(uint8_t rank = 0) const
    {
        FieldDesc copy = *this;
        copy.isKey = true;
        copy.keyRank = rank;
        return copy;
    }
    [[nodiscard]] constexpr FieldDesc orEmpty() const
    {
        FieldDesc copy = *this;
        copy.mayBeEmpty = true;
        return copy;
    }
    [[nodiscard]] constexpr FieldDesc group(uint8_t version) const
    {
        FieldDesc copy = *this;
        copy.initGroup = version;
        return copy;
    }
    [[nodiscard]] constexpr FieldDesc def(int64_t value) const
    {
        FieldDesc copy = *this;
        copy.number = value;
        return copy;
    }
    [[nodiscard]] constexpr FieldDesc def(const char* value) const
    {
        FieldDesc copy = *this;
        copy.text = value;
        return copy;
    }
};

template <class M>
consteval FieldType fieldTypeOf()
{
    if constexpr (std::is_array_v<M> || std::is_same_v<M, Cphone_number>)
        return FieldType::Text;
    else if constexpr (std::is_same_v<M, Cbcl_bit_set> || std::is_same_v<M, uint32_t>)
        return FieldType::U32;
    else if constexpr (std::is_same_v<M, uint8_t> || std::is_same_v<M, char>)
        return FieldType::U8;
    else if constexpr (std::is_same_v<M, uint16_t>)
        return FieldType::U16;
    else if constexpr (std::is_same_v<M, int32_t>)
        return FieldType::I32;
    else {
        static_assert(std::is_same_v<M, int64_t>, "no column type for this member");
        return FieldType::I64;
    }
}

template <class R, class M>
R recordOf(M R::*);

// field<&Cdb_usr_info::usrName>("usrName")
template <auto member>
consteval FieldDesc field(const char* column)
{
    using R = decltype(recordOf(member));
    using M = std::remove_reference_t<decltype(std::declval<R&>().*member)>;
    return {.column = column, .type = fieldTypeOf<M>(), .size = sizeof(M), .at = [](void* record) -> void* {
                return &(static_cast<R*>(record)->*member);
            }};
}

// Resets the described fields of a record.
void initFields(std::span<const FieldDesc> fields, void* record);

// A described table with its statements. Made once, never destroyed; any thread.
class Table {
public:
    Table(const char* name, std::span<const FieldDesc> fields, Edb_table id = Edb_table::RunTime);

    [[nodiscard]] const std::string& name() const { return _name; }
    [[nodiscard]] Edb_table id() const { return _id; }

    // `schema` is empty or the name of an attached file.
    [[nodiscard]] std::string createStatement(const std::string& schema = {}) const;
    [[nodiscard]] const std::string& selectAll() const { return _selectAll; }
    [[nodiscard]] std::span<const FieldDesc> fields() const { return _fields; }

    // Resets the described fields, or those of one versioned group.
    void init(void* record) const;
    void initGroup(void* record, unsigned version) const;

    // Every key text is 1 byte to its bound long, terminated, UTF-8 and without control characters, and no key number
    // is 0; parts that may be empty may be.
    [[nodiscard]] bool isKeyValid(const void* record) const;
    // The key parts in stored order, parted by kDbKeySeparator.
    [[nodiscard]] std::string keyText(const void* record) const;

    // Ends every text within its field and clears what is behind it, whatever the caller left there.
    void normalise(void* record) const;

    // The record from a row of `selectAll()`, or of any statement whose columns from `first` on are in stored order.
    void map(const DbStatement& row, void* record, int first = 0) const;

    // The plain statements, on a record whose key is set. True on success; get, update and del also fail when the key
    // is missing, add when it is there.
    [[nodiscard]] bool get(DbConnection& db, void* record) const;
    [[nodiscard]] bool set(DbConnection& db, const void* record) const; // adds or replaces
    [[nodiscard]] bool add(DbConnection& db, const void* record) const;
    [[nodiscard]] bool update(DbConnection& db, const void* record) const;
    [[nodiscard]] bool del(DbConnection& db, const void* record) const;

private:
    void bind(DbStatement& statement, const void* record, bool onlyKeys) const;
    [[nodiscard]] bool run(DbConnection& db, const std::string& sql, const void* record, bool onlyKeys) const;
    [[nodiscard]] bool runOnOne(DbConnection& db, const std::string& sql, const void* record, bool onlyKeys) const;

    std::span<const FieldDesc> _fields;
    Edb_table _id;
    std::string _name, _columns, _selectAll, _get, _set, _add, _update, _del;
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
