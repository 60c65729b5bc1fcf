// The groups of rules that change a number on its way out of an analysis.
#pragma once

#include "dialplan/analysis.h"

#include <cstdint>
#include <string>

// The caller's number of the answer after a caller refinement group; 0 is none.
void refineCaller(Analysis& analysis, uint32_t group);
// The called number as it is sent over a line or trunk with this called refinement group.
[[nodiscard]] std::string refinedNumber(Analysis& analysis, uint32_t group);
