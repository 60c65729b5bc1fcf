#include "dbproxy2/bookings.h"

#include "bcl2/background.h"
#include "bcl2/date.h"
#include "bcl2/log.h"
#include "bcl2/text.h"
#include "identity.h"
#include "settlement.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kRetryPause = 1s; // of bookings that could not be made
constexpr auto kCleaningPause = 1h;
constexpr auto kIdlePause = 3600s; // nothing to do
constexpr size_t kRandomBytes = 12;

constexpr int64_t kLargestSum = int64_t{1} << 40; // far above every balance, and sums of it stay numbers

bool isSum(int64_t cents)
{
    return cents >= 0 && cents <= kLargestSum;
}

} // namespace

struct Cdb_bookings::Impl {
    Impl(RemoteCore& database, const std::string& folder) : core(database), journal(folder + "bookings.db") {}

    struct Request {
        BookingEntry entry; // of an end: the id and the cost
        int64_t total = 0;
        Completion completion;
    };

    void run();
    void load();
    void serve(Request request);
    [[nodiscard]] Ebooking_result reserve(Request& request);
    [[nodiscard]] Ebooking_result end(Request& request);
    [[nodiscard]] bool settle(const BookingEntry& entry);
    void keepEnds();
    void keep(const BookingEntry& end);
    void keepWaiting();
    [[nodiscard]] bool areAllKept() const;
    [[nodiscard]] bool isWaiting(const std::string& id) const;
    void settleWaiting();
    void clean(const std::string& database);
    void adopt(const std::string& database);
    void tellOfOthers(const std::string& database);
    void add(Request request);

    // The thread's own.
    RemoteCore& core;
    BookingJournal journal;
    bool isLoaded = false;
    std::map<std::string, BookingEntry> open; // isEnded: the end stands among the requests
    std::deque<BookingEntry> ended;           // to be booked
    std::set<std::string> toldOf;             // databases that are waited for
    Clock::time_point nextTry;
    Clock::time_point nextKeep;
    Clock::time_point nextCleaning;

    std::mutex mutex;
    std::condition_variable changed;
    std::condition_variable booked;
    std::condition_variable kept;
    std::deque<Request> requests; // the thread takes them away, and nobody else
    bool isWorking = true;        // something may be left to do
    bool isEverythingKept = true; // every end that came is on disk, if it is not booked
    bool isStopped = false;
    std::jthread thread;
};

void Cdb_bookings::Impl::add(Request request)
{
    const std::scoped_lock lock(mutex);
    isEverythingKept = isEverythingKept && !request.entry.isEnded;
    requests.push_back(std::move(request));
    isWorking = true;
    changed.notify_all();
}

void Cdb_bookings::Impl::run()
{
    std::unique_lock lock(mutex);
    for (;;) {
        lock.unlock();
        if (!isLoaded)
            load();
        keepEnds();
        keepWaiting();
        settleWaiting();
        keepEnds();
        lock.lock();
        isEverythingKept = areAllKept();
        if (isEverythingKept)
            kept.notify_all();
        if (!requests.empty()) {
            Request request = std::move(requests.front());
            requests.pop_front();
            lock.unlock();
            serve(std::move(request));
            lock.lock();
            continue;
        }
        if (isStopped)
            return;
        isWorking = !ended.empty() || !isLoaded;
        if (!isWorking)
            booked.notify_all();
        const auto pause = isWorking ? Clock::duration(kRetryPause) : Clock::duration(kIdlePause);
        changed.wait_for(lock, pause, [this] { return isStopped || !requests.empty(); });
    }
}

// What an earlier process left behind.
void Cdb_bookings::Impl::load()
{
    std::vector<BookingEntry> left;
    if (journal.isOnDisk() && (!journal.open() || !journal.load(left)))
        return;
    isLoaded = true;
    if (!left.empty())
        BclLog("%zu bookings of an earlier run are still to be made.", left.size());
    for (BookingEntry& entry : left) {
        if (!entry.isEnded) {
            entry.isEnded = true;
            (void)journal.put(entry); // its cost stands in the journal already
        }
        entry.isKept = true;
        ended.push_back(std::move(entry));
    }
}

