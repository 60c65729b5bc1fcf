// The page of the called number analysis: its list and its commands.
#include "console/pages/called_analysis_pages.h"

namespace {

class CalledAnalysisList : public CalledAnalysisPages {};

TEST_F(CalledAnalysisList, TheListIsOrderedByPlanThenPrefixAndHasServiceTypeZeroOnly)
{
    keep(analysis("night", "0"));
    keep(analysis("default", "2"));
    keep(analysis("default", "10"));
    Analysis other = analysis("default", "1");
    other.serviceType = 1;
    keep(other);
    open<Cfrm_ana_cld_nbr>();
    EXPECT_EQ(column(0), (QStringList{"default", "default", "night"}));
    EXPECT_EQ(column(1), (QStringList{"10", "2", "0"}));
}

TEST_F(CalledAnalysisList, RowsNameTheirRouteTypes)
{
    const std::vector<QString> kNames = {item(213), item(214), item(215), "Unknown",
                                         item(312), "Unknown", item(395), "Unknown"};
    for (uint32_t type = 0; type < kNames.size(); ++type) {
        Analysis record = analysis("default", std::to_string(type).c_str());
        record.routeType = type;
        keep(record);
    }
    open<Cfrm_ana_cld_nbr>();
    for (int type = 0; type < static_cast<int>(kNames.size()); ++type)
        EXPECT_EQ(cell(type, 3), kNames.at(static_cast<size_t>(type))) << type;
}

TEST_F(CalledAnalysisList, ATransitionOfZeroIsNoChangeWhateverTheFlagSays)
{
    Analysis flagged = analysis("default", "1");
    flagged.calledChanged = 1;
    Analysis unflagged = analysis("default", "2");
    unflagged.transId = 7;
    unflagged.transOption = 1;
    unflagged.level = 6;
    keep(flagged);
    keep(unflagged);
    open<Cfrm_ana_cld_nbr>();
    EXPECT_EQ(row(0), (QStringList{"default", "1", "", item(213), item(69), "no change", item(70), "0"}));
    EXPECT_EQ(row(1), (QStringList{"default", "2", "", item(213), item(70), "7", item(69), "6"}));
}

TEST_F(CalledAnalysisList, WhatTheStoreCannotWriteIsShownAllTheSame)
{
    keep(analysis("default", "1"));
    open<Cfrm_ana_cld_nbr>();
    refuseWrites();
    add([](QDialog&) {});
    EXPECT_EQ(column(1), (QStringList{"1", "00"}));
    editRow(0, [](QDialog& editor) {
        combo(editor, 218).setCurrentIndex(2);
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"00", "1"}));
    EXPECT_EQ(cell(1, 7), "2");
    EXPECT_EQ(stored("default", "1").level, 0u);
}

TEST_F(CalledAnalysisList, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(analysis("default", "5"));
    keep(analysis("default", "6"));
    open<Cfrm_ana_cld_nbr>();
    editRow(0, [this](QDialog& editor) {
        keep(analysis("default", "1"));
        frame().hide();
        frame().show();
        combo(editor, 218).setCurrentIndex(2);
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"1", "6", "5"}));
    press(Delete);
    EXPECT_EQ(column(1), (QStringList{"1", "6"})) << "the edited row stays the current one";
}

TEST_F(CalledAnalysisList, AnEditedRowMovesToTheEndUntilRefresh)
{
    for (const char* prefix : {"1", "2", "3"})
        keep(analysis("default", prefix));
    open<Cfrm_ana_cld_nbr>();
    editRow(0, [](QDialog& editor) {
        combo(editor, 218).setCurrentIndex(2);
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"2", "3", "1"}));
    EXPECT_EQ(cell(2, 7), "2");
    EXPECT_EQ(stored("default", "1").level, 2u);
    press(Refresh);
    EXPECT_EQ(column(1), (QStringList{"1", "2", "3"}));
}

TEST_F(CalledAnalysisList, AddingARowThatExistsSaysSoAndStoresNothing)
{
    Analysis record = analysis("default", "00");
    record.level = 3;
    keep(record);
    open<Cfrm_ana_cld_nbr>();
    expectEditor([](QDialog& editor) {
        edit(editor, 207).setText("00");
        pressOk(editor);
    });
    boxes.expect(item(76), item(73));
    press(Add);
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_EQ(stored("default", "00").level, 3u);
}

TEST_F(CalledAnalysisList, EditOfARecordThatIsGoneOpensNothing)
{
    keep(analysis("default", "1"));
    open<Cfrm_ana_cld_nbr>();
    ASSERT_EQ(store().DbNbrCldAnaDel("default", "1"), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(CalledAnalysisList, DeleteRemovesTheRowAlsoOfARecordThatIsGone)
{
    keep(analysis("default", "1"));
    keep(analysis("night", "1"));
    open<Cfrm_ana_cld_nbr>();
    ASSERT_EQ(store().DbNbrCldAnaDel("default", "1"), kDbOk);
    deleteAll(2);
    EXPECT_EQ(store().rows<Analysis>().get()->size(), 0u);
}

TEST_F(CalledAnalysisList, SearchAsksForThePlanBeginningWithTheDefaultAndThenForThePrefix)
{
    keep(analysis("default", "1"));
    open<Cfrm_ana_cld_nbr>();
    boxes.expectInput(item(373), item(224), "default", "default");
    boxes.expectInput(item(373), item(207), QString(), "1");
    expectEditor([](QDialog& editor) {
        combo(editor, 218).setCurrentIndex(2);
        pressOk(editor);
    });
    press(Query);
    EXPECT_EQ(stored("default", "1").level, 2u);
    EXPECT_EQ(cell(0, 7), "0");
    const int& writes = countWrites();
    boxes.expectInput(item(373), item(224), "default", "default");
    boxes.expectInput(item(373), item(207), QString(), "1");
    expectEditor([](QDialog& editor) { pressOk(editor); });
    press(Query);
    EXPECT_EQ(writes, 0);
    boxes.expectInputToCancel(item(373), item(224), "default");
    press(Query);
    boxes.expectInput(item(373), item(224), "default", "default");
    boxes.expectInputToCancel(item(373), item(207), QString());
    press(Query);
}

TEST_F(CalledAnalysisList, SearchForAnUnknownRowOrOneOfAnotherServiceSaysSo)
{
    Analysis other = analysis("default", "1");
    other.serviceType = 1;
    keep(other);
    open<Cfrm_ana_cld_nbr>();
    for (const char* prefix : {"77", "1"}) {
        boxes.expectInput(item(373), item(224), "default", "default");
        boxes.expectInput(item(373), item(207), QString(), prefix);
        boxes.expect(item(443), item(442));
        press(Query);
    }
}

} // namespace
