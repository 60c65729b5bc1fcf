// When a time condition holds.
#pragma once

#include "bcl2/date.h"
#include "cachedb2/time_condition.h"

// In the server's local time. From start to before end on the weekdays; an end before the start lies on the next day,
// and the weekday is that of the start; an end equal to the start is the whole day. 24:00 is an end; any other hour
// above 23, a minute above 59 and no weekday at all: never.
[[nodiscard]] bool holdsAt(const Cdb_time_cond& condition, Cbcl_timestamp now);
