// The money of running calls: what they may cost is reserved, what they have cost is booked, each exactly once.
#pragma once

#include "dbproxy2/remote_db.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

enum class Ebooking_result : uint8_t {
    Done,        // reserved; or booked
    Refused,     // not covered by the balance, or there is no such account
    Unavailable, // the database or the journal cannot be used now; what may have been reserved is given back
    Kept,        // an end: on disk, and booked when the database is back
    NotKept,     // an end: neither booked nor on disk; tried again as long as the process lives
};

// One per process that serves calls, made when it starts and nowhere else: it takes every call that the journal
// ("bookings.db" in the data folder) still holds for dead. Requests may come from any thread and wait for nothing; they
// are done in the order in which they came, on a thread of its own. Completions are called there, while no lock is
// held: they post what follows and return.
//
// What a process leaves behind when it is killed is booked at its next start: a call that had ended with its cost, one
// that had not with the cost that was told last.
class Cdb_bookings {
public:
    using Completion = std::function<void(Ebooking_result)>;

    // `database` must outlive it.
    Cdb_bookings(Cdb_remote& database, const std::string& dataFolder);
    // Keeps the ends that wait on disk and leaves; open calls count as dead.
    ~Cdb_bookings();
    Cdb_bookings(const Cdb_bookings&) = delete;
    Cdb_bookings& operator=(const Cdb_bookings&) = delete;

    // For a call: unlike any other, on whatever machine it was made.
    [[nodiscard]] static std::string newId();

    // Raises what the balance holds ready for a call to `total` cents; the first one opens the call. `costSoFar` is
    // what it would cost if it ended now: what is booked when nobody can tell its end any more. After a first
    // reservation that was not Done the call is unknown here. Refused for one whose end waits to be booked.
    void reserve(const std::string& id, const Cdb_balance_key& account, int64_t total, int64_t costSoFar,
                 Completion completion);

    // Ends a call: what was reserved and not used comes back, what is missing is taken, below zero too. A cost that
    // cannot be is brought into its bounds, with a log line: the call ends all the same.
    void end(const std::string& id, int64_t cost, Completion completion);

    // True when every end has been booked; waits for that, at most so long.
    [[nodiscard]] bool waitUntilBooked(std::chrono::milliseconds time);
    // True when every end that has come is booked or on disk; waits for that, at most so long. One operation of the
    // database may have to come to its end before.
    [[nodiscard]] bool waitUntilKept(std::chrono::milliseconds time);

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
