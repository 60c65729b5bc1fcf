// The pages of the system black list, the IP black and white list and the event channel authorization.
#include "bcl2/text.h"
#include "frm_evt_channel_auth.h"
#include "frm_ip_bwlist.h"
#include "frm_sys_black_list.h"
#include "support/editor_page_fixture.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QEvent>
#include <QTreeView>

namespace {

class BlackList : public EditorPageFixture<Cdb_sys_black_item> {
protected:
    using Entry = Cdb_sys_black_item;

    [[nodiscard]] QString title() const override { return item(425); }
    static Entry entry(const char* caller, const char* called, int code = 0, const char* name = "")
    {
        Entry record;
        BclCopyStr(record.callerNbr, caller);
        BclCopyStr(record.calledNbr, called);
        BclCopyStr(record.name, name);
        record.code = code;
        return record;
    }
    void keep(const Entry& record) { ASSERT_EQ(store().DbSysBlackListAdd(&record), kDbOk); }
    static Use filled(const char* caller, const char* called, const char* code = "403")
    {
        return [=](QDialog& editor) {
            edit(editor, 228).setText(caller);
            edit(editor, 207).setText(called);
            edit(editor, 229).setText(code);
        };
    }
    void expectQuestions(const QString& caller, const QString& called)
    {
        boxes.expectInput(item(373), item(228), QString(), caller);
        boxes.expectInput(item(373), item(207), QString(), called);
    }
};

// Notes the titles that dialogs are given, also while they are made.
class TitleNotes : public QObject {
public:
    TitleNotes() { qApp->installEventFilter(this); }

    QStringList titles;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        auto* const dialog = qobject_cast<QDialog*>(watched);
        if (event->type() == QEvent::WindowTitleChange && dialog != nullptr)
            titles.append(dialog->windowTitle());
        return false;
    }
};

TEST_F(BlackList, ItsEditorIsGivenTwoTitlesOfWhichTheSecondShows)
{
    TitleNotes notes;
    Cdlg_sys_black_list editor(&store(), nullptr);
    EXPECT_EQ(notes.titles, (QStringList{item(226), item(425)}));
    EXPECT_EQ(editor.windowTitle(), item(425));
}

TEST_F(BlackList, IsListedByCallerThenCalled)
{
    keep(entry("2", "1"));
    keep(entry("1", "2", 603, "x"));
    keep(entry("1", "10"));
    open<Cfrm_sys_black_list>();
    EXPECT_EQ(column(0), (QStringList{"1", "1", "2"}));
    EXPECT_EQ(column(1), (QStringList{"10", "2", "1"}));
    EXPECT_EQ(row(1), (QStringList{"1", "2", "x", "603"}));
}

TEST_F(BlackList, SurroundingBlanksAreNeitherStoredNorListed)
{
    open<Cfrm_sys_black_list>();
    add(filled("  555 ", " 0 ", "603"));
    EXPECT_EQ(row(0), (QStringList{"555", "0", "", "603"}));
    EXPECT_EQ(bytesOf(stored().at(0)), bytesOf(entry("555", "0", 603)));
}

TEST_F(BlackList, WhatTheRecordItselfCallsInvalidIsRefused)
{
    open<Cfrm_sys_black_list>();
    for (const auto& [caller, code] : {std::pair("", "403"), std::pair("  ", "403"), std::pair("1", "399"),
                                       std::pair("1", "700"), std::pair("1", "-1")})
        addToBeRefused("Parameter Invalid", "Please check your input. Some parameters are invalid. ",
                       filled(caller, "", code));
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(model().rowCount(), 0);
    add(filled("1", "", ""));
    add(filled("", "0", "699"));
    EXPECT_EQ(row(0), (QStringList{"1", "", "", "0"}));
    EXPECT_EQ(row(1), (QStringList{"", "0", "", "699"}));
    EXPECT_EQ(stored().size(), 2u);
}

TEST_F(BlackList, AddingAPairThatExistsDoesNothingAndSaysNothing)
{
    keep(entry("1", "2", 403, "old"));
    open<Cfrm_sys_black_list>();
    addToBeRefused({}, {}, filled("1", "2"));
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored().at(0).name, "old");
}

