// Which of several failures a caller is told.
#pragma once

#include "sip/call_message.h"

#include <optional>

// The best of the final answers of the telephones that rang together (RFC 3261 section 16.7): a global failure above
// all, then busy, then what tells more than that nobody was there.
class FailureChoice {
public:
    void add(const CallMessage& response);
    // A telephone that has said nothing, or has rung in vain.
    void addSilence();
    // What the caller is told: only what concerns him. 480 when nothing was added.
    [[nodiscard]] CallAnswer answer() const;

private:
    std::optional<CallMessage> _best;
};

// What a side is told when the other one refuses what it has asked for within the call. What would end its dialog (RFC
// 5057 section 5.1), or is for the server alone, is not for it.
[[nodiscard]] CallAnswer toldWithin(const CallMessage& response);
