// The page of the hunting groups.
#include "console/pages/hunting_pages.h"
#include "frm_hg_info.h"
#include "support/editor_roundtrip.h"

#include <QCheckBox>
#include <QDir>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTreeView>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

class HuntingGroups : public HuntingPages {
protected:
    [[nodiscard]] QString title() const override { return item(278); }
    static QCheckBox& queue(QDialog& editor) { return check(editor, 331); }
    static QRadioButton& strategy(QDialog& editor, int text) { return showing<QRadioButton>(editor, text); }

    Group stored(unsigned id)
    {
        Group record;
        record.groupID = id;
        EXPECT_EQ(store().DbGetHGInfo(record), kDbOk) << id;
        return record;
    }
    [[nodiscard]] size_t storedGroups() { return store().rows<Group>().get()->size(); }
    void add(const QString& id, const std::function<void(QDialog&)>& fill = {})
    {
        expectEditor([=](QDialog& editor) {
            edit(editor, 282).setText(id);
            if (fill)
                fill(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Accepted);
        });
        press(Add);
    }
};

// A store whose two handles read different files.
class TwoFiles {
public:
    TwoFiles(unsigned cached, unsigned local)
    {
        _options.cacheFile = fileOf("cache", cached);
        _options.localFile = fileOf("local", local);
        _options.dataFolder = folderOf("cache");
        _store = std::make_unique<Cdb_fac_mgr>(_options);
    }
    [[nodiscard]] Cdb_fac_mgr* store() { return _store.get(); }

private:
    [[nodiscard]] std::string folderOf(const char* name) const { return _folder.filePath(name).toStdString(); }
    std::string fileOf(const char* name, unsigned groups)
    {
        EXPECT_TRUE(QDir(_folder.path()).mkdir(name));
        Cdb_options options;
        options.dataFolder = folderOf(name);
        Cdb_fac_mgr writer(options);
        for (unsigned id = 1; id <= groups; ++id) {
            Cdb_hunting_group_cfg_data group;
            group.groupID = id;
            BclCopyStr(group.name, name);
            EXPECT_EQ(writer.DbAddHuntingGroup(group), kDbOk);
        }
        return options.dataFolder + "/config.db";
    }

    QTemporaryDir _folder;
    Cdb_options _options;
    std::unique_ptr<Cdb_fac_mgr> _store;
};

TEST_F(HuntingGroups, AreListedFromTheCacheAndCountedInTheLocalDatabase)
{
    TwoFiles fewer(51, 50);
    show(std::make_unique<Cfrm_hg_info>(fewer.store(), nullptr));
    EXPECT_EQ(model().rowCount(), 50);
    EXPECT_EQ(cell(0, 1), "cache");
    boxes.expect(item(76), item(357));
    press(Next);
    EXPECT_EQ(cell(0, 0), "1") << "there are 50 groups for the count";
    TwoFiles more(51, 100);
    show(std::make_unique<Cfrm_hg_info>(more.store(), nullptr));
    press(Next);
    EXPECT_EQ(column(0), QStringList{"51"});
    TwoFiles none(1, 0);
    show(std::make_unique<Cfrm_hg_info>(none.store(), nullptr));
    EXPECT_EQ(column(1), QStringList{"cache"});
}

TEST_F(HuntingGroups, TheListIsOrderedByNumber)
{
    for (const unsigned id : {10u, 9u, 100u})
        keepGroup(id);
    open<Cfrm_hg_info>();
    EXPECT_EQ(column(0), (QStringList{"9", "10", "100"}));
}

TEST_F(HuntingGroups, TheStrategyIsNamedOrUnknown)
{
    for (const int strategy : {1, 2, 3, 0, -1}) {
        Group record;
        record.groupID = static_cast<uint32_t>(10 + strategy);
        record.strategy = strategy;
        record.operatorTime = 33;
        BclCopyStr(record.name, "Küche");
        keep(record);
    }
    open<Cfrm_hg_info>();
    EXPECT_EQ(column(2), (QStringList{"Unknown", "Unknown", item(411), item(412), "Unknown"}));
    EXPECT_EQ(row(2), (QStringList{"11", QString::fromUtf8("Küche"), item(411), "33"}));
}

