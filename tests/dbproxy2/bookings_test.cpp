// The money of running calls: nothing is lost and nothing is booked twice, whoever is killed in between.
#include "dbproxy2/bookings.h"

#include "bcl2/text.h"
#include "dbproxy2/remote_fixture.h"
#include "dbproxy2/slow_proxy.h"
#include "support/fault_vfs.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <future>
#include <random>
#include <sqlite3.h>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace {

using Result = Ebooking_result;

constexpr int kFortune = 1'000'000'000;

int rounds(int usual)
{
    const char* wanted = getenv("PARLOVEX_KILL_ROUNDS");
    return wanted == nullptr ? usual : std::max(1, atoi(wanted));
}

} // namespace

class RemoteBookings : public OnEachEngine {
protected:
    void SetUp() override
    {
        OnEachEngine::SetUp();
        setBalance(1000);
    }
    void TearDown() override { _bookings.reset(); }

    Cdb_bookings& bookings()
    {
        if (!_bookings)
            _bookings = std::make_unique<Cdb_bookings>(remote(), folder());
        return *_bookings;
    }
    void endBookings() { _bookings.reset(); }

    void setBalance(int cents)
    {
        Ctbl_sub_balance record;
        BclCopyStr(record.cSubName, "1000");
        record.nBalance = cents;
        ASSERT_EQ(kDbOk, remote().set(record));
    }
    int balance()
    {
        Ctbl_sub_balance record;
        BclCopyStr(record.cSubName, "1000");
        EXPECT_EQ(kDbOk, remote().get(record));
        return record.nBalance;
    }

    Result reserve(const std::string& id, int64_t total, int64_t costSoFar = 0, const Cdb_balance_key& account = kUser)
    {
        std::promise<Result> promise;
        bookings().reserve(id, account, total, costSoFar, [&](Result result) { promise.set_value(result); });
        return promise.get_future().get();
    }
    Result end(const std::string& id, int64_t cost)
    {
        std::promise<Result> promise;
        bookings().end(id, cost, [&](Result result) { promise.set_value(result); });
        return promise.get_future().get();
    }
    // The end of a call, which nobody waits for.
    std::future<Result> beginEnd(const std::string& id, int64_t cost)
    {
        auto promise = std::make_shared<std::promise<Result>>();
        bookings().end(id, cost, [promise](Result result) { promise->set_value(result); });
        return promise->get_future();
    }
    // A value of the journal.
    std::string journal(const std::string& expression)
    {
        return RemoteFixture::sql(Engine::Embedded, "attach database '" + path("bookings.db") + "' as j; select " +
                                                        expression + " from j.tbl_pending");
    }
    // A call with a reservation.
    std::string openCall(int64_t total, int64_t costSoFar = 0)
    {
        std::string id = Cdb_bookings::newId();
        EXPECT_EQ(Result::Done, reserve(id, total, costSoFar));
        return id;
    }

    [[nodiscard]] std::unique_ptr<ChildProcess> startClient(const std::string& mode, int count,
                                                            const std::string& outputFile) const
    {
        const Cdb_remote_settings how = settings(GetParam());
        return std::make_unique<ChildProcess>(std::vector<std::string>{BILLING_CLIENT, mode, std::to_string(count),
                                                                       folder(), how.address, std::to_string(how.port),
                                                                       how.user, how.password, how.database},
                                              path(outputFile));
    }

    // What the database and the journal say after everybody has ended: every acknowledged call has its cost, and the
    // balance what all of them leave.
    void checkAccounts(const std::string& acknowledged)
    {
        auto settling = startClient("settle", 0, "settle.txt");
        ASSERT_EQ(0, settling->wait());
        EXPECT_EQ("0", sql("select count(*) from tbl_booking where nState<>2"));
        EXPECT_EQ("0", RemoteFixture::sql(Engine::Embedded, "attach database '" + path("bookings.db") +
                                                                "' as j; select count(*) from j.tbl_pending"));
        EXPECT_EQ(std::to_string(kFortune), sql("select sum(nCost) + (select nBalance from tbl_sub_balance) from "
                                                "tbl_booking"));
        std::istringstream lines(acknowledged);
        std::string id;
        std::string cost;
        while (lines >> id >> cost)
            EXPECT_EQ(cost, sql("select nCost from tbl_booking where cBooking='" + id + "'")) << id;
    }

