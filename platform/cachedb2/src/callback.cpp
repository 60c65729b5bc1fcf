#include "cachedb2/callback.h"

#include "store.h"
#include "tables.h"

#include <array>

namespace {

constexpr uint8_t kTheOne = 1;

// Stored order of tbl_callback.
using CbServData = Cdb_cb_serv_data;
constexpr std::array kCbServDataFields = {
    field<&CbServData::id>("id").key().def(kTheOne),
    field<&CbServData::file>("file"),
    field<&CbServData::delay>("delay").def(5),
    field<&CbServData::number>("number"),
};

} // namespace

template <>
const Table& tableOf<Cdb_cb_serv_data>()
{
    static const Table& table = *new Table("tbl_callback", kCbServDataFields, Edb_table::Callback);
    return table;
}

void Cdb_cb_serv_data::Init()
{
    resetRecord(*this);
}

unsigned Cdb_fac_mgr::DbCallbackGet(Cdb_cb_serv_data* record)
{
    if (record != nullptr)
        record->id = kTheOne;
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbCallbackSet(const Cdb_cb_serv_data* record)
{
    if (record == nullptr)
        return kDbFailed;
    Cdb_cb_serv_data stored = *record;
    stored.id = kTheOne;
    return _impl->set(stored);
}
