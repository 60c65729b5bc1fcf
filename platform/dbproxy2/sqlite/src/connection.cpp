#include "dbsqlite/connection.h"

#include "bcl2/text.h"

#include <sqlite3.h>

#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A statement waits for another process that writes the same file: about a second, longer than any commit of ours takes
// and shorter than a person at the console gets impatient. It looks often and evenly: the engine's own growing pauses
// would let one that writes all the time keep the others out.
constexpr int kBusyTries = 900;
constexpr timespec kBusyPause{0, 1'000'000};

} // namespace

DbConnection::DbConnection(sqlite3* handle) : _handle(handle)
{
    sqlite3_busy_handler(handle, &waitWhileBusy, this);
}

int DbConnection::waitWhileBusy(void* connection, int tries)
{
    const auto end = static_cast<const DbConnection*>(connection)->_waitEnd;
    if (tries >= kBusyTries || std::chrono::steady_clock::now() >= end)
        return 0;
    nanosleep(&kBusyPause, nullptr);
    return 1;
}

DbStatement::~DbStatement()
{
    sqlite3_finalize(handle);
}

void DbStatement::bindText(int index, std::string_view text)
{
    sqlite3_bind_text(handle, index, text.data() == nullptr ? "" : text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT); // NOLINT: the engine's own macro casts
}

void DbStatement::bindInt(int index, int64_t value)
{
    sqlite3_bind_int64(handle, index, value);
}

bool DbStatement::stepRow()
{
    return sqlite3_step(handle) == SQLITE_ROW;
}

bool DbStatement::stepDone()
{
    return sqlite3_step(handle) == SQLITE_DONE;
}

void DbStatement::reset()
{
    sqlite3_reset(handle);
    sqlite3_clear_bindings(handle);
}

std::string_view DbStatement::text(int column) const
{
    const unsigned char* text = sqlite3_column_text(handle, column);
    if (text == nullptr)
        return {};
    return {reinterpret_cast<const char*>(text), static_cast<size_t>(sqlite3_column_bytes(handle, column))};
}

int64_t DbStatement::number(int column) const
{
    return sqlite3_column_int64(handle, column);
}

std::unique_ptr<DbConnection> DbConnection::open(const std::string& path, Mode mode, std::string& reason)
{
    if (mode == Mode::Writer) {
        // The engine would make the file readable for everybody; what it adds beside it takes over this file's mode.
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd >= 0)
            ::close(fd);
        // What was added while the file was read-only would stay so when it no longer is.
        for (const char* companion : {"-wal", "-shm"})
            if (fd >= 0 && eaccess((path + companion).c_str(), W_OK) != 0)
                (void)chmod((path + companion).c_str(), 0600); // often not there
    }
    sqlite3* handle = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | (mode == Mode::Writer ? SQLITE_OPEN_CREATE : 0) | SQLITE_OPEN_NOMUTEX |
                      SQLITE_OPEN_EXRESCODE;
    const int code = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr);
    if (code != SQLITE_OK) {
        reason = handle == nullptr ? "out of memory" : sqlite3_errmsg(handle);
        sqlite3_close_v2(handle);
        return nullptr;
    }
    return std::unique_ptr<DbConnection>(new DbConnection(handle));
}

DbConnection::~DbConnection()
{
    _statements.clear();
    sqlite3_close_v2(_handle); // waits for cursors that are still open
}

bool DbConnection::exec(const std::string& sql)
{
    _failure.reset();
    return sqlite3_exec(_handle, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool DbConnection::lockForReading()
{
    return exec("pragma query_only=1");
}

void DbConnection::rollBack()
{
    // After some errors the engine has done it by itself, and would call ours an error.
    Failure failure{sqlite3_errcode(_handle), reason()};
    if (sqlite3_get_autocommit(_handle) == 0)
        (void)exec("rollback");
    _failure = std::move(failure);
}

bool DbConnection::canReadEveryPage()
{
    std::string none;
    const auto memory = open(":memory:", Mode::Reader, none);
    sqlite3_backup* copy = memory ? sqlite3_backup_init(memory->_handle, "main", _handle, "main") : nullptr;
    int code = copy == nullptr ? SQLITE_NOMEM : sqlite3_backup_step(copy, -1);
    sqlite3_backup_finish(copy);
    if (code == SQLITE_DONE)
        return true;
    _failure = Failure{code, sqlite3_errstr(code)};
    return false;
}

void DbConnection::dropFailedCommit()
{
    const int64_t version = number("pragma user_version", -1);
    if (version >= 0 && exec("begin immediate") &&
        !(exec("pragma user_version=" + std::to_string(version)) && exec("commit")))
        rollBack();
}

bool DbConnection::attach(const std::string& path, const char* schema)
{
    DbStatement* statement = cached(std::string("attach database ?1 as ") + schema);
    if (statement == nullptr)
        return false;
    statement->bindText(1, path);
    const bool isDone = statement->stepDone();
    statement->reset();
    return isDone;
}

DbStatement* DbConnection::cached(const std::string& sql)
{
    _failure.reset();
    auto& entry = _statements[sql];
    if (!entry) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v3(_handle, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
            _statements.erase(sql);
            return nullptr;
        }
        entry = std::make_unique<DbStatement>(statement);
    }
    entry->reset();
    return entry.get();
}

std::unique_ptr<DbStatement> DbConnection::prepareReading(const char* sql)
{
    _failure.reset();
    sqlite3_stmt* handle = nullptr;
    const char* rest = nullptr;
    if (sqlite3_prepare_v2(_handle, sql, -1, &handle, &rest) != SQLITE_OK || handle == nullptr)
        return nullptr;
    auto statement = std::make_unique<DbStatement>(handle);
    const std::string_view tail = BclTrimmed(rest == nullptr ? "" : rest);
    // "begin" and "attach" count as reading too, but give no columns.
    if (sqlite3_stmt_readonly(handle) == 0 || sqlite3_column_count(handle) == 0 || !(tail.empty() || tail == ";"))
        return nullptr;
    return statement;
}

int64_t DbConnection::number(const std::string& sql, int64_t fallback)
{
    DbStatement* statement = cached(sql);
    if (statement == nullptr)
        return fallback;
    const int64_t value = statement->stepRow() ? statement->number(0) : fallback;
    statement->reset();
    return value;
}

int64_t DbConnection::changes() const
{
    return sqlite3_changes64(_handle);
}

DbFault DbConnection::fault() const
{
    switch ((_failure ? _failure->code : sqlite3_errcode(_handle)) & 0xff) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
        return DbFault::None;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR: // a table or column that should be there is not
    case SQLITE_FORMAT:
    case SQLITE_SCHEMA:
        return DbFault::Damaged;
    default:
        return DbFault::System;
    }
}

bool DbConnection::isDuplicate() const
{
    return sqlite3_extended_errcode(_handle) == SQLITE_CONSTRAINT_PRIMARYKEY;
}

bool DbConnection::isBusy() const
{
    return (sqlite3_errcode(_handle) & 0xff) == SQLITE_BUSY;
}

std::string DbConnection::reason() const
{
    return _failure ? _failure->reason : sqlite3_errmsg(_handle);
}
