// The page of the time conditions.
#include "frm_time_cond.h"
#include "support/page_fixture.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QTreeView>

namespace {

Cdb_time_cond condition(unsigned id, uint8_t weekdays = 0)
{
    Cdb_time_cond record;
    record.ID = id;
    record.weekdays = weekdays;
    return record;
}

class TimeConditions : public PageFixture {
protected:
    static constexpr int kDayItems[] = {424, 418, 419, 420, 421, 422, 423}; // by bit

    [[nodiscard]] QString title() const { return item(425); }
    void keep(const Cdb_time_cond& record) { ASSERT_EQ(store().DbTimeConditionAdd(record), kDbOk); }
    Cdb_time_cond stored(unsigned id)
    {
        Cdb_time_cond record = condition(id);
        EXPECT_EQ(store().DbTimeConditionGet(record), kDbOk) << id;
        return record;
    }
    [[nodiscard]] QStringList row(int number) const
    {
        QStringList cells;
        for (int column = 0; column < model().columnCount(); ++column)
            cells.append(cell(number, column));
        return cells;
    }
};

TEST_F(TimeConditions, AddOpensEmptyWithMasksAndTips)
{
    open<Cfrm_time_cond>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_TRUE(input<QLineEdit>(editor, 426).isEnabled());
        EXPECT_EQ(input<QLineEdit>(editor, 426).text(), QString());
        EXPECT_EQ(input<QLineEdit>(editor, 283).text(), QString());
        for (const int time : {427, 428}) {
            EXPECT_EQ(input<QLineEdit>(editor, time).text(), "00:00");
            EXPECT_EQ(input<QLineEdit>(editor, time).inputMask(), "99:99");
            EXPECT_EQ(input<QLineEdit>(editor, time).toolTip(), "HH:MM");
        }
        for (const int day : kDayItems)
            EXPECT_FALSE(check(editor, day).isChecked()) << day;
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(TimeConditions, AddStoresEveryFieldAndAppendsTheRow)
{
    open<Cfrm_time_cond>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 426).setText("0x10");
        input<QLineEdit>(editor, 283).setText("Office");
        input<QLineEdit>(editor, 427).setText("08:05");
        input<QLineEdit>(editor, 428).setText("17:30");
        for (const int day : {418, 423, 424})
            check(editor, day).setChecked(true);
        pressOk(editor);
    });
    press(Add);
    const Cdb_time_cond record = stored(16);
    EXPECT_STREQ(record.description, "Office");
    EXPECT_EQ(record.startHour, 8);
    EXPECT_EQ(record.startMinute, 5);
    EXPECT_EQ(record.endHour, 17);
    EXPECT_EQ(record.endMinute, 30);
    EXPECT_EQ(record.weekdays, 0b1000011);
    EXPECT_EQ(row(0), (QStringList{"16", "Office", "08:05", "17:30", "Sunday,Monday,Saturday"}));
}

TEST_F(TimeConditions, EachBitIsItsDay)
{
    open<Cfrm_time_cond>();
    for (unsigned bit = 0; bit < 7; ++bit) {
        boxes.expectEditor(title(), [bit](QDialog& editor) {
            input<QLineEdit>(editor, 426).setText(QString::number(bit + 1));
            check(editor, kDayItems[bit]).setChecked(true);
            pressOk(editor);
        });
        press(Add);
        EXPECT_EQ(stored(bit + 1).weekdays, 1u << bit);
        EXPECT_EQ(cell(static_cast<int>(bit), 4), item(kDayItems[bit]));
    }
}

