#include "embedded_engine.h"

#include "dbsqlite/connection.h"

#include <sqlite3.h>

#include <utility>

namespace {

// Money: a power cut must not lose what was acknowledged.
constexpr const char* kPragmas = "pragma journal_mode=wal; pragma synchronous=full; pragma trusted_schema=off";

// Marks a file as ours (SQLite's application_id): the letters "PLVB".
constexpr int kApplicationId = 0x504c5642;
constexpr int kVersion = 1;

class EmbeddedSession final : public SqlSession {
public:
    explicit EmbeddedSession(std::unique_ptr<DbConnection> db) : _db(std::move(db)) {}

    SqlResult run(std::string_view sql, std::span<const SqlValue> values, SqlRows* rows, Deadline deadline) override
    {
        _db->waitUntil(deadline.end);
        if (values.empty() && rows != nullptr)
            return readPage(std::string(sql), *rows);
        DbStatement* statement = _db->cached(std::string(sql));
        if (statement == nullptr)
            return failure();
        int index = 0;
        for (const SqlValue& value : values) {
            ++index;
            if (value.isText)
                statement->bindText(index, value.text);
            else
                statement->bindInt(index, value.number);
        }
        SqlResult result = sqlite3_column_count(statement->handle) > 0 ? read(*statement, rows) : change(*statement);
        statement->reset();
        return result;
    }

    [[nodiscard]] bool isLost() const override { return false; }

private:
    // A text of the caller's: it is not kept, since no two pages have the same.
    SqlResult readPage(const std::string& sql, SqlRows& rows)
    {
        const std::unique_ptr<DbStatement> statement = _db->prepareReading(sql.c_str());
        if (!statement)
            return {SqlStatus::Failed, 0, _db->fault() == DbFault::None ? "it is not one that reads" : _db->reason()};
        return read(*statement, &rows);
    }

    SqlResult read(DbStatement& statement, SqlRows* rows)
    {
        const auto columns = static_cast<size_t>(sqlite3_column_count(statement.handle));
        if (rows != nullptr)
            *rows = {columns, {}};
        while (statement.stepRow())
            for (size_t i = 0; rows != nullptr && i < columns; ++i)
                rows->cells.emplace_back(statement.text(static_cast<int>(i)));
        return _db->fault() == DbFault::None ? SqlResult{} : failure();
    }

    SqlResult change(DbStatement& statement)
    {
        if (!statement.stepDone())
            return failure();
        return {SqlStatus::Done, static_cast<uint64_t>(_db->changes()), {}};
    }

    SqlResult failure()
    {
        SqlResult result{SqlStatus::Failed, 0, _db->reason()};
        if (_db->isDuplicate())
            result.status = SqlStatus::Duplicate;
        else if (_db->isBusy())
            result.status = SqlStatus::Conflict;
        else if (_db->fault() == DbFault::System) {
            _db->rollBack();
            _db->dropFailedCommit();
        }
        return result;
    }

    std::unique_ptr<DbConnection> _db;
};

std::string columnType(const FieldDesc& field)
{
    return field.type == FieldType::Text ? "text not null" : "integer not null";
}

// The file is ours, and its tables are strict.
SqlResult takeTables(const SqlRun&)
{
    return {};
}

constexpr SqlDialect kDialect{&columnType, " strict", "begin immediate", "", "select unixepoch()", &takeTables};

// Brings a new file to our version; false for one that is not ours or broken. It is left as it is: money is in it.
bool prepare(DbConnection& db, std::string& reason)
{
    if (!db.exec(kPragmas)) {
        reason = db.reason();
        return false;
    }
    if (db.number("select count(*) from sqlite_master", -1) == 0 &&
        !db.exec("begin immediate; pragma application_id=" + std::to_string(kApplicationId) +
                 "; pragma user_version=" + std::to_string(kVersion) + "; commit")) {
        reason = db.reason();
        return false;
    }
    const int64_t id = db.number("pragma application_id", -1);
    const int64_t version = db.number("pragma user_version", -1);
    if (db.fault() != DbFault::None)
        reason = db.reason();
    else if (id != kApplicationId)
        reason = "another program wrote it";
    else if (version > kVersion)
        reason = "a newer version of the program wrote it";
    else
        return true;
    return false;
}

class EmbeddedEngine final : public SqlEngine {
public:
    explicit EmbeddedEngine(std::string path) : _path(std::move(path)) {}

    [[nodiscard]] const SqlDialect& dialect() const override { return kDialect; }

    [[nodiscard]] std::unique_ptr<SqlSession> connect(Deadline, std::string& reason) override
    {
        auto db = DbConnection::open(_path, DbConnection::Mode::Writer, reason);
        if (!db || !prepare(*db, reason))
            return nullptr;
        return std::make_unique<EmbeddedSession>(std::move(db));
    }

    [[nodiscard]] std::string name() const override { return "billing file " + _path; }
    [[nodiscard]] std::string remark() const override { return {}; }
    // One is enough: it writes one after another anyway.
    [[nodiscard]] size_t maxSessions() const override { return 1; }

private:
    std::string _path;
};

} // namespace

std::unique_ptr<SqlEngine> makeEmbeddedEngine(std::string path)
{
    return std::make_unique<EmbeddedEngine>(std::move(path));
}
