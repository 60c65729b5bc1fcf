// One SQLite connection with its prepared statements. The engine's result codes go no further.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

// A prepared statement. Owner: a connection's cache or one cursor.
struct DbStatement {
    explicit DbStatement(sqlite3_stmt* statement) : handle(statement) {}
    ~DbStatement();
    DbStatement(const DbStatement&) = delete;
    DbStatement& operator=(const DbStatement&) = delete;

    // Binding counts from 1, columns from 0, as the engine does.
    void bindText(int index, std::string_view text);
    void bindInt(int index, int64_t value);
    [[nodiscard]] bool stepRow();  // true: a row is current
    [[nodiscard]] bool stepDone(); // true: the statement ran to its end without an error
    void reset();                  // ready for the next run; bindings are cleared

    [[nodiscard]] std::string_view text(int column) const;
    [[nodiscard]] int64_t number(int column) const;

    sqlite3_stmt* handle;
};

// How an attempt ended, as far as the store reacts to it.
enum class DbFault {
    None,
    Damaged, // the file is no database, or its content is broken or foreign
    System,  // disk full, missing rights, locked: the file may be fine
};

// One thread at a time.
class DbConnection {
public:
    enum class Mode { Reader, Writer };

    // Null when the file cannot be opened at all; `reason` says why. A writer makes a missing file (mode 0600). A
    // reader opens the file for writing too, since the engine's shared index needs it, and is locked by
    // lockForReading().
    static std::unique_ptr<DbConnection> open(const std::string& path, Mode mode, std::string& reason);
    ~DbConnection();
    DbConnection(const DbConnection&) = delete;
    DbConnection& operator=(const DbConnection&) = delete;

    // From here on no statement waits for another process beyond that moment; at first there is none.
    void waitUntil(std::chrono::steady_clock::time_point end) { _waitEnd = end; }

    [[nodiscard]] bool exec(const std::string& sql);
    // From here on every statement that would write fails.
    [[nodiscard]] bool lockForReading();
    // Ends a transaction after an error; fault() and reason() go on telling of that error.
    void rollBack();
    // After a commit that failed and was rolled back. It may lie whole in the engine's log, where the next write would
    // go over it; if the process died before that, the next start would find what the caller was told is not stored. A
    // disk that takes nothing any more leaves that doubt.
    void dropFailedCommit();
    // Attaches a further file under `schema`; its tables are found without naming it.
    [[nodiscard]] bool attach(const std::string& path, const char* schema);
    // Compiled at the first use and kept; comes back reset. Null on an error.
    [[nodiscard]] DbStatement* cached(const std::string& sql);
    // Exactly one statement that only reads, owned by the caller; null otherwise.
    [[nodiscard]] std::unique_ptr<DbStatement> prepareReading(const char* sql);
    // First column of the first row; `fallback` when there is none.
    [[nodiscard]] int64_t number(const std::string& sql, int64_t fallback);

    // Rows that the last writing statement added, changed or removed.
    [[nodiscard]] int64_t changes() const;
    // Whether the system gives every page, whatever is in it.
    [[nodiscard]] bool canReadEveryPage();

    [[nodiscard]] DbFault fault() const;    // of the last call
    [[nodiscard]] bool isDuplicate() const; // the last call failed because a row of that key exists
    [[nodiscard]] bool isBusy() const;      // the last call failed because somebody else was writing
    [[nodiscard]] std::string reason() const;
    // For what only the engine itself can do.
    [[nodiscard]] sqlite3* handle() const { return _handle; }

private:
    struct Failure {
        int code;
        std::string reason;
    };
    explicit DbConnection(sqlite3* handle);

    static int waitWhileBusy(void* connection, int tries);

    sqlite3* _handle;
    std::chrono::steady_clock::time_point _waitEnd = std::chrono::steady_clock::time_point::max();
    std::optional<Failure> _failure; // one that the engine has forgotten, until the next call
    std::unordered_map<std::string, std::unique_ptr<DbStatement>> _statements;
};
