// The pages of the caller and called number refinement: twins that differ on purpose.
#include "bcl2/text.h"
#include "frm_refine_cld_nbr.h"
#include "frm_refine_clr_nbr.h"
#include "support/editor_roundtrip.h"
#include "support/page_fixture.h"

#include <QComboBox>
#include <QLineEdit>
#include <QTreeView>

namespace {

using CallerRecord = Cdb_nbr_clr_refine_data;
using CalledRecord = Cdb_nbr_cld_refine;

class Refinement : public PageFixture {
protected:
    void SetUp() override
    {
        PageFixture::SetUp();
        Cdb_nbr_trans_data transition;
        transition.transid = 7;
        transition.type = 1;
        BclCopyStr(transition.digits, "00");
        ASSERT_EQ(store().DbNbrTransSet(transition), kDbOk);
    }
    static QLineEdit& edit(QDialog& editor, int label) { return input<QLineEdit>(editor, label); }
    static QComboBox& combo(QDialog& editor, int label) { return input<QComboBox>(editor, label); }
    void editFirst(const QString& title, const std::function<void(QDialog&)>& use)
    {
        select(0);
        boxes.expectEditor(title, use);
        press(Edit);
    }
};

class CallerRefinement : public Refinement {
protected:
    [[nodiscard]] QString title() const { return item(318); }
    void keep(unsigned group, const char* prefix, const char* description = "")
    {
        CallerRecord record;
        record.groupID = group;
        BclCopyStr(record.callerPrefix, prefix);
        BclCopyStr(record.description, description);
        ASSERT_EQ(store().DbNbrClrRefineSet(record), kDbOk);
    }
    CallerRecord stored(unsigned group, const char* prefix)
    {
        CallerRecord record;
        record.groupID = group;
        BclCopyStr(record.callerPrefix, prefix);
        EXPECT_EQ(store().DbNbrClrRefineGet(record), kDbOk) << group << " " << prefix;
        return record;
    }
    void add(const QString& group, const QString& prefix)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            edit(editor, 315).setText(group);
            edit(editor, 316).setText(prefix);
            edit(editor, 283).setText("new");
            combo(editor, 223).setCurrentIndex(1);
            pressOk(editor);
        });
        press(Add);
    }
};

TEST_F(CallerRefinement, TheListIsOrderedByGroupThenPrefix)
{
    keep(10, "1");
    keep(9, "2");
    keep(9, "10");
    open<Cfrm_refine_clr_nbr>();
    EXPECT_EQ(column(0), (QStringList{"9", "9", "10"}));
    EXPECT_EQ(column(1), (QStringList{"10", "2", "1"}));
}

TEST_F(CallerRefinement, AddStoresAndAppendsTheRow)
{
    keep(9, "2");
    open<Cfrm_refine_clr_nbr>();
    add("3", ".");
    EXPECT_EQ(row(1), (QStringList{"3", ".", "new", "7"}));
    EXPECT_EQ(stored(3, ".").transId, 7u);
}

TEST_F(CallerRefinement, AddOpensEmptyWhateverWasThereBefore)
{
    keep(9, "2", "old");
    open<Cfrm_refine_clr_nbr>();
    editFirst(title(), [](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 315).isEnabled());
        EXPECT_FALSE(edit(editor, 316).isEnabled());
        EXPECT_EQ(edit(editor, 315).text() + edit(editor, 316).text() + edit(editor, 283).text(), "92old");
        combo(editor, 223).setCurrentIndex(1);
        pressCancel(editor);
    });
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_TRUE(edit(editor, 315).isEnabled());
        EXPECT_TRUE(edit(editor, 316).isEnabled());
        EXPECT_EQ(edit(editor, 315).text() + edit(editor, 316).text() + edit(editor, 283).text(), QString());
        EXPECT_EQ(combo(editor, 223).currentIndex(), 0);
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(CallerRefinement, AGroupIsAnyNumberButZero)
{
    open<Cfrm_refine_clr_nbr>();
    for (const QString& group : {QString(), QStringLiteral("0"), QStringLiteral("none")}) {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            edit(editor, 315).setText(group);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        boxes.expect("Parameter Invalid", "Invalid group ID.");
        press(Add);
    }
    EXPECT_EQ(model().rowCount(), 0);
    add("-3", "1");
    EXPECT_EQ(column(0), QStringList{"-3"});
    EXPECT_EQ(stored(static_cast<unsigned>(-3), "1").transId, 7u);
    press(Refresh);
    editFirst(title(), [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 315).text(), "-3");
        edit(editor, 283).setText("changed");
        pressOk(editor);
    });
    EXPECT_STREQ(stored(static_cast<unsigned>(-3), "1").description, "changed");
}

