// The descriptions of the remote tables, in stored order.
#include "bookings_table.h"
#include "dbproxy2/calling_card.h"
#include "dbproxy2/disa.h"
#include "dbproxy2/prepaid.h"
#include "identity.h"
#include "remote_table.h"

#include <array>

namespace {

using Account = Ctbl_disa_account;
constexpr std::array kAccountFields = {
    field<&Account::cAccount>("cAccount").key(),
    field<&Account::cPassword>("cPassword"),
    field<&Account::cExtension>("cExtension"),
};

using CallerId = Ctbl_disa_caller_id;
constexpr std::array kCallerIdFields = {
    field<&CallerId::cCallerID>("cCallerID").key(),
    field<&CallerId::cDISAAccount>("cDISAAccount"),
};

using Rate = Ctbl_prepaid_rate;
constexpr std::array kRateFields = {
    field<&Rate::rate_id>("rate_id").key(),
    field<&Rate::tariff_interval>("tariff_interval"),
    field<&Rate::tariff>("tariff"),
    field<&Rate::onetime_fee>("onetime_fee"),
};

using SubBalance = Ctbl_sub_balance;
constexpr std::array kSubBalanceFields = {
    field<&SubBalance::cSubName>("cSubName").key(),
    field<&SubBalance::nBalance>("nBalance"),
};

using CallerPrepaid = Ctbl_caller_prepaid;
constexpr std::array kCallerPrepaidFields = {
    field<&CallerPrepaid::cSubscriber>("cSubscriber").key(),
    field<&CallerPrepaid::cRouteNbr>("cRouteNbr").key(),
    field<&CallerPrepaid::nRateId>("nRateId"),
};

using FeeMatrix = Ctbl_callingcard_fee_matrix;
constexpr std::array kFeeMatrixFields = {
    field<&FeeMatrix::cDialPlan>("cDialPlan").key(),
    field<&FeeMatrix::cRouteNbr>("cRouteNbr").key(),
    field<&FeeMatrix::nRateId>("nRateId"),
};

using Card = Ctbl_callingcard_balance;
constexpr std::array kCardFields = {
    field<&Card::cCard>("cCard").key(),          field<&Card::cPin>("cPin"),       field<&Card::nBalance>("nBalance"),
    field<&Card::nMaxCalls>("nMaxCalls").def(1), field<&Card::nExpiry>("nExpiry"), field<&Card::cDialPlan>("cDialPlan"),
    field<&Card::nDialPlanInd>("nDialPlanInd"),
};

using Booking = BookingRow;
constexpr std::array kBookingFields = {
    field<&Booking::cBooking>("cBooking").key(),
    field<&Booking::nAccountKind>("nAccountKind"),
    field<&Booking::cAccountName>("cAccountName"),
    field<&Booking::nReserved>("nReserved"),
    field<&Booking::nCost>("nCost"),
    field<&Booking::nState>("nState"),
};

using Identity = IdentityRow;
constexpr std::array kIdentityFields = {
    field<&Identity::cIdentity>("cIdentity"),
    field<&Identity::nRow>("nRow").key(),
};

} // namespace

template <>
const RemoteTable& remoteTableOf<Ctbl_disa_account>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_disa_account", kAccountFields);
    return table;
}

template <>
const RemoteTable& remoteTableOf<Ctbl_disa_caller_id>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_disa_caller_id", kCallerIdFields);
    return table;
}

template <>
const RemoteTable& remoteTableOf<Ctbl_prepaid_rate>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_prepaid_rate", kRateFields);
    return table;
}

template <>
const RemoteTable& remoteTableOf<Ctbl_sub_balance>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_sub_balance", kSubBalanceFields);
    return table;
}

template <>
const RemoteTable& remoteTableOf<Ctbl_caller_prepaid>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_caller_prepaid", kCallerPrepaidFields);
    return table;
}

template <>
const RemoteTable& remoteTableOf<Ctbl_callingcard_fee_matrix>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_callingcard_fee_matrix", kFeeMatrixFields);
    return table;
}

template <>
const RemoteTable& remoteTableOf<Ctbl_callingcard_balance>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_callingcard_balance", kCardFields);
    return table;
}

template <>
const RemoteTable& remoteTableOf<BookingRow>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_booking", kBookingFields);
    return table;
}

template <>
const RemoteTable& remoteTableOf<IdentityRow>()
{
    static const RemoteTable& table = *new RemoteTable("tbl_identity", kIdentityFields);
    return table;
}

std::span<const RemoteTable* const> remoteTables()
{
    static const std::array tables = {
        &remoteTableOf<Ctbl_disa_account>(),
        &remoteTableOf<Ctbl_disa_caller_id>(),
        &remoteTableOf<Ctbl_prepaid_rate>(),
        &remoteTableOf<Ctbl_sub_balance>(),
        &remoteTableOf<Ctbl_caller_prepaid>(),
        &remoteTableOf<Ctbl_callingcard_fee_matrix>(),
        &remoteTableOf<Ctbl_callingcard_balance>(),
        &remoteTableOf<BookingRow>(),
        &remoteTableOf<IdentityRow>(),
    };
    return tables;
}

void Ctbl_disa_account::Init()
{
    resetRemoteRecord(*this);
}

void Ctbl_disa_caller_id::Init()
{
    resetRemoteRecord(*this);
}

void Ctbl_prepaid_rate::Init()
{
    resetRemoteRecord(*this);
}

void Ctbl_sub_balance::Init()
{
    resetRemoteRecord(*this);
}

void Ctbl_caller_prepaid::Init()
{
    resetRemoteRecord(*this);
}

void Ctbl_callingcard_fee_matrix::Init()
{
    resetRemoteRecord(*this);
}

void Ctbl_callingcard_balance::Init()
{
    resetRemoteRecord(*this);
}