    static inline const Cdb_balance_key kUser{Ebalance_kind::Subscriber, "1000"};

private:
    std::unique_ptr<Cdb_bookings> _bookings;
};

class RemoteBookingsOnAServer : public RemoteBookings {};

TEST_P(RemoteBookings, ReserveWhatIsThereAndBookWhatItCost)
{
    const std::string first = openCall(300);
    EXPECT_EQ(700, balance());
    EXPECT_EQ(Result::Refused, reserve(Cdb_bookings::newId(), 701)) << "parallel calls cannot overdraw";
    EXPECT_EQ(700, balance());
    EXPECT_EQ(Result::Done, reserve(first, 500));
    EXPECT_EQ(Result::Done, reserve(first, 500)) << "the same again";
    EXPECT_EQ(Result::Done, reserve(first, 400)) << "less is there already";
    EXPECT_EQ(500, balance());
    EXPECT_EQ(Result::Refused, reserve(first, 1001));
    EXPECT_EQ(500, balance());
    EXPECT_EQ(Result::Done, end(first, 320));
    EXPECT_EQ(680, balance());
    EXPECT_EQ(Result::Refused, end(first, 320)) << "it has ended";
    EXPECT_EQ(680, balance());

    EXPECT_EQ(Result::Done, end(openCall(680), 0));
    EXPECT_EQ(Result::Done, end(openCall(0), 0)) << "a rate may cost nothing";
    EXPECT_EQ(kDbOk, remote().debit(kUser, 0));
    EXPECT_EQ(680, balance());
    EXPECT_EQ(Result::Done, end(openCall(100), 700)) << "more than was reserved, and than is there";
    EXPECT_EQ(-20, balance());
    EXPECT_EQ(Result::Refused, reserve(Cdb_bookings::newId(), 1));
    EXPECT_EQ(Result::Refused, reserve(Cdb_bookings::newId(), -1));
    EXPECT_EQ(Result::Refused, end(Cdb_bookings::newId(), 10)) << "nobody knows it";
    bookings().end(first, -1, {}); // nobody asks for the result
    EXPECT_EQ(Result::Refused, reserve(Cdb_bookings::newId(), 1, 0, {Ebalance_kind::Subscriber, "1001"}));

    Ctbl_callingcard_balance card;
    BclCopyStr(card.cCard, "1000");
    card.nBalance = 50;
    ASSERT_EQ(kDbOk, remote().set(card));
    const std::string ofCard = Cdb_bookings::newId();
    ASSERT_EQ(Result::Done, reserve(ofCard, 50, 0, {Ebalance_kind::CallingCard, "1000"}));
    ASSERT_EQ(Result::Done, end(ofCard, 49));
    ASSERT_EQ(kDbOk, remote().get(card));
    EXPECT_EQ(1, card.nBalance);
    EXPECT_EQ(-20, balance()) << "the user of that name is somebody else";
    EXPECT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_TRUE(takeLog().empty());
}

TEST_P(RemoteBookings, EndWithACostThatCannotBe)
{
    const std::string negative = openCall(300);
    const std::string huge = openCall(300);
    EXPECT_EQ(Result::Refused, reserve(negative, 400, -1));
    std::promise<std::thread::id> completed;
    bookings().reserve(negative, kUser, -1, 0, [&](Result) { completed.set_value(std::this_thread::get_id()); });
    EXPECT_NE(std::this_thread::get_id(), completed.get_future().get()) << "never on the caller's thread";

    EXPECT_EQ(Result::Done, end(negative, -1));
    EXPECT_TRUE(waitForLog("a cost of -1 cents cannot be, 0 are booked"));
    EXPECT_EQ(700, balance());
    EXPECT_EQ(Result::Done, end(huge, INT64_MAX));
    EXPECT_EQ(INT32_MIN, balance());
    EXPECT_EQ("0", sql("select count(*) from tbl_booking where nState<>2"));
}