void Cdb_bookings::Impl::serve(Request request)
{
    const Ebooking_result result = request.entry.isEnded ? end(request) : reserve(request);
    if (request.completion)
        request.completion(result);
}

Ebooking_result Cdb_bookings::Impl::reserve(Request& request)
{
    BookingEntry& entry = request.entry;
    if (!isSum(request.total) || !isSum(entry.cost))
        return Ebooking_result::Refused;
    const auto found = open.find(entry.id);
    const bool isFirst = found == open.end();
    if (isFirst && isWaiting(entry.id))
        return Ebooking_result::Refused; // it has ended, and what the journal says of it must stay
    entry.database = isFirst ? core.identity() : found->second.database;
    // Its end came behind this request, and the journal has that already.
    const bool hasEnded = !isFirst && found->second.isEnded;
    // On disk before anything is taken: nobody else could give it back.
    if (!isLoaded || entry.database.empty() || !(hasEnded || journal.put(entry)))
        return Ebooking_result::Unavailable;
    const SqlResult result = reserveBooking(core, entry, request.total, isFirst);
    if (result.isDone() || !isFirst) {
        if (!hasEnded)
            open.insert_or_assign(entry.id, entry);
    } else if (result.status == SqlStatus::Lost) {
        entry.cost = 0; // it was not let through
        entry.isEnded = true;
        entry.isKept = journal.put(entry);
        ended.push_back(entry);
    } else
        journal.remove(entry.id);
    if (result.isDone())
        return Ebooking_result::Done;
    return result.status == SqlStatus::Refused ? Ebooking_result::Refused : Ebooking_result::Unavailable;
}

Ebooking_result Cdb_bookings::Impl::end(Request& request)
{
    keep(request.entry);
    const auto found = open.find(request.entry.id);
    if (found == open.end())
        return Ebooking_result::Refused;
    BookingEntry entry = std::move(found->second);
    open.erase(found);
    if (settle(entry))
        return Ebooking_result::Done;
    const bool isKept = entry.isKept;
    ended.push_back(std::move(entry));
    nextTry = Clock::now() + kRetryPause;
    return isKept ? Ebooking_result::Kept : Ebooking_result::NotKept;
}

// The ends that stand among the requests, before any of them is booked: with a server that hangs, each could wait for
// seconds, and the process be gone by then.
void Cdb_bookings::Impl::keepEnds()
{
    std::vector<BookingEntry> ends;
    {
        const std::scoped_lock lock(mutex);
        for (const Request& request : requests)
            if (request.entry.isEnded)
                ends.push_back(request.entry);
    }
    for (const BookingEntry& end : ends)
        keep(end);
}

// Once for each call. `end`: its id and its cost.
void Cdb_bookings::Impl::keep(const BookingEntry& end)
{
    const auto found = open.find(end.id);
    if (found == open.end() || found->second.isEnded)
        return;
    BookingEntry& entry = found->second;
    entry.cost = std::clamp<int64_t>(end.cost, 0, kLargestSum);
    if (entry.cost != end.cost)
        BclLog("Booking %s: a cost of %lld cents cannot be, %lld are booked.", entry.id.c_str(),
               static_cast<long long>(end.cost), static_cast<long long>(entry.cost));
    entry.isEnded = true;
    entry.isKept = journal.put(entry);
}

// What could not be put on disk as it ended.
void Cdb_bookings::Impl::keepWaiting()
{
    const auto now = Clock::now();
    if (now < nextKeep)
        return;
    for (BookingEntry& entry : ended) {
        entry.isKept = entry.isKept || journal.put(entry);
        if (!entry.isKept) {
            nextKeep = now + kRetryPause;
            return;
        }
    }
}

// Caller holds the mutex.
bool Cdb_bookings::Impl::areAllKept() const
{
    const auto isKept = [this](const Request& request) {
        const auto found = open.find(request.entry.id);
        return !request.entry.isEnded || (found != open.end() && found->second.isKept);
    };
    return std::all_of(requests.begin(), requests.end(), isKept) &&
           std::all_of(ended.begin(), ended.end(), [](const BookingEntry& entry) { return entry.isKept; });
}

