// Pauses between attempts that double from the first to the longest.
#pragma once

#include <algorithm>
#include <chrono>
#include <random>

// Value of its user; one thread.
class GrowingPause {
public:
    using Time = std::chrono::milliseconds;

    constexpr GrowingPause(Time first, Time longest) : _next(first), _first(first), _longest(longest) {}

    Time next()
    {
        const Time pause = _next;
        _next = std::min(_next * 2, _longest);
        return pause;
    }
    void reset() { _next = _first; }

private:
    Time _next;
    Time _first;
    Time _longest;
};

// Between half of `pause` and all of it: those who met once are not to meet again at each further attempt.
template <class Random>
[[nodiscard]] std::chrono::microseconds someOf(GrowingPause::Time pause, Random& random)
{
    const auto all = std::chrono::microseconds(pause).count();
    return std::chrono::microseconds(std::uniform_int_distribution<int64_t>(all / 2, all)(random));
}
