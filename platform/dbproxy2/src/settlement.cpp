#include "settlement.h"

#include "account.h"
#include "bcl2/log.h"
#include "bcl2/text.h"
#include "bookings_table.h"

#include <cstdio>

namespace {

// An entry of a journal that was away for longer than this could be booked twice.
constexpr int64_t kKeepTime = int64_t{400} * 24 * 3600; // s
constexpr int64_t kRemovedAtOnce = 1000;

constexpr const char* kInsert = "insert into tbl_booking (cBooking, nAccountKind, cAccountName, nReserved, nCost, "
                                "nState) values (?, ?, ?, ?, ?, ?)";
constexpr const char* kFind = "select nReserved, nState from tbl_booking where cBooking=?";
constexpr const char* kRaise = "update tbl_booking set nReserved=? where cBooking=? and nState=1 and nReserved=?";
constexpr const char* kClose = "update tbl_booking set nState=2, nCost=? where cBooking=? and nState=1";

SqlResult insertRow(const SqlRun& run, const BookingEntry& entry, int64_t reserved, BookingState state)
{
    return run(kInsert, {std::string_view(entry.id), static_cast<int64_t>(entry.account.kind),
                         std::string_view(entry.account.name), reserved, entry.cost, int64_t{state}});
}

SqlResult takeCovered(const SqlRun& run, const Cdb_balance_key& account, int64_t sum)
{
    SqlResult result = run(debitStatement(account.kind), {sum, std::string_view(account.name), sum});
    if (result.isDone() && result.affected != 1)
        result = {SqlStatus::Refused, 0, "not covered"};
    return result;
}

SqlResult change(const SqlRun& run, const BookingEntry& entry, int64_t sum)
{
    if (sum == 0)
        return {};
    const std::string_view name = entry.account.name;
    SqlResult result = run(changeStatement(entry.account.kind), {sum, sum, sum, name});
    if (result.isDone() && result.affected != 1)
        BclLog("Booking %s: the account %s is gone, its balance cannot be changed by %lld cents.", entry.id.c_str(),
               BclPrintable(name).c_str(), static_cast<long long>(sum));
    return result;
}

struct Found {
    bool isThere = false;
    int64_t reserved = 0;
    int64_t state = 0;
};

// Locks the row rather than reading from a snapshot: under such a one a server refuses to change a balance that
// somebody else has changed since, however often it is tried.
SqlResult find(const SqlRun& run, const BookingEntry& entry, Found& found)
{
    SqlRows rows;
    SqlResult result = run(kFind + std::string(run.dialect().forUpdate), {std::string_view(entry.id)}, &rows);
    if (result.isDone() && rows.count() == 1)
        found = {true, numberOfCell(rows.cells[0]), numberOfCell(rows.cells[1])};
    return result;
}

SqlResult raise(const SqlRun& run, const BookingEntry& entry, int64_t total)
{
    Found found;
    SqlResult result = find(run, entry, found);
    if (!result.isDone())
        return result;
    if (!found.isThere || found.state != kBookingOpen)
        return {SqlStatus::Refused, 0, "not open"};
    if (found.reserved >= total)
        return {};
    result = run(kRaise, {total, std::string_view(entry.id), found.reserved});
    if (result.isDone() && result.affected != 1)
        return {SqlStatus::Conflict, 0, "changed meanwhile"};
    return result.isDone() ? takeCovered(run, entry.account, total - found.reserved) : result;
}

// A row that came between looking for an open one and adding one that is closed: booked before, or a late reservation,
// which is found at the next attempt.
SqlResult meetOther(const SqlRun& run, const BookingEntry& entry)
{
    Found found;
    SqlResult result = find(run, entry, found);
    if (result.isDone() && found.state != kBookingMade)
        return {SqlStatus::Conflict, 0, "changed meanwhile"};
    return result;
}

SqlResult settle(const SqlRun& run, const BookingEntry& entry)
{
    SqlResult result = run(kClose, {entry.cost, std::string_view(entry.id)});
    if (!result.isDone())
        return result;
    if (result.affected == 1) {
        Found found;
        result = find(run, entry, found);
        return result.isDone() ? change(run, entry, found.reserved - entry.cost) : result;
    }
    // No reservation counts, and from now on none can: a late one meets this row.
    result = insertRow(run, entry, 0, kBookingMade);
    if (result.status == SqlStatus::Duplicate)
        return meetOther(run, entry);
    return result.isDone() ? change(run, entry, -entry.cost) : result;
}

// By the clock of the database: one of a call server may be wrong, and what it removes is booked once more.
SqlResult removeOld(const SqlRun& run)
{
    SqlRows rows;
    SqlResult result = run(run.dialect().now, {}, &rows);
    const int64_t now = result.isDone() && rows.count() == 1 ? numberOfCell(rows.cells.front()) : 0;
    if (now <= kKeepTime)
        return result;
    std::string bound = bookingTime(now - kKeepTime);
    result = run("select cBooking from tbl_booking where cBooking<? order by cBooking limit 1 offset ?",
                 {std::string_view(bound), kRemovedAtOnce}, &rows);
    if (!result.isDone())
        return result;
    if (rows.count() == 1)
        bound = rows.cells.front();
    return run("delete from tbl_booking where cBooking<? and nState=2", {std::string_view(bound)});
}

} // namespace

SqlResult reserveBooking(RemoteCore& core, const BookingEntry& entry, int64_t total, bool isFirst)
{
    return core.transact("a reservation", entry.database, [&](const SqlRun& run) {
        if (!isFirst)
            return raise(run, entry, total);
        const SqlResult result = insertRow(run, entry, total, kBookingOpen);
        return result.isDone() ? takeCovered(run, entry.account, total) : result;
    });
}

SqlResult settleBooking(RemoteCore& core, const BookingEntry& entry)
{
    return core.transact("a booking", entry.database, [&](const SqlRun& run) { return settle(run, entry); });
}

void removeOldBookings(RemoteCore& core, const std::string& database)
{
    (void)core.transact("old bookings", database, removeOld);
}

std::string bookingTime(int64_t time)
{
    char text[9];
    snprintf(text, sizeof text, "%08x", static_cast<unsigned>(time & 0xffffffff));
    return text;
}
