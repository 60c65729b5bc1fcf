// The pages of the hunting groups, of their operators and of their detection.
#include "bcl2/text.h"
#include "frm_hg_dect.h"
#include "frm_hg_info.h"
#include "frm_hg_oper.h"
#include "support/editor_roundtrip.h"
#include "support/page_fixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTreeView>
#include <sqlite3.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Group = Cdb_hunting_group_cfg_data;
using Operator = Cdb_hunting_group_operator_data;
using Detection = Cdb_hunting_group_detect_data;

const QString kNoGroup = QStringLiteral("Please configure hunting group information firstly.");

class HuntingPages : public PageFixture {
protected:
    static QLineEdit& edit(QDialog& editor, int label) { return input<QLineEdit>(editor, label); }
    static QComboBox& combo(QDialog& editor, int label) { return input<QComboBox>(editor, label); }

    void keep(const Group& record) { ASSERT_EQ(store().DbAddHuntingGroup(record), kDbOk); }
    void keepGroup(unsigned id, const char* name = "")
    {
        Group record;
        record.groupID = id;
        BclCopyStr(record.name, name);
        keep(record);
    }
    // What no page and no call would store.
    static void changeBehindTheStore(const char* sql)
    {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open((qgetenv("PARLOVEX_HOME") + "/config.db").constData(), &db), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
        sqlite3_close(db);
    }
    void expectEditor(const std::function<void(QDialog&)>& use) { boxes.expectEditor(title(), use); }
    void expectRefusal(const QString& boxTitle, const QString& text, const std::function<void(QDialog&)>& fill)
    {
        expectEditor([fill](QDialog& editor) {
            fill(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        boxes.expect(boxTitle, text);
    }
    void editFirst(const std::function<void(QDialog&)>& use)
    {
        select(0);
        expectEditor(use);
        press(Edit);
    }
    [[nodiscard]] virtual QString title() const = 0;
};

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
    void addToBeRefused(const QString& boxTitle, const QString& text, const std::function<void(QDialog&)>& fill)
    {
        expectRefusal(boxTitle, text, fill);
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
            Group group;
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
    editFirst([&](QDialog& editor) {
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
    editFirst([](QDialog& editor) {
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
    editFirst([](QDialog& editor) {
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
    editFirst([](QDialog& editor) {
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
    editFirst([this](QDialog& editor) {
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
    trip.edit = [&](const std::function<void(QDialog&)>& use) { editFirst(use); };
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
        editFirst([&](QDialog& editor) { // the first row comes last
            EXPECT_EQ(strategy(editor, 411).isChecked(), at == 1);
            EXPECT_FALSE(strategy(editor, 412).isChecked());
            pressOk(editor);
        });
    }
    EXPECT_EQ(stored(5).strategy, 7);
    EXPECT_EQ(stored(6).strategy, 1) << "what is below 1 shows as 1";
    EXPECT_EQ(column(2), (QStringList{"Unknown", item(411)}));
    editFirst([](QDialog& editor) {
        EXPECT_FALSE(strategy(editor, 411).isChecked()) << "that of the group before";
        strategy(editor, 412).click();
        pressOk(editor);
    });
    EXPECT_EQ(stored(5).strategy, 2);
    editFirst([](QDialog& editor) {
        strategy(editor, 412).click();
        EXPECT_FALSE(strategy(editor, 411).isChecked());
        pressCancel(editor);
    });
}

TEST_F(HuntingGroups, WhatTheStoreRefusesIsShownAllTheSame)
{
    keepGroup(5, "old");
    open<Cfrm_hg_info>();
    editFirst([this](QDialog& editor) {
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
    for (int rows = 1; rows >= 0; --rows) {
        select(0);
        press(Delete);
        EXPECT_EQ(model().rowCount(), rows);
    }
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

class HuntingOperators : public HuntingPages {
protected:
    [[nodiscard]] QString title() const override { return item(280); }
    void keepOperator(const char* number, unsigned group, uint8_t isExternal = 0)
    {
        Operator record;
        record.operatorNbr.SetNbr(number);
        record.groupID = group;
        record.isExternal = isExternal;
        ASSERT_EQ(store().DbAddHGOperator(record), kDbOk);
    }
    [[nodiscard]] std::map<std::string, std::pair<unsigned, unsigned>> storedOperators()
    {
        std::map<std::string, std::pair<unsigned, unsigned>> found;
        store().rows<Operator>().get()->forEach([&](const auto& number, const Operator& record) {
            found[std::string(number)] = {record.groupID, record.isExternal};
        });
        return found;
    }
    void add(const QString& number, int group = 0, bool isExternal = false)
    {
        expectEditor([=](QDialog& editor) {
            edit(editor, 287).setText(number);
            combo(editor, 288).setCurrentIndex(group);
            check(editor, 354).setChecked(isExternal);
            pressOk(editor);
        });
        press(Add);
    }
};

TEST_F(HuntingOperators, AreListedByNumberWithTheirGroupAndPlace)
{
    keepOperator("1002", 7, 1);
    keepOperator("1001", 10, 0);
    keepOperator("1003", 9, 2);
    open<Cfrm_hg_oper>();
    EXPECT_EQ(row(0), (QStringList{"1001", "10", item(70)}));
    EXPECT_EQ(row(1), (QStringList{"1002", "7", item(69)}));
    EXPECT_EQ(row(2), (QStringList{"1003", "9", item(70)}));
    view().sortByColumn(1, Qt::AscendingOrder);
    EXPECT_EQ(column(1), (QStringList{"7", "9", "10"})) << "groups are numbers";
}

TEST_F(HuntingOperators, NeedAGroupFirst)
{
    open<Cfrm_hg_oper>();
    boxes.expect(item(77), kNoGroup);
    press(Add);
    keepGroup(5);
    add("1001");
    EXPECT_EQ(row(0), (QStringList{"1001", "5", item(70)}));
}

TEST_F(HuntingOperators, AddStoresTheChosenGroupAndThePlace)
{
    keepGroup(5, "Sales");
    keepGroup(12, "Service");
    open<Cfrm_hg_oper>();
    expectEditor([](QDialog& editor) {
        const QComboBox& groups = combo(editor, 288);
        EXPECT_EQ(groups.count(), 2);
        EXPECT_EQ(groups.itemText(1), "12   Service");
        pressCancel(editor);
    });
    press(Add);
    add("0441234567", 1, true);
    EXPECT_EQ(row(0), (QStringList{"0441234567", "12", item(69)}));
    EXPECT_EQ(storedOperators()["0441234567"], std::pair(12u, 1u));
}

TEST_F(HuntingOperators, AnEmptyNumberIsRefusedInWords)
{
    keepGroup(5);
    open<Cfrm_hg_oper>();
    expectRefusal(item(77), "Please configure operator number.", [](QDialog&) {});
    press(Add);
    EXPECT_TRUE(storedOperators().empty());
}

TEST_F(HuntingOperators, ANumberThatIsInAnyGroupIsRefusedInWords)
{
    keepGroup(5);
    keepGroup(6);
    const QString longest(32, '1');
    keepOperator("1001", 5);
    keepOperator(longest.toUtf8().constData(), 5);
    open<Cfrm_hg_oper>();
    for (const QString& number : {QStringLiteral("1001"), longest, longest + "2"}) {
        expectRefusal(item(77), "There is an operator.", [=](QDialog& editor) {
            edit(editor, 287).setText(number);
            combo(editor, 288).setCurrentIndex(1);
        });
        press(Add);
    }
    EXPECT_EQ(model().rowCount(), 2);
    EXPECT_EQ(storedOperators()["1001"].first, 5u);
}

TEST_F(HuntingOperators, WhatTheStoreRefusesIsNotAddedAndNothingIsSaid)
{
    keepGroup(5);
    open<Cfrm_hg_oper>();
    refuseWrites();
    expectEditor([](QDialog& editor) {
        edit(editor, 287).setText("1001");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    press(Add);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(HuntingOperators, AddOpensEmptyWhateverWasThereBefore)
{
    keepGroup(5);
    keepGroup(6);
    open<Cfrm_hg_oper>();
    for (int round = 0; round < 2; ++round) {
        expectEditor([round](QDialog& editor) {
            EXPECT_EQ(combo(editor, 288).count(), 2 + round) << "groups that came meanwhile are offered";
            EXPECT_EQ(edit(editor, 287).text(), QString());
            EXPECT_EQ(combo(editor, 288).currentIndex(), 0);
            EXPECT_FALSE(check(editor, 354).isChecked());
            EXPECT_TRUE(edit(editor, 287).isEnabled());
            EXPECT_TRUE(combo(editor, 288).isEnabled());
            edit(editor, 287).setText("1001");
            combo(editor, 288).setCurrentIndex(1);
            check(editor, 354).setChecked(true);
            pressCancel(editor);
        });
        press(Add);
        keepGroup(static_cast<unsigned>(7 + round));
    }
}

TEST_F(HuntingOperators, DeleteRemovesTheRowAlsoOfAnOperatorThatIsGone)
{
    keepOperator("1001", 5);
    keepOperator("1002", 5);
    open<Cfrm_hg_oper>();
    ASSERT_EQ(store().DbRemoveHGOperator("1001"), kDbOk);
    for (int rows = 1; rows >= 0; --rows) {
        select(0);
        press(Delete);
        EXPECT_EQ(model().rowCount(), rows);
    }
    EXPECT_TRUE(storedOperators().empty());
}

TEST_F(HuntingOperators, ADoubleClickOpensNothing)
{
    keepOperator("1001", 5);
    open<Cfrm_hg_oper>();
    select(0);
    emit view().doubleClicked(view().currentIndex());
    EXPECT_EQ(model().rowCount(), 1);
}

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
    void expectSearchFor(const char* plan, const char* number)
    {
        boxes.expectInput(item(373), item(291), "default", plan);
        boxes.expectInput(item(373), item(292), QString(), number);
    }
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
    expectRefusal(item(77), "Please configure called number prefix.", [](QDialog&) {});
    press(Add);
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
    editFirst([](QDialog& editor) {
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
    editFirst([](QDialog& editor) {
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
    editFirst([](QDialog& editor) {
        EXPECT_EQ(combo(editor, 282).currentData().toInt(), 6);
        pressCancel(editor);
    });
}

TEST_F(HuntingDetection, ARuleOfAGroupThatIsGoneShowsTheFirstGroupAndKeepsItsOwnWhereThereIsNone)
{
    keepRule("default", "80", 9);
    open<Cfrm_hg_dect>();
    editFirst([](QDialog& editor) {
        EXPECT_EQ(combo(editor, 282).currentIndex(), -1);
        pressOk(editor);
    });
    EXPECT_EQ(stored("default", "80").groupID, 9u);
    keepGroup(5);
    editFirst([](QDialog& editor) {
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
    editFirst([this](QDialog& editor) {
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
    editFirst([this](QDialog& editor) {
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
    for (int rows = 1; rows >= 0; --rows) {
        select(0);
        press(Delete);
        EXPECT_EQ(model().rowCount(), rows);
    }
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
    boxes.expectInputToCancel(item(373), item(291), "default");
    press(Query);
    boxes.expectInput(item(373), item(291), "default", "night");
    boxes.expectInputToCancel(item(373), item(292), QString());
    press(Query);
}

} // namespace