TEST_F(CallerRefinement, AnEmptyPrefixIsRefusedInWords)
{
    open<Cfrm_refine_clr_nbr>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 315).setText("1");
        pressOk(editor);
    });
    boxes.expect("Parameter Invalid", "Invalid caller prefix.");
    press(Add);
    EXPECT_EQ(store().rows<CallerRecord>().get()->size(), 0u);
}

TEST_F(CallerRefinement, AddingAKeyThatExistsDoesNothingAndSaysNothing)
{
    keep(3, ".", "old");
    open<Cfrm_refine_clr_nbr>();
    add("3", ".");
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored(3, ".").description, "old");
}

TEST_F(CallerRefinement, WhatTheStoreCannotWriteIsNotAdded)
{
    open<Cfrm_refine_clr_nbr>();
    refuseWrites();
    add("3", ".");
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(CallerRefinement, EditRefreshesItsRowInPlace)
{
    keep(1, "1");
    keep(2, "2");
    open<Cfrm_refine_clr_nbr>();
    editFirst(title(), [](QDialog& editor) {
        edit(editor, 283).setText("new");
        combo(editor, 223).setCurrentIndex(1);
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"1", "1", "new", "7"}));
    EXPECT_EQ(row(1), (QStringList{"2", "2", "", "0"}));
    EXPECT_STREQ(stored(1, "1").description, "new");
}

