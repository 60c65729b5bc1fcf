#include "dialplan/caller_identity.h"

#include "bcl2/text.h"
#include "dialplan/prefix_match.h"

void rewriteCaller(Analysis& analysis)
{
    DialAnswer& answer = analysis.answer;
    const auto& rules = analysis.tables.rows<Cdb_clr_rewriting_info>();
    auto rule = rules.find(answer.caller);
    if (!rule)
        rule = rules.find(kAnyNumber);
    if (!rule) {
        analysis.step({"Caller ID rewriting: nothing for ", shownText(answer.caller), "."});
    } else {
        answer.displayName = BclFieldText(rule->displayName);
        answer.isDisplayNameRemoved = answer.displayName.empty();
        analysis.step({"Caller ID rewriting: the rule of ", shownText(BclFieldText(rule->callerNbr)),
                       " gives the display name ", shownText(answer.displayName),
                       rule->isAnonymous != 0 ? " and hides the number." : "."});
        if (rule->isAnonymous != 0) {
            answer.isAnonymous = true;
            answer.caller = "anonymous";
            analysis.isNumberRemoved = true;
        }
    }
    if (analysis.user && analysis.user->hasFlag(kUsrHideNumber)) {
        answer.isAnonymous = true;
        answer.isDisplayNameRemoved = false;
        answer.displayName = "Anonymous"; // RFC 3323 section 4.1.1.3
        analysis.step({"The caller hides his number."});
    }
}
