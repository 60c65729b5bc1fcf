// The pages of rates, balances and calling cards, on the remote database.
#include "bcl2/text.h"
#include "cachedb2/remote_tables.h"
#include "frm_caller_prepaid.h"
#include "frm_callingcard_fee_matrix.h"
#include "frm_callingcard_info.h"
#include "frm_prepaid_rate.h"
#include "frm_sub_balance.h"
#include "support/remote_page_fixture.h"

#include <QTreeView>

#include <algorithm>
#include <iterator>
#include <ostream>
#include <tuple>

namespace {

using Rate = Ctbl_prepaid_rate;
using Balance = Ctbl_sub_balance;
using CallerPrepaid = Ctbl_caller_prepaid;
using CardFee = Ctbl_callingcard_fee_matrix;
using Card = Ctbl_callingcard_balance;

Rate rate(uint32_t id, uint32_t interval = 60, uint32_t tariff = 12, uint32_t fee = 5)
{
    Rate record;
    record.rate_id = id;
    record.tariff_interval = interval;
    record.tariff = tariff;
    record.onetime_fee = fee;
    return record;
}

Balance balance(const char* name, int cents = 0)
{
    Balance record;
    BclCopyStr(record.cSubName, name);
    record.nBalance = cents;
    return record;
}

CallerPrepaid callerPrepaid(const char* subscriber, const char* prefix, uint32_t rateId = 0)
{
    CallerPrepaid record;
    BclCopyStr(record.cSubscriber, subscriber);
    BclCopyStr(record.cRouteNbr, prefix);
    record.nRateId = rateId;
    return record;
}

CardFee cardFee(const char* plan, const char* prefix, uint32_t rateId = 0)
{
    CardFee record;
    BclCopyStr(record.cDialPlan, plan);
    BclCopyStr(record.cRouteNbr, prefix);
    record.nRateId = rateId;
    return record;
}

Card card(const char* number, int cents = 0, const char* pin = "1234")
{
    Card record;
    BclCopyStr(record.cCard, number);
    BclCopyStr(record.cPin, pin);
    record.nBalance = cents;
    return record;
}

// What the pages have in common, and where they differ.
struct Page {
    const char* name;
    int title;               // language item of the editor
    std::vector<int> labels; // of its lines, those of the key first
    int keys;
    int required;       // lines that must be filled in; the key and those behind it
    QStringList values; // of a new record
    QStringList row;    // as the list shows it
    int changed;        // the line that Edit changes to "77"
    int cell;           // and the cell that shows it
    const char* table;
    int unreadTitle; // of the box when the record of a row is gone
    const char* unreadText = "Cannot get information from database.";
    bool isKeptWhenRefused = false; // the row that the database does not delete
    int searchLabel = 0;            // 0: there is no search
    std::function<std::unique_ptr<Cfrm_list>(Cdb_fac_mgr*)> make;
    std::function<unsigned(Cdb_fac_mgr&, int)> write; // records sort by their numbers
};

void PrintTo(const Page& page, std::ostream* out)
{
    *out << page.name;
}

template <class Frame>
std::unique_ptr<Cfrm_list> make(Cdb_fac_mgr* store)
{
    return std::make_unique<Frame>(store, nullptr);
}

std::string sortable(int number)
{
    return std::to_string(1000 + number);
}

const std::vector<Page>& pages()
{
    static const std::vector<Page> all = {
        {
            .name = "PrepaidRates",
            .title = 240,
            .labels = {241, 242, 243, 337},
            .keys = 1,
            .required = 3,
            .values = {"5", "60", "12", "20"},
            .row = {"5", "60", "12", "20"},
            .changed = 2,
            .cell = 2,
            .table = "tbl_prepaid_rate",
            .unreadTitle = 76,
            .searchLabel = 241,
            .make = make<Cfrm_prepaid_rate>,
            .write =
                [](Cdb_fac_mgr& store, int number) {
                    const Rate record = rate(1000 + static_cast<uint32_t>(number));
                    return tbl_prepaid_rate_set(&store, &record);
                },
        },
        {
            .name = "SubscriberBalances",
            .title = 245,
            .labels = {246, 247},
            .keys = 1,
            .required = 2,
            .values = {"05", "-250"},
            .row = {"05", "-250"},
            .changed = 1,
            .cell = 1,
            .table = "tbl_sub_balance",
            .unreadTitle = 76,
            .searchLabel = 246,
            .make = make<Cfrm_sub_balance>,
            .write = [](Cdb_fac_mgr& store,
                        int number) { return tbl_sub_balance_set(&store, sortable(number).c_str(), number); },
        },
        {
            .name = "CallerPrepaid",
            .title = 248,
            .labels = {249, 207, 251},
            .keys = 2,
            .required = 3,
            .values = {"05", "00", "3"},
            .row = {"05", "00", "3"},
            .changed = 2,
            .cell = 2,
            .table = "tbl_caller_prepaid",
            .unreadTitle = 77,
            .isKeptWhenRefused = true,
            .make = make<Cfrm_caller_prepaid>,
            .write =
                [](Cdb_fac_mgr& store, int number) {
                    const CallerPrepaid record = callerPrepaid(sortable(number).c_str(), "0", 1);
                    return tbl_caller_prepaid_set(&store, &record);
                },
        },
        {
            .name = "CallingCardFees",
            .title = 262,
            .labels = {291, 207, 241},
            .keys = 2,
            .required = 3,
            .values = {"05", "00", "3"},
            .row = {"05", "00", "3"},
            .changed = 2,
            .cell = 2,
            .table = "tbl_callingcard_fee_matrix",
            .unreadTitle = 76,
            .isKeptWhenRefused = true,
            .make = make<Cfrm_callingcard_fee_matrix>,
            .write =
                [](Cdb_fac_mgr& store, int number) {
                    const CardFee record = cardFee(sortable(number).c_str(), "0", 1);
                    return tbl_callingcard_fee_matrix_set(&store, &record);
                },
        },
        {
            .name = "CallingCards",
            .title = 257,
            .labels = {258, 259, 260, 334, 335},
            .keys = 1,
            .required = 3,
            .values = {"05", "4711", "-250", "2", "2027-01-31"},
            .row = {"05", "-250"},
            .changed = 2,
            .cell = 1,
            .table = "tbl_callingcard_balance",
            .unreadTitle = 443,
            .unreadText = nullptr, // of the language files
            .searchLabel = 258,
            .make = make<Cfrm_callingcard_info>,
            .write = [](Cdb_fac_mgr& store,
                        int number) { return tbl_callingcard_balance_set(&store, card(sortable(number).c_str())); },
        },
    };
    return all;
}

std::vector<Page> searchedPages()
{
    std::vector<Page> found;
    std::copy_if(pages().begin(), pages().end(), std::back_inserter(found),
                 [](const Page& each) { return each.searchLabel != 0; });
    return found;
}

std::string nameOfPage(const testing::TestParamInfo<Page>& info)
{
    return info.param.name;
}

class BillingFixture : public RemotePageFixture {
protected:
    [[nodiscard]] virtual const Page& page() const = 0;
    [[nodiscard]] QString title() const override { return item(page().title); }

