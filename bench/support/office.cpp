#include "support/office.h"

#include "support/temporary_folder.h"

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"

#include <fstream>
#include <memory>
#include <stdexcept>

namespace {

constexpr unsigned kDialPlanRules = 1000; // for numbers of digits; the users' begin with a letter

std::string numbered(char letter, unsigned number)
{
    std::string text(1, letter);
    text += std::to_string(number);
    return text;
}

void expectStored(unsigned result, const std::string& what)
{
    if (result != kDbOk)
        throw std::runtime_error("the store refuses " + what);
}

std::unique_ptr<Cdb_fac_mgr> officeStore(const std::string& dataFolder, unsigned users, uint16_t port,
                                         const uint8_t callFlags = Cdb_sys_data().callFlags)
{
    Cdb_options options;
    options.dataFolder = dataFolder;
    auto store = std::make_unique<Cdb_fac_mgr>(options);
    Cdb_sys_data system;
    BclCopyStr(system.localAddr, "127.0.0.1");
    system.SetRealm("parlovex");
    system.udpPort = port;
    system.tcpPort = 0;
    system.callFlags = callFlags;
    expectStored(store->DbSetSysData(system), "the system record");
    for (unsigned i = 0; i < users; ++i) {
        Cdb_usr_info user;
        BclCopyStr(user.usrName, numbered('u', i).c_str());
        BclCopyStr(user.password, numbered('p', i).c_str());
        expectStored(store->DbSetLocalUserData(user), user.usrName);
    }
    std::ofstream(dataFolder + "/switch.ini") << "[switch]\ngVarSipChallengeRate=0\n";
    return store;
}

} // namespace

void fillOffice(const std::string& dataFolder, unsigned users, uint16_t port)
{
    (void)officeStore(dataFolder, users, port);
}

void fillCallOffice(const std::string& dataFolder, unsigned users, uint16_t port, bool areCallsAuthenticated)
{
    const uint8_t flags = Cdb_sys_data().callFlags;
    const auto store =
        officeStore(dataFolder, users, port, areCallsAuthenticated ? flags : uint8_t(flags & ~kSysAuthCalls));
    for (unsigned i = 0; i < kDialPlanRules; ++i) {
        Cdb_nbr_cld_ana_data rule;
        BclCopyStr(rule.calledPrefix, std::to_string(i).c_str());
        rule.routeType = kRtExtLine;
        BclCopyStr(rule.extLine, "line");
        expectStored(store->DbNbrCldAnaSet(rule), "a rule of the dial plan");
    }
    Cdb_usr_info last;
    expectStored(store->DbGetUsrInfo(numbered('u', users - 1).c_str(), last), "to give its last user");
    last.flags |= kUsrCallWaiting;
    last.callWaitingLimit = UINT8_MAX;
    expectStored(store->DbSetLocalUserData(last), last.usrName);
}

std::vector<SippUser> officeUsers(unsigned first, unsigned count)
{
    std::vector<SippUser> users;
    for (unsigned i = first; i < first + count; ++i)
        users.push_back({numbered('u', i), numbered('p', i)});
    return users;
}

SippResult registerAll(const TemporaryFolder& folder, uint16_t serverPort, uint16_t ownPort,
                       const std::vector<SippUser>& users, unsigned count, unsigned perSecond,
                       const std::string& scenario)
{
    SippPlan plan;
    plan.scenario = scenario;
    plan.serverPort = serverPort;
    plan.ownPort = ownPort;
    plan.users = users;
    plan.count = count;
    plan.perSecond = perSecond;
    SippResult result = SippLoad(folder, plan).wait();
    if (!result.isAll(count))
        throw std::runtime_error("only " + std::to_string(result.successful) + " of " + std::to_string(count) +
                                 " registrations succeeded: " + result.output);
    return result;
}
