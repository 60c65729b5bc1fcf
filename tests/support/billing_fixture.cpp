#include "support/billing_fixture.h"

#include "bcl2/text.h"
#include "frm_caller_prepaid.h"
#include "frm_callingcard_fee_matrix.h"
#include "frm_callingcard_info.h"
#include "frm_prepaid_rate.h"
#include "frm_sub_balance.h"

#include <ostream>

Rate rate(uint32_t id, uint32_t interval, uint32_t tariff, uint32_t fee)
{
    Rate record;
    record.rate_id = id;
    record.tariff_interval = interval;
    record.tariff = tariff;
    record.onetime_fee = fee;
    return record;
}

Balance balance(const char* name, int cents)
{
    Balance record;
    BclCopyStr(record.cSubName, name);
    record.nBalance = cents;
    return record;
}

CallerPrepaid callerPrepaid(const char* subscriber, const char* prefix, uint32_t rateId)
{
    CallerPrepaid record;
    BclCopyStr(record.cSubscriber, subscriber);
    BclCopyStr(record.cRouteNbr, prefix);
    record.nRateId = rateId;
    return record;
}

CardFee cardFee(const char* plan, const char* prefix, uint32_t rateId)
{
    CardFee record;
    BclCopyStr(record.cDialPlan, plan);
    BclCopyStr(record.cRouteNbr, prefix);
    record.nRateId = rateId;
    return record;
}

Card card(const char* number, int cents, const char* pin)
{
    Card record;
    BclCopyStr(record.cCard, number);
    BclCopyStr(record.cPin, pin);
    record.nBalance = cents;
    return record;
}

namespace {

template <class Frame>
std::unique_ptr<Cfrm_list> make(Cdb_fac_mgr* store)
{
    return std::make_unique<Frame>(store, nullptr);
}

std::string sortable(int number)
{
    return std::to_string(1000 + number);
}

} // namespace

void PrintTo(const BillingPage& page, std::ostream* out)
{
    *out << page.name;
}

const std::vector<BillingPage>& billingPages()
{
    static const std::vector<BillingPage> all = {
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
