#include "cachedb2/numbers.h"

#include "bcl2/text.h"
#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>
#include <cstring>

namespace {

// Stored order of tbl_nbr_trans.
using NbrTransData = Cdb_nbr_trans_data;
constexpr std::array kNbrTransDataFields = {
    field<&NbrTransData::transid>("transid").key(), field<&NbrTransData::type>("type").def(kTransAdd),
    field<&NbrTransData::startPos>("startPos"),     field<&NbrTransData::length>("length"),
    field<&NbrTransData::digits>("digits"),         field<&NbrTransData::description>("description"),
};

// Stored order of tbl_nbr_cld_ana.
using NbrCldAnaData = Cdb_nbr_cld_ana_data;
constexpr std::array kNbrCldAnaDataFields = {
    field<&NbrCldAnaData::calledPrefix>("calledPrefix").key(1),
    field<&NbrCldAnaData::routeType>("routeType"),
    field<&NbrCldAnaData::peerServerId>("peerServerId"),
    field<&NbrCldAnaData::calledChanged>("calledChanged"),
    field<&NbrCldAnaData::transId>("transId"),
    field<&NbrCldAnaData::transOption>("transOption"),
    field<&NbrCldAnaData::extLine>("extLine"),
    field<&NbrCldAnaData::level>("level"),
    field<&NbrCldAnaData::dialPlan>("dialPlan").key().def("default").group(6),
    field<&NbrCldAnaData::maxDuration>("maxDuration"),
    field<&NbrCldAnaData::clrRefineGroup>("clrRefineGroup"),
    field<&NbrCldAnaData::rtGroupId>("rtGroupId"),
    field<&NbrCldAnaData::description>("description"),
    field<&NbrCldAnaData::serviceType>("serviceType"),
};

// Stored order of tbl_nbr_clr_ana.
using NbrClrAnaData = Cdb_nbr_clr_ana_data;
constexpr std::array kNbrClrAnaDataFields = {
    field<&NbrClrAnaData::callerPrefix>("callerPrefix").key(),
    field<&NbrClrAnaData::transId>("transId"),
    field<&NbrClrAnaData::dialPlan>("dialPlan").group(1),
    field<&NbrClrAnaData::description>("description"),
};

// Stored order of tbl_nbr_clr_refine.
using NbrClrRefineData = Cdb_nbr_clr_refine_data;
constexpr std::array kNbrClrRefineDataFields = {
    field<&NbrClrRefineData::groupID>("groupID").key(),
    field<&NbrClrRefineData::callerPrefix>("callerPrefix").key(),
    field<&NbrClrRefineData::transId>("transId"),
    field<&NbrClrRefineData::description>("description"),
};

// Stored order of tbl_nbr_cld_refine.
using NbrCldRefine = Cdb_nbr_cld_refine;
constexpr std::array kNbrCldRefineFields = {
    field<&NbrCldRefine::groupID>("groupID").key(),
    field<&NbrCldRefine::calledPrefix>("calledPrefix").key().orEmpty(),
    field<&NbrCldRefine::transId>("transId"),
    field<&NbrCldRefine::description>("description"),
};

std::optional<Cdb_nbr_cld_ana_data> calledKey(const char* dialPlan, const char* prefix)
{
    using R = Cdb_nbr_cld_ana_data;
    return keyOf<R, &R::dialPlan, &R::calledPrefix>(dialPlan, prefix);
}

std::optional<Cdb_nbr_clr_refine_data> callerKey(unsigned groupID, const char* prefix)
{
    using R = Cdb_nbr_clr_refine_data;
    return keyOf<R, &R::groupID, &R::callerPrefix>(groupID, prefix);
}

} // namespace

template <>
const Table& tableOf<Cdb_nbr_trans_data>()
{
    static const Table& table = *new Table("tbl_nbr_trans", kNbrTransDataFields, Edb_table::NbrTransitions);
    return table;
}

void Cdb_nbr_trans_data::Init()
{
    resetRecord(*this);
}