TEST_P(RemoteBookings, WaitForAJournalThatCannotBeLookedAt)
{
    // A link that leads to itself: whether there is a journal cannot be told, for an administrator neither.
    const std::string journal = path("bookings.db");
    ASSERT_EQ(0, symlink(journal.c_str(), journal.c_str()));
    EXPECT_EQ(Result::Unavailable, reserve(Cdb_bookings::newId(), 1));
    EXPECT_TRUE(waitForLog("of bookings cannot be used"));
    EXPECT_FALSE(bookings().waitUntilBooked(std::chrono::milliseconds(10))) << "it may hold some";
    ASSERT_EQ(0, unlink(journal.c_str()));
    EXPECT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(Result::Done, end(openCall(1), 1));
}

TEST_P(RemoteBookings, AreKeptWhileTheDatabaseIsAway)
{
    const std::string ended = openCall(300);
    const std::string endsLater = openCall(300);
    remote().apply({});
    EXPECT_EQ(Result::Unavailable, reserve(Cdb_bookings::newId(), 1));
    EXPECT_EQ(Result::Unavailable, reserve(endsLater, 350, 320)) << "the call may go on, with what it has";
    EXPECT_EQ(Result::Kept, end(ended, 120));
    EXPECT_FALSE(bookings().waitUntilBooked(std::chrono::milliseconds(10)));

    // Another run.
    endBookings();
    remote().apply(settings(GetParam()));
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(400, balance());
    ASSERT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(1000 - 120 - 320, balance()) << "the cost of the ended call, and what was last known of the other";
}

TEST_P(RemoteBookings, AreMadeByThemselvesWhenTheDatabaseIsBack)
{
    const std::string id = openCall(300);
    remote().apply({});
    EXPECT_EQ(Result::Kept, end(id, 120));
    remote().apply(settings(GetParam()));
    ASSERT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(880, balance());
}

TEST_P(RemoteBookings, AreOnDiskBeforeTheFirstOfManyIsMade)
{
    const std::string first = openCall(100);
    const std::string second = openCall(100, 10);
    const std::string third = openCall(100, 10);
    // Until all stand in the queue.
    std::promise<void> go;
    bookings().reserve(first, kUser, 0, 0, [until = go.get_future().share()](Result) { until.wait(); });
    std::string seen;
    std::string seenLater;
    bookings().end(first, 50, [&](Result) { seen = journal("sum(nCost=60 and nIsEnded=1)"); });
    bookings().reserve(second, kUser, 200, 37, [&](Result result) {
        EXPECT_EQ(Result::Done, result);
        seenLater = journal("sum(nCost=60 and nIsEnded=1)");
    });
    auto secondEnd = beginEnd(second, 60);
    auto thirdEnd = beginEnd(third, 60);
    auto again = beginEnd(third, 70);
    go.set_value();
    EXPECT_EQ(Result::Done, secondEnd.get());
    EXPECT_EQ(Result::Done, thirdEnd.get());
    EXPECT_EQ(Result::Refused, again.get());
    EXPECT_EQ("2", seen);
    EXPECT_EQ("2", seenLater) << "what it costs in the end stays";
    EXPECT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(1000 - 50 - 60 - 60, balance());
}

TEST_P(RemoteBookingsOnAServer, AreOnDiskSoonThoughItHangs)
{
    std::vector<std::string> ids;
    ids.reserve(5);
    while (ids.size() < 5)
        ids.push_back(openCall(100, 10));
    server().suspend();
    std::vector<std::future<Result>> ends;
    ends.reserve(ids.size());
    for (const std::string& id : ids)
        ends.push_back(beginEnd(id, 60));
    EXPECT_TRUE(bookings().waitUntilKept(kTestPatience));
    EXPECT_EQ("5", journal("sum(nCost=60 and nIsEnded=1)"));
    for (auto& end : ends)
        EXPECT_EQ(Result::Kept, end.get());
    EXPECT_FALSE(bookings().waitUntilBooked(std::chrono::milliseconds(10)));
    server().resume();
    EXPECT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ("700", sql("select nBalance from tbl_sub_balance"));
    EXPECT_EQ("5", sql("select count(*) from tbl_booking where nState=2 and nCost=60"));
}

