// What the remote database asks of an engine. Two stand behind it: a MariaDB server and the embedded one. The engines'
// own result codes and types go no further than the files of this folder that are named after them.
#pragma once

#include "bcl2/record.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The end of an operation, however many statements it has. `cancel`, where set, ends it earlier.
struct Deadline {
    std::chrono::steady_clock::time_point end;
    const std::atomic<bool>* cancel = nullptr;

    static Deadline in(std::chrono::milliseconds time) { return {std::chrono::steady_clock::now() + time}; }
    [[nodiscard]] std::chrono::milliseconds left() const
    {
        return std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    }
    [[nodiscard]] bool isOver() const
    {
        return std::chrono::steady_clock::now() >= end || (cancel != nullptr && cancel->load());
    }
};

// A value for a "?" of a statement: lives for the call.
struct SqlValue {
    // NOLINTBEGIN(google-explicit-constructor): values of a list
    SqlValue(std::string_view value) : text(value), isText(true) {}
    SqlValue(int64_t value) : number(value) {}
    // NOLINTEND(google-explicit-constructor)

    std::string_view text = {};
    int64_t number = 0;
    bool isText = false;
};

// The rows of a result, as texts. NULL is an empty text.
struct SqlRows {
    size_t columns = 0;
    std::vector<std::string> cells; // row by row

    [[nodiscard]] size_t count() const { return columns == 0 ? 0 : cells.size() / columns; }
};

enum class SqlStatus : uint8_t {
    Done,
    Duplicate, // a row of that key exists
    Conflict,  // somebody else was in the way; the same may go well at once
    Failed,    // refused by the engine
    Refused,   // refused by ourselves
    Lost,      // the connection is gone, and whether the statement ran is not known
};

struct SqlResult {
    SqlStatus status = SqlStatus::Done;
    uint64_t affected = 0; // rows that a changing statement found
    std::string reason;    // of a failure

    [[nodiscard]] bool isDone() const { return status == SqlStatus::Done; }
};

// One connection. One thread at a time.
class SqlSession {
public:
    SqlSession() = default;
    virtual ~SqlSession() = default;
    SqlSession(const SqlSession&) = delete;
    SqlSession& operator=(const SqlSession&) = delete;

    // Runs one statement; `rows`, where given, takes its result.
    virtual SqlResult run(std::string_view sql, std::span<const SqlValue> values, SqlRows* rows, Deadline deadline) = 0;
    // After Lost: nothing runs any more.
    [[nodiscard]] virtual bool isLost() const = 0;
};

class SqlRun;

// Where the two dialects differ.
struct SqlDialect {
    std::string (*columnType)(const FieldDesc& field);
    const char* tableOptions; // behind the list of columns
    const char* begin;        // starts a transaction that will write
    const char* forUpdate;    // behind a select of such a transaction: nobody else changes these rows until it ends
    const char* now;          // selects the seconds since 1970, by the clock of the database
    SqlResult (*checkTables)(const SqlRun& run); // Failed: they are not as they must be, and how to mend them
};

// Connects; used by the monitor's thread only.
class SqlEngine {
public:
    SqlEngine() = default;
    virtual ~SqlEngine() = default;
    SqlEngine(const SqlEngine&) = delete;
    SqlEngine& operator=(const SqlEngine&) = delete;

    [[nodiscard]] virtual const SqlDialect& dialect() const = 0;
    // Null on a failure, with its reason.
    [[nodiscard]] virtual std::unique_ptr<SqlSession> connect(Deadline deadline, std::string& reason) = 0;
    // How the engine is called in the log.
    [[nodiscard]] virtual std::string name() const = 0;
    // What the administrator may want to know of a new connection; empty: nothing, and a first one is not logged.
    [[nodiscard]] virtual std::string remark() const = 0;
    // Sessions that operations may use at the same time.
    [[nodiscard]] virtual size_t maxSessions() const = 0;
};
