// The pages of the speed dials and of the call recording: alike in their keys, edited in different ways.
#include "bcl2/text.h"
#include "frm_call_recording.h"
#include "frm_speed_dial.h"
#include "support/editor_page_fixture.h"

#include <QAction>

namespace {

const QString kInvalid = QStringLiteral("Invalid parameter");

class SpeedDials : public EditorPageFixture<Cdb_speed_dial_data> {
protected:
    using SpeedDial = Cdb_speed_dial_data;

    [[nodiscard]] QString title() const override { return item(352); }
    static SpeedDial speedDial(const char* caller, const char* dialed, const char* destination = "0441",
                               const char* name = "")
    {
        SpeedDial record;
        record.callerNbr.SetNbr(caller);
        record.dialedNbr.SetNbr(dialed);
        BclCopyStr(record.name, name);
        record.destination.SetNbr(destination);
        return record;
    }
    void keep(const SpeedDial& record) { ASSERT_EQ(store().DbAddSpeedDial(record), kDbOk); }
    static Use filled(const char* caller, const char* dialed, const char* destination)
    {
        return [=](QDialog& editor) {
            edit(editor, 232).setText(caller);
            edit(editor, 350).setText(dialed);
            edit(editor, 351).setText(destination);
        };
    }
};

TEST_F(SpeedDials, AreListedByCallerThenDialedNumber)
{
    keep(speedDial("1001", "1"));
    keep(speedDial("1000", "2"));
    keep(speedDial("1000", "10"));
    open<Cfrm_speed_dial>();
    EXPECT_EQ(column(0), (QStringList{"1000", "1000", "1001"}));
    EXPECT_EQ(column(1), (QStringList{"10", "2", "1"}));
}

TEST_F(SpeedDials, AddStoresAndAppendsTheRow)
{
    keep(speedDial("1001", "1"));
    open<Cfrm_speed_dial>();
    add([](QDialog& editor) {
        filled(".", "7", "0447")(editor);
        edit(editor, 283).setText("Printer");
    });
    EXPECT_EQ(row(1), (QStringList{".", "7", "Printer", "0447"}));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(speedDial(".", "7", "0447", "Printer")));
}

TEST_F(SpeedDials, NeedACallerThenADialedNumberThenADestination)
{
    open<Cfrm_speed_dial>();
    addToBeRefused(kInvalid, "Please configure caller number.", filled("", "", ""));
    addToBeRefused(kInvalid, "Please configure dialed number.", filled("1000", "", ""));
    addToBeRefused(kInvalid, "Please configure destination number.", filled("1000", "1", ""));
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(model().rowCount(), 0);
    add(filled("1000", "1", "0441"));
    EXPECT_EQ(stored().size(), 1u) << "the name may be empty";
}

TEST_F(SpeedDials, AddingAPairThatExistsClosesTheEditorWithoutAWordAndAddsNoRow)
{
    keep(speedDial("1000", "1", "old"));
    open<Cfrm_speed_dial>();
    addToBeRefused({}, {}, filled("1000", "1", "new"));
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored().at(0).destination.c_str(), "old");
}

TEST_F(SpeedDials, AddOpensEmptyWhateverWasThereBefore)
{
    keep(speedDial("1000", "1", "0441", "x"));
    open<Cfrm_speed_dial>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {232, 350, 283, 351}), "10001x0441");
        EXPECT_FALSE(edit(editor, 232).isEnabled());
        EXPECT_FALSE(edit(editor, 350).isEnabled());
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(texts(editor, {232, 350, 283, 351}), QString());
        EXPECT_TRUE(edit(editor, 232).isEnabled());
        EXPECT_TRUE(edit(editor, 350).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(SpeedDials, EditShowsWhatTheRowShowsNotWhatTheStoreHolds)
{
    keep(speedDial("1000", "1", "old", "Old"));
    open<Cfrm_speed_dial>();
    ASSERT_EQ(store().DbUpdateSpeedDial(speedDial("1000", "1", "changed", "Changed")), kDbOk);
    takeStatements();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {232, 350, 283, 351}), "10001Oldold");
        edit(editor, 351).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(takeStatements(), QStringList());
    EXPECT_EQ(bytesOf(stored().at(0)), bytesOf(speedDial("1000", "1", "new", "Old")));
}

TEST_F(SpeedDials, EditRefreshesItsRowInPlace)
{
    keep(speedDial("1000", "1"));
    keep(speedDial("1000", "2"));
    open<Cfrm_speed_dial>();
    editRow(0, [](QDialog& editor) {
        edit(editor, 283).setText("new");
        edit(editor, 351).setText("0447");
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"1000", "1", "new", "0447"}));
    EXPECT_EQ(row(1), (QStringList{"1000", "2", "", "0441"}));
}

