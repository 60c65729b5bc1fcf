// What the pages of the hunting groups have in common.
#pragma once

#include "bcl2/text.h"
#include "support/page_fixture.h"

#include <QComboBox>
#include <QLineEdit>
#include <sqlite3.h>

#include <functional>

class HuntingPages : public PageFixture {
protected:
    using Group = Cdb_hunting_group_cfg_data;
    using Operator = Cdb_hunting_group_operator_data;
    using Detection = Cdb_hunting_group_detect_data;

    static inline const QString kNoGroup = QStringLiteral("Please configure hunting group information firstly.");

    static QLineEdit& edit(QDialog& editor, int label) { return input<QLineEdit>(editor, label); }
    static QComboBox& combo(QDialog& editor, int label) { return input<QComboBox>(editor, label); }

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
    void expectEditor(const std::function<void(QDialog&)>& use) { boxes.expectEditor(title(), use); }
    void expectRefusal(const QString& boxTitle, const QString& text, const std::function<void(QDialog&)>& fill)
    {
        expectEditor([fill](QDialog& editor) {
            fill(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        boxes.expect(boxTitle, text);
    }
    void editFirst(const std::function<void(QDialog&)>& use)
    {
        select(0);
        expectEditor(use);
        press(Edit);
    }
    [[nodiscard]] virtual QString title() const = 0;
};
