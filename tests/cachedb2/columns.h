// The columns of the tables as they are meant to be, written out beside the descriptions that they check.
#pragma once

#include "bcl2/record.h"
#include "bcl2/text.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace families {

// A column and the member that it holds. Values are texts, numbers in decimal.
struct Column {
    const char* name;
    FieldType type;
    std::string (*read)(const void* record);
    void (*write)(void* record, const std::string& value);
    size_t bytes = 0;         // of a text
    int64_t least = 0;        // of a number
    int64_t most = 0;         // of a number
    std::string initial = {}; // in a new record
    bool isKey = false;
    bool mayBeEmpty = false; // a part of the key

    [[nodiscard]] bool isText() const { return type == FieldType::Text; }

    [[nodiscard]] Column key() const
    {
        Column copy = *this;
        copy.isKey = true;
        return copy;
    }
    [[nodiscard]] Column orEmpty() const
    {
        Column copy = *this;
        copy.mayBeEmpty = true;
        return copy;
    }
    [[nodiscard]] Column def(const std::string& value) const
    {
        Column copy = *this;
        copy.initial = value;
        return copy;
    }
    [[nodiscard]] Column def(int64_t value) const { return def(std::to_string(value)); }
    // The numbers that the store takes, when these are not all.
    [[nodiscard]] Column within(int64_t first, int64_t last) const
    {
        Column copy = *this;
        copy.least = first;
        copy.most = last;
        return copy;
    }
};

using Columns = std::vector<Column>;

inline std::string shown(const Cphone_number& number)
{
    return std::string(number.view());
}

template <size_t N>
std::string shown(const char (&text)[N])
{
    return std::string(BclFieldText(text));
}

inline std::string shown(Cbcl_bit_set bits)
{
    return std::to_string(bits.value());
}

inline std::string shown(char byte)
{
    return std::to_string(static_cast<unsigned char>(byte));
}

template <class Number>
requires std::is_integral_v<Number> std::string shown(Number number)
{
    return std::to_string(number);
}

inline void assign(Cphone_number& number, const std::string& value)
{
    number.SetNbr(value.c_str());
}

template <size_t N>
void assign(char (&text)[N], const std::string& value)
{
    BclCopyStr(text, value.c_str());
}

inline void assign(Cbcl_bit_set& bits, const std::string& value)
{
    bits = Cbcl_bit_set(static_cast<uint32_t>(std::stoll(value)));
}

template <class Number>
requires std::is_integral_v<Number>
void assign(Number& number, const std::string& value)
{
    number = static_cast<Number>(std::stoll(value));
}

template <class R, class M>
R recordWith(M R::*);

template <auto member>
Column column(const char* name, FieldType type)
{
    using R = decltype(recordWith(member));
    return {.name = name,
            .type = type,
            .read = [](const void* record) { return shown(static_cast<const R*>(record)->*member); },
            .write = [](void* record, const std::string& value) { assign(static_cast<R*>(record)->*member, value); }};
}

template <auto member>
Column text(const char* name, size_t bytes)
{
    Column made = column<member>(name, FieldType::Text);
    made.bytes = bytes;
    return made;
}

template <auto member, class Number>
Column number(const char* name, FieldType type)
{
    using Limits = std::numeric_limits<Number>;
    return column<member>(name, type).def(0).within(Limits::min(), Limits::max());
}

template <auto member>
Column u8(const char* name)
{
    return number<member, uint8_t>(name, FieldType::U8);
}

template <auto member>
Column u16(const char* name)
{
    return number<member, uint16_t>(name, FieldType::U16);
}

template <auto member>
Column u32(const char* name)
{
    return number<member, uint32_t>(name, FieldType::U32);
}

template <auto member>
Column i32(const char* name)
{
    return number<member, int32_t>(name, FieldType::I32);
}

inline std::string namesOf(const Columns& columns)
{
    std::string names;
    for (const Column& column : columns)
        names += (names.empty() ? "" : " ") + std::string(column.name);
    return names;
}

// One value for each column, none for two.
struct Values {
    const char* name;
    std::string (*given)(const Column& column, int64_t position);
    std::string (*kept)(const Column& column, int64_t position);
};

inline int64_t leastOf(const Column& column)
{
    return column.isKey ? std::max<int64_t>(column.least, column.least < 0 ? column.least : 1) : column.least;
}

inline std::string differentValue(const Column& column, int64_t position)
{
    const int64_t number = std::max<int64_t>(column.least, 0) + 1 + position;
    return column.isText() ? column.name : std::to_string(std::min(number, column.most));
}

inline std::string widestValue(const Column& column, int64_t)
{
    return column.isText() ? std::string(column.bytes, 'w') : std::to_string(column.most);
}

inline std::string cutValue(const Column& column, int64_t)
{
    return column.isText() ? std::string(column.bytes - 1, 'c') : std::to_string(leastOf(column));
}

inline std::string tooWideValue(const Column& column, int64_t position)
{
    return cutValue(column, position) + (column.isText() ? "\u00e9" : "");
}

inline const std::vector<Values> kAllValues = {{"different", differentValue, differentValue},
                                               {"widest", widestValue, widestValue},
                                               {"too wide", tooWideValue, cutValue}};

template <class Record>
Record recordOf(const Columns& columns, const Values& values)
{
    Record record;
    for (size_t i = 0; i < columns.size(); ++i)
        columns[i].write(&record, values.given(columns[i], static_cast<int64_t>(i)));
    return record;
}

} // namespace families
