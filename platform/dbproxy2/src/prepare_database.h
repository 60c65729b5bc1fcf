// What a database needs before it is used.
#pragma once

#include "sql_run.h"

// Makes the tables that are missing, refuses those that are not as they must be, and tells the identity.
[[nodiscard]] SqlResult prepareDatabase(const SqlRun& run, std::string& identity);
