#include "console/screenshots/busy_office.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "cachedb2/remote_tables.h"
#include "callserver/call_record.h"
#include "callserver/event_ids.h"
#include "support/free_port.h"
#include "support/sip_client.h"

#include <array>
#include <string>

namespace {

constexpr unsigned kSeconds = 1000; // milliseconds
constexpr const char* kLine = "0445500";

bool listenHere(Cdb_fac_mgr& store)
{
    Cdb_sys_data system = *store.system().get();
    BclCopyStr(system.localAddr, "127.0.0.1");
    system.udpPort = freeUdpPort();
    system.tcpPort = system.tlsPort = 0;
    return store.DbSetSysData(system) == kDbOk;
}

bool addLine(Cdb_fac_mgr& store, const char* name, const char* description, const char* server)
{
    Cdb_ext_line_info line;
    BclCopyStr(line.extName, name);
    BclCopyStr(line.description, description);
    BclCopyStr(line.serverAddr, server);
    BclCopyStr(line.destination, "800");
    BclCopyStr(line.password, "secret");
    line.serverPort = 5060;
    line.flags |= kLineNoRegister;
    return store.DbExtLineSet(line) == kDbOk;
}

bool addDisa(Cdb_fac_mgr& store)
{
    Ctbl_disa_account account;
    BclCopyStr(account.cAccount, "7001");
    BclCopyStr(account.cPassword, "4711");
    BclCopyStr(account.cExtension, "1003");
    Ctbl_disa_caller_id caller;
    BclCopyStr(caller.cCallerID, "0791234567");
    BclCopyStr(caller.cDISAAccount, "7001");
    return tbl_disa_account_add(&store, account) == kDbOk && tbl_disa_caller_id_add(&store, caller) == kDbOk;
}

bool addCalledRefinement(Cdb_fac_mgr& store)
{
    Cdb_nbr_cld_refine refinement;
    refinement.groupID = 1;
    refinement.transId = 5;
    BclCopyStr(refinement.calledPrefix, "0445501");
    BclCopyStr(refinement.description, "Our own number, from a line");
    return store.DbRefineCalledNbrAdd(refinement) == kDbOk;
}

bool describeUsers(Cdb_fac_mgr& store)
{
    constexpr std::array<std::pair<const char*, const char*>, 6> kPeople = {{{"1000", "Reception"},
                                                                             {"1001", "Anna Keller, switchboard"},
                                                                             {"1002", "Marc Weber, switchboard"},
                                                                             {"1003", "Workshop"},
                                                                             {"1004", "Sales: Mei Lin"},
                                                                             {"1005", "Sales: Ivan Orlov"}}};
    for (const auto& [name, description] : kPeople) {
        Cdb_usr_info user;
        if (store.DbGetUsrInfo(name, user) != kDbOk)
            return false;
        BclCopyStr(user.description, description);
        if (store.DbSetLocalUserData(user) != kDbOk)
            return false;
    }
    return true;
}

void publishUser(const char* name, Eusr_stage stage, const char* agent, const char* address)
{
    uint8_t state = stage;
    std::string user = name;
    std::string shownAgent = agent;
    std::string shownAddress = address;
    BclPubEvent(kEvtUserState, user.data(), &state);
    BclPubEvent(kEvtUserAgent, user.data(), shownAgent.data());
    BclPubEvent(kEvtUserAddress, user.data(), shownAddress.data());
}

struct Call {
    const char* caller;
    const char* dialed;
    const char* called;
    const char* address;
    unsigned moments; // from the start on
    unsigned release;
};

void publishCall(int number, const Call& call)
{
    constexpr Cbcl_timestamp kMorning = 1795165200LL * kSeconds; // of a Friday in November
    Ccdr_record_data record;
    record.callId = number;
    BclCopyStr(record.callerNbr, call.caller);
    BclCopyStr(record.dialedNbr, call.dialed);
    BclCopyStr(record.calledNbr, call.called);
    BclCopyStr(record.calledAddr, call.address);
    record.flags |= kCdrCalledAddr;
    const Cbcl_timestamp start = kMorning + number * 95LL * kSeconds;
    for (unsigned moment = 0; moment < call.moments; ++moment)
        record.setTime(static_cast<Ecdr_time>(moment), start + moment * 4LL * kSeconds);
    record.duration = call.moments > kCdrAnswer ? 4 : 0;
    record.releaseCode = call.release;
    BclPubEvent(kEvtCallRecord, &number, &record);
}

} // namespace

bool completeOffice()
{
    Cdb_fac_mgr store;
    return store.isOpen() && listenHere(store) && describeUsers(store) &&
           addLine(store, kLine, "Line of the carrier", "sip.carrier.test") &&
           addLine(store, "fax-gateway", "Gateway of the fax machine", "192.0.2.40") && addDisa(store) &&
           addCalledRefinement(store);
}

void registerTelephones(Cdb_fac_mgr& store)
{
    for (unsigned number = 0; number < kTelephones; ++number) {
        const std::string name = std::to_string(1000 + number);
        Cdb_usr_info user;
        if (store.DbGetUsrInfo(name.c_str(), user) != kDbOk)
            continue;
        SipClient telephone("127.0.0.1", store.system().get()->servedUdpPort());
        (void)telephone.registerUser(
            name, user.password,
            {"Contact: <" + telephone.contact(name) + ">", "User-Agent: Desk phone 4.2", "Expires: 3600"});
    }
}

void publishStates(Cdb_fac_mgr& store)
{
    publishUser("1000", kUsrTalking, "Desk phone 4.2", "192.0.2.101:5060");
    publishUser("1001", kUsrIdle, "Desk phone 4.2", "192.0.2.102:5060");
    publishUser("1002", kUsrRinging, "Desk phone 4.2", "192.0.2.103:5060");
    publishUser("1003", kUsrIdle, "Softphone 1.0", "192.0.2.110:41022");
    publishUser("1004", kUsrTalking, "Softphone 1.0", "192.0.2.111:50718");
    (void)store.DbWriteExtLineState(kLine, 1);
    uint8_t isOn = 1;
    std::string line = kLine;
    BclPubEvent(kEvtLineState, line.data(), &isOn);
}

void publishCalls()
{
    constexpr std::array<Call, 5> kCalls = {{{"1004", "1000", "1000", "192.0.2.101:5060", kCdrTimes, 200},
                                             {"1003", "1005", "1005", "192.0.2.112:5060", kCdrTimes, 486},
                                             {"1000", "00390612345", "+390612345", "198.51.100.20:5060", 3, 0},
                                             {"0791234567", "0445501002", "1002", "192.0.2.103:5060", 2, 0},
                                             {"1001", "801", "801", "", 1, 0}}};
    int number = 0;
    for (const Call& call : kCalls)
        publishCall(++number, call);
}
