#include "dialplan/refinement.h"

#include "bcl2/text.h"
#include "dialplan/prefix_match.h"

namespace {

// A rule with transition 0 keeps the number, whatever shorter ones say.
template <class Record, size_t N>
void refine(Analysis& analysis, const char* what, uint32_t group, const char (Record::*prefix)[N], std::string& number)
{
    if (group == 0)
        return;
    const std::string before = std::to_string(group) + kDbKeySeparator;
    const std::string head = numbered(what, group) + ": ";
    const auto rule = findLongestPrefix(analysis.tables.rows<Record>(), number, before);
    if (!rule)
        return analysis.step({head, "no prefix matches ", shownText(number), "."});
    const std::string_view text = BclFieldText((*rule).*prefix);
    analysis.step({head, "prefix ", shownText(text), " matches ", shownText(number),
                   rule->transId == 0 ? "; the number is kept." : "."});
    (void)analysis.applyTransition(rule->transId, number);
}

} // namespace

void refineCaller(Analysis& analysis, uint32_t group)
{
    refine<Cdb_nbr_clr_refine_data>(analysis, "Caller refinement group", group, &Cdb_nbr_clr_refine_data::callerPrefix,
                                    analysis.answer.caller);
}

std::string refinedNumber(Analysis& analysis, uint32_t group)
{
    std::string number = analysis.answer.called;
    refine<Cdb_nbr_cld_refine>(analysis, "Called refinement group", group, &Cdb_nbr_cld_refine::calledPrefix, number);
    return number;
}
