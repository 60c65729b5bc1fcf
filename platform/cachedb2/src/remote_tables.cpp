#include "cachedb2/remote_tables.h"

#include "cachedb2/fac_mgr.h"
#include "dbproxy2/remote_db.h"
#include "key_parts.h"

namespace {

using DisaAccount = Ctbl_disa_account;
using DisaCallerId = Ctbl_disa_caller_id;
using SubBalance = Ctbl_sub_balance;
using CallerPrepaid = Ctbl_caller_prepaid;
using FeeMatrix = Ctbl_callingcard_fee_matrix;
using CardBalance = Ctbl_callingcard_balance;

Cdb_remote* remoteOf(Cdb_fac_mgr* store)
{
    return store == nullptr ? nullptr : store->DbGetRemote();
}

template <class Record>
unsigned add(Cdb_fac_mgr* store, const Record& record)
{
    Cdb_remote* remote = remoteOf(store);
    return remote == nullptr ? kDbFailed : remote->add(record);
}

template <class Record>
unsigned set(Cdb_fac_mgr* store, const Record* record)
{
    Cdb_remote* remote = remoteOf(store);
    return remote == nullptr || record == nullptr ? kDbFailed : remote->set(*record);
}

// The record stays as it is when there is none of that key.
template <class Record>
unsigned get(Cdb_fac_mgr* store, std::optional<Record> key, Record& record)
{
    Cdb_remote* remote = remoteOf(store);
    if (remote == nullptr || !key || remote->get(*key) != kDbOk)
        return kDbFailed;
    record = *key;
    return kDbOk;
}

template <class Value, class Record>
unsigned getValue(Cdb_fac_mgr* store, const std::optional<Record>& key, Value Record::*member, Value& value)
{
    Record record;
    if (get(store, key, record) != kDbOk)
        return kDbFailed;
    value = record.*member;
    return kDbOk;
}

template <class Record>
unsigned del(Cdb_fac_mgr* store, const std::optional<Record>& key)
{
    Cdb_remote* remote = remoteOf(store);
    return remote == nullptr || !key ? kDbFailed : remote->del(*key);
}

template <class Record>
unsigned has(Cdb_fac_mgr* store, const std::optional<Record>& key)
{
    Cdb_remote* remote = remoteOf(store);
    return remote == nullptr || !key ? 0 : remote->has(*key);
}

template <class Record>
unsigned count(Cdb_fac_mgr* store)
{
    Cdb_remote* remote = remoteOf(store);
    return remote == nullptr ? 0 : remote->count<Record>();
}

std::optional<Ctbl_prepaid_rate> rateKey(unsigned rateId)
{
    return keyOf<Ctbl_prepaid_rate, &Ctbl_prepaid_rate::rate_id>(rateId);
}

std::optional<SubBalance> subscriberKey(const char* subscriber)
{
    return keyOf<SubBalance, &SubBalance::cSubName>(subscriber);
}

std::optional<CallerPrepaid> callerKey(const char* subscriber, const char* routeNbr)
{
    return keyOf<CallerPrepaid, &CallerPrepaid::cSubscriber, &CallerPrepaid::cRouteNbr>(subscriber, routeNbr);
}

std::optional<FeeMatrix> matrixKey(const char* dialPlan, const char* routeNbr)
{
    return keyOf<FeeMatrix, &FeeMatrix::cDialPlan, &FeeMatrix::cRouteNbr>(dialPlan, routeNbr);
}

} // namespace

Cdba_proxy::Cdba_proxy(Cdb_fac_mgr* store) : Cdb_proxy(remoteOf(store)) {}

unsigned tbl_disa_account_add(Cdb_fac_mgr* store, const Ctbl_disa_account& record)
{
    return add(store, record);
}

unsigned tbl_disa_account_get(Cdb_fac_mgr* store, const char* account, Ctbl_disa_account& record)
{
    return get(store, keyOf<DisaAccount, &DisaAccount::cAccount>(account), record);
}

unsigned tbl_disa_account_del(Cdb_fac_mgr* store, const char* account)
{
    return del(store, keyOf<DisaAccount, &DisaAccount::cAccount>(account));
}

unsigned tbl_disa_caller_id_add(Cdb_fac_mgr* store, const Ctbl_disa_caller_id& record)
{
    return add(store, record);
}

unsigned tbl_disa_caller_id_get(Cdb_fac_mgr* store, const char* callerId, Ctbl_disa_caller_id& record)
{
    return get(store, keyOf<DisaCallerId, &DisaCallerId::cCallerID>(callerId), record);
}

unsigned tbl_disa_caller_id_del(Cdb_fac_mgr* store, const char* callerId)
{
    return del(store, keyOf<DisaCallerId, &DisaCallerId::cCallerID>(callerId));
}

