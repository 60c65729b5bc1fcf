#include "bcl2/background.h"

#include "bcl2/log.h"
#include "bcl2/text.h"

#include <chrono>
#include <csignal>
#include <exception>
#include <pthread.h>
#include <utility>

namespace {

constexpr size_t kMaxThreadName = 15; // bytes; Linux keeps 16 with the NUL

void runNamed(const std::string& name, const std::function<void(const std::stop_token&)>& body,
              const std::stop_token& stop)
{
    pthread_setname_np(pthread_self(), name.substr(0, BclUtf8Bound(name, kMaxThreadName)).c_str());
    try {
        body(stop);
    } catch (const std::exception& error) {
        BclLog("Task %s ended by an error: %s", name.c_str(), error.what());
    } catch (...) {
        BclLog("Task %s ended by an unknown error", name.c_str());
    }
}

} // namespace

std::jthread BclStartThread(const std::string& name, std::function<void(const std::stop_token&)> body)
{
    // A new thread inherits the mask: no signal may come to it, not even before its first line.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::jthread thread;
    try {
        thread =
            std::jthread([name, body = std::move(body)](const std::stop_token& stop) { runNamed(name, body, stop); });
    } catch (const std::exception& error) {
        BclLog("Task %s could not be started: %s", name.c_str(), error.what());
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

Cbcl_ticker::Cbcl_ticker(const std::string& name, unsigned intervalMs, std::function<void()> tick)
{
    _thread = BclStartThread(name, [this, intervalMs, tick = std::move(tick)](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            {
                std::unique_lock lock(_mutex);
                _changed.wait_for(lock, stop, std::chrono::milliseconds(intervalMs), [] { return false; });
            }
            if (!stop.stop_requested())
                tick();
        }
    });
}

Cbcl_ticker::~Cbcl_ticker() = default;
