// What the facade needs of local users beyond the table's plain statements.
#pragma once

#include "cachedb2/usr_info.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// 12 letters and digits from the system's random numbers; empty when there are none.
[[nodiscard]] std::string randomPassword();

// The users start, start + 1, ... whose names are not taken, with the password or a random one each. False when no
// random numbers could be had.
[[nodiscard]] bool makeUsers(unsigned start, unsigned total, std::string_view password,
                             const std::function<bool(const std::string&)>& isTaken, std::vector<Cdb_usr_info>& users);
