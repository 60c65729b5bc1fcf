// Work beside a library's callers: a thread of its own that its owner ends.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

// A thread that gets no signals; those are for the process. The name (at most 15 bytes) shows in process listings. An
// exception of `body` ends it with a log line. When no thread can be had a log line says so, and the result is empty.
[[nodiscard]] std::jthread BclStartThread(std::string name, std::function<void(const std::stop_token&)> body);

// Calls a function again and again on a thread of its own. Owner: any one thread. Destroying it waits for a call that
// is under way, and no longer.
class Cbcl_ticker {
public:
    // The first call comes after `intervalMs`.
    Cbcl_ticker(std::string name, unsigned intervalMs, std::function<void()> tick);
    ~Cbcl_ticker();
    Cbcl_ticker(const Cbcl_ticker&) = delete;
    Cbcl_ticker& operator=(const Cbcl_ticker&) = delete;

private:
    std::mutex _mutex;
    std::condition_variable_any _changed;
    std::jthread _thread;
};
