// Until when a user may be served.
#pragma once

#include "bcl2/date.h"
#include "cachedb2/usr_info.h"

// His last day is over; 0 is none.
[[nodiscard]] inline bool hasExpired(const Cdb_usr_info& user, Cbcl_timestamp now)
{
    return user.expiryDate != 0 && BclGetDateInt(now) > user.expiryDate;
}
