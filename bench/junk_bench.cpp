// Good registrations among packets that are no SIP.
#include "support/cpu_time.h"
#include "support/free_port.h"
#include "support/junk_sender.h"
#include "support/office.h"
#include "support/report.h"
#include "support/servers.h"
#include "support/temporary_folder.h"

#include <cstdio>

namespace {

constexpr unsigned kJunkPerSecond = 20'000;
constexpr unsigned kGoodPerSecond = 100;
constexpr unsigned kSeconds = 30;
constexpr unsigned kUsers = 1000;

struct Measured {
    SippResult good;
    double usPerJunk = 0; // of the server's CPU
};

Measured measure(const MeasuredServer& server, unsigned seconds)
{
    const TemporaryFolder scratch;
    const uint16_t ownPort = freeUdpPort();
    const auto users = officeUsers(0, kUsers);
    registerAll(scratch, server.port(), ownPort, users, kUsers, kUsers);
    SippPlan plan;
    plan.scenario = "register.xml";
    plan.serverPort = server.port();
    plan.ownPort = ownPort;
    plan.users = users;
    plan.perSecond = kGoodPerSecond;
    plan.count = kGoodPerSecond * seconds;
    Measured measured;
    const CpuTime before = CpuTime::of(server.pid());
    // Half from a stranger's address, half from the telephones' own.
    const unsigned count = kJunkPerSecond / 2 * seconds;
    JunkSender stranger("127.0.0.9", server.port(), kJunkPerSecond / 2, count);
    JunkSender neighbour("127.0.0.1", server.port(), kJunkPerSecond / 2, count);
    measured.good = SippLoad(scratch, plan).wait();
    stranger.wait();
    neighbour.wait();
    const CpuTime used = CpuTime::of(server.pid()).since(before);
    measured.usPerJunk = static_cast<double>(used.total()) / 1000 / (2.0 * count);
    return measured;
}

void bench()
{
    const unsigned seconds = numberWanted("PARLOVEX_BENCH_SECONDS", kSeconds);
    const std::string load = machineLoad();
    const Measured ours = measure(ParlovexServer(kUsers), seconds);
    const Measured reference = measure(KamailioServer(), seconds);
    const auto text = [](unsigned number) { return std::to_string(number); };
    const Table table(text(kJunkPerSecond) + " junk packets a second for " + text(seconds) + " s beside " +
                          text(kGoodPerSecond) + " good registrations a second",
                      {"What", "Parlovex", "Kamailio", "Limit"});
    table.row({"good registrations that succeeded, of " + text(kGoodPerSecond * seconds), text(ours.good.successful),
               text(reference.good.successful), "all"});
    table.row({"retransmissions by sipp", text(ours.good.retransmissions), text(reference.good.retransmissions), ""});
    table.row({"server CPU per junk packet, µs (with the good ones' share)", decimal(ours.usPerJunk),
               decimal(reference.usPerJunk), ""});
    Table::note("One after the other. Random bytes, requests that break off or have bytes changed, many empty headers; "
                "half from another address, half from that of the telephones. Load of the machine before: " +
                load + ".");
}

} // namespace

int main()
{
    return runBench(bench);
}
