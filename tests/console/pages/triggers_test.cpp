// The pages of the IVR triggers and of the Lua triggers: twins but for the trigger point.
#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"
#include "frm_ivr_trigger.h"
#include "frm_lua_trigger.h"
#include "support/editor_page_fixture.h"

#include <QTreeView>

namespace {

const QString kInvalid = QStringLiteral("Invalid parameter");
const QString kSameIndex = QStringLiteral("Current record has the same index items with previous records.");

class IvrTriggers : public EditorPageFixture<Cdb_ivr_trigger_data> {
protected:
    using Trigger = Cdb_ivr_trigger_data;

    [[nodiscard]] QString title() const override { return item(349); }
    static Trigger trigger(const char* plan, const char* number, const char* file = "menu.xml", const char* name = "")
    {
        Trigger record;
        record.dialPlan.SetNbr(plan);
        record.calledNbr.SetNbr(number);
        BclCopyStr(record.name, name);
        BclCopyStr(record.fileName, file);
        return record;
    }
    void keep(const Trigger& record) { ASSERT_EQ(store().DbAddIVRTrigger(&record), kDbOk); }
    static Use filled(const char* number, const char* file)
    {
        return [=](QDialog& editor) {
            edit(editor, 292).setText(number);
            edit(editor, 347).setText(file);
        };
    }
    void expectQuestions(const QString& plan, const QString& number)
    {
        boxes.expectInput(item(373), item(291), "default", plan);
        boxes.expectInput(item(373), item(292), QString(), number);
    }
};

TEST_F(IvrTriggers, AreListedByPlanThenNumber)
{
    keep(trigger("night", "10"));
    keep(trigger("default", "9"));
    keep(trigger("default", "10"));
    open<Cfrm_ivr_trigger>();
    EXPECT_EQ(column(0), (QStringList{"default", "default", "night"}));
    EXPECT_EQ(column(1), (QStringList{"10", "9", "10"}));
}

TEST_F(IvrTriggers, AddStoresAndAppendsTheRow)
{
    keep(trigger("night", "9"));
    open<Cfrm_ivr_trigger>();
    add([](QDialog& editor) {
        EXPECT_EQ(combo(editor, 291).count(), 2);
        combo(editor, 291).setCurrentIndex(1);
        edit(editor, 292).setText("1");
        edit(editor, 283).setText("Night");
        edit(editor, 347).setText("night.xml");
    });
    EXPECT_EQ(row(1), (QStringList{"night", "1", "Night", "night.xml"}));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(trigger("night", "1", "night.xml", "Night")));
}

TEST_F(IvrTriggers, AnEmptyNameIsAccepted)
{
    open<Cfrm_ivr_trigger>();
    add(filled("80", "menu.xml"));
    EXPECT_EQ(row(0), (QStringList{"default", "80", "", "menu.xml"}));
    EXPECT_EQ(stored().size(), 1u);
}

TEST_F(IvrTriggers, TextsEndAtTheirBounds)
{
    open<Cfrm_ivr_trigger>();
    const QString is100 = QString(100, 'x');
    add([is100](QDialog& editor) {
        for (const int label : {292, 283, 347})
            edit(editor, label).setText(is100);
    });
    EXPECT_EQ(row(0), (QStringList{"default", is100.left(32), is100.left(64), is100.left(63)}));
}

