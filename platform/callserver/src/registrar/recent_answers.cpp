#include "registrar/recent_answers.h"

#include <algorithm>

const RecentAnswers::Answer* RecentAnswers::find(uint64_t request, int64_t nowMs) const
{
    const auto it = std::find_if(_answers.begin(), _answers.end(), [&](const Answer& answer) {
        return answer.request == request && nowMs - answer.atMs < kRepeatMs;
    });
    return it == _answers.end() ? nullptr : &*it;
}

void RecentAnswers::add(uint64_t request, int64_t nowMs, const RegisterReply& reply)
{
    Answer answer{request, nowMs, nullptr};
    if (reply.status != 200)
        answer.other = std::make_unique<const RegisterReply>(reply);
    const auto oldest = std::min_element(_answers.begin(), _answers.end(),
                                         [](const Answer& a, const Answer& b) { return a.atMs < b.atMs; });
    if (oldest != _answers.end() && (_answers.size() >= kMaxAnswers || nowMs - oldest->atMs >= kRepeatMs))
        *oldest = std::move(answer);
    else
        _answers.push_back(std::move(answer));
}