// The journal has the cost that was told last, and the end must get there as soon as it can be written.
TEST_F(RemoteFixture, KeepsAnEndWhenTheDiskOfTheJournalIsBack)
{
    installFaultVfs("/bookings.db");
    open(settings(Engine::Embedded));
    ASSERT_TRUE(waitForActive());
    Ctbl_sub_balance account;
    BclCopyStr(account.cSubName, "1000");
    account.nBalance = 1000;
    ASSERT_EQ(kDbOk, remote().set(account));
    {
        Cdb_bookings bookings(remote(), folder());
        const std::string id = Cdb_bookings::newId();
        std::promise<Result> reserved;
        bookings.reserve(id, {Ebalance_kind::Subscriber, "1000"}, 300, 10,
                         [&](Result result) { reserved.set_value(result); });
        ASSERT_EQ(Result::Done, reserved.get_future().get());
        remote().apply({});
        armFault({FileCall::Write, SQLITE_IOERR_WRITE, true}, 1);
        std::promise<Result> ended;
        bookings.end(id, 120, [&](Result result) { ended.set_value(result); });
        EXPECT_EQ(Result::NotKept, ended.get_future().get());
        EXPECT_FALSE(bookings.waitUntilKept(std::chrono::milliseconds(10)));
        EXPECT_TRUE(disarmFault());
        EXPECT_TRUE(bookings.waitUntilKept(kTestPatience));
    }
    // Another run.
    remote().apply(settings(Engine::Embedded));
    ASSERT_TRUE(waitForActive());
    Cdb_bookings bookings(remote(), folder());
    EXPECT_TRUE(bookings.waitUntilBooked(kTestPatience));
    ASSERT_EQ(kDbOk, remote().get(account));
    EXPECT_EQ(880, account.nBalance);
}

// Between looking for an open row and adding a closed one, a late reservation may come to a node of a cluster.
TEST_P(RemoteBookings, AreNotTakenForMadeWhenARowIsThatIsNot)
{
    const std::string id = openCall(300);
    sql("update tbl_booking set nState=0");
    EXPECT_EQ(Result::Kept, end(id, 120));
    sql("update tbl_booking set nState=1");
    EXPECT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(880, balance());
}

TEST_P(RemoteBookings, AreMadeOnceHoweverOftenTheyAreTried)
{
    const std::string id = openCall(300);
    EXPECT_EQ(Result::Done, end(id, 120));
    // As if the answer had been lost, of this one and of a reservation that never came through.
    const std::string late = Cdb_bookings::newId();
    endBookings();
    for (int i = 0; i < 3; ++i) {
        RemoteFixture::sql(Engine::Embedded,
                           "attach database '" + path("bookings.db") +
                               "' as j; insert into j.tbl_pending (cBooking, nAccountKind, cAccountName, nCost, "
                               "nIsEnded) values ('" +
                               id + "', 1, '1000', 120, 1), ('" + late + "', 1, '1000', 0, 0)");
        ASSERT_TRUE(bookings().waitUntilBooked(kTestPatience));
        endBookings();
        EXPECT_EQ(880, balance());
    }
    // It can come through no more.
    EXPECT_NE(Result::Done, reserve(late, 100));
    EXPECT_EQ(880, balance());
}