TEST_F(IvrTriggers, AnEmptyCalledNumberIsRefusedFirstAndAnEmptyFileNext)
{
    keep(trigger("default", "80"));
    open<Cfrm_ivr_trigger>();
    addToBeRefused(kInvalid, "Please configure called number.", filled("", ""));
    addToBeRefused(kInvalid, "Please configure IVR-XML file name.", filled("80", ""));
    EXPECT_EQ(stored().size(), 1u);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(IvrTriggers, ASecondOneOfThePlanAndNumberIsRefused)
{
    keep(trigger("default", "80", "old.xml"));
    open<Cfrm_ivr_trigger>();
    addToBeRefused("Invalid operation", kSameIndex, filled("80", "new.xml"));
    EXPECT_STREQ(stored().at(0).fileName, "old.xml");
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(IvrTriggers, WhatTheStoreCannotWriteIsNotAddedAndNothingIsSaid)
{
    open<Cfrm_ivr_trigger>();
    refuseWrites();
    addToBeRefused({}, {}, filled("80", "menu.xml"));
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(IvrTriggers, AddOpensEmptyWhateverWasThereBefore)
{
    keep(trigger("night", "80", "menu.xml", "x"));
    open<Cfrm_ivr_trigger>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(combo(editor, 291).currentText(), "night");
        EXPECT_EQ(texts(editor, {292, 283, 347}), "80xmenu.xml");
        EXPECT_FALSE(combo(editor, 291).isEnabled());
        EXPECT_FALSE(edit(editor, 292).isEnabled());
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(combo(editor, 291).currentText(), "default");
        EXPECT_EQ(texts(editor, {292, 283, 347}), QString());
        EXPECT_TRUE(combo(editor, 291).isEnabled());
        EXPECT_TRUE(edit(editor, 292).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(IvrTriggers, EditShowsWhatTheStoreHoldsAndTheRowMovesToTheEndUntilRefresh)
{
    keep(trigger("default", "80", "old.xml"));
    keep(trigger("default", "81"));
    open<Cfrm_ivr_trigger>();
    const Trigger changed = trigger("default", "80", "changed.xml");
    ASSERT_EQ(store().DbUpdateIVRTrigger(&changed), kDbOk);
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 347).text(), "changed.xml");
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"81", "80"}));
    EXPECT_EQ(row(1), (QStringList{"default", "80", "new", "changed.xml"}));
    EXPECT_EQ(view().currentIndex().row(), 1) << "what is done next is done to the same record";
    EXPECT_STREQ(stored().at(0).name, "new");
    press(Refresh);
    EXPECT_EQ(column(1), (QStringList{"80", "81"}));
}

TEST_F(IvrTriggers, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(trigger("default", "80"));
    keep(trigger("default", "81"));
    open<Cfrm_ivr_trigger>();
    editRow(0, [this](QDialog& editor) {
        keep(trigger("default", "1"));
        showAgain();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"1", "81", "80"}));
    EXPECT_EQ(cell(2, 2), "new");
}