    void openPage() { show(page().make(&store())); }
    void write(int number) { ASSERT_EQ(page().write(store(), number), kDbOk); }
    [[nodiscard]] Use filled(const QStringList& values) const
    {
        return [this, values](QDialog& editor) {
            for (int at = 0; at < values.size(); ++at)
                edit(editor, page().labels[static_cast<size_t>(at)]).setText(values[at]);
        };
    }
    void addNew() { add(filled(page().values)); }
    // Says OK to another value of the line that is no part of the key.
    [[nodiscard]] Use changed() const
    {
        return [this](QDialog& editor) {
            edit(editor, page().labels[static_cast<size_t>(page().changed)]).setText("77");
            pressOk(editor);
        };
    }
    [[nodiscard]] QString changedCell(int row) const { return cell(row, page().cell); }
    [[nodiscard]] int rows() const { return model().rowCount(); }
    void removeFromOutside() { sql(std::string("delete from ") + page().table); }
    void expectUnreadable()
    {
        boxes.expect(item(page().unreadTitle),
                     page().unreadText == nullptr ? item(442) : QString::fromUtf8(page().unreadText));
    }
};

class BillingPage : public BillingFixture, public testing::WithParamInterface<Page> {
protected:
    [[nodiscard]] const Page& page() const override { return GetParam(); }
};

class BillingOnEachEngine : public BillingFixture, public testing::WithParamInterface<std::tuple<Page, RemoteEngine>> {
protected:
    [[nodiscard]] const Page& page() const override { return std::get<0>(GetParam()); }
    [[nodiscard]] RemoteEngine engine() const override { return std::get<1>(GetParam()); }
};

TEST_P(BillingOnEachEngine, AddsEditsPagesAndDeletes)
{
    for (int number = 0; number < 51; ++number)
        write(number);
    openPage();
    EXPECT_EQ(rows(), 50);
    addNew();
    EXPECT_EQ(row(50), page().row);
    press(Refresh);
    ASSERT_EQ(rows(), 50);
    EXPECT_EQ(row(0), page().row);
    press(Next);
    EXPECT_EQ(column(0), (QStringList{"1049", "1050"}));
    editRow(1, changed());
    EXPECT_EQ(changedCell(1), "77");
    press(Refresh);
    EXPECT_EQ(changedCell(1), "77");
    deleteRow(0);
    press(Refresh);
    EXPECT_EQ(column(0), QStringList{"1050"});
    boxes.expect(item(76), item(357));
    press(Next);
    press(Previous);
    EXPECT_EQ(rows(), 50);
}

INSTANTIATE_TEST_SUITE_P(All, BillingOnEachEngine,
                         testing::Combine(testing::ValuesIn(pages()),
                                          testing::Values(RemoteEngine::Embedded, RemoteEngine::MariaDb)),
                         [](const auto& each) {
                             const bool isMaria = std::get<1>(each.param) == RemoteEngine::MariaDb;
                             return std::string(std::get<0>(each.param).name) + (isMaria ? "OnMariaDb" : "Embedded");
                         });

class BillingOnServer : public BillingPage {
protected:
    [[nodiscard]] RemoteEngine engine() const override { return RemoteEngine::MariaDb; }
};

TEST_P(BillingOnServer, AreEmptyWithoutAWordWhileTheServerIsAwayAndComeBackAtRefresh)
{
    write(1);
    write(2);
    openPage();
    ASSERT_EQ(rows(), 2);
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
    press(Refresh);
    EXPECT_EQ(rows(), 2);
}

INSTANTIATE_TEST_SUITE_P(All, BillingOnServer, testing::ValuesIn(pages()), nameOfPage);

TEST_P(BillingPage, AddStoresWhatWasEnteredAndShowsItAtTheEndUntilRefreshSortsIt)
{
    write(1); // sorts behind the new one
    openPage();
    addNew();
    EXPECT_EQ(row(1), page().row);
    press(Refresh);
    EXPECT_EQ(row(0), page().row);
    EXPECT_EQ(rows(), 2);
}

TEST_P(BillingPage, ANewRowStandsBeforeItsRecordIsWritten)
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
    press(Refresh);
    EXPECT_EQ(written, 1);
}

