// The output of call analysis: where a call goes or why it is refused, and how that came about.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct DialTarget {
    enum class Kind : uint8_t { LocalUser, Line, Trunk, Service };

    Kind kind = Kind::LocalUser;
    std::string name;         // of the user or line; of a service what it is: "ring group 3"
    uint32_t peerId = 0;      // of a trunk
    std::string caller;       // as sent to this target, after its own rules
    std::string called;       // likewise
    uint32_t maxDuration = 0; // s from answer, with the target's own limit; 0: none
    bool isFull = false;      // a line for an emergency call: it takes the place of another one
};

// One line for the administrator: the rule that matched, or why none did.
struct DialStep {
    std::string text;
};

struct DialAnswer {
    int status = 0;          // 0: the targets are to be tried in their order; else the call is refused with it
    std::string reason;      // why, with a status only: for log, trace and the administrator
    std::string caller;      // after all changes; "anonymous" where rewriting has removed the number
    std::string called;      // after all changes
    std::string displayName; // empty: as sent by the phone, or none
    bool isDisplayNameRemoved = false; // with an empty display name: none is sent, also not the phone's
    bool isAnonymous = false;          // the number is hidden: anonymous From and Privacy: id (RFC 3323)
    std::string dialPlan;              // in which the called number was analyzed
    std::vector<DialTarget> targets;
    uint32_t maxDuration = 0;    // s from answer, of the first target; 0: none
    bool isEmergency = false;    // takes the place of another call on a full line
    bool mayAnnounce = false;    // a refusal that the caller hears an announcement of
    std::vector<DialStep> steps; // in order
    // Time conditions that a record names and that are not stored: they never hold.
    std::vector<uint32_t> missingTimeConditions;
};
