#include "registrar/registration_writer.h"

#include "callserver/event_ids.h"
#include "server_log.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <chrono>
#include <utility>

namespace {

// One transaction for what comes within this time: a page may be that late, not a telephone.
constexpr std::chrono::milliseconds kCollectTime{100};
// After a failed batch, when nothing new comes.
constexpr std::chrono::seconds kRetryPause{5};

} // namespace

void RegistrationWriter::add(UserChange&& change)
{
    const Cdb_sip_reg& row = change.stored.row;
    News news{change.stored.userName,
              change.isAgentNew ? std::string(BclFieldText(row.userAgent)) : std::string(),
              {},
              row.usrStage,
              change.isStateNew,
              change.isAgentNew,
              change.isAddressNew,
              std::move(change.lines)};
    if (change.isAddressNew) {
        Cbcl_uaddr address;
        address.setAddress(row.preAddr, row.prePort);
        news.address = address.getURLStr();
    }
    const bool isNews = news.isStateNew || news.isAgentNew || news.isAddressNew || !news.lines.empty();
    const std::lock_guard guard(_mutex);
    const bool isFirst = _states.empty() && _news.empty();
    if (!news.user.empty())
        addTo(_states, std::move(change.stored));
    if (isNews)
        _news.push_back(std::move(news));
    // While the writer collects it is left asleep: waking it for each change would cost more than the change.
    if (isFirst)
        _wake.notify_one();
}

void RegistrationWriter::addTo(States& states, Cdb_user_bindings&& later)
{
    if (const auto it = states.find(later.userName); it != states.end())
        it->second.follow(std::move(later));
    else
        states.emplace(later.userName, std::move(later));
}

void RegistrationWriter::run()
{
    std::unique_lock lock(_mutex);
    for (;;) {
        const auto hasWork = [this] { return _isFlushing || !_states.empty() || !_news.empty(); };
        if (_unwritten.empty())
            _wake.wait(lock, hasWork);
        else
            _wake.wait_for(lock, kRetryPause, hasWork);
        _hurry.wait_for(lock, kCollectTime, [this] { return _isFlushing; });
        States states = std::exchange(_states, {});
        const std::vector<News> news = std::exchange(_news, {});
        _isFlushing = false;
        _isWriting = true;
        lock.unlock();
        writeBatch(std::move(states));
        for (const News& item : news)
            publish(item);
        lock.lock();
        _isWriting = false;
        _done.notify_all();
    }
}

void RegistrationWriter::writeBatch(States&& states)
{
    // What failed before is older than what came since.
    States all = std::exchange(_unwritten, {});
    for (auto& [user, bindings] : states)
        addTo(all, std::move(bindings));
    if (all.empty())
        return;
    std::vector<Cdb_user_bindings> batch;
    batch.reserve(all.size());
    for (auto& [user, bindings] : all)
        batch.push_back(std::move(bindings));
    std::string reason;
    if (_write(batch, reason) == 0) {
        if (std::exchange(_isFailing, false))
            ServerLog("Registrations are stored again.");
        return;
    }
    for (Cdb_user_bindings& bindings : batch)
        _unwritten.insert_or_assign(bindings.userName, std::move(bindings));
    if (!std::exchange(_isFailing, true))
        ServerLog("Registrations cannot be stored: %s. They work; a restart of the server would lose the latest.",
                  reason.c_str());
}

void RegistrationWriter::publish(const News& news)
{
    if (news.isStateNew)
        BclPubEvent(kEvtUserState, news.user.c_str(), &news.state);
    if (news.isAgentNew)
        BclPubEvent(kEvtUserAgent, news.user.c_str(), news.agent.c_str());
    if (news.isAddressNew)
        BclPubEvent(kEvtUserAddress, news.user.c_str(), news.address.c_str());
    for (const std::string& line : news.lines)
        ServerLog("%s", line.c_str());
}

bool RegistrationWriter::flush(unsigned timeoutMs)
{
    std::unique_lock lock(_mutex);
    if (_states.empty() && _news.empty() && !_isWriting && _unwritten.empty())
        return true;
    // A batch that is under way leaves the flag for the next one, which holds all that was added before this call.
    _isFlushing = true;
    _wake.notify_one();
    _hurry.notify_one();
    return _done.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !_isWriting && !_isFlushing; }) &&
           _unwritten.empty();
}
