// Live state under load: how long it takes from the packet of a telephone to the cell of its user on the page of the
// local users, alone and while thousands of other telephones register with news, and how late the event loop is then,
// beside a program with an empty window on the same display at the same time.
#include "support/bench_desktop.h"
#include "support/free_port.h"
#include "support/office.h"
#include "support/probed_program.h"
#include "support/report.h"
#include "support/sip_client.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr unsigned kUsers = 5000;
constexpr unsigned kPerSecond = 2000;
constexpr unsigned kSeconds = 30;
constexpr double kLimitMs = 250;
constexpr double kLoopLimitMs = 50;
constexpr std::chrono::milliseconds kPause{100}; // between two changes of the telephone that is watched
constexpr const char* kWatched = "u0";           // the first on the page

// Changes the name of a telephone again and again; each name is told when it stands in the cell.
class Watched {
public:
    Watched(ProbedProgram& console, uint16_t port) : _console(console), _telephone("127.0.0.1", port) {}

    // In milliseconds, from before the first of the two packets of a registration.
    std::vector<double> measure(unsigned count)
    {
        std::vector<double> waits;
        for (unsigned each = 0; each < count; ++each) {
            const std::string number = std::to_string(_next++);
            const int64_t begin = monotonicNs();
            const SipAnswer answer = _telephone.registerUser(
                kWatched, "p0", {"Contact: <" + _telephone.contact(kWatched) + ">", "User-Agent: probe " + number});
            if (answer.status != 200)
                throw std::runtime_error("the watched telephone was not registered: " + answer.text);
            waits.push_back(static_cast<double>(_console.told("cell" + number).timeNs - begin) / 1e6);
            std::this_thread::sleep_for(kPause);
        }
        std::sort(waits.begin(), waits.end());
        return waits;
    }

private:
    ProbedProgram& _console;
    SipClient _telephone;
    unsigned _next = 0;
};

void bench()
{
    const BenchOffice office(kUsers);
    const uint16_t port = office.port();
    ProbedProgram console = office.start(BENCH_USERS_PAGE);
    (void)console.told("opened");

    Watched watched(console, port);
    const std::vector<double> quiet = watched.measure(50);
    const unsigned seconds = numberWanted("PARLOVEX_BENCH_SECONDS", kSeconds);
    SippResult result;
    const int64_t begin = monotonicNs();
    std::thread crowd([&] {
        result = registerAll(office.scratch(), port, freeUdpPort(), officeUsers(1, kUsers - 1), seconds * kPerSecond,
                             kPerSecond, "register_changed.xml");
    });
    const std::vector<double> loaded = watched.measure(seconds * 5);
    const int64_t end = monotonicNs();
    crowd.join();

    const Table table("Live state: from the packet to the cell, with " + std::to_string(kPerSecond) +
                          " other registrations a second that all have news",
                      {"What", "Parlovex, under load", "Parlovex, alone", "empty Qt main window", "Limit"});
    table.row({"median, ms", decimal(loaded[loaded.size() / 2]), decimal(quiet[quiet.size() / 2]), "", ""});
    table.row({"longest, ms", decimal(loaded.back()), decimal(quiet.back()), "", decimal(kLimitMs, 0)});
    table.row({"event loop late at most, ms", decimal(console.worstLatenessMs(begin, end)), "",
               decimal(office.empty().worstLatenessMs(begin, end)), decimal(kLoopLimitMs, 0)});
    table.row({"registrations a second", decimal(result.successful / result.seconds, 0), "", "", ""});
    Table::note("The page shows 50 of " + std::to_string(kUsers) +
                " users. Both packets of a registration and the batch of the store are in the time. A precise timer of "
                "5 ms in each program, under Xvfb with a window manager. Load of the machine before: " +
                office.load() + ".");
}

} // namespace

int main(int argc, char** argv)
{
    return runDesktopBench(argc, argv, bench);
}
