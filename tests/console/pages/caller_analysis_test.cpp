// The page of the caller number analysis.
#include "bcl2/text.h"
#include "frm_ana_clr_nbr.h"
#include "support/editor_page_fixture.h"

#include <QTreeView>
#include <QtTest>

namespace {

using Analysis = Cdb_nbr_clr_ana_data;

Analysis analysis(const char* prefix, const char* plan = "", unsigned transition = 0)
{
    Analysis record;
    BclCopyStr(record.callerPrefix, prefix);
    BclCopyStr(record.dialPlan, plan);
    record.transId = transition;
    return record;
}

class CallerAnalysis : public EditorFixture {
protected:
    void SetUp() override
    {
        EditorFixture::SetUp();
        for (const unsigned id : {7u, 8u}) {
            Cdb_nbr_trans_data transition;
            transition.transid = id;
            transition.type = 1;
            BclCopyStr(transition.digits, "00");
            ASSERT_EQ(store().DbNbrTransSet(transition), kDbOk);
        }
    }
    [[nodiscard]] QString title() const override { return item(221); }
    void keep(const Analysis& record) { ASSERT_EQ(store().DbNbrClrAnaSet(record), kDbOk); }
    Analysis stored(const char* prefix)
    {
        Analysis record = analysis(prefix);
        EXPECT_EQ(store().DbNbrClrAnaGet(record), kDbOk) << prefix;
        return record;
    }
    static QComboBox& transition(QDialog& editor) { return input<QComboBox>(editor, 223); }
    static QComboBox& plan(QDialog& editor) { return input<QComboBox>(editor, 224); }
    // With the prefix 41.
    void add(const Use& fill)
    {
        EditorFixture::add([fill](QDialog& editor) {
            edit(editor, 222).setText("41");
            fill(editor);
        });
    }
};

TEST_F(CallerAnalysis, TheListIsOrderedByPrefixAndATransitionOfZeroIsNoChange)
{
    keep(analysis("9", "night", 7));
    keep(analysis("10"));
    open<Cfrm_ana_clr_nbr>();
    EXPECT_EQ(row(0), (QStringList{"10", "", "no change", ""}));
    EXPECT_EQ(row(1), (QStringList{"9", "", "7", "night"}));
}

TEST_F(CallerAnalysis, AddOpensWithTheDefaultsWhateverWasThereBefore)
{
    keep(analysis("9", "night", 7));
    open<Cfrm_ana_clr_nbr>();
    editRow(0, [](QDialog& editor) { pressCancel(editor); });
    expectEditor([](QDialog& editor) {
        EXPECT_TRUE(edit(editor, 222).isEnabled());
        EXPECT_EQ(edit(editor, 222).text() + edit(editor, 283).text(), QString());
        EXPECT_EQ(transition(editor).currentText(), "no change");
        EXPECT_EQ(plan(editor).currentText(), "default");
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(CallerAnalysis, AddStoresATypedPlanAndAppendsTheRow)
{
    keep(analysis("9"));
    open<Cfrm_ana_clr_nbr>();
    add([](QDialog& editor) {
        edit(editor, 283).setText(QString::fromUtf8("Zürich"));
        transition(editor).setCurrentIndex(2);
        plan(editor).setEditText("branch");
    });
    EXPECT_EQ(row(1), (QStringList{"41", QString::fromUtf8("Zürich"), "8", "branch"}));
    EXPECT_STREQ(stored("41").dialPlan, "branch");
    EXPECT_EQ(stored("41").transId, 8u);
    expectEditor([](QDialog& editor) {
        EXPECT_GE(plan(editor).findText("branch"), 0) << "it can be chosen from now on";
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(CallerAnalysis, AnEmptyPlanIsStoredEmptyAndStaysSo)
{
    open<Cfrm_ana_clr_nbr>();
    add([](QDialog& editor) { plan(editor).clearEditText(); });
    EXPECT_STREQ(stored("41").dialPlan, "");
    const int& writes = countWrites();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(plan(editor).currentText(), QString());
        pressOk(editor);
    });
    EXPECT_EQ(writes, 0);
}

TEST_F(CallerAnalysis, ATypedPlanIsNotCompletedToALongerOne)
{
    keep(analysis("1", "nightshift"));
    open<Cfrm_ana_clr_nbr>();
    add([](QDialog& editor) {
        plan(editor).lineEdit()->selectAll();
        QTest::keyClicks(plan(editor).lineEdit(), "night");
    });
    EXPECT_STREQ(stored("41").dialPlan, "night");
}

TEST_F(CallerAnalysis, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    Analysis record = analysis("41", "night", 7);
    BclCopyStr(record.description, "Branch");
    keep(record);
    open<Cfrm_ana_clr_nbr>();
    EditorRoundTrip trip;
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(Analysis());
    trip.putBack = [&] { keep(record); };
    trip.stored = [&] { return bytesOf(stored("41")); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) { editRow(0, use); };
    trip.inputs = {{Input::Edit, 283, {whole(&Analysis::description)}},
                   {Input::Combo, 223, {whole(&Analysis::transId)}},
                   {Input::Combo, 224, {whole(&Analysis::dialPlan)}}};
    trip.locked = {{Input::Edit, 222, {whole(&Analysis::callerPrefix)}}};
    trip.kept = {whole(&Analysis::reserved)};
    trip.check();
}

TEST_F(CallerAnalysis, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(analysis("5"));
    keep(analysis("6"));
    open<Cfrm_ana_clr_nbr>();
    editRow(0, [this](QDialog& editor) {
        keep(analysis("1"));
        frame().hide();
        frame().show();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"", "new", ""}));
}

TEST_F(CallerAnalysis, WhatTheStoreCannotWriteIsShownAllTheSame)
{
    keep(analysis("1"));
    open<Cfrm_ana_clr_nbr>();
    refuseWrites();
    add([](QDialog&) {});
    EXPECT_EQ(column(0), (QStringList{"1", "41"}));
    editRow(0, [](QDialog& editor) {
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(cell(0, 1), "new");
    EXPECT_STREQ(stored("1").description, "");
}

TEST_F(CallerAnalysis, AnEmptyPrefixIsRefusedInWords)
{
    open<Cfrm_ana_clr_nbr>();
    expectEditor([](QDialog& editor) {
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    boxes.expect("Parameter Invalid", "Invalid caller prefix.");
    press(Add);
    EXPECT_EQ(store().rows<Analysis>().get()->size(), 0u);
}

TEST_F(CallerAnalysis, TextsAreCutAtTheirBounds)
{
    open<Cfrm_ana_clr_nbr>();
    const QString longText(200, QLatin1Char('4'));
    add([&](QDialog& editor) {
        edit(editor, 222).setText(longText);
        edit(editor, 283).setText(longText);
        plan(editor).setEditText(longText);
    });
    const Analysis record = stored(std::string(32, '4').c_str());
    EXPECT_EQ(std::string(record.description).size(), 64u);
    EXPECT_EQ(std::string(record.dialPlan).size(), 32u);
}

TEST_F(CallerAnalysis, EditRefreshesItsRowInPlaceAndLocksThePrefix)
{
    keep(analysis("1", "default", 7));
    keep(analysis("2"));
    open<Cfrm_ana_clr_nbr>();
    editRow(0, [](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 222).isEnabled());
        EXPECT_EQ(edit(editor, 222).text(), "1");
        EXPECT_EQ(transition(editor).currentData().toUInt(), 7u);
        EXPECT_EQ(plan(editor).currentText(), "default");
        edit(editor, 283).setText("new");
        transition(editor).setCurrentIndex(0);
        plan(editor).setEditText("night");
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"1", "new", "no change", "night"}));
    EXPECT_EQ(cell(1, 0), "2");
    EXPECT_STREQ(stored("1").dialPlan, "night");
}

TEST_F(CallerAnalysis, AddingAPrefixThatExistsSaysSoAndStoresNothing)
{
    keep(analysis("41", "night"));
    open<Cfrm_ana_clr_nbr>();
    expectEditor([](QDialog& editor) {
        edit(editor, 222).setText("41");
        pressOk(editor);
    });
    boxes.expect(item(76), item(73));
    press(Add);
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored("41").dialPlan, "night");
}

TEST_F(CallerAnalysis, ARecordThatIsGoneOpensNothingAndItsRowIsDeleted)
{
    keep(analysis("1"));
    open<Cfrm_ana_clr_nbr>();
    ASSERT_EQ(store().DbNbrClrAnaDel("1"), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
    press(Delete);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(CallerAnalysis, DeleteRemovesTheRecord)
{
    keep(analysis("1"));
    open<Cfrm_ana_clr_nbr>();
    select(0);
    press(Delete);
    EXPECT_EQ(store().DbNbrClrAnaHas("1"), 0u);
}

TEST_F(CallerAnalysis, SearchEditsARecordAndLeavesTheListUntilRefresh)
{
    keep(analysis("1", "default"));
    open<Cfrm_ana_clr_nbr>();
    boxes.expectInput(item(373), item(222), QString(), "1");
    expectEditor([](QDialog& editor) {
        plan(editor).setEditText("night");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored("1").dialPlan, "night");
    EXPECT_EQ(cell(0, 3), "default");
    const int& writes = countWrites();
    boxes.expectInput(item(373), item(222), QString(), "1");
    expectEditor([](QDialog& editor) { pressOk(editor); });
    press(Query);
    EXPECT_EQ(writes, 0);
    boxes.expectInput(item(373), item(222), QString(), "2");
    boxes.expect(item(443), item(442));
    press(Query);
    boxes.expectInputToCancel(item(373), item(222), QString());
    press(Query);
}

} // namespace