TEST_F(SpeedDials, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(speedDial("1000", "1"));
    open<Cfrm_speed_dial>();
    editRow(0, [this](QDialog& editor) {
        keep(speedDial("1000", "0"));
        ASSERT_EQ(store().DbUpdateSpeedDial(speedDial("1000", "1", "changed")), kDbOk);
        showAgain();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(2), (QStringList{"", "new"}));
    EXPECT_EQ(column(3), (QStringList{"0441", "0441"}));
}

TEST_F(SpeedDials, OneThatWasDeletedUnderItsEditorStaysDeletedAndItsRowAsItWas)
{
    keep(speedDial("1000", "1", "old"));
    open<Cfrm_speed_dial>();
    editRow(0, [this](QDialog& editor) {
        ASSERT_EQ(store().DbDelSpeedDial(stored().at(0)), kDbOk);
        edit(editor, 351).setText("new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(cell(0, 3), "old");
}

TEST_F(SpeedDials, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const SpeedDial record = speedDial("1000", "1", "0441", "Printer");
    keep(record);
    open<Cfrm_speed_dial>();
    checkThatEveryInputHasItsOwnBytes(
        record, [&] { ASSERT_EQ(store().DbUpdateSpeedDial(record), kDbOk); },
        {{Input::Edit, 283, {whole(&SpeedDial::name)}}, {Input::Edit, 351, {whole(&SpeedDial::destination)}}},
        {{Input::Edit, 232, {whole(&SpeedDial::callerNbr)}}, {Input::Edit, 350, {whole(&SpeedDial::dialedNbr)}}});
}

TEST_F(SpeedDials, DeleteRemovesTheRowOnlyWithItsRecord)
{
    keep(speedDial("1000", "1"));
    open<Cfrm_speed_dial>();
    ASSERT_EQ(store().DbDelSpeedDial(stored().at(0)), kDbOk);
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 1);
    keep(speedDial("1000", "1"));
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(stored().size(), 0u);
}

TEST_F(SpeedDials, HaveNoSearch)
{
    open<Cfrm_speed_dial>();
    EXPECT_FALSE(actionOf(Query)->isVisible());
}

class CallRecording : public EditorPageFixture<Cdb_call_record> {
protected:
    using Rule = Cdb_call_record;

    [[nodiscard]] QString title() const override { return item(392); }
    static Rule rule(const char* caller, const char* called, uint8_t recording = 2, const char* name = "")
    {
        Rule record;
        record.callerNbr.SetNbr(caller);
        record.calledNbr.SetNbr(called);
        BclCopyStr(record.name, name);
        record.recording = recording;
        return record;
    }
    void keep(const Rule& record) { ASSERT_EQ(store().DbAddCallRecord(record), kDbOk); }
    static Use filled(const char* caller, const char* called)
    {
        return [=](QDialog& editor) {
            edit(editor, 228).setText(caller);
            edit(editor, 207).setText(called);
        };
    }
    void expectQuestions(const QString& caller, const QString& called)
    {
        boxes.expectInput(item(373), item(228), QString(), caller);
        boxes.expectInput(item(373), item(207), QString(), called);
    }
};

TEST_F(CallRecording, IsListedByCallerThenCalledPrefix)
{
    keep(rule("2", "1"));
    keep(rule("1", "2"));
    keep(rule("1", "10"));
    open<Cfrm_call_recording>();
    EXPECT_EQ(column(0), (QStringList{"1", "1", "2"}));
    EXPECT_EQ(column(1), (QStringList{"10", "2", "1"}));
}

TEST_F(CallRecording, EveryFlagButTwoIsListedAsNo)
{
    for (const auto& [called, flag] : {std::pair("0", 0), std::pair("1", 1), std::pair("2", 2), std::pair("3", 3)})
        keep(rule("1", called, static_cast<uint8_t>(flag)));
    open<Cfrm_call_recording>();
    EXPECT_EQ(column(3), (QStringList{item(70), item(70), item(69), item(70)}));
}

TEST_F(CallRecording, AddStoresAndAppendsTheRow)
{
    keep(rule("1", "2"));
    open<Cfrm_call_recording>();
    add([](QDialog& editor) {
        filled(".", "0")(editor);
        edit(editor, 283).setText("All calls out");
        QComboBox& recording = combo(editor, 393);
        EXPECT_FALSE(recording.isEditable());
        ASSERT_EQ(recording.count(), 2);
        EXPECT_EQ(recording.itemText(0), item(69));
        EXPECT_EQ(recording.itemData(0), 2);
        EXPECT_EQ(recording.itemText(1), item(70));
        EXPECT_EQ(recording.itemData(1), 1);
        recording.setCurrentIndex(0);
    });
    EXPECT_EQ(row(1), (QStringList{".", "0", "All calls out", item(69)}));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(rule(".", "0", 2, "All calls out")));
}

TEST_F(CallRecording, NeedsACallerPrefixThenACalledPrefix)
{
    open<Cfrm_call_recording>();
    addToBeRefused(kInvalid, "Please configure 'caller number prefix'.", filled("", ""));
    addToBeRefused(kInvalid, "Please configure 'called number prefix'.", filled("1", ""));
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(model().rowCount(), 0);
    add(filled("1", "2"));
    EXPECT_EQ(stored().size(), 1u) << "the name may be empty";
}

TEST_F(CallRecording, AddingAPairThatExistsClosesTheEditorWithoutAWordAndAddsNoRow)
{
    keep(rule("1", "2", 2, "old"));
    open<Cfrm_call_recording>();
    addToBeRefused({}, {}, filled("1", "2"));
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored().at(0).name, "old");
}

TEST_F(CallRecording, AddOpensEmptyWhateverWasThereBefore)
{
    keep(rule("1", "2", 2, "x"));
    open<Cfrm_call_recording>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {228, 207, 283}), "12x");
        EXPECT_EQ(combo(editor, 393).currentText(), item(69));
        EXPECT_FALSE(edit(editor, 228).isEnabled());
        EXPECT_FALSE(edit(editor, 207).isEnabled());
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(texts(editor, {228, 207, 283}), QString());
        EXPECT_EQ(combo(editor, 393).currentText(), item(70)) << "nothing is recorded unless it is chosen";
        EXPECT_TRUE(edit(editor, 228).isEnabled());
        EXPECT_TRUE(edit(editor, 207).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(CallRecording, EditShowsWhatTheStoreHoldsAndRefreshesItsRowInPlace)
{
    keep(rule("1", "2"));
    keep(rule("1", "3"));
    open<Cfrm_call_recording>();
    ASSERT_EQ(store().DbUpdateCallRecord(rule("1", "2", 2, "changed")), kDbOk);
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 283).text(), "changed");
        combo(editor, 393).setCurrentIndex(1);
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"1", "2", "changed", item(70)}));
    EXPECT_EQ(row(1), (QStringList{"1", "3", "", item(69)}));
    EXPECT_EQ(stored().at(0).recording, 1);
}

