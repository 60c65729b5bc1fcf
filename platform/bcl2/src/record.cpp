#include "bcl2/record.h"

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

void reset(const FieldDesc& field, void* record)
{
    if (field.type == FieldType::Text)
        setFieldText(field, record, field.text);
    else
        setFieldNumber(field, record, field.number);
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

int64_t fieldNumber(const FieldDesc& field, const void* record)
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

void setFieldNumber(const FieldDesc& field, void* record, int64_t number)
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

std::string_view fieldText(const FieldDesc& field, const void* record)
{
    const char* text = static_cast<const char*>(at(field, record));
    return {text, strnlen(text, field.size)};
}

void setFieldText(const FieldDesc& field, void* record, std::string_view text)
{
    BclCopyText(static_cast<char*>(field.at(record)), field.size, text, field.size);
}

void initFields(std::span<const FieldDesc> fields, void* record)
{
    for (const FieldDesc& field : fields)
        reset(field, record);
}

void initFieldGroup(std::span<const FieldDesc> fields, void* record, unsigned version)
{
    for (const FieldDesc& field : fields)
        if (field.initGroup == version)
            reset(field, record);
}

bool isKeyValid(std::span<const FieldDesc> fields, const void* record)
{
    return std::all_of(fields.begin(), fields.end(), [record](const FieldDesc& field) {
        if (!field.isKey)
            return true;
        if (field.type == FieldType::Text)
            return isKeyText(field, fieldText(field, record));
        return field.mayBeEmpty || fieldNumber(field, record) != 0;
    });
}

std::string keyText(std::span<const FieldDesc> fields, const void* record, char separator)
{
    std::string key;
    bool isFirst = true;
    for (const FieldDesc& field : fields) {
        if (!field.isKey)
            continue;
        if (!isFirst)
            key += separator;
        isFirst = false;
        if (field.type == FieldType::Text)
            key += fieldText(field, record);
        else
            key += std::to_string(fieldNumber(field, record));
    }
    return key;
}

bool areFieldsEqual(std::span<const FieldDesc> fields, const void* record, const void* other)
{
    return std::all_of(fields.begin(), fields.end(), [record, other](const FieldDesc& field) {
        return field.type == FieldType::Text ? fieldText(field, record) == fieldText(field, other)
                                             : fieldNumber(field, record) == fieldNumber(field, other);
    });
}

void normaliseFields(std::span<const FieldDesc> fields, void* record)
{
    for (const FieldDesc& field : fields)
        if (field.type == FieldType::Text)
            setFieldText(field, record, std::string(fieldText(field, record)));
}
