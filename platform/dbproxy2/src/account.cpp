#include "account.h"

const char* debitStatement(Ebalance_kind kind)
{
    return kind == Ebalance_kind::Subscriber
               ? "update tbl_sub_balance set nBalance=nBalance-? where cSubName=? and nBalance>=?"
               : "update tbl_callingcard_balance set nBalance=nBalance-? where cCard=? and nBalance>=?";
}

const char* changeStatement(Ebalance_kind kind)
{
    return kind == Ebalance_kind::Subscriber
               ? "update tbl_sub_balance set nBalance=case when nBalance+?>2147483647 then 2147483647 "
                 "when nBalance+?<-2147483648 then -2147483648 else nBalance+? end where cSubName=?"
               : "update tbl_callingcard_balance set nBalance=case when nBalance+?>2147483647 then 2147483647 "
                 "when nBalance+?<-2147483648 then -2147483648 else nBalance+? end where cCard=?";
}
