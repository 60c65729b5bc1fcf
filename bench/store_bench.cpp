// Writes and reads of the store's typed operations beside the bare engine doing the same on tables of the same form.
#include "support/bare_engine.h"
#include "support/cpu_time.h"
#include "support/office.h"
#include "support/report.h"
#include "support/temporary_folder.h"

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"

#include <chrono>
#include <stdexcept>

namespace {

constexpr unsigned kRounds = 7;
constexpr unsigned kWrites = 1000; // each way, a round
constexpr unsigned kManyUsers = 100'000;
constexpr unsigned kPageRows = 50;
constexpr unsigned kPages = 20; // of each kind, a round
constexpr unsigned kGets = 100'000;

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

// Ours and the reference's rounds of one quantity: operations a second, or milliseconds. The ratio is taken in each
// round, since the machine's disk is not the same in the next one.
class Pair {
public:
    void add(double ours, double bare)
    {
        _ours.add(ours);
        _bare.add(bare);
        _ratio.add(ours / bare);
    }
    [[nodiscard]] std::vector<std::string> row(const std::string& what, int places, const std::string& limit) const
    {
        return {what, spread(_ours, places), spread(_bare, places), decimal(_ratio.median(), 2), limit};
    }

private:
    Rounds _ours;
    Rounds _bare;
    Rounds _ratio;
};

class Writes {
public:
    void round(unsigned number)
    {
        write(adds, number, "new");
        write(updates, number, "changed");
    }

    Pair adds;
    Pair updates;

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

    const TemporaryFolder _ownFolder;
    const TemporaryFolder _bareFolder;
    Cdb_fac_mgr _store{in(_ownFolder)};
    BareEngine _bare = [this] {
        expect(_store.DbSetLocalUserData(typicalUser("pattern")) == kDbOk, "the store refuses a user");
        return BareEngine::likeUsersOf(_ownFolder.file("config.db"), _bareFolder.file("bare.db"));
    }();
};

class Reads {
public:
    Reads()
    {
        expect(_store.DbAddUserMany(100'000, kManyUsers, "secret") == kDbOk, "the store refuses many users");
        expect(_store.DbGetUsrCnt() == kManyUsers, "users are missing");
    }

    void round()
    {
        readPages(firstPage, 0);
        readPages(lastPage, kManyUsers - kPageRows);
        Clock::time_point begin = Clock::now();
        for (unsigned i = 0; i < kGets; ++i) {
            Cdb_usr_info user;
            expect(_store.DbGetUsrInfo(someUser(i).c_str(), user) == kDbOk, "a user is missing");
        }
        const double ours = secondsSince(begin);
        begin = Clock::now();
        for (unsigned i = 0; i < kGets; ++i)
            expect(_bare.readUser(someUser(i)) > 0, "a user is missing");
        gets.add(kGets / ours, kGets / secondsSince(begin));
    }

    Pair firstPage;
    Pair lastPage;
    Pair gets;

private:
    static std::string someUser(unsigned i) { return std::to_string(100'000 + i * 7919 % kManyUsers); }

    void readPages(Pair& pair, unsigned offset)
    {
        const std::string sql = "select usrName, description, dispName, preAddr, prePort,usrStage,userAgent from "
                                "tbl_local_users left outer join tbl_sip_reg on "
                                "tbl_sip_reg.userName=tbl_local_users.usrName order by usrName limit " +
                                std::to_string(offset) + ", " + std::to_string(kPageRows);
        Clock::time_point begin = Clock::now();
        for (unsigned i = 0; i < kPages; ++i)
            readPage(sql);
        const double ours = secondsSince(begin);
        begin = Clock::now();
        for (unsigned i = 0; i < kPages; ++i)
            expect(_bare.readRows(sql) == kPageRows, "rows are missing");
        pair.add(ours * 1000 / kPages, secondsSince(begin) * 1000 / kPages);
    }

    void readPage(const std::string& sql)
    {
        Cdb_query query(_store.GetCacheDB());
        expect(query.prepare(sql.c_str()) == kDbOk, "the page cannot be read");
        unsigned rows = 0;
        for (; query.step() == kDbRow; ++rows)
            for (unsigned column = 0; column < 7; ++column)
                expect(query.getRow(column) != nullptr, "a column is missing");
        expect(rows == kPageRows, "rows are missing");
    }

    const TemporaryFolder _folder;
    Cdb_fac_mgr _store{in(_folder)};
    BareEngine _bare = BareEngine::reading(_folder.file("config.db"), _folder.file("runtime.db"));
};

void bench()
{
    const std::string load = machineLoad();
    Writes writes;
    Reads reads;
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round < rounds; ++round) {
        writes.round(round);
        reads.round();
    }
    const Table table("Store", {"What", "Parlovex", "bare SQLite", "Ratio", "Limit"});
    table.row(writes.adds.row("users added a second, each durable", 0, ""));
    table.row(writes.updates.row("users changed a second, each durable", 0, ""));
    table.row(reads.firstPage.row("first page of 50 of 100,000 rows, ms", 3, "1"));
    table.row(reads.lastPage.row("last page of 50 of 100,000 rows, ms", 2, "60"));
    table.row(reads.gets.row("users read by name a second, of 100,000", 0, ""));
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
