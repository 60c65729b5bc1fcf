// Calls whose booking is not certain yet, in a file of our own. Used by one thread.
#pragma once

#include "dbproxy2/remote_db.h"
#include "dbsqlite/connection.h"

#include <vector>

struct BookingEntry {
    std::string id;
    std::string database; // the identity of the one in which the booking lies; empty: not known, of an older journal
    Cdb_balance_key account;
    int64_t cost = 0; // if it ended now; of an ended call: for good
    bool isEnded = false;
    bool isKept = false; // of an ended call: it is on disk as it stands here
};

class BookingJournal {
public:
    explicit BookingJournal(std::string path) : _path(std::move(path)) {}

    [[nodiscard]] bool isOnDisk() const;
    // Opens the file, and makes it when it is missing; false when it cannot be used: a log line says why, once. Tried
    // again at the next call.
    [[nodiscard]] bool open();
    // All entries, from the oldest. Opened only; false: not all could be read.
    [[nodiscard]] bool load(std::vector<BookingEntry>& entries);
    // Adds or replaces; true: it is on disk.
    [[nodiscard]] bool put(const BookingEntry& entry);
    // An entry that could not be removed is settled once more after the next start, which changes nothing.
    void remove(const std::string& id);

private:
    void report(const std::string& reason);

    const std::string _path;
    std::unique_ptr<DbConnection> _db;
    std::string _reported;
};
