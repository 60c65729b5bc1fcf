#include "remote_core.h"

#include "bcl2/background.h"
#include "bcl2/log.h"
#include "bcl2/text.h"
#include "embedded_engine.h"
#include "growing_pause.h"
#include "identity.h"
#include "maria_engine.h"
#include "remote_table.h"

#include <algorithm>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kOperationTime = 1900ms; // with what is around it: nobody waits longer than two seconds
constexpr auto kProbePause = 2000ms;    // with the time of a probe: a loss is noticed within 4 s
constexpr auto kProbeTime = 2000ms;
constexpr auto kIdleTime = 30s; // a session that rested longer is tried before somebody gets it
constexpr auto kConnectTime = 5000ms;
constexpr auto kPrepareTime = 20s; // new tables on a cluster
constexpr auto kFirstPause = 1000ms;
constexpr auto kLongestPause = 30000ms;
constexpr auto kSteadyTime = 2s; // a connection that lived longer is come back to at once
constexpr auto kStopTime = 3000ms;
constexpr auto kFirstConflictPause = 2ms;
constexpr auto kLongestConflictPause = 100ms;
constexpr auto kConflictTime = kOperationTime / 2; // what is begun later might not end in time
constexpr auto kReportPause = 60s;                 // the same refusal is not logged more often

// Between the attempts of one operation.
class ConflictPause {
public:
    void wait() { std::this_thread::sleep_for(someOf(_pause.next(), _random)); }

private:
    GrowingPause _pause{kFirstConflictPause, kLongestConflictPause};
    std::minstd_rand _random{std::random_device()()};
};

std::unique_ptr<SqlEngine> makeEngine(const Cdb_remote_settings& settings, const std::string& folder)
{
    if (settings.address.empty())
        return nullptr;
    if (settings.address == kEmbeddedDatabase)
        return makeEmbeddedEngine(folder + "billing.db");
    return makeMariaEngine({settings.address, settings.port, settings.user, settings.password, settings.database,
                            folder + "remote-ca.pem"});
}

SqlResult makeTables(const SqlRun& run)
{
    SqlResult result;
    std::vector<const RemoteTable*> missing;
    for (const RemoteTable* table : remoteTables()) {
        result = run(table->probe());
        if (result.status == SqlStatus::Failed)
            missing.push_back(table);
        else if (!result.isDone() && result.status != SqlStatus::Conflict) // somebody locks it: it is there
            return result;
    }
    if (missing.empty())
        return {};
    // Together where the engine can, which saves waiting for the disk.
    result = run(run.dialect().begin);
    for (const RemoteTable* table : missing)
        if (result.isDone())
            result = run(table->createStatement(run.dialect()));
    if (result.isDone())
        result = run("commit");
    else
        (void)run("rollback");
    for (const RemoteTable* table : missing)
        if (result.isDone())
            result = run(table->probe());
    return result;
}

} // namespace

RemoteCore::RemoteCore(std::string folder) : _folder(std::move(folder)) {}

void RemoteCore::start()
{
    _thread = BclStartThread("remote-db", [self = shared_from_this()](const std::stop_token&) {
        self->monitor();
        const std::scoped_lock lock(self->_mutex);
        self->_hasEnded = true;
        self->_ready.notify_all();
    });
    const std::scoped_lock lock(_mutex);
    _isStopped = !_thread.joinable();
}

void RemoteCore::stop()
{
    if (!_thread.joinable())
        return;
    bool hasEnded = false;
    {
        Lock lock(_mutex);
        _isStopped = true;
        _isActive = false;
        _isCancelled = true;
        _changed.notify_all();
        _ready.notify_all();
        hasEnded = _ready.wait_for(lock, kStopTime, [this] { return _hasEnded; });
    }
    if (hasEnded)
        _thread.join();
    else
        _thread.detach(); // it hangs outside of our code, and keeps what it uses
}

void RemoteCore::apply(const Cdb_remote_settings& settings)
{
    const std::scoped_lock lock(_mutex);
    if (_generation != 0 && settings == _wanted)
        return;
    _wanted = settings;
    ++_generation;
    _isActive = false;
    _isFirstAttempt = settings.address == kEmbeddedDatabase;
    _isCancelled = true;
    _changed.notify_all();
    _ready.notify_all();
}

bool RemoteCore::isActive()
{
    Lock lock(_mutex);
    awaitEmbedded(lock, Deadline::in(kOperationTime));
    return _isActive;
}

std::string RemoteCore::identity()
{
    Lock lock(_mutex);
    awaitEmbedded(lock, Deadline::in(kOperationTime));
    return _isActive ? _identity : std::string();
}

void RemoteCore::awaitEmbedded(Lock& lock, Deadline deadline)
{
    _ready.wait_until(lock, deadline.end, [this] { return !_isFirstAttempt || _isStopped; });
}