// Other settings may name another database, in which an account has the same name and is somebody else's.
TEST_P(RemoteBookingsOnAServer, AreMadeWhereTheirReservationLies)
{
    const std::string ended = openCall(300);
    const std::string runs = openCall(200);
    remote().apply(settings(Engine::Embedded));
    ASSERT_TRUE(waitForActive());
    setBalance(50);
    takeLog();

    EXPECT_EQ(Result::Kept, end(ended, 120));
    EXPECT_EQ(Result::Unavailable, reserve(runs, 230, 210)) << "the call may go on, with what it has";
    EXPECT_TRUE(waitForLog("1 bookings belong to another database"));
    EXPECT_EQ(Result::Done, end(openCall(30), 20)) << "a call of this database";
    EXPECT_EQ(30, balance());
    EXPECT_EQ(Result::Refused, reserve(ended, 30)) << "it has ended, and still is to be booked elsewhere";
    EXPECT_FALSE(bookings().waitUntilBooked(std::chrono::milliseconds(10)));
    EXPECT_EQ("0", RemoteFixture::sql(Engine::Embedded, "select count(*) from tbl_booking where cBooking='" + ended +
                                                            "' or cBooking='" + runs + "'"));

    // Another run, which finds both in the journal.
    endBookings();
    (void)bookings();
    EXPECT_TRUE(waitForLog("2 bookings belong to another database"));
    EXPECT_EQ(30, balance());

    remote().apply(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForActive());
    ASSERT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(1000 - 120 - 210, balance());
    for (const std::string& line : takeLog())
        EXPECT_EQ(std::string::npos, line.find("belong to another")) << line;
}

TEST_P(RemoteBookings, OfAnOlderJournalBelongToTheDatabaseThatComesFirst)
{
    const std::string id = Cdb_bookings::newId();
    RemoteFixture::sql(Engine::Embedded,
                       "attach database '" + path("bookings.db") +
                           "' as j; pragma j.application_id=1347180106; create table j.tbl_pending (cBooking text not "
                           "null, nAccountKind integer not null, cAccountName text not null, nCost integer not null, "
                           "nIsEnded integer not null, primary key (cBooking)) strict; insert into j.tbl_pending "
                           "values ('" +
                           id + "', 1, '1000', 120, 1)");
    ASSERT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(880, balance());
    EXPECT_EQ("120", sql("select nCost from tbl_booking where cBooking='" + id + "'"));
}

// Several servers that see an empty database at the same moment.
TEST_P(RemoteBookings, AgreeOnTheirDatabaseHoweverManyMakeIt)
{
    close();
    sql("drop table tbl_identity");
    constexpr int kServers = 6;
    std::vector<std::unique_ptr<Cdb_remote>> servers;
    for (int i = 0; i < kServers; ++i) {
        servers.push_back(std::make_unique<Cdb_remote>(folder()));
        servers.back()->apply(settings(GetParam()));
    }
    for (int i = 0; i < kServers; ++i) {
        ASSERT_TRUE(waitUntil([&] { return servers[i]->isActive(); }));
        const TemporaryFolder own;
        Cdb_bookings calls(*servers[i], own.path() + "/");
        std::promise<Result> reserved;
        calls.reserve(Cdb_bookings::newId(), kUser, 1, 0, [&](Result result) { reserved.set_value(result); });
        ASSERT_EQ(Result::Done, reserved.get_future().get());
        const std::string attached = "attach database '" + own.file("bookings.db") + "' as j; ";
        EXPECT_EQ(sql("select cIdentity from tbl_identity"),
                  RemoteFixture::sql(Engine::Embedded, attached + "select cDatabase from j.tbl_pending"));
    }
    EXPECT_EQ("1", sql("select count(*) from tbl_identity"));
}

TEST_P(RemoteBookings, AreForgottenWhenTheyAreVeryOld)
{
    const auto insert = [this](const std::string& id, int state) {
        sql("insert into tbl_booking (cBooking, nAccountKind, cAccountName, nReserved, nCost, nState) values ('" + id +
            "', 1, '1000', 0, 0, " + std::to_string(state) + ")");
    };
    insert("10000000aaaaaaaaaaaaaaaaaaaaaaaa", 2); // 1978
    insert("10000000bbbbbbbbbbbbbbbbbbbbbbbb", 1); // still open: somebody's money
    const std::string fresh = Cdb_bookings::newId();
    insert(fresh, 2);
    (void)bookings();
    EXPECT_TRUE(waitUntil([this] { return sql("select count(*) from tbl_booking") == "2"; }));
    EXPECT_EQ("10000000bbbbbbbbbbbbbbbbbbbbbbbb", sql("select min(cBooking) from tbl_booking"));
}

