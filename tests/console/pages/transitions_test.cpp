// The page of the number transitions.
#include "bcl2/text.h"
#include "frm_transitions.h"
#include "support/editor_roundtrip.h"
#include "support/page_fixture.h"

#include <QLineEdit>
#include <QRadioButton>
#include <QTreeView>

namespace {

using Transition = Cdb_nbr_trans_data;

constexpr int kAdd = 195;
constexpr int kReplace = 197;
constexpr int kDelete = 196;

Transition transition(unsigned id, unsigned type, unsigned start, unsigned length, const char* digits)
{
    Transition record;
    record.transid = id;
    record.type = type;
    record.startPos = start;
    record.length = length;
    BclCopyStr(record.digits, digits);
    return record;
}

class Transitions : public PageFixture {
protected:
    [[nodiscard]] QString title() const { return item(189); }
    void keep(const Transition& record) { ASSERT_EQ(store().DbNbrTransSet(record), kDbOk); }
    Transition stored(unsigned id)
    {
        Transition record;
        record.transid = id;
        EXPECT_EQ(store().DbNbrTransGet(record), kDbOk) << id;
        return record;
    }
    static QLineEdit& edit(QDialog& editor, int label) { return input<QLineEdit>(editor, label); }
    static void choose(QDialog& editor, int type) { showing<QRadioButton>(editor, type).click(); }
    // An entry that is accepted.
    static void fillIn(QDialog& editor)
    {
        choose(editor, kReplace);
        edit(editor, 190).setText("5");
        edit(editor, 192).setText("1");
        edit(editor, 193).setText("2");
        edit(editor, 194).setText("99");
    }
    void expectRefused(int message, const std::function<void(QDialog&)>& spoil)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            fillIn(editor);
            spoil(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        boxes.expect(item(77), item(message));
        press(Add);
        EXPECT_EQ(model().rowCount(), 0);
        EXPECT_EQ(store().rows<Transition>().get()->size(), 0u);
    }
    void add(const std::function<void(QDialog&)>& fill)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            fillIn(editor);
            fill(editor);
            pressOk(editor);
        });
        press(Add);
    }
};

TEST_F(Transitions, TheListIsOrderedByNumberAndNamesTheTypes)
{
    keep(transition(10, 1, 0, 0, "00"));
    keep(transition(9, 2, 3, 4, "77"));
    keep(transition(100, 3, 5, 6, ""));
    open<Cfrm_transitions>();
    EXPECT_EQ(row(0), (QStringList{"9", "", item(kReplace), "3", "4", "77"}));
    EXPECT_EQ(row(1), (QStringList{"10", "", item(kAdd), "0", "0", "00"}));
    EXPECT_EQ(row(2), (QStringList{"100", "", item(kDelete), "5", "6", ""}));
}

TEST_F(Transitions, AddStoresWhatTheTypeUsesAndAppendsTheRow)
{
    open<Cfrm_transitions>();
    add([](QDialog& editor) { edit(editor, 283).setText(QString::fromUtf8("Küste")); });
    EXPECT_EQ(row(0), (QStringList{"5", QString::fromUtf8("Küste"), item(kReplace), "1", "2", "99"}));
    const Transition record = stored(5);
    EXPECT_EQ(record.type, 2u);
    EXPECT_EQ(record.startPos, 1u);
    EXPECT_EQ(record.length, 2u);
    EXPECT_STREQ(record.digits, "99");
    EXPECT_STREQ(record.description, "Küste");
}

