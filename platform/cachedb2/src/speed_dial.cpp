#include "cachedb2/speed_dial.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>

namespace {

// Stored order of tbl_speed_dial.
using SpeedDialData = Cdb_speed_dial_data;
constexpr std::array kSpeedDialDataFields = {
    field<&SpeedDialData::callerNbr>("callerNbr").key(),
    field<&SpeedDialData::dialedNbr>("dialedNbr").key(),
    field<&SpeedDialData::name>("name"),
    field<&SpeedDialData::destination>("destination"),
};

} // namespace

template <>
const Table& tableOf<Cdb_speed_dial_data>()
{
    static const Table& table = *new Table("tbl_speed_dial", kSpeedDialDataFields, Edb_table::SpeedDial);
    return table;
}

void Cdb_speed_dial_data::init()
{
    resetRecord(*this);
}

void ldb_speed_dial_get_full_data(const Cdb_query& query, Cdb_speed_dial_data* record)
{
    mapRow(query, record);
}

unsigned Cdb_fac_mgr::DbAddSpeedDial(const Cdb_speed_dial_data& record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbUpdateSpeedDial(const Cdb_speed_dial_data& record)
{
    return _impl->update(record);
}

unsigned Cdb_fac_mgr::DbDelSpeedDial(const Cdb_speed_dial_data& record)
{
    return _impl->del(keyOf(&record));
}

unsigned Cdb_fac_mgr::DbGetSpeedDialCnt()
{
    return _impl->count<Cdb_speed_dial_data>();
}
