#include "bcl2/task_mgr.h"

#include "bcl2/background.h"

#include <utility>

void Cbcl_task_mgr::addTask(std::string name, std::function<void()> body)
{
    _tasks.push_back({std::move(name), std::move(body)});
}

void Cbcl_task_mgr::Run()
{
    if (_isRunning)
        return;
    _isRunning = true;
    for (Task& task : _tasks)
        if (std::jthread thread = BclStartThread(task.name, [body = task.body](const std::stop_token&) { body(); });
            thread.joinable())
            thread.detach();
}