TEST_F(Transitions, AddOpensEmptyWithTheAddTypeWhateverWasThereBefore)
{
    keep(transition(5, 3, 1, 2, ""));
    open<Cfrm_transitions>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 283).setText("left behind");
        pressCancel(editor);
    });
    press(Edit);
    boxes.expectEditor(title(), [](QDialog& editor) {
        for (const int empty : {190, 283, 192, 193, 194})
            EXPECT_EQ(edit(editor, empty).text(), QString()) << empty;
        EXPECT_TRUE(edit(editor, 190).isEnabled());
        EXPECT_TRUE(edit(editor, 194).isEnabled());
        EXPECT_FALSE(edit(editor, 192).isEnabled());
        EXPECT_FALSE(edit(editor, 193).isEnabled());
        EXPECT_TRUE(showing<QRadioButton>(editor, kAdd).isChecked());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(Transitions, EachTypeEmptiesAndLocksWhatItDoesNotUse)
{
    open<Cfrm_transitions>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        fillIn(editor);
        for (const int used : {192, 193, 194})
            EXPECT_TRUE(edit(editor, used).isEnabled()) << used;
        choose(editor, kDelete);
        EXPECT_EQ(edit(editor, 194).text(), QString());
        EXPECT_FALSE(edit(editor, 194).isEnabled());
        EXPECT_EQ(edit(editor, 192).text(), "1");
        EXPECT_TRUE(edit(editor, 193).isEnabled());
        choose(editor, kAdd);
        EXPECT_EQ(edit(editor, 192).text() + edit(editor, 193).text(), QString());
        EXPECT_FALSE(edit(editor, 192).isEnabled());
        EXPECT_FALSE(edit(editor, 193).isEnabled());
        EXPECT_TRUE(edit(editor, 194).isEnabled());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(Transitions, AnAddTransitionHasNoPositionWhateverWasTypedBefore)
{
    open<Cfrm_transitions>();
    add([](QDialog& editor) {
        edit(editor, 192).setText("31");
        edit(editor, 193).setText("32");
        choose(editor, kAdd);
    });
    EXPECT_EQ(stored(5).startPos, 0u);
    EXPECT_EQ(stored(5).length, 0u);
    EXPECT_EQ(row(0), (QStringList{"5", "", item(kAdd), "0", "0", "99"}));
}

TEST_F(Transitions, TheLargestPositionAndLengthAreAcceptedAndNoLarger)
{
    open<Cfrm_transitions>();
    for (const QString& start : {QStringLiteral("32"), QStringLiteral("-1"), QStringLiteral("999")})
        expectRefused(203, [=](QDialog& editor) { edit(editor, 192).setText(start); });
    for (const QString& length : {QStringLiteral("33"), QStringLiteral("-1")})
        expectRefused(204, [=](QDialog& editor) { edit(editor, 193).setText(length); });
    expectRefused(203, [](QDialog& editor) {
        edit(editor, 192).setText("32");
        edit(editor, 193).setText("33");
    });
    add([](QDialog& editor) {
        edit(editor, 192).setText("31");
        edit(editor, 193).setText("32");
    });
    EXPECT_EQ(stored(5).startPos, 31u);
    EXPECT_EQ(stored(5).length, 32u);
}

TEST_F(Transitions, ThirtyTwoDigitsAreAcceptedAndNoMore)
{
    open<Cfrm_transitions>();
    expectRefused(200, [](QDialog& editor) { edit(editor, 194).setText(QString(33, '1')); });
    expectRefused(200, [](QDialog& editor) {
        choose(editor, kAdd);
        edit(editor, 194).setText(QString(33, '1'));
    });
    add([](QDialog& editor) { edit(editor, 194).setText(QString(32, '1')); });
    EXPECT_EQ(std::string(stored(5).digits), std::string(32, '1'));
}

TEST_F(Transitions, AnIdThatIsEmptyOrBelowOneIsRefusedFirst)
{
    open<Cfrm_transitions>();
    for (const QString& id : {QString(), QStringLiteral("0"), QStringLiteral("-3"), QStringLiteral("one")})
        expectRefused(198, [=](QDialog& editor) {
            edit(editor, 190).setText(id);
            edit(editor, 192).clear();
        });
}

TEST_F(Transitions, NothingToAddIsRefused)
{
    open<Cfrm_transitions>();
    expectRefused(199, [](QDialog& editor) {
        choose(editor, kAdd);
        edit(editor, 194).clear();
    });
}

TEST_F(Transitions, ReplaceAndDeleteNeedPositionAndLength)
{
    open<Cfrm_transitions>();
    for (const int type : {kReplace, kDelete}) {
        expectRefused(201, [=](QDialog& editor) {
            choose(editor, type);
            edit(editor, 192).clear();
            edit(editor, 193).clear();
        });
        expectRefused(202, [=](QDialog& editor) {
            choose(editor, type);
            edit(editor, 193).clear();
        });
    }
    expectRefused(202, [](QDialog& editor) {
        edit(editor, 193).clear();
        edit(editor, 194).setText(QString(33, '1'));
    });
}

TEST_F(Transitions, ReplaceWithoutDigitsIsAccepted)
{
    open<Cfrm_transitions>();
    add([](QDialog& editor) { edit(editor, 194).clear(); });
    EXPECT_EQ(stored(5).type, 2u);
    EXPECT_STREQ(stored(5).digits, "");
}

TEST_F(Transitions, EditShowsTheRecordAndLocksItsId)
{
    keep(transition(1, 1, 0, 0, "00"));
    keep(transition(2, 2, 3, 4, "77"));
    keep(transition(3, 3, 5, 6, ""));
    open<Cfrm_transitions>();
    const std::vector<std::pair<int, QStringList>> kWanted = {
        {kAdd, {"1", "", "", "00"}}, {kReplace, {"2", "3", "4", "77"}}, {kDelete, {"3", "5", "6", ""}}};
    for (int at = 0; at < 3; ++at) {
        select(at);
        boxes.expectEditor(title(), [&](QDialog& editor) {
            const auto& [type, texts] = kWanted.at(static_cast<size_t>(at));
            EXPECT_TRUE(showing<QRadioButton>(editor, type).isChecked()) << at;
            EXPECT_EQ((QStringList{edit(editor, 190).text(), edit(editor, 192).text(), edit(editor, 193).text(),
                                   edit(editor, 194).text()}),
                      texts);
            EXPECT_FALSE(edit(editor, 190).isEnabled());
            pressCancel(editor);
        });
        press(Edit);
    }
}

TEST_F(Transitions, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    Transition record = transition(5, 2, 3, 4, "77");
    BclCopyStr(record.description, "Outside line");
    keep(record);
    open<Cfrm_transitions>();
    EditorRoundTrip trip;
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(Transition());
    trip.putBack = [&] {
        keep(record);
        press(Refresh);
    };
    trip.stored = [&] { return bytesOf(stored(5)); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) {
        select(0);
        boxes.expectEditor(title(), use);
        press(Edit);
    };
    const std::vector<RecordBytes> numbers = {whole(&Transition::type), whole(&Transition::startPos),
                                              whole(&Transition::length), whole(&Transition::digits)};
    trip.inputs = {
        {Input::Edit, 283, {whole(&Transition::description)}},
        {Input::Radio, kAdd, {numbers[0], numbers[1], numbers[2]}},
        {Input::Radio, kReplace, {}, [](QWidget&) {}},
        {Input::Radio, kDelete, {numbers[0], numbers[3]}},
        {Input::Edit, 192, {numbers[1]}},
        {Input::Edit, 193, {numbers[2]}},
        {Input::Edit, 194, {numbers[3]}},
    };
    trip.locked = {{Input::Edit, 190, {whole(&Transition::transid)}}};
    trip.kept = {whole(&Transition::reserved)};
    trip.check();
}

TEST_F(Transitions, AnEditedRowMovesToTheEndUntilRefresh)
{
    for (const unsigned id : {1u, 2u, 3u})
        keep(transition(id, 1, 0, 0, "0"));
    open<Cfrm_transitions>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 194).setText("00");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(column(0), (QStringList{"2", "3", "1"}));
    EXPECT_EQ(cell(2, 5), "00");
    EXPECT_STREQ(stored(1).digits, "00");
    press(Refresh);
    EXPECT_EQ(column(0), (QStringList{"1", "2", "3"}));
}

TEST_F(Transitions, OkWithoutAChangeStoresNothingAndLeavesTheRow)
{
    keep(transition(1, 2, 3, 4, "5"));
    keep(transition(2, 1, 0, 0, "5"));
    open<Cfrm_transitions>();
    const int& writes = countWrites();
    for (int at = 0; at < 2; ++at) {
        select(at);
        boxes.expectEditor(title(), [](QDialog& editor) { pressOk(editor); });
        press(Edit);
    }
    EXPECT_EQ(writes, 0);
    EXPECT_EQ(column(0), (QStringList{"1", "2"}));
}

TEST_F(Transitions, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(transition(5, 1, 0, 0, "5"));
    keep(transition(6, 1, 0, 0, "6"));
    open<Cfrm_transitions>();
    select(0);
    boxes.expectEditor(title(), [this](QDialog& editor) {
        keep(transition(1, 1, 0, 0, "1"));
        frame().hide();
        frame().show();
        edit(editor, 194).setText("55");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(column(0), (QStringList{"1", "6", "5"}));
}

TEST_F(Transitions, AddingAnIdThatExistsChangesNothingAndSaysNothing)
{
    keep(transition(5, 1, 0, 0, "123"));
    open<Cfrm_transitions>();
    add([](QDialog&) {});
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored(5).digits, "123");
}

TEST_F(Transitions, WhatTheStoreCannotWriteIsShownAllTheSame)
{
    open<Cfrm_transitions>();
    refuseWrites();
    add([](QDialog&) {});
    EXPECT_EQ(column(0), QStringList{"5"});
}

TEST_F(Transitions, WhatAnEditCouldNotStoreIsShownAllTheSame)
{
    keep(transition(5, 1, 0, 0, "1"));
    open<Cfrm_transitions>();
    refuseWrites();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 194).setText("2");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(cell(0, 5), "2");
    EXPECT_STREQ(stored(5).digits, "1");
}

TEST_F(Transitions, AfterAnEditTheNextCommandMeetsTheSameRow)
{
    for (const unsigned id : {1u, 2u, 3u})
        keep(transition(id, 1, 0, 0, "0"));
    open<Cfrm_transitions>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 194).setText("00");
        pressOk(editor);
    });
    press(Edit);
    press(Delete);
    EXPECT_EQ(column(0), (QStringList{"2", "3"}));
    EXPECT_EQ(store().DbNbrTransHas(1), 0u);
}

