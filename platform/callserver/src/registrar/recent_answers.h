// What a user was answered a moment ago, for requests that come again because the answer was lost.
#pragma once

#include "sip/sip_messages.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// The last answers to one user's right credentials. One thread.
class RecentAnswers {
public:
    // Nobody sends a request again after that time (RFC 3261 section 17.1.2.2, timer F).
    static constexpr int64_t kRepeatMs = 32'000;
    // Several telephones of one user at once.
    static constexpr size_t kMaxAnswers = 16;

    struct Answer {
        uint64_t request = 0; // its fingerprint
        int64_t atMs = 0;
        // Null: 200 with the user's contacts, which are listed anew.
        std::unique_ptr<const RegisterReply> other;
    };

    // Null when there is none.
    [[nodiscard]] const Answer* find(uint64_t request, int64_t nowMs) const;
    void add(uint64_t request, int64_t nowMs, const RegisterReply& reply);

private:
    std::vector<Answer> _answers;
};
