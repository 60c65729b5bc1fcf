#include "calls/call_counts.h"

#include "bcl2/text.h"

#include <utility>

void UserCalls::tell(const std::string& user, Counts& counts)
{
    Eusr_stage stage = counts.total() == 0 ? kUsrOffline : kUsrIdle;
    if (counts.of(UserPart::Talking) != 0)
        stage = kUsrTalking;
    else if (counts.of(UserPart::Ringing) != 0)
        stage = kUsrRinging;
    else if (counts.of(UserPart::Calling) != 0)
        stage = kUsrCallingOut;
    // A call that has not rung yet makes no state of its own.
    if (stage == kUsrIdle)
        stage = kUsrOffline;
    if (std::exchange(counts.stage, stage) != stage)
        _sink(user, stage);
}

void UserCalls::add(const std::string& user, UserPart part, bool isMade)
{
    if (user.empty())
        return;
    Counts& counts = _users[user];
    ++counts.parts[static_cast<size_t>(part)];
    counts.made += isMade ? 1 : 0;
    tell(user, counts);
}

void UserCalls::change(const std::string& user, UserPart from, UserPart to)
{
    const auto it = _users.find(user);
    if (it == _users.end() || from == to)
        return;
    --it->second.parts[static_cast<size_t>(from)];
    ++it->second.parts[static_cast<size_t>(to)];
    tell(user, it->second);
}

void UserCalls::remove(const std::string& user, UserPart part, bool isMade)
{
    const auto it = _users.find(user);
    if (it == _users.end())
        return;
    Counts& counts = it->second;
    --counts.parts[static_cast<size_t>(part)];
    counts.made -= isMade ? 1 : 0;
    tell(user, counts);
    if (counts.total() == 0)
        _users.erase(it);
}

const UserCalls::Counts* UserCalls::find(const std::string& user) const
{
    const auto it = _users.find(user);
    return it == _users.end() ? nullptr : &it->second;
}

bool UserCalls::mayRing(const Cdb_usr_info& user) const
{
    const Counts* counts = find(std::string(BclFieldText(user.usrName)));
    const unsigned incoming = counts == nullptr ? 0 : counts->of(UserPart::Pending) + counts->of(UserPart::Ringing);
    const unsigned busy = counts == nullptr ? 0 : counts->of(UserPart::Talking) + counts->of(UserPart::Calling);
    // He is free: what others talk about at his expense keeps no telephone busy.
    if (incoming == 0 && busy == 0)
        return true;
    // Nobody waits while the user is free: the first call just rings.
    const unsigned waiting = busy != 0 || incoming == 0 ? incoming : incoming - 1;
    return user.hasFlag(kUsrCallWaiting) && waiting < user.callWaitingLimit;
}

unsigned UserCalls::ofUser(const std::string& user) const
{
    const Counts* counts = find(user);
    return counts == nullptr ? 0 : counts->total();
}

unsigned UserCalls::madeByUser(const std::string& user) const
{
    const Counts* counts = find(user);
    return counts == nullptr ? 0 : counts->made;
}

UserShare& UserShare::operator=(UserShare&& other) noexcept
{
    if (this == &other)
        return *this;
    end();
    _calls = std::exchange(other._calls, nullptr);
    _user = std::move(other._user);
    _part = other._part;
    _isMade = other._isMade;
    return *this;
}

void UserShare::begin(UserCalls& calls, const std::string& user, bool isMade)
{
    end();
    _user = user;
    _isMade = isMade;
    if (user.empty())
        return;
    _calls = &calls;
    calls.add(user, _part, isMade);
}

void UserShare::end()
{
    if (UserCalls* const calls = std::exchange(_calls, nullptr); calls != nullptr)
        calls->remove(_user, _part, _isMade);
}

void UserShare::setPart(UserPart part)
{
    if (_calls != nullptr)
        _calls->change(_user, _part, part);
    _part = part;
}
