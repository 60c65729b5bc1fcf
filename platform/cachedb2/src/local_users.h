// What the facade needs of local users beyond the table's plain statements.
#pragma once

#include "cachedb2/snapshot.h"
#include "cachedb2/usr_info.h"
#include "connection.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

// All users of an open store; null when they could not be read.
[[nodiscard]] std::shared_ptr<const Snapshot<Cdb_usr_info>> loadUsers(DbConnection& db);

// 12 letters and digits from the system's random numbers; empty when there are none.
[[nodiscard]] std::string randomPassword();

// The users start, start + 1, ... that `existing` does not hold, with the password or a random one each. False when no
// random numbers could be had.
[[nodiscard]] bool makeUsers(unsigned start, unsigned total, std::string_view password,
                             const Snapshot<Cdb_usr_info>& existing, std::vector<Cdb_usr_info>& users);
