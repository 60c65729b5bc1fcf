// Whose rights a call uses: for whom it counts, and how long it may last.
#include "calls/call.h"

#include "calls/call_words.h"

#include <algorithm>
#include <utility>

namespace {

// 0 is none.
template <typename T>
T smaller(T one, T other)
{
    return one == 0 || other == 0 ? std::max(one, other) : std::min(one, other);
}

} // namespace

// The caller, or who had it made for a transfer; and those who have sent it on.
std::vector<std::string> Call::callersOfWinner() const
{
    std::vector<std::string> users = _forwarders;
    if (_source.kind == SourceKind::User)
        users.push_back(_source.name);
    return users;
}

void Call::countPayers()
{
    std::vector<std::string> wanted = callersOfWinner();
    wanted.insert(wanted.end(), _caller.payers.begin(), _caller.payers.end());
    if (_winner >= 0)
        wanted.insert(wanted.end(), legAt(_winner)->payers.begin(), legAt(_winner)->payers.end());
    // As long as he is in it himself, that is his part.
    if (_callerShare.isCounted() && _callerShare.isMade())
        std::erase(wanted, _callerShare.user());
    std::sort(wanted.begin(), wanted.end());
    wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
    std::erase_if(_payers, [&wanted](const UserShare& share) {
        return !std::binary_search(wanted.begin(), wanted.end(), share.user());
    });
    for (const std::string& user : wanted)
        if (std::none_of(_payers.begin(), _payers.end(), [&user](const auto& one) { return one.user() == user; }))
            _payers.emplace_back(UserPart::Paying).begin(_host.users(), user, true);
}

uint32_t Call::longest() const
{
    if (_target >= _answer.targets.size())
        return _longest;
    const uint32_t own =
        _answer.targets[_target].maxDuration != 0 ? _answer.targets[_target].maxDuration : _answer.maxDuration;
    return smaller(_longest, own);
}

int64_t Call::talkUntilMs() const
{
    // Who calls for help talks as long as he has to.
    if (_winner < 0 || _answer.isEmergency)
        return 0;
    return smaller(_talkUntilMs, smaller(_caller.untilMs, legAt(_winner)->untilMs));
}

// From the answer on. The caller takes his own limit with him when he is transferred.
void Call::startDuration(int64_t now)
{
    const auto end = [now](uint32_t seconds) { return seconds == 0 ? 0 : now + seconds * kMsPerSecond; };
    _talkUntilMs = end(longest());
    if (_origin == nullptr)
        _caller.untilMs = end(_forwarders.empty() ? longest() : _callersLongest);
}

// What called a side goes on as long as it does.
void Call::takeCallAlong(CallLeg& side)
{
    side.records.push_back(std::exchange(_record, {}));
    for (std::string& user : callersOfWinner())
        side.payers.push_back(std::move(user));
    side.untilMs = smaller(side.untilMs, std::exchange(_talkUntilMs, 0));
}