TEST_P(BillingPage, ANewRowStandsAlsoWhenTheDatabaseRefusesItsRecord)
{
    openPage();
    refuseInserts(page().table);
    addNew();
    EXPECT_EQ(row(0), page().row);
    press(Refresh);
    EXPECT_EQ(rows(), 0);
}

TEST_P(BillingPage, AddingAKeyThatExistsWarnsAndAddsNoRow)
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
    press(Refresh);
    EXPECT_EQ(row(0), before) << "nothing was stored";
}

TEST_P(BillingPage, EveryRequiredLineMustBeFilledIn)
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

TEST_P(BillingPage, LinesThatAreNotRequiredMayBeEmpty)
{
    openPage();
    QStringList values = page().values;
    for (int empty = page().required; empty < values.size(); ++empty)
        values[empty].clear();
    add(filled(values));
    press(Refresh);
    EXPECT_EQ(rows(), 1);
}

TEST_P(BillingPage, AddOpensEmptyAndEditLocksTheKey)
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

TEST_P(BillingPage, EditStoresAndShowsTheChangeInItsRow)
{
    openPage();
    addNew();
    write(1);
    press(Refresh);
    const int at = column(0).indexOf(page().row[0]);
    const QStringList other = row(1 - at);
    editRow(at, changed());
    QStringList expected = page().row;
    expected[page().cell] = "77";
    EXPECT_EQ(row(at), expected);
    EXPECT_EQ(row(1 - at), other);
    press(Refresh);
    EXPECT_EQ(row(at), expected);
}

