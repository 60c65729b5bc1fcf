#include "cachedb2/call_record.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>

namespace {

// Stored order of tbl_call_recording.
using CallRecord = Cdb_call_record;
constexpr std::array kCallRecordFields = {
    field<&CallRecord::callerNbr>("callerNbr").key(),
    field<&CallRecord::calledNbr>("calledNbr").key(),
    field<&CallRecord::name>("name"),
    field<&CallRecord::recording>("recording").def(1),
};

} // namespace

template <>
const Table& tableOf<Cdb_call_record>()
{
    static const Table& table = *new Table("tbl_call_recording", kCallRecordFields, Edb_table::CallRecording);
    return table;
}

void Cdb_call_record::init()
{
    resetRecord(*this);
}

void ldb_call_recording_get_full_data(const Cdb_query& query, Cdb_call_record* record)
{
    mapRow(query, record);
}

unsigned Cdb_fac_mgr::DbAddCallRecord(Cdb_call_record record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbUpdateCallRecord(Cdb_call_record record)
{
    return _impl->update(record);
}

unsigned Cdb_fac_mgr::DbCallRecordGet(Cdb_call_record& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbCallRecordDel(const char* callerNbr, const char* calledNbr)
{
    return _impl->del(
        keyOf<Cdb_call_record, &Cdb_call_record::callerNbr, &Cdb_call_record::calledNbr>(callerNbr, calledNbr));
}