TEST_F(IvrTriggers, EditOfOneThatIsGoneDoesNothing)
{
    keep(trigger("default", "80"));
    open<Cfrm_ivr_trigger>();
    const Trigger gone = stored().at(0);
    ASSERT_EQ(store().DbDelIVRTrigger(&gone), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(IvrTriggers, OneThatWasDeletedUnderItsEditorStaysDeletedAndItsRowAsItWas)
{
    keep(trigger("default", "80", "old.xml"));
    open<Cfrm_ivr_trigger>();
    editRow(0, [this](QDialog& editor) {
        const Trigger gone = stored().at(0);
        ASSERT_EQ(store().DbDelIVRTrigger(&gone), kDbOk);
        edit(editor, 347).setText("new.xml");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(cell(0, 3), "old.xml");
}

TEST_F(IvrTriggers, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Trigger record = trigger("night", "80", "menu.xml", "Menu");
    keep(record);
    open<Cfrm_ivr_trigger>();
    checkThatEveryInputHasItsOwnBytes(
        record, [&] { ASSERT_EQ(store().DbUpdateIVRTrigger(&record), kDbOk); },
        {{Input::Edit, 283, {whole(&Trigger::name)}}, {Input::Edit, 347, {whole(&Trigger::fileName)}}},
        {{Input::Combo, 291, {whole(&Trigger::dialPlan)}}, {Input::Edit, 292, {whole(&Trigger::calledNbr)}}});
}

TEST_F(IvrTriggers, DeleteRemovesTheRowWhateverTheStoreSays)
{
    keep(trigger("default", "80"));
    keep(trigger("default", "81"));
    open<Cfrm_ivr_trigger>();
    deleteRow(0);
    EXPECT_EQ(column(1), QStringList{"81"});
    EXPECT_EQ(stored().size(), 1u);
    refuseWrites();
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(stored().size(), 1u);
}

TEST_F(IvrTriggers, SearchAsksForPlanAndNumberAndLeavesTheListUntilRefresh)
{
    keep(trigger("default", "80"));
    open<Cfrm_ivr_trigger>();
    expectQuestions("default", "80");
    expectEditor([](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 292).isEnabled());
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored().at(0).name, "new");
    EXPECT_EQ(cell(0, 2), QString());
    press(Refresh);
    EXPECT_EQ(cell(0, 2), "new");
}

TEST_F(IvrTriggers, SearchForOneThatIsNotThereSaysSo)
{
    keep(trigger("default", "80"));
    open<Cfrm_ivr_trigger>();
    expectQuestions("night", "80");
    boxes.expect(item(443), item(442));
    press(Query);
    expectQuestions("default", "81");
    boxes.expect(item(443), item(442));
    press(Query);
}

TEST_F(IvrTriggers, SearchEndsWithACancelledOrBlankQuestion)
{
    open<Cfrm_ivr_trigger>();
    boxes.expectInputToCancel(item(373), item(291), "default");
    press(Query);
    boxes.expectInput(item(373), item(291), "default", QString());
    press(Query);
    boxes.expectInput(item(373), item(291), "default", "night");
    boxes.expectInputToCancel(item(373), item(292), QString());
    press(Query);
    expectQuestions("night", QString());
    press(Query);
}

class LuaTriggers : public EditorPageFixture<Cdb_lua_trigger> {
protected:
    using Trigger = Cdb_lua_trigger;

    [[nodiscard]] QString title() const override { return item(433); }
    static Trigger trigger(int point, const char* plan, const char* number, const char* module = "night",
                           const char* name = "")
    {
        Trigger record;
        record.DP = point;
        record.dialPlan.SetNbr(plan);
        record.calledNbr.SetNbr(number);
        BclCopyStr(record.name, name);
        record.moduleName.SetNbr(module);
        return record;
    }
    void keep(const Trigger& record) { ASSERT_EQ(store().DbLuaTriggerAdd(record), kDbOk); }
    static Use filled(const char* number, const char* module, int pointIndex = 0)
    {
        return [=](QDialog& editor) {
            combo(editor, 368).setCurrentIndex(pointIndex);
            edit(editor, 207).setText(number);
            edit(editor, 434).setText(module);
        };
    }
};

TEST_F(LuaTriggers, AreListedByPointThenPlanThenNumberAndThePointsNumberIsHidden)
{
    keep(trigger(3, "default", "10"));
    keep(trigger(2, "night", "10"));
    keep(trigger(2, "default", "9"));
    keep(trigger(2, "default", "10"));
    open<Cfrm_lua_trigger>();
    EXPECT_EQ(column(0), (QStringList{"2", "2", "2", "3"}));
    EXPECT_EQ(column(1), (QStringList{item(369), item(369), item(369), item(370)}));
    EXPECT_EQ(column(2), (QStringList{"default", "default", "night", "default"}));
    EXPECT_EQ(column(3), (QStringList{"10", "9", "10", "10"}));
    EXPECT_TRUE(view().isColumnHidden(0));
    EXPECT_FALSE(view().isColumnHidden(1));
    EXPECT_EQ(model().headerData(0, Qt::Horizontal).toString(), "dp");
}

TEST_F(LuaTriggers, APointWithoutANameIsListedAsItsNumber)
{
    keep(trigger(5, "default", "10"));
    open<Cfrm_lua_trigger>();
    EXPECT_EQ(cell(0, 1), "5");
}

TEST_F(LuaTriggers, AddStoresAndAppendsTheRow)
{
    keep(trigger(2, "night", "9"));
    open<Cfrm_lua_trigger>();
    add([](QDialog& editor) {
        QComboBox& point = combo(editor, 368);
        EXPECT_FALSE(point.isEditable());
        ASSERT_EQ(point.count(), 2);
        EXPECT_EQ(point.itemText(0), item(370));
        EXPECT_EQ(point.itemData(0), 3);
        EXPECT_EQ(point.itemText(1), item(369));
        EXPECT_EQ(point.itemData(1), 2);
        point.setCurrentIndex(1);
        combo(editor, 291).setCurrentIndex(1);
        edit(editor, 207).setText("1");
        edit(editor, 283).setText("Night");
        edit(editor, 434).setText("module");
    });
    EXPECT_EQ(row(1), (QStringList{"2", item(369), "night", "1", "Night", "module"}));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(trigger(2, "night", "1", "module", "Night")));
}

TEST_F(LuaTriggers, AnEmptyNameIsAccepted)
{
    open<Cfrm_lua_trigger>();
    add(filled("80", "night"));
    EXPECT_EQ(row(0), (QStringList{"3", item(370), "default", "80", "", "night"}));
    EXPECT_EQ(stored().size(), 1u);
}

TEST_F(LuaTriggers, AnEmptyNumberIsRefusedFirstAndAnEmptyModuleNext)
{
    keep(trigger(3, "default", "80"));
    open<Cfrm_lua_trigger>();
    addToBeRefused(kInvalid, "Please configure destination number.", filled("", ""));
    addToBeRefused(kInvalid, "Please configure Lua module name.", filled("80", ""));
    EXPECT_EQ(stored().size(), 1u);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(LuaTriggers, ShareAPlanAndNumberOnlyAtDifferentPoints)
{
    keep(trigger(3, "default", "80", "old"));
    open<Cfrm_lua_trigger>();
    addToBeRefused("Invalid operation", kSameIndex, filled("80", "new"));
    EXPECT_STREQ(stored().at(0).moduleName.c_str(), "old");
    EXPECT_EQ(model().rowCount(), 1);
    add(filled("80", "new", 1));
    EXPECT_EQ(stored().size(), 2u);
    EXPECT_EQ(row(1), (QStringList{"2", item(369), "default", "80", "", "new"}));
}

TEST_F(LuaTriggers, WhatTheStoreCannotWriteIsNotAddedAndNothingIsSaid)
{
    open<Cfrm_lua_trigger>();
    refuseWrites();
    addToBeRefused({}, {}, filled("80", "night"));
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(LuaTriggers, AddOpensEmptyWhateverWasThereBefore)
{
    keep(trigger(2, "night", "80", "module", "x"));
    open<Cfrm_lua_trigger>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(combo(editor, 368).currentText(), item(369));
        EXPECT_EQ(combo(editor, 291).currentText(), "night");
        EXPECT_EQ(texts(editor, {207, 283, 434}), "80xmodule");
        for (QWidget* const key : QList<QWidget*>{&combo(editor, 368), &combo(editor, 291), &edit(editor, 207)})
            EXPECT_FALSE(key->isEnabled());
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(combo(editor, 368).currentIndex(), 0);
        EXPECT_EQ(combo(editor, 291).currentText(), "default");
        EXPECT_EQ(texts(editor, {207, 283, 434}), QString());
        for (QWidget* const key : QList<QWidget*>{&combo(editor, 368), &combo(editor, 291), &edit(editor, 207)})
            EXPECT_TRUE(key->isEnabled());
        pressCancel(editor);
    });
}

TEST_F(LuaTriggers, EditShowsWhatTheStoreHoldsAndTheRowMovesToTheEndUntilRefresh)
{
    keep(trigger(2, "default", "80"));
    keep(trigger(3, "default", "80"));
    open<Cfrm_lua_trigger>();
    ASSERT_EQ(store().DbLuaTriggerUpdate(trigger(2, "default", "80", "changed")), kDbOk);
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 434).text(), "changed");
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(0), (QStringList{"3", "2"}));
    EXPECT_EQ(row(1), (QStringList{"2", item(369), "default", "80", "new", "changed"}));
    EXPECT_EQ(view().currentIndex().row(), 1) << "what is done next is done to the same record";
    EXPECT_STREQ(stored().at(0).name, "new");
    EXPECT_STREQ(stored().at(1).name, "");
}

