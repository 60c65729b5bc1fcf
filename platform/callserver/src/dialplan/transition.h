// The change that a number transition makes.
#pragma once

#include "cachedb2/numbers.h"

#include <string>
#include <string_view>

// Positions and lengths count characters, also in names that are UTF-8. Digits past the end do not exist: the length is
// cut, and a start past the last digit leaves the number as it is; so does an unknown type.
[[nodiscard]] std::string changedNumber(const Cdb_nbr_trans_data& transition, std::string_view number);
