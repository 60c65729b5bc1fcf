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
    void settleWaiting();
    void adopt(const std::string& database);
    void tellOfOthers(const std::string& database);
    void add(Request request);

    // The thread's own.
    RemoteCore& core;
    BookingJournal journal;
    bool isLoaded = false;
    std::map<std::string, BookingEntry> open;
    std::deque<BookingEntry> ended; // to be booked
    std::set<std::string> toldOf;   // databases that are waited for
    Clock::time_point nextTry;
    Clock::time_point nextCleaning;

    std::mutex mutex;
    std::condition_variable changed;
    std::condition_variable booked;
    std::deque<Request> requests;
    bool isWorking = true; // something may be left to do
    bool isStopped = false;
    std::jthread thread;
};

void Cdb_bookings::Impl::add(Request request)
{
    const std::scoped_lock lock(mutex);
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
        settleWaiting();
        lock.lock();
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
    entry.database = isFirst ? core.identity() : found->second.database;
    // On disk before anything is taken: nobody else could give it back.
    if (!isLoaded || entry.database.empty() || !journal.put(entry))
        return Ebooking_result::Unavailable;
    const SqlResult result = reserveBooking(core, entry, request.total, isFirst);
    if (result.isDone() || !isFirst)
        open.insert_or_assign(entry.id, entry);
    else if (result.status == SqlStatus::Lost) {
        entry.cost = 0;
        entry.isEnded = true;
        (void)journal.put(entry); // the cost of a call that was not let through is 0 already
        ended.push_back(entry);
    } else
        journal.remove(entry.id);
    if (result.isDone())
        return Ebooking_result::Done;
    return result.status == SqlStatus::Refused ? Ebooking_result::Refused : Ebooking_result::Unavailable;
}

Ebooking_result Cdb_bookings::Impl::end(Request& request)
{
    const auto found = open.find(request.entry.id);
    if (found == open.end())
        return Ebooking_result::Refused;
    BookingEntry entry = std::move(found->second);
    open.erase(found);
    entry.cost = std::clamp<int64_t>(request.entry.cost, 0, kLargestSum);
    if (entry.cost != request.entry.cost)
        BclLog("Booking %s: a cost of %lld cents cannot be, %lld are booked.", entry.id.c_str(),
               static_cast<long long>(request.entry.cost), static_cast<long long>(entry.cost));
    entry.isEnded = true;
    const bool isKept = journal.put(entry);
    if (settle(entry))
        return Ebooking_result::Done;
    ended.push_back(std::move(entry));
    nextTry = Clock::now() + kRetryPause;
    return isKept ? Ebooking_result::Kept : Ebooking_result::NotKept;
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
    if (now >= nextCleaning) {
        nextCleaning = now + kCleaningPause;
        removeOldBookings(core, database);
    }
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
