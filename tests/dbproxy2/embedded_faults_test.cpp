// What the embedded engine keeps when the disk fails, wherever that happens.
#include "bcl2/text.h"
#include "dbproxy2/bookings.h"
#include "dbproxy2/remote_fixture.h"
#include "embedded_engine.h"
#include "support/fault_vfs.h"

#include <sqlite3.h>

#include <array>
#include <future>
#include <ostream>

namespace {

struct Given {
    const char* name;
    FileFault fault;

    friend void PrintTo(const Given& given, std::ostream* out) { *out << given.name; }
};

const std::array<Given, 8> kFaults = {{
    {"ReadFails", {FileCall::Read, SQLITE_IOERR_READ}},
    {"WriteFails", {FileCall::Write, SQLITE_IOERR_WRITE}},
    {"WriteIsTorn", {FileCall::Write, SQLITE_IOERR_WRITE, false, true}},
    {"WritesFail", {FileCall::Write, SQLITE_IOERR_WRITE, true}},
    {"DiskIsFull", {FileCall::Write, SQLITE_FULL, true}},
    {"SyncFails", {FileCall::Sync, SQLITE_IOERR_FSYNC}},
    {"SyncsFail", {FileCall::Sync, SQLITE_IOERR_FSYNC, true}},
    {"IndexCannotBeLocked", {FileCall::LockIndex, SQLITE_IOERR_SHMLOCK}},
}};

// Those that meet a file while it is opened, as the journal is at the first booking.
const std::array<Given, 3> kOpeningFaults = {{
    {"SizeFails", {FileCall::FileSize, SQLITE_IOERR_FSTAT}},
    {"LockFails", {FileCall::Lock, SQLITE_IOERR_LOCK}},
    {"IndexCannotBeMapped", {FileCall::MapIndex, SQLITE_IOERR_SHMMAP}},
}};

constexpr std::array kCalls = {1U, 2U, 3U, 5U, 8U, 13U, 21U, 34U}; // which call of the kind fails
constexpr int kFortune = 100'000;
const Cdb_balance_key kUser{Ebalance_kind::Subscriber, "1000"};

} // namespace

class EmbeddedFaults : public RemoteFixture, public testing::WithParamInterface<Given> {
protected:
    void SetUp() override
    {
        installFaultVfs("/b"); // billing.db and bookings.db
        openAnew();
        Ctbl_sub_balance record;
        BclCopyStr(record.cSubName, "1000");
        record.nBalance = kFortune;
        ASSERT_EQ(kDbOk, remote().set(record));
    }

    void openAnew()
    {
        open(settings(Engine::Embedded));
        ASSERT_TRUE(waitForActive());
    }

    int balance()
    {
        Ctbl_sub_balance record;
        BclCopyStr(record.cSubName, "1000");
        EXPECT_EQ(kDbOk, remote().get(record));
        return record.nBalance;
    }
};

class EmbeddedFaultsOfWrites : public EmbeddedFaults {};

TEST_P(EmbeddedFaultsOfWrites, LoseNothingThatWasStored)
{
    int left = kFortune;
    std::vector<Ctbl_prepaid_rate> stored;
    int met = 0;
    for (const unsigned nth : kCalls) {
        SCOPED_TRACE(nth);
        Ctbl_prepaid_rate rate;
        rate.rate_id = nth;
        rate.tariff = nth;
        armFault(GetParam().fault, nth);
        const bool isAdded = remote().add(rate) == kDbOk;
        const bool isTaken = remote().debit(kUser, 1) == kDbOk;
        met += disarmFault() ? 1 : 0;
        openAnew();
        if (isAdded)
            stored.push_back(rate);
        left -= isTaken ? 1 : 0;
        EXPECT_EQ(stored.size(), remote().count<Ctbl_prepaid_rate>());
        EXPECT_EQ(left, balance());
        for (const Ctbl_prepaid_rate& known : stored) {
            Ctbl_prepaid_rate read;
            read.rate_id = known.rate_id;
            EXPECT_EQ(kDbOk, remote().get(read));
            EXPECT_EQ(known.tariff, read.tariff);
        }
    }
    EXPECT_GT(met, 0) << "nothing failed";
    EXPECT_FALSE(takeLog().empty());
    EXPECT_EQ("ok", sql(Engine::Embedded, "pragma integrity_check"));
}

TEST_P(EmbeddedFaults, BookEveryCallOnce)
{
    int left = kFortune;
    int met = 0;
    for (const unsigned nth : kCalls) {
        SCOPED_TRACE(nth);
        Cdb_bookings bookings(remote(), folder());
        const std::string id = Cdb_bookings::newId();
        armFault(GetParam().fault, nth);
        std::promise<Ebooking_result> reserved;
        bookings.reserve(id, kUser, 100, 0, [&](Ebooking_result result) { reserved.set_value(result); });
        const Ebooking_result result = reserved.get_future().get();
        EXPECT_NE(Ebooking_result::Refused, result);
        if (result == Ebooking_result::Done) {
            std::promise<Ebooking_result> ended;
            bookings.end(id, 60, [&](Ebooking_result end) { ended.set_value(end); });
            EXPECT_NE(Ebooking_result::Refused, ended.get_future().get());
            left -= 60;
        }
        met += disarmFault() ? 1 : 0;
        ASSERT_TRUE(waitForActive());
        ASSERT_TRUE(bookings.waitUntilBooked(kTestPatience));
        EXPECT_EQ(left, balance());
    }
    EXPECT_GT(met, 0) << "nothing failed";
    EXPECT_EQ("0", sql(Engine::Embedded, "select count(*) from tbl_booking where nState<>2"));
}

// An operation may have waited for its session before.
TEST_F(RemoteFixture, WaitsForAnotherProcessNoLongerThanItsDeadline)
{
    installFaultVfs("/billing.db");
    const auto engine = makeEmbeddedEngine(path("billing.db"));
    std::string reason;
    const auto session = engine->connect(Deadline::in(kTestPatience), reason);
    const auto other = engine->connect(Deadline::in(kTestPatience), reason);
    ASSERT_TRUE(session && other) << reason;
    ASSERT_TRUE(other->run("begin immediate", {}, nullptr, Deadline::in(kTestPatience)).isDone());
    // It would look some hundred times.
    constexpr unsigned kLooks = 50;
    armFault({FileCall::LockIndex, SQLITE_IOERR_SHMLOCK}, kLooks);
    const SqlResult late = session->run("begin immediate", {}, nullptr, Deadline::in(std::chrono::milliseconds(0)));
    EXPECT_FALSE(disarmFault());
    EXPECT_EQ(SqlStatus::Conflict, late.status);
    ASSERT_TRUE(other->run("rollback", {}, nullptr, Deadline::in(std::chrono::milliseconds(0))).isDone());
    EXPECT_TRUE(session->run("begin immediate", {}, nullptr, Deadline::in(kTestPatience)).isDone());
}

namespace {

std::string faultName(const testing::TestParamInfo<Given>& given)
{
    return given.param.name;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Disk, EmbeddedFaultsOfWrites, testing::ValuesIn(kFaults), faultName);
INSTANTIATE_TEST_SUITE_P(Disk, EmbeddedFaults, testing::ValuesIn(kFaults), faultName);
INSTANTIATE_TEST_SUITE_P(Opening, EmbeddedFaults, testing::ValuesIn(kOpeningFaults), faultName);
