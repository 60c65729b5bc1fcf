// The server without console. Data folder: PARLOVEX_HOME. Prints "ready" when it runs and log lines of the SIP sockets,
// how much memory it has asked for and not given back on SIGUSR1; ends on SIGTERM, and then prints that once more, and
// how many events it has published.
#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "cachedb2/switch_variants.h"
#include "callserver/app.h"
#include "callserver/event_ids.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <jemalloc/jemalloc.h>
#include <mutex>
#include <string_view>
#include <thread>

namespace {

struct Counter {
    unsigned event;
    const char* name;
    std::atomic<unsigned long> count = 0;
};

std::array<Counter, 6> counters = {{{kEvtCallRecord, "call events"},
                                    {kEvtUserState, "states"},
                                    {kEvtUserAgent, "agents"},
                                    {kEvtUserAddress, "addresses"},
                                    {kEvtLog, "server log lines"},
                                    {kBclLogEvent, "platform log lines"}}};

struct Ending {
    std::mutex mutex;
    std::condition_variable wake;
    bool isWanted = false;
};

void printSocketLine(void*, void* text, void*)
{
    const std::string_view line = static_cast<const char*>(text);
    if (line.starts_with("SIP over") || line.starts_with("Registrations")) {
        std::printf("%s\n", line.data());
        std::fflush(stdout);
    }
}

size_t heapBytes()
{
    // Its numbers are those of when they were asked for last.
    uint64_t epoch = 1;
    size_t size = sizeof epoch;
    (void)mallctl("epoch", &epoch, &size, &epoch, size);
    size_t allocated = 0;
    size = sizeof allocated;
    return mallctl("stats.allocated", &allocated, &size, nullptr, 0) == 0 ? allocated : 0;
}

// Blocks the signal in this thread and those that it starts later, and answers it in one of its own.
void tellHeapWhenAsked()
{
    sigset_t asked;
    sigemptyset(&asked);
    sigaddset(&asked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &asked, nullptr);
    std::thread([asked] {
        for (int signal = 0; sigwait(&asked, &signal) == 0;) {
            std::printf("heap now: %zu\n", heapBytes());
            std::fflush(stdout);
        }
    }).detach();
}

void readSwitches()
{
    Cbcl_tmp_str path;
    DbGetSwitchVarFile(path);
    (void)DbInitSwitchVariants(path.c_str()); // without the file the defaults hold
}

void onTerminate(void* context, void*, void*)
{
    auto* ending = static_cast<Ending*>(context);
    const std::lock_guard guard(ending->mutex);
    ending->isWanted = true;
    ending->wake.notify_all();
}

} // namespace

int main()
{
    tellHeapWhenAsked();
    set_app_singals();
    readSwitches();
    static Ending& ending = *new Ending;
    for (Counter& counter : counters)
        BclSubEvent(counter.event, &counter,
                    [](void* context, void*, void*) { ++static_cast<Counter*>(context)->count; });
    BclSubEvent(kEvtLog, nullptr, printSocketLine);
    BclSubEvent(kEvtTerminate, &ending, onTerminate);
    static Capp* app = new Capp; // never destroyed
    app->Run();
    std::puts("ready");
    std::fflush(stdout);
    {
        std::unique_lock lock(ending.mutex);
        ending.wake.wait(lock, [] { return ending.isWanted || TerminationWanted(); });
    }
    std::printf("heap: %zu\n", heapBytes());
    CloseServer();
    for (const Counter& counter : counters)
        std::printf("%s: %lu\n", counter.name, counter.count.load());
    return 0;
}