TEST_F(CallerRefinement, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(5, "1");
    keep(6, "1");
    open<Cfrm_refine_clr_nbr>();
    editFirst(title(), [this](QDialog& editor) {
        keep(1, "1");
        frame().hide();
        frame().show();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(2), (QStringList{"", "new", ""}));
}

TEST_F(CallerRefinement, EveryInputHasItsOwnBytesOfTheRecord)
{
    CallerRecord record;
    record.groupID = 3;
    record.transId = 7;
    BclCopyStr(record.callerPrefix, "10");
    BclCopyStr(record.description, "Extensions");
    ASSERT_EQ(store().DbNbrClrRefineSet(record), kDbOk);
    open<Cfrm_refine_clr_nbr>();
    EditorRoundTrip trip;
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(CallerRecord());
    trip.putBack = [&] { ASSERT_EQ(store().DbNbrClrRefineSet(record), kDbOk); };
    trip.stored = [&] { return bytesOf(stored(3, "10")); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) { editFirst(title(), use); };
    trip.inputs = {{EditorInput::Edit, 283, {whole(&CallerRecord::description)}},
                   {EditorInput::Combo, 223, {whole(&CallerRecord::transId)}}};
    trip.locked = {{EditorInput::Edit, 315, {whole(&CallerRecord::groupID)}},
                   {EditorInput::Edit, 316, {whole(&CallerRecord::callerPrefix)}}};
    trip.kept = {whole(&CallerRecord::reserved)};
    trip.check();
}

TEST_F(CallerRefinement, WhatAnEditCouldNotStoreIsShownAllTheSame)
{
    keep(1, "1", "old");
    open<Cfrm_refine_clr_nbr>();
    refuseWrites();
    editFirst(title(), [](QDialog& editor) {
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(cell(0, 2), "new");
    EXPECT_STREQ(stored(1, "1").description, "old");
}

TEST_F(CallerRefinement, OneThatWasDeletedUnderItsEditorStaysDeleted)
{
    keep(1, "1");
    open<Cfrm_refine_clr_nbr>();
    editFirst(title(), [this](QDialog& editor) {
        ASSERT_EQ(store().DbNbrClrRefineDel(1, "1"), kDbOk);
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(store().DbNbrClrRefineHas(1, "1"), 0u);
    EXPECT_EQ(cell(0, 2), "new");
}

TEST_F(CallerRefinement, OkWithoutAChangeStoresNothing)
{
    keep(1, "1", "x");
    open<Cfrm_refine_clr_nbr>();
    const int& writes = countWrites();
    editFirst(title(), [](QDialog& editor) { pressOk(editor); });
    EXPECT_EQ(writes, 0);
}

TEST_F(CallerRefinement, DeleteRemovesTheRowOnlyWithItsRecord)
{
    keep(1, "1");
    open<Cfrm_refine_clr_nbr>();
    ASSERT_EQ(store().DbNbrClrRefineDel(1, "1"), kDbOk);
    select(0);
    press(Delete);
    EXPECT_EQ(model().rowCount(), 1);
    keep(1, "1");
    press(Delete);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(store().DbNbrClrRefineHas(1, "1"), 0u);
}

TEST_F(CallerRefinement, SearchAsksForGroupAndPrefix)
{
    keep(1, "1", "old");
    open<Cfrm_refine_clr_nbr>();
    boxes.expectInput(item(373), item(315), QString(), "1");
    boxes.expectInput(item(373), item(316), QString(), "1");
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored(1, "1").description, "new");
    EXPECT_EQ(cell(0, 2), "old");
    const int& writes = countWrites();
    boxes.expectInput(item(373), item(315), QString(), "1");
    boxes.expectInput(item(373), item(316), QString(), "1");
    boxes.expectEditor(title(), [](QDialog& editor) { pressOk(editor); });
    press(Query);
    EXPECT_EQ(writes, 0);
    boxes.expectInput(item(373), item(315), QString(), "2");
    boxes.expectInput(item(373), item(316), QString(), "1");
    boxes.expect(item(443), item(442));
    press(Query);
    boxes.expectInputToCancel(item(373), item(315), QString());
    press(Query);
    boxes.expectInput(item(373), item(315), QString(), "1");
    boxes.expectInputToCancel(item(373), item(316), QString());
    press(Query);
}

class CalledRefinement : public Refinement {
protected:
    [[nodiscard]] QString title() const { return item(406); }
    void keep(unsigned group, const char* prefix, const char* description = "")
    {
        CalledRecord record;
        record.groupID = group;
        BclCopyStr(record.calledPrefix, prefix);
        BclCopyStr(record.description, description);
        ASSERT_EQ(store().DbRefineCalledNbrAdd(record), kDbOk);
    }
    CalledRecord stored(unsigned group, const char* prefix)
    {
        CalledRecord record;
        record.groupID = group;
        BclCopyStr(record.calledPrefix, prefix);
        EXPECT_EQ(store().DbRefineCalledNbrGet(record), kDbOk) << group << " " << prefix;
        return record;
    }
    void add(const QString& group, const QString& prefix)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            edit(editor, 407).setText(group);
            edit(editor, 207).setText(prefix);
            edit(editor, 283).setText("new");
            combo(editor, 190).setCurrentIndex(1);
            pressOk(editor);
        });
        press(Add);
    }
};

TEST_F(CalledRefinement, TheListIsOrderedByGroupThenPrefix)
{
    keep(10, "1");
    keep(9, "2");
    keep(9, "10");
    open<Cfrm_refine_cld_nbr>();
    EXPECT_EQ(column(0), (QStringList{"9", "9", "10"}));
    EXPECT_EQ(column(1), (QStringList{"10", "2", "1"}));
}

TEST_F(CalledRefinement, AnEmptyPrefixIsAccepted)
{
    open<Cfrm_refine_cld_nbr>();
    add("3", QString());
    EXPECT_EQ(row(0), (QStringList{"3", "", "new", "7"}));
    EXPECT_EQ(stored(3, "").transId, 7u);
    editFirst(title(), [](QDialog& editor) {
        edit(editor, 283).setText("every number");
        pressOk(editor);
    });
    EXPECT_STREQ(stored(3, "").description, "every number");
}

TEST_F(CalledRefinement, AGroupThatIsNoNumberFromOneIsRefusedWithoutAWord)
{
    open<Cfrm_refine_cld_nbr>();
    for (const char* group : {"", "0", "none", "-3"})
        add(group, "1");
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(store().rows<CalledRecord>().get()->size(), 0u);
}

TEST_F(CalledRefinement, AddingAKeyThatExistsDoesNothingAndSaysNothing)
{
    keep(3, "1", "old");
    open<Cfrm_refine_cld_nbr>();
    add("3", "1");
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored(3, "1").description, "old");
}

