// Time conditions that records name and that do not exist: told once a day each.
#pragma once

#include "bcl2/date.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// One thread. Holds a number for each ID that was told, and IDs come from records.
class MissingConditions {
public:
    // Lines for the log of what an answer has found; none for those that today's log has.
    [[nodiscard]] std::vector<std::string> linesFor(const std::vector<uint32_t>& ids, Cbcl_timestamp now);

private:
    std::map<uint32_t, uint32_t> _toldOn; // local date as YYYYMMDD
};
