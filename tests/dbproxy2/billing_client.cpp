// A process that spends the money of subscriber "1000":
//   billing_client debit COUNT FOLDER ADDRESS PORT USER PASSWORD DATABASE    one cent, until COUNT were acknowledged;
//                                      a line with the number of those that were not
//   billing_client book COUNT ...      COUNT calls, or until SIGTERM; a line "ID COST" for each whose end was
//                                      acknowledged
//   billing_client settle 0 ...        what earlier ones left behind

#include "dbproxy2/bookings.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <future>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds kPatience{60};
constexpr int kMostFailures = 1000; // of reservations

volatile std::sig_atomic_t isToEnd = 0;

const Cdb_balance_key kAccount{Ebalance_kind::Subscriber, "1000"};

bool waitForActive(const Cdb_remote& remote)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!remote.isActive()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// Others write without a pause: one that waits for its turn may fail, and is repeated.
int debit(Cdb_remote& remote, int count)
{
    int failed = 0;
    for (int done = 0; done < count;) {
        if (remote.debit(kAccount, 1) == kDbOk)
            ++done;
        else if (++failed > count || !waitForActive(remote))
            return 3;
    }
    printf("%d\n", failed);
    return 0;
}

Ebooking_result reserve(Cdb_bookings& bookings, const std::string& id, int64_t total, int64_t costSoFar)
{
    std::promise<Ebooking_result> promise;
    bookings.reserve(id, kAccount, total, costSoFar, [&](Ebooking_result result) { promise.set_value(result); });
    return promise.get_future().get();
}

bool end(Cdb_bookings& bookings, const std::string& id, int64_t cost)
{
    std::promise<Ebooking_result> promise;
    bookings.end(id, cost, [&](Ebooking_result result) { promise.set_value(result); });
    const Ebooking_result result = promise.get_future().get();
    if (result != Ebooking_result::Done && result != Ebooking_result::Kept)
        return false;
    const std::string line = id + " " + std::to_string(cost) + "\n";
    return write(STDOUT_FILENO, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

int book(const Cdb_remote& remote, Cdb_bookings& bookings, int count)
{
    std::deque<std::string> open; // some calls run at the same time
    int failed = 0;
    for (int done = 0; done < count && isToEnd == 0;) {
        const std::string id = Cdb_bookings::newId();
        const Ebooking_result result = reserve(bookings, id, 100, 0);
        if (result == Ebooking_result::Refused)
            return 4;
        if (result != Ebooking_result::Done) {
            if (++failed > kMostFailures || !waitForActive(remote))
                return 7;
            continue;
        }
        ++done;
        open.push_back(id);
        (void)reserve(bookings, id, 200, 37);
        if (open.size() < 3)
            continue;
        // Nothing, some of the reservation, more than it.
        if (!end(bookings, open.front(), int64_t{60} * (done % 5)))
            return 5;
        open.pop_front();
    }
    for (const std::string& id : open)
        if (!end(bookings, id, 11))
            return 5;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 9)
        return 1;
    std::signal(SIGTERM, [](int) { isToEnd = 1; });
    const std::string mode = argv[1];
    const int count = atoi(argv[2]);
    const std::string folder = argv[3];
    Cdb_remote remote(folder);
    remote.apply({argv[4], static_cast<unsigned>(atoi(argv[5])), argv[6], argv[7], argv[8]});
    if (!waitForActive(remote))
        return 2;
    if (mode == "debit")
        return debit(remote, count);
    Cdb_bookings bookings(remote, folder);
    if (mode == "book")
        return book(remote, bookings, count);
    return bookings.waitUntilBooked(kPatience) ? 0 : 6;
}