TEST_F(TimeConditions, TheDaysStandThreeToARow)
{
    open<Cfrm_time_cond>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        for (int bit = 0; bit < 7; ++bit) {
            EXPECT_EQ(check(editor, kDayItems[bit]).y(), check(editor, kDayItems[bit - bit % 3]).y()) << bit;
            EXPECT_EQ(check(editor, kDayItems[bit]).x(), check(editor, kDayItems[bit % 3]).x()) << bit;
        }
        EXPECT_GT(check(editor, kDayItems[3]).y(), check(editor, kDayItems[0]).y());
        EXPECT_GT(check(editor, kDayItems[1]).x(), check(editor, kDayItems[0]).x());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(TimeConditions, EditLocksTheKeyStoresAndRefreshesItsRow)
{
    keep(condition(3, 0b1111111));
    keep(condition(4));
    open<Cfrm_time_cond>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_FALSE(input<QLineEdit>(editor, 426).isEnabled());
        EXPECT_EQ(input<QLineEdit>(editor, 426).text(), "3");
        EXPECT_TRUE(check(editor, 424).isChecked() && check(editor, 423).isChecked());
        check(editor, 424).setChecked(false);
        input<QLineEdit>(editor, 428).setText("12:00");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(stored(3).weekdays, 0b1111110);
    EXPECT_EQ(row(0), (QStringList{"3", "", "00:00", "12:00", "Monday,Tuesday,Wednesday,Thursday,Friday,Saturday"}));
    EXPECT_EQ(row(1), (QStringList{"4", "", "00:00", "00:00", ""}));
}

TEST_F(TimeConditions, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(condition(3));
    open<Cfrm_time_cond>();
    select(0);
    boxes.expectEditor(title(), [this](QDialog& editor) {
        keep(condition(1));
        frame().hide();
        frame().show();
        input<QLineEdit>(editor, 283).setText("Night");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(column(0), (QStringList{"1", "3"}));
    EXPECT_EQ(column(1), (QStringList{"", "Night"}));
}

TEST_F(TimeConditions, EditOfARecordThatIsGoneDoesNothing)
{
    keep(condition(3));
    open<Cfrm_time_cond>();
    ASSERT_EQ(store().DbTimeConditionDel(3), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(column(0), QStringList{"3"});
}

TEST_F(TimeConditions, TimesAreShownWithTwoDigitsAndKeptAsTyped)
{
    open<Cfrm_time_cond>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 426).setText("1");
        input<QLineEdit>(editor, 427).setText("9 :5 ");
        input<QLineEdit>(editor, 428).setText("99:99");
        pressOk(editor);
    });
    press(Add);
    EXPECT_EQ(cell(0, 2), "09:05");
    EXPECT_EQ(cell(0, 3), "99:99");
    EXPECT_EQ(stored(1).startHour, 9);
    EXPECT_EQ(stored(1).startMinute, 5);
    EXPECT_EQ(stored(1).endHour, 99);
    EXPECT_EQ(stored(1).endMinute, 99);
}

TEST_F(TimeConditions, WithoutADayTheCellIsEmpty)
{
    keep(condition(1));
    open<Cfrm_time_cond>();
    EXPECT_EQ(cell(0, 4), QString());
}

TEST_F(TimeConditions, AnEmptyIdIsRefused)
{
    open<Cfrm_time_cond>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    boxes.expect("Invalid parameter", "Please configure 'Time condition ID'.");
    press(Add);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(TimeConditions, WhatTheStoreRefusesClosesSilentlyWithoutARow)
{
    keep(condition(3));
    open<Cfrm_time_cond>();
    for (const QString& id : {QStringLiteral("3"), QStringLiteral("0")}) {
        boxes.expectEditor(title(), [id](QDialog& editor) {
            input<QLineEdit>(editor, 426).setText(id);
            input<QLineEdit>(editor, 283).setText("second");
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        press(Add);
    }
    EXPECT_EQ(column(0), QStringList{"3"});
    EXPECT_STREQ(stored(3).description, "");
}

TEST_F(TimeConditions, NothingSurvivesFromOneUseToTheNext)
{
    keep(condition(3, 0b1111111));
    open<Cfrm_time_cond>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) { pressCancel(editor); });
    press(Edit);
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_EQ(input<QLineEdit>(editor, 426).text(), QString());
        EXPECT_FALSE(check(editor, 424).isChecked());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(TimeConditions, TheListHoldsEveryRowOrderedByNumber)
{
    QStringList ids;
    for (unsigned id = 60; id > 0; --id) {
        keep(condition(id));
        ids.prepend(QString::number(id));
    }
    open<Cfrm_time_cond>();
    EXPECT_EQ(column(0), ids);
}

TEST_F(TimeConditions, DeleteRemovesTheRowOnlyWhenTheStoreDid)
{
    keep(condition(3));
    keep(condition(4));
    open<Cfrm_time_cond>();
    ASSERT_EQ(store().DbTimeConditionDel(3), kDbOk);
    select(0);
    press(Delete);
    EXPECT_EQ(column(0), (QStringList{"3", "4"}));
    select(1);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"3"});
}

} // namespace
