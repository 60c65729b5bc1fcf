// The tables of the remote database, through the facade of the store.
#pragma once

#include "dbproxy2/calling_card.h"
#include "dbproxy2/disa.h"
#include "dbproxy2/prepaid.h"
#include "dbproxy2/proxy.h"
#include "dbproxy2/results.h"

class Cdb_fac_mgr;

// A result set of the facade's remote database.
class Cdba_proxy : public Cdb_proxy {
public:
    explicit Cdba_proxy(Cdb_fac_mgr* store);
};

// kDbOk is success; the presence tests give kDbHas, the counts the number of rows, 0 when it cannot be told. Every key
// is checked as in the store. add refuses a key that exists, set adds or replaces, get and del fail when there is none,
// and all of them while the remote database is not connected.
unsigned tbl_disa_account_add(Cdb_fac_mgr* store, const Ctbl_disa_account& record);
unsigned tbl_disa_account_get(Cdb_fac_mgr* store, const char* account, Ctbl_disa_account& record);
unsigned tbl_disa_account_del(Cdb_fac_mgr* store, const char* account);

unsigned tbl_disa_caller_id_add(Cdb_fac_mgr* store, const Ctbl_disa_caller_id& record);
unsigned tbl_disa_caller_id_get(Cdb_fac_mgr* store, const char* callerId, Ctbl_disa_caller_id& record);
unsigned tbl_disa_caller_id_del(Cdb_fac_mgr* store, const char* callerId);

unsigned tbl_prepaid_rate_get(Cdb_fac_mgr* store, unsigned rateId, Ctbl_prepaid_rate* record);
unsigned tbl_prepaid_rate_add(Cdb_fac_mgr* store, const Ctbl_prepaid_rate& record);
unsigned tbl_prepaid_rate_set(Cdb_fac_mgr* store, const Ctbl_prepaid_rate* record);
unsigned tbl_prepaid_rate_del(Cdb_fac_mgr* store, unsigned rateId);
unsigned tbl_prepaid_rate_count(Cdb_fac_mgr* store);

unsigned tbl_sub_balance_get(Cdb_fac_mgr* store, const char* subscriber, int& balance);
unsigned tbl_sub_balance_add(Cdb_fac_mgr* store, const Ctbl_sub_balance& record);
unsigned tbl_sub_balance_set(Cdb_fac_mgr* store, const char* subscriber, int balance);
unsigned tbl_sub_balance_del(Cdb_fac_mgr* store, const char* subscriber);
unsigned tbl_sub_balance_count(Cdb_fac_mgr* store);
unsigned tbl_sub_balace_has(Cdb_fac_mgr* store, const char* subscriber);

unsigned tbl_caller_prepaid_get(Cdb_fac_mgr* store, const char* subscriber, const char* routeNbr, unsigned& rateId);
unsigned tbl_caller_prepaid_add(Cdb_fac_mgr* store, const Ctbl_caller_prepaid& record);
unsigned tbl_caller_prepaid_set(Cdb_fac_mgr* store, const Ctbl_caller_prepaid* record);
unsigned tbl_caller_prepaid_has(Cdb_fac_mgr* store, const char* subscriber, const char* routeNbr);
unsigned tbl_caller_prepaid_del(Cdb_fac_mgr* store, const char* subscriber, const char* routeNbr);
unsigned tbl_caller_prepaid_count(Cdb_fac_mgr* store);

unsigned tbl_callingcard_fee_matrix_get(Cdb_fac_mgr* store, const char* dialPlan, const char* routeNbr,
                                        unsigned& rateId);
unsigned tbl_callingcard_fee_matrix_add(Cdb_fac_mgr* store, const Ctbl_callingcard_fee_matrix& record);
unsigned tbl_callingcard_fee_matrix_set(Cdb_fac_mgr* store, const Ctbl_callingcard_fee_matrix* record);
unsigned tbl_callingcard_fee_matrix_del(Cdb_fac_mgr* store, const char* dialPlan, const char* routeNbr);

unsigned tbl_callingcard_balance_get(Cdb_fac_mgr* store, Ctbl_callingcard_balance& record); // the key is in the record
unsigned tbl_callingcard_balance_add(Cdb_fac_mgr* store, const Ctbl_callingcard_balance& record);
unsigned tbl_callingcard_balance_set(Cdb_fac_mgr* store, const Ctbl_callingcard_balance& record);
// As set, but a card that exists keeps the balance that it has by now, which the record takes over.
unsigned tbl_callingcard_balance_set_rest(Cdb_fac_mgr* store, Ctbl_callingcard_balance& record);
unsigned tbl_callingcard_balance_del(Cdb_fac_mgr* store, const char* card);
