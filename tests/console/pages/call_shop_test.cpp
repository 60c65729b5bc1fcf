// The page of the call shop rates.
#include "bcl2/text.h"
#include "frm_callshop.h"
#include "support/editor_page_fixture.h"

#include <QTreeView>

namespace {

class CallShop : public EditorPageFixture<Cdb_call_shop_fee_rate_info> {
protected:
    using Rate = Cdb_call_shop_fee_rate_info;

    [[nodiscard]] QString title() const override { return item(253); }
    static Rate rate(const char* called, uint32_t interval = 60, uint32_t fee = 5, const char* description = "x")
    {
        Rate record;
        BclCopyStr(record.calledNbr, called);
        BclCopyStr(record.description, description);
        record.interval = interval;
        record.fee = fee;
        return record;
    }
    void keep(const Rate& record) { ASSERT_EQ(store().DbCallShopAdd(&record), kDbOk); }
    static Use filled(const QStringList& values)
    {
        return [=](QDialog& editor) {
            int at = 0;
            for (const int label : {207, 283, 255, 256})
                edit(editor, label).setText(values[at++]);
        };
    }
};

TEST_F(CallShop, RatesAreListedByTheirPrefixes)
{
    keep(rate("2", 60, 3));
    keep(rate("10", 30, 4294967295, "Far"));
    open<Cfrm_callshop>();
    EXPECT_EQ(row(0), (QStringList{"10", "Far", "30", "4294967295"}));
    EXPECT_EQ(row(1), (QStringList{"2", "x", "60", "3"}));
    view().sortByColumn(2, Qt::AscendingOrder);
    EXPECT_EQ(column(2), (QStringList{"30", "60"}));
}

TEST_F(CallShop, AddStoresAndAppendsTheRow)
{
    keep(rate("2"));
    open<Cfrm_callshop>();
    add(filled({"00", "International", "30", "25"}));
    EXPECT_EQ(row(1), (QStringList{"00", "International", "30", "25"}));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(rate("00", 30, 25, "International")));
}

TEST_F(CallShop, NumbersMayBeOctalOrHexadecimalAndWhatIsNoneIsZero)
{
    open<Cfrm_callshop>();
    add(filled({"1", "x", "010", "0x10"}));
    add(filled({"2", "x", "none", "-1"}));
    EXPECT_EQ(row(0), (QStringList{"1", "x", "8", "16"}));
    EXPECT_EQ(row(1), (QStringList{"2", "x", "0", "0"}));
}

TEST_F(CallShop, EveryInputMustBeFilledIn)
{
    open<Cfrm_callshop>();
    for (int empty = 0; empty < 4; ++empty) {
        QStringList values = {"00", "International", "30", "25"};
        values[empty].clear();
        addToBeRefused(item(77), "Please check parameters. They cannot be NULLP", filled(values));
    }
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(CallShop, AddingAPrefixThatExistsDoesNothingAndSaysNothing)
{
    keep(rate("1", 60, 5, "old"));
    open<Cfrm_callshop>();
    addToBeRefused({}, {}, filled({"1", "new", "1", "1"}));
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored().at(0).description, "old");
}

TEST_F(CallShop, AddOpensWithZerosWhateverWasThereBefore)
{
    keep(rate("1", 60, 5));
    open<Cfrm_callshop>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {207, 283, 255, 256}), "1x605");
        EXPECT_FALSE(edit(editor, 207).isEnabled());
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(texts(editor, {207, 283}), QString());
        EXPECT_EQ(edit(editor, 255).text(), "0");
        EXPECT_EQ(edit(editor, 256).text(), "0");
        EXPECT_TRUE(edit(editor, 207).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(CallShop, EditShowsWhatTheRowShowsAndRefreshesItInPlace)
{
    keep(rate("1", 60, 5, "Old"));
    keep(rate("2"));
    open<Cfrm_callshop>();
    const Rate changed = rate("1", 1, 1, "Changed");
    ASSERT_EQ(store().DbCallShopUpdate(&changed), kDbOk);
    takeStatements();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {207, 283, 255, 256}), "1Old605");
        edit(editor, 256).setText("7");
        pressOk(editor);
    });
    EXPECT_EQ(takeStatements(), QStringList());
    EXPECT_EQ(row(0), (QStringList{"1", "Old", "60", "7"}));
    EXPECT_EQ(row(1), (QStringList{"2", "x", "60", "5"}));
    EXPECT_EQ(bytesOf(stored().at(0)), bytesOf(rate("1", 60, 7, "Old")));
}

TEST_F(CallShop, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(rate("2"));
    open<Cfrm_callshop>();
    editRow(0, [this](QDialog& editor) {
        keep(rate("1"));
        showAgain();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"x", "new"}));
}

TEST_F(CallShop, OneThatWasDeletedUnderItsEditorStaysDeletedAndItsRowAsItWas)
{
    keep(rate("1"));
    open<Cfrm_callshop>();
    editRow(0, [this](QDialog& editor) {
        const Rate gone = stored().at(0);
        ASSERT_EQ(store().DbCallShopDel(&gone), kDbOk);
        edit(editor, 283).setText("new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(cell(0, 1), "x");
}

TEST_F(CallShop, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Rate record = rate("1", 0xfffffff0, 0xfffffff0, "Local");
    keep(record);
    open<Cfrm_callshop>();
    checkThatEveryInputHasItsOwnBytes(record, [&] { ASSERT_EQ(store().DbCallShopUpdate(&record), kDbOk); },
                                      {{Input::Edit, 283, {whole(&Rate::description)}},
                                       {Input::Edit, 255, {whole(&Rate::interval)}},
                                       {Input::Edit, 256, {whole(&Rate::fee)}}},
                                      {{Input::Edit, 207, {whole(&Rate::calledNbr)}}}, {whole(&Rate::reserved)});
}

TEST_F(CallShop, DeleteRemovesTheRowWhateverTheStoreSays)
{
    keep(rate("1"));
    keep(rate("2"));
    open<Cfrm_callshop>();
    deleteRow(0);
    EXPECT_EQ(stored().size(), 1u);
    refuseWrites();
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(stored().size(), 1u);
}

} // namespace