TEST_F(BlackList, AddOpensEmptyWhateverWasThereBefore)
{
    keep(entry("1", "2", 603, "x"));
    open<Cfrm_sys_black_list>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {228, 207, 283, 229}), "12x603");
        EXPECT_FALSE(edit(editor, 228).isEnabled());
        EXPECT_FALSE(edit(editor, 207).isEnabled());
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(texts(editor, {228, 207, 283, 229}), "0");
        EXPECT_TRUE(edit(editor, 228).isEnabled());
        EXPECT_TRUE(edit(editor, 207).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(BlackList, EditShowsWhatTheRowShowsAndRefreshesItInPlace)
{
    keep(entry("1", "2", 603, "Old"));
    keep(entry("1", "3"));
    open<Cfrm_sys_black_list>();
    const Entry changed = entry("1", "2", 480, "Changed");
    ASSERT_EQ(store().DbSysBlackListUpdate(&changed), kDbOk);
    takeStatements();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {228, 207, 283, 229}), "12Old603");
        edit(editor, 283).setText("New");
        edit(editor, 229).setText("486");
        pressOk(editor);
    });
    EXPECT_EQ(takeStatements(), QStringList());
    EXPECT_EQ(row(0), (QStringList{"1", "2", "New", "486"}));
    EXPECT_EQ(row(1), (QStringList{"1", "3", "", "0"}));
    EXPECT_EQ(bytesOf(stored().at(0)), bytesOf(entry("1", "2", 486, "New")));
}

