#include "dialplan/missing_conditions.h"

std::vector<std::string> MissingConditions::linesFor(const std::vector<uint32_t>& ids, Cbcl_timestamp now)
{
    std::vector<std::string> lines;
    for (const uint32_t id : ids) {
        uint32_t& toldOn = _toldOn[id];
        if (const uint32_t today = BclGetDateInt(now); toldOn != today) {
            toldOn = today;
            lines.push_back("Time condition " + std::to_string(id) +
                            " does not exist, so what it is set for is never in force.");
        }
    }
    return lines;
}