bool Cdb_bookings::Impl::isWaiting(const std::string& id) const
{
    return std::any_of(ended.begin(), ended.end(), [&](const BookingEntry& entry) { return entry.id == id; });
}

bool Cdb_bookings::Impl::settle(const BookingEntry& entry)
{
    if (!settleBooking(core, entry).isDone())
        return false;
    journal.remove(entry.id);
    return true;
}

// One at a time, so that new calls are served in between.
void Cdb_bookings::Impl::settleWaiting()
{
    const auto now = Clock::now();
    const std::string database = core.identity();
    if (database.empty())
        return;
    clean(database);
    if (ended.empty() || now < nextTry)
        return;
    adopt(database);
    tellOfOthers(database);
    for (;;) {
        const auto next = std::find_if(ended.begin(), ended.end(),
                                       [&](const BookingEntry& entry) { return entry.database == database; });
        if (next == ended.end())
            return;
        if (!settle(*next)) {
            // Another one may go well: this one waits at the end.
            std::rotate(next, next + 1, ended.end());
            nextTry = now + kRetryPause;
            return;
        }
        ended.erase(next);
        const std::scoped_lock lock(mutex);
        if (!requests.empty() || isStopped)
            return;
    }
}

// The row of a booking whose answer was lost tells that it has been made: nothing is removed before that is known.
void Cdb_bookings::Impl::clean(const std::string& database)
{
    const auto isOfHere = [&](const BookingEntry& entry) {
        return entry.database == database || entry.database.empty();
    };
    if (!isLoaded || Clock::now() < nextCleaning || std::any_of(ended.begin(), ended.end(), isOfHere))
        return;
    nextCleaning = Clock::now() + kCleaningPause;
    removeOldBookings(core, database);
}

// What an older journal holds belongs to the database that is connected first. On disk before it is booked: another one
// could be connected after the next start.
void Cdb_bookings::Impl::adopt(const std::string& database)
{
    for (BookingEntry& entry : ended) {
        if (!entry.database.empty())
            continue;
        BookingEntry adopted = entry;
        adopted.database = database;
        if (journal.put(adopted))
            entry = std::move(adopted);
    }
}

// Once for each.
void Cdb_bookings::Impl::tellOfOthers(const std::string& database)
{
    std::map<std::string, size_t> others;
    for (const BookingEntry& entry : ended)
        if (entry.database != database && !entry.database.empty())
            ++others[entry.database];
    for (const auto& [other, count] : others)
        if (toldOf.insert(other).second)
            BclLog("%zu bookings belong to another database, %s, and wait until it is connected again.", count,
                   BclPrintable(other).c_str());
}

Cdb_bookings::Cdb_bookings(Cdb_remote& database, const std::string& dataFolder)
    : _impl(std::make_unique<Impl>(*database._core, dataFolder))
{
    _impl->thread = BclStartThread("bookings", [impl = _impl.get()](const std::stop_token&) { impl->run(); });
}

Cdb_bookings::~Cdb_bookings()
{
    {
        const std::scoped_lock lock(_impl->mutex);
        _impl->isStopped = true;
        _impl->changed.notify_all();
    }
    if (_impl->thread.joinable())
        _impl->thread.join();
}

std::string Cdb_bookings::newId()
{
    return bookingTime(BclGetCurrTimestamp()) + randomDigits(kRandomBytes);
}

void Cdb_bookings::reserve(const std::string& id, const Cdb_balance_key& account, int64_t total, int64_t costSoFar,
                           Completion completion)
{
    _impl->add({{id, {}, account, costSoFar, false}, total, std::move(completion)});
}

void Cdb_bookings::end(const std::string& id, int64_t cost, Completion completion)
{
    _impl->add({{id, {}, {}, cost, true}, 0, std::move(completion)});
}

bool Cdb_bookings::waitUntilBooked(std::chrono::milliseconds time)
{
    std::unique_lock lock(_impl->mutex);
    return _impl->booked.wait_for(lock, time, [this] { return !_impl->isWorking && _impl->requests.empty(); });
}

bool Cdb_bookings::waitUntilKept(std::chrono::milliseconds time)
{
    std::unique_lock lock(_impl->mutex);
    return _impl->kept.wait_for(lock, time, [this] { return _impl->isEverythingKept; });
}
