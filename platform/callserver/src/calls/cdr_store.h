// Brings finished calls to disk.
#pragma once

#include "cachedb2/call_details.h"
#include "callserver/call_record.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

// Collects records for a moment and appends them to cdr.db as one batch. Has a thread of its own: calls never wait for
// the disk. While it takes nothing the records wait here, as far as there is room; what comes then is dropped, with a
// log line.
class CdrStore {
public:
    // 24 MB: the calls of a busy office while somebody who reads the log makes room on the disk.
    static constexpr size_t kMaxWaiting = 50'000;

    // The folder with a separator at its end.
    explicit CdrStore(std::string dataFolder) : _file(std::move(dataFolder) + "cdr.db") {}
    CdrStore(const CdrStore&) = delete;
    CdrStore& operator=(const CdrStore&) = delete;

    // The record of a leg that has ended, with its number. Any thread; never waits for a disk.
    void add(int id, const Ccdr_record_data& record);
    // The body of the thread. Does not return.
    void run();
    // Has everything written that was added before; waits at most so long. False: not all of it could be. Any thread.
    [[nodiscard]] bool flush(unsigned timeoutMs);

private:
    using Records = std::deque<Cdb_call_detail>;

    [[nodiscard]] bool write(Records& records, std::string& reason);
    void report(bool isWritten, const std::string& reason, uint64_t lost);

    std::mutex _mutex;              // held for moves only, never during a write
    std::condition_variable _wake;  // there is work
    std::condition_variable _hurry; // it shall be written at once
    std::condition_variable _done;
    Records _added;
    size_t _waiting = 0; // those, and the ones that the thread has taken
    uint64_t _lost = 0;  // since the thread looked
    uint64_t _flushesAsked = 0;
    uint64_t _flushesDone = 0;
    bool _isAllWritten = true; // when a flush was done last

    // The thread's own.
    Cdb_call_details _file;
    bool _isFailing = false;
    uint64_t _lostSinceFailing = 0;
};
