// Which row of the system black list refuses a call.
#pragma once

#include "dialplan/dial_plan.h"

#include <memory>
#include <string_view>

// The row of the longest caller prefix, among those the longest called prefix, that both match; null when none does.
// Empty prefixes and "." match every number.
[[nodiscard]] std::shared_ptr<const Cdb_sys_black_item> findBlackItem(const DialPlanTables& tables,
                                                                      std::string_view caller, std::string_view called);