TEST_F(BlackList, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(entry("1", "2"));
    open<Cfrm_sys_black_list>();
    editRow(0, [this](QDialog& editor) {
        keep(entry("1", "1"));
        showAgain();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(2), (QStringList{"", "new"}));
}

TEST_F(BlackList, OneThatWasDeletedUnderItsEditorStaysDeletedAndItsRowAsItWas)
{
    keep(entry("1", "2", 0, "old"));
    open<Cfrm_sys_black_list>();
    editRow(0, [this](QDialog& editor) {
        const Entry gone = stored().at(0);
        ASSERT_EQ(store().DbSysBlackListDel(&gone), kDbOk);
        edit(editor, 283).setText("new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(cell(0, 2), "old");
}

TEST_F(BlackList, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Entry record = entry("1", "2", 603, "Pest");
    keep(record);
    open<Cfrm_sys_black_list>();
    checkThatEveryInputHasItsOwnBytes(
        record, [&] { ASSERT_EQ(store().DbSysBlackListUpdate(&record), kDbOk); },
        {{Input::Edit, 283, {whole(&Entry::name)}}, {Input::Edit, 229, {whole(&Entry::code)}}},
        {{Input::Edit, 228, {whole(&Entry::callerNbr)}}, {Input::Edit, 207, {whole(&Entry::calledNbr)}}},
        {whole(&Entry::reserved)});
}

TEST_F(BlackList, DeleteRemovesTheRowOnlyWithItsRecord)
{
    keep(entry("1", "2"));
    open<Cfrm_sys_black_list>();
    const Entry gone = stored().at(0);
    ASSERT_EQ(store().DbSysBlackListDel(&gone), kDbOk);
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 1);
    keep(entry("1", "2"));
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(stored().size(), 0u);
}

TEST_F(BlackList, SearchAsksForBothPrefixesAndLeavesTheListUntilRefresh)
{
    keep(entry("1", "2"));
    open<Cfrm_sys_black_list>();
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

class IpList : public EditorPageFixture<Cdb_ip_bwlist> {
protected:
    using Entry = Cdb_ip_bwlist;

    [[nodiscard]] QString title() const override { return item(444); }
    static Entry entry(const char* address, uint32_t action = 0, const char* name = "")
    {
        Entry record;
        BclCopyStr(record.ipAddr, address);
        BclCopyStr(record.name, name);
        record.action = action;
        return record;
    }
    void keep(const Entry& record) { ASSERT_EQ(store().DbIPBWListSet(record), kDbOk); }
    static Use filled(const char* address, const char* name)
    {
        return [=](QDialog& editor) {
            edit(editor, 416).setText(address);
            edit(editor, 283).setText(name);
        };
    }
};

TEST_F(IpList, IsListedByAddressWithWhatItDoes)
{
    keep(entry("192.0.2.9", 1, "Office"));
    keep(entry("192.0.2.10"));
    keep(entry("192.0.2.11", 2));
    open<Cfrm_ip_bwlist>();
    EXPECT_EQ(row(0), (QStringList{"192.0.2.10", "", item(447)}));
    EXPECT_EQ(cell(1, 2), item(447));
    EXPECT_EQ(row(2), (QStringList{"192.0.2.9", "Office", item(446)}));
}

TEST_F(IpList, AddStoresAndAppendsTheRow)
{
    keep(entry("192.0.2.9"));
    open<Cfrm_ip_bwlist>();
    add([](QDialog& editor) {
        filled("10.0.0.0/8", "Inside")(editor);
        QComboBox& action = combo(editor, 445);
        EXPECT_FALSE(action.isEditable());
        ASSERT_EQ(action.count(), 2);
        EXPECT_EQ(action.itemText(0), item(447));
        EXPECT_EQ(action.itemData(0), 0);
        EXPECT_EQ(action.itemText(1), item(446));
        EXPECT_EQ(action.itemData(1), 1);
        EXPECT_EQ(action.currentIndex(), 0);
        action.setCurrentIndex(1);
    });
    EXPECT_EQ(row(1), (QStringList{"10.0.0.0/8", "Inside", item(446)}));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(entry("10.0.0.0/8", 1, "Inside")));
}

TEST_F(IpList, AnEmptyAddressIsRefusedAndAnyOtherTextAccepted)
{
    open<Cfrm_ip_bwlist>();
    addToBeRefused("Invalid IP address.", "Parameter Invalid", filled("", "x"));
    EXPECT_EQ(stored().size(), 0u);
    EXPECT_EQ(model().rowCount(), 0);
    add(filled("no address", ""));
    EXPECT_EQ(column(0), QStringList{"no address"});
    EXPECT_STREQ(stored().at(0).ipAddr, "no address");
}

TEST_F(IpList, AddingAnAddressThatExistsReplacesItAndAppendsAnotherRow)
{
    keep(entry("192.0.2.9", 1, "old"));
    open<Cfrm_ip_bwlist>();
    add(filled("192.0.2.9", "new"));
    EXPECT_EQ(column(1), (QStringList{"old", "new"}));
    ASSERT_EQ(stored().size(), 1u);
    EXPECT_EQ(bytesOf(stored().at(0)), bytesOf(entry("192.0.2.9", 0, "new")));
}

TEST_F(IpList, WhatTheStoreCannotWriteIsShownAnyway)
{
    keep(entry("192.0.2.9", 0, "old"));
    open<Cfrm_ip_bwlist>();
    refuseWrites();
    add(filled("10.0.0.1", ""));
    EXPECT_EQ(column(0), (QStringList{"192.0.2.9", "10.0.0.1"}));
    editRow(0, [](QDialog& editor) {
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(cell(0, 1), "new");
    EXPECT_STREQ(stored().at(0).name, "old");
    deleteRow(0);
    EXPECT_EQ(column(0), QStringList{"10.0.0.1"});
    EXPECT_EQ(stored().size(), 1u);
}

TEST_F(IpList, DeleteRemovesTheRecordAndItsRow)
{
    keep(entry("192.0.2.8"));
    keep(entry("192.0.2.9"));
    open<Cfrm_ip_bwlist>();
    select(0);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"192.0.2.9"});
    EXPECT_EQ(store().rows<Cdb_ip_bwlist>().get()->size(), 1u);
}

TEST_F(IpList, AddOpensEmptyWhateverWasThereBefore)
{
    keep(entry("192.0.2.9", 1, "x"));
    open<Cfrm_ip_bwlist>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(texts(editor, {416, 283}), "192.0.2.9x");
        EXPECT_EQ(combo(editor, 445).currentIndex(), 1);
        EXPECT_FALSE(edit(editor, 416).isEnabled());
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(texts(editor, {416, 283}), QString());
        EXPECT_EQ(combo(editor, 445).currentIndex(), 0);
        EXPECT_TRUE(edit(editor, 416).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(IpList, EditShowsWhatTheStoreHoldsAndRefreshesItsRowInPlace)
{
    keep(entry("192.0.2.8", 0));
    keep(entry("192.0.2.9"));
    open<Cfrm_ip_bwlist>();
    keep(entry("192.0.2.8", 0, "changed"));
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 283).text(), "changed");
        combo(editor, 445).setCurrentIndex(1);
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"192.0.2.8", "changed", item(446)}));
    EXPECT_EQ(row(1), (QStringList{"192.0.2.9", "", item(447)}));
    EXPECT_EQ(stored().at(0).action, 1u);
}

TEST_F(IpList, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(entry("192.0.2.8"));
    open<Cfrm_ip_bwlist>();
    editRow(0, [this](QDialog& editor) {
        keep(entry("10.0.0.1"));
        showAgain();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"", "new"}));
}

