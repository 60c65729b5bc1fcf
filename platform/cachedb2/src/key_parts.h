// Records that hold a key only, from the parts that callers give.
#pragma once

#include "bcl2/number.h"
#include "bcl2/text.h"

#include <cstdint>
#include <cstring>
#include <optional>

// A part of a key into its field; false for a text that does not fit.
template <size_t N>
bool setKey(char (&field)[N], const char* key)
{
    if (key == nullptr || std::strlen(key) >= N)
        return false;
    BclCopyStr(field, key);
    return true;
}

inline bool setKey(Cphone_number& field, const char* key)
{
    if (key == nullptr || std::strlen(key) > Cphone_number::kBound)
        return false;
    field.SetNbr(key);
    return true;
}

inline bool setKey(uint32_t& field, unsigned key)
{
    field = key;
    return true;
}

inline bool setKey(int32_t& field, int key)
{
    field = key;
    return true;
}

// A record that holds a key only; none when a part of it does not fit.
template <class Record, auto... members, class... Parts>
std::optional<Record> keyOf(Parts... parts)
{
    Record record;
    return (setKey(record.*members, parts) && ...) ? std::optional<Record>(record) : std::nullopt;
}
