#include "dialplan/services.h"

#include "bcl2/text.h"
#include "dialplan/caller_identity.h"
#include "dialplan/prefix_match.h"
#include "dialplan/service_codes.h"

namespace {

constexpr std::string_view kAutoAttendant = "auto_attendant.xml";

// The dial plan as the first part of a key.
std::string planKey(const Analysis& analysis)
{
    return analysis.answer.dialPlan + kDbKeySeparator;
}

void sendTo(Analysis& analysis, const std::string& service, std::string_view why)
{
    analysis.step({why, ": ", service, "."});
    rewriteCaller(analysis);
    analysis.addTarget(DialTarget::Kind::Service, service);
}

} // namespace

bool serveCode(Analysis& analysis)
{
    if (!analysis.user || analysis.answer.isEmergency)
        return false;
    const std::string& dialed = analysis.answer.called;
    const auto code = serviceCodeOf(analysis.tables.system().servicePrefix, dialed);
    if (!code) {
        analysis.step({"Service codes: ", shownText(dialed), " is none."});
        return false;
    }
    if (code->code.empty()) {
        analysis.refuse(404, {"there is no service code ", shownText(dialed)}, Analysis::Heard::Yes);
    } else if (code->isNumberMissing) {
        analysis.refuse(484, {"service code ", code->code, " needs a number"}, Analysis::Heard::No);
    } else {
        const std::string service = std::string("service code ").append(code->code);
        analysis.step({"Service codes: ", shownText(dialed), " is ", service, "."});
        analysis.addTarget(DialTarget::Kind::Service, service);
        analysis.answer.targets.back().called = code->number;
    }
    return true;
}

bool serveDetected(Analysis& analysis)
{
    const DialPlanTables& tables = analysis.tables;
    const std::string& called = analysis.answer.called;
    if (analysis.line && analysis.line->hasFlag(kLineAutoAttendant)) {
        sendTo(analysis, std::string("IVR file ").append(kAutoAttendant), "The line has an auto attendant");
        return true;
    }
    const std::string before = planKey(analysis);
    const std::string matched = "matches " + shownText(called);
    if (const auto ivr = tables.rows<Cdb_ivr_trigger_data>().find(before + called)) {
        sendTo(analysis, std::string("IVR file ").append(BclFieldText(ivr->fileName)), "IVR trigger " + matched);
        return true;
    }
    if (const auto ring = tables.rows<Cdb_rg_detection>().find(before + called)) {
        sendTo(analysis, numbered("ring group", ring->groupID), "Ring group detection " + matched);
        return true;
    }
    if (const auto hunting = findLongestPrefix(tables.rows<Cdb_hunting_group_detect_data>(), called, before)) {
        sendTo(analysis, numbered("hunting group", hunting->groupID),
               std::string("Hunting group detection, prefix ").append(BclFieldText(hunting->calledNbr)) + ", " +
                   matched);
        return true;
    }
    analysis.step({"IVR triggers, ring groups and hunting groups, plan ", analysis.answer.dialPlan, ": none is for ",
                   shownText(called), "."});
    return false;
}

void runModules(Analysis& analysis, Elua_point point)
{
    const std::string before = std::to_string(point) + kDbKeySeparator + planKey(analysis);
    const std::string& called = analysis.answer.called;
    const auto& triggers = analysis.tables.rows<Cdb_lua_trigger>();
    const auto trigger = analysis.tables.areLuaNumbersExact() ? triggers.find(before + called)
                                                              : findLongestPrefix(triggers, called, before);
    if (!trigger)
        return;
    // As after an error of a module: the call goes on unchanged.
    analysis.step({"Lua module ", trigger->moduleName.view(), " matches ", shownText(called),
                   ", but this server does not run Lua modules yet; the call goes on unchanged."});
}