TEST_F(HuntingGroups, OneThatIsNotInUseIsNotListed)
{
    keepGroup(5);
    changeBehindTheStore("insert into tbl_hunting_group values (0, 'none', 1, 20, 0, 0, 0)");
    changeBehindTheStore("insert into tbl_hunting_group values (101, 'none', 1, 20, 0, 0, 0)");
    open<Cfrm_hg_info>();
    EXPECT_EQ(column(0), QStringList{"5"});
}

TEST_F(HuntingGroups, TheNumberIsOneToAHundred)
{
    open<Cfrm_hg_info>();
    for (const char* id : {"", "0", "101", "-1", "none", "4294967297"}) {
        addToBeRefused("Invalid parameter", "The group ID is invalid. It should be [1,100].",
                       [id](QDialog& editor) { edit(editor, 282).setText(id); });
    }
    EXPECT_EQ(storedGroups(), 0u);
    add("1");
    add("100");
    EXPECT_EQ(column(0), (QStringList{"1", "100"}));
    EXPECT_EQ(storedGroups(), 2u);
}

TEST_F(HuntingGroups, ANumberThatExistsIsRefusedInWordsAndTheNumberItselfIsLookedAtFirst)
{
    keepGroup(5, "first");
    open<Cfrm_hg_info>();
    addToBeRefused("Invalid configuration", "The group ID has been configured.", [](QDialog& editor) {
        edit(editor, 282).setText("5");
        queue(editor).setChecked(true);
    });
    addToBeRefused("Invalid parameter", "The group ID is invalid. It should be [1,100].", [](QDialog& editor) {
        edit(editor, 282).setText("101");
        queue(editor).setChecked(true);
    });
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_STREQ(stored(5).name, "first");
}

