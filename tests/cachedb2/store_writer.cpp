// Adds users as fast as it can and prints each name once the store has acknowledged it, until it is killed or has added
// 100,000.

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"

#include <cstdio>
#include <string>
#include <unistd.h>

int main(int argc, char** argv)
{
    const std::string prefix = argc > 1 ? argv[1] : "u";
    Cdb_fac_mgr store;
    for (int i = 0; i < 100000; ++i) {
        Cdb_usr_info user;
        const std::string name = prefix + std::to_string(i);
        BclCopyStr(user.usrName, name.c_str());
        BclCopyStr(user.description, "written by a process that is killed");
        if (store.DbSetLocalUserData(user) != kDbOk)
            return 1;
        const std::string line = name + "\n";
        if (write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            return 2;
    }
    return 0;
}
