// The order in which a call is handled, up to its targets.
#include "bcl2/text.h"
#include "dialplan/dial_plan.h"
#include "dialplan/prefix_match.h"

#include <initializer_list>
#include <utility>

namespace {

// A number or name as part of a step: one line whatever it holds, and not longer than what fits one.
std::string shown(std::string_view text)
{
    constexpr size_t kMaxShown = 64; // bytes; a record's texts have half of it
    return text.empty() ? "(none)" : BclPrintable(text, kMaxShown);
}

class CallAnalysis {
public:
    CallAnalysis(const DialPlanTables& tables, const CallRequest& request) : _tables(tables), _request(request) {}

    DialAnswer run() &&
    {
        _answer.caller = _request.caller;
        _answer.called = _request.dialed;
        findPlan();
        analyzeCalled();
        return std::move(_answer);
    }

private:
    void step(std::initializer_list<std::string_view> parts)
    {
        std::string text;
        for (const std::string_view part : parts)
            text += part;
        _answer.steps.push_back({std::move(text)});
    }
    void refuse(int status, std::string reason)
    {
        _answer.status = status;
        _answer.reason = std::move(reason);
    }

    void findPlan()
    {
        _answer.dialPlan = "default";
        if (_request.source.kind != SourceKind::User)
            return;
        if (const auto user = _tables.rows<Cdb_usr_info>().find(_request.source.name);
            user && user->dialPlan[0] != '\0')
            _answer.dialPlan = BclFieldText(user->dialPlan);
        step({"Caller ", shown(_request.caller), " is a local user; dial plan ", _answer.dialPlan, "."});
    }

    void analyzeCalled()
    {
        const std::string after = kDbKeySeparator + _answer.dialPlan;
        const auto row = findLongestPrefix(_tables.rows<Cdb_nbr_cld_ana_data>(), _answer.called, {}, after);
        const std::string head = "Called number analysis, plan " + _answer.dialPlan + ": ";
        if (!row)
            step({head, "no prefix matches ", shown(_answer.called), "; the default route is used."});
        else
            step({head, "prefix ", BclFieldText(row->calledPrefix), " matches ", shown(_answer.called), "."});
        const uint32_t routeType = row ? row->routeType : uint32_t{kRtLocalUser};
        if (routeType == kRtLocalUser)
            return routeToUser();
        refuse(503, "No route of this type is served");
    }

    void routeToUser()
    {
        if (_answer.called.size() > Cphone_number::kBound || !_tables.rows<Cdb_usr_info>().find(_answer.called)) {
            step({"There is no local user ", shown(_answer.called), "."});
            return refuse(404, "No local user " + shown(_answer.called));
        }
        step({"Route: local user ", _answer.called, "."});
        DialTarget target;
        target.name = target.called = _answer.called;
        target.caller = _answer.caller;
        _answer.targets.push_back(std::move(target));
    }

    const DialPlanTables& _tables;
    const CallRequest& _request;
    DialAnswer _answer;
};

} // namespace

DialAnswer analyzeCall(const DialPlanTables& tables, const CallRequest& request, const CallCounts& /*counts*/,
                       Cbcl_timestamp /*now*/)
{
    return CallAnalysis(tables, request).run();
}