// The row of a booking tells that it was made, however old it is.
TEST_P(RemoteBookings, AreNotForgottenWhileOneOfThemWaits)
{
    ASSERT_EQ(Result::Done, end(openCall(0), 0)); // there is a journal
    endBookings();
    const std::string old = "10000000aaaaaaaaaaaaaaaaaaaaaaaa"; // 1978
    sql("insert into tbl_booking (cBooking, nAccountKind, cAccountName, nReserved, nCost, nState) values ('" + old +
        "', 1, '1000', 0, 120, 2)");
    RemoteFixture::sql(Engine::Embedded, "attach database '" + path("bookings.db") +
                                             "' as j; insert into j.tbl_pending (cBooking, nAccountKind, "
                                             "cAccountName, nCost, nIsEnded) values ('" +
                                             old + "', 1, '1000', 120, 1)");
    ASSERT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(1000, balance());
}

TEST_P(RemoteBookings, LoseNoCentBetweenTwoThatDebitTogether)
{
    constexpr int kEach = 5000;
    setBalance(kFortune);
    auto one = startClient("debit", kEach, "one.txt");
    auto two = startClient("debit", kEach, "two.txt");
    // Each cent goes to the disk on its own, and some disks take their time.
    EXPECT_EQ(0, one->wait(5 * kTestPatience));
    EXPECT_EQ(0, two->wait(5 * kTestPatience));
    // On a server, one that got no answer may count.
    const int failed = atoi(one->output().c_str()) + atoi(two->output().c_str());
    const int taken = kFortune - balance();
    EXPECT_GE(taken, 2 * kEach);
    EXPECT_LE(taken, 2 * kEach + (GetParam() == Engine::MariaDb ? failed : 0));

    setBalance(1);
    EXPECT_EQ(kDbFailed, remote().debit(kUser, 2)) << "not covered";
    EXPECT_EQ(kDbFailed, remote().debit(kUser, -1));
    EXPECT_EQ(1, balance());
    EXPECT_EQ(kDbOk, remote().debit(kUser, 1));
    EXPECT_EQ(0, balance());
}

TEST_P(RemoteBookings, SurviveAKilledProcess)
{
    setBalance(kFortune);
    std::mt19937 random(20261121);
    std::uniform_int_distribution<size_t> counts(1, 25);
    std::string acknowledged;
    for (int round = 0; round < rounds(8); ++round) {
        const size_t wanted = counts(random);
        auto client = startClient("book", 1'000'000, "round" + std::to_string(round));
        ASSERT_TRUE(waitUntil([&] {
            const std::string text = client->output();
            return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) >= wanted;
        }));
        client->sendSignal(SIGKILL);
        ASSERT_EQ(-SIGKILL, client->wait());
        std::string text = client->output();
        text.resize(text.rfind('\n') + 1);
        acknowledged += text;
    }
    EXPECT_GE(std::count(acknowledged.begin(), acknowledged.end(), '\n'), rounds(8));
    checkAccounts(acknowledged);
}

// The clock of a call server may be wrong.
TEST_P(RemoteBookingsOnAServer, AreForgottenByTheClockOfTheServer)
{
    (void)end(openCall(1), 1);
    constexpr time_t kLater = time_t{500} * 24 * 3600;
    server().sql("set global init_connect='set timestamp=" + std::to_string(time(nullptr) + kLater) + "'");
    endBookings();
    remote().apply({});
    remote().apply(settings(GetParam()));
    ASSERT_TRUE(waitForActive());
    (void)bookings();
    EXPECT_TRUE(waitUntil([this] { return sql("select count(*) from tbl_booking") == "0"; }));
}

TEST_P(RemoteBookingsOnAServer, SurviveItsEnd)
{
    setBalance(kFortune);
    auto client = startClient("book", 1'000'000, "client");
    for (int round = 0; round < 3; ++round) {
        const size_t before = client->output().size();
        ASSERT_TRUE(waitUntil([&] { return client->output().size() > before + 3000; }));
        server().kill();
        server().start();
    }
    client->sendSignal(SIGTERM);
    EXPECT_EQ(0, client->wait());
    const std::string acknowledged = client->output();
    client.reset();
    ASSERT_TRUE(waitForActive());
    checkAccounts(acknowledged);
}

