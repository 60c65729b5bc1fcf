// The tasks (threads) of a server process.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Base of the server application object. Tasks run until the process ends: nothing stops or joins them.
class Cbcl_task_mgr {
public:
    Cbcl_task_mgr() = default;
    virtual ~Cbcl_task_mgr() = default;
    Cbcl_task_mgr(const Cbcl_task_mgr&) = delete;
    Cbcl_task_mgr& operator=(const Cbcl_task_mgr&) = delete;

    // Starts every task on a thread of its own, with all signals blocked there, and returns. A second call does
    // nothing.
    void Run();

protected:
    // Before Run(). The name (at most 15 bytes) shows in process listings. The object that `body` uses is never
    // destroyed.
    void addTask(std::string name, std::function<void()> body);

private:
    struct Task {
        std::string name;
        std::function<void()> body;
    };
    std::vector<Task> _tasks;
    bool _isRunning = false;
};
