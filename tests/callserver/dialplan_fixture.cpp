#include "callserver/dialplan_fixture.h"

#include <cstdlib>
#include <ctime>

DialPlanFixture::DialPlanFixture()
{
    setenv("TZ", "UTC", 1);
    tzset();
    put(user("2001"));
    put(user("2002"));
}

Cdb_usr_info DialPlanFixture::user(const std::string& name)
{
    Cdb_usr_info record;
    BclCopyStr(record.usrName, name.c_str());
    return record;
}

Cdb_nbr_cld_ana_data DialPlanFixture::rule(const std::string& prefix, uint32_t routeType, const std::string& plan)
{
    Cdb_nbr_cld_ana_data record;
    BclCopyStr(record.calledPrefix, prefix.c_str());
    BclCopyStr(record.dialPlan, plan.c_str());
    record.routeType = routeType;
    return record;
}

void DialPlanFixture::put(const Cdb_usr_info& record)
{
    putAt(record.usrName, record);
}

void DialPlanFixture::put(const Cdb_nbr_cld_ana_data& record)
{
    putAt(std::string(record.calledPrefix) + kDbKeySeparator + record.dialPlan, record);
}

DialAnswer DialPlanFixture::analyze(const CallRequest& request) const
{
    return analyzeCall(tables, request, counts, now);
}

DialAnswer DialPlanFixture::callFromUser(const std::string& user, const std::string& dialed) const
{
    CallRequest request;
    request.source = {SourceKind::User, user, 0};
    request.caller = user;
    request.dialed = dialed;
    return analyze(request);
}

testing::AssertionResult DialPlanFixture::hasStep(const DialAnswer& answer, const std::string& text)
{
    std::string all;
    for (const DialStep& step : answer.steps) {
        if (step.text.find(text) != std::string::npos)
            return testing::AssertionSuccess();
        all += "\n  " + step.text;
    }
    return testing::AssertionFailure() << "no step says \"" << text << "\":" << all;
}

std::string DialPlanFixture::outcome(const DialAnswer& answer)
{
    if (answer.status != 0)
        return std::to_string(answer.status);
    std::string text;
    for (const DialTarget& target : answer.targets) {
        text += text.empty() ? "" : ", ";
        switch (target.kind) {
        case DialTarget::Kind::LocalUser:
            text += "local user " + target.name;
            break;
        case DialTarget::Kind::Line:
            text += "line " + target.name;
            break;
        case DialTarget::Kind::Trunk:
            text += "trunk " + std::to_string(target.peerId);
            break;
        case DialTarget::Kind::Service:
            text += target.name;
            break;
        }
    }
    return text;
}