TEST_F(HuntingGroups, AQueueNeedsItsCounterAndItsDuration)
{
    open<Cfrm_hg_info>();
    for (const auto& [counter, duration] : {std::pair("", "60"), std::pair("5", ""), std::pair("", "")}) {
        addToBeRefused("Invalid configuration", "The call queue counter or duration should be configured.",
                       [counter = counter, duration = duration](QDialog& editor) {
                           edit(editor, 282).setText("7");
                           queue(editor).click();
                           edit(editor, 332).setText(counter);
                           edit(editor, 333).setText(duration);
                       });
    }
    EXPECT_EQ(storedGroups(), 0u);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(HuntingGroups, AddStoresWhatWasEnteredAndAppendsTheRow)
{
    keepGroup(9);
    open<Cfrm_hg_info>();
    add("0x7", [](QDialog& editor) {
        edit(editor, 283).setText("Sales");
        strategy(editor, 412).click();
        edit(editor, 284).setText("30");
        queue(editor).click();
        edit(editor, 332).setText("255");
        edit(editor, 333).setText("65535");
    });
    EXPECT_EQ(column(0), (QStringList{"9", "7"}));
    EXPECT_EQ(row(1), (QStringList{"7", "Sales", item(412), "30"}));
    const Group sales = stored(7);
    EXPECT_STREQ(sales.name, "Sales");
    EXPECT_EQ(sales.strategy, 2);
    EXPECT_EQ(sales.operatorTime, 30u);
    EXPECT_EQ(sales.isQueueOn, 1);
    EXPECT_EQ(sales.queueCounter, 255);
    EXPECT_EQ(sales.queueDuration, 65535);
}

TEST_F(HuntingGroups, ALimitThatIsTooLargeBecomesTheLargestNotNone)
{
    open<Cfrm_hg_info>();
    add("7", [](QDialog& editor) {
        queue(editor).click();
        edit(editor, 332).setText("256");
        edit(editor, 333).setText("65536");
    });
    EXPECT_EQ(stored(7).queueCounter, 255);
    EXPECT_EQ(stored(7).queueDuration, 65535);
}

TEST_F(HuntingGroups, ARingTimeBelowTenBecomesTenAndAnEmptyOneTheDefault)
{
    const std::vector<std::pair<const char*, unsigned>> kTimes = {
        {"5", 10}, {"9", 10}, {"10", 10}, {"11", 11}, {"none", 10}, {"-20", 10}, {"", 20}, {"4294967295", 4294967295}};
    open<Cfrm_hg_info>();
    unsigned id = 0;
    for (const auto& [text, wanted] : kTimes) {
        add(QString::number(++id), [text = text](QDialog& editor) { edit(editor, 284).setText(text); });
        EXPECT_EQ(stored(id).operatorTime, wanted) << text;
        EXPECT_EQ(cell(static_cast<int>(id) - 1, 3), QString::number(wanted));
    }
}

TEST_F(HuntingGroups, TheQueueFieldsAreKeptOnlyWithTheQueue)
{
    open<Cfrm_hg_info>();
    add("7", [](QDialog& editor) {
        queue(editor).click();
        edit(editor, 332).setText("5");
        edit(editor, 333).setText("60");
        queue(editor).click();
    });
    EXPECT_EQ(stored(7).isQueueOn, 0);
    EXPECT_EQ(stored(7).queueCounter, 0);
    EXPECT_EQ(stored(7).queueDuration, 0);
}

TEST_F(HuntingGroups, TheQueueSwitchesItsFields)
{
    Group with;
    with.groupID = 1;
    with.isQueueOn = 1;
    with.queueCounter = 5;
    with.queueDuration = 60;
    keep(with);
    Group without = with;
    without.groupID = 2;
    without.isQueueOn = 0;
    keep(without);
    open<Cfrm_hg_info>();
    const auto expectQueue = [](QDialog& editor, bool on) {
        EXPECT_EQ(queue(editor).isChecked(), on);
        EXPECT_EQ(edit(editor, 332).isEnabled(), on);
        EXPECT_EQ(edit(editor, 333).isEnabled(), on);
    };
    editRow(0, [&](QDialog& editor) {
        expectQueue(editor, true);
        EXPECT_EQ(edit(editor, 332).text() + "/" + edit(editor, 333).text(), "5/60");
        queue(editor).click();
        expectQueue(editor, false);
        queue(editor).click();
        expectQueue(editor, true);
        pressCancel(editor);
    });
    select(1);
    expectEditor([&](QDialog& editor) {
        expectQueue(editor, false);
        EXPECT_EQ(edit(editor, 332).text() + "/" + edit(editor, 333).text(), "/60");
        pressCancel(editor);
    });
    press(Edit);
}

TEST_F(HuntingGroups, AddOpensOnTheDefaultsWhateverWasThereBefore)
{
    Group record;
    record.groupID = 5;
    record.strategy = 2;
    record.operatorTime = 40;
    record.isQueueOn = 1;
    record.queueCounter = 3;
    record.queueDuration = 60;
    BclCopyStr(record.name, "old");
    keep(record);
    open<Cfrm_hg_info>();
    editRow(0, [](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 282).isEnabled());
        EXPECT_EQ(edit(editor, 282).text(), "5");
        pressCancel(editor);
    });
    expectEditor([](QDialog& editor) {
        EXPECT_TRUE(edit(editor, 282).isEnabled());
        EXPECT_EQ(edit(editor, 282).text() + edit(editor, 283).text() + edit(editor, 332).text(), QString());
        EXPECT_EQ(edit(editor, 284).text() + "/" + edit(editor, 333).text(), "20/0");
        EXPECT_TRUE(strategy(editor, 411).isChecked());
        EXPECT_FALSE(queue(editor).isChecked());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(HuntingGroups, AnEditedRowMovesToTheEndUntilRefresh)
{
    for (const unsigned id : {1u, 2u, 3u})
        keepGroup(id);
    open<Cfrm_hg_info>();
    editRow(0, [](QDialog& editor) {
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(0), (QStringList{"2", "3", "1"}));
    EXPECT_EQ(cell(2, 1), "new");
    EXPECT_STREQ(stored(1).name, "new");
    press(Refresh);
    EXPECT_EQ(column(0), (QStringList{"1", "2", "3"}));
}

TEST_F(HuntingGroups, EditReadsTheStoreAndNotTheRow)
{
    keepGroup(5, "old");
    open<Cfrm_hg_info>();
    Group changed = stored(5);
    BclCopyStr(changed.name, "meanwhile");
    ASSERT_EQ(store().DbUpdateHuntingGroup(changed), kDbOk);
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 283).text(), "meanwhile");
        pressCancel(editor);
    });
    EXPECT_EQ(cell(0, 1), "old");
}