TEST_F(CalledRefinement, AddOpensEmptyWhateverWasThereBefore)
{
    keep(9, "2", "old");
    open<Cfrm_refine_cld_nbr>();
    editFirst(title(), [](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 407).isEnabled());
        EXPECT_FALSE(edit(editor, 207).isEnabled());
        EXPECT_EQ(edit(editor, 407).text() + edit(editor, 207).text() + edit(editor, 283).text(), "92old");
        combo(editor, 190).setCurrentIndex(1);
        pressCancel(editor);
    });
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_TRUE(edit(editor, 407).isEnabled());
        EXPECT_TRUE(edit(editor, 207).isEnabled());
        EXPECT_EQ(edit(editor, 407).text() + edit(editor, 207).text() + edit(editor, 283).text(), QString());
        EXPECT_EQ(combo(editor, 190).currentIndex(), 0);
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(CalledRefinement, EditRefreshesItsRowInPlace)
{
    keep(1, "1");
    keep(2, "2");
    open<Cfrm_refine_cld_nbr>();
    editFirst(title(), [](QDialog& editor) {
        edit(editor, 283).setText("new");
        combo(editor, 190).setCurrentIndex(1);
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"1", "1", "new", "7"}));
    EXPECT_EQ(cell(1, 0), "2");
    EXPECT_STREQ(stored(1, "1").description, "new");
}

TEST_F(CalledRefinement, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(5, "1");
    keep(6, "1");
    open<Cfrm_refine_cld_nbr>();
    editFirst(title(), [this](QDialog& editor) {
        keep(1, "1");
        frame().hide();
        frame().show();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(2), (QStringList{"", "new", ""}));
}

TEST_F(CalledRefinement, EveryInputHasItsOwnBytesOfTheRecord)
{
    CalledRecord record;
    record.groupID = 3;
    record.transId = 7;
    BclCopyStr(record.calledPrefix, "00");
    BclCopyStr(record.description, "Abroad");
    ASSERT_EQ(store().DbRefineCalledNbrAdd(record), kDbOk);
    open<Cfrm_refine_cld_nbr>();
    EditorRoundTrip trip;
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(CalledRecord());
    trip.putBack = [&] { ASSERT_EQ(store().DbRefineCalledNbrUpdate(record), kDbOk); };
    trip.stored = [&] { return bytesOf(stored(3, "00")); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) { editFirst(title(), use); };
    trip.inputs = {{EditorInput::Edit, 283, {whole(&CalledRecord::description)}},
                   {EditorInput::Combo, 190, {whole(&CalledRecord::transId)}}};
    trip.locked = {{EditorInput::Edit, 407, {whole(&CalledRecord::groupID)}},
                   {EditorInput::Edit, 207, {whole(&CalledRecord::calledPrefix)}}};
    trip.kept = {whole(&CalledRecord::reserved)};
    trip.check();
}

TEST_F(CalledRefinement, OneThatWasDeletedUnderItsEditorStaysDeletedAndItsRowAsItWas)
{
    keep(1, "1", "old");
    open<Cfrm_refine_cld_nbr>();
    editFirst(title(), [this](QDialog& editor) {
        ASSERT_EQ(store().DbRefineCalledNbrDelete(1, "1"), kDbOk);
        edit(editor, 283).setText("new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(store().rows<CalledRecord>().get()->size(), 0u);
    EXPECT_EQ(cell(0, 2), "old");
}

TEST_F(CalledRefinement, DeleteRemovesTheRowOnlyWithItsRecord)
{
    keep(1, "1");
    open<Cfrm_refine_cld_nbr>();
    ASSERT_EQ(store().DbRefineCalledNbrDelete(1, "1"), kDbOk);
    select(0);
    press(Delete);
    EXPECT_EQ(model().rowCount(), 1);
    keep(1, "1");
    press(Delete);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(store().rows<CalledRecord>().get()->size(), 0u);
}

TEST_F(CalledRefinement, SearchStoresThroughItsDialog)
{
    keep(1, "1", "old");
    open<Cfrm_refine_cld_nbr>();
    boxes.expectInput(item(373), item(407), QString(), "1");
    boxes.expectInput(item(373), item(207), QString(), "1");
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored(1, "1").description, "new");
    EXPECT_EQ(cell(0, 2), "old");
    boxes.expectInput(item(373), item(407), QString(), "2");
    boxes.expectInput(item(373), item(207), QString(), "1");
    boxes.expect(item(443), item(442));
    press(Query);
    boxes.expectInputToCancel(item(373), item(407), QString());
    press(Query);
    boxes.expectInput(item(373), item(407), QString(), "1");
    boxes.expectInputToCancel(item(373), item(207), QString());
    press(Query);
}

} // namespace
