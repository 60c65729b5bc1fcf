// How long the remote database takes at most for what.
#pragma once

#include <algorithm>
#include <chrono>

// Of an operation; with what is around it nobody waits longer than two seconds.
constexpr std::chrono::milliseconds kOperationTime{1900};
// Somebody else was in the way: what is begun later than this might not end in time.
constexpr std::chrono::milliseconds kConflictTime = kOperationTime / 2;
constexpr std::chrono::milliseconds kFirstConflictPause{2};
constexpr std::chrono::milliseconds kLongestConflictPause{100};

// A loss is noticed within five seconds, also while nobody asks.
constexpr std::chrono::milliseconds kProbePause{1900};
constexpr std::chrono::milliseconds kProbeTime{2000};
constexpr std::chrono::milliseconds kSessionTime{3000}; // for a further session
constexpr std::chrono::milliseconds kRefusalTime{1000}; // a server that is there refuses one within this
static_assert(kProbePause + std::max(kRefusalTime + kProbeTime, kSessionTime) < std::chrono::seconds(5));
constexpr std::chrono::seconds kIdleTime{30}; // a session that rested longer is tried before somebody gets it

constexpr std::chrono::milliseconds kConnectTime{5000};
constexpr std::chrono::milliseconds kAddressTime{2000}; // for each address of a name
static_assert(kAddressTime < kSessionTime && 2 * kAddressTime < kConnectTime,
              "a good address may stand behind a dead one, and for the first connection behind two");
constexpr std::chrono::seconds kPrepareTime{20}; // new tables on a cluster
constexpr std::chrono::milliseconds kFirstPause{1000};
constexpr std::chrono::milliseconds kLongestPause{30000};
constexpr std::chrono::seconds kSteadyTime{2}; // a connection that lived longer is come back to at once
constexpr std::chrono::milliseconds kStopTime{3000};