TEST_F(HuntingGroups, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keepGroup(5);
    keepGroup(6);
    open<Cfrm_hg_info>();
    editRow(0, [this](QDialog& editor) {
        keepGroup(1);
        frame().hide();
        frame().show();
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    EXPECT_EQ(column(0), (QStringList{"1", "6", "5"}));
}

TEST_F(HuntingGroups, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    Group record;
    record.groupID = 5;
    record.strategy = 2;
    record.operatorTime = 31;
    record.isQueueOn = 1;
    record.queueCounter = 5;
    record.queueDuration = 61;
    BclCopyStr(record.name, "Sales");
    keep(record);
    open<Cfrm_hg_info>();
    EditorRoundTrip trip;
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(Group());
    trip.putBack = [&] {
        ASSERT_EQ(store().DbUpdateHuntingGroup(record), kDbOk);
        press(Refresh);
    };
    trip.stored = [&] { return bytesOf(stored(5)); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) { editRow(0, use); };
    const RecordBytes counter = whole(&Group::queueCounter);
    const RecordBytes duration = whole(&Group::queueDuration);
    trip.inputs = {
        {Input::Edit, 283, {whole(&Group::name)}},
        {Input::Radio, 411, {whole(&Group::strategy)}},
        {Input::Radio, 412, {}},
        {Input::Edit, 284, {whole(&Group::operatorTime)}},
        {Input::Check, 331, {whole(&Group::isQueueOn), counter, duration}},
        {Input::Edit, 332, {counter}},
        {Input::Edit, 333, {duration}},
    };
    trip.locked = {{Input::Edit, 282, {whole(&Group::groupID)}}};
    trip.kept = {whole(&Group::reserved)};
    trip.check();
}

TEST_F(HuntingGroups, AStrategyFromAboveIsKeptUntilAnotherIsChosen)
{
    Group record;
    record.groupID = 5;
    record.strategy = 7;
    keep(record);
    record.groupID = 6;
    record.strategy = 0;
    keep(record);
    open<Cfrm_hg_info>();
    for (int at = 0; at < 2; ++at) {
        editRow(0, [&](QDialog& editor) { // the first row comes last
            EXPECT_EQ(strategy(editor, 411).isChecked(), at == 1);
            EXPECT_FALSE(strategy(editor, 412).isChecked());
            pressOk(editor);
        });
    }
    EXPECT_EQ(stored(5).strategy, 7);
    EXPECT_EQ(stored(6).strategy, 1) << "what is below 1 shows as 1";
    EXPECT_EQ(column(2), (QStringList{"Unknown", item(411)}));
    editRow(0, [](QDialog& editor) {
        EXPECT_FALSE(strategy(editor, 411).isChecked()) << "that of the group before";
        strategy(editor, 412).click();
        pressOk(editor);
    });
    EXPECT_EQ(stored(5).strategy, 2);
    editRow(0, [](QDialog& editor) {
        strategy(editor, 412).click();
        EXPECT_FALSE(strategy(editor, 411).isChecked());
        pressCancel(editor);
    });
}

TEST_F(HuntingGroups, WhatTheStoreRefusesIsShownAllTheSame)
{
    keepGroup(5, "old");
    open<Cfrm_hg_info>();
    editRow(0, [this](QDialog& editor) {
        ASSERT_EQ(store().DbDelHuntingGroup(5), kDbOk);
        edit(editor, 283).setText("new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
    });
    EXPECT_EQ(row(0), (QStringList{"5", "new", item(411), "20"}));
    refuseWrites();
    add("6");
    EXPECT_EQ(column(0), (QStringList{"5", "6"}));
    EXPECT_EQ(storedGroups(), 0u);
}

TEST_F(HuntingGroups, DeleteRemovesTheRowAlsoOfAGroupThatIsGone)
{
    keepGroup(5);
    keepGroup(6);
    open<Cfrm_hg_info>();
    ASSERT_EQ(store().DbDelHuntingGroup(5), kDbOk);
    deleteAll(2);
    EXPECT_EQ(storedGroups(), 0u);
}

TEST_F(HuntingGroups, SearchEditsAGroupAndLeavesTheListUntilRefresh)
{
    keepGroup(5, "old");
    open<Cfrm_hg_info>();
    boxes.expectInput(item(373), item(282), QString(), "5");
    expectEditor([](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 282).isEnabled());
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored(5).name, "new");
    EXPECT_EQ(cell(0, 1), "old");
    for (const char* unknown : {"77", "0", "none"}) {
        boxes.expectInput(item(373), item(282), QString(), unknown);
        boxes.expect(item(443), item(442));
        press(Query);
    }
    boxes.expectInput(item(373), item(282), QString(), QString());
    press(Query);
    boxes.expectInputToCancel(item(373), item(282), QString());
    press(Query);
}

} // namespace
