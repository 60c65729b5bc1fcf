#include "dialplan/dial_plan.h"

#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"

#include <algorithm>

DialPlanTables::DialPlanTables()
    : _linesByName(std::make_shared<const std::vector<std::shared_ptr<const Cdb_ext_line_info>>>()),
      _routes(std::make_shared<const Routes>()),
      _system(std::make_shared<const Cdb_sys_data>()),
      _emergencyNumbers(std::make_shared<const std::vector<std::string>>())
{
    const auto makeEmpty = []<class Record>(Rows<Record>& rows) { rows = std::make_shared<const Snapshot<Record>>(); };
    std::apply([&](auto&... rows) { (makeEmpty(rows), ...); }, _rows);
}

void DialPlanTables::changed(const Snapshot<Cdb_ext_line_info>& lines)
{
    auto sorted = lines.inOrder();
    std::sort(sorted.begin(), sorted.end(),
              [](const auto& a, const auto& b) { return BclFieldText(a->extName) < BclFieldText(b->extName); });
    _linesByName = std::make_shared<const std::vector<std::shared_ptr<const Cdb_ext_line_info>>>(std::move(sorted));
}

void DialPlanTables::changed(const Snapshot<Cdb_route>& routes)
{
    Routes groups;
    for (const auto& route : routes.inOrder())
        groups[route->groupID].push_back(route);
    for (auto& [groupId, list] : groups)
        std::stable_sort(list.begin(), list.end(),
                         [](const auto& a, const auto& b) { return a->routeType < b->routeType; });
    _routes = std::make_shared<const Routes>(std::move(groups));
}

void DialPlanTables::changed(const Snapshot<Cdb_sys_black_item>& blackList)
{
    BlackListLengths lengths;
    blackList.forEach([&lengths](const std::string&, const Cdb_sys_black_item& item) {
        lengths.caller |= uint64_t{1} << BclFieldText(item.callerNbr).size();
        lengths.called |= uint64_t{1} << BclFieldText(item.calledNbr).size();
    });
    _blackListLengths = lengths;
}

const std::vector<std::shared_ptr<const Cdb_route>>& DialPlanTables::routesOf(uint32_t groupId) const
{
    static const std::vector<std::shared_ptr<const Cdb_route>>& none =
        *new std::vector<std::shared_ptr<const Cdb_route>>();
    const auto it = _routes->find(groupId);
    return it == _routes->end() ? none : it->second;
}

void DialPlanTables::setEmergencyNumbers(std::string_view list)
{
    std::vector<std::string> numbers;
    while (!list.empty()) {
        const size_t end = std::min(list.find(','), list.size());
        if (const std::string_view number = BclTrimmed(list.substr(0, end)); !number.empty())
            numbers.emplace_back(number);
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    _emergencyNumbers = std::make_shared<const std::vector<std::string>>(std::move(numbers));
}

bool DialPlanTables::isEmergencyNumber(std::string_view number) const
{
    return std::find(_emergencyNumbers->begin(), _emergencyNumbers->end(), number) != _emergencyNumbers->end();
}

namespace {

template <class Readers>
struct MakeReaders;
template <class... Records>
struct MakeReaders<std::tuple<SnapshotReader<Snapshot<Records>>...>> {
    static std::tuple<SnapshotReader<Snapshot<Records>>...> from(const Cdb_fac_mgr& store)
    {
        return {SnapshotReader<Snapshot<Records>>(store.rows<Records>())...};
    }
};

} // namespace

DialPlan::DialPlan(const Cdb_fac_mgr& store)
    : _readers(MakeReaders<decltype(_readers)>::from(store)), _system(store.system())
{
    _tables.setEmergencyNumbers(BclFieldText(gVarCcfEmergencyNumbers));
    _tables.setLuaNumbersExact(gVarCcfLuaServiceMatchCld != 0);
}

const DialPlanTables& DialPlan::now()
{
    std::apply([this](auto&... readers) { (_tables.set(readers.newest()), ...); }, _readers);
    _tables.setSystem(_system.newest());
    return _tables;
}
