#include "cachedb2/call_shop.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>

namespace {

// Stored order of tbl_call_shop.
using CallShopFeeRateInfo = Cdb_call_shop_fee_rate_info;
constexpr std::array kCallShopFeeRateInfoFields = {
    field<&CallShopFeeRateInfo::calledNbr>("calledNbr").key(),
    field<&CallShopFeeRateInfo::description>("description"),
    field<&CallShopFeeRateInfo::interval>("interval"),
    field<&CallShopFeeRateInfo::fee>("fee"),
};

} // namespace

template <>
const Table& tableOf<Cdb_call_shop_fee_rate_info>()
{
    static const Table& table = *new Table("tbl_call_shop", kCallShopFeeRateInfoFields, Edb_table::CallShop);
    return table;
}

void Cdb_call_shop_fee_rate_info::Init()
{
    resetRecord(*this);
}

void ldb_call_shop_get_full_data(const Cdb_query* query, Cdb_call_shop_fee_rate_info* record)
{
    if (query != nullptr)
        mapRow(*query, record);
}

unsigned Cdb_fac_mgr::DbCallShopAdd(const Cdb_call_shop_fee_rate_info* record)
{
    return record == nullptr ? kDbFailed : _impl->add(*record);
}

unsigned Cdb_fac_mgr::DbCallShopUpdate(const Cdb_call_shop_fee_rate_info* record)
{
    return record == nullptr ? kDbFailed : _impl->update(*record);
}

unsigned Cdb_fac_mgr::DbCallShopDel(const Cdb_call_shop_fee_rate_info* record)
{
    return _impl->del(keyOf(record));
}
