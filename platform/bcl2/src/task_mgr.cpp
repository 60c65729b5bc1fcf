#include "bcl2/task_mgr.h"

#include "bcl2/log.h"
#include "bcl2/text.h"

#include <csignal>
#include <exception>
#include <pthread.h>
#include <thread>
#include <utility>

namespace {

constexpr size_t kMaxThreadName = 15; // bytes; Linux keeps 16 with the NUL

void runTask(const std::string& name, const std::function<void()>& body)
{
    pthread_setname_np(pthread_self(), name.substr(0, BclUtf8Bound(name, kMaxThreadName)).c_str());
    try {
        body();
    } catch (const std::exception& error) {
        BclLog("Task %s ended by an error: %s", name.c_str(), error.what());
    } catch (...) {
        BclLog("Task %s ended by an unknown error", name.c_str());
    }
}

} // namespace

void Cbcl_task_mgr::addTask(std::string name, std::function<void()> body)
{
    _tasks.push_back({std::move(name), std::move(body)});
}

void Cbcl_task_mgr::Run()
{
    if (_isRunning)
        return;
    _isRunning = true;
    // A new thread inherits the mask: no signal may come to a task, not even before its first line.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    for (Task& task : _tasks) {
        try {
            std::thread([name = task.name, body = task.body] { runTask(name, body); }).detach();
        } catch (const std::exception& error) {
            BclLog("Task %s could not be started: %s", task.name.c_str(), error.what());
        }
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
