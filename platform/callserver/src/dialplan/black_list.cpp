#include "dialplan/black_list.h"

#include "dialplan/prefix_match.h"

std::shared_ptr<const Cdb_sys_black_item> findBlackItem(const DialPlanTables& tables, std::string_view caller,
                                                        std::string_view called)
{
    const auto& rules = tables.rows<Cdb_sys_black_item>();
    const DialPlanTables::BlackListLengths& lengths = tables.blackListLengths();
    std::shared_ptr<const Cdb_sys_black_item> found;
    std::string key;
    if (rules.size() == 0)
        return found;
    forEachPrefix(caller, lengths.caller, [&](std::string_view callerPrefix) {
        forEachPrefix(called, lengths.called, [&](std::string_view calledPrefix) {
            key.assign(callerPrefix).append(1, kDbKeySeparator).append(calledPrefix);
            found = rules.find(key);
            return found != nullptr;
        });
        return found != nullptr;
    });
    return found;
}
