#include "booking_journal.h"

#include "bcl2/log.h"

#include <cerrno>
#include <unistd.h>

namespace {

constexpr const char* kPragmas = "pragma journal_mode=wal; pragma synchronous=full; pragma trusted_schema=off";
// Marks a file as ours (SQLite's application_id): the letters "PLVJ".
constexpr int kApplicationId = 0x504c564a;
constexpr const char* kCreate =
    "create table if not exists tbl_pending (cBooking text not null, nAccountKind integer not null, cAccountName text "
    "not null, nCost integer not null, nIsEnded integer not null, cDatabase text not null default '', primary key "
    "(cBooking)) strict";
constexpr const char* kHasDatabase =
    "select count(*) from pragma_table_info('tbl_pending') where name='cDatabase'"; // journals of older versions: no
constexpr const char* kAddDatabase = "alter table tbl_pending add column cDatabase text not null default ''";

// Empty: it can be used.
std::string prepare(DbConnection& db)
{
    if (!db.exec(kPragmas))
        return db.reason();
    if (db.number("select count(*) from sqlite_master", -1) == 0 &&
        !db.exec("pragma application_id=" + std::to_string(kApplicationId)))
        return db.reason();
    if (const int64_t id = db.number("pragma application_id", -1); id != kApplicationId)
        return db.fault() == DbFault::None ? "another program wrote it" : db.reason();
    const bool isDone = db.exec(kCreate) && (db.number(kHasDatabase, -1) == 1 || db.exec(kAddDatabase));
    return isDone ? "" : db.reason();
}

} // namespace

bool BookingJournal::isOnDisk() const
{
    return access(_path.c_str(), F_OK) == 0 || errno != ENOENT; // one that cannot be looked at may be there
}

bool BookingJournal::open()
{
    if (_db)
        return true;
    std::string reason;
    auto db = DbConnection::open(_path, DbConnection::Mode::Writer, reason);
    if (db)
        reason = prepare(*db);
    if (!reason.empty()) {
        report(reason);
        return false;
    }
    _db = std::move(db);
    _reported.clear();
    return true;
}

bool BookingJournal::load(std::vector<BookingEntry>& entries)
{
    DbStatement* statement =
        _db->cached("select cBooking, cDatabase, nAccountKind, cAccountName, nCost, nIsEnded from tbl_pending order by "
                    "cBooking");
    if (statement == nullptr) {
        report(_db->reason());
        return false;
    }
    while (statement->stepRow())
        entries.push_back({std::string(statement->text(0)),
                           std::string(statement->text(1)),
                           {static_cast<Ebalance_kind>(statement->number(2)), std::string(statement->text(3))},
                           statement->number(4),
                           statement->number(5) != 0});
    const bool isWhole = _db->fault() == DbFault::None;
    if (!isWhole)
        report(_db->reason());
    statement->reset();
    return isWhole;
}

bool BookingJournal::put(const BookingEntry& entry)
{
    if (!open())
        return false;
    DbStatement* statement = _db->cached("replace into tbl_pending (cBooking, nAccountKind, cAccountName, nCost, "
                                         "nIsEnded, cDatabase) values (?, ?, ?, ?, ?, ?)");
    bool isStored = false;
    if (statement != nullptr) {
        statement->bindText(1, entry.id);
        statement->bindInt(2, static_cast<int64_t>(entry.account.kind));
        statement->bindText(3, entry.account.name);
        statement->bindInt(4, entry.cost);
        statement->bindInt(5, entry.isEnded ? 1 : 0);
        statement->bindText(6, entry.database);
        isStored = statement->stepDone();
    }
    if (isStored)
        _reported.clear();
    else
        report(_db->reason());
    if (statement != nullptr)
        statement->reset();
    return isStored;
}

void BookingJournal::remove(const std::string& id)
{
    if (!_db)
        return;
    if (DbStatement* statement = _db->cached("delete from tbl_pending where cBooking=?"); statement != nullptr) {
        statement->bindText(1, id);
        if (!statement->stepDone())
            report(_db->reason());
        statement->reset();
    }
}

void BookingJournal::report(const std::string& reason)
{
    if (reason == _reported)
        return;
    _reported = reason;
    BclLog("The file %s of bookings cannot be used: %s. Until this is mended charged calls are refused.", _path.c_str(),
           reason.c_str());
}
