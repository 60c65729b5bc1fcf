// Records described once: a record is a list of its fields, from which resets, key checks and the access to its values
// follow; the database libraries add what their engines need.
#pragma once

#include "bcl2/bit_set.h"
#include "bcl2/number.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

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

// The value of one field. A text ends within its field, whatever the record holds; setting one cuts it to the field and
// clears what is behind it.
[[nodiscard]] int64_t fieldNumber(const FieldDesc& field, const void* record);
void setFieldNumber(const FieldDesc& field, void* record, int64_t number);
[[nodiscard]] std::string_view fieldText(const FieldDesc& field, const void* record);
void setFieldText(const FieldDesc& field, void* record, std::string_view text);

// Resets the described fields of a record, or those of one versioned group.
void initFields(std::span<const FieldDesc> fields, void* record);
void initFieldGroup(std::span<const FieldDesc> fields, void* record, unsigned version);

// Every key text is 1 byte to its bound long, terminated, UTF-8 and without control characters, and no key number
// is 0; parts that may be empty may be.
[[nodiscard]] bool isKeyValid(std::span<const FieldDesc> fields, const void* record);
// The key parts in stored order, parted by `separator`.
[[nodiscard]] std::string keyText(std::span<const FieldDesc> fields, const void* record, char separator);

// The described fields are equal; what lies between them does not count.
[[nodiscard]] bool areFieldsEqual(std::span<const FieldDesc> fields, const void* record, const void* other);

// Ends every text within its field and clears what is behind it, whatever the caller left there.
void normaliseFields(std::span<const FieldDesc> fields, void* record);
