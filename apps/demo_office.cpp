// Fills the data folder with a small office to try the server with, and prints what its telephones need to know. Does
// nothing to what is already there, so that a second start finds the same office.

#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"

#include <cstdio>
#include <string>

namespace {

constexpr unsigned kFirstUser = 1000;
constexpr unsigned kUsers = 20;
constexpr unsigned kOfficeHours = 1; // a time condition
constexpr uint8_t kWorkdays = 0b0111110;

void printLogLine(void*, void* text, void*)
{
    std::fprintf(stderr, "%s\n", static_cast<const char*>(text));
}

bool addUsers(Cdb_fac_mgr& store)
{
    return store.DbAddUserMany(kFirstUser, kUsers, nullptr) == kDbOk;
}

bool addOfficeHours(Cdb_fac_mgr& store)
{
    Cdb_time_cond hours;
    hours.ID = kOfficeHours;
    if (store.DbTimeConditionGet(hours) == kDbOk)
        return true;
    hours.init();
    hours.ID = kOfficeHours;
    BclCopyStr(hours.description, "Office hours");
    hours.startHour = 8;
    hours.endHour = 17;
    hours.endMinute = 30;
    hours.weekdays = kWorkdays;
    return store.DbTimeConditionAdd(hours) == kDbOk;
}

// Its address is kept for documentation (RFC 5737): nothing leaves for it.
bool addPeer(Cdb_fac_mgr& store, unsigned sid, const char* description, const char* address, unsigned timeCondition)
{
    Cdb_sip_domain_data peer;
    if (store.DbPeerServerGet(sid, peer) == kDbOk)
        return true;
    peer.Init();
    BclCopyStr(peer.description, description);
    BclCopyStr(peer.peerAddr, address);
    peer.timeCondId = timeCondition;
    return store.DbPeerServerSet(sid, peer) == kDbOk;
}

bool addPeers(Cdb_fac_mgr& store)
{
    return addPeer(store, 1, "Branch office", "192.0.2.10", 0) &&
           addPeer(store, 2, "Carrier, in office hours", "198.51.100.20", kOfficeHours);
}

bool printUsers(Cdb_fac_mgr& store)
{
    for (unsigned number = kFirstUser; number < kFirstUser + kUsers; ++number) {
        Cdb_usr_info user;
        if (store.DbGetUsrInfo(std::to_string(number).c_str(), user) != kDbOk)
            return false;
        std::printf("%s %s\n", user.usrName, user.password);
    }
    return true;
}

} // namespace

int main()
{
    BclSubEvent(kBclLogEvent, nullptr, &printLogLine);
    BclOpenLog();
    Cdb_fac_mgr store;
    if (!store.isOpen() || !addUsers(store) || !addOfficeHours(store) || !addPeers(store) || !printUsers(store)) {
        std::fprintf(stderr, "The demo office could not be made.\n");
        return 1;
    }
    return 0;
}
