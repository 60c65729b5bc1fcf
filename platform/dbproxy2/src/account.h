// The statements that change a balance, of a user or of a card. Each looks and changes in one: no update is lost, on
// however many servers it is made at the same time.
#pragma once

#include "dbproxy2/remote_db.h"

// Takes a sum that is covered. Values: sum, name, sum. Found no row: not covered, or no such account.
[[nodiscard]] const char* debitStatement(Ebalance_kind kind);

// Adds a sum of either sign, within the bounds of a balance. Values: kChangeSums times the sum, name.
constexpr size_t kChangeSums = 3;
[[nodiscard]] const char* changeStatement(Ebalance_kind kind);