SqlResult RemoteCore::run(const std::string& what, std::string_view sql, std::span<const SqlValue> values,
                          SqlRows* rows)
{
    const Deadline deadline = Deadline::in(kOperationTime);
    Lease lease = take(deadline);
    if (!lease.session)
        return {SqlStatus::Failed, 0, "not connected"};
    SqlResult result = lease.session->run(sql, values, rows, deadline);
    ConflictPause pause;
    while (result.status == SqlStatus::Conflict && deadline.left() > kConflictTime) {
        pause.wait();
        result = lease.session->run(sql, values, rows, deadline);
    }
    giveBack(std::move(lease), result);
    report(what, result);
    return result;
}

SqlResult RemoteCore::transact(const std::string& what, const std::string& database,
                               const std::function<SqlResult(const SqlRun&)>& body)
{
    const Deadline deadline = Deadline::in(kOperationTime);
    Lease lease = take(deadline, database);
    if (!lease.session)
        return {SqlStatus::Failed, 0, "not connected"};
    const SqlRun statement(*lease.session, *lease.dialect, deadline);
    SqlResult result;
    ConflictPause pause;
    for (;;) {
        result = statement(lease.dialect->begin);
        if (result.isDone())
            result = body(statement);
        if (result.isDone()) {
            result = statement("commit");
            // A commit that failed may count all the same, after a power cut for instance.
            if (result.status == SqlStatus::Failed)
                result.status = SqlStatus::Lost;
        }
        if (result.isDone())
            break;
        const bool isRolledBack = lease.session->isLost() || statement("rollback").isDone();
        if (result.status != SqlStatus::Conflict || !isRolledBack || deadline.left() < kConflictTime)
            break;
        pause.wait();
    }
    giveBack(std::move(lease), result);
    report(what, result);
    return result;
}

RemoteCore::Lease RemoteCore::take(Deadline deadline, const std::string& database)
{
    Lock lock(_mutex);
    awaitEmbedded(lock, deadline);
    const uint64_t generation = _generation;
    while (_isActive && !isOver(generation) && _idle.empty()) {
        ++_waiting;
        _changed.notify_all();
        const bool isInTime = _ready.wait_until(lock, deadline.end) == std::cv_status::no_timeout;
        --_waiting;
        if (!isInTime && _idle.empty())
            return {};
    }
    if (!_isActive || isOver(generation) || (!database.empty() && database != _identity))
        return {};
    Lease lease{std::move(_idle.back().session), _epoch, _dialect};
    _idle.pop_back();
    return lease;
}

void RemoteCore::giveBack(Lease lease, const SqlResult& result)
{
    const std::scoped_lock lock(_mutex);
    if (lease.epoch != _epoch || !_isActive) {
        _dead.push_back(std::move(lease.session));
        return;
    }
    if (!lease.session->isLost()) {
        _idle.push_back({std::move(lease.session), Clock::now()});
        _ready.notify_one();
        return;
    }
    _dead.push_back(std::move(lease.session));
    --_sessions;
    setLost(result.reason);
}

// Caller holds the mutex.
void RemoteCore::setLost(std::string reason)
{
    _isActive = false;
    _lostReason = std::move(reason);
    _changed.notify_all();
    _ready.notify_all();
}

void RemoteCore::report(const std::string& what, const SqlResult& result)
{
    if (result.status != SqlStatus::Failed)
        return;
    {
        const std::scoped_lock lock(_reportMutex);
        if (result.reason == _lastReport && Clock::now() - _lastReportTime < kReportPause)
            return;
        _lastReport = result.reason;
        _lastReportTime = Clock::now();
    }
    BclLog("The remote database refused %s: %s.", what.c_str(), result.reason.c_str());
}

void RemoteCore::monitor()
{
    Lock lock(_mutex);
    while (!_isStopped) {
        const uint64_t generation = _generation;
        const Cdb_remote_settings settings = _wanted;
        _isCancelled = false;
        lock.unlock();
        const std::unique_ptr<SqlEngine> engine = makeEngine(settings, _folder);
        lock.lock();
        if (engine)
            serve(lock, *engine, generation);
        else
            _changed.wait(lock, [&] { return isOver(generation); });
        _isActive = false;
        bury(lock);
    }
}

