// The server without console, for tests that need it as a process of its own. Data folder: PARLOVEX_HOME. Prints
// "ready" when it runs, then each log line behind "log ", and ends on SIGTERM and SIGINT.
#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "cachedb2/switch_variants.h"
#include "callserver/app.h"
#include "callserver/event_ids.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <unistd.h>

namespace {

struct Ending {
    std::mutex mutex;
    std::condition_variable wake;
    bool isWanted = false;
};

void print(const std::string& line)
{
    const std::string whole = line + "\n";
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, whole.data(), whole.size());
}

void onLog(void*, void* text, void*)
{
    print(std::string("log ") + static_cast<const char*>(text));
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
    if (ParlovexIsRunning() == 1) {
        print("another instance runs");
        return 3;
    }
    set_app_singals();
    print("signals");
    readSwitches();
    static Ending& ending = *new Ending;
    BclSubEvent(kBclLogEvent, nullptr, onLog);
    BclSubEvent(kEvtLog, nullptr, onLog);
    BclSubEvent(kEvtTerminate, &ending, onTerminate);
    static Capp* app = new Capp; // never destroyed
    app->Run();
    print("ready");
    {
        std::unique_lock lock(ending.mutex);
        ending.wake.wait(lock, [] { return ending.isWanted || TerminationWanted(); });
    }
    CloseServer();
    return 0;
}
