// Bookings over a database of their own on each engine.
#pragma once

#include "bcl2/text.h"
#include "dbproxy2/bookings.h"
#include "dbproxy2/remote_fixture.h"

#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

class RemoteBookings : public OnEachEngine {
protected:
    using Result = Ebooking_result;

    static constexpr int kFortune = 1'000'000'000;

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
