// Values of records as the texts that lists and editors show.
#pragma once

#include "bcl2/date.h"

#include <QString>

#include <cstdint>

[[nodiscard]] QString GetBoolString(unsigned char value); // 1 is yes, all else no
[[nodiscard]] QString GetWeekStr(Ebcl_week day);
[[nodiscard]] QString GetDPString(int point);            // where in a call a trigger stands; empty for other numbers
[[nodiscard]] QString actionToStr(unsigned char action); // what an access list does
[[nodiscard]] QString GetTransitionText(uint32_t transitionId); // 0 is none
