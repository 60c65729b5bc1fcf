// The money of running calls in a database server: which hangs, ends, loses answers, or has a clock of its own.
#include "dbproxy2/bookings_fixture.h"
#include "dbproxy2/slow_proxy.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <ctime>
#include <thread>

class RemoteBookingsOnAServer : public RemoteBookings {};

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
    const auto insist = [](const std::function<Result()>& once) {
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

INSTANTIATE_TEST_SUITE_P(Engines, RemoteBookingsOnAServer, testing::Values(Engine::MariaDb), engineName);
