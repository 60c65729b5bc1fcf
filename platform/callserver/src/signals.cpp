#include "callserver/app.h"

#include "callserver/event_ids.h"

#include "bcl2/event_bus.h"
#include "bcl2/log.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace {

// Written by the signal handler, so plain objects without constructor or destructor.
std::atomic<bool> terminationWanted = false;
int wakePipe[2] = {-1, -1};
static_assert(std::atomic<bool>::is_always_lock_free, "used in a signal handler");

void onSignal(int)
{
    const int saved = errno;
    terminationWanted.store(true);
    const char byte = 0;
    // A full pipe wakes the thread as well.
    [[maybe_unused]] const ssize_t written = write(wakePipe[1], &byte, 1);
    errno = saved;
}

void publishTerminations()
{
    pthread_setname_np(pthread_self(), "signals");
    for (;;) {
        char byte = 0;
        const ssize_t count = read(wakePipe[0], &byte, 1);
        if (count == 1)
            BclPubEvent(kEvtTerminate, nullptr, nullptr);
        else if (count == 0 || errno != EINTR)
            return;
    }
}

bool startThread()
{
    // The thread inherits the mask: signals are handled elsewhere, this thread only speaks about them.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool isStarted = true;
    try {
        std::thread(publishTerminations).detach();
    } catch (const std::exception& error) {
        BclLog("The thread for signals could not be started: %s", error.what());
        isStarted = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return isStarted;
}

} // namespace

void set_app_singals()
{
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);

    if (wakePipe[0] >= 0)
        return;
    if (pipe2(wakePipe, O_CLOEXEC) != 0) {
        BclLog("No pipe for signals: %s", strerror(errno));
        return;
    }
    // The handler must never wait.
    fcntl(wakePipe[1], F_SETFL, O_NONBLOCK);
    if (!startThread())
        return;
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

bool TerminationWanted()
{
    return terminationWanted.load();
}
