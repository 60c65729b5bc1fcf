// Where a user with IP authentication is.
#pragma once

#include "cachedb2/usr_info.h"

#include <cstdint>

// 0: his port is none, as editors let it be. Then he is known by his address alone, and called at the default port.
[[nodiscard]] inline uint16_t addressPort(const Cdb_usr_info& user)
{
    return user.ipPort <= UINT16_MAX ? static_cast<uint16_t>(user.ipPort) : uint16_t{0};
}
