// What the pages of rates, balances and calling cards have in common, on each engine of the remote database.
#include "support/billing_fixture.h"

#include <QAbstractItemModel>

#include <algorithm>
#include <iterator>
#include <tuple>

namespace {

using OnePage = std::tuple<BillingPage, RemoteEngine>;

std::vector<BillingPage> searchedPages()
{
    std::vector<BillingPage> found;
    std::copy_if(billingPages().begin(), billingPages().end(), std::back_inserter(found),
                 [](const BillingPage& each) { return each.searchLabel != 0; });
    return found;
}

auto onEachEngine(const std::vector<BillingPage>& pages)
{
    return testing::Combine(testing::ValuesIn(pages), kEachRemote);
}

std::string nameOfPage(const testing::TestParamInfo<OnePage>& info)
{
    return std::get<0>(info.param).name + remoteEngineName({std::get<1>(info.param), info.index});
}

class BillingPages : public BillingFixture, public testing::WithParamInterface<OnePage> {
protected:
    [[nodiscard]] const BillingPage& page() const override { return std::get<0>(GetParam()); }
    [[nodiscard]] RemoteEngine engine() const override { return std::get<1>(GetParam()); }
};

TEST_P(BillingPages, AddsEditsPagesAndDeletes)
{
    for (int number = 0; number < 51; ++number)
        write(number);
    openPage();
    EXPECT_EQ(rows(), 50);
    addNew();
    EXPECT_EQ(row(50), page().row);
    expectAfterRefresh([this] { return row(0); }, page().row);
    EXPECT_EQ(rows(), 50);
    press(Next);
    EXPECT_EQ(column(0), (QStringList{"1049", "1050"}));
    editRow(1, changed());
    EXPECT_EQ(changedCell(1), "77");
    expectAfterRefresh([this] { return changedCell(1); }, "77");
    deleteRow(0);
    expectAfterRefresh([this] { return column(0); }, QStringList{"1050"});
    boxes.expect(item(76), item(357));
    press(Next);
    press(Previous);
    EXPECT_EQ(rows(), 50);
}

TEST_P(BillingPages, AddStoresWhatWasEnteredAndShowsItAtTheEndUntilRefreshSortsIt)
{
    write(1); // sorts behind the new one
    openPage();
    addNew();
    EXPECT_EQ(row(1), page().row);
    expectAfterRefresh([this] { return row(0); }, page().row);
    EXPECT_EQ(rows(), 2);
}

TEST_P(BillingPages, ANewRowStandsBeforeItsRecordIsWritten)
{
    openPage();
    const QString count = QStringLiteral("select count(*) from ") + page().table;
    int written = -1;
    QObject::connect(&model(), &QAbstractItemModel::rowsInserted, &boxes, [&] {
        Cdba_proxy result(&store());
        ASSERT_EQ(result.query(count.toUtf8().constData()), kDbOk);
        ASSERT_EQ(result.fetchRow(), kDbOk);
        written = result.getRowIntVal(0);
    });
    addNew();
    EXPECT_EQ(written, 0);
    expectAfterRefresh([&written] { return written; }, 1);
}

TEST_P(BillingPages, ANewRowStandsAlsoWhenTheDatabaseRefusesItsRecord)
{
    openPage();
    refuseInserts(page().table);
    addNew();
    EXPECT_EQ(row(0), page().row);
    press(Refresh);
    EXPECT_EQ(rows(), 0);
}

TEST_P(BillingPages, AddingAKeyThatExistsWarnsAndAddsNoRow)
{
    openPage();
    addNew();
    const QStringList before = row(0);
    expectEditor([this](QDialog& editor) {
        filled(page().values)(editor);
        changed()(editor);
    });
    boxes.expect(item(76), item(73));
    press(Add);
    EXPECT_EQ(rows(), 1);
    expectAfterRefresh([this] { return row(0); }, before);
}

TEST_P(BillingPages, EveryRequiredLineMustBeFilledIn)
{
    openPage();
    for (int empty = 0; empty < page().required; ++empty) {
        QStringList values = page().values;
        values[empty].clear();
        addToBeRefused(item(77), "Please check parameters. They cannot be NULLP", filled(values));
    }
    EXPECT_EQ(rows(), 0);
    press(Refresh);
    EXPECT_EQ(rows(), 0);
}

TEST_P(BillingPages, LinesThatAreNotRequiredMayBeEmpty)
{
    openPage();
    QStringList values = page().values;
    for (int empty = page().required; empty < values.size(); ++empty)
        values[empty].clear();
    add(filled(values));
    expectAfterRefresh([this] { return rows(); }, 1);
}

TEST_P(BillingPages, AddOpensEmptyAndEditLocksTheKey)
{
    openPage();
    addNew();
    const auto labels = page().labels;
    editRow(0, [&](QDialog& editor) {
        for (int at = 0; at < static_cast<int>(labels.size()); ++at) {
            EXPECT_EQ(edit(editor, labels[static_cast<size_t>(at)]).text(), page().values[at]);
            EXPECT_EQ(edit(editor, labels[static_cast<size_t>(at)]).isEnabled(), at >= page().keys);
        }
        pressCancel(editor);
    });
    addWith([&](QDialog& editor) {
        for (int at = 0; at < page().required; ++at) {
            EXPECT_EQ(edit(editor, labels[static_cast<size_t>(at)]).text(), QString());
            EXPECT_TRUE(edit(editor, labels[static_cast<size_t>(at)]).isEnabled());
        }
        pressCancel(editor);
    });
    EXPECT_EQ(rows(), 1);
}

TEST_P(BillingPages, EditStoresAndShowsTheChangeInItsRow)
{
    openPage();
    addNew();
    write(1);
    expectAfterRefresh([this] { return rows(); }, 2);
    const int at = column(0).indexOf(page().row[0]);
    const QStringList other = row(1 - at);
    editRow(at, changed());
    QStringList expected = page().row;
    expected[page().cell] = "77";
    EXPECT_EQ(row(at), expected);
    EXPECT_EQ(row(1 - at), other);
    expectAfterRefresh([this, at] { return row(at); }, expected);
}

TEST_P(BillingPages, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    write(2);
    openPage();
    editRow(0, [this](QDialog& editor) {
        write(1);
        showAgain();
        changed()(editor);
    });
    EXPECT_NE(changedCell(0), "77");
    EXPECT_EQ(changedCell(1), "77");
}

// A record that was written after all would be there again.
TEST_P(BillingPages, OkWithoutAChangeWritesNothing)
{
    openPage();
    addNew();
    editRow(0, [this](QDialog& editor) {
        removeFromOutside();
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
    });
    EXPECT_EQ(row(0), page().row);
    press(Refresh);
    EXPECT_EQ(rows(), 0);
}

TEST_P(BillingPages, ARecordThatIsGoneBeforeEditIsSaid)
{
    write(1);
    openPage();
    removeFromOutside();
    select(0);
    expectUnreadable();
    press(Edit);
    EXPECT_EQ(rows(), 1);
    leaveRemote();
    expectUnreadable();
    press(Edit);
}

TEST_P(BillingPages, DeleteAsksNothing)
{
    write(1);
    write(2);
    openPage();
    const QStringList second = row(1);
    deleteRow(0);
    ASSERT_EQ(rows(), 1);
    EXPECT_EQ(row(0), second);
    expectAfterRefresh([this] { return row(0); }, second);
    EXPECT_EQ(rows(), 1);
}

TEST_P(BillingPages, ARowThatTheDatabaseDoesNotDeleteGoesOrStaysByItsPage)
{
    write(1);
    openPage();
    refuseDeletes(page().table);
    deleteRow(0);
    EXPECT_EQ(rows(), page().isKeptWhenRefused ? 1 : 0);
    expectAfterRefresh([this] { return rows(); }, 1);
}

TEST_P(BillingPages, AChangeThatTheDatabaseRefusesStandsInTheListUntilRefresh)
{
    openPage();
    addNew();
    refuseInserts(page().table);
    editRow(0, changed());
    EXPECT_EQ(changedCell(0), "77");
    expectAfterRefresh([this] { return row(0); }, page().row);
}

// What somebody else added in between is money, too.
TEST_P(BillingPages, ANewRecordNeverTakesThePlaceOfOneThatCouldNotBeSeen)
{
    openPage();
    addNew();
    const auto addAnother = QObject::connect(&model(), &QAbstractItemModel::rowsInserted, &boxes, [this] {
        // The record is not there while the page asks for it, and is before it writes.
        sql(std::string("insert into ") + page().table + " select * from kept");
    });
    sql(std::string("create table kept as select * from ") + page().table);
    removeFromOutside();
    expectEditor([this](QDialog& editor) {
        filled(page().values)(editor);
        changed()(editor);
    });
    press(Add);
    QObject::disconnect(addAnother);
    EXPECT_EQ(changedCell(1), "77") << "as it was entered";
    expectAfterRefresh([this] { return row(0); }, page().row);
    EXPECT_EQ(rows(), 1);
}

TEST_P(BillingPages, WithoutARemoteDatabaseNothingIsStoredAndNothingIsSaid)
{
    write(1);
    openPage();
    leaveRemote();
    addNew();
    EXPECT_EQ(row(1), page().row) << "shown, whatever becomes of it";
    deleteRow(0);
    EXPECT_EQ(rows(), page().isKeptWhenRefused ? 2 : 1);
    press(Refresh);
    EXPECT_EQ(rows(), 0);
    comeBack();
    expectAfterRefresh([this] { return column(0); }, QStringList{"1001"});
}

INSTANTIATE_TEST_SUITE_P(All, BillingPages, onEachEngine(billingPages()), nameOfPage);

class BillingSearch : public BillingPages {
protected:
    [[nodiscard]] QString label() const { return item(page().searchLabel); }
};

TEST_P(BillingSearch, FindsARecordByItsKeyAndLeavesTheListAsItWas)
{
    openPage();
    addNew();
    boxes.expectInputToCancel(item(373), label(), "");
    press(Query);
    boxes.expectInput(item(373), label(), "", "");
    press(Query);
    boxes.expectInput(item(373), label(), "", "99");
    boxes.expect(item(443), item(442));
    press(Query);
    boxes.expectInput(item(373), label(), "", page().values[0]);
    expectEditor([this](QDialog& editor) {
        EXPECT_EQ(edit(editor, page().searchLabel).text(), page().values[0]);
        EXPECT_FALSE(edit(editor, page().searchLabel).isEnabled());
        changed()(editor);
    });
    press(Query);
    EXPECT_EQ(row(0), page().row) << "before Refresh";
    expectAfterRefresh([this] { return changedCell(0); }, "77");
}

TEST_P(BillingSearch, AChangeThatTheDatabaseRefusesIsNotSaid)
{
    openPage();
    addNew();
    refuseInserts(page().table);
    boxes.expectInput(item(373), label(), "", page().values[0]);
    expectEditor(changed());
    press(Query);
    expectAfterRefresh([this] { return row(0); }, page().row);
}

TEST_P(BillingSearch, OkWithoutAChangeWritesNothing)
{
    openPage();
    addNew();
    boxes.expectInput(item(373), label(), "", page().values[0]);
    expectEditor([this](QDialog& editor) {
        removeFromOutside();
        pressOk(editor);
    });
    press(Query);
    press(Refresh);
    EXPECT_EQ(rows(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, BillingSearch, onEachEngine(searchedPages()), nameOfPage);

class BillingOnServer : public BillingPages {};

TEST_P(BillingOnServer, AreEmptyWithoutAWordWhileTheServerIsAwayAndComeBackAtRefresh)
{
    write(1);
    write(2);
    openPage();
    expectAfterRefresh([this] { return rows(); }, 2);
    server().stop();
    press(Refresh);
    EXPECT_EQ(rows(), 0);
    frame().hide();
    frame().show();
    EXPECT_EQ(rows(), 0);
    boxes.expect(item(76), item(357));
    press(Next);
    server().start();
    ASSERT_TRUE(waitForRemote(true));
    EXPECT_EQ(rows(), 0);
    expectAfterRefresh([this] { return rows(); }, 2);
}

// The first one finds out; without a connection the others of the same click wait for nothing.
TEST_P(BillingOnServer, AServerThatHangsIsWaitedForOnceInAClick)
{
    openPage();
    server().suspend();
    int isActive = -1;
    const auto look = [&] { isActive = static_cast<int>(store().IsRemoteDbActive()); };
    QObject::connect(&model(), &QAbstractItemModel::rowsInserted, &boxes, look);
    addNew();
    EXPECT_EQ(isActive, 0) << "between asking for the record and writing it";
    EXPECT_EQ(row(0), page().row);
    server().resume();
    ASSERT_TRUE(waitForRemote(true));
    press(Refresh);
    EXPECT_EQ(rows(), 0) << "it was not stored later on";
}

INSTANTIATE_TEST_SUITE_P(All, BillingOnServer,
                         testing::Combine(testing::ValuesIn(billingPages()), testing::Values(RemoteEngine::MariaDb)),
                         nameOfPage);

} // namespace
