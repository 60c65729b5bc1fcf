// Writes to the store as fast as it can and prints a line for each operation once the store has answered, until it is
// killed or has done 100,000.
//   store_writer PREFIX               adds users, and prints their names
//   store_writer random SEED NUMBER   random operations from that number on, and their results

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "cachedb2/random_operations.h"

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

constexpr uint32_t kOperations = 100000;

bool print(const std::string& text)
{
    const std::string line = text + "\n";
    return write(STDOUT_FILENO, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

int addUsers(Cdb_fac_mgr& store, const std::string& prefix)
{
    for (uint32_t i = 0; i < kOperations; ++i) {
        Cdb_usr_info user;
        const std::string name = prefix + std::to_string(i);
        BclCopyStr(user.usrName, name.c_str());
        BclCopyStr(user.description, "written by a process that is killed");
        if (store.DbSetLocalUserData(user) != kDbOk)
            return 1;
        if (!print(name))
            return 2;
    }
    return 0;
}

int runOperations(Cdb_fac_mgr& store, uint32_t seed, uint32_t first)
{
    for (uint32_t i = 0; i < kOperations; ++i)
        if (!print(std::to_string(runRandomOperation(store, seed, first + i))))
            return 2;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    Cdb_fac_mgr store;
    if (argc == 4 && std::string(argv[1]) == "random")
        return runOperations(store, static_cast<uint32_t>(std::stoul(argv[2])),
                             static_cast<uint32_t>(std::stoul(argv[3])));
    return addUsers(store, argc > 1 ? argv[1] : "u");
}
