// The report of the calls in progress.
#pragma once

#include "callserver/call_record.h"

#include <string>
#include <vector>

struct CallStatusRow {
    int number;
    const Ccdr_record_data* record;
};

// A head and a line for each call, in aligned columns; nothing without calls.
[[nodiscard]] std::vector<std::string> callStatusTable(const std::vector<CallStatusRow>& rows, Cbcl_timestamp now);
