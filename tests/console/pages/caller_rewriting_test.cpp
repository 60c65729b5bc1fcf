// The page of the caller ID rewriting.
#include "bcl2/text.h"
#include "frm_clr_rewriting.h"
#include "support/editor_page_fixture.h"

#include <QCheckBox>
#include <QTreeView>

namespace {

class Rewriting : public EditorPageFixture<Cdb_clr_rewriting_info> {
protected:
    using Rule = Cdb_clr_rewriting_info;

    [[nodiscard]] QString title() const override { return item(26); }
    static Rule rule(const char* caller, const char* shown = "", bool isAnonymous = false)
    {
        Rule record;
        BclCopyStr(record.callerNbr, caller);
        BclCopyStr(record.displayName, shown);
        record.isAnonymous = isAnonymous ? 1 : 0;
        return record;
    }
    void keep(const Rule& record) { ASSERT_EQ(store().DbClrReWriteAdd(&record), kDbOk); }
    static Use filled(const char* caller, const char* shown)
    {
        return [=](QDialog& editor) {
            edit(editor, 232).setText(caller);
            edit(editor, 233).setText(shown);
        };
    }
};

TEST_F(Rewriting, IsListedByCaller)
{
    keep(rule("2"));
    keep(rule("10", "Sales", true));
    open<Cfrm_clr_rewriting>();
    EXPECT_EQ(row(0), (QStringList{"10", "Sales", item(69)}));
    EXPECT_EQ(row(1), (QStringList{"2", "", item(70)}));
}

TEST_F(Rewriting, AddStoresAndAppendsTheRow)
{
    keep(rule("2"));
    open<Cfrm_clr_rewriting>();
    add([](QDialog& editor) {
        filled(".", "The office")(editor);
        check(editor, 470).setChecked(true);
    });
    EXPECT_EQ(row(1), (QStringList{".", "The office", item(69)}));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(rule(".", "The office", true)));
}

TEST_F(Rewriting, AnEmptyCallerNumberIsRefusedAndAnEmptyDisplayNameAccepted)
{
    open<Cfrm_clr_rewriting>();
    addToBeRefused(item(77), "Please check Caller ID or Display name. They cannot be NULLP", filled("", "x"));
    EXPECT_EQ(stored().size(), 0u);
    add(filled("1000", ""));
    EXPECT_EQ(row(0), (QStringList{"1000", "", item(70)}));
    EXPECT_EQ(stored().size(), 1u);
}

TEST_F(Rewriting, AddingACallerThatExistsDoesNothingAndSaysNothing)
{
    keep(rule("1000", "old"));
    open<Cfrm_clr_rewriting>();
    addToBeRefused({}, {}, filled("1000", "new"));
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored().at(0).displayName, "old");
}

TEST_F(Rewriting, AddOpensEmptyWhateverWasThereBefore)
{
    keep(rule("1000", "x", true));
    open<Cfrm_clr_rewriting>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {232, 233}), "1000x");
        EXPECT_TRUE(check(editor, 470).isChecked());
        EXPECT_FALSE(edit(editor, 232).isEnabled());
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(texts(editor, {232, 233}), QString());
        EXPECT_FALSE(check(editor, 470).isChecked());
        EXPECT_TRUE(edit(editor, 232).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(Rewriting, EditShowsWhatTheStoreHoldsAndRefreshesItsRowInPlace)
{
    keep(rule("1000"));
    keep(rule("1001"));
    open<Cfrm_clr_rewriting>();
    const Rule changed = rule("1000", "changed");
    ASSERT_EQ(store().DbClrReWriteUpdate(&changed), kDbOk);
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 233).text(), "changed");
        check(editor, 470).setChecked(true);
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"1000", "changed", item(69)}));
    EXPECT_EQ(row(1), (QStringList{"1001", "", item(70)}));
    EXPECT_EQ(stored().at(0).isAnonymous, 1);
}

TEST_F(Rewriting, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(rule("1000"));
    open<Cfrm_clr_rewriting>();
    editRow(0, [this](QDialog& editor) {
        keep(rule("1"));
        showAgain();
        edit(editor, 233).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"", "new"}));
}

TEST_F(Rewriting, OneThatIsGoneIsNotEditedNorAddedAgain)
{
    keep(rule("1000", "old"));
    open<Cfrm_clr_rewriting>();
    editRow(0, [this](QDialog& editor) {
        const Rule gone = stored().at(0);
        ASSERT_EQ(store().DbClrReWriteDel(&gone), kDbOk);
        edit(editor, 233).setText("new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(cell(0, 1), "old");
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(Rewriting, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Rule record = rule("1000", "Sales", true);
    keep(record);
    open<Cfrm_clr_rewriting>();
    checkThatEveryInputHasItsOwnBytes(
        record, [&] { ASSERT_EQ(store().DbClrReWriteUpdate(&record), kDbOk); },
        {{Input::Edit, 233, {whole(&Rule::displayName)}}, {Input::Check, 470, {only(&Rule::isAnonymous, 1)}}},
        {{Input::Edit, 232, {whole(&Rule::callerNbr)}}}, {only(&Rule::isAnonymous, 0xfe)});
}

TEST_F(Rewriting, DeleteRemovesTheRowOnlyWithItsRecord)
{
    keep(rule("1000"));
    open<Cfrm_clr_rewriting>();
    const Rule gone = stored().at(0);
    ASSERT_EQ(store().DbClrReWriteDel(&gone), kDbOk);
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 1);
    keep(rule("1000"));
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(stored().size(), 0u);
}

TEST_F(Rewriting, SearchAsksForTheCallerAndLeavesTheListUntilRefresh)
{
    keep(rule("1000"));
    open<Cfrm_clr_rewriting>();
    boxes.expectInput(item(373), item(232), QString(), "1000");
    expectEditor([](QDialog& editor) {
        edit(editor, 233).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored().at(0).displayName, "new");
    EXPECT_EQ(cell(0, 1), QString());
    boxes.expectInput(item(373), item(232), QString(), "1001");
    boxes.expect(item(443), item(442));
    press(Query);
    boxes.expectInputToCancel(item(373), item(232), QString());
    press(Query);
}

} // namespace
