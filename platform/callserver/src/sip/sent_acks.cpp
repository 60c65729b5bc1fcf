#include "sip/sent_acks.h"

namespace {

// Tags have no blanks in them.
std::string keyOf(const SentAcks::Success& success)
{
    std::string key;
    key.reserve(success.localTag.size() + success.remoteTag.size() + 12);
    key.append(success.localTag).append(" ").append(success.remoteTag).append(" ");
    return key += std::to_string(success.cseq);
}

} // namespace

void SentAcks::keep(const Success& success, Ack&& ack, int64_t nowMs)
{
    dropOld(nowMs);
    const int64_t until = nowMs + kKeptMs;
    std::string key = keyOf(success);
    _acks.insert_or_assign(key, Kept{std::move(ack), until});
    _ends.emplace_back(until, std::move(key));
}

const SentAcks::Ack* SentAcks::find(const Success& success, int64_t nowMs)
{
    dropOld(nowMs);
    const auto it = _acks.find(keyOf(success));
    return it == _acks.end() ? nullptr : &it->second.ack;
}

void SentAcks::dropOld(int64_t nowMs)
{
    while (!_ends.empty() && _ends.front().first <= nowMs) {
        // One that took its place ends later.
        if (const auto it = _acks.find(_ends.front().second); it != _acks.end() && it->second.untilMs <= nowMs)
            _acks.erase(it);
        _ends.pop_front();
    }
}