TEST_F(IpList, EditOfOneThatIsGoneDoesNothing)
{
    keep(entry("192.0.2.8"));
    open<Cfrm_ip_bwlist>();
    ASSERT_EQ(store().DbIPBWListDel("192.0.2.8"), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(IpList, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Entry record = entry("192.0.2.8", 1, "Office");
    keep(record);
    open<Cfrm_ip_bwlist>();
    checkThatEveryInputHasItsOwnBytes(
        record, [&] { ASSERT_EQ(store().DbIPBWListSet(record), kDbOk); },
        {{Input::Edit, 283, {whole(&Entry::name)}}, {Input::Combo, 445, {only(&Entry::action, 1)}}},
        {{Input::Edit, 416, {whole(&Entry::ipAddr)}}}, {whole(&Entry::reserved), only(&Entry::action, ~1u)});
}

TEST_F(IpList, OneOpenedFromSearchIsStoredWithoutAChangeOfTheList)
{
    keep(entry("192.0.2.8", 0, "old"));
    open<Cfrm_ip_bwlist>();
    boxes.expectInput(item(373), item(416), QString(), "192.0.2.8");
    expectEditor([](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 416).isEnabled());
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored().at(0).name, "new");
    EXPECT_EQ(cell(0, 1), "old");
    boxes.expectInput(item(373), item(416), QString(), "192.0.2.8");
    expectEditor([](QDialog& editor) {
        edit(editor, 283).setText("cancelled");
        pressCancel(editor);
    });
    press(Query);
    EXPECT_STREQ(stored().at(0).name, "new");
    boxes.expectInput(item(373), item(416), QString(), "192.0.2.9");
    boxes.expect(item(443), item(442));
    press(Query);
    boxes.expectInputToCancel(item(373), item(416), QString());
    press(Query);
}

class EventChannel : public EditorPageFixture<Cdb_evt_channel_auth> {
protected:
    using Address = Cdb_evt_channel_auth;

    [[nodiscard]] QString title() const override { return item(415); }
    static Address address(const char* text)
    {
        Address record;
        BclCopyStr(record.ipAddr, text);
        return record;
    }
    void keep(const char* text) { ASSERT_EQ(store().DbEvtChannelAuthAdd(address(text)), kDbOk); }
    static Use filled(const char* text)
    {
        return [=](QDialog& editor) { edit(editor, 416).setText(text); };
    }
};

TEST_F(EventChannel, ShowsOneColumnAndNeitherEditsNorSearches)
{
    keep("192.0.2.9");
    keep("192.0.2.10");
    open<Cfrm_evt_channel_auth>();
    EXPECT_EQ(model().columnCount(), 1);
    EXPECT_EQ(column(0), (QStringList{"192.0.2.10", "192.0.2.9"}));
    EXPECT_FALSE(actionOf(Edit)->isVisible());
    EXPECT_FALSE(actionOf(Query)->isVisible());
    select(0);
    emit view().doubleClicked(view().currentIndex());
    EXPECT_EQ(model().rowCount(), 2) << "and a double click opens nothing";
}

TEST_F(EventChannel, AddStoresAndAppendsTheRow)
{
    keep("192.0.2.9");
    open<Cfrm_evt_channel_auth>();
    add(filled("127.0.0.1"));
    EXPECT_EQ(column(0), (QStringList{"192.0.2.9", "127.0.0.1"}));
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(address("127.0.0.1")));
}

TEST_F(EventChannel, WhatTheStoreRefusesIsNotAddedAndNothingIsSaid)
{
    keep("192.0.2.9");
    open<Cfrm_evt_channel_auth>();
    addToBeRefused({}, {}, filled(""));
    addToBeRefused({}, {}, filled("192.0.2.9"));
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_EQ(stored().size(), 1u);
}

TEST_F(EventChannel, ItsEditorKeepsWhatWasTypedLast)
{
    open<Cfrm_evt_channel_auth>();
    add(filled("127.0.0.100"));
    add([](QDialog& editor) {
        EXPECT_EQ(edit(editor, 416).text(), "127.0.0.100");
        edit(editor, 416).setText("127.0.0.1");
    });
    EXPECT_EQ(bytesOf(stored().at(1)), bytesOf(address("127.0.0.1"))) << "nothing of a longer text is left";
    addWith([](QDialog& editor) {
        edit(editor, 416).setText("typed");
        pressCancel(editor);
    });
    addWith([](QDialog& editor) {
        EXPECT_EQ(edit(editor, 416).text(), "typed");
        pressCancel(editor);
    });
}

TEST_F(EventChannel, DeleteRemovesTheRowOnlyWithItsRecord)
{
    keep("192.0.2.9");
    open<Cfrm_evt_channel_auth>();
    ASSERT_EQ(store().DbEvtChannelAuthDel("192.0.2.9"), kDbOk);
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 1);
    keep("192.0.2.9");
    deleteRow(0);
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(stored().size(), 0u);
}

} // namespace
