// The page of the numbers that lead to hunting groups.
#include "console/pages/hunting_pages.h"
#include "frm_hg_dect.h"

#include <QCheckBox>
#include <QTreeView>

namespace {

class HuntingDetection : public HuntingPages {
protected:
    [[nodiscard]] QString title() const override { return item(290); }
    static Detection detection(const char* plan, const char* number, unsigned group = 0)
    {
        Detection record;
        BclCopyStr(record.dialPlan, plan);
        BclCopyStr(record.calledNbr, number);
        record.groupID = group;
        return record;
    }
    void keepRule(const char* plan, const char* number, unsigned group)
    {
        ASSERT_EQ(store().DbHGAddDetect(detection(plan, number, group)), kDbOk);
    }
    Detection stored(const char* plan, const char* number)
    {
        Detection record = detection(plan, number);
        EXPECT_EQ(store().DbHGGetDetect(record), kDbOk) << plan << " " << number;
        return record;
    }
    [[nodiscard]] size_t storedRules() { return store().rows<Detection>().get()->size(); }
};

TEST_F(HuntingDetection, IsListedByDialPlanThenNumber)
{
    keepRule("night", "1", 10);
    keepRule("default", "9", 9);
    keepRule("default", "80", 12);
    open<Cfrm_hg_dect>();
    EXPECT_EQ(row(0), (QStringList{"default", "80", "12"}));
    EXPECT_EQ(row(1), (QStringList{"default", "9", "9"}));
    EXPECT_EQ(row(2), (QStringList{"night", "1", "10"}));
}

TEST_F(HuntingDetection, NeedsAGroupFirst)
{
    open<Cfrm_hg_dect>();
    boxes.expect("Invalid operation", kNoGroup);
    press(Add);
    EXPECT_EQ(storedRules(), 0u);
}

TEST_F(HuntingDetection, AddStoresThePlanTheNumberAndTheGroup)
{
    keepGroup(5);
    keepGroup(12);
    keepRule("night", "1", 5);
    open<Cfrm_hg_dect>();
    expectEditor([](QDialog& editor) {
        combo(editor, 291).setCurrentText("night");
        edit(editor, 292).setText(".");
        combo(editor, 282).setCurrentIndex(1);
        pressOk(editor);
    });
    press(Add);
    EXPECT_EQ(row(1), (QStringList{"night", ".", "12"}));
    EXPECT_EQ(stored("night", ".").groupID, 12u);
}

TEST_F(HuntingDetection, AnEmptyNumberIsRefusedInWords)
{
    keepGroup(5);
    open<Cfrm_hg_dect>();
    addToBeRefused(item(77), "Please configure called number prefix.", [](QDialog&) {});
    EXPECT_EQ(storedRules(), 0u);
}

TEST_F(HuntingDetection, AKeyThatExistsIsRefusedWithoutAWord)
{
    keepGroup(5);
    keepGroup(6);
    keepRule("default", "80", 5);
    open<Cfrm_hg_dect>();
    expectEditor([](QDialog& editor) {
        edit(editor, 292).setText("80");
        combo(editor, 282).setCurrentIndex(1);
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    press(Add);
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_EQ(stored("default", "80").groupID, 5u);
}

TEST_F(HuntingDetection, AddOpensEmptyWhateverWasThereBefore)
{
    keepGroup(5);
    keepGroup(6);
    keepRule("night", "80", 6);
    open<Cfrm_hg_dect>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(combo(editor, 291).currentText() + edit(editor, 292).text(), "night80");
        EXPECT_EQ(combo(editor, 282).currentData().toInt(), 6);
        pressCancel(editor);
    });
    keepGroup(7);
    keepRule("weekend", "80", 7);
    expectEditor([](QDialog& editor) {
        EXPECT_EQ(combo(editor, 282).count(), 3) << "groups that came meanwhile are offered";
        EXPECT_GE(combo(editor, 291).findText("weekend"), 0);
        EXPECT_EQ(combo(editor, 291).currentText(), "default");
        EXPECT_EQ(edit(editor, 292).text(), QString());
        EXPECT_EQ(combo(editor, 282).currentData().toInt(), 5);
        EXPECT_TRUE(combo(editor, 291).isEnabled());
        EXPECT_TRUE(edit(editor, 292).isEnabled());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(HuntingDetection, EditCanChangeTheGroupOnlyAndMovesTheRowToTheEnd)
{
    using Input = EditorInput;
    keepGroup(5);
    keepGroup(6);
    keepRule("night", "1", 5);
    keepRule("night", "80", 6);
    open<Cfrm_hg_dect>();
    const Detection record = stored("night", "80");
    EditorRoundTrip trip;
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(Detection());
    trip.putBack = [&] {
        ASSERT_EQ(store().DbHGUpdateDetect(record), kDbOk);
        press(Refresh);
    };
    trip.stored = [&] { return bytesOf(stored("night", "80")); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) {
        select(1);
        expectEditor(use);
        press(Edit);
    };
    trip.inputs = {{Input::Combo, 282, {whole(&Detection::groupID)}}};
    trip.locked = {{Input::Combo, 291, {whole(&Detection::dialPlan)}},
                   {Input::Edit, 292, {whole(&Detection::calledNbr)}}};
    trip.kept = {whole(&Detection::reserved)};
    trip.check();
    press(Refresh);
    editRow(0, [](QDialog& editor) {
        combo(editor, 282).setCurrentIndex(1);
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"80", "1"}));
    EXPECT_EQ(view().currentIndex().row(), 1) << "what is done next is done to the edited rule";
    EXPECT_EQ(row(1), (QStringList{"night", "1", "6"}));
}

TEST_F(HuntingDetection, EditTakesTheRowAndNotTheStore)
{
    keepGroup(5);
    keepGroup(6);
    keepGroup(7);
    keepRule("default", "80", 6);
    open<Cfrm_hg_dect>();
    ASSERT_EQ(store().DbHGUpdateDetect(detection("default", "80", 7)), kDbOk);
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(combo(editor, 282).currentData().toInt(), 6);
        pressCancel(editor);
    });
}

TEST_F(HuntingDetection, ARuleOfAGroupThatIsGoneShowsTheFirstGroupAndKeepsItsOwnWhereThereIsNone)
{
    keepRule("default", "80", 9);
    open<Cfrm_hg_dect>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(combo(editor, 282).currentIndex(), -1);
        pressOk(editor);
    });
    EXPECT_EQ(stored("default", "80").groupID, 9u);
    keepGroup(5);
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(combo(editor, 282).currentData().toInt(), 5);
        pressOk(editor);
    });
    EXPECT_EQ(stored("default", "80").groupID, 5u);
}

