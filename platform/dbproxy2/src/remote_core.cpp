#include "remote_core.h"

#include "bcl2/log.h"
#include "growing_pause.h"
#include "remote_times.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kReportPause = 60s; // the same refusal is not logged more often
constexpr size_t kMostReports = 100;

// Between the attempts of one operation.
class ConflictPause {
public:
    void wait() { std::this_thread::sleep_for(someOf(_pause.next(), _random)); }

private:
    GrowingPause _pause{kFirstConflictPause, kLongestConflictPause};
    std::minstd_rand _random{std::random_device()()};
};

} // namespace

RemoteCore::~RemoteCore()
{
    apply({});
    const Deadline deadline = Deadline::in(kStopTime);
    for (const auto& left : _left)
        left->finish(deadline);
}

void RemoteCore::apply(const Cdb_remote_settings& settings)
{
    const std::scoped_lock lock(_mutex);
    if (settings == _settings)
        return;
    _settings = settings;
    if (_link) {
        _link->leave();
        _left.push_back(std::exchange(_link, nullptr));
    }
    std::erase_if(_left, [](const std::shared_ptr<RemoteLink>& left) {
        const bool hasEnded = left->hasEnded();
        if (hasEnded)
            left->finish(Deadline::in(0ms));
        return hasEnded;
    });
    if (settings.address.empty())
        return;
    _link = std::make_shared<RemoteLink>(settings, _folder);
    _link->start();
}

std::shared_ptr<RemoteLink> RemoteCore::link()
{
    const std::scoped_lock lock(_mutex);
    return _link;
}

bool RemoteCore::isActive()
{
    const auto now = link();
    return now && now->isActive();
}

std::string RemoteCore::identity()
{
    const auto now = link();
    return now ? now->identity() : std::string();
}

SqlResult RemoteCore::run(const std::string& what, std::string_view sql, std::span<const SqlValue> values,
                          SqlRows* rows)
{
    const Deadline deadline = Deadline::in(kOperationTime);
    const auto now = link();
    RemoteLink::Lease lease = now ? now->take(deadline, {}) : RemoteLink::Lease();
    if (!lease.session)
        return {SqlStatus::Failed, 0, "not connected"};
    SqlResult result = lease.session->run(sql, values, rows, deadline);
    ConflictPause pause;
    while (result.status == SqlStatus::Conflict && deadline.left() > kConflictTime) {
        pause.wait();
        result = lease.session->run(sql, values, rows, deadline);
    }
    now->giveBack(std::move(lease), result.reason);
    report(what, result);
    return result;
}

SqlResult RemoteCore::transact(const std::string& what, const std::string& database,
                               const std::function<SqlResult(const SqlRun&)>& body)
{
    const Deadline deadline = Deadline::in(kOperationTime);
    const auto now = link();
    RemoteLink::Lease lease = now ? now->take(deadline, database) : RemoteLink::Lease();
    if (!lease.session)
        return {SqlStatus::Failed, 0, "not connected"};
    const SqlRun statement(*lease.session, *lease.dialect, deadline);
    SqlResult result;
    std::string lost; // why the session is, when it is
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
        lost = result.reason;
        if (result.isDone() || lease.session->isLost())
            break;
        const SqlResult rolledBack = statement("rollback");
        if (lease.session->isLost())
            lost = rolledBack.reason;
        if (result.status != SqlStatus::Conflict || !rolledBack.isDone() || deadline.left() < kConflictTime)
            break;
        pause.wait();
    }
    now->giveBack(std::move(lease), lost);
    report(what, result);
    return result;
}

void RemoteCore::report(const std::string& what, const SqlResult& result)
{
    if (result.status != SqlStatus::Failed)
        return;
    {
        const std::scoped_lock lock(_reportMutex);
        const auto now = Clock::now();
        std::erase_if(_reports, [now](const auto& report) { return now - report.second >= kReportPause; });
        // Reasons that name what they are about could be many.
        if (_reports.size() >= kMostReports || !_reports.try_emplace(result.reason, now).second)
            return;
    }
    BclLog("The remote database refused %s: %s.", what.c_str(), result.reason.c_str());
}