TEST_F(CallRecording, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(rule("1", "2"));
    open<Cfrm_call_recording>();
    editRow(0, [this](QDialog& editor) {
        keep(rule("1", "1"));
        showAgain();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(2), (QStringList{"", "new"}));
}

TEST_F(CallRecording, EditOfOneThatIsGoneDoesNothing)
{
    keep(rule("1", "2"));
    open<Cfrm_call_recording>();
    ASSERT_EQ(store().DbCallRecordDel("1", "2"), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(CallRecording, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Rule record = rule("1", "2", 2, "Sales");
    keep(record);
    open<Cfrm_call_recording>();
    checkThatEveryInputHasItsOwnBytes(
        record, [&] { ASSERT_EQ(store().DbUpdateCallRecord(record), kDbOk); },
        {{Input::Edit, 283, {whole(&Rule::name)}}, {Input::Combo, 393, {whole(&Rule::recording)}}},
        {{Input::Edit, 228, {whole(&Rule::callerNbr)}}, {Input::Edit, 207, {whole(&Rule::calledNbr)}}});
}

TEST_F(CallRecording, DeleteRemovesTheRowOnlyWithItsRecord)
{
    keep(rule("1", "2"));
    open<Cfrm_call_recording>();
    ASSERT_EQ(store().DbCallRecordDel("1", "2"), kDbOk);
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 1);
    keep(rule("1", "2"));
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(stored().size(), 0u);
}

TEST_F(CallRecording, SearchAsksForBothPrefixesAndLeavesTheListUntilRefresh)
{
    keep(rule("1", "2"));
    open<Cfrm_call_recording>();
    expectQuestions("1", "2");
    expectEditor([](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 228).isEnabled());
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored().at(0).name, "new");
    EXPECT_EQ(cell(0, 2), QString());
    expectQuestions("1", "3");
    boxes.expect(item(443), item(442));
    press(Query);
    boxes.expectInputToCancel(item(373), item(228), QString());
    press(Query);
    expectQuestions("1", QString());
    press(Query);
}

} // namespace
