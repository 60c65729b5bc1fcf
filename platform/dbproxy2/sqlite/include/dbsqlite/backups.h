// Backups of a database while it is written to: consistent copies that are checked, of which the last ten are kept.
#pragma once

#include "bcl2/date.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

// Bytes that a process without special rights may still write where `folder` lies; -1 when the system does not say.
[[nodiscard]] int64_t freeBytes(const std::string& folder);

// What is copied and where to. Clock and room are those of the system, but for tests.
struct BackupPlan {
    std::string path;   // the database
    std::string folder; // with a separator at its end; made when it is missing. Several databases may share it
    std::string name;   // the names of its backups begin with it; letters only
    int applicationId;  // that the database carries
    std::function<Cbcl_timestamp()> clock = BclGetCurrTimestamp;
    std::function<int64_t(const std::string&)> room = freeBytes;
};

struct BackupResult {
    std::string file;   // the new backup, empty when there is none
    std::string reason; // why there is none; empty when it was ended by `mayGoOn`
};

// Makes one backup and removes those beyond the last ten. Other processes and threads write to the database meanwhile
// as fast as ever; the copy holds one moment of it. `mayGoOn` is asked after each small step: it may wait, and ends the
// backup by false. Nothing is logged.
[[nodiscard]] BackupResult makeBackup(const BackupPlan& plan, const std::function<bool()>& mayGoOn);

// Opens a copy as a restored store would be opened: its structure, what it says of itself, every row of `tables` (names
// parted by commas) and that it is one file. False with a reason.
[[nodiscard]] bool isBackupWhole(const BackupPlan& plan, const std::string& copy, int64_t version,
                                 const std::string& tables, const std::function<bool()>& mayGoOn, std::string& reason);

// When the newest backup was made, 0 when there is none. Those of days to come, from a clock that was wrong, do not
// count.
[[nodiscard]] Cbcl_timestamp lastBackup(const BackupPlan& plan);

// Makes a backup when the last one is a day old, on a thread of its own with the lowest priority, and logs what came of
// it. A failed one is tried again after an hour.
class DailyBackup {
public:
    // `firstLook`: after the start, which has better things to do than copying.
    DailyBackup(BackupPlan plan, std::chrono::seconds firstLook);
    ~DailyBackup(); // ends a backup under way
    DailyBackup(const DailyBackup&) = delete;
    DailyBackup& operator=(const DailyBackup&) = delete;

    // Looks at the clock without waiting for the next minute, and returns when what was due is done.
    void lookNow();

private:
    void run(const std::stop_token& stop, std::chrono::seconds firstLook);
    void look(const std::stop_token& stop);

    const BackupPlan _plan;
    Cbcl_timestamp _failedAt = 0; // of the thread

    std::mutex _mutex;
    std::condition_variable_any _changed;
    uint64_t _asked = 0; // looks that lookNow() waits for
    uint64_t _done = 0;
    std::jthread _thread; // ends before the others
};
