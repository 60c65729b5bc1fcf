// The money of running calls: nothing is lost and nothing is booked twice, whoever is killed in between.
#include "dbproxy2/bookings_fixture.h"
#include "support/fault_vfs.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <sqlite3.h>
#include <thread>
#include <unistd.h>

namespace {

using Result = Ebooking_result;

int rounds(int usual)
{
    const char* wanted = getenv("PARLOVEX_KILL_ROUNDS");
    return wanted == nullptr ? usual : std::max(1, atoi(wanted));
}

} // namespace

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

INSTANTIATE_TEST_SUITE_P(Engines, RemoteBookings, testing::Values(Engine::Embedded, Engine::MariaDb), engineName);
