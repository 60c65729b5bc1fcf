#include "cachedb2/time_condition.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>

namespace {

// Stored order of tbl_time_condition.
using TimeCond = Cdb_time_cond;
constexpr std::array kTimeCondFields = {
    field<&TimeCond::ID>("ID").key(),         field<&TimeCond::description>("description"),
    field<&TimeCond::startHour>("startHour"), field<&TimeCond::startMinute>("startMinute"),
    field<&TimeCond::endHour>("endHour"),     field<&TimeCond::endMinute>("endMinute"),
    field<&TimeCond::weekdays>("weekdays"),
};

} // namespace

template <>
const Table& tableOf<Cdb_time_cond>()
{
    static const Table& table = *new Table("tbl_time_condition", kTimeCondFields, Edb_table::TimeConditions);
    return table;
}

void Cdb_time_cond::init()
{
    resetRecord(*this);
}

void ldb_time_condition_get_full_data(const Cdb_query& query, Cdb_time_cond* record)
{
    mapRow(query, record);
}

unsigned Cdb_fac_mgr::DbTimeConditionAdd(const Cdb_time_cond& record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbTimeConditionUpdate(const Cdb_time_cond& record)
{
    return _impl->update(record);
}

unsigned Cdb_fac_mgr::DbTimeConditionGet(Cdb_time_cond& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbTimeConditionDel(unsigned id)
{
    return _impl->del(keyOf<Cdb_time_cond, &Cdb_time_cond::ID>(id));
}
