// Writes by the store's typed operations beside the bare engine doing the same to a table of the same form.
#include "support/bare_engine.h"
#include "support/cpu_time.h"
#include "support/pair.h"
#include "support/report.h"
#include "support/temporary_folder.h"

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"

#include <chrono>
#include <stdexcept>

namespace {

constexpr unsigned kRounds = 7;
constexpr unsigned kWrites = 1000; // each way, a round
constexpr unsigned kBulk = 300;    // what the console adds at once
constexpr unsigned kBulks = 10;    // a round

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void expect(bool isRight, const char* what)
{
    if (!isRight)
        throw std::runtime_error(what);
}

std::string userName(unsigned round, unsigned i)
{
    std::string name = "w";
    name.append(std::to_string(round)).append("-").append(std::to_string(i));
    return name;
}

Cdb_usr_info typicalUser(const std::string& name)
{
    Cdb_usr_info user;
    BclCopyStr(user.usrName, name.c_str());
    BclCopyStr(user.password, "s3cretS3cret");
    BclCopyStr(user.description, "Reception, second floor");
    BclCopyStr(user.dispName, "Reception");
    BclCopyStr(user.email, "reception@example.com");
    return user;
}

Cdb_options in(const TemporaryFolder& folder)
{
    Cdb_options options;
    options.dataFolder = folder.path();
    return options;
}

class Writes {
public:
    void round(unsigned number)
    {
        write(adds, number, "new");
        write(updates, number, "changed");
        addBulks(number);
    }

    Pair adds;
    Pair updates;
    Pair bulks;

private:
    // In small turns: how fast the disk is changes by the moment.
    void write(Pair& pair, unsigned round, const char* description)
    {
        constexpr unsigned kTurn = 25;
        double ours = 0;
        double bare = 0;
        for (unsigned first = 0; first < kWrites; first += kTurn) {
            Clock::time_point begin = Clock::now();
            for (unsigned i = first; i < first + kTurn; ++i) {
                Cdb_usr_info user = typicalUser(userName(round, i));
                BclCopyStr(user.description, description);
                expect(_store.DbSetLocalUserData(user) == kDbOk, "the store refuses a user");
            }
            ours += secondsSince(begin);
            begin = Clock::now();
            for (unsigned i = first; i < first + kTurn; ++i)
                _bare.replaceUser(userName(round, i), description);
            bare += secondsSince(begin);
        }
        pair.add(kWrites / ours, kWrites / bare);
    }

    void addBulks(unsigned round)
    {
        double ours = 0;
        double bare = 0;
        for (unsigned bulk = 0; bulk < kBulks; ++bulk) {
            const unsigned first = 1'000'000 + (round * kBulks + bulk) * kBulk;
            Clock::time_point begin = Clock::now();
            expect(_store.DbAddUserMany(first, kBulk, "secret") == kDbOk, "the store refuses many users");
            ours += secondsSince(begin);
            begin = Clock::now();
            _bare.replaceUsers(first, kBulk);
            bare += secondsSince(begin);
        }
        bulks.add(ours * 1000 / kBulks, bare * 1000 / kBulks);
    }

    const TemporaryFolder _ownFolder;
    const TemporaryFolder _bareFolder;
    Cdb_fac_mgr _store{in(_ownFolder)};
    BareEngine _bare = [this] {
        expect(_store.DbSetLocalUserData(typicalUser("pattern")) == kDbOk, "the store refuses a user");
        return BareEngine::likeUsersOf(_ownFolder.file("config.db"), _bareFolder.file("bare.db"));
    }();
};

void bench()
{
    const std::string load = machineLoad();
    Writes writes;
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round < rounds; ++round)
        writes.round(round);
    const Table table("Writes to the store", {"What", "Parlovex", "bare SQLite", "Ratio"});
    table.row(writes.adds.row("users added a second, each durable", 0));
    table.row(writes.updates.row("users changed a second, each durable", 0));
    table.row(writes.bulks.row("300 users added at once, ms", 2));
    Table::note(
        "Medians (smallest to largest) of " + std::to_string(rounds) +
        " interleaved rounds. SQLite with the same tables, WAL and synchronous=FULL, prepared statements and one "
        "transaction a write. A ratio above 1 is more a second, or a longer time. Load of the machine before: " +
        load + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
