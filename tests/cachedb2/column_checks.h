// What the written out columns of a table promise.
#pragma once

#include "cachedb2/columns.h"

#include <gtest/gtest.h>

namespace families {

// The description of a table says the same as its columns, and so does a new record.
inline void expectDescribed(const Columns& columns, std::span<const FieldDesc> fields, const void* fresh)
{
    ASSERT_EQ(columns.size(), fields.size());
    for (size_t i = 0; i < columns.size(); ++i) {
        SCOPED_TRACE(columns[i].name);
        EXPECT_STREQ(columns[i].name, fields[i].column);
        EXPECT_EQ(columns[i].type, fields[i].type);
        if (columns[i].isText()) {
            EXPECT_EQ(columns[i].bytes + 1, fields[i].size);
        }
        EXPECT_EQ(columns[i].isKey, fields[i].isKey);
        EXPECT_EQ(columns[i].mayBeEmpty, fields[i].mayBeEmpty);
        EXPECT_EQ(columns[i].initial, columns[i].read(fresh));
    }
}

// `stored(column)` reads one column of the only row by its name.
template <class Stored>
void expectStored(const Columns& columns, const Values& values, const void* read, const Stored& stored)
{
    for (size_t i = 0; i < columns.size(); ++i) {
        SCOPED_TRACE(columns[i].name);
        const std::string kept = values.kept(columns[i], static_cast<int64_t>(i));
        EXPECT_EQ(kept, stored(columns[i].name));
        EXPECT_EQ(kept, columns[i].read(read));
    }
}

} // namespace families
