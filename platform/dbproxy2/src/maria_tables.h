// Whether the tables on a server are such that money can be entrusted to them.
#pragma once

#include "sql_run.h"

// Failed, with what is wrong and the statement that mends it: a table without transactions, a text that is not compared
// byte by byte, a number that holds too little, another key. Tables of which the server tells nothing are taken as they
// are.
[[nodiscard]] SqlResult checkMariaTables(const SqlRun& run);

// The type that a column has in a table of ours.
[[nodiscard]] std::string mariaColumnType(const FieldDesc& field);
