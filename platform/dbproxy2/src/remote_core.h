// The connections of the remote database and the thread that watches over them.
#pragma once

#include "dbproxy2/remote_db.h"
#include "engine.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

// One operation on one session, with the time that it has.
class SqlRun {
public:
    SqlRun(SqlSession& session, const SqlDialect& dialect, Deadline deadline)
        : _session(session), _dialect(dialect), _deadline(deadline)
    {}

    SqlResult operator()(std::string_view sql, std::span<const SqlValue> values = {}, SqlRows* rows = nullptr) const
    {
        return _session.run(sql, values, rows, _deadline);
    }
    SqlResult operator()(std::string_view sql, std::initializer_list<SqlValue> values, SqlRows* rows = nullptr) const
    {
        return _session.run(sql, std::span(values.begin(), values.size()), rows, _deadline);
    }

    [[nodiscard]] const SqlDialect& dialect() const { return _dialect; }

private:
    SqlSession& _session;
    const SqlDialect& _dialect;
    Deadline _deadline;
};

// Shared by its owner and its thread, so that a thread that hangs in a name service need not be waited for.
class RemoteCore : public std::enable_shared_from_this<RemoteCore> {
public:
    explicit RemoteCore(std::string folder);

    void start();
    void stop();
    void apply(const Cdb_remote_settings& settings);
    [[nodiscard]] bool isActive();
    // Of the database that is connected; empty: none is.
    [[nodiscard]] std::string identity();

    // One statement. `what` names it in the log line of a refusal.
    SqlResult run(const std::string& what, std::string_view sql, std::span<const SqlValue> values, SqlRows* rows);
    // Several statements that count together or not at all; repeated when somebody else was in the way. `body` gives
    // the result of the statement that it ended with. In the database of this identity only. Lost: not known whether
    // they count.
    SqlResult transact(const std::string& what, const std::string& database,
                       const std::function<SqlResult(const SqlRun&)>& body);

private:
    // A session in the hand of an operation.
    struct Lease {
        std::unique_ptr<SqlSession> session; // null: not connected
        uint64_t epoch = 0;
        const SqlDialect* dialect = nullptr;
    };
    struct Idle {
        std::unique_ptr<SqlSession> session;
        std::chrono::steady_clock::time_point since;
    };
    using Lock = std::unique_lock<std::mutex>;

    // In the database of this identity; empty: in any.
    Lease take(Deadline deadline, const std::string& database = {});
    void giveBack(Lease lease, const SqlResult& result);
    void report(const std::string& what, const SqlResult& result);

    void monitor();
    void serve(Lock& lock, SqlEngine& engine, uint64_t generation);
    std::unique_ptr<SqlSession> open(SqlEngine& engine, std::string& identity, std::string& reason);
    void watch(Lock& lock, SqlEngine& engine, SqlSession& control, uint64_t generation);
    void probe(Lock& lock, SqlSession& control, uint64_t generation);
    void addSession(Lock& lock, SqlEngine& engine, uint64_t generation);
    void setLost(std::string reason);
    void bury(Lock& lock);
    [[nodiscard]] bool isOver(uint64_t generation) const { return _isStopped || _generation != generation; }
    void awaitEmbedded(Lock& lock, Deadline deadline);

    const std::string _folder;
    std::jthread _thread;

    std::mutex _mutex;
    std::condition_variable _changed; // for the monitor
    std::condition_variable _ready;   // for operations
    Cdb_remote_settings _wanted;
    uint64_t _generation = 0; // of the settings
    bool _isStopped = false;
    bool _hasEnded = false;                 // the monitor
    bool _isFirstAttempt = false;           // at the embedded engine
    std::atomic<bool> _isCancelled = false; // what the monitor is doing is of no use any more

    bool _isActive = false;
    std::string _identity; // of the database, while it is connected
    std::string _lostReason;
    uint64_t _epoch = 0;
    const SqlDialect* _dialect = nullptr;
    size_t _maxSessions = 0;
    size_t _sessions = 0; // idle and in hands, of this epoch
    size_t _waiting = 0;
    std::vector<Idle> _idle;
    std::vector<std::unique_ptr<SqlSession>> _dead; // the monitor closes them: that may take a while

    std::mutex _reportMutex;
    std::string _lastReport;
    std::chrono::steady_clock::time_point _lastReportTime;
};
