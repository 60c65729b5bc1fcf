// What the steps of an analysis share: the call as it stands, and the answer that they make.
#pragma once

#include "dialplan/dial_plan.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

// A number or name as part of a step: not longer than what one can read; "(none)" for an empty one.
[[nodiscard]] std::string shownText(std::string_view text);
// "SIP trunk 3"
[[nodiscard]] std::string numbered(std::string_view what, uint32_t number);
// The smaller of two limits of which 0 or less is none.
[[nodiscard]] uint32_t smallerLimit(uint32_t limit, int64_t other);
// 0 or less is no limit.
[[nodiscard]] bool isLimitReached(int64_t limit, unsigned calls);

// Lives for one call of analyzeCall.
struct Analysis {
    enum class Heard : uint8_t { Yes, No }; // an announcement tells the caller

    const DialPlanTables& tables;
    const CallRequest& request;
    const CallCounts& counts;
    Cbcl_timestamp now;

    std::shared_ptr<const Cdb_usr_info> user;      // who calls, null when it is no local user
    std::shared_ptr<const Cdb_ext_line_info> line; // that the call came in over, null when none did
    uint32_t maxDuration = 0;                      // s, of the caller and the rule
    bool isNumberRemoved = false;                  // rewriting keeps the caller's number from everybody
    DialAnswer answer;

    void step(std::initializer_list<std::string_view> parts);
    // The call is not handled any further.
    void refuse(int status, std::initializer_list<std::string_view> reason, Heard heard);
    [[nodiscard]] bool isRefused() const { return answer.status != 0; }

    // False leaves a step for a condition that is not stored.
    [[nodiscard]] bool holds(uint32_t timeCondition);
    // Applies a transition; 0 is none. False when none was applied; a step tells of one that is not stored.
    [[nodiscard]] bool applyTransition(uint32_t transition, std::string& number);
    // For calls that are about to leave by a line or trunk; refuses those that may not.
    [[nodiscard]] bool mayLeave();

    void addTarget(DialTarget::Kind kind, std::string name, uint32_t peerId = 0);
};
