#include "calls/cdr_store.h"

#include "server_log.h"

#include "bcl2/text.h"

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <vector>

namespace {

// One transaction for what ends within this time. What a killed process loses is no older, but for the time that the
// disk takes.
constexpr std::chrono::milliseconds kCollectTime{250};
// After a write that failed.
constexpr std::chrono::seconds kRetryPause{5};
// Of one transaction, so that a disk which takes nothing costs little at each attempt.
constexpr size_t kBatch = 1000;

int64_t stampOf(const Ccdr_record_data& record, Ecdr_time moment)
{
    return record.has(1U << moment) ? record.times[moment] : 0;
}

Cdb_call_detail detailOf(int id, const Ccdr_record_data& record)
{
    Cdb_call_detail detail;
    detail.recordId = id;
    detail.callId = record.callId;
    detail.peerServerId = record.peerServerId;
    detail.releaseCode = record.releaseCode;
    detail.flags = record.flags;
    detail.duration = record.duration;
    detail.startTime = stampOf(record, kCdrStart);
    detail.ringTime = stampOf(record, kCdrRing);
    detail.answerTime = stampOf(record, kCdrAnswer);
    detail.endTime = stampOf(record, kCdrEnd);
    const auto copy = [](auto& to, const auto& from) {
        static_assert(sizeof to == sizeof from);
        BclCopyText(to, sizeof to, BclFieldText(from), sizeof to);
    };
    copy(detail.callerNbr, record.callerNbr);
    copy(detail.dialedNbr, record.dialedNbr);
    copy(detail.calledNbr, record.calledNbr);
    copy(detail.extLine, record.extLine);
    copy(detail.calledAddr, record.calledAddr);
    copy(detail.callerAddr, record.callerAddr);
    copy(detail.fci, record.fci);
    return detail;
}

} // namespace

void CdrStore::add(int id, const Ccdr_record_data& record)
{
    const Cdb_call_detail detail = detailOf(id, record);
    const std::lock_guard guard(_mutex);
    if (_waiting >= kMaxWaiting) {
        ++_lost;
        return;
    }
    ++_waiting;
    _added.push_back(detail);
    // While the thread collects it is left asleep: waking it for each record would cost more than the record.
    if (_added.size() == 1)
        _wake.notify_one();
}

void CdrStore::run()
{
    Records records; // oldest first
    std::unique_lock lock(_mutex);
    for (;;) {
        const auto isAsked = [this] { return _flushesAsked != _flushesDone; };
        if (records.empty())
            _wake.wait(lock, [&] { return isAsked() || !_added.empty(); });
        if (records.empty())
            _hurry.wait_for(lock, kCollectTime, isAsked);
        else
            _hurry.wait_for(lock, kRetryPause, isAsked);
        const uint64_t asked = _flushesAsked;
        std::move(_added.begin(), _added.end(), std::back_inserter(records));
        _added.clear();
        const uint64_t lost = std::exchange(_lost, 0);
        lock.unlock();
        std::string reason;
        const bool isWritten = write(records, reason);
        report(isWritten, reason, lost);
        lock.lock();
        _waiting = records.size() + _added.size();
        _isAllWritten = isWritten;
        _flushesDone = asked;
        _done.notify_all();
    }
}

bool CdrStore::write(Records& records, std::string& reason)
{
    while (!records.empty()) {
        const auto end = records.begin() + static_cast<ptrdiff_t>(std::min(records.size(), kBatch));
        std::vector<Cdb_call_detail> batch(records.begin(), end);
        if (!_file.add(batch, reason))
            return false;
        records.erase(records.begin(), end);
    }
    return true;
}

void CdrStore::report(bool isWritten, const std::string& reason, uint64_t lost)
{
    if (lost > 0 && _lostSinceFailing == 0)
        ServerLog("%zu call records wait to be stored. There is no room for more: those of further calls are lost.",
                  kMaxWaiting);
    _lostSinceFailing += lost;
    const bool wasFailing = std::exchange(_isFailing, !isWritten);
    if (!isWritten && !wasFailing)
        ServerLog("Call records cannot be stored: %s. They wait in memory; the end of the server would lose them.",
                  reason.c_str());
    if (!isWritten)
        return;
    const uint64_t lostInAll = std::exchange(_lostSinceFailing, 0);
    if (lostInAll > 0)
        ServerLog("Call records are stored again. Those of %" PRIu64 " calls were lost.", lostInAll);
    else if (wasFailing)
        ServerLog("Call records are stored again.");
}

bool CdrStore::flush(unsigned timeoutMs)
{
    std::unique_lock lock(_mutex);
    if (_waiting == 0)
        return true;
    const uint64_t mine = ++_flushesAsked;
    _wake.notify_one();
    _hurry.notify_one();
    return _done.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return _flushesDone >= mine; }) &&
           _isAllWritten;
}
