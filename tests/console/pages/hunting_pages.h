// What the pages of the hunting groups have in common.
#pragma once

#include "bcl2/text.h"
#include "support/editor_page_fixture.h"

#include <sqlite3.h>

class HuntingPages : public EditorFixture {
protected:
    using Group = Cdb_hunting_group_cfg_data;
    using Operator = Cdb_hunting_group_operator_data;
    using Detection = Cdb_hunting_group_detect_data;

    static inline const QString kNoGroup = QStringLiteral("Please configure hunting group information firstly.");

    void keep(const Group& record) { ASSERT_EQ(store().DbAddHuntingGroup(record), kDbOk); }
    void keepGroup(unsigned id, const char* name = "")
    {
        Group record;
        record.groupID = id;
        BclCopyStr(record.name, name);
        keep(record);
    }
    // What no page and no call would store.
    static void changeBehindTheStore(const char* sql)
    {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open((qgetenv("PARLOVEX_HOME") + "/config.db").constData(), &db), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
        sqlite3_close(db);
    }
};
