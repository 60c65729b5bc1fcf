#include "cachedb2/settings.h"

#include "store.h"
#include "tables.h"

#include <array>

namespace {

// Stored order of tbl_settings.
using Settings = Cdb_settings;
constexpr std::array kSettingsFields = {
    field<&Settings::id>("id").key().def(1),
    field<&Settings::annLang>("annLang"),
    field<&Settings::vmsMode>("vmsMode"),
};

// As a new store has them when there are none yet.
template <class Store>
Cdb_settings stored(Store& store)
{
    Cdb_settings record;
    (void)store.get(record);
    return record;
}

} // namespace

template <>
const Table& tableOf<Cdb_settings>()
{
    static const Table& table = *new Table("tbl_settings", kSettingsFields, Edb_table::Settings);
    return table;
}

void Cdb_settings::Init()
{
    resetRecord(*this);
}

unsigned Cdb_fac_mgr::DbGetSrfAnnLang()
{
    return stored(*_impl).annLang;
}

unsigned Cdb_fac_mgr::DbSetSrfAnnLang(unsigned language)
{
    return _impl->change<Cdb_settings>([language](Cdb_settings& record) { record.annLang = language; });
}

unsigned Cdb_fac_mgr::DbGetVmsMode()
{
    return stored(*_impl).vmsMode;
}

unsigned Cdb_fac_mgr::DbSetVmsMode(unsigned mode)
{
    return _impl->change<Cdb_settings>([mode](Cdb_settings& record) { record.vmsMode = mode; });
}