void ldb_nbr_trans_get_full_data(const Cdb_query& query, Cdb_nbr_trans_data* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_nbr_cld_ana_data>()
{
    static const Table& table = *new Table("tbl_nbr_cld_ana", kNbrCldAnaDataFields, Edb_table::CalledAnalysis);
    return table;
}

void Cdb_nbr_cld_ana_data::Init()
{
    resetRecord(*this);
}

void ldb_nbr_cld_ana_get_full_data(const Cdb_query& query, Cdb_nbr_cld_ana_data* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_nbr_clr_ana_data>()
{
    static const Table& table = *new Table("tbl_nbr_clr_ana", kNbrClrAnaDataFields, Edb_table::CallerAnalysis);
    return table;
}

void Cdb_nbr_clr_ana_data::Init()
{
    resetRecord(*this);
}

void ldb_nbr_clr_ana_get_full_data(const Cdb_query& query, Cdb_nbr_clr_ana_data* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_nbr_clr_refine_data>()
{
    static const Table& table = *new Table("tbl_nbr_clr_refine", kNbrClrRefineDataFields, Edb_table::CallerRefinement);
    return table;
}

void Cdb_nbr_clr_refine_data::Init()
{
    resetRecord(*this);
}

void ldb_nbr_clr_refine_get_full_data(const Cdb_query& query, Cdb_nbr_clr_refine_data* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_nbr_cld_refine>()
{
    static const Table& table = *new Table("tbl_nbr_cld_refine", kNbrCldRefineFields, Edb_table::CalledRefinement);
    return table;
}

void Cdb_nbr_cld_refine::init()
{
    resetRecord(*this);
}

void ldb_nbr_cld_refine_get_full_data(const Cdb_query& query, Cdb_nbr_cld_refine* record)
{
    mapRow(query, record);
}

bool Cdb_nbr_trans_data::IsValid() const
{
    constexpr uint32_t kMaxStart = 31;
    return transid >= 1 && type >= kTransAdd && type <= kTransDelete && startPos <= kMaxStart &&
           length <= sizeof digits - 1;
}

unsigned Cdb_nbr_trans_data::Comp(const Cdb_nbr_trans_data* other) const
{
    return other == nullptr || std::memcmp(this, other, sizeof *this) != 0 ? 1 : 0;
}

void Cdb_nbr_trans_data::ToString(Cbcl_tmp_str& text) const
{
    const std::string shown(BclFieldText(digits));
    if (type == kTransDelete)
        text.set("%u: -[%u,%u]", transid, startPos, length);
    else if (type == kTransReplace)
        text.set("%u: [%u,%u]=%s", transid, startPos, length, shown.c_str());
    else
        text.set("%u: +%s", transid, shown.c_str());
}

void Cdb_nbr_cld_ana_data::InitV6()
{
    tableOf<Cdb_nbr_cld_ana_data>().initGroup(this, 6);
}

void Cdb_nbr_clr_ana_data::InitV1()
{
    tableOf<Cdb_nbr_clr_ana_data>().initGroup(this, 1);
}

unsigned Cdb_fac_mgr::DbNbrTransGet(Cdb_nbr_trans_data& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbNbrTransSet(const Cdb_nbr_trans_data& record)
{
    return _impl->set(record);
}

unsigned Cdb_fac_mgr::DbNbrTransHas(unsigned transid)
{
    return _impl->has(keyOf<Cdb_nbr_trans_data, &Cdb_nbr_trans_data::transid>(transid));
}

unsigned Cdb_fac_mgr::DbNbrTransDel(unsigned transid)
{
    return _impl->del(keyOf<Cdb_nbr_trans_data, &Cdb_nbr_trans_data::transid>(transid));
}

unsigned Cdb_fac_mgr::DbNbrCldAnaGet(Cdb_nbr_cld_ana_data& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbNbrCldAnaSet(const Cdb_nbr_cld_ana_data& record)
{
    return _impl->set(record);
}

unsigned Cdb_fac_mgr::DbNbrCldAnaHas(const char* dialPlan, const char* prefix)
{
    return _impl->has(calledKey(dialPlan, prefix));
}

unsigned Cdb_fac_mgr::DbNbrCldAnaDel(const char* dialPlan, const char* prefix)
{
    return _impl->del(calledKey(dialPlan, prefix));
}

unsigned Cdb_fac_mgr::DbNbrClrAnaGet(Cdb_nbr_clr_ana_data& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbNbrClrAnaSet(const Cdb_nbr_clr_ana_data& record)
{
    return _impl->set(record);
}

unsigned Cdb_fac_mgr::DbNbrClrAnaHas(const char* prefix)
{
    return _impl->has(keyOf<Cdb_nbr_clr_ana_data, &Cdb_nbr_clr_ana_data::callerPrefix>(prefix));
}

unsigned Cdb_fac_mgr::DbNbrClrAnaDel(const char* prefix)
{
    return _impl->del(keyOf<Cdb_nbr_clr_ana_data, &Cdb_nbr_clr_ana_data::callerPrefix>(prefix));
}

unsigned Cdb_fac_mgr::DbNbrClrRefineGet(Cdb_nbr_clr_refine_data& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbNbrClrRefineSet(const Cdb_nbr_clr_refine_data& record)
{
    return _impl->set(record);
}

unsigned Cdb_fac_mgr::DbNbrClrRefineHas(unsigned groupID, const char* prefix)
{
    return _impl->has(callerKey(groupID, prefix));
}

unsigned Cdb_fac_mgr::DbNbrClrRefineDel(unsigned groupID, const char* prefix)
{
    return _impl->del(callerKey(groupID, prefix));
}

unsigned Cdb_fac_mgr::DbRefineCalledNbrAdd(Cdb_nbr_cld_refine record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbRefineCalledNbrUpdate(Cdb_nbr_cld_refine record)
{
    return _impl->update(record);
}

unsigned Cdb_fac_mgr::DbRefineCalledNbrGet(Cdb_nbr_cld_refine& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbRefineCalledNbrDelete(unsigned groupID, const char* prefix)
{
    return _impl->del(
        keyOf<Cdb_nbr_cld_refine, &Cdb_nbr_cld_refine::groupID, &Cdb_nbr_cld_refine::calledPrefix>(groupID, prefix));
}
