#include "cachedb2/ring_groups.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>
#include <cstring>

namespace {

// Stored order of tbl_rg_user.
using RgUser = Cdb_rg_user;
constexpr std::array kRgUserFields = {
    field<&RgUser::groupID>("groupID").key(),
    field<&RgUser::user>("user").key(),
};

// Stored order of tbl_rg_detect.
using RgDetection = Cdb_rg_detection;
constexpr std::array kRgDetectionFields = {
    field<&RgDetection::dialPlan>("dialPlan").key().def("default"),
    field<&RgDetection::cldNbr>("cldNbr").key(),
    field<&RgDetection::name>("name"),
    field<&RgDetection::groupID>("groupID"),
};

Cdb_rg_detection recordAt(const Cdb_rg_detection_index& index)
{
    Cdb_rg_detection record;
    std::memcpy(record.dialPlan, index.dialPlan, sizeof record.dialPlan);
    std::memcpy(record.cldNbr, index.cldNbr, sizeof record.cldNbr);
    return record;
}

} // namespace

template <>
const Table& tableOf<Cdb_rg_user>()
{
    static const Table& table = *new Table("tbl_rg_user", kRgUserFields, Edb_table::RingUsers);
    return table;
}

void Cdb_rg_user::init()
{
    resetRecord(*this);
}

void ldb_rg_user_get_full_data(const Cdb_query& query, Cdb_rg_user* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_rg_detection>()
{
    static const Table& table = *new Table("tbl_rg_detect", kRgDetectionFields, Edb_table::RingDetection);
    return table;
}

void Cdb_rg_detection::init()
{
    resetRecord(*this);
}

void ldb_rg_detect_get_full_data(const Cdb_query& query, Cdb_rg_detection* record)
{
    mapRow(query, record);
}

void Cdb_rg_detection_index::init()
{
    const Cdb_rg_detection fresh;
    std::memcpy(dialPlan, fresh.dialPlan, sizeof dialPlan);
    std::memcpy(cldNbr, fresh.cldNbr, sizeof cldNbr);
}

bool Cdb_rg_detection_index::isValid() const
{
    return cldNbr[0] != '\0';
}

Cdb_rg_detection_index Cdb_rg_detection::index() const
{
    Cdb_rg_detection_index key;
    std::memcpy(key.dialPlan, dialPlan, sizeof dialPlan);
    std::memcpy(key.cldNbr, cldNbr, sizeof cldNbr);
    return key;
}

unsigned Cdb_fac_mgr::DbRGUserAdd(Cdb_rg_user record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbRGUserDel(Cdb_rg_user record)
{
    return _impl->del(keyOf(&record));
}

unsigned Cdb_fac_mgr::DbRGUserHas(Cdb_rg_user record)
{
    return _impl->has(keyOf(&record));
}

unsigned Cdb_fac_mgr::DbRGDetectionSet(Cdb_rg_detection record)
{
    return record.groupID != 0 ? _impl->set(record) : kDbFailed;
}

unsigned Cdb_fac_mgr::DbRGDetectionGet(Cdb_rg_detection& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbRGDetectionHas(Cdb_rg_detection_index index)
{
    return _impl->has(std::optional(recordAt(index)));
}

unsigned Cdb_fac_mgr::DbRGDetectionDel(Cdb_rg_detection_index index)
{
    return _impl->del(std::optional(recordAt(index)));
}
