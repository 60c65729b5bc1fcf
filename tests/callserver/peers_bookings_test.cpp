// The money of calls whose server was killed.
#include "support/patience.h"
#include "support/server_fixture.h"

#include "bcl2/text.h"
#include "dbproxy2/bookings.h"

#include <future>

using BookingsOfAServer = ServerFixture;

TEST_F(BookingsOfAServer, AreMadeForTheCallsInWhichTheOneBeforeWasKilled)
{
    const auto balanceOf = [](Cdb_remote& database) {
        Ctbl_sub_balance record;
        BclCopyStr(record.cSubName, "1000");
        EXPECT_EQ(kDbOk, database.get(record));
        return record.nBalance;
    };
    fillStore([&](Cdb_fac_mgr& filled) {
        setListening(filled, "127.0.0.1", port);
        Cdb_remote& database = *filled.DbGetRemote();
        Ctbl_sub_balance record;
        BclCopyStr(record.cSubName, "1000");
        record.nBalance = 500;
        ASSERT_TRUE(waitUntil([&] { return database.isActive(); }));
        ASSERT_EQ(kDbOk, database.set(record));
        // Leaving without the end of a call is what a killed process does.
        Cdb_bookings bookings(database, home.path() + "/");
        std::promise<Ebooking_result> reserved;
        bookings.reserve(Cdb_bookings::newId(), {Ebalance_kind::Subscriber, "1000"}, 120, 40,
                         [&reserved](Ebooking_result result) { reserved.set_value(result); });
        ASSERT_EQ(Ebooking_result::Done, reserved.get_future().get());
        EXPECT_EQ(380, balanceOf(database));
    });
    start();
    EXPECT_TRUE(waitUntil([&] { return balanceOf(*store().DbGetRemote()) == 460; })); // what it had cost
}