TEST_F(Transitions, AnUnusableRecordIsListedButNotOpened)
{
    keep(transition(5, 7, 0, 0, "1"));
    open<Cfrm_transitions>();
    EXPECT_EQ(cell(0, 2), "Unknown");
    select(0);
    press(Edit);
    boxes.expectInput(item(373), item(190), QString(), "5");
    boxes.expect(item(443), item(442));
    press(Query);
}

TEST_F(Transitions, EditOfARecordThatIsGoneOpensNothing)
{
    keep(transition(5, 1, 0, 0, "1"));
    open<Cfrm_transitions>();
    ASSERT_EQ(store().DbNbrTransDel(5), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(Transitions, DeleteRemovesTheRowAlsoOfARecordThatIsGone)
{
    keep(transition(5, 1, 0, 0, "1"));
    keep(transition(6, 1, 0, 0, "1"));
    open<Cfrm_transitions>();
    ASSERT_EQ(store().DbNbrTransDel(5), kDbOk);
    for (int rows = 1; rows >= 0; --rows) {
        select(0);
        press(Delete);
        EXPECT_EQ(model().rowCount(), rows);
    }
    EXPECT_EQ(store().DbNbrTransHas(6), 0u);
}

TEST_F(Transitions, SearchEditsARecordAndLeavesTheListUntilRefresh)
{
    keep(transition(5, 1, 0, 0, "1"));
    open<Cfrm_transitions>();
    boxes.expectInput(item(373), item(190), QString(), "5");
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 194).setText("2");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored(5).digits, "2");
    EXPECT_EQ(cell(0, 5), "1");
    const int& writes = countWrites();
    boxes.expectInput(item(373), item(190), QString(), "5");
    boxes.expectEditor(title(), [](QDialog& editor) { pressOk(editor); });
    press(Query);
    EXPECT_EQ(writes, 0);
}

TEST_F(Transitions, SearchForAnUnknownIdSaysSo)
{
    open<Cfrm_transitions>();
    boxes.expectInput(item(373), item(190), QString(), "77");
    boxes.expect(item(443), item(442));
    press(Query);
}

TEST_F(Transitions, SearchThatIsCancelledOrEmptyDoesNothing)
{
    open<Cfrm_transitions>();
    boxes.expectInputToCancel(item(373), item(190), QString());
    press(Query);
    boxes.expectInput(item(373), item(190), QString(), QString());
    press(Query);
}

} // namespace
