// The connections of the remote database under one set of settings, and the thread that watches over them.
#pragma once

#include "dbproxy2/remote_settings.h"
#include "engine.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

// Shared by its owner and its thread, so that a thread that hangs in a name service or in a disk need not be waited
// for: other settings have a link of their own meanwhile.
class RemoteLink : public std::enable_shared_from_this<RemoteLink> {
public:
    // A session in the hand of an operation.
    struct Lease {
        std::unique_ptr<SqlSession> session; // null: not connected
        uint64_t epoch = 0;
        const SqlDialect* dialect = nullptr;
    };

    // The embedded engine has its file in `folder`.
    RemoteLink(Cdb_remote_settings settings, std::string folder);

    void start();
    // No connection from here on; waits for nothing. finish() follows.
    void leave();
    // Its thread has come to its end, and what it held is closed.
    [[nodiscard]] bool hasEnded();
    // Waits for that end, until the deadline.
    void finish(Deadline deadline);

    // These wait while the embedded engine is opened for the first time.
    [[nodiscard]] bool isActive();
    [[nodiscard]] std::string identity();
    // In the database of this identity; empty: in any.
    [[nodiscard]] Lease take(Deadline deadline, const std::string& database);
    // `reason`: why the session is lost, when it is.
    void giveBack(Lease lease, const std::string& reason);

private:
    struct Connection {
        std::unique_ptr<SqlSession> control; // the thread's own
        std::unique_ptr<SqlSession> first;   // null: none could be made
        std::string identity;                // of the database
    };
    struct Idle {
        std::unique_ptr<SqlSession> session;
        std::chrono::steady_clock::time_point since;
    };
    using Lock = std::unique_lock<std::mutex>;

    void monitor();
    [[nodiscard]] bool isLeftWithin(std::chrono::milliseconds pause);
    [[nodiscard]] Connection connect(SqlEngine& engine, std::string& reason);
    void endFirstAttempt();
    [[nodiscard]] bool activate(SqlEngine& engine, Connection& connection);
    [[nodiscard]] std::string watch(SqlEngine& engine, SqlSession& control);
    void probe(Lock& lock, SqlSession& control);
    void addSession(Lock& lock, SqlEngine& engine);
    void setLost(std::string reason);
    void bury(Lock& lock);
    void clear();
    void awaitEmbedded(Lock& lock, Deadline deadline);

    const Cdb_remote_settings _settings;
    const std::string _folder;
    std::jthread _thread;

    std::mutex _mutex;
    std::condition_variable _changed;  // for the thread
    std::condition_variable _ready;    // for operations
    std::atomic<bool> _isLeft = false; // cancels what the thread is doing
    bool _hasEnded = false;
    bool _isFirstAttempt; // at the embedded engine

    bool _isActive = false;
    std::string _identity;
    std::string _lostReason;
    uint64_t _epoch = 0;
    const SqlDialect* _dialect = nullptr;
    size_t _maxSessions = 0;
    size_t _sessions = 0; // idle and in hands, of this epoch
    size_t _inHands = 0;  // of any
    size_t _waiting = 0;
    std::vector<Idle> _idle;
    std::vector<std::unique_ptr<SqlSession>> _dead; // the thread closes them: that may take a while
};
