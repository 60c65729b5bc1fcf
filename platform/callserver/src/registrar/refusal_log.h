// Keeps refusals that repeat themselves from filling the log.
#pragma once

#include "clock.h"

#include <string>
#include <unordered_map>

// One line a minute for the same user, source and reason. One thread.
class RefusalLog {
public:
    static constexpr int64_t kPauseMs = 60'000;
    // Lines a minute; whoever tries more users or reasons than that is attacking, and the log stays readable.
    static constexpr size_t kMaxEntries = 200;

    explicit RefusalLog(const Clock& clock) : _clock(clock) {}

    // `source` is "address:port"; repetitions are told by the address alone. `what` was refused.
    void note(const std::string& user, const std::string& address, const std::string& source, const std::string& reason,
              const char* what = "Registration");

private:
    const Clock& _clock;
    std::unordered_map<std::string, int64_t> _loggedAtMs;
    bool _isFull = false;
};
