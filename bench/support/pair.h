// A quantity of ours and of its reference.
#pragma once

#include "support/report.h"

#include <string>
#include <vector>

// Ours and the reference's rounds of one quantity: operations a second, or milliseconds. The ratio is taken in each
// round, since the machine's disk is not the same in the next one.
class Pair {
public:
    void add(double ours, double bare)
    {
        _ours.add(ours);
        _bare.add(bare);
        _ratio.add(ours / bare);
    }
    [[nodiscard]] std::vector<std::string> row(const std::string& what, int places) const
    {
        return {what, spread(_ours, places), spread(_bare, places), decimal(_ratio.median(), 2)};
    }

private:
    Rounds _ours;
    Rounds _bare;
    Rounds _ratio;
};
