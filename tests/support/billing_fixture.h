// What tests of the pages of rates, balances and calling cards stand on.
#pragma once

#include "cachedb2/remote_tables.h"
#include "support/remote_page_fixture.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <vector>

using Rate = Ctbl_prepaid_rate;
using Balance = Ctbl_sub_balance;
using CallerPrepaid = Ctbl_caller_prepaid;
using CardFee = Ctbl_callingcard_fee_matrix;
using Card = Ctbl_callingcard_balance;

[[nodiscard]] Rate rate(uint32_t id, uint32_t interval = 60, uint32_t tariff = 12, uint32_t fee = 5);
[[nodiscard]] Balance balance(const char* name, int cents = 0);
[[nodiscard]] CallerPrepaid callerPrepaid(const char* subscriber, const char* prefix, uint32_t rateId = 0);
[[nodiscard]] CardFee cardFee(const char* plan, const char* prefix, uint32_t rateId = 0);
[[nodiscard]] Card card(const char* number, int cents = 0, const char* pin = "1234");

// What the pages have in common, and where they differ.
struct BillingPage {
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

void PrintTo(const BillingPage& page, std::ostream* out);

// In this order: rates, balances, rates of callers, fees of cards, cards.
[[nodiscard]] const std::vector<BillingPage>& billingPages();

class BillingFixture : public RemotePageFixture {
protected:
    [[nodiscard]] virtual const BillingPage& page() const = 0;
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

// What is particular to one page, on each engine.
template <int page_>
class OneBillingPage : public OnEachRemote<BillingFixture> {
protected:
    [[nodiscard]] const BillingPage& page() const override { return billingPages().at(page_); }
};