TEST_F(HuntingDetection, OneThatWasDeletedUnderItsEditorStaysDeletedAndItsRowAsItWas)
{
    keepGroup(5);
    keepGroup(6);
    keepRule("default", "80", 5);
    open<Cfrm_hg_dect>();
    editRow(0, [this](QDialog& editor) {
        ASSERT_EQ(store().DbHGDelDetect("default", "80"), kDbOk);
        combo(editor, 282).setCurrentIndex(1);
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(storedRules(), 0u);
    EXPECT_EQ(row(0), (QStringList{"default", "80", "5"}));
}

TEST_F(HuntingDetection, ARuleWhosePlanIsGoneDoesNotWriteOverThatOfTheDefaultPlan)
{
    keepGroup(5);
    keepGroup(6);
    keepRule("default", "80", 5);
    keepRule("night", "80", 5);
    open<Cfrm_hg_dect>();
    ASSERT_EQ(store().DbHGDelDetect("night", "80"), kDbOk);
    select(1);
    expectEditor([](QDialog& editor) {
        combo(editor, 282).setCurrentIndex(1);
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    press(Edit);
    EXPECT_EQ(stored("default", "80").groupID, 5);
}

TEST_F(HuntingDetection, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keepGroup(5);
    keepRule("default", "80", 5);
    keepRule("default", "9", 5);
    open<Cfrm_hg_dect>();
    editRow(0, [this](QDialog& editor) {
        keepRule("default", "1", 5);
        frame().hide();
        frame().show();
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"1", "9", "80"}));
}

TEST_F(HuntingDetection, DeleteRemovesTheRowAlsoOfARuleThatIsGone)
{
    keepRule("default", "80", 5);
    keepRule("night", "80", 5);
    open<Cfrm_hg_dect>();
    ASSERT_EQ(store().DbHGDelDetect("default", "80"), kDbOk);
    deleteAll(2);
    EXPECT_EQ(storedRules(), 0u);
}

TEST_F(HuntingDetection, SearchAsksForPlanAndNumberAndLeavesTheListUntilRefresh)
{
    keepGroup(5);
    keepGroup(6);
    keepRule("night", "80", 5);
    open<Cfrm_hg_dect>();
    expectSearchFor("night", "80");
    expectEditor([](QDialog& editor) {
        EXPECT_EQ(combo(editor, 291).currentText(), "night");
        combo(editor, 282).setCurrentIndex(1);
        pressOk(editor);
    });
    press(Query);
    EXPECT_EQ(stored("night", "80").groupID, 6u);
    EXPECT_EQ(cell(0, 2), "5");
    expectSearchFor("default", "80");
    boxes.expect(item(443), item(442));
    press(Query);
    searchInVain();
}

} // namespace