TEST_P(BillingPage, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
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
TEST_P(BillingPage, OkWithoutAChangeWritesNothing)
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

TEST_P(BillingPage, ARecordThatIsGoneBeforeEditIsSaid)
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

TEST_P(BillingPage, DeleteAsksNothing)
{
    write(1);
    write(2);
    openPage();
    const QStringList second = row(1);
    deleteRow(0);
    ASSERT_EQ(rows(), 1);
    EXPECT_EQ(row(0), second);
    press(Refresh);
    ASSERT_EQ(rows(), 1);
    EXPECT_EQ(row(0), second);
}

TEST_P(BillingPage, ARowThatTheDatabaseDoesNotDeleteGoesOrStaysByItsPage)
{
    write(1);
    openPage();
    refuseDeletes(page().table);
    deleteRow(0);
    EXPECT_EQ(rows(), page().isKeptWhenRefused ? 1 : 0);
    press(Refresh);
    EXPECT_EQ(rows(), 1) << "the record stays";
}

INSTANTIATE_TEST_SUITE_P(All, BillingPage, testing::ValuesIn(pages()), nameOfPage);

class BillingSearch : public BillingPage {
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
    press(Refresh);
    EXPECT_EQ(changedCell(0), "77");
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

INSTANTIATE_TEST_SUITE_P(All, BillingSearch, testing::ValuesIn(searchedPages()), nameOfPage);

// What is particular to one page.
template <int page_>
class OnePage : public BillingFixture {
protected:
    [[nodiscard]] const Page& page() const override { return pages().at(page_); }
};

class PrepaidRates : public OnePage<0> {};

TEST_F(PrepaidRates, AOneTimeFeeLeftEmptyIsStoredAsZero)
{
    openPage();
    add(filled({"5", "60", "12", ""}));
    EXPECT_EQ(row(0), (QStringList{"5", "60", "12", "0"}));
    ASSERT_TRUE(stored(rate(5)));
    EXPECT_EQ(bytesOf(*stored(rate(5))), bytesOf(rate(5, 60, 12, 0)));
}

TEST_F(PrepaidRates, ARateIdTypedWithALeadingZeroIsOctal)
{
    openPage();
    add(filled({"010", "0x10", "12", "1"}));
    EXPECT_EQ(row(0), (QStringList{"8", "16", "12", "1"}));
    EXPECT_TRUE(stored(rate(8)));
    boxes.expectInput(item(373), item(241), "", "0x8");
    expectEditor([](QDialog& editor) {
        EXPECT_EQ(edit(editor, 241).text(), "8");
        pressCancel(editor);
    });
    press(Query);
}

TEST_F(PrepaidRates, ARateIdOrAnIntervalOfZeroIsRefused)
{
    openPage();
    for (const char* wrong : {"0", "five", "4294967296"}) {
        addToBeRefused(item(77), "Please check parameters.", filled({wrong, "60", "12", "1"}));
        addToBeRefused(item(77), "Please check parameters.", filled({"5", wrong, "12", "1"}));
    }
    EXPECT_EQ(count<Rate>(), 0u);
    add(filled({"5", "60", "0", "0"}));
    EXPECT_EQ(count<Rate>(), 1u) << "a tariff of nothing is one";
}

TEST_F(PrepaidRates, AreSortedByTheirNumbers)
{
    keep(rate(10));
    keep(rate(9));
    openPage();
    EXPECT_EQ(column(0), (QStringList{"9", "10"}));
}

TEST_F(PrepaidRates, NumbersThatAreTooLargeToBeTypedShowAndStay)
{
    const Rate large = rate(4294967295, 4294967294, 4294967293, 4294967292);
    keep(rate(5, large.tariff_interval, large.tariff, large.onetime_fee));
    keep(large);
    openPage();
    EXPECT_EQ(row(1), (QStringList{"4294967295", "4294967294", "4294967293", "4294967292"}));
    editRow(0, [](QDialog& editor) {
        edit(editor, 337).setText("1");
        pressOk(editor);
    });
    EXPECT_EQ(bytesOf(*stored(rate(5))), bytesOf(rate(5, 4294967294, 4294967293, 1)));
}

TEST_F(PrepaidRates, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Rate record = rate(5, 0x7ffffff0, 0x7ffffff0, 0x7ffffff0);
    keep(record);
    openPage();
    checkInputsOf<Rate>(
        record, [&] { keep(record); }, [this] { return *stored(rate(5)); },
        {{Input::Edit, 242, {whole(&Rate::tariff_interval)}},
         {Input::Edit, 243, {whole(&Rate::tariff)}},
         {Input::Edit, 337, {whole(&Rate::onetime_fee)}}},
        {{Input::Edit, 241, {whole(&Rate::rate_id)}}});
}

class PrepaidRatesOnServer : public PrepaidRates {
protected:
    [[nodiscard]] RemoteEngine engine() const override { return RemoteEngine::MariaDb; }
};

TEST_F(PrepaidRatesOnServer, AServerThatHangsStopsNoButton)
{
    keep(rate(1));
    openPage();
    server().suspend();
    press(Refresh);
    EXPECT_EQ(rows(), 0);
    add(filled({"5", "60", "12", "20"}));
    EXPECT_EQ(column(0), QStringList{"5"});
    deleteRow(0);
    EXPECT_EQ(rows(), 0);
    server().resume();
    ASSERT_TRUE(waitForRemote(true));
    press(Refresh);
    EXPECT_EQ(column(0), QStringList{"1"}) << "what was entered meanwhile was not stored";
}

class SubscriberBalances : public OnePage<1> {};

TEST_F(SubscriberBalances, AreCentsWithTheirSign)
{
    keep(balance("1000", -2147483647 - 1));
    keep(balance("1001", 2147483647));
    openPage();
    EXPECT_EQ(column(1), (QStringList{"-2147483648", "2147483647"}));
    editRow(0, [](QDialog& editor) {
        edit(editor, 247).setText("-5");
        pressOk(editor);
    });
    EXPECT_EQ(stored(balance("1000"))->nBalance, -5);
}

TEST_F(SubscriberBalances, ANameHasSixtyCharacters)
{
    openPage();
    add(filled({QString(61, 'x'), "1"}));
    EXPECT_EQ(cell(0, 0), QString(60, 'x'));
    EXPECT_TRUE(stored(balance(std::string(60, 'x').c_str())));
}

class CallerPrepaidPage : public OnePage<2> {};

TEST_F(CallerPrepaidPage, ARateIdOfZeroIsRefusedInItsOwnWords)
{
    openPage();
    for (const char* wrong : {"0", "three"})
        addToBeRefused(item(77), "Please check parameters.The prepaid ID must larger than 0.",
                       filled({".", "00", wrong}));
    EXPECT_EQ(count<CallerPrepaid>(), 0u);
}

TEST_F(CallerPrepaidPage, AreSortedBySubscriberAndPrefix)
{
    keep(callerPrepaid("2", "0", 1));
    keep(callerPrepaid("10", "00", 4294967295));
    keep(callerPrepaid("10", "0", 3));
    openPage();
    EXPECT_EQ(row(0), (QStringList{"10", "0", "3"}));
    EXPECT_EQ(row(1), (QStringList{"10", "00", "4294967295"}));
    EXPECT_EQ(row(2), (QStringList{"2", "0", "1"}));
}

TEST_F(CallerPrepaidPage, OnlyTheRowWithBothPartsOfTheKeyIsMeant)
{
    keep(callerPrepaid("1", "0", 1));
    keep(callerPrepaid("1", "1", 2));
    openPage();
    editRow(1, changed());
    EXPECT_EQ(column(2), (QStringList{"1", "77"}));
    deleteRow(0);
    EXPECT_FALSE(stored(callerPrepaid("1", "0")));
    EXPECT_EQ(stored(callerPrepaid("1", "1"))->nRateId, 77u);
}

TEST_F(CallerPrepaidPage, AKeyHasSixtyCharactersInEachPart)
{
    openPage();
    add(filled({QString(61, 's'), QString(61, '1'), "3"}));
    EXPECT_TRUE(stored(callerPrepaid(std::string(60, 's').c_str(), std::string(60, '1').c_str())));
}

class CallingCardFees : public OnePage<3> {};

TEST_F(CallingCardFees, ARateIdOfZeroIsRefused)
{
    openPage();
    for (const char* wrong : {"0", "three"})
        addToBeRefused(item(77), "Please check parameters.", filled({"default", "00", wrong}));
    EXPECT_EQ(count<CardFee>(), 0u);
}

TEST_F(CallingCardFees, AreSortedByDialPlanAndPrefix)
{
    keep(cardFee("default", "1", 1));
    keep(cardFee("branch", "2", 2));
    keep(cardFee("branch", "1", 3));
    openPage();
    EXPECT_EQ(column(2), (QStringList{"3", "2", "1"}));
}

TEST_F(CallingCardFees, AKeyHasThirtyTwoCharactersInEachPart)
{
    openPage();
    add(filled({QString(33, 'p'), QString(33, '1'), "3"}));
    EXPECT_TRUE(stored(cardFee(std::string(32, 'p').c_str(), std::string(32, '1').c_str())));
}

class CallingCards : public OnePage<4> {
protected:
    static QCheckBox& planCheck(QDialog& editor) { return check(editor, 291); }
    static QLineEdit& plan(QDialog& editor) { return named<QLineEdit>(editor, 291); }
};

TEST_F(CallingCards, ANewOneTakesOneCallAtATimeAndNeverExpires)
{
    openPage();
    addWith([](QDialog& editor) {
        EXPECT_EQ(edit(editor, 334).text(), "1");
        edit(editor, 258).setText("5550");
        edit(editor, 259).setText("4711");
        edit(editor, 260).setText("500");
        edit(editor, 334).clear();
        pressOk(editor);
    });
    EXPECT_EQ(bytesOf(*stored(card("5550"))), bytesOf(card("5550", 500, "4711")));
    EXPECT_EQ(stored(card("5550"))->nMaxCalls, 1u);
    EXPECT_EQ(stored(card("5550"))->nExpiry, 0u);
}

TEST_F(CallingCards, TheDialPlanIsStoredOnlyWhenItsBoxIsChecked)
{
    openPage();
    addWith([this](QDialog& editor) {
        filled(page().values)(editor);
        EXPECT_FALSE(plan(editor).isEnabled());
        planCheck(editor).click();
        EXPECT_TRUE(plan(editor).isEnabled());
        plan(editor).setText(QString(33, 'p'));
        pressOk(editor);
    });
    EXPECT_EQ(stored(card("05"))->nDialPlanInd, 1u);
    EXPECT_EQ(stored(card("05"))->cDialPlan, std::string(32, 'p'));
    editRow(0, [](QDialog& editor) {
        EXPECT_TRUE(planCheck(editor).isChecked());
        EXPECT_TRUE(plan(editor).isEnabled());
        planCheck(editor).click();
        EXPECT_FALSE(plan(editor).isEnabled());
        pressOk(editor);
    });
    EXPECT_EQ(stored(card("05"))->nDialPlanInd, 0u);
    EXPECT_STREQ(stored(card("05"))->cDialPlan, "");
}

TEST_F(CallingCards, ANewOneDoesNotTakeTheDialPlanOfTheOneBefore)
{
    Card first = card("1");
    BclCopyStr(first.cDialPlan, "branch");
    first.setDialPlanInd();
    keep(first);
    openPage();
    editRow(0, [](QDialog& editor) { pressCancel(editor); });
    addWith([](QDialog& editor) {
        EXPECT_FALSE(planCheck(editor).isChecked());
        EXPECT_EQ(plan(editor).text(), QString());
        EXPECT_FALSE(plan(editor).isEnabled());
        EXPECT_EQ(edit(editor, 335).text(), "--");
        pressCancel(editor);
    });
}

TEST_F(CallingCards, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    Card record = card("5550", 0x7ffffff0, "4711");
    record.nMaxCalls = 0xfffffff0;
    record.nExpiry = 20270131;
    record.setDialPlanInd();
    BclCopyStr(record.cDialPlan, "branch");
    keep(record);
    openPage();
    checkInputsOf<Card>(
        record, [&] { keep(record); }, [this] { return *stored(card("5550")); },
        {{Input::Edit, 259, {whole(&Card::cPin)}},
         {Input::Edit, 260, {whole(&Card::nBalance)}},
         {Input::Edit, 334, {whole(&Card::nMaxCalls)}},
         {Input::Edit, 335, {whole(&Card::nExpiry)}},
         {Input::Check, 291, {whole(&Card::nDialPlanInd), whole(&Card::cDialPlan)}},
         {Input::Edit, 291, {whole(&Card::cDialPlan)}}},
        {{Input::Edit, 258, {whole(&Card::cCard)}}}, {whole(&Card::reserved)});
}

} // namespace
