// Fills the data folder with a small office to try the server with, and prints what its telephones need to know. Does
// nothing to what is already there, so that a second start finds the same office.

#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "cachedb2/fac_mgr.h"

#include <cstdio>
#include <string>

namespace {

constexpr unsigned kFirstUser = 1000;
constexpr unsigned kUsers = 20;

void printLogLine(void*, void* text, void*)
{
    std::fprintf(stderr, "%s\n", static_cast<const char*>(text));
}

bool addUsers(Cdb_fac_mgr& store)
{
    return store.DbAddUserMany(kFirstUser, kUsers, nullptr) == kDbOk;
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
    if (!store.isOpen() || !addUsers(store) || !printUsers(store)) {
        std::fprintf(stderr, "The demo office could not be made.\n");
        return 1;
    }
    return 0;
}