// What the box cannot show is another trigger's key.
TEST_F(LuaTriggers, EditingNeverChangesTheKey)
{
    keep(trigger(3, "default", "80", "other"));
    keep(trigger(5, "default", "80", "odd"));
    open<Cfrm_lua_trigger>();
    editRow(1, [](QDialog& editor) {
        edit(editor, 434).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(bytesOf(stored().at(0)), bytesOf(trigger(3, "default", "80", "other")));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(trigger(5, "default", "80", "new")));
    EXPECT_EQ(row(1), (QStringList{"5", "5", "default", "80", "", "new"}));
}

TEST_F(LuaTriggers, EditOfOneThatIsGoneDoesNothing)
{
    keep(trigger(2, "default", "80"));
    open<Cfrm_lua_trigger>();
    ASSERT_EQ(store().DbLuaTriggerDel(stored().at(0)), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(LuaTriggers, OneThatWasDeletedUnderItsEditorStaysDeletedAndItsRowAsItWas)
{
    keep(trigger(2, "default", "80", "old"));
    open<Cfrm_lua_trigger>();
    editRow(0, [this](QDialog& editor) {
        ASSERT_EQ(store().DbLuaTriggerDel(stored().at(0)), kDbOk);
        edit(editor, 434).setText("new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(cell(0, 5), "old");
}

TEST_F(LuaTriggers, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Trigger record = trigger(2, "night", "80", "module", "Menu");
    keep(record);
    open<Cfrm_lua_trigger>();
    checkThatEveryInputHasItsOwnBytes(
        record, [&] { ASSERT_EQ(store().DbLuaTriggerUpdate(record), kDbOk); },
        {{Input::Edit, 283, {whole(&Trigger::name)}}, {Input::Edit, 434, {whole(&Trigger::moduleName)}}},
        {{Input::Combo, 368, {only(&Trigger::DP, 0xffffffff)}},
         {Input::Combo, 291, {whole(&Trigger::dialPlan)}},
         {Input::Edit, 207, {whole(&Trigger::calledNbr)}}});
}

TEST_F(LuaTriggers, DeleteRemovesItsOwnPointAndTheRowWhateverTheStoreSays)
{
    keep(trigger(2, "default", "80"));
    keep(trigger(3, "default", "80"));
    open<Cfrm_lua_trigger>();
    deleteRow(1);
    EXPECT_EQ(column(0), QStringList{"2"});
    ASSERT_EQ(stored().size(), 1u);
    EXPECT_EQ(stored().at(0).DP, 2);
    refuseWrites();
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(stored().size(), 1u);
}

TEST_F(LuaTriggers, TheCalledNumberIsAPrefixUnlessTheSwitchVariantSaysThatItIsExact)
{
    for (const auto& [exact, shown] : {std::pair(0u, 207), std::pair(1u, 351)}) {
        gVarCcfLuaServiceMatchCld = exact;
        open<Cfrm_lua_trigger>();
        EXPECT_EQ(model().headerData(3, Qt::Horizontal).toString(), item(shown));
        addWith([shown = shown](QDialog& editor) {
            EXPECT_TRUE(edit(editor, shown).isEnabled());
            pressCancel(editor);
        });
    }
}

} // namespace
