#include "cachedb2/triggers.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>

namespace {

// Stored order of tbl_ivr_trigger.
using IvrTriggerData = Cdb_ivr_trigger_data;
constexpr std::array kIvrTriggerDataFields = {
    field<&IvrTriggerData::dialPlan>("dialPlan").key().def("default"),
    field<&IvrTriggerData::calledNbr>("calledNbr").key(),
    field<&IvrTriggerData::name>("name"),
    field<&IvrTriggerData::fileName>("fileName"),
};

// Stored order of tbl_lua_trigger.
using LuaTrigger = Cdb_lua_trigger;
constexpr std::array kLuaTriggerFields = {
    field<&LuaTrigger::DP>("DP").key().def(kLuaNumberAnalyzed),
    field<&LuaTrigger::dialPlan>("dialPlan").key().def("default"),
    field<&LuaTrigger::calledNbr>("calledNbr").key(),
    field<&LuaTrigger::name>("name"),
    field<&LuaTrigger::moduleName>("moduleName"),
};

} // namespace

template <>
const Table& tableOf<Cdb_ivr_trigger_data>()
{
    static const Table& table = *new Table("tbl_ivr_trigger", kIvrTriggerDataFields, Edb_table::IvrTriggers);
    return table;
}

void Cdb_ivr_trigger_data::init()
{
    resetRecord(*this);
}

void ldb_ivr_trigger_get_full_data(const Cdb_query& query, Cdb_ivr_trigger_data* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_lua_trigger>()
{
    static const Table& table = *new Table("tbl_lua_trigger", kLuaTriggerFields, Edb_table::LuaTriggers);
    return table;
}

void Cdb_lua_trigger::init()
{
    resetRecord(*this);
}

void ldb_lua_trigger_get_full_data(const Cdb_query& query, Cdb_lua_trigger* record)
{
    mapRow(query, record);
}

unsigned Cdb_fac_mgr::DbAddIVRTrigger(const Cdb_ivr_trigger_data* record)
{
    return record == nullptr ? kDbFailed : _impl->add(*record);
}

unsigned Cdb_fac_mgr::DbUpdateIVRTrigger(const Cdb_ivr_trigger_data* record)
{
    return record == nullptr ? kDbFailed : _impl->update(*record);
}

unsigned Cdb_fac_mgr::DbGetIVRTrigger(Cdb_ivr_trigger_data* record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbDelIVRTrigger(const Cdb_ivr_trigger_data* record)
{
    return _impl->del(keyOf(record));
}

unsigned Cdb_fac_mgr::DbHasIVRTrigger(const char* dialPlan, const char* calledNbr)
{
    return _impl->has(keyOf<Cdb_ivr_trigger_data, &Cdb_ivr_trigger_data::dialPlan, &Cdb_ivr_trigger_data::calledNbr>(
        dialPlan, calledNbr));
}

unsigned Cdb_fac_mgr::DbLuaTriggerAdd(Cdb_lua_trigger record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbLuaTriggerUpdate(Cdb_lua_trigger record)
{
    return _impl->update(record);
}

unsigned Cdb_fac_mgr::DbLuaTriggerDel(Cdb_lua_trigger record)
{
    return _impl->del(keyOf(&record));
}

unsigned Cdb_fac_mgr::DbLuaTriggerGet(Cdb_lua_trigger* record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbLuaTriggerHas(int point, const char* dialPlan, const char* calledNbr)
{
    return _impl->has(
        keyOf<Cdb_lua_trigger, &Cdb_lua_trigger::DP, &Cdb_lua_trigger::dialPlan, &Cdb_lua_trigger::calledNbr>(
            point, dialPlan, calledNbr));
}
