#include "remote_link.h"

#include "bcl2/background.h"
#include "bcl2/log.h"
#include "embedded_engine.h"
#include "growing_pause.h"
#include "maria_engine.h"
#include "prepare_database.h"
#include "remote_table.h"
#include "remote_times.h"

#include <utility>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::unique_ptr<SqlEngine> makeEngine(const Cdb_remote_settings& settings, const std::string& folder)
{
    if (settings.address == kEmbeddedDatabase)
        return makeEmbeddedEngine(folder + "billing.db");
    return makeMariaEngine({settings.address, settings.port, settings.user, settings.password, settings.database,
                            folder + "remote-ca.pem"});
}

} // namespace

RemoteLink::RemoteLink(Cdb_remote_settings settings, std::string folder)
    : _settings(std::move(settings)),
      _folder(std::move(folder)),
      _isFirstAttempt(_settings.address == kEmbeddedDatabase)
{}

void RemoteLink::start()
{
    _thread = BclStartThread("remote-db", [self = shared_from_this()](const std::stop_token&) { self->monitor(); });
    if (_thread.joinable())
        return;
    const std::scoped_lock lock(_mutex);
    _isFirstAttempt = false;
    _hasEnded = true;
}

void RemoteLink::leave()
{
    const std::scoped_lock lock(_mutex);
    _isLeft = true;
    _isActive = false;
    _changed.notify_all();
    _ready.notify_all();
}

bool RemoteLink::hasEnded()
{
    const std::scoped_lock lock(_mutex);
    return _hasEnded;
}

void RemoteLink::finish(Deadline deadline)
{
    if (!_thread.joinable())
        return;
    bool isInTime = false;
    {
        Lock lock(_mutex);
        isInTime = _ready.wait_until(lock, deadline.end, [this] { return _hasEnded; });
    }
    if (isInTime)
        _thread.join();
    else
        _thread.detach(); // it hangs outside of our code, and keeps what it uses
}

bool RemoteLink::isActive()
{
    Lock lock(_mutex);
    awaitEmbedded(lock, Deadline::in(kOperationTime));
    return _isActive;
}

std::string RemoteLink::identity()
{
    Lock lock(_mutex);
    awaitEmbedded(lock, Deadline::in(kOperationTime));
    return _isActive ? _identity : std::string();
}

void RemoteLink::awaitEmbedded(Lock& lock, Deadline deadline)
{
    _ready.wait_until(lock, deadline.end, [this] { return !_isFirstAttempt || _isLeft; });
}

RemoteLink::Lease RemoteLink::take(Deadline deadline, const std::string& database)
{
    Lock lock(_mutex);
    awaitEmbedded(lock, deadline);
    while (_isActive && _idle.empty()) {
        ++_waiting;
        _changed.notify_all();
        const bool isInTime = _ready.wait_until(lock, deadline.end) == std::cv_status::no_timeout;
        --_waiting;
        if (!isInTime && _idle.empty())
            return {};
    }
    if (!_isActive || (!database.empty() && database != _identity))
        return {};
    Lease lease{std::move(_idle.back().session), _epoch, _dialect};
    _idle.pop_back();
    ++_inHands;
    return lease;
}

void RemoteLink::giveBack(Lease lease, const std::string& reason)
{
    const std::scoped_lock lock(_mutex);
    --_inHands;
    const bool isOfNow = _isActive && lease.epoch == _epoch;
    if (isOfNow && !lease.session->isLost()) {
        _idle.push_back({std::move(lease.session), Clock::now()});
        _ready.notify_one();
        return;
    }
    _dead.push_back(std::move(lease.session));
    _changed.notify_all();
    if (!isOfNow)
        return;
    --_sessions;
    setLost(reason);
}

// Caller holds the mutex.
void RemoteLink::setLost(std::string reason)
{
    _isActive = false;
    _lostReason = std::move(reason);
    _changed.notify_all();
    _ready.notify_all();
}

void RemoteLink::monitor()
{
    const std::unique_ptr<SqlEngine> engine = makeEngine(_settings, _folder);
    bool isReported = false; // the present outage
    GrowingPause pauses(kFirstPause, kLongestPause);
    auto pause = 0ms;
    while (!isLeftWithin(pause)) {
        pause = pauses.next();
        std::string reason;
        Connection connection = connect(*engine, reason);
        if (_isLeft)
            break;
        if (!connection.first) {
            endFirstAttempt();
            if (!isReported)
                BclLog("The %s cannot be used: %s. It is tried again from time to time.", engine->name().c_str(),
                       reason.c_str());
            isReported = true;
            continue;
        }
        const auto begin = Clock::now();
        if (!activate(*engine, connection))
            break;
        const std::string remark = engine->remark();
        if (isReported || !remark.empty())
            BclLog("The %s is connected%s%s.", engine->name().c_str(), remark.empty() ? "" : " ", remark.c_str());
        const std::string lost = watch(*engine, *connection.control);
        if (_isLeft)
            break;
        BclLog("The connection to the %s is lost: %s.", engine->name().c_str(), lost.c_str());
        isReported = true;
        if (Clock::now() - begin > kSteadyTime) {
            pause = 0ms;
            pauses.reset();
        }
    }
    clear();
}

