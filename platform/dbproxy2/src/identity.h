// Which database this is: a row that is made once, beside the first tables, and goes with them wherever they are moved.
#pragma once

#include "remote_table.h"
#include "sql_run.h"

struct IdentityRow {
    char cIdentity[33];
    uint8_t nRow; // key; there is one row
};

template <>
const RemoteTable& remoteTableOf<IdentityRow>();

// Makes the row where it is missing. Two that do so together agree on one.
[[nodiscard]] SqlResult readIdentity(const SqlRun& run, std::string& identity);

// So many random bytes, as hexadecimal digits.
[[nodiscard]] std::string randomDigits(size_t bytes);
