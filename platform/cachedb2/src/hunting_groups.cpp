#include "cachedb2/hunting_groups.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>
#include <map>
#include <set>

namespace {

// Stored order of tbl_hunting_group.
using HuntingGroupCfgData = Cdb_hunting_group_cfg_data;
constexpr std::array kHuntingGroupCfgDataFields = {
    field<&HuntingGroupCfgData::groupID>("groupID").key(),
    field<&HuntingGroupCfgData::name>("description"),
    field<&HuntingGroupCfgData::strategy>("strategy").def(1),
    field<&HuntingGroupCfgData::operatorTime>("operatorTime").def(20),
    field<&HuntingGroupCfgData::isQueueOn>("isQueueOn"),
    field<&HuntingGroupCfgData::queueCounter>("queueCounter"),
    field<&HuntingGroupCfgData::queueDuration>("queueDuration"),
};

// Stored order of tbl_hunting_group_operator.
using HuntingGroupOperatorData = Cdb_hunting_group_operator_data;
constexpr std::array kHuntingGroupOperatorDataFields = {
    field<&HuntingGroupOperatorData::operatorNbr>("operator").key(),
    field<&HuntingGroupOperatorData::groupID>("groupID"),
    field<&HuntingGroupOperatorData::isExternal>("isExternal"),
};

// Stored order of tbl_hunting_group_detect.
using HuntingGroupDetectData = Cdb_hunting_group_detect_data;
constexpr std::array kHuntingGroupDetectDataFields = {
    field<&HuntingGroupDetectData::dialPlan>("dialPlan").key().def("default"),
    field<&HuntingGroupDetectData::calledNbr>("calledNbr").key(),
    field<&HuntingGroupDetectData::groupID>("groupID"),
};

} // namespace

template <>
const Table& tableOf<Cdb_hunting_group_cfg_data>()
{
    static const Table& table = *new Table("tbl_hunting_group", kHuntingGroupCfgDataFields, Edb_table::HuntingGroups);
    return table;
}

void Cdb_hunting_group_cfg_data::Init()
{
    resetRecord(*this);
}

void ldb_hg_group_get_full_data(const Cdb_query& query, Cdb_hunting_group_cfg_data* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_hunting_group_operator_data>()
{
    static const Table& table =
        *new Table("tbl_hunting_group_operator", kHuntingGroupOperatorDataFields, Edb_table::HuntingOperators);
    return table;
}

void Cdb_hunting_group_operator_data::Init()
{
    resetRecord(*this);
}

void cdb_hg_operator_get_full_data(const Cdb_query& query, Cdb_hunting_group_operator_data* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_hunting_group_detect_data>()
{
    static const Table& table =
        *new Table("tbl_hunting_group_detect", kHuntingGroupDetectDataFields, Edb_table::HuntingDetection);
    return table;
}

void Cdb_hunting_group_detect_data::Init()
{
    resetRecord(*this);
}

void ldb_hg_detect_get_full_data(const Cdb_query& query, Cdb_hunting_group_detect_data* record)
{
    mapRow(query, record);
}

bool Cdb_hunting_group_cfg_data::IsUsed() const
{
    constexpr uint32_t kGroups = 100;
    return groupID >= 1 && groupID <= kGroups;
}

unsigned Cdb_fac_mgr::DbAddHuntingGroup(const Cdb_hunting_group_cfg_data& record)
{
    return record.IsUsed() ? _impl->add(record) : kDbFailed;
}

unsigned Cdb_fac_mgr::DbUpdateHuntingGroup(const Cdb_hunting_group_cfg_data& record)
{
    return _impl->update(record);
}

unsigned Cdb_fac_mgr::DbGetHGInfo(Cdb_hunting_group_cfg_data& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbHasHGInfo(unsigned groupID)
{
    return _impl->has(keyOf<Cdb_hunting_group_cfg_data, &Cdb_hunting_group_cfg_data::groupID>(groupID));
}

unsigned Cdb_fac_mgr::DbDelHuntingGroup(unsigned groupID)
{
    return _impl->del(keyOf<Cdb_hunting_group_cfg_data, &Cdb_hunting_group_cfg_data::groupID>(groupID));
}

unsigned Cdb_fac_mgr::DbGetHGGrouptCnt()
{
    return _impl->count<Cdb_hunting_group_cfg_data>();
}

unsigned Cdb_fac_mgr::DbAddHGOperator(const Cdb_hunting_group_operator_data& record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbHasOperator(const char* number)
{
    return _impl->has(keyOf<Cdb_hunting_group_operator_data, &Cdb_hunting_group_operator_data::operatorNbr>(number));
}

unsigned Cdb_fac_mgr::DbRemoveHGOperator(const char* number)
{
    return _impl->del(keyOf<Cdb_hunting_group_operator_data, &Cdb_hunting_group_operator_data::operatorNbr>(number));
}

unsigned Cdb_fac_mgr::DbHGAddDetect(const Cdb_hunting_group_detect_data& record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbHGUpdateDetect(const Cdb_hunting_group_detect_data& record)
{
    return _impl->update(record);
}

unsigned Cdb_fac_mgr::DbHGGetDetect(Cdb_hunting_group_detect_data& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbHGDelDetect(const char* dialPlan, const char* calledNbr)
{
    return _impl->del(keyOf<Cdb_hunting_group_detect_data, &Cdb_hunting_group_detect_data::dialPlan,
                            &Cdb_hunting_group_detect_data::calledNbr>(dialPlan, calledNbr));
}

void Cdb_fac_mgr::setOperatorState(std::function<std::string(unsigned, std::string_view)> state)
{
    const std::scoped_lock lock(_impl->hookMutex);
    _impl->operatorState = std::move(state);
}

void Cdb_fac_mgr::DbHGPrintAll()
{
    std::function<std::string(unsigned, std::string_view)> state;
    {
        const std::scoped_lock lock(_impl->hookMutex);
        state = _impl->operatorState;
    }
    std::map<uint32_t, std::string> groups;
    _impl->rows<Cdb_hunting_group_cfg_data>()->forEach([&](const auto&, const Cdb_hunting_group_cfg_data& group) {
        groups[group.groupID] = BclPrintable(BclFieldText(group.name));
    });
    std::map<uint32_t, std::set<std::string>> operators;
    _impl->rows<Cdb_hunting_group_operator_data>()->forEach(
        [&](const auto& number, const Cdb_hunting_group_operator_data& record) {
            operators[record.groupID].insert(number);
        });

    BclLog("Hunting groups: %zu.", groups.size());
    for (const auto& [groupID, name] : groups) {
        const std::set<std::string>& numbers = operators[groupID];
        BclLog("Hunting group %u %s: %zu operators.", groupID, name.c_str(), numbers.size());
        for (const std::string& number : numbers)
            BclLog("  operator %s%s", BclPrintable(number).c_str(),
                   state ? (": " + BclPrintable(state(groupID, number))).c_str() : "");
    }
}
