#include "dialplan/dial_plan.h"

#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"

#include <algorithm>

DialPlanTables::DialPlanTables()
    : _system(std::make_shared<const Cdb_sys_data>()),
      _emergencyNumbers(std::make_shared<const std::vector<std::string>>())
{
    const auto makeEmpty = []<class Record>(Rows<Record>& rows) { rows = std::make_shared<const Snapshot<Record>>(); };
    std::apply([&](auto&... rows) { (makeEmpty(rows), ...); }, _rows);
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
