// Pages and counts of the users' list, read as the console reads them, beside the bare engine on the same files. Every
// user is registered, which is the worst case for the join.
#include "support/bare_engine.h"
#include "support/cpu_time.h"
#include "support/pair.h"
#include "support/report.h"
#include "support/temporary_folder.h"

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr unsigned kRounds = 5;
constexpr unsigned kPageRows = 50;
constexpr unsigned kBatch = 10'000;       // registrations written at once
constexpr unsigned kMostAtOnce = 100'000; // users
constexpr unsigned kFirstUser = 1'000'000;

constexpr const char* kColumns = "select usrName, description, dispName, preAddr, prePort,usrStage,userAgent from "
                                 "tbl_local_users left outer join tbl_sip_reg on "
                                 "tbl_sip_reg.userName=tbl_local_users.usrName";
constexpr const char* kPlainColumns = "select usrName, description, dispName from tbl_local_users";

using Clock = std::chrono::steady_clock;

void expect(bool isRight, const char* what)
{
    if (!isRight)
        throw std::runtime_error(what);
}

template <class Body>
double millisecondsOf(unsigned times, Body&& body)
{
    const auto begin = Clock::now();
    for (unsigned i = 0; i < times; ++i)
        body();
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count() / times;
}

Cdb_options in(const TemporaryFolder& folder)
{
    Cdb_options options;
    options.dataFolder = folder.path();
    return options;
}

// A store of this many users, all registered.
class Office {
public:
    explicit Office(unsigned users) : _users(users)
    {
        for (unsigned first = 0; first < users; first += kMostAtOnce)
            expect(_store.DbAddUserMany(kFirstUser + first, std::min(users - first, kMostAtOnce), "secret") == kDbOk,
                   "the store refuses many users");
        expect(_store.DbGetUsrCnt() == users, "users are missing");
        for (unsigned first = 0; first < users; first += kBatch)
            registerUsers(first, std::min(users, first + kBatch));
        _memoryKb = static_cast<double>(memoryKb(getpid()) - _memoryBeforeKb) / users;
    }

    void round()
    {
        readPages(_first, 0, 50);
        readPages(_middle, _users / 2, 3);
        readPages(_last, _users - kPageRows, 3);
        const std::string count = "select count(*) from tbl_local_users";
        const double ours = millisecondsOf(3, [&] { expect(countOf(count) == _users, "users are missing"); });
        _count.add(ours, millisecondsOf(3, [&] { expect(_bare.readRows(count) == 1, "there is no count"); }));
        unsigned i = 0;
        constexpr unsigned kGets = 20'000;
        const double get = millisecondsOf(kGets, [&] {
            Cdb_usr_info user;
            expect(_store.DbGetUsrInfo(someUser(i++).c_str(), user) == kDbOk, "a user is missing");
        });
        i = 0;
        _get.add(get * 1000,
                 1000 * millisecondsOf(kGets, [&] { expect(_bare.readUser(someUser(i++)) > 0, "a user is missing"); }));
    }

    void print(const std::string& title, const std::string& firstLimit, const std::string& lastLimit) const
    {
        const Table table(title, {"What", "Parlovex", "bare SQLite", "Ratio", "bare, without the join", "Limit"});
        table.row(row(_first, "first page of 50 rows, ms", 3, firstLimit));
        table.row(row(_middle, "page in the middle, ms", 2, ""));
        table.row(row(_last, "last page, ms", 2, lastLimit));
        table.row(_count.row("count by the page's statement, ms", 3));
        table.row(_get.row("a user by name, with its state, µs", 2));
        table.row({"memory a user, kB", decimal(_memoryKb, 2)});
    }

private:
    struct Page {
        Pair joined;
        Rounds plain;
    };

    static std::vector<std::string> row(const Page& page, const std::string& what, int places, const std::string& limit)
    {
        std::vector<std::string> cells = page.joined.row(what, places);
        cells.push_back(spread(page.plain, places));
        cells.push_back(limit);
        return cells;
    }

    [[nodiscard]] std::string someUser(unsigned i) const { return std::to_string(kFirstUser + i * 7919ULL % _users); }

    void registerUsers(unsigned first, unsigned end)
    {
        std::vector<Cdb_user_bindings> batch;
        for (unsigned user = first; user < end; ++user) {
            Cdb_user_bindings& bindings = batch.emplace_back();
            bindings.userName = std::to_string(kFirstUser + user);
            bindings.hasRow = true;
            BclCopyStr(bindings.row.userName, bindings.userName.c_str());
            BclCopyStr(bindings.row.preAddr, "192.0.2.17");
            BclCopyStr(bindings.row.userAgent, "Desk telephone 1.2.3");
            bindings.row.prePort = 5060;
            bindings.row.usrStage = 1;
        }
        expect(_store.DbWriteRegistrations(batch) == kDbOk, "the store refuses registrations");
    }

    void readPages(Page& page, unsigned offset, unsigned times)
    {
        const std::string order =
            " order by usrName limit " + std::to_string(offset) + ", " + std::to_string(kPageRows);
        const double ours = millisecondsOf(times, [&] { readPage(kColumns + order); });
        page.joined.add(ours, readBare(kColumns + order, times));
        page.plain.add(readBare(kPlainColumns + order, times));
    }

    double readBare(const std::string& sql, unsigned times)
    {
        return millisecondsOf(times, [&] { expect(_bare.readRows(sql) == kPageRows, "rows are missing"); });
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

    unsigned countOf(const std::string& sql)
    {
        Cbcl_tmp_str text;
        text.setText(sql);
        Cdb_query query(_store.GetCacheDB());
        return query.query(text) == kDbRow ? query.getRowU32Val(0) : 0;
    }

    const unsigned _users;
    const TemporaryFolder _folder;
    Cdb_fac_mgr _store{in(_folder)};
    const int64_t _memoryBeforeKb = memoryKb(getpid());
    double _memoryKb = 0;
    BareEngine _bare = BareEngine::reading(_folder.file("config.db"), _folder.file("runtime.db"));
    Page _first;
    Page _middle;
    Page _last;
    Pair _count;
    Pair _get;
};

void bench()
{
    const std::string load = machineLoad();
    Office small(100'000);
    Office large(1'000'000);
    const unsigned rounds = roundsWanted(kRounds);
    for (unsigned round = 0; round < rounds; ++round) {
        small.round();
        large.round();
    }
    small.print("Pages of 100,000 users", "1", "60");
    large.print("Pages of 1,000,000 users", "", "");
    Table::note(
        "Medians (smallest to largest) of " + std::to_string(rounds) +
        " interleaved rounds. The reference reads the same files with statements of its own. A ratio above 1 is a "
        "longer time. Every user has a registration. Load of the machine before: " +
        load + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