TEST_P(RemoteBookingsOnAServer, AreMadeOnceWhenAnAnswerIsLost)
{
    SlowProxy proxy(server().port());
    Cdb_remote_settings through = settings(GetParam());
    through.port = proxy.port();
    remote().apply(through);
    ASSERT_TRUE(waitForActive());
    ASSERT_EQ(Result::Done, end(openCall(0), 0)); // behind it, old bookings are looked for no more

    proxy.loseAnswerOf("commit");
    EXPECT_EQ(Result::Unavailable, reserve(Cdb_bookings::newId(), 300));
    ASSERT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(1000, balance()) << "it is given back";

    const std::string id = openCall(300);
    proxy.loseAnswerOf("commit");
    EXPECT_EQ(Result::Unavailable, reserve(id, 500));
    EXPECT_EQ("500", sql("select nBalance from tbl_sub_balance"));
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(Result::Done, reserve(id, 500));
    EXPECT_EQ(500, balance());

    proxy.loseAnswerOf("commit");
    EXPECT_EQ(Result::Kept, end(id, 120));
    EXPECT_EQ("880", sql("select nBalance from tbl_sub_balance"));
    ASSERT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ(880, balance());
    EXPECT_EQ("0", sql("select count(*) from tbl_booking where nState<>2"));
}

TEST_P(RemoteBookingsOnAServer, CountWhateverItsDefaultsAre)
{
    server().sql("set global autocommit=0; set global completion_type=1");
    remote().apply({});
    remote().apply(settings(GetParam()));
    ASSERT_TRUE(waitForActive());
    (void)openCall(300);
    EXPECT_EQ(kDbOk, remote().debit(kUser, 100));
    EXPECT_EQ("600", sql("select nBalance from tbl_sub_balance"));
}

// What newer servers do by default.
TEST_P(RemoteBookingsOnAServer, AreRepeatedWhenABalanceChangesMeanwhile)
{
    server().sql("set global innodb_snapshot_isolation=1");
    setBalance(kFortune);
    remote().apply({});
    remote().apply(settings(GetParam()));
    ASSERT_TRUE(waitForActive());
    ASSERT_TRUE(waitForLog("is connected"));
    std::atomic<bool> isOver = false;
    std::atomic<int> debits = 0;
    std::vector<std::thread> others;
    others.reserve(6);
    while (others.size() < 6) // hardly a moment without a change
        others.emplace_back([&] {
            while (!isOver)
                if (remote().debit(kUser, 1) == kDbOk)
                    ++debits;
        });
    // On a slow machine the others may be in the way for longer than an operation lasts.
    const auto insist = [this](const std::function<Result()>& once) {
        Result result = Result::Unavailable;
        EXPECT_TRUE(waitUntil([&] { return (result = once()) != Result::Unavailable; }));
        return result;
    };
    for (int i = 0; i < 30; ++i) {
        std::string id;
        EXPECT_EQ(Result::Done, insist([&] { return reserve(id = Cdb_bookings::newId(), 10); }));
        EXPECT_EQ(Result::Done, insist([&] { return reserve(id, 20); }));
        const Result ended = end(id, 15);
        EXPECT_TRUE(ended == Result::Done || ended == Result::Kept);
    }
    isOver = true;
    for (std::thread& other : others)
        other.join();
    EXPECT_GT(debits, 0);
    EXPECT_TRUE(bookings().waitUntilBooked(kTestPatience));
    EXPECT_EQ("30", sql("select count(*) from tbl_booking where nState=2 and nCost=15"));
    for (const std::string& line : takeLog())
        EXPECT_EQ(std::string::npos, line.find("refused")) << line;
}

INSTANTIATE_TEST_SUITE_P(Engines, RemoteBookings, testing::Values(Engine::Embedded, Engine::MariaDb), engineName);
INSTANTIATE_TEST_SUITE_P(Engines, RemoteBookingsOnAServer, testing::Values(Engine::MariaDb), engineName);