// Until other settings hold.
void RemoteCore::serve(Lock& lock, SqlEngine& engine, uint64_t generation)
{
    bool isReported = false; // the present outage
    GrowingPause pauses(kFirstPause, kLongestPause);
    auto pause = 0ms;
    while (!isOver(generation)) {
        if (_changed.wait_for(lock, pause, [&] { return isOver(generation); }))
            return;
        pause = pauses.next();

        lock.unlock();
        std::string reason;
        std::string identity;
        std::unique_ptr<SqlSession> control = open(engine, identity, reason);
        std::unique_ptr<SqlSession> first =
            control ? engine.connect({Clock::now() + kConnectTime, &_isCancelled}, reason) : nullptr;
        lock.lock();
        if (isOver(generation))
            return;
        if (!first) {
            _isFirstAttempt = false;
            _ready.notify_all();
            lock.unlock();
            if (!isReported)
                BclLog("The %s cannot be used: %s. It is tried again from time to time.", engine.name().c_str(),
                       reason.c_str());
            isReported = true;
            control.reset();
            lock.lock();
            continue;
        }

        ++_epoch;
        _dialect = &engine.dialect();
        _maxSessions = engine.maxSessions();
        _sessions = 1;
        _idle.clear();
        _idle.push_back({std::move(first), Clock::now()});
        _identity = std::move(identity);
        _lostReason.clear();
        _isActive = true;
        _isFirstAttempt = false;
        _ready.notify_all();
        const auto begin = Clock::now();
        const std::string remark = engine.remark();
        lock.unlock();
        if (isReported || !remark.empty())
            BclLog("The %s is connected%s%s.", engine.name().c_str(), remark.empty() ? "" : " ", remark.c_str());
        lock.lock();
        watch(lock, engine, *control, generation);
        _isActive = false;
        bury(lock);
        if (isOver(generation))
            return;
        const std::string lost = _lostReason;
        lock.unlock();
        BclLog("The connection to the %s is lost: %s.", engine.name().c_str(), lost.c_str());
        control.reset();
        lock.lock();
        isReported = true;
        if (Clock::now() - begin > kSteadyTime) {
            pause = 0ms;
            pauses.reset();
        }
    }
}

// Makes the tables that are missing.
std::unique_ptr<SqlSession> RemoteCore::open(SqlEngine& engine, std::string& identity, std::string& reason)
{
    auto session = engine.connect({Clock::now() + kConnectTime, &_isCancelled}, reason);
    if (!session)
        return nullptr;
    const Deadline deadline{Clock::now() + kPrepareTime, &_isCancelled};
    const SqlRun run(*session, engine.dialect(), deadline);
    SqlResult result = makeTables(run);
    if (result.isDone())
        result = readIdentity(run, identity);
    reason = result.reason;
    return result.isDone() ? std::move(session) : nullptr;
}

// Until the connection is lost or other settings hold.
void RemoteCore::watch(Lock& lock, SqlEngine& engine, SqlSession& control, uint64_t generation)
{
    auto next = Clock::now() + kProbePause;
    while (_isActive && !isOver(generation)) {
        const auto isWanted = [&] { return _waiting > _idle.size() && _sessions < _maxSessions; };
        _changed.wait_until(lock, next, [&] { return !_isActive || isOver(generation) || isWanted(); });
        if (!_isActive || isOver(generation))
            return;
        if (isWanted())
            addSession(lock, engine, generation);
        if (Clock::now() >= next) {
            probe(lock, control, generation);
            next = Clock::now() + kProbePause;
        }
        if (!_dead.empty()) {
            auto dead = std::exchange(_dead, {});
            lock.unlock();
            dead.clear(); // without the lock: it may take a while
            lock.lock();
        }
    }
}

void RemoteCore::addSession(Lock& lock, SqlEngine& engine, uint64_t generation)
{
    lock.unlock();
    std::string reason;
    std::unique_ptr<SqlSession> session = engine.connect({Clock::now() + kProbeTime, &_isCancelled}, reason);
    lock.lock();
    if (!_isActive || isOver(generation)) {
        _dead.push_back(std::move(session));
        return;
    }
    if (!session) {
        setLost(reason);
        return;
    }
    ++_sessions;
    _idle.push_back({std::move(session), Clock::now()});
    _ready.notify_one();
}

void RemoteCore::probe(Lock& lock, SqlSession& control, uint64_t generation)
{
    const std::string& statement = remoteTables().front()->probe();
    const auto tried = [&](SqlSession& session) {
        lock.unlock();
        const SqlResult result = session.run(statement, {}, nullptr, {Clock::now() + kProbeTime, &_isCancelled});
        lock.lock();
        // A table that somebody locks: the server has answered.
        const bool isAlive = result.isDone() || result.status == SqlStatus::Conflict;
        if (!isAlive && _isActive && !isOver(generation))
            setLost(result.reason);
        return isAlive && _isActive && !isOver(generation);
    };
    if (!tried(control))
        return;
    // At most one a round. Operations take from the back: what rests longest lies in front.
    if (_idle.empty() || Clock::now() - _idle.front().since < kIdleTime)
        return;
    std::unique_ptr<SqlSession> session = std::move(_idle.front().session);
    _idle.erase(_idle.begin());
    if (tried(*session)) {
        _idle.push_back({std::move(session), Clock::now()});
        _ready.notify_one();
    } else
        _dead.push_back(std::move(session));
}

void RemoteCore::bury(Lock& lock)
{
    std::vector<std::unique_ptr<SqlSession>> dead = std::exchange(_dead, {});
    for (Idle& idle : _idle)
        dead.push_back(std::move(idle.session));
    _idle.clear();
    _sessions = 0;
    lock.unlock();
    dead.clear();
    lock.lock();
}