// What was in the hand of an operation is closed as it comes back.
bool RemoteLink::isLeftWithin(std::chrono::milliseconds pause)
{
    const auto end = Clock::now() + pause;
    Lock lock(_mutex);
    while (!_isLeft && _changed.wait_until(lock, end, [this] { return _isLeft || !_dead.empty(); }))
        bury(lock);
    return _isLeft;
}

// With the tables that are missing made.
RemoteLink::Connection RemoteLink::connect(SqlEngine& engine, std::string& reason)
{
    Connection connection;
    connection.control = engine.connect({Clock::now() + kConnectTime, &_isLeft}, reason);
    if (!connection.control)
        return {};
    const SqlRun run(*connection.control, engine.dialect(), {Clock::now() + kPrepareTime, &_isLeft});
    const SqlResult result = prepareDatabase(run, connection.identity);
    if (result.isDone())
        connection.first = engine.connect({Clock::now() + kConnectTime, &_isLeft}, reason);
    else
        reason = result.reason;
    return connection;
}

void RemoteLink::endFirstAttempt()
{
    const std::scoped_lock lock(_mutex);
    _isFirstAttempt = false;
    _ready.notify_all();
}

// False: it has been left meanwhile.
bool RemoteLink::activate(SqlEngine& engine, Connection& connection)
{
    const std::scoped_lock lock(_mutex);
    if (_isLeft)
        return false;
    ++_epoch;
    _dialect = &engine.dialect();
    _maxSessions = engine.maxSessions();
    _identity = connection.identity;
    _sessions = 1;
    _idle.push_back({std::move(connection.first), Clock::now()});
    _isActive = true;
    _isFirstAttempt = false;
    _ready.notify_all();
    return true;
}

// Until the connection is lost: why it is.
std::string RemoteLink::watch(SqlEngine& engine, SqlSession& control)
{
    auto next = Clock::now() + kProbePause;
    Lock lock(_mutex);
    while (_isActive) {
        const auto isWanted = [this] { return _waiting > _idle.size() && _sessions < _maxSessions; };
        _changed.wait_until(lock, next, [&] { return !_isActive || isWanted() || !_dead.empty(); });
        if (_isActive && isWanted())
            addSession(lock, engine);
        if (_isActive && Clock::now() >= next) {
            probe(lock, control);
            next = Clock::now() + kProbePause;
        }
        bury(lock);
    }
    for (Idle& idle : _idle)
        _dead.push_back(std::move(idle.session));
    _idle.clear();
    _sessions = 0;
    bury(lock);
    return _lostReason;
}

void RemoteLink::addSession(Lock& lock, SqlEngine& engine)
{
    lock.unlock();
    std::string reason;
    const auto begin = Clock::now();
    std::unique_ptr<SqlSession> session = engine.connect({begin + kSessionTime, &_isLeft}, reason);
    // A server may grant so many sessions and no more: the others work. Whether it is gone, the probe tells.
    const bool isRefused = !session && Clock::now() - begin < kRefusalTime;
    if (isRefused && !_isLeft)
        BclLog("A further connection to the %s cannot be made: %s.", engine.name().c_str(), reason.c_str());
    lock.lock();
    if (isRefused)
        _maxSessions = _sessions;
    else if (!session) {
        if (_isActive)
            setLost(reason);
    } else if (!_isActive)
        _dead.push_back(std::move(session));
    else {
        ++_sessions;
        _idle.push_back({std::move(session), Clock::now()});
        _ready.notify_one();
    }
}

void RemoteLink::probe(Lock& lock, SqlSession& control)
{
    const std::string& statement = remoteTables().front()->probe();
    const auto tried = [&](SqlSession& session) {
        lock.unlock();
        const SqlResult result = session.run(statement, {}, nullptr, {Clock::now() + kProbeTime, &_isLeft});
        lock.lock();
        // A table that somebody locks: the server has answered.
        const bool isAlive = result.isDone() || result.status == SqlStatus::Conflict;
        if (!isAlive && _isActive)
            setLost(result.reason);
        return isAlive && _isActive;
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

// Without the lock, since it may take a while.
void RemoteLink::bury(Lock& lock)
{
    std::vector<std::unique_ptr<SqlSession>> dead = std::exchange(_dead, {});
    if (dead.empty())
        return;
    lock.unlock();
    dead.clear();
    lock.lock();
}

// Until the last operation has given its session back.
void RemoteLink::clear()
{
    Lock lock(_mutex);
    for (;;) {
        bury(lock);
        if (_inHands == 0 && _dead.empty())
            break;
        _changed.wait(lock, [this] { return !_dead.empty(); });
    }
    _hasEnded = true;
    _ready.notify_all();
}