unsigned tbl_prepaid_rate_get(Cdb_fac_mgr* store, unsigned rateId, Ctbl_prepaid_rate* record)
{
    return record == nullptr ? kDbFailed : get(store, rateKey(rateId), *record);
}

unsigned tbl_prepaid_rate_add(Cdb_fac_mgr* store, const Ctbl_prepaid_rate& record)
{
    return add(store, record);
}

unsigned tbl_prepaid_rate_set(Cdb_fac_mgr* store, const Ctbl_prepaid_rate* record)
{
    return set(store, record);
}

unsigned tbl_prepaid_rate_del(Cdb_fac_mgr* store, unsigned rateId)
{
    return del(store, rateKey(rateId));
}

unsigned tbl_prepaid_rate_count(Cdb_fac_mgr* store)
{
    return count<Ctbl_prepaid_rate>(store);
}

unsigned tbl_sub_balance_get(Cdb_fac_mgr* store, const char* subscriber, int& balance)
{
    return getValue(store, subscriberKey(subscriber), &SubBalance::nBalance, balance);
}

unsigned tbl_sub_balance_add(Cdb_fac_mgr* store, const Ctbl_sub_balance& record)
{
    return add(store, record);
}

unsigned tbl_sub_balance_set(Cdb_fac_mgr* store, const char* subscriber, int balance)
{
    auto record = subscriberKey(subscriber);
    if (!record)
        return kDbFailed;
    record->nBalance = balance;
    return set(store, &*record);
}

unsigned tbl_sub_balance_del(Cdb_fac_mgr* store, const char* subscriber)
{
    return del(store, subscriberKey(subscriber));
}

unsigned tbl_sub_balance_count(Cdb_fac_mgr* store)
{
    return count<SubBalance>(store);
}

unsigned tbl_sub_balace_has(Cdb_fac_mgr* store, const char* subscriber)
{
    return has(store, subscriberKey(subscriber));
}

unsigned tbl_caller_prepaid_get(Cdb_fac_mgr* store, const char* subscriber, const char* routeNbr, unsigned& rateId)
{
    return getValue(store, callerKey(subscriber, routeNbr), &CallerPrepaid::nRateId, rateId);
}

unsigned tbl_caller_prepaid_add(Cdb_fac_mgr* store, const Ctbl_caller_prepaid& record)
{
    return add(store, record);
}

unsigned tbl_caller_prepaid_set(Cdb_fac_mgr* store, const Ctbl_caller_prepaid* record)
{
    return set(store, record);
}

unsigned tbl_caller_prepaid_has(Cdb_fac_mgr* store, const char* subscriber, const char* routeNbr)
{
    return has(store, callerKey(subscriber, routeNbr));
}

unsigned tbl_caller_prepaid_del(Cdb_fac_mgr* store, const char* subscriber, const char* routeNbr)
{
    return del(store, callerKey(subscriber, routeNbr));
}

unsigned tbl_caller_prepaid_count(Cdb_fac_mgr* store)
{
    return count<CallerPrepaid>(store);
}

unsigned tbl_callingcard_fee_matrix_get(Cdb_fac_mgr* store, const char* dialPlan, const char* routeNbr,
                                        unsigned& rateId)
{
    return getValue(store, matrixKey(dialPlan, routeNbr), &FeeMatrix::nRateId, rateId);
}

unsigned tbl_callingcard_fee_matrix_add(Cdb_fac_mgr* store, const Ctbl_callingcard_fee_matrix& record)
{
    return add(store, record);
}

unsigned tbl_callingcard_fee_matrix_set(Cdb_fac_mgr* store, const Ctbl_callingcard_fee_matrix* record)
{
    return set(store, record);
}

unsigned tbl_callingcard_fee_matrix_del(Cdb_fac_mgr* store, const char* dialPlan, const char* routeNbr)
{
    return del(store, matrixKey(dialPlan, routeNbr));
}

unsigned tbl_callingcard_balance_get(Cdb_fac_mgr* store, Ctbl_callingcard_balance& record)
{
    return get(store, std::optional(record), record);
}

unsigned tbl_callingcard_balance_add(Cdb_fac_mgr* store, const Ctbl_callingcard_balance& record)
{
    return add(store, record);
}

unsigned tbl_callingcard_balance_set(Cdb_fac_mgr* store, const Ctbl_callingcard_balance& record)
{
    return set(store, &record);
}

unsigned tbl_callingcard_balance_set_rest(Cdb_fac_mgr* store, Ctbl_callingcard_balance& record)
{
    Cdb_remote* remote = remoteOf(store);
    return remote == nullptr ? kDbFailed : remote->setKeeping(record, &CardBalance::nBalance);
}

unsigned tbl_callingcard_balance_del(Cdb_fac_mgr* store, const char* card)
{
    return del(store, keyOf<CardBalance, &CardBalance::cCard>(card));
}
